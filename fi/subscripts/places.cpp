#include "fi/subscripts/places.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "fi/core/dimension_product.h"
#include "host/positions.h"

namespace tolvane::detail {

namespace {

constexpr std::size_t kBlock = Selection::kMostListed;
/// Doubles count exactly up to there.
constexpr std::uint64_t kMostPosition = std::uint64_t{1} << 52;
/// The host refuses what there is no memory for.
constexpr std::uint64_t kMostSelected = std::uint64_t{1} << 28;

bool isColon(const hvArray* index) {
    return hvIsChar(index) && hvIsScalar(index) && hvGetTypedData<hvChar>(index)[0] == u':';
}

/// What the host calls a vector: one of two dimensions is 1.
bool isVector(std::span<const std::uint64_t> dims) {
    return dims.size() == 2 && (dims[0] == 1) != (dims[1] == 1);
}

}  // namespace

Sizes trimmed(std::span<const std::uint64_t> given) {
    Sizes dims(given.begin(), given.end());
    dims.resize(std::max<std::size_t>(dims.size(), 2), 1);
    while (dims.size() > 2 && dims.back() == 1) {
        dims.pop_back();
    }
    return dims;
}

namespace {

/// Visits stretches, and gathers short ones to lists.
class Gathering {
 public:
    explicit Gathering(const VisitStretch& visit) : mVisit(visit) {}

    void add(const Stretch& places) {
        if (places.count >= kLong) {
            visitGathered();
            mVisit(places);
            return;
        }
        if (mCount + places.count > kBlock) {
            visitGathered();
        }
        for (std::size_t i = 0; i < places.count; ++i) {
            mOffsets[mCount++] = places[i];
        }
    }
    void visitGathered() {
        if (mCount > 0) {
            mVisit({0, 1, mCount, mOffsets.data()});
        }
        mCount = 0;
    }

    static constexpr std::size_t kLong = 32;

