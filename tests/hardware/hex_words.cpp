#include "hex_words.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace hardware {

using tolvane::exact_value;
using tolvane::fixed_type;

std::string hexWord(const exact_value& value, const fixed_type& type) {
    std::vector<std::uint64_t> limbs(static_cast<std::size_t>(type.bits) / 64 + 1);
    if (!value.is_zero()) {
        const int places = value.exponent() + type.fraction;
        const auto shift = static_cast<std::size_t>(places);
        for (std::size_t i = 0; i < value.magnitude().size(); ++i) {
            const std::uint64_t limb = value.magnitude()[i];
            const std::size_t place = shift / 64 + i;
            if (place < limbs.size()) {
                limbs[place] |= limb << (shift % 64);
            }
            if (shift % 64 != 0 && place + 1 < limbs.size()) {
                limbs[place + 1] |= limb >> (64 - shift % 64);
            }
        }
    }
    if (value.is_negative()) {
        bool carries = true;
        for (std::uint64_t& limb : limbs) {
            limb = ~limb + (carries ? 1 : 0);
            carries = carries && limb == 0;
        }
    }
    limbs.back() &= ~(~std::uint64_t{0} << (type.bits % 64));
    std::string digits;
    for (int digit = (type.bits - 1) / 4; digit >= 0; --digit) {
        const auto place = static_cast<std::size_t>(digit) * 4;
        digits += "0123456789abcdef"[limbs[place / 64] >> (place % 64) & 15];
    }
    return digits;
}

exact_value valueOfWord(std::string_view digits, const fixed_type& type) {
    std::vector<std::uint64_t> limbs(static_cast<std::size_t>(type.bits) / 64 + 1);
    if (digits.size() != static_cast<std::size_t>(type.bits + 3) / 4) {
        throw std::runtime_error("a word of " + type.text() + " has another number of digits");
    }
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const char digit = digits[digits.size() - 1 - i];
        const std::size_t number = std::string_view("0123456789abcdef").find(digit);
        if (number == std::string_view::npos) {
            throw std::runtime_error(std::string("'") + digit + "' is no hexadecimal digit");
        }
        limbs[i / 16] |= std::uint64_t{number} << (i % 16 * 4);
    }
    const int above = type.bits % 64;
    if (limbs.back() >> above != 0) {
        throw std::runtime_error("a word has bits beyond " + type.text());
    }
    if (type.is_signed && (limbs[static_cast<std::size_t>(type.bits - 1) / 64] >> ((type.bits - 1) % 64) & 1) != 0) {
        limbs.back() |= ~std::uint64_t{0} << above;
    }
    return exact_value::from_words(limbs.data(), limbs.size(), type.is_signed, -type.fraction);
}

}  // namespace hardware
