#include "program/float_array.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <ostream>

#include "numbers/interruption.h"

namespace tolvane {

/// How the functions of this file make arrays.
class FloatAccess {
 public:
    static float_array rounded(std::span<const float_value> values, const float_format& format, array_shape shape) {
        float_array made = float_array::rounded(values, format);
        made.mShape = std::move(shape);
        return made;
    }
};

namespace {

using Kind = float_value::kind;

constexpr int kMostBits = 64;
// The work of an element.
constexpr std::uint64_t kFloat = 100;

float_type checked(const float_type& type) {
    constexpr int kMostExponentBits = 15;
    if (type.exponent_bits < 2 || type.exponent_bits > kMostExponentBits || type.fraction_bits < 1 ||
        type.fraction_bits > kMostBits || type.bits() > kMostBits) {
        throw error("tolvane:float:type",
                    "A float has 2 to 15 exponent bits, at least one fraction bit, and at most 64 bits with its sign, "
                    "not " +
                        std::to_string(type.exponent_bits) + " and " + std::to_string(type.fraction_bits) + ".");
    }
    return type;
}

rounding checked(rounding mode) {
    if (mode == rounding::add_sign || mode == rounding::stochastic) {
        throw error("tolvane:float:rounding", "Floats can't be rounded by \"" + std::string(name_of(mode)) + "\".");
    }
    return mode;
}

// Words without their sign: the codes of zero, of the smallest numbers and so on up to infinity and NaN. A greater code
// is a greater number.

int leastExponent(const float_type& type) {
    return 2 - (1 << (type.exponent_bits - 1));
}
std::uint64_t infinityCode(const float_type& type) {
    return ((std::uint64_t{1} << type.exponent_bits) - 1) << type.fraction_bits;
}
std::uint64_t nanCode(const float_type& type) {
    const std::uint64_t top = std::uint64_t{1} << (type.fraction_bits - 1);
    return infinityCode(type) | (type.is_finite ? 2 * top - 1 : top);
}
std::uint64_t greatestCode(const float_type& type) {
    return (type.is_finite ? nanCode(type) : infinityCode(type)) - 1;
}
std::uint64_t signBit(const float_type& type) {
    return std::uint64_t{1} << (type.bits() - 1);
}

/// Whether a magnitude between two neighbours goes to the upper one. `half` is negative, 0 or positive as it is below
/// the middle, there or above.
bool goesUp(rounding mode, bool isNegative, bool isOdd, int half) {
    switch (mode) {
        case rounding::ceil:
            return !isNegative;
        case rounding::floor:
            return isNegative;
        case rounding::away_from_zero:
            return true;
        case rounding::jam:
            return !isOdd;
        case rounding::toward_zero:
            return false;
        default:
            break;
    }
    if (half != 0) {
        return half > 0;
    }
    switch (mode) {
        case rounding::nearest:
            return !isNegative;
        case rounding::nearest_down:
            return isNegative;
        case rounding::nearest_away:
            return true;
        case rounding::nearest_zero:
            return false;
        case rounding::nearest_odd:
            return !isOdd;
        default:
            return isOdd;
    }
}

/// Whether numbers beyond the greatest one become infinite.
bool overflowsToInfinity(rounding mode, bool isNegative) {
    switch (mode) {
        case rounding::ceil:
            return !isNegative;
        case rounding::floor:
            return isNegative;
        case rounding::toward_zero:
        case rounding::jam:
            return false;
        default:
            return true;
    }
}

/// The bits of a magnitude from a bit on, as far as 64 bits have them.
std::uint64_t bitsFrom(const std::vector<std::uint64_t>& limbs, int bit) {
    const auto limb = static_cast<std::size_t>(bit / 64);
    const int shift = bit % 64;
    std::uint64_t bits = limb < limbs.size() ? limbs[limb] >> shift : 0;
    if (shift != 0 && limb + 1 < limbs.size()) {
        bits |= limbs[limb + 1] << (64 - shift);
    }
    return bits;
}

/// The code of a number that isn't zero; one beyond the greatest if it overflows.
std::uint64_t codeOf(const exact_value& number, const float_format& format) {
    const float_type& type = format.type();
    const int top = number.magnitude_exponent();
    const int normal = std::max(top, leastExponent(type));
    if (normal - leastExponent(type) + 1 >= 1 << type.exponent_bits) {
        return signBit(type);
    }
    // In units of the last place, which are 2^unit.
    const int unit = normal - type.fraction_bits;
    const int dropped = unit - number.exponent();
    std::uint64_t units = 0;
    if (dropped <= 0) {
        units = number.magnitude().front() << -dropped;
    } else {
        units = dropped < number.bits() ? bitsFrom(number.magnitude(), dropped) : 0;
        // The magnitude is odd, so only one dropped bit is a half.
        const bool hasHalf = (bitsFrom(number.magnitude(), dropped - 1) & 1U) != 0;
        const int half = !hasHalf ? -1 : dropped == 1 ? 0 : 1;
        units += goesUp(format.rounding(), number.is_negative(), (units & 1U) != 0, half) ? 1U : 0U;
    }
    // A normal number's highest bit adds one to the exponent, and so does the carry of a rounding.
    return (static_cast<std::uint64_t>(normal - leastExponent(type)) << type.fraction_bits) + units;
}

std::uint64_t wordOf(const float_value& value, const float_format& format) {
    const float_type& type = format.type();
    const bool saturates = format.overflow() == float_overflow::saturate;
    const std::uint64_t sign = value.is_negative ? signBit(type) : 0;
    const std::uint64_t infinite = type.is_finite ? nanCode(type) : sign | infinityCode(type);
    switch (value.what) {
        case Kind::nan:
            return nanCode(type);
        case Kind::infinity:
            return saturates ? sign | greatestCode(type) : infinite;
        default:
            break;
    }
    const std::uint64_t code = value.number.is_zero() ? 0 : codeOf(value.number, format);
    if (code <= greatestCode(type)) {
        return sign | code;
    }
    return saturates || !overflowsToInfinity(format.rounding(), value.is_negative) ? sign | greatestCode(type)
                                                                                   : infinite;
}

float_value valueOfWord(std::uint64_t word, const float_type& type) {
    float_value value;
    value.is_negative = (word & signBit(type)) != 0;
    const std::uint64_t code = word & (signBit(type) - 1);
    if (code > greatestCode(type)) {
        value.what = code == infinityCode(type) && !type.is_finite ? Kind::infinity : Kind::nan;
        return value;
    }
    const std::uint64_t hidden = std::uint64_t{1} << type.fraction_bits;
    const auto biased = static_cast<int>(code >> type.fraction_bits);
    const std::uint64_t units = (code & (hidden - 1)) | (biased == 0 ? 0 : hidden);
    const int unit = leastExponent(type) + std::max(biased - 1, 0) - type.fraction_bits;
    const exact_value size = exact_value::from_words(&units, 1, false, unit);
    value.number = value.is_negative ? -size : size;
    return value;
}

float_value numberOf(const exact_value& number, bool isNegativeZero) {
    return {Kind::number, number.is_zero() ? isNegativeZero : number.is_negative(), number};
}

float_value notANumber() {
    return {Kind::nan, false, {}};
}

float_value sumOf(const float_value& a, const float_value& b, rounding mode) {
    if (a.what == Kind::nan || b.what == Kind::nan) {
        return notANumber();
    }
    if (a.what == Kind::infinity || b.what == Kind::infinity) {
        const bool isOpposite = a.what == b.what && a.is_negative != b.is_negative;
        return isOpposite ? notANumber() : a.what == Kind::infinity ? a : b;
    }
    // A zero has the sign of both terms if they agree, and else that of the rounding.
    return numberOf(a.number + b.number, a.is_negative == b.is_negative ? a.is_negative : mode == rounding::floor);
}

float_value productOf(const float_value& a, const float_value& b) {
    const bool isNegative = a.is_negative != b.is_negative;
    if (a.what == Kind::nan || b.what == Kind::nan) {
        return notANumber();
    }
    if (a.what == Kind::infinity || b.what == Kind::infinity) {
        const bool hasZero =
            (a.what == Kind::number && a.number.is_zero()) || (b.what == Kind::number && b.number.is_zero());
        return hasZero ? notANumber() : float_value{Kind::infinity, isNegative, {}};
    }
    return numberOf(a.number * b.number, isNegative);
}

/// The shape of results: that of the operands, which are equal, or one has a single element.
class Pairs {
 public:
    Pairs(const float_array& a, const float_array& b) : mLeft(a), mRight(b) {
        if (a.shape() != b.shape() && a.size() != 1 && b.size() != 1) {
            throw error("tolvane:array:shape", "Floats of " + std::to_string(a.size()) + " and " +
                                                   std::to_string(b.size()) +
                                                   " elements need equal shapes, or one of them a single element.");
        }
    }
    const array_shape& shape() const { return mLeft.size() == 1 ? mRight.shape() : mLeft.shape(); }
    std::size_t size() const { return mLeft.size() == 1 ? mRight.size() : mLeft.size(); }
    float_value left(std::size_t i) const { return mLeft.at(mLeft.size() == 1 ? 0 : i); }
    float_value right(std::size_t i) const { return mRight.at(mRight.size() == 1 ? 0 : i); }

