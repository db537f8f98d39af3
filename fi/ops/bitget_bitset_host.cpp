// Single bits of the stored integers, by positions from host arrays of any numeric class.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "fi/bulk/bit_loops.h"
#include "fi/bulk/entries.h"
#include "fi/bulk/wide_bits.h"
#include "fi/fi.h"
#include "fi/ops/word_modulus.h"
#include "host/ErrorIdException.h"
#include "numbers/bit_position.h"
#include "numbers/bit_words.h"

using namespace tolvane::detail;

namespace {

/// Truncates to an integer; values beyond int become 0, which isn't a position.
template <class T>
int positionFrom(T value) {
    if constexpr (std::is_floating_point_v<T>) {
        return std::fabs(value) < T{0x1p31} ? static_cast<int>(value) : 0;
    } else {
        return std::in_range<int>(value) ? static_cast<int>(value) : 0;
    }
}

/// Calls `visitor` with all elements of a numeric or logical array; raises the error for an array of another class.
template <class Visitor>
void visitElements(const hvArray* array, const char* errorId, const char* errorText, Visitor&& visitor) {
    const bool isVisited = hvDispatchClass(hvGetClassID(array), [&]<class T>(std::type_identity<T>) {
        for (const T value : hvGetTypedData<T>(array)) {
            visitor(value);
        }
    });
    if (!isVisited) {
        raiseError(errorId, errorText);
    }
}

[[noreturn]] void raiseBitgetSize() {
    raiseError("fixedpoint:fi:bitget:sizeMismatch", "Inputs must have the same size.");
}

}  // namespace

hvArray* fi::bitget(const hvArray* bit) const {
    errorIfScaledDouble("bitget");
    if (hvIsNumeric(bit) && hvIsEmpty(bit) && !isempty()) {
        raiseBitgetSize();
    }
    if (iscomplex() || hvIsComplex(bit)) {
        raiseError("fixedpoint:fi:bitget:inputsMustBeReal", "The arguments to BITGET must be real.");
    }
    if (isempty() && !hvIsEmpty(bit) && !hvIsFinite(hvGetScalar(bit))) {
        raiseError("fixedpoint:fi:bitGet:BITOutOfRange", "BIT must be integer.");
    }
    hvArrayOwner result(hvCreateNumericArray(mDims.size(), mDims.data(), hvUINT8_CLASS));
    if (isempty()) {
        return result.release();
    }
    std::vector<int> positions;
    visitElements(bit, "fixedpoint:fi:bitget:indexMustBeNumeric", "BITGET index only valid for built-in numeric types",
                  [&](auto value) { positions.push_back(positionFrom(value)); });
    const bool isOne = hvIsScalar(bit);
    if (!isOne && !isSameSize(bit)) {
        raiseBitgetSize();
    }

    const NumericType& type = getNumericType();
    const std::span<std::uint8_t> bits = hvGetTypedData<std::uint8_t>(result.get());
    const number view = isView() ? copyOf(*this, mReal) : number(mReal, embedded::CopyIndex::tag);
    if (const std::span<const double> doubles = entries::doublesOf(view, mNumel); !doubles.empty()) {
        const WordFormat format = wordFormatOf(type);
        for (const int position : positions) {
            checkBitPosition(position, type.getWordLength(), kBitgetOutOfRange);
        }
        for (std::size_t i = 0; i < bits.size(); ++i) {
            bits[i] = bitwords::getBit(doubles[i], positions[isOne ? 0 : i], format);
        }
        return result.release();
    }
    if (view.asWords()) {
        for (const int position : positions) {
            checkBitPosition(position, type.getWordLength(), kBitgetOutOfRange);
        }
        if (wide::getBits(view, positions, bits, type)) {
            return result.release();
        }
    }
    const WordModulus modulus(type.getWordLength());
    for (std::size_t i = 0; i < bits.size(); ++i) {
        bits[i] = view[i].bitget(positions[isOne ? 0 : i], type.isSigned(), type.getWordLength(),
                                 type.getSlopeAdjustmentFactor(), type.getFixedExponent(), type.getBias(),
                                 modulus.twoToWordlength());
    }
    return result.release();
}

hvArray* fi::bitget(const fi& bit) const {
    const hvArrayOwner positions(bit.getDoubleHvArray());
    return bitget(positions.get());
}

namespace {

/// Sets bits of entries of one array.
class BitSetter {
 public:
    explicit BitSetter(const fi& array) : mType(array.getNumericType()), mFormat(wordFormatOf(mType)) {
        if (!array.real().asDouble()) {
            mModulus.emplace(mType.getWordLength());
        }
    }

