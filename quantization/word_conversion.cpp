#include "quantization/word_conversion.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <type_traits>

#include "numbers/bit_tables.h"
#include "quantization/double_rules.h"
#include "quantization/word_masks.h"

namespace tolvane::detail::wordconversion {

namespace {

using EmbeddedTypeSystem::NumericType;

constexpr int kChunkBits = 32;

/// The position of a bit in a long word.
struct BitPlace {
    std::size_t chunk;
    std::size_t bit;
};
BitPlace placeOf(std::size_t position) {
    if (position < kTabulatedBitCount) {
        return {idxHostChunkForOverallBit[position], idxBitInHostChunkForOverallBit[position]};
    }
    return {position / kChunkBits, position % kChunkBits};
}

/// The inputs of rounding: the highest dropped bit, whether any below it is set, and the lowest bit that is kept.
struct Dropped {
    bool top;
    bool below;
    bool lowestKept;
    bool isNegative;

    bool any() const { return top || below; }
};

/// Whether one is added after the shift, which has rounded toward minus infinity; by round code.
constexpr bool (*kAddsOne[kRoundCodeCount])(Dropped) = {
    [](Dropped d) { return d.isNegative && d.any(); },
    [](Dropped d) { return d.top; },
    [](Dropped d) { return d.any(); },
    [](Dropped) { return false; },
    [](Dropped d) { return d.isNegative && d.any(); },
    [](Dropped d) { return d.top && (d.below || !d.isNegative); },
    [](Dropped d) { return d.top && (d.below || d.lowestKept); },
};

/// The double without its exponent: a two's-complement integer with copies of the sign above it and zeros below.
class SourceWord {
 public:
    /// Takes m * 2^53, for m of magnitude [0.5, 1).
    explicit SourceWord(double m) {
        const double size = std::fabs(m) * 0x1p21;
        const double high = std::floor(size);
        mChunks = {static_cast<std::uint32_t>((size - high) * 0x1p32), static_cast<std::uint32_t>(high)};
        if (m < 0.0) {
            negate();
        }
    }

    bool isNegative() const { return (mChunks[1] & mask_nthBitOne[31]) != 0; }
    /// A chunk of copies of the sign.
    std::uint32_t sign() const { return isNegative() ? mask_lsNBitsOne[31] : 0; }
    /// The 32 bits from a position up.
    std::uint32_t bitsFrom(std::int64_t position) const {
        if (position <= -kChunkBits) {
            return 0;
        }
        if (position >= kBits) {
            return sign();
        }
        // The chunk below the lowest one lets positions below 0 be treated like the others.
        const BitPlace place = placeOf(static_cast<std::size_t>(position + kChunkBits));
        const std::array<std::uint32_t, 4> all = {0, mChunks[0], mChunks[1], sign()};
        const std::uint64_t pair = all[place.chunk] | static_cast<std::uint64_t>(all[place.chunk + 1]) << kChunkBits;
        return static_cast<std::uint32_t>(pair >> place.bit);
    }

    /// Drops the low bits, 1 or more, and rounds by the code.
    void drop(std::int64_t count, int roundCode) {
        const Dropped dropped{bit(count - 1), anyBelow(count - 1), bit(count), isNegative()};
        mChunks = {bitsFrom(count), bitsFrom(count + kChunkBits)};
        if (kAddsOne[roundCode](dropped)) {
            addOne();
        }
    }

    SourceWord magnitude() const {
        SourceWord result = *this;
        if (isNegative()) {
            result.negate();
        }
        return result;
    }
    /// Of a word that isn't negative, the position above its highest bit that is set.
    int bitLength() const {
        return mChunks[1] != 0 ? 2 * kChunkBits - std::countl_zero(mChunks[1])
                               : kChunkBits - std::countl_zero(mChunks[0]);
    }
    /// Of a word that isn't negative, whether it is 2^n, or 2^n - 1, for some n from 0 up.
    bool isPowerOfTwo() const { return std::popcount(mChunks[0]) + std::popcount(mChunks[1]) == 1; }
    bool isAllOnes() const { return std::popcount(mChunks[0]) + std::popcount(mChunks[1]) == bitLength(); }

