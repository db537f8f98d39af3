// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp); the
// part under HWY_ONCE, compiled once, picks the loops of the best set that the processor has.
#include "fi/bulk/product_loops.h"

#include <algorithm>
#include <limits>

#include "quantization/float_limits.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "fi/bulk/product_loops.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#include <hwy/foreach_target.h>  // NOLINT(misc-unused-includes): must come before highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::productloops {
namespace HWY_NAMESPACE {
namespace {

#include "quantization/lanes.inl.h"

#include "fi/bulk/membership.inl.h"
#include "numbers/rounding_rules.inl.h"
#include "quantization/fixed_rules.inl.h"

// Stages: what becomes of a value on its way.

// Every rule makes one more loop of each kind, and the loops are large. So what can be a number without costing more
// than an addition is one here, not a template parameter.

/// The limits of a format with the numbers that stand for the sign of its word and for some rules.
struct StageLimits : FixedDoubleLimits {
    StageLimits(const FixedDoubleLimits& format, embedded::RoundModeEnum round) : FixedDoubleLimits(format) {
        using Mode = embedded::RoundModeEnum;
        if (format.lowerbound < 0.0) {
            wrapsFrom = -format.lowerbound;
        }
        if (round == Mode::Nearest) {
            addend = 0.5;
        } else if (round == Mode::Ceil) {
            scale = -scale;
            inverseScale = -inverseScale;
        }
    }
    double wrapsFrom = std::numeric_limits<double>::infinity();  // remainders from here on lie below zero
    double addend = -0.0;                                        // of FlooredSum
};

struct StageFormats {
    StageFormats(const Formats& formats, embedded::RoundModeEnum round)
        : product(formats.product, round), sum(formats.sum, round) {}
    StageLimits product;
    StageLimits sum;
};

/// Ceil, floor and nearest: the floor of a sum. Adding -0.0 changes nothing, and ceil(x) is -floor(-x), for which the
/// scale and its inverse are negative. All are exact, signs of zero included.
struct FlooredSum {
    static HWY_INLINE Lanes apply(Lanes x, const StageLimits& limits) { return roundFloor(x + like(x, limits.addend)); }
};
template <class Rule>
struct ByRule {
    static HWY_INLINE Lanes apply(Lanes x, const StageLimits&) { return Rule::template apply<Lanes>(x); }
};

/// The word of either sign.
struct AnyWord {
    template <class V>
    static V wrapped(V x, const auto& limits) {
        const V remainder = modWraparound(x, limits);
        return choose(remainder >= like(x, limits.wrapsFrom), remainder - like(x, limits.wraparound), remainder);
    }
};

struct Keep {
    explicit Keep(const StageLimits&) {}
    HWY_INLINE Lanes operator()(Lanes x) const { return x; }
};

template <class Rounding, class Overflow>
struct Quantize {
    explicit Quantize(const StageLimits& format) : limits(format) {}
    HWY_INLINE Lanes operator()(Lanes x) const {
        const Lanes whole = Rounding::apply(x * like(x, limits.scale), limits);
        return quantizeRoundedValue<Overflow, AnyWord>(x, whole * like(x, limits.inverseScale), limits).value;
    }
    StageLimits limits;
};

// Terms: a product, or the sum of two, with their stages.

template <class ProductStage, class CastStage>
struct Product {
    explicit Product(const StageFormats& formats) : quantize(formats.product), cast(formats.sum) {}
    HWY_INLINE Lanes operator()(Lanes a, Lanes b) const { return cast(quantize(a * b)); }
    ProductStage quantize;
    CastStage cast;
};

template <class ProductStage, class CastStage, class SumStage>
struct Pair {
    Pair(const StageFormats& formats, Sign sign)
        : product(formats),
          sum(formats.sum),
          signOfSecond(hn::BitCast(BitsTag(), hn::Set(Tag(), sign == Sign::minus ? -0.0 : 0.0))) {}
    HWY_INLINE Lanes operator()(Lanes a, Lanes b, Lanes c, Lanes d) const {
        const Lanes first = product(a, b);
        const Lanes second = product(c, d);
        // A difference is the sum with the negated value in every bit.
        return sum({hn::Add(first.v, hn::BitCast(Tag(), hn::Xor(hn::BitCast(BitsTag(), second.v), signOfSecond)))});
    }
    Product<ProductStage, CastStage> product;
    SumStage sum;
    hn::Vec<BitsTag> signOfSecond;
};

HWY_INLINE Lanes load(const double* values) {
    return {hn::LoadU(Tag(), values)};
}

/// Loads `count` lanes or all; the others are zero.
HWY_INLINE Lanes loadSome(const double* values, std::size_t count) {
    if (count >= hn::Lanes(Tag())) {
        return load(values);
    }
    alignas(HWY_MAX_BYTES) double lanes[HWY_MAX_BYTES / sizeof(double)] = {};
    std::copy(values, values + count, lanes);
    return load(lanes);
}

/// Stores `count` lanes or all.
HWY_INLINE void store(Lanes x, double* out, std::size_t count) {
    const std::size_t width = hn::Lanes(Tag());
    if (count >= width) {
        hn::StoreU(x.v, Tag(), out);
        return;
    }
    alignas(HWY_MAX_BYTES) double lanes[HWY_MAX_BYTES / sizeof(double)];
    hn::Store(x.v, Tag(), lanes);
    std::copy(lanes, lanes + count, out);
}

/// Calls `step` with the vectors of `Inputs` arrays and stores what it returns. Zeros, which are values of every type
/// and give zeros, fill the last vectors up.
template <std::size_t inputs, class Step>
HWY_INLINE void forVectors(const double* const (&in)[inputs], double* out, std::size_t count, const Step& step) {
    const Tag tag;
    const std::size_t width = hn::Lanes(tag);
    std::size_t i = 0;
    const auto call = [&step](const double* const(&from)[inputs], std::size_t at) HWY_ATTR {
        if constexpr (inputs == 2) {
            return step(load(from[0] + at), load(from[1] + at));
        } else {
            return step(load(from[0] + at), load(from[1] + at), load(from[2] + at), load(from[3] + at));
        }
    };
    for (; i + width <= count; i += width) {
        hn::StoreU(call(in, i).v, tag, out + i);
    }
    if (i < count) {
        alignas(HWY_MAX_BYTES) double rest[inputs][HWY_MAX_BYTES / sizeof(double)] = {};
        const double* from[inputs];
        for (std::size_t k = 0; k < inputs; ++k) {
            std::copy(in[k] + i, in[k] + count, rest[k]);
            from[k] = rest[k];
        }
        store(call(from, 0), out + i, count - i);
    }
}

bool multiplyForTarget(Factors factors, double* out, std::size_t count, const Membership* type) {
    const double* const in[] = {factors.left, factors.right};
    if (!type) {
        forVectors(in, out, count, [](Lanes a, Lanes b) HWY_ATTR { return a * b; });
        return false;
    }
    const Examiner examiner(*type);
    Evidence evidence;
    forVectors(in, out, count, [&](Lanes a, Lanes b) HWY_ATTR {
        const Lanes product = a * b;
        examiner.examine(product, evidence);
        return product;
    });
    return areMembers(evidence, *type);
}

bool combineForTarget(Sign sign, Factors first, Factors second, double* out, std::size_t count,
                      const Membership& product, const Membership& sum) {
    const double* const in[] = {first.left, first.right, second.left, second.right};
    const auto signOfSecond = hn::BitCast(BitsTag(), hn::Set(Tag(), sign == Sign::minus ? -0.0 : 0.0));
    const Examiner products(product);
    const Examiner sums(sum);
    Evidence ofProducts;
    Evidence ofSums;
    forVectors(in, out, count, [&](Lanes a, Lanes b, Lanes c, Lanes d) HWY_ATTR {
        const Lanes x = a * b;
        const Lanes y = c * d;
        const Lanes result{hn::Add(x.v, hn::BitCast(Tag(), hn::Xor(hn::BitCast(BitsTag(), y.v), signOfSecond)))};
        products.examine(x, ofProducts);
        products.examine(y, ofProducts);
        sums.examine(result, ofSums);
        return result;
    });
    return areMembers(ofProducts, product) && areMembers(ofSums, sum);
}

template <class Stage>
void multiplyLoop(const StageFormats& formats, Factors factors, double* out, std::size_t count) {
    const double* const in[] = {factors.left, factors.right};
    const Product<Stage, Keep> product(formats);
    forVectors(in, out, count, [product](Lanes a, Lanes b) HWY_ATTR { return product(a, b); });
}

template <class Cast, class Stage>
void combineLoop(const StageFormats& formats, Sign sign, Factors first, Factors second, double* out,
                 std::size_t count) {
    const double* const in[] = {first.left, first.right, second.left, second.right};
    const Pair<Stage, Cast, Stage> pair(formats, sign);
    forVectors(in, out, count, [pair](Lanes a, Lanes b, Lanes c, Lanes d) HWY_ATTR { return pair(a, b, c, d); });
}

// Runs.

/// Which lanes take part, for the lanes of a tile.
class TileExtent {
 public:
    TileExtent(const Extent* extent, std::size_t begin, std::size_t lanes)
        : mExtent(extent ? *extent : Extent{0, 0, std::numeric_limits<std::ptrdiff_t>::max()}),
          mFirst(mExtent.start + static_cast<std::ptrdiff_t>(begin)),
          mLast(mExtent.length - static_cast<std::ptrdiff_t>(lanes)) {}
    HWY_INLINE bool holdsAll() const { return mFirst >= 0 && mFirst <= mLast; }
    HWY_INLINE Mask mask(std::size_t vector) const {
        const Tag tag;
        const auto first = static_cast<double>(mFirst + static_cast<std::ptrdiff_t>(vector * hn::Lanes(tag)));
        const Lanes position{hn::Iota(tag, first)};
        return both(position >= like(position, 0.0), position < like(position, static_cast<double>(mExtent.length)));
    }
    HWY_INLINE void advance() { mFirst += mExtent.step; }

