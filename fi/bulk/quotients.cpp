#include "fi/bulk/quotients.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "fi/bulk/blocks.h"
#include "quantization/tally.h"

namespace tolvane::detail::arrayquotients {

namespace {

using arrayblocks::Block;
using arrayblocks::kBlock;
using arrayblocks::Source;

/// The divisions of one block: as many numerators and results as there are parts, with one divisor for all.
struct Divisions {
    std::array<const double*, 2> numerators;
    const double* divisors;
    std::array<double*, 2> results;
    std::size_t partCount;
    std::size_t count;
};

class Division {
 public:
    explicit Division(const quantizer& q) : mQuantizer(q), mTallies(q.getQlogger().isLogging() && q.hasArrayLoops()) {}

    void run(const Divisions& block) {
        const bool counts = mQuantizer.getQlogger().isLogging();
        if (hasZero(block.divisors, block.count) || (counts && !mTallies && block.partCount > 1)) {
            runInOrder(block);
            return;
        }
        Tally tally;
        for (std::size_t part = 0; part < block.partCount; ++part) {
            const std::span<double> results(block.results[part], block.count);
            for (std::size_t i = 0; i < block.count; ++i) {
                results[i] = block.numerators[part][i] / block.divisors[i];
            }
            mQuantizer.quantizeAndTally(results, results, mTallies ? &tally : nullptr);
        }
        if (!mTallies) {
            return;
        }
        // The parts of an element are counted one after the other: the sign of a zero extreme depends on the order.
        if (tally.isOpenFor(mQuantizer.getQlogger())) {
            runInOrder(block);
        } else {
            tally.handTo(mQuantizer.getQlogger());
        }
    }

 private:
    static bool hasZero(const double* values, std::size_t count) {
        std::size_t zeros = 0;
        for (std::size_t i = 0; i < count; ++i) {
            zeros += values[i] == 0.0 ? 1 : 0;
        }
        return zeros > 0;
    }

    void runInOrder(const Divisions& block) {
        std::size_t quotientCount = 0;
        for (std::size_t i = 0; i < block.count; ++i) {
            for (std::size_t part = 0; part < block.partCount && block.divisors[i] != 0.0; ++part) {
                mQuotients[quotientCount++] = block.numerators[part][i] / block.divisors[i];
            }
        }
        const std::span<double> quotients(mQuotients.data(), quotientCount);
        mQuantizer.quantize(quotients, quotients);
        const double* next = mQuotients.data();
        for (std::size_t i = 0; i < block.count; ++i) {
            for (std::size_t part = 0; part < block.partCount; ++part) {
                block.results[part][i] = block.divisors[i] != 0.0 ? *next++ : bound(block.numerators[part][i]);
            }
        }
    }

    double bound(double numerator) const {
        return (numerator < 0.0 ? mQuantizer.getLowerBound() : mQuantizer.getUpperBound()).todouble();
    }

    const quantizer& mQuantizer;
    bool mTallies;
    std::array<double, 2 * kBlock> mQuotients;
};

/// Numerators and divisor of the quotient by a complex divisor, for one block.
class ComplexDivisor {
 public:
    /// `leftImag` is null for a real numerator.
    void compute(const double* left, const double* leftImag, const double* right, const double* rightImag,
                 std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            divisors[i] = right[i] * right[i] + rightImag[i] * rightImag[i];
        }
        if (leftImag) {
            for (std::size_t i = 0; i < count; ++i) {
                real[i] = left[i] * right[i] + leftImag[i] * rightImag[i];
                imag[i] = leftImag[i] * right[i] - left[i] * rightImag[i];
            }
        } else {
            for (std::size_t i = 0; i < count; ++i) {
                real[i] = left[i] * right[i];
                imag[i] = -(left[i] * rightImag[i]);
            }
        }
    }

    Block real;
    Block imag;
    Block divisors;
};

}  // namespace

bool divide(const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
            const quantizer& q) {
    const std::size_t count = real.size();
    const Source leftReal(left.real, left.isScalar, count);
    const Source leftImag(left.imag, left.isScalar, left.imag ? count : 0);
    const Source rightReal(right.real, right.isScalar, count);
    const Source rightImag(right.imag, right.isScalar, right.imag ? count : 0);
    Division division(q);
    ComplexDivisor complexDivisor;
    bool lastIsZero = false;

    for (std::size_t begin = 0; begin < count; begin += kBlock) {
        const std::size_t length = std::min(kBlock, count - begin);
        const auto at = [=](const Source& source) { return source.block(begin, length).data(); };
        Divisions block{.numerators = {at(leftReal), left.imag ? at(leftImag) : nullptr},
                        .divisors = at(rightReal),
                        .results = {real.data() + begin, imag.empty() ? nullptr : imag.data() + begin},
                        .partCount = imag.empty() ? 1U : 2U,
                        .count = length};
        if (right.imag) {
            complexDivisor.compute(block.numerators[0], block.numerators[1], block.divisors, at(rightImag), length);
            block.numerators = {complexDivisor.real.data(), complexDivisor.imag.data()};
            block.divisors = complexDivisor.divisors.data();
        }
        division.run(block);
        lastIsZero = block.divisors[length - 1] == 0.0;
    }
    return lastIsZero;
}

}  // namespace tolvane::detail::arrayquotients
