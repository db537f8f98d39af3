// Parses and prints texts in any base against GMP integers: fixed and floating formats of any shape.
#include <memory>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "fuzz/fuzz_case.h"
#include "host/ErrorIdException.h"
#include "host/reference/listeners.h"
#include "tests/support/quantizers.h"

namespace {

Integer power2(int exponent) {
    Integer result;
    mpz_setbit(result.get_mpz_t(), static_cast<mp_bitcnt_t>(exponent));
    return result;
}

// The first step of the library's parsing: a text that isn't a number is zero.
Integer parsed(const std::string& digits, int base) {
    Integer result;
    if (mpz_set_str(result.get_mpz_t(), digits.c_str(), base) != 0) {
        result = 0;
    }
    return result;
}

// Right-aligned in its field; a text that is too long keeps its low-order digits.
std::string field(const std::string& digits, int length, char filler) {
    const auto width = static_cast<std::size_t>(length);
    return digits.size() >= width ? digits.substr(digits.size() - width)
                                  : std::string(width - digits.size(), filler) + digits;
}

// Runs a writer on a field with a guard behind it.
template <class Writer>
std::string written(int length, Writer&& writer) {
    constexpr char kGuard = '#';
    std::string buffer(static_cast<std::size_t>(length) + 8, kGuard);
    writer(buffer.data());
    require(buffer.find_first_not_of(kGuard, static_cast<std::size_t>(length)) == std::string::npos,
            "nothing is written past the field", [&] { return buffer; });
    buffer.resize(static_cast<std::size_t>(length));
    return buffer;
}

// The text of the input as it is, or the digits of an integer made from its bytes, which is a number far more often.
std::string takeText(FuzzInput& input, int base, int wordBits) {
    const bool asInteger = input.between(0, 3) != 0;
    const int extraBits = input.between(0, 9) == 0 ? 2 : 0;
    const std::string rest = input.rest();
    if (!asInteger) {
        return rest.c_str();
    }
    Integer value;
    mpz_import(value.get_mpz_t(), rest.size(), 1, 1, 0, 0, rest.data());
    mpz_fdiv_r_2exp(value.get_mpz_t(), value.get_mpz_t(), static_cast<mp_bitcnt_t>(wordBits + extraBits));
    return value.get_str(base);
}

void checkFixed(FuzzInput& input) {
    Description described;
    const bool isSigned = input.between(0, 1) != 0;
    described.mode = isSigned ? Mode::Fixed : Mode::Ufixed;
    described.wordBits = input.between(1, 300);
    described.second = input.between(-50, 350);
    const int base = input.between(2, 36);
    const int spare = input.between(-3, 3);
    const std::string digits = takeText(input, base, described.wordBits);
    const auto say = [&] {
        std::ostringstream out;
        out << described << ", base " << base << ", text \"" << digits << '"';
        return out.str();
    };

    const Integer whole = parsed(digits, base);
    Integer kept;
    mpz_tdiv_r_2exp(kept.get_mpz_t(), whole.get_mpz_t(), static_cast<mp_bitcnt_t>(described.wordBits));
    const bool dropsBits = kept != whole;
    if (isSigned && mpz_tstbit(kept.get_mpz_t(), static_cast<mp_bitcnt_t>(described.wordBits - 1)) != 0) {
        kept -= power2(described.wordBits);
    }
    const Rational expected = scaled(Rational(kept), -described.second);

    std::vector<std::string> warnings;
    const auto oldListener =
        hostref::setWarningListener([&](const std::string& id, const std::string&) { warnings.push_back(id); });
    quantizer q = described.make();
    number x(0.0, q.getPrecision(), false);
    q.base2num(digits.c_str(), base, x);
    hostref::setWarningListener(oldListener);
    require(exactValue(x) == expected, "a fixed text is read as its low-order bits", say);
    require(dropsBits ? warnings == std::vector<std::string>{"fixedpoint:base2fixed:too_many_bits"} : warnings.empty(),
            "dropped bits warn once", say);

    if (kept < (isSigned ? Integer(-power2(described.wordBits - 1)) : Integer(0))) {
        return;  // a negative text in an unsigned format: not a value of the format
    }
    const Integer pattern = kept < 0 ? Integer(kept + power2(described.wordBits)) : kept;
    const Integer allOnes = power2(described.wordBits) - 1;
    const int length = std::max(0, static_cast<int>(allOnes.get_str(base).size()) + spare);
    const std::string printed = written(length, [&](char* out) { q.num2base(out, length, x, base); });
    require(printed == field(pattern.get_str(base), length, '0'), "a fixed value is printed as its digits",
            [&] { return say() + ", printed \"" + printed + '"'; });
    const std::string decimal = written(length, [&](char* out) { q.num2sdec(out, length, x); });
    require(decimal == field(kept.get_str(10), length, ' '), "a fixed value is printed in signed decimal",
            [&] { return say() + ", printed \"" + decimal + '"'; });
    if (spare >= 0) {
        number back(0.0, q.getPrecision(), false);
        q.base2num(printed.c_str(), base, back);
        require(back == x, "a printed value is read back unchanged", say);
    }
}

struct Decoded {
    enum class Kind { finite, infinite, notANumber } kind = Kind::finite;
    Rational magnitude;
};

Decoded decode(const Integer& pattern, int exponentBits, int fractionBits) {
    const int bias = exponentBits == 0 ? -1 : static_cast<int>((std::int64_t{1} << (exponentBits - 1)) - 1);
    Integer exponentField;
    Integer fraction;
    mpz_fdiv_q_2exp(exponentField.get_mpz_t(), pattern.get_mpz_t(), static_cast<mp_bitcnt_t>(fractionBits));
    mpz_fdiv_r_2exp(fraction.get_mpz_t(), pattern.get_mpz_t(), static_cast<mp_bitcnt_t>(fractionBits));
    if (exponentField == 0) {
        return {Decoded::Kind::finite, scaled(Rational(fraction), 1 - bias - fractionBits)};
    }
    const int exponent = static_cast<int>(exponentField.get_si()) - bias;
    if (exponent > bias) {
        return {fraction == 0 ? Decoded::Kind::infinite : Decoded::Kind::notANumber, {}};
    }
    return {Decoded::Kind::finite, scaled(Rational(fraction + power2(fractionBits)), exponent - fractionBits)};
}

void checkFloat(FuzzInput& input) {
    Description described;
    described.mode = Mode::Float;
    described.wordBits = input.between(1, 200);
    described.second = input.between(0, std::min(14, described.wordBits - 1));
    const int fractionBits = described.wordBits - described.second - 1;
    const int base = input.between(2, 36);
    const std::string digits = takeText(input, base, described.wordBits);
    const auto say = [&] {
        std::ostringstream out;
        out << described << ", base " << base << ", text \"" << digits << '"';
        return out.str();
    };

    quantizer q = described.make();
    const bool wide = described.second >= 12 || fractionBits > 52;
    number x(0.0, q.getPrecision(), wide);
    std::string id;
    try {
        q.base2num(digits.c_str(), base, x);
    } catch (ErrorIdException* error) {
        const std::unique_ptr<ErrorIdException> owner(error);
        id = error->getId();
    }
    const Integer whole = parsed(digits, base);
    const bool tooLarge = whole >= power2(described.wordBits);
    require(id == (tooLarge ? "fixedpoint:fi:base2float:valuetoolarge" : ""), "only a value too large raises", say);
    if (tooLarge) {
        require(x.iszero(), "a raise leaves the number alone", say);
        return;
    }
    if (whole < 0) {
        return;  // a minus sign has no meaning in a bit pattern: any value is allowed
    }
    const Integer signBit = power2(described.wordBits - 1);
    const bool negative = whole >= signBit;
    const Decoded decoded = decode(negative ? Integer(whole - signBit) : whole, described.second, fractionBits);
    Integer pattern = whole;
    switch (decoded.kind) {
        case Decoded::Kind::finite:
            require(x.isFinite() && exactValue(x) == (negative ? Rational(-decoded.magnitude) : decoded.magnitude),
                    "a pattern is read as its value", say);
            break;
        case Decoded::Kind::infinite:
            require(x.myisinf() && x.sign() == (negative ? -1 : 1), "infinity is read with its sign", say);
            break;
        case Decoded::Kind::notANumber:
            require(x.myisnan(), "a NaN is read", say);
            // Every NaN is printed as the one with all bits set down to the top fraction bit.
            pattern = (power2(described.second + 2) - 1) * power2(fractionBits - 1);
            break;
    }
    const int length = static_cast<int>(Integer(power2(described.wordBits) - 1).get_str(base).size());
    const std::string printed = written(length, [&](char* out) { q.num2base(out, length, x, base); });
    require(printed == field(pattern.get_str(base), length, '0'), "a value is printed as its pattern",
            [&] { return say() + ", printed \"" + printed + '"'; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    if (input.between(0, 1) != 0) {
        checkFixed(input);
    } else {
        checkFloat(input);
    }
    return 0;
}
