// The factors for converting stored values between types with slope and bias. They are computed once for their key of
// types and always with nearest and saturate, whatever the rules of the operation.
#include <cstdint>
#include <string>

#include "fi/fi.h"
#include "fi/result_types/caches.h"
#include "fi/result_types/to_int.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;

constexpr auto kNearest = embedded::RoundModeEnum::Nearest;
constexpr auto kSaturate = embedded::OverflowModeEnum::Saturate;

quantizer correctionQuantizer(const NumericType& type) {
    return quantizer(type, kNearest, kSaturate, std::string(), embedded::OperationTypeEnum::Unspecified, false);
}

/// Quantizes a double through a number of the given precision.
double quantized(double value, const quantizer& format, unsigned precision) {
    number result(value, precision, number::getDefaultForceMultiplePrecision());
    return format.quantize(result).todouble();
}

/// Quantizes the net bias of an operation. An unsigned result takes the magnitude, since a negative value would
/// saturate at 0; the caller then subtracts it.
double netBias(double bias, const NumericType& result, const quantizer& format, unsigned precision) {
    double stored = bias / result.getSlopeAdjustmentFactor();
    if (!result.isSigned() && stored < 0.0) {
        stored = -0.0 - stored;
    }
    return quantized(stored, format, precision);
}

/// Stores a key; the first one is a copy, later ones take over the numeric fields.
void storeKey(std::unique_ptr<NumericType>& key, const NumericType& type) {
    if (key) {
        key->set(type);
    } else {
        key = std::make_unique<NumericType>(type);
    }
}

bool holdsKey(const std::unique_ptr<NumericType>& key, const NumericType& type) {
    return key && key->isequivalent(type);
}

}  // namespace

// The ratio has as many bits as the reference operand's word, at the best scaling for its magnitude: the correction is
// computed with a value that a register of that length can hold, not with the exact ratio.
double fi::computeSAFCorrection(double denominator, double numerator, const fi& reference) const {
    const double ratio = numerator / denominator;
    NumericType type(reference.isSigned(), reference.getWordLength(), 0);
    type.setBestPrecisionFromMaxAbs(ratio);
    type.setDataType(getDataType());
    return quantized(ratio, correctionQuantizer(type), number::getDefaultPrecision());
}

fi::Caches& fi::caches() const {
    if (!mCaches) {
        mCaches = std::make_unique<Caches>();
    }
    return *mCaches;
}

double fi::getBnetForEquals() const {
    return caches().bnetForEquals;
}
double fi::getFsxForEquals() const {
    return caches().fsxForEquals;
}
double fi::getBnetForSlopeBiasPlus() const {
    return caches().bnetForPlus;
}
double fi::getBnetForSlopeBiasMinus() const {
    return caches().bnetForMinus;
}
double fi::getFsaForPlus() const {
    return caches().fsaForPlus;
}
double fi::getFsbForPlus() const {
    return caches().fsbForPlus;
}
double fi::getFscForTimes() const {
    return caches().fscForTimes;
}
fi& fi::getAForSlopeBiasTimes() const {
    return *caches().worstCaseA;
}
fi& fi::getBForSlopeBiasTimes() const {
    return *caches().worstCaseB;
}

void fi::initSlopeBiasCorrectionFactorsForEquals(const fi& source) const {
    const NumericType& sourceType = source.getNumericType();
    Caches& factors = caches();
    if (holdsKey(factors.equalsSourceType, sourceType)) {
        return;
    }
    const NumericType& type = getNumericType();
    factors.fsxForEquals =
        computeSAFCorrection(type.getSlopeAdjustmentFactor(), sourceType.getSlopeAdjustmentFactor(), source);
    factors.bnetForEquals =
        netBias(sourceType.getBias() - type.getBias(), type, correctionQuantizer(type), wordPrecision());
    storeKey(factors.equalsSourceType, sourceType);
}

