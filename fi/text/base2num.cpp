// Text as words: the output of num2base, possibly with other delimiters.
//
// A text is checked as a whole before the array changes. Words of arrays of doubles or of words are made from their
// digits here, others by the quantizer. Both store the same values.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fi/core/word_grids.h"
#include "fi/fi.h"
#include "fi/text/word_digits.h"
#include "host/ErrorIdException.h"
#include "numbers/wordarray.h"

using namespace tolvane::detail;

namespace {

constexpr const char* kRealDelimiters = " \t,";
constexpr const char* kComplexDelimiters = " \t,+i";

/// The value of a digit of either case, and for any other character one that no base has.
constexpr std::array<std::uint8_t, 256> kDigits = [] {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(std::numeric_limits<std::uint8_t>::max());
    for (std::uint8_t i = 0; i < 10; ++i) {
        digits[static_cast<unsigned>('0') + i] = i;
    }
    for (std::uint8_t i = 0; i < 26; ++i) {
        digits[static_cast<unsigned>('a') + i] = digits[static_cast<unsigned>('A') + i] = i + 10;
    }
    return digits;
}();

unsigned digitOf(char character) {
    return kDigits[static_cast<unsigned char>(character)];
}

/// The digit just above the last one of the base is accepted, in base 10 only as a lower-case letter. Callers rely on a
/// word with it becoming zero, as numbers make it, instead of raising an error.
class Numerals {
 public:
    explicit Numerals(int base) {
        for (std::size_t character = 0; character < mAreDigits.size(); ++character) {
            const bool isCapital = character >= 'A' && character <= 'Z';
            mAreDigits[character] = kDigits[character] <= base && !(isCapital && base <= 10);
        }
    }
    bool contain(std::string_view token) const {
        return std::ranges::all_of(
            token, [this](char character) { return mAreDigits[static_cast<unsigned char>(character)]; });
    }

 private:
    std::array<bool, 256> mAreDigits;
};

/// The characters that separate tokens.
class Delimiters {
 public:
    explicit Delimiters(std::string_view characters) {
        for (const char character : characters) {
            mIsOne[static_cast<unsigned char>(character)] = true;
        }
    }
    bool contain(char character) const { return mIsOne[static_cast<unsigned char>(character)]; }

 private:
    std::array<bool, 256> mIsOne{};
};

/// The tokens of a row in turn, and empty ones after the last.
class Tokens {
 public:
    Tokens(std::string_view row, const Delimiters& delimiters) : mRest(row), mDelimiters(delimiters) {}
    std::string_view next() {
        std::size_t begin = 0;
        while (begin < mRest.size() && mDelimiters.contain(mRest[begin])) {
            ++begin;
        }
        std::size_t end = begin;
        while (end < mRest.size() && !mDelimiters.contain(mRest[end])) {
            ++end;
        }
        const std::string_view token = mRest.substr(begin, end - begin);
        mRest.remove_prefix(end);
        return token;
    }

 private:
    std::string_view mRest;
    const Delimiters& mDelimiters;
};

/// The rows of a char matrix, each up to its first character of code 0.
class TextRows {
 public:
    explicit TextRows(const hvArray* text) : mCount(hvGetM(text)), mWidth(hvGetN(text)), mText(mCount * mWidth, '\0') {
        if (hvGetNumberOfDimensions(text) > 2) {
            // Raises the host's error for such an array.
            const hvArrayOwner byRows(hvTranspose(text));
        }
        const std::span<const hvChar> characters = hvGetTypedData<hvChar>(text);
        // No character beyond these is a digit.
        const auto narrowed = [](hvChar character) { return character < 128 ? static_cast<char>(character) : '?'; };
        if (mCount == 1) {
            std::ranges::transform(characters, mText.begin(), narrowed);
            return;
        }
        // By tiles of rows, whose lines of text stay in the cache.
        constexpr std::size_t kTile = 64;
        for (std::size_t top = 0; top < mCount; top += kTile) {
            for (std::size_t column = 0; column < mWidth; ++column) {
                for (std::size_t row = top; row < std::min(top + kTile, mCount); ++row) {
                    mText[row * mWidth + column] = narrowed(characters[row + column * mCount]);
                }
            }
        }
    }
    std::size_t count() const { return mCount; }
    std::span<const char> whole(std::size_t index) const { return std::span(mText).subspan(index * mWidth, mWidth); }
    std::string_view row(std::size_t index) const {
        const std::string_view all = std::string_view(mText).substr(index * mWidth, mWidth);
        return all.substr(0, all.find('\0'));
    }
    bool contain(char character) const {
        if (mText.find(character) == std::string::npos) {
            return false;
        }
        for (std::size_t index = 0; index < mCount; ++index) {
            if (row(index).find(character) != std::string_view::npos) {
                return true;
            }
        }
        return false;
    }

