#include "tests/faults/trials.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <set>
#include <sstream>

#include "host/ErrorIdException.h"
#include "host/reference/HostError.h"
#include "program/error.h"
#include "tests/faults/hook.h"

namespace faults {

namespace {

constexpr int kFrames = 40;
constexpr std::size_t kMostFailures = 20000;
constexpr unsigned kSecondsOfTry = 20;

std::uint64_t hashOf(const std::string& text) {
    std::uint64_t hash = 14695981039346656037ULL;
    for (const char character : text) {
        hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211ULL;
    }
    return hash;
}

/// What a process tells of its run.
struct Run {
    char id[96];
    std::uint64_t result;
    std::uint64_t operands;
    bool isError() const { return id[0] != 0; }
};

/// Shared by all processes.
struct Report {
    bool isDone;
    char text[600];
    char id[96];
    std::uint64_t before;
    Run runs[2];
    std::uint64_t allocations;
    std::int64_t live;
    std::int64_t peak;
    void* frames[kFrames];
    int frameCount;
};

struct Frame {
    char module[100];
    std::uint64_t offset;
};

struct Failure {
    char operation[160];
    char text[600];
    std::uint64_t point;
    Frame frames[kFrames];
    int frameCount;
};

struct Row {
    char name[160];
    std::uint64_t points, tries, errors, successes, failures;
    /// Failures of a library that can't be relied on to survive; with memory that stays short there are to be none.
    std::uint64_t foreign;
    /// The most bytes that the operation takes.
    std::int64_t peak;
};

struct Shared {
    Report report;
    Row row;
    std::size_t failureCount;
    Failure failures[kMostFailures];
};

Shared* shared = nullptr;

template <std::size_t size>
void put(char (&out)[size], const std::string& text) {
    const std::size_t length = std::min(size - 1, text.size());
    std::memcpy(out, text.data(), length);
    out[length] = 0;
}

/// Runs the operation once; the result stays in the state.
void runOnce(State& state, Run& run) {
    run.id[0] = 0;
    try {
        state.run();
    } catch (...) {
        faults_disarm();
        const std::string id = idOfCaught();
        put(run.id, id.empty() ? "no id" : id);
    }
}

void describe(State& state, Run& run) {
    run.result = run.isError() ? hashOf(run.id) : hashOf(state.result());
    run.operands = hashOf(state.operands());
    if (std::getenv("FAULTS_TEXTS") != nullptr) {
        std::printf("%s\n---\n%s\n===\n", run.isError() ? run.id : state.result().c_str(), state.operands().c_str());
    }
    state.drop();
    state.settle();
}

/// Without a fault, twice: what comes of it, and the blocks that stay in use.
void runPlain(State& state) {
    Report& report = shared->report;
    report.before = hashOf(state.operands());
    std::int64_t live = 0;
    for (Run& run : report.runs) {
        faults_arm(0);
        runOnce(state, run);
        const std::uint64_t allocations = faults_disarm();
        if (&run == report.runs) {
            report.allocations = allocations;
            report.peak = faults_peak();
        }
        describe(state, run);
        live = std::max(live, faults_live());
    }
    report.live = live;
    report.isDone = true;
}

bool isSame(const Run& a, const Run& b) {
    return a.result == b.result && a.operands == b.operands;
}

/// Whether the program of the tests itself made the allocation that failed, as when it makes arguments.
bool isOwnAllocation() {
    Dl_info own = {};
    dladdr(reinterpret_cast<const void*>(&isOwnAllocation), &own);
    // The first two are the hook's.
    for (int i = 2; i < shared->report.frameCount; ++i) {
        Dl_info info = {};
        if (dladdr(shared->report.frames[i], &info) == 0 || info.dli_fname == nullptr) {
            return false;
        }
        if (std::strstr(info.dli_fname, "libstdc++") == nullptr) {
            return info.dli_fbase == own.dli_fbase;
        }
    }
    return false;
}

/// With a fault, against what came without; returns what is wrong, "" if nothing is.
std::string runFaulted(State& state, const Report& plain, std::uint64_t point, std::int64_t limit) {
    Run first{};
    if (limit >= 0) {
        faults_limit(static_cast<std::uint64_t>(limit));
    } else {
        faults_arm(point);
    }
    runOnce(state, first);
    faults_disarm();
    const bool isOwn = isOwnAllocation();
    put(shared->report.id, first.id);
    const bool isOther = std::strcmp(first.id, plain.runs[0].id) != 0;
    if (isOther && !first.isError()) {
        return std::string("no error, where there is ") + plain.runs[0].id;
    }
    // With nothing left there may be none for an error with an id either.
    const bool isBare = limit >= 0 && std::strcmp(first.id, "std::bad_alloc") == 0;
    if (isOther && !state.mayRaise(first.id) && !isOwn && !isBare) {
        return std::string("the error ") + first.id;
    }
    describe(state, first);
    if (isOther) {
        if (first.operands != plain.before) {
            return "something has changed";
        }
    } else if (first.result != plain.runs[0].result) {
        return "a wrong result";
    } else if (first.operands != plain.runs[0].operands) {
        return "operands differ afterwards";
    }
    Run second{};
    runOnce(state, second);
    const bool isError = second.isError();
    describe(state, second);
    if (!isSame(second, plain.runs[isOther ? 0 : 1])) {
        return std::string("the next run ") + (isError ? "raises " : "has a wrong result") + (isError ? second.id : "");
    }
    const std::int64_t leaked = faults_live() - plain.live;
    return leaked > 0 ? "a leak of blocks: " + std::to_string(leaked) : "";
}

template <class Body>
int inChild(const Body& body) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(kSecondsOfTry);
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        if (std::getenv("FAULTS_STDERR") == nullptr) {
            dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        }
        body();
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

/// Whether the allocation that failed was one of HDF5's own, which ends the process or breaks it for good at some.
bool isForeign() {
    for (int i = 2; i < shared->report.frameCount; ++i) {
        Dl_info info = {};
        if (dladdr(shared->report.frames[i], &info) != 0 && info.dli_fname != nullptr &&
            std::strstr(info.dli_fname, "libhdf5") != nullptr) {
            return true;
        }
    }
    return false;
}

void noteFailure(const std::string& name, const std::string& text, std::uint64_t point, bool mayBeForeign) {
    if (mayBeForeign && isForeign()) {
        ++shared->row.foreign;
        return;
    }
    ++shared->row.failures;
    if (shared->failureCount == kMostFailures) {
        return;
    }
    Failure& failure = shared->failures[shared->failureCount++];
    put(failure.operation, name);
    put(failure.text, text);
    failure.point = point;
    const Report& report = shared->report;
    failure.frameCount = 0;
    // The first two are the hook's.
    for (int i = 2; i < report.frameCount; ++i) {
        Dl_info info = {};
        if (dladdr(report.frames[i], &info) == 0 || info.dli_fname == nullptr) {
            continue;
        }
        Frame& frame = failure.frames[failure.frameCount++];
        put(frame.module, info.dli_fname);
        frame.offset =
            static_cast<std::uint64_t>(static_cast<char*>(report.frames[i]) - static_cast<char*>(info.dli_fbase)) - 1;
    }
}

std::string ending(int status) {
    if (WIFSIGNALED(status)) {
        return WTERMSIG(status) == SIGALRM ? "it hangs"
                                           : std::string("the process ends: ") + strsignal(WTERMSIG(status));
    }
    return "the process ends with status " + std::to_string(WEXITSTATUS(status));
}

void tryState(State& state, const std::string& name, const Options& options, std::uint64_t draw) {
    const int plainStatus = inChild([&] {
        shared->report.isDone = false;
        state.reset();
        runPlain(state);
    });
    if (plainStatus != 0 || !shared->report.isDone) {
        shared->report.frameCount = 0;
        noteFailure(name, "without a fault " + ending(plainStatus), 0, false);
        return;
    }
    const Report plain = shared->report;
    const std::uint64_t points = options.limits > 0 ? options.limits : plain.allocations;
    shared->row.points += points;
    shared->row.peak = std::max(shared->row.peak, plain.peak);
    const std::uint64_t step =
        std::max(options.every, (points + options.most - 1) / std::max<std::uint64_t>(options.most, 1));
    for (std::uint64_t point = 1 + (options.seed + draw) % std::max<std::uint64_t>(step, 1); point <= points;
         point += step) {
        shared->report.isDone = false;
        shared->report.id[0] = 0;
        shared->report.frameCount = 0;
        const std::int64_t limit =
            options.limits > 0 ? plain.peak * static_cast<std::int64_t>(point - 1) / static_cast<std::int64_t>(points)
                               : -1;
        const int status = inChild([&] {
            state.reset();
            put(shared->report.text, runFaulted(state, plain, point, limit));
            shared->report.isDone = true;
        });
        ++shared->row.tries;
        if (status != 0 || !shared->report.isDone) {
            noteFailure(name, ending(status), point, limit < 0);
        } else if (shared->report.text[0] != 0) {
            noteFailure(name, shared->report.text, point, limit < 0);
        } else if (std::strcmp(shared->report.id, plain.runs[0].id) != 0) {
            ++shared->row.errors;
        } else {
            ++shared->row.successes;
        }
    }
}

/// In a process of its own, which the operation may leave in any state.
void tryOperation(const Operation& operation, const Options& options) {
    const std::string name = operation.group + " " + operation.name;
    std::vector<std::uint64_t> chosen;
    for (std::uint64_t draw = 0; operation.draws > 1 && draw < operation.draws; ++draw) {
        const std::unique_ptr<State> state = operation.make(draw);
        Run run{};
        runOnce(*state, run);
        describe(*state, run);
        if (!run.isError()) {
            chosen.push_back(draw);
        }
        if (chosen.size() == static_cast<std::size_t>(options.sets)) {
            break;
        }
    }
    if (chosen.empty()) {
        chosen.push_back(0);
    }
    for (const std::uint64_t draw : chosen) {
        const std::unique_ptr<State> state = operation.make(draw);
        if (operation.isWarm && operation.draws == 1) {
            const std::unique_ptr<State> warming = operation.make(draw);
            Run run{};
            runOnce(*warming, run);
            describe(*warming, run);
        }
        state->settle();
        tryState(*state, name, options, draw);
    }
}

/// "function at file:line" for each frame of a module.
std::map<std::uint64_t, std::string> symbolsOf(const std::string& module, const std::set<std::uint64_t>& offsets) {
    std::map<std::uint64_t, std::string> symbols;
    std::string command = "addr2line -Cfpe '" + module + "'";
    for (const std::uint64_t offset : offsets) {
        char number[32];
        std::snprintf(number, sizeof number, " %#" PRIx64, offset);
        command += number;
    }
    FILE* const pipe = popen((command + " 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) {
        return symbols;
    }
    char* line = nullptr;
    std::size_t size = 0;
    for (const std::uint64_t offset : offsets) {
        if (getline(&line, &size, pipe) < 0) {
            break;
        }
        symbols[offset] = std::string(line, std::strcspn(line, "\n"));
    }
    free(line);
    pclose(pipe);
    return symbols;
}

/// Failures of one kind at one place of the code, printed once.
void printFailures(const Options& options) {
    std::map<std::string, std::vector<const Failure*>> kinds;
    std::map<std::string, std::set<std::uint64_t>> offsets;
    for (std::size_t i = 0; i < shared->failureCount; ++i) {
        const Failure& failure = shared->failures[i];
        std::string key = failure.text;
        key = key.substr(0, key.find(": "));
        for (int f = 0; f < std::min(failure.frameCount, 8); ++f) {
            key += " " + std::string(failure.frames[f].module) + std::to_string(failure.frames[f].offset);
        }
        kinds[key].push_back(&failure);
    }
    std::vector<const std::vector<const Failure*>*> byNumber;
    for (const auto& [key, failures] : kinds) {
        byNumber.push_back(&failures);
    }
    std::ranges::stable_sort(byNumber, std::greater(), [](const auto* failures) { return failures->size(); });
    byNumber.resize(std::min(byNumber.size(), static_cast<std::size_t>(options.shownFailures)));
    for (const auto* const failures : byNumber) {
        const Failure& first = *failures->front();
        for (int f = 0; f < first.frameCount; ++f) {
            offsets[first.frames[f].module].insert(first.frames[f].offset);
        }
    }
    std::map<std::string, std::map<std::uint64_t, std::string>> symbols;
    for (const auto& [module, places] : offsets) {
        symbols[module] = symbolsOf(module, places);
    }
    for (const auto* const failures : byNumber) {
        const Failure& first = *failures->front();
        std::set<std::string> names;
        for (const Failure* const failure : *failures) {
            names.insert(failure->operation);
        }
        std::printf("\n%zu x %s\n  %s at allocation %" PRIu64, failures->size(), first.text, first.operation,
                    first.point);
        if (names.size() > 1) {
            std::printf(", and %zu other operations", names.size() - 1);
        }
        std::printf("\n");
        for (int f = 0; f < std::min(first.frameCount, 16); ++f) {
            const Frame& frame = first.frames[f];
            std::string symbol = symbols[frame.module][frame.offset];
            const std::string module = frame.module;
            symbol = symbol.substr(0, 150);
            std::printf("    %s (%s)\n", symbol.c_str(), module.substr(module.rfind('/') + 1).c_str());
        }
    }
    if (kinds.size() > byNumber.size()) {
        std::printf("\nand %zu more kinds of failure\n", kinds.size() - byNumber.size());
    }
}

void printRow(const Row& row) {
    std::printf("%-60s %8" PRIu64 " %8" PRIu64 " %8" PRIu64 " %8" PRIu64 " %8" PRIu64 " %8" PRIu64 " %10" PRId64 "\n",
                row.name, row.points, row.tries, row.errors, row.successes, row.failures, row.foreign, row.peak);
    std::fflush(stdout);
}

void add(Row& sum, const Row& row) {
    sum.points += row.points;
    sum.tries += row.tries;
    sum.errors += row.errors;
    sum.successes += row.successes;
    sum.failures += row.failures;
    sum.foreign += row.foreign;
    sum.peak = std::max(sum.peak, row.peak);
}

}  // namespace

std::string idOfCaught() {
    try {
        throw;
    } catch (ErrorIdException* raised) {
        const std::unique_ptr<ErrorIdException> error(raised);
        return error ? error->getId() : "";
    } catch (const hostref::HostError& error) {
        return error.id();
    } catch (const tolvane::error& error) {
        return error.id();
    } catch (const std::bad_alloc&) {
        return "std::bad_alloc";
    } catch (const std::exception& error) {
        return std::string("an exception, ") + error.what();
    } catch (...) {
        return {};
    }
}

std::uint64_t runTrials(const Operations& operations, const Options& options) {
    shared = static_cast<Shared*>(
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    if (shared == MAP_FAILED) {
        std::perror("mmap");
        return 1;
    }
    faults_share(shared->report.frames, &shared->report.frameCount, kFrames);
    std::printf("%-60s %8s %8s %8s %8s %8s %8s %10s\n", "operation", "points", "tries", "errors", "success", "failures",
                "in HDF5", "most bytes");
    std::map<std::string, Row> groups;
    Row all{};
    put(all.name, "all");
    for (const Operation& operation : operations) {
        const std::string name = operation.group + " " + operation.name;
        if (name.find(options.only) == std::string::npos) {
            continue;
        }
        shared->row = {};
        put(shared->row.name, name);
        std::fflush(stdout);
        const pid_t worker = fork();
        if (worker == 0) {
            tryOperation(operation, options);
            std::fflush(stdout);
            _exit(0);
        }
        int status = 0;
        waitpid(worker, &status, 0);
        if (status != 0) {
            shared->report.frameCount = 0;
            noteFailure(name, "without a fault, " + ending(status), 0, false);
        }
        if (options.showsRows) {
            printRow(shared->row);
        }
        Row& group = groups[operation.group];
        put(group.name, operation.group);
        add(group, shared->row);
        add(all, shared->row);
    }
    for (const auto& [name, row] : groups) {
        printRow(row);
    }
    printRow(all);
    printFailures(options);
    return all.failures;
}

}  // namespace faults
