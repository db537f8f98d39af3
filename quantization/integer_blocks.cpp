#include "quantization/integer_blocks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "numbers/interruption.h"
#include "numbers/rounding.h"
#include "quantization/double_rules.h"
#include "quantization/integer_loops.h"
#include "quantization/tally.h"

namespace tolvane::detail::integers {

namespace {

constexpr int kLimbBits = WordGrid::kLimbBits;
using rounding::RoundingRules;

__extension__ typedef unsigned __int128 DoubleLimb;

constexpr mp_size_t sizeOf(std::size_t width) {
    return static_cast<mp_size_t>(width);
}
mp_limb_t signLimb(mp_limb_t top) {
    return static_cast<mp_limb_t>(static_cast<std::int64_t>(top) >> (kLimbBits - 1));
}

template <class Predicate>
std::uint64_t maskOf(std::size_t count, const Predicate& holds) {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < count; ++i) {
        mask |= static_cast<std::uint64_t>(holds(i)) << i;
    }
    return mask;
}

bool isZero(const mp_limb_t* x, std::size_t width) {
    mp_limb_t all = 0;
    for (std::size_t i = 0; i < width; ++i) {
        all |= x[i];
    }
    return all == 0;
}

}  // namespace

std::uint64_t zerosOf(const Block& block, std::size_t count, std::size_t width) {
    return maskOf(count, [&](std::size_t i) { return isZero(block.limbs + i * width, width); });
}

namespace {

/// The integers below zero, and the negative zeros.
std::uint64_t signsOf(const Block& block, std::size_t count, std::size_t width) {
    return block.negativeZeros |
           maskOf(count, [&](std::size_t i) { return block.limbs[i * width + width - 1] >> (kLimbBits - 1) != 0; });
}

// Integers of any number of limbs.

/// Copies words of a few limbs; more of them take the library's own copy.
void copyLimbs(const mp_limb_t* from, std::size_t limbs, mp_limb_t* to) {
    constexpr std::size_t kFew = 8;
    if (limbs > kFew) {
        std::copy_n(from, limbs, to);
        return;
    }
    for (std::size_t i = 0; i < limbs; ++i) {
        to[i] = from[i];
    }
}

/// x = x * 2^shift
void shiftLeft(mp_limb_t* x, std::size_t width, unsigned shift) {
    const std::size_t whole = shift / kLimbBits;
    if (whole > 0) {
        std::copy_backward(x, x + width - whole, x + width);
        std::fill_n(x, whole, 0);
    }
    if (shift % kLimbBits != 0) {
        mpn_lshift(x + whole, x + whole, sizeOf(width - whole), shift % kLimbBits);
    }
}

/// x = floor(x / 2^shift)
void shiftRight(mp_limb_t* x, std::size_t width, unsigned shift) {
    const std::size_t whole = shift / kLimbBits;
    const unsigned rest = shift % kLimbBits;
    const mp_limb_t sign = signLimb(x[width - 1]);
    if (whole > 0) {
        std::copy(x + whole, x + width, x);
        std::fill_n(x + width - whole, whole, sign);
    }
    if (rest != 0) {
        mpn_rshift(x, x, sizeOf(width), rest);
        x[width - 1] |= sign << (static_cast<unsigned>(kLimbBits) - rest);
    }
}

bool bitOf(const mp_limb_t* x, unsigned bit) {
    return (x[bit / kLimbBits] >> (bit % kLimbBits) & 1U) != 0;
}
bool hasBitBelow(const mp_limb_t* x, unsigned bit) {
    const std::size_t whole = bit / kLimbBits;
    const unsigned rest = bit % kLimbBits;
    return !isZero(x, whole) || (rest != 0 && x[whole] << (static_cast<unsigned>(kLimbBits) - rest) != 0);
}

/// The low bits of x as a word.
void extend(mp_limb_t* x, std::size_t width, const WordGrid& grid) {
    const auto bits = static_cast<unsigned>(grid.bits);
    const std::size_t top = (bits - 1) / kLimbBits;
    const unsigned unused = static_cast<unsigned>(kLimbBits) - 1 - (bits - 1) % kLimbBits;
    const mp_limb_t shifted = x[top] << unused;
    x[top] = grid.isSigned ? static_cast<mp_limb_t>(static_cast<std::int64_t>(shifted) >> unused) : shifted >> unused;
    std::fill(x + top + 1, x + width, grid.isSigned ? signLimb(x[top]) : 0);
}

/// Whether x is a word.
bool isWord(const mp_limb_t* x, std::size_t width, const WordGrid& grid) {
    const auto bits = static_cast<unsigned>(grid.isSigned ? grid.bits - 1 : grid.bits);
    const std::size_t whole = bits / kLimbBits;
    const unsigned rest = bits % kLimbBits;
    if (whole >= width) {
        return grid.isSigned || x[width - 1] >> (kLimbBits - 1) == 0;
    }
    // All bits from there on are copies of the sign, or zeros.
    const mp_limb_t sign = grid.isSigned ? signLimb(x[width - 1]) : 0;
    return static_cast<mp_limb_t>(static_cast<std::int64_t>(x[whole]) >> rest) == sign &&
           std::all_of(x + whole + 1, x + width, [sign](mp_limb_t limb) { return limb == sign; });
}

/// The greatest word, or the least.
void setBound(mp_limb_t* x, std::size_t width, const WordGrid& grid, bool isGreatest) {
    std::fill_n(x, width, isGreatest || !grid.isSigned ? mp_limb_t{0} : ~mp_limb_t{0});
    const auto bits = static_cast<unsigned>(grid.isSigned ? grid.bits - 1 : grid.bits);
    const std::size_t whole = bits / kLimbBits;
    if (isGreatest) {
        std::fill_n(x, whole, ~mp_limb_t{0});
        if (bits % kLimbBits != 0) {
            x[whole] = (mp_limb_t{1} << (bits % kLimbBits)) - 1;
        }
    } else if (grid.isSigned) {
        std::fill_n(x, whole, 0);
        if (whole < width) {
            x[whole] = ~mp_limb_t{0} << (bits % kLimbBits);
        }
    }
}

void shiftAllLeft(Block& block, std::size_t count, std::size_t width, unsigned shift) {
    if (shift == 0) {
        return;
    }
    if (width <= kLoopWidth) {
        integerLoops().shiftLeft(block.limbs, count, width, shift);
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        shiftLeft(block.limbs + i * width, width, shift);
    }
}

}  // namespace

int compare(const mp_limb_t* a, const mp_limb_t* b, std::size_t width) {
    const auto topA = static_cast<std::int64_t>(a[width - 1]);
    const auto topB = static_cast<std::int64_t>(b[width - 1]);
    return topA != topB ? (topA < topB ? -1 : 1) : mpn_cmp(a, b, sizeOf(width));
}

