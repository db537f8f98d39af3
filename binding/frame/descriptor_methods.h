// Methods shared by the classes "fimath" and "numerictype": square roots of host arrays, for which their objects only
// direct the call, and transposes, which they don't have.
#pragma once

#include "binding/frame/methods.h"
#include "host/ErrorIdException.h"

namespace tolvane::detail {

/// Returns the result of the host's function "sqrt" for the first argument only.
void giveHostSqrt(const MethodCall& call);

inline constexpr SignatureColumn kArrayToArray[] = {takes(datatypes::kArray).to(datatypes::kArray)};
/// Raises "fixedpoint:<class>:<method>:notdefined".
template <class Object, const auto& method>
[[noreturn]] void raiseNotDefined(const MethodCall& /*call*/) {
    const std::string name = Object::getVelmarClassName();
    raiseError("fixedpoint:" + name + ":" + method + ":notdefined",
               std::string("Function '") + method + "' is not defined for " + name + " objects.");
}
inline constexpr char kTransposeName[] = "transpose";
inline constexpr char kCtransposeName[] = "ctranspose";

}  // namespace tolvane::detail
