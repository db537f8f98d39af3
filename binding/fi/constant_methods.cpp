#include "binding/fi/methods.h"

#include "binding/fi/binary_methods.h"
#include "binding/fi/new_fi.h"
#include "logging/reports.h"

namespace tolvane::detail {

void giveRange(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    if (call.wantedResults() < 2) {
        giveFi(call, owned(object.range()));
        return;
    }
    std::unique_ptr<fi> low = owned(object.lowerbound());
    std::unique_ptr<fi> high = owned(object.realmax());
    HandleOwner lowHandle(FiOMClass::wrap(std::move(low)));
    call.results[1] = FiOMClass::wrap(std::move(high));
    call.results[0] = lowHandle.release();
    *call.resultCount = 2;
}

void negate(const MethodCall& call) {
    giveReported(call, owned(call.object<fi>(0).uminus()), "unary minus");
}

void conjugate(const MethodCall& call) {
    giveReported(call, owned(call.object<fi>(0).conj()), "conjugation");
}

std::unique_ptr<fi> FiComplexMethodInfo::computeResult(const fi& a, const fi& b) {
    if (!a.isBoolean()) {
        // Those have their own error.
        a.errorIfBadSource(b);
    }
    return owned(a.complex(b));
}

void FiComplexMethodInfo::logResult(const fi& /*a*/, const fi& /*b*/, const fi& result) {
    reports::report(result.getQlogger(), "complex");
}

}  // namespace tolvane::detail