Extent extentOf(const WordGrid& grid) {
    return {grid.exponent, grid.isSigned ? grid.bits - 1 : grid.bits, grid.isSigned};
}

Extent productOf(const Extent& a, const Extent& b) {
    // The product of the two least values is the power of two above the range.
    return {a.exponent + b.exponent, a.bits + b.bits + (a.hasSign && b.hasSign ? 1 : 0), a.hasSign || b.hasSign};
}

Extent sumOf(Sign sign, const Extent& a, const Extent& b) {
    const int exponent = std::min(a.exponent, b.exponent);
    return {exponent, std::max(a.bits + (a.exponent - exponent), b.bits + (b.exponent - exponent)) + 1,
            a.hasSign || b.hasSign || sign == Sign::minus};
}

Extent roundedOf(const Format& format, const Extent& x) {
    const int shift = format.grid.exponent - x.exponent;
    // Rounding up can reach the power of two above the range.
    return {format.grid.exponent, shift > 0 ? std::max(x.bits - shift, 0) + 1 : x.bits - shift, x.hasSign};
}

bool covers(const Format& format, const Extent& x) {
    const Extent all = extentOf(format.grid);
    return all.exponent <= x.exponent && x.bits + (x.exponent - all.exponent) <= all.bits &&
           (all.hasSign || !x.hasSign);
}

bool isExactInFloats(const Format& format, const Extent& x, int precision) {
    const int shift = format.grid.exponent - x.exponent;
    const bool addsHalf = format.round != embedded::RoundModeEnum::Floor &&
                          format.round != embedded::RoundModeEnum::Ceil && format.round != embedded::RoundModeEnum::Fix;
    const int bits = shift > 0 && addsHalf ? std::max(x.bits, shift - 1) + 1 : x.bits;
    return bits <= precision && format.grid.bits < precision;
}

namespace {

/// Whether a shift to the left keeps some bits of a word, so that those beyond are seen before it.
bool isWithinWord(const WordGrid& grid, int shiftLeft) {
    return shiftLeft > 0 && shiftLeft < grid.bits;
}

}  // namespace

int neededBits(const Format& format, const Extent& x) {
    const int shift = format.grid.exponent - x.exponent;
    const int both = std::max(neededBits(x), neededBits(extentOf(format.grid)));
    if (isWithinWord(format.grid, -shift)) {
        return both;
    }
    const Extent rounded = roundedOf(format, x);
    return std::max(
        {both, shift > 0 ? shift + 2 : 0, neededBits(rounded), covers(format, rounded) ? 0 : format.grid.bits + 1});
}

// Loading and storing.

namespace {

std::uint64_t firstBits(std::size_t count) {
    return count == kBlock ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
}

}  // namespace

void load(const WordSpan& words, std::uint64_t begin, std::size_t count, std::size_t width, Block& out) {
    noteWork(count * width);
    const std::size_t limbs = words.grid.limbs();
    const mp_limb_t* from = words.limbs + begin * limbs;
    out.extent = extentOf(words.grid);
    if (width == limbs) {
        std::memcpy(out.limbs, from, count * limbs * sizeof(mp_limb_t));
    } else if (limbs == 1 && width == 2) {
        integerLoops().widen(from, count, words.grid.isSigned, out.limbs);
    } else {
        mp_limb_t* to = out.limbs;
        for (std::size_t i = 0; i < count; ++i, from += limbs, to += width) {
            copyLimbs(from, limbs, to);
            const mp_limb_t sign = words.grid.isSigned ? signLimb(from[limbs - 1]) : 0;
            for (std::size_t k = limbs; k < width; ++k) {
                to[k] = sign;
            }
        }
    }
    out.negativeZeros = words.negativeZerosFrom(begin, count);
}

void gather(const WordSpan& words, const std::uint64_t* places, std::size_t count, std::size_t width, Block& out) {
    noteWork(count * width);
    const std::size_t limbs = words.grid.limbs();
    mp_limb_t* to = out.limbs;
    for (std::size_t i = 0; i < count; ++i, to += width) {
        const mp_limb_t* const from = words.limbs + places[i] * limbs;
        for (std::size_t limb = 0; limb < limbs; ++limb) {
            to[limb] = from[limb];
        }
        const mp_limb_t above = words.grid.isSigned ? signLimb(from[limbs - 1]) : 0;
        for (std::size_t limb = limbs; limb < width; ++limb) {
            to[limb] = above;
        }
    }
    out.extent = extentOf(words.grid);
    out.negativeZeros =
        words.negativeZeros ? maskOf(count, [&](std::size_t i) { return words.hasNegativeZero(places[i]); }) : 0;
}

Block view(const WordSpan& words, std::uint64_t begin, std::size_t count) {
    return {const_cast<mp_limb_t*>(words.limbs) + begin * words.grid.limbs(), words.negativeZerosFrom(begin, count),
            extentOf(words.grid)};
}

Block slice(const Block& block, std::size_t first, std::size_t width) {
    return {block.limbs + first * width, block.negativeZeros >> first, block.extent};
}

bool areWithin(std::span<const double> values, const Extent& extent) {
    const double bound = std::ldexp(1.0, extent.bits);
    const DoubleRange range{std::ldexp(1.0, -extent.exponent), extent.hasSign ? -bound : 0.0, bound};
    return integerLoops().areWithin(values.data(), values.size(), range);
}

void load(const double* values, std::size_t count, const Extent& extent, std::size_t width, Block& out) {
    noteWork(count * width);
    const double toInteger = std::ldexp(1.0, -extent.exponent);
    bool hasZero = false;
    if (width <= kLoopWidth) {
        hasZero = integerLoops().fromDoubles(values, count, toInteger, width, out.limbs);
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            const auto limb = static_cast<mp_limb_t>(static_cast<std::int64_t>(values[i] * toInteger));
            hasZero |= limb == 0;
            out.limbs[i * width] = limb;
            std::fill_n(out.limbs + i * width + 1, width - 1, signLimb(limb));
        }
    }
    out.extent = extent;
    out.negativeZeros =
        hasZero ? maskOf(count, [&](std::size_t i) { return values[i] == 0.0 && std::signbit(values[i]); }) : 0;
}

void spread(std::size_t count, std::size_t width, Block& block) {
    for (std::size_t i = 1; i < count; ++i) {
        std::copy_n(block.limbs, width, block.limbs + i * width);
    }
    block.negativeZeros = (block.negativeZeros & 1U) != 0 ? ~std::uint64_t{0} : 0;
}

