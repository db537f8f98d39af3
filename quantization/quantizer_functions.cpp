// The element functions, their table, and the selection of one.
//
// Each function works on plain doubles when the element is one and the quantizer's constants are exactly doubles, and
// otherwise through the operations of `number`. Both give the same values, counts and extremes in every bit.
#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "numbers/services.h"
#include "quantization/double_rules.h"
#include "quantization/quantizer.h"

using namespace tolvane::detail;

namespace {

// The rounding rules as operations of `number`, at the bit of weight 2^-n.
using rounding::CeilRule;
using rounding::ConvergentRule;
using rounding::FixRule;
using rounding::FloorRule;
using rounding::NearestRule;
using rounding::RoundingRules;
using rounding::RoundRule;
using RoundAtBit = number& (number::*)(int);
template <class Rule>
extern const RoundAtBit kRoundAtBit;  // a rule without an operation doesn't link
template <>
constexpr RoundAtBit kRoundAtBit<CeilRule> = &number::ceil;
template <>
constexpr RoundAtBit kRoundAtBit<ConvergentRule> = &number::convergent;
template <>
constexpr RoundAtBit kRoundAtBit<FixRule> = &number::fix;
template <>
constexpr RoundAtBit kRoundAtBit<FloorRule> = &number::floor;
template <>
constexpr RoundAtBit kRoundAtBit<NearestRule> = &number::nearest;
template <>
constexpr RoundAtBit kRoundAtBit<RoundRule> = &number::round;

// The overflow steps and the words, by their rules on a double.
struct Saturate {
    using Rule = rounding::SaturateOverflow;
};
struct Wrap {
    using Rule = rounding::WrapOverflow;
};
struct Signed {
    using Word = rounding::SignedWord;
};
struct Unsigned {
    using Word = rounding::UnsignedWord;
};

}  // namespace

// Steps on a number.

void quantizer::checkoverflow(const number& x) const {
    if (outOfRange(x)) {
        mLogger.nOverflowsPlusOne();
    }
}

void quantizer::checkunderflow(const number& x) const {
    if (x.iszero()) {
        mLogger.nUnderflowsPlusOne();
    }
}

void quantizer::checkScaledDoubleUnderflow(const number& x) const {
    if (!x.iszero() && constants().negativeEps < x && x < constants().positiveEps) {
        mLogger.nUnderflowsPlusOne();
    }
}

void quantizer::saturate(number& x) const {
    const Constants& c = constants();
    if (x > c.realmax) {
        x = c.realmax;
    } else if (x < c.lowerbound) {
        x = c.lowerbound;
    } else {
        return;
    }
    mLogger.nOverflowsPlusOne();
}

number& quantizer::wrap(number& x) const {
    if (outOfRange(x)) {
        x.mod(constants().wraparound);
        x -= constants().lowerbound;
        x.mod(constants().wraparound);
        x += constants().lowerbound;
        mLogger.nOverflowsPlusOne();
    }
    return x;
}

number& quantizer::uwrap(number& x) const {
    if (outOfRange(x)) {
        x.mod(constants().wraparound);
        mLogger.nOverflowsPlusOne();
    }
    return x;
}

// Element functions. Where doubles hold the constants, they take the rules for doubles, which the loops over arrays
// share.

template <class Result>
inline number& quantizer::store(number& x, const Result& result) const {
    x.asDouble()->getmodifiableelement() = result.value;
    if (mLogger.isLogging()) {
        mLogger.addtoOverflows(result.overflow);
        mLogger.addtoUnderflows(result.underflow);
        // Few values reach an extreme. A value between the extremes as doubles is between them whatever their bits, as
        // rounding keeps the order.
        if (result.value >= mLogger.getMaxAsDouble() || result.value <= mLogger.getMinAsDouble()) [[unlikely]] {
            mLogger.updateminmax(x);
        } else {
            mLogger.nOperationsPlusOne();
        }
    }
    return x;
}

template <class Rule, class Overflow, class Sign>
number& quantizer::quantizeFixed(number& x) const {
    if (doublenumber* body = x.asDouble(); body && mLimits.valid) {
        return store(x, rounding::quantizeFixedValue<Rule, typename Overflow::Rule, typename Sign::Word>(
                            body->getelement(), mLimits));
    }
    if (!x.iszero()) {
        (x.*kRoundAtBit<Rule>)(mFractionlength);
        checkunderflow(x);
        if constexpr (std::is_same_v<Overflow, Saturate>) {
            saturate(x);
        } else if constexpr (std::is_same_v<Sign, Signed>) {
            wrap(x);
        } else {
            uwrap(x);
        }
    }
    mLogger.updateminmax(x);
    return x;
}

