// The properties of class "fi". A write to the type goes through the array's own setter; a write to the rules first
// gives the array its own rules; each records its ordinal as the last property set.
#include <cmath>
#include <memory>

#include "binding/fi/FiOMClass.h"
#include "binding/fi/methods.h"
#include "binding/fi/tables.h"
#include "binding/frame/enum_columns.h"
#include "binding/frame/properties.h"
#include "binding/numerictype/NumericTypeOMClass.h"
#include "logging/reports.h"

namespace tolvane::detail {

namespace {

using EmbeddedTypeSystem::NumericType;
using Ordinal = fi::PropertyEnum;

/// Whether a setter, which may return this, has accepted a value.
template <class Set, class... Arguments>
bool isTaken(Set&& set, Arguments&&... arguments) {
    if constexpr (std::is_same_v<std::invoke_result_t<Set, Arguments...>, bool>) {
        return std::invoke(set, arguments...);
    } else {
        std::invoke(set, arguments...);
        return true;
    }
}

/// As `field`; an accepted write records the ordinal.
template <auto get, auto set, Ordinal ordinal = Ordinal::None>
constexpr PropertyFunctions ofFi() {
    using Value = Read<get, fi>;
    return {reader<fi, get>, [](const PropertyCall& call, const void* value) {
                fi& object = call.object<fi>();
                const bool isWritten = isTaken(set, object, Shape<Value>::unbox(value));
                if (isWritten && ordinal != Ordinal::None) {
                    object.setLastPropertySet(ordinal);
                }
            }};
}

/// A field of the type, which refuses values with a warning and is then unchanged. Writing the current value changes
/// nothing, neither the precision of entries nor the rules of a double array.
template <auto get, auto set>
bool setInType(fi& object, Read<get, fi> value) {
    const auto isThere = [&] { return std::invoke(get, object) == value; };
    if (isThere()) {
        return true;
    }
    const NumericType before(object.getNumericType());
    std::invoke(set, object, value);
    return isThere() || !object.getNumericType().isequal(before);
}
template <auto get, auto set, Ordinal ordinal>
constexpr PropertyFunctions ofType() {
    return ofFi<get, setInType<get, set>, ordinal>();
}

/// Writes to the rules of an array, which are its own afterwards, and returns whether the value was accepted. Double
/// and single arrays have no rules, and the write is ignored. If it is refused, the array keeps its previous rules.
template <class Write>
bool writeRules(fi& object, Write&& write) {
    if (object.getFimathIsLocal()) {
        if (!write(object.getFimath())) {
            return false;
        }
        object.updateAssignmentQuantizer();
        return true;
    }
    if (object.isFloat()) {
        return false;
    }
    fimath rules = fimath::getGlobalFimath();
    if (!write(rules)) {
        return false;
    }
    object.setFimath(rules);
    return true;
}

/// A field of the rules, by members of `fimath`, set as in a user's own rules. So a slope adjustment factor out of
/// range gives a warning and the old one is kept, since a factor that fits no type must never get into rules; `fi`'s
/// own setter, for code, raises.
template <auto get, auto set, Ordinal ordinal>
constexpr PropertyFunctions ofRules() {
    using Value = Read<get, fimath>;
    return {[](const PropertyCall& call) { return Shape<Value>::box(std::invoke(get, call.object<fi>().getFimath())); },
            [](const PropertyCall& call, const void* value) {
                fi& object = call.object<fi>();
                const bool isWritten = writeRules(
                    object, [value](fimath& rules) { return isTaken(set, rules, Shape<Value>::unbox(value)); });
                if (isWritten && ordinal != Ordinal::None) {
                    object.setLastPropertySet(ordinal);
                }
            }};
}

// Exceptions, each named by its row.

void* getDataTypeMode(const PropertyCall& call) {
    warnOfDataTypeMode(call);
    return Shape<fi::DataTypeModeEnum>::box(call.object<fi>().getDataTypeMode());
}

void* getType(const PropertyCall& call) {
    return NumericTypeOMClass::wrap(std::make_unique<NumericType>(call.object<fi>().getNumericType()));
}

void setType(const PropertyCall& call, const void* value) {
    fi& object = call.object<fi>();
    // A handle is passed as a pointer to void, and the type behind it is only read.
    FiOMClass::setNumericType(object, *objectOf<NumericType>(const_cast<void*>(value)));
    object.setLastPropertySet(Ordinal::Numerictype);
}

hvArray* getSigned(const fi& object) {
    return hvCreateLogicalScalar(object.isSigned());
}

bool setSigned(fi& object, const hvArray* value) {
    const bool isSigned = NumericType::getIsSignedFromHvArray(value, "FI");
    object.setSigned(isSigned);
    return object.isSigned() == isSigned;
}

hvArray* getSignednessBool(const fi& object) {
    return object.getSignednessBool();
}

void setSignednessBool(fi& object, const hvArray* value) {
    object.setSignednessBool(value);
}

void setScaling(fi& object, fi::ScalingEnum scaling) {
    object.setScaling(scaling);
}

hvArray* getRules(const fi& object) {
    return fimath::convertToInternalVelmarArray(std::make_unique<fimath>(object.getFimath()));
}

void setRules(fi& object, const hvArray* value) {
    if (hvIsA(value, fimath::getVelmarPackageClassName())) {
        object.setFimath(fimath::convertFromVelmarArray(value));
    } else if (hvIsChar(value)) {
        object.setFimath(fimath::getFromFimathMap(hvArray2String(value)));
    } else if (hvIsEmpty(value) && embedded::getFeatureFimathLessFis()) {
        if (object.getFimathIsLocal()) {
            object.setFimathIsLocal(false);
        }
    } else {
        raiseWrongObject(fimath::getVelmarPackageClassName());
    }
}

bool getLogging(const fi& /*object*/) {
    return fi::getLogging();
}

void setLogging(fi& /*object*/, bool isOn) {
    fi::setLogging(isOn);
}

/// Readers never see the mark.
bool getIsAutoScaled(const fi& /*object*/) {
    return false;
}

/// An array that becomes local without its own rules gets those in force: otherwise writes to its rules, as when a
/// saved array of doubles is restored, would reach the global ones.
void setFimathIsLocal(fi& object, bool isLocal) {
    if (!embedded::getFeatureFimathLessFis()) {
        return;
    }
    if (isLocal && !object.getFimathIsLocal()) {
        object.setFimath(object.getFimath());
    } else {
        object.setFimathIsLocal(isLocal);
    }
}

void setData(fi& object, const hvArray* value) {
    object.setDataHvArray(value);
    reports::reportAssignmentWithTotal(object.getQlogger(), fi::getAssignlog());
}

hvArray* getIntArray(const fi& object) {
    return object.getIntArray(fi::IntArrayChunkMode::Natural, fi::IntArrayDimensionMode::First);
}

/// Words that the block diagram companion supports may also be passed as words of 64 bits.
void setIntArray(fi& object, const hvArray* value) {
    if (object.getWordLength() > 32 && object.getWordLength() <= 128) {
        object.setDravelinIntArray(value);
    } else {
        object.setIntArray(value, fi::IntArrayChunkMode::Natural, fi::IntArrayDimensionMode::First);
    }
}

/// Readers never see the ordinal; the method of the same name returns it.
int getLastPropertySet(const fi& /*object*/) {
    return 0;
}

void setLastPropertySet(fi& object, int ordinal) {
    object.setLastPropertySet(static_cast<Ordinal>(ordinal));
}

double getNoverflows(const fi& object) {
    return static_cast<double>(object.getNoverflows());
}

void setNoverflows(fi& object, double value) {
    object.getQlogger().setNoverflows(toCount(value));
    object.getQlogger().setOldOverflows(toCount(value));
}

double getNunderflows(const fi& object) {
    return static_cast<double>(object.getNunderflows());
}

void setNunderflows(fi& object, double value) {
    object.getQlogger().setNunderflows(toCount(value));
    object.getQlogger().setOldUnderflows(toCount(value));
}

hvArray* getCStyle(const fimath& rules) {
    return rules.getCStyle();
}

bool setCStyle(fimath& rules, const hvArray* value) {
    return rules.setCStyle(value);
}

using namespace datatypes;

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow kFiProperties[] = {
    {"numerictype",                  kObject<NumericType>, "-gS-----", {getType, setType}},
    {"DataTypeMode",                 kDataTypeMode,     "-gSGzclv", {getDataTypeMode, ofType<&fi::getDataTypeMode, &fi::setDataTypeMode, Ordinal::DataTypeMode>().set}},
    {"DataTypeModeNoWarning",        kDataTypeMode,     "-g------", readOnly<fi, &fi::getDataTypeMode>()},
    {"DataType",                     kDataType,         "-gSG--lv", ofType<&fi::getDataType, &fi::setDataType, Ordinal::DataType>()},
    {"Scaling",                      kScaling,          "-gSG--lv", ofType<&fi::getScaling, setScaling, Ordinal::Scaling>()},
    {"Signed",                       kArray,            "-gSGzclv", ofFi<getSigned, setSigned, Ordinal::Signedness>()},
    {"Signedness",                   kSignedness,       "-gSG--lv", ofType<&fi::getSignedness, &fi::setSignedness, Ordinal::Signedness>()},
    {"SignednessBool",               kArray,            "-gS---l-", ofFi<getSignednessBool, setSignednessBool>()},
    {"WordLength",                   kInt32,            "-gSGzclv", ofType<&fi::getWordLength, &fi::setWordLength, Ordinal::WordLength>()},
    {"FractionLength",               kInt32,            "-gS---lv", ofType<&fi::getFractionLength, &fi::setFractionLength, Ordinal::FractionLength>()},
    {"BinaryPoint",                  kInt32,            "--SG--lv", ofType<&fi::getFractionLength, &fi::setFractionLength, Ordinal::BinaryPoint>()},
    {"FixedExponent",                kInt32,            "-gSGzclv", ofType<&fi::getFixedExponent, &fi::setFixedExponent, Ordinal::FixedExponent>()},
    {"Slope",                        kReal,             "-gSG--lv", ofType<&fi::getSlope, &fi::setSlope, Ordinal::Slope>()},
    {"SlopeAdjustmentFactor",        kReal,             "-gSGzclv", ofType<&fi::getSlopeAdjustmentFactor, &fi::setSlopeAdjustmentFactor, Ordinal::SlopeAdjustmentFactor>()},
    {"Bias",                         kReal,             "-gSGzclv", ofType<&fi::getBias, &fi::setBias, Ordinal::Bias>()},
    {"DataTypeOverride",             kDataTypeOverride, "--SGz-lv", ofFi<&fi::getDataTypeOverride, &fi::setDataTypeOverride, Ordinal::DataTypeOverride>()},
    {"fimath",                       kArray,            "sgS-----", ofFi<getRules, setRules, Ordinal::Fimath>()},
    {"RoundMode",                    kRoundMode,        "sgSGzclv", ofRules<&fimath::getRoundMode, &fimath::setRoundMode, Ordinal::RoundMode>()},
    {"OverflowMode",                 kOverflowMode,     "sgSGzclv", ofRules<&fimath::getOverflowMode, &fimath::setOverflowMode, Ordinal::OverflowMode>()},
    {"ProductMode",                  kArithmeticMode,   "sgSGzclv", ofRules<&fimath::getProductMode, &fimath::setProductMode, Ordinal::ProductMode>()},
    {"ProductWordLength",            kInt32,            "sgSGzclv", ofRules<&fimath::getProductWordLength, &fimath::setProductWordLength, Ordinal::ProductWordLength>()},
    {"MaxProductWordLength",         kInt32,            "sgSGzclv", ofRules<&fimath::getMaxProductWordLength, &fimath::setMaxProductWordLength, Ordinal::MaxProductWordLength>()},
    {"ProductFractionLength",        kInt32,            "sgSGzclv", ofRules<&fimath::getProductFractionLength, &fimath::setProductFractionLength, Ordinal::ProductFractionLength>()},
    {"ProductFixedExponent",         kInt32,            "sgSGzclv", ofRules<&fimath::getProductFixedExponent, &fimath::setProductFixedExponent, Ordinal::ProductFixedExponent>()},
    {"ProductSlope",                 kReal,             "sgS-z-lv", ofRules<&fimath::getProductSlope, &fimath::setProductSlope, Ordinal::ProductSlope>()},
    {"ProductSlopeAdjustmentFactor", kReal,             "sgSGzclv", ofRules<&fimath::getProductSlopeAdjustmentFactor, &fimath::setProductSlopeAdjustmentFactor, Ordinal::ProductSlopeAdjustmentFactor>()},
    {"ProductBias",                  kReal,             "sgSGzclv", ofRules<&fimath::getProductBias, &fimath::setProductBias, Ordinal::ProductBias>()},
    {"SumMode",                      kArithmeticMode,   "sgSGzclv", ofRules<&fimath::getSumMode, &fimath::setSumMode, Ordinal::SumMode>()},
    {"SumWordLength",                kInt32,            "sgSGzclv", ofRules<&fimath::getSumWordLength, &fimath::setSumWordLength, Ordinal::SumWordLength>()},
    {"MaxSumWordLength",             kInt32,            "sgSGzclv", ofRules<&fimath::getMaxSumWordLength, &fimath::setMaxSumWordLength, Ordinal::MaxSumWordLength>()},
    {"SumFractionLength",            kInt32,            "sgSGzclv", ofRules<&fimath::getSumFractionLength, &fimath::setSumFractionLength, Ordinal::SumFractionLength>()},
    {"SumFixedExponent",             kInt32,            "sgSGzclv", ofRules<&fimath::getSumFixedExponent, &fimath::setSumFixedExponent, Ordinal::SumFixedExponent>()},
    {"SumSlope",                     kReal,             "sgS-z-lv", ofRules<&fimath::getSumSlope, &fimath::setSumSlope, Ordinal::SumSlope>()},
    {"SumSlopeAdjustmentFactor",     kReal,             "sgSGzclv", ofRules<&fimath::getSumSlopeAdjustmentFactor, &fimath::setSumSlopeAdjustmentFactor, Ordinal::SumSlopeAdjustmentFactor>()},
    {"SumBias",                      kReal,             "sgSGzclv", ofRules<&fimath::getSumBias, &fimath::setSumBias, Ordinal::SumBias>()},
    {"CastBeforeSum",                kBoolean,          "sgSGzclv", ofRules<&fimath::getCastBeforeSum, &fimath::setCastBeforeSum, Ordinal::CastBeforeSum>()},
    {"CStyle",                       kArray,            "s-S-----", ofRules<getCStyle, setCStyle, Ordinal::None>()},
    {"Logging",                      kBoolean,          "-gSGz-l-", ofFi<getLogging, setLogging, Ordinal::Logging>()},
    {"isautoscaled",                 kBoolean,          "-gS-----", ofFi<getIsAutoScaled, &fi::setIsAutoScaled>()},
    {"datasetbypvpair",              kBoolean,          "-gS-----", ofFi<&fi::getDataSetByPVPair, &fi::setDataSetByPVPair>()},
    {"fimathislocal",                kBoolean,          "sgSGzc--", ofFi<&fi::getFimathIsLocal, setFimathIsLocal>()},
    {"double",                       kArray,            "sgS-----", ofFi<&fi::getDoubleHvArray, &fi::setDoubleHvArray, Ordinal::Double>()},
    {"data",                         kArray,            "sgS-----", ofFi<&fi::getDoubleHvArray, setData, Ordinal::Data>()},
    {"int",                          kArray,            "sgS-----", ofFi<&fi::getIntHvArray, &fi::setIntHvArray, Ordinal::Int>()},
    {"intarray",                     kArray,            "sgSGzcl-", ofFi<getIntArray, setIntArray, Ordinal::IntArray>()},
    {"dravelinarray",                kArray,            "sgS-----", ofFi<&fi::getDravelinIntArray, &fi::setDravelinIntArray, Ordinal::DravelinArray>()},
    {"bin",                          kArray,            "sgS-----", ofFi<getDigits<2>, setDigits<2>, Ordinal::Bin>()},
    {"oct",                          kArray,            "sgS-----", ofFi<getDigits<8>, setDigits<8>, Ordinal::Oct>()},
    {"dec",                          kArray,            "sgS-----", ofFi<getDigits<10>, setDigits<10>, Ordinal::Dec>()},
    {"hex",                          kArray,            "sgS-----", ofFi<getDigits<16>, setDigits<16>, Ordinal::Hex>()},
    {"noverflows",                   kReal,             "-gSGzcl-", ofFi<getNoverflows, setNoverflows, Ordinal::Noverflows>()},
    {"nunderflows",                  kReal,             "-gSGzcl-", ofFi<getNunderflows, setNunderflows, Ordinal::Nunderflows>()},
    {"maxlog",                       kReal,             "-gSGzcl-", ofFi<&fi::getMaxLogAsRealWorldValue, &fi::setMaxLogFromRealWorldValue, Ordinal::Maxlog>()},
    {"minlog",                       kReal,             "-gSGzcl-", ofFi<&fi::getMinLogAsRealWorldValue, &fi::setMinLogFromRealWorldValue, Ordinal::Minlog>()},
    {"LastPropertySet",              kInt32,            "--SG--lv", ofFi<getLastPropertySet, setLastPropertySet>()},
    {"Tag",                          kText,             "sgSGzclv", ofFi<&fi::getTag, &fi::setTag, Ordinal::Tag>()},
};
// clang-format on

}  // namespace

void addFiProperties(OMClass& objectClass) {
    addProperties(objectClass, kFiProperties);
}

}  // namespace tolvane::detail
