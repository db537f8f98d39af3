#include "fi/subscripts/side_stores.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <numeric>

#include "fi/bulk/entries.h"
#include "host/positions.h"

using namespace tolvane::detail;

// One side.

fi::SideStores::Side::Side(const fi& from, fi& to)
    : source(from),
      isCopied(to.movesWithoutTrace(from)),
      real(entries::doublesOf(from.mReal, from.mNumel).data()),
      imag(from.iscomplex() ? entries::doublesOf(from.imagPart(), from.mNumel).data() : nullptr),
      toReal(to.mReal.asDouble()->elements().data()),
      toImag(to.iscomplex() ? to.imagEntries().asDouble()->elements().data() : nullptr),
      stores(from, to) {}

/// Takes a block in which each value is whole and names an element; returns whether it is such a block.
bool fi::SideStores::Side::takeAll(std::span<const double> positions, std::uint64_t begin) {
    moves.isRun = offsetsOf(positions, 1, source.mNumel, moves.from.data());
    moves.count = positions.size();
    moves.to.front() = begin;
    return moves.isRun;
}

/// Takes the values that name an element, of a block of a plan. `sign` is that of values for this side.
void fi::SideStores::Side::takeSome(std::span<const double> block, double sign, std::uint64_t begin) {
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

void fi::SideStores::Side::copy(std::uint64_t first, std::uint64_t step, const Stretch& places) const {
    copyPart(real + first, step, toReal, places);
    if (toImag == nullptr) {
        return;
    }
    if (imag != nullptr) {
        copyPart(imag + first, step, toImag, places);
        return;
    }
    for (std::size_t i = 0; i < places.count; ++i) {
        toImag[places[i]] = 0.0;
    }
}

void fi::SideStores::Side::copyPart(const double* from, std::uint64_t step, double* to, const Stretch& places) {
    // A call takes longer than a few elements.
    constexpr std::size_t kLong = 16;
    to += places.first;
    if (places.isRun() && step == 1 && places.count >= kLong) {
        std::copy_n(from, places.count, to);
    } else if (places.offsets != nullptr) {
        for (std::size_t i = 0; i < places.count; ++i) {
            to[places.offsets[i]] = from[i * step];
        }
    } else {
        for (std::size_t i = 0; i < places.count; ++i) {
            to[i * places.step] = from[i * step];
        }
    }
}

void fi::SideStores::Side::noteLast() {
    if (moves.count > 0) {
        const std::size_t last = moves.count - 1;
        lastFrom = moves.from[last];
        lastTo = moves.isRun ? moves.to.front() + last : moves.to[last];
    }
}

// Both sides.

fi::SideStores::SideStores(const fi* left, const fi& right, fi& target)
    : mLog(target.getQlogger()), mTarget(target), mRight(right, target) {
    if (left != nullptr) {
        mLeft.emplace(*left, target);
    }
}

void fi::SideStores::add(Assignment::From from, std::uint64_t source, std::uint64_t step, const Stretch& places) {
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

void fi::SideStores::finish(bool isPlainMove) {
    store();
    mTotal.handTo(mLog);
    if (!isPlainMove) {
        setCurrentElements();
    }
}

void fi::SideStores::addPlan(std::span<const double> block, std::uint64_t begin) {
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
bool fi::SideStores::runSide(bool isRight, std::span<const double> block, std::uint64_t begin) {
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

void fi::SideStores::runMixed(std::span<const double> block, std::uint64_t begin) {
    mRight.takeSome(block, -1.0, begin);
    if (mLeft) {
        mLeft->takeSome(block, 1.0, begin);
    }
    store();
}

std::span<const double> fi::SideStores::negated(std::span<const double> block) {
    std::ranges::transform(block, mNegated.begin(), std::negate());
    return {mNegated.data(), block.size()};
}

/// Stores the block that was taken, and leaves none.
void fi::SideStores::store() {
    if (mRight.moves.count == 0 && (!mLeft || mLeft->moves.count == 0)) {
        return;
    }
    Tally tally;
    mRight.stores.store(mRight.moves, tally);
    if (mLeft) {
        // Overflows of a kept element were counted when it was stored.
        Tally ofLeft;
        mLeft->stores.store(mLeft->moves, ofLeft);
        ofLeft.overflows = 0;
        ofLeft.underflows = 0;
        tally.join(ofLeft);
    }
    ArrayStores::append(tally, mLog, mTotal, [this] { return firstZero(); });
    mRight.noteLast();
    mRight.moves.count = 0;
    if (mLeft) {
        mLeft->noteLast();
        mLeft->moves.count = 0;
    }
}

fi::ArrayStores::Zero fi::SideStores::firstZero() const {
    const auto ofRight = mRight.stores.firstZero(mRight.moves);
    const auto ofLeft = mLeft ? mLeft->stores.firstZero(mLeft->moves) : std::nullopt;
    const bool isLeft = !ofRight || (ofLeft && ofLeft->place < ofRight->place);
    return isLeft ? *ofLeft : *ofRight;
}

void fi::SideStores::setCurrentElements() {
    const bool endsLeft = mLeft && mLeft->lastTo > mRight.lastTo;
    // Both sides may be one array, whose last use counts.
    for (const Side* side : {endsLeft ? &mRight : mLeft ? &*mLeft : nullptr, endsLeft ? &*mLeft : &mRight}) {
        if (side != nullptr && side->lastTo) {
            side->source.setIndex(side->lastFrom);
            mTarget.setIndex(*side->lastTo);
        }
    }
}
