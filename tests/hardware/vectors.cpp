// Writes the words that simulators compute with, and what the library makes of them; compares what simulators wrote.
//
//     hardware_vectors write FOLDER WORDS SEED
//     hardware_vectors compare FOLDER
//
// A file `groups` has a line for every group of words with the same operation and types. The words of NAME are in
// NAME.a.hex and NAME.b.hex, those of the library in NAME.want.hex, those of a simulator in SIMULATOR/NAME.hex.
#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "filters.h"
#include "operations.h"

namespace {

using hardware::Cascade;
using hardware::Draw;
using hardware::FirFilter;
using hardware::Kind;
using hardware::ModuleOperation;
using hardware::PackageOperation;
using tolvane::exact_value;
using tolvane::fixed_array;
using tolvane::fixed_type;

constexpr Kind kKinds[] = {Kind::cast, Kind::sum, Kind::difference, Kind::product, Kind::quotient};
constexpr std::size_t kMostShown = 5;
/// The words that the package computes are in files of this name; all others are for the modules.
constexpr const char* kPackageFiles = "fixed_pkg";

/// Words of one operation, or of one filter.
struct Group {
    std::string file;
    std::string kind;  // in the plural
    std::size_t count = 0;
    std::array<fixed_type, 3> types;  // of both operands and of the result
    bool isFilter = false;            // whose second operands aren't beside the first ones
    std::string what;
};

std::ofstream opened(const std::string& path) {
    std::ofstream out(path);
    if (!out) {
        throw std::runtime_error("can't write " + path);
    }
    return out;
}

/// A word a line, and nothing else.
void writeWords(std::ostream& out, const fixed_array& words) {
    tolvane::write_words(out, words, {.describe = false});
}

/// A folder with all files of a run.
class Writer {
 public:
    Writer(std::string folder, std::size_t words, std::uint64_t seed)
        : mFolder(std::move(folder)), mGroups(opened(mFolder + "/groups")), mDraw(seed), mWords(words) {
        opened(mFolder + "/seed") << seed << '\n';
    }

    void writePackageGroups() {
        std::ofstream cases = opened(mFolder + '/' + kPackageFiles + ".cases");
        Files files(mFolder + '/' + kPackageFiles);
        constexpr std::size_t kCount = 20;
        for (std::size_t done = 0, i = 0; done < mWords; done += kCount, ++i) {
            const Kind kind = kKinds[i % std::size(kKinds)];
            const PackageOperation operation = PackageOperation::drawn(mDraw, kind);
            const fixed_array a(mDraw.values(operation.left, operation.right, kCount), operation.left);
            const fixed_array b = rightOf(operation.right, kind, kCount);
            const fixed_array result = operation.result(a, b);
            cases << operation.text() << ' ' << kCount << '\n';
            files.write(a, b, result);
            note({kPackageFiles, std::string(nameOf(kind)), kCount, {}, false, operation.expression()}, a, b, result);
        }
    }

