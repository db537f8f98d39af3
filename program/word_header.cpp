// Words as arrays of C.
#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <limits>
#include <optional>

#include "program/word_codecs.h"

namespace tolvane::detail {

namespace {

constexpr int kPieceBits = 32;

std::size_t piecesOf(int bits) {
    return static_cast<std::size_t>(bits + kPieceBits - 1) / kPieceBits;
}
bool isWide(const WordGrid& grid) {
    return grid.limbs() > 1;
}

std::string typeName(const WordGrid& grid) {
    const int bits = isWide(grid) ? kPieceBits : grid.bits <= 8 ? 8 : grid.bits <= 16 ? 16 : grid.bits <= 32 ? 32 : 64;
    return (grid.isSigned && !isWide(grid) ? "int" : "uint") + std::to_string(bits) + "_t";
}

bool isNameStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_';
}
bool isNamePart(char c) {
    return isNameStart(c) || std::isdigit(static_cast<unsigned char>(c)) != 0;
}
bool isName(std::string_view name) {
    return !name.empty() && isNameStart(name.front()) && std::ranges::all_of(name, isNamePart);
}

void requireName(const std::string& name) {
    if (!isName(name)) {
        throw error("tolvane:words:name", "\"" + name +
                                              "\" is no name of C; named() gives an array another one, and "
                                              "options.name is for those without.");
    }
}

char* copyText(std::string_view text, char* out) {
    return std::copy(text.begin(), text.end(), out);
}

std::size_t wordRoom(const WordGrid& grid) {
    constexpr std::size_t kPieceRoom = 12;
    return isWide(grid) ? kPieceRoom * piecesOf(grid.bits) + 2 : decimalRoom(grid) + 1;
}

/// One word, with braces if it takes several pieces.
char* writeWord(const mp_limb_t* word, const WordGrid& grid, char* out) {
    if (isWide(grid)) {
        *out++ = '{';
        for (std::size_t i = 0; i < piecesOf(grid.bits); ++i) {
            constexpr std::size_t kDigitsOfPiece = 8;
            out = copyText(i == 0 ? "0x" : ", 0x", out);
            const auto piece = static_cast<std::uint32_t>(word[i / 2] >> (i % 2 * kPieceBits));
            out = std::to_chars(out, out + kDigitsOfPiece, piece, 16).ptr;
        }
        *out++ = '}';
        return out;
    }
    // C has no literal for the least word of 64 bits.
    if (grid.isSigned && static_cast<std::int64_t>(*word) == std::numeric_limits<std::int64_t>::min()) {
        return copyText("INT64_MIN", out);
    }
    out = writeDecimal(word, grid, out);
    if (!grid.isSigned && *word > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
        *out++ = 'u';
    }
    return out;
}

void addArray(const fixed_array& array, const std::string& name, TextSink& sink) {
    const fixed_type& type = array.type();
    const WordGrid grid = gridOf(type);
    const std::string count = std::to_string(array.size());
    sink.add("/* " + type.text() + (array.is_complex() ? " complex, {real, imag}" : "") + ": value = word * 2^" +
             std::to_string(-type.fraction) + (isWide(grid) ? "; the lowest 32 bits of a word come first" : "") +
             " */\n");
    sink.add("static const " + typeName(grid) + " " + name + "[" + count + "]" + (array.is_complex() ? "[2]" : "") +
             (isWide(grid) ? "[" + std::to_string(piecesOf(grid.bits)) + "]" : "") + " = {");
    const std::size_t perLine = isWide(grid) || array.is_complex() ? 4 : 12;
    const mp_limb_t* const real = ArrayAccess::real(array)->span().limbs;
    const mp_limb_t* const imag = array.is_complex() ? ArrayAccess::imag(array)->span().limbs : nullptr;
    std::size_t inLine = 0;
    constexpr std::size_t kBetween = 16;
    for (std::size_t i = 0; i < array.size(); ++i) {
        char* at = sink.room(2 * wordRoom(grid) + kBetween);
        at = copyText(inLine == 0 ? "\n    " : " ", at);
        inLine = inLine + 1 == perLine ? 0 : inLine + 1;
        if (imag) {
            at = copyText("{", at);
            at = writeWord(real + i * grid.limbs(), grid, at);
            at = copyText(", ", at);
            at = writeWord(imag + i * grid.limbs(), grid, at);
            at = copyText("},", at);
        } else {
            at = writeWord(real + i * grid.limbs(), grid, at);
            *at++ = ',';
        }
        sink.advance(at);
    }
    sink.add("\n};\n\n");
}

class HeaderReader {
 public:
    HeaderReader(const SourceText& source, std::span<const word_signal> signals) : mSource(source), mSignals(signals) {
        mArrays.resize(signals.size());
    }

