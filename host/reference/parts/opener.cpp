#include "host/reference/parts/opener.h"

#include <dlfcn.h>

#include <filesystem>

#include "host/ErrorIdException.h"

namespace hostref::parts {

namespace {

/// The folder of the host's library; empty if its path isn't known.
std::filesystem::path ownFolder() {
    Dl_info info = {};
    return dladdr(reinterpret_cast<const void*>(&open), &info) != 0 && info.dli_fname != nullptr
               ? std::filesystem::path(info.dli_fname).parent_path()
               : std::filesystem::path();
}

}  // namespace

const void* open(const char* name) {
    const std::filesystem::path file = ownFolder() / ("lib" + std::string(name) + ".so");
    // Parts stay loaded: errors and objects of their classes may outlive any owner.
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        const char* const why = dlerror();
        raiseError("VELMAR:part:notFound", "A part of the host can't be opened: " +
                                               (why != nullptr ? std::string(why) : "'" + file.string() + "'") + ".");
    }
    const auto entry = reinterpret_cast<Entry>(dlsym(library, kEntry));
    if (entry == nullptr) {
        raiseError("VELMAR:part:notFound", "'" + file.string() + "' is no part of the host.");
    }
    return entry();
}

Md5::~Md5() = default;

}  // namespace hostref::parts
