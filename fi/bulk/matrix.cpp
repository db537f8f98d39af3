#include "fi/bulk/matrix.h"

#include <algorithm>
#include <climits>
#include <new>
#include <optional>
#include <utility>

#include "fi/bulk/hand_over.h"
#include "fi/bulk/runs.h"
#include "quantization/blas.h"

namespace tolvane::detail::arraymatrix {

namespace {

using laneloops::kLaneMultiple;
using laneloops::RunNotes;

class MatrixProduct {
 public:
    MatrixProduct(const Operand& left, const Operand& right, const MatrixShape& shape, const Plan& plan,
                  const Result& result)
        : mPlan(plan), mTerms(static_cast<std::size_t>(shape.inner)), mResult(result) {
        const auto rows = static_cast<std::ptrdiff_t>(shape.rows);
        mMoves = {left, static_cast<std::size_t>(shape.rows), 1, rows, 1};
        mStays = {right, static_cast<std::size_t>(shape.columns), static_cast<std::ptrdiff_t>(shape.inner), 1, rows};
        // Few rows leave lanes idle, so loops then run across columns: the operands change places.
        if (mMoves.count < kLaneMultiple && mMoves.count < mStays.count) {
            std::swap(mMoves, mStays);
            mRunsAlongColumns = false;
        }
        mPanel = bufferOf(mTerms * kLaneMultiple);
        mImagPanel = mMoves.values.imag ? bufferOf(mTerms * kLaneMultiple) : nullptr;
    }

    /// Whether a lane runs along a column, as the element steps do.
    bool runsAlongColumns() const { return mRunsAlongColumns; }

    /// Computes a range of columns.
    void run(std::size_t firstColumn, std::size_t lastColumn, RunNotes* notes) const {
        const std::pair columns(firstColumn, lastColumn);
        const auto lanes = mRunsAlongColumns ? std::pair(std::size_t{0}, mMoves.count) : columns;
        const auto runs = mRunsAlongColumns ? columns : std::pair(std::size_t{0}, mStays.count);
        for (std::size_t lane = lanes.first; lane < lanes.second; lane += kLaneMultiple) {
            const std::size_t count = std::min(kLaneMultiple, lanes.second - lane);
            const Factors moving{packed(mMoves.values.real, lane, count, mPanel),
                                 packed(mMoves.values.imag, lane, count, mImagPanel), kLaneMultiple};
            for (std::size_t run = runs.first; run < runs.second; ++run) {
                double real[kLaneMultiple];
                double imag[kLaneMultiple];
                const Factors fixed{mStays.at(mStays.values.real, run, mTerms),
                                    mStays.at(mStays.values.imag, run, mTerms), mStays.termStep};
                computeSums(mPlan, moving, fixed, mTerms, nullptr, count, {real, mResult.imag ? imag : nullptr}, notes);
                scatter(real, mResult.real, lane, count, run);
                scatter(imag, mResult.imag, lane, count, run);
            }
        }
    }

 private:
    /// An operand as vectors of terms: the rows of the left, the columns of the right one.
    struct Vectors {
        const double* at(const double* part, std::size_t vector, std::size_t terms) const {
            // Without terms there may be no array to point into.
            return part && terms > 0 ? part + static_cast<std::ptrdiff_t>(vector) * step : part;
        }
        Operand values;
        std::size_t count;
        std::ptrdiff_t step;  // from one vector to the next
        std::ptrdiff_t termStep;
        std::ptrdiff_t resultStep;  // in the result, for the next vector
    };

    const double* packed(const double* part, std::size_t lane, std::size_t lanes, const Buffer& panel) const {
        if (part) {
            pack(mMoves.at(part, lane, mTerms), mMoves.step, mMoves.termStep, lanes, mTerms, panel.get());
        }
        return panel.get();  // null for no panel
    }
    void scatter(const double* values, double* out, std::size_t lane, std::size_t lanes, std::size_t run) const {
        for (std::size_t i = 0; out && i < lanes; ++i) {
            out[static_cast<std::ptrdiff_t>(lane + i) * mMoves.resultStep +
                static_cast<std::ptrdiff_t>(run) * mStays.resultStep] = values[i];
        }
    }

