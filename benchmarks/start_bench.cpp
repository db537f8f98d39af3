// What loading the library costs a process: processor time, memory and the number of libraries.
//
// The program runs itself, alternately without the library and with it, and prints the least of many runs of each. A
// run without it is what a C++ process costs.
#include <dlfcn.h>
#include <link.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace {

int librariesHere() {
    int count = 0;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* data) {
            // The program and the kernel's page have no path of a library.
            *static_cast<int*>(data) += info->dlpi_name != nullptr && info->dlpi_name[0] == '/' ? 1 : 0;
            return 0;
        },
        &count);
    return count;
}

struct Cost {
    double processorTime = std::numeric_limits<double>::infinity();  // ms
    double memory = std::numeric_limits<double>::infinity();         // MiB
    int libraries = 0;

    void note(const rusage& usage, int count) {
        const auto milliseconds = [](const timeval& time) {
            return 1e3 * static_cast<double>(time.tv_sec) + 1e-3 * static_cast<double>(time.tv_usec);
        };
        processorTime = std::min(processorTime, milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime));
        memory = std::min(memory, static_cast<double>(usage.ru_maxrss) / 1024.0);
        libraries = count;
    }
};

/// Runs this program once more; the run ends with the number of its libraries as its status.
bool run(const char* self, const char* library, Cost& cost) {
    const char* const arguments[] = {self, "--load", library, nullptr};
    pid_t child = 0;
    int status = 0;
    rusage usage = {};
    if (posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, const_cast<char* const*>(arguments), environ) != 0 ||
        wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) == 0) {
        return false;
    }
    cost.note(usage, WEXITSTATUS(status));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string_view(argv[1]) == "--load") {
        const bool isLoaded = argv[2][0] == '\0' || dlopen(argv[2], RTLD_NOW | RTLD_LOCAL) != nullptr;
        return isLoaded ? librariesHere() : 0;
    }
    Cost plain;
    Cost loaded;
    constexpr int kRuns = 200;
    for (int i = 0; i < kRuns; ++i) {
        if (!run(argv[0], "", plain) || !run(argv[0], TOLVANE_MODULE, loaded)) {
            std::fprintf(stderr, "The program can't run itself with %s.\n", TOLVANE_MODULE);
            return EXIT_FAILURE;
        }
    }
    const auto print = [](const char* what, const Cost& cost) {
        std::printf("%-20s %6.2f ms %7.1f MiB %4d libraries\n", what, cost.processorTime, cost.memory, cost.libraries);
    };
    print("a C++ process", plain);
    print("with libtolvane.so", loaded);
    return EXIT_SUCCESS;
}
