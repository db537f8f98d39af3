// Digits of words of many bits, and words of digits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/export.h"
#include "host/hv.h"
#include "numbers/words.h"

namespace tolvane::detail {

/// The digits of words in a base that is a power of two, in two's complement.
class TOLVANE_API BinaryDigits {
 public:
    /// The bits of a digit; 0 for other bases.
    static int bitsOf(int base);

    BinaryDigits(const WordSpan& words, int base);

    /// Writes the digits of the words from `first` on, one word in each row, right-aligned after zeros; the characters
    /// of a row are `rows` apart.
    void write(std::uint64_t first, std::size_t rows, std::size_t width, hvChar* out) const;

 private:
    static constexpr std::size_t kTile = 64;

    mp_limb_t bits(std::uint64_t word, std::size_t low, std::size_t count) const;
    template <class Unit>
    void writeTile(std::uint64_t first, std::size_t count, std::size_t rows, std::size_t width, hvChar* out) const;
    void writeOne(std::uint64_t word, std::size_t width, hvChar* out) const;

    WordSpan mWords;
    std::size_t mLimbs;
    std::size_t mWordBits;
    std::size_t mDigitBits;
};

/// Decimal digits of words.
class TOLVANE_API DecimalDigits {
 public:
    explicit DecimalDigits(const WordSpan& words);
    /// The digits of a word in two's complement, or of its magnitude; valid until the next call.
    std::string_view ofPattern(std::uint64_t word);
    std::string_view ofMagnitude(std::uint64_t word);
    bool isBelowZero(std::uint64_t word) const;

 private:
    std::string_view ofLimbs();

    WordSpan mWords;
    std::size_t mLimbs;
    std::vector<mp_limb_t> mCopy;
    std::string mText;
};

/// Reads words in two's complement. `digits`, the highest first, are all below the base.
class TOLVANE_API WordReader {
 public:
    WordReader(const WordGrid& grid, int base);
    /// Sets the word; false, and it has changed, if the digits need more bits than it has.
    bool read(std::span<const std::uint8_t> digits, std::span<mp_limb_t> word);

 private:
    bool readBits(std::span<const std::uint8_t> digits, std::span<mp_limb_t> word) const;
    bool readDigits(std::span<const std::uint8_t> digits, std::span<mp_limb_t> word);

    WordGrid mGrid;
    int mBase;
    std::size_t mDigitBits;
};

}  // namespace tolvane::detail
