// The setters of type and rules, and the marks of an object.
#include <string>

#include "descriptors/slope_texts.h"
#include "fi/fi.h"
#include "numbers/services.h"

using namespace tolvane::detail;

const char* const fi::sVelmarClassName = "fi";

const char* fi::getVelmarClassName() {
    return sVelmarClassName;
}

const char* fi::getVelmarPackageClassName() {
    static const std::string kName = std::string(embedded::getEmbeddedPackageName()) + "." + getVelmarClassName();
    return kName.c_str();
}

namespace {

// A type is changed in a copy, which becomes the object's own if nothing raised.
template <class Change>
EmbeddedTypeSystem::NumericType changed(const EmbeddedTypeSystem::NumericType& type, Change&& change) {
    EmbeddedTypeSystem::NumericType copy(type);
    change(copy);
    return copy;
}

}  // namespace

void fi::setScaling(ScalingEnum scaling) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setScaling(scaling); }));
}

void fi::setScaling(double slopeAdjustmentFactor, int fixedExponent, double bias) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) {
        type.setSlopeAdjustmentFactor(slopeAdjustmentFactor);
        type.setFixedExponent(fixedExponent);
        type.setBias(bias);
    }));
}

void fi::setSignedness(Signedness signedness) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) {
        type.setSignedness(signedness == Signedness::Auto ? Signedness::Signed : signedness);
    }));
}

void fi::setSigned(bool isSigned) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setSigned(isSigned); }));
}

void fi::setWordLength(int wordLength) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setWordLength(wordLength); }));
    // A refused length leaves entries of another precision unchanged.
    if (getWordLength() == wordLength) {
        reInitializeRealImag();
    }
}

void fi::setFractionLength(int fractionLength) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setFractionLength(fractionLength); }));
}

void fi::setFixedExponent(int fixedExponent) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setFixedExponent(fixedExponent); }));
}

void fi::setSlopeAdjustmentFactor(double slopeAdjustmentFactor) {
    applyNumericType(
        changed(getNumericType(), [=](NumericType& type) { type.setSlopeAdjustmentFactor(slopeAdjustmentFactor); }));
}

void fi::setSlope(double slope) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setSlope(slope); }));
}

void fi::setBias(double bias) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setBias(bias); }));
}

void fi::setDataTypeOverride(fxpDataTypeDTOMode dataTypeOverride) {
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setDataTypeOverride(dataTypeOverride); }));
}

void fi::setDataType(DataTypeEnum dataType) {
    if (dataType != getDataType()) {
        errorIfBadValue(dataType);
    }
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setDataType(dataType); }));
    dropFimathOfFloat();
}

void fi::setDataTypeMode(DataTypeModeEnum mode) {
    if (mode != getDataTypeMode()) {
        errorIfBadValue(NumericType::convertDataTypeModeToDataType(mode));
    }
    // An array has values, and so no unspecified scaling.
    const DataTypeModeEnum taken =
        mode == DataTypeModeEnum::FixedUnspecified ? DataTypeModeEnum::FixedBinaryPoint : mode;
    applyNumericType(changed(getNumericType(), [=](NumericType& type) { type.setDataTypeMode(taken, true); }));
    dropFimathOfFloat();
}

// The rules. Only the two modes that a quantizer has are passed on to it.

void fi::setRoundMode(embedded::RoundModeEnum mode) {
    getFimath().setRoundMode(mode);
    updateAssignmentQuantizer();
}

void fi::setOverflowMode(embedded::OverflowModeEnum mode) {
    getFimath().setOverflowMode(mode);
    updateAssignmentQuantizer();
}

void fi::setPrecisionMode(PrecisionModeEnum mode) {
    getFimath().setPrecisionMode(mode);
}

void fi::setProductMode(ArithmeticModeEnum mode) {
    getFimath().setProductMode(mode);
}

void fi::setSumMode(ArithmeticModeEnum mode) {
    getFimath().setSumMode(mode);
}

void fi::setCastBeforeSum(bool on) {
    getFimath().setCastBeforeSum(on);
}

void fi::setProductWordLength(int wordLength) {
    getFimath().setProductWordLength(wordLength);
}

void fi::setMaxProductWordLength(int wordLength) {
    getFimath().setMaxProductWordLength(wordLength);
}

void fi::setSumWordLength(int wordLength) {
    getFimath().setSumWordLength(wordLength);
}

void fi::setMaxSumWordLength(int wordLength) {
    getFimath().setMaxSumWordLength(wordLength);
}

void fi::setProductFractionLength(int fractionLength) {
    getFimath().setProductFractionLength(fractionLength);
}

void fi::setSumFractionLength(int fractionLength) {
    getFimath().setSumFractionLength(fractionLength);
}

void fi::setProductFixedExponent(int exponent) {
    getFimath().setProductFixedExponent(exponent);
}

void fi::setSumFixedExponent(int exponent) {
    getFimath().setSumFixedExponent(exponent);
}

void fi::setProductSlope(double slope) {
    getFimath().setProductSlope(slope);
}

void fi::setSumSlope(double slope) {
    getFimath().setSumSlope(slope);
}

namespace {

/// Raises where the setter of fimath itself would only warn.
void checkSlopeAdjustmentFactor(double factor) {
    if (!(factor >= 1.0 && factor < 2.0)) {
        raise(slopetexts::kInvalidFimathSetting, slopetexts::kInvalidFactor);
    }
}

}  // namespace

void fi::setProductSlopeAdjustmentFactor(double factor) {
    checkSlopeAdjustmentFactor(factor);
    getFimath().setProductSlopeAdjustmentFactor(factor);
}

void fi::setSumSlopeAdjustmentFactor(double factor) {
    checkSlopeAdjustmentFactor(factor);
    getFimath().setSumSlopeAdjustmentFactor(factor);
}

void fi::setProductBias(double bias) {
    getFimath().setProductBias(bias);
}

void fi::setSumBias(double bias) {
    getFimath().setSumBias(bias);
}

void fi::setFimath(const fimath& rules) {
    if (&rules == mFimath.get()) {
        return;
    }
    mFimath = std::make_unique<fimath>(rules);
    mFimathIsLocal = true;
    updateAssignmentQuantizer();
}

void fi::setFimathIsLocal(bool isLocal) {
    mFimathIsLocal = isLocal;
    if (!isLocal) {
        mFimath.reset();
    }
    updateAssignmentQuantizer();
}

void fi::setLastPropertySet(PropertyEnum property) {
    constexpr int kFirst = static_cast<int>(PropertyEnum::None);
    constexpr int kLast = static_cast<int>(PropertyEnum::Last);
    const int value = static_cast<int>(property);
    if (value < kFirst || value > kLast) {
        raise("fixedpoint:fi:setLastPropertySet:BadEnum",
              "PropertyEnum out of range.  Valid values are " + std::to_string(kFirst) + " through " +
                  std::to_string(kLast) + ", and " + std::to_string(value) + " was entered.");
    }
    mLastPropertySet = property;
}
