// Doubles to stored words of a fixed-point type and back, exactly, for words of any length.
//
// A word is an array of chunks of the integer type T, least significant first: one chunk of 8, 16 or 32 bits, or as
// many of std::uint32_t as the word needs, for signed types too. Bits above the word's top are copies of its sign,
// zeros for an unsigned type. Slope and bias are ignored here: a word with fixed exponent F represents word * 2^F. All
// functions work on the bits of the double, held as a 54-bit two's-complement integer in two chunks; only the bits that
// the type drops are rounded off. Nothing is allocated. The array loops are in quantization/TbbQuantizeRwvDbl.h.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "descriptors/FxpCoreClientInterface.h"
#include "descriptors/NumericType.h"
#include "descriptors/embedded.h"

namespace tolvane::detail::wordconversion {

/// The rounding of dropped bits, as the code that the conversion uses: 0 fix, 1 nearest, 2 ceil, 3 floor, 5 round, 6
/// convergent. Any other code, including 4, works as 0.
int roundCodeOf(embedded::RoundModeEnum mode);
inline constexpr int kRoundCodeCount = 7;

/// Counts the 32-bit chunks of a word.
constexpr int chunkCountOf(int wordBits) {
    return static_cast<int>((static_cast<std::int64_t>(wordBits) + 31) / 32);
}

/// Stores the word of v. NaN gives 0; an infinity the bound of its sign, or 0 when wrapping. Rounds first, then
/// saturates or keeps the low bits. Reports values out of range to the client. The word has as many chunks as the
/// type's word length, 1 bit or more, needs.
template <class T>
void convertToWord(double v, const EmbeddedTypeSystem::NumericType& type, int roundCode, bool saturates,
                   FxpCoreClientInterface& client, std::span<T> word);

/// Returns the value of a word. Chunks are added from the lowest up, each sum rounded to nearest: exact for words
/// converted from a double without wrapping, except that the greatest words of 54 bits and more give the power of two
/// above them.
template <class T>
double valueOfWord(std::span<const T> word, const EmbeddedTypeSystem::NumericType& type);

}  // namespace tolvane::detail::wordconversion
