// Values as the one line that a display or an error has for them.
#include <charconv>
#include <cmath>
#include <string>

#include "host/reference/Value.h"
#include "host/reference/values/texts.h"

namespace hostref {

namespace {

std::string numberText(double number) {
    if (std::isnan(number)) {
        return "NaN";
    }
    if (std::isinf(number)) {
        return number < 0 ? "-Inf" : "Inf";
    }
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, number);
    return {text, end.ptr};
}

constexpr std::size_t kMostInline = 16;

std::string elementText(const hvArray* array, std::size_t i) {
    const Value one = Value::share(array);
    const double real = one.toDoubles()[i];
    if (hvIsLogical(array)) {
        return real == 0.0 ? "false" : "true";
    }
    if (!hvIsComplex(array)) {
        return numberText(real);
    }
    const double imaginary = one.toImaginaries()[i];
    return numberText(real) + (std::signbit(imaginary) ? " - " : " + ") + numberText(std::fabs(imaginary)) + "i";
}

}  // namespace

std::string inlineText(const hvArray* array, std::size_t longestText) {
    const std::size_t count = hvGetNumberOfElements(array);
    const bool isRow = hvGetNumberOfDimensions(array) == 2 && hvGetM(array) <= 1;
    if (hvIsChar(array) && count <= longestText && (isRow || count == 0)) {
        return "'" + hvArray2String(array) + "'";
    }
    if ((hvIsNumeric(array) || hvIsLogical(array)) && isRow && count > 0 && count <= kMostInline) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += (i == 0 ? "" : " ") + elementText(array, i);
        }
        return count == 1 ? text : "[" + text + "]";
    }
    std::string sizes;
    for (const std::size_t size : hvGetDims(array)) {
        sizes += (sizes.empty() ? "" : "-by-") + std::to_string(size);
    }
    return "[" + sizes + " " + hvGetClassName(array) + "]";
}

}  // namespace hostref
