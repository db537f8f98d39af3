// The description of a quantizer, its checks, the derivation of the constants, and the text forms.
#include "quantization/quantizer.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <utility>

#include "descriptors/enum_texts.h"
#include "numbers/owned_copy.h"
#include "numbers/services.h"
#include "quantization/format_numbers.h"

using namespace tolvane::detail;

using ModeEnum = embedded::QuantizerModeEnum;
using formatnumbers::requireWordlength;
using formatnumbers::toInt;

namespace {

constexpr int kMaxExponentlength = 31;
constexpr unsigned kDoublePrecision = 52;

RealPoint truncated(RealPoint format) {
    return {static_cast<double>(toInt(format.first)), static_cast<double>(toInt(format.second))};
}

void requireExponentlength(double exponentlength) {
    if (exponentlength > kMaxExponentlength) {
        raise("fixedpoint:quantizer:exponenttoobig", "Exponent length cannot be greater than 31.");
    }
    if (exponentlength < 0.0) {
        raise("fixedpoint:quantizer:exponenttoosmall", "Exponent length cannot be negative.");
    }
}

void requireExponentBelow(double exponentlength, double wordlength) {
    if (toInt(exponentlength) >= toInt(wordlength)) {
        raise("fixedpoint:quantizer:exponentlargerthanwordlength", "Exponentlength must be less than wordlength.");
    }
}

void requireFloatFormat(RealPoint format) {
    requireWordlength(format.first);
    requireExponentlength(format.second);
    requireExponentBelow(format.second, format.first);
}

/// Whether 2^n and 2^-n are normal doubles with a margin; see the proof at `quantizer::updatelimits`.
bool isEasyExponent(std::int64_t n) {
    return n >= -900 && n <= 900;
}

/// Sets target to 2^exponent; exponents beyond int are reached in steps.
void setPowerOfTwo(number& target, std::int64_t exponent) {
    target = 1.0;
    while (exponent != 0) {
        const std::int64_t step = std::clamp<std::int64_t>(exponent, -INT_MAX, INT_MAX);
        target.pow2(static_cast<int>(step));
        exponent -= step;
    }
}

bool isExactAsDouble(const number& constant) {
    return constant.asDouble() || number(constant.todouble(), kDoublePrecision, false) == constant;
}

bool isSlopeType(ModeEnum mode) {
    return mode == ModeEnum::Fixed || mode == ModeEnum::Ufixed || mode == ModeEnum::ScaledDouble ||
           mode == ModeEnum::UnsignedScaledDouble;
}

bool isFloatType(ModeEnum mode) {
    return mode == ModeEnum::Double || mode == ModeEnum::Float || mode == ModeEnum::Single;
}

/// 2^n for an easy exponent, give or take a few.
double easyPower(std::int64_t n) {
    constexpr int kExponentBias = 1023;
    constexpr int kMantissaBits = 52;
    return std::bit_cast<double>(static_cast<std::uint64_t>(n + kExponentBias) << kMantissaBits);
}

}  // namespace

void formatnumbers::requireWordlength(double wordlength) {
    constexpr int kMaxWordlength = 65535;
    if (wordlength > kMaxWordlength) {
        raise("fixedpoint:quantizer:wordlengthtoobig", "Word length cannot be greater than 65535.");
    }
    if (toInt(wordlength) <= 0) {
        raise("fixedpoint:quantizer:wordlengthtoosmall", "Wordlength cannot be negative or zero.");
    }
}

// Construction.

quantizer::quantizer(ModeEnum mode, embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow, int wordlength,
                     int fractionlength, const std::string& tag, embedded::OperationTypeEnum operation, bool alwaysLog)
    : mMode(mode), mRoundMode(round), mOverflowMode(overflow), mLogger(true) {
    requireWordlength(wordlength);
    mFormat = {static_cast<double>(wordlength), static_cast<double>(fractionlength)};
    updateparameters();
    mLogger = qlogger(tag, operation, NumericType(this), alwaysLog, true);
}

