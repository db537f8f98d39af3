// The methods of class "fimath": queries of rules, the global rules and the dictionary, and sums and products of arrays
// under given rules.
#include <memory>
#include <string>

#include "binding/fi/new_fi.h"
#include "binding/fimath/FimathOMClass.h"
#include "binding/fimath/tables.h"
#include "binding/frame/EmbeddedFiSetMethodInfo.h"
#include "binding/frame/descriptor_methods.h"
#include "binding/frame/methods.h"
#include "host/ErrorIdException.h"

namespace tolvane::detail {

namespace {

using datatypes::kArray;

constexpr char kLabel[] = "FIMATH";

constexpr DataTypeColumn kRulesHandle = datatypes::kObject<fimath>;
constexpr DataTypeColumn kGlobalHandle{[] { return findDataType("embedded.globalfimath"); }, true};
constexpr DataTypeColumn kFiHandle = datatypes::kObject<fi>;

constexpr SignatureColumn kRulesAndRulesToArray[] = {takes(kRulesHandle, kRulesHandle).to(kArray)};
constexpr SignatureColumn kArrayAndRulesToArray[] = {takes(kArray, kRulesHandle).to(kArray)};
constexpr SignatureColumn kNothingToNothing[] = {takes()};
constexpr SignatureColumn kNothingToGlobal[] = {takes().to(kGlobalHandle)};
constexpr SignatureColumn kArrayToRules[] = {takes(kArray).to(kRulesHandle)};
constexpr SignatureColumn kRulesAndArraysToFi[] = {takes(kRulesHandle, kFiHandle, kFiHandle).to(kFiHandle)};

bool isFimath(const fimath& /*rules*/) {
    return true;
}

void compare(const MethodCall& call) {
    call.give(toHostResult(call.object<fimath>(0).isequal(call.object<fimath>(1))));
}

// The global rules and the dictionary

/// Reads the name of an entry; the error names the operation, as for a call that matches no signature.
std::string tagOf(const hvArray* name, const std::string& operation) {
    if (!hvIsChar(name)) {
        raiseError("VELMAR:UndefinedFunction",
                   "No method '" + operation + "' with matching signature found for class embedded.fimath");
    }
    return hvArray2String(name);
}

/// Takes rules, the name of an entry, or rules and the name under which they are also entered.
constexpr SignatureColumn kRulesOrName[] = {takes(kRulesHandle), takes(kArray), takes(kRulesHandle, kArray)};
void setGlobal(const MethodCall& call) {
    constexpr char kOperation[] = "AddToFimathDictionary";
    // An empty array is passed as no rules, and isn't a name either.
    if (call.signature == 1 || call.arguments[0] == nullptr) {
        fimath::setGlobalFimath(fimath::getFromFimathMap(tagOf(call.array(0), kOperation)));
    } else {
        const auto& rules = call.object<fimath>(0);
        if (call.signature == 2) {
            fimath::addToFimathMap(tagOf(call.array(1), kOperation), rules);
        }
        fimath::setGlobalFimath(rules);
    }
    call.giveNothing();
}

void resetGlobal(const MethodCall& call) {
    fimath::resetGlobalFimath();
    call.giveNothing();
}

void giveGlobal(const MethodCall& call) {
    call.give(GlobalFimathOMClass::getInstance()->createClassSpecificObject(nullptr));
}

void giveEntry(const MethodCall& call) {
    const fimath& entry = fimath::getFromFimathMap(tagOf(call.array(0), "GetFromFimathDictionary"));
    call.give(FimathOMClass::wrap(std::make_unique<fimath>(entry)));
}

void hasEntry(const MethodCall& call) {
    call.give(toHostResult(fimath::fimathMapKeyExists(tagOf(call.array(0), "FimathDictionaryTagExists"))));
}

// Arithmetic under given rules

template <auto operation>
void giveUnderRules(const MethodCall& call) {
    const auto& rules = call.object<fimath>(0);
    fi a(call.object<fi>(1));
    fi b(call.object<fi>(2));
    a.setFimath(rules);
    b.setFimath(rules);
    giveFi(call, owned(std::invoke(operation, a, b)));
}

// Name, how its record is made.
constexpr MethodRow kRulesMethods[] = {
    {"disp", unary<fimath, &fimath::disp>},
    {"isequal", plain<kRulesAndRulesToArray, compare>},
    {"isfimath", unary<fimath, isFimath>},
    {"sqrt", plainOnAny<kArrayAndRulesToArray, giveHostSqrt>},
    {"transpose", plain<kArrayToArray, raiseNotDefined<fimath, kTransposeName>>},
    {"ctranspose", plain<kArrayToArray, raiseNotDefined<fimath, kCtransposeName>>},
    {"set", setOf<kLabel>},
    {"tostring", unaryOfHandle<fimath, &fimath::toString>},
    {"SetGlobalFimath", plainStatic<kRulesOrName, setGlobal>},
    {"ResetGlobalFimath", plainStatic<kNothingToNothing, resetGlobal>},
    {"GetGlobalFimathState", plainStatic<kNothingToGlobal, giveGlobal>},
    {"GetFromFimathDictionary", plainStatic<kArrayToRules, giveEntry>},
    {"FimathDictionaryTagExists", plainStatic<kArrayToArray, hasEntry>},
};

constexpr MethodRow kRulesFiMethods[] = {
    {"add", plain<kRulesAndArraysToFi, giveUnderRules<&fi::plus>>},
    {"mpy", plain<kRulesAndArraysToFi, giveUnderRules<&fi::times>>},
    {"sub", plain<kRulesAndArraysToFi, giveUnderRules<&fi::minus>>},
};

}  // namespace

void addFimathMethods(OMClass& objectClass) {
    addMethods(objectClass, kRulesMethods);
}

void addFimathFiMethods(OMClass& objectClass) {
    addMethods(objectClass, kRulesFiMethods);
}

}  // namespace tolvane::detail
