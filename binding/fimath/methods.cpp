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

using datatypes::array;

constexpr char label[] = "FIMATH";

constexpr DataTypeColumn rulesHandle = datatypes::object<fimath>;
constexpr DataTypeColumn globalHandle{[] { return findDataType("embedded.globalfimath"); }, true};
constexpr DataTypeColumn fiHandle = datatypes::object<fi>;

constexpr SignatureColumn rulesAndRulesToArray[] = {takes(rulesHandle, rulesHandle).to(array)};
constexpr SignatureColumn arrayAndRulesToArray[] = {takes(array, rulesHandle).to(array)};
constexpr SignatureColumn nothingToNothing[] = {takes()};
constexpr SignatureColumn nothingToGlobal[] = {takes().to(globalHandle)};
constexpr SignatureColumn arrayToRules[] = {takes(array).to(rulesHandle)};
constexpr SignatureColumn rulesAndArraysToFi[] = {takes(rulesHandle, fiHandle, fiHandle).to(fiHandle)};

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
constexpr SignatureColumn rulesOrName[] = {takes(rulesHandle), takes(array), takes(rulesHandle, array)};
void setGlobal(const MethodCall& call) {
    constexpr char operation[] = "AddToFimathDictionary";
    // An empty array is passed as no rules, and isn't a name either.
    if (call.signature == 1 || call.arguments[0] == nullptr) {
        fimath::setGlobalFimath(fimath::getFromFimathMap(tagOf(call.array(0), operation)));
    } else {
        const auto& rules = call.object<fimath>(0);
        if (call.signature == 2) {
            fimath::addToFimathMap(tagOf(call.array(1), operation), rules);
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
constexpr MethodRow rulesMethods[] = {
    {"disp", unary<fimath, &fimath::disp>},
    {"isequal", plain<rulesAndRulesToArray, compare>},
    {"isfimath", unary<fimath, isFimath>},
    {"sqrt", plainOnAny<arrayAndRulesToArray, giveHostSqrt>},
    {"transpose", plain<arrayToArray, raiseNotDefined<fimath, transposeName>>},
    {"ctranspose", plain<arrayToArray, raiseNotDefined<fimath, ctransposeName>>},
    {"set", setOf<label>},
    {"tostring", unaryOfHandle<fimath, &fimath::toString>},
    {"SetGlobalFimath", plainStatic<rulesOrName, setGlobal>},
    {"ResetGlobalFimath", plainStatic<nothingToNothing, resetGlobal>},
    {"GetGlobalFimathState", plainStatic<nothingToGlobal, giveGlobal>},
    {"GetFromFimathDictionary", plainStatic<arrayToRules, giveEntry>},
    {"FimathDictionaryTagExists", plainStatic<arrayToArray, hasEntry>},
};

constexpr MethodRow rulesFiMethods[] = {
    {"add", plain<rulesAndArraysToFi, giveUnderRules<&fi::plus>>},
    {"mpy", plain<rulesAndArraysToFi, giveUnderRules<&fi::times>>},
    {"sub", plain<rulesAndArraysToFi, giveUnderRules<&fi::minus>>},
};

}  // namespace

void addFimathMethods(OMClass& objectClass) {
    addMethods(objectClass, rulesMethods);
}

void addFimathFiMethods(OMClass& objectClass) {
    addMethods(objectClass, rulesFiMethods);
}

}  // namespace tolvane::detail
