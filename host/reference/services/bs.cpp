#include "host/bs.h"

#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "host/ErrorIdException.h"
#include "host/reference/calls/format.h"
#include "host/reference/values/largeblocks.h"
#include "host/reference/values/memory_limit.h"

namespace {

// No object can be larger, and an allocation checker takes a request for more as a fault of the program.
constexpr std::size_t kMaxBlockBytes = std::numeric_limits<std::ptrdiff_t>::max();

/// Allocates; if there is no memory, tries again after freeing the kept blocks.
template <class Allocate>
void* withRetry(Allocate allocate) {
    void* const memory = allocate();
    return memory == nullptr && hostref::largeblocks::drop() ? allocate() : memory;
}

}  // namespace

void* bsMalloc(std::size_t bytes) {
    // Null means that there is no memory, so an empty block must not be null.
    if (bytes > kMaxBlockBytes || !hostref::MemoryLimit::allows(bytes)) {
        return nullptr;
    }
    void* const kept = hostref::largeblocks::take(bytes);
    return kept != nullptr ? kept : withRetry([=] { return std::malloc(bytes == 0 ? 1 : bytes); });
}

void* bsMallocWithCheck(std::size_t bytes) {
    void* memory = bsMalloc(bytes);
    if (memory == nullptr) {
        raiseError("bs:outofmemory", "Out of memory.");
    }
    return memory;
}

void* bsCalloc(std::size_t count, std::size_t bytes) {
    std::size_t total = 0;
    if (__builtin_mul_overflow(count, bytes, &total) || total > kMaxBlockBytes ||
        !hostref::MemoryLimit::allows(total)) {
        return nullptr;
    }
    if (void* const kept = hostref::largeblocks::take(total)) {
        return std::memset(kept, 0, total);
    }
    return withRetry([=] { return std::calloc(1, total == 0 ? 1 : total); });
}

void bsFree(void* memory) {
    if (!hostref::largeblocks::keep(memory)) {
        std::free(memory);
    }
}

std::size_t bsStrlen(const char* text) {
    return text == nullptr ? 0 : std::strlen(text);
}

char* bsStrcpy(char* target, const char* source) {
    return static_cast<char*>(std::memcpy(target, source, std::strlen(source) + 1));
}

char* bsStrncpy(char* target, const char* source, std::size_t count) {
    return std::strncpy(target, source, count);
}

char* bsStrdup(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t bytes = std::strlen(text) + 1;
    return static_cast<char*>(std::memcpy(bsMallocWithCheck(bytes), text, bytes));
}

int bsPrintf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = hostref::formatText(format, arguments);
    va_end(arguments);
    hostref::print(text);
    return static_cast<int>(text.size());
}

double bsGetNaN() {
    return std::numeric_limits<double>::quiet_NaN();
}
double bsGetInf() {
    return std::numeric_limits<double>::infinity();
}
double bsGetMinusInf() {
    return -std::numeric_limits<double>::infinity();
}
double bsGetRealMax() {
    return std::numeric_limits<double>::max();
}

double bsDoubleScalarRound(double value) {
    return std::round(value);
}

void bsResetFPU() {}
