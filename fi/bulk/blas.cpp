#include "fi/bulk/blas.h"

#include <dlfcn.h>

#include <atomic>

namespace tolvane::detail::blas {

namespace {

constexpr double kLeastWork = 4096.0;
/// The library takes some 3 ms to open, in which the loops of lanes multiply this often.
constexpr double kLeastWorkToOpen = 16777216.0;

constinit std::atomic<bool> gIsOpen = false;

Dgemm open() {
    void* const library = dlopen("libopenblas.so.0", RTLD_NOW | RTLD_LOCAL);
    return library == nullptr ? nullptr : reinterpret_cast<Dgemm>(dlsym(library, "cblas_dgemm"));
}

}  // namespace

Dgemm dgemmFor(double multiplications) {
    if (multiplications < (gIsOpen ? kLeastWork : kLeastWorkToOpen)) {
        return nullptr;
    }
    static const Dgemm dgemm = open();
    gIsOpen = true;
    return dgemm;
}

}  // namespace tolvane::detail::blas
