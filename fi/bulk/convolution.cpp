#include <algorithm>
#include <new>
#include <optional>
#include <span>
#include <vector>

#include "fi/bulk/hand_over.h"
#include "fi/bulk/matrix.h"
#include "fi/bulk/runs.h"

namespace tolvane::detail::arraymatrix {

namespace {

using laneloops::Extent;
using laneloops::kLaneMultiple;
using laneloops::RunNotes;

// Convolutions: every element is a sum over the shorter operand, whose values stand for all lanes, while the longer one
// moves along.

class Convolution {
 public:
    Convolution(const Operand& left, const Operand& right, const ConvolutionShape& shape, const Plan& plan,
                const Result& result)
        : mPlan(plan),
          mResult(result),
          mRightIsShort(shape.rightCount <= shape.leftCount),
          mShort(mRightIsShort ? right : left),
          mTerms(static_cast<std::size_t>(std::min(shape.leftCount, shape.rightCount))),
          mLength(static_cast<std::size_t>(std::max(shape.leftCount, shape.rightCount))),
          mOffset(shape.offset) {
        const Operand& longer = mRightIsShort ? left : right;
        mLong = padded(longer.real);
        mLongImag = longer.imag ? padded(longer.imag) : nullptr;
    }

    /// Computes a range of elements of the result.
    void run(std::size_t begin, std::size_t end, RunNotes* notes) const {
        const std::size_t lanes = mPlan.way == Plan::Way::exact ? kExactLanes : kLaneMultiple;
        std::uint64_t* const overflows = notes ? notes->overflows : nullptr;
        for (std::size_t i = begin; i < end; i += lanes) {
            if (overflows) {
                notes->overflows = overflows + i;
            }
            compute(i, std::min(lanes, end - i), notes);
        }
    }

 private:
    // As many as the exact loop keeps in registers.
    static constexpr std::size_t kExactLanes = 2 * kLaneMultiple;

    std::size_t padding() const { return mTerms + kExactLanes; }
    Buffer padded(const double* values) const {
        Buffer copy = bufferOf(mLength + 2 * padding());
        double* const first = std::fill_n(copy.get(), padding(), 0.0);
        std::fill_n(std::copy_n(values, mLength, first), padding(), 0.0);
        return copy;
    }
    /// The terms of the lanes from a position of the long operand on, in the order of rising elements of the left
    /// operand.
    struct Block {
        std::ptrdiff_t start;       // the position of lane 0 in the long operand, at the first term
        std::ptrdiff_t step;        // per term
        std::ptrdiff_t firstShort;  // the element of the short operand at the first term
        std::size_t terms;
    };
    Block blockAt(std::size_t element, std::size_t lanes) const {
        const auto n = static_cast<std::ptrdiff_t>(element + mOffset);
        const auto length = static_cast<std::ptrdiff_t>(mLength);
        const auto last = n + static_cast<std::ptrdiff_t>(lanes) - 1;
        // Position n + i - k for element k of the short operand: only terms that any lane takes part in.
        const std::ptrdiff_t least = std::max<std::ptrdiff_t>(0, n - (length - 1));
        const std::ptrdiff_t greatest = std::min<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(mTerms) - 1, last);
        const std::size_t terms = greatest < least ? 0 : static_cast<std::size_t>(greatest - least + 1);
        return mRightIsShort ? Block{n - greatest, 1, greatest, terms} : Block{n - least, -1, least, terms};
    }
    void compute(std::size_t element, std::size_t lanes, RunNotes* notes) const {
        const Block block = blockAt(element, lanes);
        const Extent extent{block.start, block.step, static_cast<std::ptrdiff_t>(mLength)};
        const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(padding()) + block.start;
        const auto at = [](const double* values, std::ptrdiff_t i) { return values ? values + i : nullptr; };
        computeSums(mPlan, {at(mLong.get(), first), at(mLongImag.get(), first), block.step},
                    {at(mShort.real, block.firstShort), at(mShort.imag, block.firstShort), -block.step}, block.terms,
                    &extent, lanes, {mResult.real + element, mResult.imag ? mResult.imag + element : nullptr}, notes);
    }

