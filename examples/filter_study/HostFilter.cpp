#include "examples/filter_study/HostFilter.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "examples/filter_study/host_objects.h"
#include "examples/filter_study/low_pass.h"
#include "examples/studies/StudyError.h"

namespace filterstudy {
namespace {

using hostref::Value;
using Clock = std::chrono::steady_clock;

double nanosecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

/// Adds up the counts of warnings such as "12 product overflows occurred in the fi * operation.".
std::uint64_t countIn(const std::vector<hostref::Warning>& warnings, std::string_view what) {
    std::uint64_t count = 0;
    for (const hostref::Warning& warning : warnings) {
        if (warning.id == "fi:overflow" && warning.text.find(what) != std::string::npos) {
            count += std::strtoull(warning.text.c_str(), nullptr, 10);
        }
    }
    return count;
}

[[noreturn]] void differ(const Arithmetic& arithmetic, const std::string& what) {
    throw study::StudyError(study::ExitCode::WordsDiffer,
                            "data " + nameOf(arithmetic.data) + ", coefficients " + nameOf(arithmetic.coefficient) +
                                ", products " + nameOf(arithmetic.product.keep) + " " +
                                nameOf(productWord(arithmetic)) + ", sums " + nameOf(arithmetic.sum.keep) + " " +
                                nameOf(arithmetic.sum.word) + ", " + std::string(study::nameOf(arithmetic.round)) +
                                "/" + std::string(study::nameOf(arithmetic.overflow)) + ": " + what);
}

}  // namespace

double ratioDb(std::span<const double> wanted, std::span<const double> got) {
    long double signal = 0.0L;
    long double noise = 0.0L;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const long double difference = static_cast<long double>(wanted[i]) - got[i];
        signal += static_cast<long double>(wanted[i]) * wanted[i];
        noise += difference * difference;
    }
    return noise > 0.0L ? static_cast<double>(10.0L * std::log10(signal / noise))
                        : std::numeric_limits<double>::infinity();
}

HostFilter::HostFilter(std::span<const double> samples, std::span<const double> coefficients)
    : mSamples(samples),
      mCoefficients(coefficients),
      mSession(TOLVANE_MODULE),
      mLogging(mSession),
      mGlobalRules(mSession.construct("embedded.globalfimath")),
      mQuantizing(quantizingRules(mSession)) {
    mProducts = static_cast<double>(productCount(samples.size(), coefficients.size()));
    const auto start = Clock::now();
    mReference = filtered(samples, coefficients);
    mReferenceNanoseconds = nanosecondsSince(start) / mProducts;
}

HostFilter::~HostFilter() {
    mGlobalRules.call("reset");
}

Value HostFilter::arrayOf(const std::vector<double>& row, Word word) {
    Value array = mSession.construct("embedded.fi", {row, typeOf(mSession, word), mQuantizing});
    array.set("fimath", Value());  // from here on the global rules apply
    return array;
}

const HostFilter::Operand& HostFilter::data(Word word, Way way) {
    const auto [entry, isNew] = mData.try_emplace({word, way});
    Operand& operand = entry->second;
    if (!isNew) {
        return operand;
    }
    operand.integers = storedIntegers(mSamples, word);
    const std::vector<double> row(mSamples.begin(), mSamples.end());
    if (way == Way::Convolution) {
        operand.arrays.push_back(arrayOf(row, word));
        return operand;
    }
    for (std::size_t tap = 0; tap < mCoefficients.size(); ++tap) {
        // Output i uses sample i + middle - tap.
        std::vector<double> moved(row.size());
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::size_t at = i + mCoefficients.size() / 2 - tap;  // wraps to a large number below 0
            moved[i] = at < row.size() ? row[at] : 0.0;
        }
        operand.arrays.push_back(arrayOf(moved, word));
    }
    return operand;
}

