// Filters on plain integers of 64 or 128 bits, one section after the other.
//
// All sums of a section are in one unit. Coefficients are scaled so that products have it, or that of their place.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "program/filter_forms.h"
#include "program/scalar_place.h"

namespace tolvane::detail {

/// What loops are made for, beside any rules: places that add a constant, cut off bits, and saturate; the same where
/// products and sums wrap.
enum class LoopRule : std::uint8_t { any, saturate, wrapSums };

template <class Int>
struct LoopSection {
    filter_form form = filter_form::direct1;
    unsigned nodes = 0;  // a bit for each that has a format
    LoopRule rule = LoopRule::any;
    bool subtracts = false;  // products of a; without a place for them, their coefficients are negative instead
    bool hasGain = false;
    Int gain = 0;
    std::vector<Int> b;
    std::vector<Int> a;  // from a1 on
    std::array<std::vector<Int>, 2> delays;
    /// From a factor to a sum, and from sums to factors where no place does it.
    int termShift = 0;
    int factorShift = 0;
    int stateShift = 0;
    int outputShift = 0;
    std::array<NarrowPlace<Int>, kNodes> places;
    std::array<int, kNodes> up{};  // what brings words of products and sums to the unit of sums
};

/// Replaces the inputs of a section by what it gives.
void filterLoop(LoopSection<std::int64_t>& section, std::int64_t* samples, std::size_t count, bool isLogged);
void filterLoop(LoopSection<Int128>& section, Int128* samples, std::size_t count, bool isLogged);

}  // namespace tolvane::detail
