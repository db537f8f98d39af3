// Words as text: digits of a base, or decimal numbers with a sign, in char arrays.
//
// The elements of a column make a block of columns of the text. A text is written from left to right, each field for
// all rows at once: an array of doubles by the rule of the form on the stored integer, words by their bits, other
// elements by the quantizer. All write the same characters.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "fi/bulk/entries.h"
#include "fi/core/dimension_product.h"
#include "fi/core/word_grids.h"
#include "fi/fi.h"
#include "fi/text/word_digits.h"
#include "host/ErrorIdException.h"
#include "numbers/bases.h"

using namespace tolvane::detail;

namespace {

constexpr std::string_view kBetweenBlocks = "   ";
/// With the spare column of a complex block in signed decimal.
constexpr std::string_view kBetweenDecimalBlocks("   \0", 4);

/// A field for one text of a fixed width in each row; the characters of a row are a stride apart.
struct Field {
    hvChar* first;
    std::size_t rows;
    std::size_t width;

    hvChar& at(std::size_t row, std::size_t place) const { return first[row + place * rows]; }
    /// Right-aligned after `fill`; of a longer text the low-order end.
    void put(std::size_t row, std::string_view text, char fill) const {
        text.remove_prefix(text.size() - std::min(text.size(), width));
        const std::size_t filled = width - text.size();
        for (std::size_t place = 0; place < filled; ++place) {
            at(row, place) = static_cast<hvChar>(fill);
        }
        hvChar* const place = first + row + filled * rows;
        for (std::size_t i = 0; i < text.size(); ++i) {
            place[i * rows] = static_cast<hvChar>(text[i]);
        }
    }
};

/// A text in progress, written from left to right. Omitted columns have character code 0.
class TextColumns {
 public:
    /// Adjacent blocks of the width; the last one omits the blanks that would separate it from the next.
    TextColumns(std::uint64_t rows, std::uint64_t blockCount, std::uint64_t blockWidth) : mRows(rows) {
        const std::uint64_t allBlocks[] = {blockCount, blockWidth};
        const std::size_t columns = blockCount == 0 ? 0 : dimensionProduct(allBlocks) - kBetweenBlocks.size();
        const std::size_t sizes[] = {mRows, columns};
        mArray.reset(hvCreateCharArray(2, sizes));
        mNext = hvGetTypedData<hvChar>(mArray.get()).data();
    }
    Field take(std::size_t width) {
        const Field field{mNext, mRows, width};
        mNext += width * mRows;
        return field;
    }
    /// Writes the text in each row.
    void fill(std::string_view text) {
        if (mRows == 1) {
            mNext = std::ranges::copy(text, mNext).out;
            return;
        }
        for (const char character : text) {
            mNext = std::fill_n(mNext, mRows, static_cast<hvChar>(character));
        }
    }
    hvArray* release() { return mArray.release(); }

 private:
    std::size_t mRows;
    hvArrayOwner mArray;
    hvChar* mNext;
};

/// Reads words from doubles. Values outside the format, from a change of the type or a store without the quantizer, are
/// left to the element, and so are formats without words or with an exponent whose power of two isn't a double.
class WordOfDouble {
 public:
    explicit WordOfDouble(const quantizer& q)
        : mIsUsable((q.isSignedFixed() || q.isUnsignedFixed()) && q.getWordlength() <= 62 &&
                    q.getFractionlength() >= -1000 && q.getFractionlength() <= 1000) {
        if (mIsUsable) {
            mScale = std::ldexp(1.0, q.getFractionlength());
            mModulus = std::int64_t{1} << q.getWordlength();
        }
    }

    bool isUsable() const { return mIsUsable; }
    /// 2 to the power of the word length, which no word's magnitude exceeds.
    std::int64_t modulus() const { return mModulus; }
    std::optional<std::int64_t> operator()(double x) const {
        const double scaled = x * mScale;
        // Also false for NaN.
        if (!(std::fabs(scaled) < static_cast<double>(mModulus))) {
            return std::nullopt;
        }
        const auto word = static_cast<std::int64_t>(scaled);
        // A value can be so small that its product is zero.
        return static_cast<double>(word) == scaled && (word != 0 || x == 0.0) ? std::optional(word) : std::nullopt;
    }

