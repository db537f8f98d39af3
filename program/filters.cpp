// Plans filters and runs them. A plan follows the ranges of all values through the equations until they stay as they
// are; it tells the types of delays and results, and whether plain integers are long enough.
#include "program/filters.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <numeric>

#include "program/filter_forms.h"
#include "program/filter_loops.h"
#include "program/fixed_scalar.h"
#include "program/kernels.h"
#include "program/log_access.h"
#include "program/random_seed.h"

namespace tolvane {

using detail::ArrayAccess;
using detail::Chain;
using detail::ChainLengths;
using detail::Node;
using detail::Place;
using detail::wordarray;

namespace {

exact_value timesPower(const exact_value& value, int places) {
    return value * detail::Leaf::scaledValue(1, places);
}

/// What is known of values: their bounds, and that they are multiples of 2^-fraction. Zeros are multiples of anything.
struct Range {
    static constexpr int kNoFraction = std::numeric_limits<int>::min() / 4;
    exact_value low = {};
    exact_value high = {};
    int fraction = kNoFraction;

    friend bool operator==(const Range&, const Range&) = default;
    static Range of(const fixed_type& type) {
        const exact_value unit = detail::Leaf::scaledValue(1, -type.fraction);
        const exact_value bound = timesPower(unit, type.bits - (type.is_signed ? 1 : 0));
        return {type.is_signed ? -bound : exact_value(), bound - unit, type.fraction};
    }
    bool isZero() const { return low.is_zero() && high.is_zero(); }
    /// The bits of a signed integer times 2^-unit that holds all values.
    int bitsAt(int unit) const {
        const auto bits = [unit](const exact_value& x) { return x.is_zero() ? 0 : x.magnitude_exponent() + unit + 1; };
        return std::max(bits(low), bits(high)) + 1;
    }
    /// The shortest type that holds all values.
    fixed_type type() const {
        if (isZero()) {
            return {false, 1, 0};
        }
        int bits = high.is_zero() ? 0 : high.magnitude_exponent() + fraction + 1;
        if (!low.is_negative()) {
            return fixed_format(fixed_type{false, std::max(bits, 1), fraction}).type();
        }
        // A power of two below zero takes a bit less than one above.
        const int below = low.magnitude_exponent() + fraction + (low.bits() == 1 ? 0 : 1);
        bits = std::max(bits, below) + 1;
        return fixed_format(fixed_type{true, bits, fraction}).type();
    }
};

Range joined(const Range& a, const Range& b) {
    return {std::min(a.low, b.low), std::max(a.high, b.high), std::max(a.fraction, b.fraction)};
}
Range sumOf(const Range& a, const Range& b) {
    return {a.low + b.low, a.high + b.high, std::max(a.fraction, b.fraction)};
}
Range negated(const Range& a) {
    return {-a.high, -a.low, a.fraction};
}
Range productOf(const exact_value& factor, int fraction, const Range& x) {
    if (factor.is_zero() || x.isZero()) {
        return {};
    }
    const exact_value low = factor * x.low;
    const exact_value high = factor * x.high;
    return {std::min(low, high), std::max(low, high), fraction + x.fraction};
}

/// Exact numbers with a common last place.
struct Coefficients {
    std::vector<exact_value> values;
    int fraction = 0;
};

/// A section as the equations take it.
struct Section {
    Coefficients b;
    Coefficients a;  // from a1 on, with the sign that the products need
    bool subtracts = true;
    std::optional<exact_value> gain;
    int gainFraction = 0;
    /// Their formats, named for the logs.
    std::array<std::optional<fixed_format>, detail::kNodes> formats;
};

/// How a section holds its delays, as ranges or values.
template <class Value>
using Delays = std::array<std::vector<Value>, 2>;

/// What a section's values come to.
struct Plan {
    Range input;   // what its gain makes of the input
    Range factor;  // what the input node makes of that
    Range output;
    Delays<Range> delays;
    std::array<Range, detail::kNodes> arriving;  // at the nodes
    Range sums;
    Range factors;
    Range feedbackFactor;  // direct2's and transposed1's w
};

/// The equations on ranges.
class RangeMachine {
 public:
    using Factor = Range;
    using Sum = Range;

