// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp).
#include "fi/bulk/root_loops.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "numbers/rule_list.h"
#include "quantization/float_limits.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "fi/bulk/root_loops.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#include <hwy/foreach_target.h>  // NOLINT(misc-unused-includes): must come before highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::rootloops {
namespace HWY_NAMESPACE {
namespace {

#include "quantization/lanes.inl.h"

#include "numbers/rounding_rules.inl.h"

#include "numbers/rounding_list.inl.h"

/// Stores what the step gives for each vector of elements, the last of which may be filled up with zeros.
template <class Step>
HWY_INLINE void walk(const Step& step, const double* in, double* out, std::size_t count) {
    const Tag tag;
    const std::size_t width = hn::Lanes(tag);
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        hn::StoreU(step(Lanes{hn::LoadU(tag, in + i)}).v, tag, out + i);
    }
    if (i < count) {
        alignas(HWY_MAX_BYTES) double rest[HWY_MAX_BYTES / sizeof(double)] = {};
        std::copy(in + i, in + count, rest);
        hn::Store(step(Lanes{hn::Load(tag, rest)}).v, tag, rest);
        std::copy_n(rest, count - i, out + i);
    }
}

HWY_INLINE Lanes floorRoot(Lanes x, const Scales& scales) {
    const Lanes zero = like(x, 0.0);
    const Lanes positive = choose(zero < x, x, zero);
    const Lanes squared = lesserOf(like(x, scales.greatest * scales.greatest), positive * like(x, scales.fromElement));
    const Lanes root = roundFloor(Lanes{hn::Sqrt(squared.v)});
    return choose(squared < root * root, root - like(x, 1.0), root);
}

/// The root, or the next one where that is wanted and exists.
HWY_INLINE Lanes raised(Lanes root, Mask isWanted, const Scales& scales) {
    return choose(both(isWanted, root < like(root, scales.greatest)), root + like(root, 1.0), root);
}

struct Down {
    HWY_INLINE Lanes operator()(Lanes, Lanes root, const Scales&) const { return root; }
};
struct Up {
    HWY_INLINE Lanes operator()(Lanes x, Lanes root, const Scales& scales) const {
        return raised(root, root * root * like(x, scales.toSquare) < x, scales);
    }
};
/// To the root of the nearer square; a tie stays below.
template <class Rule, bool casts>
struct Nearer {
    HWY_INLINE Lanes operator()(Lanes x, Lanes root, const Scales& scales) const {
        const Lanes next = root + like(x, 1.0);
        const Lanes square = root * root * like(x, scales.squareToUnits);
        const Lanes nextSquare = next * next * like(x, scales.squareToUnits);
        const Lanes units = x * like(x, scales.elementToUnits);
        if constexpr (casts) {
            const Lanes cast = Rule::template apply<Lanes>(units);
            return raised(root, nextSquare - cast < cast - square, scales);
        } else {
            const Lanes low = Rule::template apply<Lanes>(units - square);
            const Lanes high = Rule::template apply<Lanes>(nextSquare - units);
            return raised(root, high < low, scales);
        }
    }
};

using Loop = void (*)(const Scales&, const double*, double*, std::size_t);

template <class Choice>
void rootLoop(const Scales& scales, const double* in, double* out, std::size_t count) {
    walk([&](Lanes x) HWY_ATTR { return Choice()(x, floorRoot(x, scales), scales) * like(x, scales.toRoot); }, in, out,
         count);
}

template <bool casts>
constexpr auto kLoops = RoundingRules::table([]<class Rule>() -> Loop {
    if constexpr (std::is_same_v<Rule, FloorRule> || std::is_same_v<Rule, FixRule>) {
        return rootLoop<Down>;
    } else if constexpr (std::is_same_v<Rule, CeilRule>) {
        return rootLoop<Up>;
    } else {
        return rootLoop<Nearer<Rule, casts>>;
    }
});

void findForTarget(const Scales& scales, embedded::RoundModeEnum mode, bool casts, const double* elements,
                   double* roots, std::size_t count) {
    const std::size_t rule = RoundingRules::indexOf(mode);
    (casts ? kLoops<true> : kLoops<false>)[rule](scales, elements, roots, count);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::rootloops
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::rootloops {

HWY_EXPORT(findForTarget);

void find(const Scales& scales, embedded::RoundModeEnum mode, bool casts, const double* elements, double* roots,
          std::size_t count) {
    HWY_DYNAMIC_DISPATCH(findForTarget)(scales, mode, casts, elements, roots, count);
}

void findFloors(const Scales& scales, const double* elements, double* roots, std::size_t count) {
    Scales whole = scales;
    whole.toRoot = 1.0;
    find(whole, embedded::RoundModeEnum::Floor, false, elements, roots, count);
}

}  // namespace tolvane::detail::rootloops
#endif
