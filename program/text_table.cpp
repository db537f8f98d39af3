#include "program/text_table.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace tolvane::detail {

std::string tableOf(const std::vector<TextRow>& rows, std::size_t texts, bool endsInText) {
    std::vector<std::size_t> widths(rows.front().size());
    for (const TextRow& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const TextRow& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const bool isText = i < texts || (endsInText && i + 1 == row.size());
            const std::string space(widths[i] - row[i].size(), ' ');
            line.append(i == 0 ? "" : "  ").append(isText ? row[i] + space : space + row[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    return text;
}

std::string shortText(double value) {
    std::ostringstream out;
    out << std::setprecision(6) << value;
    return out.str();
}

std::string shortText(const exact_value& value) {
    return shortText(value.to_double());
}

}  // namespace tolvane::detail
