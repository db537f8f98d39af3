// Stores of one value that is quantized.
#pragma once

#include "numbers/number.h"
#include "quantization/quantizer.h"

namespace tolvane::detail {

/// Sets the current element to a value as the quantizer makes it. An array of words gets only the result, since a value
/// beside their grid would turn it into floats.
template <class Value>
void storeAsQuantized(number& entry, const Value& value, const quantizer& q) {
    if (!entry.asWords()) {
        q.quantize(entry.setvalue(value));
        return;
    }
    number cell(0.0, entry.getprecision(), true);
    entry.setvalue(q.quantize(cell.setvalue(value)));
}

}  // namespace tolvane::detail
