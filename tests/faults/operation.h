// Operations that are tried with failing allocations, and how they are told apart afterwards.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
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
    /// Puts back what processes share: the files that an earlier try may have changed.
    virtual void reset() {}
    /// Brings what the system keeps of its last call, such as the text of an error, into a state that never differs.
    virtual void settle() {}
    /// Whether an operation may end with this error where memory runs out.
    virtual bool mayRaise(const std::string& id) const = 0;
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

/// A temporary folder, removed by the process that made it.
class Folder {
 public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return mPath; }
    /// All files with what they hold.
    std::string text() const;
    /// Keeps the files that are there, for `reset` to bring back.
    void keep();
    void reset() const;

 private:
    std::map<std::string, std::string> contents() const;

    std::string mPath;
    int mOwner;
    std::map<std::string, std::string> mKept;
};

Operations programOperations();
Operations hostOperations();
Operations fileOperations();

}  // namespace faults