 private:
    bool mIsUsable;
    double mScale = 1.0;
    std::int64_t mModulus = 0;
};

template <unsigned base>
void writeDigits(const Field& field, std::size_t row, std::uint64_t word, unsigned runTimeBase) {
    const unsigned divisor = base == 0 ? runTimeBase : base;
    hvChar* place = &field.at(row, field.width);
    for (std::size_t count = field.width; count > 0; --count) {
        place -= field.rows;
        *place = u"0123456789abcdefghijklmnopqrstuvwxyz"[word % divisor];
        word /= divisor;
    }
}

/// Digits of a base, in two's complement.
class DigitForm {
 public:
    DigitForm(const quantizer& q, int base) : mQuantizer(q), mWordOf(q), mBase(base), mWrite(writerOf(base)) {}
    bool takesDoubles() const { return mWordOf.isUsable(); }
    bool takesWords() const { return mBase == 10 || BinaryDigits::bitsOf(mBase) != 0; }
    void writeWords(const WordSpan& words, std::uint64_t first, const Field& field) const {
        if (mBase != 10) {
            BinaryDigits(words, mBase).write(first, field.rows, field.width, field.first);
            return;
        }
        DecimalDigits digits(words);
        for (std::size_t row = 0; row < field.rows; ++row) {
            field.put(row, digits.ofPattern(first + row), '0');
        }
    }
    /// False for a value that is left to the element.
    bool write(double x, const Field& field, std::size_t row) const {
        const std::optional<std::int64_t> word = mWordOf(x);
        if (!word) {
            return false;
        }
        mWrite(field, row, static_cast<std::uint64_t>(*word < 0 ? *word + mWordOf.modulus() : *word),
               static_cast<unsigned>(mBase));
        return true;
    }
    void write(const number& x, char* text, int width) const { mQuantizer.num2base(text, width, x, mBase); }

 private:
    using Writer = void (*)(const Field&, std::size_t, std::uint64_t, unsigned);
    static Writer writerOf(int base) {
        switch (base) {
            case 2:
                return writeDigits<2>;
            case 8:
                return writeDigits<8>;
            case 10:
                return writeDigits<10>;
            case 16:
                return writeDigits<16>;
            default:
                return writeDigits<0>;
        }
    }

    const quantizer& mQuantizer;
    WordOfDouble mWordOf;
    int mBase;
    Writer mWrite;
};

/// Decimal numbers; imaginary parts follow their sign.
class DecimalForm {
 public:
    enum class Sign { within, before };

    DecimalForm(const quantizer& q, Sign sign) : mQuantizer(q), mWordOf(q), mSign(sign) {}
    bool takesDoubles() const { return mWordOf.isUsable(); }
    static bool takesWords() { return true; }
    void writeWords(const WordSpan& words, std::uint64_t first, const Field& field) const {
        DecimalDigits digits(words);
        std::string text;
        for (std::size_t row = 0; row < field.rows; ++row) {
            text.clear();
            if (mSign == Sign::within && digits.isBelowZero(first + row)) {
                text.push_back('-');
            }
            text.append(digits.ofMagnitude(first + row));
            field.put(row, text, ' ');
        }
    }
    bool write(double x, const Field& field, std::size_t row) const {
        const std::optional<std::int64_t> word = mWordOf(x);
        if (!word) {
            return false;
        }
        char text[24];
        const std::int64_t shown = mSign == Sign::before ? std::abs(*word) : *word;
        const char* const end = std::to_chars(std::begin(text), std::end(text), shown).ptr;
        field.put(row, {text, end}, ' ');
        return true;
    }
    void write(const number& x, char* text, int width) const {
        if (mSign == Sign::before && x.sign() < 0) {
            number magnitude(x);
            mQuantizer.num2sdec(text, width, magnitude.negate());
        } else {
            mQuantizer.num2sdec(text, width, x);
        }
    }

