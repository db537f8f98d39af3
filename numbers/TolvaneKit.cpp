#include "numbers/TolvaneKit.h"

#include <cmath>

#include "numbers/rounding.h"
#include "numbers/services.h"

using namespace tolvane::detail;

double pow2(int n) {
    return rounding::scaleByPowerOfTwo(1.0, n);
}

int exactlog2(int n) {
    int exponent = 0;
    // As a double, so that the magnitude of the most negative integer exists.
    const double mantissa = std::frexp(std::fabs(static_cast<double>(n)), &exponent);
    if (mantissa != 0.5) {
        raise("fixedpoint:exactlog2:exactpower", "Must be an exact power of 2.");
    }
    return exponent - 1;
}

namespace TolvaneKit {

double mod(double x, double y) {
    if (y == 0.0) {
        return x;
    }
    if (!std::isfinite(x) || !std::isfinite(y)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    return y == rounding::roundFloor(y) ? rounding::modWhole(x, y) : rounding::modFractional(x, y);
}

double convergent(double x) {
    return rounding::ConvergentRule::apply(x);
}
double convergent(double x, int n) {
    return rounding::applyAtBit<rounding::ConvergentRule>(x, n);
}
double ceil(double x, int n) {
    return rounding::applyAtBit<rounding::CeilRule>(x, n);
}
double floor(double x, int n) {
    return rounding::applyAtBit<rounding::FloorRule>(x, n);
}
double fix(double x, int n) {
    return rounding::applyAtBit<rounding::FixRule>(x, n);
}
double round(double x, int n) {
    return rounding::applyAtBit<rounding::RoundRule>(x, n);
}

}  // namespace TolvaneKit
