// Checks of values for a type: values that a type cannot hold, and the exceptions about a sign.
#include <algorithm>
#include <cmath>
#include <string>

#include "descriptors/NumericType.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace EmbeddedTypeSystem {

namespace {

template <class Value>
void checkAll(NumericType::DataTypeEnum dataType, const Value* values, std::uint64_t count) {
    if (dataType == NumericType::DataTypeEnum::Double || dataType == NumericType::DataTypeEnum::Single) {
        return;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        NumericType::checkNaNInf(dataType, static_cast<double>(values[i]));
    }
}

[[noreturn]] void raiseNotFixed(bool isNaN, const char* target) {
    raise(isNaN ? "fixedpoint:nofixednan" : "fixedpoint:nofixedinf",
          std::string(isNaN ? "NaN" : "Inf") + " cannot be converted to " + target + ".");
}

/// Truncates a text that contains a name of any length to the host's limit for an id or a message.
std::string limited(std::string text) {
    constexpr std::size_t kMaxCharacters = 299;
    text.resize(std::min(text.size(), kMaxCharacters));
    return text;
}

}  // namespace

void NumericType::checkNaNInf(DataTypeEnum dataType, double value) {
    if (std::isfinite(value)) {
        return;
    }
    const bool isNaN = std::isnan(value);
    switch (dataType) {
        case DataTypeEnum::Fixed:
            raiseNotFixed(isNaN, "fixed-point");
        case DataTypeEnum::ScaledDouble:
            raiseNotFixed(isNaN, "scaled double");
        case DataTypeEnum::Boolean:
            if (isNaN) {
                raise("fixedpoint:nologicalnan", "NaN cannot be converted to boolean.");
            }
            break;
        case DataTypeEnum::Double:
        case DataTypeEnum::Single:
            break;
    }
}

void NumericType::checkNaNInf(DataTypeEnum dataType, const double* values, std::uint64_t count) {
    checkAll(dataType, values, count);
}

void NumericType::checkNaNInf(DataTypeEnum dataType, const float* values, std::uint64_t count) {
    checkAll(dataType, values, count);
}

void NumericType::errorIfComplexLogical(DataTypeEnum dataType, bool isComplex) {
    if (isComplex && dataType == DataTypeEnum::Boolean) {
        raise("fixedpoint:nologicalcomplex", "Complex values cannot be converted to boolean.");
    }
}

void NumericType::errorIfBadValue(DataTypeEnum dataType, double re, double im, bool isComplex) {
    errorIfComplexLogical(dataType, isComplex);
    checkNaNInf(dataType, re);
    if (isComplex) {
        checkNaNInf(dataType, im);
    }
}

void NumericType::errorIfBadValue(DataTypeEnum dataType, double value) {
    checkNaNInf(dataType, value);
}

void NumericType::errorIfUnspecifiedSign(Signedness signedness) {
    if (signedness == Signedness::Auto) {
        throwSignedUnsignedException("NUMERICTYPE");
    }
}

void NumericType::throwSignedUnsignedException(const char* name) {
    raise(limited(std::string("fixedpoint:") + name + ":signed:InvalidValue"),
          limited(std::string("The SIGNED property of the ") + name + " object must be 1 (true) or 0 (false)."));
}

void NumericType::throwSignednessBoolException(const char* name) {
    raise(limited(std::string("fixedpoint:") + name + ":SignednessBool:InvalidValue"),
          limited(std::string("The SignednessBool property of the ") + name +
                  " object must be 1 (true), 0 (false), or [] (unspecified)."));
}

NumericType::Signedness NumericType::getSpecifiedSignedness() const {
    errorIfUnspecifiedSign(mProp.Signedness);
    return mProp.Signedness;
}

bool NumericType::getSpecifiedSign() const {
    return getSpecifiedSignedness() == Signedness::Signed;
}

}  // namespace EmbeddedTypeSystem