const HostFilter::Operand& HostFilter::taps(Word word, Way way) {
    const auto [entry, isNew] = mTaps.try_emplace({word, way});
    Operand& operand = entry->second;
    if (!isNew) {
        return operand;
    }
    operand.integers = storedIntegers(mCoefficients, word);
    if (way == Way::Convolution) {
        operand.arrays.push_back(arrayOf({mCoefficients.begin(), mCoefficients.end()}, word));
        return operand;
    }
    for (const double coefficient : mCoefficients) {
        operand.arrays.push_back(arrayOf({coefficient}, word));
    }
    return operand;
}

Value HostFilter::tapByTap(const Operand& data, const Operand& taps, Value sum) {
    // The order of the convolution, with rising samples.
    for (std::size_t tap = taps.arrays.size(); tap-- > 0;) {
        const Value product = mSession.call("times", {data.arrays[tap], taps.arrays[tap]});
        sum = mSession.call("plus", {sum, product});
    }
    return sum;
}

Outcome HostFilter::run(const Arithmetic& arithmetic, Way way) {
    const Operand& data = this->data(arithmetic.data, way);
    const Operand& taps = this->taps(arithmetic.coefficient, way);
    Arithmetic specified = arithmetic;
    Value result;
    if (way == Way::TapByTap) {
        // A sum in full would grow with each coefficient, so its word is specified in advance.
        specified.sum = {Keep::Specified, sumWord(arithmetic, terms())};
        result = arrayOf(std::vector<double>(mSamples.size()), sumWord(arithmetic, terms()));
    }
    setRules(mGlobalRules, specified);
    mSession.takeWarnings();

    const auto start = Clock::now();
    result = way == Way::TapByTap ? tapByTap(data, taps, result)
                                  : mSession.call("convS", {data.arrays.front(), taps.arrays.front()});
    const double nanoseconds = nanosecondsSince(start);

    Outcome outcome;
    outcome.arithmetic = arithmetic;
    outcome.nanosecondsPerTap = nanoseconds / mProducts;
    const auto warnings = mSession.takeWarnings();
    outcome.productOverflows = countIn(warnings, "product overflow");
    outcome.warnedSumOverflows = countIn(warnings, way == Way::TapByTap ? "fi + operation" : "sum overflow");
    outcome.output = {static_cast<int>(result.get("WordLength").toDouble()),
                      static_cast<int>(result.get("FractionLength").toDouble())};
    outcome.smallest = mSession.call("minlog", {result}).toDouble();
    outcome.greatest = mSession.call("maxlog", {result}).toDouble();
    outcome.values = result.get("double").toDoubles();
    outcome.snrDb = ratioDb(mReference, outcome.values);

    const ModelOutput model = integerFilter(data.integers, taps.integers, arithmetic);
    outcome.sumOverflows = model.sumOverflows;
    requireEqual(outcome, model, way, terms());
    return outcome;
}

void requireEqual(const Outcome& outcome, const ModelOutput& model, Way way, std::size_t terms) {
    const Arithmetic& arithmetic = outcome.arithmetic;
    const Word expected = sumWord(arithmetic, terms);
    if (outcome.output != expected) {
        differ(arithmetic, "the output is " + nameOf(outcome.output) + ", but should be " + nameOf(expected));
    }
    if (outcome.values.size() != model.words.size()) {
        differ(arithmetic, "the output has another length");
    }
    for (std::size_t i = 0; i < model.words.size(); ++i) {
        if (std::ldexp(outcome.values[i], expected.fraction) != static_cast<double>(model.words[i])) {
            differ(arithmetic, "output " + std::to_string(i) + " (counted from 0) is not the integer model's " +
                                   std::to_string(model.words[i]) + ", but " +
                                   std::to_string(std::ldexp(outcome.values[i], expected.fraction)));
        }
    }
    const std::uint64_t sums = way == Way::TapByTap ? model.sumOverflows : model.loggedSumOverflows;
    if (outcome.productOverflows != model.productOverflows || outcome.warnedSumOverflows != sums) {
        differ(arithmetic, "the host was warned of " + std::to_string(outcome.productOverflows) + " and " +
                               std::to_string(outcome.warnedSumOverflows) +
                               " overflows of products and sums, but the integer model has " +
                               std::to_string(model.productOverflows) + " and " + std::to_string(sums));
    }
}

}  // namespace filterstudy
