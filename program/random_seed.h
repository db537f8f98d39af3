// Stochastic rounding that can be repeated.
#pragma once

#include <cstdint>

#include "host/export.h"

namespace tolvane {

/// While it lives, what rounds stochastically on this thread takes its random numbers from a seed: an operation or a
/// variable that begins meanwhile has a sequence of its own, by the seed and by how many began before it. The innermost
/// seed counts. Without one, the sequences are the same in every run of a program that makes the same operations.
class TOLVANE_API random_seed {
 public:
    explicit random_seed(std::uint64_t seed);
    ~random_seed();
    random_seed(const random_seed&) = delete;
    random_seed& operator=(const random_seed&) = delete;

 private:
    std::uint64_t mBefore;
    bool mHadOne;
};

namespace detail {
/// Where the next sequence of random numbers starts.
std::uint64_t nextSeed();
}  // namespace detail

}  // namespace tolvane