 private:
    const quantizer& mQuantizer;
    WordOfDouble mWordOf;
    Sign mSign;
};

/// The elements of one part of an array as text of a form. Its cursor is restored at the end.
template <class Form>
class PartText {
 public:
    PartText(const number& part, std::uint64_t count, const quantizer& q, const Form& form, int width)
        : mPart(part),
          mCursor(part.getIndex()),
          mDoubles(form.takesDoubles() ? entries::doublesOf(part, count) : std::span<const double>()),
          mWords(form.takesWords() && part.numel() == count ? wordsOf(part, gridOf(q)) : std::nullopt),
          mForm(form),
          mText(static_cast<std::size_t>(width), ' ') {}
    PartText(const PartText&) = delete;
    PartText& operator=(const PartText&) = delete;
    ~PartText() { mPart.setIndex(mCursor); }

    /// Writes an element for each row.
    void write(std::uint64_t firstElement, TextColumns& columns) {
        const Field field = columns.take(mText.size());
        if (mWords) {
            mForm.writeWords(*mWords, firstElement, field);
            return;
        }
        for (std::size_t row = 0; row < field.rows; ++row) {
            const std::uint64_t element = firstElement + row;
            if (mDoubles.empty() || !mForm.write(mDoubles[element], field, row)) {
                mForm.write(mPart[element], mText.data(), static_cast<int>(mText.size()));
                field.put(row, mText, ' ');
            }
        }
    }
    void writeSigns(std::uint64_t firstElement, TextColumns& columns) {
        const Field field = columns.take(1);
        for (std::size_t row = 0; row < field.rows; ++row) {
            field.at(row, 0) = mPart[firstElement + row].sign() < 0 ? u'-' : u'+';
        }
    }

 private:
    const number& mPart;
    std::uint64_t mCursor;
    std::span<const double> mDoubles;
    std::optional<WordSpan> mWords;
    const Form& mForm;
    std::string mText;
};

/// Writes the blocks; `writeBlock` writes the one whose first element it is given.
template <class WriteBlock>
hvArray* blocksOf(const fi& array, int blockWidth, std::string_view betweenBlocks, WriteBlock&& writeBlock) {
    TextColumns columns(array.getM(), array.getN(), static_cast<std::uint64_t>(blockWidth));
    for (std::uint64_t first = 0; first < array.numel(); first += array.getM()) {
        columns.fill(first == 0 ? "" : betweenBlocks);
        writeBlock(first, columns);
    }
    return columns.release();
}

}  // namespace

hvArray* fi::num2base(int base) const {
    if (isView()) {
        return detached()->num2base(base);
    }
    errorIfScaledDouble("num2base");
    requireBase(base, 36, "fixedpoint:fi:num2base:baseoutofrange");
    const int width = digitCount(getWordLength(), base);
    const DigitForm form(getAssignmentQuantizer(), base);
    PartText real(mReal, mNumel, getAssignmentQuantizer(), form, width);
    if (isreal()) {
        return blocksOf(*this, width + 3, kBetweenBlocks,
                        [&](std::uint64_t first, TextColumns& columns) { real.write(first, columns); });
    }
    PartText imaginary(imagEntries(), mNumel, getAssignmentQuantizer(), form, width);
    return blocksOf(*this, 2 * width + 8, kBetweenBlocks, [&](std::uint64_t first, TextColumns& columns) {
        real.write(first, columns);
        columns.fill(" + ");
        imaginary.write(first, columns);
        columns.fill(" i");
    });
}

hvArray* fi::num2sdec() const {
    if (isView()) {
        return detached()->num2sdec();
    }
    errorIfScaledDouble("num2sdec");
    const int digits = digitCount(getWordLength(), 10);
    const int width = digits + 1;
    const quantizer& q = getAssignmentQuantizer();
    const DecimalForm form(q, DecimalForm::Sign::within);
    PartText real(mReal, mNumel, getAssignmentQuantizer(), form, width);
    if (isreal()) {
        return blocksOf(*this, digits + 4, kBetweenBlocks,
                        [&](std::uint64_t first, TextColumns& columns) { real.write(first, columns); });
    }
    const DecimalForm magnitudeForm(q, DecimalForm::Sign::before);
    PartText imaginary(imagEntries(), mNumel, getAssignmentQuantizer(), magnitudeForm, width);
    return blocksOf(*this, 2 * digits + 10, kBetweenDecimalBlocks, [&](std::uint64_t first, TextColumns& columns) {
        real.write(first, columns);
        columns.fill(" ");
        imaginary.writeSigns(first, columns);
        imaginary.write(first, columns);
        columns.fill(" i");
    });
}
