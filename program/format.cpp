#include "program/format.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <optional>
#include <ostream>
#include <utility>
#include <vector>

#include "descriptors/NumericType.h"

namespace tolvane {

namespace {

constexpr int kMostBits = 65535;
constexpr int kMostFraction = 1 << 20;

template <class Mode>
struct Named {
    Mode mode;
    std::string_view name;
};
constexpr std::array kRoundings{
    Named<rounding>{rounding::ceil, "ceil"},
    Named<rounding>{rounding::convergent, "convergent"},
    Named<rounding>{rounding::toward_zero, "toward_zero"},
    Named<rounding>{rounding::floor, "floor"},
    Named<rounding>{rounding::nearest, "nearest"},
    Named<rounding>{rounding::nearest_away, "nearest_away"},
    Named<rounding>{rounding::nearest_zero, "nearest_zero"},
    Named<rounding>{rounding::nearest_down, "nearest_down"},
    Named<rounding>{rounding::nearest_odd, "nearest_odd"},
    Named<rounding>{rounding::away_from_zero, "away_from_zero"},
    Named<rounding>{rounding::jam, "jam"},
    Named<rounding>{rounding::add_sign, "add_sign"},
    Named<rounding>{rounding::stochastic, "stochastic"},
};
constexpr std::array kOverflows{
    Named<overflow>{overflow::saturate, "saturate"},   Named<overflow>{overflow::wrap, "wrap"},
    Named<overflow>{overflow::symmetric, "symmetric"}, Named<overflow>{overflow::zero, "zero"},
    Named<overflow>{overflow::keep_sign, "keep_sign"},
};

template <class Names, class Mode>
std::string_view nameIn(const Names& names, Mode mode) {
    return std::ranges::find(names, mode, [](const auto& row) { return row.mode; })->name;
}
template <class Names>
auto modeIn(const Names& names, std::string_view name) {
    const auto row = std::ranges::find(names, name, [](const auto& entry) { return entry.name; });
    return row == names.end() ? std::nullopt : std::optional(row->mode);
}

fixed_type checked(const fixed_type& type) {
    if (type.bits < 1 || type.bits > kMostBits) {
        throw error("tolvane:format:type",
                    "A word has 1 to 65535 bits, not " + std::to_string(type.bits) + " (" + type.text() + ").");
    }
    if (type.fraction > kMostFraction || type.fraction < -kMostFraction) {
        throw error("tolvane:format:type", "The fraction of " + type.text() + " is beyond 2^20 bits.");
    }
    return type;
}

/// Reads the parts of a text one after the other; each returns whether it was there.
class Reader {
 public:
    explicit Reader(std::string_view text) : mRest(text) {}

    bool literal(std::string_view expected) {
        skipSpace();
        if (!mRest.starts_with(expected)) {
            return false;
        }
        mRest.remove_prefix(expected.size());
        return true;
    }
    bool number(int& value) {
        skipSpace();
        const bool hasPlus = mRest.starts_with('+');
        const char* const begin = mRest.data() + (hasPlus ? 1 : 0);
        const auto [end, fault] = std::from_chars(begin, mRest.data() + mRest.size(), value);
        if (fault != std::errc()) {
            return false;
        }
        mRest.remove_prefix(static_cast<std::size_t>(end - mRest.data()));
        return true;
    }
    /// The letters and underscores that follow.
    std::string_view word() {
        skipSpace();
        std::size_t size = 0;
        while (size < mRest.size() &&
               (std::isalpha(static_cast<unsigned char>(mRest[size])) != 0 || mRest[size] == '_')) {
            ++size;
        }
        const std::string_view found = mRest.substr(0, size);
        mRest.remove_prefix(size);
        return found;
    }
    bool isAtEnd() {
        skipSpace();
        return mRest.empty();
    }
    std::string_view rest() const { return mRest; }