void store(const Block& block, std::size_t count, std::size_t width, wordarray& words, std::uint64_t begin,
           std::uint64_t stride) {
    const std::size_t limbs = words.grid().limbs();
    mp_limb_t* to = words.limbs() + begin * limbs;
    if (width == limbs && stride == 1) {
        std::memcpy(to, block.limbs, count * limbs * sizeof(mp_limb_t));
    } else if (width == 2 && limbs == 1 && stride == 1) {
        integerLoops().narrow(block.limbs, count, to);
    } else {
        const mp_limb_t* from = block.limbs;
        for (std::size_t i = 0; i < count; ++i, from += width, to += limbs * stride) {
            copyLimbs(from, limbs, to);
        }
    }
    const std::uint64_t signs = block.negativeZeros & firstBits(count);
    if (stride == 1) {
        words.setNegativeZeros(begin, count, signs);
        return;
    }
    for (std::size_t i = 0; i < count && (signs != 0 || words.span().negativeZeros); ++i) {
        words.setNegativeZero(begin + i * stride, (signs >> i & 1U) != 0);
    }
}

void scatter(const Block& block, const std::uint64_t* places, std::size_t count, std::size_t width, wordarray& words) {
    const std::size_t limbs = words.grid().limbs();
    const mp_limb_t* from = block.limbs;
    const bool hasNegativeZeros = words.span().negativeZeros || block.negativeZeros != 0;
    for (std::size_t i = 0; i < count; ++i, from += width) {
        mp_limb_t* const to = words.limbs() + places[i] * limbs;
        for (std::size_t limb = 0; limb < limbs; ++limb) {
            to[limb] = from[limb];
        }
        if (hasNegativeZeros) {
            words.setNegativeZero(places[i], (block.negativeZeros >> i & 1U) != 0);
        }
    }
}

void store(const Block& block, std::size_t count, std::size_t width, double* values, std::uint64_t stride) {
    const double scale = std::ldexp(1.0, block.extent.exponent);
    if (width == 1 && stride == 1 && block.negativeZeros == 0) {
        integerLoops().toDoubles(block.limbs, count, scale, values);
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const double value = static_cast<double>(static_cast<std::int64_t>(block.limbs[i * width])) * scale;
        values[i * stride] = (block.negativeZeros >> i & 1U) != 0 ? -0.0 : value;
    }
}

// Arithmetic.

void copy(const Block& from, std::size_t count, std::size_t width, Block& to) {
    std::memcpy(to.limbs, from.limbs, count * width * sizeof(mp_limb_t));
    to.negativeZeros = from.negativeZeros;
    to.extent = from.extent;
}

void align(int exponent, std::size_t count, std::size_t width, Block& block) {
    const int shift = block.extent.exponent - exponent;
    shiftAllLeft(block, count, width, static_cast<unsigned>(shift));
    block.extent.exponent = exponent;
    block.extent.bits += shift;
}

namespace {

/// Subtracts y from x where the mask has all bits.
template <std::size_t limbs>
void subtractMasked(mp_limb_t* x, const mp_limb_t* y, mp_limb_t mask) {
    mp_limb_t borrow = 0;
    for (std::size_t i = 0; i < limbs; ++i) {
        const DoubleLimb difference = static_cast<DoubleLimb>(x[i]) - (y[i] & mask) - borrow;
        x[i] = static_cast<mp_limb_t>(difference);
        borrow = static_cast<mp_limb_t>(difference >> kLimbBits) & 1U;
    }
}

/// product = x * y, for factors of a number of limbs known to the compiler.
template <std::size_t limbs>
void multiplySigned(const mp_limb_t* x, const mp_limb_t* y, mp_limb_t* product) {
    std::fill_n(product, 2 * limbs, 0);
    for (std::size_t i = 0; i < limbs; ++i) {
        mp_limb_t carry = 0;
        for (std::size_t j = 0; j < limbs; ++j) {
            const DoubleLimb sum = static_cast<DoubleLimb>(x[i]) * y[j] + product[i + j] + carry;
            product[i + j] = static_cast<mp_limb_t>(sum);
            carry = static_cast<mp_limb_t>(sum >> kLimbBits);
        }
        product[i + limbs] = carry;
    }
    // The limbs of a negative factor stand for 2^(64 limbs) more than its value.
    subtractMasked<limbs>(product + limbs, y, signLimb(x[limbs - 1]));
    subtractMasked<limbs>(product + limbs, x, signLimb(y[limbs - 1]));
}

/// Multiplies factors of `factorWidth` limbs. `step` is the distance from one right factor to the next.
template <class Multiply>
bool multiplyLimbs(const mp_limb_t* a, const mp_limb_t* b, std::size_t step, std::size_t count, std::size_t factorWidth,
                   std::size_t width, mp_limb_t* out, mp_limb_t* all, const Multiply& multiplyOne) {
    bool hasZero = false;
    const std::size_t kept = std::min(2 * factorWidth, width);
    for (std::size_t i = 0; i < count; ++i, a += factorWidth, b += step, out += width) {
        noteWork(factorWidth * factorWidth);
        multiplyOne(a, b, all);
        for (std::size_t k = 0; k < kept; ++k) {
            out[k] = all[k];
        }
        const mp_limb_t sign = signLimb(all[2 * factorWidth - 1]);
        for (std::size_t k = kept; k < width; ++k) {
            out[k] = sign;
        }
        hasZero |= isZero(out, kept);
    }
    return hasZero;
}

bool multiplyAll(const mp_limb_t* a, const mp_limb_t* b, std::size_t step, std::size_t count, std::size_t factorWidth,
                 std::size_t width, Block& out) {
    if (width <= kLoopWidth) {
        noteWork(count);
        return integerLoops().multiply(a, b, step == 0 ? 0 : 1, count, factorWidth, width, out.limbs);
    }
    const auto bySmall = [&]<std::size_t limbs>(std::integral_constant<std::size_t, limbs>) {
        mp_limb_t all[2 * limbs];
        return multiplyLimbs(a, b, step, count, limbs, width, out.limbs, all, multiplySigned<limbs>);
    };
    switch (factorWidth) {
        case 1:
            return bySmall(std::integral_constant<std::size_t, 1>());
        case 2:
            return bySmall(std::integral_constant<std::size_t, 2>());
        case 3:
            return bySmall(std::integral_constant<std::size_t, 3>());
        case 4:
            return bySmall(std::integral_constant<std::size_t, 4>());
        default:
            break;
    }
    std::vector<mp_limb_t> all(2 * factorWidth);
    return multiplyLimbs(a, b, step, count, factorWidth, width, out.limbs, all.data(),
                         [factorWidth](const mp_limb_t* x, const mp_limb_t* y, mp_limb_t* product) {
                             const mp_size_t size = sizeOf(factorWidth);
                             mp_limb_t* const upper = product + factorWidth;
                             mpn_mul_n(product, x, y, size);
                             if (signLimb(x[factorWidth - 1]) != 0) {
                                 mpn_sub_n(upper, upper, y, size);
                             }
                             if (signLimb(y[factorWidth - 1]) != 0) {
                                 mpn_sub_n(upper, upper, x, size);
                             }
                         });
}

}  // namespace

