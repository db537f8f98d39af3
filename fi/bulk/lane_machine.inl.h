// The machine that runs the steps of arithmetic on vectors of doubles. No include guard: included in the namespace of
// each instruction set, after the rules (see fi/bulk/lane_loops.cpp).

// Stages: what a place does to a vector.

// Every rule makes one more loop of each kind, and the loops are large. So what can be a number without costing more
// than an addition is one here, not a template parameter.

/// A rule as the floor of a sum, if it is one: floor(x + addend), or -floor(-x). Adding -0.0 changes nothing, and all
/// is exact, signs of zero included.
struct FlooredForm {
    bool exists = false;
    double sign = 1.0;
    double addend = -0.0;
};
template <class Rule>
constexpr FlooredForm kFlooredForm{};
template <>
constexpr FlooredForm kFlooredForm<CeilRule>{true, -1.0};
template <>
constexpr FlooredForm kFlooredForm<FloorRule>{true};
template <>
constexpr FlooredForm kFlooredForm<NearestRule>{true, 1.0, 0.5};
constexpr auto kFlooredForms = RoundingRules::table([]<class Rule>() { return kFlooredForm<Rule>; });

/// The limits of a format with the numbers that represent the sign of its word and some rules.
struct StageLimits : FixedDoubleLimits {
    StageLimits(const FixedDoubleLimits& format, embedded::RoundModeEnum mode)
        : FixedDoubleLimits(format), rule(RoundingRules::indexOf(mode)), addend(kFlooredForms[rule].addend) {
        if (format.lowerbound < 0.0) {
            wrapsFrom = -format.lowerbound;
        }
        scale *= kFlooredForms[rule].sign;
        inverseScale *= kFlooredForms[rule].sign;
    }
    std::size_t rule;                                            // in the list
    double addend;                                               // of FlooredSum
    double wrapsFrom = std::numeric_limits<double>::infinity();  // remainders from here on lie below zero
};

/// Ceil and floor, for loops so short that an addition matters.
struct Floored {
    static HWY_INLINE Lanes apply(Lanes x, const StageLimits&) { return roundFloor(x); }
};
/// All rules that are floors of sums.
struct FlooredSum {
    static HWY_INLINE Lanes apply(Lanes x, const StageLimits& limits) { return roundFloor(x + like(x, limits.addend)); }
};
/// One rule, for loops so short that picking it matters.
template <class Rule>
struct OneRule {
    static HWY_INLINE Lanes apply(Lanes x, const StageLimits&) { return Rule::apply(x); }
};

/// Applies the rule at a place in the list, picked while a loop runs: a fold that compiles to a switch. This costs less
/// than a loop for each rule, and less than a call.
template <bool withFloored, class... Rules, class V>
HWY_INLINE V applyPicked(RuleList<Rules...>, std::size_t rule, V x) {
    V result = x;
    std::size_t place = 0;
    const auto isDone = [&]<class Rule>() HWY_ATTR {
        const bool isSought = rule == place++;
        if constexpr (withFloored || !kFlooredForm<Rule>.exists) {
            if (isSought) {
                result = Rule::apply(x);
                return true;
            }
        }
        return false;
    };
    if (!(isDone.template operator()<Rules>() || ...)) {
        __builtin_unreachable();  // floored rules have other loops
    }
    return result;
}
/// The other rules.
struct PickedRule {
    static HWY_INLINE Lanes apply(Lanes x, const StageLimits& limits) {
        return applyPicked<false>(RoundingRules(), limits.rule, x);
    }
};

/// The word of either sign.
struct AnyWord {
    template <class V>
    static V wrapped(V x, const auto& limits) {
        const V remainder = modWraparound(x, limits);
        return choose(remainder >= like(x, limits.wrapsFrom), remainder - like(x, limits.wraparound), remainder);
    }
};

/// A value that nothing happened to.
struct Kept {
    Lanes value;
};

struct Keep {
    Keep(const FixedDoubleLimits&, embedded::RoundModeEnum, const Membership&) {}
    HWY_INLINE Kept operator()(Lanes x) const { return {x}; }
    HWY_INLINE bool holds(const Tally&) const { return true; }
};

