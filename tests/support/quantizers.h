// Short ways to make quantizers and numbers in tests, and to read a number back exactly.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "descriptors/embedded.h"
#include "quantization/quantizer.h"
#include "tests/support/rational.h"

using Mode = embedded::QuantizerModeEnum;

/// The parameters of a quantizer, so that a case can be printed.
struct Description {
    Mode mode = Mode::Fixed;
    int wordBits = 16;
    int second = 15;  // fraction length, or exponent length in mode "float"
    Rounding rounding = Rounding::floor;
    bool wraps = false;
    bool alwaysLogs = true;

    quantizer make() const {
        return quantizer(mode, static_cast<embedded::RoundModeEnum>(rounding),
                         wraps ? embedded::OverflowModeEnum::Wrap : embedded::OverflowModeEnum::Saturate, wordBits,
                         second, std::string(), embedded::OperationTypeEnum::Unspecified, alwaysLogs);
    }
};

inline std::ostream& operator<<(std::ostream& out, const Description& described) {
    static constexpr std::array<const char*, 9> kModes = {
        "double", "float", "fixed", "single", "ufixed", "none", "boolean", "ScaledDouble", "UnsignedScaledDouble"};
    return out << kModes[static_cast<std::size_t>(described.mode)] << " [" << described.wordBits << ' '
               << described.second << "] " << nameOf(described.rounding) << (described.wraps ? " wrap" : " saturate")
               << (described.alwaysLogs ? "" : " without a log of its own");
}

/// The three counts of a quantizer's logger.
struct Counts {
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
    std::uint64_t operations = 0;
    bool operator==(const Counts&) const = default;
};

inline Counts countsOf(const quantizer& q) {
    return {q.getNoverflows(), q.getNunderflows(), q.getNoperations()};
}

inline std::ostream& operator<<(std::ostream& out, const Counts& counts) {
    return out << counts.overflows << " overflows, " << counts.underflows << " underflows, " << counts.operations
               << " operations";
}

/// For example "0.10000000000000001 (0x1.999999999999ap-4)".
inline std::string text(double value) {
    std::ostringstream out;
    out.precision(17);
    out << value << " (" << std::hexfloat << value << ')';
    return out.str();
}

inline bool sameBits(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

/// Whether two elements at their cursors are the same: for doubles bit by bit, in both kinds with the sign of a zero.
/// All NaN are equal.
inline bool sameElement(const number& a, const number& b) {
    if (a.gettype() != b.gettype()) {
        return false;
    }
    if (a.myisnan() || b.myisnan()) {
        return a.myisnan() && b.myisnan();
    }
    return a.gettype() == embedded::numbertype::doublenumber ? sameBits(a.todouble(), b.todouble())
                                                             : a == b && a.isnegative() == b.isnegative();
}

/// A number of the given precision, set to a binary fraction through 32-bit words; exact if the number's body has
/// enough bits.
inline number makeNumber(const Rational& value, unsigned precision, bool force = false) {
    const int fractionBits = static_cast<int>(mpz_sizeinbase(value.get_den_mpz_t(), 2)) - 1;
    const int wordBits = static_cast<int>(mpz_sizeinbase(value.get_num_mpz_t(), 2)) + 1;
    Integer pattern = value.get_num();
    if (pattern < 0) {
        Integer modulus;
        mpz_setbit(modulus.get_mpz_t(), static_cast<mp_bitcnt_t>(wordBits));
        pattern += modulus;
    }
    std::vector<std::uint32_t> words(static_cast<std::size_t>(wordBits) / 32 + 1, 0);
    mpz_export(words.data(), nullptr, -1, sizeof words[0], 0, 0, pattern.get_mpz_t());
    number result(0.0, precision, force);
    result.setvalue(words.data(), static_cast<int>(words.size()), true, wordBits, 1.0, -fractionBits, 0.0);
    return result;
}

/// The value of a finite number with all its bits, extracted 53 at a time; works for any exponent.
inline Rational exactValue(const number& value) {
    const unsigned precision = std::max(value.getprecision(), 53U);
    number rest(0.0, precision, true);
    rest = value;
    Rational result;
    while (!rest.iszero()) {
        const int exponent = rest.unbiasedexponent();
        rest.pow2(-exponent);
        const double part = rest.todouble();
        result += scaled(Rational(part), exponent);
        rest -= number(part, precision, true);
        rest.pow2(exponent);
    }
    return result;
}
