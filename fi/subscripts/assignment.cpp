#include "fi/subscripts/assignment.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "fi/core/dimension_product.h"
#include "fi/subscripts/planned_selection.h"
#include "fi/subscripts/side_stores.h"

using namespace tolvane::detail;

namespace {

Sizes withoutOnes(std::span<const std::uint64_t> dims) {
    Sizes kept;
    std::ranges::copy_if(dims, std::back_inserter(kept), [](std::uint64_t size) { return size != 1; });
    return kept;
}

}  // namespace

/// Its values count from 1: positive ones in the left side, negative ones in the right side; 0 stores nothing.
class fi::Assignment::Planned final : public Assignment {
 public:
    explicit Planned(const hvArray* plan) : mPlan(plan) {}
    explicit Planned(hvArrayOwner plan) : mOwned(std::move(plan)), mPlan(mOwned.get()) {}

    void check(const fi& left, const fi& right) const override {
        checkPlan(planValues(mPlan), -static_cast<double>(right.numel()), static_cast<double>(left.numel()) + 1.0);
    }
    Sizes dims() const override { return planDimensions(mPlan); }
    std::uint64_t count() const override { return hvGetNumberOfElements(mPlan); }
    bool usesRight() const override {
        return std::ranges::any_of(values(), [](double value) { return value <= -1.0; });
    }
    bool isWhole() const override { return false; }
    void run(SideStores& stores) const override {
        const std::span<const double> plan = values();
        for (std::size_t begin = 0; begin < plan.size(); begin += SideStores::kBlock) {
            stores.addPlan(plan.subspan(begin, std::min(SideStores::kBlock, plan.size() - begin)), begin);
        }
    }
    void forEach(const Step& step) const override {
        const std::span<const double> plan = values();
        for (std::size_t k = 0; k < plan.size(); ++k) {
            if (plan[k] >= 1.0 || plan[k] <= -1.0) {
                step(plan[k] > 0.0 ? From::left : From::right, planPosition(std::fabs(plan[k])) - 1, k);
            }
        }
    }

 private:
    std::span<const double> values() const { return planValues(mPlan); }

    hvArrayOwner mOwned;
    const hvArray* mPlan;
};

/// Stores at places that exist.
class fi::Assignment::Placed final : public Assignment {
 public:
    Placed(Places places, std::uint64_t count, bool isOneValue)
        : mPlaces(std::move(places)), mCount(count), mStep(isOneValue ? 0 : 1) {}

    void check(const fi&, const fi&) const override {}
    Sizes dims() const override { return mPlaces.extents(); }
    std::uint64_t count() const override { return mCount; }
    bool usesRight() const override { return dimensionProduct(mPlaces.counts()) > 0; }
    bool isWhole() const override { return false; }
    void run(SideStores& stores) const override {
        std::uint64_t source = 0;
        mPlaces.walk([&](const Stretch& places) {
            stores.add(From::right, source, mStep, places);
            source += places.count * mStep;
        });
    }
    void forEach(const Step& step) const override {
        std::uint64_t source = 0;
        mPlaces.walk([&](const Stretch& places) {
            for (std::size_t i = 0; i < places.count; ++i, source += mStep) {
                step(From::right, source, places[i]);
            }
        });
    }

 private:
    Places mPlaces;
    std::uint64_t mCount;
    std::uint64_t mStep;
};

/// Adds slices behind the last ones of a dimension, and possibly zeros before them.
class fi::Assignment::Appending final : public Assignment {
 public:
    /// `dims` are those of the target, of which the left side has `extent` slices in the dimension `place`.
    Appending(Sizes dims, std::size_t place, std::uint64_t extent, Subscript added, bool isOneValue)
        : mDims(std::move(dims)),
          mInner(dimensionProduct(std::span(mDims).first(place))),
          mOuter(dimensionProduct(std::span(mDims).subspan(place + 1))),
          mLeftExtent(extent),
          mExtent(mDims[place]),
          mAdded(added),
          mStep(isOneValue ? 0 : 1) {}

    void check(const fi&, const fi&) const override {}
    Sizes dims() const override { return trimmed(mDims); }
    std::uint64_t count() const override { return dimensionProduct(mDims); }
    bool usesRight() const override { return true; }
    bool isWhole() const override { return mAdded.count() == mExtent - mLeftExtent; }
    void run(SideStores& stores) const override {
        walk([&](From from, std::uint64_t source, std::uint64_t step, const Stretch& places) {
            stores.add(from, source, step, places);
        });
    }
    void forEach(const Step& step) const override {
        walk([&](From from, std::uint64_t source, std::uint64_t distance, const Stretch& places) {
            for (std::size_t i = 0; i < places.count; ++i) {
                step(from, source + i * distance, places[i]);
            }
        });
    }

