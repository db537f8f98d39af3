#include "examples/filter_study/coefficient_files.h"

#include <charconv>
#include <sstream>
#include <stdexcept>

namespace filterstudy {
namespace {

std::string wordText(std::int64_t integer, int bits, int digitBits) {
    const auto pattern = static_cast<std::uint64_t>(integer) & (~std::uint64_t{0} >> (64 - bits));
    std::string text;
    for (int at = (bits + digitBits - 1) / digitBits - 1; at >= 0; --at) {
        text += "0123456789abcdef"[pattern >> (at * digitBits) & ((1U << digitBits) - 1)];
    }
    return text;
}

std::string wordsText(const Coefficients& coefficients, int digitBits, const char* base) {
    std::string text = "// " + coefficients.title + "\n// " + std::to_string(coefficients.integers.size()) + " " +
                       base + " words of " + std::to_string(coefficients.word.bits) +
                       " bits, two's complement; bit 0 weighs 2^" + std::to_string(-coefficients.word.fraction) + "\n";
    for (const std::int64_t integer : coefficients.integers) {
        text += wordText(integer, coefficients.word.bits, digitBits) + "\n";
    }
    return text;
}

[[noreturn]] void refuse(std::string_view found) {
    throw std::runtime_error("'" + std::string(found) + "' is no stored integer");
}

template <class Integer>
Integer parsed(std::string_view text, int base) {
    Integer value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size()) {
        refuse(text);
    }
    return value;
}

}  // namespace

std::string cHeaderText(const Coefficients& coefficients, const Arithmetic& arithmetic) {
    const int bits = coefficients.word.bits;
    const char* type = bits <= 8 ? "int8_t" : bits <= 16 ? "int16_t" : "int32_t";
    const Word product = productWord(arithmetic);
    const Word sum = sumWord(arithmetic, coefficients.integers.size());
    std::ostringstream text;
    const auto define = [&text](const char* what, Word word) {
        text << "#define FILTER_" << what << "_BITS " << word.bits << "\n#define FILTER_" << what << "_FRACTION "
             << word.fraction << '\n';
    };
    text << "/* " << coefficients.title
         << "\n   All words are signed; bit 0 of a word weighs 2^-fraction. Products and sums: "
         << study::nameOf(arithmetic.round) << ", " << study::nameOf(arithmetic.overflow) << ". */\n"
         << "#ifndef FILTER_COEFFICIENTS_H\n#define FILTER_COEFFICIENTS_H\n\n#include <stdint.h>\n\n"
         << "#define FILTER_TAPS " << coefficients.integers.size() << '\n';
    define("COEFFICIENT", coefficients.word);
    define("DATA", arithmetic.data);
    define("PRODUCT", product);
    define("SUM", sum);
    text << "\nstatic const " << type << " filter_coefficients[FILTER_TAPS] = {";
    for (std::size_t i = 0; i < coefficients.integers.size(); ++i) {
        text << (i % 8 == 0 ? "\n    " : " ") << coefficients.integers[i] << ',';
    }
    text << "\n};\n\n#endif\n";
    return text.str();
}

std::string hexadecimalText(const Coefficients& coefficients) {
    return wordsText(coefficients, 4, "hexadecimal");
}

std::string binaryText(const Coefficients& coefficients) {
    return wordsText(coefficients, 1, "binary");
}

std::vector<std::int64_t> integersOfCHeader(const std::string& text) {
    const std::size_t begin = text.find("= {");
    const std::size_t end = text.find("};");
    if (begin == std::string::npos || end == std::string::npos || end < begin) {
        refuse("a text without an array");
    }
    std::vector<std::int64_t> integers;
    std::istringstream entries(text.substr(begin + 3, end - begin - 3));
    for (std::string entry; entries >> entry;) {
        if (entry.back() != ',') {
            refuse(entry);
        }
        entry.pop_back();
        integers.push_back(parsed<std::int64_t>(entry, 10));
    }
    return integers;
}

std::vector<std::int64_t> integersOfWords(const std::string& text, int base, int wordBits) {
    std::vector<std::int64_t> integers;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("//")) {
            continue;
        }
        // Bit 63 takes the sign when the word is moved to the top and back.
        integers.push_back(static_cast<std::int64_t>(parsed<std::uint64_t>(line, base) << (64 - wordBits)) >>
                           (64 - wordBits));
    }
    return integers;
}

}  // namespace filterstudy
