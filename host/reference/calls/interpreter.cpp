// Calls of host functions by name: the table, the trap, the error mode and the last error.
#include <algorithm>
#include <map>
#include <memory>
#include <utility>

#include "host/ErrorIdException.h"
#include "host/hi.h"
#include "host/hsc.h"
#include "host/reference/calls/boundary.h"
#include "host/reference/calls/builtins.h"
#include "host/reference/calls/format.h"
#include "host/reference/functions.h"
#include "host/reference/values/caught_error.h"
#include "host/reference/values/turn.h"

namespace hostref {

namespace {

/// The type of the host's own functions.
using Plain = std::vector<hvArrayOwner> (*)(int resultCount, std::span<const hvArray* const> arguments);

struct Interpreter {
    std::map<std::string, Function, std::less<>> functions = builtinFunctions();
    const std::map<std::string, Function, std::less<>> ownFunctions = functions;
    LastError lastError;
    bool isTrapping = false;
    int errorMode = 0;
};

// Never destroyed: modules may call into it while they are stopped at the end of the process.
Interpreter& interpreter() {
    static Interpreter& instance = *new Interpreter;
    return instance;
}

void callInto(const std::string& name, int resultCount, hvArray** results, int argumentCount, hvArray** arguments) {
    const auto count = static_cast<std::size_t>(std::max(argumentCount, 0));
    std::vector<hvArrayOwner> owners = callFunction(name, resultCount, {arguments, count});
    // A function may return one value that wasn't requested.
    for (std::size_t i = 0; i < static_cast<std::size_t>(std::max(resultCount, 0)); ++i) {
        results[i] = owners[i].release();
    }
}

int noteFailure(LastError error) {
    const std::string text = "Error: " + error.message + "\n";
    setLastError(std::move(error));
    if (interpreter().errorMode == 0) {
        // A listener may also throw.
        withoutErrors([&text] { print(text); });
    }
    return 1;
}

/// Runs an action; any error is kept as the last error, with status 1.
template <class Action>
int runTrapped(Action&& action) {
    try {
        const CallBoundary boundary;
        std::forward<Action>(action)();
        return 0;
    } catch (...) {
        return noteFailure(caughtError());
    }
}

}  // namespace

Function registerFunction(const std::string& name, Function function) {
    const Turn turn;
    auto& functions = interpreter().functions;
    Function old = std::exchange(functions[name], std::move(function));
    if (!functions[name]) {
        functions.erase(name);
    }
    return old;
}

bool hasTableFunction(std::string_view name) {
    return interpreter().functions.contains(name);
}

std::vector<hvArrayOwner> runTableFunction(std::string_view name, int resultCount,
                                           std::span<const hvArray* const> arguments) {
    const auto found = interpreter().functions.find(name);
    if (found == interpreter().functions.end()) {
        raiseError("VELMAR:UndefinedFunction", "Undefined function '" + std::string(name) + "'.");
    }
    // A copy, because a function may replace itself in the table.
    const Function function = found->second;
    return function(resultCount, arguments);
}

CallBoundary::CallBoundary()
    : mIsTrapping(std::exchange(interpreter().isTrapping, false)), mErrorMode(interpreter().errorMode) {}

CallBoundary::~CallBoundary() {
    interpreter().isTrapping = mIsTrapping;
    interpreter().errorMode = mErrorMode;
}

const LastError& lastError() {
    return interpreter().lastError;
}

void setLastError(LastError error) {
    const Turn turn;
    interpreter().lastError = std::move(error);
}

}  // namespace hostref

int hscCallVELMAR(int resultCount, hvArray** results, int argumentCount, hvArray** arguments, const char* name) {
    if (hostref::interpreter().isTrapping) {
        return hiCallFcnWithTrap(resultCount, results, argumentCount, arguments, name);
    }
    hostref::callInto(name, resultCount, results, argumentCount, arguments);
    return 0;
}

bool hiIsOwnFunction(const char* name) {
    const auto find = [name](const auto& functions) -> const hostref::Plain* {
        const auto found = functions.find(std::string_view(name));
        return found == functions.end() ? nullptr : found->second.template target<hostref::Plain>();
    };
    const hostref::Plain* const now = find(hostref::interpreter().functions);
    const hostref::Plain* const own = find(hostref::interpreter().ownFunctions);
    return now != nullptr && own != nullptr && *now == *own;
}

void hscSetTrapFlag(int flag) {
    hostref::interpreter().isTrapping = flag != 0;
}

int hvSetErrorMode(int mode) {
    return std::exchange(hostref::interpreter().errorMode, mode);
}

int hiCallFcnWithTrap(int resultCount, hvArray** results, int argumentCount, hvArray** arguments, const char* name) {
    return hostref::runTrapped([&] { hostref::callInto(name, resultCount, results, argumentCount, arguments); });
}

void hiFullFevalFcn(int resultCount, hvArray** results, int argumentCount, hvArray** arguments) {
    if (argumentCount < 1) {
        hvErrMsg(2);
    }
    hostref::callInto(hvArray2String(arguments[0]), resultCount, results, argumentCount - 1, arguments + 1);
}
