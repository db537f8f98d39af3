// Errors of operations that have no rule for types or rules with slope and bias.
#pragma once

namespace tolvane::detail::slopebias {

/// Raises "fixedpoint:fi:mathmodeslopebiasnotdefined" for the mode of a "Sum" or a "Product".
[[noreturn]] void raiseForMode(const char* kind);
/// Raises "fixedpoint:fi:complexslopebiasnotdefined".
[[noreturn]] void raiseForComplex(const char* operation);
/// Raises "fixedpoint:fi:noopleadingtocomplexslopebias".
[[noreturn]] void raiseForComplexResult();
/// Raises "fixedpoint:fi:castbeforesumfalseslopebiasnotdefined".
[[noreturn]] void raiseWithoutCast(const char* operation);

}  // namespace tolvane::detail::slopebias
