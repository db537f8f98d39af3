#include "tests/faults/hook.h"

#include <execinfo.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
// The C library's own.
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* memory, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void __libc_free(void* memory);
}

namespace {

constexpr int kMostFrames = 64;

std::atomic<bool> isArmed = false;
std::atomic<bool> hasFailed = false;
std::atomic<std::uint64_t> counted = 0;
std::atomic<std::uint64_t> failingOne = 0;
std::atomic<std::int64_t> limit = -1;
std::atomic<std::int64_t> liveBlocks = 0;
std::atomic<std::int64_t> liveBytes = 0;
std::atomic<std::int64_t> bytesAtStart = 0;
std::atomic<std::int64_t> peakBytes = 0;
void* ownFrames[kMostFrames];
int ownFrameCount = 0;
void** sharedFrames = nullptr;
int* sharedFrameCount = nullptr;
int mostShared = 0;
thread_local bool isInside = false;

void noteFailure() {
    isInside = true;
    hasFailed = true;
    ownFrameCount = backtrace(ownFrames, kMostFrames);
    if (sharedFrames != nullptr) {
        *sharedFrameCount = std::min(ownFrameCount, mostShared);
        std::copy_n(ownFrames, *sharedFrameCount, sharedFrames);
    }
    isInside = false;
}

/// Whether an allocation has to fail.
bool fails(std::size_t bytes) {
    if (!isArmed || isInside) {
        return false;
    }
    const std::uint64_t number = ++counted;
    const std::int64_t most = limit;
    if (number != failingOne &&
        (most < 0 ||
         liveBytes - bytesAtStart + static_cast<std::int64_t>(std::min(bytes, std::size_t{1} << 40)) <= most)) {
        return false;
    }
    // With a limit, the first failure is the one to show.
    if (!hasFailed) {
        noteFailure();
    }
    errno = ENOMEM;
    return true;
}

void* kept(void* memory) {
    if (memory != nullptr) {
        ++liveBlocks;
        liveBytes += static_cast<std::int64_t>(malloc_usable_size(memory));
        if (isArmed) {
            peakBytes = std::max(peakBytes.load(), liveBytes.load());
        }
    }
    return memory;
}

void dropped(void* memory) {
    if (memory != nullptr) {
        --liveBlocks;
        liveBytes -= static_cast<std::int64_t>(malloc_usable_size(memory));
    }
}

void start(std::uint64_t failing, std::int64_t bytes) {
    // The first backtrace loads a library.
    void* frames[1];
    backtrace(frames, 1);
    counted = 0;
    hasFailed = false;
    failingOne = failing;
    limit = bytes;
    bytesAtStart = liveBytes.load();
    peakBytes = liveBytes.load();
    isArmed = true;
}

/// For programs that know nothing of this: FAULTS_AT=n in the environment lets their nth allocation fail, and
/// FAULTS_COUNT=file tells how many they make.
[[gnu::constructor]] void startByEnvironment() {
    const char* const number = std::getenv("FAULTS_AT");
    if (number != nullptr || std::getenv("FAULTS_COUNT") != nullptr) {
        start(number == nullptr ? 0 : std::strtoull(number, nullptr, 10), -1);
    }
}

[[gnu::destructor]] void tellCount() {
    const char* const path = std::getenv("FAULTS_COUNT");
    if (path != nullptr) {
        isArmed = false;
        if (std::FILE* const file = std::fopen(path, "w")) {
            std::fprintf(file, "%llu\n", static_cast<unsigned long long>(counted.load()));
            std::fclose(file);
        }
    }
}

}  // namespace

extern "C" {

void* malloc(std::size_t bytes) {
    return fails(bytes) ? nullptr : kept(__libc_malloc(bytes));
}

void* calloc(std::size_t count, std::size_t bytes) {
    std::size_t all = 0;
    if (__builtin_mul_overflow(count, bytes, &all)) {
        all = SIZE_MAX;
    }
    return fails(all) ? nullptr : kept(__libc_calloc(count, bytes));
}

void* realloc(void* memory, std::size_t bytes) {
    if (memory == nullptr) {
        return malloc(bytes);
    }
    if (bytes == 0) {
        free(memory);
        return nullptr;
    }
    if (fails(bytes)) {
        return nullptr;
    }
    dropped(memory);
    void* const grown = __libc_realloc(memory, bytes);
    kept(grown == nullptr ? memory : grown);
    return grown;
}

void* memalign(std::size_t alignment, std::size_t bytes) {
    return fails(bytes) ? nullptr : kept(__libc_memalign(alignment, bytes));
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
    return memalign(alignment, bytes);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t bytes) {
    void* const made = memalign(alignment, bytes);
    if (made == nullptr) {
        return ENOMEM;
    }
    *memory = made;
    return 0;
}

void free(void* memory) {
    dropped(memory);
    __libc_free(memory);
}

void faults_arm(std::uint64_t failing) {
    start(failing, -1);
}

void faults_limit(std::uint64_t bytes) {
    start(0, static_cast<std::int64_t>(bytes));
}

std::uint64_t faults_disarm() {
    isArmed = false;
    return counted;
}

bool faults_failed() {
    return hasFailed;
}

std::int64_t faults_live() {
    return liveBlocks;
}

std::int64_t faults_peak() {
    return peakBytes - bytesAtStart;
}

int faults_frames(void** frames, int most) {
    const int count = std::min(most, ownFrameCount);
    std::copy_n(ownFrames, count, frames);
    return count;
}

void faults_share(void** frames, int* count, int most) {
    sharedFrames = frames;
    sharedFrameCount = count;
    mostShared = most;
}
}
