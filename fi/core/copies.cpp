// The constructors from another array: the copy, one element or part of it, and the view.
//
// All copy the quantizer with its log, so that a copy of a part reports the values of its source, like a whole copy. An
// internal copy resets that log, since it would be written to the log map a second time.
#include <algorithm>
#include <memory>
#include <utility>

#include "fi/core/word_grids.h"
#include "fi/fi.h"
#include "fi/result_types/caches.h"
#include "fi/result_types/late_product.h"

using namespace tolvane::detail;

fi& fi::cleared(fi& reg) {
    reg.mReal = 0.0;
    if (reg.iscomplex()) {
        reg.imagEntry() = 0.0;
    }
    return reg;
}

number fi::copyOf(const fi& array, const number& part) {
    if (!array.isView()) {
        return number(part, embedded::NumberVector::tag);
    }
    const std::uint64_t start = std::min(array.firstPlace(), part.numel());
    return number(part, start, std::min(array.mNumel, part.numel() - start));
}

// Each kind of view knows its own start.
std::uint64_t fi::firstPlace() const {
    const std::uint64_t cursor = mReal.getIndex();
    const std::uint64_t imagCursor = mImag ? mImag->getIndex() : 0;
    setIndex(0);
    const std::uint64_t first = mReal.getIndex();
    mReal.setIndex(cursor);
    if (mImag) {
        mImag->setIndex(imagCursor);
    }
    return first;
}

void fi::copyImag(const fi& source) {
    if (source.isreal() || !source.mImag) {
        return;
    }
    const number& entries = *source.mImag;
    if (!source.isView()) {
        mImag.emplace(entries, embedded::NumberVector::tag);
        return;
    }
    const std::uint64_t start = std::min(source.firstPlace(), entries.numel());
    mImag.emplace(entries, start, std::min(source.mNumel, entries.numel() - start));
}

std::unique_ptr<const fi> fi::detached() const {
    std::unique_ptr<const fi> copy(new fi(*this, WithoutRegisters::tag));
    copy->resetLogging();
    return copy;
}

const number& fi::imagPart() const {
    static_cast<void>(isreal());
    return imagEntries();
}

void fi::finishCopy(const fi& source) {
    if (source.isView() && !isView() && mReal.numel() < source.mNumel) {
        mDims = {mReal.numel(), 1};
    }
    if (mFimathIsLocal) {
        mFimath = std::make_unique<fimath>(source.getFimath());
    }
    errorIfComplexSlopeBias(!mIsReal);
    updateNumel();
    updateAssignmentQuantizer();
}

fi::fi(const fi& source, WithoutRegisters)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(copyOf(source, source.mReal)),
      mDims(source.mDims),
      mIsReal(source.isreal()),
      mFimathIsLocal(source.mFimathIsLocal) {
    copyImag(source);
    finishCopy(source);
}

void fi::copyRegisters(const fi& source) {
    if (source.mSumRegister) {
        mSumRegister = std::make_unique<fi>(cleared(*source.mSumRegister));
    }
    if (source.mProductRegister) {
        mProductRegister = std::make_unique<fi>(cleared(*source.mProductRegister));
    }
    if (source.mLateProduct) {
        mLateProduct = std::make_unique<LateProduct>(*source.mLateProduct);
    }
}

fi::fi(const fi& source) : fi(source, WithoutRegisters::tag) {
    copyRegisters(source);
}

bool fi::isRealInDoubles() const {
    constexpr unsigned kMostPrecision = 52;  // of new entries in doubles
    return !isView() && isreal() && mReal.asDouble() && mReal.numel() == mNumel &&
           mReal.getprecision() <= kMostPrecision;
}

fi::fi(const fi& source, WithoutEntries)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(source.mNumel, source.mReal.getprecision(), embedded::UnsetVector::tag),
      mDims(source.mDims),
      mFimathIsLocal(source.mFimathIsLocal) {
    finishCopy(source);
    copyRegisters(source);
}

fi::fi(const fi& source, embedded::CopyElement)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(1, source.wordPrecision(), embedded::NumberVector::tag),
      mDims{1, 1},
      mIsReal(source.isreal()),
      mFimathIsLocal(source.mFimathIsLocal) {
    makeImag(mIsReal ? 0 : 1, source.wordPrecision(), source.getNumericType(), Entries::zero);
    // An empty array has no current element, and gives zero.
    if (!source.mReal.isempty()) {
        mReal = source.mReal;
        if (!mIsReal) {
            *mImag = source.imag();
        }
    }
    finishCopy(source);
}

fi::fi(const fi& source, CopyReal)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(copyOf(source, source.mReal)),
      mDims(source.mDims),
      mFimathIsLocal(source.mFimathIsLocal) {
    finishCopy(source);
}

fi::fi(const fi& source, CopyImag)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(source.iscomplex() ? copyOf(source, source.imagPart())
                               : number(source.mNumel, source.wordPrecision(), gridOf(source.getNumericType()), false)),
      mDims(source.mDims),
      mFimathIsLocal(source.mFimathIsLocal) {
    finishCopy(source);
    if (source.isreal() && isSlopeBiasScaled()) {
        number zero(storedZero(), wordPrecision(), false);
        mAssignmentQuantizer.quantize(zero);
        for (std::uint64_t i = 0; i < mNumel; ++i) {
            mReal[i] = zero;
        }
        mReal.setIndex(0);
    }
}

fi::fi(const fi& source, embedded::CopyIndex)
    : mAssignmentQuantizerRef(&source.getAssignmentQuantizer()),
      mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(source.mReal, embedded::CopyIndex::tag),
      mDims(source.mDims),
      mIsReal(source.isreal()),
      mFimathIsLocal(source.mFimathIsLocal) {
    mImag.emplace(source.imagPart(), embedded::CopyIndex::tag);
    finishCopy(source);
}

void fi::shareImagOf(const fi& root) const {
    if (!imagEntries().sharesArrayOf(root.imagEntries())) {
        imagEntries().share(root.imagEntries());
    }
}

void fi::takeView(const fi& view) {
    Dimensions dims(view.mDims);
    auto rules = view.mFimath ? std::make_unique<fimath>(*view.mFimath) : nullptr;
    // Both are there before either is shared, which takes no memory.
    number& imag = imagEntries();
    const number& imagOfView = view.imagEntries();
    mReal.share(view.mReal).setIndex(view.mReal.getIndex());
    imag.share(imagOfView).setIndex(imagOfView.getIndex());
    mDims = std::move(dims);
    updateNumel();
    mFimath = std::move(rules);
    mFimathIsLocal = view.mFimathIsLocal;
    mAssignmentQuantizer = view.mAssignmentQuantizer;
    mAssignmentQuantizerRef = view.mAssignmentQuantizerRef;
    // These follow from the type and the rules.
    mSumRegister.reset();
    mProductRegister.reset();
    mLateProduct.reset();
    mCaches.reset();
}
