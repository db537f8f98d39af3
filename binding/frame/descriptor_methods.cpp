#include "binding/frame/descriptor_methods.h"

#include "host/hsc.h"

namespace tolvane::detail {

void giveHostSqrt(const MethodCall& call) {
    hvArray* input[] = {static_cast<hvArray*>(call.arguments[0])};
    hvArray* root = nullptr;
    // With the host's trap flag set, an error is returned as a status, and there is no result.
    if (hscCallVELMAR(1, &root, 1, input, "sqrt") == 0) {
        call.give(root);
    } else {
        call.giveNothing();
    }
}

}  // namespace tolvane::detail
