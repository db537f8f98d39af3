// Stores to the current element, and the conversions between scales.
#include "fi/core/quantized_store.h"
#include "fi/fi.h"
#include "fi/result_types/caches.h"
#include "fi/result_types/slopebias_errors.h"

using namespace tolvane::detail;

// Conversions between stored and real-world values.

double fi::removeSlopeAdjustmentFactorBias(double realWorldValue) const {
    if (!isSlopeBiasScaled()) {
        return realWorldValue;
    }
    return (realWorldValue - getBias()) * (1.0 / getSlopeAdjustmentFactor());
}

double fi::addSlopeAdjustmentFactorBias(double storedValue) const {
    return isSlopeBiasScaled() ? getNumericType().addSlopeAdjustmentFactorBias(storedValue) : storedValue;
}

// It multiplies where removeSlopeAdjustmentFactorBias divides; its callers rely on that.
double fi::adjustReal(double value) const {
    if (getBias() != 0.0) {
        value += 0.0 - getBias();
    }
    if (getSlopeAdjustmentFactor() != 1.0) {
        value *= getSlopeAdjustmentFactor();
    }
    return value;
}

double fi::storedZero() const {
    return (1.0 / getSlopeAdjustmentFactor()) * (0.0 - getBias());
}

// Stores.

fi& fi::setvalue(const fi& source) {
    coordinateComplexity(source.iscomplex(), 0);
    mReal.setvalue(source.mReal);
    if (iscomplex()) {
        imagEntry().setvalue(source.imag());
    }
    return *this;
}

fi& fi::setvalue(double value) {
    mReal.setvalue(value);
    if (iscomplex()) {
        imagEntry().setvalue(0.0);
    }
    return *this;
}

fi& fi::operator=(double value) {
    const double stored = removeSlopeAdjustmentFactorBias(value);
    if (iscomplex()) {
        imagEntry().setvalue(0.0);
    }
    storeAsQuantized(mReal, stored, getAssignmentQuantizer());
    return *this;
}

void fi::errorIfComplexOntoSlopeBias(const fi& source) const {
    if (embedded::getFeatureFiRealOnlySlopeBias() && isSlopeBiasScaled() && source.iscomplex()) {
        slopebias::raiseForComplexResult();
    }
}

fi& fi::operator=(const fi& source) {
    if (this == &source) {
        return *this;
    }
    errorIfComplexOntoSlopeBias(source);
    coordinateComplexity(source.iscomplex(), 0);
    const quantizer& q = getAssignmentQuantizer();
    if (getNumericType().isequivalent(source.getNumericType())) {
        assignEqualType(source, q);
    } else if (isSlopeBiasScaled() || source.isSlopeBiasScaled()) {
        assignSlopeBias(source, q);
    } else if (getWordLength() < source.getWordLength()) {
        assignNarrower(source, q);
    } else {
        storeAsQuantized(mReal, source.mReal, q);
        if (iscomplex()) {
            storeAsQuantized(imagEntry(), source.imag(), q);
        }
    }
    return *this;
}

// A value of the same type can't overflow, except that scaled doubles hold values beyond their range, which are
// counted.
void fi::logEqualType(number& entry, const quantizer& q) const {
    if (getLogging()) {
        getQlogger().updateminmax(entry);
        if (isScaledDouble()) {
            q.quantize(entry);
        }
    }
}

void fi::assignEqualType(const fi& source, const quantizer& q) {
    logEqualType(mReal.setvalue(source.mReal), q);
    if (isreal()) {
        return;
    }
    number& entry = imagEntry();
    if (source.iscomplex()) {
        entry.setvalue(source.imag());
    } else if (isSlopeBiasScaled()) {
        q.quantize(entry.setvalue(storedZero()));
    } else {
        entry.setvalue(0.0);
    }
    logEqualType(entry, q);
}

void fi::assignSlopeBias(const fi& source, const quantizer& q) {
    // An unsigned word can't hold a negative net bias, so its magnitude is kept and subtracted.
    const bool isNegativeIntoUnsigned = source.getBias() - getBias() < 0.0 && !isSigned();
    initSlopeBiasCorrectionFactorsForEquals(source);
    const number netBias(getBnetForEquals(), number::getDefaultPrecision(), number::getDefaultForceMultiplePrecision());
    // A view of this array may have kept another type, and may be at the element that is stored here.
    const fi& from = sharesElementsOf(source) ? source.getElement() : source;
    const auto scale = [&](number& entry, const number& value) {
        entry.setvalue(getFsxForEquals());
        entry *= value;
        q.quantize(entry);
    };
    const auto shift = [&](number& entry) {
        if (isNegativeIntoUnsigned) {
            entry -= netBias;
        } else {
            entry += netBias;
        }
        q.quantize(entry);
    };
    scale(mReal, from.mReal);
    shift(mReal);
    if (iscomplex()) {
        number& entry = imagEntry();
        if (source.iscomplex()) {
            scale(entry, from.imag());
        } else {
            entry.setvalue(0.0);
        }
        shift(entry);
    }
}

void fi::assignNarrower(const fi& source, const quantizer& q) {
    fi& element = source.getElement();
    mReal.setvalue(q.quantize(element.mReal));
    if (iscomplex()) {
        if (source.iscomplex()) {
            imagEntry().setvalue(q.quantize(element.imagEntry()));
        } else {
            imagEntry().setvalue(0.0);
        }
    }
}

// Copies of the current element.

fi& fi::getElement() const {
    // A copy that was made before a change of type could round, or refuse to be complex.
    std::unique_ptr<fi>& element = caches().element;
    if (element && getNumericType().isequivalent(element->getNumericType())) {
        element->setvalue(*this);
    } else {
        element = std::make_unique<fi>(*this, embedded::CopyElement::tag);
        // Its own log would be written to the log map a second time.
        element->resetLogging();
    }
    return *element;
}

namespace {

number atDefaultPrecision(double value) {
    return number(value, number::getDefaultPrecision(), number::getDefaultForceMultiplePrecision());
}

void adjust(number& entry, const fi& from, const fi& to) {
    if (from.getSlopeAdjustmentFactor() != to.getSlopeAdjustmentFactor()) {
        entry *= atDefaultPrecision(from.getSlopeAdjustmentFactor() / to.getSlopeAdjustmentFactor());
    }
    if (from.getBias() != to.getBias()) {
        entry += atDefaultPrecision((from.getBias() - to.getBias()) / to.getSlopeAdjustmentFactor());
    }
}

}  // namespace

const fi& fi::getAdjustedElement(const fi& other) const {
    if (hasScaleOf(other)) {
        return *this;
    }
    fi& element = getElement();
    adjust(element.mReal, *this, other);
    if (element.iscomplex()) {
        adjust(element.imagEntry(), *this, other);
    }
    return element;
}

const number& fi::getAdjustedReal(const fi& other) const {
    if (hasScaleOf(other)) {
        return mReal;
    }
    number& entry = getElement().mReal;
    adjust(entry, *this, other);
    return entry;
}
