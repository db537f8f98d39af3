// Comparisons of whole arrays where one has words of many bits.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "descriptors/NumericType.h"
#include "fi/bulk/compare_loops.h"
#include "fi/bulk/wide_operands.h"
#include "numbers/number.h"

namespace tolvane::detail::wide {

/// One part of an operand; null entries are zeros.
struct Compared {
    const number* entries;
    const EmbeddedTypeSystem::NumericType& type;
    bool isScalar;
};

/// Two parts of `count` elements on one scale.
class Comparison {
 public:
    /// Gives nothing if neither part has words, or array code can't compare them.
    static std::optional<Comparison> of(const Compared& left, const Compared& right, std::uint64_t count);
    /// Sets or joins a flag for each element.
    void run(compareloops::Relation relation, compareloops::Join join, std::uint8_t* out);
    /// The first element that differs, or the count; without scalars.
    std::uint64_t firstDifference();

 private:
    Comparison(Source left, Source right, std::uint64_t count)
        : mLeft(std::move(left)), mRight(std::move(right)), mCount(count) {}
    /// Calls `run(begin, length, shape, left, right)` for words of one grid, all at once or by blocks.
    template <class Run>
    void byGrid(const Run& run);

    Source mLeft;
    Source mRight;
    std::uint64_t mCount;
};

}  // namespace tolvane::detail::wide
