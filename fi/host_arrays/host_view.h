// Entries as the elements of a new host array, by a conversion from double.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <span>
#include <type_traits>
#include <vector>

#include "fi/fi.h"
#include "host/hv.h"
#include "host/hv_optional.h"
#include "numbers/mpnumber.h"
#include "numbers/rounding.h"
#include "numbers/words.h"

namespace tolvane::detail {

/// Whether words of a grid become doubles by one rounding of an integer of 64 bits.
inline bool hasSmallWords(const WordGrid& grid) {
    constexpr int kGreatestExponent = 900;
    return grid.limbs() == 1 && std::abs(grid.exponent) <= kGreatestExponent;
}

/// Sets each element to `convert` of such a word as a double.
template <class T, class Convert>
void convertWords(const WordSpan& words, std::span<T> out, Convert convert) {
    const double scale = std::ldexp(1.0, words.grid.exponent);
    const auto convertAll = [&](auto toDouble) {
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = convert(toDouble(words.limbs[i]) * scale);
        }
    };
    if (words.grid.isSigned) {
        convertAll([](mp_limb_t limb) { return static_cast<double>(static_cast<std::int64_t>(limb)); });
    } else {
        convertAll([](mp_limb_t limb) { return static_cast<double>(limb); });
    }
    for (std::size_t i = 0; words.negativeZeros && i < out.size(); ++i) {
        if (words.hasNegativeZero(i)) {
            out[i] = convert(-0.0);
        }
    }
}

/// Words of two limbs or more as doubles, to nearest, for grids near 1.
class LongWordsAsDoubles {
 public:
    static bool serve(const WordGrid& grid) {
        constexpr int kGreatestExponent = 900;
        return grid.limbs() > 1 && std::abs(grid.exponent) + grid.bits <= kGreatestExponent;
    }
    explicit LongWordsAsDoubles(const WordSpan& words) : mWords(words), mLimbs(words.grid.limbs()) {}

    double operator()(std::uint64_t index) const {
        const mp_limb_t* const word = mWords.limbs + index * mLimbs;
        const bool isBelowZero = mWords.grid.isSigned && word[mLimbs - 1] >> (WordGrid::kLimbBits - 1) != 0;
        const mp_limb_t turned = isBelowZero ? ~mp_limb_t{0} : 0;
        std::size_t top = mLimbs - 1;
        while (top > 1 && (word[top] ^ turned) == 0) {
            --top;
        }
        mp_limb_t lower = 0;
        for (std::size_t i = 0; i + 1 < top; ++i) {
            lower |= word[i];
        }
        // The magnitude of the two limbs, whose negation is carried into by zeros below.
        mp_limb_t low = word[top - 1] ^ turned;
        const mp_limb_t carry = turned & static_cast<mp_limb_t>(lower == 0);
        low += carry & 1U;
        const bool carries = (carry & 1U) != 0 && low == 0;
        mp_limb_t high = (word[top] ^ turned) + static_cast<mp_limb_t>(carries);
        int zeros = 0;
        if (high == 0) {
            if (carries) {
                // A power of two just above both.
                high = mp_limb_t{1} << (WordGrid::kLimbBits - 1);
                zeros = -1;
            } else if (low == 0) {
                return mWords.hasNegativeZero(index) ? -0.0 : 0.0;
            } else {
                // Only of the lowest two limbs.
                high = low;
                low = 0;
                zeros = WordGrid::kLimbBits;
            }
        }
        if (const int shift = std::countl_zero(high); shift > 0) {
            high = high << shift | low >> (WordGrid::kLimbBits - shift);
            low <<= shift;
            zeros += shift;
        }
        // Whatever lies below the leading 64 bits counts as a last bit, so that these round as the whole.
        high |= static_cast<mp_limb_t>((low | lower) != 0);
        const double size = rounding::scaleByPowerOfTwo(
            static_cast<double>(high), mWords.grid.exponent + static_cast<int>(top) * WordGrid::kLimbBits - zeros);
        return isBelowZero ? -size : size;
    }

 private:
    WordSpan mWords;
    std::size_t mLimbs;
};

/// Sets each element to `convert` of the entry at the same position; the cursor doesn't move.
template <class T, class Convert>
void convertEntries(const number& entries, std::span<T> out, Convert convert) {
    if (const doublenumber* doubles = entries.asDouble()) {
        const auto in = doubles->elements().first(out.size());
        if constexpr (std::is_same_v<Convert, std::identity>) {
            std::copy_n(in.data(), in.size(), out.data());
        } else {
            std::ranges::transform(in, out.begin(), convert);
        }
        return;
    }
    if (const mpnumber* const words = entries.asWords(); words && hasSmallWords(*words->grid())) {
        convertWords(words->words(), out, convert);
        return;
    }
    if (const mpnumber* const words = entries.asWords(); words && LongWordsAsDoubles::serve(*words->grid())) {
        const LongWordsAsDoubles values(words->words());
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = convert(values(i));
        }
        return;
    }
    const std::uint64_t cursor = entries.getIndex();
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] = convert(entries[i].todouble());
    }
    entries.setIndex(cursor);
}

/// Makes a numeric array of which every number will be set: without zeros, if the host can.
inline hvArrayOwner numericArrayToFill(std::span<const std::size_t> dims, hvClassID classId, hvComplexity complexity) {
    const auto create = hvCreateUnsetNumericArray != nullptr ? hvCreateUnsetNumericArray : hvCreateNumericArray;
    return hvArrayOwner(create(dims.size(), dims.data(), classId, complexity));
}

/// Makes an array of the dimensions of the source, and of its complexity unless it is logical; `fill` sets the elements
/// of a part. The caller owns it.
template <class T, class Fill>
hvArray* hostViewBy(const fi& source, hvClassID classId, Fill fill) {
    const std::vector<std::size_t> dims(source.dims(), source.dims() + source.ndims());
    hvArrayOwner result(classId == hvLOGICAL_CLASS
                            ? hvCreateLogicalArray(dims.size(), dims.data())
                            : numericArrayToFill(dims, classId, source.getComplexity()).release());
    fill(source.real(), hvGetTypedData<T>(result.get()));
    fill(source.imag(), hvGetTypedImagData<T>(result.get()));
    return result.release();
}

/// As `hostViewBy`, element by element.
template <class T, class Convert>
hvArray* hostView(const fi& source, hvClassID classId, Convert convert) {
    return hostViewBy<T>(source, classId, [&convert](const number& entries, std::span<T> out) {
        convertEntries(entries, out, convert);
    });
}

}  // namespace tolvane::detail
