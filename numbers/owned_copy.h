// Copies of what a pointer owns.
#pragma once

#include <memory>

namespace tolvane::detail {

/// A copy of the object, or null for null.
template <class T>
std::unique_ptr<T> copyOf(const std::unique_ptr<T>& source) {
    return source ? std::make_unique<T>(*source) : nullptr;
}

}  // namespace tolvane::detail