    RangeMachine(const Section& section, const std::array<std::optional<fixed_type>, detail::kNodes>& types, Plan& plan)
        : mSection(section), mTypes(types), mPlan(plan) {}
    std::size_t countB() const { return mSection.b.values.size() - 1; }
    std::size_t countA() const { return mSection.a.values.size(); }
    Range productB(std::size_t k, const Range& x) { return product<Node::productB>(mSection.b, k, x); }
    Range productA(std::size_t k, const Range& x) { return product<Node::productA>(mSection.a, k - 1, x); }
    Range add(const Range& sum, const Range& x) { return summed(sumOf(sum, x)); }
    Range addFeedback(const Range& sum, const Range& x) { return add(sum, feedback(x)); }
    Range feedback(const Range& x) { return mSection.subtracts ? negated(x) : x; }
    Range term(const Range& x) { return summed(x); }
    Range factorOf(const Range& x) {
        mPlan.feedbackFactor = joined(mPlan.feedbackFactor, x);
        return x;
    }
    Range delayed(Chain chain, std::size_t k) { return delay(chain, k); }
    Range held(Chain chain, std::size_t k) { return summed(delay(chain, k)); }
    void hold(Chain chain, std::size_t k, const Range& x) { delay(chain, k) = joined(delay(chain, k), x); }
    template <class Make>
    void push(Chain chain, std::size_t count, const Make& make) {
        for (std::size_t k = count; k > 1; --k) {
            hold(chain, k, delay(chain, k - 1));
        }
        if (count > 0) {
            hold(chain, 1, make());
        }
    }
    template <class Step>
    void forEachDelay(std::size_t count, const Step& step) {
        for (std::size_t k = 1; k <= count; ++k) {
            step(k);
        }
    }
    template <Node kNode>
    Range place(const Range& x) {
        return summed(replace<kNode>(x));
    }
    template <Node kNode>
    Range factor(const Range& x) {
        const Range made = replace<kNode>(x);
        if constexpr (kNode == Node::state) {
            mPlan.feedbackFactor = joined(mPlan.feedbackFactor, made);
        }
        return made;
    }
    template <Node kNode>
    Range replace(const Range& x) {
        Range& arriving = mPlan.arriving[detail::indexOf(kNode)];
        arriving = joined(arriving, x);
        const std::optional<fixed_type>& type = mTypes[detail::indexOf(kNode)];
        return type ? Range::of(*type) : x;
    }

 private:
    Range& delay(Chain chain, std::size_t k) { return mPlan.delays[static_cast<std::size_t>(chain)][k - 1]; }
    Range summed(const Range& x) {
        mPlan.sums = joined(mPlan.sums, x);
        return x;
    }
    template <Node kNode>
    Range product(const Coefficients& side, std::size_t k, const Range& x) {
        mPlan.factors = joined(mPlan.factors, x);
        return place<kNode>(productOf(side.values[k], side.fraction, x));
    }

    const Section& mSection;
    const std::array<std::optional<fixed_type>, detail::kNodes>& mTypes;
    Plan& mPlan;
};

template <class Machine>
auto stepBy(filter_form form, Machine& machine, const typename Machine::Factor& u) {
    switch (form) {
        case filter_form::direct2:
            return detail::filterStep<filter_form::direct2>(machine, u);
        case filter_form::transposed1:
            return detail::filterStep<filter_form::transposed1>(machine, u);
        case filter_form::transposed2:
            return detail::filterStep<filter_form::transposed2>(machine, u);
        default:
            return detail::filterStep<filter_form::direct1>(machine, u);
    }
}

/// Where a node's values are multiples of: all sums have one unit, which that of products without a place is, too.
int unitOf(const Plan& plan, Node node) {
    switch (node) {
        case Node::productB:
        case Node::productA:
        case Node::input:
        case Node::outputState:
            return plan.arriving[detail::indexOf(node)].fraction;
        default:
            return plan.sums.fraction;
    }
}

/// The unit of a node's values in a form: the states of direct1 take inputs.
int unitOf(const Plan& plan, filter_form form, Node node) {
    const int unit = node == Node::state && form == filter_form::direct1 ? plan.arriving[detail::indexOf(node)].fraction
                                                                         : unitOf(plan, node);
    return unit == Range::kNoFraction ? 0 : unit;
}

Plan planOf(const Section& section, filter_form form,
            const std::array<std::optional<fixed_type>, detail::kNodes>& types, const Range& x,
            const Delays<Range>& start) {
    Plan plan;
    plan.delays = start;
    const std::size_t order = section.b.values.size() + section.a.values.size();
    // Values pass one delay in each round, and a place in every loop ends their growth.
    const std::size_t mostRounds = 3 * order + 8;
    for (std::size_t round = 0;; ++round) {
        const Delays<Range> before = plan.delays;
        plan.arriving = {};
        plan.sums = {};
        plan.factors = {};
        plan.feedbackFactor = {};
        RangeMachine machine(section, types, plan);
        plan.input = section.gain ? productOf(*section.gain, section.gainFraction, x) : x;
        plan.factor = machine.replace<Node::input>(plan.input);
        plan.output = stepBy(form, machine, plan.factor);
        if (plan.delays == before) {
            return plan;
        }
        if (round == mostRounds) {
            throw error(
                "tolvane:filter:growth",
                "The values that are fed back would grow without bound. Give a format to section_output, state, "
                "sum_a or product_a.");
        }
    }
}

// The equations on exact values.

/// A place for one exact value after another.
class ExactPlace {
 public:
    ExactPlace(std::unique_ptr<Place> place, const Range& arriving, int unit)
        : mPlace(std::move(place)), mExtent{-unit, std::max(arriving.bitsAt(unit) - 1, 1), true} {
        mWidth =
            detail::integers::widthFor(std::max(mPlace->neededBits(mExtent), detail::integers::neededBits(mExtent)));
        mPlace->open(mWidth);
        mArena.emplace(mWidth, 1);
        mBlock = mArena->next();
    }
    exact_value quantize(const exact_value& value) {
        detail::setInteger(value, mExtent.exponent, mWidth, mBlock.limbs);
        mBlock.extent = mExtent;
        mBlock.negativeZeros = 0;
        mPlace->quantize(mBlock, 1);
        return exact_value::from_words(mBlock.limbs, mWidth, true, -mPlace->type().fraction);
    }
    const Place* place() const { return mPlace.get(); }

