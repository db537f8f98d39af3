// The data of the block diagram companion: host arrays of words, and plain buffers.
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <vector>

#include "fi/fi.h"
#include "host/ErrorIdException.h"
#include "host/bs.h"
#include "host/hsc.h"
#include "numbers/errors.h"

using namespace tolvane::detail;

namespace {

constexpr int kLongestWord = 128;
constexpr const char* kWordTooLong =
    "Dravelin fixed-point data types must have word lengths less than or equal to 128 bits";

/// Copies a part of an array to every other group of a buffer.
template <class T>
void copyGroups(std::span<const T> part, std::size_t group, T* out) {
    for (std::size_t i = 0; i < part.size(); i += group) {
        std::memcpy(out + 2 * i, part.data() + i, group * sizeof(T));
    }
}

template <class T>
void* copyOut(const hvArray* values, std::uint64_t numel, void* buffer) {
    const std::span<const T> re = hvGetTypedData<T>(values);
    const std::span<const T> im = hvGetTypedImagData<T>(values);
    const std::size_t count = re.size() + im.size();
    if (buffer == nullptr) {
        buffer = bsCalloc(count, sizeof(T));
        if (buffer == nullptr && count != 0) {
            raiseOutOfMemory();
        }
    }
    T* const out = static_cast<T*>(buffer);
    if (!im.empty()) {
        const std::size_t group = re.size() / numel;
        copyGroups(re, group, out);
        copyGroups(im, group, out + group);
    } else if (!re.empty()) {
        std::memcpy(out, re.data(), re.size_bytes());
    }
    return buffer;
}

}  // namespace

fi::fi(const void* buffer, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules,
       bool isComplex, const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation)
    : fi(dims, ndims, type, rules, isComplex, tag, isLocal, operation, 0) {
    setFromDVArray(buffer, true);
}

// Host arrays.

hvArray* fi::getDravelinIntArray() const {
    if (getWordLength() > kLongestWord) {
        hscWarnMsgTxt(kWordTooLong);
    }
    const bool isCompact = embedded::getFeatureFi33PlusMemoryFootprint();
    hvArrayOwner values(getIntArray(isCompact ? IntArrayChunkMode::Natural : IntArrayChunkMode::AlwaysFour,
                                    IntArrayDimensionMode::First));
    if (isFixed() && isCompact) {
        addSignExtension32BitIntArray(values.get());
    }
    return values.release();
}

hvArray* fi::getDravelinArray32MemoryFootPrint() const {
    if (getWordLength() > kLongestWord) {
        hscWarnMsgTxt(kWordTooLong);
        return nullptr;
    }
    return getIntArray(IntArrayChunkMode::AlwaysFour, IntArrayDimensionMode::First);
}

void fi::setDravelinIntArray(const hvArray* values) {
    if (!isFixed()) {
        if (!hvIsDouble(values) && !hvIsSingle(values)) {
            raiseError("fixedpoint:fi:intarray:invaliddatatype",
                       "The integer array must be of class double or single when the fi is double, single or "
                       "scaled-double.");
        }
        storeIntegers(values);
    } else if (getWordLength() > kLongestWord) {
        raiseError("fixedpoint:fi:dravelinarray:TooBigWordLength", kWordTooLong);
    } else if (!isChunked()) {
        storeIntegers(values);
    } else if (!embedded::getFeatureFi33PlusMemoryFootprint()) {
        setIntArrayHvArray(values, IntArrayChunkMode::AlwaysFour, IntArrayDimensionMode::First);
    } else {
        if (!hvIsInt32(values) && !hvIsUint32(values) && !hvIsInt64(values) && !hvIsUint64(values)) {
            raiseError("fixedpoint:fi:intarray:not_32or64BitInt",
                       "Integer array must be (u)int32 or (u)int64 when wordLength is greater than 32 or 64 bits.");
        }
        const hvArrayOwner chunks(convert64BitIntArrayTo32BitIntArray(hvDuplicateArray(values)));
        removeSignExtension32BitIntHvArray(chunks.get());
        setIntArray(chunks.get(), IntArrayChunkMode::Natural, IntArrayDimensionMode::First);
    }
}

hvArray* fi::convertDravelinIntArrayToFiArray(const hvArray* values, bool isSigned, int wordLength,
                                              int fractionLength) {
    return convertIntArrayToFiArray(values, isSigned, wordLength, fractionLength, IntArrayChunkMode::AlwaysFour,
                                    IntArrayDimensionMode::First);
}

