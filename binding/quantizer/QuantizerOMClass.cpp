#include "binding/quantizer/QuantizerOMClass.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "binding/frame/EmbeddedFiSetMethodInfo.h"
#include "binding/frame/enum_columns.h"
#include "binding/frame/methods.h"
#include "binding/frame/properties.h"
#include "binding/quantizer/methods.h"
#include "host/hv.h"
#include "numbers/number.h"

using namespace tolvane::detail;

namespace {

constexpr char kLabel[] = "QUANTIZER";

using namespace datatypes;

template <auto get, auto set>
constexpr PropertyFunctions kOfQuantizer = field<quantizer, get, set>();
template <auto get>
constexpr PropertyFunctions kDerived = readOnly<quantizer, get>();

/// A whole number or a constant of the quantizer as the nearest double.
template <auto get>
double asDouble(const quantizer& object) {
    const auto& value = std::invoke(get, object);
    if constexpr (std::is_arithmetic_v<std::remove_cvref_t<decltype(value)>>) {
        return value;
    } else {
        return value.todouble();
    }
}

/// As a format is truncated: the quantizer refuses what is too great or too small, and NaN counts as 0.
template <void (quantizer::*set)(int)>
void setLength(quantizer& object, double value) {
    constexpr double kMost = std::numeric_limits<int>::max();
    (object.*set)(std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, -kMost, kMost)));
}

/// The extremes are in the units of the format, which has neither slope nor bias.
template <void (quantizer::*set)(const number&)>
void setExtreme(quantizer& object, double value) {
    (object.*set)(number(value, number::getDefaultPrecision(), number::getDefaultForceMultiplePrecision()));
}

const std::string& getTag(const quantizer& object) {
    return object.getTag();
}

int getVersion(const quantizer& /*object*/) {
    return quantizer::getVersion();
}

constexpr auto kOfMax = kOfQuantizer<asDouble<&quantizer::getMax>, setExtreme<&quantizer::setMax>>;
constexpr auto kOfMin = kOfQuantizer<asDouble<&quantizer::getMin>, setExtreme<&quantizer::setMin>>;

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow kQuantizerProperties[] = {
    {"mode",           kQuantizerMode, "sgSGzclv", kOfQuantizer<&quantizer::getMode, &quantizer::setMode>},
    {"datamode",       kQuantizerMode, "sgSGz-lv", kOfQuantizer<&quantizer::getMode, &quantizer::setMode>},
    {"roundmode",      kRoundMode,     "sgSGzclv", kOfQuantizer<&quantizer::getRoundMode, &quantizer::setRoundMode>},
    {"overflowmode",   kOverflowMode,  "sgSGzclv", kOfQuantizer<&quantizer::getOverflowMode, &quantizer::setOverflowMode>},
    {"format",         kRealPoint,     "sgSGzclv", kOfQuantizer<&quantizer::getFormat, &quantizer::setFormat>},
    {"wordlength",     kReal,          "sgSGz-lv", kOfQuantizer<asDouble<&quantizer::getWordlength>, setLength<&quantizer::setWordlength>>},
    {"fractionlength", kReal,          "sgSGz-lv", kOfQuantizer<asDouble<&quantizer::getFractionlength>, setLength<&quantizer::setFractionlength>>},
    {"exponentlength", kReal,          "sgSGz-lv", kOfQuantizer<asDouble<&quantizer::getExponentlength>, setLength<&quantizer::setExponentlength>>},
    {"precision",      kReal,          "sgSGz-lv", kDerived<asDouble<&quantizer::getPrecision>>},
    {"max",            kReal,          "sgSGzclv", kOfMax},
    {"min",            kReal,          "sgSGzclv", kOfMin},
    {"maxlog",         kReal,          "sgSGzclv", kOfMax},
    {"minlog",         kReal,          "sgSGzclv", kOfMin},
    {"noverflows",     kReal,          "sgSGzclv", countField<quantizer, &quantizer::getNoverflows, &quantizer::setNoverflows>()},
    {"nunderflows",    kReal,          "sgSGzclv", countField<quantizer, &quantizer::getNunderflows, &quantizer::setNunderflows>()},
    {"noperations",    kReal,          "sgSGzclv", countField<quantizer, &quantizer::getNoperations, &quantizer::setNoperations>()},
    {"denormalmax",    kReal,          "sgSGz-lv", kDerived<asDouble<&quantizer::getDenormalmax>>},
    {"denormalmin",    kReal,          "sgSGz-lv", kDerived<asDouble<&quantizer::getDenormalmin>>},
    {"eps",            kReal,          "sgSGz-lv", kDerived<asDouble<&quantizer::getEps>>},
    {"exponentbias",   kReal,          "sgSGz-lv", kDerived<asDouble<&quantizer::getExponentbias>>},
    {"exponentmax",    kReal,          "sgSGz-lv", kDerived<asDouble<&quantizer::getExponentmax>>},
    {"exponentmin",    kReal,          "sgSGz-lv", kDerived<asDouble<&quantizer::getExponentmin>>},
    {"realmax",        kReal,          "sgSGz-lv", kDerived<asDouble<&quantizer::getRealmax>>},
    {"realmin",        kReal,          "sgSGz-lv", kDerived<asDouble<&quantizer::getRealmin>>},
    {"version",        kInteger,       "sgSGz-lv", kDerived<getVersion>},
    {"Tag",            kText,          "sgSGzclv", kOfQuantizer<getTag, &quantizer::setTag>},
};
// clang-format on

