#include "fi/bulk/wide_sums.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "fi/bulk/integer_machine.h"
#include "fi/bulk/wide_parts.h"
#include "fi/result_types/plain_words.h"
#include "fi/result_types/work_cells.h"
#include "quantization/tally.h"

namespace tolvane::detail::wide {

namespace {

using integers::Arena;
using integers::Block;
using integers::Extent;
using integers::Factor;
using integers::IntegerTally;
using integers::kBlock;
using integers::Sign;

/// The bits of cells of a stored precision, which are doubles up to 52.
int cellBits(unsigned precision) {
    return areEntriesDoubles(precision) ? ExtentMachine::kDoubleBits
                                        : static_cast<int>(mpnumber::elementPrecision(precision));
}
/// The bits of the cells of an array.
int cellBits(const number& cell) {
    return cell.asDouble() ? ExtentMachine::kDoubleBits : cellBits(cell.getprecision());
}

/// The lanes of a block that take part in a term.
struct Lanes {
    std::size_t begin;
    std::size_t end;
};

/// One part of each of both factors of a term, for those lanes.
struct Term {
    Block movingReal;
    Block movingImag;
    Factor fixedReal;
    Factor fixedImag;
};

/// The computation of sums: the formats of the places, the proof, and the machine.
class Sums {
 public:
    /// For sums of that many products of factors that have so many bits together.
    Sums(const SumPlaces& places, const Operand& left, const Operand& right, unsigned factorBits, std::uint64_t terms)
        : mPlaces(places),
          mProductQ(places.product.getAssignmentQuantizer()),
          mPairQ(places.pair.getAssignmentQuantizer()),
          mSumQ(places.sum.getAssignmentQuantizer()),
          mIsPair(left.imag && right.imag),
          mLeftIsComplex(left.imag),
          mRightIsComplex(right.imag),
          mFactorWidth(integers::widthFor(std::max(left.neededBits(), right.neededBits()))) {
        mHolds = mProductQ.isFixedPoint() && mSumQ.isFixedPoint() && (!mIsPair || mPairQ.isFixedPoint());
        if (mHolds) {
            prove(left.extent(), right.extent(), factorBits, terms);
        }
    }
    /// Whether the integers give what the element steps give.
    bool holds() const { return mHolds; }
    std::size_t width() const { return mWidth; }
    std::size_t factorWidth() const { return mFactorWidth; }
    bool counts() const { return mCounts; }

    /// Makes room to compute.
    void open() {
        mArena.emplace(mWidth, 5);
        mCounts = isLogging(mProductQ) || isLogging(mSumQ) || (mIsPair && isLogging(mPairQ));
        if (mCounts) {
            mTallies.assign(3, IntegerTally(mWidth));
        }
        const auto tally = [this](std::size_t i) { return mCounts ? &mTallies[i] : nullptr; };
        mMachine.emplace(IntegerMachine::Place{integers::formatOf(mProductQ), false, tally(0)},
                         IntegerMachine::Place{pairFormat(), mPlaces.pair.getCastBeforeSum(), tally(1)},
                         IntegerMachine::Place{integers::formatOf(mSumQ), mPlaces.sum.getCastBeforeSum(), tally(2)},
                         mWidth, mArena->next());
        mMachine->setFactorWidth(mFactorWidth);
        if (mIsExact) {
            mMachine->setSums(mSumExtent);
        }
        mCell = mArena->next();
        mOther = mArena->next();
        mReal = mArena->next();
        mImag = mArena->next();
    }
    /// Counters of the overflows of each result, for those from `first` on.
    void countOverflows(std::uint64_t* overflows, std::size_t first) {
        mMachine->sum.overflows = overflows;
        mFirst = first;
    }