    const Plan& mPlan;
    Result mResult;
    bool mRightIsShort;
    Operand mShort;
    std::size_t mTerms;
    std::size_t mLength;
    std::size_t mOffset;
    Buffer mLong;
    Buffer mLongImag;
};

/// The number of terms of all elements of a part of a convolution.
std::uint64_t termsOf(const ConvolutionShape& shape, std::uint64_t elements) {
    std::uint64_t terms = 0;
    for (std::uint64_t i = 0; i < elements; ++i) {
        const std::uint64_t k = i + shape.offset;  // the sum of both indices
        const std::uint64_t first = k < shape.rightCount ? 0 : k - shape.rightCount + 1;
        terms += std::min(k + 1, shape.leftCount) - first;
    }
    return terms;
}

/// The overflows that had been counted when each result was ready, added up over all results.
std::uint64_t runningCount(std::span<const std::uint64_t> overflows, std::uint64_t results) {
    std::uint64_t count = 0;
    for (std::size_t i = 0; i < overflows.size(); ++i) {
        count += overflows[i] * (results - i);
    }
    return count;
}

/// What the store of the results of a convolution leaves in their log.
Tally storeTally(const Result& result, std::uint64_t count) {
    Tally tally = laneloops::extremes(result.real, count);
    if (result.imag) {
        tally.join(laneloops::extremes(result.imag, count));
    }
    const bool isOpen = tally.greatestZeros == Tally::both || tally.leastZeros == Tally::both;
    for (std::uint64_t i = 0; isOpen && i < count; ++i) {
        for (const double* const part : {result.real, result.imag}) {
            if (part && part[i] == 0.0) {
                tally.settle(part[i]);
                return tally;
            }
        }
    }
    return tally;
}

}  // namespace

bool convolve(const Operand& left, const Operand& right, const ConvolutionShape& shape, const Quantizers& quantizers,
              const Result& result, const ByElements& byElements) {
    const std::uint64_t terms = std::min(shape.leftCount, shape.rightCount);
    const Plan plan = planFor(rangeOf(left, shape.leftCount), rangeOf(right, shape.rightCount), terms,
                              left.imag && right.imag, quantizers);
    if (plan.way == Plan::Way::none) {
        return false;
    }
    // Elements beyond the full convolution are zero.
    const std::uint64_t fullCount = terms == 0 ? 0 : shape.leftCount + shape.rightCount - 1;
    const std::uint64_t inside = fullCount > shape.offset ? std::min(shape.count, fullCount - shape.offset) : 0;
    std::vector<std::uint64_t> overflows;
    std::optional<Convolution> convolution;
    try {
        overflows.resize(plan.counts ? inside : 0);
        if (inside > 0) {
            convolution.emplace(left, right, shape, plan, result);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    Record record(plan, plan.counts ? termsOf(shape, inside) : 0, result.imag ? 2 : 1);
    record.notes.overflows = overflows.data();
    for (double* const part : {result.real, result.imag}) {
        if (part) {
            std::fill_n(part + inside, shape.count - inside, 0.0);
        }
    }
    if (convolution) {
        convolution->run(0, inside, plan.counts ? &record.notes : nullptr);
        if (plan.counts) {
            handOver(
                record, plan,
                {inside, kLaneMultiple, 1, result,
                 [&](std::uint64_t begin, std::uint64_t end, RunNotes& notes) { convolution->run(begin, end, &notes); },
                 byElements});
        }
    }
    if (plan.counts && qlogger::getLogging()) {
        if (quantizers.result) {
            storeTally(result, shape.count).handTo(*quantizers.result);
        }
        if (quantizers.countsRunningOverflows && quantizers.sum.getQlogger().isLogging()) {
            quantizers.pair.getQlogger().addtoOverflows(runningCount(overflows, shape.count));
        }
    }
    return true;
}

}  // namespace tolvane::detail::arraymatrix