inline int quantizer::lastBitBelow(int exponent) const {
    return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{mFractionlength} - exponent, INT_MIN, INT_MAX));
}

template <class Rule>
number& quantizer::quantizeFloat(number& x) const {
    if (const doublenumber* body = x.asDouble(); body && mFloatLimits) {
        return store(x, rounding::quantizeFloatValue<Rule>(body->getelement(), *mFloatLimits));
    }
    if (x.myisinf()) {
        mLogger.nOverflowsPlusOne();
    } else if (!x.iszero() && !x.myisnan()) {
        if (x > constants().realmax) {
            x = std::numeric_limits<double>::infinity();
            mLogger.nOverflowsPlusOne();
        } else if (x < constants().lowerbound) {
            x = -std::numeric_limits<double>::infinity();
            mLogger.nOverflowsPlusOne();
        } else {
            const int exponent = std::max(x.unbiasedexponent(), mExponentmin);
            (x.*kRoundAtBit<Rule>)(lastBitBelow(exponent));
            checkunderflow(x);
        }
    }
    mLogger.updateminmax(x);
    return x;
}

number& quantizer::QuantizeDouble(number& x) const {
    if (const doublenumber* body = x.asDouble(); body && mLimits.hasBounds) {
        return store(x, rounding::watchDouble(body->getelement(), mLimits));
    }
    if (x.myisinf()) {
        mLogger.nOverflowsPlusOne();
    }
    mLogger.updateminmax(x);
    return x;
}

number& quantizer::QuantizeSingle(number& x) const {
    double single = 0.0;
    if (!x.iszero()) {
        single = x.tosingle();
        if (std::isinf(single)) {
            mLogger.nOverflowsPlusOne();
        } else {
            // Checks the unchanged value, so a value that is too small for a single is not counted.
            checkunderflow(x);
        }
    }
    x = single;
    mLogger.updateminmax(x);
    return x;
}

number& quantizer::QuantizeNone(number& x) const {
    if (const doublenumber* body = x.asDouble(); body && mLimits.hasBounds) {
        return store(x, rounding::watchDouble(body->getelement(), mLimits));
    }
    checkoverflow(x);
    mLogger.updateminmax(x);
    return x;
}

number& quantizer::QuantizeBoolean(number& x) const {
    if (const doublenumber* body = x.asDouble()) {
        return store(x, rounding::quantizeBooleanValue(body->getelement(), mLimits));
    }
    if (!x.iszero()) {
        x = 1.0;
    }
    mLogger.updateminmax(x);
    return x;
}

number& quantizer::QuantizeScaledDouble(number& x) const {
    if (const doublenumber* body = x.asDouble(); body && mLimits.hasBounds) {
        return store(x, rounding::watchScaledDouble(body->getelement(), mLimits));
    }
    checkoverflow(x);
    checkScaledDoubleUnderflow(x);
    mLogger.updateminmax(x);
    return x;
}

// The names of all element functions, and their table.
struct quantizer::Functions {
    using Function = QuantizeFunction;
    template <class Rule, class Overflow, class Sign>
    static constexpr Function kFixed = &quantizer::quantizeFixed<Rule, Overflow, Sign>;
    template <class Rule>
    static constexpr Function kFloating = &quantizer::quantizeFloat<Rule>;

