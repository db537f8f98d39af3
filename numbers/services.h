// What the library asks of the process that it runs in: to raise errors, to warn, to print, memory, and what else a
// host has of its own.
//
// The functions below go through one table. By default it serves a program without a host: an error is an
// ErrorIdException, thrown by pointer; warnings go to the standard error stream and text to standard output; memory is
// malloc's. When libtolvane.so is loaded, it puts the host's table in its place. No source that becomes part of
// libtolvane_engine.so calls a host in any other way.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>

#include "host/export.h"

class OMInterface;
class bs_md5ChecksumRec;

namespace tolvane::detail {

/// Every entry is set.
struct Services {
    /// Doesn't return.
    void (*raise)(std::string id, std::string message);
    /// Doesn't return: the standard error for an index that is no whole number of 64 bits, "VELMAR:badsubscript".
    void (*raiseBadIndex)();
    /// An empty id means a warning without one.
    void (*warn)(const std::string& id, const std::string& text);
    /// Each call is one piece of output, whatever its length.
    void (*print)(const std::string& text);
    // Null means that there is no memory. Release takes what either returned, also under a table before this one, and
    // null.
    void* (*allocate)(std::size_t bytes);
    void* (*allocateZeros)(std::size_t bytes);
    void (*release)(void* memory);
    /// The shortest text that reads back as the same double; "NaN", "Inf", "-Inf".
    std::string (*textOfDouble)(double value);
    // Functions whose last bits libraries differ in.
    double (*hypot)(double a, double b);
    double (*log)(double value);
    // Objects of a host, which only a host makes.
    void (*releaseHandle)(OMInterface* handle);
    void (*addToDigest)(bs_md5ChecksumRec& digest, const unsigned char* bytes, std::size_t count);
};

/// The table in force.
TOLVANE_API extern std::atomic<const Services*> servicesInForce;

inline const Services& services() {
    return *servicesInForce.load(std::memory_order_acquire);
}

/// Puts a table in force, which must live as long as the process, and returns the one before. Threads that are inside
/// the library may still use that.
TOLVANE_API const Services& setServices(const Services& table);

[[noreturn]] TOLVANE_API void raise(std::string id, std::string message);
[[noreturn]] void raiseBadIndex();
/// As Services::allocate. Raises "bs:outofmemory".
TOLVANE_API void* allocateOrRaise(std::size_t bytes);
inline void warn(const std::string& id, const std::string& text) {
    services().warn(id, text);
}
/// Formats as printf, without a limit of length.
TOLVANE_API void print(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace tolvane::detail
