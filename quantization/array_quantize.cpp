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

bool quantizer::hasArrayLoops() const {
    // The loops follow the description, which an element function kept from before doesn't match.
    if (!mFunctionFits || !arraykernels::areAvailable()) {
        return false;
    }
    if (isFloat(mMode)) {
        return mFloatLimits != nullptr;
    }
    return isSignedFixed() || isUnsignedFixed() ? mLimits.valid : mLimits.hasBounds;
}

void quantizer::quantizeByElements(std::span<const double> in, std::span<double> out) const {
    number element(0.0, 52, false);
    for (std::size_t i = 0; i < in.size(); ++i) {
        element.setvalue(in[i]);
        out[i] = (this->*mQuantize)(element).todouble();
    }
}

void quantizer::quantizeAndTally(std::span<const double> in, std::span<double> out, Tally* tally) const {
    if (!tally && keepsValues()) {
        if (in.data() != out.data()) {
            std::copy(in.begin(), in.end(), out.begin());
        }
        return;
    }
    if (!hasArrayLoops()) {
        quantizeByElements(in, out);
        return;
    }
    const arraykernels::Selection selection{mMode, mRoundMode, mOverflowMode};
    Tally noted;
    Tally* const wanted = tally ? &noted : nullptr;
    if (isFloat(mMode)) {
        arraykernels::quantizeFloatArray(selection, *mFloatLimits, in.data(), out.data(), in.size(), wanted);
    } else {
        arraykernels::quantizeArray(selection, mLimits, in.data(), out.data(), in.size(), wanted);
    }
    if (tally) {
        noted.values = in.size();
        tally->join(noted);
    }
}

void quantizer::quantize(std::span<const double> in, std::span<double> out) const {
    if (in.size() != out.size()) {
        raiseError("fixedpoint:quantizer:quantize:sizemismatch",
                   "The arrays to quantize from and into must have the same number of elements.");
    }
    if (in.empty()) {
        return;
    }
    if (!mLogger.isLogging()) {
        quantizeAndTally(in, out, nullptr);
        return;
    }
    if (!hasArrayLoops()) {
        quantizeByElements(in, out);
        return;
    }
    Tally tally;
    quantizeAndTally(in, out, &tally);
    if (tally.isOpenFor(mLogger)) {
        tally.settle(*std::find(out.begin(), out.end(), 0.0));
    }
    tally.handTo(mLogger);
}
