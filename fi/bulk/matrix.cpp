#include "fi/bulk/matrix.h"

#include <cblas.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "fi/bulk/product_loops.h"

namespace tolvane::detail::arraymatrix {

namespace {

using productloops::Extent;
using productloops::kLaneMultiple;
using productloops::Run;
using productloops::Sign;
using productloops::Survey;
using Buffer = std::unique_ptr<double[]>;

// What the operands prove.

/// Bounds of values that are whole multiples of 2^exponent, if they are.
struct Range {
    double least;
    double greatest;
    int exponent;
    bool isOnGrid;

    double magnitude() const { return std::max(-least, greatest); }
};

Range rangeOf(const double* values, std::size_t count, int exponent) {
    // Powers of two within these bounds, and products of two, are normal doubles.
    constexpr int kEasyExponent = 400;
    if (exponent < -kEasyExponent || exponent > kEasyExponent) {
        return {0.0, 0.0, exponent, false};
    }
    const Survey seen = productloops::survey(values, count, exponent);
    return {seen.least, seen.greatest, exponent, seen.isOnGrid};
}

Range joined(const Range& a, const Range& b) {
    return {std::min(a.least, b.least), std::max(a.greatest, b.greatest), a.exponent, a.isOnGrid && b.isOnGrid};
}

Range rangeOf(const Operand& x, std::size_t count) {
    const Range real = rangeOf(x.real, count, x.exponent);
    return x.imag && real.isOnGrid ? joined(real, rangeOf(x.imag, count, x.exponent)) : real;
}

/// The range of the products; both ranges hold zero.
Range product(const Range& a, const Range& b) {
    const auto [least, greatest] =
        std::minmax({a.least * b.least, a.least * b.greatest, a.greatest * b.least, a.greatest * b.greatest});
    return {least, greatest, a.exponent + b.exponent, a.isOnGrid && b.isOnGrid};
}

Range sum(const Range& a, const Range& b) {
    return {a.least + b.least, a.greatest + b.greatest, a.exponent, a.isOnGrid && b.isOnGrid};
}
Range negated(const Range& a) {
    return {-a.greatest, -a.least, a.exponent, a.isOnGrid};
}
Range times(const Range& a, double count) {
    return {a.least * count, a.greatest * count, a.exponent, a.isOnGrid};
}

/// Whether doubles hold all sums and partial sums of that many values, in any order.
bool isExact(const Range& values, double count) {
    return values.isOnGrid && values.magnitude() * count <= std::ldexp(1.0, 53 + values.exponent);
}

/// Whether quantizing leaves values of the range as they are. The range is exact.
bool leaves(const quantizer& q, const Range& values) {
    if (q.keepsValues()) {
        return true;
    }
    const FixedDoubleLimits& limits = q.getDoubleLimits();
    return q.hasFixedKernel() && q.getFractionlength() >= -values.exponent && limits.lowerbound <= values.least &&
           values.greatest <= limits.realmax;
}

bool isLogging(const Quantizers& q) {
    return q.product.getQlogger().isLogging() || q.pair.getQlogger().isLogging() || q.sum.getQlogger().isLogging();
}

/// How results are computed.
struct Plan {
    explicit Plan(const Quantizers& q) : quantizers(q) {}