    template <class Operation>
    auto map(const Operation& operation) const {
        std::vector<decltype(operation(left(0), right(0)))> results;
        results.reserve(size());
        for (std::size_t i = 0; i < size(); ++i) {
            detail::noteWork(kFloat);
            results.push_back(operation(left(i), right(i)));
        }
        return results;
    }

 private:
    const float_array& mLeft;
    const float_array& mRight;
};

float_format commonFormat(const float_array& a, const float_array& b) {
    if (a.type() != b.type()) {
        throw error("tolvane:float:type", "Operands are of " + a.type().text() + " and " + b.type().text() +
                                              "; add, subtract and multiply take the format of the result.");
    }
    return a.type();
}

std::string textOf(const float_value& value) {
    if (value.what == Kind::nan) {
        return "nan";
    }
    if (value.what == Kind::number && !value.number.is_zero()) {
        return value.number.text();
    }
    return std::string(value.is_negative ? "-" : "") + (value.what == Kind::infinity ? "inf" : "0");
}

// Formats as text.

struct NamedType {
    std::string_view name;
    float_type type;
};
constexpr std::array kNamedTypes{
    NamedType{"fp16", {5, 10}}, NamedType{"bf16", {8, 7}},   NamedType{"tf32", {8, 10}},
    NamedType{"fp32", {8, 23}}, NamedType{"fp64", {11, 52}}, NamedType{"e4m3", {4, 3, true}},
};

/// Reads "e5m10" and so on.
std::optional<float_type> readType(std::string_view word) {
    const auto named = std::ranges::find(kNamedTypes, word, &NamedType::name);
    if (named != kNamedTypes.end()) {
        return named->type;
    }
    const auto literal = [&](std::string_view expected) {
        const bool isThere = word.starts_with(expected);
        word.remove_prefix(isThere ? expected.size() : 0);
        return isThere;
    };
    const auto number = [&](int& value) {
        const auto [end, fault] = std::from_chars(word.data(), word.data() + word.size(), value);
        word.remove_prefix(static_cast<std::size_t>(end - word.data()));
        return fault == std::errc();
    };
    float_type type;
    if (!literal("e") || !number(type.exponent_bits) || !literal("m") || !number(type.fraction_bits)) {
        return std::nullopt;
    }
    type.is_finite = word == "fn";
    return word.empty() || word == "fn" || word == "ieee" ? std::optional(type) : std::nullopt;
}

std::optional<rounding> readRounding(std::string_view word) {
    for (int i = 0; i <= static_cast<int>(rounding::stochastic); ++i) {
        if (name_of(static_cast<rounding>(i)) == word) {
            return static_cast<rounding>(i);
        }
    }
    return std::nullopt;
}

std::string_view nameOf(float_overflow overflow) {
    return overflow == float_overflow::saturate ? "saturate" : "infinity";
}

}  // namespace

float_type floating(int exponent_bits, int fraction_bits) {
    return checked(float_type{exponent_bits, fraction_bits, false});
}

std::string float_type::text() const {
    const std::string size = "e" + std::to_string(exponent_bits) + "m" + std::to_string(fraction_bits);
    return size + (is_finite ? "fn" : size == "e4m3" ? "ieee" : "");
}

float_format::float_format(const float_type& type, tolvane::rounding rounding, float_overflow overflow,
                           std::string name)
    : mType(checked(type)), mRounding(checked(rounding)), mOverflow(overflow), mName(std::move(name)) {}

float_format::float_format(std::string_view text, std::string name) : mName(std::move(name)) {
    const auto refuse = [&](const std::string& why) {
        throw error("tolvane:float:text", "\"" + std::string(text) + "\" is no format of floats: " + why);
    };
    bool hasType = false;
    bool hasRounding = false;
    bool hasOverflow = false;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t size = std::min(rest.find(' '), rest.size());
        const std::string_view word = rest.substr(0, size);
        rest.remove_prefix(std::min(size + 1, rest.size()));
        if (word.empty()) {
            continue;
        }
        if (!hasType) {
            const std::optional<float_type> type = readType(word);
            if (!type) {
                refuse("it begins with a type, like \"fp16\" or \"e5m10\".");
            }
            mType = checked(*type);
            hasType = true;
        } else if (const std::optional<tolvane::rounding> mode = readRounding(word); mode && !hasRounding) {
            mRounding = checked(*mode);
            hasRounding = true;
        } else if ((word == nameOf(float_overflow::saturate) || word == nameOf(float_overflow::infinity)) &&
                   !hasOverflow) {
            mOverflow = word == nameOf(float_overflow::saturate) ? float_overflow::saturate : float_overflow::infinity;
            hasOverflow = true;
        } else {
            refuse("\"" + std::string(word) +
                   "\" is no rounding or overflow, or there are two. Roundings are those of "
                   "fixed-point formats, overflows \"infinity\" and \"saturate\".");
        }
    }
    if (!hasType) {
        refuse("it begins with a type, like \"fp16\" or \"e5m10\".");
    }
}

