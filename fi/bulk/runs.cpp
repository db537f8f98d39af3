#include "fi/bulk/runs.h"

#include <algorithm>
#include <functional>
#include <span>

#include "fi/bulk/block_machine.h"

namespace tolvane::detail::arraymatrix {

namespace {

using laneloops::Extent;
using laneloops::kLaneMultiple;
using laneloops::Run;
using laneloops::RunNotes;
using laneloops::Sign;
using laneloops::Treatment;

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

std::span<const double> movingAt(const Run& run, std::size_t t, std::size_t begin, std::size_t count) {
    return {run.moving + static_cast<std::ptrdiff_t>(t) * run.movingStep + begin, count};
}
double fixedAt(const Run& run, std::size_t t) {
    return run.fixed[static_cast<std::ptrdiff_t>(t) * run.fixedStep];
}

/// As the loops of lanes, by the quantizers; `second` is null for sums of products.
void accumulateByQuantizers(const Quantizers& q, Sign sign, const Run& first, const Run* second, std::size_t terms,
                            const Extent* extent, double* out, std::size_t lanes) {
    BlockMachine machine({q.product, false, nullptr}, {q.pair, q.castsPair, nullptr}, {q.sum, q.castsSum, nullptr},
                         nullptr);
    double cells[2][kLaneMultiple];
    forTerms(terms, extent, lanes, [&](std::size_t t, std::size_t begin, std::size_t count) {
        std::span<double> cell(cells[0], count);
        std::span<double> other(cells[1], count);
        std::span<double> total(out + begin, count);
        if (second) {
            steps::multiplyPairStep(machine, sign, cell, other, movingAt(first, t, begin, count), fixedAt(first, t),
                                    movingAt(*second, t, begin, count), fixedAt(*second, t));
        } else {
            steps::multiplyStep(machine, cell, movingAt(first, t, begin, count), fixedAt(first, t));
        }
        steps::accumulateStep(machine, machine.sum, Sign::plus, total, cell);
    });
}

}  // namespace

Plan::Plan(const Quantizers& q)
    : quantizers(q),
      counts(q.product.getQlogger().isLogging() || q.pair.getQlogger().isLogging() || q.sum.getQlogger().isLogging()) {}

Plan planFor(const Range& left, const Range& right, std::uint64_t terms, bool isPair, const Quantizers& q) {
    Plan plan(q);
    plan.isPair = isPair;
    plan.places.product = q.product.getDoubleLimits();
    plan.places.sum = q.sum.getDoubleLimits();
    const bool isExact = provesSumsOfProducts(left, right, terms, isPair, q);
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
    plan.places.keepsProducts = provesProducts(left, right, q);
    // A partial sum is a value of the sum type already, and so is a pair, which casting leaves alone.
    const bool casts = (isPair ? q.castsPair : q.castsSum) && !covers(q.sum, q.product);
    plan.places.castsPair = isPair && casts;
    plan.places.castsSum = !isPair && casts;
    return plan;
}

Buffer bufferOf(std::size_t count) {
    return std::make_unique_for_overwrite<double[]>(count);
}

void pack(const double* values, std::ptrdiff_t laneStep, std::ptrdiff_t termStep, std::size_t lanes, std::size_t terms,
          double* panel) {
    constexpr std::size_t kWidestVector = 8;
    const std::size_t padded = (lanes + kWidestVector - 1) / kWidestVector * kWidestVector;
    if (laneStep == 1) {
        for (std::size_t t = 0; t < terms; ++t) {
            const double* const from = values + static_cast<std::ptrdiff_t>(t) * termStep;
            double* const to = panel + t * kLaneMultiple;
            std::fill(std::copy_n(from, lanes, to), to + padded, 0.0);
        }
        return;
    }
    // By squares, so that a few cache lines are read and written at a time.
    for (std::size_t lane = 0; lane < padded; lane += kWidestVector) {
        const std::size_t used = std::min(kWidestVector, lanes - lane);
        for (std::size_t begin = 0; begin < terms; begin += kWidestVector) {
            for (std::size_t t = begin; t < std::min(terms, begin + kWidestVector); ++t) {
                const double* const from =
                    values + static_cast<std::ptrdiff_t>(lane) * laneStep + static_cast<std::ptrdiff_t>(t) * termStep;
                double* const to = panel + t * kLaneMultiple + lane;
                for (std::size_t i = 0; i < kWidestVector; ++i) {
                    to[i] = i < used ? from[static_cast<std::ptrdiff_t>(i) * laneStep] : 0.0;
                }
            }
        }
    }
}

void computeSums(const Plan& plan, const Factors& moving, const Factors& fixed, std::size_t terms, const Extent* extent,
                 std::size_t lanes, const Result& sums, RunNotes* notes) {
    const auto run = [&](const double* x, const double* y) { return Run{x, moving.step, y, fixed.step}; };
    const auto add = [&](const Run& products, double* out) {
        switch (plan.way) {
            case Plan::Way::exact:
                laneloops::accumulateExact(products, terms, out, lanes);
                break;
            case Plan::Way::loops:
                laneloops::accumulate(plan.places, products, terms, extent, out, lanes, notes);
                break;
            default:
                accumulateByQuantizers(plan.quantizers, Sign::plus, products, nullptr, terms, extent, out, lanes);
                break;
        }
    };
    const auto addPairs = [&](Sign sign, const Run& first, const Run& second, double* out) {
        if (plan.way == Plan::Way::loops) {
            laneloops::accumulatePairs(plan.places, sign, first, second, terms, extent, out, lanes, notes);
        } else {
            accumulateByQuantizers(plan.quantizers, sign, first, &second, terms, extent, out, lanes);
        }
    };
    std::fill_n(sums.real, lanes, 0.0);
    if (sums.imag) {
        std::fill_n(sums.imag, lanes, 0.0);
    }
    if (!plan.isPair) {
        add(run(moving.real, fixed.real), sums.real);
        if (sums.imag) {
            add(moving.imag ? run(moving.imag, fixed.real) : run(moving.real, fixed.imag), sums.imag);
        }
    } else if (plan.way == Plan::Way::exact) {
        add(run(moving.imag, fixed.imag), sums.real);
        std::transform(sums.real, sums.real + lanes, sums.real, std::negate<>());
        add(run(moving.real, fixed.real), sums.real);
        add(run(moving.imag, fixed.real), sums.imag);
        add(run(moving.real, fixed.imag), sums.imag);
    } else {
        addPairs(Sign::minus, run(moving.real, fixed.real), run(moving.imag, fixed.imag), sums.real);
        addPairs(Sign::plus, run(moving.imag, fixed.real), run(moving.real, fixed.imag), sums.imag);
    }
}

}  // namespace tolvane::detail::arraymatrix
