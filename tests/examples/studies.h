// What the tests of both studies share: a run with its outcome, tables as rows, and what every study must tell.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/examples/sounds.h"

struct Outcome {
    int code;
    std::string out;
    std::string err;
};

using Arguments = std::vector<std::string>;

inline void expectTexts(const std::string& text, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
}

/// Returns how many lines there are, none of which may leave the screen.
inline int linesOfAScreen(const std::string& text) {
    std::istringstream lines(text);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) EXPECT_LE(line.size(), 110U) << line;
    return count;
}

/// The help names the options, between blanks here, and all exit codes.
inline void expectHelp(const Outcome& help, const std::string& options) {
    EXPECT_EQ(help.code, 0);
    EXPECT_EQ(help.err, "");
    std::istringstream words(options);
    for (std::string word; words >> word;) expectTexts(help.out, {word});
    for (int code = 0; code < 8; ++code) expectTexts(help.out, {"  " + std::to_string(code) + "  "});
    linesOfAScreen(help.out);
}

struct Refusal {
    Arguments arguments;
    int code;
    std::string message;
};

/// Each refusal is one line behind the program's name, two for bad arguments, and leaves the folder as it was.
template <class Run>
void expectRefusals(const std::string& program, const std::vector<Refusal>& rows, const TemporaryFolder& folder,
                    const Run& run) {
    const auto entries = folder.entryCount();
    for (const Refusal& row : rows) {
        const Outcome outcome = run(row.arguments);
        EXPECT_EQ(outcome.code, row.code) << row.message << " / " << outcome.err;
        EXPECT_TRUE(outcome.err.starts_with(program + ": ")) << outcome.err;
        expectTexts(outcome.err, {row.message});
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), row.code == 2 ? 2 : 1) << outcome.err;
    }
    EXPECT_EQ(folder.entryCount(), entries) << "no half-written file stays";
}

using Row = std::map<std::string, std::string>;

/// The rows of a comma-separated table; commas between quotation marks belong to the text.
inline std::vector<Row> rowsOf(const std::string& table) {
    const auto cells = [](const std::string& line) {
        std::vector<std::string> result(1);
        bool quoted = false;
        for (const char character : line) {
            if (character == '"') {
                quoted = !quoted;
            } else if (character == ',' && !quoted) {
                result.emplace_back();
            } else {
                result.back() += character;
            }
        }
        return result;
    };
    std::istringstream text(table);
    std::string line;
    std::getline(text, line);
    const auto names = cells(line);
    std::vector<Row> rows;
    while (std::getline(text, line)) {
        const auto values = cells(line);
        EXPECT_EQ(values.size(), names.size()) << line;
        rows.emplace_back();
        for (std::size_t i = 0; i < std::min(values.size(), names.size()); ++i) rows.back()[names[i]] = values[i];
    }
    return rows;
}

inline Row chosenOf(const std::vector<Row>& rows) {
    const auto chosen = std::find_if(rows.begin(), rows.end(), [](const Row& row) { return row.at("chosen") == "1"; });
    EXPECT_NE(chosen, rows.end());
    return chosen == rows.end() ? Row{} : *chosen;
}

/// Runs a program through the shell and returns its exit code.
inline int runProgram(const std::string& program, const std::string& arguments, const std::string& out,
                      const std::string& err) {
    const std::string command = "'" + program + "' " + arguments + " >'" + out + "' 2>'" + err + "'";
    return WEXITSTATUS(std::system(command.c_str()));
}
