#include "fi/bulk/elementwise.h"

#include <algorithm>
#include <array>
#include <optional>

#include "fi/bulk/block_machine.h"
#include "fi/bulk/blocks.h"

namespace tolvane::detail::elementwise {

namespace {

using arrayblocks::Block;
using arrayblocks::kBlock;
using arrayblocks::Source;
using laneloops::Operands;
using laneloops::Places;
using laneloops::Tallies;
using laneloops::Treatment;
using Values = std::span<const double>;

/// The places of an operation with what their logs have yet to be given.
class Ledger {
 public:
    Ledger(const qlogger& product, const qlogger& pair, const qlogger& sum, const qlogger& result)
        : mEntries{{{Tally(), product}, {Tally(), pair}, {Tally(), sum}, {Tally(), result}}} {}

    /// Whether the sign of a zero extreme depends on the order of the steps within the block.
    bool isOpen(const Tallies& block, const Tally& result) const {
        return mEntries[0].isOpen(block.product) || mEntries[1].isOpen(block.pair) || mEntries[2].isOpen(block.sum) ||
               mEntries[3].isOpen(result);
    }
    void append(const Tallies& block, const Tally& result) {
        mEntries[0].total.append(block.product);
        mEntries[1].total.append(block.pair);
        mEntries[2].total.append(block.sum);
        mEntries[3].total.append(result);
    }
    void handOver() {
        for (Entry& entry : mEntries) {
            if (entry.total.values > 0) {
                entry.total.handTo(entry.log);
                entry.total = Tally();
            }
        }
    }

 private:
    struct Entry {
        bool isOpen(const Tally& block) const {
            return (block.greatestZeros == Tally::both && total.greatest < 0.0 && log.isMaxNegative()) ||
                   (block.leastZeros == Tally::both && total.least > 0.0 && log.isMinPositive());
        }
        Tally total;
        const qlogger& log;
    };
    std::array<Entry, 4> mEntries;
};

bool isMissingLoops(const quantizer& q, bool counts) {
    return counts && !q.hasArrayLoops();
}

/// Runs blocks one after the other. `runBlock(begin, length, tallies, result)` computes one and says what its places
/// noted, `logMath(length)` counts its operations.
template <class RunBlock, class LogMath>
void runCounted(std::size_t count, Ledger ledger, const RunBlock& runBlock, const LogMath& logMath,
                const ByElements& byElements) {
    for (std::size_t begin = 0; begin < count; begin += kBlock) {
        const std::size_t length = std::min(kBlock, count - begin);
        Tallies tallies;
        Tally result;
        runBlock(begin, length, tallies, result);
        if (ledger.isOpen(tallies, result)) {
            ledger.handOver();
            byElements(begin, begin + length);
        } else {
            ledger.append(tallies, result);
            logMath(length);
        }
    }
    ledger.handOver();
}

void addMathOperations(const qlogger& log, std::size_t count) {
    if (qlogger::getLogging()) {
        log.setNMathOperations(log.getNMathoperations() + count);
    }
}

// Sums.

class Addition {
 public:
    Addition(Sign sign, const quantizer& q, bool castsBeforeSum)
        : mSign(sign), mQuantizer(q), mHasLoops(q.hasFixedKernel()) {
        mPlaces.castsSum = castsBeforeSum;
        if (mHasLoops) {
            mPlaces.treatment = Treatment::examine;
            mPlaces.rule = laneloops::ruleOf(q);
            mPlaces.sum = q.getDoubleLimits();
            mPlaces.sumMembers = membershipOf(q);
        }
    }

    /// Computes one block of one part. An empty right side takes no part, as that of a real operand.
    void run(Values left, Values right, std::span<double> out, Tallies* tallies) {
        if (right.empty()) {
            // The zero of a real operand isn't added.
            runPlaces(left, {}, out, tallies);
            return;
        }
        if (!mHasLoops) {
            runPlaces(left, right, out, tallies);
            return;
        }
        const auto run = [&] {
            Tallies noted;
            const bool holds = laneloops::add(mPlaces, mSign, {left.data(), right.data()}, out.data(), out.size(),
                                              tallies ? &noted : nullptr);
            if (tallies && holds) {
                noted.sum.values = (mPlaces.castsSum ? 3 : 1) * out.size();
                tallies->sum.join(noted.sum);
            }
            return holds;
        };
        if (!run()) {
            // If one block fails the proof, the next probably will too.
            mPlaces.treatment = Treatment::quantize;
            run();
        }
    }

