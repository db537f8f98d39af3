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

/// An operand by blocks.
struct Parts {
    Parts(const Operand& x, std::size_t count, bool hasImag)
        : real(x.real, x.isScalar, count), imag(x.imag, x.isScalar, hasImag ? count : 0) {}
    Source real;
    Source imag;
};

/// The places of an operation with what their logs have yet to be given.
class Ledger {
 public:
    Ledger(const qlogger& product, const qlogger& pair, const qlogger& sum, const qlogger& result)
        : mEntries{{{Tally(), product}, {Tally(), pair}, {Tally(), sum}, {Tally(), result}}} {}

    /// Adds what a block noted, unless the sign of a zero extreme depends on the order of the steps within the block.
    bool append(const Tallies& block, const Tally& result) {
        const Tally* const noted[] = {&block.product, &block.pair, &block.sum, &result};
        for (std::size_t i = 0; i < mEntries.size(); ++i) {
            Tally total = mEntries[i].total;
            total.append(*noted[i]);
            if (total.isOpenFor(mEntries[i].log)) {
                return false;
            }
        }
        for (std::size_t i = 0; i < mEntries.size(); ++i) {
            mEntries[i].total.append(*noted[i]);
        }
        return true;
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
        Tally total;
        const qlogger& log;
    };
    std::array<Entry, 4> mEntries;
};

bool isMissingLoops(const quantizer& q, bool counts) {
    return counts && !q.hasArrayLoops();
}

/// Runs blocks one after the other. `runBlock(begin, length, tallies, result)` computes one and says what its places
/// noted, both null where nothing is counted; `logMath(length)` counts its operations.
template <class RunBlock, class LogMath>
void runBlocks(std::size_t count, bool counts, Ledger ledger, const RunBlock& runBlock, const LogMath& logMath,
               const ByElements& byElements) {
    for (std::size_t begin = 0; begin < count; begin += kBlock) {
        const std::size_t length = std::min(kBlock, count - begin);
        if (!counts) {
            runBlock(begin, length, nullptr, nullptr);
            continue;
        }
        Tallies tallies;
        Tally result;
        runBlock(begin, length, &tallies, &result);
        if (ledger.append(tallies, result)) {
            logMath(length);
        } else {
            ledger.handOver();
            byElements(begin, begin + length);
        }
    }
    ledger.handOver();
}

/// The places of an operation and what runs its steps: lanes where all places have loops, else blocks.
class Runner {
 protected:
    Runner(const quantizer& product, const quantizer& sum)
        : mHasLoops(product.hasFixedKernel() && sum.hasFixedKernel() &&
                    laneloops::ruleOf(product) == laneloops::ruleOf(sum)),
          mProduct(product),
          mSum(sum) {
        if (mHasLoops) {
            mPlaces.treatment = Treatment::examine;
            mPlaces.rule = laneloops::ruleOf(product);
            mPlaces.product = product.getDoubleLimits();
            mPlaces.sum = sum.getDoubleLimits();
            mPlaces.productMembers = membershipOf(product);
            mPlaces.sumMembers = membershipOf(sum);
        }
    }

    /// Lets lanes run a block. `loop(tallies)` says whether the block holds the proof.
    template <class Loop>
    void runLanes(Tallies* tallies, const Loop& loop) {
        Tallies noted;
        if (!loop(tallies ? &noted : nullptr)) {
            // If one block fails the proof, the next probably will too.
            mPlaces.treatment = Treatment::quantize;
            noted = Tallies();
            loop(tallies ? &noted : nullptr);
        }
        if (tallies) {
            tallies->product.join(noted.product);
            tallies->pair.join(noted.pair);
            tallies->sum.join(noted.sum);
        }
    }
    BlockMachine blockMachine(Tallies* tallies) {
        const auto place = [&](const quantizer& q, bool casts, Tally Tallies::*tally) {
            return BlockMachine::Place{q, casts, tallies ? &(tallies->*tally) : nullptr};
        };
        return {place(mProduct, false, &Tallies::product), place(mSum, mPlaces.castsPair, &Tallies::pair),
                place(mSum, mPlaces.castsSum, &Tallies::sum), mOther.data()};
    }

    bool mHasLoops;
    Places mPlaces;
    Block mOther;

 private:
    const quantizer& mProduct;
    const quantizer& mSum;
};

// Sums.

class Addition : Runner {
 public:
    Addition(Sign sign, const quantizer& q, bool castsBeforeSum) : Runner(q, q), mSign(sign) {
        mPlaces.castsSum = castsBeforeSum;
    }

