// Shared by the tests of both studies: a run with its outcome, tables as rows, and the common checks of a study's
// output.
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

#include "examples/studies/stored_word.h"
#include "tests/examples/sounds.h"

struct Outcome {
    int code;
    std::string out, err;
};

using Arguments = std::vector<std::string>;

inline void expectTexts(const std::string& text, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
}

/// Returns the number of lines; each must fit the screen.
inline int linesOfAScreen(const std::string& text) {
    std::istringstream lines(text);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_LE(line.size(), 110U) << line;
    }
    return count;
}

/// The help must name the options, between blanks here, and all exit codes.
inline void expectHelp(const Outcome& help, const std::string& options) {
    EXPECT_EQ(help.code, 0);
    EXPECT_EQ(help.err, "");
    std::istringstream words(options);
    for (std::string word; words >> word;) {
        expectTexts(help.out, {word});
    }
    for (int code = 0; code < 8; ++code) {
        expectTexts(help.out, {"  " + std::to_string(code) + "  "});
    }
    linesOfAScreen(help.out);
}

struct Refusal {
    Arguments arguments;
    int code;
    std::string message;
};

/// Each refusal is one line after the program's name, two for bad arguments, and leaves the folder unchanged.
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

/// An unusual recording is studied all the same, with a line that says what is unusual.
template <class Run>
void expectRemarks(const std::string& program, const Arguments& quick, const Run& run) {
    const TemporaryFolder folder;
    const std::vector<std::int16_t> samples = {100, -20000, 3, 4, 15000, -6};
    writeSound(folder.file("whole.wav"), samples);
    const std::string whole = readText(folder.file("whole.wav"));
    std::string stream = whole;
    stream.replace(40, 4, "\xff\xff\xff\xff");
    writeText(folder.file("stream.wav"), stream);
    writeText(folder.file("cut.wav"), whole.substr(0, whole.size() - 5));
    // A chunk of three bytes, and one of padding, before the truncated data.
    writeText(folder.file("later.wav"), whole.substr(0, 36) + "note\3" + std::string(7, '\0') + whole.substr(36, 12));
    writeText(folder.file("cut.au"),
              std::string(".snd\0\0\0\x1c\0\0\0\x08\0\0\0\3\0\0\x1f\x40\0\0\0\1", 24) + "note" + "1234");
    writeSound(folder.file("silent.wav"), std::vector<std::int16_t>(10));
    const std::pair<const char*, std::string> rows[] = {
        {"whole.wav", ""},
        {"stream.wav", ""},
        {"cut.wav", "the file is cut: of the 12 bytes of sound in its header, 7 are present"},
        {"later.wav", "the file is cut: of the 12 bytes of sound in its header, 4 are present"},
        {"cut.au", "the file is cut: of the 8 bytes of sound in its header, 4 are present"},
        {"silent.wav", "channel 1 is silent: every sample is 0, which any format holds"},
    };
    for (const auto& [name, remark] : rows) {
        Arguments arguments = quick;
        arguments.push_back(folder.file(name));
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.code, 0) << name << outcome.err;
        EXPECT_EQ(outcome.err,
                  remark.empty() ? "" : program + ": warning: " + folder.file(name) + ": " + remark + "\n");
    }
}

/// The integer that a fixed-point format stores for a sample.
inline std::int64_t storedInteger(double sample, const study::Format& format) {
    const auto word = static_cast<std::int64_t>(study::storedWord(sample, format));
    const auto size = std::int64_t{1} << format.wordBits;
    return format.kind == study::Kind::Signed && 2 * word >= size ? word - size : word;
}

using Row = std::map<std::string, std::string>;

/// The rows of a comma-separated table; commas within quotation marks belong to the text.
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
        for (std::size_t i = 0; i < std::min(values.size(), names.size()); ++i) {
            rows.back()[names[i]] = values[i];
        }
    }
    return rows;
}

inline Row chosenOf(const std::vector<Row>& rows) {
    const auto chosen = std::find_if(rows.begin(), rows.end(), [](const Row& row) { return row.at("chosen") == "1"; });
    EXPECT_NE(chosen, rows.end());
    return chosen == rows.end() ? Row{} : *chosen;
}

/// Runs a study's program through the shell: on a recording, on none, and with an output that is full.
inline void expectProgram(const std::string& name, const std::string& path, const std::string& options,
                          const std::string& text) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), std::vector<std::int16_t>{0, 1, -1, 16384, 9000, -20000, 77, 12});
    const std::string out = folder.file("out");
    const auto run = [&](const std::string& recording, const std::string& output) {
        const std::string command =
            "'" + path + "' '" + recording + "' " + options + " >'" + output + "' 2>'" + folder.file("err") + "'";
        return WEXITSTATUS(std::system(command.c_str()));
    };
    EXPECT_EQ(run(folder.file("a.wav"), out), 0);
    EXPECT_EQ(readText(folder.file("err")), "");
    expectTexts(readText(out), {text});
    EXPECT_EQ(run(folder.file("b.wav"), out), 3);
    EXPECT_EQ(readText(out), "");
    EXPECT_EQ(readText(folder.file("err")), name + ": " + folder.file("b.wav") + ": there is no such file\n");
    EXPECT_EQ(run(folder.file("a.wav"), "/dev/full"), 6);
}
