// Whole arrays of values forced into formats: doubles, integers and words of up to 64 bits, through the interface for
// programs with its logs, and doubles through the quantizer of the host's classes.
#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "program/tolvane.h"
#include "quantization/quantizer.h"
#include "tests/soak/host_words.h"
#include "tests/soak/soak.h"

namespace soak {
namespace {

using tolvane::fixed_array;

enum class Style : std::uint8_t { any, ties, bounds };

/// Integers of `bits` bits with a sign, or without, around what `shift` cuts off and around the bounds of words.
struct Source {
    std::uint64_t seed;
    int bits;
    bool isSigned;
    int shift;
    int wordBits;
    Style style;

    std::int64_t at(std::size_t i) const {
        const std::uint64_t drawn = mixed(seed + i * 0x2545F4914F6CDD1DU);
        const int top = bits + (isSigned ? 1 : 0);
        std::int64_t x =
            isSigned ? static_cast<std::int64_t>(drawn) >> (64 - top) : static_cast<std::int64_t>(drawn >> (64 - top));
        const auto near = static_cast<std::int64_t>(drawn % 3) - 1;
        if (style == Style::ties && shift > 0 && shift < bits && (drawn & 12U) != 0) {
            x = (x >> (shift - 1)) * (std::int64_t{1} << (shift - 1)) + near;
        } else if (style == Style::bounds && (drawn & 12U) != 0) {
            const int place = wordBits + shift - static_cast<int>(drawn >> 4 & 1U);
            if (place >= 0 && place < bits) {
                const std::int64_t half = shift > 0 ? std::int64_t{1} << (shift - 1) : 0;
                x = (std::int64_t{1} << place) - ((drawn & 32U) != 0 ? half : 0) + near;
                x = isSigned && (drawn & 64U) != 0 ? -x : x;
            }
        }
        const std::int64_t most = (std::int64_t{1} << bits) - 1;
        return std::clamp(x, isSigned ? -most : std::int64_t{0}, most);
    }
};

struct Expected {
    std::vector<std::int64_t> words;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
};

template <class Integer>
Expected expectedOf(const std::vector<std::int64_t>& values, const std::vector<int>* places, int shift,
                    const fixed_format& format, bool isTyped) {
    Expected expected;
    expected.words.resize(values.size());
    const Words<Integer> words(format.type(), format.overflow());
    const auto loop = [&]<rounding kRule, bool kIsTyped>() {
        std::uint64_t overflows = 0;
        std::uint64_t underflows = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const Integer x = values[i];
            const Integer rounded = roundedPower<kRule, kIsTyped, Integer>(x, places ? (*places)[i] : shift);
            const Integer word = words.forced(rounded);
            overflows += words.has(rounded) ? 0U : 1U;
            underflows += x != 0 && rounded == 0 ? 1U : 0U;
            expected.words[i] = static_cast<std::int64_t>(word);
        }
        expected.overflows = overflows;
        expected.underflows = underflows;
    };
    withRounding(format.rounding(), [&](auto rule) {
        if (isTyped) {
            loop.template operator()<decltype(rule)::value, true>();
        } else {
            loop.template operator()<decltype(rule)::value, false>();
        }
    });
    return expected;
}

std::size_t sizeOf(Draw& draw) {
    return static_cast<std::size_t>(draw.oneIn(8) ? draw.between(1, 200) : draw.between(8000, 33000));
}

/// Into the interface for programs. `kFrom` says what the values are.
enum class From : std::uint8_t { doubles, mixedDoubles, integers, words };

template <From kFrom>
Outcome intoFormat(const Case& oneCase) {
    Draw draw(oneCase.seed);
    const std::size_t size = sizeOf(draw);
    const bool areDoubles = kFrom == From::doubles || kFrom == From::mixedDoubles;
    const int wordBits = draw.oneIn(3) ? draw.between(1, 64) : draw.between(1, 20);
    const bool isSigned = draw.oneIn(2);
    const int bits = areDoubles ? draw.between(1, 53) : draw.between(1, 62);
    // Most values have a few bits more than the word or less.
    int shift = bits - wordBits - draw.between(-4, 4);
    shift = draw.oneIn(4) ? draw.between(-40, 60) : shift;
    shift = std::max(shift, -60);
    const int wordFraction = kFrom == From::integers ? -shift : draw.between(-40, 80);
    // The modes that have loops of their own more often than those whose values go one by one.
    const bool isUsual = areDoubles && !draw.oneIn(8);
    const fixed_format format({isSigned, wordBits, wordFraction},
                              isUsual ? kRoundings[draw.between(0, 5)] : draw.of(kRoundings),
                              isUsual ? kOverflows[draw.between(0, 1)] : draw.of(kOverflows), "place");
    // A value is an integer times 2^-(fraction + shift).
    const int fraction = format.type().fraction + shift;
    const Source source{draw.bits(), bits,     draw.oneIn(4) ? false : areDoubles || draw.oneIn(2),
                        shift,       wordBits, Style(draw.between(0, 2))};
    const bool isLogged = draw.oneIn(2);

    std::vector<std::int64_t> values;
    std::vector<int> places;
    for (std::size_t i = oneCase.window.begin(size); i < oneCase.window.end(size); ++i) {
        values.push_back(source.at(i));
    }
    std::vector<double> doubles(areDoubles ? values.size() : 0);
    if (kFrom == From::doubles) {
        const double unit = std::ldexp(1.0, -fraction);
        for (std::size_t i = 0; i < values.size(); ++i) {
            doubles[i] = static_cast<double>(values[i]) * unit;
        }
    } else if (kFrom == From::mixedDoubles) {
        // Their exponents differ: far below the last place only the sign counts, far above the top only zeros.
        places.resize(values.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            const auto drawn = mixed(source.seed ^ (oneCase.window.begin(size) + i));
            const int place = shift + static_cast<int>(drawn % 64) - 32;
            const int extreme = drawn >> 20 & 15U ? 0 : static_cast<int>(drawn >> 32 & 1023U) - 512;
            doubles[i] = std::ldexp(static_cast<double>(values[i]), -(format.type().fraction + place + extreme));
            places[i] = std::clamp(place + extreme, -66, 60);
            if (place + extreme > 60) {
                values[i] = (values[i] > 0) - (values[i] < 0);
            }
        }
    }
    std::optional<tolvane::fixed_log> log;
    if (isLogged) {
        log.emplace();
    }
    const fixed_type from{source.isSigned, bits + (source.isSigned ? 1 : 0), fraction};
    const fixed_array made = areDoubles                ? fixed_array(doubles, format)
                             : kFrom == From::integers ? fixed_array(values, format)
                                                       : cast(fixed_array::from_words(values, from), format);
    const bool isShort =
        bits + std::max(-shift, 0) <= 61 && wordBits <= 61 && shift <= 61 && kFrom != From::mixedDoubles;
    const bool isTyped = !areDoubles;  // integers are words without a fraction
    const Expected expected =
        isShort ? expectedOf<std::int64_t>(values, nullptr, shift, format, isTyped)
                : expectedOf<Int128>(values, places.empty() ? nullptr : &places, shift, format, isTyped);
    const auto words = made.words();
    if (!std::equal(words.begin(), words.end(), expected.words.begin(), expected.words.end())) {
        const std::size_t i = static_cast<std::size_t>(
            std::mismatch(words.begin(), words.end(), expected.words.begin()).first - words.begin());
        return mismatch(oneCase.window.begin(size) + i, format, (isLogged ? ", logged, " : ", "), values[i],
                        " times 2^-", places.empty() ? fraction : wordFraction + places[i], " of ", from, " gives ",
                        words[i], ", expected ", expected.words[i]);
    }
    if (isLogged && !values.empty()) {
        const tolvane::place_record seen = log->place("place");
        if (seen.values != values.size() || seen.overflows != expected.overflows ||
            seen.underflows != expected.underflows) {
            return mismatch(oneCase.window.begin(size), format, " from ", from, ": the log has ", seen.values,
                            " values, ", seen.overflows, " overflows, ", seen.underflows, " underflows; expected ",
                            values.size(), ", ", expected.overflows, ", ", expected.underflows);
        }
        const auto [least, greatest] =
            std::minmax_element(expected.words.begin(), expected.words.end(), [&](std::int64_t a, std::int64_t b) {
                return isSigned ? a < b : static_cast<std::uint64_t>(a) < static_cast<std::uint64_t>(b);
            });
        const fixed_array extremes = fixed_array::from_words(std::vector{*least, *greatest}, format.type());
        if (seen.after.least != extremes.at(0) || seen.after.greatest != extremes.at(1)) {
            return mismatch(oneCase.window.begin(size), format, ": the log's range is ", seen.after.least, " to ",
                            seen.after.greatest, ", expected ", extremes.at(0), " to ", extremes.at(1));
        }
    }
    return {values.size(), {}, 0};
}

/// Doubles through the host's quantizer, with counts and extremes. Values have so few bits that no sum with a half
/// rounds, which the host's roundings depend on.
Outcome throughQuantizer(const Case& oneCase) {
    Draw draw(oneCase.seed);
    const std::size_t size = sizeOf(draw);
    const int wordBits = draw.oneIn(3) ? draw.between(1, 52) : draw.between(1, 20);
    const bool isSigned = draw.oneIn(2);
    const int bits = draw.between(1, 45);
    const int shift =
        std::clamp(draw.oneIn(4) ? draw.between(-40, 45) : bits - wordBits - draw.between(-4, 4), -50, 45);
    const HostMode mode = draw.of(kHostModes);
    const bool wraps = draw.oneIn(2);
    const int wordFraction = draw.between(-100, 200);
    const Source source{draw.bits(), bits, !draw.oneIn(4), shift, wordBits, Style(draw.between(0, 2))};
    const bool isLogged = draw.oneIn(2);
    if (wraps && bits - shift > 50) {
        return {};
    }
    const fixed_format format({isSigned, wordBits, 0}, mode.model, wraps ? overflow::wrap : overflow::saturate);
    const quantizer q(isSigned ? embedded::QuantizerModeEnum::Fixed : embedded::QuantizerModeEnum::Ufixed, mode.host,
                      wraps ? embedded::OverflowModeEnum::Wrap : embedded::OverflowModeEnum::Saturate, wordBits,
                      wordFraction, "", embedded::OperationTypeEnum::Unspecified, isLogged);
    std::vector<std::int64_t> values;
    for (std::size_t i = oneCase.window.begin(size); i < oneCase.window.end(size); ++i) {
        values.push_back(source.at(i));
    }
    std::vector<double> doubles(values.size());
    const double unit = std::ldexp(1.0, -wordFraction - shift);
    std::transform(values.begin(), values.end(), doubles.begin(),
                   [unit](std::int64_t x) { return static_cast<double>(x) * unit; });
    std::vector<double> made(values.size());
    q.quantize(doubles, made);
    const bool isShort = bits + std::max(-shift, 0) <= 61;
    const Expected expected = isShort ? expectedOf<std::int64_t>(values, nullptr, shift, format, false)
                                      : expectedOf<Int128>(values, nullptr, shift, format, false);
    const double step = std::ldexp(1.0, -wordFraction);
    double least = std::numeric_limits<double>::infinity();
    double greatest = -least;
    for (std::size_t i = 0; i < made.size(); ++i) {
        const double wanted = static_cast<double>(expected.words[i]) * step;
        if (made[i] != wanted) {
            return mismatch(oneCase.window.begin(size) + i, "quantizer ", format, " with fraction ", wordFraction, ": ",
                            values[i], " times 2^-", wordFraction + shift, " gives ", made[i] / step,
                            " steps, expected ", expected.words[i]);
        }
        least = std::min(least, wanted);
        greatest = std::max(greatest, wanted);
    }
    if (isLogged && !made.empty() &&
        (q.getNoverflows() != expected.overflows || q.getNunderflows() != expected.underflows ||
         q.getNoperations() != made.size() || q.getMin().todouble() != least || q.getMax().todouble() != greatest)) {
        return mismatch(oneCase.window.begin(size), "quantizer ", format, " with fraction ", wordFraction, ": counts ",
                        q.getNoverflows(), ", ", q.getNunderflows(), ", ", q.getNoperations(), ", range ",
                        q.getMin().todouble(), " to ", q.getMax().todouble(), "; expected ", expected.overflows, ", ",
                        expected.underflows, ", ", made.size(), ", ", least, " to ", greatest);
    }
    return {made.size(), {}, 0};
}

}  // namespace

std::span<const Unit> quantizationUnits() {
    static constexpr Unit kUnits[] = {
        {"doubles", "quantizations", 4, intoFormat<From::doubles>},
        {"mixed-doubles", "quantizations", 2, intoFormat<From::mixedDoubles>},
        {"integers", "quantizations", 1, intoFormat<From::integers>},
        {"casts", "quantizations", 3, intoFormat<From::words>},
        {"quantizer", "quantizations", 4, throughQuantizer},
    };
    return kUnits;
}

}  // namespace soak
