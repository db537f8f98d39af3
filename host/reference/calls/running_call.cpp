#include "host/reference/calls/running_call.h"

#include "host/om.h"
#include "host/reference/values/caught_error.h"

namespace hostref {

namespace {

const RunningCall* innermost = nullptr;
/// A getter that warns isn't called again for that warning.
bool isAsking = false;

/// The text of a property, read by the host itself and without its events; empty if it has none.
std::string textIn(OMInterface& interface, OMPropInfo& property) {
    isAsking = true;
    const struct End {
        ~End() { isAsking = false; }
    } end;
    try {
        const Value text = readProperty(interface, property, OMDatabaseClient::getInternalClient());
        return text.isArray() && hvIsChar(text.array()) ? hvArray2String(text.array()) : std::string();
    } catch (...) {
        // A warning is sent with or without it.
        static_cast<void>(caughtError());
        return {};
    }
}

}  // namespace

RunningCall::RunningCall(std::span<const Argument> arguments) noexcept : mArguments(arguments), mOuter(innermost) {
    innermost = this;
}

RunningCall::~RunningCall() {
    innermost = mOuter;
}

std::string RunningCall::tagLine() {
    if (innermost == nullptr || isAsking) {
        return {};
    }
    for (const Argument& argument : innermost->mArguments) {
        OMPropInfo* const property =
            argument.interface == nullptr ? nullptr : argument.interface->getClass()->getProperty("Tag");
        if (property != nullptr && property->isExternalGetAccess()) {
            const std::string tag = textIn(*argument.interface, *property);
            return tag.empty() ? tag : "\nTag: " + tag;
        }
    }
    return {};
}

}  // namespace hostref
