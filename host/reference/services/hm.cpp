#include "host/hm.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

namespace {

/// A finite positive value as 2^exponent * mantissa with the mantissa in [sqrt(1/2), sqrt(2)), so that a logarithm
/// near 1 loses nothing to cancellation.
struct CentredValue {
    double mantissa;
    int exponent;
};

CentredValue centre(double value) {
    CentredValue result{};
    result.mantissa = std::frexp(value, &result.exponent);
    if (result.mantissa < std::numbers::sqrt2 / 2.0) {
        result.mantissa *= 2.0;
        --result.exponent;
    }
    return result;
}

/// log(1 + f) - f + f*f/2 for 1 + f in [sqrt(1/2), sqrt(2)], as the part that is added to f - f*f/2.
///
/// With s = f/(2 + f), log(1 + f) = 2s + s*R(s*s) and 2s = f - s*f, and R is the minimax polynomial of degree 14 in s
/// published with the freely distributable math library (error below 2^-58.45).
double logTail(double f) {
    constexpr double kCoefficients[] = {1.479819860511658591e-01, 1.531383769920937332e-01, 1.818357216161805012e-01,
                                        2.222219843214978396e-01, 2.857142874366239149e-01, 3.999999999940941908e-01,
                                        6.666666666666735130e-01};
    const double s = f / (2.0 + f);
    const double z = s * s;
    double sum = 0.0;
    for (const double coefficient : kCoefficients) {
        sum = z * (coefficient + sum);
    }
    return s * (0.5 * f * f + sum);
}

/// The values whose logarithm of any base is no finite number, or NaN for a NaN; false for the others.
bool logarithmOfSpecial(double value, double& result) {
    if (value == 0.0) {
        result = -std::numeric_limits<double>::infinity();
        return true;
    }
    if (value < 0.0) {
        result = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    if (!std::isfinite(value)) {
        result = value;
        return true;
    }
    return false;
}

}  // namespace

double hmFdlibm_floor(double value) {
    return std::floor(value);
}

double hmFdlibm_ceil(double value) {
    return std::ceil(value);
}

double hmFdlibm_hypot(double a, double b) {
    if (std::isinf(a) || std::isinf(b)) {
        return std::numeric_limits<double>::infinity();
    }
    if (std::isnan(a) || std::isnan(b)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    double x = std::fabs(a);
    double y = std::fabs(b);
    if (x < y) {
        std::swap(x, y);
    }
    // Half an ulp of x is far above what y adds.
    if (y <= x * 0x1p-54) {
        return x + y;
    }
    double scale = 1.0;
    if (x > 0x1p500) {
        scale = 0x1p600;
    } else if (y < 0x1p-460) {
        scale = 0x1p-600;
    }
    x /= scale;
    y /= scale;
    // The root of the rounded sum, corrected by one Newton step whose residual h*h - x*x - y*y is worked with the
    // exact errors of the three squares (C. F. Borges, "An improved algorithm for hypot(a, b)", 2019).
    const double h = std::sqrt(std::fma(x, x, y * y));
    const double hSquare = h * h;
    const double xSquare = x * x;
    const double residual = std::fma(-y, y, hSquare - xSquare) + std::fma(h, h, -hSquare) - std::fma(x, x, -xSquare);
    return (h - residual / (2.0 * h)) * scale;
}

double hmFdlibm_frexp(double value, int* exponent) {
    // The C library leaves the exponent of a value that isn't finite unspecified.
    *exponent = 0;
    return std::isfinite(value) ? std::frexp(value, exponent) : value;
}

double hmFdlibm_log(double value) {
    double special = 0.0;
    if (logarithmOfSpecial(value, special)) {
        return special;
    }
    // ln 2 in two parts; the high one ends in enough zero bits that its product with an exponent is exact.
    constexpr double kLog2High = 6.93147180369123816490e-01;
    constexpr double kLog2Low = 1.90821492927058770002e-10;
    const CentredValue centred = centre(value);
    const double k = centred.exponent;
    const double f = centred.mantissa - 1.0;
    if (f == 0.0) {
        return k * kLog2High + k * kLog2Low;
    }
    return k * kLog2High - ((0.5 * f * f - (logTail(f) + k * kLog2Low)) - f);
}

double DoubleScalarLog2(double value) {
    double special = 0.0;
    if (logarithmOfSpecial(value, special)) {
        return special;
    }
    const CentredValue centred = centre(value);
    return centred.exponent + hmFdlibm_log(centred.mantissa) * std::numbers::log2e;
}
