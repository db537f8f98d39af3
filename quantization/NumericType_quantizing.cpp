// The members of a type descriptor that need a quantizer: the type of a quantizer, the range of a type, and the binary
// point type that holds a slope and a bias. They are here because quantizers are built on types.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "descriptors/NumericType.h"
#include "descriptors/NumericType_tables.h"
#include "numbers/number.h"
#include "numbers/services.h"
#include "quantization/quantizer.h"

using namespace tolvane::detail;

namespace EmbeddedTypeSystem {

namespace {

using numerictypetables::negated;

constexpr auto kFloor = embedded::RoundModeEnum::Floor;
constexpr auto kSaturate = embedded::OverflowModeEnum::Saturate;

quantizer plainQuantizer(const NumericType& type) {
    return quantizer(type, kFloor, kSaturate, std::string(), embedded::OperationTypeEnum::Unspecified, false);
}

number toNumber(double value, const quantizer& format) {
    return number(value, format.getPrecision(), false);
}

double quantized(double value, const quantizer& format) {
    number result = toNumber(value, format);
    return format.quantize(result).todouble();
}

/// The exponent of the lowest bit that is set in a finite value other than 0.
int lowestBitExponent(double value) {
    constexpr int kBits = std::numeric_limits<double>::digits;
    int exponent = 0;
    const double mantissa = std::frexp(std::fabs(value), &exponent);
    const auto bits = static_cast<std::uint64_t>(std::ldexp(mantissa, kBits));
    return exponent - kBits + std::countr_zero(bits);
}

/// The smallest fraction length at which both values are still multiples of the step, or none if no value determines
/// it: for two zeros, and for values that aren't finite.
std::optional<int> smallestFractionLength(double a, double b) {
    if (!std::isfinite(a) || !std::isfinite(b) || (a == 0.0 && b == 0.0)) {
        return std::nullopt;
    }
    if (a == 0.0 || b == 0.0) {
        return -lowestBitExponent(a == 0.0 ? b : a);
    }
    return -std::min(lowestBitExponent(a), lowestBitExponent(b));
}

}  // namespace

NumericType::NumericType(const quantizer* source) : NumericType() {
    using Mode = embedded::QuantizerModeEnum;
    const Mode mode = source->getMode();
    switch (mode) {
        case Mode::Double:
        case Mode::None:
            NumericType::setDataTypeMode(DataTypeModeEnum::Double, true);
            return;
        case Mode::Float:
        case Mode::Single:
            NumericType::setDataTypeMode(DataTypeModeEnum::Single, true);
            return;
        case Mode::Boolean:
            NumericType::setDataTypeMode(DataTypeModeEnum::Boolean, true);
            return;
        case Mode::Fixed:
        case Mode::Ufixed:
            break;
        case Mode::ScaledDouble:
        case Mode::UnsignedScaledDouble:
            NumericType::setDataTypeMode(DataTypeModeEnum::ScaledDoubleBinaryPoint, true);
            break;
        default:
            raise("numerictype:constructor:unhandledcase", "Unhandled case in the numerictype constructor.");
    }
    setIsSigned(mode == Mode::Fixed || mode == Mode::ScaledDouble);
    setWordLength(source->getWordlength());
    mProp.FixedExponent = negated(source->getFractionlength());
}

void NumericType::getLowerUpperBoundsAsDouble(double& lower, double& upper) const {
    const quantizer range = plainQuantizer(*this);
    lower = range.getLowerBound().todouble();
    upper = range.getUpperBound().todouble();
    if (isSlopeBiasScaled()) {
        lower = addSlopeAdjustmentFactorBias(lower);
        upper = addSlopeAdjustmentFactorBias(upper);
    }
}

NumericType NumericType::convertSlopeBiasToBinaryPoint(int count, const int* wordLengths) const {
    NumericType result(*this);
    if (!isSlopeBiasScaled()) {
        return result;
    }
    const double factor = getSlopeAdjustmentFactor();
    double bias = getBias();
    result.setDataTypeMode(convertToDataTypeMode(getDataType(), ScalingEnum::BinaryPoint), true);
    NumericType fixedType(result);
    fixedType.setDataType(DataTypeEnum::Fixed);

    // The slope as rounded to the word, and the real-world range of the type with that slope.
    fixedType.fxpBestPrecisionExponent(std::fabs(factor));
    quantizer format = plainQuantizer(fixedType);
    const double heldFactor = quantized(factor, format);
    double slope = std::ldexp(heldFactor, getFixedExponent());
    format.setWordlength(getWordLength());
    format.setFractionlength(getFractionLength());
    const number scale = toNumber(heldFactor, format);
    const number offset = toNumber(bias, format);
    const number high = format.getUpperBound() * scale + offset;
    const number low = format.getLowerBound() * scale + offset;
    const bool isLowNegative = low < number(0.0, format.getPrecision(), false);
    result.setSigned(isLowNegative);
    fixedType.setSigned(isLowNegative);
    if (isLowNegative && high < toNumber(slope, format)) {
        slope = -slope;
    }

    const int minWordBits = isLowNegative ? 2 : 1;
    double heldSlope = 0.0;
    double heldBias = 0.0;
    // The second pass searches for the bias that the last candidate of the first could hold.
    bool isFound = false;
    for (int round = 0; round < 2 && !isFound && count > 0; ++round) {
        for (int i = 0; i < count && !isFound; ++i) {
            int wordBits = wordLengths == nullptr ? i + 1 : wordLengths[i];
            if (wordBits < minWordBits) {
                if (i < count - 1) {
                    continue;
                }
                wordBits = minWordBits;
            }
            result.setWordLength(wordBits);
            fixedType.setWordLength(wordBits);
            fixedType.fxpBestPrecisionExponent(high.todouble());
            const int highExponent = fixedType.getFixedExponent();
            fixedType.fxpBestPrecisionExponent(low.todouble());
            result.setFixedExponent(std::max(highExponent, fixedType.getFixedExponent()));
            format.set(result, kFloor, kSaturate, false);
            if (!format.isSignedFixed()) {
                format.setMode(embedded::QuantizerModeEnum::Fixed);
            }
            heldSlope = quantized(slope, format);
            heldBias = quantized(bias, format);
            isFound = heldSlope == slope && heldBias == bias;
        }
        if (!isFound) {
            bias = heldBias;
        }
    }
    if (const std::optional<int> fractionLength = smallestFractionLength(heldSlope, heldBias)) {
        result.setFractionLength(*fractionLength);
    }
    return result;
}

}  // namespace EmbeddedTypeSystem
