#include "program/filter_plan.h"

#include <algorithm>

#include "numbers/interruption.h"
#include "program/fixed_scalar.h"

namespace tolvane::detail::filter {

namespace {

exact_value timesPower(const exact_value& value, int places) {
    return value * Leaf::scaledValue(1, places);
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

/// The equations on ranges.
class RangeMachine {
 public:
    using Factor = Range;
    using Sum = Range;

    RangeMachine(const Section& section, const std::array<std::optional<fixed_type>, kNodes>& types, Plan& plan)
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
    template <Node kNode>
    Range place(const Range& x) {
        return summed(replace<kNode>(x));
    }
    template <Node kNode>
    Range factor(const Range& x) {
        Range made = replace<kNode>(x);
        if constexpr (kNode == Node::state) {
            mPlan.feedbackFactor = joined(mPlan.feedbackFactor, made);
        }
        return made;
    }
    template <Node kNode>
    Range replace(const Range& x) {
        Range& arriving = mPlan.arriving[indexOf(kNode)];
        arriving = joined(arriving, x);
        const std::optional<fixed_type>& type = mTypes[indexOf(kNode)];
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
        constexpr std::uint64_t kProduct = 200;
        noteWork(kProduct);
        return place<kNode>(productOf(side.values[k], side.fraction, x));
    }

    const Section& mSection;
    const std::array<std::optional<fixed_type>, kNodes>& mTypes;
    Plan& mPlan;
};

/// Without regard to the form.
int unitOf(const Plan& plan, Node node) {
    switch (node) {
        case Node::productB:
        case Node::productA:
        case Node::input:
        case Node::outputState:
            return plan.arriving[indexOf(node)].fraction;
        default:
            return plan.sums.fraction;
    }
}

}  // namespace

Range Range::of(const fixed_type& type) {
    const exact_value unit = Leaf::scaledValue(1, -type.fraction);
    const exact_value bound = timesPower(unit, type.bits - (type.is_signed ? 1 : 0));
    return {type.is_signed ? -bound : exact_value(), bound - unit, type.fraction};
}

int Range::bitsAt(int unit) const {
    const auto bits = [unit](const exact_value& x) { return x.is_zero() ? 0 : x.magnitude_exponent() + unit + 1; };
    return std::max(bits(low), bits(high)) + 1;
}

fixed_type Range::type() const {
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

Range joined(const Range& a, const Range& b) {
    return {std::min(a.low, b.low), std::max(a.high, b.high), std::max(a.fraction, b.fraction)};
}

int unitOf(const Plan& plan, filter_form form, Node node) {
    const int unit = node == Node::state && form == filter_form::direct1 ? plan.arriving[indexOf(node)].fraction
                                                                         : unitOf(plan, node);
    return unit == Range::kNoFraction ? 0 : unit;
}

Plan planOf(const Section& section, filter_form form, const std::array<std::optional<fixed_type>, kNodes>& types,
            const Range& x, const Delays<Range>& start) {
    Plan plan;
    plan.delays = start;
    const std::size_t order = section.b.values.size() + section.a.values.size();
    // Values pass one delay in each round, and a place in every loop ends their growth.
    const std::size_t mostRounds = 3 * order + 8;
    for (std::size_t round = 0;; ++round) {
        const Delays<Range> before = plan.delays;
        plan.arriving = {};
        plan.sums = {};
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

}  // namespace tolvane::detail::filter
