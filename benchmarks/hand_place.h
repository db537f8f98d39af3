// A place of a hand-written loop: a type that values are quantized into, with the statistics that a log holds.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "logging/qlogger.h"

/// The values that most loops take at once.
inline constexpr std::size_t kLanes = 16;

/// What the log of a place holds.
struct Figures {
    double greatest = -std::numeric_limits<double>::infinity();
    double least = std::numeric_limits<double>::infinity();
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;

    void widen(const Figures& x) {
        greatest = std::max(greatest, x.greatest);
        least = std::min(least, x.least);
    }
    void join(const Figures& x) {
        widen(x);
        overflows += x.overflows;
        underflows += x.underflows;
    }
    bool match(const qlogger& log) const {
        return log.getMax().todouble() == greatest && log.getMin().todouble() == least &&
               log.getNoverflows() == overflows && log.getNunderflows() == underflows;
    }
};

/// Signed words of a type written out, with statistics of each lane. Without bits, values need no quantizing.
template <int bits, int fraction>
class Place {
 public:
    Place() {
        std::fill_n(mGreatest, kLanes, -std::numeric_limits<double>::infinity());
        std::fill_n(mLeast, kLanes, std::numeric_limits<double>::infinity());
    }
    [[gnu::always_inline]] double quantize(double x, std::size_t lane) {
        if constexpr (bits == 0) {
            note(x, lane);
            return x;
        } else {
            const double v = rounded(x);
            const double y = bounded(v);
            note(y, lane);
            mOverflows[lane] += y != v;
            mUnderflows[lane] += (v == 0.0) & (x != 0.0);
            return y * (1.0 / kScale);
        }
    }
    /// As `quantize`, without statistics.
    [[gnu::always_inline]] static double quantized(double x) {
        return bits == 0 ? x : bounded(rounded(x)) * (1.0 / kScale);
    }
    [[gnu::always_inline]] Figures figures() const {
        Figures all;
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            all.join({mGreatest[lane] / kScale, mLeast[lane] / kScale, mOverflows[lane], mUnderflows[lane]});
        }
        return all;
    }

 private:
    static constexpr double kScale = bits == 0 ? 1.0 : static_cast<double>(1L << fraction);
    static constexpr double kGreatest = static_cast<double>((1L << (bits == 0 ? 0 : bits - 1)) - 1);

    [[gnu::always_inline]] static double rounded(double x) { return std::floor(x * kScale + 0.5); }
    [[gnu::always_inline]] static double bounded(double v) {
        v = v < kGreatest ? v : kGreatest;
        return v > -kGreatest - 1.0 ? v : -kGreatest - 1.0;
    }

    [[gnu::always_inline]] void note(double x, std::size_t lane) {
        mGreatest[lane] = x > mGreatest[lane] ? x : mGreatest[lane];
        mLeast[lane] = x < mLeast[lane] ? x : mLeast[lane];
    }

    double mGreatest[kLanes];
    double mLeast[kLanes];
    std::uint64_t mOverflows[kLanes] = {};
    std::uint64_t mUnderflows[kLanes] = {};
};

/// What the places of a loop have met.
struct Logs {
    Figures product;  // unused where there is one place
    Figures last;
};

/// Products that are added up are converted to the sum's type, which holds them all: only its extremes notice.
template <class Product, class Sum>
Logs logsOf(const Product& product, const Sum& sum) {
    Logs logs{product.figures(), sum.figures()};
    logs.last.widen(logs.product);
    return logs;
}