void multiply(const Block& a, const Block& b, std::size_t count, std::size_t factorWidth, std::size_t width,
              Block& out) {
    const bool hasZero = multiplyAll(a.limbs, b.limbs, factorWidth, count, factorWidth, width, out);
    out.extent = productOf(a.extent, b.extent);
    out.negativeZeros = 0;
    if (hasZero) {
        out.negativeZeros =
            zerosOf(out, count, width) & (signsOf(a, count, factorWidth) ^ signsOf(b, count, factorWidth));
    }
}

void multiply(const Block& a, const Factor& b, std::size_t count, std::size_t factorWidth, std::size_t width,
              Block& out) {
    const bool hasZero = multiplyAll(a.limbs, b.value.limbs, 0, count, factorWidth, width, out);
    out.extent = productOf(a.extent, b.value.extent);
    out.negativeZeros = 0;
    if (hasZero) {
        const std::uint64_t sign = (signsOf(b.value, 1, factorWidth) & 1U) != 0 ? ~std::uint64_t{0} : 0;
        out.negativeZeros = zerosOf(out, count, width) & (signsOf(a, count, factorWidth) ^ sign);
    }
}

void accumulate(Sign sign, const Block& a, const Factor& b, std::size_t count, std::size_t factorWidth,
                std::size_t width, Block& scratch, Block& total) {
    const Extent extent = productOf(a.extent, b.value.extent);
    if (factorWidth == 1 && width <= 2 && extent.exponent == total.extent.exponent) {
        noteWork(count);
        integerLoops().accumulate(sign, a.limbs, b.value.limbs, count, width, total.limbs);
        return;
    }
    const Extent kept = total.extent;
    multiply(a, b, count, factorWidth, width, scratch);
    combine(sign, scratch, count, width, total);
    total.extent = kept;
}

namespace {

/// Adds integers of a number of limbs known to the compiler, or subtracts them.
template <std::size_t limbs>
void combineFew(Sign sign, const Block& x, std::size_t count, Block& total) {
    // -y is the complement of y and 1.
    const mp_limb_t flips = sign == Sign::plus ? 0 : ~mp_limb_t{0};
    const mp_limb_t* y = x.limbs;
    mp_limb_t* sum = total.limbs;
    for (std::size_t i = 0; i < count; ++i, y += limbs, sum += limbs) {
        mp_limb_t carry = flips & 1U;
        for (std::size_t k = 0; k < limbs; ++k) {
            const DoubleLimb added = static_cast<DoubleLimb>(sum[k]) + (y[k] ^ flips) + carry;
            sum[k] = static_cast<mp_limb_t>(added);
            carry = static_cast<mp_limb_t>(added >> kLimbBits);
        }
    }
}

}  // namespace

void combine(Sign sign, const Block& x, std::size_t count, std::size_t width, Block& total) {
    const Extent extent = sumOf(sign, total.extent, x.extent);
    align(extent.exponent, count, width, total);
    const auto shift = static_cast<unsigned>(x.extent.exponent - extent.exponent);
    total.extent = extent;
    if (total.negativeZeros != 0) {
        total.negativeZeros &= sign == Sign::plus ? x.negativeZeros : zerosOf(x, count, width) & ~x.negativeZeros;
    }
    if (width <= kLoopWidth) {
        integerLoops().combine(sign, x.limbs, shift, count, width, total.limbs);
        return;
    }
    if (shift == 0 && width <= 4) {
        width == 3 ? combineFew<3>(sign, x, count, total) : combineFew<4>(sign, x, count, total);
        return;
    }
    std::vector<mp_limb_t> shifted(shift == 0 ? 0 : width);
    for (std::size_t i = 0; i < count; ++i) {
        const mp_limb_t* y = x.limbs + i * width;
        if (shift != 0) {
            std::copy_n(y, width, shifted.data());
            shiftLeft(shifted.data(), width, shift);
            y = shifted.data();
        }
        mp_limb_t* const sum = total.limbs + i * width;
        (sign == Sign::plus ? mpn_add_n : mpn_sub_n)(sum, sum, y, sizeOf(width));
    }
}

namespace {

/// Running sums of integers of a number of limbs known to the compiler.
template <std::size_t limbs>
void sumFewAlong(const mp_limb_t* start, std::size_t count, mp_limb_t* x) {
    std::array<mp_limb_t, limbs> total;
    std::copy_n(start, limbs, total.begin());
    for (std::size_t i = 0; i < count; ++i, x += limbs) {
        mp_limb_t carry = 0;
        for (std::size_t k = 0; k < limbs; ++k) {
            const DoubleLimb sum = static_cast<DoubleLimb>(x[k]) + total[k] + carry;
            total[k] = static_cast<mp_limb_t>(sum);
            x[k] = total[k];
            carry = static_cast<mp_limb_t>(sum >> kLimbBits);
        }
    }
}

}  // namespace

void sumAlong(const Block& start, std::size_t count, std::size_t width, Block& block) {
    switch (width) {
        case 1:
            sumFewAlong<1>(start.limbs, count, block.limbs);
            break;
        case 2:
            sumFewAlong<2>(start.limbs, count, block.limbs);
            break;
        case 3:
            sumFewAlong<3>(start.limbs, count, block.limbs);
            break;
        default: {
            const mp_limb_t* before = start.limbs;
            for (mp_limb_t* x = block.limbs; x != block.limbs + count * width; before = x, x += width) {
                mpn_add_n(x, x, before, sizeOf(width));
            }
        }
    }
    block.negativeZeros = 0;
}

