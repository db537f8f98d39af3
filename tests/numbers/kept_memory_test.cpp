#include "numbers/kept_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using namespace tolvane::detail;

constexpr std::size_t kSize = std::size_t{1} << 20U;

TEST(KeptMemory, ServesTheNextResultsOfTheSameSizeAndNoOthers) {
    freeKept();
    const struct {
        std::size_t released;
        std::size_t asked;
        bool isSame;
    } rows[] = {
        {kSize, kSize, true},
        {kSize, kSize - kSize / 8, true},
        {kSize, kSize / 2, false},
        {kSize, 2 * kSize, false},
        {kLeastKeptBytes / 2, kLeastKeptBytes / 2, false},
        {kMostKeptBytes / 2, kMostKeptBytes / 2, true},
        {2 * kMostKeptBytes, 2 * kMostKeptBytes, false},
    };
    for (const auto& row : rows) {
        auto* const first = static_cast<char*>(allocateKept(row.released));
        std::memset(first, 1, std::min(row.released, kSize));
        releaseKept(first);
        auto* const zeros = static_cast<char*>(allocateKeptZeros(row.asked));
        EXPECT_EQ(std::count(zeros, zeros + row.asked, 0), static_cast<std::ptrdiff_t>(row.asked));
        // A block that wasn't taken is still kept.
        EXPECT_EQ(freeKept(), row.released >= kLeastKeptBytes && row.released <= kMostKeptBytes && !row.isSame);
        std::free(zeros);  // whatever it came from
    }
}

TEST(KeptMemory, IsBounded) {
    freeKept();
    constexpr std::size_t kLarge = kMostKeptBytes / 4;
    for (const std::size_t size : {kSize, kLarge}) {
        std::vector<void*> blocks(20);
        std::ranges::generate(blocks, [=] { return allocateKept(size); });
        std::ranges::for_each(blocks, releaseKept);
        // Taken back, those that were kept are among the old ones; the last released is one.
        std::size_t again = 0;
        std::vector<void*> next(4);
        for (void*& block : next) {
            block = allocateKept(size);
            again += std::ranges::count(blocks, block) != 0 ? 1U : 0U;
        }
        EXPECT_GE(again, 3U) << size;
        std::ranges::for_each(next, std::free);
        freeKept();
    }
    EXPECT_FALSE(freeKept());
}

TEST(KeptMemory, BelongsToOneThreadAtATime) {
    std::vector<std::thread> threads;
    for (unsigned char mark = 1; mark <= 4; ++mark) {
        threads.emplace_back([mark] {
            for (int i = 0; i < 300; ++i) {
                auto* const block = static_cast<unsigned char*>(allocateKept(kLeastKeptBytes));
                std::memset(block, mark, kLeastKeptBytes);
                ASSERT_EQ(std::count(block, block + kLeastKeptBytes, mark), std::ptrdiff_t{kLeastKeptBytes});
                releaseKept(block);
            }
        });
    }
    std::ranges::for_each(threads, [](std::thread& thread) { thread.join(); });
    freeKept();
}

}  // namespace
