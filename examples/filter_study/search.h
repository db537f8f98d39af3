// The search for the cheapest words that meet a target ratio.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "examples/filter_study/Plan.h"

namespace filterstudy {

/// Returns the ratio of an arithmetic in dB.
using Ratio = std::function<double(const Arithmetic&)>;

struct Pair {
    int coefficientBits;
    int dataBits;
    double snrDb;  // with products and sums in full
};

/// Measures every pair of coefficient and data words of the grid, in the order of the grid, data varying fastest.
std::vector<Pair> measurePairs(const Plan& plan, const Grid& grid, const Ratio& ratio);

/// Returns the cheapest arithmetic of the grid that meets the ratio, by `costOf`; among equals the first pair in order
/// of multiplier cells, then the shortest product. Nothing if none meets it.
///
/// Assumes that words that miss the ratio with everything else in full also miss it with shorter others: pairs with
/// products and sums in full, products with sums in full, sums with products in full. `confirm` has the last word on
/// each candidate, so `ratio` may use only a part of the signal.
std::optional<Arithmetic> cheapest(const Plan& plan, const Grid& grid, const std::vector<Pair>& pairs, double wantedDb,
                                   const Ratio& ratio, const Ratio& confirm);

}  // namespace filterstudy
