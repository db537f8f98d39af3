// The stored integers as host integers, one per element.
#include <algorithm>
#include <functional>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>

#include "fi/fi.h"
#include "fi/host_arrays/host_view.h"
#include "fi/host_arrays/word_loops.h"
#include "host/ErrorIdException.h"
#include "host/hsc.h"
#include "numbers/host_memory.h"
#include "numbers/rounding.h"

using namespace tolvane::detail;

namespace {

/// Converts the entries, which are left at their cursor.
template <class T>
void convertToWords(const number& entries, int shift, std::span<T> out) {
    if constexpr (!std::is_same_v<T, double>) {
        if (const doublenumber* doubles = entries.asDouble()) {
            wordloops::convert(doubles->elements().first(out.size()), shift, out);
            return;
        }
    }
    convertEntries(entries, out, [shift](double x) {
        if constexpr (std::is_same_v<T, double>) {
            return wordloops::toWhole(rounding::scaleByPowerOfTwo(x, shift));
        } else {
            return wordloops::wordOf<T>(x, shift);
        }
    });
}

template <class T>
hvArray* integerView(const fi& array) {
    const int shift = rounding::negatedExponent(array.getFixedExponent());
    return hostViewBy<T>(array, hvClassOf<T>,
                         [shift](const number& entries, std::span<T> out) { convertToWords(entries, shift, out); });
}

template <class Signed, class Unsigned>
hvArray* integerView(const fi& array) {
    return array.isSigned() ? integerView<Signed>(array) : integerView<Unsigned>(array);
}

/// The values times 2^exponent, or nothing if doubles don't hold one.
template <class T>
std::optional<WorkVector<double>> scaledDoubles(std::span<const T> values, int exponent) {
    const int back = rounding::negatedExponent(exponent);
    WorkVector<double> scaled(values.size());
    bool isExact = true;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto value = static_cast<double>(values[i]);
        scaled[i] = rounding::scaleByPowerOfTwo(value, exponent);
        isExact &= rounding::scaleByPowerOfTwo(scaled[i], back) == value;
    }
    return isExact ? std::optional(std::move(scaled)) : std::nullopt;
}

/// Sets the entries to the values times 2^exponent.
template <class T>
void storeScaled(number& target, std::span<const T> values, int exponent) {
    if (doublenumber* doubles = target.asDouble()) {
        std::ranges::transform(values, doubles->elements().begin(), [exponent](T value) {
            return rounding::scaleByPowerOfTwo(static_cast<double>(value), exponent);
        });
        return;
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        target[i].setvalue(static_cast<double>(values[i])).pow2(exponent);
    }
    target.setIndex(0);
}

}  // namespace

hvArray* fi::getIntHvArray() const {
    if (isView()) {
        return detached()->getIntHvArray();
    }
    switch (getDataType()) {
        case DataTypeEnum::Fixed:
            break;
        case DataTypeEnum::Single:
            return getSingleHvArray();
        case DataTypeEnum::Boolean:
            return getBooleanHvArray();
        case DataTypeEnum::Double:
            return getDoubleHvArray();
        default:
            return hostView<double>(*this, hvDOUBLE_CLASS, std::identity());
    }
    const int wordBits = getWordLength();
    if (wordBits <= 8) {
        return integerView<std::int8_t, std::uint8_t>(*this);
    }
    if (wordBits <= 16) {
        return integerView<std::int16_t, std::uint16_t>(*this);
    }
    if (wordBits <= 32) {
        return integerView<std::int32_t, std::uint32_t>(*this);
    }
    if (wordBits <= 64) {
        return convert32BitIntArrayTo64BitIntArray(getDravelinIntArray(), true);
    }
    hscWarnMsgIdAndTxt("fixedpoint:fi:intover64bits",
                       "Integers greater than 64 bits not supported in the INT method.  Returning DOUBLE instead.\n"
                       "Roundoff error may be introduced in the return value from the INT method for word lengths "
                       "greater than 64 bits.\n"
                       "To get exact integer representation for any word length, use BIN, OCT, DEC, or HEX.");
    return integerView<double>(*this);
}

void fi::setIntHvArray(const hvArray* values) {
    const hvClassID classId = hvGetClassID(values);
    if (classId == hvINT64_CLASS || classId == hvUINT64_CLASS) {
        setDravelinIntArray(values);
    } else {
        storeIntegers(values);
    }
}

void fi::storeIntegers(const hvArray* values) {
    if (!hvIsNumeric(values) && !hvIsLogical(values)) {
        raiseError("fixedpoint:fi:int:notnumeric", "INT is only valid for numeric data");
    }
    checkHostValues(values);
    const auto dims = hvGetDims(values);
    takeShape({dims.begin(), dims.end()}, hvIsComplex(values));
    const int exponent = isFixed() ? getFixedExponent() : 0;
    updateAssignmentQuantizer();
    hvDispatchClass(hvGetClassID(values), [&]<class T>(std::type_identity<T>) {
        const auto store = [&](number& part, std::span<const T> words) {
            // Floats would be made of words that are quantized only afterwards.
            if (!isView() && part.body().asMp() && part.numel() == words.size()) {
                const auto doubles = scaledDoubles(words, exponent);
                if (doubles && mAssignmentQuantizer.quantizeInto(*doubles, part)) {
                    part.setIndex(0);
                    return;
                }
            }
            storeScaled(part, words, exponent);
            if (!isView()) {
                mAssignmentQuantizer.quantizeArray(part);
            }
        };
        store(mReal, hvGetTypedData<T>(values));
        if (iscomplex()) {
            store(imagEntries(), hvGetTypedImagData<T>(values));
        }
    });
    if (isView()) {
        quantizeAll(false);
    }
}