 private:
    std::size_t mCount;
    std::size_t mWidth;
    std::string mText;
};

/// The array in a text.
struct TextShape {
    std::uint64_t rows = 0;
    std::uint64_t elementsPerRow = 0;
    bool isComplex = false;
    /// The parts of its elements, row by row.
    std::vector<std::string_view> parts;
};

void checkInput(const hvArray* text, int base, const Delimiters& delimiters) {
    if (base < 2 || base > 18) {
        raiseError("fixedpoint:fi:base2num:BadBase", "fi::base2num base must be between 2 and 18 inclusive");
    }
    if (!hvIsChar(text)) {
        raiseError("fixedpoint:fi:base2num:NotCharArray", "fi::base2num input array not a character array");
    }
    const auto isBlank = [&delimiters](hvChar character) {
        return character == 0 || (character < 128 && delimiters.contain(static_cast<char>(character)));
    };
    if (std::ranges::all_of(hvGetTypedData<hvChar>(text), isBlank)) {
        raiseError("fixedpoint:fi:base2num:EmptyInput", "fi::base2num input array contains no elements");
    }
}

[[noreturn]] void raiseInvalidElement(std::uint64_t row, std::uint64_t column) {
    raiseError("fixedpoint:fi:base2num:InvalidElement",
               "Input array invalid at element (" + std::to_string(row + 1) + "," + std::to_string(column + 1) + ")");
}

/// The first row determines the number of elements of all rows; an excess part of an element in it is ignored.
TextShape shapeOf(const TextRows& rows, int base, const char* realDelimiters, const char* complexDelimiters) {
    TextShape shape{rows.count(), 0, rows.contain('i'), {}};
    const Delimiters delimiters(shape.isComplex ? complexDelimiters : realDelimiters);
    const Numerals numerals(base);
    const std::uint64_t parts = shape.isComplex ? 2 : 1;
    for (std::size_t row = 0; row < rows.count(); ++row) {
        Tokens tokens(rows.row(row), delimiters);
        std::uint64_t tokenCount = 0;
        for (std::string_view token = tokens.next(); !token.empty(); token = tokens.next()) {
            if (!numerals.contain(token)) {
                raiseInvalidElement(row, tokenCount / parts);
            }
            if (row == 0 || tokenCount < shape.elementsPerRow * parts) {
                shape.parts.push_back(token);
            }
            ++tokenCount;
        }
        if (row == 0) {
            shape.elementsPerRow = tokenCount / parts;
            shape.parts.resize(shape.elementsPerRow * parts);
            shape.parts.reserve(shape.parts.size() * rows.count());
        }
        if (tokenCount == 0 || tokenCount < shape.elementsPerRow * parts) {
            raiseInvalidElement(row, tokenCount / parts);
        }
    }
    return shape;
}

/// The words of a quantizer as doubles.
class DoubleWords {
 public:
    explicit DoubleWords(const quantizer& q)
        : mIsUsable((q.isSignedFixed() || q.isUnsignedFixed()) && q.getWordlength() <= 52 &&
                    q.getFractionlength() >= -1000 && q.getFractionlength() <= 1000) {
        if (mIsUsable) {
            mModulus = std::int64_t{1} << q.getWordlength();
            mFirstNegative = q.isSignedFixed() ? mModulus / 2 : mModulus;
            mStep = std::ldexp(1.0, -q.getFractionlength());
        }
    }
    /// False for formats without words, and for those with a scale whose power of two isn't a double.
    bool isUsable() const { return mIsUsable; }
    /// 2 to the power of the word length, at most 2^52.
    std::int64_t modulus() const { return mModulus; }
    double valueOf(std::int64_t word) const {
        return static_cast<double>(word >= mFirstNegative ? word - mModulus : word) * mStep;
    }