 private:
    void runPlaces(Values left, Values right, std::span<double> out, Tallies* tallies) {
        const BlockMachine::Place sum{mQuantizer, mPlaces.castsSum, tallies ? &tallies->sum : nullptr};
        BlockMachine machine(sum, sum, sum, mScratch.data());
        std::ranges::copy(left, out.begin());
        if (!right.empty()) {
            steps::combineStep(machine, machine.sum, mSign, out, right);
            return;
        }
        if (mPlaces.castsSum) {
            machine.quantize(sum, out);
        }
        machine.quantize(sum, out);
    }

    Sign mSign;
    const quantizer& mQuantizer;
    bool mHasLoops;
    Places mPlaces;
    Block mScratch;
};

}  // namespace

bool add(Sign sign, const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
         const quantizer& q, bool castsBeforeSum, const ByElements& byElements) {
    const bool counts = q.getQlogger().isLogging();
    if (isMissingLoops(q, counts)) {
        return false;
    }
    const std::size_t count = real.size();
    const bool isComplex = !imag.empty();
    Addition addition(sign, q, castsBeforeSum);
    const Source leftReal(left.real, left.isScalar, count);
    const Source rightReal(right.real, right.isScalar, count);
    const Source leftImag(left.imag, left.isScalar, isComplex ? count : 0);
    const Source rightImag(right.imag, right.isScalar, isComplex ? count : 0);
    const auto runReal = [&](std::size_t begin, std::size_t length, Tallies* tallies) {
        addition.run(leftReal.block(begin, length), rightReal.block(begin, length), real.subspan(begin, length),
                     tallies);
    };
    const auto runImag = [&](std::size_t begin, std::size_t length, Tallies* tallies) {
        addition.run(leftImag.block(begin, length), right.imag ? rightImag.block(begin, length) : Values(),
                     imag.subspan(begin, length), tallies);
    };
    if (!counts) {
        // One part after the other: processors follow few streams better than many.
        for (std::size_t begin = 0; begin < count; begin += kBlock) {
            runReal(begin, std::min(kBlock, count - begin), nullptr);
        }
        for (std::size_t begin = 0; isComplex && begin < count; begin += kBlock) {
            runImag(begin, std::min(kBlock, count - begin), nullptr);
        }
        return true;
    }
    const qlogger& log = q.getQlogger();
    runCounted(
        count, Ledger(log, log, log, log),
        [&](std::size_t begin, std::size_t length, Tallies& tallies, Tally&) {
            runReal(begin, length, &tallies);
            if (isComplex) {
                runImag(begin, length, &tallies);
            }
        },
        [&](std::size_t length) { addMathOperations(log, length); }, byElements);
    return true;
}

// Products.

namespace {

class Multiplication {
 public:
    Multiplication(const Quantizers& quantizers, bool isComplexByComplex) : mQuantizers(quantizers) {
        const quantizer& product = quantizers.product;
        const quantizer& sum = quantizers.sum;
        mHasLoops = product.hasFixedKernel();
        mPlaces.castsPair = quantizers.castsBeforeSum;
        if (isComplexByComplex) {
            mHasLoops = mHasLoops && sum.hasFixedKernel() && laneloops::ruleOf(product) == laneloops::ruleOf(sum);
            // Products are values of their format, and casting leaves them alone in a format that has all of these.
            mCastsSilently = mPlaces.castsPair && mHasLoops && covers(sum, product);
            mPlaces.castsPair = mPlaces.castsPair && !mCastsSilently;
        }
        if (mHasLoops) {
            mPlaces.treatment = Treatment::examine;
            mPlaces.rule = laneloops::ruleOf(product);
            mPlaces.product = product.getDoubleLimits();
            mPlaces.productMembers = membershipOf(product);
            if (isComplexByComplex) {
                mPlaces.sum = sum.getDoubleLimits();
                mPlaces.sumMembers = membershipOf(sum);
            }
        }
    }

    /// Computes products.
    void run(Values left, Values right, std::span<double> out, Tallies* tallies) {
        if (!mHasLoops) {
            BlockMachine machine = blockMachine(tallies);
            steps::multiplyStep(machine, out, left, right);
            return;
        }
        runLoops(tallies, [&](Tallies* noted) {
            const bool holds = laneloops::multiply(mPlaces, {left.data(), right.data()}, out.data(), out.size(), noted);
            if (noted) {
                noted->product.values = out.size();
            }
            return holds;
        });
    }

