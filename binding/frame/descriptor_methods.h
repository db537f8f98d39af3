// Methods that the classes "fimath" and "numerictype" share: square roots of host arrays, for which their objects are
// mere signs of where the call is meant to go, and the transposes that they don't have.
#pragma once

#include "binding/frame/methods.h"
#include "host/ErrorIdException.h"

/// Gives what the host's function "sqrt" makes of the first argument alone.
void giveHostSqrt(const MethodCall& call);

inline constexpr SignatureColumn arrayToArray[] = {takes(datatypes::array).to(datatypes::array)};
/// Raises "fixedpoint:<class>:<method>:notdefined".
template <class Object, const auto& method>
[[noreturn]] void raiseNotDefined(const MethodCall& /*call*/) {
    const std::string name = Object::getVelmarClassName();
    raiseError("fixedpoint:" + name + ":" + method + ":notdefined",
               std::string("Function '") + method + "' is not defined for " + name + " objects.");
}
inline constexpr char transposeName[] = "transpose";
inline constexpr char ctransposeName[] = "ctranspose";
