#include "examples/filter_study/search.h"

#include <algorithm>

namespace filterstudy {
namespace {

struct Candidate {
    Arithmetic arithmetic;
    int cost;
};

/// The lengths below that of the full word, shortest first, then 0 for the full word itself.
std::vector<int> lengthsUpTo(int fullBits, std::vector<int> lengths) {
    std::erase_if(lengths, [fullBits](int bits) { return bits >= fullBits; });
    std::sort(lengths.begin(), lengths.end());
    lengths.push_back(0);
    return lengths;
}

}  // namespace

std::vector<Pair> measurePairs(const Plan& plan, const Grid& grid, const Ratio& ratio) {
    std::vector<Pair> pairs;
    for (const int coefficientBits : grid.coefficients) {
        for (const int dataBits : grid.data) {
            pairs.push_back({coefficientBits, dataBits, ratio(plan.exact(coefficientBits, dataBits))});
        }
    }
    return pairs;
}

std::optional<Arithmetic> cheapest(const Plan& plan, const Grid& grid, const std::vector<Pair>& pairs, double wantedDb,
                                   const Ratio& ratio, const Ratio& confirm) {
    std::vector<Pair> keeping;
    for (const Pair& pair : pairs) {
        if (pair.snrDb >= wantedDb) {
            keeping.push_back(pair);
        }
    }
    std::stable_sort(keeping.begin(), keeping.end(), [](const Pair& a, const Pair& b) {
        return a.coefficientBits * a.dataBits < b.coefficientBits * b.dataBits;
    });

    std::optional<Candidate> best;
    for (const Pair& pair : keeping) {
        const auto arithmeticOf = [&](int productBits, int sumBits) {
            return plan.shortened(pair.coefficientBits, pair.dataBits, productBits, sumBits);
        };
        const auto isCheaper = [&](const Arithmetic& arithmetic) {
            return !best || plan.costOf(arithmetic) < best->cost;
        };
        const auto keeps = [&](const Arithmetic& arithmetic) { return ratio(arithmetic) >= wantedDb; };

        const Arithmetic full = arithmeticOf(0, 0);
        auto products = lengthsUpTo(productWord(full).bits, grid.products);
        auto sums = lengthsUpTo(sumWord(full, plan.terms()).bits, grid.sums);
        if (!isCheaper(arithmeticOf(products.front(), sums.front()))) {
            continue;
        }
        // The words in full are last and known to meet the ratio.
        products.erase(products.begin(), std::find_if(products.begin(), products.end() - 1,
                                                      [&](int bits) { return keeps(arithmeticOf(bits, 0)); }));
        sums.erase(sums.begin(),
                   std::find_if(sums.begin(), sums.end() - 1, [&](int bits) { return keeps(arithmeticOf(0, bits)); }));

        std::vector<Candidate> candidates;
        for (const int productBits : products) {
            for (const int sumBits : sums) {
                const Arithmetic arithmetic = arithmeticOf(productBits, sumBits);
                candidates.push_back({arithmetic, plan.costOf(arithmetic)});
            }
        }
        std::stable_sort(candidates.begin(), candidates.end(),
                         [](const Candidate& a, const Candidate& b) { return a.cost < b.cost; });
        for (const Candidate& candidate : candidates) {
            if (!isCheaper(candidate.arithmetic)) {
                break;
            }
            if (!keeps(candidate.arithmetic) || !(confirm(candidate.arithmetic) >= wantedDb)) {
                continue;
            }
            best = candidate;
            break;
        }
    }
    if (!best) {
        return std::nullopt;
    }
    return best->arithmetic;
}

}  // namespace filterstudy