 private:
    const VisitStretch& mVisit;
    std::size_t mCount = 0;
    std::array<std::uint64_t, kBlock> mOffsets;
};

}  // namespace

// One subscript.

Subscript Subscript::all(std::uint64_t extent) {
    Subscript subscript;
    subscript.mCount = extent;
    return subscript;
}

Subscript::Subscript(std::span<const hvLogical> mask) : mMask(mask) {
    for (const hvLogical bit : mask) {
        mCount += std::uint64_t{bit != 0};
    }
}

std::optional<Subscript> Subscript::read(const hvArray* index, std::uint64_t extent, std::uint64_t most) {
    if (isColon(index)) {
        return all(extent);
    }
    Subscript subscript;
    if (!hvIsDouble(index) || hvIsComplex(index) || hvIsEmpty(index) ||
        !subscript.readNumbers(hvGetTypedData<double>(index), most)) {
        return std::nullopt;
    }
    return subscript;
}

Subscript Subscript::scaled(std::uint64_t size) const {
    Subscript groups;
    groups.mFirst = mFirst * size;
    groups.mCount = mCount * size;
    return groups;
}

bool Subscript::readNumbers(std::span<const double> numbers, std::uint64_t most) {
    std::array<std::uint64_t, kBlock + 1> offsets;
    std::uint64_t descends = 0;
    std::uint64_t varies = 0;
    std::uint64_t* const block = offsets.data() + 1;
    for (std::size_t begin = 0; begin < numbers.size(); begin += kBlock) {
        const std::size_t length = std::min(kBlock, numbers.size() - begin);
        if (!offsetsOf(numbers.subspan(begin, length), 1, most, block)) {
            return false;
        }
        if (begin == 0) {
            mFirst = block[0];
            mStep = length > 1 ? block[1] - block[0] : 1;
            offsets[0] = mFirst - mStep;
        }
        const std::uint64_t step = mStep;
        for (std::size_t i = 0; i < length; ++i) {
            const std::uint64_t distance = block[i] - offsets[i];
            descends |= distance - 1;
            varies |= distance ^ step;
        }
        offsets[0] = block[length - 1];
    }
    mCount = numbers.size();
    mIsAscending = descends >> 63 == 0;
    if (varies != 0) {
        mList = numbers;
    }
    return true;
}

namespace {

/// Visits the places where a mask holds `Sought`, as offsets from `start`.
template <bool Sought>
void walkMask(std::span<const hvLogical> mask, std::uint64_t start, const VisitStretch& visit) {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    constexpr std::uint64_t kNone = Sought ? 0 : 0x0101010101010101;
    std::array<std::uint64_t, kBlock> offsets;
    std::size_t count = 0;
    const auto take = [&](std::size_t i) {
        offsets[count] = i;
        count += std::size_t{(mask[i] != 0) == Sought};
    };
    const auto visitAll = [&] {
        if (count > 0) {
            visit({start, 1, count, offsets.data()});
        }
        count = 0;
    };
    std::size_t i = 0;
    for (; i + kWord <= mask.size(); i += kWord) {
        std::uint64_t word;
        std::memcpy(&word, &mask[i], kWord);
        if (word == kNone) {
            continue;
        }
        // The elements after the last word must fit too.
        if (count + 2 * kWord > kBlock) {
            visitAll();
        }
        for (std::size_t k = 0; k < kWord; ++k) {
            take(i + k);
        }
    }
    for (; i < mask.size(); ++i) {
        take(i);
    }
    visitAll();
}

}  // namespace

void Subscript::walk(std::uint64_t start, std::uint64_t distance, const VisitStretch& visit) const {
    if (isMask()) {
        walkMask<true>(mMask, start, visit);
        return;
    }
    if (isRange()) {
        visit({start + mFirst * distance, mStep * distance, mCount});
        return;
    }
    std::array<std::uint64_t, kBlock> offsets;
    for (std::size_t begin = 0; begin < mList.size(); begin += kBlock) {
        const std::size_t length = std::min(kBlock, mList.size() - begin);
        static_cast<void>(offsetsOf(mList.subspan(begin, length), 1, kMostPosition, offsets.data()));
        for (std::size_t i = 0; distance != 1 && i < length; ++i) {
            offsets[i] *= distance;
        }
        visit({start, 1, length, offsets.data()});
    }
}

template <class Visit>
void Subscript::walkGaps(std::uint64_t extent, Visit&& visit) const {
    std::uint64_t next = 0;
    const auto visitUpTo = [&](std::uint64_t end) {
        if (end > next) {
            visit(next, end - next);
        }
    };
    if (isRun()) {
        visitUpTo(mFirst);
        next = mFirst + mCount;
    } else {
        for (std::uint64_t i = 0; i < mCount; ++i) {
            visitUpTo((*this)[i]);
            next = (*this)[i] + 1;
        }
    }
    visitUpTo(extent);
}

void Subscript::walkRest(const Slices& slices, const VisitStretch& visit) const {
    if (isMask()) {
        walkMask<false>(mMask, 0, visit);
        return;
    }
    const auto [inner, extent, outer] = slices;
    Gathering gathering(visit);
    for (std::uint64_t i = 0; i < outer; ++i) {
        walkGaps(extent, [&, inner = inner, start = i * extent * inner](std::uint64_t first, std::uint64_t count) {
            gathering.add({start + first * inner, 1, count * inner});
        });
    }
    gathering.visitGathered();
}

// All subscripts.

std::optional<Places> Places::read(std::span<const hvArray* const> indices, std::span<const std::uint64_t> dims,
                                   std::uint64_t most) {
    const std::uint64_t count = dimensionProduct(dims);
    if (indices.empty() || count == 0) {
        return std::nullopt;
    }
    Places places;
    if (indices.size() == 1) {
        places.mExtents = {count};
        if (hvIsLogical(indices[0])) {
            if (!std::ranges::equal(hvGetDims(indices[0]), dims)) {
                return std::nullopt;
            }
            places.mSubscripts.emplace_back(hvGetTypedData<hvLogical>(indices[0]));
            return places;
        }
    } else {
        if (indices.size() < dims.size()) {
            return std::nullopt;
        }
        places.mExtents.assign(dims.begin(), dims.end());
        places.mExtents.resize(indices.size(), 1);
    }
    places.mSubscripts.reserve(indices.size());
    for (std::size_t d = 0; d < indices.size(); ++d) {
        const std::uint64_t extent = places.mExtents[d];
        const auto subscript = Subscript::read(indices[d], extent, most == 0 ? extent : most);
        if (!subscript) {
            return std::nullopt;
        }
        places.mSubscripts.push_back(*subscript);
    }
    return places;
}

Sizes Places::counts() const {
    Sizes counts;
    counts.reserve(mSubscripts.size());
    for (const Subscript& subscript : mSubscripts) {
        counts.push_back(subscript.count());
    }
    return counts;
}

bool Places::areAscending() const {
    return std::ranges::all_of(mSubscripts, &Subscript::isAscending);
}

void Places::walk(const VisitStretch& visit) const {
    // Subscripts of one place shift the start, and whole dimensions join the run of the next one; the others are loops.
    struct Loop {
        Subscript subscript;
        std::uint64_t distance;
        std::uint64_t extent;
        std::uint64_t at;
    };
    std::vector<Loop> loops;
    std::uint64_t start = 0;
    std::uint64_t distance = 1;
    for (std::size_t d = 0; d < mSubscripts.size(); ++d) {
        const Subscript& subscript = mSubscripts[d];
        const std::uint64_t extent = mExtents[d];
        Loop* const inner = loops.empty() ? nullptr : &loops.back();
        if (inner != nullptr && inner->distance * inner->extent == distance && subscript.isRun() &&
            inner->subscript.isAll(inner->extent)) {
            inner->subscript = subscript.scaled(inner->extent);
            inner->extent *= extent;
        } else if (subscript.count() == 1 && !subscript.isMask()) {
            start += subscript.first() * distance;
        } else {
            loops.push_back({subscript, distance, extent, 0});
        }
        distance *= extent;
    }
    if (loops.empty()) {
        visit({start, 1, 1});
        return;
    }
    if (loops.size() == 1) {
        loops[0].subscript.walk(start, loops[0].distance, visit);
        return;
    }
    const Loop& inner = loops[0];
    std::array<std::uint64_t, Gathering::kLong> shortList;
    const bool isShort = inner.subscript.count() < Gathering::kLong;
    for (std::size_t i = 0; isShort && i < inner.subscript.count(); ++i) {
        shortList[i] = inner.subscript[i] * inner.distance;
    }
    Gathering gathering(visit);
    for (;;) {
        std::uint64_t offset = start;
        for (std::size_t d = 1; d < loops.size(); ++d) {
            offset += loops[d].subscript[loops[d].at] * loops[d].distance;
        }
        if (isShort) {
            gathering.add({offset, 1, inner.subscript.count(), shortList.data()});
        } else {
            inner.subscript.walk(offset, inner.distance, visit);
        }
        std::size_t d = 1;
        while (d < loops.size() && ++loops[d].at == loops[d].subscript.count()) {
            loops[d++].at = 0;
        }
        if (d >= loops.size()) {
            break;
        }
    }
    gathering.visitGathered();
}

namespace {

/// The shape of what one subscript selects.
Sizes linearShape(const hvArray* index, const Subscript& subscript, std::span<const std::uint64_t> dims) {
    const std::uint64_t count = subscript.count();
    const auto shape = hvGetDims(index);
    Sizes own(shape.begin(), shape.end());
    if (hvIsChar(index)) {
        return {count, 1};
    }
    if (hvIsLogical(index)) {
        own = {count, 1};
    }
    if (isVector(dims) && isVector(own)) {
        return dims[0] == 1 ? Sizes{1, count} : Sizes{count, 1};
    }
    return own;
}

class Selected final : public Selection {
 public:
    Selected(Sizes dims, Places places) : Selection(std::move(dims)), mPlaces(std::move(places)) {}
    void walk(const VisitStretch& visit) const override { mPlaces.walk(visit); }