 private:
    bool mIsUsable;
    std::int64_t mModulus = 0;
    std::int64_t mFirstNegative = 0;
    double mStep = 1.0;
};

/// Reads words into one part of an array.
class PartReader {
 public:
    PartReader(const quantizer& q, int base, number& part) : mQuantizer(q), mWords(q), mBase(base), mPart(part) {
        const WordGrid grid = gridOf(q);
        if (wordsOf(part, grid)) {
            mWideWords = &part.body().asMp()->rewrite(grid);
            mReader.emplace(grid, base);
        }
        doublenumber* const doubles = part.asDouble();
        if (doubles != nullptr && mWords.isUsable()) {
            mDoubles = doubles->elements();
        }
    }

    void store(std::uint64_t element, std::string_view token) {
        const std::optional<std::int64_t> word = mDoubles.empty() ? std::nullopt : wordOf(token);
        if (word) {
            mDoubles[element] = mWords.valueOf(*word);
            return;
        }
        if (mWideWords && readWide(element, token)) {
            return;
        }
        mPart.setIndex(element);
        // Parts that a text does not set, as for a floating zero, are unchanged.
        mPart.setvalue(0.0);
        if (!token.empty()) {
            mToken = token;
            mQuantizer.base2num(mToken.c_str(), mBase, mPart);
            mWideWords = mPart.asWords() ? mWideWords : nullptr;
        }
    }

 private:
    bool readWide(std::uint64_t element, std::string_view token) {
        mDigits.resize(token.size());
        bool areDigits = true;
        for (std::size_t i = 0; i < token.size(); ++i) {
            mDigits[i] = kDigits[static_cast<unsigned char>(token[i])];
            areDigits &= mDigits[i] < mBase;
        }
        if (!areDigits || !mReader->read(mDigits, mWideWords->word(element))) {
            return false;
        }
        mWideWords->setNegativeZero(element, false);
        return true;
    }

    /// The word of a token that fits; tokens to be refused or truncated are left to the quantizer.
    std::optional<std::int64_t> wordOf(std::string_view token) const {
        std::int64_t word = 0;
        for (const char character : token) {
            const unsigned digit = digitOf(character);
            // Below 2^52 there is room for a digit more.
            word = word * mBase + digit;
            if (digit >= static_cast<unsigned>(mBase) || word >= mWords.modulus()) {
                return std::nullopt;
            }
        }
        return word;
    }

    const quantizer& mQuantizer;
    DoubleWords mWords;
    int mBase;
    number& mPart;
    std::span<double> mDoubles;
    wordarray* mWideWords = nullptr;
    std::optional<WordReader> mReader;
    std::vector<std::uint8_t> mDigits;
    std::string mToken;
};

/// Reads texts of real words that fit, in one pass.
class PlainReader {
 public:
    PlainReader(const DoubleWords& words, int base) : mWords(words), mBase(base) {
        mKinds.fill(kOther);
        for (std::size_t character = 0; character < mKinds.size(); ++character) {
            if (kDigits[character] < base) {
                mKinds[character] = kDigits[character];
            }
        }
        for (const char* delimiter = kRealDelimiters; *delimiter != 0; ++delimiter) {
            mKinds[static_cast<unsigned char>(*delimiter)] = kDelimiter;
        }
    }

