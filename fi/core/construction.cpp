// The constructors that make an array from sizes and values.
#include <algorithm>
#include <span>
#include <type_traits>

#include "fi/core/dimension_product.h"
#include "fi/core/finite_values.h"
#include "fi/core/word_grids.h"
#include "fi/fi.h"
#include "fi/result_types/caches.h"
#include "fi/result_types/late_product.h"
#include "numbers/host_memory.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;

unsigned entryPrecision(const NumericType& type, unsigned precision) {
    const int wordBits = std::max(type.getWordLength(), 0);
    return std::max(precision, static_cast<unsigned>(wordBits));
}

/// Stores real-world values on the stored side of the type; `valueCount` is the element count, or 1 to fill the array
/// with one value.
template <class T>
void storeValues(number& target, const T* values, std::uint64_t valueCount, const NumericType& type) {
    const bool isScaled = type.isSlopeBiasScaled();
    const double bias = type.getBias();
    const double inverseFactor = 1.0 / type.getSlopeAdjustmentFactor();
    const auto stored = [=](T value) {
        const auto x = static_cast<double>(value);
        return isScaled ? (x - bias) * inverseFactor : x;
    };
    const bool isOneValue = valueCount == 1;
    if (doublenumber* doubles = target.asDouble()) {
        const std::span<double> entries = doubles->elements();
        if (isOneValue) {
            std::ranges::fill(entries, stored(values[0]));
        } else {
            std::transform(values, values + entries.size(), entries.begin(), stored);
        }
        return;
    }
    for (std::uint64_t i = 0; i < target.numel(); ++i) {
        target[i] = stored(values[isOneValue ? 0 : i]);
    }
    target.setIndex(0);
}

}  // namespace

fi::fi(Dimensions dims, const NumericType& type, const fimath* rules, bool isComplex, const std::string& tag,
       bool isLocal, embedded::OperationTypeEnum operation, unsigned precision, Entries entries)
    : mAssignmentQuantizer(type, isLocal && rules ? rules->getRoundMode() : fimath::getGlobalFimath().getRoundMode(),
                           isLocal && rules ? rules->getOverflowMode() : fimath::getGlobalFimath().getOverflowMode(),
                           tag, operation, false),
      mReal(dimensionProduct(dims), entryPrecision(type, precision), gridOf(type), entries == Entries::unset),
      mDims(std::move(dims)),
      mFimath(isLocal && rules ? std::make_unique<fimath>(*rules) : nullptr),
      mIsReal(!isComplex),
      mFimathIsLocal(isLocal) {
    makeImag(isComplex ? mReal.numel() : 0, entryPrecision(type, precision), type, entries);
    errorIfComplexSlopeBias(!mIsReal);
    updateNumel();
}

fi::fi(Dimensions dims, const NumericType& type, const fimath* rules, bool isComplex, const quantizer& source,
       bool isLocal, Entries entries)
    : mAssignmentQuantizer(source, type),
      mReal(dimensionProduct(dims), entryPrecision(type, 0), gridOf(type), entries == Entries::unset),
      mDims(std::move(dims)),
      mFimath(isLocal && rules ? std::make_unique<fimath>(*rules) : nullptr),
      mIsReal(!isComplex),
      mFimathIsLocal(isLocal) {
    makeImag(isComplex ? mReal.numel() : 0, entryPrecision(type, 0), type, entries);
    applyNumericType(type);
    errorIfComplexSlopeBias(!mIsReal);
    updateNumel();
}

fi::fi()
    : fi(Dimensions{0, 0}, NumericType(), nullptr, false, {}, false, embedded::OperationTypeEnum::Assignment, 0,
         Entries::zero) {}

fi::fi(double value, const NumericType& type, const fimath& rules, unsigned precision, const std::string& tag,
       bool isLocal, embedded::OperationTypeEnum operation)
    : fi(Dimensions{1, 1}, type, &rules, false, tag, isLocal, operation, precision, Entries::unset) {
    fillFromReal(&value, 1, DefaultPrecision::stays);
}

fi::fi(double value, bool isSigned, int wordLength, int fractionLength, const fimath& rules, unsigned precision,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation)
    : fi(value, NumericType(isSigned, wordLength, fractionLength), rules, precision, tag, isLocal, operation) {}

fi::fi(std::uint64_t m, std::uint64_t n, const NumericType& type, const fimath& rules, bool isComplex,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation, unsigned precision)
    : fi(Dimensions{m, n}, type, &rules, isComplex, tag, isLocal, operation, precision, Entries::zero) {
    if (isSlopeBiasScaled()) {
        // The stored-value formula of the fill gives (0 - bias) * (1 / factor).
        const double realWorldZero = 0.0;
        storeValues(mReal, &realWorldZero, 1, getNumericType());
        if (iscomplex()) {
            storeValues(imagEntries(), &realWorldZero, 1, getNumericType());
        }
        quantizeAll(false);
    }
}

fi::fi(const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules, bool isComplex,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation, unsigned precision)
    : fi(Dimensions(dims, dims + ndims), type, &rules, isComplex, tag, isLocal, operation, precision, Entries::zero) {}

fi::fi(const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules, bool isComplex,
       const quantizer& source, bool isLocal)
    : fi(Dimensions(dims, dims + ndims), type, &rules, isComplex, source, isLocal, Entries::zero) {}

