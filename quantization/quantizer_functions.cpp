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

#include "host/bs.h"
#include "quantization/fixed_rules.h"
#include "quantization/quantizer.h"

using namespace tolvane::detail;

namespace {

// A rounding rule in its two forms: on a double, and as the operation of `number`.
struct Ceil {
    using Rule = rounding::CeilRule;
    static void apply(number& x, int n) { x.ceil(n); }
};
struct Convergent {
    using Rule = rounding::ConvergentRule;
    static void apply(number& x, int n) { x.convergent(n); }
};
struct Fix {
    using Rule = rounding::FixRule;
    static void apply(number& x, int n) { x.fix(n); }
};
struct Floor {
    using Rule = rounding::FloorRule;
    static void apply(number& x, int n) { x.floor(n); }
};
struct Nearest {
    using Rule = rounding::NearestRule;
    static void apply(number& x, int n) { x.nearest(n); }
};
struct Round {
    using Rule = rounding::RoundRule;
    static void apply(number& x, int n) { x.round(n); }
};

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

/// The exponent of a finite double that is not zero, as `number::unbiasedexponent` without the call for normal values.
int exponentOf(double x) {
    const int biased = static_cast<int>((std::bit_cast<std::uint64_t>(x) >> 52) & 0x7FF);
    return biased == 0 ? std::ilogb(x) : biased - 1023;
}

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

// Element functions.

template <class Rounding, class Overflow, class Sign>
number& quantizer::quantizeFixed(number& x) const {
    if (doublenumber* body = x.asDouble(); body && mLimits.valid) {
        double& value = body->getmodifiableelement();
        const auto result =
            rounding::quantizeFixedValue<typename Rounding::Rule, typename Overflow::Rule, typename Sign::Word>(
                value, mLimits);
        value = result.value;
        if (mLogger.isLogging()) {
            mLogger.addtoOverflows(result.overflow);
            mLogger.addtoUnderflows(result.underflow);
            mLogger.updateminmax(x);
        }
        return x;
    }
    if (!x.iszero()) {
        Rounding::apply(x, mFractionlength);
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

template <class Rounding>
number& quantizer::quantizeFloat(number& x) const {
    if (doublenumber* body = x.asDouble(); body && mLimits.hasBounds) {
        double& value = body->getmodifiableelement();
        if (value > mLimits.realmax || value < mLimits.lowerbound || std::isinf(value)) {
            value = value > 0.0 ? bsGetInf() : bsGetMinusInf();
            mLogger.nOverflowsPlusOne();
        } else if (value != 0.0 && !std::isnan(value)) {
            const int exponent = std::max(exponentOf(value), mExponentmin);
            value = rounding::applyAtBit<typename Rounding::Rule>(value, lastBitBelow(exponent));
            if (value == 0.0) {
                mLogger.nUnderflowsPlusOne();
            }
        }
        mLogger.updateminmax(x);
        return x;
    }
    if (x.myisinf()) {
        mLogger.nOverflowsPlusOne();
    } else if (!x.iszero() && !x.myisnan()) {
        if (x > constants().realmax) {
            x = bsGetInf();
            mLogger.nOverflowsPlusOne();
        } else if (x < constants().lowerbound) {
            x = bsGetMinusInf();
            mLogger.nOverflowsPlusOne();
        } else {
            const int exponent = std::max(x.unbiasedexponent(), mExponentmin);
            Rounding::apply(x, lastBitBelow(exponent));
            checkunderflow(x);
        }
    }
    mLogger.updateminmax(x);
    return x;
}

number& quantizer::QuantizeDouble(number& x) const {
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
    checkoverflow(x);
    mLogger.updateminmax(x);
    return x;
}

number& quantizer::QuantizeBoolean(number& x) const {
    if (!x.iszero()) {
        x = 1.0;
    }
    mLogger.updateminmax(x);
    return x;
}

number& quantizer::QuantizeScaledDouble(number& x) const {
    checkoverflow(x);
    checkScaledDoubleUnderflow(x);
    mLogger.updateminmax(x);
    return x;
}

// The names of all element functions, and their table.
struct quantizer::Functions {
    using Function = QuantizeFunction;
    template <class Rounding, class Overflow, class Sign>
    static constexpr Function kFixed = &quantizer::quantizeFixed<Rounding, Overflow, Sign>;
    template <class Rounding>
    static constexpr Function kFloating = &quantizer::quantizeFloat<Rounding>;

    static constexpr Function QuantizeFixedCeilSaturate = kFixed<Ceil, Saturate, Signed>;
    static constexpr Function QuantizeFixedCeilWrap = kFixed<Ceil, Wrap, Signed>;
    static constexpr Function QuantizeFixedConvergentSaturate = kFixed<Convergent, Saturate, Signed>;
    static constexpr Function QuantizeFixedConvergentWrap = kFixed<Convergent, Wrap, Signed>;
    static constexpr Function QuantizeFixedFixSaturate = kFixed<Fix, Saturate, Signed>;
    static constexpr Function QuantizeFixedFixWrap = kFixed<Fix, Wrap, Signed>;
    static constexpr Function QuantizeFixedFloorSaturate = kFixed<Floor, Saturate, Signed>;
    static constexpr Function QuantizeFixedFloorWrap = kFixed<Floor, Wrap, Signed>;
    static constexpr Function QuantizeFixedNearestSaturate = kFixed<Nearest, Saturate, Signed>;
    static constexpr Function QuantizeFixedNearestWrap = kFixed<Nearest, Wrap, Signed>;
    static constexpr Function QuantizeFixedRoundSaturate = kFixed<Round, Saturate, Signed>;
    static constexpr Function QuantizeFixedRoundWrap = kFixed<Round, Wrap, Signed>;
    static constexpr Function QuantizeUfixedCeilSaturate = kFixed<Ceil, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedCeilWrap = kFixed<Ceil, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedConvergentSaturate = kFixed<Convergent, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedConvergentWrap = kFixed<Convergent, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedFixSaturate = kFixed<Fix, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedFixWrap = kFixed<Fix, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedFloorSaturate = kFixed<Floor, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedFloorWrap = kFixed<Floor, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedNearestSaturate = kFixed<Nearest, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedNearestWrap = kFixed<Nearest, Wrap, Unsigned>;
    static constexpr Function QuantizeUfixedRoundSaturate = kFixed<Round, Saturate, Unsigned>;
    static constexpr Function QuantizeUfixedRoundWrap = kFixed<Round, Wrap, Unsigned>;
    static constexpr Function QuantizeFloatCeil = kFloating<Ceil>;
    static constexpr Function QuantizeFloatConvergent = kFloating<Convergent>;
    static constexpr Function QuantizeFloatFix = kFloating<Fix>;
    static constexpr Function QuantizeFloatFloor = kFloating<Floor>;
    static constexpr Function QuantizeFloatNearest = kFloating<Nearest>;
    static constexpr Function QuantizeFloatRound = kFloating<Round>;

    static constexpr std::size_t kRoundModes = 6;
    static constexpr std::size_t kOverflowModes = 2;

    /// [unsigned][round mode][overflow mode]
    static constexpr Function kFixedTable[2][kRoundModes][kOverflowModes] = {
        {{QuantizeFixedCeilSaturate, QuantizeFixedCeilWrap},
         {QuantizeFixedConvergentSaturate, QuantizeFixedConvergentWrap},
         {QuantizeFixedFixSaturate, QuantizeFixedFixWrap},
         {QuantizeFixedFloorSaturate, QuantizeFixedFloorWrap},
         {QuantizeFixedNearestSaturate, QuantizeFixedNearestWrap},
         {QuantizeFixedRoundSaturate, QuantizeFixedRoundWrap}},
        {{QuantizeUfixedCeilSaturate, QuantizeUfixedCeilWrap},
         {QuantizeUfixedConvergentSaturate, QuantizeUfixedConvergentWrap},
         {QuantizeUfixedFixSaturate, QuantizeUfixedFixWrap},
         {QuantizeUfixedFloorSaturate, QuantizeUfixedFloorWrap},
         {QuantizeUfixedNearestSaturate, QuantizeUfixedNearestWrap},
         {QuantizeUfixedRoundSaturate, QuantizeUfixedRoundWrap}}};
    /// [round mode]
    static constexpr Function kFloatTable[kRoundModes] = {QuantizeFloatCeil,    QuantizeFloatConvergent,
                                                          QuantizeFloatFix,     QuantizeFloatFloor,
                                                          QuantizeFloatNearest, QuantizeFloatRound};
};

void quantizer::updatequantizer() {
    using Mode = embedded::QuantizerModeEnum;
    // A negative value outside the enumerations becomes a large index, so it is also unknown.
    const auto round = static_cast<std::size_t>(mRoundMode);
    const auto overflow = static_cast<std::size_t>(mOverflowMode);
    const bool knowsRound = round < Functions::kRoundModes;
    QuantizeFunction function = nullptr;
    switch (mMode) {
        case Mode::Double:
            function = &quantizer::QuantizeDouble;
            break;
        case Mode::Float:
            if (knowsRound) {
                function = Functions::kFloatTable[round];
            }
            break;
        case Mode::Fixed:
        case Mode::Ufixed:
            if (knowsRound && overflow < Functions::kOverflowModes) {
                function = Functions::kFixedTable[isUnsignedFixed() ? 1 : 0][round][overflow];
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