float_format float_format::named(std::string name) const {
    return float_format(mType, mRounding, mOverflow, std::move(name));
}

std::string float_format::text() const {
    return mType.text() + " " + std::string(name_of(mRounding)) + " " + std::string(nameOf(mOverflow));
}

std::ostream& operator<<(std::ostream& out, const float_type& type) {
    return out << type.text();
}

std::ostream& operator<<(std::ostream& out, const float_format& format) {
    return out << format.text();
}

float_array float_array::rounded(std::span<const float_value> values, const float_format& format) {
    float_array made;
    made.mType = format.type();
    made.mShape = {values.size()};
    made.mName = format.name();
    made.mWords.reserve(values.size());
    for (const float_value& value : values) {
        detail::noteWork(kFloat);
        made.mWords.push_back(wordOf(value, format));
    }
    return made;
}

float_value float_array::valueOf(double value) {
    if (std::isfinite(value)) {
        return {Kind::number, std::signbit(value), exact_value(value)};
    }
    return {std::isnan(value) ? Kind::nan : Kind::infinity, std::signbit(value), {}};
}

float_array float_array::from_words(std::span<const std::uint64_t> words, const float_type& type) {
    float_array made;
    made.mType = checked(type);
    const std::uint64_t unused = ~(signBit(type) | (signBit(type) - 1));
    for (std::size_t i = 0; i < words.size(); ++i) {
        if ((words[i] & unused) != 0) {
            throw error("tolvane:float:word", "Element " + std::to_string(i) + ", " + std::to_string(words[i]) +
                                                  ", is no word of the " + std::to_string(type.bits()) + " bits of " +
                                                  type.text() + ".");
        }
    }
    made.mWords.assign(words.begin(), words.end());
    made.mShape = {words.size()};
    return made;
}

