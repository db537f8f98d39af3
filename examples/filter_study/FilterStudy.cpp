#include "examples/filter_study/FilterStudy.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <numeric>

#include "examples/studies/StudyError.h"

namespace filterstudy {
namespace {

class Conductor {
 public:
    Conductor(const Options& options, const study::Recording& recording, study::ProgressLine& progress)
        : mOptions(options), mSamples(recording.samples), mProgress(progress) {
        const double rate = recording.sampleRate;
        mStudy.cutoffHz = options.cutoffHz.value_or(rate / 12.0);
        if (!(mStudy.cutoffHz < rate / 2.0)) {
            throw study::StudyError(study::ExitCode::BadArguments, "bad --cutoff: it must lie below " +
                                                                       std::to_string(recording.sampleRate / 2) +
                                                                       " Hz, half of the sample rate");
        }
        mStudy.filter = {options.taps, mStudy.cutoffHz / rate, options.attenuationDb};
        mStudy.coefficients = designLowPass(mStudy.filter);
        // In a stretch shorter than the filter, sums in full would differ from those of the recording.
        mStudy.stretchLength = std::min(std::max(options.stretch, mStudy.coefficients.size()), mSamples.size());
        mStudy.stretchBegin = typicalStretch(mSamples, mStudy.stretchLength);
    }

    FilterStudy conduct() {
        const Plan plan(mSamples, mStudy.coefficients, mOptions.round, mOptions.overflow);
        HostFilter whole(mSamples, mStudy.coefficients);
        mStudy.referenceNanosecondsPerTap = whole.referenceNanosecondsPerTap();
        const auto samples = std::span<const double>(mSamples).subspan(mStudy.stretchBegin, mStudy.stretchLength);
        HostFilter stretch(samples, mStudy.coefficients);
        mStretch = &stretch;
        mPlan = &plan;

        const Ratio ratio = [this](const Arithmetic& arithmetic) { return measured(arithmetic).outcome.snrDb; };
        const Ratio confirm = [&](const Arithmetic& arithmetic) {
            mProgress.show("the whole recording with coefficients " + nameOf(arithmetic.coefficient) + " and data " +
                           nameOf(arithmetic.data));
            Row row{"whole recording", whole.run(arithmetic, Way::Convolution), plan.costOf(arithmetic)};
            const double snrDb = row.outcome.snrDb;
            if (snrDb >= mOptions.wantedDb) {
                mStudy.chosen = std::move(row);
            }
            return snrDb;
        };
        mStudy.pairs = measurePairs(plan, mOptions.grid, ratio);
        const auto chosen = cheapest(plan, mOptions.grid, mStudy.pairs, mOptions.wantedDb, ratio, confirm);
        const auto longest = [](const std::vector<int>& lengths) {
            return *std::max_element(lengths.begin(), lengths.end());
        };
        mStudy.centre = chosen.value_or(plan.exact(longest(mOptions.grid.coefficients), longest(mOptions.grid.data)));
        addProducts();
        addSums();
        addModes();
        mStudy.tapByTap = mStretch->run(mStudy.centre, Way::TapByTap);
        return std::move(mStudy);
    }

 private:
    const Row& measured(const Arithmetic& arithmetic) {
        const auto found = mKnown.find(arithmetic);
        if (found != mKnown.end()) {
            return mStudy.measured[found->second];
        }
        mProgress.show(std::to_string(mStudy.measured.size()) + " outputs measured, now coefficients " +
                       nameOf(arithmetic.coefficient) + " and data " + nameOf(arithmetic.data));
        Row row{"", mStretch->run(arithmetic, Way::Convolution), mPlan->costOf(arithmetic)};
        row.outcome.values = {};
        mKnown.emplace(arithmetic, mStudy.measured.size());
        mStudy.measured.push_back(std::move(row));
        return mStudy.measured.back();
    }

    void addRow(const Arithmetic& arithmetic, const std::string& name) {
        if (productWord(arithmetic).bits < 2 || sumWord(arithmetic, mPlan->terms()).bits < 2) {
            return;
        }
        if (sumWord(arithmetic, mPlan->terms()).bits > kExactBits) {
            return;
        }
        Row row = measured(arithmetic);
        row.name = name;
        mStudy.sections.back().rows.push_back(std::move(row));
    }

