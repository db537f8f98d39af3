// Evaluation of expression texts by muParser.
#include <muParser.h>

#include <cctype>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

#include "host/ErrorIdException.h"
#include "host/reference/parts/opener.h"

namespace hostref::parts {

namespace {

// The parser works on a stack of its own; the bounds keep its time and memory small for hostile texts.
constexpr std::size_t kMaxExpressionLength = 4096;
constexpr std::size_t kMaxNesting = 256;
constexpr std::size_t kMaxElements = 10000;

[[noreturn]] void raiseBad(const std::string& why) {
    raiseError("VELMAR:eval:badExpression", "The text can't be evaluated: " + why);
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

std::string_view trimmed(std::string_view text) {
    const auto isSpace = [](char c) { return isBlank(c) || c == '\n'; };
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// Refuses syntax that the parser accepts but the host's language doesn't have: assignment, lists, conditionals, string
/// literals.
void checkCharacters(std::string_view text) {
    if (text.empty()) {
        raiseBad("it is empty.");
    }
    if (text.size() > kMaxExpressionLength) {
        raiseBad("it is too long.");
    }
    std::size_t depth = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (!std::isalnum(byte) && std::string_view(" \t\r\n._+-*/^(),<>=!&|").find(c) == std::string_view::npos) {
            raiseBad("it has a character that stands in no expression.");
        }
        depth += c == '(' ? 1 : 0;
        if (depth > kMaxNesting) {
            raiseBad("it is nested too deeply.");
        }
    }
}

void defineNames(mu::Parser& parser) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    const struct {
        const char* name;
        double value;
    } constants[] = {
        {"pi", 3.14159265358979323846},
        {"eps", std::numeric_limits<double>::epsilon()},
        {"Inf", kInf},
        {"inf", kInf},
        {"NaN", kNaN},
        {"nan", kNaN},
        {"realmax", std::numeric_limits<double>::max()},
        {"realmin", std::numeric_limits<double>::min()},
        {"true", 1.0},
        {"false", 0.0},
    };
    for (const auto& constant : constants) {
        parser.DefineConst(constant.name, constant.value);
    }
    using Unary = mu::value_type (*)(mu::value_type);
    const struct {
        const char* name;
        Unary function;
    } functions[] = {
        {"ceil", [](double x) { return std::ceil(x); }}, {"floor", [](double x) { return std::floor(x); }},
        {"fix", [](double x) { return std::trunc(x); }}, {"round", [](double x) { return std::round(x); }},
        {"log2", [](double x) { return std::log2(x); }}, {"log10", [](double x) { return std::log10(x); }},
        {"double", [](double x) { return x; }},
    };
    for (const auto& function : functions) {
        parser.DefineFun(function.name, function.function);
    }
}

double evaluateScalar(std::string_view text) {
    checkCharacters(text);
    try {
        mu::Parser parser;
        defineNames(parser);
        parser.SetExpr(std::string(text));
        int valueCount = 0;
        const mu::value_type* values = parser.Eval(valueCount);
        if (valueCount != 1) {
            raiseBad("it has several values.");
        }
        return values[0];
    } catch (const mu::ParserError& error) {
        raiseBad(error.GetMsg());
    }
}

/// Returns whether a blank at `position`, outside parentheses, separates two elements: "1 -2" are two, "1 - 2" and "1
/// +2*3 -" follow the same rule, and a blank beside any other operator separates nothing.
bool separates(std::string_view row, std::size_t position, char before) {
    constexpr std::string_view kOperators = "+-*/^<>=!&|,";
    const std::size_t next = row.find_first_not_of(" \t\r", position);
    if (before == '\0' || kOperators.find(before) != std::string_view::npos || next == std::string_view::npos) {
        return false;
    }
    if (row[next] == '+' || row[next] == '-') {
        return next + 1 < row.size() && !isBlank(row[next + 1]);
    }
    return kOperators.find(row[next]) == std::string_view::npos;
}

std::vector<std::string_view> elementsOf(std::string_view row) {
    std::vector<std::string_view> elements;
    std::size_t start = 0;
    std::size_t depth = 0;
    char before = '\0';
    for (std::size_t i = 0; i < row.size(); ++i) {
        const char c = row[i];
        depth += c == '(' ? 1 : 0;
        depth -= c == ')' && depth > 0 ? 1 : 0;
        if (depth == 0 && (c == ',' || (isBlank(c) && separates(row, i, before)))) {
            elements.push_back(row.substr(start, i - start));
            start = i + 1;
            before = '\0';
        } else if (!isBlank(c)) {
            before = c;
        }
    }
    if (!trimmed(row.substr(start)).empty() || !elements.empty()) {
        elements.push_back(row.substr(start));
    }
    return elements;
}

hvArrayOwner evaluateMatrix(std::string_view inside) {
    std::vector<std::vector<double>> rows;
    std::size_t elementCount = 0;
    while (!inside.empty()) {
        const std::size_t end = inside.find_first_of(";\n");
        const std::vector<std::string_view> elements = elementsOf(trimmed(inside.substr(0, end)));
        inside.remove_prefix(end == std::string_view::npos ? inside.size() : end + 1);
        if (elements.empty()) {
            continue;
        }
        elementCount += elements.size();
        if (elementCount > kMaxElements) {
            raiseBad("it has too many elements.");
        }
        std::vector<double>& row = rows.emplace_back();
        for (const std::string_view element : elements) {
            row.push_back(evaluateScalar(trimmed(element)));
        }
        if (row.size() != rows.front().size()) {
            raiseError("VELMAR:eval:rowLengths", "The rows of a matrix must have the same number of elements.");
        }
    }
    const std::size_t columnCount = rows.empty() ? 0 : rows.front().size();
    hvArrayOwner matrix(hvCreateDoubleMatrix(rows.size(), columnCount));
    const std::span<double> data = hvGetTypedData<double>(matrix.get());
    for (std::size_t column = 0; column < columnCount; ++column) {
        for (std::size_t row = 0; row < rows.size(); ++row) {
            data[row + column * rows.size()] = rows[row][column];
        }
    }
    return matrix;
}

hvArrayOwner evaluate(const std::string& text) {
    std::string_view expression = trimmed(text);
    // A statement may end in a semicolon.
    if (!expression.empty() && expression.back() == ';') {
        expression = trimmed(expression.substr(0, expression.size() - 1));
    }
    if (expression.size() >= 2 && expression.front() == '[' && expression.back() == ']') {
        return evaluateMatrix(expression.substr(1, expression.size() - 2));
    }
    return hvArrayOwner(hvCreateDoubleScalar(evaluateScalar(expression)));
}

constexpr Expressions kTable = {evaluate};

}  // namespace

}  // namespace hostref::parts

TOLVANE_HOST_PART(hostref::parts::kTable)
