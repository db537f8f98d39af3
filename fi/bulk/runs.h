// Sums of products by runs: one lane for each result, all of which take the same term at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "fi/bulk/lane_loops.h"
#include "fi/bulk/matrix.h"
#include "fi/bulk/range_machine.h"

namespace tolvane::detail::arraymatrix {

/// How results are computed.
struct Plan {
    explicit Plan(const Quantizers& q);

    const Quantizers& quantizers;
    // In any order; by loops; by the quantizers themselves; with statistics that no loop takes.
    enum class Way { exact, loops, quantizers, none };
    Way way = Way::quantizers;
    bool isPair = false;
    bool counts;
    bool hasOneZero = false;  // no step meets a negative zero
    laneloops::Places places;
};

/// The plan for sums of products; of pairs of them, where both operands are complex.
Plan planFor(const Range& left, const Range& right, std::uint64_t terms, bool isPair, const Quantizers& q);

using Buffer = std::unique_ptr<double[]>;

Buffer bufferOf(std::size_t count);

/// Lays lanes side by side, term after term, `kLaneMultiple` apart; the lanes that fill up the last vector are zero.
/// Lane i of term t is values[i * laneStep + t * termStep].
void pack(const double* values, std::ptrdiff_t laneStep, std::ptrdiff_t termStep, std::size_t lanes, std::size_t terms,
          double* panel);

/// The factors of a run, a step apart from term to term. `imag` is null for real ones.
struct Factors {
    const double* real;
    const double* imag;
    std::ptrdiff_t step;
};

/// Computes sums over the terms of a run. `moving` has a factor for each lane, `fixed` one for all; see laneloops::Run
/// for reads beyond the lanes, and laneloops::Extent for the lanes that take part. `notes` is null where nothing is
/// counted.
void computeSums(const Plan& plan, const Factors& moving, const Factors& fixed, std::size_t terms,
                 const laneloops::Extent* extent, std::size_t lanes, const Result& sums, laneloops::RunNotes* notes);

}  // namespace tolvane::detail::arraymatrix
