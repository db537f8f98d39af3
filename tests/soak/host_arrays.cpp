// Arrays of the host's class `fi`: words of up to 600 bits in every operation between two elements, beside GMP's
// integers. Words go in and come out as chunks of 32 bits, which no arithmetic touches.
#include <memory>
#include <vector>

#include "fi/fi.h"
#include "host/hv.h"
#include "tests/soak/host_words.h"

namespace soak {
namespace {

enum class Kind : int { sum, difference, product, both, either, one, count };

Outcome hostOperations(const Case& oneCase) {
    Draw draw(oneCase.seed);
    const auto kind = Kind(draw.between(0, static_cast<int>(Kind::count) - 1));
    const bool isWide = draw.oneIn(2);
    const int most = isWide ? 600 : kind == Kind::product ? 30 : 60;
    const std::size_t size = static_cast<std::size_t>(isWide ? draw.between(1, 200) : draw.between(1, 2000));
    const std::size_t first = oneCase.window.begin(size);
    const std::size_t count = oneCase.window.end(size) - first;
    const bool isBits = kind >= Kind::both;
    const fixed_type typeA = drawnType<mpz_class>(draw, most);
    const fixed_type typeB = isBits ? typeA : drawnType<mpz_class>(draw, most);
    const fimath rules(embedded::RoundModeEnum(4), embedded::OverflowModeEnum::Saturate,
                       fimath::PrecisionModeEnum::Arbitrary, fimath::ArithmeticModeEnum::FullPrecision, 32, 65535, 30,
                       fimath::ArithmeticModeEnum::FullPrecision, 32, 65535, 30, true);
    const Operand<mpz_class> a(typeA, draw.bits(), first, count);
    const Operand<mpz_class> b(typeB, draw.bits(), first, count);
    if (count == 0) {
        return {};
    }
    const std::unique_ptr<fi> left = arrayOfWords(a, rules);
    const std::unique_ptr<fi> right = arrayOfWords(b, rules);
    std::unique_ptr<fi> made;
    switch (kind) {
        case Kind::sum:
            made.reset(&left->plus(*right));
            break;
        case Kind::difference:
            made.reset(&left->minus(*right));
            break;
        case Kind::product:
            made.reset(&left->times(*right));
            break;
        case Kind::both:
            made.reset(&left->fibitand(*right));
            break;
        case Kind::either:
            made.reset(&left->fibitor(*right));
            break;
        case Kind::one:
        case Kind::count:
            made.reset(&left->bitxor(*right));
            break;
    }
    const fixed_type type = typeOf(*made);
    const std::vector<mpz_class> seen = wordsOf(*made);
    const Words<mpz_class> words(type, overflow::saturate);
    const int shared = std::max(typeA.fraction, typeB.fraction);
    const int fraction = kind == Kind::product ? typeA.fraction + typeB.fraction : shared;
    std::vector<std::uint8_t> flags(count);
    left->compare(fi::Comparison::lt, *right, [&](const fi& /*shape*/) { return std::span(flags); });
    for (std::size_t i = 0; i < count; ++i) {
        const mpz_class x = timesPower<mpz_class>(a.at(i), shared - typeA.fraction);
        const mpz_class y = timesPower<mpz_class>(b.at(i), shared - typeB.fraction);
        mpz_class expected;
        switch (kind) {
            case Kind::sum:
                expected = x + y;
                break;
            case Kind::difference:
                expected = x - y;
                break;
            case Kind::product:
                expected = a.at(i) * b.at(i);
                break;
            case Kind::both:
                expected = a.at(i) & b.at(i);
                break;
            case Kind::either:
                expected = a.at(i) | b.at(i);
                break;
            case Kind::one:
            case Kind::count:
                expected = a.at(i) ^ b.at(i);
                break;
        }
        // Full precision loses nothing, but saturates where the host's rules of growth leave too few bits.
        if (type.fraction != fraction || seen[i] != words.forced(expected)) {
            return mismatch(first + i, "host operation ", static_cast<int>(kind), " of ", a.describe(i), " and ",
                            b.describe(i), " gives ", seen[i].get_str(), " of ", type, ", expected ",
                            expected.get_str(), " times 2^-", fraction);
        }
        if ((flags[i] != 0) != (x < y)) {
            return mismatch(first + i, "host comparison of ", a.describe(i), " and ", b.describe(i));
        }
    }
    return {2 * count, {}, 0};
}

/// Stores of one type into another, in the host's modes.
Outcome hostCasts(const Case& oneCase) {
    Draw draw(oneCase.seed);
    const bool isWide = draw.oneIn(2);
    const std::size_t size = static_cast<std::size_t>(isWide ? draw.between(1, 200) : draw.between(1, 2000));
    const std::size_t first = oneCase.window.begin(size);
    // Sums with a half are exact for words of up to 50 bits.
    const int most = isWide ? 600 : 50;
    const fixed_type from = drawnType<mpz_class>(draw, most);
    const fixed_type to{draw.oneIn(2), draw.between(isWide ? 53 : 1, most), from.fraction - draw.between(-8, 40)};
    const HostMode mode = draw.of(kHostModes);
    const bool wraps = draw.oneIn(2);
    if (oneCase.window.end(size) == first || (!isWide && from.bits + to.fraction - from.fraction > 50)) {
        return {};
    }
    const fimath rules(mode.host, wraps ? embedded::OverflowModeEnum::Wrap : embedded::OverflowModeEnum::Saturate);
    const Operand<mpz_class> a(from, draw.bits(), first, oneCase.window.end(size) - first);
    const std::unique_ptr<fi> source = arrayOfWords(a, rules);
    const std::unique_ptr<fi> target = zerosOf(to, 1, rules);
    target->copydata(*source);
    const std::vector<mpz_class> seen = wordsOf(*target);
    const Words<mpz_class> words(to, wraps ? overflow::wrap : overflow::saturate);
    return withRounding(mode.model, [&](auto rule) -> Outcome {
        for (std::size_t i = 0; i < a.size(); ++i) {
            const mpz_class expected = words.forced(
                roundedPower<decltype(rule)::value, false, mpz_class>(a.at(i), from.fraction - to.fraction));
            if (seen[i] != expected) {
                return mismatch(first + i, "host store of ", a.describe(i), " into ", to, " by mode ",
                                static_cast<int>(mode.host), (wraps ? ", wrap" : ", saturate"), " gives ",
                                seen[i].get_str(), ", expected ", expected.get_str());
            }
        }
        return {a.size(), {}, 0};
    });
}

}  // namespace

std::span<const Unit> hostUnits() {
    static constexpr Unit kUnits[] = {
        {"host-arrays", "elements", 1, hostOperations},
        {"host-casts", "elements", 1, hostCasts},
    };
    return kUnits;
}

}  // namespace soak
