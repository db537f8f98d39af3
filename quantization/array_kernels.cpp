// This file is compiled once for each instruction set of a list, by including itself (see each_target.inl.h); the part
// under HWY_ONCE, compiled once, picks the loops of the best set that the processor has.
#include "quantization/array_kernels.h"

#include <cmath>
#include <type_traits>

#include "numbers/rule_list.h"
#include "quantization/word_conversion.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "quantization/array_kernels.cpp"
#include "quantization/each_target.inl.h"

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::arraykernels {
namespace HWY_NAMESPACE {
namespace {

#include "quantization/lanes.inl.h"

#include "numbers/rounding_rules.inl.h"

#include "numbers/rounding_list.inl.h"
#include "quantization/fixed_rules.inl.h"
#include "quantization/float_rules.inl.h"
#include "quantization/lane_tally.inl.h"
#include "quantization/word_rules.inl.h"

// Stands for the elements of a loop that has no shorter way for any.
struct NoShortcut {
    static constexpr bool kExists = false;
};

// Values below 2^52 steps of the format in size, taken modulo the wraparound. Data are mostly all such or all not, so a
// branch for several vectors is predicted well.
template <class Rule, class Word>
class NearWrapping {
 public:
    static constexpr bool kExists = true;
    static constexpr std::size_t kVectors = 4;

    // Steps greater than 1 could make a zero of another double.
    HWY_INLINE explicit NearWrapping(const FixedDoubleLimits& limits)
        : mBound(limits.scale >= 1.0 ? 0x1p52 * limits.inverseScale : 0.0) {}

    HWY_INLINE bool takesAll(const double* in) const {
        const hn::RebindToSigned<Tag> signedTag;
        // Without the sign, bits are ordered as sizes are, infinities and NaN last.
        auto greatest = hn::Zero(signedTag);
        for (std::size_t k = 0; k < kVectors; ++k) {
            const auto size = hn::Abs(hn::LoadU(Tag(), in + k * hn::Lanes(Tag())));
            greatest = hn::Max(greatest, hn::BitCast(signedTag, size));
        }
        return hn::AllTrue(signedTag, hn::Lt(greatest, hn::BitCast(signedTag, hn::Set(Tag(), mBound))));
    }
    HWY_INLINE auto operator()(Lanes x, const FixedDoubleLimits& limits) const {
        return wrapNearValue<Rule, Word>(x, limits);
    }

 private:
    double mBound;
};

// The one loop. Element is a stateless function object that quantizes a Lanes; Shortcut one that does the same in less
// time for some values. What is left at the end goes through a padded vector of zeros, which no mode counts and whose
// lanes are kept out of the extremes.
template <bool counting, class Shortcut = NoShortcut, class Element, class Limits>
void walk(Element element, Limits limits, const double* in, double* out, std::size_t count, Tally* tally) {
    const Tag tag;
    std::conditional_t<counting, LaneTally<1>, NoNotes> notes;
    const std::size_t width = hn::Lanes(tag);
    std::size_t i = 0;
    if constexpr (Shortcut::kExists) {
        const Shortcut shortcut(limits);
        const auto quantizeBlock = [&](const auto& way) HWY_ATTR {
            for (std::size_t k = 0; k < Shortcut::kVectors; ++k, i += width) {
                const auto result = way(Lanes{hn::LoadU(tag, in + i)}, limits);
                hn::StoreU(result.value.v, tag, out + i);
                notes.note(result);
            }
        };
        while (i + Shortcut::kVectors * width <= count) {
            if (HWY_LIKELY(shortcut.takesAll(in + i))) {
                quantizeBlock(shortcut);
            } else {
                quantizeBlock(element);
            }
        }
    }
    for (; i + width <= count; i += width) {
        const auto result = element(Lanes{hn::LoadU(tag, in + i)}, limits);
        hn::StoreU(result.value.v, tag, out + i);
        notes.note(result);
    }
    if (i < count) {
        alignas(64) double rest[HWY_MAX_BYTES / sizeof(double)] = {};
        for (std::size_t k = i; k < count; ++k) {
            rest[k - i] = in[k];
        }
        const auto result = element(Lanes{hn::Load(tag, rest)}, limits);
        hn::Store(result.value.v, tag, rest);
        for (std::size_t k = i; k < count; ++k) {
            out[k] = rest[k - i];
        }
        notes.note(result, hn::FirstN(tag, count - i));
    }
    if constexpr (counting) {
        tally->join(notes.total());
    }
}

template <class Limits>
using Loop = void (*)(const Limits&, const double*, double*, std::size_t, Tally*);
using BoundsLoop = Loop<FixedDoubleLimits>;

template <bool counting, class Rule, class Overflow, class Word>
void fixedLoop(const FixedDoubleLimits& limits, const double* in, double* out, std::size_t count, Tally* tally) {
    using Shortcut = std::conditional_t<std::is_same_v<Overflow, WrapOverflow>, NearWrapping<Rule, Word>, NoShortcut>;
    walk<counting, Shortcut>([](Lanes x, const FixedDoubleLimits& l)
                                 HWY_ATTR { return quantizeFixedValue<Rule, Overflow, Word>(x, l); },
                             limits, in, out, count, tally);
}
template <bool counting, class Rule>
void floatLoop(const FloatDoubleLimits& limits, const double* in, double* out, std::size_t count, Tally* tally) {
    walk<counting>([](Lanes x, const FloatDoubleLimits& l) HWY_ATTR { return quantizeFloatValue<Rule>(x, l); }, limits,
                   in, out, count, tally);
}
template <bool counting>
void scaledDoubleLoop(const FixedDoubleLimits& limits, const double* in, double* out, std::size_t count, Tally* tally) {
    walk<counting>([](Lanes x, const FixedDoubleLimits& l) HWY_ATTR { return watchScaledDouble(x, l); }, limits, in,
                   out, count, tally);
}
template <bool counting>
void doubleLoop(const FixedDoubleLimits& limits, const double* in, double* out, std::size_t count, Tally* tally) {
    walk<counting>([](Lanes x, const FixedDoubleLimits& l) HWY_ATTR { return watchDouble(x, l); }, limits, in, out,
                   count, tally);
}
template <bool counting>
void booleanLoop(const FixedDoubleLimits& limits, const double* in, double* out, std::size_t count, Tally* tally) {
    walk<counting>([](Lanes x, const FixedDoubleLimits& l) HWY_ATTR { return quantizeBooleanValue(x, l); }, limits, in,
                   out, count, tally);
}

struct ValueAlone {
    Lanes value;
};
template <class Rule, class Word>
void wordLoop(const WordLimits& limits, const double* in, double* out, std::size_t count, Tally* tally) {
    walk<false>([](Lanes x, const WordLimits& l) HWY_ATTR { return ValueAlone{valueThroughWord<Rule, Word>(x, l)}; },
                limits, in, out, count, tally);
}

template <bool counting, class Overflow, class Word>
constexpr auto kFixedLoops = RoundingRules::table([]<class Rule>() -> BoundsLoop {
    return fixedLoop<counting, Rule, Overflow, Word>;
});
template <bool counting>
constexpr auto kFloatLoops = RoundingRules::table([]<class Rule>() -> Loop<FloatDoubleLimits> {
    return floatLoop<counting, Rule>;
});

// Columns in the order of round codes.
template <class Word>
constexpr Loop<WordLimits> kWordLoops[wordconversion::kRoundCodeCount] = {wordLoop<FixRule, Word>,
                                                                          wordLoop<ExactNearestRule, Word>,
                                                                          wordLoop<CeilRule, Word>,
                                                                          wordLoop<FloorRule, Word>,
                                                                          wordLoop<FixRule, Word>,
                                                                          wordLoop<ExactRoundRule, Word>,
                                                                          wordLoop<ExactConvergentRule, Word>};

template <bool counting, class Word>
BoundsLoop fixedLoopFor(Selection selection) {
    const std::size_t round = RoundingRules::indexOf(selection.round);
    // Both words saturate by their bounds alone.
    return selection.overflow == embedded::OverflowModeEnum::Saturate
               ? kFixedLoops<counting, SaturateOverflow, SignedWord>[round]
               : kFixedLoops<counting, WrapOverflow, Word>[round];
}

template <bool counting>
BoundsLoop loopFor(Selection selection) {
    using Mode = embedded::QuantizerModeEnum;
    switch (selection.mode) {
        case Mode::Fixed:
            return fixedLoopFor<counting, SignedWord>(selection);
        case Mode::Ufixed:
            return fixedLoopFor<counting, UnsignedWord>(selection);
        case Mode::Boolean:
            return booleanLoop<counting>;
        case Mode::ScaledDouble:
        case Mode::UnsignedScaledDouble:
            return scaledDoubleLoop<counting>;
        default:
            return doubleLoop<counting>;
    }
}

void quantizeForTarget(Selection selection, const FixedDoubleLimits& limits, const double* in, double* out,
                       std::size_t count, Tally* tally) {
    (tally ? loopFor<true>(selection) : loopFor<false>(selection))(limits, in, out, count, tally);
}

void quantizeFloatForTarget(Selection selection, const FloatDoubleLimits& limits, const double* in, double* out,
                            std::size_t count, Tally* tally) {
    // Mode single always rounds ties away from zero.
    const std::size_t round = RoundingRules::indexOf(
        selection.mode == embedded::QuantizerModeEnum::Single ? embedded::RoundModeEnum::Round : selection.round);
    (tally ? kFloatLoops<true>[round] : kFloatLoops<false>[round])(limits, in, out, count, tally);
}

void quantizeWordsForTarget(WordSelection selection, const WordLimits& limits, const double* in, double* out,
                            std::size_t count) {
    const auto& loops = selection.saturates  ? kWordLoops<SaturatedWord>
                        : selection.isSigned ? kWordLoops<WrappedSignedWord>
                                             : kWordLoops<WrappedUnsignedWord>;
    loops[selection.roundCode](limits, in, out, count, nullptr);
}

bool areFiniteForTarget(const double* values, std::size_t count) {
    const Tag tag;
    const std::size_t lanes = hn::Lanes(tag);
    // A product with zero is NaN for what isn't finite, and so is every sum after it. Several sums, as each waits for
    // the one before it.
    constexpr std::size_t kSums = 4;
    hn::Vec<Tag> sums[kSums] = {hn::Zero(tag), hn::Zero(tag), hn::Zero(tag), hn::Zero(tag)};
    std::size_t i = 0;
    for (; i + kSums * lanes <= count; i += kSums * lanes) {
#pragma GCC unroll 4
        for (std::size_t k = 0; k < kSums; ++k) {
            sums[k] = hn::Add(sums[k], hn::Mul(hn::LoadU(tag, values + i + k * lanes), hn::Zero(tag)));
        }
    }
    double rest = 0.0;
    for (; i < count; ++i) {
        rest += values[i] * 0.0;
    }
    const auto sum = hn::Add(hn::Add(sums[0], sums[1]), hn::Add(sums[2], sums[3]));
    return rest == 0.0 && hn::AllTrue(tag, hn::Eq(sum, hn::Zero(tag)));
}

// What stands below SSE4 and NEON rounds by way of integers and loses the sign of a zero. Better sets have lesser
// numbers.
bool isExactTarget() {
    return HWY_TARGET <= HWY_SSE4 || HWY_TARGET == HWY_NEON;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::arraykernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::arraykernels {

HWY_EXPORT(areFiniteForTarget);
HWY_EXPORT(isExactTarget);
HWY_EXPORT(quantizeForTarget);
HWY_EXPORT(quantizeFloatForTarget);
HWY_EXPORT(quantizeWordsForTarget);

// The dispatch remembers the set; asking which sets are supported examines the processor each time, which takes many
// microseconds on a virtual one.
bool areAvailable() {
    return HWY_DYNAMIC_DISPATCH(isExactTarget)();
}

void quantizeArray(Selection selection, const FixedDoubleLimits& limits, const double* in, double* out,
                   std::size_t count, Tally* tally) {
    HWY_DYNAMIC_DISPATCH(quantizeForTarget)(selection, limits, in, out, count, tally);
}

void quantizeFloatArray(Selection selection, const FloatDoubleLimits& limits, const double* in, double* out,
                        std::size_t count, Tally* tally) {
    HWY_DYNAMIC_DISPATCH(quantizeFloatForTarget)(selection, limits, in, out, count, tally);
}

bool areFinite(const double* values, std::size_t count) {
    return HWY_DYNAMIC_DISPATCH(areFiniteForTarget)(values, count);
}

void quantizeThroughWords(WordSelection selection, const WordLimits& limits, const double* in, double* out,
                          std::size_t count) {
    HWY_DYNAMIC_DISPATCH(quantizeWordsForTarget)(selection, limits, in, out, count);
}

}  // namespace tolvane::detail::arraykernels
#endif