    /// Computes sums or differences of two products.
    void run(Sign sign, Operands first, Operands second, std::span<double> out, Tallies* tallies) {
        const std::size_t count = out.size();
        if (!mHasLoops) {
            BlockMachine machine = blockMachine(tallies);
            std::span<double> other(mOther.data(), count);
            const auto values = [count](const double* x) { return Values(x, count); };
            steps::multiplyPairStep(machine, sign, out, other, values(first.left), values(first.right),
                                    values(second.left), values(second.right));
            return;
        }
        runLoops(tallies, [&](Tallies* noted) {
            const bool holds = laneloops::multiplyPairs(mPlaces, sign, first, second, out.data(), count, noted);
            if (noted) {
                noted->product.values = 2 * count;
                if (mCastsSilently) {
                    noted->pair.joinExtremes(noted->product);
                }
                noted->pair.values = (mCastsSilently || mPlaces.castsPair ? 3 : 1) * count;
            }
            return holds;
        });
    }

    /// Notes the store of values in the result, which is of their own format; scaled doubles are watched once more.
    void noteStore(std::span<double> values, Tally& result) const {
        if (!qlogger::getLogging()) {
            return;
        }
        result.join(laneloops::extremes(values.data(), values.size()));
        if (mQuantizers.result.getNumericType().isScaledDouble()) {
            mQuantizers.result.quantizeAndTally(values, values, &result);
        }
    }

 private:
    template <class Loop>
    void runLoops(Tallies* tallies, const Loop& loop) {
        std::optional<Tallies> noted;
        const auto run = [&] {
            if (tallies) {
                noted.emplace();
            }
            return loop(noted ? &*noted : nullptr);
        };
        if (!run()) {
            // If one block fails the proof, the next probably will too.
            mPlaces.treatment = Treatment::quantize;
            run();
        }
        if (noted) {
            tallies->product.join(noted->product);
            tallies->pair.join(noted->pair);
        }
    }
    BlockMachine blockMachine(Tallies* tallies) const {
        const BlockMachine::Place product{mQuantizers.product, false, tallies ? &tallies->product : nullptr};
        const BlockMachine::Place pair{mQuantizers.sum, mPlaces.castsPair, tallies ? &tallies->pair : nullptr};
        return {product, pair, pair, nullptr};
    }

    const Quantizers& mQuantizers;
    bool mHasLoops;
    bool mCastsSilently = false;
    Places mPlaces;
    Block mOther;
};

}  // namespace

bool multiply(const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
              const Quantizers& quantizers, const ByElements& byElements) {
    const qlogger& productLog = quantizers.productLog;
    const qlogger& pairLog = quantizers.sum.getQlogger();
    const qlogger& resultLog = quantizers.result.getQlogger();
    const std::size_t count = real.size();
    const bool isComplexByComplex = left.imag && right.imag;
    const bool counts = productLog.isLogging() || pairLog.isLogging() || resultLog.isLogging();
    if (isMissingLoops(quantizers.product, counts) || isMissingLoops(quantizers.result, counts) ||
        (isComplexByComplex && isMissingLoops(quantizers.sum, counts))) {
        return false;
    }
    Multiplication multiplication(quantizers, isComplexByComplex);
    const Source leftReal(left.real, left.isScalar, count);
    const Source rightReal(right.real, right.isScalar, count);
    const Source leftImag(left.imag, left.isScalar, left.imag ? count : 0);
    const Source rightImag(right.imag, right.isScalar, right.imag ? count : 0);

    const auto runBlock = [&](std::size_t begin, std::size_t length, Tallies* tallies) {
        const std::span<double> re = real.subspan(begin, length);
        const Values ar = leftReal.block(begin, length);
        const Values br = rightReal.block(begin, length);
        if (isComplexByComplex) {
            const Values ai = leftImag.block(begin, length);
            const Values bi = rightImag.block(begin, length);
            multiplication.run(Sign::minus, {ar.data(), br.data()}, {ai.data(), bi.data()}, re, tallies);
            multiplication.run(Sign::plus, {ai.data(), br.data()}, {ar.data(), bi.data()}, imag.subspan(begin, length),
                               tallies);
            return;
        }
        multiplication.run(ar, br, re, tallies);
        if (left.imag) {
            multiplication.run(leftImag.block(begin, length), br, imag.subspan(begin, length), tallies);
        }
    };
    if (!counts) {
        for (std::size_t begin = 0; begin < count; begin += kBlock) {
            runBlock(begin, std::min(kBlock, count - begin), nullptr);
        }
        return true;
    }
    runCounted(
        count, Ledger(productLog, pairLog, pairLog, resultLog),
        [&](std::size_t begin, std::size_t length, Tallies& tallies, Tally& result) {
            runBlock(begin, length, &tallies);
            multiplication.noteStore(real.subspan(begin, length), result);
            if (!imag.empty()) {
                multiplication.noteStore(imag.subspan(begin, length), result);
            }
        },
        [&](std::size_t length) {
            if (!isComplexByComplex) {
                addMathOperations(productLog, length);
            }
        },
        byElements);
    return true;
}

}  // namespace tolvane::detail::elementwise
