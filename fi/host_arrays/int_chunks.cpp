// The stored integers as arrays of 32-bit chunks, and conversions between those and arrays of 64-bit words.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "fi/core/dimension_product.h"
#include "fi/core/squeezed_dimensions.h"
#include "fi/core/word_grids.h"
#include "fi/fi.h"
#include "fi/host_arrays/host_view.h"
#include "fi/host_arrays/word_chunks.h"
#include "host/ErrorIdException.h"
#include "numbers/mpnumber.h"
#include "numbers/mpscratch.h"
#include "numbers/rounding.h"

using namespace tolvane::detail;

namespace {

static_assert(std::endian::native == std::endian::little, "two chunks are a word of 64 bits");

constexpr std::uint64_t kChunkBits = 32;

bool hasChunks(const hvArray* values) {
    return hvIsInt32(values) || hvIsUint32(values);
}

bool has64BitWords(const hvArray* values) {
    return hvIsInt64(values) || hvIsUint64(values);
}

/// One part of an array of signed or unsigned words, empty for a missing part.
template <class Word, class Data>
std::span<Word> wordsOf(Data* data, const hvArray* values) {
    return {static_cast<Word*>(data), data == nullptr ? 0 : hvGetNumberOfElements(values)};
}

/// Writes the words of entries in two's complement.
class ChunkWriter {
 public:
    ChunkWriter(const fi& source, std::uint64_t chunkCount)
        : mType(source.getNumericType()),
          mWordBits(mType.getWordLength()),
          mChunkCount(chunkCount),
          mTwoToWordLength(MPFR_PREC_MIN) {
        mpfr_set_ui_2exp(mTwoToWordLength, 1, mWordBits, MPFR_RNDN);
    }

    void write(const number& entries, std::span<std::uint32_t> out) const {
        if (const std::optional<WordSpan> words = wordsOf(entries, gridOf(mType))) {
            wordchunks::write(*words, mChunkCount, out);
            return;
        }
        const doublenumber* const doubles = entries.asDouble();
        const bool mayBePlain = doubles != nullptr && mWordBits <= kLongestPlainWord;
        const int shift = rounding::negatedExponent(mType.getFixedExponent());
        const std::uint64_t cursor = entries.getIndex();
        for (std::uint64_t i = 0; i < out.size() / mChunkCount; ++i) {
            const auto chunks = out.subspan(i * mChunkCount, mChunkCount);
            if (!mayBePlain || !writePlain(rounding::scaleByPowerOfTwo(doubles->getelement(i), shift), chunks)) {
                entries[i].fixed2IntArray(chunks.data(), static_cast<int>(mChunkCount), mWordBits,
                                          mType.getSlopeAdjustmentFactor(), mType.getFixedExponent(), mType.getBias(),
                                          mTwoToWordLength);
            }
        }
        entries.setIndex(cursor);
    }

 private:
    static constexpr int kLongestPlainWord = 62;

    /// Writes a whole value from -2^wordlength to 2^wordlength, and leaves any other to the general form.
    bool writePlain(double value, std::span<std::uint32_t> chunks) const {
        const std::int64_t modulus = std::int64_t{1} << mWordBits;
        const auto bound = static_cast<double>(modulus);
        if (!(value >= -bound && value <= bound)) {
            return false;
        }
        const auto integer = static_cast<std::int64_t>(value);
        if (static_cast<double>(integer) != value) {
            return false;
        }
        auto rest = static_cast<std::uint64_t>(integer < 0 ? integer + modulus : integer);
        for (std::uint32_t& chunk : chunks) {
            chunk = static_cast<std::uint32_t>(rest);
            rest >>= kChunkBits;
        }
        return true;
    }