    void writeModuleGroups() {
        std::ofstream benches = opened(mFolder + "/top.v");
        const std::size_t groups = std::clamp<std::size_t>(mWords / 500, 60, 400) / 5 * 5;
        std::ostringstream instances;
        int number = 0;
        const auto instance = [&](const std::string& bench, const std::string& name, std::size_t count,
                                  const std::string& parameters) {
            instances << "    " << bench << "_bench #(.NAME(\"" << name << "\"), .COUNT(" << count << "), "
                      << parameters << ")\n        " << name << " (.clock(clock), .done(done[" << number++ << "]));\n";
        };
        for (std::size_t i = 0; i < groups; ++i) {
            const Kind kind = kKinds[i % std::size(kKinds)];
            const ModuleOperation operation = ModuleOperation::drawn(mDraw, kind);
            const std::size_t count = mWords / groups;
            const fixed_array a(mDraw.values(operation.left, operation.format.type(), count), operation.left);
            const fixed_array b = rightOf(operation.right, kind, count);
            const std::string name = "operation_" + std::to_string(i);
            write(name, std::string(nameOf(kind)), a, b, operation.result(a, b), false, operation.parameters());
            instance("operation", name, count, operation.parameters());
        }
        const std::size_t filters = std::clamp<std::size_t>(mWords / 5000, 4, 12);
        for (std::size_t i = 0; i < filters; ++i) {
            const FirFilter fir = FirFilter::drawn(mDraw);
            const std::size_t count = mWords / 5 / filters;
            const fixed_array x = signalDrawn(mDraw, fir.input, count);
            const std::string name = "fir_" + std::to_string(i);
            write(name, "FIR samples", x, fir.taps, fir.filtered(x), true, fir.parameters());
            instance("fir", name, count, fir.parameters());
        }
        const std::size_t cascades = 2 * filters;
        for (std::size_t i = 0; i < cascades; ++i) {
            constexpr std::size_t kForms = std::size(hardware::kForms);
            const auto length = static_cast<hardware::Length>((i + i / kForms) % 3);
            const Cascade cascade = Cascade::drawn(mDraw, hardware::kForms[i % kForms], length);
            const std::size_t count = mWords / 5 / cascades;
            const fixed_array x = signalDrawn(mDraw, cascade.input, count);
            const std::string name = "cascade_" + std::to_string(i);
            write(name, "biquad samples", x, cascade.coefficients(), cascade.filtered(x), true, cascade.parameters());
            const fixed_array overflows = cascade.overflows(x);
            std::vector<exact_value> numbers;
            for (std::size_t k = 0; k < overflows.size(); ++k) {
                numbers.emplace_back(static_cast<std::int64_t>(k));
            }
            const fixed_array places(numbers, overflows.type());
            write(name + "_overflows", "overflows", places, places, overflows, true, cascade.parameters());
            instance("cascade", name, count, cascade.parameters());
        }
        benches << "module top;\n    reg clock = 0;\n    wire [" << number - 1 << ":0] done;\n\n"
                << instances.str()
                << "\n    // No filter takes as many clocks.\n    integer clocks = 0;\n    always #1 clock = !clock;\n"
                << "    always @(posedge clock) begin\n        clocks <= clocks + 1;\n        if (&done || clocks == "
                << 1000 + 2 * mWords << ") $finish;\n    end\nendmodule\n";
    }

 private:
    struct Files {
        explicit Files(const std::string& name)
            : left(opened(name + ".a.hex")), right(opened(name + ".b.hex")), want(opened(name + ".want.hex")) {}
        void write(const fixed_array& a, const fixed_array& b, const fixed_array& result) {
            writeWords(left, a);
            writeWords(right, b);
            writeWords(want, result);
        }
        std::ofstream left;
        std::ofstream right;
        std::ofstream want;
    };

    /// Divisors are never zero, and casts have no right operand.
    fixed_array rightOf(const fixed_type& type, Kind kind, std::size_t count) {
        if (kind == Kind::cast) {
            return fixed_array::zeros({count}, type);
        }
        std::vector<exact_value> values = mDraw.values(type, type, count);
        const std::uint64_t one = 1;
        const exact_value last = exact_value::from_words(&one, 1, false, -type.fraction);
        if (kind == Kind::quotient) {
            std::replace(values.begin(), values.end(), exact_value(), last);
        }
        return fixed_array(values, type);
    }
    void write(const std::string& file, const std::string& kind, const fixed_array& a, const fixed_array& b,
               const fixed_array& result, bool isFilter, const std::string& what) {
        Files(mFolder + '/' + file).write(a, b, result);
        note({file, kind, result.size(), {}, isFilter, what}, a, b, result);
    }
    void note(const Group& group, const fixed_array& a, const fixed_array& b, const fixed_array& result) {
        mGroups << group.file << '\t' << group.kind << '\t' << group.count << '\t' << a.type().text() << '\t'
                << b.type().text() << '\t' << result.type().text() << '\t' << group.isFilter << '\t' << group.what
                << '\n';
    }

    std::string mFolder;
    std::ofstream mGroups;
    Draw mDraw;
    std::size_t mWords;
};

std::vector<Group> readGroups(const std::string& folder) {
    std::ifstream in(folder + "/groups");
    std::vector<Group> groups;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::array<std::string, 8> field;
        for (std::string& text : field) {
            std::getline(fields, text, '\t');
        }
        Group group{field[0], field[1], std::stoul(field[2]), {}, field[6] == "1", field[7]};
        for (std::size_t i = 0; i < 3; ++i) {
            group.types[i] = tolvane::fixed_format(field[3 + i]).type();
        }
        groups.push_back(group);
    }
    if (groups.empty()) {
        throw std::runtime_error(folder + " has no words to compare");
    }
    return groups;
}

/// Lower-case, as Verilog writes digits, for VHDL writes the other ones.
std::string wordOf(std::istream& in) {
    std::string word;
    std::getline(in, word);
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
    return word;
}

