// A number format with its rounding and overflow modes, and the short texts for them.
//
// `s16,15` is a signed word of 16 bits whose bit 0 weighs 2^-15, `u8,8` an unsigned one, `f16:5` a float of 16 bits, 5
// of them exponent. Words stay within 52 bits (floats within 52 fraction and 11 exponent bits), so that every stored
// integer is exact in a double, like the samples.
#pragma once

#include <compare>
#include <string>
#include <string_view>
#include <vector>

#include "descriptors/embedded.h"

namespace study {

using Round = embedded::RoundModeEnum;
using Overflow = embedded::OverflowModeEnum;

enum class Kind { Signed, Unsigned, Float };

inline constexpr int kWordBitsLimit = 52;
inline constexpr int kFractionBitsLimit = 512;

struct Format {
    Kind kind = Kind::Signed;
    int wordBits = 16;
    int fractionBits = 15;  // of a fixed format, may be negative or exceed the word; 0 for a float
    int exponentBits = 0;   // of a float, otherwise 0
    Round round = Round::Nearest;
    Overflow overflow = Overflow::Saturate;

    auto operator<=>(const Format&) const = default;  // NOLINT(modernize-use-nullptr)
    /// The bits of a float below its leading bit.
    int mantissaBits() const { return wordBits - exponentBits - 1; }
};

/// Returns "s16,15", "u8,8" or "f16:5".
std::string shortName(const Format& format);
/// Returns "s16,15 nearest/saturate"; a float has no overflow mode: "f16:5 nearest".
std::string fullName(const Format& format);
std::string_view nameOf(Round round);
std::string_view nameOf(Overflow overflow);

// Each parses a user's text and throws a StudyError (BadArguments) that quotes it.

/// Reads `s16,15`, `u8,8` or `f16:5`, optionally followed by a blank or comma and ROUND or ROUND/OVERFLOW. Omitted
/// modes are taken from `defaults`.
Format parseFormat(std::string_view text, const Format& defaults);
/// Reads numbers and ranges, `8:24` or `8,10,12:14`, without repetitions, in the order given.
std::vector<int> parseNumbers(std::string_view text, std::string_view what, int low, int high);
/// Reads mode names with commas between them, or `all`.
std::vector<Round> parseRounds(std::string_view text);
std::vector<Overflow> parseOverflows(std::string_view text);
/// Reads `16:5,32:8` (word and exponent bits) or `none`; the modes are those of a default Format.
std::vector<Format> parseFloats(std::string_view text);

}  // namespace study