    const EmbeddedTypeSystem::NumericType& mType;
    int mWordBits;
    std::uint64_t mChunkCount;
    mpscratch mTwoToWordLength;
};

/// Makes an array like the given one with another class and other word groups in the first dimension.
hvArrayOwner regrouped(const hvArray* values, std::uint64_t oldGroup, std::uint64_t newGroup, hvClassID classId,
                       hvComplexity complexity) {
    const auto given = hvGetDims(values);
    std::vector<std::size_t> dims(given.begin(), given.end());
    dims.front() = dims.front() / oldGroup * newGroup;
    return hvArrayOwner(hvCreateNumericArray(dims.size(), dims.data(), classId, complexity));
}

/// The chunks of the parts of an array as words of its type, if that is what all parts hold then.
bool storeWordParts(std::span<number* const> parts, std::span<const std::uint32_t* const> chunks,
                    std::uint64_t chunkCount, std::uint64_t count, const EmbeddedTypeSystem::NumericType& type) {
    const WordGrid grid = gridOf(type);
    if (!grid.isUsual()) {
        return false;
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const number& part = *parts[i];
        if (part.asDouble() || part.numel() != count || !mpnumber::canBeWords(count, part.getprecision(), grid) ||
            !wordchunks::areWords({chunks[i], count * chunkCount}, chunkCount, grid)) {
            return false;
        }
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
        wordchunks::read({chunks[i], count * chunkCount}, chunkCount, parts[i]->body().asMp()->rewrite(grid));
    }
    return true;
}

std::uint64_t wordCountOf(int wordBits) {
    return (static_cast<std::uint64_t>(wordBits) + 63) / 64;
}

void errorIfUnknown(fi::DataTypeEnum dataType) {
    if (dataType < fi::DataTypeEnum::Fixed || dataType > fi::DataTypeEnum::Boolean) {
        raiseError("fixedpoint:fi:intarray:DataTypeNotSupported", "Data type not supported.");
    }
}

}  // namespace

int fi::numChunks() const {
    return (getWordLength() + 31) / 32;
}

// Reading.

hvArray* fi::getIntArray(IntArrayChunkMode chunks, IntArrayDimensionMode dimension) const {
    errorIfUnknown(getDataType());
    return isChunked() ? getIntArrayHvArray(chunks, dimension) : getIntHvArray();
}

hvArray* fi::getIntArrayHvArray(IntArrayChunkMode chunks, IntArrayDimensionMode dimension) const {
    if (isView()) {
        return detached()->getIntArrayHvArray(chunks, dimension);
    }
    const auto count = static_cast<std::uint64_t>(chunkCount(chunks));
    std::vector<std::size_t> dims(mDims.begin(), mDims.end());
    if (dimension == IntArrayDimensionMode::Leading && mM != 1) {
        dims.insert(dims.begin(), count);
    } else {
        dims.resize(std::max<std::size_t>(dims.size(), 1), 1);
        dims.front() = dimensionProduct(std::vector<std::uint64_t>{mM, count});
    }
    hvArrayOwner result = numericArrayToFill(dims, hvUINT32_CLASS, getComplexity());
    const ChunkWriter writer(*this, count);
    writer.write(mReal, hvGetTypedData<std::uint32_t>(result.get()));
    if (iscomplex()) {
        writer.write(imagEntries(), hvGetTypedImagData<std::uint32_t>(result.get()));
    }
    return result.release();
}

// Storing.

void fi::setIntArray(const hvArray* values, IntArrayChunkMode chunks, IntArrayDimensionMode dimension) {
    errorIfUnknown(getDataType());
    if (isChunked()) {
        setIntArrayHvArray(values, chunks, dimension);
    } else {
        setIntHvArray(values);
    }
}

void fi::setIntArrayHvArray(const hvArray* values, IntArrayChunkMode chunks, IntArrayDimensionMode dimension) {
    if (values == nullptr) {
        return;
    }
    if (!hvIsUint32(values)) {
        raiseError("fixedpoint:fi:intarray:not_uint32",
                   "Integer array must be uint32 when wordLength is greater than 32.");
    }
    const int count = chunkCount(chunks);
    const auto given = hvGetDims(values);
    Dimensions dims(given.begin(), given.end());
    if (dims.front() % static_cast<std::uint64_t>(count) != 0) {
        raiseError("fixedpoint:fi:intarray:leadingdim",
                   "First dimension of integer array must be divisible by " + std::to_string(count) + ".");
    }
    dims.front() /= static_cast<std::uint64_t>(count);
    if (dimension == IntArrayDimensionMode::Leading) {
        dims = squeezedDimensions(dims);
    }
    const bool isComplex = hvIsComplex(values);
    takeShape(std::move(dims), isComplex);
    set32BitChunkIntArray(hvGetTypedData<std::uint32_t>(values).data(),
                          hvGetTypedImagData<std::uint32_t>(values).data(), count, true);
}