std::string shown(const std::string& word, const fixed_type& type) {
    std::string text = (word.empty() ? "nothing" : word) + "  " + type.text() + "  ";
    try {
        return text + tolvane::from_hex(std::vector{word}, type).at(0).text();
    } catch (const std::exception& error) {
        return text + '(' + error.what() + ')';
    }
}

class Comparison {
 public:
    explicit Comparison(std::string folder) : mFolder(std::move(folder)) { std::ifstream(mFolder + "/seed") >> mSeed; }

    void compare(const std::string& simulator) {
        std::string file;
        std::array<std::ifstream, 4> in;  // a, b, want, found
        for (const Group& group : readGroups(mFolder)) {
            if ((group.file == kPackageFiles) != (simulator == "ghdl")) {
                continue;
            }
            if (group.file != file) {
                requireEnd(simulator, file, in[3]);
                file = group.file;
                const std::filesystem::path folder(mFolder);
                const std::filesystem::path paths[] = {folder / (file + ".a.hex"), folder / (file + ".b.hex"),
                                                       folder / (file + ".want.hex"),
                                                       folder / simulator / (file + ".hex")};
                for (std::size_t i = 0; i < in.size(); ++i) {
                    in[i] = std::ifstream(paths[i]);
                }
            }
            for (std::size_t i = 0; i < group.count; ++i) {
                const std::string a = wordOf(in[0]);
                const std::string b = group.isFilter ? "" : wordOf(in[1]);
                const std::string want = wordOf(in[2]);
                const std::string found = wordOf(in[3]);
                ++mCounts[group.kind][simulator];
                if (want != found || want.empty()) {
                    tell(group, simulator, i, a, b, want, found);
                }
            }
        }
        requireEnd(simulator, file, in[3]);
    }

    /// Prints what was compared; returns whether all were equal.
    bool report() {
        std::size_t total = 0;
        for (const char* kind :
             {"casts", "sums", "differences", "products", "quotients", "FIR samples", "biquad samples", "overflows"}) {
            std::printf("  %-16s", kind);
            for (const auto& [simulator, count] : mCounts[kind]) {
                std::printf("%10zu %s", count, simulator.c_str());
                total += count;
            }
            std::printf("\n");
        }
        std::printf("hardware: %zu words of seed %s, %zu differ\n", total, mSeed.c_str(), mDifferences);
        return mDifferences == 0 && total > 0;
    }

 private:
    void requireEnd(const std::string& simulator, const std::string& file, std::istream& found) {
        if (!file.empty() && !wordOf(found).empty()) {
            std::printf("hardware: %s wrote more words of %s than there are\n", simulator.c_str(), file.c_str());
            ++mDifferences;
        }
    }
    void tell(const Group& group, const std::string& simulator, std::size_t i, const std::string& a,
              const std::string& b, const std::string& want, const std::string& found) {
        if (++mDifferences > kMostShown) {
            return;
        }
        std::ostringstream out;
        out << simulator << " and the library differ in word " << i << " of a group of " << group.kind << ", seed "
            << mSeed << ":\n  " << group.what << "\n  files   " << mFolder << '/' << group.file << ".*\n  a       "
            << shown(a, group.types[0]) << '\n';
        if (!group.isFilter && group.kind != nameOf(Kind::cast)) {
            out << "  b       " << shown(b, group.types[1]) << '\n';
        }
        out << "  library " << shown(want, group.types[2]) << "\n  found   " << shown(found, group.types[2]) << '\n';
        std::fputs(out.str().c_str(), stdout);
    }

    std::string mFolder;
    std::string mSeed;
    std::map<std::string, std::map<std::string, std::size_t>> mCounts;
    std::size_t mDifferences = 0;
};

}  // namespace

int main(int count, char** arguments) try {
    const std::vector<std::string> given(arguments + 1, arguments + count);
    if (given.size() == 4 && given[0] == "write") {
        Writer writer(given[1], std::stoul(given[2]), std::stoull(given[3]));
        writer.writePackageGroups();
        writer.writeModuleGroups();
        return 0;
    }
    if (given.size() == 2 && given[0] == "compare") {
        Comparison comparison(given[1]);
        for (const char* simulator : {"ghdl", "iverilog", "verilator"}) {
            comparison.compare(simulator);
        }
        return comparison.report() ? 0 : 1;
    }
    std::cerr << "hardware_vectors write FOLDER WORDS SEED | compare FOLDER\n";
    return 2;
} catch (const std::exception& error) {
    std::cerr << "hardware_vectors: " << error.what() << '\n';
    return 2;
}
