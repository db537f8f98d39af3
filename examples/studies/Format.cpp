#include "examples/studies/Format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

#include "examples/studies/StudyError.h"

namespace study {
namespace {

// In the order of the table: the unbiased modes first.
constexpr std::array<std::pair<std::string_view, Round>, 6> kRounds{{
    {"nearest", Round::Nearest},
    {"convergent", Round::Convergent},
    {"round", Round::Round},
    {"fix", Round::Fix},
    {"floor", Round::Floor},
    {"ceil", Round::Ceil},
}};
constexpr std::array<std::pair<std::string_view, Overflow>, 2> kOverflows{{
    {"saturate", Overflow::Saturate},
    {"wrap", Overflow::Wrap},
}};

[[noreturn]] void refuse(const std::string& message) {
    throw StudyError(ExitCode::BadArguments, message);
}

std::string quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

std::optional<int> toInt(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

template <class Mode, std::size_t Count>
std::string knownNames(const std::array<std::pair<std::string_view, Mode>, Count>& table) {
    std::string names;
    for (const auto& [name, mode] : table) {
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return names;
}

template <class Mode, std::size_t Count>
Mode modeNamed(std::string_view text, const std::array<std::pair<std::string_view, Mode>, Count>& table,
               std::string_view what) {
    for (const auto& [name, mode] : table) {
        if (name == text) {
            return mode;
        }
    }
    refuse("there is no " + std::string(what) + " mode " + quoted(text) + " (known: " + knownNames(table) + ")");
}

template <class Mode, std::size_t Count>
std::vector<Mode> modeList(std::string_view text, const std::array<std::pair<std::string_view, Mode>, Count>& table,
                           std::string_view what) {
    std::vector<Mode> modes;
    if (text == "all") {
        for (const auto& [name, mode] : table) {
            modes.push_back(mode);
        }
        return modes;
    }
    for (const std::string_view part : split(text, ',')) {
        const Mode mode = modeNamed(part, table, what);
        if (std::find(modes.begin(), modes.end(), mode) == modes.end()) {
            modes.push_back(mode);
        }
    }
    return modes;
}

template <class Mode, std::size_t Count>
std::string_view nameIn(const std::array<std::pair<std::string_view, Mode>, Count>& table, Mode wanted) {
    for (const auto& [name, mode] : table) {
        if (mode == wanted) {
            return name;
        }
    }
    return "?";
}

Format checkedFloat(std::string_view text, int wordBits, int exponentBits) {
    Format format{Kind::Float, wordBits, 0, exponentBits};
    if (exponentBits < 2 || exponentBits > 11 || format.mantissaBits() < 1 || format.mantissaBits() > 52) {
        refuse("bad float format " + quoted(text) +
               ": the exponent has 2 to 11 bits, and the word leaves 1 to 52 bits for the fraction");
    }
    return format;
}

}  // namespace

std::string_view nameOf(Round round) {
    return nameIn(kRounds, round);
}
std::string_view nameOf(Overflow overflow) {
    return nameIn(kOverflows, overflow);
}

std::string shortName(const Format& format) {
    if (format.kind == Kind::Float) {
        return "f" + std::to_string(format.wordBits) + ":" + std::to_string(format.exponentBits);
    }
    return (format.kind == Kind::Signed ? "s" : "u") + std::to_string(format.wordBits) + "," +
           std::to_string(format.fractionBits);
}

std::string fullName(const Format& format) {
    std::string name = shortName(format) + " " + std::string(nameOf(format.round));
    if (format.kind != Kind::Float) {
        name += "/" + std::string(nameOf(format.overflow));
    }
    return name;
}

Format parseFormat(std::string_view text, const Format& defaults) {
    const std::string help =
        "bad format " + quoted(text) + ": give one like s16,15, u8,8, f16:5 or \"s16,15 floor/wrap\"";
    // The modes follow the first letter after the kind.
    std::size_t modesAt = text.size();
    for (std::size_t i = 1; i < text.size() && modesAt == text.size(); ++i) {
        if (text[i] >= 'a' && text[i] <= 'z') {
            modesAt = i;
        }
    }
    std::string_view modes = text.substr(modesAt);
    std::string_view numbers = text.substr(0, modesAt);
    if (!modes.empty() && !numbers.empty() && (numbers.back() == ' ' || numbers.back() == ',')) {
        numbers.remove_suffix(1);
    } else if (!modes.empty()) {
        refuse(help);
    }
    if (numbers.empty()) {
        refuse(help);
    }

    const char kind = numbers.front();
    const auto parts = split(numbers.substr(1), kind == 'f' ? ':' : ',');
    if (parts.size() != 2) {
        refuse(help);
    }
    const auto wordBits = toInt(parts[0]);
    const auto second = toInt(parts[1]);
    if (!wordBits || !second) {
        refuse(help);
    }

    Format format;
    if (kind == 'f') {
        format = checkedFloat(text, *wordBits, *second);
    } else if (kind == 's' || kind == 'u') {
        if (*wordBits < 1 || *wordBits > kWordBitsLimit) {
            refuse("bad format " + quoted(text) + ": the word has 1 to " + std::to_string(kWordBitsLimit) + " bits");
        }
        if (*second < -kFractionBitsLimit || *second > kFractionBitsLimit) {
            refuse("bad format " + quoted(text) + ": the fraction has " + std::to_string(-kFractionBitsLimit) + " to " +
                   std::to_string(kFractionBitsLimit) + " bits");
        }
        format = Format{kind == 's' ? Kind::Signed : Kind::Unsigned, *wordBits, *second};
    } else {
        refuse(help);
    }
    format.round = defaults.round;
    if (format.kind != Kind::Float) {
        format.overflow = defaults.overflow;
    }
    if (!modes.empty()) {
        const auto names = split(modes, '/');
        if (names.size() > (format.kind == Kind::Float ? 1U : 2U)) {
            refuse(help);
        }
        format.round = modeNamed(names[0], kRounds, "rounding");
        if (names.size() == 2) {
            format.overflow = modeNamed(names[1], kOverflows, "overflow");
        }
    }
    return format;
}

std::vector<int> parseNumbers(std::string_view text, std::string_view what, int low, int high) {
    std::vector<int> numbers;
    for (const std::string_view part : split(text, ',')) {
        const auto ends = split(part, ':');
        const auto first = toInt(ends.front());
        const auto last = toInt(ends.back());
        if (ends.size() > 2 || !first || !last || *first > *last) {
            refuse("bad " + std::string(what) + " " + quoted(text) + ": give numbers and rising ranges like 8:24 or " +
                   "8,10,12:14");
        }
        if (*first < low || *last > high) {
            refuse("bad " + std::string(what) + " " + quoted(text) + ": each is from " + std::to_string(low) + " to " +
                   std::to_string(high));
        }
        for (int number = *first; number <= *last; ++number) {
            if (std::find(numbers.begin(), numbers.end(), number) == numbers.end()) {
                numbers.push_back(number);
            }
        }
    }
    return numbers;
}

std::vector<Round> parseRounds(std::string_view text) {
    return modeList(text, kRounds, "rounding");
}
std::vector<Overflow> parseOverflows(std::string_view text) {
    return modeList(text, kOverflows, "overflow");
}

std::vector<Format> parseFloats(std::string_view text) {
    std::vector<Format> formats;
    if (text == "none") {
        return formats;
    }
    for (const std::string_view part : split(text, ',')) {
        const auto numbers = split(part, ':');
        const auto wordBits = toInt(numbers.front());
        const auto exponentBits = toInt(numbers.back());
        if (numbers.size() != 2 || !wordBits || !exponentBits) {
            refuse("bad float formats " + quoted(text) + ": give word and exponent bits like 16:5,32:8, or none");
        }
        const Format format = checkedFloat(part, *wordBits, *exponentBits);
        if (std::find(formats.begin(), formats.end(), format) == formats.end()) {
            formats.push_back(format);
        }
    }
    return formats;
}

}  // namespace study
