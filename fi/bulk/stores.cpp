#include "fi/bulk/stores.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>

#include "fi/bulk/entries.h"
#include "fi/bulk/lane_loops.h"
#include "fi/bulk/wide_stores.h"

using namespace tolvane::detail;

bool fi::ArrayStores::serve(const fi& source, const fi& target) {
    const auto areInDoubles = [](const fi& array) {
        return entries::isInDoubles(array.mReal, array.mNumel) &&
               (array.isreal() || entries::isInDoubles(array.imagPart(), array.mNumel));
    };
    if (!(source.isempty() || areInDoubles(source)) || !areInDoubles(target) ||
        (target.isreal() && source.iscomplex())) {
        return false;
    }
    const quantizer& q = target.getAssignmentQuantizer();
    const bool hasSlopeBias = target.isSlopeBiasScaled() || source.isSlopeBiasScaled();
    if (target.getNumericType().isequivalent(source.getNumericType())) {
        if (!getLogging()) {
            return target.isreal() || source.iscomplex() || !hasSlopeBias;
        }
        return !hasSlopeBias && laneloops::areAvailable() &&
               (!target.isScaledDouble() || (q.hasArrayLoops() && q.keepsValues()));
    }
    // A narrower word is rounded in an element of the source's precision.
    const bool roundsInDoubles =
        target.getWordLength() >= source.getWordLength() || source.wordPrecision() <= doublenumber::kScalarPrecision;
    return !hasSlopeBias && roundsInDoubles && (q.hasArrayLoops() || !q.getQlogger().isLogging());
}

fi::ArrayStores::ArrayStores(const fi& source, fi& target)
    : mQuantizer(target.getAssignmentQuantizer()),
      mIsEqualType(target.getNumericType().isequivalent(source.getNumericType())),
      mCounts(mIsEqualType ? getLogging() : mQuantizer.getQlogger().isLogging()),
      mQuantizes(mIsEqualType ? mCounts && target.isScaledDouble() : true),
      mReal{entries::doublesOf(source.mReal, source.mNumel).data(),
            entries::doublesOf(target.mReal, target.mNumel).data()},
      mImag{nullptr, nullptr} {
    if (target.iscomplex()) {
        mImag.source = source.isreal() ? nullptr : entries::doublesOf(source.imagPart(), source.mNumel).data();
        mImag.target = entries::doublesOf(target.imagEntries(), target.mNumel).data();
        // A narrower word takes the zeros as they are.
        mImag.isPlain = source.isreal() && !mIsEqualType && target.getWordLength() < source.getWordLength();
    }
}

void fi::ArrayStores::storePart(const Part& part, const Moves& moves, Tally& tally) {
    const std::span<double> values(moves.isRun ? part.target + moves.to.front() : mValues.data(), moves.count);
    if (part.source == nullptr) {
        std::ranges::fill(values, 0.0);
    } else {
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = part.source[moves.from[i]];
        }
    }
    if (!part.isPlain) {
        if (mIsEqualType && mCounts) {
            tally.join(laneloops::extremes(values.data(), values.size()));
        }
        if (mQuantizes) {
            mQuantizer.quantizeAndTally(values, values, mCounts ? &tally : nullptr);
        }
    }
    if (!moves.isRun) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            part.target[moves.to[i]] = values[i];
        }
    }
}

void fi::ArrayStores::store(const Moves& moves, Tally& tally) {
    if (moves.count == 0) {
        return;
    }
    storePart(mReal, moves, tally);
    if (mImag.target != nullptr) {
        storePart(mImag, moves, tally);
    }
}

std::optional<fi::ArrayStores::Zero> fi::ArrayStores::firstZero(const Moves& moves) const {
    for (std::size_t i = 0; mCounts && i < moves.count; ++i) {
        const std::uint64_t place = moves.isRun ? moves.to.front() + i : moves.to[i];
        for (const Part& part : {mReal, mImag}) {
            if (part.target != nullptr && !part.isPlain && part.target[place] == 0.0) {
                return Zero{place, std::signbit(part.target[place])};
            }
        }
    }
    return std::nullopt;
}

void fi::ArrayStores::store(const Moves& moves) {
    Tally block;
    store(moves, block);
    append(block, mQuantizer.getQlogger(), mTotal, [&] { return *firstZero(moves); });
}

void fi::ArrayStores::copyRun(std::uint64_t from, std::uint64_t to, std::uint64_t count) const {
    for (const Part& part : {mReal, mImag}) {
        if (part.target != nullptr && part.source != nullptr) {
            std::copy_n(part.source + from, count, part.target + to);
        } else if (part.target != nullptr) {
            std::fill_n(part.target + to, count, 0.0);
        }
    }
}

void fi::ArrayStores::handOver() {
    mTotal.handTo(mQuantizer.getQlogger());
}

void fi::copydata(const fi& source) {
    errorIfComplexOntoSlopeBias(source);
    if (this == &source) {
        return;
    }
    if (sharesElementsOf(source)) {
        // Elements that are overwritten, or removed by a change of size, may still be needed.
        copydata(*source.detached());
        return;
    }
    resizeAndZero(source.dims(), source.ndims(), source.numel(), getNumericType(), getFimath(), source.iscomplex());
    const std::uint64_t count = source.numel();
    if (count == 0) {
        return;
    }
    if (ArrayStores::serve(source, *this)) {
        ArrayStores stores(source, *this);
        ArrayStores::Moves moves;
        moves.isRun = true;
        for (std::uint64_t begin = 0; begin < count; begin += moves.count) {
            moves.count = std::min<std::uint64_t>(moves.kMost, count - begin);
            std::iota(moves.from.begin(), moves.from.begin() + static_cast<std::ptrdiff_t>(moves.count), begin);
            moves.to.front() = begin;
            stores.store(moves);
        }
        stores.handOver();
        source.setIndex(count - 1);
        setIndex(count - 1);
        return;
    }
    if (!WideStores::assign(source, *this)) {
        for (std::uint64_t i = 0; i < count; ++i) {
            source.setIndex(i);
            setIndex(i);
            *this = source;
        }
        return;
    }
    source.setIndex(count - 1);
    setIndex(count - 1);
}