 private:
    template <class Add>
    void walk(Add&& add) const {
        const std::uint64_t leftCount = mInner * mLeftExtent;
        std::uint64_t source = 0;
        for (std::uint64_t i = 0; i < mOuter; ++i) {
            const std::uint64_t start = i * mInner * mExtent;
            add(From::left, i * leftCount, 1, Stretch{start, 1, leftCount});
            const auto addGroups = [&](std::uint64_t first, std::uint64_t count) {
                add(From::right, source, mStep, Stretch{start + first * mInner, 1, count * mInner});
                source += count * mInner * mStep;
            };
            if (mAdded.isRun()) {
                addGroups(mAdded.first(), mAdded.count());
                continue;
            }
            for (std::uint64_t k = 0; k < mAdded.count(); ++k) {
                addGroups(mAdded[k], 1);
            }
        }
    }

    Sizes mDims;
    std::uint64_t mInner;
    std::uint64_t mOuter;
    std::uint64_t mLeftExtent;
    std::uint64_t mExtent;
    Subscript mAdded;
    std::uint64_t mStep;
};

std::unique_ptr<fi::Assignment> fi::Assignment::byPlan(const hvArray* plan) {
    return std::make_unique<Planned>(plan);
}

std::unique_ptr<fi::Assignment> fi::Assignment::byPlan(hvArrayOwner plan) {
    return std::make_unique<Planned>(std::move(plan));
}

namespace {

/// The dimensions that an array gets by more slices in a dimension as subscripts see it; nothing for a matrix that one
/// subscript would make grow.
std::optional<Sizes> grownDimensions(std::span<const std::uint64_t> dims, const Places& places, std::size_t place,
                                     std::uint64_t extent) {
    if (places.extents().size() > 1) {
        Sizes grown = places.extents();
        grown[place] = extent;
        return grown;
    }
    if (dims.size() == 2 && dims[0] == 1) {
        return Sizes{1, extent};
    }
    return dims.size() == 2 && dims[1] == 1 ? std::optional(Sizes{extent, 1}) : std::nullopt;
}

}  // namespace

std::unique_ptr<fi::Assignment> fi::Assignment::bySubscripts(std::span<const hvArray* const> indices,
                                                             std::span<const std::uint64_t> dims,
                                                             std::span<const std::uint64_t> rightDims) {
    // The host refuses what there is no memory for.
    constexpr std::uint64_t kMostExtent = std::uint64_t{1} << 40;
    const std::uint64_t count = dimensionProduct(dims);
    const std::uint64_t most = std::min(kMostExtent, 2 * count + (std::uint64_t{1} << 16));
    std::optional<Places> places = Places::read(indices, dims, most);
    if (!places || !places->areAscending()) {
        return nullptr;
    }
    const Sizes counts = places->counts();
    const bool isOneValue = dimensionProduct(rightDims) == 1;
    const bool fits =
        counts.size() == 1 ? counts[0] == dimensionProduct(rightDims) : withoutOnes(counts) == withoutOnes(rightDims);
    if (!isOneValue && !fits) {
        return nullptr;
    }
    const Sizes& extents = places->extents();
    const std::span<const Subscript> subscripts = places->subscripts();
    std::optional<std::size_t> place;
    for (std::size_t d = 0; d < extents.size(); ++d) {
        if (subscripts[d].isMask() || subscripts[d].last() < extents[d]) {
            continue;
        }
        if (place || subscripts[d].first() < extents[d]) {
            return nullptr;
        }
        place = d;
    }
    if (!place) {
        return std::make_unique<Placed>(*std::move(places), count, isOneValue);
    }
    const Subscript& added = subscripts[*place];
    for (std::size_t d = 0; d < extents.size(); ++d) {
        if (d != *place && !subscripts[d].isAll(extents[d])) {
            return nullptr;
        }
    }
    const std::uint64_t extent = added.last() + 1;
    const auto grown = grownDimensions(dims, *places, *place, extent);
    if (!grown || count / extents[*place] > most / extent) {
        return nullptr;
    }
    // One subscript counts through all dimensions, of which only one isn't 1.
    const bool isColumn = extents.size() == 1 && (*grown)[1] == 1 && dims[0] != 1;
    const std::size_t growing = extents.size() > 1 ? *place : isColumn ? 0 : 1;
    return std::make_unique<Appending>(*grown, growing, extents[*place], added, isOneValue);
}