void fi::set32BitChunkIntArray(const std::uint32_t* re, const std::uint32_t* im, int chunkCount, bool wholeArray) {
    const auto store = [&](number& entry, const std::uint32_t* words) {
        entry.setvalue(words, chunkCount, isSigned(), getWordLength(), getSlopeAdjustmentFactor(), getFixedExponent(),
                       getBias());
    };
    if (!wholeArray) {
        store(mReal, re);
        if (iscomplex()) {
            store(imagEntry(), im);
        }
        return;
    }
    number* const parts[] = {&mReal, iscomplex() ? &imagEntries() : nullptr};
    const std::uint32_t* const chunks[] = {re, im};
    const std::size_t partCount = iscomplex() ? 2 : 1;
    if (!isView() && chunkCount > 0 &&
        storeWordParts(std::span(parts, partCount), std::span(chunks, partCount),
                       static_cast<std::uint64_t>(chunkCount), mNumel, getNumericType())) {
        return;
    }
    const std::uint64_t cursor = getIndex();
    for (std::uint64_t i = 0; i < mNumel; ++i) {
        const std::uint64_t word = i * static_cast<std::uint64_t>(chunkCount);
        setIndex(i);
        store(mReal, re + word);
        if (iscomplex()) {
            store(imagEntry(), im + word);
        }
    }
    fi::setIndex(cursor);
}

hvArray* fi::convertIntArrayToFiArray(const hvArray* values, bool isSigned, int wordLength, int fractionLength,
                                      IntArrayChunkMode chunks, IntArrayDimensionMode dimension) {
    NumericType type;
    type.setSigned(isSigned);
    type.setWordLength(wordLength);
    type.setFractionLength(fractionLength);
    fimath rules;
    rules.setRoundMode(embedded::RoundModeEnum::Floor);
    rules.setOverflowMode(embedded::OverflowModeEnum::Saturate);
    auto made = std::make_unique<fi>(0.0, type, rules, 0, "", true, embedded::OperationTypeEnum::Assignment);
    made->setIntArray(values, chunks, dimension);
    return convertToInternalVelmarArray(std::move(made));
}

// Between 32-bit chunks and 64-bit words.

hvArray* fi::convert32BitIntArrayTo64BitIntArray(hvArray* values, bool convert) const {
    if (isView()) {
        return detached()->convert32BitIntArrayTo64BitIntArray(values, convert);
    }
    const auto chunkCount = static_cast<std::uint64_t>(numChunks());
    if (!convert || !hasChunks(values) || chunkCount == 0) {
        return values;
    }
    const hvArrayOwner source(values);
    const std::uint64_t wordCount = wordCountOf(getWordLength());
    hvArrayOwner result =
        regrouped(values, chunkCount, wordCount, isSigned() && wordCount == 1 ? hvINT64_CLASS : hvUINT64_CLASS,
                  hvIsComplex(values) ? hvCOMPLEX : hvREAL);
    const auto repack = [&](const number* entries, std::span<const std::uint32_t> chunks,
                            std::span<std::uint64_t> words) {
        if (words.empty()) {
            return;  // a real array has no imaginary parts to copy from
        }
        if (chunkCount == 2 * wordCount && chunks.size() == 2 * words.size()) {
            std::memcpy(words.data(), chunks.data(), words.size_bytes());
            return;
        }
        const std::uint64_t count = entries != nullptr ? entries->numel() : 0;
        const std::uint64_t cursor = entries != nullptr ? entries->getIndex() : 0;
        for (std::uint64_t i = 0; i < words.size() / wordCount; ++i) {
            // An odd number of chunks leaves half a word. Arrays of other sizes than this one's are accepted as well.
            const bool isFilled = chunkCount % 2 != 0 && i < count && (*entries)[i].isnegative();
            const auto chunk = [&](std::uint64_t place) -> std::uint64_t {
                return place < chunkCount ? chunks[i * chunkCount + place] : isFilled ? UINT32_MAX : 0;
            };
            for (std::uint64_t word = 0; word < wordCount; ++word) {
                words[i * wordCount + word] = chunk(2 * word) | chunk(2 * word + 1) << kChunkBits;
            }
        }
        if (entries != nullptr) {
            entries->setIndex(cursor);
        }
    };
    const hvArray* const read = values;
    repack(&mReal, wordsOf<const std::uint32_t>(hvGetData(read), read),
           wordsOf<std::uint64_t>(hvGetData(result.get()), result.get()));
    repack(iscomplex() ? &imagEntries() : nullptr, wordsOf<const std::uint32_t>(hvGetImagData(read), read),
           wordsOf<std::uint64_t>(hvGetImagData(result.get()), result.get()));
    return result.release();
}

