#include "fi/subscripts/side_stores.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "fi/bulk/wide_stores.h"
#include "host/positions.h"

using namespace tolvane::detail;

/// By array stores of one kind, for doubles or for words.
template <class Stores>
class fi::SideStores::By final : public SideStores {
 public:
    By(Stores* left, const fi* leftSource, Stores&& right, const fi& rightSource, fi& target)
        : mLog(target.getQlogger()), mTotal(right.emptyTally()), mTarget(target), mRight(rightSource, target, right) {
        if (left != nullptr) {
            mLeft.emplace(*leftSource, target, *left);
        }
    }

    void addPlan(std::span<const double> block, std::uint64_t begin) override;
    void add(Assignment::From from, std::uint64_t source, std::uint64_t step, const Stretch& places) override;
    void finish(bool isPlainMove) override;

 private:
    using Tally = decltype(std::declval<Stores>().emptyTally());

    /// One of the two arrays and what a block takes from it.
    struct Side {
        Side(const fi& from, fi& to, Stores& storesOfSide)
            : source(from),
              isCopied(to.movesWithoutTrace(from) && storesOfSide.canCopy()),
              stores(std::move(storesOfSide)) {}

        bool takeAll(std::span<const double> positions, std::uint64_t begin);
        void takeSome(std::span<const double> block, double sign, std::uint64_t begin);
        void copy(std::uint64_t first, std::uint64_t step, const Stretch& places);
        void noteLast();

        const fi& source;
        bool isCopied;  // values move as they are, and nothing is counted
        Stores stores;
        ArrayStores::Moves moves;
        std::uint64_t lastFrom = 0;
        std::optional<std::uint64_t> lastTo;
    };

    bool runSide(bool isRight, std::span<const double> block, std::uint64_t begin);
    void runMixed(std::span<const double> block, std::uint64_t begin);
    std::span<const double> negated(std::span<const double> block);
    void store();
    ArrayStores::Zero firstZero() const;
    void setCurrentElements();

    const qlogger& mLog;
    Tally mTotal;
    fi& mTarget;
    Side mRight;
    std::optional<Side> mLeft;
    std::array<double, kBlock> mNegated;
};

std::unique_ptr<fi::SideStores> fi::SideStores::of(const fi* left, const fi& right, fi& target) {
    if ((left == nullptr || ArrayStores::serve(*left, target)) && ArrayStores::serve(right, target)) {
        std::optional<ArrayStores> ofLeft;
        if (left != nullptr) {
            ofLeft.emplace(*left, target);
        }
        return std::make_unique<By<ArrayStores>>(ofLeft ? &*ofLeft : nullptr, left, ArrayStores(right, target), right,
                                                 target);
    }
    const auto wide = [&](const fi& source) { return WideStores::of(source, target, WideStores::Extent::some); };
    std::optional<WideStores> ofLeft = left != nullptr ? wide(*left) : std::nullopt;
    std::optional<WideStores> ofRight = left == nullptr || ofLeft ? wide(right) : std::nullopt;
    if (!ofRight) {
        return nullptr;
    }
    const std::size_t width = std::max(ofRight->width(), ofLeft ? ofLeft->width() : 0);
    ofRight->open(width);
    if (ofLeft) {
        ofLeft->open(width);
    }
    return std::make_unique<By<WideStores>>(ofLeft ? &*ofLeft : nullptr, left, std::move(*ofRight), right, target);
}

// One side.

/// Takes a block in which each value is whole and names an element; returns whether it is such a block.
template <class Stores>
bool fi::SideStores::By<Stores>::Side::takeAll(std::span<const double> positions, std::uint64_t begin) {
    moves.isRun = offsetsOf(positions, 1, source.mNumel, moves.from.data());
    moves.count = positions.size();
    moves.to.front() = begin;
    return moves.isRun;
}

/// Takes the values that name an element, of a block of a plan. `sign` is that of values for this side.
template <class Stores>
void fi::SideStores::By<Stores>::Side::takeSome(std::span<const double> block, double sign, std::uint64_t begin) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < block.size(); ++i) {
        const double value = sign * block[i];
        moves.from[count] = static_cast<std::uint64_t>(static_cast<std::int64_t>(value)) - 1;
        moves.to[count] = begin + i;
        count += static_cast<std::size_t>(value >= 1.0);
    }
    moves.isRun = false;
    moves.count = count;
}

template <class Stores>
void fi::SideStores::By<Stores>::Side::copy(std::uint64_t first, std::uint64_t step, const Stretch& places) {
    // A call takes longer than a few elements.
    constexpr std::size_t kLong = 16;
    if (places.isRun() && step == 1 && places.count >= kLong) {
        stores.copyRun(first, places.first, places.count);
    } else if (places.offsets != nullptr) {
        stores.copy(first, step, places.count, [&](std::uint64_t i) { return places.first + places.offsets[i]; });
    } else {
        stores.copy(first, step, places.count, [&](std::uint64_t i) { return places.first + i * places.step; });
    }
}

template <class Stores>
void fi::SideStores::By<Stores>::Side::noteLast() {
    if (moves.count > 0) {
        const std::size_t last = moves.count - 1;
        lastFrom = moves.from[last];
        lastTo = moves.isRun ? moves.to.front() + last : moves.to[last];
    }
}

// Both sides.

