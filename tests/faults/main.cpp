// Lets allocations fail, one at a time, in operations of the library, its interface and its host.
//
//   faults [--only TEXT] [--every N] [--seed N] [--most N] [--sets N] [--limits N] [--rows] [--shown N]
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/faults/trials.h"

int main(int count, char** arguments) {
    faults::Options options;
    for (int i = 1; i < count; ++i) {
        const std::string name = arguments[i];
        if (name == "--rows") {
            options.showsRows = true;
            continue;
        }
        if (i + 1 == count) {
            std::fprintf(stderr, "faults: %s needs a value\n", name.c_str());
            return 2;
        }
        const std::string value = arguments[++i];
        const std::uint64_t number = std::strtoull(value.c_str(), nullptr, 10);
        if (name == "--only") {
            options.only = value;
        } else if (name == "--every") {
            options.every = number;
        } else if (name == "--seed") {
            options.seed = number;
        } else if (name == "--most") {
            options.most = number;
        } else if (name == "--sets") {
            options.sets = static_cast<int>(number);
        } else if (name == "--limits") {
            options.limits = number;
        } else if (name == "--shown") {
            options.shownFailures = static_cast<int>(number);
        } else {
            std::fprintf(stderr, "faults: %s is no option\n", name.c_str());
            return 2;
        }
    }
    faults::Operations operations = faults::programOperations();
    for (const auto& more : {faults::hostOperations(), faults::fileOperations()}) {
        operations.insert(operations.end(), more.begin(), more.end());
    }
    return faults::runTrials(operations, options) == 0 ? 0 : 1;
}
