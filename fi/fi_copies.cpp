// The constructors from another array: the copy, one element or part of it, and the view.
//
// All copy the quantizer with its log, so that a copy of a part tells what its source has seen, as a whole copy does. A
// copy that is no array of the user's own resets that log, as it would be written to the log map a second time.
#include "fi/fi.h"

fi& fi::cleared(fi& reg) {
    reg.mReal = 0.0;
    if (reg.iscomplex()) {
        reg.imagEntry() = 0.0;
    }
    return reg;
}

void fi::finishCopy(const fi& source) {
    if (mFimathIsLocal) {
        mFimath = std::make_unique<fimath>(source.getFimath());
    }
    errorIfComplexSlopeBias(!mIsReal);
    updateNumel();
    updateAssignmentQuantizer();
}

fi::fi(const fi& source)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(source.mReal, embedded::NumberVector::tag),
      mImag(source.mImag, embedded::NumberVector::tag),
      mIsReal(source.isreal()),
      mDims(source.mDims),
      mFimathIsLocal(source.mFimathIsLocal) {
    finishCopy(source);
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
      mReal(source.mReal, embedded::NumberVector::tag),
      mImag(0, source.wordPrecision(), embedded::NumberVector::tag),
      mDims(source.mDims),
      mFimathIsLocal(source.mFimathIsLocal) {
    finishCopy(source);
}

fi::fi(const fi& source, CopyImag)
    : mAssignmentQuantizer(source.mAssignmentQuantizer),
      mReal(source.iscomplex() ? number(source.mImag, embedded::NumberVector::tag)
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
      mImag(source.mImag, embedded::CopyIndex::tag),
      mIsReal(source.isreal()),
      mDims(source.mDims),
      mFimathIsLocal(source.mFimathIsLocal) {
    finishCopy(source);
}
