// The error of a failed session call.
#pragma once

#include <gtest/gtest.h>

#include <utility>

#include "host/reference/HostError.h"
#include "tests/support/errors.h"

/// The HostError thrown by an action; two empty texts if there was none.
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
