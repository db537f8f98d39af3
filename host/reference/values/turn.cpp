#include "host/reference/values/turn.h"

#include <mutex>

namespace hostref {

namespace {

// Never destroyed: handles may be released after any static object.
constinit std::mutex sTurn;
thread_local constinit int sDepth = 0;

}  // namespace

Turn::Turn() noexcept {
    if (sDepth++ == 0) {
        sTurn.lock();
    }
}

Turn::~Turn() {
    if (--sDepth == 0) {
        sTurn.unlock();
    }
}

}  // namespace hostref
