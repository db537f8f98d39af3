// For tests that leave state behind: in a class, in a module, in a table of the process.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

/// Runs a body in its own process, which must end without a failure or a leak.
inline void inOwnProcess(const std::function<void()>& body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            body();
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}
