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
constexpr PropertyFunctions kOfRules = field<fimath, get, set>();

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

constexpr Number kProductNumbers[] = {
    {"ProductWordLength", tellNumber<&fimath::getProductWordLength>, &fimath::getProductWordLengthString},
    {"MaxProductWordLength", tellNumber<&fimath::getMaxProductWordLength>, &fimath::getMaxProductWordLengthString},
    {"ProductFractionLength", tellNumber<&fimath::getProductFractionLength>, &fimath::getProductFractionLengthString},
    {"ProductFixedExponent", tellNumber<&fimath::getProductFixedExponent>, &fimath::getProductFixedExponentString},
    {"ProductSlope", tellNumber<&fimath::getProductSlope>, &fimath::getProductSlopeString},
    {"ProductSlopeAdjustmentFactor", tellNumber<&fimath::getProductSlopeAdjustmentFactor>,
     &fimath::getProductSlopeAdjustmentFactorString},
    {"ProductBias", tellNumber<&fimath::getProductBias>, &fimath::getProductBiasString},
};
constexpr Number kSumNumbers[] = {
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
constexpr Place kWordLength{0, 0, 1};
constexpr Place kMaxWordLength{1, 1, 2};
constexpr Place kFractionLength{2, 2, 6};
constexpr Place kFixedExponent{3, 2, 6};
constexpr Place kSlope{4, 2, 6};
constexpr Place kFactor{5, 2, 6};
constexpr Place kBias{6, 6, 7};

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
constexpr PropertyFunctions kNumber = {reader<fimath, get>, [](const PropertyCall& call, const void* value) {
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
constexpr PropertyFunctions kDialog = {
    [](const PropertyCall& call) {
        return Shape<std::string>::box(textOf(call.object<fimath>(), numbers[place.index].text));
    },
    [](const PropertyCall& call, const void* value) {
        constexpr bool kIsForInt = std::is_invocable_v<void (*)(void(fimath::*)(int)), decltype(set)>;
        const double given = numberIn(Shape<std::string>::unbox(value), kIsForInt);
        fimath& rules = call.object<fimath>();
        if constexpr (kIsForInt) {
            std::invoke(set, rules, static_cast<int>(given));
        } else {
            std::invoke(set, rules, given);
        }
        tellNumbers<numbers, place>(call.handle);
    }};

template <Place place, auto get, auto set>
constexpr PropertyFunctions kOfProduct = kNumber<kProductNumbers, place, get, set>;
template <Place place, auto get, auto set>
constexpr PropertyFunctions kOfSum = kNumber<kSumNumbers, place, get, set>;
template <Place place, auto set>
constexpr PropertyFunctions kProductText = kDialog<kProductNumbers, place, set>;
template <Place place, auto set>
constexpr PropertyFunctions kSumText = kDialog<kSumNumbers, place, set>;

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow kRulesProperties[] = {
    {"RoundMode",                    kRoundMode,      "sgSGzclv", kOfRules<&fimath::getRoundMode, &fimath::setRoundMode>},
    {"OverflowMode",                 kOverflowMode,   "sgSGzclv", kOfRules<&fimath::getOverflowMode, &fimath::setOverflowMode>},
    {"PrecisionMode",                kPrecisionMode,  "--SGz-lv", kOfRules<&fimath::getPrecisionMode, &fimath::setPrecisionMode>},
    {"ProductMode",                  kArithmeticMode, "sgSGzclv", kOfRules<&fimath::getProductMode, &fimath::setProductMode>},
    {"ProductWordLength",            kInt32,          "sgSGzclv", kOfProduct<kWordLength, &fimath::getProductWordLength, &fimath::setProductWordLength>},
    {"MaxProductWordLength",         kInt32,          "sgSGzclv", kOfProduct<kMaxWordLength, &fimath::getMaxProductWordLength, &fimath::setMaxProductWordLength>},
    {"ProductFractionLength",        kInt32,          "sgSGzclv", kOfProduct<kFractionLength, &fimath::getProductFractionLength, &fimath::setProductFractionLength>},
    {"ProductFixedExponent",         kInt32,          "sgSGzclv", kOfProduct<kFixedExponent, &fimath::getProductFixedExponent, &fimath::setProductFixedExponent>},
    {"ProductSlope",                 kReal,           "sgSGz-lv", kOfProduct<kSlope, &fimath::getProductSlope, &fimath::setProductSlope>},
    {"ProductSlopeAdjustmentFactor", kReal,           "sgSGzclv", kOfProduct<kFactor, &fimath::getProductSlopeAdjustmentFactor, &fimath::setProductSlopeAdjustmentFactor>},
    {"ProductBias",                  kReal,           "sgSGzclv", kOfProduct<kBias, &fimath::getProductBias, &fimath::setProductBias>},
    {"SumMode",                      kArithmeticMode, "sgSGzclv", kOfRules<&fimath::getSumMode, &fimath::setSumMode>},
    {"SumWordLength",                kInt32,          "sgSGzclv", kOfSum<kWordLength, &fimath::getSumWordLength, &fimath::setSumWordLength>},
    {"MaxSumWordLength",             kInt32,          "sgSGzclv", kOfSum<kMaxWordLength, &fimath::getMaxSumWordLength, &fimath::setMaxSumWordLength>},
    {"SumFractionLength",            kInt32,          "sgSGzclv", kOfSum<kFractionLength, &fimath::getSumFractionLength, &fimath::setSumFractionLength>},
    {"SumFixedExponent",             kInt32,          "sgSGzclv", kOfSum<kFixedExponent, &fimath::getSumFixedExponent, &fimath::setSumFixedExponent>},
    {"SumSlope",                     kReal,           "sgSGz-lv", kOfSum<kSlope, &fimath::getSumSlope, &fimath::setSumSlope>},
    {"SumSlopeAdjustmentFactor",     kReal,           "sgSGzclv", kOfSum<kFactor, &fimath::getSumSlopeAdjustmentFactor, &fimath::setSumSlopeAdjustmentFactor>},
    {"SumBias",                      kReal,           "sgSGzclv", kOfSum<kBias, &fimath::getSumBias, &fimath::setSumBias>},
    {"CastBeforeSum",                kBoolean,        "sgSGzclv", kOfRules<&fimath::getCastBeforeSum, &fimath::setCastBeforeSum>},
    {"PrivDLGProductWordLengthString",            kText, "sgSG--l-", kProductText<kWordLength, &fimath::setProductWordLength>},
    {"PrivDLGMaxProductWordLengthString",         kText, "sgSG--l-", kProductText<kMaxWordLength, &fimath::setMaxProductWordLength>},
    {"PrivDLGProductFractionLengthString",        kText, "sgSG--l-", kProductText<kFractionLength, &fimath::setProductFractionLength>},
    {"PrivDLGProductFixedExponentString",         kText, "sgSG--l-", kProductText<kFixedExponent, &fimath::setProductFixedExponent>},
    {"PrivDLGProductSlopeString",                 kText, "sgS---l-", kProductText<kSlope, &fimath::setProductSlope>},
    {"PrivDLGProductSlopeAdjustmentFactorString", kText, "sgSG--l-", kProductText<kFactor, &fimath::setProductSlopeAdjustmentFactor>},
    {"PrivDLGProductBiasString",                  kText, "sgSG--l-", kProductText<kBias, &fimath::setProductBias>},
    {"PrivDLGSumWordLengthString",                kText, "sgSG--l-", kSumText<kWordLength, &fimath::setSumWordLength>},
    {"PrivDLGMaxSumWordLengthString",             kText, "sgSG--l-", kSumText<kMaxWordLength, &fimath::setMaxSumWordLength>},
    {"PrivDLGSumFractionLengthString",            kText, "sgSG--l-", kSumText<kFractionLength, &fimath::setSumFractionLength>},
    {"PrivDLGSumFixedExponentString",             kText, "sgSG--l-", kSumText<kFixedExponent, &fimath::setSumFixedExponent>},
    {"PrivDLGSumSlopeString",                     kText, "sgS---l-", kSumText<kSlope, &fimath::setSumSlope>},
    {"PrivDLGSumSlopeAdjustmentFactorString",     kText, "sgSG--l-", kSumText<kFactor, &fimath::setSumSlopeAdjustmentFactor>},
    {"PrivDLGSumBiasString",                      kText, "sgSG--l-", kSumText<kBias, &fimath::setSumBias>},
    {"CStyle",                       kArray,          "s-S-----", kOfRules<getCStyle, setCStyle>},
};
// clang-format on

}  // namespace

void addFimathProperties(OMClass& objectClass) {
    addProperties(objectClass, kRulesProperties);
}

}  // namespace tolvane::detail
