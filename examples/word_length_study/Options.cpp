#include "examples/word_length_study/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <ostream>

namespace study {
namespace {

constexpr const char* kDescription =
    "Quantizes a recording to a grid of number formats and shows the cost of each,\n"
    "so that the word length of a sample path can be chosen.\n";

constexpr const char* kFooter = R"(Formats:
  s16,15   signed word of 16 bits whose bit 0 weighs 2^-15; u8,8 is an unsigned one.
           Words have 1 to 52 bits, fractions -512 to 512; full scale of a recording is 1.
           --fractions full gives the words that range: s16,15, u16,16. With --full, auto and
           full also measure the next finer fraction.
  f16:5    float of 16 bits, 5 of them exponent, with denormals; its overflow is infinity.

Ratio:
  SNR = 10 log10( sum x^2 / sum (x - q)^2 ) in dB, with x the samples after --gain and q the
  quantized ones. "exact" means that no sample changed. Samples are rounded first and
  checked for overflow second; an underflow is a non-zero sample that became zero.

Choice:
  The smallest fixed-point word of the table that meets the target ratio. Among formats of
  that word: no overflow before some, then the greater ratio to 0.1 dB, then table order.

Mix:
  Types, rules and arrays are made through the host, which calls libtolvane.so: the recording
  plus and minus a delayed, quieter copy, in the chosen format (16 bits if none or a float).

Exit codes:
  0  done                                    4  a sample is not a number, infinite or too great
  1  unexpected failure                      5  --out given, but no format meets the ratio
  2  bad option, format or channel           6  a file cannot be written
  3  recording missing, empty or unreadable  7  words read back differ from the samples' words)";

}  // namespace

std::optional<Options> parseOptions(std::span<const std::string> arguments, std::ostream& out) {
    Options options;
    std::string words = "6:24";
    std::string fractions = "auto";
    std::string rounds = "all";
    std::string overflows = "all";
    std::string floats = "8:4,12:5,16:8,16:5,32:8";
    std::string signedness = "signed";
    std::string format;

    CLI::App app(kDescription, "word_length_study");
    options.addTo(app, kFooter, "Channel to study, counted from 1",
                  "Gain before quantizing, in dB; with --fractions full it leads into overflow");
    const auto* wordsOption =
        app.add_option("--words", words, "Word lengths, like 8:24 or 8,10,12:14; by default up to the first exact one");
    app.add_option("--fractions", fractions,
                   "Fraction lengths, likewise; auto: the finest that holds the peak; full: scale 1");
    app.add_option("--rounds", rounds, "nearest,convergent,round,fix,floor,ceil or all; the first is the usual one");
    app.add_option("--overflows", overflows, "saturate,wrap or all; the first is the usual one");
    app.add_option("--floats", floats, "Float formats, word:exponent bits, or none");
    app.add_option("--signedness", signedness, "signed, unsigned or both")
        ->check(CLI::IsMember({"signed", "unsigned", "both"}));
    app.add_flag("--full", options.full, "Every combination instead of the most informative");
    app.add_option("--format", format, "Choose this format, s16,15 or \"s16,15 floor/wrap\", regardless of its ratio");
    app.add_option("--out", options.wordFile,
                   "Write the words of the chosen format to this file, in hexadecimal, one per line");
    app.add_option("--csv", options.csvFile, "Also write the table to this file, as comma-separated values");
    app.add_option("--mix-delay", options.mixDelayMs,
                   "Delay of the copy in the mix, in ms; by default 25, less for a short recording")
        ->option_text("FLOAT");
    app.add_option("--mix-gain", options.mixGainDb, "Gain of that copy, in dB");
    bool noMix = false;
    app.add_flag("--no-mix", noMix, "Leave out the mix and its table");

    if (!parse(app, arguments, out)) {
        return std::nullopt;
    }
    options.check();
    if (options.mixDelayMs && !(*options.mixDelayMs >= 0.0 && *options.mixDelayMs <= 1e6)) {
        refuseArguments("bad --mix-delay: give 0 to 1000000 ms");
    }
    if (!(std::fabs(options.mixGainDb) <= 200.0)) {
        refuseArguments("bad --mix-gain: give -200 to 200 dB");
    }
    options.mixes = !noMix;
    options.words = parseNumbers(words, "word lengths", 1, kWordBitsLimit);
    options.wordsAreGiven = wordsOption->count() > 0;
    options.fractionsAreFullScale = fractions == "full";
    if (fractions != "auto" && fractions != "full") {
        options.fractions = parseNumbers(fractions, "fraction lengths", -kFractionBitsLimit, kFractionBitsLimit);
    }
    options.rounds = parseRounds(rounds);
    options.overflows = parseOverflows(overflows);
    options.floats = parseFloats(floats);
    options.signedness = signedness == "signed"     ? Signedness::Signed
                         : signedness == "unsigned" ? Signedness::Unsigned
                                                    : Signedness::Both;
    if (!format.empty()) {
        Format defaults;
        defaults.round = options.rounds.front();
        defaults.overflow = options.overflows.front();
        options.format = parseFormat(format, defaults);
    }
    return options;
}

}  // namespace study