quantizer::quantizer(const NumericType& type, embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow,
                     const std::string& tag, embedded::OperationTypeEnum operation, bool alwaysLog)
    : mMode(ModeEnum::Fixed),
      mRoundMode(round),
      mOverflowMode(overflow),
      mFormat{16.0, 15.0},
      mLogger(tag, operation, type, alwaysLog, true) {
    set(type, round, overflow, true);
}

quantizer::quantizer(const quantizer& other)
    : mMode(other.mMode),
      mRoundMode(other.mRoundMode),
      mOverflowMode(other.mOverflowMode),
      mFunctionFits(other.mFunctionFits),
      mFormat(other.mFormat),
      mWordlength(other.mWordlength),
      mFractionlength(other.mFractionlength),
      mPrecision(other.mPrecision),
      mWordKind(other.mWordKind),
      mConstants(copyOf(other.mConstants)),
      mQuantize(other.mQuantize),
      mExponentlength(other.mExponentlength),
      mExponentmax(other.mExponentmax),
      mExponentmin(other.mExponentmin),
      mLogger(other.mLogger),
      mLimits(other.mLimits),
      mFloatLimits(copyOf(other.mFloatLimits)) {
    if (mConstants) {
        updatelimits();
    }
}

quantizer::quantizer(const quantizer& other, const NumericType& type) : quantizer(other) {
    set(type, mRoundMode, mOverflowMode, false);
}

quantizer& quantizer::operator=(const quantizer& other) {
    if (this == &other) {
        return *this;
    }
    auto constants = copyOf(other.mConstants);
    auto floatLimits = copyOf(other.mFloatLimits);
    mLogger = other.mLogger;
    mMode = other.mMode;
    mRoundMode = other.mRoundMode;
    mOverflowMode = other.mOverflowMode;
    mFormat = other.mFormat;
    mWordlength = other.mWordlength;
    mFractionlength = other.mFractionlength;
    mPrecision = other.mPrecision;
    mConstants = std::move(constants);
    mWordKind = other.mWordKind;
    mExponentlength = other.mExponentlength;
    mExponentmax = other.mExponentmax;
    mExponentmin = other.mExponentmin;
    mQuantize = other.mQuantize;
    mFunctionFits = other.mFunctionFits;
    mLimits = other.mLimits;
    mFloatLimits = std::move(floatLimits);
    if (mConstants) {
        updatelimits();
    }
    return *this;
}

quantizer::~quantizer() = default;

// Setting.

void quantizer::setMode(ModeEnum mode) {
    if (mode == ModeEnum::Float && mMode != ModeEnum::Float) {
        requireExponentlength(mFormat.second);
    }
    mMode = mode;
    updateparameters();
}

void quantizer::setRoundMode(embedded::RoundModeEnum round) {
    mRoundMode = round;
    updateparameters();
}

void quantizer::setOverflowMode(embedded::OverflowModeEnum overflow) {
    mOverflowMode = overflow;
    updateparameters();
}

void quantizer::setFormat(RealPoint format) {
    requireWordlength(format.first);
    if (mMode == ModeEnum::Float) {
        requireFloatFormat(format);
    }
    mFormat = truncated(format);
    updateparameters();
}

void quantizer::setWordlength(int wordlength) {
    requireWordlength(wordlength);
    if (mMode == ModeEnum::Float && wordlength <= mExponentlength) {
        raise("fixedpoint:quantizer:wordlengthlargerthanexponent", "Wordlength must be larger than exponentlength.");
    }
    mFormat.first = wordlength;
    updateparameters();
}

void quantizer::setFractionlength(int fractionlength) {
    if (mMode == ModeEnum::Float) {
        // It takes the place of the exponent length.
        requireFloatFormat({mFormat.first, static_cast<double>(fractionlength)});
    }
    mFormat.second = fractionlength;
    updateparameters();
}

