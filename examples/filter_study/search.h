// Which words are the cheapest that keep a wanted ratio.
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

/// Returns the cheapest arithmetic of the grid that keeps the ratio, by `costOf`; among equals the first pair in order
/// of multiplier cells, then the shortest product. Nothing when none keeps it.
///
/// It is taken for granted that words which miss with all else in full miss with shorter others, too: pairs with
/// products and sums in full, products with sums in full, sums with products in full. `confirm` has the last word on
/// each find, so that `ratio` may look at a part of the signal.
std::optional<Arithmetic> cheapest(const Plan& plan, const Grid& grid, const std::vector<Pair>& pairs, double wantedDb,
                                   const Ratio& ratio, const Ratio& confirm);

}  // namespace filterstudy
