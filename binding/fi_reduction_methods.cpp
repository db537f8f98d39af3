#include "binding/fi_reduction_methods.h"

#include <utility>

#include "binding/new_fi.h"
#include "logging/reports.h"

void giveLeadingDimensionSum(const MethodCall& call) {
    auto sums = owned(call.object<fi>(0).leadingdimension_sum());
    reports::report(sums->getQlogger(), "sum");
    giveFi(call, std::move(sums));
}
