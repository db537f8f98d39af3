#include "binding/fi/text_methods.h"

#include "host/ErrorIdException.h"
#include "numbers/bases.h"

constexpr SignatureColumn fiAndBaseToText[1] = {takes(datatypes::object<fi>, datatypes::array).to(datatypes::array)};
constexpr SignatureColumn fiTextAndBase[1] = {takes(datatypes::object<fi>, datatypes::array, datatypes::array)};

int takenBase(const hvArray* value, const std::string& idOfOthers) {
    if (!hvIsNumeric(value)) {
        raiseError(idOfOthers, "Base must be numeric.");
    }
    const double base = hvGetScalar(value);
    return base >= 0.0 && base < 100.0 ? static_cast<int>(base) : 0;
}

void writeInBase(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    object.errorIfScaledDouble("num2base");
    call.give(object.num2base(takenBase(call.array(1), "fixedpoint:fi:num2base:basemustbenumeric")));
}

void readInBase(const MethodCall& call) {
    fi& object = call.object<fi>(0);
    object.errorIfScaledDouble("base2num");
    const int base = takenBase(call.array(2), "fixedpoint:fi:base2num:basemustbenumeric");
    requireBase(base, 18, "fixedpoint:fi:base2num:baseoutofrange");
    object.base2num(call.array(1), base);
    call.giveNothing();
}