    std::vector<fixed_array> read() {
        mAt = mSource.begin();
        std::string name;
        bool hasEquals = false;
        while (skipSpace()) {
            if (isNameStart(*mAt)) {
                const std::string word = readName();
                // The name of an array is the last one before its sizes.
                name = mIsBehindName ? name : word;
            } else if (*mAt == '{' && hasEquals) {
                readArray(name);
                hasEquals = false;
            } else {
                mIsBehindName = *mAt == '[' || (mIsBehindName && *mAt != ';' && *mAt != ',');
                hasEquals = *mAt == '=' || (hasEquals && *mAt != ';');
                ++mAt;
            }
        }
        std::vector<fixed_array> arrays;
        for (std::size_t i = 0; i < mSignals.size(); ++i) {
            if (!mArrays[i]) {
                const std::string& wanted = mSignals[i].format.name();
                mSource.refuse(mSource.end(),
                               (wanted.empty() ? "There are too few arrays for the signals."
                                               : "There is no array \"" + wanted + "\"."),
                               "tolvane:words:name");
            }
            arrays.push_back(std::move(*mArrays[i]));
        }
        return arrays;
    }

 private:
    /// Goes to the next character that isn't white space or a comment, and of lines of the preprocessor to the end.
    bool skipSpace() {
        while (mAt != mSource.end()) {
            if (kindOf(*mAt) == kSpace) {
                ++mAt;
            } else if (*mAt == '/') {
                mAt = mSource.skipComment(mAt);
            } else if (*mAt == '#') {
                mAt = std::find(mAt, mSource.end(), '\n');
            } else {
                return true;
            }
        }
        return false;
    }
    std::string readName() {
        const char* const begin = mAt;
        mAt = std::find_if_not(mAt, mSource.end(), isNamePart);
        return {begin, mAt};
    }

    void readArray(const std::string& name) {
        const auto signal = std::ranges::find_if(mSignals, [&](const word_signal& s) {
            const bool isFree = !mArrays[static_cast<std::size_t>(&s - mSignals.data())];
            return isFree && (s.format.name().empty() || s.format.name() == name);
        });
        if (signal == mSignals.end()) {
            readNumbers([](const Number&) {});
            return;
        }
        const WordGrid grid = gridOf(signal->format.type());
        const std::size_t partCount = signal->is_complex ? 2 : 1;
        std::vector<WordCollector> parts(partCount, WordCollector(signal->format.type()));
        for (WordCollector& part : parts) {
            part.expect(static_cast<std::size_t>(mSource.end() - mAt), partCount);
        }
        const std::size_t pieceCount = isWide(grid) ? piecesOf(grid.bits) : 1;
        std::vector<std::uint32_t> pieces;
        std::size_t part = 0;
        const char* const open = mAt;
        readNumbers([&](const Number& number) {
            bool isWord = true;
            if (isWide(grid)) {
                isWord = !number.isNegative && number.size <= ~std::uint32_t{0};
                pieces.push_back(static_cast<std::uint32_t>(number.size));
                if (pieces.size() < pieceCount && isWord) {
                    return;
                }
                isWord = isWord && parts[part].addPieces(pieces);
                pieces.clear();
            } else {
                isWord = parts[part].add(number.isNegative, number.size);
            }
            if (!isWord) {
                mSource.refuse(number.place, "\"" + std::string(mSource.wordAt(number.place)) + "\" is no word of " +
                                                 signal->format.type().text() + ".");
            }
            part = part + 1 == partCount ? 0 : part + 1;
        });
        if (part != 0 || !pieces.empty()) {
            mSource.refuse(open, "The numbers of \"" + name + "\" are no whole elements; each takes " +
                                     std::to_string(pieceCount * partCount) + ".");
        }
        mArrays[static_cast<std::size_t>(signal - mSignals.begin())] = collected(*signal, parts);
    }

