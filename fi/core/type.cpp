// The type and the quantizer that holds it.
#include <algorithm>
#include <span>

#include "fi/fi.h"

const quantizer& fi::getAssignmentQuantizer() const {
    if (!mFimathIsLocal) {
        const fimath& rules = getFimath();
        if (mAssignmentQuantizer.getRoundMode() != rules.getRoundMode()) {
            mAssignmentQuantizer.setRoundMode(rules.getRoundMode());
        }
        if (mAssignmentQuantizer.getOverflowMode() != rules.getOverflowMode()) {
            mAssignmentQuantizer.setOverflowMode(rules.getOverflowMode());
        }
    }
    return mAssignmentQuantizer;
}

const qlogger& fi::getQlogger() const {
    return getAssignmentQuantizer().getQlogger();
}

void fi::updateAssignmentQuantizer() {
    mAssignmentQuantizer.set(getNumericType(), getRoundMode(), getOverflowMode(), false);
}

void fi::quantizeAll(bool refresh) {
    if (refresh) {
        updateAssignmentQuantizer();
    }
    if (!isView()) {
        mAssignmentQuantizer.quantizeArray(mReal);
        if (mImag) {
            mAssignmentQuantizer.quantizeArray(*mImag);
        }
        return;
    }
    const std::uint64_t first = firstPlace();
    const auto quantizeOwn = [&](number& part) {
        if (doublenumber* doubles = part.asDouble()) {
            const std::span<double> all = doubles->elements();
            const std::uint64_t start = std::min<std::uint64_t>(first, all.size());
            const std::span<double> own = all.subspan(start, std::min(mNumel, all.size() - start));
            mAssignmentQuantizerRef->quantize(own, own);
            return;
        }
        const std::uint64_t cursor = part.getIndex();
        for (std::uint64_t i = first; i < first + mNumel; ++i) {
            mAssignmentQuantizerRef->quantize(part[i]);
        }
        part.setIndex(cursor);
    };
    quantizeOwn(mReal);
    if (iscomplex()) {
        quantizeOwn(imagEntries());
    }
}

void fi::applyNumericType(const NumericType& type) {
    mAssignmentQuantizer.set(type, getRoundMode(), getOverflowMode(), false);
    mAssignmentQuantizer.getNumericType().set(type);
}

void fi::dropFimathOfFloat() {
    if (isFloat()) {
        mFimathIsLocal = false;
        mFimath.reset();
        updateAssignmentQuantizer();
    }
}

namespace {

EmbeddedTypeSystem::NumericType withSettledSign(const EmbeddedTypeSystem::NumericType& type) {
    EmbeddedTypeSystem::NumericType settled(type);
    if (settled.isUnspecifiedSign()) {
        settled.setSigned(true);
    }
    return settled;
}

}  // namespace

void fi::setNumericType(const NumericType& type) {
    const NumericType settled = withSettledSign(type);
    mAssignmentQuantizer.set(settled, mAssignmentQuantizer.getRoundMode(), mAssignmentQuantizer.getOverflowMode(),
                             false);
    mAssignmentQuantizer.getNumericType().set(settled);
    dropFimathOfFloat();
}
