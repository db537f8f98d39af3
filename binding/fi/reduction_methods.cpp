#include "binding/fi/reduction_methods.h"

#include "binding/fi/new_fi.h"

void giveLeadingDimensionSum(const MethodCall& call) {
    giveReported(call, owned(call.object<fi>(0).leadingdimension_sum()), "sum");
}
