#include "program/word_text.h"

#include <algorithm>
#include <cstdlib>

#include "numbers/interruption.h"
#include "program/decimal_text.h"
#include "program/packed_words.h"

namespace tolvane {

namespace {

// The work of a text.
constexpr std::uint64_t kText = 100;

/// That of a decimal number, whose digits come from divisions of all bits.
std::uint64_t decimalWork(std::uint64_t bits) {
    return bits + bits * bits / 256;
}

std::vector<std::string> digitsOfElements(const fixed_array& x, int digitBits) {
    const detail::WordPacker packer(std::span(&x, 1));
    const int bits = packer.layout().bits();
    std::vector<std::string> texts(x.size(), std::string(detail::digitsOf(bits, digitBits), '0'));
    std::vector<mp_limb_t> word(packer.layout().limbs());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        detail::noteWork(texts[i].size() + kText);
        packer.pack(i, 1, word.data());
        detail::writeDigits(word.data(), bits, digitBits, texts[i].data());
    }
    return texts;
}

}  // namespace

std::vector<std::string> to_hex(const fixed_array& x) {
    return digitsOfElements(x, 4);
}

std::vector<std::string> to_bin(const fixed_array& x) {
    return digitsOfElements(x, 1);
}

std::vector<std::string> to_oct(const fixed_array& x) {
    return digitsOfElements(x, 3);
}

std::vector<std::string> to_decimal(const fixed_array& x) {
    if (x.is_complex()) {
        throw error("tolvane:array:complex", "A decimal number is real; take real() and imag() of the array.");
    }
    const auto bits = static_cast<std::uint64_t>(std::max(x.type().bits, std::abs(x.type().fraction)));
    std::vector<std::string> texts(x.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        detail::noteWork(kText + decimalWork(bits));
        texts[i] = x.at(i).text();
    }
    return texts;
}

fixed_array detail::arrayOfDigits(const std::vector<std::string_view>& texts, int digitBits, const fixed_format& format,
                                  bool isComplex) {
    WordLayout layout;
    layout.add(format.type(), isComplex);
    const std::size_t limbs = layout.limbs();
    std::vector<mp_limb_t> words(texts.size() * limbs);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::string_view text = texts[i];
        noteWork(text.size() + kText);
        const char* const end = text.data() + text.size();
        DigitsRead read = readDigits(text.data(), end, layout.bits(), digitBits, words.data() + i * limbs);
        if (read.fault == DigitFault::none && (text.empty() || read.end != end)) {
            read.fault = DigitFault::notADigit;
        }
        if (read.fault != DigitFault::none) {
            throw error("tolvane:words:text",
                        "Element " + std::to_string(i) + ": " +
                            (text.empty() ? "an empty text is no word."
                                          : explained(read.fault, text, *read.end, layout.bits(), digitBits)));
        }
    }
    const PackedFormat row{format, isComplex};
    return unpacked(words, layout, std::span(&row, 1)).front();
}

fixed_array detail::arrayOfDecimals(const std::vector<std::string_view>& texts, const fixed_format& format) {
    // Chances need more places below the format's last one than ties do.
    const int guardBits = format.rounding() == tolvane::rounding::stochastic ? 64 : 4;
    std::vector<exact_value> values;
    values.reserve(texts.size());
    for (const std::string_view text : texts) {
        noteWork(kText + decimalWork(3 * text.size()));
        values.push_back(readDecimal(text, -format.type().fraction - guardBits));
    }
    return fixed_array(values, format);
}

}  // namespace tolvane
