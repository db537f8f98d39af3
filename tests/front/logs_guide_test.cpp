// The programs of docs/logs.md, which must print what the guide shows.
#include <fstream>
#include <regex>
#include <sstream>

#include "program/tolvane.h"
#include "tests/front/front_support.h"

namespace {

/// Expects a block of indented lines in the guide.
void expectInGuide(const std::string& printed) {
    std::ifstream document(LOGS_GUIDE);
    const std::string guide((std::istreambuf_iterator<char>(document)), {});
    std::istringstream lines(printed);
    std::string block = "\n\n";
    for (std::string line; std::getline(lines, line);) {
        block += "    " + line + "\n";
    }
    EXPECT_NE(guide.find(block + "\n"), std::string::npos) << block;
}

TEST(LogsGuide, ShowsTheReportOfAProgram) {
    using namespace tolvane;
    const fixed_log log;
    const fixed_array x({0.5, 1.7, 0.001}, "s8,7", "input");
    static_cast<void>(cast(x * x, fixed_format("s8,7 floor", "square")));
    // The line of the guide's program, not of this one.
    expectInGuide(std::regex_replace(log.report(), std::regex("logs_guide_test.cpp:[0-9]+"), "main.cpp:5"));
}

using LogsGuideOfSessions = FrontTest;

TEST_F(LogsGuideOfSessions, ShowsWhatSessionsPrint) {
    session.callStatic("embedded.qlogger", "SetLoggingMode", {true});
    const Value a = call("fi", {Numbers{0.5, 1.7, 0.001}, 1, 8, 7, "Tag", "input"});
    std::ostringstream out;
    for (const Warning& warning : session.takeWarnings()) {
        out << warning.id << ": " << warning.text << '\n';
    }
    for (const char* const what : {"minlog", "maxlog", "noverflows", "nunderflows"}) {
        out << what << ' ' << call(what, {a}).toDouble() << '\n';
    }
    expectInGuide(out.str());

    session.setFeature("FiTagLogging", 1);
    session.callStatic("embedded.qlogger", "SetLogType", {1});
    for (int i = 0; i < 3; ++i) {
        call("fi", {0.5 + i, 1, 8, 6, "Tag", "state"});
    }
    const Value logs = session.callStatic("embedded.filog", "getlogs");
    std::ostringstream byTag;
    for (std::size_t i = 0; i < logs.numberOfElements(); ++i) {
        const Value log = logs.cell(i);
        byTag << log.get("Key").toText() << ' ' << log.get("minlog").toDouble() << ' ' << log.get("maxlog").toDouble()
              << ' ' << log.get("noverflows").toDouble() << '\n';
    }
    expectInGuide(byTag.str());
    session.callStatic("embedded.filog", "clearlogs");
    session.callStatic("embedded.qlogger", "SetLogType", {0});
    session.setFeature("FiTagLogging", 0);
    session.callStatic("embedded.qlogger", "SetLoggingMode", {false});
}

}  // namespace
