// The machines that run the steps of arithmetic (fi/bulk/steps.inl.h) on integers of many bits: one on blocks of them,
// and one on their extents, which finds the width that all intermediate values need and proves that the element steps,
// which work with floats of a precision, give the same.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <optional>
#include <utility>

#include "fi/bulk/steps.h"
#include "numbers/mpnumber.h"
#include "quantization/integer_blocks.h"
#include "quantization/integer_tally.h"
#include "quantization/quantizer.h"

namespace tolvane::detail {

/// Follows extents through the steps. A cell of the element steps is a float of `precision` bits, rounded to nearest.
class ExtentMachine {
 public:
    using Cell = integers::Extent;
    using Sign = integers::Sign;
    struct Place {
        integers::Format format;
        bool casts;
        int precision;  // of the cells that it quantizes
    };

    static constexpr int kDoubleBits = 53;  // cells that have no more are doubles

    ExtentMachine(const Place& ofProducts, const Place& ofPairs, const Place& ofSums)
        : product(ofProducts), pair(ofPairs), sum(ofSums) {}

    void multiply(Cell& cell, const Cell& a, const Cell& b) { set(cell, integers::productOf(a, b)); }
    void combine(Sign sign, Cell& cell, const Cell& x) { set(cell, integers::sumOf(sign, cell, x)); }
    // Divisors are taken to be other than zero.
    static bool isZero(const Cell&) { return false; }
    void divide(Cell& cell, const Cell& a, const Cell& b, bool) {
        const int unit = product.format.grid.exponent;
        // In half units of the format a quotient is n / d, for an n below 2^(bits of the dividend, shifted) and a d
        // below 2^(bits of the divisor, shifted). It isn't closer to a whole number than 1 / d, unless it is one, which
        // a cell holds. Rounding to p bits moves it by less than n / d * 2^-p, and rounding its sum with a half by less
        // than twice that or 2^-p: together less than 1 / d where n and d are below 2^(p - 3).
        const int shift = a.exponent - b.exponent - unit + 1;
        constexpr int kSafetyBits = 3;
        if (std::max(a.bits + std::max(shift, 0), b.bits + std::max(-shift, 0)) + kSafetyBits > product.precision) {
            // Otherwise the quotient is rounded as the cell is. The sum of p bits with a half is exact from a half on,
            // and below it rounds to another integer at most one quotient, which is in doubt.
            mQuotients = integers::QuotientRounding::toFloats(product.precision);
        }
        const int exponent = unit - mQuotients.guardBits;
        hold({0, integers::bitsToDivide(a, b, exponent), true});
        mHolds = mHolds && std::max(a.bits, b.bits) <= product.precision;
        set(cell, integers::quotientOf(a, b, exponent));
    }
    void quantizeBut(bool, const Place& place, Cell& cell) {
        const bool holds = mHolds;
        quantize(place, cell);
        if (mQuotients.precision != 0) {
            mHolds = holds && place.format.grid.bits < place.precision;
        }
    }
    static void takeBound(bool, const Place&, const Cell&, const Cell&) {}
    static void keep(const Cell& cell, Cell& copy) { copy = cell; }
    void negate(Cell& cell) {
        ++cell.bits;
        cell.hasSign = true;
        hold(cell);
    }
    static constexpr Sign kPlus = Sign::plus;
    static constexpr Sign kMinus = Sign::minus;

    static bool casts(const Place& place) { return place.casts; }
    Cell cast(const Place& place, const Cell& x) {
        Cell result = x;
        if (place.casts) {
            quantize(place, result);
        }
        return result;
    }
    void quantize(const Place& place, Cell& cell) {
        mHolds = mHolds && agrees(place.format, cell, place.precision);
        mNeeded = std::max(mNeeded, integers::neededBits(place.format, cell));
        cell = integers::extentOf(place.format.grid);
    }

    /// Whether integers of a reasonable length give what the element steps give.
    bool holds() const {
        constexpr int kMostBits = 1 << 18;
        return mHolds && mNeeded <= kMostBits;
    }
    /// How quotients become those of the element steps.
    const integers::QuotientRounding& quotients() const { return mQuotients; }
    /// Whether values of an extent in cells of `precision` bits are quantized like integers.
    static bool agrees(const integers::Format& format, const Cell& x, int precision) {
        return integers::isExactInFloats(format, x, precision) &&
               (precision > kDoubleBits || roundsAsDouble(format, x));
    }
    /// Requires the same of the sums of a value of a format and a term that is quantized before or not.
    void requireSums(const integers::Format& format, const Cell& term, bool casts, int precision) {
        const Cell total = integers::extentOf(format.grid);
        mHolds = mHolds && agrees(format, integers::sumOf(Sign::plus, total, casts ? total : term), precision);
    }
    /// Makes room for an operand.
    void hold(const Cell& x) { mNeeded = std::max(mNeeded, integers::neededBits(x)); }
    /// The width that holds all integers.
    std::size_t width() const { return integers::widthFor(mNeeded); }

    Place product;
    Place pair;
    Place sum;