 private:
    static constexpr std::int64_t kBits = std::int64_t{2} * kChunkBits;

    bool bit(std::int64_t position) const {
        if (position >= kBits) {
            return isNegative();
        }
        const BitPlace place = placeOf(static_cast<std::size_t>(position));
        return (mChunks[place.chunk] & mask_nthBitOne[place.bit]) != 0;
    }
    bool anyBelow(std::int64_t position) const {
        if (position == 0) {
            return false;
        }
        // A nonzero word has a bit set among its own, so the copies of the sign don't matter.
        const BitPlace last = placeOf(static_cast<std::size_t>(std::min(position, kBits) - 1));
        const std::uint32_t upper = mChunks[last.chunk] & mask_lsNBitsOne[last.bit];
        return upper != 0 || (last.chunk == 1 && mChunks[0] != 0);
    }
    void addOne() {
        if (++mChunks[0] == 0) {
            ++mChunks[1];
        }
    }
    void negate() {
        mChunks = {~mChunks[0], ~mChunks[1]};
        addOne();
    }

    std::array<std::uint32_t, 2> mChunks{};
};

/// The position of a value relative to the range of a type; the bounds themselves are distinguished from the inside.
enum class Place { below, least, inside, greatest, above };

/// Of source * 2^shift, shift from 0 up.
Place placeInRange(const SourceWord& source, std::int64_t shift, const NumericType& type) {
    const SourceWord magnitude = source.magnitude();
    const std::int64_t bits = magnitude.bitLength() + shift;
    const int valueBits = type.isSigned() ? type.getWordLength() - 1 : type.getWordLength();
    if (source.isNegative()) {
        if (!type.isSigned() || bits > valueBits + 1) {
            return Place::below;
        }
        return bits <= valueBits ? Place::inside : magnitude.isPowerOfTwo() ? Place::least : Place::below;
    }
    if (bits != valueBits) {
        return bits < valueBits ? Place::inside : Place::above;
    }
    // A shifted value is even and so below the bound.
    return shift == 0 && magnitude.isAllOnes() ? Place::greatest : Place::inside;
}

/// The 32 bits of a stored entry; a short one fills them by the sign of T.
template <class T>
std::uint32_t chunkOf(T entry) {
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(entry));
}

/// Sets the bits above the top of the word to copies of its sign.
template <class T>
void extendSign(const NumericType& type, std::span<T> word) {
    const BitPlace top = placeOf(static_cast<std::size_t>(type.getWordLength() - 1));
    const std::uint32_t chunk = chunkOf(word[top.chunk]);
    const bool isNegative = type.isSigned() && (chunk & mask_nthBitOne[top.bit]) != 0;
    word[top.chunk] = static_cast<T>(isNegative ? chunk | mask_lsNBitsZero[top.bit] : chunk & mask_lsNBitsOne[top.bit]);
}

/// For signed types the greatest word has all bits but the top one, the least word that one alone; for unsigned ones
/// all bits, and none.
template <class T>
void storeBound(bool isGreatest, const NumericType& type, std::span<T> word) {
    std::ranges::fill(word, static_cast<T>(isGreatest ? mask_lsNBitsOne[31] : 0));
    if (type.isSigned()) {
        const BitPlace top = placeOf(static_cast<std::size_t>(type.getWordLength() - 1));
        word[top.chunk] = static_cast<T>(chunkOf(word[top.chunk]) ^ mask_nthBitOne[top.bit]);
    }
    extendSign(type, word);
}

/// Stores the low bits of source * 2^shift.
template <class T>
void storeLowBits(const SourceWord& source, std::int64_t shift, const NumericType& type, std::span<T> word) {
    const auto count = static_cast<std::int64_t>(word.size());
    const std::int64_t first = std::min(shift / kChunkBits, count);
    const std::int64_t last = std::min(first + 3, count);
    std::ranges::fill(word.first(static_cast<std::size_t>(first)), T{0});
    for (std::int64_t i = first; i < last; ++i) {
        word[static_cast<std::size_t>(i)] = static_cast<T>(source.bitsFrom(i * kChunkBits - shift));
    }
    std::ranges::fill(word.subspan(static_cast<std::size_t>(last)), static_cast<T>(source.sign()));
    extendSign(type, word);
}

/// ldexp with any exponent; beyond these no chunk is anything but 0 or infinity.
double scaled(std::uint32_t chunk, std::int64_t exponent) {
    return std::ldexp(static_cast<double>(chunk), static_cast<int>(std::clamp<std::int64_t>(exponent, -4000, 4000)));
}

}  // namespace

