#include "host/reference/objects/near_names.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "host/EnumStringType.h"
#include "host/hv.h"
#include "host/reference/values/texts.h"

namespace hostref {

namespace {

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool isSameLetter(char a, char b) {
    return lower(a) == lower(b);
}

/// The optimal string alignment distance, row by row of its table.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::swap(beforeLast, last);
        std::swap(last, row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const bool isSame = isSameLetter(a[i - 1], b[j - 1]);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (isSame ? 0 : 1)});
            if (i > 1 && j > 1 && isSameLetter(a[i - 1], b[j - 2]) && isSameLetter(a[i - 2], b[j - 1])) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
    }
    return row.back();
}

}  // namespace

std::string suggestion(std::string_view given, std::span<const std::string> names) {
    const std::string* nearest = nullptr;
    std::size_t least = given.size() / 3 + 1;
    for (const std::string& name : names) {
        const std::size_t difference = std::max(name.size(), given.size()) - std::min(name.size(), given.size());
        // The difference in length is a lower bound of the distance.
        const std::size_t apart = difference < least ? distance(given, name) : difference;
        if (apart < least) {
            nearest = &name;
            least = apart;
        }
    }
    return nearest == nullptr ? std::string() : " Did you mean '" + *nearest + "'?";
}

std::string choicesInstead(const EnumStringType& enumeration, const hvArray* given) {
    std::vector<std::string> names;
    std::string text;
    for (const EnumStringType::Entry& entry : enumeration.getEntries()) {
        names.push_back(entry.text);
        text += (text.empty() ? "one of '" : ", '") + entry.text + "'";
    }
    return text + "." + (given != nullptr && isText(given) ? suggestion(hvArray2String(given), names) : std::string());
}

}  // namespace hostref
