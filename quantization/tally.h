// Statistics of a pass over many values, to be handed over to the log of their place as a whole.
//
// Only the sign of an extreme that is zero depends on the order of the values: a log keeps the sign of the first zero
// it met. So a tally notes which signs the zeros of its extremes have, and its maker restores the order where it meets
// both.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "logging/qlogger.h"

namespace tolvane::detail {

struct Tally {
    /// The signs of zeros: bits that are joined.
    enum Zeros : unsigned { none = 0, plus = 1, minus = 2, both = 3 };

    /// Adds what a later pass gathered.
    void append(const Tally& next) {
        if (next.greatest > greatest) {
            greatest = next.greatest;
            greatestZeros = next.greatestZeros;
        }
        if (next.least < least) {
            least = next.least;
            leastZeros = next.leastZeros;
        }
        addCounts(next);
    }
    /// Adds what a pass over values between or beside those of this one gathered.
    void join(const Tally& other) {
        joinExtremes(other);
        addCounts(other);
    }
    /// The same, without counts.
    void joinExtremes(const Tally& other) {
        if (other.greatest >= greatest) {
            greatestZeros = other.greatestZeros | (other.greatest == greatest ? greatestZeros : 0U);
            greatest = other.greatest;
        }
        if (other.least <= least) {
            leastZeros = other.leastZeros | (other.least == least ? leastZeros : 0U);
            least = other.least;
        }
    }
    void dropCounts() {
        overflows = 0;
        underflows = 0;
    }
    void addCounts(const Tally& other) {
        values += other.values;
        overflows += other.overflows;
        underflows += other.underflows;
    }

    // Whether the sign of a zero extreme is open that the log would take.
    bool isGreatestOpenFor(const qlogger& log) const { return greatestZeros == both && log.isMaxNegative(); }
    bool isLeastOpenFor(const qlogger& log) const { return leastZeros == both && log.isMinPositive(); }
    bool isOpenFor(const qlogger& log) const { return isGreatestOpenFor(log) || isLeastOpenFor(log); }
    /// Takes the sign of the first zero for zero extremes of both signs.
    void settle(double firstZero) { settle(std::signbit(firstZero)); }
    void settle(bool isFirstZeroNegative) {
        const unsigned sign = isFirstZeroNegative ? minus : plus;
        greatestZeros = greatestZeros == both ? sign : greatestZeros;
        leastZeros = leastZeros == both ? sign : leastZeros;
    }
    /// Adds the statistics to a log, as one call for each value would do. Gated. No sign may be open for it.
    void handTo(const qlogger& log) const {
        log.addArrayStatistics(values, overflows, underflows, withSign(greatest, greatestZeros),
                               withSign(least, leastZeros));
    }

    // The extremes of the quantized values, without NaN.
    double greatest = -std::numeric_limits<double>::infinity();
    double least = std::numeric_limits<double>::infinity();
    unsigned greatestZeros = none;  // none unless the extreme is zero
    unsigned leastZeros = none;
    std::uint64_t values = 0;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;

 private:
    static double withSign(double extreme, unsigned zeros) {
        return zeros == none ? extreme : zeros == minus ? -0.0 : 0.0;
    }
};

/// Counts mathematical operations while logging is on, whether or not the log itself is open.
inline void addMathOperations(const qlogger& log, std::uint64_t count) {
    if (qlogger::getLogging()) {
        log.setNMathOperations(log.getNMathoperations() + count);
    }
}

}  // namespace tolvane::detail
