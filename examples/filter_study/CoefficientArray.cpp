#include "examples/filter_study/CoefficientArray.h"

#include <algorithm>
#include <bit>
#include <sstream>

#include "examples/filter_study/host_objects.h"
#include "examples/studies/StudyError.h"

namespace filterstudy {
namespace {

using hostref::Value;

constexpr std::size_t kColumns = 110;

std::string methodOf(int base) {
    return base == 2 ? "bin" : "hex";
}

/// Breaks a row of fields of one width, each preceded by blanks, into lines with a power of two of fields.
std::string inLines(const std::string& row, std::size_t fieldCount) {
    const std::size_t width = row.size() / fieldCount;
    const std::size_t lineWidth = std::bit_floor(std::max<std::size_t>(1, kColumns / width)) * width;
    std::string text;
    for (std::size_t at = 0; at < row.size(); at += lineWidth) {
        text += row.substr(at, lineWidth) + '\n';
    }
    return text;
}

std::vector<std::string> split(const std::string& text) {
    std::istringstream parts(text);
    std::vector<std::string> words;
    for (std::string part; parts >> part;) {
        words.push_back(part);
    }
    return words;
}

/// The words of a file in one row, as input of "base2num".
std::string rowOfWords(const std::string& text) {
    std::istringstream lines(text);
    std::string row;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("//")) {
            row += (row.empty() ? "" : " ") + line;
        }
    }
    return row;
}

template <class Entry>
void requireSame(const std::vector<Entry>& found, const std::vector<Entry>& wanted, const std::string& what) {
    if (found == wanted) {
        return;
    }
    const auto [left, right] = std::mismatch(found.begin(), found.end(), wanted.begin(), wanted.end());
    std::ostringstream message;
    message.precision(17);
    message << what;
    if (left == found.end() || right == wanted.end()) {
        message << found.size() << " coefficients, not " << wanted.size();
    } else {
        message << *left << " for coefficient " << left - found.begin() << " (counted from 0), not " << *right;
    }
    throw study::StudyError(study::ExitCode::WordsDiffer, message.str());
}

}  // namespace

CoefficientArray::CoefficientArray(std::span<const double> coefficients, const Arithmetic& arithmetic)
    : mSession(TOLVANE_MODULE),
      mQuantizing(quantizingRules(mSession)),
      mArray(mSession.construct("embedded.fi", {std::vector<double>(coefficients.begin(), coefficients.end()),
                                                typeOf(mSession, arithmetic.coefficient), mQuantizing})) {
    const Value rules = mSession.construct("embedded.fimath");
    setRules(rules, arithmetic);
    mArray.set("fimath", rules);
    mArray.set("Tag", "coefficients");
}

std::string CoefficientArray::displayed(const Value& value) {
    mSession.takePrinted();
    mSession.display(value);
    return mSession.takePrinted();
}

std::string CoefficientArray::shown() {
    const Value values = mArray.get("double");
    const std::size_t count = values.numberOfElements();
    std::string row = displayed(values);
    row.pop_back();  // the end of the line
    const auto words = [&](int base) {
        return inLines("   " + mSession.call(methodOf(base), {mArray}).toText(), count);
    };
    return "\nThe coefficients as the host displays them\n\n" + inLines(row, count) + "\n  \"hex\":\n" + words(16) +
           "\n  \"bin\":\n" + words(2) + '\n' + displayed(mArray.get("numerictype")) + '\n' +
           displayed(mArray.get("fimath")) + "\n    Tag: " + mArray.get("Tag").toText() + "\n\n";
}

std::vector<std::string> CoefficientArray::words(int base) {
    return split(mSession.call(methodOf(base), {mArray}).toText());
}

void CoefficientArray::requireEqual(const std::string& text, int base) {
    const std::string row = rowOfWords(text);
    requireSame(split(row), words(base), "the file of \"" + methodOf(base) + "\" has ");
    const Value read = mSession.construct("embedded.fi", {0.0, mArray.get("numerictype"), mQuantizing});
    mSession.call(0, "base2num", std::vector<Value>{read, row, base});
    requireSame(read.get("double").toDoubles(), mArray.get("double").toDoubles(), "\"base2num\" reads ");
}

}  // namespace filterstudy
