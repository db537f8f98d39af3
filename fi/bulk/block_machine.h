// The machine that computes blocks of doubles by the quantizers themselves, for formats and mixtures of rules that the
// vector loops don't have.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

#include "fi/bulk/lane_loops.h"
#include "fi/bulk/steps.h"
#include "quantization/quantizer.h"

namespace tolvane::detail {

/// Cells are spans of doubles, one length for all that are combined.
class BlockMachine {
 public:
    using Sign = laneloops::Sign;
    using Values = std::span<const double>;
    using Cell = std::span<double>;
    struct Place {
        const quantizer& format;
        bool casts;
        Tally* tally;  // null where nothing is counted
    };

    /// `scratch` holds a converted operand, or quotients; it is needed only for places that cast operands that are no
    /// cells and for quotients.
    BlockMachine(const Place& ofProducts, const Place& ofPairs, const Place& ofSums, double* scratch)
        : product(ofProducts), pair(ofPairs), sum(ofSums), mScratch(scratch) {}

    static void multiply(Cell cell, Values a, Values b) {
        std::transform(a.begin(), a.end(), b.begin(), cell.begin(), [](double x, double y) { return x * y; });
    }
    static void multiply(Cell cell, Values a, double b) {
        std::transform(a.begin(), a.end(), cell.begin(), [b](double x) { return x * b; });
    }
    static void combine(Sign sign, Cell cell, Values x) {
        if (sign == Sign::plus) {
            std::transform(cell.begin(), cell.end(), x.begin(), cell.begin(), [](double a, double b) { return a + b; });
        } else {
            std::transform(cell.begin(), cell.end(), x.begin(), cell.begin(), [](double a, double b) { return a - b; });
        }
    }
    static bool casts(const Place& place) { return place.casts; }
    static Values cast(const Place& place, Cell& x) {
        if (place.casts) {
            quantize(place, x);
        }
        return x;
    }
    Values cast(const Place& place, const Values& x) const {
        if (!place.casts) {
            return x;
        }
        Cell copy(mScratch, x.size());
        std::ranges::copy(x, copy.begin());
        quantize(place, copy);
        return copy;
    }
    static void quantize(const Place& place, Cell cell) { place.format.quantizeAndTally(cell, cell, place.tally); }

    static void negate(Cell cell) {
        std::ranges::transform(cell, cell.begin(), [](double x) { return -x; });
    }
    /// Values some of which are zero, or none where there are none.
    static Values isZero(Values x) { return std::ranges::find(x, 0.0) == x.end() ? Values() : x; }
    static void divide(Cell cell, Values a, Values b, Values) {
        std::transform(a.begin(), a.end(), b.begin(), cell.begin(), [](double x, double y) { return x / y; });
    }
    void quantizeBut(Values zeros, const Place& place, Cell cell) const {
        if (zeros.empty()) {
            quantize(place, cell);
            return;
        }
        std::size_t count = 0;
        for (std::size_t i = 0; i < cell.size(); ++i) {
            mScratch[count] = cell[i];
            count += zeros[i] != 0.0 ? 1U : 0U;
        }
        quantize(place, {mScratch, count});
        const double* next = mScratch;
        for (std::size_t i = 0; i < cell.size(); ++i) {
            cell[i] = zeros[i] != 0.0 ? *next++ : cell[i];
        }
    }
    static void takeBound(Values zeros, const Place& place, Cell cell, Values a) {
        for (std::size_t i = 0; i < zeros.size(); ++i) {
            if (zeros[i] == 0.0) {
                cell[i] = (a[i] < 0.0 ? place.format.getLowerBound() : place.format.getUpperBound()).todouble();
            }
        }
    }

    static constexpr Sign kPlus = Sign::plus;
    static constexpr Sign kMinus = Sign::minus;
    Place product;  // of quotients, too
    Place pair;
    Place sum;

 private:
    double* mScratch;
};

}  // namespace tolvane::detail
