#include "descriptors/NumericType.h"

#include <cmath>
#include <string>

#include "descriptors/NumericType_tables.h"
#include "descriptors/embedded.h"
#include "descriptors/slope_texts.h"
#include "numbers/services.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/class_records.h"

using namespace tolvane::detail;

namespace EmbeddedTypeSystem {

namespace {

using namespace numerictypetables;

constexpr const char* kInvalidSetting = "TolvaneKit:numerictype:InvalidSetting";

// The modes named in a refusal. Callers compare the texts, so they aren't made consistent with one another.
constexpr const char* kUnscaledModes = "Double, Single or Boolean";
constexpr const char* kUnscaledModesInBias = "Double, Single, or Boolean";
constexpr const char* kModesWithoutExponent =
    "Double, Single, Boolean, Scaled double or Fixed-point: unspecified scaling";
constexpr const char* kModesWithoutFactor = "Scaled double or Fixed-point: unspecified scaling or binary point scaling";

/// The two arguments of the message for a change that the mode does not allow.
struct Refusal {
    const char* property;
    const char* modes;

    std::string text() const {
        return std::string("Cannot change the ") + property + " property when the data type mode is " + modes +
               ". That property has not been changed.";
    }
};

void warn(const std::string& text) {
    tolvane::detail::warn(kInvalidSetting, text);
}

void refuse(const Refusal& refusal) {
    warn(refusal.text());
}

/// Returns whether a setter should store; the neutral value of a property that cannot change is silently accepted.
bool mayStore(Change change, bool isNeutral, const Refusal& warned, const Refusal& raised) {
    if (change != Change::store && !isNeutral) {
        if (change == Change::raise) {
            raise(kInvalidSetting, raised.text());
        }
        refuse(warned);
    }
    return change == Change::store;
}

const ModeRow& rowOf(const NumericType& type) {
    const ModeRow* row = find(kModes, type.getDataTypeMode());
    // Every path that stores a mode goes through this table or a derivation that ends in it.
    return row == nullptr ? *find(kModes, NumericType::DataTypeModeEnum::Double) : *row;
}

constexpr int kDefaultWordBits = 16;
constexpr int kMaxWordBits = 65535;

}  // namespace

NumericType::NumericType() : NumericType(true, kDefaultWordBits, kDefaultWordBits - 1) {}

NumericType::NumericType(bool isSigned, int wordLength, int fractionLength)
    : mProp(DataTypeEnum::Fixed, isSigned, wordLength, 1.0, negated(fractionLength), 0.0),
      mDataTypeMode(DataTypeModeEnum::FixedBinaryPoint),
      mScaling(ScalingEnum::BinaryPoint) {}

NumericType::NumericType(DataTypeModeEnum mode, bool isSigned, int wordLength, double slopeAdjustmentFactor,
                         int fixedExponent, double bias)
    : mProp(DataTypeEnum::Fixed, isSigned, wordLength, slopeAdjustmentFactor, fixedExponent, bias),
      mDataTypeMode(DataTypeModeEnum::FixedSlopeBias),
      mScaling(ScalingEnum::SlopeBias) {
    NumericType::setDataTypeMode(mode, true);
}

NumericType::NumericType(DataTypeEnum dataType, ScalingEnum scaling, bool isSigned, int wordLength,
                         double slopeAdjustmentFactor, int fixedExponent, double bias)
    : mProp(dataType, isSigned, wordLength, slopeAdjustmentFactor, fixedExponent, bias),
      mDataTypeMode(convertToDataTypeMode(dataType, scaling)),
      mScaling(scaling) {
    setDataType(dataType);
}

NumericType::NumericType(DataTypeEnum dataType, ScalingEnum scaling, Signedness signedness, int wordLength,
                         double slopeAdjustmentFactor, int fixedExponent, double bias)
    : mProp(dataType, true, wordLength, slopeAdjustmentFactor, fixedExponent, bias),
      mDataTypeMode(convertToDataTypeMode(dataType, scaling)),
      mScaling(scaling) {
    mProp.Signedness = signedness;
    setDataType(dataType);
}

NumericType::~NumericType() = default;

bool NumericType::operator==(const Type& other) const {
    if (this == &other) {
        return true;
    }
    const auto* numeric = dynamic_cast<const NumericType*>(&other);
    return numeric != nullptr && Type::operator==(other) && isequivalent(*numeric);
}

// An exact overload keeps the language from weighing the operands' bases against one another.
bool NumericType::operator==(const NumericType& other) const {
    return *this == static_cast<const Type&>(other);
}

void NumericType::accept(EmbeddedTypeVisitor* visitor) {
    visitor->visitNumericType(this);
}

OMClass* NumericType::getOMClass() const {
    return ClassRecordOf<NumericType>::get(getVelmarClassName());
}

void NumericType::addCheckSum(MD5CheckSumModEndian& sum) const {
    sum.addText("Numeric");
    for (const auto value :
         {static_cast<int>(mDataTypeMode), static_cast<int>(mProp.DataType), static_cast<int>(mScaling),
          static_cast<int>(mProp.Signedness), mProp.WordLength, mProp.FixedExponent}) {
        sum.addInt32(value);
    }
    sum.addReal64(mProp.SlopeAdjustmentFactor);
    sum.addReal64(mProp.Bias);
    ScalarType::addCheckSum(sum);
}

bool NumericType::canBeConvertedTo(const Type* other) const {
    return dynamic_cast<const NumericType*>(other) != nullptr;
}

bool NumericType::isAlias() const {
    return false;
}

const char* NumericType::getIsAliasString() const {
    return "false";
}

int NumericType::getFractionLength() const {
    return negated(mProp.FixedExponent);
}

double NumericType::getSlope() const {
    return std::ldexp(mProp.SlopeAdjustmentFactor, mProp.FixedExponent);
}

bool NumericType::isequal(const NumericType& other) const {
    return mDataTypeMode == other.mDataTypeMode && mProp.DataType == other.mProp.DataType &&
           mProp.isEqualIgnoreMode(other.mProp);
}

bool NumericType::isequivalent(const NumericType& other) const {
    if (isScaledType() && isUnspecifiedScaling() &&
        (other.mProp.DataType != mProp.DataType || !other.isUnspecifiedScaling())) {
        return false;
    }
    return mProp.DataType == other.mProp.DataType && mProp.Signedness == other.mProp.Signedness &&
           mProp.WordLength == other.mProp.WordLength &&
           mProp.SlopeAdjustmentFactor == other.mProp.SlopeAdjustmentFactor &&
           mProp.FixedExponent == other.mProp.FixedExponent && mProp.Bias == other.mProp.Bias;
}

const char* NumericType::getVelmarClassName() {
    return "numerictype";
}

const char* NumericType::getVelmarPackageClassName() {
    static const std::string kName = std::string(embedded::getEmbeddedPackageName()) + "." + getVelmarClassName();
    return kName.c_str();
}

const char* NumericType::getEquivalentVelmarClassName() const {
    switch (mProp.DataType) {
        case DataTypeEnum::Double:
            return "double";
        case DataTypeEnum::Single:
            return "single";
        case DataTypeEnum::Boolean:
            return "logical";
        case DataTypeEnum::Fixed:
            break;
        case DataTypeEnum::ScaledDouble:
        default:
            return nullptr;
    }
    const bool isScalingKnown = mScaling == ScalingEnum::BinaryPoint || mScaling == ScalingEnum::SlopeBias;
    if (isUnspecifiedSign() || !isScalingKnown || getSlope() != 1.0 || mProp.Bias != 0.0) {
        return nullptr;
    }
    switch (mProp.WordLength) {
        case 8:
            return isSigned() ? "int8" : "uint8";
        case 16:
            return isSigned() ? "int16" : "uint16";
        case 32:
            return isSigned() ? "int32" : "uint32";
        default:
            return nullptr;
    }
}

NumericType::DataTypeEnum NumericType::convertDataTypeModeToDataType(DataTypeModeEnum mode) {
    const ModeRow* row = find(kModes, mode);
    if (row == nullptr) {
        // Callers compare this identifier, so the misspelling stays.
        raise("fixedpoint:numericytpe:convertDataTypeModeToDataType:unknowndatatypemode", "Unknown DataTypeMode.");
    }
    return row->dataType;
}

NumericType::DataTypeModeEnum NumericType::convertToDataTypeMode(DataTypeEnum dataType, ScalingEnum scaling) {
    const bool isScaled = dataType == DataTypeEnum::Fixed || dataType == DataTypeEnum::ScaledDouble;
    const bool isScalingKnown = scaling == ScalingEnum::BinaryPoint || scaling == ScalingEnum::SlopeBias;
    const ScalingEnum wanted = !isScaled ? ScalingEnum::Unused : isScalingKnown ? scaling : ScalingEnum::Unspecified;
    for (const ModeRow& row : kModes) {
        if (row.dataType == dataType && row.scaling == wanted) {
            return row.value;
        }
    }
    return DataTypeModeEnum::Double;
}

void NumericType::setMode(DataTypeModeEnum mode, DataTypeEnum dataType, ScalingEnum scaling) {
    mDataTypeMode = mode;
    mProp.DataType = dataType;
    mScaling = scaling;
}

void NumericType::setNeutralScale() {
    mProp.SlopeAdjustmentFactor = 1.0;
    mProp.FixedExponent = 0;
    mProp.Bias = 0.0;
}

void NumericType::setDataTypeMode(DataTypeModeEnum mode, bool resetsFromFloat) {
    const ModeRow* row = find(kModes, mode);
    if (row == nullptr) {
        raise("fixedpoint:numerictype:setDataTypeMode:invalid", "Unrecognized DataTypeMode.");
    }
    const bool turnsScaled = !isScaledType() && row->isScaled();
    setMode(mode, row->dataType, row->scaling);
    if (resetsFromFloat && turnsScaled) {
        mProp.Signedness = Signedness::Signed;
        mProp.WordLength = kDefaultWordBits;
        setNeutralScale();
        return;
    }
    switch (row->scaling) {
        case ScalingEnum::Unused:
            mProp.Signedness = row->fixedSign;
            mProp.WordLength = row->fixedWordBits;
            setNeutralScale();
            break;
        case ScalingEnum::Unspecified:
            setNeutralScale();
            break;
        case ScalingEnum::BinaryPoint:
            mProp.SlopeAdjustmentFactor = 1.0;
            mProp.Bias = 0.0;
            break;
        case ScalingEnum::SlopeBias:
            break;
    }
}

void NumericType::setWordLength(int wordLength) {
    const ModeRow& mode = rowOf(*this);
    if (!mode.isScaled()) {
        if (wordLength != mode.fixedWordBits) {
            refuse({"WordLength", kUnscaledModes});
        }
    } else if (wordLength < 1) {
        warn("Invalid WordLength specified; the WordLength must be greater than 0");
    } else if (wordLength > kMaxWordBits) {
        warn("Invalid WordLength specified; the WordLength must be less than 65536");
    } else {
        mProp.WordLength = wordLength;
    }
}

void NumericType::setSignedness(Signedness signedness) {
    const ModeRow& mode = rowOf(*this);
    if (mode.isScaled()) {
        mProp.Signedness = signedness;
    } else if (signedness != mode.fixedSign && signedness != Signedness::Auto) {
        refuse({"Signed", kUnscaledModes});
    }
}

void NumericType::setSigned(bool isSigned) {
    setSignedness(isSigned ? Signedness::Signed : Signedness::Unsigned);
}

void NumericType::setSpecifiedSign(Signedness signedness) {
    errorIfUnspecifiedSign(signedness);
    setSignedness(signedness);
}

bool NumericType::fixedExponentConsistencyCheck(int value, const char* name) const {
    if (rowOf(*this).exponent == Change::store || value == 0) {
        return true;
    }
    refuse({name, kModesWithoutExponent});
    return false;
}

void NumericType::setFractionLength(int fractionLength) {
    if (fixedExponentConsistencyCheck(fractionLength, "FractionLength")) {
        mProp.FixedExponent = negated(fractionLength);
    }
}

void NumericType::setFixedExponent(int fixedExponent) {
    if (fixedExponentConsistencyCheck(fixedExponent, "FixedExponent")) {
        mProp.FixedExponent = fixedExponent;
    }
}

double NumericType::computeFixedPropsFromSlope(double slope, int& exponent, const char* id, const char* message) {
    if (!(slope > 0.0) || !std::isfinite(slope)) {
        raise(id, message);
    }
    int power = 0;
    const double mantissa = std::frexp(slope, &power);
    exponent = power - 1;
    return 2.0 * mantissa;
}

void NumericType::setSlope(double slope) {
    constexpr Refusal kRefusal{"Slope", kModesWithoutExponent};
    if (!mayStore(rowOf(*this).exponent, slope == 1.0, kRefusal, kRefusal)) {
        return;
    }
    int exponent = 0;
    const double factor = computeFixedPropsFromSlope(slope, exponent, kInvalidSetting, slopetexts::kInvalidSlope);
    if (mDataTypeMode == DataTypeModeEnum::FixedBinaryPoint && factor != 1.0) {
        raise(kInvalidSetting,
              "Invalid total slope specified; for binary point scaling, the total slope must be an exact power of "
              "two");
    }
    // Raises for a scaled double with binary point, with a text of its own.
    setSlopeAdjustmentFactor(factor);
    setFixedExponent(exponent);
}

void NumericType::setSlopeAdjustmentFactor(double slopeAdjustmentFactor) {
    constexpr const char* kName = "SlopeAdjustmentFactor";
    if (!mayStore(rowOf(*this).slopeAdjustmentFactor, slopeAdjustmentFactor == 1.0, {kName, kUnscaledModes},
                  {kName, kModesWithoutFactor})) {
        return;
    }
    if (!(slopeAdjustmentFactor >= 1.0 && slopeAdjustmentFactor < 2.0)) {
        raise(kInvalidSetting, slopetexts::kInvalidFactor);
    }
    mProp.SlopeAdjustmentFactor = slopeAdjustmentFactor;
}

void NumericType::setBias(double bias) {
    // Callers compare the warning, so it still names the wrong property.
    if (mayStore(rowOf(*this).bias, bias == 0.0, {"SlopeAdjustmentFactor", kUnscaledModesInBias},
                 {"Bias", kModesWithoutFactor})) {
        mProp.Bias = bias;
    }
}

void NumericType::setScaling(ScalingEnum scaling) {
    constexpr const char* kName = "Scaling";
    if (!isScaledType()) {
        if (scaling != ScalingEnum::Unused) {
            refuse({kName, kUnscaledModes});
        }
        return;
    }
    if (scaling == ScalingEnum::Unused || find(kScalings, scaling) == nullptr) {
        refuse({kName, isFixed() ? "Fixed point" : "Scaled double"});
        return;
    }
    setDataTypeMode(convertToDataTypeMode(mProp.DataType, scaling), true);
}

void NumericType::setDataType(DataTypeEnum dataType) {
    if (find(kDataTypes, dataType) == nullptr) {
        raise("fixedpoint:numerictype:setDataType:invalid", "Unrecognized DataType.");
    }
    setDataTypeMode(convertToDataTypeMode(dataType, mScaling), true);
}

void NumericType::set(const NumericType& other) {
    mProp = other.mProp;
    mDataTypeMode = other.mDataTypeMode;
    mScaling = other.mScaling;
}

void NumericType::setIsSigned(bool isSigned) {
    mProp.Signedness = isSigned ? Signedness::Signed : Signedness::Unsigned;
}

void NumericType::setFixedPointProps(bool isSigned, int wordLength, double slopeAdjustmentFactor, int fixedExponent,
                                     double bias) {
    const bool isBinaryPoint = slopeAdjustmentFactor == 1.0 && bias == 0.0;
    setDataTypeProps(isScaledType() ? mProp.DataType : DataTypeEnum::Fixed,
                     isBinaryPoint ? ScalingEnum::BinaryPoint : ScalingEnum::SlopeBias,
                     isSigned ? Signedness::Signed : Signedness::Unsigned, wordLength, slopeAdjustmentFactor,
                     fixedExponent, bias);
}

void NumericType::setFixedPointProps(Signedness signedness, int wordLength, double slopeAdjustmentFactor,
                                     int fixedExponent, double bias) {
    setFixedPointProps(signedness != Signedness::Unsigned, wordLength, slopeAdjustmentFactor, fixedExponent, bias);
}

void NumericType::setDataTypeProps(DataTypeEnum dataType, ScalingEnum scaling, Signedness signedness, int wordLength,
                                   double slopeAdjustmentFactor, int fixedExponent, double bias) {
    setMode(convertToDataTypeMode(dataType, scaling), dataType, scaling);
    mProp.Signedness = signedness;
    mProp.WordLength = wordLength;
    mProp.SlopeAdjustmentFactor = slopeAdjustmentFactor;
    mProp.FixedExponent = fixedExponent;
    mProp.Bias = bias;
}

}  // namespace EmbeddedTypeSystem
