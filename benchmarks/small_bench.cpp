// What an operation costs that touches few elements: time, allocations and bytes of one call, and the memory that an
// array holds.
//
// Arrays are s16,15 with local rules, FullPrecision unless the case says otherwise. Cases and variants:
//     plus 10, times 10          loop: a plain loop into a fresh array; fi: the operation; fi+log: with logging on;
//                                session: the same through a session of the host
//     scalar                     what one element holds, alone and after operations with it as the left operand
// Before a variant is timed its values, and with logging the counts of operations, are compared with the loop's.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/allocation_count.h"
#include "benchmarks/known_arrays.h"
#include "fi/fi.h"
#include "host/reference/Session.h"

namespace {

constexpr std::size_t kCount = 10;

struct Operation {
    const char* name;
    bool isSpecified;
    fi& (fi::*apply)(const fi&) const;
    double (*combine)(double, double);
};

double add(double a, double b) {
    return a + b;
}
double multiply(double a, double b) {
    return a * b;
}

Values resultOf(const Operation& operation, const Values& a, const Values& b) {
    Values result(a.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        result[i] = operation.combine(a[i], b[i]);
    }
    return result;
}

/// Multiples of 1/128 below 1/2: no type of a result loses any of them.
Values shortValues(unsigned seed) {
    Values values = signal(kCount, seed);
    for (double& value : values) {
        value = std::nearbyint(std::clamp(value, -0.4, 0.4) * 128.0) / 128.0;
    }
    return values;
}

/// Times a call, and counts what one call takes from the allocator once the operands have been used.
void measure(benchmark::State& state, const std::function<void()>& call) {
    constexpr int kCalls = 100;
    call();
    call();
    const Allocations before = gAllocations;
    for (int i = 0; i < kCalls; ++i) {
        call();
    }
    state.counters["allocations"] = static_cast<double>(gAllocations.count - before.count) / kCalls;
    state.counters["bytes"] = static_cast<double>(gAllocations.bytes - before.bytes) / kCalls;
    gCountsAllocations = false;
    timed(state, 1, call);
    gCountsAllocations = true;
}

void runLoop(benchmark::State& state, const Operation& operation) {
    const Values a = shortValues(1);
    const Values b = shortValues(2);
    measure(state, [&] {
        auto result = std::make_unique<Values>(kCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            (*result)[i] = operation.combine(a[i], b[i]);
        }
        benchmark::DoNotOptimize(result->data());
    });
}

void runFi(benchmark::State& state, const Operation& operation, bool isLogging) {
    const Values a = shortValues(1);
    const Values b = shortValues(2);
    const fimath rules = rulesFor(operation.isSpecified);
    const FiOwner left = arrayOf(a, false, kCount, 1, rules);
    const FiOwner right = arrayOf(b, false, kCount, 1, rules);
    qlogger::setLogging(isLogging);
    const FiOwner result(&((*left).*operation.apply)(*right));
    const std::uint64_t logged = result->getQlogger().getNoperations();
    if (!holds(*result, resultOf(operation, a, b).data(), nullptr) || (isLogging ? logged < kCount : logged != 0)) {
        qlogger::setLogging(false);
        return state.SkipWithError("the operation and the loop differ");
    }
    measure(state, [&] { benchmark::DoNotOptimize(FiOwner(&((*left).*operation.apply)(*right))); });
    qlogger::setLogging(false);
}

void runSession(benchmark::State& state, const Operation& operation) {
    static hostref::Session session;
    const Values a = shortValues(1);
    const Values b = shortValues(2);
    const hostref::Value left = session.construct("embedded.fi", {a});
    const hostref::Value right = session.construct("embedded.fi", {b});
    if (session.call(operation.name, {left, right}).get("double").toDoubles() != resultOf(operation, a, b)) {
        return state.SkipWithError("the session and the loop differ");
    }
    measure(state, [&] { benchmark::DoNotOptimize(session.call(operation.name, {left, right})); });
}

/// What an array holds after it was made and used.
template <class Use>
double heldBy(const Use& use) {
    const fimath rules = rulesFor(false);
    const FiOwner other = arrayOf({0.5}, false, 1, 1, rules);
    const std::int64_t before = gAllocations.held;
    const FiOwner array = arrayOf({0.25}, false, 1, 1, rules);
    use(*array, *other);
    return static_cast<double>(gAllocations.held - before);
}

void printMemory() {
    const auto print = [](const char* name, double bytes) { std::printf("%-28s %6.0f bytes\n", name, bytes); };
    print("scalar", heldBy([](fi&, fi&) {}));
    print("scalar after plus", heldBy([](fi& a, fi& b) { FiOwner(&a.plus(b)); }));
    print("scalar after times", heldBy([](fi& a, fi& b) { FiOwner(&a.times(b)); }));
    print("sizeof(fi)", sizeof(fi));
    print("sizeof(quantizer)", sizeof(quantizer));
    print("sizeof(qlogger)", sizeof(qlogger));
    print("sizeof(NumericType)", sizeof(EmbeddedTypeSystem::NumericType));
}

/// Prints a line for each variant: microseconds, allocations and bytes of one call.
class CallReport : public benchmark::BenchmarkReporter {
 public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        double fastest = 0.0;
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
                mFailed = true;
                return;
            }
            if (run.run_type == Run::RT_Iteration) {
                // Noise of a shared machine only adds time.
                fastest = std::max(fastest, static_cast<double>(run.counters.at("items_per_second")));
            }
        }
        if (fastest == 0.0) {
            return;  // these are means of the repetitions
        }
        const Run& first = runs.front();
        std::printf("%-28s %6.3f us %6.0f allocations %7.0f bytes\n", first.run_name.function_name.c_str(),
                    1e6 / fastest, static_cast<double>(first.counters.at("allocations")),
                    static_cast<double>(first.counters.at("bytes")));
    }
    bool failed() const { return mFailed; }

 private:
    bool mFailed = false;
};

void registerAll() {
    static constexpr Operation kOperations[] = {
        {"plus", false, &fi::plus, add},
        {"plus", true, &fi::plus, add},
        {"times", false, &fi::times, multiply},
        {"times", true, &fi::times, multiply},
    };
    const auto addCase = [](const std::string& name, const std::function<void(benchmark::State&)>& run) {
        benchmark::RegisterBenchmark(name.c_str(), run)->MinTime(0.1)->Repetitions(5);
    };
    for (const Operation& operation : kOperations) {
        const std::string name = std::string(operation.name) + (operation.isSpecified ? " specified" : "") + " 10/";
        addCase(name + "loop", [&operation](benchmark::State& s) { runLoop(s, operation); });
        addCase(name + "fi", [&operation](benchmark::State& s) { runFi(s, operation, false); });
        addCase(name + "fi+log", [&operation](benchmark::State& s) { runFi(s, operation, true); });
        if (!operation.isSpecified) {
            addCase(name + "session", [&operation](benchmark::State& s) { runSession(s, operation); });
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    registerAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    CallReport report;
    benchmark::RunSpecifiedBenchmarks(&report);
    if (!report.failed()) {
        printMemory();
    }
    return report.failed() ? 1 : 0;
}