    const Plan& mPlan;
    std::size_t mTerms;
    Result mResult;
    Vectors mMoves{};
    Vectors mStays{};
    bool mRunsAlongColumns = true;
    Buffer mPanel;
    Buffer mImagPanel;
};

/// The product by BLAS. It may start with a negative zero, where the steps add to zero.
void multiplyByBlas(blas::Dgemm dgemm, const Operand& left, const Operand& right, const MatrixShape& shape,
                    const Result& result) {
    const auto rows = static_cast<int>(shape.rows);
    const auto inner = static_cast<int>(shape.inner);
    const auto columns = static_cast<int>(shape.columns);
    const auto add = [&](double factor, const double* a, const double* b, double kept, double* out) {
        dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, rows, columns, inner, factor, a, rows, b, inner, kept, out,
              rows);
    };
    add(1.0, left.real, right.real, 0.0, result.real);
    if (left.imag && right.imag) {
        add(-1.0, left.imag, right.imag, 1.0, result.real);
        add(1.0, left.imag, right.real, 0.0, result.imag);
        add(1.0, left.real, right.imag, 1.0, result.imag);
    } else if (left.imag) {
        add(1.0, left.imag, right.real, 0.0, result.imag);
    } else if (right.imag) {
        add(1.0, left.real, right.imag, 0.0, result.imag);
    }
    for (double* const part : {result.real, result.imag}) {
        if (part) {
            std::for_each_n(part, shape.rows * shape.columns, [](double& x) { x += 0.0; });
        }
    }
}

/// Returns BLAS's function if it is worth it and takes the sizes, else null.
blas::Dgemm dgemmFor(const MatrixShape& shape) {
    constexpr std::uint64_t kGreatest = INT_MAX;
    const bool fits = shape.rows <= kGreatest && shape.inner <= kGreatest && shape.columns <= kGreatest;
    return fits ? blas::dgemmFor(static_cast<double>(shape.rows) * static_cast<double>(shape.inner) *
                                 static_cast<double>(shape.columns))
                : nullptr;
}

}  // namespace

bool multiply(const Operand& left, const Operand& right, const MatrixShape& shape, const Quantizers& quantizers,
              const Result& result, const ByElements& byElements) {
    const Plan plan = planFor(rangeOf(left, shape.rows * shape.inner), rangeOf(right, shape.inner * shape.columns),
                              shape.inner, left.imag && right.imag, quantizers);
    if (plan.way == Plan::Way::none) {
        return false;
    }
    if (const blas::Dgemm dgemm = plan.way == Plan::Way::exact ? dgemmFor(shape) : nullptr) {
        multiplyByBlas(dgemm, left, right, shape, result);
        return true;
    }
    // Once results are there, the element steps could no longer take over.
    std::optional<MatrixProduct> product;
    try {
        product.emplace(left, right, shape, plan, result);
    } catch (const std::bad_alloc&) {
        return false;
    }
    const std::uint64_t parts = result.imag ? 2 : 1;
    Record record(plan, shape.rows * shape.inner * shape.columns, parts);
    product->run(0, shape.columns, plan.counts ? &record.notes : nullptr);
    if (!plan.counts) {
        return true;
    }
    handOver(record, plan,
             {shape.columns, product->runsAlongColumns() ? 1 : kLaneMultiple, shape.rows, result,
              [&](std::uint64_t begin, std::uint64_t end, RunNotes& notes) { product->run(begin, end, &notes); },
              byElements});
    if (quantizers.result && qlogger::getLogging()) {
        // Each running sum was stored there; the caller takes the extremes over.
        const Tally stored{.values = record.mathOperations * parts};
        stored.handTo(*quantizers.result);
    }
    return true;
}

}  // namespace tolvane::detail::arraymatrix
