// Runs random programs on the library that it is built with, and prints what they show: a hash for each case, or the
// complete text of one case.
//
//   witness_driver SEED FIRST COUNT           a line "number hash" for each case
//   witness_driver SEED FIRST COUNT summary   the same, followed by calls and errors of each operation
//   witness_driver SEED FIRST COUNT show      only the text of the last case; earlier cases print nothing
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "host/reference/Session.h"
#include "host/reference/listeners.h"
#include "tests/witness/program.h"

namespace {

/// A case that takes this long hangs.
constexpr unsigned kMostSeconds = 60;

Transcript* current = nullptr;

void runCase(std::uint64_t seed, std::uint64_t number, Transcript& out) {
    static Kind kinds[] = {kArrayPrograms, kNumberPrograms, kDescriptionPrograms, kSessionPrograms};
    alarm(kMostSeconds);
    current = &out;
    resetSession();
    Draw draw(Draw(seed).bits() ^ Draw(number).bits());
    const Kind& kind = drawn(draw, std::span<Kind>(kinds));
    out("case of", kind.name);
    attempt(out, [&] { kind.run(draw, out); });
    showSession(out);
}

void printSummary() {
    std::uint64_t calls = 0;
    std::uint64_t errors = 0;
    static std::uint64_t sums[2];
    for (const Kind* kind : {&kArrayPrograms, &kNumberPrograms, &kDescriptionPrograms, &kSessionPrograms}) {
        kind->summarize([](const char* area, const char* row, std::uint64_t rowCalls, std::uint64_t rowErrors) {
            std::printf("= %s: %s %" PRIu64 " %" PRIu64 "\n", area, row, rowCalls, rowErrors);
            sums[0] += rowCalls;
            sums[1] += rowErrors;
        });
        std::printf("== %s %" PRIu64 " %" PRIu64 "\n", kind->name, sums[0] - calls, sums[1] - errors);
        calls = sums[0];
        errors = sums[1];
    }
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount < 4) {
        std::fputs("usage: witness_driver SEED FIRST COUNT [summary|show]\n", stderr);
        return 2;
    }
    const std::uint64_t seed = std::strtoull(arguments[1], nullptr, 10);
    const std::uint64_t first = std::strtoull(arguments[2], nullptr, 10);
    const std::uint64_t count = std::strtoull(arguments[3], nullptr, 10);
    const std::string wanted = argumentCount > 4 ? arguments[4] : "";
    hostref::setWarningListener([](const std::string& id, const std::string& text) {
        (*current)("  warned", std::string_view(id), std::string_view(text));
    });
    hostref::setPrintListener([](const std::string& text) { (*current)("  printed", std::string_view(text)); });
    Transcript silent(false);
    current = &silent;
    openSession();
    for (std::uint64_t number = first; number < first + count; ++number) {
        const bool isShown = wanted == "show" && number + 1 == first + count;
        Transcript out(isShown);
        runCase(seed, number, out);
        if (wanted != "show") {
            char line[64];
            const int length = std::snprintf(line, sizeof line, "%" PRIu64 " %016" PRIx64 "\n", number, out.hash());
            // Unbuffered, so that the case that kills the process is the one after the last line.
            if (write(STDOUT_FILENO, line, static_cast<std::size_t>(length)) != length) {
                return 3;
            }
        }
    }
    if (wanted == "summary") {
        printSummary();
    }
    std::fflush(stdout);
    return 0;
}
