#include "numbers/errors.h"

#include <cstring>

#include "host/ErrorIdException.h"
#include "numbers/out_of_memory.h"
#include "numbers/services.h"

namespace tolvane::detail {

namespace {
constexpr const char* kOutOfMemory = "fixedpoint:fi:outofmemory";
}

void raiseOutOfMemory() {
    raise(kOutOfMemory, "Not enough memory to allocate new fi object.");
}

bool isOutOfMemory(const ErrorIdException& error) {
    return std::strcmp(error.getId(), kOutOfMemory) == 0;
}

void raiseDimensionsDisagree() {
    raise("fixedpoint:fi:dimagree", "Matrix dimensions must agree.");
}

}  // namespace tolvane::detail
