// From word lengths to whole arithmetics: the choice of the binary points.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "examples/filter_study/Arithmetic.h"

namespace filterstudy {

/// The longest word that a double represents exactly.
inline constexpr int kExactBits = 53;

/// Coefficients and data get the finest fraction that holds their peaks. Products keep their most significant bits.
/// Sums get the finest fraction that holds the greatest partial sum that data of that peak can produce: the peak times
/// the sum of the coefficients' magnitudes.
class Plan {
 public:
    Plan(std::span<const double> samples, std::span<const double> coefficients, Round round, Overflow overflow);

    /// Products and sums in full.
    Arithmetic exact(int coefficientBits, int dataBits) const;
    /// Products and sums of the given word lengths; 0 means in full.
    Arithmetic shortened(int coefficientBits, int dataBits, int productBits, int sumBits) const;

    std::size_t terms() const { return mTerms; }
    int costOf(const Arithmetic& arithmetic) const { return filterstudy::costOf(arithmetic, mTerms); }

 private:
    struct Range {
        double smallest;
        double greatest;
    };
    static Word wordFor(Range range, int bits);

    Range mCoefficients;
    Range mData;
    Range mSums;
    std::size_t mTerms;
    Round mRound;
    Overflow mOverflow;
};

/// The lengths to try; products and sums in full are always tried as well.
struct Grid {
    std::vector<int> coefficients;
    std::vector<int> data;
    std::vector<int> products;
    std::vector<int> sums;
};

}  // namespace filterstudy
