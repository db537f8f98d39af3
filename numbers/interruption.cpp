#include "numbers/interruption.h"

#include <chrono>
#include <utility>

#include "numbers/uninterrupted.h"

namespace tolvane::detail {

constinit std::atomic<int> interruptionCount = 0;

/// What a thread has set, and how much it has worked since it last read the clock.
class InterruptionsOfThread {
 public:
    Interruption* set(Interruption* innermost) {
        mLeft = kUnitsBetweenClocks;
        mLastAsked = {};
        return std::exchange(mInnermost, innermost);
    }
    void note(std::uint64_t units) {
        if (mInnermost == nullptr || mIsQuiet) {
            return;
        }
        if (units < mLeft) {
            mLeft -= units;
            return;
        }
        mLeft = kUnitsBetweenClocks;
        const Clock::time_point now = Clock::now();
        if (mLastAsked == Clock::time_point()) {
            mLastAsked = now;
        } else if (now - mLastAsked >= kBetweenQuestions) {
            ask();
            mLastAsked = Clock::now();
        }
    }

    bool setQuiet(bool isQuiet) { return std::exchange(mIsQuiet, isQuiet); }

 private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::uint64_t kUnitsBetweenClocks = std::uint64_t{1} << 16U;
    static constexpr std::chrono::milliseconds kBetweenQuestions{2};

    void ask() {
        for (const Interruption* each = mInnermost; each != nullptr; each = each->mOuter) {
            if (isWanted(*each)) {
                each->mRaise();
            }
        }
    }
    bool isWanted(const Interruption& interruption) {
        const Uninterrupted asking;
        return interruption.mAsk();
    }

    Interruption* mInnermost = nullptr;
    std::uint64_t mLeft = 0;
    Clock::time_point mLastAsked;  // or the first time that the clock was read
    bool mIsQuiet = false;
};

namespace {

thread_local constinit InterruptionsOfThread sOfThread;

}  // namespace

Interruption::Interruption(std::function<bool()> ask, Raise raise)
    : mAsk(std::move(ask)), mRaise(raise), mOuter(sOfThread.set(this)) {
    interruptionCount.fetch_add(1, std::memory_order_relaxed);
}

Interruption::~Interruption() {
    interruptionCount.fetch_sub(1, std::memory_order_relaxed);
    sOfThread.set(mOuter);
}

Uninterrupted::Uninterrupted() : mWasQuiet(sOfThread.setQuiet(true)) {}

Uninterrupted::~Uninterrupted() {
    sOfThread.setQuiet(mWasQuiet);
}

void noteWorkAndAsk(std::uint64_t units) {
    sOfThread.note(units);
}

}  // namespace tolvane::detail
