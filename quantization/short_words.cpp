// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp).
#include "quantization/short_words.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <type_traits>

#include "numbers/interruption.h"
#include "numbers/rule_list.h"
#include "quantization/double_rules.h"
#include "quantization/short_loops.h"
#include "quantization/word_limits.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "quantization/short_words.cpp"
#include "quantization/each_target.inl.h"

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::integers {
namespace HWY_NAMESPACE {
namespace {

#include "quantization/lanes.inl.h"

#include "numbers/rounding_rules.inl.h"

#include "numbers/rounding_list.inl.h"
#include "quantization/word_rules.inl.h"

using WordTag = hn::ScalableTag<std::int64_t>;
using SizeTag = hn::RebindToUnsigned<WordTag>;
using Words = hn::Vec<WordTag>;

// Flags of 0 or 1 in each lane, for what the rules add to integers.
struct Flags {
    Words v;
    HWY_INLINE explicit Flags(Words flags) : v(flags) {}
    HWY_INLINE explicit Flags(int flag) : v(hn::Set(WordTag(), flag)) {}
};
HWY_INLINE Flags operator&(Flags a, Flags b) {
    return Flags(hn::And(a.v, b.v));
}
HWY_INLINE Flags operator|(Flags a, Flags b) {
    return Flags(hn::Or(a.v, b.v));
}
HWY_INLINE Flags operator^(Flags a, Flags b) {
    return Flags(hn::Xor(a.v, b.v));
}

/// Quotients of words by a power of two, rounded.
template <class Rule>
class Rounder {
 public:
    HWY_INLINE explicit Rounder(int shift)
        : mShift(shift), mBelowHalf((std::int64_t{1} << (shift - 1)) - 1), mOne(hn::Set(WordTag(), 1)) {}
    HWY_INLINE Words operator()(Words x) const {
        const WordTag tag;
        const Words floor = hn::ShiftRightSame(x, mShift);
        const Flags half(hn::And(hn::ShiftRightSame(x, mShift - 1), mOne));
        const auto below = hn::And(x, hn::Set(tag, mBelowHalf));
        const Flags rest(hn::IfThenElseZero(hn::Ne(below, hn::Zero(tag)), mOne));
        const Flags negative(hn::BitCast(tag, hn::ShiftRight<63>(hn::BitCast(SizeTag(), x))));
        const Flags odd(hn::And(floor, mOne));
        return hn::Add(floor, Rule::increment(half, rest, negative, odd).v);
    }

 private:
    int mShift;
    std::int64_t mBelowHalf;
    Words mOne;
};

template <Forced forced>
HWY_INLINE Words forcedInto(const WordTask& task, Words x) {
    const WordTag tag;
    if constexpr (forced == Forced::saturated) {
        return hn::Max(hn::Min(x, hn::Set(tag, task.greatest)), hn::Set(tag, task.least));
    } else if constexpr (forced == Forced::wrappedSigned) {
        return hn::ShiftRightSame(hn::ShiftLeftSame(x, task.unusedBits), task.unusedBits);
    } else {
        return hn::And(x, hn::Set(tag, task.greatest));
    }
}

template <class Mask>
HWY_INLINE Words countedIn(Words counts, Mask mask) {
    const WordTag tag;
    return hn::IfThenElse(hn::RebindMask(tag, mask), hn::Add(counts, hn::Set(tag, 1)), counts);
}
HWY_INLINE std::uint64_t totalOf(Words counts) {
    return static_cast<std::uint64_t>(hn::GetLane(hn::SumOfLanes(WordTag(), counts)));
}

/// What each lane notes. A value is one of `tag`.
template <class ValueTag>
struct LaneNotes {
    using Value = hn::TFromD<ValueTag>;
    hn::Vec<ValueTag> least;
    hn::Vec<ValueTag> greatest;
    Words leastWord = hn::Set(WordTag(), INT64_MAX);
    Words greatestWord = hn::Set(WordTag(), INT64_MIN);
    Words overflows = hn::Zero(WordTag());
    Words underflows = hn::Zero(WordTag());

    HWY_INLINE explicit LaneNotes(Value first) : least(hn::Set(ValueTag(), first)), greatest(least) {}
    HWY_INLINE void take(hn::Vec<ValueTag> x) {
        least = hn::Min(least, x);
        greatest = hn::Max(greatest, x);
    }
    HWY_INLINE void takeWord(Words x) {
        leastWord = hn::Min(leastWord, x);
        greatestWord = hn::Max(greatestWord, x);
    }
    HWY_INLINE void handTo(ShortNotes<Value>& notes) const {
        const ValueTag tag;
        const WordTag wordTag;
        notes = {hn::GetLane(hn::MinOfLanes(tag, least)),
                 hn::GetLane(hn::MaxOfLanes(tag, greatest)),
                 hn::GetLane(hn::MinOfLanes(wordTag, leastWord)),
                 hn::GetLane(hn::MaxOfLanes(wordTag, greatestWord)),
                 totalOf(overflows),
                 totalOf(underflows)};
    }
};

/// The one loop over values, which takes them by vectors. `make(x, notes)` gives words, and counts: what is left at the
/// end comes with zeros, which no format counts. Words keep the order of values unless they wrap.
template <bool counting, bool keepsOrder, class ValueTag, class Make>
HWY_INLINE void walk(const hn::TFromD<ValueTag>* in, std::size_t count, mp_limb_t* out,
                     ShortNotes<hn::TFromD<ValueTag>>* noted, const Make& make) {
    using Value = hn::TFromD<ValueTag>;
    const ValueTag tag;
    const WordTag wordTag;
    auto* const words = reinterpret_cast<std::int64_t*>(out);
    const std::size_t width = hn::Lanes(tag);
    LaneNotes<ValueTag> notes(in[0]);
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        const auto x = hn::LoadU(tag, in + i);
        const Words made = make(x, notes);
        hn::StoreU(made, wordTag, words + i);
        if constexpr (counting) {
            notes.take(x);
            if constexpr (!keepsOrder) {
                notes.takeWord(made);
            }
        }
    }
    if (i < count) {
        HWY_ALIGN Value rest[HWY_MAX_BYTES / sizeof(Value)] = {};
        HWY_ALIGN std::int64_t made[HWY_MAX_BYTES / sizeof(std::int64_t)];
        std::copy(in + i, in + count, rest);
        hn::Store(make(hn::Load(tag, rest), notes), wordTag, made);
        if constexpr (counting) {
            std::fill(rest + (count - i), rest + width, rest[0]);
            notes.take(hn::Load(tag, rest));
            if constexpr (!keepsOrder) {
                std::fill(made + (count - i), made + width, made[0]);
                notes.takeWord(hn::Load(wordTag, made));
            }
        }
        std::copy(made, made + (count - i), words + i);
    }
    if constexpr (counting) {
        notes.handTo(*noted);
        if constexpr (keepsOrder) {
            // The words of the extremes are the extremes of the words.
            Value extremes[] = {noted->least, noted->greatest};
            HWY_ALIGN Value padded[HWY_MAX_BYTES / sizeof(Value)] = {};
            HWY_ALIGN std::int64_t made[HWY_MAX_BYTES / sizeof(std::int64_t)];
            LaneNotes<ValueTag> none(Value{0});
            for (Value& extreme : extremes) {
                padded[0] = extreme;
                hn::Store(make(hn::Load(tag, padded), none), wordTag, made);
                (&extreme == extremes ? noted->leastWord : noted->greatestWord) = made[0];
            }
        }
    }
}

template <bool counting, Forced forced, class Rule>
void roundWords(const WordTask& given, const std::int64_t* in, std::size_t count, mp_limb_t* out,
                ShortNotes<std::int64_t>* notes) {
    const WordTask task = given;
    const Rounder<Rule> round(task.shift);
    walk<counting, forced == Forced::saturated, WordTag>(
        in, count, out, notes, [task, round](Words x, LaneNotes<WordTag>& lanes) HWY_ATTR {
            const Words rounded = round(x);
            const Words made = forcedInto<forced>(task, rounded);
            if constexpr (counting) {
                const Words zero = hn::Zero(WordTag());
                lanes.overflows = countedIn(lanes.overflows, hn::Ne(made, rounded));
                lanes.underflows = countedIn(lanes.underflows, hn::AndNot(hn::Eq(x, zero), hn::Eq(rounded, zero)));
            }
            return made;
        });
}

/// Words whose unit isn't less than that of the format.
template <bool counting, Forced forced>
void raiseWords(const WordTask& given, const std::int64_t* in, std::size_t count, mp_limb_t* out,
                ShortNotes<std::int64_t>* notes) {
    const WordTask task = given;
    const int shift = -task.shift;
    // Those between these fit.
    const std::int64_t least = shift < 64 - task.unusedBits ? task.least >> shift : 0;
    const std::int64_t greatest = task.greatest >> shift;
    walk<counting, forced == Forced::saturated, WordTag>(
        in, count, out, notes, [=](Words x, LaneNotes<WordTag>& lanes) HWY_ATTR {
            const WordTag tag;
            const auto isBelow = hn::Lt(x, hn::Set(tag, least));
            const auto isAbove = hn::Gt(x, hn::Set(tag, greatest));
            const Words raised = hn::ShiftLeftSame(x, shift);
            Words made;
            if constexpr (forced == Forced::saturated) {
                made = hn::IfThenElse(isBelow, hn::Set(tag, task.least),
                                      hn::IfThenElse(isAbove, hn::Set(tag, task.greatest), raised));
            } else {
                made = forcedInto<forced>(task, raised);
            }
            if constexpr (counting) {
                lanes.overflows = countedIn(lanes.overflows, hn::Or(isBelow, isAbove));
            }
            return made;
        });
}

/// Of whole doubles up to 2^51 in size: the last places of their sum with a double whose unit is 1.
HWY_INLINE Words integersOf(hn::Vec<Tag> x) {
    const WordTag tag;
    const auto unit = hn::Set(Tag(), 0x1.8p52);
    return hn::Sub(hn::BitCast(tag, hn::Add(x, unit)), hn::BitCast(tag, unit));
}

template <bool counting, Forced forced, class Rule>
void roundDoubles(const DoubleTask& given, const double* in, std::size_t count, mp_limb_t* out,
                  ShortNotes<double>* notes) {
    using Word =
        std::conditional_t<forced == Forced::saturated, SaturatedWord,
                           std::conditional_t<forced == Forced::wrappedSigned, WrappedSignedWord, WrappedUnsignedWord>>;
    const WordLimits limits = given.limits;
    const WordTask words = given.words;
    walk<counting, forced == Forced::saturated, Tag>(
        in, count, out, notes, [limits, words](hn::Vec<Tag> x, LaneNotes<Tag>& lanes) HWY_ATTR {
            const Lanes zero{hn::Zero(Tag())};
            const Lanes scaled = Lanes{x} * like(zero, limits.scale);
            const Lanes rounded = Rule::template apply<Lanes>(scaled);
            if constexpr (counting) {
                lanes.underflows = countedIn(lanes.underflows, butNot(rounded == zero, Lanes{x} == zero));
            }
            if constexpr (forced != Forced::saturated) {
                // Most values are within what integers of doubles are.
                if (HWY_LIKELY(hn::AllTrue(Tag(), magnitude(rounded) < like(zero, 0x1p51)))) {
                    const Words whole = integersOf(rounded.v);
                    const Words made = forcedInto<forced>(words, whole);
                    if constexpr (counting) {
                        lanes.overflows = countedIn(lanes.overflows, hn::Ne(made, whole));
                    }
                    return made;
                }
            }
            Lanes made = Word::template apply<Lanes>(rounded, limits);
            if constexpr (forced != Forced::saturated) {
                // The low bits of a double that became infinite are zeros, not the NaN that it gives.
                made = choose(made == made, made, zero);
            }
            if constexpr (counting) {
                lanes.overflows = countedIn(lanes.overflows, hn::Ne(made.v, rounded.v));
            }
            return integersOf(made.v);
        });
}

// The rules for doubles that are exact for every one, in the order of embedded::RoundModeEnum.
using ExactRules = RuleList<CeilRule, ExactConvergentRule, FixRule, FloorRule, ExactNearestRule, ExactRoundRule>;
static_assert(ExactRules::kCount == RoundingRules::kCount);

using WordLoop = void (*)(const WordTask&, const std::int64_t*, std::size_t, mp_limb_t*, ShortNotes<std::int64_t>*);
using DoubleLoop = void (*)(const DoubleTask&, const double*, std::size_t, mp_limb_t*, ShortNotes<double>*);

template <bool counting, Forced forced>
constexpr auto kRoundWordsInto = RoundingRules::table([]<class Rule>() -> WordLoop {
    return roundWords<counting, forced, Rule>;
});
template <bool counting, Forced forced>
constexpr auto kRoundDoublesInto = ExactRules::table([]<class Rule>() -> DoubleLoop {
    return roundDoubles<counting, forced, Rule>;
});

// Rows in the order of `Forced`.
template <bool counting>
constexpr std::array kRoundWords = {kRoundWordsInto<counting, Forced::saturated>,
                                    kRoundWordsInto<counting, Forced::wrappedSigned>,
                                    kRoundWordsInto<counting, Forced::wrappedUnsigned>};
template <bool counting>
constexpr std::array kRaiseWords = {WordLoop{raiseWords<counting, Forced::saturated>},
                                    WordLoop{raiseWords<counting, Forced::wrappedSigned>},
                                    WordLoop{raiseWords<counting, Forced::wrappedUnsigned>}};
template <bool counting>
constexpr std::array kRoundDoubles = {kRoundDoublesInto<counting, Forced::saturated>,
                                      kRoundDoublesInto<counting, Forced::wrappedSigned>,
                                      kRoundDoublesInto<counting, Forced::wrappedUnsigned>};

void quantizeWordsForTarget(std::size_t round, std::size_t forced, const WordTask& task, const std::int64_t* in,
                            std::size_t count, mp_limb_t* out, ShortNotes<std::int64_t>* notes) {
    WordLoop loop = nullptr;
    if (task.shift > 0) {
        loop = (notes ? kRoundWords<true> : kRoundWords<false>)[forced][round];
    } else {
        loop = (notes ? kRaiseWords<true> : kRaiseWords<false>)[forced];
    }
    loop(task, in, count, out, notes);
}

void quantizeDoublesForTarget(std::size_t round, std::size_t forced, const DoubleTask& task, const double* in,
                              std::size_t count, mp_limb_t* out, ShortNotes<double>* notes) {
    (notes ? kRoundDoubles<true> : kRoundDoubles<false>)[forced][round](task, in, count, out, notes);
}

/// The bits of words from one on, as far as the mask goes, times a unit.
void toDoublesForTarget(const std::int64_t* in, std::size_t count, int shift, std::int64_t mask, double unit,
                        double* out) {
    const Tag tag;
    const WordTag wordTag;
    const std::size_t width = hn::Lanes(tag);
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        const Words part = hn::And(hn::ShiftRightSame(hn::LoadU(wordTag, in + i), shift), hn::Set(wordTag, mask));
        hn::StoreU(hn::Mul(hn::ConvertTo(tag, part), hn::Set(tag, unit)), tag, out + i);
    }
    for (; i < count; ++i) {
        out[i] = static_cast<double>(in[i] >> shift & mask) * unit;
    }
}

void addDoublesForTarget(const double* in, std::size_t count, int shift, std::size_t limbs, mp_limb_t* out) {
    __extension__ typedef unsigned __int128 DoubleLimb;
    const Tag tag;
    const WordTag wordTag;
    auto* const words = reinterpret_cast<std::int64_t*>(out);
    const std::size_t width = hn::Lanes(tag);
    std::size_t i = 0;
    for (; limbs == 1 && i + width <= count; i += width) {
        const Words x = hn::ShiftLeftSame(hn::ConvertTo(wordTag, hn::LoadU(tag, in + i)), shift);
        hn::StoreU(hn::Add(hn::LoadU(wordTag, words + i), x), wordTag, words + i);
    }
    for (; i < count; ++i) {
        const auto x = static_cast<std::int64_t>(in[i]);
        if (limbs == 1) {
            out[i] += static_cast<mp_limb_t>(x) << shift;
        } else {
            mp_limb_t* const to = out + 2 * i;
            const DoubleLimb sum =
                (static_cast<DoubleLimb>(to[1]) << 64 | to[0]) + (static_cast<DoubleLimb>(x) << shift);
            to[0] = static_cast<mp_limb_t>(sum);
            to[1] = static_cast<mp_limb_t>(sum >> 64);
        }
    }
}

template <class Int>
void widenAll(const void* in, std::size_t count, std::int64_t* out) {
    const auto* const x = static_cast<const Int*>(in);
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = static_cast<std::int64_t>(x[i]);  // NOLINT(bugprone-signed-char-misuse): chars of 8 bits are numbers
    }
}
void widenForTarget(const void* in, std::size_t bytesEach, bool isSigned, std::size_t count, std::int64_t* out) {
    using Loop = void (*)(const void*, std::size_t, std::int64_t*);
    static constexpr Loop kLoops[][2] = {{widenAll<std::uint8_t>, widenAll<std::int8_t>},
                                         {widenAll<std::uint16_t>, widenAll<std::int16_t>},
                                         {widenAll<std::uint32_t>, widenAll<std::int32_t>}};
    kLoops[bytesEach / 2][isSigned ? 1 : 0](in, count, out);
}

