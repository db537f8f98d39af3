// Powers of two, and the same bits under another scale or type.
#include <cstdint>
#include <memory>

#include "fi/bulk/entries.h"
#include "fi/bulk/wide_values.h"
#include "fi/fi.h"
#include "fi/result_types/to_int.h"
#include "numbers/rounding.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

void multiplyByPowerOfTwo(number& part, int k) {
    // Words that are shifted much further make long integers when they are quantized.
    const std::int64_t furthest = 2 * std::int64_t{part.getprecision()};
    if (k >= -furthest && k <= furthest && wide::scale(part, k)) {
        return;
    }
    entries::change(
        part, [k](double x) { return rounding::scaleByPowerOfTwo(x, k); }, [k](number& x) { x.pow2(k); });
}

}  // namespace

fi& fi::pow2(int k, bool floorRound) const {
    auto result = std::make_unique<fi>(*this);
    multiplyByPowerOfTwo(result->mReal, k);
    if (result->iscomplex()) {
        multiplyByPowerOfTwo(result->imagEntries(), k);
    }
    if (floorRound) {
        // The rules stay as they are: only this one quantization rounds down.
        result->mAssignmentQuantizer.set(getNumericType(), embedded::RoundModeEnum::Floor, getOverflowMode(), false);
    }
    result->quantizeAll(false);
    result->updateAssignmentQuantizer();
    return *result.release();
}

fi& fi::stripscaling() const {
    auto result = std::make_unique<fi>(*this);
    if (!isScaledType()) {
        return *result.release();
    }
    if (isFixed()) {
        const NumericType& type = getNumericType();
        const auto strip = [&](number& part) {
            if (!isSlopeBiasScaled() && wide::scale(part, rounding::negatedExponent(type.getFixedExponent()))) {
                return;
            }
            entries::walk(part, [&](number& x) {
                x.stripscaling(type.getSlopeAdjustmentFactor(), type.getFixedExponent(), type.getBias());
            });
        };
        strip(result->mReal);
        if (result->iscomplex()) {
            strip(result->imagEntries());
        }
    }
    result->setScaling(1.0, 0, 0.0);
    if (isFixed() && isSlopeBiasScaled()) {
        result->quantizeAll(true);
    }
    if (getScaling() != ScalingEnum::BinaryPoint) {
        result->setScaling(ScalingEnum::BinaryPoint);
    }
    return *result.release();
}

fi& fi::reinterpretcast(const NumericType& type) const {
    if (!isScaledType() || !type.isScaledType()) {
        raise("fixedpoint:fi:reinterpretcast:onlyfixedpointnumerictype",
              "The REINTERPRETCAST function only supports integer, fixed-point, and ScaledDouble inputs.");
    }
    if (isSlopeBiasScaled() || type.isSlopeBiasScaled()) {
        raise("fixedpoint:fi:onlybinarypointmath",
              "REINTERPRETCAST is only supported for operands that have an integer power of 2 slope, and a bias "
              "of 0.");
    }
    if (type.isUnspecifiedSign()) {
        raise("fixedpoint:fi:reinterpretcast:unspecifiedsign",
              "REINTERPRETCAST(A,T) is only supported when the SIGNEDNESS of NUMERICTYPE object T is SIGNED or "
              "UNSIGNED.");
    }
    if (type.isUnspecifiedScaling()) {
        raise("fixedpoint:fi:reinterpretcast:unspecifiedscaling",
              "REINTERPRETCAST(A,T) is not supported when numerictype T has unspecified scaling.");
    }
    if (type.getWordLength() != getWordLength()) {
        raise("fixedpoint:fi:reinterpretcast:wrongwordlength",
              "The word length of the numeric type must be equal to the word length of the fi object being "
              "cast.");
    }
    if (isView()) {
        return detached()->reinterpretcast(type);
    }
    NumericType resultType(type);
    if (isScaledDouble()) {
        resultType.setDataType(DataTypeEnum::ScaledDouble);
    }
    auto result = std::make_unique<fi>(dims(), ndims(), resultType, getFimath(), iscomplex(), getTag(), mFimathIsLocal,
                                       embedded::OperationTypeEnum::Assignment, 0U);
    const quantizer& q = result->getAssignmentQuantizer();
    const int shift = toInt(std::int64_t{result->getFixedExponent()} - getFixedExponent());
    const bool changesSign = isSigned() != result->isSigned();
    const auto cast = [&](const number& from, number& to) {
        if (const std::int64_t changed = wide::reinterpret(from, getNumericType(), to, type); changed >= 0) {
            q.getQlogger().addtoOverflows(static_cast<std::uint64_t>(changed));
            return;
        }
        const std::uint64_t cursor = from.getIndex();
        for (std::uint64_t i = 0; i < mNumel; ++i) {
            number& x = to[i].setvalue(from[i]);
            if (shift != 0) {
                x.pow2(shift);
            }
            if (changesSign) {
                // The bits represent another integer if that is now out of range.
                result->isSigned() ? q.wrap(x) : q.uwrap(x);
            }
        }
        from.setIndex(cursor);
        to.setIndex(0);
    };
    cast(mReal, result->mReal);
    if (iscomplex()) {
        cast(imagEntries(), result->imagEntries());
    }
    return *result.release();
}
