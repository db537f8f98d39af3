// The styles of files of words: each is written into a sink and read from a text. Not installed.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "numbers/interruption.h"
#include "program/packed_words.h"
#include "program/word_files.h"

namespace tolvane::detail {

/// Collects text and hands it on by large pieces.
class TextSink {
 public:
    using Take = std::function<void(std::string_view)>;
    explicit TextSink(Take take) : mTake(std::move(take)), mPiece(kPiece) {}

    /// Room for so many characters; `advance` says where the text in it ends.
    char* room(std::size_t size) {
        if (mPiece.size() - mUsed < size) {
            flush();
            mPiece.resize(std::max(mPiece.size(), size));
        }
        return mPiece.data() + mUsed;
    }
    void advance(const char* end) { mUsed = static_cast<std::size_t>(end - mPiece.data()); }
    void add(std::string_view text) { advance(std::copy(text.begin(), text.end(), room(text.size()))); }
    void flush() {
        noteWork(mUsed);
        mTake({mPiece.data(), mUsed});
        mUsed = 0;
    }

 private:
    static constexpr std::size_t kPiece = 1 << 16;
    Take mTake;
    std::vector<char> mPiece;
    std::size_t mUsed = 0;
};

/// A text to be read, and the name of its file if it has one.
struct SourceText {
    std::string_view text;
    std::string file;

    const char* begin() const { return text.data(); }
    const char* end() const { return text.data() + text.size(); }
    /// Raises an error with line and column, "tolvane:words:text" unless another id is given.
    [[noreturn]] void refuse(const char* at, const std::string& why, const char* id = "tolvane:words:text") const;
    /// Behind the comment that begins at the slash; raises if it has no end or is none.
    const char* skipComment(const char* slash) const;
    /// The characters up to white space or a separator, for messages.
    std::string_view wordAt(const char* at) const;
};

/// Those of arrays, and for arrays without one those of the options; raises "tolvane:words:name" if two are equal.
std::vector<std::string> namesOf(std::span<const fixed_array> arrays, const word_options& options);
/// A comment for each line of a text, behind "// ".
std::string asComments(std::string_view text);
/// The comment of the options, and a line for each array.
std::string describe(std::span<const fixed_array> arrays, const word_options& options);

void writeMemory(std::span<const fixed_array> arrays, const word_options& options, int digitBits, TextSink& sink);
std::vector<fixed_array> readMemory(const SourceText& source, std::span<const word_signal> signals,
                                    const word_options& options, int digitBits);

void writeTable(std::span<const fixed_array> arrays, const word_options& options, TextSink& sink);
std::vector<fixed_array> readTable(const SourceText& source, std::span<const word_signal> signals);

/// The guard is made of the name of the only array, or of `guard`.
void writeHeader(std::span<const fixed_array> arrays, const word_options& options, const std::string& guard,
                 TextSink& sink);
std::vector<fixed_array> readHeader(const SourceText& source, std::span<const word_signal> signals);

/// Words that are read one after the other as decimal numbers or by pieces.
class WordCollector {
 public:
    explicit WordCollector(const fixed_type& type)
        : mGrid(gridOf(type)),
          mMost{greatest(type.bits - (type.is_signed ? 1 : 0)),
                !type.is_signed ? 0 : std::max(greatest(type.bits - 1) + 1, greatest(type.bits - 1))} {}
    const WordGrid& grid() const { return mGrid; }
    std::size_t count() const { return mLimbs.size() / mGrid.limbs(); }
    /// Takes room for what a text of so many characters may hold, shared by so many collectors. Room that isn't used
    /// costs nothing.
    void expect(std::size_t characters, std::size_t collectors) {
        constexpr std::size_t kCharactersPerWord = 4;
        mLimbs.reserve(characters / (kCharactersPerWord * collectors));
    }
    /// Adds the word that decimal digits mean; returns false and adds nothing if it is beyond the type.
    bool addDecimal(bool isNegative, std::string_view digits);
    /// The same for a number of up to 64 bits.
    bool add(bool isNegative, std::uint64_t size) {
        // Signs are hard to foresee, so they take no branch.
        if (size > mMost[isNegative ? 1 : 0]) {
            return false;
        }
        const std::uint64_t flip = std::uint64_t{0} - (isNegative ? 1U : 0U);
        mLimbs.push_back((size ^ flip) - flip);
        if (mGrid.limbs() > 1) {
            mLimbs.resize(mLimbs.size() + mGrid.limbs() - 1, isNegative && size != 0 ? ~mp_limb_t{0} : 0);
        }
        return true;
    }
    /// Adds a word by its 32-bit pieces, the lowest first, with the sign extended; as `addDecimal`.
    bool addPieces(std::span<const std::uint32_t> pieces);
    wordarray take() const;

 private:
    static std::uint64_t greatest(int bits) {
        return bits >= WordGrid::kLimbBits ? ~std::uint64_t{0} : (std::uint64_t{1} << bits) - 1;
    }

    WordGrid mGrid;
    // The greatest and least words as far as 64 bits hold them.
    std::uint64_t mMost[2];
    std::vector<mp_limb_t> mLimbs;
};

/// Makes the array of a signal of its parts, the real one first.
fixed_array collected(const word_signal& signal, std::span<const WordCollector> parts);

/// A decimal number in a text: a sign and digits, which end at `end`; no digits if there is none.
struct DecimalRead {
    bool isNegative = false;
    std::string_view digits;
    const char* end = nullptr;
};
DecimalRead readDecimalWord(const char* begin, const char* end);
/// Reads up to 7 digits without a branch for each, and returns how many; 0 if there are none or more, or the text ends
/// within 8 characters.
inline int readShortNumber(const char* at, const char* end, std::uint64_t& number) {
    if constexpr (std::endian::native == std::endian::little) {
        constexpr int kCharacters = 8;
        if (end - at < kCharacters) {
            return 0;
        }
        std::uint64_t digits = 0;
        std::memcpy(&digits, at, kCharacters);
        digits ^= 0x3030303030303030U;
        // The highest bit of the first byte that isn't 0 to 9, and of some behind it.
        const std::uint64_t others = ((digits + 0x7676767676767676U) | digits) & 0x8080808080808080U;
        const int count = std::countr_zero(others) / 8;
        if (count == 0 || count == kCharacters) {
            return 0;
        }
        // Digits in bytes, then pairs and fours of them, the first one lowest, are joined with their neighbours.
        digits <<= 8 * (kCharacters - count);
        digits = (digits * 10 + (digits >> 8)) & 0x00FF00FF00FF00FFU;
        digits = (digits * 100 + (digits >> 16)) & 0x0000FFFF0000FFFFU;
        number = (digits * 10000 + (digits >> 32)) & 0xFFFFFFFFU;
        return count;
    }
    return 0;
}
/// The word as a decimal number.
char* writeDecimal(const mp_limb_t* word, const WordGrid& grid, char* out);
/// The characters that any such word has room in.
std::size_t decimalRoom(const WordGrid& grid);

}  // namespace tolvane::detail
