// The error of the interface for programs.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace tolvane {

/// What went wrong, as a text for people, and an id for programs that tell errors apart, "tolvane:format:text".
class error : public std::runtime_error {
 public:
    error(std::string id, const std::string& text) : std::runtime_error(text), mId(std::move(id)) {}
    const std::string& id() const noexcept { return mId; }

 private:
    std::string mId;
};

}  // namespace tolvane