    static constexpr Function QuantizeFixedCeilSaturate = kFixed<CeilRule, Saturate, Signed>;
    static constexpr Function QuantizeFixedCeilWrap = kFixed<CeilRule, Wrap, Signed>;
    static constexpr Function QuantizeFixedConvergentSaturate = kFixed<ConvergentRule, Saturate, Signed>;
    static constexpr Function QuantizeFixedConvergentWrap = kFixed<ConvergentRule, Wrap, Signed>;
    static constexpr Function QuantizeFixedFixSaturate = kFixed<FixRule, Saturate, Signed>;
    static constexpr Function QuantizeFixedFixWrap = kFixed<FixRule, Wrap, Signed>;
    static constexpr Function QuantizeFixedFloorSaturate = kFixed<FloorRule, Saturate, Signed>;
    static constexpr Function QuantizeFixedFloorWrap = kFixed<FloorRule, Wrap, Signed>;
    static constexpr Function QuantizeFixedNearestSaturate = kFixed<NearestRule, Saturate, Signed>;
    static constexpr Function QuantizeFixedNearestWrap = kFixed<NearestRule, Wrap, Signed>;
    static constexpr Function QuantizeFixedRoundSaturate = kFixed<RoundRule, Saturate, Signed>;
    static constexpr Function QuantizeFixedRoundWrap = kFixed<RoundRule, Wrap, Signed>;
    static constexpr Function QuantizeUfixedCeilSaturate = kFixed<CeilRule, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedCeilWrap = kFixed<CeilRule, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedConvergentSaturate = kFixed<ConvergentRule, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedConvergentWrap = kFixed<ConvergentRule, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedFixSaturate = kFixed<FixRule, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedFixWrap = kFixed<FixRule, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedFloorSaturate = kFixed<FloorRule, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedFloorWrap = kFixed<FloorRule, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedNearestSaturate = kFixed<NearestRule, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedNearestWrap = kFixed<NearestRule, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedRoundSaturate = kFixed<RoundRule, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedRoundWrap = kFixed<RoundRule, Wrap, Unsigned>;
    static constexpr Function QuantizeFloatCeil = kFloating<CeilRule>;
    static constexpr Function QuantizeFloatConvergent = kFloating<ConvergentRule>;
    static constexpr Function QuantizeFloatFix = kFloating<FixRule>;
    static constexpr Function QuantizeFloatFloor = kFloating<FloorRule>;
    static constexpr Function QuantizeFloatNearest = kFloating<NearestRule>;
    static constexpr Function QuantizeFloatRound = kFloating<RoundRule>;

    // By round mode.
    template <class Overflow, class Sign>
    static constexpr auto kFixedTable = RoundingRules::table([]<class Rule>() { return kFixed<Rule, Overflow, Sign>; });
    // Hidden: what a process has once for all libraries keeps the library from being unloaded.
    [[gnu::visibility("hidden")]] static constexpr auto kFloatTable =
        RoundingRules::table([]<class Rule>() { return kFloating<Rule>; });

    template <class Sign>
    static Function fixedFor(embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow) {
        const std::size_t rule = RoundingRules::indexOf(round);
        return overflow == embedded::OverflowModeEnum::Saturate ? kFixedTable<Saturate, Sign>[rule]
                                                                : kFixedTable<Wrap, Sign>[rule];
    }
};

void quantizer::updatequantizer() {
    using Mode = embedded::QuantizerModeEnum;
    // A negative value outside the enumerations becomes a large index, so it is also unknown.
    const bool knowsRound = RoundingRules::knows(mRoundMode);
    const bool knowsOverflow =
        mOverflowMode == embedded::OverflowModeEnum::Saturate || mOverflowMode == embedded::OverflowModeEnum::Wrap;
    QuantizeFunction function = nullptr;
    switch (mMode) {
        case Mode::Double:
            function = &quantizer::QuantizeDouble;
            break;
        case Mode::Float:
            if (knowsRound) {
                function = Functions::kFloatTable[RoundingRules::indexOf(mRoundMode)];
            }
            break;
        case Mode::Fixed:
        case Mode::Ufixed:
            if (knowsRound && knowsOverflow) {
                function = isUnsignedFixed() ? Functions::fixedFor<Unsigned>(mRoundMode, mOverflowMode)
                                             : Functions::fixedFor<Signed>(mRoundMode, mOverflowMode);
            }
            break;
        case Mode::Single:
            // Always this one: ties of a single round away from zero, and `QuantizeSingle` is never chosen.
            function = Functions::QuantizeFloatRound;
            break;
        case Mode::None:
            function = &quantizer::QuantizeNone;
            break;
        case Mode::Boolean:
            function = &quantizer::QuantizeBoolean;
            break;
        case Mode::ScaledDouble:
        case Mode::UnsignedScaledDouble:
            function = &quantizer::QuantizeScaledDouble;
            break;
    }
    mFunctionFits = function != nullptr;
    if (function) {
        mQuantize = function;
    }
}
