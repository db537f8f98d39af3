// Methods of class "fi" that give its elements another shape.
#pragma once

#include <memory>

#include "binding/fi/FiBinaryOperation.h"
#include "binding/frame/methods.h"
#include "fi/fi.h"

inline constexpr SignatureColumn fiAndSizesToFi[] = {
    takes(datatypes::object<fi>, datatypes::array).to(datatypes::object<fi>)};
/// "fi_reshape"
void giveReshaped(const MethodCall& call);

/// "ctranspose"; reports what overflowed.
void giveConjugateTranspose(const MethodCall& call);

/// "diag", "tril" and "triu" take the number of a diagonal as a host array, in which a `fi` may stand too. Raise
/// "fixedpoint:fi:diag:kthDiagInputNotInteger" and "fixedpoint:fi:tril:kthDiagInputNotInteger" for what is no number,
/// and "diag" "fixedpoint:fi:diag:kthDiagInputNotFinite".
inline constexpr SignatureColumn fiAndDiagonalToFi[] = {
    takes(datatypes::object<fi>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::array).to(datatypes::object<fi>)};
void giveDiagonal(const MethodCall& call);
void giveLowerTriangle(const MethodCall& call);
void giveUpperTriangle(const MethodCall& call);

/// "toeplitz" and "hankel" of a column and a row.
template <fi* (fi::*operation)(const fi& row) const>
class FiTwoVectorMethodInfo final : public FiBinaryOperationFiOutputStrictNumericType {
 public:
    using FiBinaryOperationFiOutputStrictNumericType::FiBinaryOperationFiOutputStrictNumericType;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override {
        a.errorIfBadSource(b);
        return std::unique_ptr<fi>((a.*operation)(b));
    }
};
