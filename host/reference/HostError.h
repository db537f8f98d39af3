// An error in the form for ordinary C++ code: an error raised by pointer by the library or the host, as a value.
//
// Session and Value throw nothing else; they free the underlying ErrorIdException first.
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
    /// The message, as what() returns it.
    std::string message() const { return what(); }

 private:
    std::string mId;
};

}  // namespace hostref
