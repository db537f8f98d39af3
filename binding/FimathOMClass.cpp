#include "binding/FimathOMClass.h"

#include <string_view>

#include "binding/TypeOMClasses.h"
#include "binding/enum_columns.h"
#include "binding/methods.h"
#include "binding/properties.h"

namespace {

using namespace datatypes;

constexpr SignatureColumn noArguments = takes();

template <auto get, auto set>
constexpr PropertyFunctions ofRules = field<fimath, get, set>();

hvArray* getCStyle(const fimath& rules) {
    return rules.getCStyle();
}
void setCStyle(fimath& rules, const hvArray* value) {
    rules.setCStyle(value);
}

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow rulesProperties[] = {
    {"RoundMode",                    roundMode,      "sgSGzclv", ofRules<&fimath::getRoundMode, &fimath::setRoundMode>},
    {"OverflowMode",                 overflowMode,   "sgSGzclv", ofRules<&fimath::getOverflowMode, &fimath::setOverflowMode>},
    {"PrecisionMode",                precisionMode,  "--SGz-lv", ofRules<&fimath::getPrecisionMode, &fimath::setPrecisionMode>},
    {"ProductMode",                   arithmeticMode, "sgSGzclv", ofRules<&fimath::getProductMode, &fimath::setProductMode>},
    {"ProductWordLength",             int32,          "sgSGzclv", ofRules<&fimath::getProductWordLength, &fimath::setProductWordLength>},
    {"MaxProductWordLength",          int32,          "sgSGzclv", ofRules<&fimath::getMaxProductWordLength, &fimath::setMaxProductWordLength>},
    {"ProductFractionLength",         int32,          "sgSGzclv", ofRules<&fimath::getProductFractionLength, &fimath::setProductFractionLength>},
    {"ProductFixedExponent",          int32,          "sgSGzclv", ofRules<&fimath::getProductFixedExponent, &fimath::setProductFixedExponent>},
    {"ProductSlope",                  real,           "sgSGz-lv", ofRules<&fimath::getProductSlope, &fimath::setProductSlope>},
    {"ProductSlopeAdjustmentFactor",  real,           "sgSGzclv", ofRules<&fimath::getProductSlopeAdjustmentFactor, &fimath::setProductSlopeAdjustmentFactor>},
    {"ProductBias",                   real,           "sgSGzclv", ofRules<&fimath::getProductBias, &fimath::setProductBias>},
    {"SumMode",                       arithmeticMode, "sgSGzclv", ofRules<&fimath::getSumMode, &fimath::setSumMode>},
    {"SumWordLength",                 int32,          "sgSGzclv", ofRules<&fimath::getSumWordLength, &fimath::setSumWordLength>},
    {"MaxSumWordLength",              int32,          "sgSGzclv", ofRules<&fimath::getMaxSumWordLength, &fimath::setMaxSumWordLength>},
    {"SumFractionLength",             int32,          "sgSGzclv", ofRules<&fimath::getSumFractionLength, &fimath::setSumFractionLength>},
    {"SumFixedExponent",              int32,          "sgSGzclv", ofRules<&fimath::getSumFixedExponent, &fimath::setSumFixedExponent>},
    {"SumSlope",                      real,           "sgSGz-lv", ofRules<&fimath::getSumSlope, &fimath::setSumSlope>},
    {"SumSlopeAdjustmentFactor",      real,           "sgSGzclv", ofRules<&fimath::getSumSlopeAdjustmentFactor, &fimath::setSumSlopeAdjustmentFactor>},
    {"SumBias",                       real,           "sgSGzclv", ofRules<&fimath::getSumBias, &fimath::setSumBias>},
    {"CastBeforeSum",                boolean,        "sgSGzclv", ofRules<&fimath::getCastBeforeSum, &fimath::setCastBeforeSum>},
    {"CStyle",                       array,          "s-S-----", ofRules<getCStyle, setCStyle>},
};
// clang-format on

constexpr DataTypeColumn globalHandle{[] { return findDataType("embedded.globalfimath"); }, true};
constexpr SignatureColumn globalToNothing[] = {takes(globalHandle)};

void resetGlobal(const MethodCall& call) {
    fimath::resetGlobalFimath();
    call.giveNothing();
}

constexpr MethodRow globalMethods[] = {{"reset", plain<globalToNothing, resetGlobal>}};

}  // namespace

void FimathOMClass::fill() {
    setLorimerSuperClass(*this);
    if (getConstructorSignatures().empty()) {
        addConstructorSignature(noArguments.make());
    }
    addProperties(*this, rulesProperties);
}

OMInterface* FimathOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int count) {
    errorIfMoreThan(0, count);
    return wrap(std::make_unique<fimath>());
}

void FimathOMClass::respondToMethodAddedFromVELMAR(OMMethodInfo* method) {
    if (std::string_view(method->getName()) == "abs") {
        method->setDispatchedOnFirstArgument(false);
    }
}

// The global object

GlobalFimathOMClass::GlobalFimathOMClass() {
    setSuperClass(FimathOMClass::getInstance());
}

void GlobalFimathOMClass::fill() {
    addMethods(*this, globalMethods);
}

OMInterface* GlobalFimathOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/,
                                                            int count) {
    errorIfMoreThan(0, count);
    auto* const handle = new OMInterface(&fimath::getGlobalFimath(), this, nullptr);
    fimath::incGlobalFimathRefCount();
    return handle;
}

void GlobalFimathOMClass::destroyObject(OMInterface* /*interface*/) {
    fimath::decGlobalFimathRefCount();
}
