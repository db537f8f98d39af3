// The method "divide" of class "numerictype": the quotient of two operands in the type; at least one operand is a `fi`.
#pragma once

#include "binding/frame/methods.h"
#include "descriptors/NumericType.h"
#include "fi/fi.h"

namespace tolvane::detail {

inline constexpr SignatureColumn kDivideSignatures[] = {
    takes(datatypes::kObject<EmbeddedTypeSystem::NumericType>, datatypes::kObject<fi>, datatypes::kObject<fi>)
        .to(datatypes::kObject<fi>),
    takes(datatypes::kObject<EmbeddedTypeSystem::NumericType>, datatypes::kObject<fi>, datatypes::kArray)
        .to(datatypes::kObject<fi>),
    takes(datatypes::kObject<EmbeddedTypeSystem::NumericType>, datatypes::kArray, datatypes::kObject<fi>)
        .to(datatypes::kObject<fi>),
};
/// Operands may be empty arrays: two of them, or one with an array of one element, give an empty array, and one with a
/// `fi` gives an empty `fi` of the type. Raises "fixedpoint:fi:divide:nounspecifiedsign",
/// "fixedpoint:fi:divide:nounspecifiedscaling", "fixedpoint:fi:dimagree", "fixedpoint:fi:divide:signaturenotfound" and
/// as fi::over.
void giveQuotient(const MethodCall& call);

}  // namespace tolvane::detail
