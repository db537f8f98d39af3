// The properties of class "fimath". The numbers of each register exist twice: as numbers, and as the strings of a
// dialog, which show the number as text and take an expression back. A write to one kind notifies the listeners of the
// other; the four forms of the scale of a register are notified together.
#include <climits>
#include <functional>
#include <memory>
#include <string>

#include "binding/fimath/tables.h"
#include "binding/frame/enum_columns.h"
#include "binding/frame/properties.h"
#include "descriptors/NumericType.h"
#include "descriptors/fimath.h"
#include "host/ErrorIdException.h"

namespace tolvane::detail {

namespace {

using namespace datatypes;

template <auto get, auto set>
constexpr PropertyFunctions ofRules = field<fimath, get, set>();

hvArray* getCStyle(const fimath& rules) {
    return rules.getCStyle();
}
void setCStyle(fimath& rules, const hvArray* value) {
    rules.setCStyle(value);
}

// Numbers and their strings

using BsText = std::unique_ptr<char, decltype(&bsFree)>;
/// A member that returns a text from bsMalloc.
using TextOf = char* (fimath::*)() const;

std::string dialogName(const std::string& number) {
    return "PrivDLG" + number + "String";
}

template <auto get>
void tellNumber(OMInterface* handle, const fimath& rules, const char* property) {
    fimath::fimathNotifyFixedPropEvent(handle, std::invoke(get, rules), property);
}

/// A number of a register: how listeners are notified of it, and its text.
struct Number {
    const char* property;
    void (*tell)(OMInterface* handle, const fimath& rules, const char* property);
    TextOf text;
};

constexpr Number productNumbers[] = {
    {"ProductWordLength", tellNumber<&fimath::getProductWordLength>, &fimath::getProductWordLengthString},
    {"MaxProductWordLength", tellNumber<&fimath::getMaxProductWordLength>, &fimath::getMaxProductWordLengthString},
    {"ProductFractionLength", tellNumber<&fimath::getProductFractionLength>, &fimath::getProductFractionLengthString},
    {"ProductFixedExponent", tellNumber<&fimath::getProductFixedExponent>, &fimath::getProductFixedExponentString},
    {"ProductSlope", tellNumber<&fimath::getProductSlope>, &fimath::getProductSlopeString},
    {"ProductSlopeAdjustmentFactor", tellNumber<&fimath::getProductSlopeAdjustmentFactor>,
     &fimath::getProductSlopeAdjustmentFactorString},
    {"ProductBias", tellNumber<&fimath::getProductBias>, &fimath::getProductBiasString},
};
constexpr Number sumNumbers[] = {
    {"SumWordLength", tellNumber<&fimath::getSumWordLength>, &fimath::getSumWordLengthString},
    {"MaxSumWordLength", tellNumber<&fimath::getMaxSumWordLength>, &fimath::getMaxSumWordLengthString},
    {"SumFractionLength", tellNumber<&fimath::getSumFractionLength>, &fimath::getSumFractionLengthString},
    {"SumFixedExponent", tellNumber<&fimath::getSumFixedExponent>, &fimath::getSumFixedExponentString},
    {"SumSlope", tellNumber<&fimath::getSumSlope>, &fimath::getSumSlopeString},
    {"SumSlopeAdjustmentFactor", tellNumber<&fimath::getSumSlopeAdjustmentFactor>,
     &fimath::getSumSlopeAdjustmentFactorString},
    {"SumBias", tellNumber<&fimath::getSumBias>, &fimath::getSumBiasString},
};

/// Positions in these tables; `mates` is the range of numbers that change together.
struct Place {
    std::size_t index;
    std::size_t firstMate;
    std::size_t matesEnd;
};
constexpr Place wordLength{0, 0, 1};
constexpr Place maxWordLength{1, 1, 2};
constexpr Place fractionLength{2, 2, 6};
constexpr Place fixedExponent{3, 2, 6};
constexpr Place slope{4, 2, 6};
constexpr Place factor{5, 2, 6};
constexpr Place bias{6, 6, 7};

std::string textOf(const fimath& rules, TextOf text) {
    return BsText((rules.*text)(), bsFree).get();
}

template <const auto& numbers, Place place>
void tellStrings(OMInterface* handle) {
    const fimath& rules = *objectOf<fimath>(handle);
    for (std::size_t i = place.firstMate; i < place.matesEnd; ++i) {
        fimath::fimathNotifyFixedPropsStringPropEvent(handle, textOf(rules, numbers[i].text).c_str(),
                                                      dialogName(numbers[i].property).c_str());
    }
}

template <const auto& numbers, Place place>
void tellNumbers(OMInterface* handle) {
    const fimath& rules = *objectOf<fimath>(handle);
    for (std::size_t i = place.firstMate; i < place.matesEnd; ++i) {
        numbers[i].tell(handle, rules, numbers[i].property);
    }
}

/// A number, whose setter takes an int or a double.
template <const auto& numbers, Place place, auto get, auto set>
constexpr PropertyFunctions number = {reader<fimath, get>, [](const PropertyCall& call, const void* value) {
                                          writer<fimath, get, set>(call, value);
                                          tellStrings<numbers, place>(call.handle);
                                      }};

/// The value of a dialog's text. Raises "fixedpoint:fimath:dialogText" unless the host finds one real number, which
/// also has to be in the range of the property's type.
double numberIn(const char* text, bool isForInt) {
    hvArray* result = nullptr;
    const int status = EmbeddedTypeSystem::NumericType::EvalString(result, text);
    const hvArrayOwner owner(result);
    if (status == 0 && hvIsNumeric(result) && hvIsScalar(result) && !hvIsComplex(result)) {
        const double value = hvGetScalar(result);
        if (!isForInt || (value >= INT_MIN && value <= INT_MAX)) {
            return value;
        }
    }
    raiseError("fixedpoint:fimath:dialogText", std::string("The text '") + text + "' stands for no " +
                                                   (isForInt ? "number of 32 bits." : "real number."));
}

/// The string of a number. Fractions are truncated if the number is an int.
template <const auto& numbers, Place place, auto set>
constexpr PropertyFunctions dialog = {
    [](const PropertyCall& call) {
        return Shape<std::string>::box(textOf(call.object<fimath>(), numbers[place.index].text));
    },
    [](const PropertyCall& call, const void* value) {
        constexpr bool isForInt = std::is_invocable_v<void (*)(void(fimath::*)(int)), decltype(set)>;
        const double given = numberIn(Shape<std::string>::unbox(value), isForInt);
        fimath& rules = call.object<fimath>();
        if constexpr (isForInt) {
            std::invoke(set, rules, static_cast<int>(given));
        } else {
            std::invoke(set, rules, given);
        }
        tellNumbers<numbers, place>(call.handle);
    }};

template <Place place, auto get, auto set>
constexpr PropertyFunctions ofProduct = number<productNumbers, place, get, set>;
template <Place place, auto get, auto set>
constexpr PropertyFunctions ofSum = number<sumNumbers, place, get, set>;
template <Place place, auto set>
constexpr PropertyFunctions productText = dialog<productNumbers, place, set>;
template <Place place, auto set>
constexpr PropertyFunctions sumText = dialog<sumNumbers, place, set>;

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow rulesProperties[] = {
    {"RoundMode",                    roundMode,      "sgSGzclv", ofRules<&fimath::getRoundMode, &fimath::setRoundMode>},
    {"OverflowMode",                 overflowMode,   "sgSGzclv", ofRules<&fimath::getOverflowMode, &fimath::setOverflowMode>},
    {"PrecisionMode",                precisionMode,  "--SGz-lv", ofRules<&fimath::getPrecisionMode, &fimath::setPrecisionMode>},
    {"ProductMode",                  arithmeticMode, "sgSGzclv", ofRules<&fimath::getProductMode, &fimath::setProductMode>},
    {"ProductWordLength",            int32,          "sgSGzclv", ofProduct<wordLength, &fimath::getProductWordLength, &fimath::setProductWordLength>},
    {"MaxProductWordLength",         int32,          "sgSGzclv", ofProduct<maxWordLength, &fimath::getMaxProductWordLength, &fimath::setMaxProductWordLength>},
    {"ProductFractionLength",        int32,          "sgSGzclv", ofProduct<fractionLength, &fimath::getProductFractionLength, &fimath::setProductFractionLength>},
    {"ProductFixedExponent",         int32,          "sgSGzclv", ofProduct<fixedExponent, &fimath::getProductFixedExponent, &fimath::setProductFixedExponent>},
    {"ProductSlope",                 real,           "sgSGz-lv", ofProduct<slope, &fimath::getProductSlope, &fimath::setProductSlope>},
    {"ProductSlopeAdjustmentFactor", real,           "sgSGzclv", ofProduct<factor, &fimath::getProductSlopeAdjustmentFactor, &fimath::setProductSlopeAdjustmentFactor>},
    {"ProductBias",                  real,           "sgSGzclv", ofProduct<bias, &fimath::getProductBias, &fimath::setProductBias>},
    {"SumMode",                      arithmeticMode, "sgSGzclv", ofRules<&fimath::getSumMode, &fimath::setSumMode>},
    {"SumWordLength",                int32,          "sgSGzclv", ofSum<wordLength, &fimath::getSumWordLength, &fimath::setSumWordLength>},
    {"MaxSumWordLength",             int32,          "sgSGzclv", ofSum<maxWordLength, &fimath::getMaxSumWordLength, &fimath::setMaxSumWordLength>},
    {"SumFractionLength",            int32,          "sgSGzclv", ofSum<fractionLength, &fimath::getSumFractionLength, &fimath::setSumFractionLength>},
    {"SumFixedExponent",             int32,          "sgSGzclv", ofSum<fixedExponent, &fimath::getSumFixedExponent, &fimath::setSumFixedExponent>},
    {"SumSlope",                     real,           "sgSGz-lv", ofSum<slope, &fimath::getSumSlope, &fimath::setSumSlope>},
    {"SumSlopeAdjustmentFactor",     real,           "sgSGzclv", ofSum<factor, &fimath::getSumSlopeAdjustmentFactor, &fimath::setSumSlopeAdjustmentFactor>},
    {"SumBias",                      real,           "sgSGzclv", ofSum<bias, &fimath::getSumBias, &fimath::setSumBias>},
    {"CastBeforeSum",                boolean,        "sgSGzclv", ofRules<&fimath::getCastBeforeSum, &fimath::setCastBeforeSum>},
    {"PrivDLGProductWordLengthString",            text, "sgSG--l-", productText<wordLength, &fimath::setProductWordLength>},
    {"PrivDLGMaxProductWordLengthString",         text, "sgSG--l-", productText<maxWordLength, &fimath::setMaxProductWordLength>},
    {"PrivDLGProductFractionLengthString",        text, "sgSG--l-", productText<fractionLength, &fimath::setProductFractionLength>},
    {"PrivDLGProductFixedExponentString",         text, "sgSG--l-", productText<fixedExponent, &fimath::setProductFixedExponent>},
    {"PrivDLGProductSlopeString",                 text, "sgS---l-", productText<slope, &fimath::setProductSlope>},
    {"PrivDLGProductSlopeAdjustmentFactorString", text, "sgSG--l-", productText<factor, &fimath::setProductSlopeAdjustmentFactor>},
    {"PrivDLGProductBiasString",                  text, "sgSG--l-", productText<bias, &fimath::setProductBias>},
    {"PrivDLGSumWordLengthString",                text, "sgSG--l-", sumText<wordLength, &fimath::setSumWordLength>},
    {"PrivDLGMaxSumWordLengthString",             text, "sgSG--l-", sumText<maxWordLength, &fimath::setMaxSumWordLength>},
    {"PrivDLGSumFractionLengthString",            text, "sgSG--l-", sumText<fractionLength, &fimath::setSumFractionLength>},
    {"PrivDLGSumFixedExponentString",             text, "sgSG--l-", sumText<fixedExponent, &fimath::setSumFixedExponent>},
    {"PrivDLGSumSlopeString",                     text, "sgS---l-", sumText<slope, &fimath::setSumSlope>},
    {"PrivDLGSumSlopeAdjustmentFactorString",     text, "sgSG--l-", sumText<factor, &fimath::setSumSlopeAdjustmentFactor>},
    {"PrivDLGSumBiasString",                      text, "sgSG--l-", sumText<bias, &fimath::setSumBias>},
    {"CStyle",                       array,          "s-S-----", ofRules<getCStyle, setCStyle>},
};
// clang-format on

}  // namespace

void addFimathProperties(OMClass& objectClass) {
    addProperties(objectClass, rulesProperties);
}

}  // namespace tolvane::detail