 private:
    Extent mExtent;
    std::ptrdiff_t mFirst;
    std::ptrdiff_t mLast;
};

constexpr std::size_t kTileVectors = 4;

/// Runs all terms for as many vectors of lanes as there are accumulators; the last may be short of lanes.
/// `term(lane, t)` gives the terms from a lane on.
template <std::size_t vectors, class Term, class SumStage>
HWY_INLINE void runTile(const Term& term, const SumStage& sum, std::size_t terms, TileExtent extent, double* out,
                        std::size_t lanes) {
    const std::size_t width = hn::Lanes(Tag());
    Lanes total[vectors];
    for (std::size_t v = 0; v < vectors; ++v) {
        total[v] = loadSome(out + v * width, lanes - v * width);
    }
    for (std::size_t t = 0; t < terms; ++t, extent.advance()) {
        if (HWY_LIKELY(extent.holdsAll())) {
#pragma GCC unroll 4
            for (std::size_t v = 0; v < vectors; ++v) {
                total[v] = sum(total[v] + term(v * width, t));
            }
        } else {
            for (std::size_t v = 0; v < vectors; ++v) {
                total[v] = choose(extent.mask(v), sum(total[v] + term(v * width, t)), total[v]);
            }
        }
    }
    for (std::size_t v = 0; v < vectors; ++v) {
        store(total[v], out + v * width, lanes - v * width);
    }
}

template <class Term, class SumStage>
HWY_INLINE void runTiles(const Term& termAt, const SumStage& sum, std::size_t terms, const Extent* extent, double* out,
                         std::size_t lanes) {
    const std::size_t width = hn::Lanes(Tag());
    const std::size_t tile = kTileVectors * width;
    std::size_t i = 0;
    for (; i + tile <= lanes; i += tile) {
        runTile<kTileVectors>([&](std::size_t lane, std::size_t t) HWY_ATTR { return termAt(i + lane, t); }, sum, terms,
                              TileExtent(extent, i, tile), out + i, tile);
    }
    for (; i < lanes; i += width) {
        runTile<1>([&](std::size_t lane, std::size_t t) HWY_ATTR { return termAt(i + lane, t); }, sum, terms,
                   TileExtent(extent, i, width), out + i, lanes - i);
    }
}

HWY_INLINE Lanes movingAt(const Run& run, std::size_t lane, std::size_t t) {
    return load(run.moving + static_cast<std::ptrdiff_t>(t) * run.movingStep + lane);
}
HWY_INLINE Lanes fixedAt(const Run& run, std::size_t t) {
    return {hn::Set(Tag(), run.fixed[static_cast<std::ptrdiff_t>(t) * run.fixedStep])};
}

template <class ProductStage, class Cast, class SumStage>
void accumulateLoop(const StageFormats& formats, const Run& run, std::size_t terms, const Extent* extent, double* out,
                    std::size_t lanes) {
    const Product<ProductStage, Cast> product(formats);
    const SumStage sum(formats.sum);
    runTiles([product, run](std::size_t lane, std::size_t t)
                 HWY_ATTR { return product(movingAt(run, lane, t), fixedAt(run, t)); },
             sum, terms, extent, out, lanes);
}

// A pair is of the sum type already, so casting it again would change nothing.
template <class Stage, class Cast>
void accumulatePairsLoop(const StageFormats& formats, Sign sign, const Run& first, const Run& second, std::size_t terms,
                         const Extent* extent, double* out, std::size_t lanes) {
    const Pair<Stage, Cast, Stage> pair(formats, sign);
    const Stage sum(formats.sum);
    runTiles(
        [pair, first, second](std::size_t lane, std::size_t t) HWY_ATTR {
            return pair(movingAt(first, lane, t), fixedAt(first, t), movingAt(second, lane, t), fixedAt(second, t));
        },
        sum, terms, extent, out, lanes);
}

template <std::size_t vectors>
HWY_INLINE void exactTile(const Run& run, std::size_t terms, double* out, std::size_t lanes) {
    const Tag tag;
    const std::size_t width = hn::Lanes(tag);
    hn::Vec<Tag> total[vectors];
    for (auto& x : total) {
        x = hn::Zero(tag);
    }
    const double* moving = run.moving;
    const double* fixed = run.fixed;
    for (std::size_t t = 0; t < terms; ++t, moving += run.movingStep, fixed += run.fixedStep) {
        const auto factor = hn::Set(tag, *fixed);
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v) {
            total[v] = hn::MulAdd(hn::LoadU(tag, moving + v * width), factor, total[v]);
        }
    }
    for (std::size_t v = 0; v < vectors; ++v) {
        const std::size_t begin = v * width;
        if (begin + width <= lanes) {
            hn::StoreU(hn::Add(total[v], hn::LoadU(tag, out + begin)), tag, out + begin);
        } else if (begin < lanes) {
            alignas(HWY_MAX_BYTES) double rest[HWY_MAX_BYTES / sizeof(double)];
            hn::Store(total[v], tag, rest);
            for (std::size_t i = begin; i < lanes; ++i) {
                out[i] += rest[i - begin];
            }
        }
    }
}

void accumulateExactForTarget(const Run& run, std::size_t terms, double* out, std::size_t lanes) {
    constexpr std::size_t kVectors = 8;
    const std::size_t width = hn::Lanes(Tag());
    const auto runAt = [&run](std::size_t lane) {
        return Run{run.moving + lane, run.movingStep, run.fixed, run.fixedStep};
    };
    std::size_t i = 0;
    for (; i + kVectors * width <= lanes; i += kVectors * width) {
        exactTile<kVectors>(runAt(i), terms, out + i, kVectors * width);
    }
    for (; i < lanes; i += width) {
        exactTile<1>(runAt(i), terms, out + i, lanes - i);
    }
}

// Surveys.

Survey surveyForTarget(const double* values, std::size_t count, const Membership& grid) {
    const Tag tag;
    const std::size_t width = hn::Lanes(tag);
    const Examiner examiner(grid);
    Evidence evidence;
    Lanes least{hn::Zero(tag)};
    Lanes greatest{hn::Zero(tag)};
    const auto look = [&](Lanes x) HWY_ATTR {
        examiner.examine(x, evidence);
        least = lesserOf(x, least);
        greatest = greaterOf(x, greatest);
    };
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        look(load(values + i));
    }
    if (i < count) {
        alignas(HWY_MAX_BYTES) double rest[HWY_MAX_BYTES / sizeof(double)] = {};
        std::copy(values + i, values + count, rest);
        look(load(rest));
    }
    return {hn::GetLane(hn::MinOfLanes(tag, least.v)), hn::GetLane(hn::MaxOfLanes(tag, greatest.v)),
            isOnGrid(evidence)};
}