    /// Starts sums of that many lanes at zero.
    void start(std::size_t lanes) {
        for (Block* const total : {&mReal, &mImag}) {
            std::fill_n(total->limbs, lanes * mWidth, 0);
            total->negativeZeros = 0;
            total->extent = addsOnly() ? mSumExtent : integers::extentOf(integers::formatOf(mSumQ).grid);
        }
    }
    /// Adds a term.
    void add(const Term& term, const Lanes& lanes) {
        mMachine->setCount(lanes.end - lanes.begin);
        mMachine->setFirst(mFirst + lanes.begin);
        addPart(mReal, lanes, Sign::minus, term.movingReal, term.fixedReal, term.movingImag, term.fixedImag);
        if (mIsPair) {
            addPart(mImag, lanes, Sign::plus, term.movingImag, term.fixedReal, term.movingReal, term.fixedImag);
        } else if (mLeftIsComplex || mRightIsComplex) {
            const bool moves = term.movingImag.limbs != nullptr;
            addPart(mImag, lanes, Sign::plus, moves ? term.movingImag : term.movingReal,
                    moves ? term.fixedReal : term.fixedImag, {}, {});
        }
        mLaneTerms += lanes.end - lanes.begin;
    }
    /// The sums, as values of their format.
    Block& real(std::size_t lanes) { return finished(mReal, lanes); }
    Block& imag(std::size_t lanes) { return finished(mImag, lanes); }

    /// Hands over what was counted. Returns false, and has handed over nothing, if the sign of a zero extreme depends
    /// on the order of the element steps.
    bool handOver(bool countsProducts) {
        if (!mCounts) {
            return true;
        }
        const qlogger* const logs[] = {&mProductQ.getQlogger(), &mPairQ.getQlogger(), &mSumQ.getQlogger()};
        const bool startsWithZero = mPlaces.castsTotal && mMachine->sum.casts;
        if (startsWithZero) {
            // The first value of all is the zero that the sums start with.
            mTallies[2].settle(false);
        }
        for (std::size_t i = 0; i < mTallies.size(); ++i) {
            if (mTallies[i].isOpenFor(*logs[i]) || mTallies[i].hasTinyExtremes()) {
                return false;
            }
        }
        for (std::size_t i = 0; i < mTallies.size(); ++i) {
            if (i != 1 || mIsPair) {
                mTallies[i].handTo(*logs[i]);
            }
        }
        addMathOperations(*logs[2], mLaneTerms);
        if (countsProducts && !mIsPair && mLaneTerms > 0) {
            addMathOperations(*logs[0], mLaneTerms);
        }
        return true;
    }
    /// How often a term was added to a result.
    std::uint64_t laneTerms() const { return mLaneTerms; }

 private:
    static bool isLogging(const quantizer& q) { return q.getQlogger().isLogging(); }
    integers::Format pairFormat() const { return integers::formatOf(mIsPair ? mPairQ : mSumQ); }
    /// Whether steps come to additions.
    bool addsOnly() const { return mIsExact && !mCounts; }

    void prove(const Extent& left, const Extent& right, unsigned factorBits, std::uint64_t terms) {
        // The products of a pair have cells of their own.
        const int pairCells = cellBits(std::max(wordBits(mPlaces.pair), factorBits + 1));
        const int productCells =
            mIsPair ? std::min(cellBits(mPlaces.pair.real()), pairCells) : cellBits(mPlaces.product.real());
        const integers::Format productFormat = integers::formatOf(mProductQ);
        const integers::Format sumFormat = integers::formatOf(mSumQ);
        const bool castsSum = mPlaces.sum.getCastBeforeSum();
        // Terms are converted in cells that hold products and sums; the sums of two such are exact in any.
        const int sumCells =
            castsSum ? cellBits(std::max({wordBits(mPlaces.sum), wordBits(mPlaces.product), wordBits(mPlaces.pair)}))
                     : cellBits(mPlaces.sum.real());
        const ExtentMachine::Place pair{pairFormat(), mPlaces.pair.getCastBeforeSum(), productCells};
        const ExtentMachine::Place sum{sumFormat, castsSum, sumCells};
        ExtentMachine proof({productFormat, false, productCells}, pair, sum);

        Extent cell;
        Extent other;
        Extent product = integers::productOf(left, right);
        mIsExact = covers(productFormat, product);
        if (mIsPair) {
            const Extent both = integers::sumOf(Sign::minus, product, product);
            mIsExact = mIsExact && covers(pair.format, both) && covers(pair.format, product);
            steps::multiplyPairStep(proof, Sign::minus, cell, other, left, right, left, right);
            product = both;
        } else {
            steps::multiplyStep(proof, cell, left, right);
        }
        mSumExtent = product;
        mSumExtent.bits += static_cast<int>(std::bit_width(std::max<std::uint64_t>(terms, 1) - 1));
        mIsExact = mIsExact && covers(sumFormat, mSumExtent);
        Extent total = integers::extentOf(sumFormat.grid);
        if (mIsExact) {
            // Values stay as they are in any cells.
            ExtentMachine exact({productFormat, false, 1 << 24}, {pair.format, pair.casts, 1 << 24},
                                {sumFormat, castsSum, 1 << 24});
            exact.hold(mSumExtent);
            exact.hold(integers::roundedOf(sumFormat, mSumExtent));
            steps::accumulateStep(exact, exact.sum, Sign::plus, total, cell);
            mWidth = std::max(proof.width(), exact.width());
            return;
        }
        proof.requireSums(sumFormat, cell, castsSum, cellBits(mPlaces.sum.real()));
        steps::accumulateStep(proof, proof.sum, Sign::plus, total, cell);
        mHolds = proof.holds();
        mWidth = proof.width();
    }

