#include "binding/fi/methods.h"

#include "host/ErrorIdException.h"
#include "numbers/bases.h"

namespace tolvane::detail {

constexpr SignatureColumn kFiAndBaseToText[1] = {
    takes(datatypes::kObject<fi>, datatypes::kArray).to(datatypes::kArray)};
constexpr SignatureColumn kFiTextAndBase[1] = {takes(datatypes::kObject<fi>, datatypes::kArray, datatypes::kArray)};

void writeInBase(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    object.errorIfScaledDouble("num2base");
    call.give(object.num2base(call.base(1, "fixedpoint:fi:num2base:basemustbenumeric")));
}

void readInBase(const MethodCall& call) {
    fi& object = call.object<fi>(0);
    object.errorIfScaledDouble("base2num");
    const int base = call.base(2, "fixedpoint:fi:base2num:basemustbenumeric");
    requireBase(base, 18, "fixedpoint:fi:base2num:baseoutofrange");
    object.base2num(call.array(1), base);
    call.giveNothing();
}

}  // namespace tolvane::detail