Extremes extremesForTarget(const double* values, std::size_t count) {
    const Tag tag;
    const std::size_t width = hn::Lanes(tag);
    Lanes greatest{hn::Set(tag, -std::numeric_limits<double>::infinity())};
    Lanes least{hn::Set(tag, std::numeric_limits<double>::infinity())};
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        greatest = greaterOf(load(values + i), greatest);
        least = lesserOf(load(values + i), least);
    }
    Extremes result{hn::GetLane(hn::MaxOfLanes(tag, greatest.v)), hn::GetLane(hn::MinOfLanes(tag, least.v))};
    for (; i < count; ++i) {
        result.greatest = values[i] > result.greatest ? values[i] : result.greatest;
        result.least = values[i] < result.least ? values[i] : result.least;
    }
    return result;
}

double sumExactForTarget(const double* values, std::size_t count) {
    const Tag tag;
    const std::size_t width = hn::Lanes(tag);
    hn::Vec<Tag> total[4];
    for (auto& x : total) {
        x = hn::Zero(tag);
    }
    std::size_t i = 0;
    for (; i + 4 * width <= count; i += 4 * width) {
#pragma GCC unroll 4
        for (std::size_t v = 0; v < 4; ++v) {
            total[v] = hn::Add(total[v], hn::LoadU(tag, values + i + v * width));
        }
    }
    double rest = 0.0;
    for (; i < count; ++i) {
        rest += values[i];
    }
    return rest + hn::GetLane(hn::SumOfLanes(tag, hn::Add(hn::Add(total[0], total[1]), hn::Add(total[2], total[3]))));
}