namespace {

int shiftToDivide(const Extent& a, const Extent& b, int exponent) {
    return a.exponent - b.exponent - exponent;
}

int bitsOf(DoubleLimb x) {
    const auto high = static_cast<mp_limb_t>(x >> kLimbBits);
    return high != 0 ? 2 * kLimbBits - std::countl_zero(high) : kLimbBits - std::countl_zero(static_cast<mp_limb_t>(x));
}

/// Rounds the absolute value of a quotient, from which something was cut off or not, to the precision of floats if they
/// have fewer bits. Returns whether something is still cut off. A float with more bits can reach the quotient's own
/// last place or the next one; these are in doubt if they are a half of a unit of the format.
bool isStillCut(int precision, DoubleLimb& quotient, bool isCut) {
    const int dropped = bitsOf(quotient) - precision;
    if (dropped > 0) {
        const DoubleLimb rest = quotient & ((DoubleLimb{1} << dropped) - 1);
        const DoubleLimb half = DoubleLimb{1} << (dropped - 1);
        const bool isOdd = (quotient >> dropped & 1U) != 0;
        quotient -= rest;
        if (rest > half || (rest == half && (isCut || isOdd))) {
            quotient += DoubleLimb{1} << dropped;
        }
        return false;
    }
    return isCut;
}

void noteDoubt(QuotientRounding& rounding, std::size_t index, mp_limb_t lowest) {
    const mp_limb_t belowHalf = (mp_limb_t{1} << (rounding.guardBits - 1)) - 1;
    const mp_limb_t fraction = lowest & belowHalf;
    rounding.doubts |= static_cast<std::uint64_t>(fraction == 0 || fraction == belowHalf) << index;
}

/// Divides integers of one or two limbs.
template <class Int>
void divideNative(const Block& a, const Block& b, std::size_t count, Block& out, QuotientRounding& rounding) {
    using Long [[gnu::may_alias]] = Int;
    const auto* const x = reinterpret_cast<const Long*>(a.limbs);
    const auto* const y = reinterpret_cast<const Long*>(b.limbs);
    auto* const quotients = reinterpret_cast<Long*>(out.limbs);
    // Division rounds toward zero; the quotients are rounded down and made odd where something was cut off.
    const auto divideOne = [&](auto dividend, auto divisor, std::size_t i) {
        const auto quotient = dividend / divisor;
        const auto remainder = dividend - quotient * divisor;
        const bool isNegative = (dividend < 0) != (divisor < 0);
        if (rounding.precision == 0) {
            quotients[i] = (quotient - (isNegative && remainder != 0 ? 1 : 0)) | (remainder != 0 ? 1 : 0);
            return;
        }
        auto size = static_cast<DoubleLimb>(quotient < 0 ? -quotient : quotient);
        const bool isCut = isStillCut(rounding.precision, size, remainder != 0);
        if (isCut) {
            noteDoubt(rounding, i, static_cast<mp_limb_t>(size));
        }
        const auto rounded = static_cast<Int>(size);
        quotients[i] = (isNegative ? -rounded - (isCut ? 1 : 0) : rounded) | (isCut ? 1 : 0);
    };
    constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
    for (std::size_t i = 0; i < count; ++i) {
        const auto dividend = static_cast<std::int64_t>(x[i]);
        const auto divisor = static_cast<std::int64_t>(y[i]);
        if (dividend == x[i] && divisor == y[i] && dividend != kLeast) {
            divideOne(dividend, divisor, i);
        } else {
            divideOne(static_cast<Int>(x[i]), static_cast<Int>(y[i]), i);
        }
    }
}

std::size_t usedLimbs(const mp_limb_t* x, std::size_t width) {
    while (width > 0 && x[width - 1] == 0) {
        --width;
    }
    return width;
}
int bitsOf(const mp_limb_t* x, std::size_t width) {
    const std::size_t used = usedLimbs(x, width);
    return static_cast<int>(used) * kLimbBits - (used > 0 ? std::countl_zero(x[used - 1]) : 0);
}

/// Rounds so many bits of a positive integer away, to nearest with ties to even, where something below it was cut off
/// or not.
void dropBits(mp_limb_t* x, std::size_t width, unsigned dropped, bool isCut) {
    const bool isHalf = bitOf(x, dropped - 1);
    const bool isUp = isHalf && (isCut || hasBitBelow(x, dropped - 1) || bitOf(x, dropped));
    const std::size_t whole = dropped / kLimbBits;
    std::fill_n(x, whole, 0);
    x[whole] &= ~mp_limb_t{0} << dropped % kLimbBits;
    if (isUp) {
        mpn_add_1(x + whole, x + whole, sizeOf(width - whole), mp_limb_t{1} << dropped % kLimbBits);
    }
}

void divideLimbs(const Block& a, const Block& b, std::size_t count, std::size_t width, Block& out,
                 QuotientRounding& rounding) {
    std::vector<mp_limb_t> work(4 * width + 1);
    mp_limb_t* const x = work.data();
    mp_limb_t* const y = x + width;
    mp_limb_t* const remainder = y + width;
    mp_limb_t* const quotient = remainder + width;
    for (std::size_t i = 0; i < count; ++i) {
        noteWork(width * width);
        std::copy_n(a.limbs + i * width, width, x);
        std::copy_n(b.limbs + i * width, width, y);
        mp_limb_t* const q = out.limbs + i * width;
        bool isNegative = false;
        for (mp_limb_t* const value : {x, y}) {
            if (signLimb(value[width - 1]) != 0) {
                mpn_neg(value, value, sizeOf(width));
                isNegative = !isNegative;
            }
        }
        const std::size_t n = usedLimbs(x, width);
        const std::size_t m = usedLimbs(y, width);
        std::fill_n(q, width, 0);
        bool isCut = n > 0;
        if (n >= m && m == 1) {
            isCut = mpn_divrem_1(q, 0, x, sizeOf(n), y[0]) != 0;
        } else if (n >= m) {
            mpn_tdiv_qr(quotient, remainder, 0, x, sizeOf(n), y, sizeOf(m));
            std::copy_n(quotient, n - m + 1, q);
            isCut = !isZero(remainder, m);
        }
        if (rounding.precision != 0) {
            const int dropped = bitsOf(q, width) - rounding.precision;
            if (dropped > 0) {
                dropBits(q, width, static_cast<unsigned>(dropped), isCut);
                isCut = false;
            } else if (isCut) {
                noteDoubt(rounding, i, q[0]);
            }
        }
        if (isNegative) {
            mpn_neg(q, q, sizeOf(width));
            mpn_sub_1(q, q, sizeOf(width), isCut ? 1 : 0);
        }
        q[0] |= isCut ? 1U : 0U;
    }
}

}  // namespace

Extent quotientOf(const Extent& a, const Extent& b, int exponent) {
    return {exponent, std::max(a.bits + shiftToDivide(a, b, exponent), 0) + 1, a.hasSign || b.hasSign};
}

int bitsToDivide(const Extent& a, const Extent& b, int exponent) {
    const int shift = shiftToDivide(a, b, exponent);
    // A bit more keeps the quotient of the least integer by -1 from overflowing.
    return std::max(neededBits(a) + std::max(shift, 0), neededBits(b) + std::max(-shift, 0)) + 1;
}

void divide(Block& a, Block& b, int exponent, std::uint64_t zeros, std::size_t count, std::size_t width, Block& out,
            QuotientRounding& rounding) {
    const int shift = shiftToDivide(a.extent, b.extent, exponent);
    const Extent extent = quotientOf(a.extent, b.extent, exponent);
    const std::uint64_t zeroDividends = zerosOf(a, count, width);
    const std::uint64_t negativeZeros =
        zeroDividends != 0 ? zeroDividends & (signsOf(a, count, width) ^ signsOf(b, count, width)) : 0;
    for (std::uint64_t rest = zeros; rest != 0; rest &= rest - 1) {
        b.limbs[static_cast<std::size_t>(std::countr_zero(rest)) * width] = 1;
    }
    shiftAllLeft(shift > 0 ? a : b, count, width, static_cast<unsigned>(std::abs(shift)));
    __extension__ typedef __int128 DoubleInt;
    constexpr std::uint64_t kDivision = 10;
    noteWork(count * kDivision);
    switch (width) {
        case 1:
            divideNative<std::int64_t>(a, b, count, out, rounding);
            break;
        case 2:
            divideNative<DoubleInt>(a, b, count, out, rounding);
            break;
        default:
            divideLimbs(a, b, count, width, out, rounding);
    }
    rounding.doubts &= ~zeros;
    out.extent = extent;
    out.negativeZeros = negativeZeros & ~zeros;
}

