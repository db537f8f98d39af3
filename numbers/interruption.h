// Long work that can be ended: a thread that wishes it is asked every few milliseconds whether to go on.
//
// Loops note the work they do, a block or a slice at a time, in units of about a nanosecond. When enough has come
// together the clock is read, and every two milliseconds the functions that the thread has set are asked. If none is
// set on any thread, a note is a load and a jump. What is noted can raise, so it is noted where an exception leaves
// everything as it was: loops fill new memory, which takes the place of the old at the end.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>

#include "host/export.h"

namespace tolvane::detail {

/// While it lives, work of the thread that made it asks a function. Objects of a thread end in the reverse order of
/// their making. All functions of a thread are asked, the last one first, and none within another.
class TOLVANE_API Interruption {
 public:
    using Raise = void (*)();
    /// `raise` throws when `ask` has returned true; what `ask` itself throws passes unchanged.
    Interruption(std::function<bool()> ask, Raise raise);
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

 private:
    friend class InterruptionsOfThread;
    std::function<bool()> mAsk;
    Raise mRaise;
    Interruption* mOuter;
};

/// How many objects live on all threads.
TOLVANE_API extern std::atomic<int> interruptionCount;

/// As noteWork if there may be a function.
TOLVANE_API void noteWorkAndAsk(std::uint64_t units);

/// Notes work, and asks if it is time. Raises what the functions of this thread ask for.
inline void noteWork(std::uint64_t units) {
    if (interruptionCount.load(std::memory_order_relaxed) != 0) [[unlikely]] {
        noteWorkAndAsk(units);
    }
}

/// Units of simple loops between two notes.
constexpr std::uint64_t kWorkSlice = std::uint64_t{1} << 14U;

/// Calls `step(begin, end)` for slices of a loop, and notes them; an element takes some `units`.
template <class Step>
void inSlices(std::uint64_t count, const Step& step, std::uint64_t units = 1) {
    const std::uint64_t slice = std::max<std::uint64_t>(kWorkSlice / std::max<std::uint64_t>(units, 1), 1);
    for (std::uint64_t begin = 0; begin < count; begin += slice) {
        const std::uint64_t end = std::min(count, begin + slice);
        step(begin, end);
        noteWork((end - begin) * units);
    }
}

}  // namespace tolvane::detail
