#include "binding/fi/methods.h"

#include "binding/fi/new_fi.h"

namespace tolvane::detail {

namespace {

using EmbeddedTypeSystem::NumericType;

/// Calls the form with the arguments of the selected signature; `compute` takes the object and the rest.
template <class Compute>
void giveByTypeAndRules(const MethodCall& call, Compute compute) {
    const fi& x = call.object<fi>(0);
    switch (call.signature) {
        case 0:
            return giveFi(call, owned(compute(x)));
        case 1:
            return giveFi(call, owned(compute(x, call.object<NumericType>(1))));
        case 2:
            return giveFi(call, owned(compute(x, call.object<fimath>(1))));
        default:
            return giveFi(call, owned(compute(x, call.object<NumericType>(1), call.object<fimath>(2))));
    }
}

}  // namespace

void giveRealAbs(const MethodCall& call) {
    giveByTypeAndRules(call, [](const fi& x, const auto&... by) { return x.realabs(by...); });
}

void giveSqrt(const MethodCall& call) {
    giveByTypeAndRules(call, [](const fi& x, const auto&... by) { return x.sqrtBisection(by...); });
}

}  // namespace tolvane::detail
