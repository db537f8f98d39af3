#include "numbers/errors.h"

#include "host/ErrorIdException.h"

void raiseOutOfMemory() {
    raiseError("fixedpoint:fi:outofmemory", "Not enough memory to allocate new fi object.");
}