    /// Appends the values of a row. False if anything else than digits and delimiters is there, or a word that doesn't
    /// fit.
    template <class Character>
    bool read(std::span<const Character> row, std::vector<double>& values) const {
        const Character* place = row.data();
        const Character* const end = place + row.size();
        while (place != end) {
            std::uint8_t kind = kindOf(*place++);
            if (kind == kDelimiter) {
                continue;
            }
            std::int64_t word = 0;
            while (kind < kDelimiter) {
                word = word * mBase + kind;
                if (word >= mWords.modulus()) {
                    return false;
                }
                kind = place == end ? kDelimiter : kindOf(*place++);
            }
            if (kind == kOther) {
                return false;
            }
            values.push_back(mWords.valueOf(word));
        }
        return true;
    }

 private:
    // Beyond all digits.
    static constexpr std::uint8_t kDelimiter = 254;
    static constexpr std::uint8_t kOther = 255;
    template <class Character>
    std::uint8_t kindOf(Character character) const {
        const auto code = static_cast<std::make_unsigned_t<Character>>(character);
        return code < mKinds.size() ? mKinds[code] : kOther;
    }

    DoubleWords mWords;
    std::int64_t mBase;
    std::array<std::uint8_t, 256> mKinds;
};

/// Whether a quantizer has the words of a type. Its own description may be older than that of its array.
bool isUpToDate(const quantizer& q, const EmbeddedTypeSystem::NumericType& type) {
    return q.isSignedFixed() == type.isSigned() && q.getWordlength() == type.getWordLength() &&
           q.getFractionlength() == -std::int64_t{type.getFixedExponent()};
}

/// The elements of a text row by row.
struct PlainText {
    std::size_t rows;
    std::size_t elementsPerRow;
    std::vector<double> values;
};

/// Nothing unless all is plain: rows with as many elements as the first one, and nothing that `PlainReader` refuses.
std::optional<PlainText> plainTextOf(const hvArray* text, const DoubleWords& words, int base) {
    if (!words.isUsable() || hvGetNumberOfDimensions(text) > 2) {
        return std::nullopt;
    }
    const PlainReader reader(words, base);
    PlainText plain{hvGetM(text), 0, {}};
    if (plain.rows == 1) {
        // Narrowing the characters would take a pass more.
        if (!reader.read(hvGetTypedData<hvChar>(text), plain.values)) {
            return std::nullopt;
        }
        plain.elementsPerRow = plain.values.size();
        return plain;
    }
    const TextRows rows(text);
    for (std::size_t row = 0; row < plain.rows; ++row) {
        if (!reader.read(rows.whole(row), plain.values)) {
            return std::nullopt;
        }
        if (row == 0) {
            plain.elementsPerRow = plain.values.size();
            plain.values.reserve(plain.elementsPerRow * plain.rows);
        }
        if (plain.elementsPerRow == 0 || plain.values.size() != plain.elementsPerRow * (row + 1)) {
            return std::nullopt;
        }
    }
    return plain;
}

/// Reads the parts of a text into entries from a place on; the imaginary ones are null for a real array.
void readParts(const TextShape& shape, const quantizer& q, int base, std::uint64_t first, number& real,
               number* imaginary) {
    PartReader realPart(q, base, real);
    std::optional<PartReader> imaginaryPart;
    if (imaginary != nullptr) {
        imaginaryPart.emplace(q, base, *imaginary);
    }
    auto part = shape.parts.begin();
    for (std::size_t row = 0; row < shape.rows; ++row) {
        for (std::uint64_t column = 0; column < shape.elementsPerRow; ++column) {
            const std::uint64_t element = first + column * shape.rows + row;
            realPart.store(element, *part++);
            if (imaginaryPart) {
                imaginaryPart->store(element, shape.isComplex ? *part++ : std::string_view());
            }
        }
    }
}

void storeByRows(const PlainText& plain, std::span<double> entries) {
    auto value = plain.values.begin();
    for (std::size_t row = 0; row < plain.rows; ++row) {
        for (std::size_t column = 0; column < plain.elementsPerRow; ++column) {
            entries[column * plain.rows + row] = *value++;
        }
    }
}

}  // namespace

bool fi::base2numCheckElement(const char* token, int base) {
    return token != nullptr && Numerals(base).contain(token);
}

