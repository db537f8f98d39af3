#include "binding/frame/lifetime.h"

#include "host/ErrorIdException.h"

using namespace tolvane::detail;

namespace {

bool sIsStopped = false;

}  // namespace

void lifetime::setStopped() {
    sIsStopped = true;
}

void lifetime::errorIfStopped() {
    if (sIsStopped) {
        raiseError("fixedpoint:module:stopped", "The Tolvane module was stopped.");
    }
}
