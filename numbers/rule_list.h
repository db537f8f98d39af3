// A list of rules, from which tables of functions are made.
#pragma once

#include <array>
#include <cstddef>

namespace tolvane::detail {

/// Rules in the order of an enumeration of modes.
template <class... Rules>
struct RuleList {
    static constexpr std::size_t kCount = sizeof...(Rules);
    /// The array of what `make.operator()<Rule>()` gives for each rule.
    template <class Make>
    static constexpr auto table(Make make) {
        return std::array{make.template operator()<Rules>()...};
    }
    /// The place of a mode in the list. Modes are checked where they are set; an unknown one here is the last.
    template <class Mode>
    static constexpr std::size_t indexOf(Mode mode) {
        const auto index = static_cast<std::size_t>(mode);
        return index < sizeof...(Rules) ? index : sizeof...(Rules) - 1;
    }
    template <class Mode>
    static constexpr bool knows(Mode mode) {
        return static_cast<std::size_t>(mode) < sizeof...(Rules);
    }
};

}  // namespace tolvane::detail
