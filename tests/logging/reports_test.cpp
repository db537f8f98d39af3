#include "logging/reports.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "host/ErrorIdException.h"
#include "host/reference/listeners.h"
#include "logging/qlogger.h"
#include "tests/support/errors.h"

using namespace tolvane::detail;

using namespace reports;

namespace {

using Warnings = std::vector<HostCapture::Warning>;

const qlogger& filled(const qlogger& log, std::uint64_t overflows, std::uint64_t underflows) {
    log.setNoverflows(log.getNoverflows() + overflows);
    log.setNunderflows(log.getNunderflows() + underflows);
    return log;
}

struct Counts {
    std::uint64_t overflows, underflows, oldOverflows, oldUnderflows, operations, mathOperations;
    bool operator==(const Counts&) const = default;
};

Counts countsOf(const qlogger& log) {
    return {log.getNoverflows(),    log.getNunderflows(), log.getOldOverflows(),
            log.getOldUnderflows(), log.getNoperations(), log.getNMathoperations()};
}

struct Logs {
    qlogger log{false};
    qlogger other{false};
    qlogger session{false};
    qlogger otherSession{false};
    qlogger result{false};
    OperationCounts counts{30, 10};
};

/// Logs, with logging on.
struct Reports : testing::Test, Logs {
    Reports() { qlogger::setLogging(true); }
    ~Reports() override { qlogger::setLogging(false); }

    Warnings sentBy(const std::function<void()>& action) const {
        HostCapture capture;
        action();
        return capture.warnings;
    }
};

struct Report {
    const char* name;
    std::function<void(const Logs&)> send;
};

/// Every report that tests the switch.
const Report kGatedReports[] = {
    {"plain", [](const Logs& r) { report(r.log, "max"); }},
    {"with total", [](const Logs& r) { reportWithTotal(r.log, r.session, r.counts, "+"); }},
    {"with total and result", [](const Logs& r) { reportWithTotal(r.log, r.session, r.result, r.counts, "+"); }},
    {"product and sum",
     [](const Logs& r) {
         reportProductAndSum({r.log, r.other}, {r.session, r.otherSession}, r.result, r.counts, "*");
     }},
    {"products", [](const Logs& r) { reportProducts(r.log, r.other, "sqrt"); }},
    {"concatenation", [](const Logs& r) { reportConcatenation(r.log, r.other); }},
    {"assignment with total", [](const Logs& r) { reportAssignmentWithTotal(r.log, r.session); }},
};

}  // namespace

TEST_F(Reports, WordEachCountWithItsPluralAndKeepSilentAboutNone) {
    struct Row {
        std::uint64_t overflows, underflows;
        Warnings expected;
    };
    const Row rows[] = {
        {0, 0, {}},
        {1, 0, {{"fi:overflow", "1 overflow occurred in the fi unary minus operation."}}},
        {0, 2, {{"fi:underflow", "2 underflows occurred in the fi unary minus operation."}}},
        {2,
         1,
         {{"fi:overflow", "2 overflows occurred in the fi unary minus operation."},
          {"fi:underflow", "1 underflow occurred in the fi unary minus operation."}}},
        {5000000000,
         std::numeric_limits<std::uint64_t>::max(),
         {{"fi:overflow", "5000000000 overflows occurred in the fi unary minus operation."},
          {"fi:underflow", "18446744073709551615 underflows occurred in the fi unary minus operation."}}},
    };
    for (const Row& row : rows) {
        const qlogger fresh(false);
        filled(fresh, row.overflows, row.underflows);
        EXPECT_EQ(sentBy([&] { report(fresh, "unary minus"); }), row.expected);
        EXPECT_EQ(sentBy([&] { report(fresh, "unary minus"); }), Warnings());
    }
}

TEST_F(Reports, NameOneOperationDifferentlyForUnderflows) {
    filled(log, 1, 1);
    EXPECT_EQ(sentBy([&] { report(log, kConjugateTranspose); }),
              (Warnings{{"fi:overflow", "1 overflow occurred in the fi conjugate transpose operation."},
                        {"fi:underflow", "1 underflow occurred in the fi consjugate transpose operation."}}));
}

TEST_F(Reports, TakePercentSignsInNamesAsTheyAre) {
    filled(log, 1, 0);
    EXPECT_EQ(sentBy([&] { report(log, "%s%d%n"); }),
              (Warnings{{"fi:overflow", "1 overflow occurred in the fi %s%d%n operation."}}));
}

TEST_F(Reports, WithATotalMoveTheChangesOn) {
    filled(log, 5, 7);
    log.setOldOverflows(3);
    filled(session, 100, 200);
    EXPECT_EQ(sentBy([&] { reportWithTotal(log, session, counts, "-"); }),
              (Warnings{{"fi:overflow", "2 overflows occurred in the fi - operation."},
                        {"fi:underflow", "7 underflows occurred in the fi - operation."}}));
    EXPECT_EQ(countsOf(log), (Counts{5, 7, 5, 7, 30, 10}));
    EXPECT_EQ(countsOf(session), (Counts{102, 207, 0, 0, 0, 0}));
}

TEST_F(Reports, WithAResultLeaveItsChangesAsReported) {
    filled(log, 5, 7);
    log.setOldOverflows(3);
    filled(result, 40, 40);
    EXPECT_EQ(sentBy([&] { reportWithTotal(log, session, result, counts, "bitshift"); }).size(), 2u);
    EXPECT_EQ(countsOf(log), (Counts{5, 7, 5, 7, 0, 0}));
    EXPECT_EQ(countsOf(result), (Counts{2, 7, 2, 7, 30, 10}));
    EXPECT_EQ(countsOf(session), (Counts{2, 7, 0, 0, 0, 0}));
    EXPECT_EQ(sentBy([&] { report(result, "max"); }), Warnings());
}

