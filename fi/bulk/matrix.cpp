#include "fi/bulk/matrix.h"

#include <cblas.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <vector>

#include "fi/bulk/block_machine.h"
#include "fi/bulk/lane_loops.h"

namespace tolvane::detail::arraymatrix {

namespace {

using laneloops::Extent;
using laneloops::kLaneMultiple;
using laneloops::Places;
using laneloops::Run;
using laneloops::RunNotes;
using laneloops::Sign;
using laneloops::Survey;
using laneloops::Treatment;
using Buffer = std::unique_ptr<double[]>;

// What the operands prove.

/// Bounds of values that are whole multiples of 2^exponent, if they are.
struct Range {
    double least;
    double greatest;
    int exponent;
    bool isOnGrid;
    bool hasSign;  // of any value, a zero included

    double magnitude() const { return std::max(-least, greatest); }
};

Range rangeOf(const double* values, std::size_t count, int exponent) {
    // Powers of two within these bounds, and products of two, are normal doubles.
    constexpr int kEasyExponent = 400;
    if (exponent < -kEasyExponent || exponent > kEasyExponent) {
        return {0.0, 0.0, exponent, false, true};
    }
    const Survey seen = laneloops::survey(values, count, exponent);
    return {seen.least, seen.greatest, exponent, seen.isOnGrid, seen.hasSign};
}

Range joined(const Range& a, const Range& b) {
    return {std::min(a.least, b.least), std::max(a.greatest, b.greatest), a.exponent, a.isOnGrid && b.isOnGrid,
            a.hasSign || b.hasSign};
}

Range rangeOf(const Operand& x, std::size_t count) {
    const Range real = rangeOf(x.real, count, x.exponent);
    return x.imag ? joined(real, rangeOf(x.imag, count, x.exponent)) : real;
}

/// The range of the products; both ranges hold zero.
Range product(const Range& a, const Range& b) {
    const auto [least, greatest] =
        std::minmax({a.least * b.least, a.least * b.greatest, a.greatest * b.least, a.greatest * b.greatest});
    return {least, greatest, a.exponent + b.exponent, a.isOnGrid && b.isOnGrid, a.hasSign || b.hasSign};
}

Range sum(const Range& a, const Range& b) {
    return {a.least + b.least, a.greatest + b.greatest, a.exponent, a.isOnGrid && b.isOnGrid, a.hasSign || b.hasSign};
}
Range negated(const Range& a) {
    return {-a.greatest, -a.least, a.exponent, a.isOnGrid, true};
}
Range times(const Range& a, double count) {
    return {a.least * count, a.greatest * count, a.exponent, a.isOnGrid, a.hasSign};
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
    // In any order; by loops; by the quantizers themselves; with statistics that no loop takes.
    enum class Way { exact, loops, quantizers, none };
    Way way = Way::quantizers;
    bool isPair = false;
    bool counts = false;
    bool hasOneZero = false;  // no step meets a negative zero
    Places places;
};

/// The machine that proves: its cells are ranges, and all it gathers is whether a step could round or leave its type.
class RangeMachine {
 public:
    struct Place {
        const quantizer& format;
        bool casts;
    };
    explicit RangeMachine(const Quantizers& q)
        : product{q.product, false}, pair{q.pair, q.castsPair}, sum{q.sum, q.castsSum} {}

    void multiply(Range& cell, const Range& a, const Range& b) {
        cell = arraymatrix::product(a, b);
        mHolds = mHolds && isExact(cell);
    }
    void combine(Sign sign, Range& cell, const Range& x) {
        cell = arraymatrix::sum(cell, sign == Sign::plus ? x : negated(x));
        mHolds = mHolds && isExact(cell);
    }
    static bool casts(const Place& place) { return place.casts; }
    Range& cast(const Place& place, Range& x) {
        if (place.casts) {
            quantize(place, x);
        }
        return x;
    }
    void quantize(const Place& place, const Range& cell) { mHolds = mHolds && leaves(place.format, cell); }
    bool holds() const { return mHolds; }

    Place product;
    Place pair;
    Place sum;

 private:
    /// Whether doubles hold all values of the range, and so their partial sums in any order.
    static bool isExact(const Range& values) {
        return values.isOnGrid && values.magnitude() <= std::ldexp(1.0, 53 + values.exponent);
    }

