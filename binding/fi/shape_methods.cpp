#include "binding/fi/methods.h"

#include <cmath>
#include <string>

#include "binding/fi/new_fi.h"
#include "fi/shape/shape_errors.h"
#include "host/ErrorIdException.h"
#include "logging/reports.h"

namespace tolvane::detail {

void giveReshaped(const MethodCall& call) {
    giveFi(call, owned(call.object<fi>(0).reshape(call.array(1))));
}

void giveConjugateTranspose(const MethodCall& call) {
    std::unique_ptr<fi> result = owned(call.object<fi>(0).ctranspose());
    reports::report(result->getQlogger(), reports::kConjugateTranspose);
    giveFi(call, std::move(result));
}

namespace {

/// The number of a diagonal in a call, 0 without one. `errorName` is part of the identifier of the error.
double diagonalNumber(const MethodCall& call, const std::string& errorName) {
    if (call.signature == 0) {
        return 0.0;
    }
    const hvArray* const given = call.array(1);
    if (hvIsA(given, fi::getVelmarPackageClassName())) {
        const fi& object = fi::getFiFromHvArray(given);
        if (object.isempty()) {
            raiseNoDiagonalNumber(errorName);
        }
        return object.addSlopeAdjustmentFactorBias(object.realdouble(0));
    }
    if (!hvIsNumeric(given) || !hvIsScalar(given) || std::isnan(hvGetScalar(given))) {
        raiseNoDiagonalNumber(errorName);
    }
    return hvGetScalar(given);
}

}  // namespace

void giveDiagonal(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    const double k = diagonalNumber(call, "diag");
    if (object.isvector() && std::isinf(k)) {
        raiseError("fixedpoint:fi:diag:kthDiagInputNotFinite",
                   "K-th diagonal input must be finite for the vector input form of DIAG.");
    }
    giveFi(call, owned(object.diag(k)));
}

void giveLowerTriangle(const MethodCall& call) {
    const double k = diagonalNumber(call, "tril");
    giveFi(call, owned(call.object<fi>(0).tril(k)));
}

void giveUpperTriangle(const MethodCall& call) {
    const double k = diagonalNumber(call, "tril");
    giveFi(call, owned(call.object<fi>(0).triu(k)));
}

}  // namespace tolvane::detail