int roundCodeOf(embedded::RoundModeEnum mode) {
    static constexpr int kCodes[] = {2, 6, 0, 3, 1, 5};
    static_assert(std::size(kCodes) == rounding::RoundingRules::kCount, "each rounding mode has a code");
    const auto index = static_cast<std::size_t>(mode);
    return index < std::size(kCodes) ? kCodes[index] : 0;
}

template <class T>
void convertToWord(double v, const NumericType& type, int roundCode, bool saturates, FxpCoreClientInterface& client,
                   std::span<T> word) {
    if (v == 0.0 || std::isnan(v)) {
        std::ranges::fill(word, T{0});
        return;
    }
    if (std::isinf(v)) {
        if (saturates) {
            storeBound(v > 0.0, type, word);
        } else {
            std::ranges::fill(word, T{0});
        }
        client.handleOverflow();
        return;
    }
    int exponent = 0;
    SourceWord source(std::frexp(v, &exponent));
    constexpr int kMantissaBits = 53;
    std::int64_t shift = static_cast<std::int64_t>(exponent) - kMantissaBits - type.getFixedExponent();
    if (shift < 0) {
        source.drop(-shift, roundCode >= 0 && roundCode < kRoundCodeCount ? roundCode : 0);
        shift = 0;
    }
    const Place place = placeInRange(source, shift, type);
    if (saturates && place != Place::inside) {
        storeBound(place >= Place::greatest, type, word);
    } else {
        storeLowBits(source, shift, type, word);
    }
    if (place == Place::below || place == Place::above) {
        client.handleOverflow();
    }
}

template <class T>
double valueOfWord(std::span<const T> word, const NumericType& type) {
    // By the type and not only by the top chunk: of an unsigned word of 64 bits its top bit is 2^63, and the word of an
    // infinity that saturates is the greatest value and not -1.
    const bool isNegative = type.isSigned() && static_cast<std::make_signed_t<T>>(word.back()) < 0;
    double value = 0.0;
    std::int64_t position = type.getFixedExponent();
    bool carries = true;
    for (const T entry : word) {
        std::uint32_t chunk = chunkOf(entry);
        if (isNegative) {
            chunk = ~chunk + (carries ? 1 : 0);
            carries = carries && chunk == 0;
        }
        if (chunk != 0) {
            const double part = scaled(chunk, position);
            value = isNegative ? value - part : value + part;
        }
        position += kChunkBits;
    }
    return value;
}

template void convertToWord(double, const NumericType&, int, bool, FxpCoreClientInterface&, std::span<std::int8_t>);
template void convertToWord(double, const NumericType&, int, bool, FxpCoreClientInterface&, std::span<std::uint8_t>);
template void convertToWord(double, const NumericType&, int, bool, FxpCoreClientInterface&, std::span<std::int16_t>);
template void convertToWord(double, const NumericType&, int, bool, FxpCoreClientInterface&, std::span<std::uint16_t>);
template void convertToWord(double, const NumericType&, int, bool, FxpCoreClientInterface&, std::span<std::int32_t>);
template void convertToWord(double, const NumericType&, int, bool, FxpCoreClientInterface&, std::span<std::uint32_t>);
template double valueOfWord(std::span<const std::int8_t>, const NumericType&);
template double valueOfWord(std::span<const std::uint8_t>, const NumericType&);
template double valueOfWord(std::span<const std::int16_t>, const NumericType&);
template double valueOfWord(std::span<const std::uint16_t>, const NumericType&);
template double valueOfWord(std::span<const std::int32_t>, const NumericType&);
template double valueOfWord(std::span<const std::uint32_t>, const NumericType&);

}  // namespace tolvane::detail::wordconversion
