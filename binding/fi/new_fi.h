// Methods that return the new array made by an operation of the first argument.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "binding/fi/FiOMClass.h"
#include "binding/frame/methods.h"
#include "fi/fi.h"
#include "logging/reports.h"

namespace tolvane::detail {

inline std::unique_ptr<fi> owned(fi* made) {
    return std::unique_ptr<fi>(made);
}
inline std::unique_ptr<fi> owned(fi& made) {
    return owned(&made);
}

inline void giveFi(const MethodCall& call, std::unique_ptr<fi> made) {
    call.give(FiOMClass::wrap(std::move(made)));
}

/// As giveFi, after a report of the changes in the log of the new array.
inline void giveReported(const MethodCall& call, std::unique_ptr<fi> made, const reports::OperationName& operation) {
    reports::report(made->getQlogger(), operation);
    giveFi(call, std::move(made));
}

/// Returns the result of a member of `fi` for one array.
template <auto operation>
void giveNewFi(const MethodCall& call) {
    giveFi(call, owned(std::invoke(operation, call.object<fi>(0))));
}

}  // namespace tolvane::detail
