// The machine that runs the steps of a sum on one lane, where the time is that of each step waiting for the one before.
// No include guard: included after fi/bulk/lane_machine.inl.h.

/// The tally of a place that meets single values.
class ChainTally {
 public:
    void note(const auto& result) {
        mTally.greatest = result.value > mTally.greatest ? result.value : mTally.greatest;
        mTally.least = result.value < mTally.least ? result.value : mTally.least;
        mTally.overflows += result.overflow ? 1 : 0;
        mTally.underflows += result.underflow ? 1 : 0;
    }
    Tally total(double unit) const {
        Tally result = mTally;
        result.greatest *= unit;
        result.least *= unit;
        const auto zeros = [](double x) -> unsigned {
            return x != 0.0 ? Tally::none : std::signbit(x) ? Tally::minus : Tally::plus;
        };
        result.greatestZeros = zeros(result.greatest);
        result.leastZeros = zeros(result.least);
        return result;
    }

 private:
    Tally mTally;
};

/// The limits of a format in units of its last bit.
struct UnitLimits {
    explicit UnitLimits(const FixedDoubleLimits& limits)
        : lowerbound(limits.lowerbound * limits.scale),
          realmax(limits.realmax * limits.scale),
          wraparound(limits.wraparound * limits.scale),
          inverseWraparound(limits.inverseWraparound * limits.inverseScale) {
        if (lowerbound < 0.0) {
            wrapsFrom = -lowerbound;
        }
    }
    double lowerbound;
    double realmax;
    double wraparound;
    double inverseWraparound;
    double wrapsFrom = std::numeric_limits<double>::infinity();
};

/// The rule of any rounding mode: for what doesn't wait for the value before.
struct AnyRule {
    explicit AnyRule(embedded::RoundModeEnum mode) : rule(RoundingRules::indexOf(mode)) {}
    double operator()(double x) const { return applyPicked<true>(RoundingRules(), rule, x); }
    std::size_t rule;
};
template <class Rule>
struct KnownRule {
    explicit KnownRule(embedded::RoundModeEnum) {}
    double operator()(double x) const { return Rule::apply(x); }
};

/// For sums that are proven to stay in their format.
struct NoRule {
    explicit NoRule(embedded::RoundModeEnum) {}
    double operator()(double x) const { return x; }
};
struct NoOverflow {
    template <class Word, class V>
    static bool apply(V&, const UnitLimits&) {
        return false;
    }
};

/// Doubles in units of the sum's last bit, so that no scaling waits in the chain. Where terms are converted first, sums
/// of whole numbers are whole, and only their bounds are checked.
template <class Rounding, class Overflow, bool castsSum, bool counts>
class ChainMachine {
 public:
    struct Place {
        UnitLimits limits;
        ChainTally tally;
    };
    explicit ChainMachine(const Places& places) : sum{UnitLimits(places.sum), {}}, mRound(places.rule.round) {}

    static void combine(Plus, double& cell, double x) { cell += x; }
    double cast(Place& place, double x) {
        if constexpr (castsSum) {
            finish(place, x, mRound(x));
        }
        return x;
    }
    void quantize(Place& place, double& cell) { finish(place, cell, castsSum ? cell : mRound(cell)); }

    Place sum;

 private:
    static void finish(Place& place, double& cell, double whole) {
        const auto result = quantizeRoundedValue<Overflow, AnyWord>(cell, whole, place.limits);
        if constexpr (counts) {
            place.tally.note(result);
        }
        cell = result.value;
    }
    Rounding mRound;
};

using Chain = double (*)(const Places&, const double*, std::size_t, double, RunNotes*);

template <class Machine>
double chainLoop(const Places& places, const double* terms, std::size_t count, double total, RunNotes* notes) {
    Machine machine(places);
    const double scale = places.sum.scale;
    double sum = total * scale;
    for (std::size_t i = 0; i < count; ++i) {
        double term = terms[i] * scale;
        accumulateStep(machine, machine.sum, Plus(), sum, term);
    }
    if (notes) {
        notes->tallies.sum.join(machine.sum.tally.total(places.sum.inverseScale));
    }
    return sum * places.sum.inverseScale;
}

template <class Rounding, class Overflow, bool castsSum>
constexpr Chain chainFor(bool counts) {
    return counts ? chainLoop<ChainMachine<Rounding, Overflow, castsSum, true>>
                  : chainLoop<ChainMachine<Rounding, Overflow, castsSum, false>>;
}

template <class Overflow>
Chain chainFor(const Places& places, bool counts) {
    if (places.castsSum) {
        return chainFor<AnyRule, Overflow, true>(counts);
    }
    static constexpr auto kSilent =
        RoundingRules::table([]<class Rule>() { return chainFor<KnownRule<Rule>, Overflow, false>(false); });
    static constexpr auto kCounting =
        RoundingRules::table([]<class Rule>() { return chainFor<KnownRule<Rule>, Overflow, false>(true); });
    return (counts ? kCounting : kSilent)[RoundingRules::indexOf(places.rule.round)];
}

double accumulateChainForTarget(const Places& places, const double* terms, std::size_t count, double total,
                                RunNotes* notes) {
    if (places.treatment == Treatment::keep) {
        return (places.castsSum ? chainFor<NoRule, NoOverflow, true>(notes)
                                : chainFor<NoRule, NoOverflow, false>(notes))(places, terms, count, total, notes);
    }
    const Chain chain = places.rule.overflow == embedded::OverflowModeEnum::Saturate
                            ? chainFor<SaturateOverflow>(places, notes)
                            : chainFor<WrapOverflow>(places, notes);
    return chain(places, terms, count, total, notes);
}