/// Where the place notes its extremes, these show the range.
template <bool knowsExtremes>
class Examine {
 public:
    Examine(const FixedDoubleLimits& format, embedded::RoundModeEnum, const Membership& members)
        : mLeast(format.lowerbound), mGreatest(format.realmax), mMembers(members), mExaminer(members) {}
    HWY_INLINE Kept operator()(Lanes x) {
        if constexpr (knowsExtremes) {
            mExaminer.examineGrid(x, mEvidence);
        } else {
            mExaminer.examine(x, mEvidence);
        }
        return {x};
    }
    bool holds(const Tally& noted) const {
        return knowsExtremes ? isOnGrid(mEvidence) && mLeast <= noted.least && noted.greatest <= mGreatest
                             : areMembers(mEvidence, mMembers);
    }

 private:
    double mLeast;
    double mGreatest;
    Membership mMembers;
    Examiner mExaminer;
    Evidence mEvidence;
};

template <class Rounding, class Overflow>
class Quantize {
 public:
    Quantize(const FixedDoubleLimits& format, embedded::RoundModeEnum round, const Membership&)
        : mLimits(format, round) {}
    HWY_INLINE auto operator()(Lanes x) const {
        const Lanes whole = Rounding::apply(x * like(x, mLimits.scale), mLimits);
        return quantizeRoundedValue<Overflow, AnyWord>(x, whole * like(x, mLimits.inverseScale), mLimits);
    }
    HWY_INLINE bool holds(const Tally&) const { return true; }

 private:
    StageLimits mLimits;
};

// The machine.

/// Casts is bool, or std::bool_constant where the loop is compiled for the answer.
template <class Stage, class Casts, class Notes>
struct Place {
    Place(const Stage& what, bool castsFirst) : stage(what), casts(castsOf(castsFirst)) {}
    static Casts castsOf(bool given) {
        if constexpr (std::is_same_v<Casts, bool>) {
            return given;
        } else {
            return {};
        }
    }
    Stage stage;
    [[no_unique_address]] Casts casts;
    [[no_unique_address]] Notes notes;
};

struct Plus {};
/// A difference is the sum with the negated value in every bit.
struct EitherSign {
    explicit EitherSign(Sign sign) : bits(hn::BitCast(BitsTag(), hn::Set(Tag(), sign == Sign::minus ? -0.0 : 0.0))) {}
    hn::Vec<BitsTag> bits;
};

/// Vectors of doubles, with statistics or without. `Kind` names the stages, the casts and the notes.
template <class Kind, std::size_t vectors = 1>
struct LaneMachine {
    using Notes = typename Kind::template Notes<vectors>;
    static constexpr bool kCounts = Notes::kCounts;

    explicit LaneMachine(const Places& p)
        : product({p.product, p.rule.round, p.productMembers}, false),
          pair({p.sum, p.rule.round, p.sumMembers}, p.castsPair),
          sum({p.sum, p.rule.round, p.sumMembers}, p.castsSum) {}

    /// The vector that the next steps belong to.
    HWY_INLINE void select(std::size_t vector) {
        product.notes.select(vector);
        pair.notes.select(vector);
        sum.notes.select(vector);
    }
    HWY_INLINE void multiply(Lanes& cell, Lanes a, Lanes b) { cell = a * b; }
    HWY_INLINE void combine(Plus, Lanes& cell, Lanes x) { cell = cell + x; }
    HWY_INLINE void combine(const EitherSign& sign, Lanes& cell, Lanes x) {
        cell.v = hn::Add(cell.v, hn::BitCast(Tag(), hn::Xor(hn::BitCast(BitsTag(), x.v), sign.bits)));
    }
    HWY_INLINE bool casts(const auto& place) const { return place.casts; }
    // `used` may be a mask of the lanes that are noted.
    HWY_INLINE Lanes cast(auto& place, Lanes x, auto... used) {
        if (place.casts) {
            quantize(place, x, used...);
        }
        return x;
    }
    HWY_INLINE void quantize(auto& place, Lanes& cell, auto... used) {
        const auto result = place.stage(cell);
        place.notes.note(result, used...);
        cell = result.value;
    }
    /// Whether all examined values were of their formats.
    bool holds(const Tallies& noted) const {
        return product.stage.holds(noted.product) && pair.stage.holds(noted.pair) && sum.stage.holds(noted.sum);
    }
    void noteIn(Tallies& tallies) const {
        if constexpr (kCounts) {
            tallies.product.join(product.notes.total());
            tallies.pair.join(pair.notes.total());
            tallies.sum.join(sum.notes.total());
        }
    }