// Tables: one row for each way to overflow, columns in the order of embedded::RoundModeEnum.

using MultiplyLoop = void (*)(const StageFormats&, Factors, double*, std::size_t);
using CombineLoop = void (*)(const StageFormats&, Sign, Factors, Factors, double*, std::size_t);
using AccumulateLoop = void (*)(const StageFormats&, const Run&, std::size_t, const Extent*, double*, std::size_t);
using PairsLoop = void (*)(const StageFormats&, Sign, const Run&, const Run&, std::size_t, const Extent*, double*,
                           std::size_t);

// Each names one loop for a quantizing stage.
struct Multiplying {
    template <class Stage>
    static constexpr MultiplyLoop loop = multiplyLoop<Stage>;
};
template <bool casts>
struct Combining {
    template <class Stage>
    static constexpr CombineLoop loop = combineLoop<std::conditional_t<casts, Stage, Keep>, Stage>;
};
template <bool quantizesProducts, bool casts>
struct Accumulating {
    template <class Stage>
    static constexpr AccumulateLoop loop = accumulateLoop<std::conditional_t<quantizesProducts, Stage, Keep>,
                                                          std::conditional_t<casts, Stage, Keep>, Stage>;
};
template <bool casts>
struct AccumulatingPairs {
    template <class Stage>
    static constexpr PairsLoop loop = accumulatePairsLoop<Stage, std::conditional_t<casts, Stage, Keep>>;
};