hvArray* fi::convertDravelinIntArrayToFiArraySteal(hvArray* values, bool isSigned, int wordLength, int fractionLength) {
    const hvArrayOwner stolen(values);
    return convertDravelinIntArrayToFiArray(values, isSigned, wordLength, fractionLength);
}

hvArray* fi::convertDravelinIntArrayToFiArray() {
    raiseError("fixedpoint:fi:convertDravelinIntArrayToFiArray:NotDone", "This function is not done yet.");
}

// Plain buffers.

void* fi::createDVArray(void* buffer) const {
    if (isView()) {
        return detached()->createDVArray(buffer);
    }
    const hvArrayOwner values(getDravelinIntArray());
    const hvArray* const read = values.get();
    if (hvIsNumeric(read)) {
        hvDispatchClass(hvGetClassID(read),
                        [&]<class T>(std::type_identity<T>) { buffer = copyOut<T>(read, mNumel, buffer); });
    }
    return buffer;
}

template <class Word>
void fi::storeWords(const void* buffer, bool wholeArray) {
    const auto* at = static_cast<const std::byte*>(buffer);
    const int exponent = getFixedExponent();
    const auto storeNext = [&](number& entry) {
        Word word;
        std::memcpy(&word, at, sizeof word);
        at += sizeof word;
        entry.setvalue(static_cast<double>(word)).pow2(exponent);
    };
    if (!wholeArray) {
        storeNext(mReal);
        if (iscomplex()) {
            storeNext(imagEntry());
        }
        return;
    }
    const std::uint64_t cursor = getIndex();
    for (std::uint64_t i = 0; i < mNumel; ++i) {
        setIndex(i);
        storeNext(mReal);
        if (iscomplex()) {
            storeNext(imagEntry());
        }
    }
    fi::setIndex(cursor);
}

void fi::setFromDVArray(const void* buffer, bool wholeArray) {
    if (!isFixed()) {
        raiseError("fixedpoint:fi:setDVArray:DataTypeNotSupported", "Data type not supported");
    }
    const int wordBits = getWordLength();
    if (isChunked()) {
        const std::uint64_t elements = wholeArray ? mNumel : 1;
        const auto group = static_cast<std::uint64_t>(chunkCount(IntArrayChunkMode::Natural));
        std::vector<std::uint32_t> re(elements * std::max<std::uint64_t>(group, 4));
        std::vector<std::uint32_t> im(iscomplex() ? re.size() : 0);
        setDVArrayFunGT32(re.data(), im.data(), buffer, wholeArray);
    } else if (wordBits <= 8) {
        isSigned() ? storeWords<std::int8_t>(buffer, wholeArray) : storeWords<std::uint8_t>(buffer, wholeArray);
    } else if (wordBits <= 16) {
        isSigned() ? storeWords<std::int16_t>(buffer, wholeArray) : storeWords<std::uint16_t>(buffer, wholeArray);
    } else {
        isSigned() ? storeWords<std::int32_t>(buffer, wholeArray) : storeWords<std::uint32_t>(buffer, wholeArray);
    }
}

void fi::setDVArrayFunGT32(std::uint32_t* re, std::uint32_t* im, const void* buffer, bool wholeArray) {
    const bool isCompact = embedded::getFeatureFi33PlusMemoryFootprint();
    const int group = chunkCount(isCompact ? IntArrayChunkMode::Natural : IntArrayChunkMode::AlwaysFour);
    const auto groupWords = static_cast<std::size_t>(group);
    const std::size_t words = (wholeArray ? mNumel : 1) * groupWords;
    const std::size_t groupBytes = groupWords * sizeof(std::uint32_t);
    const auto* at = static_cast<const std::byte*>(buffer);
    for (std::size_t word = 0; word < words; word += groupWords) {
        std::memcpy(re + word, at, groupBytes);
        at += groupBytes;
        if (iscomplex()) {
            std::memcpy(im + word, at, groupBytes);
            at += groupBytes;
        }
    }
    if (isCompact) {
        clearBitsAboveWords({re, words});
        clearBitsAboveWords({im, iscomplex() ? words : 0});
    }
    set32BitChunkIntArray(re, im, group, wholeArray);
}