    void addPart(Block& all, const Lanes& lanes, Sign sign, const Block& a, const Factor& b, const Block& c,
                 const Factor& d) {
        const std::size_t count = lanes.end - lanes.begin;
        if (addsOnly()) {
            Block total = integers::slice(all, lanes.begin, mWidth);
            integers::accumulate(Sign::plus, a, b, count, mFactorWidth, mWidth, mCell, total);
            if (c.limbs && mIsPair) {
                integers::accumulate(sign, c, d, count, mFactorWidth, mWidth, mCell, total);
            }
            return;
        }
        IntegerMachine& m = *mMachine;
        if (mIsPair) {
            steps::multiplyPairStep(m, sign, mCell, mOther, a, b, c, d);
        } else {
            steps::multiplyStep(m, mCell, a, b);
        }
        Block total = integers::slice(all, lanes.begin, mWidth);
        const std::uint64_t used = (count == kBlock ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1);
        total.negativeZeros &= used;
        if (mPlaces.castsTotal) {
            steps::combineStep(m, m.sum, Sign::plus, total, mCell);
        } else {
            steps::accumulateStep(m, m.sum, Sign::plus, total, mCell);
        }
        all.negativeZeros = (all.negativeZeros & ~(used << lanes.begin)) | total.negativeZeros << lanes.begin;
        all.extent = total.extent;
    }
    Block& finished(Block& total, std::size_t lanes) {
        if (addsOnly()) {
            integers::quantize(integers::formatOf(mSumQ), lanes, mWidth, total, nullptr);
        }
        return total;
    }

