// The body of a loop that rounds real-world values through stored words of T, in one thread or in several.
//
// A body is copied for each thread's share of the range and writes only the elements of its share; only the input is
// shared. T is the chunk of the words: see quantization/word_conversion.h. Where doubles give the same results as words
// (quantization/word_limits.h), a share goes through the vector loops at once; words are used for the other types.
#pragma once

#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>

#include "descriptors/LocalFxpClient.h"
#include "descriptors/NumericType.h"
#include "quantization/array_kernels.h"
#include "quantization/word_conversion.h"
#include "quantization/word_limits.h"

template <class T>
class TbbQuantizeRwvDbl {
 public:
    using NumericType = EmbeddedTypeSystem::NumericType;

    /// `input` and `output` are the same array or disjoint, and outlive the body. The chunks hold the word length of
    /// the type, which is 1 bit or more.
    TbbQuantizeRwvDbl(const double* input, double* output, int roundCode, bool saturates, const NumericType& type,
                      int chunkCount)
        : mInput(input),
          mOutput(output),
          mRoundCode(roundCode),
          mSaturate(saturates ? 1 : 0),
          mType(type),
          mChunkCount(chunkCount),
          mClient(makeClient()),
          mScratch(makeScratch(chunkCount)),
          mLimits(tolvane::detail::arraykernels::areAvailable()
                      ? tolvane::detail::wordLimitsOf(type, roundCode, saturates)
                      : std::nullopt) {}
    /// A copy has its own client and scratch memory.
    TbbQuantizeRwvDbl(const TbbQuantizeRwvDbl& other)
        : mInput(other.mInput),
          mOutput(other.mOutput),
          mRoundCode(other.mRoundCode),
          mSaturate(other.mSaturate),
          mType(other.mType),
          mChunkCount(other.mChunkCount),
          mClient(makeClient()),
          mScratch(makeScratch(other.mChunkCount)),
          mLimits(other.mLimits) {}
    TbbQuantizeRwvDbl& operator=(const TbbQuantizeRwvDbl&) = delete;
    ~TbbQuantizeRwvDbl() = default;

    /// Processes the elements from `begin()` up to `end()` of the range.
    template <class Range>
    void operator()(const Range& range) const {
        if (mLimits) {
            // The client ignores reports of values out of range, so none are sent.
            tolvane::detail::arraykernels::quantizeThroughWords({mRoundCode, mSaturate != 0, mType.isSigned()},
                                                                *mLimits, mInput + range.begin(),
                                                                mOutput + range.begin(), range.end() - range.begin());
            return;
        }
        for (std::size_t i = range.begin(); i != range.end(); ++i) {
            mOutput[i] = throughWord(mInput[i]);
        }
    }

    /// Converts a value to its word, in scratch, and back.
    double throughWord(double v) const {
        const double slope = mType.getSlopeAdjustmentFactor();
        const double bias = mType.getBias();
        const std::span<T> word(mScratch.get(), static_cast<std::size_t>(mChunkCount));
        const double stored = v == bias ? 0.0 : std::isinf(v) ? v : (v - bias) / slope;
        tolvane::detail::wordconversion::convertToWord(stored, mType, mRoundCode, mSaturate != 0, mClient, word);
        return tolvane::detail::wordconversion::valueOfWord(std::span<const T>(word), mType) * slope + bias;
    }

 private:
    static LocalFxpClient makeClient() {
        return LocalFxpClient(
            boost::make_shared<fxpProdHardware>(ProdHWDeviceType::ASIC, 8, 16, 32, 32, FxpHardwareRounding::Undefined));
    }
    static std::unique_ptr<T[]> makeScratch(int chunkCount) {
        return std::make_unique<T[]>(static_cast<std::size_t>(chunkCount));
    }

    const double* mInput;
    double* mOutput;
    int mRoundCode;
    int mSaturate;
    NumericType mType;
    int mChunkCount;
    mutable LocalFxpClient mClient;
    std::unique_ptr<T[]> mScratch;
    std::optional<tolvane::detail::WordLimits> mLimits;
};
