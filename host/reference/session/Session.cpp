#include "host/reference/Session.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <thread>
#include <utility>

#include "host/om.h"
#include "host/reference/calls/dispatch.h"
#include "host/reference/calls/format.h"
#include "host/reference/features.h"
#include "host/reference/session/atboundary.h"
#include "host/reference/values/caught_error.h"
#include "host/reference/values/memory_limit.h"

namespace hostref {

HostError::HostError(std::string id, const std::string& message) : std::runtime_error(message), mId(std::move(id)) {}
HostError::~HostError() = default;

// Commands

namespace {

int commandDepth = 0;
OutputSink* runningSink = nullptr;

struct OpenSink {
    OutputSink* sink;
    std::thread::id opener;
};

/// The sinks of the open sessions, the last opened at the end.
std::vector<OpenSink>& openSinks() {
    static auto& sinks = *new std::vector<OpenSink>;
    return sinks;
}

}  // namespace

Command::Command(OutputSink* sink) noexcept : mOldSink(exchangeSink(sink)) {
    runningSink = sink;
    ++commandDepth;
}

Command::~Command() {
    exchangeSink(mOldSink);
    runningSink = mOldSink;
    if (--commandDepth == 0) {
        // State left by a call ends with the command; the old state belongs to code outside of commands.
        mBoundary.forgetTrap();
    }
}

OutputSink* currentSink() noexcept {
    if (commandDepth > 0) {
        return runningSink;
    }
    const auto own = std::find_if(openSinks().rbegin(), openSinks().rend(),
                                  [](const OpenSink& open) { return open.opener == std::this_thread::get_id(); });
    if (own != openSinks().rend()) {
        return own->sink;
    }
    return openSinks().empty() ? nullptr : openSinks().back().sink;
}

void throwAsHostError() {
    const Turn turn;
    try {
        LastError error = caughtError();
        setLastError(error);
        throw HostError(std::move(error.id), error.message);
    } catch (const std::bad_alloc&) {
        // Not even for the text of the error.
        throw HostError("VELMAR:nomem", "Out of memory.");
    }
}

class Session::Output : public OutputSink {
 public:
    explicit Output(Session& owner) : session(owner) {
        const Turn turn;
        openSinks().push_back({this, std::this_thread::get_id()});
    }
    ~Output() override {
        const Turn turn;
        std::erase_if(openSinks(), [this](const OpenSink& open) { return open.sink == this; });
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void warn(const std::string& id, const std::string& text) override { warnings.push_back({id, text}); }
    void print(const std::string& text) override { printed += text; }
    bool isEchoing() const override { return isEcho; }

    Session& session;
    std::vector<Warning> warnings;
    std::string printed;
    bool isEcho = false;
};

// Modules

namespace {

/// The stop entry points of the started modules, in the order of starting.
std::vector<void (*)()>& modulesToStop() {
    static auto& modules = *new std::vector<void (*)()>;
    return modules;
}

/// Runs at the end of the process, once for each module: before the static objects of that module are destroyed, since
/// it was registered after they were made.
void stopLastModule() {
    if (modulesToStop().empty()) {
        return;
    }
    void (*const stop)() = modulesToStop().back();
    modulesToStop().pop_back();
    withoutErrors(stop);
}

void stopAtEndOfProcess(void (*stop)()) {
    auto& modules = modulesToStop();
    if (stop != nullptr && std::find(modules.begin(), modules.end(), stop) == modules.end()) {
        modules.push_back(stop);
        std::atexit(stopLastModule);
    }
}

std::string loaderText() {
    const char* const text = dlerror();
    return text == nullptr ? "The loader gives no reason." : text;
}

/// The file of this library; empty if unknown.
std::filesystem::path hostFile() {
    Dl_info info = {};
    return dladdr(reinterpret_cast<const void*>(&hostFile), &info) != 0 && info.dli_fname != nullptr
               ? std::filesystem::path(info.dli_fname)
               : std::filesystem::path();
}

/// Loads a library for the lifetime of the process: the code of its records may be in use that long.
void* loadLibrary(const std::filesystem::path& file) {
    // A module with undefined host symbols finds them if this library is in the global scope.
    if (const std::filesystem::path host = hostFile(); !host.empty()) {
        dlopen(host.c_str(), RTLD_NOW | RTLD_GLOBAL | RTLD_NOLOAD);
    }
    return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
}

std::string nameInFile(const std::filesystem::path& file) {
    std::string name = file.filename().string();
    name = name.substr(0, name.find('.'));
    return name.starts_with("lib") ? name.substr(3) : name;
}

using EntryPoint = void (*)();

EntryPoint entryPointIn(void* library, const std::string& symbol) {
    return reinterpret_cast<EntryPoint>(dlsym(library, symbol.c_str()));
}

Module moduleIn(void* library, const std::string& name) {
    Module module{name, entryPointIn(library, "VLInitialize_" + name), entryPointIn(library, "VLTerminate_" + name)};
    if (module.start == nullptr || module.stop == nullptr) {
        throw HostError("VELMAR:module:noEntryPoint",
                        "Module '" + name + "' lacks VLInitialize_" + name + " or VLTerminate_" + name + ".");
    }
    return module;
}

constexpr const char* kDefaultModule = "tolvane";

/// Finds the library of the default module; null if the process contains the module itself.
void* loadDefaultLibrary() {
    if (dlsym(RTLD_DEFAULT, "VLInitialize_tolvane") != nullptr) {
        return nullptr;
    }
    std::string reasons;
    for (const std::filesystem::path& file :
         {hostFile().parent_path() / "libtolvane.so", std::filesystem::path("libtolvane.so.0"),
          std::filesystem::path("libtolvane.so")}) {
        if (void* const library = loadLibrary(file)) {
            return library;
        }
        reasons += "\n" + loaderText();
    }
    throw HostError("VELMAR:module:notFound", "Module 'tolvane' can't be loaded:" + reasons);
}

std::vector<Argument> argumentsOf(std::span<const Value> values) {
    std::vector<Argument> arguments;
    arguments.reserve(values.size());
    for (const Value& value : values) {
        arguments.push_back(Argument::of(value));
    }
    return arguments;
}

Value firstOf(std::vector<Value> values) {
    return values.empty() ? Value() : std::move(values.front());
}

}  // namespace

namespace {

/// Throws an error that says so if a limit was the reason why there was no memory.
void throwIfReached(const MemoryLimit& limit, const HostError& error, const Limits& limits) {
    static constexpr std::string_view kNoMemory[] = {"VELMAR:nomem", "bs:outofmemory", "fixedpoint:fi:outofmemory"};
    if (limit.reached() == MemoryLimit::Reached::none ||
        std::find(std::begin(kNoMemory), std::end(kNoMemory), error.id()) == std::end(kNoMemory)) {
        return;
    }
    const bool isLoad = limit.reached() == MemoryLimit::Reached::all;
    const std::string bytes = std::to_string(limit.bytesAskedFor());
    const LastError reached =
        isLoad ? LastError{"VELMAR:load:tooLarge",
                           "What the file holds would take " + bytes +
                               " bytes or more, beyond the limit of this session. If the file is to be trusted, raise "
                               "loadBytes of the session's limits."}
               : LastError{"VELMAR:session:tooLarge",
                           "An array would take " + bytes + " bytes, more than the " +
                               std::to_string(limits.resultBytes.value_or(MemoryLimit::kNone)) +
                               " allowed. Take fewer elements or shorter words, or raise resultBytes of the session's "
                               "limits."};
    setLastError(reached);
    throw HostError(reached.id, reached.message);
}

}  // namespace

template <class Action>
decltype(auto) Session::run(Action&& action, std::uint64_t mostBytesInAll) {
    const MemoryLimit limit(mLimits.resultBytes.value_or(MemoryLimit::kNone), mostBytesInAll);
    try {
        return atBoundary(mOutput.get(), std::forward<Action>(action));
    } catch (const HostError& error) {
        throwIfReached(limit, error, mLimits);
        throw;
    }
}

std::uint64_t Session::mostBytesOfLoad(std::size_t fileBytes) const {
    // Saved booleans grow most, from a byte to 8 of a double, and are copied on their way.
    constexpr std::uint64_t kBytesForEach = 128;
    constexpr std::uint64_t kAnyway = std::uint64_t{64} << 20;
    return mLimits.loadBytes.value_or(kAnyway + kBytesForEach * fileBytes);
}

Session::Session(Start start) : mOutput(std::make_unique<Output>(*this)) {
    mLibrary = loadDefaultLibrary();
    mModule = moduleIn(mLibrary == nullptr ? RTLD_DEFAULT : mLibrary, kDefaultModule);
    if (start == Start::now) {
        this->start();
    }
}

Session::Session(const std::filesystem::path& file, std::string_view name, Start start)
    : mOutput(std::make_unique<Output>(*this)) {
    mLibrary = loadLibrary(file);
    if (mLibrary == nullptr) {
        throw HostError("VELMAR:module:notFound", "Module '" + file.string() + "' can't be loaded: " + loaderText());
    }
    mModule = moduleIn(mLibrary, name.empty() ? nameInFile(file) : std::string(name));
    if (start == Start::now) {
        this->start();
    }
}

Session::Session(Module module, Start start) : mModule(std::move(module)), mOutput(std::make_unique<Output>(*this)) {
    if (mModule.start == nullptr || mModule.stop == nullptr) {
        throw HostError("VELMAR:module:noEntryPoint", "Module '" + mModule.name + "' lacks an entry point.");
    }
    if (start == Start::now) {
        this->start();
    }
}

Session::~Session() = default;

void Session::start() {
    const Turn turn;
    // Before the call: a start that fails halfway leaves records that the module's stop removes.
    stopAtEndOfProcess(mModule.stop);
    run([&] { mModule.start(); });
}

void Session::stop() {
    const Turn turn;
    std::erase(modulesToStop(), mModule.stop);
    run([&] { mModule.stop(); });
}

void* Session::entryPoint(const std::string& name) const {
    return dlsym(mLibrary == nullptr ? RTLD_DEFAULT : mLibrary, name.c_str());
}

// Objects, methods and properties

Value Session::construct(std::string_view className, std::span<const Value> arguments) {
    return run([&] { return constructObject(requireClass(className), argumentsOf(arguments)); });
}

bool Session::hasClass(std::string_view className) const {
    const Turn turn;
    return findClass(className) != nullptr;
}

namespace {

std::vector<Value> callWith(std::string_view name, std::span<const Value> values, Wanted wanted) {
    constexpr std::size_t kFew = 4;
    if (values.size() > kFew) {
        return callByName(name, argumentsOf(values), wanted);
    }
    std::array<Argument, kFew> arguments;
    std::transform(values.begin(), values.end(), arguments.begin(),
                   [](const Value& value) { return Argument::of(value); });
    return callByName(name, std::span(arguments.data(), values.size()), wanted);
}

}  // namespace

Value Session::call(std::string_view name, std::span<const Value> arguments) {
    return run([&] { return firstOf(callWith(name, arguments, Wanted::oneIfAny())); });
}

std::vector<Value> Session::call(int resultCount, std::string_view name, std::span<const Value> arguments) {
    return run([&] { return callWith(name, arguments, Wanted::exactly(std::max(resultCount, 0))); });
}

Value Session::callStatic(std::string_view className, std::string_view name, std::span<const Value> arguments) {
    return run([&] {
        return firstOf(callMethodOfClass(requireClass(className), name, argumentsOf(arguments), Wanted::oneIfAny()));
    });
}

std::vector<Value> Session::callStatic(int resultCount, std::string_view className, std::string_view name,
                                       std::span<const Value> arguments) {
    return run([&] {
        return callMethodOfClass(requireClass(className), name, argumentsOf(arguments),
                                 Wanted::exactly(std::max(resultCount, 0)));
    });
}

Value Session::get(const Value& object, std::string_view property) {
    return run([&] { return getProperty(requireObject(Argument::of(object)), property); });
}

void Session::set(const Value& object, std::string_view property, const Value& value) {
    run([&] { setProperty(requireObject(Argument::of(object)), property, Argument::of(value)); });
}

// Indexing

namespace {

/// The host's form of an access path: a struct row with the fields "type" and "subs".
Value pathOf(std::span<const Subscript> path) {
    static constexpr const char* kFields[] = {"type", "subs"};
    hvArrayOwner steps(hvCreateStructMatrix(1, path.size(), 2, kFields));
    const auto store = [&steps](std::size_t i, int field, const Value& value) {
        hvArrayOwner element = value.toArray();
        hvSetFieldByNumber(steps.get(), i, field, element.get());
        static_cast<void>(element.release());
    };
    for (std::size_t i = 0; i < path.size(); ++i) {
        const bool isName = path[i].type == "." && path[i].indices.size() == 1;
        store(i, 0, Value(path[i].type));
        store(i, 1, isName ? path[i].indices.front() : Value::cells(path[i].indices));
    }
    return Value(std::move(steps));
}

}  // namespace

Value Session::index(const Value& value, std::span<const Subscript> path) {
    return run([&] {
        const Value steps[] = {value, pathOf(path)};
        return firstOf(callWith("subsref", steps, Wanted::oneIfAny()));
    });
}

Value Session::assign(const Value& value, std::span<const Subscript> path, const Value& right) {
    return run([&] {
        const Value steps[] = {value, pathOf(path), right};
        return firstOf(callWith("subsasgn", steps, Wanted::exactly(1)));
    });
}

// Saved objects

void Session::save(const std::filesystem::path& file, std::span<const Variable> variables) {
    run([&] { saveFile(file, variables); });
}

std::vector<Variable> Session::load(const std::filesystem::path& file, SharedState shared) {
    const FileBytes bytes = run([&] { return readFile(file); });
    return run([&] { return loadedVariables(bytes, shared); }, mostBytesOfLoad(bytes.size()));
}

Value Session::load(const std::filesystem::path& file, const std::string& name, SharedState shared) {
    const FileBytes bytes = run([&] { return readFile(file); });
    return run([&] { return loadedVariables(bytes, shared, name).front().value; }, mostBytesOfLoad(bytes.size()));
}

std::vector<std::string> Session::namesIn(const std::filesystem::path& file) {
    return run([&] { return hostref::namesIn(readFile(file)); });
}

// Display, methods of the host's language, features

void Session::display(const Value& value) {
    run([&] {
        const bool hasDisplay = value.isObject() && hasMethod(*value.interface()->getClass(), "display");
        callWith(hasDisplay ? "display" : "disp", std::span(&value, 1), Wanted::exactly(0));
        if (isLineOpen()) {
            print("\n");
        }
    });
}

namespace {

/// Any number of results, all of them arrays.
class AnyResultsSignature : public OMMethodSignature {
 public:
    int getNumberOfReturnArgs() const override { return -1; }
    OMDataType* getReturnType(int /*index*/) const override { return OMTypeRepository::getType("VELMAR array", true); }
};

/// A method that is a function of the host's language.
class HostMethodInfo : public OMMethodInfo {
 public:
    HostMethodInfo(const std::string& name, Function function) : OMMethodInfo(0), mFunction(std::move(function)) {
        setName(name.c_str(), true);
        addMethodSignature(std::make_unique<AnyResultsSignature>());
        auto some = std::make_unique<AnyResultsSignature>();
        some->addArgument(OMTypeRepository::getType("VELMAR array", true), nullptr);
        some->setNumberOfRepeatableArgs(1);
        addMethodSignature(std::move(some));
    }
    void invokeMethod(OMMethodSignature* /*signature*/, int* resultCount, void** results, int argumentCount,
                      void** arguments) override {
        std::vector<const hvArray*> arrays;
        for (int i = 0; i < argumentCount; ++i) {
            arrays.push_back(static_cast<const hvArray*>(arguments[i]));
        }
        // A copy, because a function may replace itself.
        const Function function = mFunction;
        std::vector<hvArrayOwner> made = function(*resultCount, arrays);
        const std::size_t most = static_cast<std::size_t>(std::max(*resultCount, 1));
        *resultCount = static_cast<int>(std::min(made.size(), most));
        for (std::size_t i = 0; i < static_cast<std::size_t>(*resultCount); ++i) {
            results[i] = made[i].release();
        }
    }