    const SumPlaces& mPlaces;
    const quantizer& mProductQ;
    const quantizer& mPairQ;
    const quantizer& mSumQ;
    bool mIsPair;
    bool mLeftIsComplex;
    bool mRightIsComplex;
    std::size_t mFactorWidth;
    std::size_t mWidth = 0;
    bool mHolds = false;
    bool mIsExact = false;
    bool mCounts = false;
    Extent mSumExtent;
    std::optional<Arena> mArena;
    std::vector<IntegerTally> mTallies;
    std::optional<IntegerMachine> mMachine;
    Block mCell;
    Block mOther;
    Block mReal;
    Block mImag;
    std::size_t mFirst = 0;
    std::uint64_t mLaneTerms = 0;
};

/// Whether arrays have no slopes and biases, and no values are forced to floats of many bits.
bool areServed(const fi& left, const fi& right, const fi& sum) {
    return !number::getDefaultForceMultiplePrecision() && !left.isSlopeBiasScaled() && !right.isSlopeBiasScaled() &&
           !left.getFimath(right).isProductSlopeBiasScaled() && !right.getFimath(left).isProductSlopeBiasScaled() &&
           !sum.getFimath().isSumSlopeBiasScaled();
}

/// Both parts of an operand, side by side.
struct Panels {
    Panels(Operand& x, std::uint64_t count, std::size_t width) : real(x.real, count, width) {
        if (x.imag) {
            imag.emplace(*x.imag, count, width);
        }
    }
    Panel real;
    std::optional<Panel> imag;
};

}  // namespace

bool multiplyMatrices(const fi& left, const fi& right, const SumPlaces& places, fi& result,
                      const ByElements& byElements) {
    if (result.numel() == 0 || left.getN() == 0 || !areServed(left, right, places.sum)) {
        return false;
    }
    std::optional<Operand> a = Operand::of(left);
    std::optional<Operand> b = Operand::of(right);
    if (!a || !b) {
        return false;
    }
    const std::uint64_t rows = left.getM();
    const std::uint64_t inner = left.getN();
    const std::uint64_t columns = right.getN();
    Sums sums(places, *a, *b, wordBits(left) + wordBits(right), inner);
    std::optional<Results> out = sums.holds() ? Results::ofSums(result) : std::nullopt;
    if (!out) {
        return false;
    }
    sums.open();
    const Panels moving(*a, rows * inner, sums.factorWidth());
    const Panels fixed(*b, inner * columns, sums.factorWidth());
    for (std::uint64_t column = 0; column < columns; ++column) {
        for (std::uint64_t row = 0; row < rows; row += kBlock) {
            const std::size_t lanes = std::min<std::uint64_t>(kBlock, rows - row);
            sums.start(lanes);
            for (std::uint64_t k = 0; k < inner; ++k) {
                const std::uint64_t from = k * rows + row;
                const std::uint64_t at = column * inner + k;
                sums.add({moving.real.block(from, lanes), moving.imag ? moving.imag->block(from, lanes) : Block(),
                          fixed.real.factor(at), fixed.imag ? fixed.imag->factor(at) : Factor()},
                         {0, lanes});
            }
            out->real.store(sums.real(lanes), column * rows + row, lanes, sums.width());
            if (out->imag) {
                out->imag->store(sums.imag(lanes), column * rows + row, lanes, sums.width());
            }
        }
    }
    if (!sums.handOver(true)) {
        out->clear();
        byElements(0, columns);
        return true;
    }
    if (sums.counts() && &places.sum != &result && qlogger::getLogging()) {
        // Each running sum was stored there; the caller takes the extremes over.
        const qlogger& log = result.getQlogger();
        log.setNoperations(log.getNoperations() + sums.laneTerms() * (out->imag ? 2 : 1));
    }
    for (const fi* array : {&left, &right, static_cast<const fi*>(&result)}) {
        array->setIndex(array->numel() - 1);
    }
    return true;
}

// Convolutions: every element is a sum over the shorter operand, whose values stand for all lanes, while the longer one
// moves along.

namespace {

/// What the stores of sums in the result leave in its log.
class StoreLog {
 public:
    StoreLog(std::size_t width, const fi& result) : mTally(width), mResult(result) {}

    void note(const Block& sums, std::size_t count, std::size_t width) {
        integers::Notes notes = mTally.blank();
        integers::watch(sums, count, width, notes);
        mTally.join(notes, count, sums.extent.exponent);
    }
    void handOver() {
        const qlogger& log = mResult.getQlogger();
        if (mTally.isOpenFor(log)) {
            std::uint64_t i = 0;
            while (!mResult.real(i).iszero() && !(mResult.iscomplex() && mResult.imag(i).iszero())) {
                ++i;
            }
            const number& zero = mResult.real(i).iszero() ? mResult.real(i) : mResult.imag(i);
            mTally.settle(isNegativeZero(zero));
        }
        mTally.handTo(log);
    }

 private:
    static bool isNegativeZero(const number& zero) {
        return zero.asDouble() ? std::signbit(zero.todouble()) : zero.isnegative();
    }

