// Who computes when several threads of Python call the engine, and how signals end long work.
//
// A call begins with Python's lock (the GIL). When it has worked for about two milliseconds, the engine asks for the
// first time whether to go on; only then is Python's lock released and the one lock of this package taken, so that
// short calls pay for neither. Whoever wants to compute or to write an array meanwhile waits for that lock; Python code
// runs on. Since what is computed without Python's lock is always new memory, reading arrays needs no turn.
#pragma once

#include <Python.h>

#include <memory>
#include <utility>

#include "conversions.h"

namespace tolvane::python {

/// A piece of work that uses nothing of Python's. Begin and end it with Python's lock. One within another changes
/// nothing.
class Work {
 public:
    Work();
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    ~Work();

 private:
    friend bool askPython();
    void takeTurn();
    void askForSignals();

    Work* mOuter;
    PyThreadState* mState = nullptr;  // without Python's lock
    bool mHasTurn = false;
};

/// A piece of work that writes what others may read: it keeps Python's lock, and waits until nobody computes without
/// it. Raises RuntimeError in a signal handler that interrupts a computation.
class Writing {
 public:
    Writing();
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;
    ~Writing();

 private:
    Work* mOuter;
};

/// Waits while another thread computes, whose log would hear of what is quantized here. Raises what signals raise.
void awaitTurnIfNeeded();

/// Does `operation()` as work.
template <class Operation>
auto working(const Operation& operation) {
    const Work work;
    return operation();
}

/// Defines functions of a module. Those that have nothing of Python's among arguments and results are work as a whole.
class Functions {
 public:
    explicit Functions(py::module_& module) : mModule(module) {}

    template <class Function>
    void def(const char* name, Function&& function) const {
        using Signature = py::detail::function_signature_t<Function>;
        if constexpr (IsPlain<Signature>::value) {
            mModule.def(name, std::forward<Function>(function), py::call_guard<Work>());
        } else {
            mModule.def(name, std::forward<Function>(function));
        }
    }

 private:
    template <class T>
    static constexpr bool kIsPythons = std::is_base_of_v<py::handle, std::remove_cvref_t<T>>;
    template <class Signature>
    struct IsPlain;
    template <class Result, class... Arguments>
    struct IsPlain<Result(Arguments...)> : std::bool_constant<!kIsPythons<Result> && !(kIsPythons<Arguments> || ...)> {
    };

    py::module_& mModule;
};

void bindTurns(py::module_& module);

}  // namespace tolvane::python
