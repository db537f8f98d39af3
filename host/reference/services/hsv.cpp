#include "host/hsv.h"

#include <charconv>
#include <cmath>

std::string hsv_dtoa_tolvane(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value < 0.0 ? "-Inf" : "Inf";
    }
    // No shortest form of a double is longer than 24 characters.
    char text[32];
    const std::to_chars_result end = std::to_chars(std::begin(text), std::end(text), value);
    return {text, end.ptr};
}