 private:
    Places mPlaces;
};

/// All elements but those of the slices that a subscript of one dimension names.
class Rest final : public Selection {
 public:
    Rest(Sizes dims, Subscript removed, const Slices& slices)
        : Selection(std::move(dims)), mRemoved(removed), mSlices(slices) {}

    void walk(const VisitStretch& visit) const override { mRemoved.walkRest(mSlices, visit); }

 private:
    Subscript mRemoved;
    Slices mSlices;
};

}  // namespace

std::unique_ptr<Selection> selectedBy(std::span<const hvArray* const> indices, std::span<const std::uint64_t> dims) {
    std::optional<Places> places = Places::read(indices, dims);
    if (!places) {
        return nullptr;
    }
    Sizes shape = indices.size() == 1 ? linearShape(indices[0], places->subscripts()[0], dims) : places->counts();
    std::uint64_t count = 1;
    for (const std::uint64_t size : shape) {
        // Lists may name elements many times, more than there is memory for.
        if (__builtin_mul_overflow(count, size, &count) || count > kMostSelected) {
            return nullptr;
        }
    }
    return std::make_unique<Selected>(trimmed(shape), *std::move(places));
}

std::unique_ptr<Selection> leftBy(std::span<const hvArray* const> indices, std::span<const std::uint64_t> dims) {
    const std::optional<Places> places = Places::read(indices, dims);
    if (!places || !places->areAscending()) {
        return nullptr;
    }
    const std::span<const Subscript> subscripts = places->subscripts();
    Sizes left = places->extents();
    std::size_t place = left.size();
    for (std::size_t d = 0; d < left.size(); ++d) {
        if (subscripts[d].isAll(left[d])) {
            continue;
        }
        if (place < left.size() || subscripts[d].count() == 0) {
            return nullptr;
        }
        place = d;
    }
    if (place == left.size()) {
        return nullptr;
    }
    const std::span<const std::uint64_t> all = places->extents();
    const Slices slices{dimensionProduct(all.first(place)), all[place], dimensionProduct(all.subspan(place + 1))};
    left[place] -= subscripts[place].count();
    if (left.size() == 1) {
        const bool isColumn = dims.size() == 2 && dims[1] == 1 && dims[0] != 1;
        left = isColumn ? Sizes{left[0], 1} : Sizes{1, left[0]};
    }
    return std::make_unique<Rest>(trimmed(left), subscripts[place], slices);
}

}  // namespace tolvane::detail