TEST_F(Reports, OfProductsAndSumsTellProductsFirstAndLeaveTheResultUnreported) {
    filled(log, 1, 2);
    filled(other, 3, 1);
    EXPECT_EQ(sentBy([&] {
                  reportProductAndSum({log, other}, {session, otherSession}, result, counts, "*");
              }),
              (Warnings{{"fi:overflow", "1 product overflow occurred in the fi * operation."},
                        {"fi:underflow", "2 product underflows occurred in the fi * operation."},
                        {"fi:overflow", "3 sum overflows occurred in the fi * operation."},
                        {"fi:underflow", "1 sum underflow occurred in the fi * operation."}}));
    EXPECT_EQ(countsOf(log), (Counts{1, 2, 1, 2, 0, 0}));
    EXPECT_EQ(countsOf(other), (Counts{3, 1, 3, 1, 0, 0}));
    EXPECT_EQ(countsOf(session), (Counts{1, 2, 0, 0, 0, 0}));
    EXPECT_EQ(countsOf(otherSession), (Counts{3, 1, 0, 0, 0, 0}));
    // A later report of the result repeats the same counts.
    EXPECT_EQ(countsOf(result), (Counts{4, 3, 0, 0, 30, 10}));
    filled(other, 0, 4);
    EXPECT_EQ(sentBy([&] {
                  reportProductAndSum({log, other}, {session, otherSession}, result, counts, "conv");
              }),
              (Warnings{{"fi:underflow", "4 sum underflows occurred in the fi conv operation."}}));
    EXPECT_EQ(countsOf(result), (Counts{0, 4, 0, 0, 30, 10}));
}

TEST_F(Reports, OfTwoLogsAddTheirChanges) {
    const auto fill = [&] {
        filled(log, 1, 0);
        filled(other, 2, 1);
    };
    fill();
    EXPECT_EQ(sentBy([&] { reportProducts(log, other, "sqrt"); }),
              (Warnings{{"fi:overflow", "3 product overflows occurred in the fi sqrt operation."},
                        {"fi:underflow", "1 product underflow occurred in the fi sqrt operation."}}));
    fill();
    EXPECT_EQ(sentBy([&] { reportConcatenation(log, other); }),
              (Warnings{{"fi:overflow", "3 overflows occurred in the fi concatenation operation."},
                        {"fi:underflow", "1 underflow occurred in the fi concatenation operation."}}));
    EXPECT_EQ(countsOf(log), (Counts{2, 0, 2, 0, 0, 0}));
    EXPECT_EQ(countsOf(other), (Counts{4, 2, 4, 2, 0, 0}));
    // The changes of a log given twice are reported once.
    filled(log, 2, 0);
    EXPECT_EQ(sentBy([&] { reportProducts(log, log, "sqrt"); }),
              (Warnings{{"fi:overflow", "2 product overflows occurred in the fi sqrt operation."}}));
}

TEST_F(Reports, AreSilentAndMoveNothingWhileLoggingIsOff) {
    qlogger::setLogging(false);
    for (const qlogger* each : {&log, &other, &session, &otherSession, &result}) {
        each->setAlwaysLog(true);
        each->addtoOverflows(5);
        each->addtoUnderflows(6);
    }
    for (const Report& row : kGatedReports) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(sentBy([&] { row.send(*this); }), Warnings());
        for (const qlogger* each : {&log, &other, &session, &otherSession, &result}) {
            EXPECT_EQ(countsOf(*each), (Counts{5, 6, 0, 0, 0, 0}));
        }
    }
}

TEST_F(Reports, OfAssignmentAndQuotientTestNoSwitch) {
    qlogger::setLogging(false);
    filled(log, 1, 3);
    EXPECT_EQ(sentBy([&] { reportAssignment(log); }),
              (Warnings{{"fi:overflow", "1 overflow occurred in the fi assignment operation."},
                        {"fi:underflow", "3 underflows occurred in the fi assignment operation."}}));
    EXPECT_EQ(countsOf(log), (Counts{1, 3, 1, 3, 0, 0}));
    EXPECT_EQ(sentBy([&] {
                  reportDivide({2, 1});
              }),
              (Warnings{{"fi:overflow", "2 overflows occurred in the divide operation."},
                        {"fi:underflow", "1 underflow occurred in the divide operation."}}));
}

TEST_F(Reports, LoseNoCountWhenTheHostRaisesInsteadOfWarning) {
    for (const Report& row : kGatedReports) {
        SCOPED_TRACE(row.name);
        const Logs fresh;
        filled(fresh.log, 1, 1);
        const auto old = hostref::setWarningListener(
            [](const std::string& id, const std::string& text) { raiseError(id.c_str(), text); });
        EXPECT_EQ(raisedBy([&] { row.send(fresh); }).id, "fi:overflow");
        const std::string second = raisedBy([&] { row.send(fresh); }).id;
        hostref::setWarningListener(old);
        // The plain report still has underflows to report; the others took both.
        EXPECT_EQ(second, std::string(row.name) == "plain" ? "fi:underflow" : "");
        EXPECT_EQ(fresh.log.getOldOverflows(), 1u);
        EXPECT_EQ(fresh.log.getOldUnderflows(), 1u);
    }
}
