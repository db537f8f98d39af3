#include "numbers/errors.h"

#include "host/ErrorIdException.h"

void raiseOutOfMemory() {
    raiseError("fixedpoint:fi:outofmemory", "Not enough memory to allocate new fi object.");
}

void raiseDimensionsDisagree() {
    raiseError("fixedpoint:fi:dimagree", "Matrix dimensions must agree.");
}