    IntegerTally mTally;
    const fi& mResult;
};

/// The terms of a block of elements of a convolution, in the order of rising elements of the left operand.
struct ConvolutionTerms {
    ConvolutionTerms(std::uint64_t element, std::size_t width, std::uint64_t leftCount, std::uint64_t rightCount)
        : lanes(static_cast<std::int64_t>(width)), length(static_cast<std::int64_t>(std::max(leftCount, rightCount))) {
        const auto n = static_cast<std::int64_t>(element);
        const auto shortCount = static_cast<std::int64_t>(std::min(leftCount, rightCount));
        // Position n + i - k of the longer one for element k of the shorter: only terms that any lane takes part in.
        const std::int64_t least = std::max<std::int64_t>(0, n - (length - 1));
        const std::int64_t greatest = std::min<std::int64_t>(shortCount - 1, n + lanes - 1);
        count = std::max<std::int64_t>(greatest - least + 1, 0);
        const bool rightIsShort = rightCount <= leftCount;
        step = rightIsShort ? 1 : -1;
        firstShort = rightIsShort ? greatest : least;
        start = n - firstShort;
    }
    /// The lanes of a term, and the position of the first of them in the longer operand.
    Lanes lanesOf(std::int64_t term) const {
        const std::int64_t first = start + term * step;
        const std::int64_t begin = std::clamp<std::int64_t>(-first, 0, lanes);
        return {static_cast<std::size_t>(begin),
                static_cast<std::size_t>(std::clamp<std::int64_t>(length - first, begin, lanes))};
    }
    std::uint64_t positionOf(std::int64_t term, const Lanes& used) const {
        return static_cast<std::uint64_t>(start + term * step) + used.begin;
    }
    std::uint64_t shortOf(std::int64_t term) const { return static_cast<std::uint64_t>(firstShort - term * step); }

    std::int64_t lanes;
    std::int64_t length;
    std::int64_t count;
    std::int64_t step;
    std::int64_t firstShort;
    std::int64_t start;  // the position of lane 0 in the longer operand, at the first term
};

}  // namespace

bool convolve(const fi& left, const fi& right, std::uint64_t offset, const SumPlaces& places, fi& result,
              bool countsRunningOverflows, const ByElements& byElements) {
    const std::uint64_t leftCount = left.numel();
    const std::uint64_t rightCount = right.numel();
    const std::uint64_t count = result.numel();
    if (count == 0 || leftCount == 0 || rightCount == 0 || !areServed(left, right, places.sum)) {
        return false;
    }
    std::optional<Operand> a = Operand::of(left);
    std::optional<Operand> b = Operand::of(right);
    if (!a || !b) {
        return false;
    }
    Sums sums(places, *a, *b, wordBits(left) + wordBits(right), std::min(leftCount, rightCount));
    std::optional<Results> out = sums.holds() ? Results::ofSums(result) : std::nullopt;
    if (!out) {
        return false;
    }
    sums.open();
    const bool rightIsShort = rightCount <= leftCount;
    const Panels moving(rightIsShort ? *a : *b, std::max(leftCount, rightCount), sums.factorWidth());
    const Panels fixed(rightIsShort ? *b : *a, std::min(leftCount, rightCount), sums.factorWidth());
    // Elements beyond the full convolution have no terms.
    WorkVector<std::uint64_t> overflows(sums.counts() ? count : 0);
    StoreLog stores(sums.width(), result);
    for (std::uint64_t i = 0; i < count; i += kBlock) {
        const std::size_t lanes = std::min<std::uint64_t>(kBlock, count - i);
        const ConvolutionTerms terms(i + offset, lanes, leftCount, rightCount);
        sums.start(lanes);
        if (sums.counts()) {
            sums.countOverflows(overflows.data(), i);
        }
        for (std::int64_t t = 0; t < terms.count; ++t) {
            const Lanes used = terms.lanesOf(t);
            if (used.begin == used.end) {
                continue;
            }
            const std::uint64_t from = terms.positionOf(t, used);
            const std::size_t length = used.end - used.begin;
            const std::uint64_t at = terms.shortOf(t);
            sums.add({moving.real.block(from, length), moving.imag ? moving.imag->block(from, length) : Block(),
                      fixed.real.factor(at), fixed.imag ? fixed.imag->factor(at) : Factor()},
                     used);
        }
        const auto store = [&](Block& total, Target& to) {
            to.store(total, i, lanes, sums.width());
            if (sums.counts()) {
                stores.note(total, lanes, sums.width());
            }
        };
        store(sums.real(lanes), out->real);
        if (out->imag) {
            store(sums.imag(lanes), *out->imag);
        }
    }
    if (!sums.handOver(true)) {
        out->clear();
        byElements(0, count);
        return true;
    }
    if (sums.counts() && qlogger::getLogging()) {
        if (&places.sum != &result) {
            stores.handOver();
        }
        if (countsRunningOverflows && places.sum.getQlogger().isLogging()) {
            std::uint64_t running = 0;
            for (std::uint64_t i = 0; i < count; ++i) {
                running += overflows[i] * (count - i);
            }
            places.pair.getQlogger().addtoOverflows(running);
        }
    }
    result.setIndex(count - 1);
    left.setIndex(std::min(offset + count, leftCount) - 1);
    return true;
}

// Sums of columns.

namespace {

/// Few columns: sums along each of them, a block of terms at a time, which are in the units of the sum's format or
/// greater ones once they are converted.
class RunningSums {
 public:
    /// The least number of columns that are summed side by side faster.
    static constexpr std::uint64_t kManyColumns = 32;