 private:
    /// Whether doubles are rounded like wider floats. These keep the sign of what becomes a zero when they are rounded
    /// to nearest even, and are not moved by sums with a half that they can't hold.
    static bool roundsAsDouble(const integers::Format& format, const Cell& x) {
        constexpr int kEasyExponent = 800;
        return std::abs(format.grid.exponent) <= kEasyExponent && x.bits < kDoubleBits &&
               (format.round != embedded::RoundModeEnum::Convergent || format.grid.exponent <= x.exponent);
    }
    void set(Cell& cell, const Cell& extent) {
        cell = extent;
        hold(cell);
    }

    bool mHolds = true;
    integers::QuotientRounding mQuotients;
    int mNeeded = 0;
};

/// Runs the steps on blocks of one width.
class IntegerMachine {
 public:
    using Cell = integers::Block;
    using Sign = integers::Sign;
    struct Place {
        integers::Format format;
        bool casts;
        integers::IntegerTally* tally;       // null where nothing is counted
        std::uint64_t* overflows = nullptr;  // counters of each integer of a block, or null
    };

    /// `scratch` holds a converted operand.
    IntegerMachine(const Place& ofProducts, const Place& ofPairs, const Place& ofSums, std::size_t width, Cell scratch)
        : product(ofProducts), pair(ofPairs), sum(ofSums), mWidth(width), mScratch(scratch) {}
    /// The width of factors, which are operands.
    void setFactorWidth(std::size_t width) { mFactorWidth = width; }

    /// The number of values in each block from now on.
    void setCount(std::size_t count) { mCount = count; }
    /// The place of the first of them among those that have counters.
    void setFirst(std::size_t first) { mFirst = first; }
    /// An extent that holds all sums, if one is proven.
    void setSums(const integers::Extent& extent) { mSums = extent; }
    void setQuotients(const integers::QuotientRounding& quotients) { mQuotients = quotients; }
    /// The quotients in doubt since the last call, a bit for each of a block.
    std::uint64_t takeDoubts() { return std::exchange(mQuotients.doubts, 0); }

    template <class Right>
    void multiply(Cell& cell, const Cell& a, const Right& b) const {
        integers::multiply(a, b, mCount, mFactorWidth, mWidth, cell);
    }
    void combine(Sign sign, Cell& cell, const Cell& x) const {
        integers::combine(sign, x, mCount, mWidth, cell);
        if (mSums && mSums->exponent == cell.extent.exponent) {
            cell.extent = *mSums;
        }
    }
    static bool casts(const Place& place) { return place.casts; }
    const Cell& cast(const Place& place, Cell& x) {
        if (place.casts) {
            quantize(place, x);
        }
        return x;
    }
    const Cell& cast(const Place& place, const Cell& x) {
        if (!place.casts) {
            return x;
        }
        integers::copy(x, mCount, mWidth, mScratch);
        quantize(place, mScratch);
        return mScratch;
    }
    void quantize(const Place& place, Cell& cell) const {
        if (!place.tally) {
            integers::quantize(place.format, mCount, mWidth, cell, nullptr);
            return;
        }
        integers::Notes notes = place.tally->blank();
        integers::quantize(place.format, mCount, mWidth, cell, &notes);
        place.tally->join(notes, mCount, cell.extent.exponent);
        for (std::uint64_t rest = place.overflows ? notes.overflowing : 0; rest != 0; rest &= rest - 1) {
            ++place.overflows[mFirst + static_cast<std::size_t>(std::countr_zero(rest))];
        }
    }

    std::uint64_t isZero(const Cell& x) const { return integers::zerosOf(x, mCount, mWidth); }
    /// Changes the operands.
    void divide(Cell& cell, const Cell& a, const Cell& b, std::uint64_t zeros) {
        Cell dividend = a;
        Cell divisor = b;
        integers::divide(dividend, divisor, product.format.grid.exponent - mQuotients.guardBits, zeros, mCount, mWidth,
                         cell, mQuotients);
    }
    void quantizeBut(std::uint64_t zeros, const Place& place, Cell& cell) {
        if (zeros == 0) {
            quantize(place, cell);
            return;
        }
        const std::size_t count = mCount;
        mCount = integers::compress(zeros, count, mWidth, cell);
        if (mCount > 0) {
            quantize(place, cell);
        }
        mCount = count;
        integers::expand(zeros, count, mWidth, cell);
        cell.extent = integers::extentOf(place.format.grid);
    }
    void takeBound(std::uint64_t zeros, const Place& place, Cell& cell, const Cell& a) const {
        integers::setBounds(place.format, a, zeros, mCount, mWidth, cell);
    }
    void keep(const Cell& cell, Cell& copy) const { integers::copy(cell, mCount, mWidth, copy); }
    void negate(Cell& cell) const { integers::negate(mCount, mWidth, cell); }
    static constexpr Sign kPlus = Sign::plus;
    static constexpr Sign kMinus = Sign::minus;

    Place product;
    Place pair;
    Place sum;

 private:
    std::size_t mCount = 0;
    std::size_t mWidth;
    std::size_t mFactorWidth = 0;
    std::size_t mFirst = 0;
    std::optional<integers::Extent> mSums;
    integers::QuotientRounding mQuotients;
    Cell mScratch;
};

}  // namespace tolvane::detail
