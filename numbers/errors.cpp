#include "numbers/errors.h"

#include "numbers/services.h"

namespace tolvane::detail {

void raiseOutOfMemory() {
    raise("fixedpoint:fi:outofmemory", "Not enough memory to allocate new fi object.");
}

void raiseDimensionsDisagree() {
    raise("fixedpoint:fi:dimagree", "Matrix dimensions must agree.");
}

}  // namespace tolvane::detail