template <class Operation, class Overflow>
auto loopFor(embedded::RoundModeEnum round) {
    static constexpr auto kFlooredSum = Operation::template loop<Quantize<FlooredSum, Overflow>>;
    static constexpr decltype(Operation::template loop<Keep>) kLoops[] = {
        kFlooredSum,
        Operation::template loop<Quantize<ByRule<ConvergentRule>, Overflow>>,
        Operation::template loop<Quantize<ByRule<FixRule>, Overflow>>,
        kFlooredSum,
        kFlooredSum,
        Operation::template loop<Quantize<ByRule<RoundRule>, Overflow>>};
    return kLoops[static_cast<std::size_t>(round)];
}

template <class Operation>
auto loopFor(Rule rule) {
    return rule.overflow == embedded::OverflowModeEnum::Saturate ? loopFor<Operation, SaturateOverflow>(rule.round)
                                                                 : loopFor<Operation, WrapOverflow>(rule.round);
}

void multiplyQuantizedForTarget(Rule rule, const Formats& formats, Factors factors, double* out, std::size_t count) {
    loopFor<Multiplying>(rule)(StageFormats(formats, rule.round), factors, out, count);
}

void combineQuantizedForTarget(Rule rule, const Formats& formats, bool casts, Sign sign, Factors first, Factors second,
                               double* out, std::size_t count) {
    const CombineLoop loop = casts ? loopFor<Combining<true>>(rule) : loopFor<Combining<false>>(rule);
    loop(StageFormats(formats, rule.round), sign, first, second, out, count);
}

AccumulateLoop accumulateLoopFor(Rule rule, Steps steps) {
    if (!steps.sums) {
        return accumulateLoop<Keep, Keep, Keep>;
    }
    if (steps.products) {
        return steps.casts ? loopFor<Accumulating<true, true>>(rule) : loopFor<Accumulating<true, false>>(rule);
    }
    return steps.casts ? loopFor<Accumulating<false, true>>(rule) : loopFor<Accumulating<false, false>>(rule);
}

