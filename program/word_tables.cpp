// Words as decimal numbers: tables with a column for each array, and what they share with C headers.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

#include "numbers/gmpinteger.h"
#include "program/memory.h"
#include "program/word_codecs.h"

namespace tolvane::detail {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isSeparator(char c) {
    return c == ',' || c == ';' || c == '\t';
}

/// Writes a number into 20 characters or more. Lengths of numbers are hard to foresee, so those of up to 8 digits take
/// no branch for each.
char* writeNumber(bool isNegative, std::uint64_t number, char* out) {
    constexpr std::uint64_t kEightDigits = 100000000;
    *out = '-';
    out += isNegative ? 1 : 0;
    if (std::endian::native != std::endian::little || number >= kEightDigits) {
        return std::to_chars(out, out + 20, number).ptr;
    }
    // Two fours of digits, four pairs, and eight digits in bytes, the highest one lowest. Fours and pairs are divided
    // by 100 and 10 side by side; the reciprocals are exact for them.
    const std::uint64_t fours = number / 10000 | number % 10000 << 32;
    const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000007F0000007FU;
    const std::uint64_t pairs = hundreds | (fours - hundreds * 100) << 16;
    const std::uint64_t tens = (pairs * 103 >> 10) & 0x000F000F000F000FU;
    std::uint64_t digits = tens | (pairs - tens * 10) << 8;
    // The last digit stays, whatever it is.
    const int zeros = std::countr_zero(digits | std::uint64_t{1} << 56) / 8;
    digits = (digits | 0x3030303030303030U) >> (8 * zeros);
    std::memcpy(out, &digits, sizeof digits);
    return out + (8 - zeros);
}

std::string quoted(const std::string& name) {
    if (name.find_first_of(",;\t\"\r\n") == std::string::npos) {
        return name;
    }
    std::string text = "\"";
    for (const char c : name) {
        text += c == '"' ? "\"\"" : std::string(1, c);
    }
    return text + "\"";
}

/// The parts of signals, in the order of columns.
struct Column {
    std::string name;  // empty if its signal has none
    WordCollector words;
};

class TableReader {
 public:
    TableReader(const SourceText& source, std::span<const word_signal> signals) : mSource(source), mSignals(signals) {
        for (const word_signal& signal : signals) {
            const std::string& name = signal.format.name();
            const auto add = [&](const char* part) {
                mColumns.push_back({name.empty() ? name : name + part, WordCollector(signal.format.type())});
            };
            add(signal.is_complex ? ".re" : "");
            if (signal.is_complex) {
                add(".im");
            }
        }
    }

    std::vector<fixed_array> read() {
        mAt = mSource.begin();
        for (Column& column : mColumns) {
            column.words.expect(mSource.text.size(), mColumns.size());
        }
        skipEmptyLines();
        for (std::size_t i = 0; i < mColumns.size(); ++i) {
            mOrder.push_back(i);
        }
        const char* const first = std::find_if_not(mAt, mSource.end(), [](char c) { return c == ' ' || c == '"'; });
        if (first != mSource.end() && !isDigit(*first) && *first != '-' && *first != '+') {
            readHead();
        }
        for (skipEmptyLines(); mAt != mSource.end(); skipEmptyLines()) {
            readRow();
        }
        std::vector<fixed_array> arrays;
        auto column = mColumns.begin();
        for (const word_signal& signal : mSignals) {
            std::vector<WordCollector> parts;
            for (int i = 0; i < (signal.is_complex ? 2 : 1); ++i) {
                parts.push_back(std::move((column++)->words));
            }
            arrays.push_back(collected(signal, parts));
        }
        return arrays;
    }

 private:
    static constexpr std::size_t kUnused = ~std::size_t{0};

    bool isAtEnd() const { return mAt == mSource.end(); }
    bool isAt(char c) const { return !isAtEnd() && *mAt == c; }
    bool isAtLineEnd() const { return isAtEnd() || *mAt == '\n' || *mAt == '\r'; }
    void skipSpaces() {
        while (isAt(' ')) {
            ++mAt;
        }
    }
    void skipEmptyLines() {
        while (!isAtEnd() && (*mAt == ' ' || *mAt == '\n' || *mAt == '\r')) {
            ++mAt;
        }
    }

    /// A field of any text.
    std::string field() {
        std::string text;
        skipSpaces();
        if (!isAt('"')) {
            while (!isAtLineEnd() && !isSeparator(*mAt)) {
                text += *mAt++;
            }
            text.resize(text.find_last_not_of(' ') + 1);
            return text;
        }
        const char* const begin = mAt++;
        for (;; ++mAt) {
            if (isAtEnd()) {
                mSource.refuse(begin, "This quotation has no end.");
            }
            if (*mAt == '"') {
                ++mAt;
                if (!isAt('"')) {
                    skipSpaces();
                    return text;
                }
            }
            text += *mAt;
        }
    }
    /// Whether there is another field in the line.
    bool nextField() {
        if (isAtLineEnd()) {
            return false;
        }
        if (!isSeparator(*mAt)) {
            mSource.refuse(mAt, "A separator is missing between two fields.");
        }
        ++mAt;
        return true;
    }