bool fi::needToInitSlopeBiasCorrectionFactorsForPlus(const fi& b, const fi& result) const {
    const Caches& factors = caches();
    return !(holdsKey(factors.plusOperandType, b.getNumericType()) &&
             holdsKey(factors.plusResultType, result.getNumericType()));
}

// With S for the slope adjustment factors and s for stored values: (A + B - bias of the result) / S is
// (Sa / S) * sa + (Sb / S) * sb + (bias of a + bias of b - bias of the result) / S, and the b terms change their sign
// in a difference.
void fi::initSlopeBiasCorrectionFactorsForPlus(const fi& b, const fi& result) const {
    if (!needToInitSlopeBiasCorrectionFactorsForPlus(b, result)) {
        return;
    }
    Caches& factors = caches();
    const NumericType& resultType = result.getNumericType();
    const quantizer format = correctionQuantizer(resultType);
    const double bias = getBias();
    factors.bnetForPlus = netBias(b.getBias() + bias - resultType.getBias(), resultType, format, wordPrecision());
    factors.bnetForMinus = netBias(bias - b.getBias() - resultType.getBias(), resultType, format, wordPrecision());
    const double resultFactor = resultType.getSlopeAdjustmentFactor();
    factors.fsaForPlus = computeSAFCorrection(resultFactor, getSlopeAdjustmentFactor(), *this);
    factors.fsbForPlus = computeSAFCorrection(resultFactor, b.getSlopeAdjustmentFactor(), b);
    storeKey(factors.plusOperandType, b.getNumericType());
    storeKey(factors.plusResultType, resultType);
}

void fi::initSlopeCorrectionFactorForTimes(double netSlope, const fi& result) const {
    Caches& factors = caches();
    const NumericType& resultType = result.getNumericType();
    if (holdsKey(factors.timesResultType, resultType) && netSlope == factors.timesNetSlope) {
        return;
    }
    factors.fscForTimes = computeSAFCorrection(1.0, netSlope, result);
    storeKey(factors.timesResultType, resultType);
    factors.timesNetSlope = netSlope;
}

// The register holds every product of the binary point operands, so rounding only occurs in the conversion of an
// operand for which no binary point type is exact, and in the conversion to the result's type. The sum fields of the
// rules don't affect a product of real values. Everything is made before anything is replaced, since the product of the
// types may raise.
void fi::initParamsForWorstCaseSlopeBiasTimes(const fi& b) const {
    const NumericType& leftType = getNumericType();
    const NumericType& rightType = b.getNumericType();
    Caches& factors = caches();
    if (holdsKey(factors.worstCaseLeftType, leftType) && holdsKey(factors.worstCaseRightType, rightType)) {
        return;
    }
    constexpr int kMaxWordBits = 65535;
    const NumericType left = leftType.convertSlopeBiasToBinaryPoint(kMaxWordBits, nullptr);
    const NumericType right = rightType.convertSlopeBiasToBinaryPoint(kMaxWordBits, nullptr);
    const std::int64_t exponent = std::int64_t{left.getFixedExponent()} + right.getFixedExponent();
    const fimath& own = getFimath();
    const fimath rules(own.getRoundMode(), own.getOverflowMode(), PrecisionModeEnum::Arbitrary,
                       ArithmeticModeEnum::SpecifyPrecision, left.getWordLength() + right.getWordLength(), 128,
                       toInt(-exponent), ArithmeticModeEnum::FullPrecision, 32, 128, 30, true);

    const auto operandOf = [&](const NumericType& type) {
        return std::make_unique<fi>(0.0, type, rules, 0U, getTag(), true, embedded::OperationTypeEnum::Product);
    };
    std::unique_ptr<fi> operandA = operandOf(left);
    std::unique_ptr<fi> operandB = operandOf(right);
    const NumericType& product = operandA->getProductTypeForMpyOp(*operandB);
    operandA->initializeProductRegister(product, product, rules, 0);

    storeKey(factors.worstCaseLeftType, leftType);
    storeKey(factors.worstCaseRightType, rightType);
    factors.worstCaseA = std::move(operandA);
    factors.worstCaseB = std::move(operandB);
}
