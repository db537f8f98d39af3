// Text forms of a type: the dialog strings, the display, the expression that makes it, and the name in log keys.
#include <cstring>
#include <string>

#include "descriptors/NumericType.h"
#include "descriptors/NumericType_tables.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace EmbeddedTypeSystem {

namespace {

using namespace numerictypetables;

/// With a bias a power of two is written as a number: only an unbiased type reads as a binary point.
std::string slopeText(const NumericType& type) {
    return type.getFxpDataTypeProp().isUnitSlopeAdjustmentFactorZeroBias()
               ? "2^" + std::to_string(type.getFixedExponent())
               : services().textOfDouble(type.getSlope());
}

std::string biasText(const NumericType& type) {
    return services().textOfDouble(type.getBias());
}

}  // namespace

void NumericType::GetWordLengthString(char* buffer, const NumericType* type) {
    std::strcpy(buffer, std::to_string(type->getWordLength()).c_str());
}

void NumericType::GetFractionLengthString(char* buffer, const NumericType* type) {
    std::strcpy(buffer, std::to_string(type->getFractionLength()).c_str());
}

void NumericType::GetSlopeString(char* buffer, const NumericType* type) {
    std::strcpy(buffer, slopeText(*type).c_str());
}

void NumericType::GetBiasString(char* buffer, const NumericType* type) {
    std::strcpy(buffer, biasText(*type).c_str());
}

const char* NumericType::getIsSignedString() const {
    switch (mProp.Signedness) {
        case Signedness::Unsigned:
            return "false";
        case Signedness::Signed:
            return "true";
        case Signedness::Auto:
            break;
    }
    return "[]";
}

const char* NumericType::getSignednessString() const {
    return textOf(kSigns, mProp.Signedness);
}

const char* NumericType::getDataTypeString() const {
    return textOf(kDataTypes, mProp.DataType);
}

void NumericType::disp() const {
    print("\n          DataTypeMode: %s", textOf(kModes, mDataTypeMode));
    if (isScaledType()) {
        print("\n            Signedness: %s", getSignednessString());
        print("\n            WordLength: %d", getWordLength());
        if (mScaling == ScalingEnum::BinaryPoint) {
            print("\n        FractionLength: %d", getFractionLength());
        } else if (mScaling == ScalingEnum::SlopeBias) {
            print("\n                 Slope: %s", slopeText(*this).c_str());
            print("\n                  Bias: %s", biasText(*this).c_str());
        }
    }
    if (!isBoolean() && mProp.DataTypeOverride != fxpDataTypeDTOMode::Inherit) {
        print("\n      DataTypeOverride: %s", textOf(kOverrides, mProp.DataTypeOverride));
    }
    print("\n");
}

std::string NumericType::scalingTail() const {
    switch (mScaling) {
        case ScalingEnum::BinaryPoint:
            return "," + std::to_string(getFractionLength());
        case ScalingEnum::SlopeBias:
            return "," + slopeText(*this) + "," + biasText(*this);
        case ScalingEnum::Unspecified:
        case ScalingEnum::Unused:
            break;
    }
    return {};
}

std::string NumericType::tostring(const char* prefix) const {
    std::string text = std::string(prefix) + "(";
    if (isFixed()) {
        text += getIsSignedString() + ("," + std::to_string(getWordLength())) + scalingTail();
    } else if (isScaledDouble()) {
        text += "'DataType','ScaledDouble','Signed'," + std::string(getIsSignedString()) + ",'WordLength'," +
                std::to_string(getWordLength()) + ",";
        if (mScaling == ScalingEnum::BinaryPoint) {
            text += "'Scaling','BinaryPoint','FractionLength'," + std::to_string(getFractionLength());
        } else if (mScaling == ScalingEnum::SlopeBias) {
            text += "'Scaling','SlopeBias','Slope'," + slopeText(*this) + ",'Bias'," + biasText(*this);
        } else {
            text += "'Scaling','Unspecified'";
        }
    } else {
        text += std::string("'") + getDataTypeString() + "'";
    }
    return text + ")";
}

std::string NumericType::qpointstr() const {
    if (isFixed()) {
        const char* sign = isUnspecifiedSign() ? "UnspecifiedSign" : isSigned() ? "s" : "u";
        return sign + std::to_string(getWordLength()) + scalingTail();
    }
    if (isScaledDouble()) {
        return std::string(isSigned() ? "s" : "u") + "flt" + std::to_string(getWordLength()) + scalingTail();
    }
    return getDataTypeString();
}

}  // namespace EmbeddedTypeSystem