    void readHead() {
        std::vector<std::string> names;
        const char* const line = mAt;
        do {
            names.push_back(field());
        } while (nextField());
        if (std::ranges::any_of(mColumns, [](const Column& column) { return column.name.empty(); })) {
            return;
        }
        mOrder.assign(names.size(), kUnused);
        for (std::size_t i = 0; i < mColumns.size(); ++i) {
            const auto found = std::ranges::find(names, mColumns[i].name);
            if (found == names.end()) {
                std::string known;
                for (const std::string& name : names) {
                    known += (known.empty() ? "\"" : ", \"") + name + "\"";
                }
                mSource.refuse(line, "There is no column \"" + mColumns[i].name + "\" among " + known + ".",
                               "tolvane:words:name");
            }
            std::size_t& column = mOrder[static_cast<std::size_t>(found - names.begin())];
            if (column != kUnused) {
                mSource.refuse(line, "Two signals have the column \"" + mColumns[i].name + "\".", "tolvane:words:name");
            }
            column = i;
        }
    }

    void readRow() {
        noteWork(mOrder.size());
        const char* const line = mAt;
        std::size_t fields = 0;
        do {
            if (fields < mOrder.size() && mOrder[fields] != kUnused) {
                readWord(mColumns[mOrder[fields]].words);
            } else {
                field();
            }
            ++fields;
        } while (nextField());
        if (fields != mOrder.size()) {
            mSource.refuse(line, "This line has " + std::to_string(fields) + " fields, and not " +
                                     std::to_string(mOrder.size()) + ".");
        }
    }

    void readWord(WordCollector& words) {
        if (readPlainWord(words)) {
            return;
        }
        skipSpaces();
        const bool isQuoted = isAt('"');
        mAt += isQuoted ? 1 : 0;
        const DecimalRead read = readDecimalWord(mAt, mSource.end());
        const char* const begin = mAt;
        const auto refuse = [&](const char* at, const std::string& why) {
            mSource.refuse(at, "\"" + std::string(mSource.wordAt(begin).substr(0, kMostShown)) + "\" " + why);
        };
        mAt = read.end;
        if (read.digits.empty() || (isQuoted && !isAt('"'))) {
            refuse(read.end, "is no decimal word.");
        }
        mAt += isQuoted ? 1 : 0;
        skipSpaces();
        if (!isAtLineEnd() && !isSeparator(*mAt)) {
            refuse(mAt, "is no decimal word; words are whole numbers.");
        }
        if (!words.addDecimal(read.isNegative, read.digits)) {
            const WordGrid& grid = words.grid();
            refuse(begin, "is no word of " + fixed_type{grid.isSigned, grid.bits, -grid.exponent}.text() + ".");
        }
    }

    /// Takes the usual form, a short number right before a separator or a line end; changes nothing for others.
    bool readPlainWord(WordCollector& words) {
        const char* at = mAt;
        const char* const end = at + std::min<std::ptrdiff_t>(mSource.end() - at, 20);
        const bool isNegative = at != end && *at == '-';
        at += isNegative ? 1 : 0;
        const char* const digits = at;
        std::uint64_t size = 0;
        at += readShortNumber(at, mSource.end(), size);
        for (; at != end && isDigit(*at); ++at) {
            size = size * 10 + static_cast<unsigned>(*at - '0');
        }
        if (at == digits || at == end || (!isSeparator(*at) && *at != '\n' && *at != '\r') ||
            !words.add(isNegative, size)) {
            return false;
        }
        mAt = at;
        return true;
    }

    static constexpr std::size_t kMostShown = 40;
    const SourceText& mSource;
    std::span<const word_signal> mSignals;
    std::vector<Column> mColumns;
    std::vector<std::size_t> mOrder;  // of the columns in the file
    const char* mAt = nullptr;
};

}  // namespace

void writeTable(std::span<const fixed_array> arrays, const word_options& options, TextSink& sink) {
    const std::vector<std::string> names = namesOf(arrays, options);
    const WordPacker sizes(arrays);  // raises if they differ
    struct Part {
        WordGrid grid;
        const mp_limb_t* limbs;
    };
    std::vector<Part> parts;
    std::size_t room = 1;
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        const auto add = [&](const ArrayAccess::Words& words, const char* part) {
            sink.add((parts.empty() ? "" : ",") + quoted(names[i] + part));
            parts.push_back({words->grid(), words->span().limbs});
            room += decimalRoom(words->grid()) + 1;
        };
        add(ArrayAccess::real(arrays[i]), arrays[i].is_complex() ? ".re" : "");
        if (arrays[i].is_complex()) {
            add(ArrayAccess::imag(arrays[i]), ".im");
        }
    }
    sink.add("\n");
    for (std::size_t i = 0; i < sizes.count(); ++i) {
        char* at = sink.room(room);
        for (const Part& part : parts) {
            at = writeDecimal(part.limbs + i * part.grid.limbs(), part.grid, at);
            *at++ = ',';
        }
        at[-1] = '\n';
        sink.advance(at);
    }
}