std::size_t compress(std::uint64_t mask, std::size_t count, std::size_t width, Block& block) {
    std::size_t kept = 0;
    std::uint64_t signs = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if ((mask >> i & 1U) == 0) {
            std::copy_n(block.limbs + i * width, width, block.limbs + kept * width);
            signs |= (block.negativeZeros >> i & 1U) << kept;
            ++kept;
        }
    }
    block.negativeZeros = signs;
    return kept;
}

void expand(std::uint64_t mask, std::size_t count, std::size_t width, Block& block) {
    auto from = count - static_cast<std::size_t>(std::popcount(mask));
    std::uint64_t signs = 0;
    for (std::size_t i = count; i-- > 0;) {
        if ((mask >> i & 1U) == 0) {
            --from;
            std::copy_n(block.limbs + from * width, width, block.limbs + i * width);
            signs |= (block.negativeZeros >> from & 1U) << i;
        }
    }
    block.negativeZeros = signs;
}

void setBounds(const Format& format, const Block& values, std::uint64_t mask, std::size_t count, std::size_t width,
               Block& out) {
    for (std::size_t i = 0; mask != 0 && i < count; ++i) {
        if ((mask >> i & 1U) != 0) {
            setBound(out.limbs + i * width, width, format.grid, signLimb(values.limbs[i * width + width - 1]) == 0);
        }
    }
}

void negate(std::size_t count, std::size_t width, Block& block) {
    const std::uint64_t zeros = zerosOf(block, count, width);
    for (std::size_t i = 0; i < count; ++i) {
        mpn_neg(block.limbs + i * width, block.limbs + i * width, sizeOf(width));
    }
    block.negativeZeros = zeros & ~block.negativeZeros;
    ++block.extent.bits;
    block.extent.hasSign = true;
}

namespace {

template <class Rule>
void quantizeLimbs(const Task& task, std::size_t count, std::size_t width, Block& block, Met& met) {
    const WordGrid& grid = task.format.grid;
    const int left = isWithinWord(grid, -task.shift) ? -task.shift : 0;
    const WordGrid beforeShift{grid.exponent, grid.bits - left, grid.isSigned};
    for (std::size_t i = 0; i < count; ++i) {
        mp_limb_t* const x = block.limbs + i * width;
        bool isInside = true;
        if (left > 0) {
            isInside = isWord(x, width, beforeShift);
            if (isInside || !task.saturates) {
                shiftLeft(x, width, static_cast<unsigned>(left));
            }
        } else if (task.shift > 0) {
            const auto shift = static_cast<unsigned>(task.shift);
            const unsigned half = bitOf(x, shift - 1) ? 1 : 0;
            const unsigned rest = hasBitBelow(x, shift - 1) ? 1 : 0;
            const unsigned negative = signLimb(x[width - 1]) != 0 ? 1 : 0;
            const bool wasZero = (half | rest) == 0 && isZero(x, width);
            shiftRight(x, width, shift);
            mpn_add_1(x, x, sizeOf(width), Rule::increment(half, rest, negative, static_cast<unsigned>(x[0] & 1U)));
            if (!wasZero && isZero(x, width)) {
                ++met.underflows;
                met.minusZeros |= static_cast<std::uint64_t>(negative & Rule::keepsMinus(half, rest)) << i;
            }
        } else {
            shiftLeft(x, width, static_cast<unsigned>(-task.shift));
        }
        if (left > 0 ? isInside : isWord(x, width, grid)) {
            continue;
        }
        ++met.overflows;
        met.overflowing |= std::uint64_t{1} << i;
        if (task.saturates) {
            setBound(x, width, grid, signLimb(x[width - 1]) == 0);
        } else {
            extend(x, width, grid);
        }
    }
}

}  // namespace

void watch(const Block& block, std::size_t count, std::size_t width, Notes& notes) {
    // The upper 64 bits are compared, and all of them where these are equal.
    const auto bits = std::min<std::size_t>(static_cast<std::size_t>(neededBits(block.extent)), width * kLimbBits);
    const std::size_t below = bits > kLimbBits ? bits - kLimbBits : 0;
    std::array<std::int64_t, kBlock> keys;
    const KeyRange range =
        integerLoops().watch(block.limbs, count, width, below / kLimbBits, below % kLimbBits, keys.data());
    const auto find = [&](std::int64_t key, bool isGreatest, mp_limb_t* found) {
        if (below == 0) {
            found[0] = static_cast<mp_limb_t>(key);
            std::fill_n(found + 1, width - 1, signLimb(found[0]));
            return;
        }
        std::uint64_t rest = integerLoops().placesOf(keys.data(), count, key);
        auto best = static_cast<std::size_t>(std::countr_zero(rest));
        for (rest &= rest - 1; rest != 0; rest &= rest - 1) {
            const auto i = static_cast<std::size_t>(std::countr_zero(rest));
            const int order = compare(block.limbs + i * width, block.limbs + best * width, width);
            best = (isGreatest ? order > 0 : order < 0) ? i : best;
        }
        std::copy_n(block.limbs + best * width, width, found);
    };
    find(range.greatest, true, notes.greatest);
    find(range.least, false, notes.least);
    notes.zeros = Tally::none;
    if (isZero(notes.greatest, width) || isZero(notes.least, width)) {
        const std::uint64_t zeros = zerosOf(block, count, width);
        notes.zeros = ((zeros & block.negativeZeros) != 0 ? Tally::minus : Tally::none) |
                      ((zeros & ~block.negativeZeros) != 0 ? Tally::plus : Tally::none);
    }
}

