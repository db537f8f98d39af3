#include "binding/quantizer/methods.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>

#include "host/ErrorIdException.h"
#include "numbers/bases.h"
#include "quantization/quantizer.h"

namespace tolvane::detail {

namespace {

int requiredBase(const MethodCall& call, const std::string& method) {
    const std::string prefix = "fixedpoint:quantizer:" + method;
    const int base = call.base(2, prefix + ":basenotnumeric");
    requireBase(base, 36, prefix + ":baseoutofrange");
    return base;
}

/// A zero that can hold every double and every value of the format.
number elementFor(const quantizer& q) {
    constexpr unsigned kBitsOfDouble = 53;
    if (q.getRealmax().asDouble() != nullptr) {
        return number(0.0, kBitsOfDouble - 1, false);
    }
    // Floating-point values have one bit more than the constants' precision.
    return number(0.0, std::max(q.getPrecision() + 1, kBitsOfDouble), false);
}

}  // namespace

void writeWordsInBase(const MethodCall& call) {
    const quantizer& q = call.objectInHandle<quantizer>(0);
    if (!hvIsDouble(call.array(1))) {
        raiseError("fixedpoint:quantizer:num2base:notdouble", "Value to convert must be a double array.");
    }
    const int base = requiredBase(call, "num2base");
    const int width = digitCount(q.getWordlength(), base);
    std::string digits(static_cast<std::size_t>(width), '0');
    number element = elementFor(q);
    // A mode without words refuses the zero, before a value is counted.
    q.num2base(digits.data(), width, element, base);

    const std::span<const double> values = hvGetTypedData<double>(call.array(1));
    const std::size_t sizes[] = {values.size(), digits.size()};
    hvArrayOwner text(hvCreateCharArray(2, sizes));
    const std::span<hvChar> characters = hvGetTypedData<hvChar>(text.get());
    for (std::size_t row = 0; row < values.size(); ++row) {
        element = values[row];
        q.num2base(digits.data(), width, q.quantize(element), base);
        for (std::size_t place = 0; place < digits.size(); ++place) {
            characters[row + place * values.size()] = static_cast<hvChar>(digits[place]);
        }
    }
    call.give(text.release());
}

void readWordsInBase(const MethodCall& call) {
    const quantizer& q = call.objectInHandle<quantizer>(0);
    const hvArray* const text = call.array(1);
    if (!hvIsChar(text)) {
        raiseError("fixedpoint:quantizer:base2num:notstring", "Base array must be string.");
    }
    const int base = requiredBase(call, "base2num");
    const hvArrayOwner byRows(hvTranspose(text));
    if (!hvIsChar(byRows.get())) {
        // The host's own transpose is never called here.
        raiseError("fixedpoint:quantizer:base2num:notchar", "Value to convert must be character array");
    }
    const std::span<const hvChar> characters = hvGetTypedData<hvChar>(static_cast<const hvArray*>(byRows.get()));
    hvArrayOwner column(hvCreateDoubleMatrix(hvGetM(text), 1));
    const std::span<double> values = hvGetTypedData<double>(column.get());
    std::string digits(hvGetN(text), '\0');
    number element = elementFor(q);
    for (std::size_t row = 0; row < values.size(); ++row) {
        // No character beyond these is a digit, whichever of them it is.
        std::ranges::transform(characters.subspan(row * digits.size(), digits.size()), digits.begin(),
                               [](hvChar character) { return character < 128 ? static_cast<char>(character) : '?'; });
        element = 0.0;
        values[row] = q.base2num(digits.c_str(), base, element).todouble();
    }
    call.give(column.release());
}

}  // namespace tolvane::detail