template <class Holds>
void compareAll(const CompareTask& task, std::uint64_t count, std::uint8_t* out, const Holds& holds) {
    const WordTag tag;
    const hn::Rebind<std::uint8_t, WordTag> byteTag;
    const std::size_t width = hn::Lanes(tag);
    const auto one = hn::Set(SizeTag(), 1);
    const CompareOperand a = task.left;
    const CompareOperand b = task.right;
    std::uint64_t i = 0;
    const auto run = [&](const auto& left, const auto& right) HWY_ATTR {
        for (; i + width <= count; i += width) {
            const auto x = hn::ShiftLeftSame(left(i), a.shift);
            const auto y = hn::ShiftLeftSame(right(i), b.shift);
            const auto flags = hn::And(hn::BitCast(SizeTag(), hn::VecFromMask(tag, holds(x, y))), one);
            hn::StoreU(hn::TruncateTo(byteTag, flags), byteTag, out + i);
        }
    };
    const auto each = [tag](const CompareOperand& x)
                          HWY_ATTR { return [=](std::uint64_t at) HWY_ATTR { return hn::LoadU(tag, x.words + at); }; };
    const auto same = [tag](const CompareOperand& x) HWY_ATTR {
        return [value = hn::Set(tag, *x.words)](std::uint64_t) HWY_ATTR { return value; };
    };
    if (a.step != 0 && b.step != 0) {
        run(each(a), each(b));
    } else if (a.step != 0) {
        run(each(a), same(b));
    } else if (b.step != 0) {
        run(same(a), each(b));
    } else {
        run(same(a), same(b));
    }
    for (; i < count; ++i) {
        const auto valueOf = [&](const CompareOperand& x)
                                 HWY_ATTR { return hn::ShiftLeftSame(hn::Set(tag, x.words[i * x.step]), x.shift); };
        out[i] = hn::AllTrue(tag, holds(valueOf(a), valueOf(b))) ? 1 : 0;
    }
}
void compareForTarget(Order order, const CompareTask& task, std::uint64_t count, std::uint8_t* out) {
    switch (order) {
        case Order::less:
            compareAll(task, count, out, [](Words x, Words y) HWY_ATTR { return hn::Lt(x, y); });
            break;
        case Order::lessOrEqual:
            compareAll(task, count, out, [](Words x, Words y) HWY_ATTR { return hn::Not(hn::Gt(x, y)); });
            break;
        default:
            compareAll(task, count, out, [](Words x, Words y) HWY_ATTR { return hn::Eq(x, y); });
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::integers
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::integers {

HWY_EXPORT(quantizeWordsForTarget);
HWY_EXPORT(quantizeDoublesForTarget);
HWY_EXPORT(toDoublesForTarget);
HWY_EXPORT(addDoublesForTarget);
HWY_EXPORT(widenForTarget);
HWY_EXPORT(compareForTarget);

namespace {

constexpr int kLimbBits = WordGrid::kLimbBits;
/// Beyond these, doubles are too great or too small for the units of words.
constexpr int kGreatestExponent = 900;

/// Whether words are integers of one limb.
bool areIntegers(const WordGrid& grid) {
    return grid.bits <= kLimbBits - (grid.isSigned ? 0 : 1);
}

std::size_t forcedBy(const Format& format) {
    const Forced wrapped = format.grid.isSigned ? Forced::wrappedSigned : Forced::wrappedUnsigned;
    return static_cast<std::size_t>(format.overflow == embedded::OverflowModeEnum::Saturate ? Forced::saturated
                                                                                            : wrapped);
}

WordTask taskOf(const WordGrid& grid, int shift) {
    const int unusedBits = kLimbBits - grid.bits;
    const auto greatest = static_cast<std::int64_t>(~std::uint64_t{0} >> unusedBits >> (grid.isSigned ? 1 : 0));
    return {shift, unusedBits, grid.isSigned ? -greatest - 1 : 0, greatest};
}

const std::int64_t* integersOf(const mp_limb_t* limbs) {
    return reinterpret_cast<const std::int64_t*>(limbs);
}

/// Calls `loop(begin, count, notes)` for slices, and joins what they note.
template <class Value, class Loop>
void runNoting(std::uint64_t count, ShortNotes<Value>* notes, const Loop& loop) {
    inSlices(count, [&](std::uint64_t begin, std::uint64_t end) {
        if (notes == nullptr) {
            loop(begin, end - begin, nullptr);
            return;
        }
        ShortNotes<Value> slice = {};
        loop(begin, end - begin, &slice);
        if (begin == 0) {
            *notes = slice;
            return;
        }
        notes->least = std::min(notes->least, slice.least);
        notes->greatest = std::max(notes->greatest, slice.greatest);
        notes->leastWord = std::min(notes->leastWord, slice.leastWord);
        notes->greatestWord = std::max(notes->greatestWord, slice.greatestWord);
        notes->overflows += slice.overflows;
        notes->underflows += slice.underflows;
    });
}

}  // namespace

bool quantize(const Format& format, const WordSpan& x, mp_limb_t* out, ShortNotes<std::int64_t>* notes) {
    const WordGrid& grid = format.grid;
    const int shift = grid.exponent - x.grid.exponent;
    if (format.hasMore() || !areIntegers(grid) || !areIntegers(x.grid) || std::abs(shift) >= kLimbBits) {
        return false;
    }
    const WordTask task = taskOf(grid, shift);
    runNoting(x.count, notes, [&](std::uint64_t begin, std::size_t count, ShortNotes<std::int64_t>* slice) {
        HWY_DYNAMIC_DISPATCH(quantizeWordsForTarget)
        (rounding::RoundingRules::indexOf(format.round), forcedBy(format), task, integersOf(x.limbs + begin), count,
         out + begin, slice);
    });
    return true;
}

bool quantize(const Format& format, std::span<const double> x, mp_limb_t* out, ShortNotes<double>* notes) {
    // The words are whole doubles, of a size that is quickly converted. A unit of up to 1 loses no bits of a double
    // when it is brought to units; one that becomes infinite is beyond the words, and its low bits are zeros.
    constexpr int kDoubleBits = 51;
    const WordGrid& grid = format.grid;
    if (format.hasMore() || grid.bits - (grid.isSigned ? 1 : 0) > kDoubleBits || grid.exponent > 0 ||
        grid.exponent < -kGreatestExponent) {
        return false;
    }
    if (!x.empty()) {
        const double modulus = std::ldexp(1.0, grid.bits);
        WordLimits limits;
        limits.scale = std::ldexp(1.0, -grid.exponent);
        limits.inverseScale = std::ldexp(1.0, grid.exponent);
        limits.greatest = (grid.isSigned ? modulus / 2 : modulus) - 1.0;
        limits.least = grid.isSigned ? -modulus / 2 : 0.0;
        limits.modulus = modulus;
        limits.inverseModulus = 1.0 / modulus;
        const DoubleTask task{limits, taskOf(grid, 0)};
        runNoting(x.size(), notes, [&](std::uint64_t begin, std::size_t count, ShortNotes<double>* slice) {
            HWY_DYNAMIC_DISPATCH(quantizeDoublesForTarget)
            (rounding::RoundingRules::indexOf(format.round), forcedBy(format), task, x.data() + begin, count,
             out + begin, slice);
        });
    }
    return true;
}

bool toDoubles(const WordSpan& x, double* out) {
    if (!areIntegers(x.grid) || std::abs(x.grid.exponent) > kGreatestExponent) {
        return false;
    }
    const double unit = std::ldexp(1.0, x.grid.exponent);
    inSlices(x.count, [&](std::uint64_t begin, std::uint64_t end) {
        HWY_DYNAMIC_DISPATCH(toDoublesForTarget)(integersOf(x.limbs + begin), end - begin, 0, -1, unit, out + begin);
    });
    return true;
}

void toDoubles(const WordSpan& x, const BitRange& bits, double* out) {
    const std::int64_t mask = bits.count == 0 ? -1 : (std::int64_t{1} << bits.count) - 1;
    HWY_DYNAMIC_DISPATCH(toDoublesForTarget)(integersOf(x.limbs), x.count, bits.first, mask, 1.0, out);
}

void addDoubles(std::span<const double> x, int shift, std::size_t limbs, mp_limb_t* out) {
    HWY_DYNAMIC_DISPATCH(addDoublesForTarget)(x.data(), x.size(), shift, limbs, out);
}

template <class Int>
void widen(std::span<const Int> x, mp_limb_t* out) {
    inSlices(x.size(), [&](std::uint64_t begin, std::uint64_t end) {
        HWY_DYNAMIC_DISPATCH(widenForTarget)
        (x.data() + begin, sizeof(Int), std::is_signed_v<Int>, end - begin,
         reinterpret_cast<std::int64_t*>(out + begin));
    });
}
template void widen(std::span<const std::int8_t> x, mp_limb_t* out);
template void widen(std::span<const std::uint8_t> x, mp_limb_t* out);
template void widen(std::span<const std::int16_t> x, mp_limb_t* out);
template void widen(std::span<const std::uint16_t> x, mp_limb_t* out);
template void widen(std::span<const std::int32_t> x, mp_limb_t* out);
template void widen(std::span<const std::uint32_t> x, mp_limb_t* out);

bool compare(Order order, const WordSpan& a, const WordSpan& b, std::uint64_t count, std::uint8_t* out) {
    const int exponent = std::min(a.grid.exponent, b.grid.exponent);
    const auto operandOf = [&](const WordSpan& x) {
        return CompareOperand{integersOf(x.limbs), x.count == 1 ? 0U : 1U, x.grid.exponent - exponent};
    };
    const auto fits = [&](const WordSpan& x) {
        return areIntegers({0, x.grid.bits + (x.grid.exponent - exponent), x.grid.isSigned});
    };
    if (!fits(a) || !fits(b)) {
        return false;
    }
    inSlices(count, [&](std::uint64_t begin, std::uint64_t end) {
        const auto from = [begin](CompareOperand x) {
            x.words += begin * x.step;
            return x;
        };
        HWY_DYNAMIC_DISPATCH(compareForTarget)
        (order, {from(operandOf(a)), from(operandOf(b))}, end - begin, out + begin);
    });
    return true;
}

}  // namespace tolvane::detail::integers
#endif