 private:
    Function mFunction;
};

}  // namespace

void Session::addMethod(std::string_view className, const std::string& name, Function function) {
    run([&] {
        OMClass& objectClass = requireClass(className);
        objectClass.respondToMethodAddedFromVELMAR(
            objectClass.addMethod(std::make_unique<HostMethodInfo>(name, std::move(function))));
    });
}

Session& Session::running() {
    // Only sessions make sinks.
    auto* const output = static_cast<Output*>(currentSink());
    if (output == nullptr) {
        raiseError("VELMAR:session:none", "No session is open to run a function of the host's language.");
    }
    return output->session;
}

Function Session::withSession(SessionFunction function) {
    return [function = std::move(function)](int resultCount, std::span<const hvArray* const> arrays) {
        std::vector<Value> arguments;
        for (const hvArray* const array : arrays) {
            arguments.push_back(Value::share(array));
        }
        std::vector<hvArrayOwner> results;
        for (const Value& value : function(running(), resultCount, arguments)) {
            results.push_back(value.toArray());
        }
        return results;
    };
}

void Session::addMethod(std::string_view className, const std::string& name, SessionFunction function) {
    addMethod(className, name, withSession(std::move(function)));
}

void Session::addFunction(const std::string& name, SessionFunction function) {
    const Turn turn;
    registerFunction(name, withSession(std::move(function)));
}

Value Session::feature(const std::string& name) {
    return run([&] { return Value(runFeature(name, 1)); });
}

void Session::setFeature(const std::string& name, const Value& state) {
    run([&] {
        const hvArrayOwner argument = state.toArray();
        hvArray* const arguments[] = {argument.get()};
        runFeature(name, 0, arguments);
    });
}

// Output

std::vector<Warning> Session::takeWarnings() {
    const Turn turn;
    return std::exchange(mOutput->warnings, {});
}

std::string Session::takePrinted() {
    const Turn turn;
    return std::exchange(mOutput->printed, {});
}

void Session::setEcho(bool isOn) {
    const Turn turn;
    mOutput->isEcho = isOn;
}

}  // namespace hostref