void quantizer::setExponentlength(int exponentlength) {
    requireExponentlength(exponentlength);
    requireExponentBelow(exponentlength, mWordlength);
    mFormat.second = exponentlength;
    updateparameters();
}

void quantizer::checkScaling(const NumericType& type) const {
    if (type.isScaledType() && type.getScaling() > NumericType::ScalingEnum::SlopeBias) {
        raise("fixedpoint:quantizer:unspecifiedscaling", "Unspecified scaling is not allowed in quantizers.");
    }
}

void quantizer::set(const NumericType& type, embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow,
                    bool force) {
    checkScaling(type);
    if (type.isScaledType()) {
        requireWordlength(type.getWordLength());
    }
    bool changed = force;
    const auto store = [&changed](auto& field, auto value) {
        changed = changed || field != value;
        field = value;
    };
    store(mRoundMode, round);
    store(mOverflowMode, overflow);
    switch (type.getDataType()) {
        case NumericType::DataTypeEnum::Fixed:
            store(mMode, type.isUnsigned() ? ModeEnum::Ufixed : ModeEnum::Fixed);
            break;
        case NumericType::DataTypeEnum::ScaledDouble:
            store(mMode, type.isUnsigned() ? ModeEnum::UnsignedScaledDouble : ModeEnum::ScaledDouble);
            break;
        case NumericType::DataTypeEnum::Double:
            store(mMode, ModeEnum::Double);
            break;
        case NumericType::DataTypeEnum::Single:
            store(mMode, ModeEnum::Single);
            break;
        case NumericType::DataTypeEnum::Boolean:
            store(mMode, ModeEnum::Boolean);
            break;
    }
    if (type.isScaledType()) {
        store(mFormat.first, static_cast<double>(type.getWordLength()));
        store(mFormat.second, static_cast<double>(-std::int64_t{type.getFixedExponent()}));
    }
    if (changed) {
        updateparameters();
    }
}

void quantizer::set(const quantizer& other, bool force) {
    if (!force && isequal(other)) {
        return;
    }
    mMode = other.mMode;
    mRoundMode = other.mRoundMode;
    mOverflowMode = other.mOverflowMode;
    mFormat = other.mFormat;
    updateparameters();
}

void quantizer::setNumericType(const NumericType& type) {
    checkScaling(type);
    mLogger.setNumericType(type);
    set(type, mRoundMode, mOverflowMode, false);
}

// Derivation.

void quantizer::updateparameters() {
    mFunctionFits = false;
    mFloatLimits.reset();
    switch (mMode) {
        case ModeEnum::Double:
        case ModeEnum::None:
            mFormat = {64.0, 11.0};
            updatefloatparameters();
            break;
        case ModeEnum::Float:
            updatefloatparameters();
            break;
        case ModeEnum::Single:
            mFormat = {32.0, 8.0};
            updatefloatparameters();
            break;
        case ModeEnum::Fixed:
        case ModeEnum::ScaledDouble:
            updatefixedparameters();
            break;
        case ModeEnum::Ufixed:
        case ModeEnum::UnsignedScaledDouble:
            updateufixedparameters();
            break;
        case ModeEnum::Boolean:
            mFormat = {1.0, 0.0};
            updateufixedparameters();
            break;
        default:
            // A value outside the enumeration has no constants of its own; the first derivation still makes some.
            if (mWordlength == 0) {
                mConstants = std::make_unique<Constants>(kDoublePrecision, false);
            }
            break;
    }
    if (mConstants) {
        updatelimits();
    }
    updatequantizer();
    if (mFunctionFits && (mMode == ModeEnum::Float || mMode == ModeEnum::Single)) {
        updatefloatlimits();
    }
}

quantizer::Constants::Constants(unsigned precision, bool force)
    : realmax(0.0, precision, force),
      lowerbound(0.0, precision, force),
      realmin(0.0, precision, force),
      positiveEps(0.0, precision, force),
      negativeEps(0.0, precision, force),
      wraparound(0.0, precision, force),
      denormalmin(0.0, precision, force) {}

