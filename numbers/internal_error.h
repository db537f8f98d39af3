// Errors that mark a broken invariant of the library rather than a mistake by its user.
//
// Each such message ends with the same request to report the fault.
#pragma once

#include <string>
#include <utility>

#include "numbers/services.h"

namespace tolvane::detail {

inline constexpr char kInternalErrorTrailer[] =
    " This is an internal error of the Tolvane engine. Please report it together with the steps that led to it.";

/// Raises an error whose message is `message` followed by the trailer.
[[noreturn]] inline void raiseInternalError(std::string id, const std::string& message) {
    raise(std::move(id), message + kInternalErrorTrailer);
}

}  // namespace tolvane::detail
