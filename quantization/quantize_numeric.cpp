#include "quantization/quantize_numeric.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include <cstdint>
#include <type_traits>

#include "numbers/services.h"
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