    struct Number {
        bool isNegative;
        std::uint64_t size;
        const char* place;
    };

    /// Visits the numbers between braces, which may be nested.
    template <class Visit>
    void readNumbers(const Visit& visit) {
        int depth = 0;
        const char* const open = mAt;
        while (skipSpace()) {
            noteWork(1);
            if (*mAt >= '-' && *mAt <= '9') {
                // Digits, signs, and what readNumber refuses. Signs are hard to foresee, so they aren't told from
                // digits.
                visit(readNumber());
                // Mostly one comma and one space follow.
                mAt += mAt != mSource.end() && *mAt == ',' ? 1 : 0;
                mAt += mAt != mSource.end() && *mAt == ' ' ? 1 : 0;
            } else if (*mAt == '{') {
                ++depth;
                ++mAt;
            } else if (*mAt == '}') {
                ++mAt;
                if (--depth == 0) {
                    return;
                }
            } else if (*mAt == ',') {
                ++mAt;
            } else {
                visit(readNumber());
            }
        }
        mSource.refuse(open, "This brace isn't closed.");
    }

    Number readNumber() {
        Number number{false, 0, mAt};
        const auto refuse = [&] {
            mSource.refuse(number.place, "\"" + std::string(mSource.wordAt(number.place)) +
                                             "\" is no decimal or hexadecimal number of up to 64 bits.");
        };
        const char* const end = mSource.end();
        const char* const digits = mAt + static_cast<std::ptrdiff_t>(*mAt == '-');
        if (const int count = readShortNumber(digits, end, number.size);
            count > 0 && (digits[count] == ',' || digits[count] == '}') && (*digits != '0' || count == 1)) {
            number.isNegative = digits != mAt;
            mAt = digits + count;
            return number;
        }
        constexpr std::string_view kLeast = "INT64_MIN";
        if (*mAt == kLeast.front()) {
            if (readName() != kLeast) {
                refuse();
            }
            number.isNegative = true;
            number.size = std::uint64_t{1} << 63;
            return number;
        }
        number.isNegative = *mAt == '-';
        mAt += number.isNegative || *mAt == '+' ? 1 : 0;
        const bool hasPrefix = end - mAt >= 2 && *mAt == '0';
        const bool isHex = hasPrefix && (mAt[1] == 'x' || mAt[1] == 'X');
        const bool isOctal = hasPrefix && mAt[1] >= '0' && mAt[1] <= '9';
        mAt += isHex ? 2 : 0;
        const auto [stop, fault] = std::from_chars(mAt, end, number.size, isHex ? 16 : 10);
        mAt = std::find_if_not(stop, end, [](char c) { return c == 'u' || c == 'U' || c == 'l' || c == 'L'; });
        if (fault != std::errc() || isOctal || (mAt != end && (isNamePart(*mAt) || *mAt == '.'))) {
            refuse();
        }
        return number;
    }

    const SourceText& mSource;
    std::span<const word_signal> mSignals;
    const char* mAt = nullptr;
    bool mIsBehindName = false;
    std::vector<std::optional<fixed_array>> mArrays;
};

}  // namespace

void writeHeader(std::span<const fixed_array> arrays, const word_options& options, const std::string& several,
                 TextSink& sink) {
    const std::vector<std::string> names = namesOf(arrays, options);
    std::ranges::for_each(names, requireName);
    for (const fixed_array& array : arrays) {
        if (array.size() == 0) {
            throw error("tolvane:words:arrays", "C has no arrays without elements.");
        }
    }
    std::string guard = arrays.size() == 1 ? names.front() : several;
    requireName(guard);
    std::ranges::transform(guard, guard.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    guard += "_H";
    sink.add(asComments(options.comment) + "#ifndef " + guard + "\n#define " + guard + "\n\n#include <stdint.h>\n\n");
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        addArray(arrays[i], names[i], sink);
    }
    sink.add("#endif\n");
}

std::vector<fixed_array> readHeader(const SourceText& source, std::span<const word_signal> signals) {
    return HeaderReader(source, signals).read();
}

}  // namespace tolvane::detail
