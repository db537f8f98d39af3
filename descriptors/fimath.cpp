#include "descriptors/fimath.h"

#include <string>

#include "descriptors/NumericType.h"
#include "descriptors/int_bounds.h"
#include "descriptors/slope_texts.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;

using tolvane::detail::slopetexts::kInvalidFimathSetting;

/// Raises the error of the property for an invalid word length.
void checkWordLength(int wordLength, const std::string& property) {
    if (wordLength < 1) {
        raise("fixedpoint:fimath:NonPositive" + property, property + " must be greater than 0.");
    }
    if (wordLength > 65535) {
        raise("fixedpoint:fimath:TooBig" + property, property + " cannot be greater than 65535.");
    }
}

}  // namespace

// Construction

fimath::fimath() {
    set(getGlobalFimath());
}

fimath::fimath(RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
    set(getGlobalFimath());
    mRoundMode = roundMode;
    mOverflowMode = overflowMode;
}

fimath::fimath(RoundModeEnum roundMode, OverflowModeEnum overflowMode, PrecisionModeEnum precisionMode,
               ArithmeticModeEnum productMode, int productWordLength, int maxProductWordLength,
               int productFractionLength, ArithmeticModeEnum sumMode, int sumWordLength, int maxSumWordLength,
               int sumFractionLength, bool castBeforeSum)
    : mRoundMode(roundMode),
      mOverflowMode(overflowMode),
      mPrecisionMode(precisionMode),
      mProduct{productMode, productWordLength, maxProductWordLength, intbounds::negated(productFractionLength)},
      mSum{sumMode, sumWordLength, maxSumWordLength, intbounds::negated(sumFractionLength)},
      mCastBeforeSum(castBeforeSum) {}

fimath::~fimath() = default;

void fimath::set(RoundModeEnum roundMode, OverflowModeEnum overflowMode, PrecisionModeEnum precisionMode,
                 ArithmeticModeEnum productMode, int productWordLength, int maxProductWordLength,
                 int productFractionLength, ArithmeticModeEnum sumMode, int sumWordLength, int maxSumWordLength,
                 int sumFractionLength, bool castBeforeSum) {
    *this = fimath(roundMode, overflowMode, precisionMode, productMode, productWordLength, maxProductWordLength,
                   productFractionLength, sumMode, sumWordLength, maxSumWordLength, sumFractionLength, castBeforeSum);
}

// Comparison

int fimath::RegisterRules::fractionLength() const {
    return intbounds::negated(fixedExponent);
}

void fimath::RegisterRules::setFractionLength(int fractionLength) {
    fixedExponent = intbounds::negated(fractionLength);
}

bool fimath::RegisterRules::hasSameLengths(const RegisterRules& other) const {
    return wordLength == other.wordLength && maxWordLength == other.maxWordLength &&
           fractionLength() == other.fractionLength();
}

bool fimath::RegisterRules::isInForceAs(const RegisterRules& other) const {
    switch (mode) {
        case ArithmeticModeEnum::KeepLSB:
        case ArithmeticModeEnum::KeepMSB:
            return hasSameLengths(other);
        case ArithmeticModeEnum::SpecifyPrecision:
            // Callers rely on the word length being ignored here.
            return fractionLength() == other.fractionLength();
        case ArithmeticModeEnum::FullPrecision:
            break;
    }
    return true;
}

bool fimath::hasSameModes(const fimath& other) const {
    return mRoundMode == other.mRoundMode && mOverflowMode == other.mOverflowMode &&
           mProduct.mode == other.mProduct.mode && mSum.mode == other.mSum.mode &&
           mCastBeforeSum == other.mCastBeforeSum;
}

bool fimath::isequal(const fimath& other) const {
    return hasSameModes(other) && mProduct.isInForceAs(other.mProduct) && mSum.isInForceAs(other.mSum);
}

bool fimath::ispropequal(const fimath& other) const {
    return hasSameModes(other) && mProduct.hasSameLengths(other.mProduct) && mSum.hasSameLengths(other.mSum);
}

// Setters

void fimath::setProductWordLength(int wordLength) {
    checkWordLength(wordLength, "ProductWordLength");
    mProduct.wordLength = wordLength;
}

void fimath::setMaxProductWordLength(int wordLength) {
    checkWordLength(wordLength, "MaxProductWordLength");
    mProduct.maxWordLength = wordLength;
}

void fimath::setSumWordLength(int wordLength) {
    checkWordLength(wordLength, "SumWordLength");
    mSum.wordLength = wordLength;
}

void fimath::setMaxSumWordLength(int wordLength) {
    checkWordLength(wordLength, "MaxSumWordLength");
    mSum.maxWordLength = wordLength;
}

bool fimath::setSlopeAdjustmentFactor(RegisterRules& rules, double factor) {
    const bool isInRange = factor >= 1.0 && factor < 2.0;
    if (isInRange) {
        rules.slopeAdjustmentFactor = factor;
    } else {
        warn(kInvalidFimathSetting, slopetexts::kInvalidFactor);
    }
    return isInRange;
}

bool fimath::setProductSlopeAdjustmentFactor(double factor) {
    return setSlopeAdjustmentFactor(mProduct, factor);
}

bool fimath::setSumSlopeAdjustmentFactor(double factor) {
    return setSlopeAdjustmentFactor(mSum, factor);
}

void fimath::setSlope(RegisterRules& rules, double slope) {
    int exponent = 0;
    rules.slopeAdjustmentFactor =
        NumericType::computeFixedPropsFromSlope(slope, exponent, kInvalidFimathSetting, slopetexts::kInvalidSlope);
    rules.fixedExponent = exponent;
}

void fimath::setProductSlope(double slope) {
    setSlope(mProduct, slope);
}

void fimath::setSumSlope(double slope) {
    setSlope(mSum, slope);
}

void fimath::setFormat(RegisterRules& rules, RealPoint format, const char* property) {
    const int wordLength = intbounds::truncated(format.first);
    checkWordLength(wordLength, property);
    rules.wordLength = wordLength;
    rules.fixedExponent = intbounds::truncated(-format.second);
}

void fimath::setProductFormat(RealPoint format) {
    setFormat(mProduct, format, "ProductWordLength");
}

void fimath::setSumFormat(RealPoint format) {
    setFormat(mSum, format, "SumWordLength");
}

// The rules of C integers

void fimath::setCStyle(int wordLength) {
    checkWordLength(wordLength, "ProductWordLength");
    mRoundMode = RoundModeEnum::Floor;
    mOverflowMode = OverflowModeEnum::Wrap;
    for (RegisterRules* rules : {&mProduct, &mSum}) {
        rules->mode = ArithmeticModeEnum::KeepLSB;
        rules->wordLength = wordLength;
    }
    mCastBeforeSum = true;
}

bool fimath::isCStyle() const {
    return mRoundMode == RoundModeEnum::Floor && mOverflowMode == OverflowModeEnum::Wrap &&
           mProduct.mode == ArithmeticModeEnum::KeepLSB && mSum.mode == ArithmeticModeEnum::KeepLSB &&
           mProduct.wordLength == mSum.wordLength && mCastBeforeSum;
}