fi::fi(const double* re, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation)
    : fi(Dimensions(dims, dims + ndims), type, &rules, false, tag, isLocal, operation, 0, Entries::unset) {
    fillFromReal(re, mNumel, DefaultPrecision::isSet);
}

fi::fi(const double* re, const double* im, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type,
       const fimath& rules, const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation)
    : fi(Dimensions(dims, dims + ndims), type, &rules, true, tag, isLocal, operation, 0, Entries::unset) {
    fillFromComplex(re, im, mNumel);
}

fi::fi(double value, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation)
    : fi(Dimensions(dims, dims + ndims), type, &rules, false, tag, isLocal, operation, 0, Entries::unset) {
    fillFromReal(&value, 1, DefaultPrecision::isSet);
}

fi::fi(double re, double im, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type,
       const fimath& rules, const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation)
    : fi(Dimensions(dims, dims + ndims), type, &rules, true, tag, isLocal, operation, 0, Entries::unset) {
    fillFromComplex(&re, &im, 1);
}

void fi::setDefaultPrecision() const {
    number::setDefaultPrecision(wordPrecision(), number::getDefaultForceMultiplePrecision());
}

template <class T>
void fi::storeQuantized(number& target, const T* values, std::uint64_t valueCount) {
    if constexpr (std::is_same_v<T, double>) {
        doublenumber* const doubles = isSlopeBiasScaled() || isView() ? nullptr : target.asDouble();
        if (doubles && doubles->elements().size() == valueCount) {
            mAssignmentQuantizer.quantize({values, valueCount}, doubles->elements());
            return;
        }
        if (!isSlopeBiasScaled() && !isView() && target.numel() == valueCount &&
            mAssignmentQuantizer.quantizeInto({values, valueCount}, target)) {
            target.setIndex(0);
            return;
        }
    }
    if ((!std::is_same_v<T, double> || valueCount == 1) && target.body().asMp() && target.numel() > 1) {
        const auto doubles = valueCount == 1 ? WorkVector<double>(target.numel(), static_cast<double>(values[0]))
                                             : WorkVector<double>(values, values + valueCount);
        storeQuantized(target, doubles.data(), doubles.size());
        return;
    }
    storeValues(target, values, valueCount, getNumericType());
    if (!isView()) {
        mAssignmentQuantizer.quantizeArray(target);
    }
}

// Values of every class of host arrays are stored by construction_host.cpp.
template void fi::storeQuantized(number&, const double*, std::uint64_t);
template void fi::storeQuantized(number&, const float*, std::uint64_t);
template void fi::storeQuantized(number&, const std::int8_t*, std::uint64_t);
template void fi::storeQuantized(number&, const std::uint8_t*, std::uint64_t);
template void fi::storeQuantized(number&, const std::int16_t*, std::uint64_t);
template void fi::storeQuantized(number&, const std::uint16_t*, std::uint64_t);
template void fi::storeQuantized(number&, const std::int32_t*, std::uint64_t);
template void fi::storeQuantized(number&, const std::uint32_t*, std::uint64_t);
template void fi::storeQuantized(number&, const std::int64_t*, std::uint64_t);
template void fi::storeQuantized(number&, const std::uint64_t*, std::uint64_t);

void fi::fillFromReal(const double* re, std::uint64_t valueCount, DefaultPrecision defaultPrecision) {
    constexpr std::uint64_t kBlock = 4096;
    doublenumber* const doubles = isSlopeBiasScaled() ? nullptr : mReal.asDouble();
    const bool isInBlocks = doubles != nullptr && mNumel == valueCount && valueCount > kBlock;
    if (isInBlocks) {
        quantizeInBlocks({re, valueCount}, doubles->elements(), kBlock);
    } else {
        checkNaNInf(getDataType(), re, valueCount);
    }
    if (defaultPrecision == DefaultPrecision::isSet) {
        setDefaultPrecision();
    }
    if (!isInBlocks) {
        storeQuantized(mReal, re, valueCount);
    }
}

// Each block is still in the cache when it is quantized. The object is new, so an error may leave entries behind, but
// nothing in its log.
void fi::quantizeInBlocks(std::span<const double> values, std::span<double> entries, std::size_t blockSize) {
    bool mayBeInfinite = false;
    for (std::size_t begin = 0; begin < values.size(); begin += blockSize) {
        const auto block = values.subspan(begin, std::min(blockSize, values.size() - begin));
        if (!mayBeInfinite && !arraykernels::areFinite(block.data(), block.size())) {
            mayBeInfinite = true;
            try {
                NumericType::checkNaNInf(getDataType(), values.data(), values.size());
            } catch (...) {
                getQlogger().reset();
                throw;
            }
        }
        mAssignmentQuantizer.quantize(block, entries.subspan(begin, block.size()));
    }
}

void fi::fillFromComplex(const double* re, const double* im, std::uint64_t valueCount) {
    NumericType::errorIfComplexLogical(getDataType(), true);
    checkNaNInf(getDataType(), re, valueCount);
    checkNaNInf(getDataType(), im, valueCount);
    setDefaultPrecision();
    storeQuantized(mReal, re, valueCount);
    storeQuantized(imagEntries(), im, valueCount);
}