    static std::string nameOfMode(Keep keep, const Arithmetic& arithmetic) {
        return std::string(nameOf(keep)) + (arithmetic.overflow == Overflow::Wrap ? " wrap" : "");
    }

    void addProducts() {
        mStudy.sections.push_back({"Products", {}});
        Arithmetic arithmetic = mStudy.centre;
        const Word full = {arithmetic.coefficient.bits + arithmetic.data.bits,
                           arithmetic.coefficient.fraction + arithmetic.data.fraction};
        const int bits = productWord(arithmetic).bits;
        arithmetic.product = {};
        addRow(arithmetic, nameOfMode(Keep::Full, arithmetic));
        for (const int longer : {2, 0, -2}) {
            if (bits + longer >= full.bits) {
                continue;
            }
            arithmetic.product = {Keep::Msb, {bits + longer, 0}};
            addRow(arithmetic, nameOfMode(Keep::Msb, arithmetic));
        }
        const int shorter = std::min(bits, full.bits - 4);
        for (const Overflow overflow : {Overflow::Saturate, Overflow::Wrap}) {
            arithmetic.overflow = overflow;
            arithmetic.product = {Keep::Lsb, {shorter, 0}};
            addRow(arithmetic, nameOfMode(Keep::Lsb, arithmetic));
        }
    }

    void addSums() {
        mStudy.sections.push_back({"Sums", {}});
        Arithmetic arithmetic = mStudy.centre;
        const Word sum = sumWord(arithmetic, mPlan->terms());
        const auto specified = [&](int longer) {
            return mPlan
                ->shortened(arithmetic.coefficient.bits, arithmetic.data.bits, 0, std::max(2, sum.bits + longer))
                .sum;
        };
        arithmetic.sum = {};
        addRow(arithmetic, nameOfMode(Keep::Full, arithmetic));
        arithmetic.sum = {Keep::Msb, {sum.bits, 0}};
        addRow(arithmetic, nameOfMode(Keep::Msb, arithmetic));
        for (const int longer : {2, 0, -2}) {
            arithmetic.sum = specified(longer);
            addRow(arithmetic, nameOfMode(Keep::Specified, arithmetic));
        }
        for (const int finer : {1, 2, 3}) {
            for (const Overflow overflow : {Overflow::Saturate, Overflow::Wrap}) {
                arithmetic.overflow = overflow;
                arithmetic.sum = specified(0);
                arithmetic.sum.word.fraction += finer;
                addRow(arithmetic, nameOfMode(Keep::Specified, arithmetic));
            }
        }
    }

    void addModes() {
        mStudy.sections.push_back({"Rounding of products and sums", {}});
        for (const Round round : study::parseRounds("all")) {
            Arithmetic arithmetic = mStudy.centre;
            arithmetic.round = round;
            addRow(arithmetic, std::string(study::nameOf(round)));
        }
    }

    const Options& mOptions;
    const std::vector<double>& mSamples;
    study::ProgressLine& mProgress;
    const Plan* mPlan = nullptr;
    HostFilter* mStretch = nullptr;
    std::map<Arithmetic, std::size_t> mKnown;
    FilterStudy mStudy;
};

}  // namespace

std::size_t typicalStretch(std::span<const double> samples, std::size_t length) {
    const auto power = [](double sum, double sample) { return sum + sample * sample; };
    const double mean = std::accumulate(samples.begin(), samples.end(), 0.0, power) /
                        static_cast<double>(samples.size()) * static_cast<double>(length);
    // Steps of half a length are fine enough, and no rounding accumulates.
    std::size_t best = 0;
    double nearest = std::numeric_limits<double>::infinity();
    for (std::size_t begin = 0; begin + length <= samples.size(); begin += std::max<std::size_t>(1, length / 2)) {
        const auto stretch = samples.subspan(begin, length);
        const double distance = std::fabs(std::accumulate(stretch.begin(), stretch.end(), 0.0, power) - mean);
        if (distance < nearest) {
            nearest = distance;
            best = begin;
        }
    }
    return best;
}

FilterStudy conduct(const Options& options, const study::Recording& recording, study::ProgressLine& progress) {
    return Conductor(options, recording, progress).conduct();
}

}  // namespace filterstudy
