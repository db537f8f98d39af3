#include "examples/word_length_study/mix.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <utility>

#include "examples/LoggingSwitch.h"
#include "examples/studies/StudyError.h"
#include "examples/studies/stored_word.h"
#include "host/reference/Session.h"

namespace study {
namespace {

using hostref::Session;
using hostref::Value;

constexpr double kDefaultDelayMs = 25.0;
// Room for the full sum of words whose fractions lie far apart.
constexpr int kWidestSum = 4096;

std::string milliseconds(double value) {
    std::array<char, 40> text;
    std::snprintf(text.data(), text.size(), "%.6g ms", value);
    return text.data();
}

double ratioDb(std::span<const double> wanted, std::span<const double> got) {
    long double signal = 0.0L;
    long double noise = 0.0L;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const long double sample = wanted[i];
        const long double difference = sample - got[i];
        signal += sample * sample;
        noise += difference * difference;
    }
    return noise > 0.0L ? static_cast<double>(10.0L * std::log10(signal / noise))
                        : std::numeric_limits<double>::infinity();
}

int finestFraction(std::span<const double> samples, Kind kind, int wordBits, Round round) {
    const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
    return coveringFraction(*low, *high, kind, wordBits, round);
}

struct SumRule {
    const char* mode;
    bool castsOperands;
    bool wraps;
};

/// The sums of the table. Only FullPrecision grows; the others stay at the word length of the operands.
constexpr SumRule kSumRules[] = {{"FullPrecision", true, false},    {"KeepLSB", true, false},
                                 {"KeepMSB", true, false},          {"KeepMSB", false, false},
                                 {"SpecifyPrecision", true, false}, {"SpecifyPrecision", true, true}};

class Mixer {
 public:
    explicit Mixer(const Format& format) : mFormat(format), mLogging(mSession) {}

    Mix mix(std::span<const double> samples, const MixSetting& setting) {
        mMix.setting = setting;
        mMix.format = mFormat;
        const std::vector<double> recording(samples.begin(), samples.end());
        const double gain = std::pow(10.0, setting.gainDb / 20.0);
        std::vector<double> copy(recording.size());
        for (std::size_t i = setting.delay; i < copy.size(); ++i) {
            copy[i] = gain * recording[i - setting.delay];
        }
        Format copyFormat = mFormat;
        copyFormat.fractionBits = finestFraction(copy, mFormat.kind, mFormat.wordBits, mFormat.round);

        const Value a = operand("recording", recording, mFormat);
        const Value b = operand("copy", copy, copyFormat);
        for (const bool isSum : {true, false}) {
            std::vector<double> wanted = recording;
            for (std::size_t i = 0; i < wanted.size(); ++i) {
                wanted[i] += isSum ? copy[i] : -copy[i];
            }
            for (const SumRule& rule : kSumRules) {
                const Value rules = rulesOf(rule);
                a.set("fimath", rules);
                b.set("fimath", rules);
                const Value result = mSession.call(isSum ? "plus" : "minus", {a, b});
                (isSum ? mMix.sums : mMix.differences).push_back(rowOf(rule, result, wanted));
            }
        }
        return std::move(mMix);
    }

 private:
    Value rulesOf(const SumRule& rule) {
        Value rules = mSession.construct("embedded.fimath");
        rules.set("RoundMode", std::string(nameOf(mFormat.round)));
        rules.set("OverflowMode", std::string(nameOf(rule.wraps ? Overflow::Wrap : mFormat.overflow)));
        rules.set("SumMode", rule.mode);
        rules.set("SumWordLength", mFormat.wordBits);
        rules.set("SumFractionLength", mFormat.fractionBits);
        rules.set("MaxSumWordLength", kWidestSum);
        rules.set("CastBeforeSum", rule.castsOperands);
        return rules;
    }

    Value operand(const char* name, const std::vector<double>& samples, const Format& format) {
        const Value type = mSession.construct("embedded.numerictype");
        type.set("SignednessBool", format.kind == Kind::Signed);
        type.set("WordLength", format.wordBits);
        type.set("FractionLength", format.fractionBits);
        // Written afterwards, since the host is warned only of writes to the data; construction with rules and data
        // only counts.
        Value array = mSession.construct("embedded.fi", {Value(), type, rulesOf(kSumRules[0])});
        array.set("data", samples);
        mMix.operands.push_back(rowOf({name, true, false}, array, samples));
        return array;
    }

    MixRow rowOf(const SumRule& rule, const Value& array, std::span<const double> wanted) {
        MixRow row;
        row.name = rule.mode;
        row.type = typeOf(array);
        row.overflow = rule.wraps ? Overflow::Wrap : mFormat.overflow;
        row.castsOperands = rule.castsOperands;
        for (const hostref::Warning& warning : mSession.takeWarnings()) {
            // The texts start with the count.
            const std::uint64_t count = std::strtoull(warning.text.c_str(), nullptr, 10);
            if (warning.id == "fi:overflow") {
                row.overflows += count;
            }
            if (warning.id == "fi:underflow") {
                row.underflows += count;
            }
            mMix.warnings.push_back(warning.id + ": " + warning.text);
        }
        row.smallest = mSession.call("minlog", {array}).toDouble();
        row.greatest = mSession.call("maxlog", {array}).toDouble();
        row.snrDb = ratioDb(wanted, array.get("double").toDoubles());
        return row;
    }

    static std::string typeOf(const Value& array) {
        const Value type = array.get("numerictype");
        const auto integer = [&type](const char* name) {
            return std::to_string(static_cast<int>(type.get(name).toDouble()));
        };
        return (type.get("SignednessBool").toBool() ? "s" : "u") + integer("WordLength") + "," +
               integer("FractionLength");
    }

    const Format& mFormat;
    Session mSession;
    LoggingSwitch mLogging;
    Mix mMix;
};

}  // namespace

MixSetting mixSettingOf(const Options& options, const Recording& recording) {
    const double rate = recording.sampleRate;
    const double lengthMs = 1000.0 * static_cast<double>(recording.samples.size()) / rate;
    MixSetting setting;
    setting.gainDb = options.mixGainDb;
    setting.delayMs = options.mixDelayMs.value_or(std::min(kDefaultDelayMs, lengthMs / 4.0));
    setting.delay = static_cast<std::size_t>(std::llround(setting.delayMs * rate / 1000.0));
    if (setting.delay >= recording.samples.size()) {
        if (options.mixDelayMs) {
            throw StudyError(ExitCode::BadArguments, "bad --mix-delay: the recording ends after " +
                                                         milliseconds(lengthMs) + ", before the copy begins");
        }
        setting.delay = 0;
    }
    return setting;
}

Mix mix(std::span<const double> samples, const Format& format, const MixSetting& setting) {
    return Mixer(format).mix(samples, setting);
}

Format mixFormatOf(const std::optional<Format>& chosen, std::span<const double> samples, const Options& options) {
    if (chosen && chosen->kind != Kind::Float) {
        return *chosen;
    }
    const Kind kind = options.signedness == Signedness::Unsigned ? Kind::Unsigned : Kind::Signed;
    Format format{kind, 16, 15, 0, options.rounds.front(), options.overflows.front()};
    format.fractionBits = finestFraction(samples, kind, format.wordBits, format.round);
    return format;
}

}  // namespace study
