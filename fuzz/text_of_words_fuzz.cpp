// Reads char matrices of any contents into arrays of any fixed-point type, against a simple model of their meaning.
#include <cctype>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "fuzz/fuzz_case.h"
#include "host/ErrorIdException.h"
#include "host/reference/listeners.h"
#include "tests/support/arrays_of_fi.h"

namespace {

using Row = std::vector<std::string>;

int valueOf(char character) {
    const auto code = static_cast<unsigned char>(character);
    if (std::isdigit(code)) {
        return character - '0';
    }
    return code < 128 && std::isalpha(code) ? std::tolower(code) - 'a' + 10 : 99;
}

Row splitAt(const std::string& text, const std::string& delimiters) {
    Row tokens(1);
    for (const char character : text) {
        if (delimiters.find(character) == std::string::npos) {
            tokens.back() += character;
        } else if (!tokens.back().empty()) {
            tokens.emplace_back();
        }
    }
    if (tokens.back().empty()) {
        tokens.pop_back();
    }
    return tokens;
}

Integer power2(int exponent) {
    Integer result;
    mpz_setbit(result.get_mpz_t(), static_cast<mp_bitcnt_t>(exponent));
    return result;
}

struct Model {
    std::string error;  // the part after "fixedpoint:fi:base2num:"
    std::string place;
    bool isComplex = false;
    std::uint64_t columns = 0;
    std::vector<Row> rows;

    Model(const std::vector<std::string>& lines, int base) {
        bool isBlank = true;
        for (const std::string& line : lines) {
            isBlank = isBlank && line.find_first_not_of(std::string(" \t,\0", 4)) == std::string::npos;
            isComplex = isComplex || std::string(line.c_str()).find('i') != std::string::npos;
        }
        if (isBlank) {
            error = "EmptyInput";
            return;
        }
        const std::size_t parts = isComplex ? 2 : 1;
        for (const std::string& line : lines) {
            rows.push_back(splitAt(line.c_str(), isComplex ? " \t,+i" : " \t,"));
            const Row& row = rows.back();
            std::size_t good = 0;
            while (good < row.size() && std::ranges::all_of(row[good], [base](char character) {
                       const bool isCapital = character >= 'A' && character <= 'Z';
                       return valueOf(character) <= base && !(isCapital && base <= 10);
                   })) {
                ++good;
            }
            columns = rows.size() == 1 && good == row.size() ? row.size() / parts : columns;
            if (good < row.size() || row.empty() || row.size() < columns * parts) {
                error = "InvalidElement";
                place = "(" + std::to_string(rows.size()) + "," + std::to_string(good / parts + 1) + ")";
                return;
            }
        }
    }
};

/// The word of a token, and whether bits are dropped.
std::pair<Integer, bool> wordOf(const std::string& token, int base, const NumericType& type) {
    Integer whole;
    for (const char character : token) {
        if (valueOf(character) >= base) {
            return {0, false};
        }
        whole = whole * base + valueOf(character);
    }
    const Integer modulus = power2(type.getWordLength());
    Integer word = whole % modulus;
    const bool isCut = word != whole;
    if (type.isSigned() && word >= modulus / 2) {
        word -= modulus;
    }
    return {word, isCut};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const bool isSigned = input.between(0, 1) != 0;
    const int wordBits = input.between(0, 1) != 0 ? input.between(1, 60) : input.between(1, 300);
    const NumericType type = fixedType(isSigned, wordBits, input.between(-50, 350));
    const int base = input.between(2, 18);
    const bool wasComplex = input.between(0, 3) == 0;
    const auto rowCount = static_cast<std::size_t>(input.between(1, 4));
    const bool anyCode = input.between(0, 3) == 0;
    const std::string bytes = input.rest();
    // Most texts consist of characters that have a meaning.
    static constexpr char kAlphabet[] = "01234567 89abcdefghijABCDEFGHI  ,\t+-\0";
    const std::size_t width = bytes.size() / rowCount;
    std::vector<std::string> lines(rowCount);
    for (std::size_t i = 0; i < width * rowCount; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        lines[i / width] += static_cast<char>(anyCode ? byte : kAlphabet[byte % (sizeof kAlphabet - 1)]);
    }
    const std::size_t sizes[] = {rowCount, width};
    const hvArrayOwner text(hvCreateCharArray(2, sizes));
    for (std::size_t i = 0; i < width * rowCount; ++i) {
        hvGetTypedData<hvChar>(text.get())[i] = static_cast<unsigned char>(lines[i % rowCount][i / rowCount]);
    }
    const auto say = [&] {
        std::ostringstream out;
        out << fieldsOf(type) << ", base " << base << (wasComplex ? ", into complex" : "");
        for (const std::string& line : lines) {
            out << "\n\"" << line << '"';
        }
        return out.str();
    };

    fi array = wasComplex ? column({1, 2}, {3, 4}, type) : column({1, 2}, type);
    const Snapshot before = snapshotOf(array);
    std::uint64_t warningCount = 0;
    const auto oldListener =
        hostref::setWarningListener([&](const std::string&, const std::string&) { ++warningCount; });
    std::string id;
    std::string message;
    try {
        array.base2num(text.get(), base);
    } catch (ErrorIdException* error) {
        const std::unique_ptr<ErrorIdException> owner(error);
        id = error->getId();
        message = error->getMessage();
    }
    hostref::setWarningListener(oldListener);

    const Model model(lines, base);
    require(id == (model.error.empty() ? "" : "fixedpoint:fi:base2num:" + model.error), "the error is the one due",
            say);
    if (!id.empty()) {
        require(message.ends_with(model.place), "the error names the element", say);
        require(snapshotOf(array) == before, "an error changes nothing", say);
        return 0;
    }
    require(sizesOf(array) == Sizes{rowCount, model.columns}, "the array has the size of the text", say);
    require(array.iscomplex() == (wasComplex || model.isComplex), "the array is complex when it was or the text is",
            say);
    std::uint64_t cutCount = 0;
    const auto check = [&](const number& entry, const std::string& token) {
        const auto [word, isCut] = wordOf(token, base, type);
        cutCount += isCut ? 1 : 0;
        require(exactValue(entry) == scaled(Rational(word), type.getFixedExponent()), "a word is read as its value",
                say);
    };
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        const Row& row = model.rows[i % rowCount];
        const std::size_t column = i / rowCount;
        check(array.real(i), row[model.isComplex ? 2 * column : column]);
        if (array.iscomplex()) {
            check(array.imag(i), model.isComplex ? row[2 * column + 1] : "");
        }
    }
    require(warningCount == cutCount, "every cut word warns once", say);
    return 0;
}
