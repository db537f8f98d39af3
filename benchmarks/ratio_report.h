// Runs the registered benchmarks and prints, for each case, the ns per element of its baseline and the ratio of every
// other variant to that baseline.
//
// A benchmark is named "<case>/<variant>"; it reports its element count through SetItemsProcessed. The variant named
// first in a case's registration order is its baseline. Absolute times depend on the machine; ratios are compared from
// run to run.
#pragma once

#include <benchmark/benchmark.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <string>
#include <vector>

class RatioReport : public benchmark::BenchmarkReporter {
 public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
                mFailed = true;
                continue;
            }
            if (run.run_type != Run::RT_Iteration) {
                continue;
            }
            std::string name = run.run_name.function_name;
            const std::size_t slash = name.rfind('/');
            const std::string caseName = name.substr(0, slash);
            const double nanoseconds = 1e9 / run.counters.at("items_per_second");
            auto found = std::find_if(mCases.begin(), mCases.end(), [&](const Case& c) { return c.name == caseName; });
            if (found == mCases.end()) {
                found = mCases.insert(
                    std::find_if(mCases.begin(), mCases.end(),
                                 [&](const Case& c) { return c.times.front().family > run.family_index; }),
                    Case{caseName, {}});
            }
            auto& times = found->times;
            const std::string variant = name.substr(slash + 1);
            auto time = std::find_if(times.begin(), times.end(), [&](const Time& t) { return t.variant == variant; });
            // Of several repetitions the fastest counts, since noise of a shared machine only adds time.
            if (time == times.end()) {
                // Runs may be reported in another order than that of their registration.
                const auto next = std::find_if(times.begin(), times.end(),
                                               [&](const Time& t) { return t.family > run.family_index; });
                times.insert(next, {variant, nanoseconds, run.family_index});
            } else {
                time->nanoseconds = std::min(time->nanoseconds, nanoseconds);
            }
        }
    }

    void Finalize() override {
        for (const Case& c : mCases) {
            if (c.times.empty()) {
                continue;
            }
            const Time& base = c.times.front();
            std::printf("%-38s %-8s %8.3f ns", c.name.c_str(), base.variant.c_str(), base.nanoseconds);
            for (auto time = c.times.begin() + 1; time != c.times.end(); ++time) {
                std::printf("   %s %6.2f ns x%-6.2f", time->variant.c_str(), time->nanoseconds,
                            time->nanoseconds / base.nanoseconds);
            }
            std::printf("\n");
        }
    }

    bool failed() const { return mFailed; }

 private:
    struct Time {
        std::string variant;
        double nanoseconds;
        std::int64_t family;
    };
    struct Case {
        std::string name;
        std::vector<Time> times;
    };
    std::vector<Case> mCases;
    bool mFailed = false;
};

/// Tells how many elements an iteration had.
inline void finish(benchmark::State& state, std::size_t count) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(count));
}

/// Lets memory that is freed stay with the allocator, for all variants alike: else page faults would count.
inline void keepFreedMemory() {
#if defined(__GLIBC__)
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
#endif
}

/// Runs all benchmarks under a RatioReport; returns the exit code.
inline int runWithRatios(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReport report;
    benchmark::RunSpecifiedBenchmarks(&report);
    return report.failed() ? 1 : 0;
}
