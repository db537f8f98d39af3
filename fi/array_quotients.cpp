#include "fi/array_quotients.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace arrayquotients {

namespace {

constexpr std::size_t kBlock = 1024;
using Block = std::array<double, kBlock>;

/// One part of an operand by blocks. A scalar part fills a block once.
class Source {
 public:
    Source(const double* values, bool isScalar, std::size_t count) : mValues(values), mMoves(!isScalar) {
        if (values && isScalar) {
            std::fill_n(mFilled.begin(), std::min(count, kBlock), *values);
        }
    }
    const double* at(std::size_t begin) const { return mMoves ? mValues + begin : mFilled.data(); }

 private:
    const double* mValues;
    bool mMoves;
    Block mFilled;
};

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
    explicit Division(const quantizer& q) : mQuantizer(q), mCounts(q.getQlogger().isLogging()) {}

    void run(const Divisions& block) {
        if (hasZero(block.divisors, block.count)) {
            runInOrder(block);
            return;
        }
        // The parts of an element are counted one after the other: extremes depend on the order where zeros of both
        // signs meet.
        if (mCounts && block.partCount > 1) {
            runInOrder(block);
            return;
        }
        for (std::size_t part = 0; part < block.partCount; ++part) {
            const std::span<double> results(block.results[part], block.count);
            for (std::size_t i = 0; i < block.count; ++i) {
                results[i] = block.numerators[part][i] / block.divisors[i];
            }
            mQuantizer.quantize(results, results);
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
    bool mCounts;
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
    const Source leftImag(left.imag, left.isScalar, count);
    const Source rightReal(right.real, right.isScalar, count);
    const Source rightImag(right.imag, right.isScalar, count);
    Division division(q);
    ComplexDivisor complexDivisor;
    bool lastIsZero = false;

    for (std::size_t begin = 0; begin < count; begin += kBlock) {
        Divisions block{.numerators = {leftReal.at(begin), left.imag ? leftImag.at(begin) : nullptr},
                        .divisors = rightReal.at(begin),
                        .results = {real.data() + begin, imag.empty() ? nullptr : imag.data() + begin},
                        .partCount = imag.empty() ? 1U : 2U,
                        .count = std::min(kBlock, count - begin)};
        if (right.imag) {
            complexDivisor.compute(block.numerators[0], block.numerators[1], block.divisors, rightImag.at(begin),
                                   block.count);
            block.numerators = {complexDivisor.real.data(), complexDivisor.imag.data()};
            block.divisors = complexDivisor.divisors.data();
        }
        division.run(block);
        lastIsZero = block.divisors[block.count - 1] == 0.0;
    }
    return lastIsZero;
}

}  // namespace arrayquotients
