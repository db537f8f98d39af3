// Numbers as texts of tables.
#pragma once

#include <cstdio>
#include <string>

namespace study {

/// As std::snprintf, without a limit to its length.
template <class... Arguments>
std::string formatted(const char* format, Arguments... arguments) {
    std::string text(static_cast<std::size_t>(std::snprintf(nullptr, 0, format, arguments...)), '\0');
    std::snprintf(text.data(), text.size() + 1, format, arguments...);
    return text;
}

/// Returns a ratio with one decimal, "exact" for plus infinity.
std::string ratioText(double snrDb);
/// As `ratioText`, with " dB" after a number.
std::string ratioWithUnit(double snrDb);

/// Returns a value with six decimals where they show it, with four digits and an exponent elsewhere.
std::string valueText(double value);

}  // namespace study