std::vector<fixed_array> readTable(const SourceText& source, std::span<const word_signal> signals) {
    return TableReader(source, signals).read();
}

bool WordCollector::addDecimal(bool isNegative, std::string_view digits) {
    constexpr std::size_t kShortDigits = 19;  // of numbers below 2^64
    if (digits.size() > kShortDigits) {
        digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size() - 1));
    }
    if (digits.size() <= kShortDigits) {
        std::uint64_t size = 0;
        for (const char c : digits) {
            size = size * 10 + static_cast<unsigned>(c - '0');
        }
        return add(isNegative, size);
    }
    if (digits.size() > decimalRoom(mGrid)) {
        return false;
    }
    const std::size_t limbs = mGrid.limbs();
    std::vector<unsigned char> values(digits.begin(), digits.end());
    for (unsigned char& value : values) {
        value = static_cast<unsigned char>(value - '0');
    }
    // Four bits a digit are more than enough, and a limb is for the sign.
    std::vector<mp_limb_t> number(std::max(digits.size() / 16 + 2, limbs + 1));
    detail::programMemory([&] {
        detail::gmpinteger integer;
        setDigits(integer, values, 10);
        std::copy_n(mpz_limbs_read(integer), integer.limbs(), number.begin());
    });
    if (isNegative) {
        mpn_neg(number.data(), number.data(), static_cast<mp_size_t>(number.size()));
    }
    const int signBit = mGrid.bits - (mGrid.isSigned ? 1 : 0);
    const mp_limb_t sign = mGrid.isSigned && isNegative ? ~mp_limb_t{0} : 0;
    // All bits from that of the sign on are equal to it.
    for (int bit = signBit; bit < static_cast<int>(number.size()) * 64; ++bit) {
        if ((number[static_cast<std::size_t>(bit / 64)] >> (bit % 64) & 1U) != (sign & 1U)) {
            return false;
        }
    }
    mLimbs.insert(mLimbs.end(), number.begin(), number.begin() + static_cast<std::ptrdiff_t>(limbs));
    return true;
}

bool WordCollector::addPieces(std::span<const std::uint32_t> pieces) {
    const std::size_t limbs = mGrid.limbs();
    std::vector<mp_limb_t> word(limbs);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        word[i / 2] |= mp_limb_t{pieces[i]} << (i % 2 * 32);
    }
    const int pieceBits = static_cast<int>(pieces.size()) * 32;
    const bool isNegative = mGrid.isSigned && pieces.back() >> 31 != 0;
    if (isNegative && pieceBits % 64 != 0) {
        word.back() |= ~mp_limb_t{0} << 32;
    }
    const int signBit = mGrid.bits - (mGrid.isSigned ? 1 : 0);
    for (int bit = signBit; bit < static_cast<int>(limbs) * 64; ++bit) {
        if ((word[static_cast<std::size_t>(bit / 64)] >> (bit % 64) & 1U) != (isNegative ? 1U : 0U)) {
            return false;
        }
    }
    mLimbs.insert(mLimbs.end(), word.begin(), word.end());
    return true;
}

wordarray WordCollector::take() const {
    wordarray words = detail::makeWords(count(), mGrid);
    std::ranges::copy(mLimbs, words.limbs());
    return words;
}

fixed_array collected(const word_signal& signal, std::span<const WordCollector> parts) {
    std::optional<wordarray> imag;
    if (signal.is_complex) {
        imag = parts[1].take();
    }
    return ArrayAccess::make(signal.format.type(), {parts[0].count()}, parts[0].take(), std::move(imag),
                             signal.format.name());
}

DecimalRead readDecimalWord(const char* begin, const char* end) {
    DecimalRead read;
    const char* at = begin;
    if (at != end && (*at == '-' || *at == '+')) {
        read.isNegative = *at++ == '-';
    }
    const char* const digits = at;
    while (at != end && isDigit(*at)) {
        ++at;
    }
    read.digits = {digits, static_cast<std::size_t>(at - digits)};
    read.end = at;
    return read;
}

char* writeDecimal(const mp_limb_t* word, const WordGrid& grid, char* out) {
    if (grid.limbs() == 1) {
        const bool isNegative = grid.isSigned && static_cast<std::int64_t>(word[0]) < 0;
        return writeNumber(isNegative, isNegative ? ~word[0] + 1 : word[0], out);
    }
    const std::string text = exact_value::from_words(word, grid.limbs(), grid.isSigned, 0).text();
    return std::copy(text.begin(), text.end(), out);
}

std::size_t decimalRoom(const WordGrid& grid) {
    constexpr std::size_t kAnyShortWord = 20;
    // A digit has more than three bits.
    return grid.limbs() == 1 ? kAnyShortWord : static_cast<std::size_t>(grid.bits) / 3 + 2;
}

}  // namespace tolvane::detail