 private:
    std::unique_ptr<Place> mPlace;
    detail::integers::Extent mExtent;
    std::size_t mWidth = 0;
    std::optional<detail::integers::Arena> mArena;
    detail::integers::Block mBlock;
};

class ExactMachine {
 public:
    using Factor = exact_value;
    using Sum = exact_value;

    ExactMachine(const Section& section, std::array<std::optional<ExactPlace>, detail::kNodes>& places,
                 Delays<exact_value>& delays)
        : mSection(section), mPlaces(places), mDelays(delays) {}
    std::size_t countB() const { return mSection.b.values.size() - 1; }
    std::size_t countA() const { return mSection.a.values.size(); }
    exact_value input(const exact_value& x) { return place<Node::input>(mSection.gain ? *mSection.gain * x : x); }
    exact_value productB(std::size_t k, const exact_value& x) {
        return place<Node::productB>(mSection.b.values[k] * x);
    }
    exact_value productA(std::size_t k, const exact_value& x) {
        return place<Node::productA>(mSection.a.values[k - 1] * x);
    }
    static exact_value add(const exact_value& sum, const exact_value& x) { return sum + x; }
    exact_value addFeedback(const exact_value& sum, const exact_value& x) const {
        return mSection.subtracts ? sum - x : sum + x;
    }
    exact_value feedback(const exact_value& x) const { return mSection.subtracts ? -x : x; }
    static exact_value term(const exact_value& x) { return x; }
    static exact_value factorOf(const exact_value& x) { return x; }
    exact_value& delayed(Chain chain, std::size_t k) { return mDelays[static_cast<std::size_t>(chain)][k - 1]; }
    exact_value& held(Chain chain, std::size_t k) { return delayed(chain, k); }
    void hold(Chain chain, std::size_t k, const exact_value& x) { delayed(chain, k) = x; }
    template <class Make>
    void push(Chain chain, std::size_t count, const Make& make) {
        for (std::size_t k = count; k > 1; --k) {
            hold(chain, k, delayed(chain, k - 1));
        }
        if (count > 0) {
            hold(chain, 1, make());
        }
    }
    template <class Step>
    void forEachDelay(std::size_t count, const Step& step) {
        for (std::size_t k = 1; k <= count; ++k) {
            step(k);
        }
    }
    template <Node kNode>
    exact_value place(const exact_value& x) {
        std::optional<ExactPlace>& place = mPlaces[detail::indexOf(kNode)];
        return place ? place->quantize(x) : x;
    }
    template <Node kNode>
    exact_value factor(const exact_value& x) {
        return place<kNode>(x);
    }
    template <Node kNode>
    exact_value replace(const exact_value& x) {
        return place<kNode>(x);
    }