float_array float_array::from_words(const fixed_array& words, const float_type& type) {
    if (words.type().bits != checked(type).bits() || words.is_complex()) {
        throw error("tolvane:float:word", "Words of " + words.type().text() + (words.is_complex() ? " complex" : "") +
                                              " are none of the " + std::to_string(type.bits()) + " bits of " +
                                              type.text() + ".");
    }
    float_array made;
    made.mType = type;
    made.mShape = words.shape();
    made.mName = words.name();
    const std::uint64_t mask = signBit(type) | (signBit(type) - 1);
    for (const std::int64_t word : words.words()) {
        made.mWords.push_back(static_cast<std::uint64_t>(word) & mask);
    }
    return made;
}

fixed_array float_array::to_words() const {
    const std::vector<std::int64_t> words(mWords.begin(), mWords.end());
    return fixed_array::from_words(words, ufix(mType.bits(), 0)).reshaped(mShape).named(mName);
}

float_array float_array::named(std::string name) const {
    float_array result = *this;
    result.mName = std::move(name);
    return result;
}

float_array float_array::reshaped(array_shape shape) const {
    if (std::accumulate(shape.begin(), shape.end(), std::size_t{1}, std::multiplies<>()) != size()) {
        throw error("tolvane:array:shape", std::to_string(size()) + " elements don't fill this shape.");
    }
    float_array result = *this;
    result.mShape = std::move(shape);
    return result;
}

float_value float_array::at(std::size_t index) const {
    if (index >= size()) {
        throw error("tolvane:array:index",
                    "There is no element " + std::to_string(index) + " of " + std::to_string(size()) + ".");
    }
    return valueOfWord(mWords[index], mType);
}

std::vector<double> float_array::to_doubles() const {
    using Limits = std::numeric_limits<double>;
    std::vector<double> values;
    values.reserve(size());
    for (const std::uint64_t word : mWords) {
        detail::noteWork(kFloat);
        const float_value value = valueOfWord(word, mType);
        const double size = value.what == Kind::nan        ? Limits::quiet_NaN()
                            : value.what == Kind::infinity ? Limits::infinity()
                                                           : std::abs(value.number.to_double());
        values.push_back(value.is_negative && value.what != Kind::nan ? -size : size);
    }
    return values;
}

