// The interface to the host for programs, tests and bindings to other languages: load a module, make objects, call
// methods.
//
//     hostref::Session session;                             // loads and starts libtolvane.so
//     const Value a = session.construct("embedded.fi", {0.5});
//     const Value sum = session.call("plus", {a, 0.25});    // arrays and objects in any mix
//     sum.set("RoundMode", "floor");
//     for (const Warning& warning : session.takeWarnings()) ...
//
// A session turns errors that the library raises by pointer into HostError and frees them, converts arguments to the
// parameters of the selected signature and results back to values, collects printed text and warnings of its calls, and
// restores the trap flag and the error mode that the host has between commands.
//
// Names of classes, methods and properties are compared exactly. Objects belong to the host, not to a session, and may
// outlive it; modules stay loaded until the process ends and are then stopped. Any thread may use any session: calls of
// one thread wait for those of another. Output belongs to the session of the call, or to the one that a thread opened
// last where a value is used without one.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/export.h"
#include "host/reference/HostError.h"
#include "host/reference/Value.h"
#include "host/reference/functions.h"
#include "host/reference/saved_objects.h"

namespace hostref {

/// A module's entry points, for a program that is linked with it.
struct Module {
    std::string name;
    void (*start)() = nullptr;
    void (*stop)() = nullptr;
};

struct Warning {
    std::string id;
    std::string text;
    bool operator==(const Warning&) const = default;
};

/// How many bytes commands of a session may take for arrays. A command that needs more raises
/// "VELMAR:session:tooLarge" before the memory is taken.
struct Limits {
    /// All that one load takes, without what is freed on the way; unless it is set, 64 MiB and 128 bytes for each byte
    /// of the file. Raises "VELMAR:load:tooLarge".
    std::optional<std::uint64_t> loadBytes = std::nullopt;
    /// The memory of one array, 8 bytes for an element of up to 52 bits. No limit unless it is set.
    std::optional<std::uint64_t> resultBytes = std::nullopt;
    bool operator==(const Limits&) const = default;
};

/// One step of an access path: ".name", "(...)" or "{...}".
struct Subscript {
    std::string type;
    std::vector<Value> indices;
};
/// The step ".name".
inline Subscript dot(const std::string& name) {
    return {".", {Value(name)}};
}

/// The step "(i, j, ...)": numbers, rows of numbers, masks and colon() in any mix.
template <class... Index>
Subscript paren(Index&&... indices) {
    return {"()", {Value(std::forward<Index>(indices))...}};
}
/// The step "{i, j, ...}".
template <class... Index>
Subscript brace(Index&&... indices) {
    return {"{}", {Value(std::forward<Index>(indices))...}};
}
/// The index for all positions of a dimension.
inline Value colon() {
    return Value(":");
}

class Session;
/// A function of the host's language that is written on sessions. It takes the session that runs the call, the number
/// of requested results, and the arguments. It may return one result even if none is requested.
using SessionFunction =
    std::function<std::vector<Value>(Session& session, int resultCount, std::span<const Value> arguments)>;

class TOLVANE_HOST_API Session {
 public:
    enum class Start { now, later };

    /// Uses the module "tolvane": the one already in the process, otherwise libtolvane.so from the folder of the
    /// host library, or as found by the loader. Throws "VELMAR:module:notFound" with the loader's text.
    explicit Session(Start start = Start::now);
    /// Loads a module by its path. Its name, which is part of its entry points' names, is derived from the file name
    /// ("libzoo.so" is "zoo") unless one is given. Throws "VELMAR:module:notFound" or "VELMAR:module:noEntryPoint".
    explicit Session(const std::filesystem::path& file, std::string_view name = {}, Start start = Start::now);
    explicit Session(Module module, Start start = Start::now);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const std::string& moduleName() const { return mModule.name; }
    /// Calls the module's start entry point, which may do nothing on the second call.
    void start();
    /// Calls the module's stop entry point. Objects that are still held remain valid until they are released.
    void stop();
    /// Returns the address of an exported function of the loaded module, such as "QueryVLFcnTable_tolvane"; null if
    /// there is none.
    void* entryPoint(const std::string& name) const;

    /// Makes an object of a class by its full name. Throws "VELMAR:class:unknown", "VELMAR:class:notConstructible", or
    /// the error of the class.
    Value construct(std::string_view className, std::span<const Value> arguments);
    Value construct(std::string_view className, std::initializer_list<Value> arguments = {}) {
        return construct(className, std::span(arguments.begin(), arguments.size()));
    }
    /// Returns whether the class exists.
    bool hasClass(std::string_view className) const;