    const Quantizers& quantizers;
    // In any order; by loops that quantize, where all steps share a rule; by the quantizers themselves.
    enum class Way { exact, loops, quantizers };
    Way way = Way::quantizers;
    bool isPair = false;
    productloops::Rule rule{};
    productloops::Formats formats;
    productloops::Steps steps{};
};

bool provesExact(const Range& products, std::size_t terms, bool isPair, const Quantizers& q) {
    const auto count = static_cast<double>(terms);
    if (!isExact(products, isPair ? 2.0 * count : count) || !leaves(q.product, products)) {
        return false;
    }
    if (!isPair) {
        return (!q.castsSum || leaves(q.sum, products)) && leaves(q.sum, times(products, count));
    }
    if (q.castsPair && !leaves(q.pair, products)) {
        return false;
    }
    // Differences stand in the real part, sums in the imaginary one.
    for (const Range& pair : {sum(products, negated(products)), sum(products, products)}) {
        if (!leaves(q.pair, pair) || (q.castsSum && !leaves(q.sum, pair)) || !leaves(q.sum, times(pair, count))) {
            return false;
        }
    }
    return true;
}

Plan planFor(const Range& products, std::size_t terms, bool isPair, const Quantizers& q) {
    Plan plan(q);
    plan.isPair = isPair;
    plan.formats = {q.product.getDoubleLimits(), q.sum.getDoubleLimits()};
    if (provesExact(products, terms, isPair, q)) {
        plan.way = Plan::Way::exact;
        return plan;
    }
    if (q.product.keepsValues() && q.sum.keepsValues() && (!isPair || q.pair.keepsValues())) {
        plan.way = Plan::Way::loops;
        return plan;
    }
    const auto sharesRule = [&q](const quantizer& other) {
        return other.hasFixedKernel() && productloops::ruleOf(other) == productloops::ruleOf(q.product);
    };
    if (!sharesRule(q.product) || !sharesRule(q.sum)) {
        return plan;
    }
    if (isPair && (!sharesRule(q.pair) || !covers(q.pair, q.sum) || !covers(q.sum, q.pair))) {
        return plan;
    }
    plan.way = Plan::Way::loops;
    plan.rule = productloops::ruleOf(q.product);
    plan.steps.sums = true;
    plan.steps.products = !isExact(products, 1.0) || !leaves(q.product, products);
    // A partial sum is a value of the sum type already, and so is a pair, which casting leaves alone.
    plan.steps.casts = (isPair ? q.castsPair : q.castsSum) && !covers(q.sum, q.product);
    return plan;
}

// Work arrays.

/// Values by lane and term.
struct View {
    const double* values;  // null for none
    std::ptrdiff_t laneStep;
    std::ptrdiff_t termStep;
};

/// Lays lanes side by side, term after term; lanes beyond the last are zero.
void pack(const View& view, std::size_t firstLane, std::size_t lanes, std::size_t terms, double* panel) {
    if (terms == 0) {
        return;  // without values there may be no array to point into
    }
    const double* const first = view.values + static_cast<std::ptrdiff_t>(firstLane) * view.laneStep;
    if (view.laneStep == 1) {
        for (std::size_t t = 0; t < terms; ++t) {
            const double* const from = first + static_cast<std::ptrdiff_t>(t) * view.termStep;
            std::fill(std::copy_n(from, lanes, panel + t * kLaneMultiple), panel + (t + 1) * kLaneMultiple, 0.0);
        }
        return;
    }
    for (std::size_t lane = 0; lane < kLaneMultiple; ++lane) {
        const double* const from = first + static_cast<std::ptrdiff_t>(lane) * view.laneStep;
        for (std::size_t t = 0; t < terms; ++t) {
            panel[t * kLaneMultiple + lane] = lane < lanes ? from[static_cast<std::ptrdiff_t>(t) * view.termStep] : 0.0;
        }
    }
}

/// Calls `step` for each term with the first of the lanes that take part, and their count.
template <class Step>
void forTerms(std::size_t terms, const Extent* extent, std::size_t lanes, const Step& step) {
    const auto last = static_cast<std::ptrdiff_t>(lanes);
    for (std::size_t t = 0; t < terms; ++t) {
        std::ptrdiff_t begin = 0;
        std::ptrdiff_t end = last;
        if (extent) {
            const std::ptrdiff_t start = extent->start + static_cast<std::ptrdiff_t>(t) * extent->step;
            begin = std::clamp<std::ptrdiff_t>(-start, 0, last);
            end = std::clamp<std::ptrdiff_t>(extent->length - start, begin, last);
        }
        step(t, static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
    }
}

/// The lanes of a term, multiplied and quantized.
std::span<double> multiplied(const Run& run, std::size_t t, std::size_t begin, std::size_t count, const quantizer& q,
                             double* cells) {
    const auto term = static_cast<std::ptrdiff_t>(t);
    const double* const moving = run.moving + term * run.movingStep + begin;
    const double fixed = run.fixed[term * run.fixedStep];
    const std::span<double> products(cells, count);
    std::transform(moving, moving + count, cells, [fixed](double x) { return x * fixed; });
    q.quantize(products, products);
    return products;
}

void add(std::span<double> terms, bool casts, const quantizer& sum, double* out) {
    if (casts) {
        sum.quantize(terms, terms);
    }
    std::transform(terms.begin(), terms.end(), out, out, [](double x, double total) { return total + x; });
    sum.quantize({out, terms.size()}, {out, terms.size()});
}

/// As productloops::accumulate, by the quantizers.
void accumulateByQuantizers(const Quantizers& q, const Run& run, std::size_t terms, const Extent* extent, double* out,
                            std::size_t lanes) {
    double cells[kLaneMultiple];
    forTerms(terms, extent, lanes, [&](std::size_t t, std::size_t begin, std::size_t count) {
        add(multiplied(run, t, begin, count, q.product, cells), q.castsSum, q.sum, out + begin);
    });
}

/// As productloops::accumulatePairs, by the quantizers.
void accumulatePairsByQuantizers(const Quantizers& q, Sign sign, const Run& first, const Run& second, std::size_t terms,
                                 const Extent* extent, double* out, std::size_t lanes) {
    double cells[2][kLaneMultiple];
    forTerms(terms, extent, lanes, [&](std::size_t t, std::size_t begin, std::size_t count) {
        const std::span<double> pair = multiplied(first, t, begin, count, q.product, cells[0]);
        const std::span<double> other = multiplied(second, t, begin, count, q.product, cells[1]);
        if (q.castsPair) {
            q.pair.quantize(pair, pair);
            q.pair.quantize(other, other);
        }
        for (std::size_t i = 0; i < count; ++i) {
            pair[i] = sign == Sign::plus ? pair[i] + other[i] : pair[i] - other[i];
        }
        q.pair.quantize(pair, pair);
        add(pair, q.castsSum, q.sum, out + begin);
    });
}

void accumulate(const Plan& plan, const Run& run, std::size_t terms, const Extent* extent, double* out,
                std::size_t lanes) {
    switch (plan.way) {
        case Plan::Way::exact:
            productloops::accumulateExact(run, terms, out, lanes);
            break;
        case Plan::Way::loops:
            productloops::accumulate(plan.rule, plan.formats, plan.steps, run, terms, extent, out, lanes);
            break;
        case Plan::Way::quantizers:
            accumulateByQuantizers(plan.quantizers, run, terms, extent, out, lanes);
            break;
    }
}

void accumulatePairs(const Plan& plan, Sign sign, const Run& first, const Run& second, std::size_t terms,
                     const Extent* extent, double* out, std::size_t lanes) {
    if (plan.way == Plan::Way::loops) {
        productloops::accumulatePairs(plan.rule, plan.formats, plan.steps, sign, first, second, terms, extent, out,
                                      lanes);
    } else {
        accumulatePairsByQuantizers(plan.quantizers, sign, first, second, terms, extent, out, lanes);
    }
}

Buffer bufferOf(std::size_t count) {
    return std::make_unique_for_overwrite<double[]>(count);
}

Buffer negatedCopy(const double* values, std::size_t count) {
    Buffer copy = bufferOf(count);
    std::transform(values, values + count, copy.get(), [](double x) { return -x; });
    return copy;
}

// Matrix products.

class MatrixProduct {
 public:
    MatrixProduct(const Operand& left, const Operand& right, const MatrixShape& shape, const Plan& plan,
                  const Result& result)
        : mPlan(plan),
          mTerms(static_cast<std::size_t>(shape.inner)),
          mResult(result),
          mMoves(left),
          mStays(right),
          mLanes(static_cast<std::size_t>(shape.rows)),
          mRuns(static_cast<std::size_t>(shape.columns)),
          mLaneStep(1),
          mRunStep(static_cast<std::ptrdiff_t>(shape.rows)) {
        const auto rows = static_cast<std::ptrdiff_t>(shape.rows);
        const auto inner = static_cast<std::ptrdiff_t>(shape.inner);
        mMoving = {nullptr, 1, rows};
        mStaying = {nullptr, inner, 1};
        // Few rows leave lanes idle, so loops then run across columns: the operands change places.
        if (mLanes < kLaneMultiple && mLanes < mRuns) {
            std::swap(mMoves, mStays);
            std::swap(mLanes, mRuns);
            std::swap(mLaneStep, mRunStep);
            mMoving = {nullptr, inner, 1};
            mStaying = {nullptr, 1, rows};
        }
        mPanel = bufferOf(mTerms * kLaneMultiple);
        if (mPlan.isPair) {
            mImagPanel = bufferOf(mTerms * kLaneMultiple);
            if (mPlan.way == Plan::Way::exact) {
                mNegatedImag = negatedCopy(mStays.imag, mTerms * mRuns);
            }
        }
    }

    void run() {
        for (std::size_t lane = 0; lane < mLanes; lane += kLaneMultiple) {
            const std::size_t lanes = std::min(kLaneMultiple, mLanes - lane);
            packPart(mMoves.real, lane, lanes, mPanel);
            if (mPlan.isPair) {
                packPart(mMoves.imag, lane, lanes, mImagPanel);
                computePairs(lane, lanes);
                continue;
            }
            compute(mStays.real, mResult.real, lane, lanes);
            if (mStays.imag) {
                compute(mStays.imag, mResult.imag, lane, lanes);
            } else if (mMoves.imag) {
                packPart(mMoves.imag, lane, lanes, mPanel);
                compute(mStays.real, mResult.imag, lane, lanes);
            }
        }
    }

 private:
    void packPart(const double* part, std::size_t lane, std::size_t lanes, const Buffer& panel) const {
        pack({part, mMoving.laneStep, mMoving.termStep}, lane, lanes, mTerms, panel.get());
    }
    Run runOf(const Buffer& panel, const double* staying, std::size_t run) const {
        const double* const first =
            mTerms == 0 ? staying : staying + static_cast<std::ptrdiff_t>(run) * mStaying.laneStep;
        return {panel.get(), static_cast<std::ptrdiff_t>(kLaneMultiple), first, mStaying.termStep};
    }
    void scatter(const double* values, double* out, std::size_t lane, std::size_t lanes, std::size_t run) const {
        double* const to =
            out + static_cast<std::ptrdiff_t>(lane) * mLaneStep + static_cast<std::ptrdiff_t>(run) * mRunStep;
        for (std::size_t i = 0; i < lanes; ++i) {
            to[static_cast<std::ptrdiff_t>(i) * mLaneStep] = values[i];
        }
    }
    void compute(const double* staying, double* out, std::size_t lane, std::size_t lanes) const {
        for (std::size_t run = 0; run < mRuns; ++run) {
            double totals[kLaneMultiple] = {};
            accumulate(mPlan, runOf(mPanel, staying, run), mTerms, nullptr, totals, lanes);
            scatter(totals, out, lane, lanes, run);
        }
    }
    void computePairs(std::size_t lane, std::size_t lanes) const {
        for (std::size_t run = 0; run < mRuns; ++run) {
            const Run both = runOf(mPanel, mStays.real, run);
            const Run imagByReal = runOf(mImagPanel, mStays.real, run);
            const Run realByImag = runOf(mPanel, mStays.imag, run);
            double real[kLaneMultiple] = {};
            double imag[kLaneMultiple] = {};
            if (mPlan.way == Plan::Way::exact) {
                const Run minusImagByImag = runOf(mImagPanel, mNegatedImag.get(), run);
                for (const Run& terms : {both, minusImagByImag}) {
                    accumulate(mPlan, terms, mTerms, nullptr, real, lanes);
                }
                for (const Run& terms : {imagByReal, realByImag}) {
                    accumulate(mPlan, terms, mTerms, nullptr, imag, lanes);
                }
            } else {
                const Run imagByImag = runOf(mImagPanel, mStays.imag, run);
                accumulatePairs(mPlan, Sign::minus, both, imagByImag, mTerms, nullptr, real, lanes);
                accumulatePairs(mPlan, Sign::plus, imagByReal, realByImag, mTerms, nullptr, imag, lanes);
            }
            scatter(real, mResult.real, lane, lanes, run);
            scatter(imag, mResult.imag, lane, lanes, run);
        }
    }

    const Plan& mPlan;
    std::size_t mTerms;
    Result mResult;
    Operand mMoves;
    Operand mStays;
    std::size_t mLanes;
    std::size_t mRuns;
    std::ptrdiff_t mLaneStep;  // of the result
    std::ptrdiff_t mRunStep;
    View mMoving{};
    View mStaying{};
    Buffer mPanel;
    Buffer mImagPanel;
    Buffer mNegatedImag;
};

/// The product by the library for matrices of doubles. It may start with a negative zero, where the steps add to zero.
void multiplyByLibrary(const Operand& left, const Operand& right, const MatrixShape& shape, const Result& result) {
    const auto rows = static_cast<int>(shape.rows);
    const auto inner = static_cast<int>(shape.inner);
    const auto columns = static_cast<int>(shape.columns);
    const auto add = [&](double factor, const double* a, const double* b, double kept, double* out) {
        cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, rows, columns, inner, factor, a, rows, b, inner, kept,
                    out, rows);
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

bool isWorthTheLibrary(const MatrixShape& shape) {
    constexpr std::uint64_t kGreatest = INT_MAX;
    constexpr double kLeastWork = 4096.0;
    return shape.rows <= kGreatest && shape.inner <= kGreatest && shape.columns <= kGreatest &&
           static_cast<double>(shape.rows) * static_cast<double>(shape.inner) * static_cast<double>(shape.columns) >=
               kLeastWork;
}

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
        if (mPlan.isPair && mPlan.way == Plan::Way::exact) {
            mNegatedImag = negatedCopy(mShort.imag, mTerms);
        }
    }

    /// Computes the elements of the result before `end`.
    void run(std::size_t end) const {
        const std::size_t lanes = mPlan.way == Plan::Way::exact ? kExactLanes : kLaneMultiple;
        for (std::size_t i = 0; i < end; i += lanes) {
            compute(i, std::min(lanes, end - i));
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
    /// The terms of the lanes from a position of the long operand on; the told order is that of rising elements of the
    /// left operand.
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
    Run runOf(const Block& block, const Buffer& moving, const double* staying) const {
        return {moving.get() + static_cast<std::ptrdiff_t>(padding()) + block.start, block.step,
                staying + block.firstShort, -block.step};
    }

    void compute(std::size_t element, std::size_t lanes) const {
        const Block block = blockAt(element, lanes);
        const Extent extent{block.start, block.step, static_cast<std::ptrdiff_t>(mLength)};
        const auto add = [&](const Buffer& moving, const double* staying, double* out) {
            accumulate(mPlan, runOf(block, moving, staying), block.terms, &extent, out + element, lanes);
        };
        std::fill_n(mResult.real + element, lanes, 0.0);
        if (mResult.imag) {
            std::fill_n(mResult.imag + element, lanes, 0.0);
        }
        if (!mPlan.isPair) {
            add(mLong, mShort.real, mResult.real);
            if (mResult.imag) {
                add(mLongImag ? mLongImag : mLong, mLongImag ? mShort.real : mShort.imag, mResult.imag);
            }
        } else if (mPlan.way == Plan::Way::exact) {
            add(mLong, mShort.real, mResult.real);
            add(mLongImag, mNegatedImag.get(), mResult.real);
            add(mLongImag, mShort.real, mResult.imag);
            add(mLong, mShort.imag, mResult.imag);
        } else {
            const auto addPairs = [&](Sign sign, const Run& first, const Run& second, double* out) {
                accumulatePairs(mPlan, sign, first, second, block.terms, &extent, out + element, lanes);
            };
            addPairs(Sign::minus, runOf(block, mLong, mShort.real), runOf(block, mLongImag, mShort.imag), mResult.real);
            addPairs(Sign::plus, runOf(block, mLongImag, mShort.real), runOf(block, mLong, mShort.imag), mResult.imag);
        }
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
    Buffer mNegatedImag;
};

}  // namespace

bool multiply(const Operand& left, const Operand& right, const MatrixShape& shape, const Quantizers& quantizers,
              const Result& result) {
    if (isLogging(quantizers)) {
        return false;
    }
    const Range products =
        product(rangeOf(left, shape.rows * shape.inner), rangeOf(right, shape.inner * shape.columns));
    const Plan plan = planFor(products, shape.inner, left.imag && right.imag, quantizers);
    if (plan.way == Plan::Way::exact && isWorthTheLibrary(shape)) {
        multiplyByLibrary(left, right, shape, result);
        return true;
    }
    try {
        MatrixProduct(left, right, shape, plan, result).run();
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool convolve(const Operand& left, const Operand& right, const ConvolutionShape& shape, const Quantizers& quantizers,
              const Result& result) {
    if (isLogging(quantizers)) {
        return false;
    }
    const std::uint64_t terms = std::min(shape.leftCount, shape.rightCount);
    const Range products = product(rangeOf(left, shape.leftCount), rangeOf(right, shape.rightCount));
    const Plan plan = planFor(products, terms, left.imag && right.imag, quantizers);
    // Elements beyond the full convolution are zero.
    const std::uint64_t fullCount = terms == 0 ? 0 : shape.leftCount + shape.rightCount - 1;
    const std::uint64_t inside = fullCount > shape.offset ? std::min(shape.count, fullCount - shape.offset) : 0;
    try {
        if (inside > 0) {
            Convolution(left, right, shape, plan, result).run(inside);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    std::fill_n(result.real + inside, shape.count - inside, 0.0);
    if (result.imag) {
        std::fill_n(result.imag + inside, shape.count - inside, 0.0);
    }
    return true;
}

bool sumColumns(const double* values, int exponent, std::uint64_t rows, std::uint64_t columns, const quantizer& sum,
                bool castsBeforeSum, double* result) {
    if (sum.getQlogger().isLogging()) {
        return false;
    }
    const Range range = rangeOf(values, rows * columns, exponent);
    const auto count = static_cast<double>(rows);
    if (isExact(range, count) && (!castsBeforeSum || leaves(sum, range)) && leaves(sum, times(range, count))) {
        for (std::uint64_t column = 0; column < columns; ++column) {
            result[column] = productloops::sumExact(values + column * rows, rows);
        }
        return true;
    }
    if (!sum.keepsValues() && !sum.hasFixedKernel()) {
        return false;
    }
    const productloops::Rule rule = productloops::ruleOf(sum);
    const productloops::Formats formats{sum.getDoubleLimits(), sum.getDoubleLimits()};
    const productloops::Steps steps{false, castsBeforeSum, !sum.keepsValues()};
    constexpr std::size_t kTerms = 256;
    double panel[kTerms * kLaneMultiple];
    const double one = 1.0;
    std::fill_n(result, columns, 0.0);
    for (std::uint64_t column = 0; column < columns; column += kLaneMultiple) {
        const std::size_t lanes = std::min<std::size_t>(kLaneMultiple, columns - column);
        for (std::uint64_t row = 0; row < rows; row += kTerms) {
            const std::size_t terms = std::min<std::size_t>(kTerms, rows - row);
            pack({values + row, static_cast<std::ptrdiff_t>(rows), 1}, column, lanes, terms, panel);
            productloops::accumulate(rule, formats, steps, {panel, static_cast<std::ptrdiff_t>(kLaneMultiple), &one, 0},
                                     terms, nullptr, result + column, lanes);
        }
    }
    return true;
}

}  // namespace tolvane::detail::arraymatrix