 private:
    const Section& mSection;
    std::array<std::optional<ExactPlace>, detail::kNodes>& mPlaces;
    Delays<exact_value>& mDelays;
};

// The same on plain integers.

template <class Int>
std::optional<Int> integerOf(const exact_value& value, int unit) {
    const detail::Leaf leaf = detail::leafOf(value);
    bool isTooLong = false;
    const detail::Term<detail::Int128> term = leaf.term<detail::Int128>(isTooLong);
    const detail::Int128 integer =
        value.is_zero() ? 0 : detail::raised(term.value, std::max(term.exponent + unit, 0), isTooLong);
    isTooLong |= !value.is_zero() && term.exponent + unit < 0;
    const auto made = static_cast<Int>(integer);
    return isTooLong || made != integer ? std::nullopt : std::optional(made);
}

/// A section for plain integers, if they are long enough for all that happens in it.
template <class Int>
std::optional<detail::LoopSection<Int>> loopSectionOf(const Section& section, filter_form form, const Plan& plan,
                                                      const Range& x) {
    constexpr int kMostBits = static_cast<int>(sizeof(Int)) * 8 - 2;
    const auto unitFor = [](const Range& range) { return range.fraction == Range::kNoFraction ? 0 : range.fraction; };
    const auto fits = [&](const Range& range, int unit) { return range.bitsAt(unit) <= kMostBits; };
    const int sumUnit = unitFor(plan.sums);
    detail::LoopSection<Int> made;
    made.form = form;
    made.subtracts = section.subtracts;
    if (!fits(plan.sums, sumUnit) || !fits(x, unitFor(x)) || !fits(plan.input, unitFor(plan.input))) {
        return std::nullopt;
    }
    // Sums that wrap all, or none of them.
    constexpr std::size_t kBiquad = 2;
    const bool isBiquad = section.b.values.size() == kBiquad + 1 && section.a.values.size() == kBiquad;
    bool isSimple = true;
    bool hasWrapping = false;
    bool hasSaturating = false;
    for (std::size_t i = 0; i < detail::kNodes; ++i) {
        const std::optional<fixed_format>& format = section.formats[i];
        if (!format) {
            continue;
        }
        const auto node = static_cast<Node>(i);
        const int unit = unitOf(plan, form, node);
        if (!fits(plan.arriving[i], unit) ||
            !detail::makeNarrowPlace(*format, -unit, detail::nextSeed(), made.places[i])) {
            return std::nullopt;
        }
        const std::optional<Int> most = integerOf<Int>(std::max(-plan.arriving[i].low, plan.arriving[i].high), unit);
        if (!most || *most > made.places[i].limit) {
            return std::nullopt;
        }
        const bool isSum =
            node == Node::productB || node == Node::productA || node == Node::sumB || node == Node::sumA ||
            (node == Node::state && (form == filter_form::transposed1 || form == filter_form::transposed2));
        made.up[i] = isSum ? sumUnit - format->type().fraction : 0;
        if (made.up[i] < 0) {
            return std::nullopt;
        }
        // The unit of all sums may be below the last place of those that arrive here, and then nothing is cut off.
        if (format->rounding() == rounding::add_sign && plan.arriving[i].fraction <= format->type().fraction) {
            made.places[i].addIfNegative = 0;
        }
        made.nodes |= 1U << i;
        const bool wraps = made.places[i].force == detail::NarrowPlace<Int>::Force::wrap;
        const bool mayWrap = isSum && node != Node::state;
        isSimple = isSimple && made.places[i].isSimple() && (mayWrap || !wraps);
        (wraps ? hasWrapping : hasSaturating) |= mayWrap;
    }
    if (isSimple && isBiquad && !(hasWrapping && hasSaturating)) {
        made.rule = hasWrapping ? detail::LoopRule::wrapSums : detail::LoopRule::saturate;
    }
    if (section.gain) {
        made.hasGain = true;
        const std::optional<Int> gain = integerOf<Int>(*section.gain, section.gainFraction);
        if (!gain) {
            return std::nullopt;
        }
        made.gain = *gain;
    }
    // The last places of what the coefficients of each side multiply, by the delays before it.
    const Range& factor = plan.factor;
    const auto chainFraction = [&](Chain chain, std::size_t k) {
        return unitFor(plan.delays[static_cast<std::size_t>(chain)][k - 1]);
    };
    const bool isDirect2 = form == filter_form::direct2;
    const int feedbackUnit = unitFor(plan.feedbackFactor);
    const auto factorFraction = [&](Node side, std::size_t k) {
        switch (form) {
            case filter_form::direct1:
                return side == Node::productB ? (k == 0 ? unitFor(factor) : chainFraction(Chain::b, k))
                                              : chainFraction(Chain::a, k);
            case filter_form::direct2:
            case filter_form::transposed1:
                return feedbackUnit;
            default:
                return side == Node::productB ? unitFor(factor) : unitFor(plan.output);
        }
    };
    const auto scale = [&](const Coefficients& side, Node node, std::size_t first, bool isNegative,
                           std::vector<Int>& to) {
        const bool hasPlace = section.formats[detail::indexOf(node)].has_value();
        const int unit = hasPlace ? unitOf(plan, form, node) : sumUnit;
        for (std::size_t k = 0; k < side.values.size(); ++k) {
            const exact_value value = isNegative ? -side.values[k] : side.values[k];
            const std::optional<Int> scaled = integerOf<Int>(value, unit - factorFraction(node, k + first));
            if (!scaled) {
                return false;
            }
            to.push_back(*scaled);
        }
        return true;
    };
    const bool hasProductA = section.formats[detail::indexOf(Node::productA)].has_value();
    if (!scale(section.b, Node::productB, 0, false, made.b) ||
        !scale(section.a, Node::productA, 1, section.subtracts && !hasProductA, made.a)) {
        return std::nullopt;
    }
    made.termShift = isDirect2 || form == filter_form::transposed1 ? sumUnit - unitFor(factor) : 0;
    made.factorShift = form == filter_form::transposed1 ? sumUnit - feedbackUnit : 0;
    made.stateShift = isDirect2 ? sumUnit - feedbackUnit : 0;
    made.outputShift = sumUnit - unitFor(plan.output);
    if (made.termShift < 0 || made.factorShift < 0 || made.stateShift < 0 ||
        (made.outputShift < 0 && !section.formats[detail::indexOf(Node::output)])) {
        return std::nullopt;
    }
    return made;
}

// Options and arguments.

constexpr const char* kNodeNames[detail::kNodes] = {"section_input", "product_b", "product_a", "sum_b",
                                                    "sum_a",         "state",     "state",     "section_output"};

/// The numbers of an array or of doubles, quantized if there is a format.
Coefficients coefficientsOf(const filter_coefficients& given, const std::optional<fixed_format>& format,
                            const fixed_array& x, const code_location& where) {
    std::optional<fixed_array> array;
    Coefficients made;
    if (given.array()) {
        array = format ? cast(*given.array(), *format, where) : *given.array();
    } else if (format) {
        array = fixed_array(given.doubles(), *format, where);
    }
    if (array) {
        if (array->is_complex()) {
            throw error("tolvane:array:complex", "Filters take real coefficients.");
        }
        for (std::size_t i = 0; i < array->size(); ++i) {
            made.values.push_back(array->at(i));
        }
        made.fraction = array->type().fraction;
        return made;
    }
    for (const double value : given.doubles()) {
        const exact_value exact(value);
        if (exact.bits() > x.type().bits) {
            throw error("tolvane:filter:coefficients",
                        "The coefficient " + exact.text() + " has " + std::to_string(exact.bits()) +
                            " significant bits, more than the words of the signal. Give the coefficients a format, "
                            "coefficients_b and coefficients_a.");
        }
        made.values.push_back(exact);
        made.fraction = std::max(made.fraction, exact.is_zero() ? 0 : -exact.exponent());
    }
    return made;
}

/// The coefficients of one section as they are given; a0 is checked and left out.
struct Given {
    filter_coefficients b;
    filter_coefficients a;
};

void requireOne(const exact_value& a0) {
    if (a0 != exact_value(1)) {
        throw error("tolvane:filter:a0", "a0 is " + a0.text() + ", and has to be 1. Divide all coefficients by it.");
    }
}

filter_coefficients partOf(const filter_coefficients& all, std::size_t begin, std::size_t count) {
    if (const fixed_array* const array = all.array()) {
        std::vector<exact_value> values;
        for (std::size_t i = begin; i < begin + count; ++i) {
            values.push_back(array->at(i));
        }
        return fixed_array(values, fixed_format(array->type())).named(array->name());
    }
    return std::vector<double>(all.doubles().begin() + static_cast<std::ptrdiff_t>(begin),
                               all.doubles().begin() + static_cast<std::ptrdiff_t>(begin + count));
}
std::size_t sizeOf(const filter_coefficients& all) {
    return all.array() ? all.array()->size() : all.doubles().size();
}
exact_value valueAt(const filter_coefficients& all, std::size_t i) {
    return all.array() ? all.array()->at(i) : exact_value(all.doubles()[i]);
}

filter_coefficients withoutFirst(const filter_coefficients& a) {
    if (sizeOf(a) == 0) {
        throw error("tolvane:filter:coefficients", "There are no coefficients a; a filter without feedback has {1}.");
    }
    requireOne(valueAt(a, 0));
    return partOf(a, 1, sizeOf(a) - 1);
}

filter_coefficients negatedOf(const filter_coefficients& a) {
    if (a.array()) {
        return -*a.array();
    }
    std::vector<double> values = a.doubles();
    std::ranges::transform(values, values.begin(), std::negate<>());
    return values;
}

/// A filter and a signal, ready to run.
class Filter {
 public:
    Filter(const std::vector<Given>& given, const fixed_array& x, const filter_state& state,
           const filter_options& options, const code_location& where)
        : mX(x), mOptions(options), mWhere(where), mMoment(LogAccess::moment()) {
        if (x.is_complex()) {
            throw error("tolvane:array:complex", "Filters take real signals; filter real() and imag() one by one.");
        }
        if (x.shape().empty()) {
            throw error("tolvane:array:shape", "A filter needs a signal, and this is a single number.");
        }
        mLength = x.shape().back();
        mRows = mLength == 0 ? 0 : x.size() / mLength;
        if (options.gains.size() != 0 && options.gains.size() != given.size()) {
            throw error("tolvane:filter:gains", "There are " + std::to_string(options.gains.size()) + " gains for " +
                                                    std::to_string(given.size()) + " sections.");
        }
        if (!state.sections.empty() && state.sections.size() != given.size()) {
            throw error("tolvane:filter:state", "The state is of " + std::to_string(state.sections.size()) +
                                                    " sections, and the filter has " + std::to_string(given.size()) +
                                                    ".");
        }
        mRowShape = x.shape();
        mRowShape.pop_back();
        Range range = Range::of(x.type());
        for (std::size_t i = 0; i < given.size(); ++i) {
            addSection(given[i], i, given.size(), state, range);
            range = mPlans.back().output;
        }
        mType = mTypes.empty()                                 ? x.type()
                : mTypes.back()[detail::indexOf(Node::output)] ? *mTypes.back()[detail::indexOf(Node::output)]
                                                               : range.type();
        detail::grown(mType, x, x);
    }