template <class Stores>
void fi::SideStores::By<Stores>::add(Assignment::From from, std::uint64_t source, std::uint64_t step,
                                     const Stretch& places) {
    // Runs of fewer elements are gathered to a block.
    constexpr std::size_t kLongRun = 64;
    Side& side = from == Assignment::From::right ? mRight : *mLeft;
    if (side.isCopied) {
        side.copy(source, step, places);
        side.lastFrom = source + (places.count - 1) * step;
        side.lastTo = places[places.count - 1];
        return;
    }
    ArrayStores::Moves& moves = side.moves;
    std::size_t done = 0;
    while (done < places.count) {
        const std::size_t rest = places.count - done;
        if (places.isRun() && rest >= kLongRun) {
            store();
            moves.isRun = true;
            moves.count = std::min(kBlock, rest);
            moves.to.front() = places[done];
            for (std::size_t i = 0; i < moves.count; ++i) {
                moves.from[i] = source + (done + i) * step;
            }
            done += moves.count;
            store();
            continue;
        }
        if (moves.count == kBlock) {
            store();
        }
        moves.isRun = false;
        for (; done < places.count && moves.count < kBlock; ++done) {
            moves.add(source + done * step, places[done]);
        }
    }
}

template <class Stores>
void fi::SideStores::By<Stores>::finish(bool isPlainMove) {
    store();
    mTotal.handTo(mLog);
    if (!isPlainMove || std::is_same_v<Stores, WideStores>) {
        setCurrentElements();
    }
}

template <class Stores>
void fi::SideStores::By<Stores>::addPlan(std::span<const double> block, std::uint64_t begin) {
    const bool startsRight = std::signbit(block.front());
    if (std::signbit(block.back()) == startsRight && runSide(startsRight, block, begin)) {
        return;
    }
    std::size_t ofRight = 0;
    for (const double value : block) {
        ofRight += std::bit_cast<std::uint64_t>(value) >> 63;
    }
    if (ofRight == 0 && !mLeft) {
        return;
    }
    // Most plans change sides seldom.
    const std::size_t length = startsRight ? ofRight : block.size() - ofRight;
    const auto rest = block.subspan(length);
    if (rest.empty() || std::signbit(block[length - 1]) != startsRight ||
        !runSide(startsRight, block.first(length), begin)) {
        runMixed(block, begin);
    } else if (!runSide(!startsRight, rest, begin + length)) {
        runMixed(rest, begin + length);
    }
}

/// Runs a block whose values are whole and all name elements of one side, else does nothing and returns false.
template <class Stores>
bool fi::SideStores::By<Stores>::runSide(bool isRight, std::span<const double> block, std::uint64_t begin) {
    if (!isRight && !mLeft) {
        return false;
    }
    Side& side = isRight ? mRight : *mLeft;
    if (!side.takeAll(isRight ? negated(block) : block, begin)) {
        side.moves.count = 0;
        return false;
    }
    store();
    return true;
}

template <class Stores>
void fi::SideStores::By<Stores>::runMixed(std::span<const double> block, std::uint64_t begin) {
    mRight.takeSome(block, -1.0, begin);
    if (mLeft) {
        mLeft->takeSome(block, 1.0, begin);
    }
    store();
}

template <class Stores>
std::span<const double> fi::SideStores::By<Stores>::negated(std::span<const double> block) {
    std::ranges::transform(block, mNegated.begin(), std::negate());
    return {mNegated.data(), block.size()};
}

/// Stores the block that was taken, and leaves none.
template <class Stores>
void fi::SideStores::By<Stores>::store() {
    if (mRight.moves.count == 0 && (!mLeft || mLeft->moves.count == 0)) {
        return;
    }
    Tally tally = mRight.stores.emptyTally();
    mRight.stores.store(mRight.moves, tally);
    if (mLeft) {
        // Overflows of a kept element were counted when it was stored.
        Tally ofLeft = mLeft->stores.emptyTally();
        mLeft->stores.store(mLeft->moves, ofLeft);
        ofLeft.dropCounts();
        tally.join(ofLeft);
    }
    ArrayStores::append(std::move(tally), mLog, mTotal, [this] { return firstZero(); });
    mRight.noteLast();
    mRight.moves.count = 0;
    if (mLeft) {
        mLeft->noteLast();
        mLeft->moves.count = 0;
    }
}

template <class Stores>
fi::ArrayStores::Zero fi::SideStores::By<Stores>::firstZero() const {
    const auto ofRight = mRight.stores.firstZero(mRight.moves);
    const auto ofLeft = mLeft ? mLeft->stores.firstZero(mLeft->moves) : std::nullopt;
    const bool isLeft = !ofRight || (ofLeft && ofLeft->place < ofRight->place);
    return isLeft ? *ofLeft : *ofRight;
}

template <class Stores>
void fi::SideStores::By<Stores>::setCurrentElements() {
    const bool endsLeft = mLeft && mLeft->lastTo > mRight.lastTo;
    // Both sides may be one array, whose last use counts.
    for (const Side* side : {endsLeft ? &mRight : mLeft ? &*mLeft : nullptr, endsLeft ? &*mLeft : &mRight}) {
        if (side != nullptr && side->lastTo) {
            side->source.setIndex(side->lastFrom);
            mTarget.setIndex(*side->lastTo);
        }
    }
}
