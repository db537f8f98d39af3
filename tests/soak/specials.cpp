// Special values: signed zeros, infinities, NaN, the least and the greatest doubles, values beside bounds and ties, and
// words of the lengths at which the engine changes its ways, up to the longest.
#include <cmath>
#include <limits>
#include <vector>

#include "quantization/quantizer.h"
#include "tests/soak/host_words.h"

namespace soak {
namespace {

using Limits = std::numeric_limits<double>;
using tolvane::fixed_array;

constexpr int kLengths[] = {1, 2, 31, 32, 33, 51, 52, 53, 54, 63, 64, 65, 127, 128, 129};

int drawnLength(Draw& draw) {
    return draw.oneIn(200) ? 65535 : draw.of(kLengths);
}

/// A finite double that is likely to go wrong with words of this type.
double specialDouble(Draw& draw, const fixed_type& type) {
    static constexpr double kFixed[] = {
        0.0, Limits::denorm_min(), Limits::min(),      Limits::max(), 0.5, 0.49999999999999994,
        1.0, 4503599627370497.0,   9007199254740993.0, 1.5,           2.5, 0x1p-1074 * 3};
    double value = draw.of(kFixed);
    if (draw.oneIn(2)) {
        // A bound, a step, a tie or any power, or a neighbour.
        const int exponents[] = {type.bits - type.fraction, type.bits - type.fraction - 1, -type.fraction,
                                 -type.fraction - 1, draw.between(-1074, 1023)};
        value = std::ldexp(draw.oneIn(3) ? 1.5 : 1.0, std::min(draw.of(exponents), 1022));
        const int beside = draw.between(-1, 1);
        value = beside == 0 ? value : std::nextafter(value, beside < 0 ? 0.0 : Limits::infinity());
    }
    return draw.oneIn(2) ? -value : value;
}

/// A finite double as an integer times 2^-1074.
mpz_class wholeOf(double value) {
    int exponent = 0;
    const mpz_class mantissa(std::ldexp(std::frexp(value, &exponent), 53));
    const int up = exponent - 53 + 1074;
    return up >= 0 ? timesPower<mpz_class>(mantissa, up) : floorOfPower<mpz_class>(mantissa, -up);
}

/// Through the interface for programs: into words, into other words, and sums and products of those.
Outcome specialValues(const Case& oneCase) {
    Draw draw(oneCase.seed);
    const std::size_t size = 60;
    const std::size_t first = oneCase.window.begin(size);
    const fixed_format format({draw.oneIn(2), drawnLength(draw), draw.between(-60, 80)}, draw.of(kRoundings),
                              draw.of(kOverflows));
    const fixed_format next({draw.oneIn(2), drawnLength(draw), format.type().fraction - draw.between(-40, 40)},
                            draw.of(kRoundings), draw.of(kOverflows));
    std::vector<double> values;
    for (std::size_t i = first; i < oneCase.window.end(size); ++i) {
        Draw own(oneCase.seed + i * 1000003);
        values.push_back(specialDouble(own, format.type()));
    }
    const fixed_array made(values, format);
    const auto describe = [&](std::size_t i) {
        std::ostringstream out;
        out << std::hexfloat << values[i] << " in " << format << " then " << next;
        return out.str();
    };
    const Words<mpz_class> words(format.type(), format.overflow());
    std::vector<mpz_class> kept;
    Outcome outcome = withRounding(format.rounding(), [&](auto rule) {
        return compared<mpz_class>(
            made, format.type().fraction, values.size(), first,
            [&](std::size_t i) {
                kept.push_back(words.forced(roundedPower<decltype(rule)::value, false, mpz_class>(
                    wholeOf(values[i]), 1074 - format.type().fraction)));
                return kept.back();
            },
            describe);
    });
    const Words<mpz_class> nextWords(next.type(), next.overflow());
    if (outcome.mismatch.empty()) {
        outcome = withRounding(next.rounding(), [&](auto rule) {
            return compared<mpz_class>(
                cast(made, next), next.type().fraction, values.size(), first,
                [&](std::size_t i) {
                    return nextWords.forced(roundedPower<decltype(rule)::value, true, mpz_class>(
                        kept[i], format.type().fraction - next.type().fraction));
                },
                describe);
        });
    }
    constexpr int kLongest = 200000;
    if (outcome.mismatch.empty() && format.type().bits < 1000) {
        tolvane::set_most_bits(kLongest);
        const int fraction = format.type().fraction;
        outcome = compared<mpz_class>(
            made * made - made, std::max(2 * fraction, fraction), values.size(), first,
            [&](std::size_t i) {
                return mpz_class(timesPower<mpz_class>(kept[i] * kept[i], std::max(-fraction, 0)) -
                                 timesPower<mpz_class>(kept[i], std::max(fraction, 0)));
            },
            describe);
    }
    const double bad = draw.oneIn(2) ? Limits::quiet_NaN() : draw.oneIn(2) ? Limits::infinity() : -Limits::infinity();
    try {
        values.push_back(bad);
        const fixed_array none(values, format);
        return mismatch(first, bad, " was taken into ", format);
    } catch (const tolvane::error& e) {
        if (std::string(e.id()) != "tolvane:value:finite") {
            return mismatch(first, bad, " raises ", e.id());
        }
    }
    outcome.checked = 3 * size + 1;
    return outcome;
}

/// The integer that the host's rounding of doubles makes of a number of steps. Three modes add a half in doubles, where
/// the sum may round.
double hostRounded(double steps, rounding rule) {
    const double sum = std::floor(steps + 0.5);
    switch (rule) {
        case rounding::ceil:
            return std::ceil(steps);
        case rounding::toward_zero:
            return std::trunc(steps);
        case rounding::nearest:
            return sum;
        case rounding::nearest_away:
            return std::abs(steps) < 0x1p52 ? std::copysign(std::floor(std::abs(steps) + 0.5), steps) : steps;
        case rounding::convergent:
            return steps - std::floor(steps) == 0.5 && std::fmod(sum, 2.0) != 0 ? sum - 1 : sum;
        default:
            return std::floor(steps);
    }
}

/// Doubles through the host's quantizer of short words, with what isn't finite.
Outcome specialDoubles(const Case& oneCase) {
    static constexpr int kShort[] = {1, 2, 8, 16, 31, 32, 33, 51, 52};
    Draw draw(oneCase.seed);
    const std::size_t size = 200;
    const std::size_t first = oneCase.window.begin(size);
    const HostMode mode = draw.of(kHostModes);
    const bool wraps = draw.oneIn(2);
    const fixed_type type{draw.oneIn(2), draw.of(kShort), draw.between(0, 60)};
    const quantizer q(type.is_signed ? embedded::QuantizerModeEnum::Fixed : embedded::QuantizerModeEnum::Ufixed,
                      mode.host, wraps ? embedded::OverflowModeEnum::Wrap : embedded::OverflowModeEnum::Saturate,
                      type.bits, type.fraction, "", embedded::OperationTypeEnum::Unspecified, true);
    std::vector<double> values;
    for (std::size_t i = first; i < oneCase.window.end(size); ++i) {
        Draw own(oneCase.seed + i * 1000003);
        static constexpr double kBad[] = {Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()};
        double value = own.oneIn(8) ? own.of(kBad) : specialDouble(own, type);
        // Steps of a double must be one, and a step must be left of a difference of two.
        while (std::isfinite(value) && std::abs(value) > 0x1p900) {
            value = specialDouble(own, type);
        }
        values.push_back(value);
    }
    std::vector<double> made(values.size());
    q.quantize(values, made);
    const Words<mpz_class> words(type, wraps ? overflow::wrap : overflow::saturate);
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double x = values[i];
        double expected = x;
        if (std::isinf(x)) {
            const double bound = (x > 0 ? words.high() : words.low()).get_d();
            expected = wraps ? Limits::quiet_NaN() : std::ldexp(bound, -type.fraction);
            ++overflows;
        } else if (!std::isnan(x) && x != 0) {
            const double steps = hostRounded(std::ldexp(x, type.fraction), mode.model);
            const mpz_class word(steps);
            expected = std::ldexp(words.forced(word).get_d(), -type.fraction);
            overflows += words.has(word) ? 0U : 1U;
            underflows += word == 0 ? 1U : 0U;
        }
        const bool isSame = std::isnan(expected) ? std::isnan(made[i])
                            : x == 0             ? made[i] == 0 && std::signbit(made[i]) == std::signbit(x)
                                                 : made[i] == expected;
        if (!isSame) {
            return mismatch(first + i, std::hexfloat, "quantizer ", type, " of mode ", static_cast<int>(mode.host),
                            (wraps ? ", wrap: " : ", saturate: "), x, " gives ", made[i], ", expected ", expected);
        }
    }
    if (q.getNoverflows() != overflows || q.getNunderflows() != underflows) {
        return mismatch(first, "quantizer ", type, " of mode ", static_cast<int>(mode.host),
                        (wraps ? ", wrap" : ", saturate"), ": ", q.getNoverflows(), " overflows and ",
                        q.getNunderflows(), " underflows, expected ", overflows, " and ", underflows);
    }
    return {values.size(), {}, 0};
}

/// Finite special values into arrays of the host, of long words too.
Outcome specialArrays(const Case& oneCase) {
    Draw draw(oneCase.seed);
    const std::size_t size = 40;
    const std::size_t first = oneCase.window.begin(size);
    const HostMode mode = draw.of(kHostModes);
    const bool wraps = draw.oneIn(2);
    int bits = drawnLength(draw);
    bits = bits < 53 ? 53 : bits;
    const fixed_type type{draw.oneIn(2), bits, draw.between(-60, 80)};
    std::vector<double> values;
    for (std::size_t i = first; i < oneCase.window.end(size); ++i) {
        Draw own(oneCase.seed + i * 1000003);
        values.push_back(specialDouble(own, type));
    }
    if (values.empty()) {
        return {};
    }
    const fimath rules(mode.host, wraps ? embedded::OverflowModeEnum::Wrap : embedded::OverflowModeEnum::Saturate);
    const std::uint64_t dims[] = {values.size(), 1};
    const fi made(values.data(), dims, 2, fi::NumericType(type.is_signed, type.bits, type.fraction), rules, "", true,
                  embedded::OperationTypeEnum::Assignment);
    const std::vector<mpz_class> seen = wordsOf(made);
    const Words<mpz_class> words(type, wraps ? overflow::wrap : overflow::saturate);
    return withRounding(mode.model, [&](auto rule) -> Outcome {
        for (std::size_t i = 0; i < values.size(); ++i) {
            const mpz_class expected = words.forced(
                roundedPower<decltype(rule)::value, false, mpz_class>(wholeOf(values[i]), 1074 - type.fraction));
            if (seen[i] != expected) {
                return mismatch(first + i, std::hexfloat, "host array ", type, " by mode ", static_cast<int>(mode.host),
                                (wraps ? ", wrap: " : ", saturate: "), values[i], " gives ", seen[i].get_str(),
                                ", expected ", expected.get_str());
            }
        }
        return {values.size(), {}, 0};
    });
}

}  // namespace

std::span<const Unit> specialUnits() {
    static constexpr Unit kUnits[] = {
        {"special-values", "special values", 0.5, specialValues},
        {"special-doubles", "special values", 0.5, specialDoubles},
        {"special-arrays", "special values", 0.5, specialArrays},
    };
    return kUnits;
}

}  // namespace soak
