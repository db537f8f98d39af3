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

/// One word, with braces if it takes several pieces.
void addWord(const mp_limb_t* word, const WordGrid& grid, TextSink& sink) {
    if (isWide(grid)) {
        std::string text = "{";
        for (std::size_t i = 0; i < piecesOf(grid.bits); ++i) {
            std::array<char, 8> digits{};
            const auto piece = static_cast<std::uint32_t>(word[i / 2] >> (i % 2 * kPieceBits));
            const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), piece, 16).ptr;
            text.append(i == 0 ? "0x" : ", 0x");
            text.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
        }
        sink.add(text + "}");
        return;
    }
    // C has no literal for the least word of 64 bits.
    if (grid.isSigned && static_cast<std::int64_t>(*word) == std::numeric_limits<std::int64_t>::min()) {
        sink.add("INT64_MIN");
        return;
    }
    char* const end = writeDecimal(word, grid, sink.room(decimalRoom(grid) + 1));
    const bool needsSuffix = *word > std::uint64_t{std::numeric_limits<std::int64_t>::max()} && !grid.isSigned;
    *end = 'u';
    sink.advance(end + (needsSuffix ? 1 : 0));
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
    for (std::size_t i = 0; i < array.size(); ++i) {
        sink.add(i % perLine == 0 ? "\n    " : " ");
        const auto add = [&](const ArrayAccess::Words& words) {
            addWord(words->span().limbs + i * grid.limbs(), grid, sink);
        };
        sink.add(array.is_complex() ? "{" : "");
        add(ArrayAccess::real(array));
        if (array.is_complex()) {
            sink.add(", ");
            add(ArrayAccess::imag(array));
            sink.add("}");
        }
        sink.add(",");
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
        const char* const open = mAt;
        const std::vector<Number> numbers = readNumbers();
        if (signal == mSignals.end()) {
            return;
        }
        const WordGrid grid = gridOf(signal->format.type());
        const std::size_t pieces = isWide(grid) ? piecesOf(grid.bits) : 1;
        const std::size_t partCount = signal->is_complex ? 2 : 1;
        if (numbers.size() % (pieces * partCount) != 0) {
            mSource.refuse(open, "The " + std::to_string(numbers.size()) + " numbers of \"" + name +
                                     "\" are no whole elements of " + std::to_string(pieces * partCount) + ".");
        }
        std::vector<WordCollector> parts(partCount, WordCollector(signal->format.type()));
        for (std::size_t i = 0; i < numbers.size(); i += pieces) {
            if (!addWord(parts[i / pieces % partCount], std::span(numbers).subspan(i, pieces))) {
                mSource.refuse(numbers[i].place, "\"" + std::string(mSource.wordAt(numbers[i].place)) +
                                                     "\" is no word of " + signal->format.type().text() + ".");
            }
        }
        mArrays[static_cast<std::size_t>(signal - mSignals.begin())] = collected(*signal, parts);
    }

    struct Number {
        bool isNegative;
        std::uint64_t size;
        const char* place;
    };
    static bool addWord(WordCollector& words, std::span<const Number> numbers) {
        if (!isWide(words.grid())) {
            return words.add(numbers.front().isNegative, numbers.front().size);
        }
        std::vector<std::uint32_t> pieces;
        for (const Number& number : numbers) {
            if (number.isNegative || number.size > ~std::uint32_t{0}) {
                return false;
            }
            pieces.push_back(static_cast<std::uint32_t>(number.size));
        }
        return words.addPieces(pieces);
    }

    /// The numbers between braces, which may be nested.
    std::vector<Number> readNumbers() {
        std::vector<Number> numbers;
        int depth = 0;
        const char* const open = mAt;
        while (skipSpace()) {
            if (*mAt == '{') {
                ++depth;
                ++mAt;
            } else if (*mAt == '}') {
                ++mAt;
                if (--depth == 0) {
                    return numbers;
                }
            } else if (*mAt == ',') {
                ++mAt;
            } else {
                numbers.push_back(readNumber());
            }
        }
        mSource.refuse(open, "This brace isn't closed.");
    }

    Number readNumber() {
        Number number{false, 0, mAt};
        const std::string_view word = mSource.wordAt(mAt);
        constexpr std::string_view kLeast = "INT64_MIN";
        if (word == kLeast) {
            mAt += kLeast.size();
            return {true, std::uint64_t{1} << 63, number.place};
        }
        number.isNegative = *mAt == '-';
        mAt += number.isNegative || *mAt == '+' ? 1 : 0;
        const std::string_view rest = mSource.wordAt(mAt);
        const bool isHex = rest.starts_with("0x") || rest.starts_with("0X");
        mAt += isHex ? 2 : 0;
        const bool isOctal =
            !isHex && rest.size() > 1 && rest[0] == '0' && isNamePart(rest[1]) && !std::isalpha(rest[1]);
        const char* const wordEnd = rest.data() + rest.size();
        const auto [end, fault] = std::from_chars(mAt, wordEnd, number.size, isHex ? 16 : 10);
        const char* const stop =
            std::find_if_not(end, wordEnd, [](char c) { return c == 'u' || c == 'U' || c == 'l' || c == 'L'; });
        if (fault != std::errc() || isOctal || stop != wordEnd) {
            mSource.refuse(number.place,
                           "\"" + std::string(word) + "\" is no decimal or hexadecimal number of up to 64 bits.");
        }
        mAt = stop;
        return number;
    }

    const SourceText& mSource;
    std::span<const word_signal> mSignals;
    const char* mAt = nullptr;
    bool mIsBehindName = false;
    std::vector<std::optional<fixed_array>> mArrays;
};

}  // namespace

void writeHeader(std::span<const fixed_array> arrays, const word_options& options, TextSink& sink) {
    const std::vector<std::string> names = namesOf(arrays, options);
    std::ranges::for_each(names, requireName);
    for (const fixed_array& array : arrays) {
        if (array.size() == 0) {
            throw error("tolvane:words:arrays", "C has no arrays without elements.");
        }
    }
    std::string guard = arrays.size() == 1 ? names.front() : options.name;
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
