#include "examples/filter_study/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ostream>
#include <vector>

namespace filterstudy {
namespace {

constexpr const char* kDescription =
    "Filters a recording with a low-pass in doubles and in fixed-point words of many lengths,\n"
    "and finds the cheapest words that meet a target ratio.\n";

constexpr const char* kFooter = R"(Words:
  s16,15 is a signed word of 16 bits whose bit 0 weighs 2^-15; full scale of a recording is 1.
  Coefficients and data have 2 to 24 bits and the finest fraction that holds their peak. Products
  keep their most significant bits (KeepMSB). Sums have the finest fraction that holds every
  partial sum that data of that peak can produce (SpecifyPrecision). Products and sums in full
  are always tried as well.

Ratio:
  SNR = 10 log10( sum y^2 / sum (y - q)^2 ) in dB, with y filtered in doubles and q in words.

Cost:
  coefficient bits x data bits + product bits + sum bits, in cells of about one full adder.

Files of --out:
  filtered.wav       the recording, filtered in the chosen words, without loss
  coefficients.h     the coefficients' stored integers as a C array
  coefficients.hex   the same as hexadecimal words, one per line, for $readmemh
  coefficients.bin   the same as binary words, for $readmemb

Exit codes:
  0  done                                    4  a sample is not a number, infinite or too great
  1  unexpected failure                      5  --out given, but no words meet the ratio
  2  bad option or channel                   6  a file cannot be written
  3  recording missing, empty or unreadable  7  an output differs from the integer model's)";

}  // namespace

std::optional<Options> parseOptions(std::span<const std::string> arguments, std::ostream& out) {
    Options options;
    std::string coefficients = "8:18";
    std::string data = "8:16";
    std::string products = "10:32";
    std::string sums = "10:32";
    std::string round = "nearest";
    std::string overflow = "saturate";
    std::int64_t stretch = 4096;

    CLI::App app(kDescription, "filter_study");
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    options.addTo(app, kFooter, "Channel to filter, counted from 1", "Gain before the filter, in dB");
    app.add_option("--taps", options.taps, "Coefficients of the filter, 2 to 512");
    app.add_option("--cutoff", options.cutoffHz, "Where the gain is one half, in Hz; by default a twelfth of the rate")
        ->option_text("FLOAT");
    app.add_option("--attenuation", options.attenuationDb, "Attenuation in the stop band, for the window, in dB");
    app.add_option("--coefficients", coefficients, "Word lengths of coefficients, like 8:18 or 8,10,12:14");
    app.add_option("--data", data, "Word lengths of data, likewise");
    app.add_option("--products", products, "Word lengths of products, likewise");
    app.add_option("--sums", sums, "Word lengths of sums, likewise");
    app.add_option("--round", round, "Rounding of products and sums: nearest, convergent, round, fix, floor or ceil");
    app.add_option("--overflow", overflow, "Overflow of products and sums: saturate or wrap");
    app.add_option("--stretch", stretch,
                   "Samples for measuring the grid; the choice is confirmed on the whole recording");
    app.add_option("--out", options.folder, "Write the files below to this folder");
    app.add_option("--csv", options.csvFile, "Write all measured rows to this file as comma-separated values");
    app.add_option("--save", options.saveFile, "Save the study to this file of the host");
    app.add_option("--load", options.loadFile, "Show the study of such a file again, instead of a new one");
    app.add_flag("--show", options.show, "Show the chosen coefficients as the host displays them");

    if (!study::parse(app, arguments, out)) {
        return std::nullopt;
    }
    options.check();
    if (options.taps < 2 || options.taps > 512) {
        study::refuseArguments("bad --taps: give 2 to 512");
    }
    if (options.cutoffHz && !(*options.cutoffHz > 0.0)) {
        study::refuseArguments("bad --cutoff: give a frequency above 0 Hz");
    }
    if (!(options.attenuationDb >= 20.0 && options.attenuationDb <= 200.0)) {
        study::refuseArguments("bad --attenuation: give 20 to 200 dB");
    }
    if (stretch < 1) {
        study::refuseArguments("bad --stretch: give at least 1 sample");
    }
    options.stretch = static_cast<std::size_t>(stretch);
    options.grid = {study::parseNumbers(coefficients, "word lengths of coefficients", 2, 24),
                    study::parseNumbers(data, "word lengths of data", 2, 24),
                    study::parseNumbers(products, "word lengths of products", 2, kExactBits),
                    study::parseNumbers(sums, "word lengths of sums", 2, kExactBits)};
    const auto longest = [](const std::vector<int>& lengths) {
        return *std::max_element(lengths.begin(), lengths.end());
    };
    const int fullBits = longest(options.grid.coefficients) + longest(options.grid.data) +
                         growthBits(static_cast<std::size_t>(options.taps));
    if (fullBits > kExactBits) {
        study::refuseArguments("the longest words give sums of " + std::to_string(fullBits) +
                               " bits; doubles show at most " + std::to_string(kExactBits) +
                               ", so give fewer coefficient or data bits or fewer taps");
    }
    const auto single = [](const auto& modes, const char* option) {
        if (modes.size() != 1) {
            study::refuseArguments(std::string("bad ") + option + ": give one mode");
        }
        return modes.front();
    };
    options.round = single(study::parseRounds(round), "--round");
    options.overflow = single(study::parseOverflows(overflow), "--overflow");
    return options;
}

}  // namespace filterstudy
