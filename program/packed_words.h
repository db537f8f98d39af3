// Words of several arrays side by side in one, and words as digits: what texts and files of words share. Not installed.
#pragma once

#include <gmp.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "numbers/interruption.h"
#include "program/array_access.h"

namespace tolvane::detail {

/// Where a real or an imaginary part lies in a word that holds several.
struct WordPart {
    WordGrid grid;
    int offset = 0;  // of its lowest bit
};

/// The parts of arrays in the word of all of them: the first array on top, imaginary parts above real ones.
class WordLayout {
 public:
    void add(const fixed_type& type, bool isComplex);
    /// From the top down.
    const std::vector<WordPart>& parts() const { return mParts; }
    int bits() const { return mBits; }
    std::size_t limbs() const {
        return static_cast<std::size_t>(mBits + WordGrid::kLimbBits - 1) / WordGrid::kLimbBits;
    }

 private:
    std::vector<WordPart> mParts;
    int mBits = 0;
};

/// The words of arrays of equal sizes, as one word for each element. The arrays must live on.
class WordPacker {
 public:
    explicit WordPacker(std::span<const fixed_array> arrays);
    const WordLayout& layout() const { return mLayout; }
    std::size_t count() const { return mCount; }
    /// Stores words from an element on, `layout().limbs()` limbs each and zeros above the bits.
    void pack(std::size_t begin, std::size_t count, mp_limb_t* out) const;

 private:
    WordLayout mLayout;
    std::vector<const mp_limb_t*> mLimbs;
    std::size_t mCount = 0;
};

/// The arrays of such words; `formats` has a row for each array.
struct PackedFormat {
    fixed_format format;
    bool isComplex;
};
std::vector<fixed_array> unpacked(std::span<const mp_limb_t> words, const WordLayout& layout,
                                  std::span<const PackedFormat> formats);

constexpr std::size_t digitsOf(int bits, int digitBits) {
    return static_cast<std::size_t>(bits + digitBits - 1) / static_cast<std::size_t>(digitBits);
}

/// Writes the digits of words of `bits` bits, the highest first, and returns the end. Digits have 1, 3 or 4 bits.
char* writeDigits(const mp_limb_t* word, int bits, int digitBits, char* out);

/// What is wrong with digits.
enum class DigitFault : std::uint8_t { none, unknown, notADigit, tooManyDigits, tooManyBits };

/// Where reading of digits stopped, and why: at the end, at a character that may follow a word, or at a fault.
struct DigitsRead {
    const char* end;
    DigitFault fault;
};
/// Reads digits of a word up to `end`, white space, '/' or '@'. The first character is a digit, or a fault.
DigitsRead readDigits(const char* begin, const char* end, int bits, int digitBits, mp_limb_t* word);

/// The text of a fault in the word that begins a text.
std::string explained(DigitFault fault, std::string_view text, char character, int bits, int digitBits);

/// What a character is: the value of a digit, or one of these.
enum CharacterKind : std::uint8_t { kDigits = 16, kUnderscore = 16, kSpace, kComment, kAddress, kUnknown, kOther };

constexpr std::array<std::uint8_t, 256> makeCharacterKinds() {
    std::array<std::uint8_t, 256> kinds{};
    kinds.fill(kOther);
    for (unsigned i = 0; i < 10; ++i) {
        kinds['0' + i] = static_cast<std::uint8_t>(i);
    }
    for (unsigned i = 0; i < 6; ++i) {
        kinds['a' + i] = kinds['A' + i] = static_cast<std::uint8_t>(10 + i);
    }
    for (const char space : {' ', '\t', '\n', '\r', '\f', '\v'}) {
        kinds[static_cast<unsigned char>(space)] = kSpace;
    }
    for (const char unknown : {'x', 'X', 'z', 'Z', '?'}) {
        kinds[static_cast<unsigned char>(unknown)] = kUnknown;
    }
    kinds['_'] = kUnderscore;
    kinds['/'] = kComment;
    kinds['@'] = kAddress;
    return kinds;
}
inline constexpr std::array kKinds = makeCharacterKinds();
inline CharacterKind kindOf(char character) {
    return static_cast<CharacterKind>(kKinds[static_cast<unsigned char>(character)]);
}

}  // namespace tolvane::detail
