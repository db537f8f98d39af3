#include "turns.h"

#include <pythread.h>
#include <unistd.h>

#include <chrono>

namespace tolvane::python {

namespace {

using Clock = std::chrono::steady_clock;

// All of these belong to Python's lock.
const Work* sComputing = nullptr;  // without Python's lock
unsigned long sComputingThread = 0;
int sWaiting = 0;
PyThread_type_lock sLock = nullptr;  // is held while something computes

thread_local Work* sWorkOfThread = nullptr;
thread_local Clock::time_point sSignalsAsked;

/// Whether signals are handled on this thread.
bool isMainThread() {
    return gettid() == getpid();
}

void raiseOnSignals() {
    if (PyErr_CheckSignals() != 0) {
        throw py::error_already_set();
    }
}

constexpr std::chrono::milliseconds kBetweenSignals{20};

/// Whether it is time for Python to handle signals.
bool areSignalsDue() {
    if (!isMainThread()) {
        return false;
    }
    const Clock::time_point now = Clock::now();
    if (now - sSignalsAsked < kBetweenSignals) {
        return false;
    }
    sSignalsAsked = now;
    return true;
}

bool isOthersTurn() {
    return sComputing != nullptr && sComputingThread != PyThread_get_thread_ident();
}

/// Waits until no other thread computes; those that wait already go first.
void awaitTurn() {
    constexpr PY_TIMEOUT_T kMicroseconds = std::chrono::microseconds(kBetweenSignals).count();
    const struct Waiting {
        Waiting() { ++sWaiting; }
        ~Waiting() { --sWaiting; }
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;
    } waiting;
    do {
        PyThreadState* const state = PyEval_SaveThread();
        if (PyThread_acquire_lock_timed(sLock, kMicroseconds, 0) == PY_LOCK_ACQUIRED) {
            PyThread_release_lock(sLock);
        }
        PyEval_RestoreThread(state);
        if (isMainThread()) {
            raiseOnSignals();
        }
    } while (isOthersTurn());
}

}  // namespace

void awaitTurnIfNeeded() {
    const bool isNested = sComputing != nullptr && !isOthersTurn();
    if (!isNested && (sComputing != nullptr || sWaiting > 0)) {
        awaitTurn();
    }
}

bool askPython() {
    if (Work* const work = sWorkOfThread) {
        work->takeTurn();
        work->askForSignals();
    } else if (PyGILState_Check() == 1 && areSignalsDue()) {
        raiseOnSignals();
    }
    return false;
}

namespace {

/// The engine asks this on every thread that has worked.
void letEngineAsk() {
    thread_local const interruption sInterruption(askPython);
    (void)sInterruption;
}

}  // namespace

Work::Work() : mOuter(sWorkOfThread) {
    letEngineAsk();
    if (mOuter == nullptr) {
        awaitTurnIfNeeded();
        sWorkOfThread = this;
    }
}

Work::~Work() {
    if (mState != nullptr) {
        PyEval_RestoreThread(mState);
    }
    if (mHasTurn) {
        sComputing = nullptr;
        PyThread_release_lock(sLock);
    }
    sWorkOfThread = mOuter;
}

void Work::takeTurn() {
    // In a signal handler the turn is this thread's already.
    if (mHasTurn || sComputing != nullptr) {
        return;
    }
    sComputing = this;
    sComputingThread = PyThread_get_thread_ident();
    PyThread_acquire_lock(sLock, WAIT_LOCK);  // those who wait give it back at once
    mHasTurn = true;
    mState = PyEval_SaveThread();
}

void Work::askForSignals() {
    if (!areSignalsDue()) {
        return;
    }
    if (mState != nullptr) {
        PyEval_RestoreThread(std::exchange(mState, nullptr));
    }
    // A handler may compute, too.
    Work* const work = std::exchange(sWorkOfThread, nullptr);
    const int raised = PyErr_CheckSignals();
    sWorkOfThread = work;
    if (raised != 0) {
        throw py::error_already_set();
    }
    if (mHasTurn) {
        mState = PyEval_SaveThread();
    }
}

Writing::Writing() : mOuter(sWorkOfThread) {
    awaitTurnIfNeeded();
    if (sComputing != nullptr) {
        throw std::runtime_error(
            "A signal handler can't write arrays while a computation is interrupted. Set a flag, and write "
            "afterwards.");
    }
    sWorkOfThread = nullptr;
}

Writing::~Writing() {
    sWorkOfThread = mOuter;
}

void bindTurns(py::module_& module) {
    sLock = PyThread_allocate_lock();
    if (sLock == nullptr) {
        throw std::bad_alloc();
    }
    letEngineAsk();
    // What another thread computes goes on in the parent alone.
    const auto forget = [] {
        if (isOthersTurn()) {
            sComputing = nullptr;
            sLock = PyThread_allocate_lock();
        }
        sWaiting = 0;
    };
    (void)module;
    py::module_::import("os").attr("register_at_fork")(py::arg("after_in_child") = py::cpp_function(forget));
}

}  // namespace tolvane::python
