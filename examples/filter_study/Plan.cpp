#include "examples/filter_study/Plan.h"

#include <algorithm>
#include <cmath>

#include "examples/studies/stored_word.h"

namespace filterstudy {

Plan::Plan(std::span<const double> samples, std::span<const double> coefficients, Round round, Overflow overflow)
    : mTerms(std::min(samples.size(), coefficients.size())), mRound(round), mOverflow(overflow) {
    const auto rangeOf = [](std::span<const double> values) {
        const auto [low, high] = std::minmax_element(values.begin(), values.end());
        return Range{*low, *high};
    };
    mCoefficients = rangeOf(coefficients);
    mData = rangeOf(samples);
    double magnitudes = 0.0;
    for (const double coefficient : coefficients) {
        magnitudes += std::fabs(coefficient);
    }
    const double bound = std::max(-mData.smallest, mData.greatest) * magnitudes;
    mSums = {-bound, bound};
}

Word Plan::wordFor(Range range, int bits) {
    return {bits, study::coveringFraction(range.smallest, range.greatest, study::Kind::Signed, bits, Round::Nearest)};
}

Arithmetic Plan::exact(int coefficientBits, int dataBits) const {
    Arithmetic arithmetic;
    arithmetic.coefficient = wordFor(mCoefficients, coefficientBits);
    arithmetic.data = wordFor(mData, dataBits);
    arithmetic.round = mRound;
    arithmetic.overflow = mOverflow;
    return arithmetic;
}

Arithmetic Plan::shortened(int coefficientBits, int dataBits, int productBits, int sumBits) const {
    Arithmetic arithmetic = exact(coefficientBits, dataBits);
    if (productBits != 0) {
        arithmetic.product = {Keep::Msb, {productBits, 0}};
    }
    if (sumBits != 0) {
        arithmetic.sum = {Keep::Specified, wordFor(mSums, sumBits)};
    }
    return arithmetic;
}

}  // namespace filterstudy
