// Operations that are tried with failing allocations, and how they are told apart afterwards.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace faults {

/// One operation on its operands. Texts stand for values: equal texts mean equal values, types and marks.
class State {
 public:
    State() = default;
    virtual ~State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    /// Runs the operation and keeps its result.
    virtual void run() = 0;
    virtual std::string result() = 0;
    /// Frees the result.
    virtual void drop() = 0;
    /// All that a failed run must leave as it was.
    virtual std::string operands() = 0;
    /// Brings what the system keeps of its last call, such as the text of an error, into a state that never differs.
    virtual void settle() {}
    /// Whether an error means that memory ran out. An error that the operation raises anyway is never asked for.
    virtual bool isLackOfMemory(const std::string& id) const = 0;
};

/// A row of the table.
struct Operation {
    std::string group;
    std::string name;
    /// Makes the operands; a draw is one choice of them. Called in a process of the operation's own.
    std::function<std::unique_ptr<State>(std::uint64_t draw)> make;
    /// How many draws are looked through for some that give a result.
    std::uint64_t draws = 1;
    /// Whether it runs before a try: what is made once in a process is then there.
    bool isWarm = true;
};

using Operations = std::vector<Operation>;

/// The id of the error being handled, "" if it has none. Frees it.
std::string idOfCaught();

/// An operation on operands of any kind. `tell` makes a text of the operands and of a result.
template <class Operands, class Run, class Tell>
class PlainState : public State {
 public:
    using Result = std::invoke_result_t<Run, Operands&>;

    PlainState(Operands operands, Run run, Tell tell)
        : mOperands(std::move(operands)), mRun(std::move(run)), mTell(std::move(tell)) {}

    void run() override { mResult = std::make_unique<Result>(mRun(mOperands)); }
    std::string result() override { return mResult ? mTell(*mResult) : "nothing"; }
    void drop() override { mResult.reset(); }
    std::string operands() override { return mTell(mOperands); }
    bool isLackOfMemory(const std::string& id) const override { return id == "std::bad_alloc"; }

 private:
    Operands mOperands;
    Run mRun;
    Tell mTell;
    std::unique_ptr<Result> mResult;
};

Operations programOperations();
Operations hostOperations();
Operations fileOperations();

}  // namespace faults
