// The array functions of a quantizer: vector kernels if the format allows them, otherwise the stored element function.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/ErrorIdException.h"
#include "numbers/doublenumber.h"
#include "quantization/array_kernels.h"
#include "quantization/quantizer.h"

using namespace tolvane::detail;

namespace {

using Mode = embedded::QuantizerModeEnum;

bool isFloat(Mode mode) {
    return mode == Mode::Float || mode == Mode::Single;
}

// The float kernel forms 2^(fraction length - exponent) and its reciprocal as normal doubles. The exponent of a value
// that isn't beyond the bounds runs from exponentmin (smaller values use that) to the greater of exponentmax and
// exponentmin.
bool floatKernelServes(const quantizer& q) {
    const int least = q.getExponentmin();
    const int greatest = std::max(q.getExponentmax(), least);
    const int mantissaBits = q.getFractionlength();
    return q.getPrecision() <= 52 && least - mantissaBits >= -1022 && greatest <= 1022 && least >= -1022;
}

FloatDoubleLimits floatLimits(const quantizer& q) {
    return {q.getRealmax().todouble(), q.getLowerBound().todouble(), std::ldexp(1.0, q.getExponentmin()),
            std::ldexp(1.0, q.getFractionlength()), std::ldexp(1.0, -q.getFractionlength())};
}

// Of several zeros of either sign the first one is an extreme, and the kernels don't report which that was.
double firstOfEqual(double extreme, std::span<const double> values) {
    return extreme == 0.0 ? *std::find(values.begin(), values.end(), 0.0) : extreme;
}

}  // namespace

bool quantizer::keepsValues() const {
    return mFunctionFits && (mMode == Mode::Double || mMode == Mode::None || mMode == Mode::ScaledDouble ||
                             mMode == Mode::UnsignedScaledDouble);
}

number& quantizer::quantizeArray(number& x) const {
    if (doublenumber* doubles = x.asDouble()) {
        quantize(doubles->elements(), doubles->elements());
        return x;
    }
    const std::uint64_t cursor = x.getIndex();
    for (std::uint64_t i = 0; i < x.numel(); ++i) {
        (this->*mQuantize)(x[i]);
    }
    x.setIndex(cursor);
    return x;
}

bool quantizer::hasFixedKernel() const {
    return mFunctionFits && (isSignedFixed() || isUnsignedFixed()) && mLimits.valid && arraykernels::areAvailable();
}

void quantizer::quantize(std::span<const double> in, std::span<double> out) const {
    if (in.size() != out.size()) {
        raiseError("fixedpoint:quantizer:quantize:sizemismatch",
                   "The arrays to quantize from and into must have the same number of elements.");
    }
    if (in.empty()) {
        return;
    }
    const bool counting = mLogger.isLogging();
    if (!counting && keepsValues()) {
        if (in.data() != out.data()) {
            std::copy(in.begin(), in.end(), out.begin());
        }
        return;
    }

    arraykernels::Statistics statistics;
    const arraykernels::Selection selection{mMode, mRoundMode, mOverflowMode};
    arraykernels::Statistics* const wanted = counting ? &statistics : nullptr;
    const bool isFixed = isSignedFixed() || isUnsignedFixed();
    // The kernels follow the description, which an element function kept from before does not match.
    const bool hasKernels = mFunctionFits && arraykernels::areAvailable();
    if (hasKernels && isFloat(mMode) && floatKernelServes(*this)) {
        arraykernels::quantizeFloatArray(selection, floatLimits(*this), in.data(), out.data(), in.size(), wanted);
    } else if (hasKernels && !isFloat(mMode) && (isFixed ? mLimits.valid : mLimits.hasBounds)) {
        arraykernels::quantizeArray(selection, mLimits, in.data(), out.data(), in.size(), wanted);
    } else {
        number element(0.0, 52, false);
        for (std::size_t i = 0; i < in.size(); ++i) {
            element.setvalue(in[i]);
            out[i] = (this->*mQuantize)(element).todouble();
        }
        return;
    }
    if (counting) {
        mLogger.addArrayStatistics(in.size(), statistics.overflows, statistics.underflows,
                                   firstOfEqual(statistics.greatest, out), firstOfEqual(statistics.least, out));
    }
}
