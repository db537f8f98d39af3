// A line of a program: what std::source_location says, for compilers that don't have it, and with one layout for all.
#pragma once

#include <cstdint>
#include <version>

#ifdef __cpp_lib_source_location
#include <source_location>
#endif

namespace tolvane {

/// Where a call stands in a program. Functions take it as a defaulted last parameter, which is the line of their
/// caller; a function that passes its own caller's on has the same parameter.
class code_location {
 public:
    /// An unknown one.
    constexpr code_location() = default;
#ifdef __cpp_lib_source_location
    constexpr code_location(const std::source_location& where)  // NOLINT(google-explicit-constructor)
        : mFile(where.file_name()), mFunction(where.function_name()), mLine(where.line()) {}
#endif
    /// Call it without arguments.
    static constexpr code_location current(const char* file = __builtin_FILE(),
                                           const char* function = __builtin_FUNCTION(),
                                           std::uint32_t line = __builtin_LINE()) {
        code_location here;
        here.mFile = file;
        here.mFunction = function;
        here.mLine = line;
        return here;
    }

    /// Empty if unknown.
    constexpr const char* file_name() const noexcept {
        return mFile;
    }
    constexpr const char* function_name() const noexcept {
        return mFunction;
    }
    /// From 1 on, or 0 if unknown.
    constexpr std::uint32_t line() const noexcept {
        return mLine;
    }

 private:
    const char* mFile = "";
    const char* mFunction = "";
    std::uint32_t mLine = 0;
};

}  // namespace tolvane