void fi::base2numValidateAndInit(const hvArray* text, int base, const char* realDelimiters,
                                 const char* complexDelimiters, std::uint64_t& rows, std::uint64_t& elementsPerRow,
                                 bool& isComplex) {
    checkInput(text, base, Delimiters(realDelimiters));
    const TextShape shape = shapeOf(TextRows(text), base, realDelimiters, complexDelimiters);
    rows = shape.rows;
    elementsPerRow = shape.elementsPerRow;
    isComplex = shape.isComplex;
}

void fi::base2num(const hvArray* text, int base) {
    errorIfScaledDouble("base2num");
    checkInput(text, base, Delimiters(kRealDelimiters));
    const bool mayBePlain = isreal() && isUpToDate(getAssignmentQuantizer(), getNumericType());
    const auto plain = mayBePlain ? plainTextOf(text, DoubleWords(getAssignmentQuantizer()), base) : std::nullopt;
    if (plain) {
        resizeAndZero(plain->rows, plain->elementsPerRow, getNumericType(), getFimath(), false);
        // Where multi-precision entries are forced, the quantizer stores the words.
        if (doublenumber* const doubles = mReal.asDouble()) {
            storeByRows(*plain, doubles->elements().subspan(firstPlace()));
            setIndex(0);
            return;
        }
    }
    const TextRows rows(text);
    const TextShape shape = shapeOf(rows, base, kRealDelimiters, kComplexDelimiters);
    errorIfComplexSlopeBias(shape.isComplex);
    if (isFloat()) {
        const Delimiters delimiters(shape.isComplex ? kComplexDelimiters : kRealDelimiters);
        // Only these can still refuse a word, so they read all of them once before anything changes.
        number tried(0.0, wordPrecision(), false);
        PartReader reader(getAssignmentQuantizer(), base, tried);
        for (std::size_t row = 0; row < rows.count(); ++row) {
            Tokens tokens(rows.row(row), delimiters);
            for (std::string_view token = tokens.next(); !token.empty(); token = tokens.next()) {
                reader.store(0, token);
            }
        }
    }
    const NumericType& type = getNumericType();
    if (isView()) {
        // What others see as well is written where it is.
        resizeAndZero(shape.rows, shape.elementsPerRow, type, getFimath(), shape.isComplex);
        readParts(shape, getAssignmentQuantizer(), base, firstPlace(), mReal, iscomplex() ? &imagEntries() : nullptr);
        setIndex(0);
        return;
    }
    // Read as a whole before the array changes.
    const std::uint64_t count = shape.rows * shape.elementsPerRow;
    const bool isComplex = iscomplex() || shape.isComplex;
    // Of the kind and the precision that resizing would leave.
    number real(mReal, embedded::NumberVector::tag);
    if (count != mNumel) {
        resizePart(real, count, wordPrecision());
    }
    std::optional<number> imaginary;
    if (isComplex) {
        imaginary.emplace(imagEntries(), embedded::NumberVector::tag);
        if (count != mNumel || isreal()) {
            resizePart(*imaginary, count, wordPrecision());
        }
    }
    readParts(shape, getAssignmentQuantizer(), base, 0, real, isComplex ? &*imaginary : nullptr);
    const number realBefore(mReal, embedded::CopyIndex::tag);
    const std::uint64_t realCursor = mReal.getIndex();
    std::optional<number> imagBefore;
    if (isComplex) {
        imagBefore.emplace(imagEntries(), embedded::CopyIndex::tag);
    }
    const std::uint64_t imagCursor = isComplex ? mImag->getIndex() : 0;
    try {
        if (isComplex) {
            imagEntries().share(*imaginary);
        }
        mReal.share(real);
        // The entries have their number by now.
        resizeAndZero(shape.rows, shape.elementsPerRow, type, getFimath(), shape.isComplex);
    } catch (...) {
        mReal.share(realBefore).setIndex(realCursor);
        if (imagBefore) {
            mImag->share(*imagBefore).setIndex(imagCursor);
        }
        throw;
    }
    setIndex(0);
}