    void set(number& entry, int bit, bool value) const {
        if (!mModulus) {
            entry.bitset(bit, value, mType.isSigned(), mType.getWordLength(), mType.getSlopeAdjustmentFactor(),
                         mType.getFixedExponent(), mType.getBias(), mFormat.twoToWordlength);
        } else {
            entry.bitset(bit, value, mType.isSigned(), mType.getWordLength(), mType.getSlopeAdjustmentFactor(),
                         mType.getFixedExponent(), mType.getBias(), mModulus->twoToWordlength());
        }
    }

 private:
    const EmbeddedTypeSystem::NumericType& mType;
    WordFormat mFormat;
    std::optional<WordModulus> mModulus;  // of multi-precision entries
};

}  // namespace

void fi::bitset(int bit, bool value) {
    BitSetter(*this).set(mReal, bit, value);
}

fi& fi::bitset(const hvArray* bit, const hvArray* value) const {
    errorIfScaledDouble("bitset");
    const std::uint64_t bitCount = hvGetNumberOfElements(bit);
    const std::uint64_t valueCount = hvGetNumberOfElements(value);
    if (bitCount == 0 || valueCount == 0) {
        raiseError(kBitsetOutOfRange, "BIT must be integer and V must be 0 or 1.");
    }
    if (iscomplex() || hvIsComplex(bit) || hvIsComplex(value)) {
        raiseError("fixedpoint:fi:bitset:inputsMustBeReal", "The arguments to BITSET must be real.");
    }
    if (mNumel > 1 && bitCount > 1 && mNumel != bitCount) {
        raiseError("fixedpoint:fi:bitSet:sizeMismatch", "Inputs must have the same size.");
    }
    if (bitCount != valueCount) {
        raiseError("fixedpoint:fi:bitSet:ArgSizeMismatch",
                   "Second and third argument to BITSET must be the same size.");
    }
    const auto zeros = [this](const std::uint64_t* dims, std::uint64_t ndims) {
        return std::make_unique<fi>(dims, ndims, getNumericType(), getFimath(), false, getTag(), mFimathIsLocal,
                                    embedded::OperationTypeEnum::Assignment, 0U);
    };
    if (isempty()) {
        return *zeros(dims(), ndims()).release();
    }

    std::vector<int> positions;
    std::vector<bool> values;
    bool isFinite = true;
    visitElements(bit, "fixedpoint:fi:bitset:indexMustBeNumeric", "BITSET index only valid for built-in numeric types",
                  [&](auto x) {
                      positions.push_back(positionFrom(x));
                      isFinite = isFinite && hvIsFinite(static_cast<double>(x));
                  });
    visitElements(value, "fixedpoint:fi:bitset:valuesMustBeNumeric",
                  "BITSET values only valid for built-in numeric types", [&](auto x) {
                      values.push_back(x != 0);
                      isFinite = isFinite && hvIsFinite(static_cast<double>(x));
                  });
    if (!isFinite) {
        raiseError("fixedpoint:fi:bitset:indexMustBePositiveInteger", "BITSET index only valid for positive integers.");
    }

    const auto setAll = [&](std::span<const double> elements, fi& target) {
        checkBitPosition(positions.front(), getNumericType().getWordLength(), kBitsetOutOfRange);
        bitloops::setBit(elements, target.mReal.asDouble()->elements().data(), positions.front(), values.front(),
                         wordFormatOf(getNumericType()));
    };
    if (bitCount == 1 && isRealInDoubles()) {
        std::unique_ptr<fi> result(new fi(*this, WithoutEntries::tag));
        setAll(mReal.asDouble()->elements(), *result);
        return *result.release();
    }
    std::unique_ptr<fi> result;
    if (mNumel == 1 && bitCount > 1) {
        result = zeros(hvGetDimensions(bit), hvGetNumberOfDimensions(bit));
        const number view = isView() ? copyOf(*this, mReal) : number(mReal, embedded::CopyIndex::tag);
        entries::walk(result->mReal, [&](number& entry) { entry = view; });
    } else {
        result = std::make_unique<fi>(*this);
    }
    if (doublenumber* doubles = bitCount == 1 ? result->mReal.asDouble() : nullptr) {
        setAll(doubles->elements(), *result);
        result->setIndex(0);
        return *result.release();
    }
    if (result->mReal.asWords()) {
        for (const int position : positions) {
            checkBitPosition(position, getNumericType().getWordLength(), kBitsetOutOfRange);
        }
        if (wide::setBits(result->mReal, positions, values, getNumericType())) {
            result->setIndex(0);
            return *result.release();
        }
    }
    const BitSetter setter(*result);
    for (std::uint64_t i = 0; i < result->mNumel; ++i) {
        const std::size_t pair = bitCount == 1 ? 0 : i;
        setter.set(result->mReal[i], positions[pair], values[pair]);
    }
    result->setIndex(0);
    return *result.release();
}
