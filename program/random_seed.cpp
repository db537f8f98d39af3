#include "program/random_seed.h"

#include <atomic>
#include <utility>

#include "program/scalar_place.h"

namespace tolvane {

namespace {

struct ThreadSeed {
    bool isSet = false;
    std::uint64_t state = 0;
};
thread_local constinit ThreadSeed sSeed;

}  // namespace

random_seed::random_seed(std::uint64_t seed)
    : mBefore(std::exchange(sSeed.state, seed)), mHadOne(std::exchange(sSeed.isSet, true)) {}

random_seed::~random_seed() {
    sSeed = {mHadOne, mBefore};
}

std::uint64_t detail::nextSeed() {
    static std::atomic<std::uint64_t> sPlaces = 0;
    if (sSeed.isSet) {
        return nextRandom(sSeed.state);
    }
    std::uint64_t state = sPlaces.fetch_add(1, std::memory_order_relaxed);
    return nextRandom(state);
}

}  // namespace tolvane