    bool mHolds = true;
};

/// Proves the steps of that many terms, which each add a value of the range. All ranges hold zero, so that of the sum
/// of all terms holds the partial sums.
bool provesSum(RangeMachine& machine, Range term, std::uint64_t terms) {
    Range total = times(term, static_cast<double>(terms) - 1.0);
    steps::accumulateStep(machine, machine.sum, Sign::plus, total, term);
    return machine.holds();
}

bool provesExact(const Range& left, const Range& right, std::uint64_t terms, bool isPair, const Quantizers& q) {
    RangeMachine machine(q);
    Range cell{};
    if (!isPair) {
        steps::multiplyStep(machine, cell, left, right);
        return provesSum(machine, cell, terms);
    }
    for (const Sign sign : {Sign::minus, Sign::plus}) {
        Range other{};
        steps::multiplyPairStep(machine, sign, cell, other, left, right, left, right);
        if (!provesSum(machine, cell, terms)) {
            return false;
        }
    }
    return true;
}

Plan planFor(const Range& left, const Range& right, std::uint64_t terms, bool isPair, const Quantizers& q) {
    Plan plan(q);
    plan.isPair = isPair;
    plan.counts = isLogging(q);
    plan.places.product = q.product.getDoubleLimits();
    plan.places.sum = q.sum.getDoubleLimits();
    const bool isExact = provesExact(left, right, terms, isPair, q);
    const auto sharesRule = [&q](const quantizer& other) {
        return other.hasFixedKernel() && laneloops::ruleOf(other) == laneloops::ruleOf(q.product);
    };
    const bool sharesAll = sharesRule(q.product) && sharesRule(q.sum) &&
                           (!isPair || (sharesRule(q.pair) && covers(q.pair, q.sum) && covers(q.sum, q.pair)));
    if (plan.counts) {
        // Products and pairs are values of their formats. In a format that has all of these, casting leaves them alone,
        // and what it notes follows from what they note. Where both kinds of casts meet, pairs aren't noted apart.
        const auto isSilent = [isExact](const quantizer& to, const quantizer& from) {
            return isExact || covers(to, from);
        };
        plan.way = sharesAll ? Plan::Way::loops : Plan::Way::none;
        plan.places.treatment = isExact ? Treatment::keep : Treatment::quantize;
        plan.places.rule = laneloops::ruleOf(q.product);
        plan.places.castsPair = isPair && q.castsPair && !isSilent(q.pair, q.product);
        plan.places.castsSum = q.castsSum && (isPair ? plan.places.castsPair : !isSilent(q.sum, q.product));
        plan.hasOneZero = !left.hasSign && !right.hasSign && !isPair &&
                          (isExact || plan.places.rule.overflow == embedded::OverflowModeEnum::Saturate);
        return plan;
    }
    if (isExact) {
        plan.way = Plan::Way::exact;
        return plan;
    }
    if (q.product.keepsValues() && q.sum.keepsValues() && (!isPair || q.pair.keepsValues())) {
        plan.way = Plan::Way::loops;
        plan.places.treatment = Treatment::keep;
        return plan;
    }
    if (!sharesAll) {
        return plan;
    }
    plan.way = Plan::Way::loops;
    plan.places.rule = laneloops::ruleOf(q.product);
    RangeMachine ofProducts(q);
    Range product{};
    steps::multiplyStep(ofProducts, product, left, right);
    plan.places.keepsProducts = ofProducts.holds();
    // A partial sum is a value of the sum type already, and so is a pair, which casting leaves alone.
    const bool casts = (isPair ? q.castsPair : q.castsSum) && !covers(q.sum, q.product);
    plan.places.castsPair = isPair && casts;
    plan.places.castsSum = !isPair && casts;
    return plan;
}

// Work arrays.

/// Values by lane and term.
struct View {
    const double* values;  // null for none
    std::ptrdiff_t laneStep;
    std::ptrdiff_t termStep;
};

/// Lays lanes side by side, term after term; the lanes that fill up the last vector are zero.
void pack(const View& view, std::size_t firstLane, std::size_t lanes, std::size_t terms, double* panel) {
    if (terms == 0) {
        return;  // without values there may be no array to point into
    }
    constexpr std::size_t kWidestVector = 8;
    const std::size_t padded = (lanes + kWidestVector - 1) / kWidestVector * kWidestVector;
    const double* const first = view.values + static_cast<std::ptrdiff_t>(firstLane) * view.laneStep;
    if (view.laneStep == 1) {
        for (std::size_t t = 0; t < terms; ++t) {
            const double* const from = first + static_cast<std::ptrdiff_t>(t) * view.termStep;
            double* const to = panel + t * kLaneMultiple;
            std::fill(std::copy_n(from, lanes, to), to + padded, 0.0);
        }
        return;
    }
    for (std::size_t lane = 0; lane < padded; ++lane) {
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

using steps::accumulateStep;
using steps::multiplyPairStep;
using steps::multiplyStep;

BlockMachine blockMachine(const Quantizers& q) {
    const BlockMachine::Place sum{q.sum, q.castsSum, nullptr};
    return {{q.product, false, nullptr}, {q.pair, q.castsPair, nullptr}, sum, nullptr};
}

std::span<const double> movingAt(const Run& run, std::size_t t, std::size_t begin, std::size_t count) {
    return {run.moving + static_cast<std::ptrdiff_t>(t) * run.movingStep + begin, count};
}
double fixedAt(const Run& run, std::size_t t) {
    return run.fixed[static_cast<std::ptrdiff_t>(t) * run.fixedStep];
}

/// As laneloops::accumulate, by the quantizers.
void accumulateByQuantizers(const Quantizers& q, const Run& run, std::size_t terms, const Extent* extent, double* out,
                            std::size_t lanes) {
    BlockMachine machine = blockMachine(q);
    double cells[kLaneMultiple];
    forTerms(terms, extent, lanes, [&](std::size_t t, std::size_t begin, std::size_t count) {
        std::span<double> cell(cells, count);
        std::span<double> total(out + begin, count);
        multiplyStep(machine, cell, movingAt(run, t, begin, count), fixedAt(run, t));
        accumulateStep(machine, machine.sum, Sign::plus, total, cell);
    });
}

/// As laneloops::accumulatePairs, by the quantizers.
void accumulatePairsByQuantizers(const Quantizers& q, Sign sign, const Run& first, const Run& second, std::size_t terms,
                                 const Extent* extent, double* out, std::size_t lanes) {
    BlockMachine machine = blockMachine(q);
    double cells[2][kLaneMultiple];
    forTerms(terms, extent, lanes, [&](std::size_t t, std::size_t begin, std::size_t count) {
        std::span<double> cell(cells[0], count);
        std::span<double> other(cells[1], count);
        std::span<double> total(out + begin, count);
        multiplyPairStep(machine, sign, cell, other, movingAt(first, t, begin, count), fixedAt(first, t),
                         movingAt(second, t, begin, count), fixedAt(second, t));
        accumulateStep(machine, machine.sum, Sign::plus, total, cell);
    });
}

void accumulate(const Plan& plan, const Run& run, std::size_t terms, const Extent* extent, double* out,
                std::size_t lanes, RunNotes* notes) {
    switch (plan.way) {
        case Plan::Way::exact:
            laneloops::accumulateExact(run, terms, out, lanes);
            break;
        case Plan::Way::loops:
            laneloops::accumulate(plan.places, run, terms, extent, out, lanes, notes);
            break;
        default:
            accumulateByQuantizers(plan.quantizers, run, terms, extent, out, lanes);
            break;
    }
}

void accumulatePairs(const Plan& plan, Sign sign, const Run& first, const Run& second, std::size_t terms,
                     const Extent* extent, double* out, std::size_t lanes, RunNotes* notes) {
    if (plan.way == Plan::Way::loops) {
        laneloops::accumulatePairs(plan.places, sign, first, second, terms, extent, out, lanes, notes);
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

// Statistics.

/// What the places met in all runs. The extremes and counts are noted by the loops; how often each place meets a value
/// follows from the number of terms.
struct Record {
    Record(const Plan& plan, std::uint64_t terms, std::uint64_t parts) {
        if (!plan.counts) {
            return;
        }
        const Quantizers& q = plan.quantizers;
        const std::uint64_t sums = terms * parts;
        products = plan.isPair ? 2 * sums : sums;
        pairs = plan.isPair ? sums * (q.castsPair ? 3 : 1) : 0;
        totals = sums * (q.castsSum ? (q.castsTotal ? 3 : 2) : 1);
        mathOperations = terms;
    }
    std::uint64_t products = 0;
    std::uint64_t pairs = 0;
    std::uint64_t totals = 0;
    std::uint64_t mathOperations = 0;
    RunNotes notes;
};

/// Adds what silent casts would have noted.
void addSilentCasts(const Plan& plan, laneloops::Tallies& tallies) {
    const Quantizers& q = plan.quantizers;
    if (q.castsSum && !plan.places.castsSum) {
        tallies.sum.joinExtremes(plan.isPair ? tallies.pair : tallies.product);
    }
    if (plan.isPair && q.castsPair && !plan.places.castsPair) {
        tallies.pair.joinExtremes(tallies.product);
    }
}

/// Results in the order of the element steps: columns of a matrix, elements of a convolution or sums of columns.
struct Stretches {
    std::uint64_t count;
    std::uint64_t length;  // of a stretch
    /// Computes a range again and notes it.
    std::function<void(std::uint64_t begin, std::uint64_t end, RunNotes& notes)> run;
    /// The same by the element steps, for results that are zero.
    ByElements byElements;
};

struct NotedPlace {
    Tally* tally;
    const qlogger* log;
};

bool isGreatestOpen(const NotedPlace& place) {
    return place.tally->greatestZeros == Tally::both && place.log->isMaxNegative();
}
bool isLeastOpen(const NotedPlace& place) {
    return place.tally->leastZeros == Tally::both && place.log->isMinPositive();
}

/// Gives zero extremes whose sign is open that of the first zero in the order of the element steps: in the first
/// stretch that holds such a zero, the steps are taken.
void settleSigns(const Plan& plan, std::span<const NotedPlace> places, std::span<const qlogger* const> logs,
                 const Stretches& stretches) {
    const auto isOpen = [](const NotedPlace& place) { return isGreatestOpen(place) || isLeastOpen(place); };
    for (std::uint64_t begin = 0; begin < stretches.count && std::ranges::any_of(places, isOpen);
         begin += stretches.length) {
        const std::uint64_t end = std::min(stretches.count, begin + stretches.length);
        RunNotes notes;
        stretches.run(begin, end, notes);
        addSilentCasts(plan, notes.tallies);
        const Tally* const noted[] = {&notes.tallies.product, &notes.tallies.pair, &notes.tallies.sum};
        const auto holdsZero = [&](std::size_t i) {
            return (isGreatestOpen(places[i]) && noted[i]->greatest == 0.0) ||
                   (isLeastOpen(places[i]) && noted[i]->least == 0.0);
        };
        if (!holdsZero(0) && !holdsZero(1) && !holdsZero(2)) {
            continue;
        }
        std::vector<qlogger> saved;
        saved.reserve(logs.size());
        for (const qlogger* log : logs) {
            saved.emplace_back(*log, false);
        }
        for (const qlogger* log : logs) {
            log->reset();
        }
        stretches.byElements(begin, end);
        const auto zerosOf = [](double extreme) -> unsigned {
            return extreme != 0.0 ? Tally::both : std::signbit(extreme) ? Tally::minus : Tally::plus;
        };
        struct Zeros {
            unsigned greatest;
            unsigned least;
        } seen[3];
        for (std::size_t i = 0; i < places.size(); ++i) {
            seen[i] = {zerosOf(places[i].log->getMaxAsDouble()), zerosOf(places[i].log->getMinAsDouble())};
        }
        for (std::size_t i = 0; i < logs.size(); ++i) {
            logs[i]->set(saved[i]);
        }
        for (std::size_t i = 0; i < places.size(); ++i) {
            if (isGreatestOpen(places[i])) {
                places[i].tally->greatestZeros = seen[i].greatest;
            }
            if (isLeastOpen(places[i])) {
                places[i].tally->leastZeros = seen[i].least;
            }
        }
    }
}

/// Hands the record over to the logs. `keepsOrder` says that a lane met its values in the order of the element steps,
/// so that zeros of one sign in all lanes settle the sign.
void handOver(Record& record, const Plan& plan, bool keepsOrder, const Stretches& stretches) {
    const Quantizers& q = plan.quantizers;
    addSilentCasts(plan, record.notes.tallies);
    Tally& product = record.notes.tallies.product;
    Tally& pair = record.notes.tallies.pair;
    Tally& sum = record.notes.tallies.sum;
    product.values = record.products;
    pair.values = record.pairs;
    sum.values = record.totals;
    if (q.castsSum && q.castsTotal && sum.values > 0) {
        // The first value of all is the zero that the sums start with.
        sum.join({.greatest = 0.0, .least = 0.0});
    }
    for (Tally* tally : {&product, &pair, &sum}) {
        const bool isPlus = plan.hasOneZero || (tally == &sum && q.castsSum && q.castsTotal);
        const auto zeros = [&](double extreme, unsigned noted) -> unsigned {
            return extreme != 0.0 ? Tally::none : isPlus ? Tally::plus : keepsOrder ? noted : Tally::both;
        };
        tally->greatestZeros = zeros(tally->greatest, tally->greatestZeros);
        tally->leastZeros = zeros(tally->least, tally->leastZeros);
    }
    const NotedPlace places[] = {
        {&product, &q.product.getQlogger()}, {&pair, &q.pair.getQlogger()}, {&sum, &q.sum.getQlogger()}};
    std::vector<const qlogger*> logs = {places[0].log, places[1].log, places[2].log};
    if (q.result) {
        logs.push_back(q.result);
    }
    settleSigns(plan, places, logs, stretches);
    for (const NotedPlace& place : places) {
        if (place.tally->values > 0) {
            place.tally->handTo(*place.log);
        }
    }
    if (qlogger::getLogging()) {
        const auto addMath = [&](const qlogger& log) {
            log.setNMathOperations(log.getNMathoperations() + record.mathOperations);
        };
        addMath(*places[2].log);
        if (!plan.isPair && record.products > 0) {
            addMath(*places[0].log);
        }
    }
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
            mRunsAlongColumns = false;
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

    /// Whether a lane runs along a column, as the element steps do.
    bool runsAlongColumns() const { return mRunsAlongColumns; }
    std::size_t columns() const { return runsAlongColumns() ? mRuns : mLanes; }

    /// Computes a range of columns.
    void run(std::size_t firstColumn, std::size_t lastColumn, RunNotes* notes) {
        mNotes = notes;
        mFirstRun = runsAlongColumns() ? firstColumn : 0;
        mLastRun = runsAlongColumns() ? lastColumn : mRuns;
        const std::size_t first = runsAlongColumns() ? 0 : firstColumn;
        const std::size_t last = runsAlongColumns() ? mLanes : lastColumn;
        for (std::size_t lane = first; lane < last; lane += kLaneMultiple) {
            const std::size_t lanes = std::min(kLaneMultiple, last - lane);
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
        for (std::size_t run = mFirstRun; run < mLastRun; ++run) {
            double totals[kLaneMultiple] = {};
            accumulate(mPlan, runOf(mPanel, staying, run), mTerms, nullptr, totals, lanes, mNotes);
            scatter(totals, out, lane, lanes, run);
        }
    }
    void computePairs(std::size_t lane, std::size_t lanes) const {
        for (std::size_t run = mFirstRun; run < mLastRun; ++run) {
            const Run both = runOf(mPanel, mStays.real, run);
            const Run imagByReal = runOf(mImagPanel, mStays.real, run);
            const Run realByImag = runOf(mPanel, mStays.imag, run);
            double real[kLaneMultiple] = {};
            double imag[kLaneMultiple] = {};
            if (mPlan.way == Plan::Way::exact) {
                const Run minusImagByImag = runOf(mImagPanel, mNegatedImag.get(), run);
                for (const Run& terms : {both, minusImagByImag}) {
                    accumulate(mPlan, terms, mTerms, nullptr, real, lanes, mNotes);
                }
                for (const Run& terms : {imagByReal, realByImag}) {
                    accumulate(mPlan, terms, mTerms, nullptr, imag, lanes, mNotes);
                }
            } else {
                const Run imagByImag = runOf(mImagPanel, mStays.imag, run);
                accumulatePairs(mPlan, Sign::minus, both, imagByImag, mTerms, nullptr, real, lanes, mNotes);
                accumulatePairs(mPlan, Sign::plus, imagByReal, realByImag, mTerms, nullptr, imag, lanes, mNotes);
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
    bool mRunsAlongColumns = true;
    std::size_t mFirstRun = 0;
    std::size_t mLastRun = 0;
    RunNotes* mNotes = nullptr;
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

    /// Computes a range of elements of the result.
    void run(std::size_t begin, std::size_t end, RunNotes* notes) {
        mNotes = notes;
        mOverflows = notes ? notes->overflows : nullptr;
        const std::size_t lanes = mPlan.way == Plan::Way::exact ? kExactLanes : kLaneMultiple;
        for (std::size_t i = begin; i < end; i += lanes) {
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

    void compute(std::size_t element, std::size_t lanes) {
        if (mOverflows) {
            mNotes->overflows = mOverflows + element;
        }
        const Block block = blockAt(element, lanes);
        const Extent extent{block.start, block.step, static_cast<std::ptrdiff_t>(mLength)};
        const auto add = [&](const Buffer& moving, const double* staying, double* out) {
            accumulate(mPlan, runOf(block, moving, staying), block.terms, &extent, out + element, lanes, mNotes);
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
                accumulatePairs(mPlan, sign, first, second, block.terms, &extent, out + element, lanes, mNotes);
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
    RunNotes* mNotes = nullptr;
    std::uint64_t* mOverflows = nullptr;
    Buffer mLong;
    Buffer mLongImag;
    Buffer mNegatedImag;
};

}  // namespace

bool multiply(const Operand& left, const Operand& right, const MatrixShape& shape, const Quantizers& quantizers,
              const Result& result, const ByElements& byElements) {
    const Plan plan = planFor(rangeOf(left, shape.rows * shape.inner), rangeOf(right, shape.inner * shape.columns),
                              shape.inner, left.imag && right.imag, quantizers);
    if (plan.way == Plan::Way::none) {
        return false;
    }
    if (plan.way == Plan::Way::exact && isWorthTheLibrary(shape)) {
        multiplyByLibrary(left, right, shape, result);
        return true;
    }
    // Once results are there, the element steps could no longer take over.
    std::optional<MatrixProduct> made;
    try {
        made.emplace(left, right, shape, plan, result);
    } catch (const std::bad_alloc&) {
        return false;
    }
    MatrixProduct& product = *made;
    Record record(plan, shape.rows * shape.inner * shape.columns, result.imag ? 2 : 1);
    product.run(0, product.columns(), plan.counts ? &record.notes : nullptr);
    if (!plan.counts) {
        return true;
    }
    const auto clear = [&](double* part, std::uint64_t begin, std::uint64_t end) {
        if (part) {
            std::fill(part + begin * shape.rows, part + end * shape.rows, 0.0);
        }
    };
    handOver(record, plan, product.runsAlongColumns(),
             {product.columns(), product.runsAlongColumns() ? 1 : kLaneMultiple,
              [&](std::uint64_t begin, std::uint64_t end, RunNotes& notes) { product.run(begin, end, &notes); },
              [&](std::uint64_t begin, std::uint64_t end) {
                  clear(result.real, begin, end);
                  clear(result.imag, begin, end);
                  byElements(begin, end);
              }});
    if (quantizers.result && qlogger::getLogging()) {
        // Each running sum was stored there; the caller takes the extremes over.
        const Tally stored{.values = record.mathOperations * (result.imag ? 2 : 1)};
        stored.handTo(*quantizers.result);
    }
    return true;
}

namespace {

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
    for (std::uint64_t i = 0; i < count && (tally.greatestZeros == Tally::both || tally.leastZeros == Tally::both);
         ++i) {
        for (const double* const part :
             {static_cast<const double*>(result.real), static_cast<const double*>(result.imag)}) {
            if (part && part[i] == 0.0) {
                tally.settle(part[i]);
                break;
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
    const auto fillOutside = [&] {
        for (double* const part : {result.real, result.imag}) {
            if (part) {
                std::fill_n(part + inside, shape.count - inside, 0.0);
            }
        }
    };
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
    fillOutside();
    if (convolution) {
        convolution->run(0, inside, plan.counts ? &record.notes : nullptr);
        if (plan.counts) {
            handOver(
                record, plan, false,
                {inside, kLaneMultiple,
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

bool sumColumns(const Operand& x, std::uint64_t rows, std::uint64_t columns, const quantizer& sum, bool castsBeforeSum,
                const Result& result, const ByElements& byElements) {
    const Quantizers quantizers{sum, sum, sum, false, castsBeforeSum, false, nullptr, false};
    const Range range = rangeOf(x, rows * columns);
    RangeMachine machine(quantizers);
    const bool isExact = provesSum(machine, range, rows);
    Plan plan(quantizers);
    plan.counts = isLogging(quantizers);
    const auto parts = [&](const auto& step) {
        step(x.real, result.real);
        if (x.imag) {
            step(x.imag, result.imag);
        }
    };
    if (!plan.counts && isExact) {
        parts([&](const double* values, double* sums) {
            for (std::uint64_t column = 0; column < columns; ++column) {
                sums[column] = laneloops::sumExact(values + column * rows, rows);
            }
        });
        return true;
    }
    if (!sum.hasFixedKernel() && (plan.counts || !sum.keepsValues())) {
        return false;
    }
    plan.places.treatment = isExact || sum.keepsValues() ? Treatment::keep : Treatment::quantize;
    plan.places.rule = laneloops::ruleOf(sum);
    plan.places.sum = sum.getDoubleLimits();
    plan.places.castsSum = castsBeforeSum;
    plan.places.keepsProducts = true;
    plan.hasOneZero = !range.hasSign && (isExact || plan.places.rule.overflow == embedded::OverflowModeEnum::Saturate);
    // A chain of single values takes less time than a vector of few lanes.
    constexpr std::uint64_t kFewColumns = 4;
    const bool isChain = columns <= kFewColumns && range.isOnGrid && sum.hasFixedKernel();
    const auto runChains = [&](std::uint64_t first, std::uint64_t last, RunNotes* notes) {
        parts([&](const double* values, double* sums) {
            for (std::uint64_t column = first; column < last; ++column) {
                sums[column] = laneloops::accumulateChain(plan.places, values + column * rows, rows, 0.0, notes);
            }
        });
    };
    const auto runLanes = [&](std::uint64_t first, std::uint64_t last, RunNotes* notes) {
        constexpr std::size_t kTerms = 256;
        double panel[kTerms * kLaneMultiple];
        const double one = 1.0;
        parts([&](const double* values, double* sums) {
            std::fill(sums + first, sums + last, 0.0);
            for (std::uint64_t column = first; column < last; column += kLaneMultiple) {
                const std::size_t lanes = std::min<std::size_t>(kLaneMultiple, last - column);
                for (std::uint64_t row = 0; row < rows; row += kTerms) {
                    const std::size_t terms = std::min<std::size_t>(kTerms, rows - row);
                    pack({values + row, static_cast<std::ptrdiff_t>(rows), 1}, column, lanes, terms, panel);
                    const double* const factor = notes ? nullptr : &one;
                    laneloops::accumulate(plan.places, {panel, static_cast<std::ptrdiff_t>(kLaneMultiple), factor, 0},
                                          terms, nullptr, sums + column, lanes, notes);
                }
            }
        });
    };
    const auto run = [&](std::uint64_t first, std::uint64_t last, RunNotes* notes) {
        isChain ? runChains(first, last, notes) : runLanes(first, last, notes);
    };
    Record record(plan, rows * columns, x.imag ? 2 : 1);
    record.products = 0;
    run(0, columns, plan.counts ? &record.notes : nullptr);
    if (plan.counts) {
        handOver(record, plan, isChain,
                 {columns, isChain ? 1 : kLaneMultiple,
                  [&](std::uint64_t begin, std::uint64_t end, RunNotes& notes) { run(begin, end, &notes); },
                  [&](std::uint64_t begin, std::uint64_t end) {
                      parts([&](const double*, double* sums) { std::fill(sums + begin, sums + end, 0.0); });
                      byElements(begin, end);
                  }});
    }
    return true;
}

}  // namespace tolvane::detail::arraymatrix