 private:
    void skipSpace() {
        while (!mRest.empty() && std::isspace(static_cast<unsigned char>(mRest.front())) != 0) {
            mRest.remove_prefix(1);
        }
    }
    std::string_view mRest;
};

/// All names of a table of modes.
template <class Modes>
std::string namesOf(const Modes& modes) {
    std::string all;
    for (const auto& mode : modes) {
        all += (all.empty() ? "" : ", ") + std::string(mode.name);
    }
    return all;
}

[[noreturn]] void refuse(std::string_view text, const std::string& why) {
    throw error("tolvane:format:text", "\"" + std::string(text) + "\" is no format: " + why);
}

/// "s16,15", "fxp-s16/15": a sign, the bits and the fraction, behind a separator.
std::optional<fixed_type> readShort(Reader& reader, std::string_view separator) {
    fixed_type type;
    type.is_signed = reader.literal("s");
    if (!type.is_signed && !reader.literal("u")) {
        return std::nullopt;
    }
    type.fraction = 0;
    if (!reader.number(type.bits)) {
        return std::nullopt;
    }
    if (reader.literal(separator) && !reader.number(type.fraction)) {
        return std::nullopt;
    }
    return type;
}

/// "ac_fixed<16,1,true>": bits, those before the point, and the sign, true if it is missing.
std::optional<fixed_type> readTemplate(Reader& reader) {
    fixed_type type;
    int whole = 0;
    if (!reader.number(type.bits) || !reader.literal(",") || !reader.number(whole)) {
        return std::nullopt;
    }
    if (reader.literal(",")) {
        const std::string_view sign = reader.word();
        if (sign != "true" && sign != "false") {
            return std::nullopt;
        }
        type.is_signed = sign == "true";
    }
    type.fraction = type.bits - whole;
    return reader.literal(">") ? std::optional(type) : std::nullopt;
}

/// "sfixed(0 downto -15)": the places of the first bit and the last.
std::optional<fixed_type> readRange(Reader& reader, bool isSigned) {
    int first = 0;
    int last = 0;
    if (!reader.number(first) || !reader.literal("downto") || !reader.number(last) || !reader.literal(")")) {
        return std::nullopt;
    }
    return fixed_type{isSigned, first - last + 1, -last};
}

std::optional<fixed_type> readType(Reader& reader) {
    if (reader.literal("ac_fixed<")) {
        return readTemplate(reader);
    }
    if (reader.literal("sfixed(")) {
        return readRange(reader, true);
    }
    if (reader.literal("ufixed(")) {
        return readRange(reader, false);
    }
    return reader.literal("fxp-") ? readShort(reader, "/") : readShort(reader, ",");
}

/// "Q1.15" and its kin: some count the sign bit before the point, and others don't.
void refuseQ(std::string_view text) {
    Reader reader(text);
    const bool isUnsigned = reader.literal("U") || reader.literal("u");
    int whole = 0;
    int fraction = 0;
    if ((!reader.literal("Q") && !reader.literal("q")) || !reader.number(whole) || !reader.literal(".") ||
        !reader.number(fraction)) {
        return;
    }
    const std::string asTotal = fixed_type{!isUnsigned, whole + fraction, fraction}.text();
    const std::string withSign = fixed_type{!isUnsigned, whole + fraction + 1, fraction}.text();
    refuse(text, isUnsigned ? "write \"" + asTotal + "\"."
                            : "some count the sign as a bit before the point, \"" + asTotal +
                                  "\", and others don't, \"" + withSign + "\". Write the one that you mean.");
}

}  // namespace

std::string fixed_type::text() const {
    return (is_signed ? "s" : "u") + std::to_string(bits) + "," + std::to_string(fraction);
}

fixed_type sfix(int bits, int fraction) {
    return checked({true, bits, fraction});
}

fixed_type ufix(int bits, int fraction) {
    return checked({false, bits, fraction});
}

fixed_type best_type(bool is_signed, int bits, double value) {
    const fixed_type type = checked({is_signed, bits, 0});
    if (!std::isfinite(value)) {
        throw error("tolvane:value:finite", "No type has room for a value that isn't finite.");
    }
    EmbeddedTypeSystem::NumericType found(type.is_signed, type.bits, 0);
    found.fxpBestPrecisionExponent(value);
    return {is_signed, bits, found.getFractionLength()};
}

fixed_format::fixed_format(const fixed_type& type, tolvane::rounding rounding, tolvane::overflow overflow,
                           std::string name)
    : mType(checked(type)), mRounding(rounding), mOverflow(overflow), mName(std::move(name)) {}

fixed_format::fixed_format(std::string_view text, std::string name) : mName(std::move(name)) {
    refuseQ(text);
    Reader reader(text);
    const std::optional<fixed_type> type = readType(reader);
    if (!type) {
        refuse(text, "it begins with a type, like \"s16,15\".");
    }
    mType = checked(*type);
    bool hasRounding = false;
    bool hasOverflow = false;
    while (!reader.isAtEnd()) {
        const std::string_view word = reader.word();
        if (const auto mode = modeIn(kRoundings, word); mode && !hasRounding) {
            mRounding = *mode;
            hasRounding = true;
        } else if (const auto beyond = modeIn(kOverflows, word); beyond && !hasOverflow) {
            mOverflow = *beyond;
            hasOverflow = true;
        } else {
            refuse(text, word.empty() ? "\"" + std::string(reader.rest()) +
                                            "\" doesn't belong there. A format is a type, and perhaps a "
                                            "rounding and an overflow, with blanks between: \"s16,15 floor wrap\"."
                                      : "\"" + std::string(word) +
                                            "\" is no rounding or overflow, or there are two. Roundings: " +
                                            namesOf(kRoundings) + ". Overflows: " + namesOf(kOverflows) + ".");
        }
    }
}

fixed_format fixed_format::named(std::string name) const {
    return fixed_format(mType, mRounding, mOverflow, std::move(name));
}

std::string fixed_format::text() const {
    return mType.text() + " " + std::string(name_of(mRounding)) + " " + std::string(name_of(mOverflow));
}

std::ostream& operator<<(std::ostream& out, const fixed_type& type) {
    return out << type.text();
}

std::ostream& operator<<(std::ostream& out, const fixed_format& format) {
    return out << format.text();
}

std::string_view name_of(rounding rounding) {
    return nameIn(kRoundings, rounding);
}

std::string_view name_of(overflow overflow) {
    return nameIn(kOverflows, overflow);
}

}  // namespace tolvane