    static Extent extentOf(const integers::Format& format, const Extent& term, bool casts) {
        const Extent total = integers::extentOf(format.grid);
        Extent sums = integers::sumOf(Sign::plus, total, casts ? total : term);
        sums.bits += static_cast<int>(std::bit_width(kBlock - 1));
        return sums;
    }

    RunningSums(const IntegerMachine::Place& place, const Extent& term, bool isExact, std::size_t width)
        : mPlace(place),
          mExtent(extentOf(place.format, term, place.casts)),
          mWidth(width),
          mMustLook(place.tally != nullptr || !isExact),
          mArena(width, 4),
          mMachine(place, place, place, width, mArena.next()),
          mTerms(mArena.next()),
          mSums(mArena.next()),
          mTotal(mArena.next()) {}

    /// The sum of a part's elements from `begin` to `end`.
    const Block& sum(Source& part, std::uint64_t begin, std::uint64_t end) {
        std::fill_n(mTotal.limbs, mWidth, 0);
        mTotal.extent = integers::extentOf(mPlace.format.grid);
        for (; begin < end; begin += kBlock) {
            const std::size_t count = std::min<std::uint64_t>(kBlock, end - begin);
            part.take(begin, count, mTerms);
            add(count);
        }
        return mTotal;
    }

 private:
    void add(std::size_t count) {
        mMachine.setCount(count);
        if (mPlace.casts) {
            mMachine.quantize(mMachine.sum, mTerms);
        }
        integers::align(mPlace.format.grid.exponent, count, mWidth, mTerms);
        for (std::size_t done = 0; done < count;) {
            Block terms = integers::slice(mTerms, done, mWidth);
            integers::copy(terms, count - done, mWidth, mSums);
            integers::sumAlong(mTotal, count - done, mWidth, mSums);
            mSums.extent = mExtent;
            const std::size_t held = mMustLook ? force(count - done) : count - done;
            done += held;
            std::copy_n(mSums.limbs + (held - 1) * mWidth, mWidth, mTotal.limbs);
        }
    }
    /// Forces sums into the format up to the first that isn't of it, from which on they are others; returns how many.
    std::size_t force(std::size_t count) {
        integers::Notes notes = mTally.blank();
        integers::quantize(mPlace.format, count, mWidth, mSums, &notes);
        const std::size_t held =
            notes.overflowing == 0 ? count : static_cast<std::size_t>(std::countr_zero(notes.overflowing)) + 1;
        if (mPlace.tally) {
            if (held < count) {
                mSums.extent = mExtent;
                notes.overflows = 1;
                integers::watch(mSums, held, mWidth, notes);
            }
            mPlace.tally->join(notes, held, mPlace.format.grid.exponent);
        }
        return held;
    }

