// Runs filters by their plans: on plain integers if they are long enough, else on exact values and the blocks of
// places.
#include "program/filters.h"

#include <algorithm>
#include <memory>
#include <numeric>

#include "program/filter_loops.h"
#include "program/filter_plan.h"
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
using detail::filter::Coefficients;
using detail::filter::Delays;
using detail::filter::NodeTypes;
using detail::filter::Plan;
using detail::filter::Range;
using detail::filter::Section;

namespace {

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
    std::optional<detail::Arena> mArena;
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
        detail::noteWork(kProduct);
        return place<Node::productB>(mSection.b.values[k] * x);
    }
    exact_value productA(std::size_t k, const exact_value& x) {
        detail::noteWork(kProduct);
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
    static constexpr std::uint64_t kProduct = 500;

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
    const auto fits = [&](const Range& range, int unit) { return range.bitsAt(unit) <= kMostBits; };
    const int sumUnit = plan.sums.unit();
    detail::LoopSection<Int> made;
    made.form = form;
    made.subtracts = section.subtracts;
    if (!fits(plan.sums, sumUnit) || !fits(x, x.unit()) || !fits(plan.input, plan.input.unit())) {
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
        // The unit may be finer than what arrives, of which then nothing is cut off.
        const bool cutsBits = plan.arriving[i].fraction > format->type().fraction;
        const fixed_format rules(format->type(), cutsBits ? format->rounding() : rounding::floor, format->overflow());
        if (!fits(plan.arriving[i], unit) ||
            !detail::makeNarrowPlace(rules, -unit, detail::nextSeed(), made.places[i])) {
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
    // Delays move up their chain as they are, so those that were given must have the unit of those that are made.
    const bool isDirect1 = form == filter_form::direct1;
    const bool isDirect2 = form == filter_form::direct2;
    if (isDirect1 || isDirect2) {
        for (std::size_t chain = 0; chain < 2; ++chain) {
            const Node node = chain == 0 ? Node::state : Node::outputState;
            const std::optional<fixed_format>& format = section.formats[detail::indexOf(node)];
            const int fraction = isDirect2    ? plan.feedbackFactor.fraction
                                 : format     ? format->type().fraction
                                 : chain == 0 ? plan.factor.fraction
                                              : plan.output.fraction;
            for (const Range& delay : plan.delays[chain]) {
                if (delay.fraction != fraction || !fits(delay, delay.unit())) {
                    return std::nullopt;
                }
            }
        }
    }
    // What the coefficients of each side multiply.
    const auto factorOf = [&](Node side, std::size_t k) -> const Range& {
        switch (form) {
            case filter_form::direct1:
                return side == Node::productA ? plan.delays[1][k - 1] : k == 0 ? plan.factor : plan.delays[0][k - 1];
            case filter_form::direct2:
            case filter_form::transposed1:
                return plan.feedbackFactor;
            default:
                return side == Node::productB ? plan.factor : plan.output;
        }
    };
    const auto scale = [&](const Coefficients& side, Node node, std::size_t first, bool isNegative,
                           std::vector<Int>& to) {
        const bool hasPlace = section.formats[detail::indexOf(node)].has_value();
        const int unit = hasPlace ? unitOf(plan, form, node) : sumUnit;
        for (std::size_t k = 0; k < side.values.size(); ++k) {
            const Range& factor = factorOf(node, k + first);
            if (factor.isZero()) {
                to.push_back(0);  // no unit, and nothing to multiply
                continue;
            }
            const exact_value value = isNegative ? -side.values[k] : side.values[k];
            const std::optional<Int> scaled = integerOf<Int>(value, unit - factor.fraction);
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
    const auto shiftTo = [&](const Range& range) { return range.isZero() ? 0 : sumUnit - range.fraction; };
    if (isDirect2 || form == filter_form::transposed1) {
        made.termShift = shiftTo(plan.factor);
        made.factorShift = shiftTo(plan.feedbackFactor);
        made.stateShift = made.factorShift;
    }
    made.outputShift = shiftTo(plan.output);
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

/// Values that a type holds, which is no event for logs.
fixed_array exactArray(const std::vector<exact_value>& values, const fixed_type& type, const array_shape& shape) {
    wordarray words = detail::makeWords(values.size(), detail::gridOf(type));
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::span<mp_limb_t> word = words.word(i);
        detail::setInteger(values[i], -type.fraction, word.size(), word.data());
    }
    return ArrayAccess::make(type, shape, std::move(words), std::nullopt);
}

/// The coefficients of one section as they are given; a0 is checked and left out.
struct Given {
    filter_coefficients b;
    filter_coefficients a;
};

void requireReal(const fixed_array& x, const char* what) {
    if (x.is_complex()) {
        throw error("tolvane:array:complex", std::string("Filters take real ") + what + ".");
    }
}

const filter_coefficients& vectorOf(const filter_coefficients& given) {
    if (const fixed_array* const array = given.array()) {
        requireReal(*array, "coefficients");
        if (array->shape().size() != 1) {
            throw error("tolvane:filter:coefficients", "The coefficients of a filter are a vector, and these have " +
                                                           std::to_string(array->shape().size()) + " dimensions.");
        }
    }
    return given;
}

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
        return exactArray(values, array->type(), {count}).named(array->name());
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
        requireReal(options.gains, "gains");
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
        mRows = std::accumulate(mRowShape.begin(), mRowShape.end(), std::size_t{1}, std::multiplies<>());
        Range range = Range::of(x.type());
        for (std::size_t i = 0; i < given.size(); ++i) {
            addSection(given[i], i, given.size(), state, range);
            range = mPlans.back().output;
        }
        mType = mTypes.empty()                                 ? x.type()
                : mTypes.back()[detail::indexOf(Node::output)] ? *mTypes.back()[detail::indexOf(Node::output)]
                                                               : range.type();
        detail::grown(mType, x, x);
        for (const Plan& plan : mPlans) {
            for (const auto& chain : plan.delays) {
                for (const Range& delay : chain) {
                    detail::grown(delay.type(), x, x);
                }
            }
        }
    }

    fixed_array run(filter_state* state) {
        wordarray words = detail::makeWords(mX.size(), detail::gridOf(mType));
        if (LogAccess::wantsMore() || (!runOn<std::int64_t>(words) && !runOn<detail::Int128>(words))) {
            runExactly(words);
        }
        filter_state after;
        for (std::size_t i = 0; state && i < mSections.size(); ++i) {
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
        Place::close(places);  // may raise
        if (state) {
            *state = std::move(after);
        }
        return y;
    }

 private:
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
            requireReal(held[k], "states");
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
                (chain == Chain::b ? made.b : made.a)
                    .push_back(exactArray(mDelays[index][c][k], mPlans[index].delays[c][k].type(), mRowShape));
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
                    sample = detail::filter::stepBy(mOptions.form, machine, machine.input(sample));
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
                const auto runSlice = [&](std::uint64_t begin, std::uint64_t end) {
                    detail::filterLoop(sections[s], samples.data() + begin, end - begin, isLogged);
                };
                detail::inSlices(mLength, runSlice, sections[s].b.size() + sections[s].a.size());
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
        for (std::size_t n = 0; n < mLength; ++n) {
            const std::span<mp_limb_t> word = words.word(row * mLength + n);
            word[0] = static_cast<mp_limb_t>(samples[n]);
            if (word.size() > 1) {
                word[1] = static_cast<mp_limb_t>(static_cast<detail::Int128>(samples[n]) >> 64);
            }
        }
    }
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
                section.delays[c].push_back(integerOf<Int>(mDelays[s][c][k][row], delayUnit(s, c, k)).value());
            }
        }
    }
    template <class Int>
    void endRow(std::size_t s, std::size_t row, const detail::LoopSection<Int>& section) {
        for (std::size_t c = 0; c < 2; ++c) {
            for (std::size_t k = 0; k < mDelays[s][c].size(); ++k) {
                mDelays[s][c][k][row] = detail::Leaf::scaledValue(section.delays[c][k], -delayUnit(s, c, k));
            }
        }
    }
    template <class Int>
    void handOver(std::size_t s, detail::LoopSection<Int>& section) const {
        for (std::size_t i = 0; i < detail::kNodes; ++i) {
            if (!mSections[s].formats[i]) {
                continue;
            }
            // Told in the unit of what arrived, which decides how bits are cut off.
            detail::NarrowNotes<Int>& notes = section.places[i].notes;
            int unit = unitOf(mPlans[s], mOptions.form, static_cast<Node>(i));
            if (const int arriving = mPlans[s].arriving[i].fraction; arriving != Range::kNoFraction) {
                notes.leastBefore >>= notes.values != 0 ? unit - arriving : 0;
                notes.greatestBefore >>= notes.values != 0 ? unit - arriving : 0;
                unit = arriving;
            }
            detail::handOver(*mSections[s].formats[i], -unit, notes, mMoment, mWhere);
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
    if (array) {
        requireReal(*array, "coefficients");
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
    return Filter({{vectorOf(b), withoutFirst(vectorOf(a))}}, x, {}, options, where).run(nullptr);
}
fixed_array lfilter(const filter_coefficients& b, const filter_coefficients& a, const fixed_array& x,
                    filter_state& state, const filter_options& options, const code_location& where) {
    return Filter({{vectorOf(b), withoutFirst(vectorOf(a))}}, x, state, options, where).run(&state);
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
