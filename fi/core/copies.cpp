// The constructors from another array: the copy, one element or part of it, and the view.
//
// All copy the quantizer with its log, so that a copy of a part reports the values of its source, like a whole copy. An
// internal copy resets that log, since it would be written to the log map a second time.
#include <algorithm>
#include <memory>
#include <utility>

#include "fi/fi.h"

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
    const std::uint64_t imagCursor = mImag.getIndex();
    setIndex(0);
    const std::uint64_t first = mReal.getIndex();
    mReal.setIndex(cursor);
    mImag.setIndex(imagCursor);
    return first;
}

std::unique_ptr<const fi> fi::detached() const {
    std::unique_ptr<const fi> copy(new fi(*this, WithoutRegisters::tag));
    copy->resetLogging();
    return copy;
}

const number& fi::imagPart() const {
    static_cast<void>(isreal());
    return mImag;
}

void fi::finishCopy(const fi& source) {
    if (source.isView() && !isView() && mReal.numel() < source.mNumel) {
        mDims.assign({mReal.numel(), 1});
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
      mImag(copyOf(source, source.imagPart())),
      mIsReal(source.isreal()),
      mDims(source.mDims),
      mFimathIsLocal(source.mFimathIsLocal) {
    finishCopy(source);
}

fi::fi(const fi& source) : fi(source, WithoutRegisters::tag) {
    if (source.mSumRegister) {
        mSumRegister = std::make_unique<fi>(cleared(*source.mSumRegister));
    }
    if (source.mProductRegister) {
        mProductRegister = std::make_unique<fi>(cleared(*source.mProductRegister));
    }
}

fi::fi(const fi& source, embedded::CopyElement)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(1, source.wordPrecision(), embedded::NumberVector::tag),
      mImag(source.iscomplex() ? 1 : 0, source.wordPrecision(), embedded::NumberVector::tag),
      mIsReal(source.isreal()),
      mDims{1, 1},
      mFimathIsLocal(source.mFimathIsLocal) {
    // An empty array has no current element, and gives zero.
    if (!source.mReal.isempty()) {
        mReal = source.mReal;
        if (!mIsReal) {
            mImag = source.imag();
        }
    }
    finishCopy(source);
}

fi::fi(const fi& source, CopyReal)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(copyOf(source, source.mReal)),
      mImag(0, source.wordPrecision(), embedded::NumberVector::tag),
      mDims(source.mDims),
      mFimathIsLocal(source.mFimathIsLocal) {
    finishCopy(source);
}

fi::fi(const fi& source, CopyImag)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(source.iscomplex() ? copyOf(source, source.imagPart())
                               : number(source.mNumel, source.wordPrecision(), embedded::NumberVector::tag)),
      mImag(0, source.wordPrecision(), embedded::NumberVector::tag),
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
      mImag(source.imagPart(), embedded::CopyIndex::tag),
      mIsReal(source.isreal()),
      mDims(source.mDims),
      mFimathIsLocal(source.mFimathIsLocal) {
    finishCopy(source);
}

void fi::shareImagOf(const fi& root) const {
    if (!mImag.sharesArrayOf(root.mImag)) {
        mImag.share(root.mImag);
    }
}

void fi::takeView(const fi& view) {
    Dimensions dims(view.mDims);
    auto rules = view.mFimath ? std::make_unique<fimath>(*view.mFimath) : nullptr;
    mReal.share(view.mReal).setIndex(view.mReal.getIndex());
    mImag.share(view.mImag).setIndex(view.mImag.getIndex());
    mDims = std::move(dims);
    updateNumel();
    mFimath = std::move(rules);
    mFimathIsLocal = view.mFimathIsLocal;
    mAssignmentQuantizer = view.mAssignmentQuantizer;
    mAssignmentQuantizerRef = view.mAssignmentQuantizerRef;
    // These follow from the type and the rules.
    for (auto* made : {&mElementCache, &mSumRegister, &mProductRegister, &mWorstCaseA, &mWorstCaseB}) {
        made->reset();
    }
    for (auto* key : {&mPlusOperandType, &mPlusResultType, &mEqualsSourceType, &mTimesResultType, &mWorstCaseLeftType,
                      &mWorstCaseRightType}) {
        key->reset();
    }
}
