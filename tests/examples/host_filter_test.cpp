// The filter through the host: it is the integer model that says what each arithmetic makes of a signal, and the host
// filter that notices every difference.
#include "examples/filter_study/HostFilter.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "examples/studies/StudyError.h"

namespace {

using filterstudy::Arithmetic;
using filterstudy::HostFilter;
using filterstudy::Keep;
using filterstudy::Outcome;
using filterstudy::Overflow;
using filterstudy::Way;

std::vector<double> noise(std::size_t count) {
    std::mt19937 random(20261121);
    std::uniform_real_distribution<double> spread(-0.9, 0.9);
    std::vector<double> samples(count);
    for (double& sample : samples) {
        sample = spread(random);
    }
    return samples;
}

const std::vector<double> kCoefficients = {-0.11, 0.24, 0.49, 0.48, 0.23, -0.12, 0.07};

TEST(HostFilter, BothWaysAreTheModelsInEveryMode) {
    const auto samples = noise(60);
    HostFilter filter(samples, kCoefficients);
    const Arithmetic arithmetics[] = {
        {{9, 9}, {8, 7}, {}, {}},
        {{9, 9}, {8, 7}, {Keep::Msb, {10, 0}}, {Keep::Specified, {10, 9}}},
        {{9, 9}, {8, 7}, {Keep::Lsb, {13, 0}}, {Keep::Lsb, {14, 0}}},
        {{9, 9}, {8, 7}, {Keep::Specified, {9, 11}}, {Keep::Msb, {11, 0}}},
        {{24, 24}, {24, 23}, {}, {Keep::Specified, {50, 49}}},
    };
    std::uint64_t products = 0;
    std::uint64_t sums = 0;
    for (Arithmetic arithmetic : arithmetics) {
        for (const auto round : study::parseRounds("all")) {
            for (const Overflow overflow : {Overflow::Saturate, Overflow::Wrap}) {
                arithmetic.round = round;
                arithmetic.overflow = overflow;
                const Outcome convolved = filter.run(arithmetic, Way::Convolution);
                const Outcome tapped = filter.run(arithmetic, Way::TapByTap);
                EXPECT_EQ(convolved.values, tapped.values);
                EXPECT_EQ(convolved.productOverflows, tapped.productOverflows);
                EXPECT_EQ(convolved.sumOverflows, tapped.warnedSumOverflows);
                EXPECT_EQ(convolved.smallest, *std::min_element(convolved.values.begin(), convolved.values.end()));
                EXPECT_EQ(convolved.greatest, *std::max_element(convolved.values.begin(), convolved.values.end()));
                products += convolved.productOverflows;
                sums += convolved.sumOverflows;
            }
        }
    }
    EXPECT_GT(products, 0U);
    EXPECT_GT(sums, 0U);
}

TEST(HostFilter, LeavesTheGlobalRulesAsTheyAreByDefault) {
    const auto samples = noise(10);
    hostref::Session session(TOLVANE_MODULE);
    const hostref::Value rules = session.construct("embedded.globalfimath");
    const std::string round = rules.get("RoundMode").toText();
    {
        HostFilter filter(samples, kCoefficients);
        filter.run({{9, 9}, {8, 7}, {}, {}, filterstudy::Round::Floor, Overflow::Wrap}, Way::Convolution);
        EXPECT_EQ(rules.get("RoundMode").toText(), "floor");
    }
    EXPECT_EQ(rules.get("RoundMode").toText(), round);
}

TEST(HostFilter, NoticesEveryDifferenceFromTheModel) {
    const auto samples = noise(40);
    const Arithmetic arithmetic{{9, 9}, {8, 7}, {Keep::Lsb, {12, 0}}, {Keep::Specified, {10, 10}}};
    const Outcome outcome = HostFilter(samples, kCoefficients).run(arithmetic, Way::Convolution);
    const auto model = integerFilter(filterstudy::storedIntegers(samples, arithmetic.data),
                                     filterstudy::storedIntegers(kCoefficients, arithmetic.coefficient), arithmetic);
    EXPECT_NO_THROW(requireEqual(outcome, model, Way::Convolution, kCoefficients.size()));
    const struct {
        const char* message;
        std::function<void(Outcome&)> change;
    } rows[] = {
        {"the output is s11,10, but should be s10,10", [](Outcome& changed) { ++changed.output.bits; }},
        {"another length", [](Outcome& changed) { changed.values.pop_back(); }},
        {"output 39 (counted from 0) is not", [](Outcome& changed) { changed.values[39] += 0x1p-10; }},
        {"output 0 (counted from 0) is not", [](Outcome& changed) { changed.values[0] -= 0x1p-30; }},
        {"the host was warned of", [](Outcome& changed) { ++changed.productOverflows; }},
        {"the host was warned of", [](Outcome& changed) { --changed.warnedSumOverflows; }},
    };
    for (const auto& row : rows) {
        Outcome changed = outcome;
        row.change(changed);
        try {
            requireEqual(changed, model, Way::Convolution, kCoefficients.size());
            ADD_FAILURE() << row.message;
        } catch (const study::StudyError& error) {
            EXPECT_EQ(error.code(), study::ExitCode::WordsDiffer);
            EXPECT_NE(std::string(error.what()).find(row.message), std::string::npos) << error.what();
        }
    }
}

}  // namespace