    IntegerMachine::Place mPlace;
    Extent mExtent;
    std::size_t mWidth;
    bool mMustLook;
    Arena mArena;
    IntegerMachine mMachine;
    IntegerTally mTally{mWidth};
    Block mTerms;
    Block mSums;
    Block mTotal;
};

}  // namespace

bool sumColumns(const fi& x, fi& result, const ByElements& byElements) {
    const std::uint64_t rows = x.getM();
    const std::uint64_t columns = x.getN();
    const quantizer& q = result.getAssignmentQuantizer();
    if (x.numel() == 0 || !q.isFixedPoint() || number::getDefaultForceMultiplePrecision() || x.isSlopeBiasScaled() ||
        result.getFimath().isSumSlopeBiasScaled()) {
        return false;
    }
    std::optional<Operand> operand = Operand::of(x);
    if (!operand) {
        return false;
    }
    const integers::Format format = integers::formatOf(q);
    const Extent term = operand->extent();
    Extent all = term;
    all.bits += static_cast<int>(std::bit_width(rows - 1));
    const bool isExact = covers(format, all);
    const bool casts = result.getCastBeforeSum();
    const int cells = casts ? cellBits(std::max(wordBits(x), wordBits(result))) : cellBits(result.real());
    const ExtentMachine::Place extents{format, casts, isExact ? 1 << 24 : cells};
    ExtentMachine proof(extents, extents, extents);
    proof.hold(term);
    proof.hold(all);
    proof.hold(integers::roundedOf(format, all));
    Extent total = integers::extentOf(format.grid);
    if (!isExact) {
        proof.requireSums(format, term, casts, cellBits(result.real()));
    }
    steps::accumulateStep(proof, proof.sum, Sign::plus, total, term);
    const bool runsAlong = columns < RunningSums::kManyColumns && (casts || term.exponent >= format.grid.exponent);
    if (runsAlong) {
        const int needed = integers::neededBits(format, RunningSums::extentOf(format, term, casts));
        proof.hold({format.grid.exponent, needed, true});
    }
    std::optional<Results> out = proof.holds() ? Results::ofSums(result) : std::nullopt;
    if (!out) {
        return false;
    }
    const qlogger& log = q.getQlogger();
    const bool counts = log.isLogging();
    const std::size_t width = proof.width();
    Arena arena(width, 4);
    IntegerTally tally(width);
    const IntegerMachine::Place place{format, casts, counts ? &tally : nullptr};
    IntegerMachine machine(place, place, place, width, arena.next());
    if (isExact) {
        machine.setSums(all);
    }
    Block sums = arena.next();
    const auto sumPart = [&](Source& part, Target& to) {
        if (runsAlong) {
            part.open(arena, width);
            RunningSums running(place, term, isExact, width);
            for (std::uint64_t column = 0; column < columns; ++column) {
                to.store(running.sum(part, column * rows, (column + 1) * rows), column, 1, width);
            }
            return;
        }
        const Panel panel(part, rows, columns, width);
        for (std::uint64_t column = 0; column < columns; column += kBlock) {
            const std::size_t lanes = std::min<std::uint64_t>(kBlock, columns - column);
            machine.setCount(lanes);
            std::fill_n(sums.limbs, lanes * width, 0);
            sums.negativeZeros = 0;
            sums.extent = integers::extentOf(format.grid);
            for (std::uint64_t row = 0; row < rows; ++row) {
                const Block values = panel.block(row * columns + column, lanes);
                steps::accumulateStep(machine, machine.sum, Sign::plus, sums, values);
            }
            to.store(sums, column, lanes, width);
        }
    };
    sumPart(operand->real, out->real);
    if (out->imag) {
        sumPart(*operand->imag, *out->imag);
    }
    if (counts && (tally.isOpenFor(log) || tally.hasTinyExtremes())) {
        out->clear();
        byElements(0, columns);
        return true;
    }
    if (counts) {
        tally.handTo(log);
        addMathOperations(log, rows * columns);
    }
    x.setIndex(x.numel() - 1);
    result.setIndex(result.numel() - 1);
    return true;
}

}  // namespace tolvane::detail::wide
