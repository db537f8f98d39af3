#include "fi/bulk/range_machine.h"

#include <algorithm>
#include <cmath>

#include "fi/bulk/lane_loops.h"
#include "fi/bulk/steps.h"

namespace tolvane::detail::arraymatrix {

namespace {

using laneloops::Sign;

Range rangeOf(const double* values, std::uint64_t count, int exponent) {
    // Powers of two within these bounds, and products of two, are normal doubles.
    constexpr int kEasyExponent = 400;
    if (exponent < -kEasyExponent || exponent > kEasyExponent) {
        return {0.0, 0.0, exponent, false, true};
    }
    const laneloops::Survey seen = laneloops::survey(values, count, exponent);
    return {seen.least, seen.greatest, exponent, seen.isOnGrid, seen.hasSign};
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

class RangeMachine {
 public:
    struct Place {
        const quantizer& format;
        bool casts;
    };
    explicit RangeMachine(const Quantizers& q)
        : product{q.product, false}, pair{q.pair, q.castsPair}, sum{q.sum, q.castsSum} {}

    void multiply(Range& cell, const Range& a, const Range& b) {
        const auto [least, greatest] =
            std::minmax({a.least * b.least, a.least * b.greatest, a.greatest * b.least, a.greatest * b.greatest});
        set(cell, {least, greatest, a.exponent + b.exponent, a.isOnGrid && b.isOnGrid, a.hasSign || b.hasSign});
    }
    void combine(Sign sign, Range& cell, const Range& x) {
        const Range y = sign == Sign::plus ? x : Range{-x.greatest, -x.least, x.exponent, x.isOnGrid, true};
        set(cell, {cell.least + y.least, cell.greatest + y.greatest, cell.exponent, cell.isOnGrid && y.isOnGrid,
                   cell.hasSign || y.hasSign});
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
    /// Doubles have to hold all values of the range, and so their partial sums in any order.
    void set(Range& cell, const Range& values) {
        cell = values;
        mHolds = mHolds && values.isOnGrid &&
                 std::max(-values.least, values.greatest) <= std::ldexp(1.0, 53 + values.exponent);
    }

    bool mHolds = true;
};

/// All ranges hold zero, so that of the sum of all terms holds the partial sums.
bool provesSums(RangeMachine& machine, Range term, std::uint64_t terms) {
    const double before = static_cast<double>(terms) - 1.0;
    Range total{term.least * before, term.greatest * before, term.exponent, term.isOnGrid, term.hasSign};
    steps::accumulateStep(machine, machine.sum, Sign::plus, total, term);
    return machine.holds();
}

}  // namespace

Range rangeOf(const Operand& x, std::uint64_t count) {
    Range range = rangeOf(x.real, count, x.exponent);
    if (x.imag) {
        const Range imag = rangeOf(x.imag, count, x.exponent);
        range = {std::min(range.least, imag.least), std::max(range.greatest, imag.greatest), x.exponent,
                 range.isOnGrid && imag.isOnGrid, range.hasSign || imag.hasSign};
    }
    return range;
}

bool provesProducts(const Range& left, const Range& right, const Quantizers& q) {
    RangeMachine machine(q);
    Range cell{};
    steps::multiplyStep(machine, cell, left, right);
    return machine.holds();
}

bool provesSums(const Range& value, std::uint64_t terms, const Quantizers& q) {
    RangeMachine machine(q);
    return provesSums(machine, value, terms);
}

bool provesSumsOfProducts(const Range& left, const Range& right, std::uint64_t terms, bool isPair,
                          const Quantizers& q) {
    RangeMachine machine(q);
    Range cell{};
    if (!isPair) {
        steps::multiplyStep(machine, cell, left, right);
        return provesSums(machine, cell, terms);
    }
    for (const Sign sign : {Sign::minus, Sign::plus}) {
        Range other{};
        steps::multiplyPairStep(machine, sign, cell, other, left, right, left, right);
        if (!provesSums(machine, cell, terms)) {
            return false;
        }
    }
    return true;
}

}  // namespace tolvane::detail::arraymatrix
