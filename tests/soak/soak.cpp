// Runs units of the soak in turn, each for its share of the time, and says what was compared.
//
//   soak [--seconds S] [--seed N | --seed random] [--only UNIT[,UNIT...]] [--report S]
//   soak --only UNIT --case SEED [--elements FIRST,COUNT]      one case again
//
// It ends with 0 if all results were as expected, and with 1 at the first that isn't, which is made as small as it
// gets and printed with the command that repeats it. An interrupt ends it with the figures so far.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

#include "host/ErrorIdException.h"
#include "tests/soak/soak.h"

namespace {

using soak::Case;
using soak::Outcome;
using soak::Unit;
using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t wasInterrupted = 0;
// What runs now, for a death by a signal.
char runningCase[200];

void die(int signal) {
    const char* const text = "soak: died in ";
    [[maybe_unused]] ssize_t written = write(STDERR_FILENO, text, std::strlen(text));
    written = write(STDERR_FILENO, runningCase, std::strlen(runningCase));
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

Outcome run(const Unit& unit, const Case& oneCase) {
    std::snprintf(runningCase, sizeof runningCase, "--only %s --case %llu\n", unit.name,
                  static_cast<unsigned long long>(oneCase.seed));
    try {
        return unit.run(oneCase);
    } catch (const std::exception& e) {
        return soak::mismatch(oneCase.window.first, "an error: ", e.what());
    } catch (ErrorIdException* raised) {
        const std::unique_ptr<ErrorIdException> error(raised);
        return soak::mismatch(oneCase.window.first, "an error: ", error->getId(), ": ", error->getMessage());
    }
}

/// The smallest window of a failing case that still fails.
Case minimal(const Unit& unit, Case failing, Outcome& outcome) {
    const auto fails = [&](const soak::Window& window) {
        Outcome tried = run(unit, {failing.seed, window});
        if (tried.mismatch.empty()) {
            return false;
        }
        outcome = std::move(tried);
        failing.window = window;
        return true;
    };
    if (fails({outcome.element, 1})) {
        return failing;
    }
    soak::Window window{0, std::size_t{1} << 17};
    for (std::size_t cut = window.count / 2; cut != 0;) {
        const bool isSmaller =
            cut < failing.window.count &&
            (fails({failing.window.first, std::min(failing.window.count, window.count) - cut}) ||
             fails({failing.window.first + cut, std::min(failing.window.count, window.count) - cut}));
        cut = isSmaller ? std::min(cut, failing.window.count / 2) : cut / 2;
    }
    return failing;
}

void printFailure(const Unit& unit, const Case& oneCase, const std::string& mismatch) {
    std::cout << "soak: " << unit.name << ": " << mismatch << "\n  again: soak --only " << unit.name << " --case "
              << oneCase.seed << " --elements " << oneCase.window.first << ',' << oneCase.window.count << std::endl;
}

struct Progress {
    double used = 0;
    std::uint64_t cases = 0;
    std::uint64_t checked = 0;
};

void printTable(const std::vector<Unit>& units, const std::vector<Progress>& progress, double seconds,
                std::uint64_t seed) {
    std::map<std::string, std::uint64_t> totals;
    std::printf("%-16s %12s %16s\n", "unit", "cases", "compared");
    for (std::size_t i = 0; i < units.size(); ++i) {
        std::printf("%-16s %12llu %16llu %s\n", units[i].name, static_cast<unsigned long long>(progress[i].cases),
                    static_cast<unsigned long long>(progress[i].checked), units[i].counts);
        totals[units[i].counts] += progress[i].checked;
    }
    std::printf("soak: %.0f s of seed %llu:", seconds, static_cast<unsigned long long>(seed));
    for (const auto& [counts, total] : totals) {
        std::printf(" %llu %s,", static_cast<unsigned long long>(total), counts.c_str());
    }
    std::printf(" 0 mismatches\n");
    std::fflush(stdout);
}

int runFor(const std::vector<Unit>& units, std::uint64_t seed, double seconds, double reportSeconds) {
    std::vector<Progress> progress(units.size());
    const auto start = Clock::now();
    const auto since = [](Clock::time_point then) {
        return std::chrono::duration<double>(Clock::now() - then).count();
    };
    double nextReport = reportSeconds;
    // Each unit runs at least once.
    while (wasInterrupted == 0 &&
           (since(start) < seconds ||
            std::any_of(progress.begin(), progress.end(), [](const Progress& of) { return of.cases == 0; }))) {
        std::size_t next = 0;
        for (std::size_t i = 1; i < units.size(); ++i) {
            if (progress[i].used / units[i].share < progress[next].used / units[next].share) {
                next = i;
            }
        }
        const Unit& unit = units[next];
        Case oneCase{soak::mixed(soak::mixed(seed + next * 1000003) + progress[next].cases), {}};
        const auto begin = Clock::now();
        Outcome outcome = run(unit, oneCase);
        if (!outcome.mismatch.empty()) {
            oneCase = minimal(unit, oneCase, outcome);
            printFailure(unit, oneCase, outcome.mismatch);
            return 1;
        }
        progress[next].used += since(begin);
        ++progress[next].cases;
        progress[next].checked += outcome.checked;
        if (since(start) > nextReport) {
            printTable(units, progress, since(start), seed);
            nextReport += reportSeconds;
        }
    }
    printTable(units, progress, since(start), seed);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    double seconds = 10;
    double reportSeconds = 600;
    std::uint64_t seed = 1;
    std::string only;
    Case oneCase;
    bool isOneCase = false;
    for (int i = 1; i < argc; i += 2) {
        const std::string_view option = argv[i];
        const std::string value = i + 1 < argc ? argv[i + 1] : "";
        if (option == "--seconds" && !value.empty()) {
            seconds = std::stod(value);
        } else if (option == "--report" && !value.empty()) {
            reportSeconds = std::stod(value);
        } else if (option == "--seed" && !value.empty()) {
            seed = value == "random" ? std::random_device{}() : std::stoull(value);
        } else if (option == "--only" && !value.empty()) {
            only = "," + value + ",";
        } else if (option == "--case" && !value.empty()) {
            oneCase.seed = std::stoull(value);
            isOneCase = true;
        } else if (option == "--elements" && value.find(',') != std::string::npos) {
            oneCase.window.first = std::stoull(value);
            oneCase.window.count = std::stoull(value.substr(value.find(',') + 1));
        } else {
            std::cerr << "soak [--seconds S] [--seed N | random] [--report S] [--only UNIT[,UNIT...]]\n"
                         "soak --only UNIT --case SEED [--elements FIRST,COUNT]\n";
            return 2;
        }
    }
    std::vector<Unit> units;
    for (const auto& of : {soak::quantizationUnits(), soak::arrayUnits(), soak::hostUnits(), soak::textUnits(),
                           soak::fileUnits(), soak::specialUnits()}) {
        std::copy_if(of.begin(), of.end(), std::back_inserter(units), [&](const Unit& unit) {
            return only.empty() || only.find("," + std::string(unit.name) + ",") != std::string::npos;
        });
    }
    if (units.empty()) {
        std::cerr << "soak: there is no unit of this name\n";
        return 2;
    }
    for (const int signal : {SIGSEGV, SIGABRT, SIGFPE, SIGBUS, SIGILL}) {
        std::signal(signal, die);
    }
    for (const int signal : {SIGINT, SIGTERM}) {
        std::signal(signal, [](int) { wasInterrupted = 1; });
    }
    if (!isOneCase) {
        return runFor(units, seed, seconds, reportSeconds);
    }
    const Outcome outcome = run(units.front(), oneCase);
    if (!outcome.mismatch.empty()) {
        printFailure(units.front(), oneCase, outcome.mismatch);
        return 1;
    }
    std::cout << "soak: " << outcome.checked << ' ' << units.front().counts << " as expected\n";
    return 0;
}
