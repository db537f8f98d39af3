// An error as ordinary C++ code meets it: what the library raised by pointer, or the host itself, as a value.
//
// Session and Value throw nothing else; the ErrorIdException behind it is freed before it leaves them.
#pragma once

#include <stdexcept>
#include <string>

#include "host/export.h"

namespace hostref {

class TOLVANE_HOST_API HostError : public std::runtime_error {
 public:
    HostError(std::string id, const std::string& message);
    ~HostError() override;
    HostError(const HostError&) = default;
    HostError& operator=(const HostError&) = default;
    HostError(HostError&&) = default;
    HostError& operator=(HostError&&) = default;

    /// The identifier, such as "fixedpoint:fi:dimagree"; empty for an error without one.
    const std::string& id() const noexcept { return mId; }
    /// The message, as what() gives it.
    std::string message() const { return what(); }

 private:
    std::string mId;
};

}  // namespace hostref