    Place<typename Kind::ProductStage, std::false_type, Notes> product;
    Place<typename Kind::SumStage, typename Kind::CastsPair, Notes> pair;
    Place<typename Kind::SumStage, typename Kind::CastsSum, Notes> sum;
};

/// A machine of which only some lanes count.
template <class Machine>
struct SomeLanes {
    HWY_INLINE SomeLanes(Machine& machine, Mask lanes)
        : whole(machine), used(lanes), product(machine.product), pair(machine.pair), sum(machine.sum) {}
    HWY_INLINE void multiply(Lanes& cell, Lanes a, Lanes b) { whole.multiply(cell, a, b); }
    HWY_INLINE void combine(const auto& sign, Lanes& cell, Lanes x) { whole.combine(sign, cell, x); }
    HWY_INLINE bool casts(const auto& place) const { return whole.casts(place); }
    HWY_INLINE Lanes cast(auto& place, Lanes x) { return whole.cast(place, x, used); }
    HWY_INLINE void quantize(auto& place, Lanes& cell) { whole.quantize(place, cell, used); }

    Machine& whole;
    Mask used;
    decltype(Machine::product)& product;
    decltype(Machine::pair)& pair;
    decltype(Machine::sum)& sum;
};

// Kinds of machines: without statistics, compiled for what the places do; with statistics, told at run time whether
// they cast.

template <std::size_t>
struct Silent : NoNotes {};

template <class Product, class Sum, bool castsPairs, bool castsSums>
struct Uncounted {
    static constexpr bool kCounts = false;
    static constexpr bool kQuantizesAndCounts = false;
    static constexpr bool kIsPair = false;
    using ProductStage = Product;
    using SumStage = Sum;
    using CastsPair = std::bool_constant<castsPairs>;
    using CastsSum = std::bool_constant<castsSums>;
    template <std::size_t vectors>
    using Notes = Silent<vectors>;
};
template <class Stage>
struct Counted {
    static constexpr bool kCounts = true;
    static constexpr bool kQuantizesAndCounts = !std::is_same_v<Stage, Keep> && !std::is_same_v<Stage, Examine<true>>;
    static constexpr bool kIsPair = false;
    using ProductStage = Stage;
    using SumStage = Stage;
    using CastsPair = bool;
    using CastsSum = bool;
    template <std::size_t vectors>
    using Notes = LaneTally<vectors>;
};
template <class Kind>
struct OfPairs : Kind {
    static constexpr bool kIsPair = true;
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

/// Loads `count` lanes or all; the last value fills up the others.
HWY_INLINE Lanes loadFilled(const double* values, std::size_t count) {
    if (count >= hn::Lanes(Tag())) {
        return load(values);
    }
    const Lanes some = loadSome(values, count);
    return choose(hn::FirstN(Tag(), count), some, like(some, values[count - 1]));
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

constexpr std::size_t kWidth = hn::MaxLanes(Tag());

/// Turns a square: lane i of vector k becomes lane k of vector i. Each stage exchanges one bit of both numbers.
HWY_INLINE void transpose(Lanes (&x)[kWidth]) {
    const Tag tag;
    for (std::size_t i = 0; i < kWidth; i += 2) {
        const auto a = x[i].v;
        x[i].v = hn::InterleaveLower(tag, a, x[i + 1].v);
        x[i + 1].v = hn::InterleaveUpper(tag, a, x[i + 1].v);
    }
    for (std::size_t i = 0; kWidth == 8 && i < kWidth; i += i % 2 == 0 ? 1 : 3) {
        const auto a = x[i].v;
        x[i].v = hn::OddEvenBlocks(hn::SwapAdjacentBlocks(x[i + 2].v), a);
        x[i + 2].v = hn::OddEvenBlocks(x[i + 2].v, hn::SwapAdjacentBlocks(a));
    }
    for (std::size_t i = 0; kWidth > 2 && i < kWidth / 2; ++i) {
        const auto a = x[i].v;
        x[i].v = hn::ConcatLowerLower(tag, x[i + kWidth / 2].v, a);
        x[i + kWidth / 2].v = hn::ConcatUpperUpper(tag, x[i + kWidth / 2].v, a);
    }
}