    /// Computes one block of one part. An empty right side takes no part, as that of a real operand.
    void run(Values left, Values right, std::span<double> out, Tallies* tallies) {
        if (mHasLoops && !right.empty()) {
            runLanes(tallies, [&](Tallies* noted) {
                const bool holds =
                    laneloops::add(mPlaces, mSign, {left.data(), right.data()}, out.data(), out.size(), noted);
                if (noted) {
                    noted->sum.values = (mPlaces.castsSum ? 3 : 1) * out.size();
                }
                return holds;
            });
            return;
        }
        BlockMachine machine = blockMachine(tallies);
        std::ranges::copy(left, out.begin());
        if (!right.empty()) {
            steps::combineStep(machine, machine.sum, mSign, out, right);
            return;
        }
        // The zero of a real operand isn't added.
        if (mPlaces.castsSum) {
            machine.quantize(machine.sum, out);
        }
        machine.quantize(machine.sum, out);
    }

 private:
    Sign mSign;
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
    const Parts a(left, count, isComplex);
    const Parts b(right, count, isComplex);
    const auto runReal = [&](std::size_t begin, std::size_t length, Tallies* tallies) {
        addition.run(a.real.block(begin, length), b.real.block(begin, length), real.subspan(begin, length), tallies);
    };
    const auto runImag = [&](std::size_t begin, std::size_t length, Tallies* tallies) {
        addition.run(a.imag.block(begin, length), right.imag ? b.imag.block(begin, length) : Values(),
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
    runBlocks(
        count, counts, Ledger(log, log, log, log),
        [&](std::size_t begin, std::size_t length, Tallies* tallies, Tally*) {
            runReal(begin, length, tallies);
            if (isComplex) {
                runImag(begin, length, tallies);
            }
        },
        [&](std::size_t length) { addMathOperations(log, length); }, byElements);
    return true;
}

// Products.

namespace {

class Multiplication : Runner {
 public:
    Multiplication(const Quantizers& quantizers, bool isComplexByComplex)
        : Runner(quantizers.product, isComplexByComplex ? quantizers.sum : quantizers.product),
          mResult(quantizers.result) {
        // Products are values of their format, and casting leaves them alone in a format that has all of these.
        const bool castsPair = isComplexByComplex && quantizers.castsBeforeSum;
        mCastsSilently = castsPair && mHasLoops && covers(quantizers.sum, quantizers.product);
        mPlaces.castsPair = castsPair && !mCastsSilently;
    }

    /// Computes products. `result` notes their store.
    void run(Values left, Values right, std::span<double> out, Tallies* tallies, Tally* result) {
        if (!mHasLoops) {
            BlockMachine machine = blockMachine(tallies);
            steps::multiplyStep(machine, out, left, right);
            noteStore(out, nullptr, result);
            return;
        }
        runLanes(tallies, [&](Tallies* noted) {
            const bool holds = laneloops::multiply(mPlaces, {left.data(), right.data()}, out.data(), out.size(), noted);
            if (noted && holds) {
                noted->product.values = out.size();
                noteStore(out, &noted->product, result);
            }
            return holds;
        });
    }

    /// Computes sums or differences of two products.
    void run(Sign sign, Operands first, Operands second, std::span<double> out, Tallies* tallies, Tally* result) {
        const std::size_t count = out.size();
        if (!mHasLoops) {
            BlockMachine machine = blockMachine(tallies);
            std::span<double> other(mOther.data(), count);
            const auto values = [count](const double* x) { return Values(x, count); };
            steps::multiplyPairStep(machine, sign, out, other, values(first.left), values(first.right),
                                    values(second.left), values(second.right));
            noteStore(out, nullptr, result);
            return;
        }
        runLanes(tallies, [&](Tallies* noted) {
            const bool holds = laneloops::multiplyPairs(mPlaces, sign, first, second, out.data(), count, noted);
            if (noted && holds) {
                noteStore(out, mPlaces.castsPair ? nullptr : &noted->pair, result);
                noted->product.values = 2 * count;
                if (mCastsSilently) {
                    noted->pair.joinExtremes(noted->product);
                }
                noted->pair.values = (mCastsSilently || mPlaces.castsPair ? 3 : 1) * count;
            }
            return holds;
        });
    }

 private:
    /// Notes the store of values in the result, which is of their own format; scaled doubles are watched once more.
    /// `met` is the tally of a place that met just these values, or null.
    void noteStore(std::span<double> values, const Tally* met, Tally* result) const {
        if (!result || !qlogger::getLogging()) {
            return;
        }
        if (met) {
            result->joinExtremes(*met);
            result->values += values.size();
        } else {
            result->join(laneloops::extremes(values.data(), values.size()));
        }
        if (mResult.getNumericType().isScaledDouble()) {
            mResult.quantizeAndTally(values, values, result);
        }
    }

    const quantizer& mResult;
    bool mCastsSilently;
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
    const Parts a(left, count, left.imag);
    const Parts b(right, count, right.imag);
    runBlocks(
        count, counts, Ledger(productLog, pairLog, pairLog, resultLog),
        [&](std::size_t begin, std::size_t length, Tallies* tallies, Tally* result) {
            const std::span<double> re = real.subspan(begin, length);
            const std::span<double> im = imag.empty() ? imag : imag.subspan(begin, length);
            const Values ar = a.real.block(begin, length);
            const Values br = b.real.block(begin, length);
            if (isComplexByComplex) {
                const Values ai = a.imag.block(begin, length);
                const Values bi = b.imag.block(begin, length);
                multiplication.run(Sign::minus, {ar.data(), br.data()}, {ai.data(), bi.data()}, re, tallies, result);
                multiplication.run(Sign::plus, {ai.data(), br.data()}, {ar.data(), bi.data()}, im, tallies, result);
            } else {
                multiplication.run(ar, br, re, tallies, result);
                if (left.imag) {
                    multiplication.run(a.imag.block(begin, length), br, im, tallies, result);
                }
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

// Quotients.

namespace {

class Division : Runner {
 public:
    explicit Division(const quantizer& q) : Runner(q, q) {}

    /// Computes one block of one part. The tally of products is that of the quotients. Returns whether the last divisor
    /// is zero.
    bool run(Values numerators, Values divisors, std::span<double> out, Tallies* tallies) {
        if (mHasLoops) {
            runLanes(tallies, [&](Tallies* noted) {
                laneloops::divide(mPlaces, {numerators.data(), divisors.data()}, out.data(), out.size(), noted);
                return true;
            });
        } else {
            BlockMachine machine = blockMachine(tallies);
            steps::divideStep(machine, machine.product, out, numerators, divisors);
        }
        return divisors.back() == 0.0;
    }

    /// Computes one block of both parts for a complex divisor; `leftImag` is empty for a real numerator.
    bool run(Values leftReal, Values leftImag, Values rightReal, Values rightImag, std::span<double> real,
             std::span<double> imag, Tallies* tallies) {
        const auto cellIn = [&](Block& block) { return BlockMachine::Cell(block.data(), real.size()); };
        BlockMachine::Cell numerators[] = {cellIn(mNumerators[0]), cellIn(mNumerators[1])};
        BlockMachine::Cell divisors = cellIn(mDivisors);
        BlockMachine::Cell other = cellIn(mOther);
        BlockMachine machine = blockMachine(nullptr);
        steps::squareMagnitude(machine, divisors, other, rightReal, rightImag);
        if (leftImag.empty()) {
            steps::multiplyByConjugate(machine, numerators[0], numerators[1], leftReal, rightReal, rightImag);
        } else {
            steps::multiplyByConjugate(machine, numerators[0], numerators[1], other, leftReal, leftImag, rightReal,
                                       rightImag);
        }
        run(numerators[0], divisors, real, tallies);
        return run(numerators[1], divisors, imag, tallies);
    }

 private:
    Block mNumerators[2];
    Block mDivisors;
};

}  // namespace

std::optional<bool> divide(const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
                           const quantizer& q, const ByElements& byElements) {
    const qlogger& log = q.getQlogger();
    const bool counts = log.isLogging();
    if (isMissingLoops(q, counts)) {
        return std::nullopt;
    }
    const std::size_t count = real.size();
    bool endedByZero = false;
    Division division(q);
    const Parts a(left, count, left.imag);
    const Parts b(right, count, right.imag);
    runBlocks(
        count, counts, Ledger(log, log, log, log),
        [&](std::size_t begin, std::size_t length, Tallies* tallies, Tally*) {
            const Values divisors = b.real.block(begin, length);
            if (right.imag) {
                endedByZero = division.run(
                    a.real.block(begin, length), left.imag ? a.imag.block(begin, length) : Values(), divisors,
                    b.imag.block(begin, length), real.subspan(begin, length), imag.subspan(begin, length), tallies);
                return;
            }
            endedByZero = division.run(a.real.block(begin, length), divisors, real.subspan(begin, length), tallies);
            if (left.imag) {
                division.run(a.imag.block(begin, length), divisors, imag.subspan(begin, length), tallies);
            }
        },
        [](std::size_t) {}, byElements);
    return endedByZero;
}

}  // namespace tolvane::detail::elementwise
