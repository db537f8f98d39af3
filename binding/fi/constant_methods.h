// Methods of class "fi" that give constants of its type and work on signs.
#pragma once

#include <array>
#include <memory>

#include "binding/fi/FiBinaryOperation.h"
#include "binding/frame/methods.h"

/// With one result a row of both bounds, with two the lower and the upper one.
inline constexpr SignatureColumn fiToRange[] = {
    takes(datatypes::object<fi>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>).to(datatypes::object<fi>, datatypes::object<fi>)};
void giveRange(const MethodCall& call);

/// "uminus" and "conj" report what overflowed under the new signs.
void negate(const MethodCall& call);
void conjugate(const MethodCall& call);

/// Reports what the imaginary parts overflowed on their way into the type of the real ones.
class FiComplexMethodInfo final : public FiBinaryOperationFiOutputStrictNumericType {
 public:
    using FiBinaryOperationFiOutputStrictNumericType::FiBinaryOperationFiOutputStrictNumericType;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override;
    void logResult(const fi& a, const fi& b, const fi& result) override;
};