    fixed_array run(filter_state* state) {
        wordarray words(mX.size(), detail::gridOf(mType));
        if (LogAccess::wantsMore() || (!runOn<std::int64_t>(words) && !runOn<detail::Int128>(words))) {
            runExactly(words);
        }
        filter_state after;
        for (std::size_t i = 0; i < mSections.size(); ++i) {
            after.sections.push_back(stateOf(i));
        }
        const std::optional<fixed_format>& format = mOptions.section_output;
        fixed_array y = ArrayAccess::make(mType, mX.shape(), std::move(words), std::nullopt,
                                          format && !format->name().empty() ? format->name() : mOptions.name);
        std::vector<const Place*> places;
        for (const auto& section : mPlaces) {
            for (const std::unique_ptr<Place>& place : section) {
                places.push_back(place.get());
            }
        }
        for (const auto& section : mExact) {
            for (const std::optional<ExactPlace>& place : section) {
                places.push_back(place ? place->place() : nullptr);
            }
        }
        if (state) {
            *state = std::move(after);
        }
        Place::close(places);
        return y;
    }

 private:
    using NodeTypes = std::array<std::optional<fixed_type>, detail::kNodes>;

    void addSection(const Given& given, std::size_t index, std::size_t count, const filter_state& state,
                    const Range& x) {
        Section section;
        const std::string prefix = (mOptions.name.empty() ? "" : mOptions.name + " ") +
                                   (count > 1 ? "section " + std::to_string(index + 1) + " " : "");
        const auto named = [&](const std::optional<fixed_format>& format, const char* node) {
            return format ? std::optional(format->named(prefix + (format->name().empty() ? node : format->name())))
                          : std::nullopt;
        };
        const std::optional<fixed_format>* const formats[] = {
            &mOptions.section_input, &mOptions.product_b, &mOptions.product_a, &mOptions.sum_b,
            &mOptions.sum_a,         &mOptions.state,     &mOptions.state,     &mOptions.section_output};
        NodeTypes types;
        std::array<std::unique_ptr<Place>, detail::kNodes> places;
        for (std::size_t i = 0; i < detail::kNodes; ++i) {
            section.formats[i] = named(*formats[i], kNodeNames[i]);
            if (static_cast<Node>(i) == Node::outputState && mOptions.form != filter_form::direct1) {
                section.formats[i].reset();
            }
            if (section.formats[i]) {
                places[i] = std::make_unique<Place>(*section.formats[i], mWhere);
                types[i] = places[i]->type();
            }
        }
        section.b = coefficientsOf(given.b, named(mOptions.coefficients_b, "coefficients_b"), mX, mWhere);
        if (section.b.values.empty()) {
            throw error("tolvane:filter:coefficients", "There are no coefficients b.");
        }
        section.subtracts = mOptions.a_sign == feedback_sign::subtract;
        section.a = coefficientsOf(section.subtracts ? given.a : negatedOf(given.a),
                                   named(mOptions.coefficients_a, "coefficients_a"), mX, mWhere);
        if (mOptions.gains.size() != 0) {
            section.gain = mOptions.gains.at(index);
            section.gainFraction = mOptions.gains.type().fraction;
        }
        const ChainLengths lengths =
            detail::chainLengths(mOptions.form, section.b.values.size() - 1, section.a.values.size());
        Delays<std::vector<exact_value>> delays;
        Delays<Range> ranges;
        for (const Chain chain : {Chain::b, Chain::a}) {
            const auto c = static_cast<std::size_t>(chain);
            const std::size_t size = chain == Chain::b ? lengths.b : lengths.a;
            delays[c].assign(size, std::vector<exact_value>(mRows));
            ranges[c].resize(size);
            if (!state.sections.empty()) {
                const section_state& held = state.sections[index];
                readState(chain == Chain::b ? held.b : held.a, delays[c], ranges[c]);
            }
        }
        mPlans.push_back(planOf(section, mOptions.form, types, x, ranges));
        mInputs.push_back(x);
        mSections.push_back(std::move(section));
        mTypes.push_back(types);
        mPlaces.push_back(std::move(places));
        mDelays.push_back(std::move(delays));
    }

