#include "binding/fi_text_methods.h"

#include <string>

#include "host/ErrorIdException.h"

constexpr SignatureColumn fiAndBaseToText[1] = {takes(datatypes::object<fi>, datatypes::array).to(datatypes::array)};
constexpr SignatureColumn fiTextAndBase[1] = {takes(datatypes::object<fi>, datatypes::array, datatypes::array)};

namespace {

/// The whole part of a number, 0 for what no base is near.
int takenBase(const hvArray* value, const std::string& method) {
    if (!hvIsNumeric(value)) {
        raiseError("fixedpoint:fi:" + method + ":basemustbenumeric", "Base must be numeric.");
    }
    const double base = hvGetScalar(value);
    return base >= 0.0 && base < 100.0 ? static_cast<int>(base) : 0;
}

}  // namespace

void writeInBase(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    object.errorIfScaledDouble("num2base");
    call.give(object.num2base(takenBase(call.array(1), "num2base")));
}

void readInBase(const MethodCall& call) {
    fi& object = call.object<fi>(0);
    object.errorIfScaledDouble("base2num");
    const int base = takenBase(call.array(2), "base2num");
    if (base < 2 || base > 18) {
        raiseError("fixedpoint:fi:base2num:baseoutofrange", "Base value must be >= 2 and <= 18");
    }
    object.base2num(call.array(1), base);
    call.giveNothing();
}