hvArray* fi::convert64BitIntArrayTo32BitIntArray(hvArray* values) const {
    const auto chunkCount = static_cast<std::uint64_t>(numChunks());
    if (!has64BitWords(values) || chunkCount == 0) {
        return values;
    }
    const hvArrayOwner source(values);
    const std::uint64_t wordCount = wordCountOf(getWordLength());
    hvArrayOwner result =
        regrouped(values, wordCount, chunkCount, isSigned() && chunkCount == 1 ? hvINT32_CLASS : hvUINT32_CLASS,
                  iscomplex() || hvIsComplex(values) ? hvCOMPLEX : hvREAL);
    const auto repack = [&](std::span<const std::uint64_t> words, std::span<std::uint32_t> chunks) {
        if (words.empty()) {
            return;  // a real array has no imaginary parts to copy from
        }
        if (chunkCount == 2 * wordCount && chunks.size() == 2 * words.size()) {
            std::memcpy(chunks.data(), words.data(), words.size_bytes());
            return;
        }
        for (std::uint64_t i = 0; i < chunks.size() / chunkCount; ++i) {
            for (std::uint64_t place = 0; place < chunkCount; ++place) {
                chunks[i * chunkCount + place] =
                    static_cast<std::uint32_t>(words[i * wordCount + place / 2] >> (place % 2 * kChunkBits));
            }
        }
    };
    const hvArray* const read = values;
    repack(wordsOf<const std::uint64_t>(hvGetData(read), read),
           wordsOf<std::uint32_t>(hvGetData(result.get()), result.get()));
    repack(wordsOf<const std::uint64_t>(hvGetImagData(read), read),
           wordsOf<std::uint32_t>(hvGetImagData(result.get()), result.get()));
    return result.release();
}

// Bits of the top chunk above the word.

void fi::addSignExtension32BitIntArray(hvArray* values) const {
    if (isView()) {
        detached()->addSignExtension32BitIntArray(values);
        return;
    }
    const int usedBits = getWordLength() % 32;
    if (!isSigned() || getWordLength() <= 32 || usedBits == 0 || !hasChunks(values)) {
        return;
    }
    const auto count = static_cast<std::uint64_t>(numChunks());
    const auto fill = [&](const number& entries, std::span<std::uint32_t> chunks) {
        if (const mpnumber* const body = entries.asWords()) {
            const WordSpan words = body->words();
            wordchunks::visitNegative(words, std::min(words.count, chunks.size() / count), [&](std::uint64_t i) {
                chunks[i * count + count - 1] |= UINT32_MAX << usedBits;
            });
            return;
        }
        const std::uint64_t cursor = entries.getIndex();
        for (std::uint64_t i = 0; i < std::min(entries.numel(), chunks.size() / count); ++i) {
            if (entries[i].isnegative()) {
                chunks[i * count + count - 1] |= UINT32_MAX << usedBits;
            }
        }
        entries.setIndex(cursor);
    };
    fill(mReal, wordsOf<std::uint32_t>(hvGetData(values), values));
    if (iscomplex()) {
        fill(imagEntries(), wordsOf<std::uint32_t>(hvGetImagData(values), values));
    }
}

void fi::clearBitsAboveWords(std::span<std::uint32_t> words) const {
    if (!isSigned() || getWordLength() <= 32 || getWordLength() % 32 == 0) {
        return;
    }
    const std::uint32_t mask = UINT32_MAX >> (32 - getWordLength() % 32);
    const auto count = static_cast<std::uint64_t>(numChunks());
    for (std::uint64_t top = count - 1; top < words.size(); top += count) {
        words[top] &= mask;
    }
}

void fi::removeSignExtension32BitIntHvArray(hvArray* values) const {
    if (hasChunks(values)) {
        clearBitsAboveWords(wordsOf<std::uint32_t>(hvGetData(values), values));
        clearBitsAboveWords(wordsOf<std::uint32_t>(hvGetImagData(values), values));
    }
}
