// What a session's call was answered with when it failed.
#pragma once

#include <gtest/gtest.h>

#include <utility>

#include "host/reference/HostError.h"
#include "tests/support/errors.h"

/// What an action threw as a HostError; two empty texts when it threw nothing.
template <class Action>
Raised thrownBy(Action&& action) {
    try {
        std::forward<Action>(action)();
    } catch (const hostref::HostError& error) {
        EXPECT_EQ(error.message(), error.what());
        return {error.id(), error.message()};
    }
    return {};
}