    /// Calls a method, or, if no argument is an object that has it, the host function of that name. Returns the first
    /// result, or the empty array if there is none.
    ///
    /// The method is that of the leftmost object whose class has one; objects after the first argument count only if
    /// the method's dispatch attribute is cleared. The first signature that accepts the arguments and returns the
    /// results is selected. A class-typed parameter accepts an object of the class or a descendant, and an empty array
    /// as null; an enumeration accepts a text or a value; "VELMAR array" accepts everything. Throws
    /// "VELMAR:class:unknownMethod", "VELMAR:method:noSignature", "VELMAR:tooManyOutputs", "VELMAR:UndefinedFunction",
    /// or the error raised by the code.
    Value call(std::string_view name, std::span<const Value> arguments);
    Value call(std::string_view name, std::initializer_list<Value> arguments = {}) {
        return call(name, std::span(arguments.begin(), arguments.size()));
    }
    /// As call, with a requested number of results; returns that many, except that there may be one if none is
    /// requested.
    std::vector<Value> call(int resultCount, std::string_view name, std::span<const Value> arguments);
    std::vector<Value> call(int resultCount, std::string_view name, std::initializer_list<Value> arguments = {}) {
        return call(resultCount, name, std::span(arguments.begin(), arguments.size()));
    }
    /// As call, for a static method, which is called by its class without an object.
    Value callStatic(std::string_view className, std::string_view name, std::span<const Value> arguments);
    Value callStatic(std::string_view className, std::string_view name, std::initializer_list<Value> arguments = {}) {
        return callStatic(className, name, std::span(arguments.begin(), arguments.size()));
    }
    std::vector<Value> callStatic(int resultCount, std::string_view className, std::string_view name,
                                  std::span<const Value> arguments);
    std::vector<Value> callStatic(int resultCount, std::string_view className, std::string_view name,
                                  std::initializer_list<Value> arguments = {}) {
        return callStatic(resultCount, className, name, std::span(arguments.begin(), arguments.size()));
    }

    /// Reads a property as the external client. Throws "VELMAR:class:unknownProperty", "VELMAR:class:noGetAccess", or
    /// what the property raises.
    Value get(const Value& object, std::string_view property);
    /// Writes a property as the external client, with its events before and after. Throws
    /// "VELMAR:class:unknownProperty", "VELMAR:class:noSetAccess", "VELMAR:datatype:badValue", or the error of the
    /// property.
    void set(const Value& object, std::string_view property, const Value& value);

    /// Runs "subsref" along the path: `session.index(a, {paren(2, colon())})`.
    Value index(const Value& value, std::span<const Subscript> path);
    Value index(const Value& value, std::initializer_list<Subscript> path) {
        return index(value, std::span(path.begin(), path.size()));
    }
    /// Runs "subsasgn" along the path and returns the new value of the variable. Assigning the empty array deletes.
    Value assign(const Value& value, std::span<const Subscript> path, const Value& right);
    Value assign(const Value& value, std::initializer_list<Subscript> path, const Value& right) {
        return assign(value, std::span(path.begin(), path.size()), right);
    }

    /// Displays a value like the host: by the method "display" or "disp" of its class, otherwise in the host's own
    /// form. Ends the last line if that doesn't.
    void display(const Value& value);

    /// Writes variables to a file, HDF5 after a heading; docs/host.md describes the layout. The file is written beside
    /// the old one and renamed, so that it always holds either the old or the new contents. Throws ids that begin with
    /// "VELMAR:save:", or the error of a property.
    void save(const std::filesystem::path& file, std::span<const Variable> variables);
    void save(const std::filesystem::path& file, std::initializer_list<Variable> variables) {
        save(file, std::span(variables.begin(), variables.size()));
    }
    /// Reads variables in the order in which they were saved. Objects are constructed, and their properties set in the
    /// order of the class. Throws ids that begin with "VELMAR:load:", or the error of a property; in that case nothing
    /// is created, and the state shared by the objects of a class is unchanged. A small file may describe large
    /// objects, so the memory of a load is limited.
    std::vector<Variable> load(const std::filesystem::path& file, SharedState shared = SharedState::keep);
    /// As above, for one of them.
    Value load(const std::filesystem::path& file, const std::string& name, SharedState shared = SharedState::keep);
    /// The names of the variables in a file.
    std::vector<std::string> namesIn(const std::filesystem::path& file);

    /// Adds a method written in the host's language to a class, which may react by changing the method's attributes.
    void addMethod(std::string_view className, const std::string& name, Function function);
    /// As above. Methods belong to the class and outlive this session; the function gets the session of each call, and
    /// a call while no session is open raises "VELMAR:session:none".
    void addMethod(std::string_view className, const std::string& name, SessionFunction function);
    /// Adds such a function to the table of functions that are called by name, as registerFunction does.
    void addFunction(const std::string& name, SessionFunction function);

    /// For the commands from now on.
    void setLimits(const Limits& limits) { mLimits = limits; }
    const Limits& limits() const { return mLimits; }

    /// Reads a feature switch; throws "VELMAR:feature:unknown".
    Value feature(const std::string& name);
    void setFeature(const std::string& name, const Value& state);

    /// Warnings and printed text of this session's calls since the last take; empty afterwards. A warning of overflows
    /// or underflows ends with a line "Tag: ..." if its array has a tag.
    std::vector<Warning> takeWarnings();
    std::string takePrinted();
    /// With echo, printed text and warnings also go where they go without a session. Initially off; a listener set by
    /// setWarningListener or setPrintListener is called in either case.
    void setEcho(bool isOn);

 private:
    class Output;
    static Session& running();
    static Function withSession(SessionFunction function);
    template <class Action>
    decltype(auto) run(Action&& action, std::uint64_t mostBytesInAll = UINT64_MAX);
    std::uint64_t mostBytesOfLoad(std::size_t fileBytes) const;

    Limits mLimits;
    Module mModule;
    void* mLibrary = nullptr;
    std::unique_ptr<Output> mOutput;
};

}  // namespace hostref
