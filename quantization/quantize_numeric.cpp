#include "quantization/quantize_numeric.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include <cstdint>
#include <type_traits>

#include "host/ErrorIdException.h"
#include "host/hv.h"
#include "quantization/TbbQuantizeRwvDbl.h"
#include "quantization/format_numbers.h"
#include "quantization/quantizer.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;
using Range = tbb::blocked_range<std::size_t>;

/// The parts common to words of all kinds.
struct Job {
    std::span<const double> in;
    std::span<double> out;
    const NumericType& type;
    int roundCode;
    bool saturates;
    bool isParallel;
};

template <class T>
void run(const Job& job, int chunkCount) {
    const TbbQuantizeRwvDbl<T> body(job.in.data(), job.out.data(), job.roundCode, job.saturates, job.type, chunkCount);
    const Range all(0, job.in.size(), 1);
    if (!job.isParallel || job.in.size() <= kGreatestSerialCount) {
        body(all);
        return;
    }
    tbb::task_group_context context;
    tbb::parallel_for(all, body, tbb::auto_partitioner(), context);
}

template <class Small, class Middle, class Large>
void runInOneChunk(const Job& job) {
    const int bits = job.type.getWordLength();
    (bits <= 8 ? run<Small> : bits <= 16 ? run<Middle> : run<Large>)(job, 1);
}

/// Quantizes one part of an array by the element function, as numbers of the quantizer's precision.
void quantizeWide(const quantizer& q, std::span<double> values) {
    number element(0.0, q.getPrecision(), false);
    for (double& value : values) {
        element.setvalue(value);
        value = q.quantize(element).todouble();
    }
}

/// Quantizes one part of an array of T.
template <class T>
void quantizePart(const quantizer& q, std::span<const T> in, std::span<double> out) {
    const bool fitsDoubles = q.getPrecision() <= doublenumber::kScalarPrecision;
    if constexpr (std::is_same_v<T, double>) {
        if (fitsDoubles) {
            q.quantize(in, out);
            return;
        }
    }
    std::ranges::copy(in, out.begin());
    if (fitsDoubles) {
        q.quantize(out, out);
    } else {
        quantizeWide(q, out);
    }
}

template <class T>
void quantizeElements(const quantizer& q, const hvArray* values, hvArray* result) {
    quantizePart(q, hvGetTypedData<T>(values), hvGetTypedData<double>(result));
    if (hvIsComplex(values)) {
        quantizePart(q, hvGetTypedImagData<T>(values), hvGetTypedImagData<double>(result));
    }
}

}  // namespace

void quantizeThroughWords(std::span<const double> in, std::span<double> out, const NumericType& type,
                          embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow, bool isParallel) {
    formatnumbers::requireWordlength(type.getWordLength());
    const Job job{
        in, out, type, wordconversion::roundCodeOf(round), overflow != embedded::OverflowModeEnum::Wrap, isParallel};
    if (type.getWordLength() > 32) {
        run<std::uint32_t>(job, wordconversion::chunkCountOf(type.getWordLength()));
    } else if (type.isSigned()) {
        runInOneChunk<std::int8_t, std::int16_t, std::int32_t>(job);
    } else {
        runInOneChunk<std::uint8_t, std::uint16_t, std::uint32_t>(job);
    }
}

hvArray* quantizeNumeric(const quantizer& q, const hvArray* values) {
    if (!hvIsNumeric(values) && !hvIsLogical(values) && !hvIsChar(values)) {
        raiseError("fixedpoint:quantizer:quantize:notnumeric", "Value to quantize must be numeric.");
    }
    const std::span<const std::size_t> dims = hvGetDims(values);
    const hvComplexity complexity = hvIsComplex(values) ? hvCOMPLEX : hvREAL;
    hvArrayOwner result;
    hvDispatchClass(hvGetClassID(values), [&]<class T>(std::type_identity<T>) {
        if constexpr (sizeof(T) < sizeof(std::int64_t) || std::is_same_v<T, double>) {
            result.reset(hvCreateNumericArray(dims.size(), dims.data(), hvDOUBLE_CLASS, complexity));
            quantizeElements<T>(q, values, result.get());
        }
    });
    if (result == nullptr) {
        raiseError("fixedpoint:quantizer:quantize:numericonly",
                   "Only inputs of type double, single, [u]int[8,16,32] allowed.");
    }
    return result.release();
}
