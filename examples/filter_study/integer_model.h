// The filter in integers, as hardware computes it, sharing no code with the library: the reference for bit-for-bit
// comparison of its output and counts.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "examples/filter_study/Arithmetic.h"

namespace filterstudy {

struct ModelOutput {
    std::vector<std::int64_t> words;       // stored integers of the output
    std::uint64_t productOverflows = 0;    // products outside their word
    std::uint64_t sumOverflows = 0;        // partial sums outside their word
    std::uint64_t loggedSumOverflows = 0;  // the number the log of a convolution gives for them, see below
};

/// Returns the stored integers of finite values rounded to nearest (ties up) and saturated.
std::vector<std::int64_t> storedIntegers(std::span<const double> values, Word word);

/// Returns the central part of the convolution. Each product is rounded and bounded, then each partial sum, in the
/// order of rising samples. Words have at most 54 bits, and the fractions of a product, its full form and the sum lie
/// within 64 of one another.
///
/// The log of a convolution adds the running count of its register after every output, so an early overflow is counted
/// once for each output that follows: `loggedSumOverflows`.
ModelOutput integerFilter(std::span<const std::int64_t> data, std::span<const std::int64_t> coefficients,
                          const Arithmetic& arithmetic);

}  // namespace filterstudy