void accumulateForTarget(Rule rule, const Formats& formats, Steps steps, const Run& run, std::size_t terms,
                         const Extent* extent, double* out, std::size_t lanes) {
    accumulateLoopFor(rule, steps)(StageFormats(formats, rule.round), run, terms, extent, out, lanes);
}

PairsLoop pairsLoopFor(Rule rule, Steps steps) {
    if (!steps.sums) {
        return accumulatePairsLoop<Keep, Keep>;
    }
    return steps.casts ? loopFor<AccumulatingPairs<true>>(rule) : loopFor<AccumulatingPairs<false>>(rule);
}

void accumulatePairsForTarget(Rule rule, const Formats& formats, Steps steps, Sign sign, const Run& first,
                              const Run& second, std::size_t terms, const Extent* extent, double* out,
                              std::size_t lanes) {
    pairsLoopFor(rule, steps)(StageFormats(formats, rule.round), sign, first, second, terms, extent, out, lanes);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::productloops
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::productloops {

HWY_EXPORT(multiplyForTarget);
HWY_EXPORT(combineForTarget);
HWY_EXPORT(multiplyQuantizedForTarget);
HWY_EXPORT(combineQuantizedForTarget);
HWY_EXPORT(accumulateForTarget);
HWY_EXPORT(accumulatePairsForTarget);
HWY_EXPORT(accumulateExactForTarget);
HWY_EXPORT(surveyForTarget);
HWY_EXPORT(extremesForTarget);
HWY_EXPORT(sumExactForTarget);

Rule ruleOf(const quantizer& q) {
    return {q.getRoundMode(), q.getOverflowMode(), q.isSignedFixed()};
}

bool multiply(Factors factors, double* out, std::size_t count, const Membership* type) {
    return HWY_DYNAMIC_DISPATCH(multiplyForTarget)(factors, out, count, type);
}

void multiplyQuantized(Rule rule, const Formats& formats, Factors factors, double* out, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(multiplyQuantizedForTarget)(rule, formats, factors, out, count);
}

bool combine(Sign sign, Factors first, Factors second, double* out, std::size_t count, const Membership& product,
             const Membership& sum) {
    return HWY_DYNAMIC_DISPATCH(combineForTarget)(sign, first, second, out, count, product, sum);
}

void combineQuantized(Rule rule, const Formats& formats, bool casts, Sign sign, Factors first, Factors second,
                      double* out, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(combineQuantizedForTarget)(rule, formats, casts, sign, first, second, out, count);
}

void accumulate(Rule rule, const Formats& formats, Steps steps, const Run& run, std::size_t terms, const Extent* extent,
                double* out, std::size_t lanes) {
    HWY_DYNAMIC_DISPATCH(accumulateForTarget)(rule, formats, steps, run, terms, extent, out, lanes);
}

void accumulatePairs(Rule rule, const Formats& formats, Steps steps, Sign sign, const Run& first, const Run& second,
                     std::size_t terms, const Extent* extent, double* out, std::size_t lanes) {
    HWY_DYNAMIC_DISPATCH(accumulatePairsForTarget)
    (rule, formats, steps, sign, first, second, terms, extent, out, lanes);
}

void accumulateExact(const Run& run, std::size_t terms, double* out, std::size_t lanes) {
    HWY_DYNAMIC_DISPATCH(accumulateExactForTarget)(run, terms, out, lanes);
}

Survey survey(const double* values, std::size_t count, int exponent) {
    constexpr int kGridBits = 50;
    const Membership grid{std::ldexp(1.5, 52 + exponent), 0, 64};
    Survey result = HWY_DYNAMIC_DISPATCH(surveyForTarget)(values, count, grid);
    // Beyond that many bits the grid test is blind.
    const double limit = std::ldexp(1.0, kGridBits + exponent);
    result.isOnGrid = result.isOnGrid && result.least >= -limit && result.greatest <= limit;
    return result;
}

Extremes extremes(const double* values, std::size_t count) {
    return HWY_DYNAMIC_DISPATCH(extremesForTarget)(values, count);
}

double sumExact(const double* values, std::size_t count) {
    return HWY_DYNAMIC_DISPATCH(sumExactForTarget)(values, count);
}

}  // namespace tolvane::detail::productloops
#endif