    void readState(const std::vector<fixed_array>& held, std::vector<std::vector<exact_value>>& delays,
                   std::vector<Range>& ranges) const {
        if (held.size() != delays.size()) {
            throw error("tolvane:filter:state", "The state has " + std::to_string(held.size()) +
                                                    " delays where the filter has " + std::to_string(delays.size()) +
                                                    ".");
        }
        for (std::size_t k = 0; k < held.size(); ++k) {
            if (held[k].size() != mRows) {
                throw error("tolvane:filter:state", "The state is of " + std::to_string(held[k].size()) +
                                                        " signals, and there are " + std::to_string(mRows) + ".");
            }
            for (std::size_t row = 0; row < mRows; ++row) {
                delays[k][row] = held[k].at(row);
                const exact_value& value = delays[k][row];
                if (!value.is_zero()) {
                    ranges[k] = joined(ranges[k], {std::min(value, exact_value()), std::max(value, exact_value()),
                                                   held[k].type().fraction});
                }
            }
        }
    }

    section_state stateOf(std::size_t index) const {
        section_state made;
        for (const Chain chain : {Chain::b, Chain::a}) {
            const auto c = static_cast<std::size_t>(chain);
            for (std::size_t k = 0; k < mDelays[index][c].size(); ++k) {
                const fixed_type type = mPlans[index].delays[c][k].type();
                wordarray words(mRows, detail::gridOf(type));
                for (std::size_t row = 0; row < mRows; ++row) {
                    const std::span<mp_limb_t> word = words.word(row);
                    detail::setInteger(mDelays[index][c][k][row], -type.fraction, word.size(), word.data());
                }
                (chain == Chain::b ? made.b : made.a)
                    .push_back(ArrayAccess::make(type, mRowShape, std::move(words), std::nullopt));
            }
        }
        return made;
    }