float_array float_array::operator-() const {
    float_array result = *this;
    for (std::uint64_t& word : result.mWords) {
        word ^= signBit(mType);
    }
    return result;
}

float_array cast(const fixed_array& x, const float_format& format) {
    if (x.is_complex()) {
        throw error("tolvane:array:complex", "A float is real; take real() and imag() of the array.");
    }
    std::vector<float_value> values;
    values.reserve(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        detail::noteWork(kFloat);
        values.push_back(numberOf(x.at(i), false));
    }
    return FloatAccess::rounded(values, format, x.shape());
}

float_array cast(const float_array& x, const float_format& format) {
    std::vector<float_value> values;
    values.reserve(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        detail::noteWork(kFloat);
        values.push_back(x.at(i));
    }
    return FloatAccess::rounded(values, format, x.shape());
}

fixed_array cast(const float_array& x, const fixed_format& format) {
    std::vector<exact_value> values;
    values.reserve(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        detail::noteWork(kFloat);
        const float_value value = x.at(i);
        if (value.what != Kind::number) {
            throw error("tolvane:value:finite", "Element " + std::to_string(i) + ", " + textOf(value) +
                                                    ", is no number of a fixed-point format.");
        }
        values.push_back(value.number);
    }
    return fixed_array(values, format).reshaped(x.shape());
}

float_array add(const float_array& a, const float_array& b, const float_format& format) {
    const Pairs pairs(a, b);
    return FloatAccess::rounded(
        pairs.map([&](const float_value& x, const float_value& y) { return sumOf(x, y, format.rounding()); }), format,
        pairs.shape());
}

float_array subtract(const float_array& a, const float_array& b, const float_format& format) {
    return add(a, -b, format);
}

float_array multiply(const float_array& a, const float_array& b, const float_format& format) {
    const Pairs pairs(a, b);
    return FloatAccess::rounded(pairs.map(productOf), format, pairs.shape());
}

float_array multiply_add(const float_array& a, const float_array& b, const float_array& c, const float_format& format) {
    const Pairs pairs(a, b);
    std::vector<float_value> sums = pairs.map(productOf);
    if (c.size() != 1 && c.shape() != pairs.shape()) {
        throw error("tolvane:array:shape", "The array that is added needs the shape of the products, or one element.");
    }
    for (std::size_t i = 0; i < sums.size(); ++i) {
        detail::noteWork(kFloat);
        sums[i] = sumOf(sums[i], c.at(c.size() == 1 ? 0 : i), format.rounding());
    }
    return FloatAccess::rounded(sums, format, pairs.shape());
}

float_array operator+(const float_array& a, const float_array& b) {
    return add(a, b, commonFormat(a, b));
}

float_array operator-(const float_array& a, const float_array& b) {
    return subtract(a, b, commonFormat(a, b));
}

float_array operator*(const float_array& a, const float_array& b) {
    return multiply(a, b, commonFormat(a, b));
}

std::vector<bool> equal(const float_array& a, const float_array& b) {
    return Pairs(a, b).map([](const float_value& x, const float_value& y) {
        return x.what == y.what && x.what != Kind::nan && x.number == y.number &&
               (x.what == Kind::number || x.is_negative == y.is_negative);
    });
}

std::vector<bool> less(const float_array& a, const float_array& b) {
    return Pairs(a, b).map([](const float_value& x, const float_value& y) {
        if (x.what == Kind::nan || y.what == Kind::nan) {
            return false;
        }
        const auto rank = [](const float_value& v) { return v.what == Kind::number ? 0 : v.is_negative ? -1 : 1; };
        return rank(x) != rank(y) ? rank(x) < rank(y) : rank(x) == 0 && x.number < y.number;
    });
}

std::ostream& operator<<(std::ostream& out, const float_array& x) {
    constexpr std::size_t kMostShown = 20;
    out << (x.name().empty() ? "" : x.name() + ": ") << x.type() << " (";
    for (std::size_t i = 0; i < x.shape().size(); ++i) {
        out << (i == 0 ? "" : ", ") << x.shape()[i];
    }
    out << ") [";
    for (std::size_t i = 0; i < std::min(x.size(), kMostShown); ++i) {
        out << (i == 0 ? "" : ", ") << textOf(x.at(i));
    }
    return out << (x.size() > kMostShown ? ", ..." : "") << "]";
}

}  // namespace tolvane
