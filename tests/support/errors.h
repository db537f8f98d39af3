// Checks of errors, warnings and printed text, shared by all tests.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/ErrorIdException.h"
#include "host/reference/listeners.h"

/// The error raised by an action: id and message, or two empty texts if there was none.
struct Raised {
    std::string id;
    std::string message;
    bool operator==(const Raised&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const Raised& raised) {
    return out << '"' << raised.id << "\" \"" << raised.message << '"';
}

/// Runs the action and frees an error thrown by pointer.
template <class Action>
Raised raisedBy(Action&& action) {
    try {
        std::forward<Action>(action)();
    } catch (ErrorIdException* error) {
        const std::unique_ptr<ErrorIdException> owner(error);
        return {error->getId(), error->getMessage()};
    }
    return {};
}

/// Collects warnings and printed text for its lifetime, in place of the host's own listeners.
class HostCapture {
 public:
    struct Warning {
        std::string id;
        std::string text;
        bool operator==(const Warning&) const = default;
    };

    HostCapture()
        : mOldWarning(hostref::setWarningListener([this](const std::string& id, const std::string& text) {
              warnings.push_back({id, text});
          })),
          mOldPrint(hostref::setPrintListener([this](const std::string& text) { printed += text; })) {}
    ~HostCapture() {
        hostref::setWarningListener(mOldWarning);
        hostref::setPrintListener(mOldPrint);
    }
    HostCapture(const HostCapture&) = delete;
    HostCapture& operator=(const HostCapture&) = delete;

    std::vector<Warning> warnings;
    std::string printed;

 private:
    hostref::WarningListener mOldWarning;
    hostref::PrintListener mOldPrint;
};

inline std::ostream& operator<<(std::ostream& out, const HostCapture::Warning& warning) {
    return out << '"' << warning.id << "\" \"" << warning.text << '"';
}
