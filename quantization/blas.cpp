#include "quantization/blas.h"

#include <dlfcn.h>

#include <atomic>

namespace tolvane::detail::blas {

namespace {

constexpr double kLeastWork = 4096.0;
/// Opening the library takes some 3 ms, in which the loops of lanes multiply this often.
constexpr double kWorkBeforeOpening = 33554432.0;

/// The multiplications so far that the library would have made faster.
constinit std::atomic<double> gWork = 0.0;

Dgemm open() {
    void* const library = dlopen("libopenblas.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    return library == nullptr ? nullptr : reinterpret_cast<Dgemm>(dlsym(library, "cblas_dgemm"));
}

}  // namespace

Dgemm dgemmFor(double multiplications) {
    if (multiplications < kLeastWork) {
        return nullptr;
    }
    if (gWork < kWorkBeforeOpening && gWork.fetch_add(multiplications) + multiplications < kWorkBeforeOpening) {
        return nullptr;
    }
    static const Dgemm kDgemm = open();
    return kDgemm;
}

}  // namespace tolvane::detail::blas