namespace {

/// A finite double as an integer times 2^exponent.
struct Split {
    explicit Split(double x) {
        constexpr int kMantissaBits = 52;
        constexpr int kExponentBias = 1075;
        const auto bits = std::bit_cast<std::uint64_t>(x);
        const int field = static_cast<int>(bits >> kMantissaBits) & 0x7FF;
        const auto size = static_cast<std::int64_t>((bits & ((std::uint64_t{1} << kMantissaBits) - 1)) |
                                                    (field != 0 ? std::uint64_t{1} << kMantissaBits : 0));
        integer = std::signbit(x) ? -size : size;
        exponent = std::max(field, 1) - kExponentBias;
    }
    std::int64_t integer;
    int exponent;
};

/// x = integer * 2^shift, modulo the width.
void setShifted(mp_limb_t* x, std::size_t width, std::int64_t integer, unsigned shift) {
    const std::size_t whole = shift / kLimbBits;
    const unsigned rest = shift % kLimbBits;
    const auto low = static_cast<mp_limb_t>(integer);
    const mp_limb_t sign = signLimb(low);
    std::fill_n(x, std::min(whole, width), 0);
    if (whole < width) {
        x[whole] = low << rest;
        std::fill(x + whole + 1, x + width, sign);
        if (whole + 1 < width && rest != 0) {
            x[whole + 1] = static_cast<mp_limb_t>(integer >> (kLimbBits - rest));
        }
    }
}

template <class Rule>
void quantizeDoubles(const Task& task, const double* values, std::size_t count, std::size_t width, Block& out,
                     Met& met) {
    constexpr int kDoubleBits = 53;
    const WordGrid& grid = task.format.grid;
    for (std::size_t i = 0; i < count; ++i) {
        mp_limb_t* const x = out.limbs + i * width;
        const Split value(values[i]);
        const bool isNegative = value.integer < 0;
        const int shift = grid.exponent - value.exponent;
        bool isBeyond = false;
        if (shift > 0) {
            // From 62 bits on, what is dropped is less than half of a unit.
            const int dropped = std::min(shift, 62);
            const std::int64_t v = value.integer;
            const std::int64_t floor = v >> dropped;
            const std::int64_t half = v >> (dropped - 1) & 1;
            const std::int64_t rest = (v & ((std::int64_t{1} << (dropped - 1)) - 1)) != 0 ? 1 : 0;
            const std::int64_t r = floor + Rule::increment(half, rest, std::int64_t{isNegative}, floor & 1);
            x[0] = static_cast<mp_limb_t>(r);
            std::fill_n(x + 1, width - 1, signLimb(x[0]));
            if (r == 0 && v != 0) {
                ++met.underflows;
                met.minusZeros |= static_cast<std::uint64_t>(isNegative && Rule::keepsMinus(half, rest) != 0) << i;
            }
        } else {
            isBeyond = value.integer != 0 && kDoubleBits - shift > static_cast<int>(width) * kLimbBits - 1 &&
                       kLimbBits - std::countl_zero(static_cast<std::uint64_t>(std::abs(value.integer))) - shift >
                           static_cast<int>(width) * kLimbBits - 1;
            setShifted(x, width, value.integer, static_cast<unsigned>(-shift));
        }
        if (value.integer == 0) {
            met.minusZeros |= static_cast<std::uint64_t>(std::signbit(values[i])) << i;
        }
        if (!isBeyond && isWord(x, width, grid)) {
            continue;
        }
        ++met.overflows;
        if (task.saturates) {
            setBound(x, width, grid, !isNegative);
        } else {
            extend(x, width, grid);
        }
    }
}

/// Quantizes doubles by the loops, if these take the words and the doubles.
bool quantizeShortDoubles(const Task& task, const double* values, std::size_t count, std::size_t width, Block& out,
                          Met& met) {
    constexpr int kGreatestExponent = 900;
    const WordGrid& grid = task.format.grid;
    if (width > kLoopWidth || grid.bits - (grid.isSigned ? 1 : 0) >= kLimbBits ||
        std::abs(grid.exponent) > kGreatestExponent) {
        return false;
    }
    const double toInteger = std::ldexp(1.0, -grid.exponent);
    if (width == 1) {
        return integerLoops().quantizeDoubles(task, values, count, toInteger, out.limbs, met);
    }
    std::array<mp_limb_t, kBlock> words;
    if (!integerLoops().quantizeDoubles(task, values, count, toInteger, words.data(), met)) {
        return false;
    }
    integerLoops().widen(words.data(), count, grid.isSigned, out.limbs);
    return true;
}

// Formats with roundings or overflows beyond those of quantizers. Nothing here knows negative zeros.

using Increment = unsigned (*)(unsigned half, unsigned rest, unsigned negative, unsigned odd);

/// What is added to a quotient rounded down, by flags as those of the rounding rules.
Increment incrementOf(const Format& format) {
    static constexpr std::array<Increment, RoundingRules::kCount> kRules =
        RoundingRules::table([]<class Rule>() -> Increment { return &Rule::template increment<unsigned>; });
    switch (format.moreRounding) {
        case MoreRounding::nearestZero:
            return [](unsigned half, unsigned rest, unsigned negative, unsigned) { return half & (rest | negative); };
        case MoreRounding::nearestDown:
            return [](unsigned half, unsigned rest, unsigned, unsigned) { return half & rest; };
        case MoreRounding::nearestOdd:
            return [](unsigned half, unsigned rest, unsigned, unsigned odd) { return half & (rest | (odd ^ 1U)); };
        case MoreRounding::awayFromZero:
            return [](unsigned half, unsigned rest, unsigned negative, unsigned) {
                return (half | rest) & (negative ^ 1U);
            };
        case MoreRounding::jam:
            return [](unsigned half, unsigned rest, unsigned, unsigned odd) { return (half | rest) & (odd ^ 1U); };
        case MoreRounding::addSign:
            return [](unsigned, unsigned, unsigned negative, unsigned) { return negative; };
        default:
            return kRules[RoundingRules::indexOf(format.round)];
    }
}

/// The next number of the generator SplitMix64.
std::uint64_t nextRandom(std::uint64_t& state) {
    state += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
}

/// The 64 bits below a bit, with zeros below the lowest one of x.
mp_limb_t fractionOf(const mp_limb_t* x, unsigned bit) {
    if (bit < kLimbBits) {
        return x[0] << (static_cast<unsigned>(kLimbBits) - bit);
    }
    const std::size_t limb = bit / kLimbBits;
    const unsigned rest = bit % kLimbBits;
    return rest == 0 ? x[limb - 1] : x[limb] << (static_cast<unsigned>(kLimbBits) - rest) | x[limb - 1] >> rest;
}

/// Forces x, whose value had that sign before it was shifted, into the words.
void forceMore(const Format& format, mp_limb_t* x, std::size_t width, bool isNegative) {
    const WordGrid& grid = format.grid;
    const bool saturates = format.overflow == embedded::OverflowModeEnum::Saturate;
    switch (format.moreOverflow) {
        case MoreOverflow::zero:
            std::fill_n(x, width, 0);
            break;
        case MoreOverflow::symmetric:
            setBound(x, width, grid, !isNegative);
            if (isNegative && grid.isSigned) {
                mpn_add_1(x, x, sizeOf(width), 1);
            }
            break;
        case MoreOverflow::keepSign:
            extend(x, width, grid);
            if (grid.isSigned) {
                const auto sign = static_cast<unsigned>(grid.bits - 1);
                const mp_limb_t above = isNegative ? ~mp_limb_t{0} : 0;
                const mp_limb_t low = (mp_limb_t{1} << sign % kLimbBits) - 1;
                mp_limb_t& top = x[sign / kLimbBits];
                top = (top & low) | (above & ~low);
                std::fill(x + sign / kLimbBits + 1, x + width, above);
            }
            break;
        default:
            if (saturates) {
                setBound(x, width, grid, !isNegative);
            } else {
                extend(x, width, grid);
            }
    }
}

void quantizeMore(const Task& task, std::size_t count, std::size_t width, Block& block, Met& met) {
    const Format& format = task.format;
    const WordGrid& grid = format.grid;
    const Increment increment = incrementOf(format);
    const bool isStochastic = format.moreRounding == MoreRounding::stochastic;
    const bool isSymmetric = format.moreOverflow == MoreOverflow::symmetric && grid.isSigned;
    const int left = isWithinWord(grid, -task.shift) ? -task.shift : 0;
    const WordGrid beforeShift{grid.exponent, grid.bits - left, grid.isSigned};
    for (std::size_t i = 0; i < count; ++i) {
        mp_limb_t* const x = block.limbs + i * width;
        const bool isNegative = signLimb(x[width - 1]) != 0;
        bool isInside = true;
        if (left > 0) {
            isInside = isWord(x, width, beforeShift);
            shiftLeft(x, width, static_cast<unsigned>(left));
        } else if (task.shift > 0) {
            const auto shift = static_cast<unsigned>(task.shift);
            const unsigned half = bitOf(x, shift - 1) ? 1 : 0;
            const unsigned rest = hasBitBelow(x, shift - 1) ? 1 : 0;
            const bool wasZero = (half | rest) == 0 && isZero(x, width);
            unsigned up = 0;
            if (isStochastic) {
                up = nextRandom(*format.random) < fractionOf(x, shift) ? 1 : 0;
            }
            shiftRight(x, width, shift);
            up = isStochastic ? up : increment(half, rest, isNegative ? 1 : 0, static_cast<unsigned>(x[0] & 1U));
            mpn_add_1(x, x, sizeOf(width), up);
            met.underflows += !wasZero && isZero(x, width) ? 1U : 0U;
        } else {
            shiftLeft(x, width, static_cast<unsigned>(-task.shift));
        }
        isInside = isInside && isWord(x, width, grid);
        if (isInside && isSymmetric) {
            // The least word alone has the sign bit and no other.
            const auto sign = static_cast<unsigned>(grid.bits - 1);
            isInside = !(bitOf(x, sign) && !hasBitBelow(x, sign));
        }
        if (!isInside) {
            ++met.overflows;
            met.overflowing |= std::uint64_t{1} << i;
            forceMore(format, x, width, isNegative);
        }
    }
}

void finish(const Met& met, std::size_t count, std::size_t width, const Block& block, Notes* notes) {
    if (notes) {
        watch(block, count, width, *notes);
        notes->overflows = met.overflows;
        notes->underflows = met.underflows;
        notes->overflowing = met.overflowing;
    }
}

}  // namespace