void quantizer::updatefixedparameters() {
    requireWordlength(mFormat.first);
    mWordlength = toInt(mFormat.first);
    mFractionlength = toInt(mFormat.second);
    mPrecision = static_cast<unsigned>(mWordlength);
    mWordKind = hasNegativeStepOnly() ? WordKind::OneBitSigned : WordKind::Signed;
    mExponentlength = 0;
    mExponentmax = 0;
    mExponentmin = 0;
    updatewordlimits();
}

void quantizer::updateufixedparameters() {
    requireWordlength(mFormat.first);
    mWordlength = toInt(mFormat.first);
    mFractionlength = toInt(mFormat.second);
    mPrecision = static_cast<unsigned>(mWordlength) + 1;
    mWordKind = WordKind::Unsigned;
    updatewordlimits();
}

std::unique_ptr<quantizer::Constants> quantizer::wordConstants() const {
    auto result = std::make_unique<Constants>(mPrecision, false);
    Constants& c = *result;
    setPowerOfTwo(c.realmin, -std::int64_t{mFractionlength});
    c.positiveEps = c.realmin;
    c.negativeEps = c.positiveEps;
    c.negativeEps.negate();
    c.denormalmin = mWordKind == WordKind::OneBitSigned ? c.negativeEps : c.positiveEps;
    const std::int64_t rangeExponent = std::int64_t{mWordlength} - mFractionlength;
    if (mWordKind == WordKind::Unsigned) {
        setPowerOfTwo(c.realmax, rangeExponent);
        c.realmax -= c.positiveEps;
        c.wraparound = c.realmax;
        c.wraparound += c.positiveEps;
    } else {
        const number minusTwo(-2.0, mPrecision, number::getDefaultForceMultiplePrecision());
        setPowerOfTwo(c.realmax, rangeExponent - 1);
        c.realmax -= c.positiveEps;
        setPowerOfTwo(c.lowerbound, rangeExponent - 1);
        c.lowerbound.negate();
        c.wraparound = c.lowerbound;
        c.wraparound *= minusTwo;
    }
    return result;
}

// Out of line, to keep it out of the element functions.
void quantizer::makeConstants() const {
    mConstants = wordConstants();
}

// Where doubles carry all constants exactly, the limits are known without making a single number. Otherwise the
// constants are made at once, and `updatelimits` checks them.
void quantizer::updatewordlimits() {
    const std::int64_t rangeExponent = std::int64_t{mWordlength} - mFractionlength;
    mConstants.reset();
    if (mWordlength > static_cast<int>(kDoublePrecision) || !isEasyExponent(mFractionlength) ||
        !isEasyExponent(rangeExponent)) {
        mConstants = wordConstants();
        return;
    }
    const bool isUnsigned = mWordKind == WordKind::Unsigned;
    mLimits.scale = easyPower(mFractionlength);
    mLimits.inverseScale = easyPower(-std::int64_t{mFractionlength});
    mLimits.wraparound = easyPower(rangeExponent);
    mLimits.inverseWraparound = easyPower(-rangeExponent);
    mLimits.positiveEps = mLimits.inverseScale;
    mLimits.negativeEps = -mLimits.inverseScale;
    mLimits.realmax = easyPower(isUnsigned ? rangeExponent : rangeExponent - 1) - mLimits.positiveEps;
    mLimits.lowerbound = isUnsigned ? 0.0 : -easyPower(rangeExponent - 1);
    mLimits.hasBounds = true;
    mLimits.valid = isSlopeType(mMode);
}

