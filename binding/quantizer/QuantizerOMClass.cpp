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

constexpr char label[] = "QUANTIZER";

using namespace datatypes;

template <auto get, auto set>
constexpr PropertyFunctions ofQuantizer = field<quantizer, get, set>();
template <auto get>
constexpr PropertyFunctions derived = readOnly<quantizer, get>();

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
    constexpr double most = std::numeric_limits<int>::max();
    (object.*set)(std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, -most, most)));
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

constexpr auto ofMax = ofQuantizer<asDouble<&quantizer::getMax>, setExtreme<&quantizer::setMax>>;
constexpr auto ofMin = ofQuantizer<asDouble<&quantizer::getMin>, setExtreme<&quantizer::setMin>>;

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow quantizerProperties[] = {
    {"mode",           quantizerMode, "sgSGzclv", ofQuantizer<&quantizer::getMode, &quantizer::setMode>},
    {"datamode",       quantizerMode, "sgSGz-lv", ofQuantizer<&quantizer::getMode, &quantizer::setMode>},
    {"roundmode",      roundMode,     "sgSGzclv", ofQuantizer<&quantizer::getRoundMode, &quantizer::setRoundMode>},
    {"overflowmode",   overflowMode,  "sgSGzclv", ofQuantizer<&quantizer::getOverflowMode, &quantizer::setOverflowMode>},
    {"format",         realPoint,     "sgSGzclv", ofQuantizer<&quantizer::getFormat, &quantizer::setFormat>},
    {"wordlength",     real,          "sgSGz-lv", ofQuantizer<asDouble<&quantizer::getWordlength>, setLength<&quantizer::setWordlength>>},
    {"fractionlength", real,          "sgSGz-lv", ofQuantizer<asDouble<&quantizer::getFractionlength>, setLength<&quantizer::setFractionlength>>},
    {"exponentlength", real,          "sgSGz-lv", ofQuantizer<asDouble<&quantizer::getExponentlength>, setLength<&quantizer::setExponentlength>>},
    {"precision",      real,          "sgSGz-lv", derived<asDouble<&quantizer::getPrecision>>},
    {"max",            real,          "sgSGzclv", ofMax},
    {"min",            real,          "sgSGzclv", ofMin},
    {"maxlog",         real,          "sgSGzclv", ofMax},
    {"minlog",         real,          "sgSGzclv", ofMin},
    {"noverflows",     real,          "sgSGzclv", countField<quantizer, &quantizer::getNoverflows, &quantizer::setNoverflows>()},
    {"nunderflows",    real,          "sgSGzclv", countField<quantizer, &quantizer::getNunderflows, &quantizer::setNunderflows>()},
    {"noperations",    real,          "sgSGzclv", countField<quantizer, &quantizer::getNoperations, &quantizer::setNoperations>()},
    {"denormalmax",    real,          "sgSGz-lv", derived<asDouble<&quantizer::getDenormalmax>>},
    {"denormalmin",    real,          "sgSGz-lv", derived<asDouble<&quantizer::getDenormalmin>>},
    {"eps",            real,          "sgSGz-lv", derived<asDouble<&quantizer::getEps>>},
    {"exponentbias",   real,          "sgSGz-lv", derived<asDouble<&quantizer::getExponentbias>>},
    {"exponentmax",    real,          "sgSGz-lv", derived<asDouble<&quantizer::getExponentmax>>},
    {"exponentmin",    real,          "sgSGz-lv", derived<asDouble<&quantizer::getExponentmin>>},
    {"realmax",        real,          "sgSGz-lv", derived<asDouble<&quantizer::getRealmax>>},
    {"realmin",        real,          "sgSGz-lv", derived<asDouble<&quantizer::getRealmin>>},
    {"version",        integer,       "sgSGz-lv", derived<getVersion>},
    {"Tag",            text,          "sgSGzclv", ofQuantizer<getTag, &quantizer::setTag>},
};
// clang-format on

constexpr SignatureColumn withOneArray[] = {takes(handle, array).to(array)};
constexpr SignatureColumn withTwoArrays[] = {takes(handle, array, array).to(array)};

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
constexpr MethodRow quantizerMethods[] = {
    {"disp", asked<&quantizer::disp>},
    {"initializestates", asked<&quantizer::initializestates>},
    {"resetlog", asked<&quantizer::initializestates>},
    {"resetlogging", asked<&quantizer::initializestates>},
    {"quantizenumeric", record<QuantizerQuantizeNumericMI>},
    {"num2base", plain<withTwoArrays, writeWordsInBase>},
    {"base2num", plain<withTwoArrays, readWordsInBase>},
    {"isquantizer", asked<isQuantizer>},
    {"isequal", plain<withOneArray, compare>},
    {"upperbound", asked<asDouble<&quantizer::getUpperBound>>},
    {"lowerbound", asked<asDouble<&quantizer::getLowerBound>>},
    {"set", setOf<label>},
};

[[noreturn]] void raiseBadSignature() {
    raiseError("fixedpoint:quantizer:constructor:badsignature", "QUANTIZER constructor signature not recognized.");
}

}  // namespace

void QuantizerOMClass::fill() {
    addProperties(*this, quantizerProperties);
    addMethods(*this, quantizerMethods);
}

OMInterface* QuantizerOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** arguments, int count) {
    constexpr auto unspecified = embedded::OperationTypeEnum::Unspecified;
    if (count == 0) {
        return wrap(std::make_unique<quantizer>(embedded::QuantizerModeEnum::Fixed, embedded::RoundModeEnum::Floor,
                                                embedded::OverflowModeEnum::Saturate, 16, 15, "", unspecified, true));
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
        static_cast<embedded::RoundModeEnum>(value), static_cast<embedded::OverflowModeEnum>(value), "", unspecified,
        true));
}

void QuantizerOMClass::respondToMethodAddedFromVELMAR(OMMethodInfo* method) {
    if (std::string_view(method->getName()) == "logreport") {
        method->setDispatchedOnFirstArgument(false);
    }
}