    void runExactly(wordarray& words) {
        mExact.resize(mSections.size());
        for (std::size_t s = 0; s < mSections.size(); ++s) {
            for (std::size_t i = 0; i < detail::kNodes; ++i) {
                if (mPlaces[s][i]) {
                    const Range& arriving = mPlans[s].arriving[i];
                    mExact[s][i].emplace(std::move(mPlaces[s][i]), arriving,
                                         arriving.fraction == Range::kNoFraction ? 0 : arriving.fraction);
                }
            }
        }
        for (std::size_t row = 0; row < mRows; ++row) {
            std::vector<exact_value> samples;
            for (std::size_t n = 0; n < mLength; ++n) {
                samples.push_back(mX.at(row * mLength + n));
            }
            for (std::size_t s = 0; s < mSections.size(); ++s) {
                Delays<exact_value> delays;
                for (std::size_t c = 0; c < 2; ++c) {
                    for (const auto& delay : mDelays[s][c]) {
                        delays[c].push_back(delay[row]);
                    }
                }
                ExactMachine machine(mSections[s], mExact[s], delays);
                for (exact_value& sample : samples) {
                    sample = stepBy(mOptions.form, machine, machine.input(sample));
                }
                for (std::size_t c = 0; c < 2; ++c) {
                    for (std::size_t k = 0; k < delays[c].size(); ++k) {
                        mDelays[s][c][k][row] = delays[c][k];
                    }
                }
            }
            for (std::size_t n = 0; n < mLength; ++n) {
                const std::span<mp_limb_t> word = words.word(row * mLength + n);
                detail::setInteger(samples[n], -mType.fraction, word.size(), word.data());
            }
        }
    }

