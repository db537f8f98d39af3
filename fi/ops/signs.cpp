// Negation, conjugation, signs, and conversions between complex arrays and their parts.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>

#include "fi/bulk/broadcast.h"
#include "fi/bulk/entries.h"
#include "fi/bulk/wide_values.h"
#include "fi/core/word_grids.h"
#include "fi/fi.h"
#include "fi/result_types/slopebias_errors.h"
#include "numbers/mpnumber.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

bool areWordsOf(const number& part, const fi::NumericType& type) {
    const mpnumber* const words = part.asWords();
    return words && *words->grid() == gridOf(type);
}

}  // namespace

fi* fi::uminus() const {
    auto result = std::make_unique<fi>(*this);
    if (isSlopeBiasScaled()) {
        // Stored values negate under the same slope, so the real-world value negates with its bias.
        result->setBias(0.0 - getBias());
    }
    result->getQlogger().reset();
    const quantizer& q = result->getAssignmentQuantizer();
    bool isOrderSeen = result->iscomplex() && q.getQlogger().isLogging();
    if (isOrderSeen && isSigned() && areWordsOf(result->mReal, getNumericType()) &&
        areWordsOf(result->imagEntries(), getNumericType())) {
        // Negatives of words are quantized without new zeros.
        isOrderSeen = !wide::haveZerosOfOneSign(result->mReal, result->imagEntries());
    }
    entries::negate(result->mReal);
    if (result->iscomplex()) {
        entries::negate(result->imagEntries());
    }
    if (!isOrderSeen) {
        result->quantizeAll(false);
        return result.release();
    }
    // With zeros of both signs, the first one becomes an extreme of the log, so the parts alternate.
    for (std::uint64_t i = 0; i < result->mNumel; ++i) {
        result->setIndex(i);
        q.quantize(result->mReal);
        q.quantize(result->imagEntries());
    }
    result->setIndex(0);
    return result.release();
}

fi* fi::conj() const {
    if (iscomplex() && isSlopeBiasScaled()) {
        slopebias::raiseForComplex("conj");
    }
    auto result = std::make_unique<fi>(*this);
    result->getQlogger().reset();
    const quantizer& q = result->getAssignmentQuantizer();
    if (isScaledDouble() && getLogging()) {
        // The values don't change, but the log of the new array must include them.
        q.quantizeArray(result->mReal);
    }
    if (iscomplex()) {
        entries::negate(result->imagEntries());
        q.quantizeArray(result->imagEntries());
    }
    return result.release();
}

fi& fi::complex(const fi& imagPart) const {
    errorIfComplexSlopeBias(true);
    if (isBoolean() || imagPart.isBoolean()) {
        raise("fixedpoint:fi:complex:nologicalcomplex", "Input arguments to COMPLEX cannot be boolean.");
    }
    if (iscomplex() || imagPart.iscomplex()) {
        raise("fixedpoint:fi:complex:invalidRealPartInput", "Input arguments to COMPLEX must be real-valued.");
    }
    number scratch(0.0, std::max(wordPrecision(), imagPart.wordPrecision()),
                   number::getDefaultForceMultiplePrecision());
    const broadcasting parts(*this, imagPart);
    auto result = std::make_unique<fi>(parts.shape().dims(), parts.shape().ndims(), getNumericType(), getFimath(), true,
                                       getTag(), mFimathIsLocal, embedded::OperationTypeEnum::Assignment, 0U);
    const qlogger& log = result->getQlogger();
    log.reset();
    if (parts.leftIsScalar()) {
        log.copyMinMax(getQlogger());
    }
    const quantizer& q = result->getAssignmentQuantizer();
    if (parts.rightIsScalar()) {
        imagPart.setIndex(0);
        q.quantize(scratch.setvalue(imagPart.mReal));
    }
    const std::span<const double> re = entries::doublesOf(mReal, mNumel);
    const std::span<const double> im = entries::doublesOf(imagPart.mReal, imagPart.mNumel);
    doublenumber* const outRe = result->mReal.asDouble();
    doublenumber* const outIm = result->imagEntries().asDouble();
    if (const std::uint64_t count = result->numel();
        !isScaledDouble() && !scratch.asDouble() &&
        wide::copy(mReal, getNumericType(), parts.leftIsScalar(), result->mReal)) {
        number moved(parts.rightIsScalar() ? 0 : count, scratch.getprecision(), gridOf(imagPart.getNumericType()),
                     false);
        const number& imag = parts.rightIsScalar() ? scratch : moved;
        const bool isMoved = parts.rightIsScalar() || (!im.empty() && q.quantizeInto(im, moved)) ||
                             (im.empty() && wide::copy(imagPart.mReal, imagPart.getNumericType(), false, moved));
        if (isMoved) {
            if (!parts.rightIsScalar() && im.empty()) {
                q.quantizeArray(moved);
            }
            if (!wide::copy(imag, getNumericType(), parts.rightIsScalar(), result->imagEntries())) {
                for (std::uint64_t i = 0; i < count; ++i) {
                    result->imagEntries()[i].setvalue(imag[parts.rightIsScalar() ? 0 : i]);
                }
            }
            parts.settle(*result);
            return *result.release();
        }
    }
    if (isScaledDouble() || re.empty() || im.empty() || !scratch.asDouble() || !outRe || !outIm) {
        parts.walk(*result, 0, result->numel(), [&] {
            result->mReal.setvalue(mReal);
            if (isScaledDouble()) {
                // The value doesn't change, but the log must include it.
                q.quantize(result->mReal);
            }
            if (!parts.rightIsScalar()) {
                q.quantize(scratch.setvalue(imagPart.mReal));
            }
            result->imagEntries().setvalue(scratch);
        });
        return *result.release();
    }
    if (parts.leftIsScalar()) {
        std::ranges::fill(outRe->elements(), re.front());
    } else {
        std::ranges::copy(re, outRe->elements().begin());
    }
    if (parts.rightIsScalar()) {
        std::ranges::fill(outIm->elements(), scratch.todouble());
    } else {
        std::ranges::copy(im, outIm->elements().begin());
        q.quantizeArray(result->imagEntries());
    }
    parts.settle(*result);
    return *result.release();
}

void fi::storeSigns(std::span<std::int8_t> signs) const {
    if (iscomplex()) {
        raise("fixedpoint:fi:complexnotdefined", "Function 'sign' is not defined for complex-valued FI objects.");
    }
    const auto signOf = [](double x) { return static_cast<std::int8_t>((x > 0.0) - (x < 0.0)); };
    const bool isScaled = isSlopeBiasScaled();
    if (const std::span<const double> doubles = entries::doublesOf(mReal, mNumel); !doubles.empty()) {
        const double factor = isScaled ? getSlopeAdjustmentFactor() : 1.0;
        const double bias = isScaled ? getBias() : 0.0;
        std::ranges::transform(doubles, signs.begin(), [=](double x) { return signOf(x * factor + bias); });
        return;
    }
    if (!isScaled && wide::storeSigns(mReal, signs)) {
        return;
    }
    const std::uint64_t cursor = mReal.getIndex();
    for (std::uint64_t i = 0; i < mNumel; ++i) {
        setIndex(i);
        const number& entry = mReal;
        signs[i] = isScaled ? signOf(addSlopeAdjustmentFactorBias(entry.todouble())) : entry.sign();
    }
    mReal.setIndex(cursor);
}

fi* fi::getRealFi() const {
    return new fi(*this, CopyReal::tag);
}

fi* fi::getImagFi() const {
    return new fi(*this, CopyImag::tag);
}
