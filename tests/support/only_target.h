// One instruction set in place of the best one.
#pragma once

#include <hwy/targets.h>

#include <cstdint>

/// Confines loops over arrays to one instruction set during its lifetime.
class OnlyTarget {
 public:
    explicit OnlyTarget(std::int64_t target) {
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
    ~OnlyTarget() {
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().DeInit();
    }
    OnlyTarget(const OnlyTarget&) = delete;
    OnlyTarget& operator=(const OnlyTarget&) = delete;
};

/// Calls `test()` for each instruction set that the processor has; returns their number.
template <class Test>
int forEachTarget(const Test& test) {
    hwy::SetSupportedTargetsForTest(0);
    int targets = 0;
    for (std::int64_t rest = hwy::SupportedTargets(); rest != 0; rest &= rest - 1, ++targets) {
        const OnlyTarget only(rest & -rest);
        test();
    }
    return targets;
}
