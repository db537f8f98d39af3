// Runs operations with each of their allocations failing once, in processes of their own, and judges what comes of it.
#pragma once

#include <cstdint>
#include <string>

#include "tests/faults/operation.h"

namespace faults {

struct Options {
    /// Only operations whose "group name" has this text in it.
    std::string only;
    /// Of the allocations of an operation, one in so many is tried; the first one depends on the seed.
    std::uint64_t every = 1;
    std::uint64_t seed = 1;
    /// No more of one operation than this.
    std::uint64_t most = 2000;
    /// Sets of operands that are tried of each operation.
    int sets = 2;
    /// Instead of failing once, memory stays short: so many limits between nothing and what the operation needs.
    std::uint64_t limits = 0;
    bool showsRows = false;
    int shownFailures = 40;
};

/// Prints a table and the failures; returns how many there were.
std::uint64_t runTrials(const Operations& operations, const Options& options);

}  // namespace faults