void quantizer::updatefloatparameters() {
    requireFloatFormat(mFormat);
    mFormat = truncated(mFormat);
    mWordlength = toInt(mFormat.first);
    mExponentlength = toInt(mFormat.second);
    mFractionlength = mWordlength - mExponentlength - 1;
    mPrecision = static_cast<unsigned>(mFractionlength);
    // A double has neither the exponents nor the mantissa of these formats.
    const bool force = mExponentlength >= 12 || mPrecision > kDoublePrecision;
    mConstants = std::make_unique<Constants>(mPrecision, force);
    Constants& c = *mConstants;
    mExponentmax = static_cast<int>(std::ldexp(1.0, mExponentlength - 1)) - 1;
    mExponentmin = 1 - mExponentmax;

    setPowerOfTwo(c.denormalmin, std::int64_t{mExponentmin} - mFractionlength);
    setPowerOfTwo(c.positiveEps, -std::int64_t{mFractionlength});
    c.negativeEps = c.positiveEps;
    c.negativeEps.negate();
    // (2 - 2^-f) * 2^exponentmax, as 2 - 2^(1-f) + 2^-f.
    number twoEps(1.0, mPrecision, force);
    twoEps.pow2(1 - mFractionlength);
    c.realmax = 2.0;
    c.realmax -= twoEps;
    c.realmax += c.positiveEps;
    c.realmax.pow2(mExponentmax);
    c.lowerbound = c.realmax;
    c.lowerbound.negate();
    setPowerOfTwo(c.realmin, mExponentmin);
}

// The fixed-point rule on doubles (fixed_rules.inl.h) agrees in every bit with the operations on `number` under these
// conditions.
// - Powers: f and w - f within +-900, so that 2^f, 2^-f, W and 1/W are normal doubles and multiplying by
//   them is the scaling by ldexp, rounded once, whatever x is.
// - The constants are exactly doubles, so comparing with them and copying them is the same in either form.
// - Wrap takes place on the grid of 2^-f. There x / W is 0 or at least 2^-w in magnitude, so the quotient does not
//   underflow, the remainder has at most w bits, and all steps are exact for w up to 52: two's complement then needs
//   one conditional subtraction of W instead of a second modulo. The quotient does not overflow either: x * 2^f, which
//   is larger, was finite, or x is infinite and gives NaN in both forms. floor(x / W) * W does not overflow, since an x
//   near the end of the doubles is a multiple of W.
void quantizer::updatelimits() {
    mLimits = {};
    mLimits.realmax = constants().realmax.todouble();
    mLimits.lowerbound = constants().lowerbound.todouble();
    mLimits.wraparound = constants().wraparound.todouble();
    mLimits.positiveEps = constants().positiveEps.todouble();
    mLimits.negativeEps = constants().negativeEps.todouble();
    mLimits.hasBounds = isExactAsDouble(constants().realmax) && isExactAsDouble(constants().lowerbound) &&
                        isExactAsDouble(constants().positiveEps) && isExactAsDouble(constants().negativeEps);
    const std::int64_t rangeExponent = std::int64_t{mWordlength} - mFractionlength;
    if (!isSlopeType(mMode) || mWordlength > static_cast<int>(kDoublePrecision) || !mLimits.hasBounds ||
        !isEasyExponent(mFractionlength) || !isEasyExponent(rangeExponent)) {
        return;
    }
    mLimits.scale = std::ldexp(1.0, mFractionlength);
    mLimits.inverseScale = std::ldexp(1.0, -mFractionlength);
    mLimits.inverseWraparound = 1.0 / mLimits.wraparound;
    mLimits.valid = true;
}

// The rule then gives the same values and counts as the operations on `number`, in every bit.
// It forms 2^(fraction length - exponent) and its reciprocal as normal doubles. The exponent of a value that
// isn't beyond the bounds runs from exponentmin (smaller values use that) to the greater of exponentmax and
// exponentmin.
void quantizer::updatefloatlimits() {
    const int greatest = std::max(mExponentmax, mExponentmin);
    if (mPrecision > kDoublePrecision || mExponentmin - mFractionlength < -1022 || greatest > 1022 ||
        mExponentmin < -1022) {
        return;
    }
    mFloatLimits = std::make_unique<FloatDoubleLimits>(
        FloatDoubleLimits{mLimits.realmax, mLimits.lowerbound, std::ldexp(1.0, mExponentmin),
                          std::ldexp(1.0, mFractionlength), std::ldexp(1.0, -mFractionlength)});
}

