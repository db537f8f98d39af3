// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp); the
// part under HWY_ONCE, compiled once, picks the loops of the best set that the processor has.
#include "fi/bulk/lane_loops.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "quantization/array_kernels.h"
#include "quantization/double_rules.h"
#include "quantization/float_limits.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "fi/bulk/lane_loops.cpp"
#include "quantization/each_target.inl.h"

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::laneloops {
namespace HWY_NAMESPACE {
namespace {

// The loops are large, and processors without vectors of doubles never run them (`areAvailable`).
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
bool addForTarget(const Places&, Sign, Operands, double*, std::size_t, Tallies*) {
    return false;
}
bool multiplyForTarget(const Places&, Operands, double*, std::size_t, Tallies*) {
    return false;
}
bool multiplyPairsForTarget(const Places&, Sign, Operands, Operands, double*, std::size_t, Tallies*) {
    return false;
}
void divideForTarget(const Places&, Operands, double*, std::size_t, Tallies*) {}
void accumulateForTarget(const Places&, const Run&, std::size_t, const Extent*, double*, std::size_t, RunNotes*) {}
void accumulatePairsForTarget(const Places&, Sign, const Run&, const Run&, std::size_t, const Extent*, double*,
                              std::size_t, RunNotes*) {}
void accumulateColumnsForTarget(const Places&, const double*, std::size_t, double*, std::size_t, RunNotes*) {}
void accumulateExactForTarget(const Run&, std::size_t, double*, std::size_t) {}
Survey surveyForTarget(const double*, std::size_t, const Membership&) {
    return {};
}
Tally extremesForTarget(const double*, std::size_t) {
    return {};
}
double sumExactForTarget(const double*, std::size_t) {
    return 0.0;
}
double accumulateChainForTarget(const Places&, const double*, std::size_t, double, RunNotes*) {
    return 0.0;
}
#else

// The vocabulary of the rules for single doubles, beside that for vectors.
using rounding::anyOf;
using rounding::butNot;
using rounding::choose;
using rounding::either;
using rounding::greaterOf;
using rounding::lesserOf;
using rounding::like;
using rounding::magnitude;
using rounding::otherBits;
using rounding::roundCeil;
using rounding::roundEven;
using rounding::roundFloor;
using rounding::roundTruncated;
using rounding::withSignOf;

#include "quantization/lanes.inl.h"

#include "fi/bulk/membership.inl.h"
#include "fi/bulk/steps.inl.h"
#include "numbers/rounding_rules.inl.h"

#include "numbers/rounding_list.inl.h"
#include "quantization/fixed_rules.inl.h"
#include "quantization/lane_tally.inl.h"

#include "fi/bulk/lane_machine.inl.h"

#include "fi/bulk/lane_chain.inl.h"

// Element by element.

/// Loops of so many steps that a mask costs little beside them, and a second copy much.
template <class Kind>
constexpr bool kAlwaysMasks = Kind::kIsPair&& Kind::kQuantizesAndCounts;

/// How many vectors are worked on together: the extremes of each are a chain of their own.
template <class Kind>
constexpr std::size_t kBlockVectors = Kind::kCounts && !Kind::kQuantizesAndCounts ? 2 : 1;

/// Lets the machine run `step` on the vectors of some arrays and stores what it returns. The last values fill up the
/// last vectors: met once more, they change no extreme, and a mask keeps them from being counted twice.
template <class Kind, class Step>
HWY_INLINE bool forVectors(const Places& places, const Step& step, double* out, std::size_t count, Tallies* tallies,
                           const auto*... in) {
    const std::size_t width = hn::Lanes(Tag());
    constexpr std::size_t kVectors = kBlockVectors<Kind>;
    LaneMachine<Kind, kVectors> machine(places);
    std::size_t i = 0;
    for (; !kAlwaysMasks<Kind> && i + kVectors * width <= count; i += kVectors * width) {
#pragma GCC unroll 2
        for (std::size_t v = 0; v < kVectors; ++v) {
            machine.select(v);
            const std::size_t at = i + v * width;
            hn::StoreU(step(machine, load(in + at)...).v, Tag(), out + at);
        }
    }
    for (; i < count; i += width) {
        const std::size_t used = std::min(width, count - i);
        if constexpr (Kind::kQuantizesAndCounts) {
            SomeLanes some(machine, hn::FirstN(Tag(), used));
            store(step(some, loadFilled(in + i, used)...), out + i, used);
        } else {
            store(step(machine, loadFilled(in + i, used)...), out + i, used);
        }
    }
    Tallies noted;
    if constexpr (Kind::kCounts) {
        machine.noteIn(noted);
        *tallies = noted;
    }
    return machine.holds(noted);
}

template <class Kind>
bool addLoop(const Places& places, Sign sign, Operands operands, double* out, std::size_t count, Tallies* tallies) {
    const auto step = [either = EitherSign(sign)](auto& machine, Lanes a, Lanes b) HWY_ATTR {
        combineStep(machine, machine.sum, either, a, b);
        return a;
    };
    return forVectors<Kind>(places, step, out, count, tallies, operands.left, operands.right);
}

template <class Kind>
bool multiplyLoop(const Places& places, Operands factors, double* out, std::size_t count, Tallies* tallies) {
    const auto step = [](auto& machine, Lanes a, Lanes b) HWY_ATTR {
        Lanes cell;
        multiplyStep(machine, cell, a, b);
        return cell;
    };
    return forVectors<Kind>(places, step, out, count, tallies, factors.left, factors.right);
}

template <class Kind>
bool multiplyPairsLoop(const Places& places, Sign sign, Operands first, Operands second, double* out, std::size_t count,
                       Tallies* tallies) {
    const auto step = [either = EitherSign(sign)](auto& machine, Lanes a, Lanes b, Lanes c, Lanes d) HWY_ATTR {
        Lanes cell;
        Lanes other;
        multiplyPairStep(machine, either, cell, other, a, b, c, d);
        return cell;
    };
    return forVectors<Kind>(places, step, out, count, tallies, first.left, first.right, second.left, second.right);
}

// Runs.

/// Which lanes take part, for the lanes of a tile.
class TileExtent {
 public:
    /// `used` lanes of the tile's `lanes` exist.
    TileExtent(const Extent* extent, std::size_t begin, std::size_t lanes, std::size_t used)
        : mExtent(extent ? *extent : Extent{0, 0, std::numeric_limits<std::ptrdiff_t>::max()}),
          mFirst(mExtent.start + static_cast<std::ptrdiff_t>(begin)),
          mLast(used < lanes ? -1 : mExtent.length - static_cast<std::ptrdiff_t>(lanes)),
          mUsed(static_cast<double>(used)) {}
    HWY_INLINE bool holdsAll() const { return mFirst >= 0 && mFirst <= mLast; }
    HWY_INLINE Mask mask(std::size_t vector) const {
        const Tag tag;
        const auto lane = static_cast<std::ptrdiff_t>(vector * hn::Lanes(tag));
        const Lanes position{hn::Iota(tag, static_cast<double>(mFirst + lane))};
        const Lanes index{hn::Iota(tag, static_cast<double>(lane))};
        return both(index < like(index, mUsed), both(position >= like(position, 0.0),
                                                     position < like(position, static_cast<double>(mExtent.length))));
    }
    HWY_INLINE void advance() { mFirst += mExtent.step; }

 private:
    Extent mExtent;
    std::ptrdiff_t mFirst;
    std::ptrdiff_t mLast;
    double mUsed;
};

/// Vectors that are worked on together, so that the steps of one fill the waits of another: few where the steps of one
/// keep the processor busy.
template <class Kind>
constexpr std::size_t kTileVectors = kAlwaysMasks<Kind>                                                     ? 1
                                     : Kind::kIsPair || Kind::kQuantizesAndCounts || HWY_TARGET == HWY_SSE4 ? 2
                                                                                                            : 4;

/// Runs all terms for a tile of lanes; the last may be short of lanes. `term(machine, lane, t)` gives the terms from a
/// lane on.
template <class Kind, std::size_t tileVectors, class Term>
HWY_INLINE void runTile(const Places& places, const Term& term, std::size_t terms, const Extent* wanted,
                        std::size_t begin, double* out, std::size_t lanes, RunNotes* notes) {
    const std::size_t width = hn::Lanes(Tag());
    const std::size_t vectors = (lanes + width - 1) / width;
    LaneMachine<Kind, tileVectors> machine(places);
    TileExtent extent(wanted, begin, tileVectors * width, lanes);
    Lanes total[tileVectors];
    for (std::size_t v = 0; v < tileVectors; ++v) {
        total[v] = v < vectors ? loadSome(out + v * width, lanes - v * width) : Lanes{hn::Zero(Tag())};
    }
    for (std::size_t t = 0; t < terms; ++t, extent.advance()) {
        if (!kAlwaysMasks<Kind> && HWY_LIKELY(extent.holdsAll())) {
#pragma GCC unroll 4
            for (std::size_t v = 0; v < tileVectors; ++v) {
                machine.select(v);
                Lanes x = term(machine, begin + v * width, t);
                accumulateStep(machine, machine.sum, Plus(), total[v], x);
            }
            continue;
        }
#pragma GCC unroll 1
        for (std::size_t v = 0; v < vectors; ++v) {
            machine.select(v);
            SomeLanes some(machine, extent.mask(v));
            Lanes next = total[v];
            Lanes x = term(some, begin + v * width, t);
            accumulateStep(some, some.sum, Plus(), next, x);
            total[v] = choose(some.used, next, total[v]);
        }
    }
    for (std::size_t v = 0; v < vectors; ++v) {
        store(total[v], out + v * width, lanes - v * width);
    }
    if constexpr (Kind::kCounts) {
        machine.noteIn(notes->tallies);
        for (std::size_t v = 0; notes->overflows && v < vectors; ++v) {
            machine.sum.notes.addOverflows(v, notes->overflows + begin + v * width, std::min(width, lanes - v * width));
        }
    }
}

template <class Kind, class Term>
HWY_INLINE void runTiles(const Places& places, const Term& term, std::size_t terms, const Extent* extent, double* out,
                         std::size_t lanes, RunNotes* notes) {
    constexpr std::size_t kVectors = kTileVectors<Kind>;
    const std::size_t tile = kVectors * hn::Lanes(Tag());
    for (std::size_t i = 0; i < lanes; i += tile) {
        runTile<Kind, kVectors>(places, term, terms, extent, i, out + i, std::min(tile, lanes - i), notes);
    }
}

HWY_INLINE Lanes movingAt(const Run& run, std::size_t lane, std::size_t t) {
    return load(run.moving + static_cast<std::ptrdiff_t>(t) * run.movingStep + lane);
}
HWY_INLINE Lanes fixedAt(const Run& run, std::size_t t) {
    return {hn::Set(Tag(), run.fixed[static_cast<std::ptrdiff_t>(t) * run.fixedStep])};
}

template <class Kind>
void accumulateLoop(const Places& places, const Run& run, std::size_t terms, const Extent* extent, double* out,
                    std::size_t lanes, RunNotes* notes) {
    const auto term = [run](auto& machine, std::size_t lane, std::size_t t) HWY_ATTR {
        Lanes cell = movingAt(run, lane, t);
        if (!Kind::kCounts || run.fixed) {
            multiplyStep(machine, cell, cell, fixedAt(run, t));
        }
        return cell;
    };
    runTiles<Kind>(places, term, terms, extent, out, lanes, notes);
}

template <class Kind>
void accumulatePairsLoop(const Places& places, Sign sign, const Run& first, const Run& second, std::size_t terms,
                         const Extent* extent, double* out, std::size_t lanes, RunNotes* notes) {
    const auto term = [first, second, either = EitherSign(sign)](auto& machine, std::size_t lane, std::size_t t)
                          HWY_ATTR {
                              Lanes cell;
                              Lanes other;
                              multiplyPairStep(machine, either, cell, other, movingAt(first, lane, t),
                                               fixedAt(first, t), movingAt(second, lane, t), fixedAt(second, t));
                              return cell;
                          };
    runTiles<Kind>(places, term, terms, extent, out, lanes, notes);
}

/// Lanes are columns. The last column fills up the last vector: met once more, it changes no extreme.
void accumulateColumnsForTarget(const Places& places, const double* values, std::size_t rows, double* out,
                                std::size_t columns, RunNotes* notes) {
    LaneMachine<Counted<Keep>> machine(places);
    for (std::size_t column = 0; column < columns; column += kWidth) {
        const double* from[kWidth];
        for (std::size_t i = 0; i < kWidth; ++i) {
            from[i] = values + std::min(column + i, columns - 1) * rows;
        }
        Lanes total{hn::Zero(Tag())};
        const auto add = [&](const Lanes(&terms)[kWidth], std::size_t count) HWY_ATTR {
#pragma GCC unroll 8
            for (std::size_t i = 0; i < count; ++i) {
                Lanes x = terms[i];
                accumulateStep(machine, machine.sum, Plus(), total, x);
            }
        };
        Lanes terms[kWidth];
        std::size_t row = 0;
        for (; row + kWidth <= rows; row += kWidth) {
            for (std::size_t i = 0; i < kWidth; ++i) {
                terms[i] = load(from[i] + row);
            }
            transpose(terms);
            add(terms, kWidth);
        }
        for (std::size_t i = 0; i < kWidth; ++i) {
            terms[i] = loadSome(from[i] + row, rows - row);
        }
        transpose(terms);
        add(terms, rows - row);
        store(total, out + column, columns - column);
    }
    machine.noteIn(notes->tallies);
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
        const std::size_t rest = lanes - v * width;
        store({hn::Add(total[v], loadSome(out + v * width, rest).v)}, out + v * width, rest);
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

/// Uses all values, vector by vector; the last fills up the last vector.
template <class Use>
HWY_INLINE void forEach(const double* values, std::size_t count, const Use& use) {
    const std::size_t width = hn::Lanes(Tag());
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        use(load(values + i));
    }
    if (i < count) {
        use(loadFilled(values + i, count - i));
    }
}

Survey surveyForTarget(const double* values, std::size_t count, const Membership& grid) {
    const Tag tag;
    const Examiner examiner(grid);
    Evidence evidence;
    Lanes least{hn::Zero(tag)};
    Lanes greatest{hn::Zero(tag)};
    auto bits = hn::Zero(BitsTag());
    const auto look = [&](Lanes x) HWY_ATTR {
        examiner.examineGrid(x, evidence);
        least = lesserOf(x, least);
        greatest = greaterOf(x, greatest);
        bits = hn::Or(bits, hn::BitCast(BitsTag(), x.v));
    };
    forEach(values, count, look);
    const auto sign = hn::Set(BitsTag(), std::uint64_t{1} << 63);
    return {hn::GetLane(hn::MinOfLanes(tag, least.v)), hn::GetLane(hn::MaxOfLanes(tag, greatest.v)), isOnGrid(evidence),
            !hn::AllTrue(BitsTag(), hn::Eq(hn::And(bits, sign), hn::Zero(BitsTag())))};
}

Tally extremesForTarget(const double* values, std::size_t count) {
    LaneTally<1> tally;
    forEach(values, count, [&tally](Lanes x) HWY_ATTR { tally.note(Kept{x}); });
    Tally result = tally.total();
    result.values = count;
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

// Selection.

using AddLoop = bool (*)(const Places&, Sign, Operands, double*, std::size_t, Tallies*);
using MultiplyLoop = bool (*)(const Places&, Operands, double*, std::size_t, Tallies*);
using PairsLoop = bool (*)(const Places&, Sign, Operands, Operands, double*, std::size_t, Tallies*);
using AccumulateLoop = void (*)(const Places&, const Run&, std::size_t, const Extent*, double*, std::size_t, RunNotes*);
using AccumulatePairsLoop = void (*)(const Places&, Sign, const Run&, const Run&, std::size_t, const Extent*, double*,
                                     std::size_t, RunNotes*);

// Each names the loops of one kind for a quantizing stage: without casts, with casts, with statistics.
struct Adding {
    static constexpr bool kIsShort = true;
    static constexpr bool kIsRun = false;
    template <class Stage, bool casts>
    static constexpr AddLoop kUncounted = addLoop<Uncounted<Keep, Stage, false, casts>>;
    template <class Stage>
    static constexpr AddLoop kCounted = addLoop<Counted<Stage>>;
};
struct Multiplying {
    static constexpr bool kIsShort = true;
    static constexpr bool kIsRun = false;
    template <class Stage, bool>
    static constexpr MultiplyLoop kUncounted = multiplyLoop<Uncounted<Stage, Keep, false, false>>;
    template <class Stage>
    static constexpr MultiplyLoop kCounted = multiplyLoop<Counted<Stage>>;
};
struct MultiplyingPairs {
    static constexpr bool kIsShort = false;
    static constexpr bool kIsRun = false;
    template <class Stage, bool casts>
    static constexpr PairsLoop kUncounted = multiplyPairsLoop<OfPairs<Uncounted<Stage, Stage, casts, false>>>;
    template <class Stage>
    static constexpr PairsLoop kCounted = multiplyPairsLoop<OfPairs<Counted<Stage>>>;
};
struct Accumulating {
    static constexpr bool kIsShort = false;
    static constexpr bool kIsRun = true;
    template <class Stage, bool casts>
    static constexpr AccumulateLoop kUncounted = accumulateLoop<Uncounted<Stage, Stage, false, casts>>;
    template <class Stage>
    static constexpr AccumulateLoop kCounted = accumulateLoop<Counted<Stage>>;
};
struct AccumulatingKeptProducts {
    static constexpr bool kIsShort = false;
    static constexpr bool kIsRun = true;
    template <class Stage, bool>
    static constexpr AccumulateLoop kUncounted = accumulateLoop<Uncounted<Keep, Stage, false, false>>;
    template <class Stage>
    static constexpr AccumulateLoop kCounted = nullptr;
};
// A pair is of the sum's format already, so casting it again changes nothing; only statistics show that it was done.
struct AccumulatingPairs {
    static constexpr bool kIsShort = false;
    static constexpr bool kIsRun = true;
    template <class Stage, bool casts>
    static constexpr AccumulatePairsLoop kUncounted =
        accumulatePairsLoop<OfPairs<Uncounted<Stage, Stage, casts, false>>>;
    template <class Stage>
    static constexpr AccumulatePairsLoop kCounted = accumulatePairsLoop<OfPairs<Counted<Stage>>>;
};

template <class Operation, class Stage>
auto loopFor(bool casts, bool counts) {
    return counts  ? Operation::template kCounted<Stage>
           : casts ? Operation::template kUncounted<Stage, true>
                   : Operation::template kUncounted<Stage, false>;
}

/// How short loops round.
template <class Rule>
using ShortRounding = std::conditional_t<!kFlooredForm<Rule>.exists, OneRule<Rule>,
                                         std::conditional_t<kFlooredForm<Rule>.addend == 0.0, Floored, FlooredSum>>;

template <class Operation, class Overflow>
auto loopFor(embedded::RoundModeEnum round, bool casts, bool counts) {
    const std::size_t rule = RoundingRules::indexOf(round);
    if constexpr (Operation::kIsShort) {
        if (!counts) {
            static constexpr auto kLoops = RoundingRules::table([]<class Rule>() {
                using Stage = Quantize<ShortRounding<Rule>, Overflow>;
                return std::array{Operation::template kUncounted<Stage, false>,
                                  Operation::template kUncounted<Stage, true>};
            });
            return kLoops[rule][casts ? 1 : 0];
        }
    }
    return kFlooredForms[rule].exists ? loopFor<Operation, Quantize<FlooredSum, Overflow>>(casts, counts)
                                      : loopFor<Operation, Quantize<PickedRule, Overflow>>(casts, counts);
}

template <class Operation>
auto loopFor(const Places& places, bool casts, bool counts) {
    switch (places.treatment) {
        case Treatment::keep:
            return loopFor<Operation, Keep>(false, counts);
        case Treatment::examine:
            if constexpr (Operation::kIsRun) {
                break;  // runs are surveyed beforehand
            } else {
                return counts  ? Operation::template kCounted<Examine<true>>
                       : casts ? Operation::template kUncounted<Examine<false>, true>
                               : Operation::template kUncounted<Examine<false>, false>;
            }
        case Treatment::quantize:
            break;
    }
    return places.rule.overflow == embedded::OverflowModeEnum::Saturate
               ? loopFor<Operation, SaturateOverflow>(places.rule.round, casts, counts)
               : loopFor<Operation, WrapOverflow>(places.rule.round, casts, counts);
}

bool addForTarget(const Places& places, Sign sign, Operands operands, double* out, std::size_t count,
                  Tallies* tallies) {
    return loopFor<Adding>(places, places.castsSum, tallies)(places, sign, operands, out, count, tallies);
}

bool multiplyForTarget(const Places& places, Operands factors, double* out, std::size_t count, Tallies* tallies) {
    return loopFor<Multiplying>(places, false, tallies)(places, factors, out, count, tallies);
}

bool multiplyPairsForTarget(const Places& places, Sign sign, Operands first, Operands second, double* out,
                            std::size_t count, Tallies* tallies) {
    return loopFor<MultiplyingPairs>(places, places.castsPair, tallies)(places, sign, first, second, out, count,
                                                                        tallies);
}

void accumulateForTarget(const Places& places, const Run& run, std::size_t terms, const Extent* extent, double* out,
                         std::size_t lanes, RunNotes* notes) {
    if (notes || !places.keepsProducts) {
        loopFor<Accumulating>(places, places.castsSum, notes)(places, run, terms, extent, out, lanes, notes);
        return;
    }
    if (!places.castsSum) {
        loopFor<AccumulatingKeptProducts>(places, false, false)(places, run, terms, extent, out, lanes, notes);
        return;
    }
    // Only the cast quantizes what is added: as products of its format would be.
    Places cast = places;
    cast.product = places.sum;
    loopFor<Accumulating>(cast, false, false)(cast, run, terms, extent, out, lanes, notes);
}

void accumulatePairsForTarget(const Places& places, Sign sign, const Run& first, const Run& second, std::size_t terms,
                              const Extent* extent, double* out, std::size_t lanes, RunNotes* notes) {
    loopFor<AccumulatingPairs>(places, places.castsPair, notes)(places, sign, first, second, terms, extent, out, lanes,
                                                                notes);
}

// Quotients.

/// Lanes that divide.
template <class Kind>
class DividingLanes : public LaneMachine<Kind> {
 public:
    explicit DividingLanes(const Places& places)
        : LaneMachine<Kind>(places), mBounds(places.product), mMet(hn::Zero(BitsTag())) {}

    HWY_INLINE Mask isZero(Lanes x) const { return x == like(x, 0.0); }
    HWY_INLINE void divide(Lanes& cell, Lanes a, Lanes b, Mask) const { cell.v = hn::Div(a.v, b.v); }
    HWY_INLINE void quantizeBut(Mask zeros, auto& place, Lanes& cell) {
        const Mask met = hn::Not(zeros);
        this->quantize(place, cell, met);
        if constexpr (Kind::kCounts) {
            countWhere(met, mMet);
        }
    }
    HWY_INLINE void takeBound(Mask zeros, const auto&, Lanes& cell, Lanes a) const {
        const Lanes bound = choose(a < like(a, 0.0), like(a, mBounds.lowerbound), like(a, mBounds.realmax));
        cell = choose(zeros, bound, cell);
    }
    /// How many values the place has met.
    std::uint64_t met() const { return hn::GetLane(hn::SumOfLanes(BitsTag(), mMet)); }

 private:
    FixedDoubleLimits mBounds;
    hn::Vec<BitsTag> mMet;
};

template <class Kind>
void divideLoop(const Places& places, Operands operands, double* out, std::size_t count, Tallies* tallies) {
    const std::size_t width = hn::Lanes(Tag());
    DividingLanes<Kind> machine(places);
    for (std::size_t i = 0; i < count; i += width) {
        // Lanes beyond the end divide by zero, so they aren't noted.
        const std::size_t used = std::min(width, count - i);
        Lanes cell;
        divideStep(machine, machine.product, cell, loadSome(operands.left + i, used),
                   loadSome(operands.right + i, used));
        store(cell, out + i, used);
    }
    if constexpr (Kind::kCounts) {
        tallies->product.join(machine.product.notes.total());
        tallies->product.values += machine.met();
    }
}

struct Dividing {
    static constexpr bool kIsShort = false;
    template <class Stage, bool>
    static constexpr auto kUncounted = divideLoop<Uncounted<Stage, Keep, false, false>>;
    template <class Stage>
    static constexpr auto kCounted = divideLoop<Counted<Stage>>;
};

void divideForTarget(const Places& places, Operands operands, double* out, std::size_t count, Tallies* tallies) {
    const auto loop = places.rule.overflow == embedded::OverflowModeEnum::Saturate
                          ? loopFor<Dividing, SaturateOverflow>(places.rule.round, false, tallies)
                          : loopFor<Dividing, WrapOverflow>(places.rule.round, false, tallies);
    loop(places, operands, out, count, tallies);
}

#endif

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::laneloops
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::laneloops {

HWY_EXPORT(addForTarget);
HWY_EXPORT(multiplyForTarget);
HWY_EXPORT(multiplyPairsForTarget);
HWY_EXPORT(divideForTarget);
HWY_EXPORT(accumulateForTarget);
HWY_EXPORT(accumulatePairsForTarget);
HWY_EXPORT(accumulateColumnsForTarget);
HWY_EXPORT(accumulateExactForTarget);
HWY_EXPORT(surveyForTarget);
HWY_EXPORT(extremesForTarget);
HWY_EXPORT(sumExactForTarget);
HWY_EXPORT(accumulateChainForTarget);

Rule ruleOf(const quantizer& q) {
    return {q.getRoundMode(), q.getOverflowMode()};
}

bool areAvailable() {
    return arraykernels::areAvailable();
}

bool add(const Places& places, Sign sign, Operands operands, double* out, std::size_t count, Tallies* tallies) {
    return HWY_DYNAMIC_DISPATCH(addForTarget)(places, sign, operands, out, count, tallies);
}

bool multiply(const Places& places, Operands factors, double* out, std::size_t count, Tallies* tallies) {
    return HWY_DYNAMIC_DISPATCH(multiplyForTarget)(places, factors, out, count, tallies);
}

bool multiplyPairs(const Places& places, Sign sign, Operands first, Operands second, double* out, std::size_t count,
                   Tallies* tallies) {
    return HWY_DYNAMIC_DISPATCH(multiplyPairsForTarget)(places, sign, first, second, out, count, tallies);
}

void divide(const Places& places, Operands operands, double* out, std::size_t count, Tallies* tallies) {
    HWY_DYNAMIC_DISPATCH(divideForTarget)(places, operands, out, count, tallies);
}

void accumulate(const Places& places, const Run& run, std::size_t terms, const Extent* extent, double* out,
                std::size_t lanes, RunNotes* notes) {
    HWY_DYNAMIC_DISPATCH(accumulateForTarget)(places, run, terms, extent, out, lanes, notes);
}

void accumulatePairs(const Places& places, Sign sign, const Run& first, const Run& second, std::size_t terms,
                     const Extent* extent, double* out, std::size_t lanes, RunNotes* notes) {
    HWY_DYNAMIC_DISPATCH(accumulatePairsForTarget)
    (places, sign, first, second, terms, extent, out, lanes, notes);
}

void accumulateColumns(const Places& places, const double* values, std::size_t rows, double* out, std::size_t columns,
                       RunNotes* notes) {
    HWY_DYNAMIC_DISPATCH(accumulateColumnsForTarget)(places, values, rows, out, columns, notes);
}

void accumulateExact(const Run& run, std::size_t terms, double* out, std::size_t lanes) {
    HWY_DYNAMIC_DISPATCH(accumulateExactForTarget)(run, terms, out, lanes);
}

double accumulateChain(const Places& places, const double* terms, std::size_t count, double total, RunNotes* notes) {
    return HWY_DYNAMIC_DISPATCH(accumulateChainForTarget)(places, terms, count, total, notes);
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

Tally extremes(const double* values, std::size_t count) {
    return HWY_DYNAMIC_DISPATCH(extremesForTarget)(values, count);
}

double sumExact(const double* values, std::size_t count) {
    return HWY_DYNAMIC_DISPATCH(sumExactForTarget)(values, count);
}

}  // namespace tolvane::detail::laneloops
#endif
