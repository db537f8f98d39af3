// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp); the
// part under HWY_ONCE, compiled once, walks the blocks.
#include "fi/bulk/sums.h"

#include <algorithm>
#include <cstdint>

#include "fi/bulk/blocks.h"
#include "fi/bulk/membership.h"
#include "quantization/array_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "fi/bulk/sums.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#include <hwy/foreach_target.h>  // NOLINT(misc-unused-includes): must come before highway.h
#include <hwy/highway.h>

#ifndef TOLVANE_FI_ARRAY_SUMS_ONCE
#define TOLVANE_FI_ARRAY_SUMS_ONCE
namespace tolvane::detail::arraysums {

enum class Proof {
    none,      // just add
    result,    // test the results
    operands,  // test both operands and the results
};

}  // namespace tolvane::detail::arraysums
#endif

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::arraysums {
namespace HWY_NAMESPACE {
namespace {

#include "quantization/lanes.inl.h"

#include "fi/bulk/membership.inl.h"
#include "numbers/rounding_rules.inl.h"
#include "quantization/fixed_rules.inl.h"

using Vector = hn::Vec<Tag>;

/// The one loop: stores step(x, y) for each pair. Zeros fill the last vectors up.
template <class Step>
HWY_INLINE void walk(const double* a, const double* b, double* out, std::size_t count, Step step) {
    const Tag tag;
    const std::size_t width = hn::Lanes(tag);
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        hn::StoreU(step(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i)), tag, out + i);
    }
    if (i < count) {
        alignas(HWY_MAX_BYTES) double rest[2][HWY_MAX_BYTES / sizeof(double)] = {};
        std::copy(a + i, a + count, rest[0]);
        std::copy(b + i, b + count, rest[1]);
        hn::Store(step(hn::Load(tag, rest[0]), hn::Load(tag, rest[1])), tag, rest[0]);
        std::copy(rest[0], rest[0] + (count - i), out + i);
    }
}

template <Operation operation>
HWY_INLINE Vector apply(Vector x, Vector y) {
    return operation == Operation::plus ? hn::Add(x, y) : hn::Sub(x, y);
}

template <Operation operation, Proof proof>
bool combineLoop(const double* a, const double* b, double* out, std::size_t count, const Membership& membership) {
    const Examiner examiner(membership);
    Evidence evidence;
    walk(a, b, out, count, [&](Vector x, Vector y) HWY_ATTR {
        const Vector result = apply<operation>(x, y);
        if constexpr (proof == Proof::operands) {
            examiner.examine(Lanes{x}, evidence);
            examiner.examine(Lanes{y}, evidence);
        }
        if constexpr (proof != Proof::none) {
            examiner.examine(Lanes{result}, evidence);
        }
        return result;
    });
    return areMembers(evidence, membership);
}

template <Operation operation>
bool combineFor(Proof proof, const double* a, const double* b, double* out, std::size_t count,
                const Membership& membership) {
    switch (proof) {
        case Proof::operands:
            return combineLoop<operation, Proof::operands>(a, b, out, count, membership);
        case Proof::result:
            return combineLoop<operation, Proof::result>(a, b, out, count, membership);
        case Proof::none:
            break;
    }
    return combineLoop<operation, Proof::none>(a, b, out, count, membership);
}

bool combineForTarget(Operation operation, Proof proof, const double* a, const double* b, double* out,
                      std::size_t count, const Membership& membership) {
    return operation == Operation::plus ? combineFor<Operation::plus>(proof, a, b, out, count, membership)
                                        : combineFor<Operation::minus>(proof, a, b, out, count, membership);
}

// Both casts, the operation and the last quantization in one pass.
template <Operation operation, class Rule, class Overflow, class Word>
void castingLoop(const FixedDoubleLimits& limits, const double* a, const double* b, double* out, std::size_t count) {
    const auto quantized = [l = limits](Vector x)
                               HWY_ATTR { return quantizeFixedValue<Rule, Overflow, Word>(Lanes{x}, l).value.v; };
    walk(a, b, out, count,
         [quantized](Vector x, Vector y) HWY_ATTR { return quantized(apply<operation>(quantized(x), quantized(y))); });
}

using CastingLoop = void (*)(const FixedDoubleLimits&, const double*, const double*, double*, std::size_t);

// Columns in the order of embedded::RoundModeEnum.
template <Operation operation, class Overflow, class Word>
constexpr CastingLoop kCastingLoops[6] = {
    castingLoop<operation, CeilRule, Overflow, Word>,    castingLoop<operation, ConvergentRule, Overflow, Word>,
    castingLoop<operation, FixRule, Overflow, Word>,     castingLoop<operation, FloorRule, Overflow, Word>,
    castingLoop<operation, NearestRule, Overflow, Word>, castingLoop<operation, RoundRule, Overflow, Word>};

template <Operation operation>
CastingLoop castingLoopFor(arraykernels::Selection selection) {
    const auto round = static_cast<std::size_t>(selection.round);
    if (selection.overflow == embedded::OverflowModeEnum::Saturate) {
        // Both words saturate by their bounds alone.
        return kCastingLoops<operation, SaturateOverflow, SignedWord>[round];
    }
    return selection.mode == embedded::QuantizerModeEnum::Fixed
               ? kCastingLoops<operation, WrapOverflow, SignedWord>[round]
               : kCastingLoops<operation, WrapOverflow, UnsignedWord>[round];
}

void castForTarget(Operation operation, arraykernels::Selection selection, const FixedDoubleLimits& limits,
                   const double* a, const double* b, double* out, std::size_t count) {
    const CastingLoop loop = operation == Operation::plus ? castingLoopFor<Operation::plus>(selection)
                                                          : castingLoopFor<Operation::minus>(selection);
    loop(limits, a, b, out, count);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::arraysums
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::arraysums {

HWY_EXPORT(combineForTarget);
HWY_EXPORT(castForTarget);

namespace {

using arrayblocks::Block;
using arrayblocks::kBlock;
using arrayblocks::LogState;
using arrayblocks::Source;

class Combination {
 public:
    Combination(Operation operation, const quantizer& q, bool castsBeforeSum)
        : mOperation(operation),
          mQuantizer(q),
          mCasts(castsBeforeSum),
          mCounts(q.getQlogger().isLogging()),
          mTakesOnePass(!mCounts && castsBeforeSum && q.hasFixedKernel()) {
        mTriesProof = !mCounts && hasMembership(q);
        if (mTriesProof) {
            mMembership = membershipOf(q);
        }
    }

    /// Computes one block of one part. An empty right side takes no part, as that of a real operand.
    void run(std::span<const double> left, std::span<const double> right, std::span<double> out) {
        if (mTriesProof && !right.empty()) {
            if (add(mCasts ? Proof::operands : Proof::result, left, right, out)) {
                return;
            }
            // What one block does not hold the next will hardly hold.
            mTriesProof = false;
        }
        if (mTakesOnePass && !right.empty()) {
            const arraykernels::Selection selection{mQuantizer.getMode(), mQuantizer.getRoundMode(),
                                                    mQuantizer.getOverflowMode()};
            HWY_DYNAMIC_DISPATCH(castForTarget)
            (mOperation, selection, mQuantizer.getDoubleLimits(), left.data(), right.data(), out.data(), out.size());
            return;
        }
        left = cast(left, mLeft);
        if (right.empty()) {
            std::ranges::copy(left, out.begin());
        } else {
            add(Proof::none, left, cast(right, mRight), out);
        }
        mQuantizer.quantize(out, out);
    }

    bool counts() const { return mCounts; }

 private:
    bool add(Proof proof, std::span<const double> left, std::span<const double> right, std::span<double> out) const {
        return HWY_DYNAMIC_DISPATCH(combineForTarget)(mOperation, proof, left.data(), right.data(), out.data(),
                                                      out.size(), mMembership);
    }
    std::span<const double> cast(std::span<const double> values, Block& target) const {
        if (!mCasts) {
            return values;
        }
        const std::span<double> result(target.data(), values.size());
        mQuantizer.quantize(values, result);
        return result;
    }

    Operation mOperation;
    const quantizer& mQuantizer;
    bool mCasts;
    Membership mMembership;
    bool mCounts;
    bool mTakesOnePass;
    bool mTriesProof;
    Block mLeft;
    Block mRight;
};

}  // namespace

void combine(Operation operation, const Operand& left, const Operand& right, std::span<double> real,
             std::span<double> imag, const quantizer& q, bool castsBeforeSum,
             const std::function<void(std::uint64_t begin, std::uint64_t end)>& byElements) {
    const std::size_t count = real.size();
    const bool isComplex = !imag.empty();
    Combination combination(operation, q, castsBeforeSum);
    const Source leftReal(left.real, left.isScalar, count);
    const Source rightReal(right.real, right.isScalar, count);
    const Source leftImag(left.imag, left.isScalar, isComplex ? count : 0);
    const Source rightImag(right.imag, right.isScalar, isComplex ? count : 0);
    const qlogger& log = q.getQlogger();

    const auto runReal = [&](std::size_t begin, std::size_t length) {
        combination.run(leftReal.block(begin, length), rightReal.block(begin, length), real.subspan(begin, length));
    };
    const auto runImag = [&](std::size_t begin, std::size_t length) {
        combination.run(leftImag.block(begin, length),
                        right.imag ? rightImag.block(begin, length) : std::span<const double>(),
                        imag.subspan(begin, length));
    };
    const auto byBlocks = [count](const auto& run) {
        for (std::size_t begin = 0; begin < count; begin += kBlock) {
            run(begin, std::min(kBlock, count - begin));
        }
    };
    if (!combination.counts()) {
        // One part after the other: processors follow few streams better than many.
        byBlocks(runReal);
        if (isComplex) {
            byBlocks(runImag);
        }
        return;
    }
    byBlocks([&](std::size_t begin, std::size_t length) {
        const auto runBlock = [&] {
            runReal(begin, length);
            if (isComplex) {
                runImag(begin, length);
            }
        };
        if (LogState::mayMeetZero(log)) {
            const LogState before(log);
            runBlock();
            if (before.extremeBecameZero()) {
                before.restore();
                byElements(begin, begin + length);
                return;
            }
        } else {
            runBlock();
        }
        if (qlogger::getLogging()) {
            log.setNMathOperations(log.getNMathoperations() + length);
        }
    });
}

}  // namespace tolvane::detail::arraysums
#endif
