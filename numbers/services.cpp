#include "numbers/services.h"

#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "host/ErrorIdException.h"
#include "numbers/kept_memory.h"
#include "numbers/memory_services.h"

namespace tolvane::detail {

namespace {

// The services of a program without a host.

void throwError(std::string id, std::string message) {
    throw new ErrorIdException(std::move(id), std::move(message));
}

void throwBadIndex() {
    throwError("VELMAR:badsubscript", "An index must be a whole number that fits in 64 bits.");
}

void warnOnStandardError(const std::string& id, const std::string& text) {
    std::fprintf(stderr, id.empty() ? "Warning: %s\n" : "Warning: %s (%s)\n", text.c_str(), id.c_str());
}

void printToStandardOutput(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

std::string shortestText(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value < 0.0 ? "-Inf" : "Inf";
    }
    // No shortest form of a double is longer than 24 characters.
    char text[32];
    return {text, std::to_chars(std::begin(text), std::end(text), value).ptr};
}

double hypotOf(double a, double b) {
    return std::hypot(a, b);
}

double logOf(double value) {
    return std::log(value);
}

// Without a host there are no handles and no digests.

[[noreturn]] void raiseNoHost() {
    throwError("fixedpoint:services:noHost", "This operation needs a host.");
    std::abort();
}

void releaseNoHandle(OMInterface* /*handle*/) {
    raiseNoHost();
}

void addToNoDigest(bs_md5ChecksumRec& /*digest*/, const unsigned char* /*bytes*/, std::size_t /*count*/) {
    raiseNoHost();
}

constexpr Services kOwnServices = {
    .raise = throwError,
    .raiseBadIndex = throwBadIndex,
    .warn = warnOnStandardError,
    .print = printToStandardOutput,
    .allocate = allocateKept,
    .allocateZeros = allocateKeptZeros,
    .release = releaseKept,
    .textOfDouble = shortestText,
    .hypot = hypotOf,
    .log = logOf,
    .releaseHandle = releaseNoHandle,
    .addToDigest = addToNoDigest,
};

}  // namespace

constinit std::atomic<const Services*> servicesInForce{&kOwnServices};

const Services& setServices(const Services& table) {
    freeKept();  // another table's memory may not come from here
    return *servicesInForce.exchange(&table);
}

void keepOnlyMemoryServices() {
    static Services sKept = kOwnServices;
    const Services& old = services();
    sKept.allocate = old.allocate;
    // Not what the old table does, which is code of the library that leaves.
    sKept.allocateZeros = [](std::size_t bytes) {
        void* const memory = services().allocate(bytes);
        return memory == nullptr ? nullptr : std::memset(memory, 0, bytes);
    };
    sKept.release = old.release;
    servicesInForce.store(&sKept, std::memory_order_release);
}

void raise(std::string id, std::string message) {
    services().raise(std::move(id), std::move(message));
    std::abort();
}

void raiseBadIndex() {
    services().raiseBadIndex();
    std::abort();
}

void* allocateOrRaise(std::size_t bytes) {
    void* const memory = services().allocate(bytes);
    if (memory == nullptr) {
        raise("bs:outofmemory", "Out of memory.");
    }
    return memory;
}

void print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list counted;
    va_copy(counted, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, counted);
    va_end(counted);
    // A format that the C library refuses is printed unchanged.
    std::string text = length < 0 ? format : std::string(static_cast<std::size_t>(length), '\0');
    if (length > 0) {
        std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    }
    va_end(arguments);
    services().print(text);
}

}  // namespace tolvane::detail
