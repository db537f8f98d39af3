// Size, complexity and precision of the entries, and the cursors of the two parts.
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "fi/core/dimension_product.h"
#include "fi/core/word_grids.h"
#include "fi/fi.h"
#include "fi/result_types/caches.h"
#include "fi/result_types/late_product.h"
#include "numbers/doublenumber.h"
#include "numbers/errors.h"

using namespace tolvane::detail;

// Made on first use, since arrays can be made before this file's statics; never destroyed, since arrays can outlive
// them.
const number& fi::getZeroNumber() {
    static const number* const sZeroNumber = new number(0.0, doublenumber::kScalarPrecision, false);
    return *sZeroNumber;
}

fi::~fi() = default;

void fi::makeImag(std::uint64_t count, unsigned precision, const NumericType& type, Entries entries) {
    if (count > 0) {
        mImag.emplace(count, precision, gridOf(type), entries == Entries::unset);
    }
}

void fi::setIndex(std::uint64_t index) const {
    mReal.setIndex(index);
    if (mImag) {
        mImag->setIndex(index);
    }
}

const number& fi::imag() const {
    if (isreal()) {
        return getZeroNumber();
    }
    return imagEntries()[mReal.getIndex()];
}

const number& fi::imag(std::uint64_t index) const {
    return isreal() ? getZeroNumber() : imagEntries()[index];
}

void fi::setIsReal(bool isReal) {
    mIsReal = isReal;
}

bool fi::isreal() const {
    return mIsReal;
}

bool fi::iscomplex() const {
    return !mIsReal;
}

bool fi::isFinite() const {
    if (isView()) {
        return detached()->isFinite();
    }
    if (!isFloat() && !isScaledDouble()) {
        return true;
    }
    const auto allFinite = [](const number& entries) {
        if (const doublenumber* doubles = entries.asDouble()) {
            return std::ranges::all_of(doubles->elements(), [](double x) { return std::isfinite(x); });
        }
        const std::uint64_t cursor = entries.getIndex();
        std::uint64_t i = 0;
        while (i < entries.numel() && entries[i].isFinite()) {
            ++i;
        }
        entries.setIndex(cursor);
        return i == entries.numel();
    };
    return allFinite(mReal) && (isreal() || allFinite(imagEntries()));
}

void fi::coordinateComplexity(bool makeComplex, unsigned precision) {
    if (!makeComplex) {
        return;
    }
    errorIfComplexSlopeBias(true);
    if (isreal()) {
        imagEntries().resize(mNumel, std::max(precision, wordPrecision()), gridOf(getNumericType()));
        setIsReal(false);
    }
}

// Sizes.

namespace {

std::uint64_t columnCount(std::span<const std::uint64_t> dims) {
    return dimensionProduct(dims.subspan(std::min<std::size_t>(1, dims.size())));
}

}  // namespace

void fi::updateNumel() {
    const std::span<const std::uint64_t> dims(mDims);
    const std::uint64_t numel = dimensionProduct(dims);
    mN = columnCount(dims);
    mM = mDims.empty() ? 1 : mDims.front();
    mNumel = numel;
}

std::uint64_t fi::length() const {
    return mNumel == 0 || mDims.empty() ? std::min<std::uint64_t>(mNumel, 1) : std::ranges::max(mDims);
}

void fi::copyDimensions(const std::uint64_t* dims, std::uint64_t ndims) {
    Dimensions copy(dims, dims + ndims);
    dimensionProduct(copy);
    columnCount(copy);
    mDims = std::move(copy);
    updateNumel();
}

unsigned fi::wordPrecision() const {
    const int wordBits = getWordLength();
    return wordBits > 0 ? static_cast<unsigned>(wordBits) : number::getDefaultPrecision();
}

void fi::resizeEntries(std::uint64_t count, unsigned precision, bool isComplex) {
    // Whatever may find no memory comes before the first change.
    number* const imag = mImag || isComplex ? &imagEntries() : nullptr;
    const std::uint64_t imagCount = isComplex ? count : 0;
    if (imag == nullptr || (imag->numel() == imagCount && imag->getprecision() == precision)) {
        resizePart(mReal, count, precision);
        return;
    }
    number fresh(*imag, 0, imag->getprecision() == precision ? std::min(imagCount, imag->numel()) : 0);
    resizePart(fresh, imagCount, precision);
    if (imag->getIndex() < imagCount) {
        fresh.setIndex(imag->getIndex());
    }
    const number before(*imag, embedded::CopyIndex::tag);
    const std::uint64_t cursor = imag->getIndex();
    imag->share(fresh).setIndex(fresh.getIndex());
    try {
        resizePart(mReal, count, precision);
    } catch (...) {
        imag->share(before).setIndex(cursor);
        throw;
    }
}

void fi::resizePart(number& part, std::uint64_t count, unsigned precision) {
    part.resize(count, precision, gridOf(getNumericType()));
    // A current element that was removed is no longer current.
    if (part.getIndex() >= count) {
        part.setIndex(0);
    }
}

void fi::takeShape(Dimensions dims, bool isComplex) {
    errorIfComplexSlopeBias(isComplex);
    columnCount(dims);
    resizeEntries(dimensionProduct(dims), wordPrecision(), isComplex);
    setIsReal(!isComplex);
    mDims = std::move(dims);
    updateNumel();
}

void fi::updatePrecision() {
    setPrecision(wordPrecision());
}

void fi::setPrecision(unsigned precision) {
    if (iscomplex()) {
        resizeEntries(mNumel, precision, true);
    } else {
        mReal.resize(mNumel, precision, gridOf(getNumericType()));
    }
}

void fi::reInitializeRealImag() {
    resizeEntries(mNumel, wordPrecision(), iscomplex());
}

void fi::resizeAndZero(std::uint64_t m, std::uint64_t n, const NumericType& type, const fimath& rules,
                       bool makeComplex) {
    const std::uint64_t dims[] = {m, n};
    resizeAndZero(dims, 2, dimensionProduct(dims), type, rules, makeComplex);
}

void fi::resizeAndZero(const std::uint64_t* dims, std::uint64_t ndims, std::uint64_t numel, const NumericType& type,
                       const fimath& rules, bool makeComplex) {
    constexpr int kFirstMultiplePrecision = 53;
    Dimensions newDims(dims, dims + ndims);
    columnCount(newDims);
    if (dimensionProduct(newDims) != numel) {
        raiseDimensionsDisagree();
    }
    const int wordBits = type.getWordLength();
    const bool keepsReal = mNumel == numel && (wordBits <= getWordLength() || wordBits < kFirstMultiplePrecision);
    std::optional<NumericType> before;
    if (&type != &getNumericType()) {
        before.emplace(getNumericType());
    }
    std::unique_ptr<fimath> newRules =
        mFimathIsLocal && &rules != mFimath.get() ? std::make_unique<fimath>(rules) : nullptr;
    setNumericType(type);
    number::setDefaultPrecision(wordPrecision(), number::getDefaultForceMultiplePrecision());
    try {
        if (!keepsReal) {
            const bool isComplex = iscomplex() || makeComplex;
            resizeEntries(numel, wordPrecision(), isComplex);
            setIsReal(!isComplex);
        } else if (isreal() && makeComplex) {
            resizePart(imagEntries(), numel, wordPrecision());
            setIsReal(false);
        }
    } catch (...) {
        if (before) {
            setNumericType(*before);
        }
        throw;
    }
    // A floating-point type has none of its own.
    if (newRules && mFimathIsLocal) {
        mFimath = std::move(newRules);
        updateAssignmentQuantizer();
    }
    mDims = std::move(newDims);
    updateNumel();
}