// Reading.

const number& quantizer::getRealmin() const {
    return hasNegativeStepOnly() ? constants().negativeEps : constants().realmin;
}

const number& quantizer::getEps() const {
    return hasNegativeStepOnly() ? constants().negativeEps : constants().positiveEps;
}

number quantizer::getDenormalmax() const {
    number result(0.0, mPrecision, number::getDefaultForceMultiplePrecision());
    if (isFloatType(mMode) || mMode == ModeEnum::None) {
        result = getRealmin() - constants().denormalmin;
    } else {
        result = getEps();
    }
    return result;
}

const char* quantizer::getVelmarClassName() {
    return "quantizer";
}

const char* quantizer::getVelmarPackageClassName() {
    static const std::string kName = std::string(embedded::getEmbeddedPackageName()) + "." + getVelmarClassName();
    return kName.c_str();
}

bool quantizer::isScaledType() const {
    return isSlopeType(mMode);
}

bool quantizer::isequal(const quantizer& other) const {
    return mMode == other.mMode && mRoundMode == other.mRoundMode && mOverflowMode == other.mOverflowMode &&
           mWordlength == other.mWordlength && mFractionlength == other.mFractionlength;
}

// Text forms.

void quantizer::num2sdec(char* out, int length, const number& x) const {
    if (mMode != ModeEnum::Fixed && mMode != ModeEnum::Ufixed && mMode != ModeEnum::Boolean) {
        raise("fixedpoint:quantizer:sdec:fixedonly", "Num2sdec not defined for float, double or single.");
    }
    x.fixed2sdec(out, static_cast<unsigned>(std::max(length, 0)), static_cast<unsigned>(mWordlength), mFractionlength);
}

void quantizer::num2base(char* out, int length, const number& x, int base) const {
    if (isFloatType(mMode)) {
        x.float2base(out, length, base, mWordlength, mExponentlength, mFractionlength, mExponentmax, mExponentmin);
    } else if (isSignedFixed() || isUnsignedFixed() || mMode == ModeEnum::Boolean) {
        x.fixed2base(out, length, base, mWordlength, mFractionlength);
    } else {
        raise("fixedpoint:quantizer:num2base:notdefined", "Num2base is not defined for this quantizer mode.");
    }
}

number& quantizer::base2num(const char* text, int base, number& x) const {
    if (isFloatType(mMode)) {
        return x.base2float(text, base, mWordlength, mExponentlength, mFractionlength, mExponentmax, mExponentmin);
    }
    if (isSignedFixed() || isUnsignedFixed() || mMode == ModeEnum::Boolean) {
        return x.base2fixed(text, base, mWordlength, mFractionlength, isSignedFixed());
    }
    raise("fixedpoint:quantizer:base2num:notdefined", "Base2num is not defined for this quantizer mode.");
}

void quantizer::printFormat() const {
    if (mMode != ModeEnum::None) {
        print("\n          Format = [");
        print("%d  %d]", toInt(mFormat.first), toInt(mFormat.second));
    }
}

void quantizer::fidisp() const {
    print("            Mode = %s", enumtexts::textOf(enumtexts::kQuantizerModes, mMode));
    printFormat();
    print("\n");
}

void quantizer::disp() const {
    print("\n        DataMode = %s", enumtexts::textOf(enumtexts::kQuantizerModes, mMode));
    if (mMode == ModeEnum::Float || isScaledType()) {
        print("\n       RoundMode = %s", enumtexts::textOf(enumtexts::kRoundModes, mRoundMode));
    }
    if (isScaledType()) {
        print("\n    OverflowMode = %s", enumtexts::textOf(enumtexts::kOverflowModes, mOverflowMode));
    }
    printFormat();
    if (embedded::getFeatureFiTagLogging()) {
        print("\n             Tag = %s", getTag().c_str());
    }
    print("\n");
}
