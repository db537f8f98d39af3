// The tables of docs/formats.md, computed anew.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "program/tolvane.h"

namespace {

using namespace tolvane;
using Row = std::vector<std::string>;

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" `");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" `") - begin + 1);
}

/// The rows of the table that begins with a heading cell, headings first.
std::vector<Row> tableOf(const std::string& heading) {
    std::vector<Row> rows;
    std::ifstream document(FORMATS_GUIDE);
    for (std::string line; std::getline(document, line);) {
        if (rows.empty() && !line.starts_with("| " + heading + " |")) {
            continue;
        }
        if (!line.starts_with("|")) {
            break;
        }
        Row row;
        std::istringstream cells(line.substr(1));
        for (std::string cell; std::getline(cells, cell, '|');) {
            row.push_back(trimmed(cell));
        }
        rows.push_back(row);
    }
    return rows;
}

/// Checks the numbers of each row against casts of the numbers above them by the mode that the row names.
void checkTable(const std::string& heading, const std::string& type, std::size_t modes) {
    const std::vector<Row> rows = tableOf(heading);
    ASSERT_EQ(rows.size(), modes + 2) << heading;
    for (std::size_t r = 2; r < rows.size(); ++r) {
        const Row& row = rows[r];
        for (std::size_t c = 1; c + 1 < row.size(); ++c) {
            const fixed_array given(std::stod(rows[0].at(c)), "s10,3");
            EXPECT_EQ(cast(given, fixed_format(type + " " + row[0])).at(0).text(), row[c])
                << row[0] << " of " << rows[0][c];
        }
    }
}

TEST(FormatsGuide, ShowsWhatRoundingsAndOverflowsMake) {
    checkTable("Rounding", "s8,0", 12);
    checkTable("Overflow", "s4,0", 5);
}

TEST(FormatsGuide, ShowsTypesAndHowTheyAreWritten) {
    for (const Row& row : tableOf("Text")) {
        if (row[0] == "Text" || row[0].starts_with("---")) {
            continue;
        }
        const fixed_format format(row[0]);
        const fixed_type& type = format.type();
        EXPECT_EQ(std::to_string(type.bits), row.at(1)) << row[0];
        EXPECT_EQ(std::to_string(type.fraction), row.at(2)) << row[0];
        EXPECT_EQ(type.is_signed ? "yes" : "no", row.at(3)) << row[0];
        EXPECT_EQ(fixed_array(-1e9, format).at(0).text(), row.at(4)) << row[0];
        EXPECT_EQ(fixed_array(1e9, format).at(0).text(), row.at(5)) << row[0];
    }
}

TEST(FormatsGuide, NamesOnlyModesThatExist) {
    for (const char* const heading : {"Where", "Here"}) {
        const std::vector<Row> rows = tableOf(heading);
        ASSERT_GT(rows.size(), 10U) << heading;
        for (std::size_t r = 2; r < rows.size(); ++r) {
            for (const std::size_t c : {std::size_t{0}, std::size_t{2}, std::size_t{3}}) {
                const bool isMode = (heading[0] == 'H') == (c == 0);
                if (isMode && rows[r].at(c).find_first_of(" (") == std::string::npos && rows[r][c] != "undefined" &&
                    rows[r][c] != "truncates" && !rows[r][c].empty()) {
                    EXPECT_NO_THROW(fixed_format("s8,0 " + rows[r][c])) << rows[r][c];
                }
            }
        }
    }
}

}  // namespace
