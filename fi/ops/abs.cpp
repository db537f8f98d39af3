// Magnitudes of elements, and absolute values of arrays of real data.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>

#include "fi/bulk/entries.h"
#include "fi/bulk/wide_values.h"
#include "fi/fi.h"
#include "fi/result_types/work_cells.h"
#include "numbers/services.h"

using namespace tolvane::detail;

void fi::abs(number& out) const {
    if (isreal()) {
        out.abs(mReal);
    } else {
        out.hypot(mReal, imag());
    }
}

namespace {

using EmbeddedTypeSystem::NumericType;

/// The given type in the data type that the operand leads to.
NumericType absType(const fi& a, const NumericType& type) {
    NumericType result(type);
    if (a.isFloat() && !type.isFloat()) {
        result.set(a.getNumericType());
    } else if (a.isScaledDouble() && type.isFixed()) {
        result.setDataType(NumericType::DataTypeEnum::ScaledDouble);
    }
    if (result.isScaledType() && result.isUnspecifiedSign()) {
        result.setSigned(false);
    }
    return result;
}

}  // namespace

fi* fi::realabs() const {
    return realabs(getNumericType(), getFimath());
}

fi* fi::realabs(const NumericType& type) const {
    return realabs(type, getFimath());
}

fi* fi::realabs(const fimath& rules) const {
    return realabs(getNumericType(), rules);
}

fi* fi::realabs(const NumericType& type, const fimath& rules) const {
    if (isSlopeBiasScaled() || type.isSlopeBiasScaled()) {
        raise("fixedpoint:fi:abs:binarypointonly",
              "realabs(A) and realabs(A,T) can only be calculated for FI object A and numerictype T when the "
              "scaling of A and T have a fractional slope of 1 and 0 bias (binary-point only scaling).");
    }
    if (iscomplex()) {
        raise("fixedpoint:fi:realabs:nocomplex", "The realabs function is not supported for complex fi.");
    }
    const unsigned precision = std::max(wordBits(*this), static_cast<unsigned>(std::max(type.getWordLength(), 0)));
    std::unique_ptr<fi> result(new fi(mDims, absType(*this, type), &rules, false, getTag(), true,
                                      embedded::OperationTypeEnum::Assignment, precision, Entries::unset));
    // The sign is removed before anything is quantized, so that the most negative value overflows.
    const std::span<const double> values = entries::doublesOf(mReal, mNumel);
    if (doublenumber* doubles = result->mReal.asDouble(); doubles && values.data()) {
        std::ranges::transform(values, doubles->elements().begin(), [](double x) { return x < 0.0 ? -x : x; });
    } else if (mReal.numel() == mNumel && mNumel > 0 && wide::storeMagnitudes(mReal, result->mReal)) {
        setIndex(mNumel - 1);
    } else {
        for (std::uint64_t i = 0; i < mNumel; ++i) {
            setIndex(i);
            number& entry = result->mReal[i].setvalue(mReal);
            if (entry.isnegative()) {
                entry.negate();
            }
        }
        result->mReal.setIndex(0);
    }
    result->quantizeAll(true);
    result->setFimathIsLocal(mFimathIsLocal);
    return result.release();
}