void quantize(const Format& format, const double* values, std::size_t count, std::size_t width, Block& out,
              Notes* notes) {
    using Loop = void (*)(const Task&, const double*, std::size_t, std::size_t, Block&, Met&);
    static constexpr std::array<Loop, RoundingRules::kCount> kLoops =
        RoundingRules::table([]<class Rule>() -> Loop { return &quantizeDoubles<Rule>; });
    noteWork(count * width);
    const Task task{format, 0, format.overflow == embedded::OverflowModeEnum::Saturate};
    Met met;
    if (!quantizeShortDoubles(task, values, count, width, out, met)) {
        kLoops[RoundingRules::indexOf(format.round)](task, values, count, width, out, met);
    }
    out.extent = extentOf(format.grid);
    out.negativeZeros = met.minusZeros;
    finish(met, count, width, out, notes);
}

void quantize(const Format& format, std::size_t count, std::size_t width, Block& block, Notes* notes) {
    noteWork(count * width);
    if (covers(format, block.extent) && block.extent.exponent == format.grid.exponent &&
        format.moreOverflow != MoreOverflow::symmetric) {
        finish(Met(), count, width, block, notes);
        return;
    }
    const Task task{format, format.grid.exponent - block.extent.exponent,
                    format.overflow == embedded::OverflowModeEnum::Saturate};
    Met met;
    if (format.hasMore()) {
        quantizeMore(task, count, width, block, met);
    } else if (width <= kLoopWidth) {
        integerLoops().quantize(task, block.limbs, count, width, met);
    } else {
        using Loop = void (*)(const Task&, std::size_t, std::size_t, Block&, Met&);
        static constexpr std::array<Loop, RoundingRules::kCount> kLoops =
            RoundingRules::table([]<class Rule>() -> Loop { return &quantizeLimbs<Rule>; });
        kLoops[RoundingRules::indexOf(format.round)](task, count, width, block, met);
    }
    block.extent = extentOf(format.grid);
    block.negativeZeros |= met.minusZeros;
    finish(met, count, width, block, notes);
}

namespace {

bool areOneLimb(const WordSpan& a, const WordSpan& b, const wordarray& out) {
    return a.grid.limbs() == 1 && b.grid.limbs() == 1 && out.grid().limbs() == 1;
}
WordOperand operandFrom(const WordSpan& words, int exponent, std::uint64_t begin) {
    const std::size_t step = words.count == 1 ? 0 : 1;
    return {words.limbs + step * begin, step, static_cast<unsigned>(words.grid.exponent - exponent)};
}
bool isWithinLimb(int shift) {
    return shift >= 0 && shift < kLimbBits;
}

}  // namespace

bool combine(Sign sign, const WordSpan& a, const WordSpan& b, wordarray& out) {
    const int exponent = out.grid().exponent;
    if (!areOneLimb(a, b, out) || !isWithinLimb(a.grid.exponent - exponent) ||
        !isWithinLimb(b.grid.exponent - exponent)) {
        return false;
    }
    inSlices(out.span().count, [&](std::uint64_t begin, std::uint64_t end) {
        integerLoops().combineWords(sign, operandFrom(a, exponent, begin), operandFrom(b, exponent, begin), end - begin,
                                    out.limbs() + begin);
    });
    return true;
}

bool multiply(const WordSpan& a, const WordSpan& b, wordarray& out) {
    if (!areOneLimb(a, b, out) || a.grid.exponent + b.grid.exponent != out.grid().exponent) {
        return false;
    }
    const auto isHalf = [](const WordSpan& x) { return neededBits(extentOf(x.grid)) <= kLimbBits / 2; };
    const bool areHalves = isHalf(a) && isHalf(b);
    inSlices(out.span().count, [&](std::uint64_t begin, std::uint64_t end) {
        const IntegerLoops& loops = integerLoops();
        (areHalves ? loops.multiplyHalves : loops.multiplyWords)(operandFrom(a, a.grid.exponent, begin),
                                                                 operandFrom(b, b.grid.exponent, begin), end - begin,
                                                                 out.limbs() + begin);
    });
    return true;
}

}  // namespace tolvane::detail::integers
