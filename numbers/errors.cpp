#include "numbers/errors.h"

#include "host/ErrorIdException.h"

namespace tolvane::detail {

void raiseOutOfMemory() {
    raiseError("fixedpoint:fi:outofmemory", "Not enough memory to allocate new fi object.");
}

void raiseDimensionsDisagree() {
    raiseError("fixedpoint:fi:dimagree", "Matrix dimensions must agree.");
}

}  // namespace tolvane::detail