    /// Runs all sections on integers of one length; false, and nothing has changed, if they are too short.
    template <class Int>
    bool runOn(wordarray& words) {
        constexpr int kMostBits = static_cast<int>(sizeof(Int)) * 8;
        if (mX.type().bits >= kMostBits || mType.bits > kMostBits) {
            return false;
        }
        std::vector<detail::LoopSection<Int>> sections;
        for (std::size_t s = 0; s < mSections.size(); ++s) {
            std::optional<detail::LoopSection<Int>> made =
                loopSectionOf<Int>(mSections[s], mOptions.form, mPlans[s], mInputs[s]);
            if (!made) {
                return false;
            }
            sections.push_back(std::move(*made));
        }
        const bool isLogged = LogAccess::isLogging();
        std::vector<Int> samples(mLength);
        for (std::size_t row = 0; row < mRows; ++row) {
            readRow(row, samples);
            for (std::size_t s = 0; s < sections.size(); ++s) {
                startRow(s, row, sections[s]);
                detail::filterLoop(sections[s], samples.data(), mLength, isLogged);
                endRow(s, row, sections[s]);
            }
            writeRow(row, samples, words);
        }
        if (isLogged) {
            for (std::size_t s = 0; s < sections.size(); ++s) {
                handOver(s, sections[s]);
            }
        }
        return true;
    }
    template <class Int>
    void readRow(std::size_t row, std::vector<Int>& samples) const {
        const wordarray& from = *ArrayAccess::real(mX);
        const bool isSigned = mX.type().is_signed;
        for (std::size_t n = 0; n < mLength; ++n) {
            const std::span<const mp_limb_t> word = std::as_const(from).word(row * mLength + n);
            const auto low = static_cast<std::int64_t>(word[0]);
            if constexpr (sizeof(Int) == sizeof(std::int64_t)) {
                samples[n] = low;
            } else {
                samples[n] = detail::wordOf(low, word.size() > 1 ? static_cast<std::int64_t>(word[1])
                                                 : isSigned      ? low >> 63
                                                                 : 0);
            }
        }
    }
    template <class Int>
    void writeRow(std::size_t row, const std::vector<Int>& samples, wordarray& words) const {
        const int shift = mTypes.empty() ? 0 : mType.fraction - outputFraction(mSections.size() - 1);
        for (std::size_t n = 0; n < mLength; ++n) {
            const std::span<mp_limb_t> word = words.word(row * mLength + n);
            const Int value =
                static_cast<Int>(static_cast<typename detail::UnsignedOf<Int>::Type>(samples[n]) << shift);
            word[0] = static_cast<mp_limb_t>(value);
            if (word.size() > 1) {
                word[1] = static_cast<mp_limb_t>(static_cast<detail::Int128>(value) >> 64);
            }
        }
    }
    /// The last place of what a section gives on integers.
    int outputFraction(std::size_t s) const {
        const int fraction = mPlans[s].output.fraction;
        return fraction == Range::kNoFraction ? 0 : fraction;
    }
    template <class Int>
    int delayUnit(std::size_t s, std::size_t chain, std::size_t k) const {
        const bool holdsSums = mOptions.form == filter_form::transposed1 || mOptions.form == filter_form::transposed2;
        const Plan& plan = mPlans[s];
        const int unit = holdsSums                               ? plan.sums.fraction
                         : mOptions.form == filter_form::direct2 ? plan.feedbackFactor.fraction
                                                                 : plan.delays[chain][k].fraction;
        return unit == Range::kNoFraction ? 0 : unit;
    }
    template <class Int>
    void startRow(std::size_t s, std::size_t row, detail::LoopSection<Int>& section) const {
        for (std::size_t c = 0; c < 2; ++c) {
            section.delays[c].clear();
            for (std::size_t k = 0; k < mDelays[s][c].size(); ++k) {
                section.delays[c].push_back(integerOf<Int>(mDelays[s][c][k][row], delayUnit<Int>(s, c, k)).value());
            }
        }
    }
    template <class Int>
    void endRow(std::size_t s, std::size_t row, const detail::LoopSection<Int>& section) {
        for (std::size_t c = 0; c < 2; ++c) {
            for (std::size_t k = 0; k < mDelays[s][c].size(); ++k) {
                mDelays[s][c][k][row] = detail::Leaf::scaledValue(section.delays[c][k], -delayUnit<Int>(s, c, k));
            }
        }
    }
    template <class Int>
    void handOver(std::size_t s, detail::LoopSection<Int>& section) const {
        for (std::size_t i = 0; i < detail::kNodes; ++i) {
            if (mSections[s].formats[i]) {
                detail::handOver(*mSections[s].formats[i], -unitOf(mPlans[s], mOptions.form, static_cast<Node>(i)),
                                 section.places[i].notes, mMoment);
            }
        }
    }

    const fixed_array& mX;
    const filter_options& mOptions;
    const code_location& mWhere;
    std::uint64_t mMoment;
    std::size_t mLength = 0;
    std::size_t mRows = 0;
    array_shape mRowShape;
    fixed_type mType;
    std::vector<Section> mSections;
    std::vector<Plan> mPlans;
    std::vector<Range> mInputs;
    std::vector<NodeTypes> mTypes;
    std::vector<std::array<std::unique_ptr<Place>, detail::kNodes>> mPlaces;
    std::vector<std::array<std::optional<ExactPlace>, detail::kNodes>> mExact;
    std::vector<Delays<std::vector<exact_value>>> mDelays;  // each for every row
};

std::vector<Given> sectionsOf(const filter_sections& sos) {
    constexpr std::size_t kNumbers = 6;
    constexpr std::size_t kB = 3;
    const filter_coefficients& all = sos.coefficients();
    const fixed_array* const array = all.array();
    if (sizeOf(all) == 0 || sizeOf(all) % kNumbers != 0 ||
        (array && (array->shape().size() > 2 || array->shape().back() != kNumbers))) {
        throw error("tolvane:filter:coefficients",
                    "Sections are an array of n by 6: b0, b1, b2, a0, a1, a2, with n of 1 or more.");
    }
    std::vector<Given> given;
    for (std::size_t i = 0; i < sizeOf(all); i += kNumbers) {
        given.push_back({partOf(all, i, kB), withoutFirst(partOf(all, i + kB, kB))});
    }
    return given;
}

}  // namespace

fixed_array lfilter(const filter_coefficients& b, const filter_coefficients& a, const fixed_array& x,
                    const filter_options& options, const code_location& where) {
    return Filter({{b, withoutFirst(a)}}, x, {}, options, where).run(nullptr);
}
fixed_array lfilter(const filter_coefficients& b, const filter_coefficients& a, const fixed_array& x,
                    filter_state& state, const filter_options& options, const code_location& where) {
    return Filter({{b, withoutFirst(a)}}, x, state, options, where).run(&state);
}
fixed_array sosfilt(const filter_sections& sos, const fixed_array& x, const filter_options& options,
                    const code_location& where) {
    return Filter(sectionsOf(sos), x, {}, options, where).run(nullptr);
}
fixed_array sosfilt(const filter_sections& sos, const fixed_array& x, filter_state& state,
                    const filter_options& options, const code_location& where) {
    return Filter(sectionsOf(sos), x, state, options, where).run(&state);
}

}  // namespace tolvane
