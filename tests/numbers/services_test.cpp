#include "numbers/services.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "numbers/mpnumber.h"
#include "numbers/number.h"
#include "numbers/tags.h"
#include "tests/support/errors.h"

namespace {

using tolvane::detail::Services;
using tolvane::detail::setServices;

/// What the table below was asked for.
struct Asked {
    std::map<void*, std::size_t> blocks;
    std::size_t allocations = 0;
    std::vector<std::string> printed;
    std::vector<std::string> warnings;
    bool hasMemory = true;
};
Asked asked;
const Services* before = nullptr;

void* note(void* block, std::size_t bytes) {
    ++asked.allocations;
    asked.blocks.emplace(block, bytes);
    return block;
}

/// Puts a table in force that notes what it is asked for, and leaves the rest to the one before.
class ServicesTest : public testing::Test {
 protected:
    ServicesTest() {
        asked = {};
        before = &setServices(mTable);
        mTable = *before;
        mTable.allocate = [](std::size_t bytes) {
            return asked.hasMemory ? note(before->allocate(bytes), bytes) : nullptr;
        };
        mTable.allocateZeros = [](std::size_t bytes) {
            return asked.hasMemory ? note(before->allocateZeros(bytes), bytes) : nullptr;
        };
        mTable.release = [](void* block) {
            EXPECT_TRUE(block == nullptr || asked.blocks.erase(block) == 1) << "not allocated, or twice released";
            before->release(block);
        };
        mTable.print = [](const std::string& text) { asked.printed.push_back(text); };
        mTable.warn = [](const std::string& id, const std::string& text) {
            asked.warnings.push_back(id + ": " + text);
        };
    }
    ~ServicesTest() override { setServices(*before); }

 private:
    Services mTable{};
};

TEST_F(ServicesTest, ArraysReleaseWhatTheyAllocate) {
    for (const unsigned precision : {16U, 80U, 3000U}) {
        asked.allocations = 0;
        {
            number values(40, precision, embeddedNumberTags::NumberVector::tag);
            for (std::uint64_t i = 0; i < 40; ++i) {
                values[i] = static_cast<double>(i) / 3.0;
            }
            number copy(values, embeddedNumberTags::NumberVector::tag);
            copy.resize(70);
            copy[69] = copy[3].todouble() + values[7].todouble();
            values = copy;
        }
        EXPECT_GT(asked.allocations, 0U) << precision;
        EXPECT_TRUE(asked.blocks.empty()) << precision;
    }
}

TEST_F(ServicesTest, NoMemoryIsAnErrorThatChangesNothing) {
    for (const unsigned precision : {16U, 80U}) {
        number values(3, precision, embeddedNumberTags::NumberVector::tag);
        values[2] = 5.0;
        asked.hasMemory = false;
        EXPECT_EQ(raisedBy([&] { values.resize(1000); }).id, "fixedpoint:fi:outofmemory");
        asked.hasMemory = true;
        EXPECT_EQ(values.numel(), 3U);
        EXPECT_EQ(values[2].todouble(), 5.0);
    }
}

TEST_F(ServicesTest, TextOfAnyLengthIsPrintedInOneCall) {
    const std::string text(5000, 'x');
    tolvane::detail::print("%s|%d", text.c_str(), 7);
    tolvane::detail::print("%s", "");
    EXPECT_EQ(asked.printed, (std::vector<std::string>{text + "|7", ""}));
}

TEST_F(ServicesTest, AWarningTellsTheWordLength) {
    mpnumber(0.0).base2fixed("1111", 2, 3, 0, false);
    EXPECT_EQ(asked.warnings, std::vector<std::string>{
                                  "fixedpoint:base2fixed:too_many_bits: The word length of the fi object is shorter "
                                  "than the number of bits you were trying to assign. Only the 3 "
                                  "least-significant bits were used."});
}

}  // namespace