constexpr SignatureColumn kWithOneArray[] = {takes(kHandle, kArray).to(kArray)};
constexpr SignatureColumn kWithTwoArrays[] = {takes(kHandle, kArray, kArray).to(kArray)};

template <auto question>
std::unique_ptr<OMMethodInfo> asked(const char* name) {
    return unaryOfHandle<quantizer, question>(name);
}

bool isQuantizer(const quantizer& /*object*/) {
    return true;
}

void compare(const MethodCall& call) {
    const char* const className = quantizer::getVelmarPackageClassName();
    const auto& own = call.objectInHandle<quantizer>(0);
    bool isEqual = false;
    if (hvIsA(call.array(1), className)) {
        const HandleOwner other = handleInside(call.array(1), className, [](const hvArray*) { return true; });
        isEqual = own.isequal(*objectOf<quantizer>(other.get()));
    }
    call.give(hvCreateLogicalScalar(isEqual));
}

// Name, how its record is made.
constexpr MethodRow kQuantizerMethods[] = {
    {"disp", asked<&quantizer::disp>},
    {"initializestates", asked<&quantizer::initializestates>},
    {"resetlog", asked<&quantizer::initializestates>},
    {"resetlogging", asked<&quantizer::initializestates>},
    {"quantizenumeric", record<QuantizerQuantizeNumericMI>},
    {"num2base", plain<kWithTwoArrays, writeWordsInBase>},
    {"base2num", plain<kWithTwoArrays, readWordsInBase>},
    {"isquantizer", asked<isQuantizer>},
    {"isequal", plain<kWithOneArray, compare>},
    {"upperbound", asked<asDouble<&quantizer::getUpperBound>>},
    {"lowerbound", asked<asDouble<&quantizer::getLowerBound>>},
    {"set", setOf<kLabel>},
};

[[noreturn]] void raiseBadSignature() {
    raiseError("fixedpoint:quantizer:constructor:badsignature", "QUANTIZER constructor signature not recognized.");
}

}  // namespace

void QuantizerOMClass::fill() {
    addProperties(*this, kQuantizerProperties);
    addMethods(*this, kQuantizerMethods);
}

OMInterface* QuantizerOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** arguments, int count) {
    constexpr auto kUnspecified = embedded::OperationTypeEnum::Unspecified;
    if (count == 0) {
        return wrap(std::make_unique<quantizer>(embedded::QuantizerModeEnum::Fixed, embedded::RoundModeEnum::Floor,
                                                embedded::OverflowModeEnum::Saturate, 16, 15, "", kUnspecified, true));
    }
    if (count != 2) {
        raiseBadSignature();
    }
    const auto* const mode = static_cast<const hvArray*>(arguments[1]);
    const double code = hvIsNumeric(mode) && hvIsScalar(mode) ? hvGetScalar(mode) : -1.0;
    if (code != 0.0 && code != 1.0) {
        raiseBadSignature();
    }
    // One number selects both modes: ceil with saturate, or convergent with wrap.
    const auto value = static_cast<std::int32_t>(code);
    return wrap(std::make_unique<quantizer>(
        EmbeddedTypeSystem::NumericType::convertFromVelmarArray(static_cast<const hvArray*>(arguments[0])),
        static_cast<embedded::RoundModeEnum>(value), static_cast<embedded::OverflowModeEnum>(value), "", kUnspecified,
        true));
}

void QuantizerOMClass::respondToMethodAddedFromVELMAR(OMMethodInfo* method) {
    if (std::string_view(method->getName()) == "logreport") {
        method->setDispatchedOnFirstArgument(false);
    }
}
