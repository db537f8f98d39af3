// Eight threads at mixed work: each comes to what it comes to alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/OMInterface.h"
#include "host/reference/Session.h"
#include "program/tolvane.h"
#include "tests/support/arrays_of_fi.h"

namespace {

using hostref::Session;
using hostref::Value;

std::vector<double> waveOf(int seed, std::size_t count) {
    std::vector<double> values;
    for (std::size_t i = 0; i < count; ++i) {
        values.push_back(0.9 * std::sin(static_cast<double>(i + 1) * (seed + 1)));
    }
    return values;
}

/// The interface for programs: logs, overflows, texts, variables, filters and long words. Logs hear of all threads, so
/// places have names of their own.
std::string byProgram(int seed) {
    using namespace tolvane;
    std::ostringstream out;
    const std::string own = std::to_string(seed);
    std::atomic<std::uint64_t> heard = 0;
    log_options options;
    options.histogram = true;
    options.on_overflow = [&](const overflow_event& event) { heard += event.place == "sum" + own ? event.count : 0; };
    fixed_log log(std::move(options));
    const fixed_array x(waveOf(seed, 300), "s16,15", "x" + own);
    const fixed_array h(waveOf(seed + 1, 20), "s12,11 convergent", "h" + own);
    const fixed_array y = conv(x, h, {.sum = fixed_format("s16,14 wrap", "sum" + own)});
    const fixed_array wide = cast(y * y, "s200,150");
    const fixed_array filtered =
        lfilter({{0.5, 0.25}}, {{1.0, -0.5}}, x, {.section_output = fixed_format("s16,14"), .name = "filter" + own});
    {
        fixed_scalar total("s24,14", "total" + own);
        for (std::size_t i = 0; i < filtered.size(); ++i) {
            total = total + filtered.at(i);
        }
        out << total << ' ';
    }
    out << sum(wide) << ' ' << heard << to_hex(wide)[7] << sort(x, 0);
    for (const char* const name : {"x", "h", "sum", "total"}) {
        const place_record place = log.place(name + own);
        out << name << ' ' << place.values << ' ' << place.overflows << ' ' << place.before.least << ' '
            << place.after.greatest << ' ' << place.bits_needed << ' ' << place.histogram->powers.size() << '\n';
    }
    return out.str();
}

/// The classes that a host binds, with logging on: short and long words, sums, products and convolutions.
std::string byClasses(int seed) {
    std::ostringstream out;
    for (const int bits : {16, 56}) {
        const fi a = column(waveOf(seed, 200), fixedType(true, bits, bits - 2), rulesOf(), seed % 2 == 0);
        const fi b = column(waveOf(seed + 3, 200), fixedType(true, bits, bits), rulesOf(), seed % 2 == 0);
        for (const std::unique_ptr<fi>& made :
             {std::unique_ptr<fi>(&a.plus(b)), std::unique_ptr<fi>(&a.times(b)), std::unique_ptr<fi>(&a.convF(b))}) {
            out << made->getWordLength() << ' ' << realParts(*made)[7] << ' ' << made->getQlogger().getMaxAsDouble()
                << ' ' << b.getQlogger().getNoverflows() << '\n';
        }
    }
    return out.str();
}

/// A session with objects, warnings and printed text of its own.
std::string bySession(int seed) {
    Session session(TOLVANE_MODULE, "tolvane");
    const auto typeOf = [&](int bits, int fraction) {
        const Value type = session.construct("embedded.numerictype");
        type.set("WordLength", bits);
        type.set("FractionLength", fraction);
        return type;
    };
    std::ostringstream out;
    for (int i = 0; i < 40; ++i) {
        const Value a = session.construct("embedded.fi", {Value(waveOf(seed + i, 50)), typeOf(16, 15)});
        const Value sum = session.call("plus", {a, 0.25});
        const Value copy = sum;
        out << session.call("hex", {copy}).toText().substr(0, 20) << ' ' << copy.get("WordLength").toDouble();
        session.display(a);
        session.call("times", {session.construct("embedded.fi", {Value(2.5 * seed), typeOf(8, 7)}), a});
        try {
            session.call("nothing", {a});
        } catch (const hostref::HostError& error) {
            out << error.id();
        }
    }
    for (const hostref::Warning& warning : session.takeWarnings()) {
        out << warning.id << warning.text;
    }
    return out.str() + session.takePrinted();
}

class Threads : public testing::Test {
 protected:
    void SetUp() override { fi::setLogging(true); }
    void TearDown() override {
        fi::setLogging(false);
        session.takeWarnings();
    }

    Session session{TOLVANE_MODULE, "tolvane"};
};

TEST_F(Threads, ComeToWhatEachComesToAlone) {
    constexpr int kRounds = 10;
    const std::function<std::string(int)> works[] = {byProgram, byClasses, bySession, byClasses,
                                                     byProgram, bySession, bySession, byProgram};
    std::vector<std::string> alone;
    for (int seed = 0; seed < 8; ++seed) {
        alone.push_back(works[seed](seed));
    }
    fimath::resetGlobalFimath();  // made again by the first that needs it
    std::vector<std::thread> threads;
    std::vector<std::string> together(std::size(alone) * kRounds);
    for (std::size_t seed = 0; seed < alone.size(); ++seed) {
        threads.emplace_back([&, seed] {
            for (std::size_t round = 0; round < kRounds; ++round) {
                together[seed * kRounds + round] = works[seed](static_cast<int>(seed));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::size_t i = 0; i < together.size(); ++i) {
        EXPECT_EQ(together[i], alone[i / kRounds]) << i / kRounds;
    }
}

TEST_F(Threads, ShareHandlesOfObjects) {
    const Value shared = session.construct("embedded.fi", {0.5});
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&shared] {
            for (int round = 0; round < 3000; ++round) {
                const Value copy = shared;
                EXPECT_EQ(copy.call("plus", {copy}).get("WordLength").toDouble(), 17.0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(shared.interface()->getNumberOfExternalReferences(), 1);
}

}  // namespace
