#include "program/exact_value.h"

#include <gmp.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <optional>
#include <ostream>
#include <utility>

#include "numbers/gmpinteger.h"
#include "program/decimal_text.h"
#include "program/memory.h"

namespace tolvane {

using detail::gmpinteger;
using detail::programMemory;

/// An integer made of exact values, and back.
struct ExactInteger : gmpinteger {
    /// The value in units of 2^exponent, which is no greater than its own.
    void set(const exact_value& from, int exponent) {
        setMagnitude(from);
        if (!from.is_zero()) {
            shiftLeft(*this, *this, static_cast<mp_bitcnt_t>(from.mExponent - exponent));
        }
        if (from.mIsNegative) {
            negate();
        }
    }
    void setMagnitude(const exact_value& from) {
        setUnits(*this, from.mMagnitude.size(), sizeof(std::uint64_t), from.mMagnitude.data());
    }
    exact_value times(int exponent) const {
        exact_value result;
        if (sign() == 0) {
            return result;
        }
        gmpinteger odd;
        const mp_bitcnt_t zeros = mpz_scan1(*this, 0);
        shiftRight(odd, *this, zeros);
        result.mIsNegative = sign() < 0;
        result.mExponent = exponent + static_cast<int>(zeros);
        result.mMagnitude.assign(mpz_limbs_read(odd), mpz_limbs_read(odd) + odd.limbs());
        return result;
    }
};

namespace {

/// a op b, in the smaller unit of both.
template <class Operation>
exact_value combined(const exact_value& a, const exact_value& b, const Operation& operation) {
    const int exponent = a.is_zero() ? b.exponent() : b.is_zero() ? a.exponent() : std::min(a.exponent(), b.exponent());
    return programMemory([&] {
        ExactInteger left;
        ExactInteger right;
        left.set(a, exponent);
        right.set(b, exponent);
        operation(left, left, right);
        return left.times(exponent);
    });
}

[[noreturn]] void refuse(std::string_view text, const char* why) {
    throw error("tolvane:value:text", "\"" + std::string(text) + "\" " + why);
}

}  // namespace

exact_value::exact_value(std::uint64_t low, std::uint64_t high, bool isNegative) {
    if (isNegative) {
        high = ~high + (low == 0 ? 1 : 0);
        low = ~low + 1;
    }
    const std::uint64_t limbs[] = {low, high};
    ExactInteger integer;
    setUnits(integer, 2, sizeof(std::uint64_t), limbs);
    if (isNegative) {
        integer.negate();
    }
    *this = integer.times(0);
}

exact_value::exact_value(double value) {
    if (!std::isfinite(value)) {
        throw error("tolvane:value:finite", std::isnan(value) ? "NaN is no number of a fixed-point format."
                                                              : "Infinity is no number of a fixed-point format.");
    }
    constexpr int kMantissaBits = 53;
    int exponent = 0;
    const double fraction = std::frexp(value, &exponent);
    ExactInteger integer;
    mpz_set_d(integer.withRoom(2), std::ldexp(fraction, kMantissaBits));
    *this = integer.times(exponent - kMantissaBits);
}

exact_value::exact_value(std::string_view text) : exact_value(detail::readDecimal(text, std::nullopt)) {}

exact_value detail::readDecimal(std::string_view text, std::optional<int> lastPlace) {
    std::string_view rest = text;
    const bool isNegative = rest.starts_with('-');
    if (isNegative || rest.starts_with('+')) {
        rest.remove_prefix(1);
    }
    std::string digits;
    std::size_t places = 0;
    bool hasPoint = false;
    std::size_t i = 0;
    for (; i < rest.size() && (rest[i] == '.' || (rest[i] >= '0' && rest[i] <= '9')); ++i) {
        if (rest[i] == '.') {
            if (hasPoint) {
                refuse(text, "is no number.");
            }
            hasPoint = true;
        } else {
            digits += rest[i];
            places += hasPoint ? 1U : 0U;
        }
    }
    int power = 0;
    if (i < rest.size() && (rest[i] == 'e' || rest[i] == 'E')) {
        const char* begin = rest.data() + i + 1;
        const char* const end = rest.data() + rest.size();
        begin += begin != end && *begin == '+' ? 1 : 0;
        const auto [stop, fault] = std::from_chars(begin, end, power);
        i = fault == std::errc() ? static_cast<std::size_t>(stop - rest.data()) : rest.size() + 1;
    }
    constexpr int kMostPower = 100000;
    if (digits.empty() || i != rest.size() || power > kMostPower || power < -kMostPower ||
        places > static_cast<std::size_t>(kMostPower)) {
        refuse(text, "is no number.");
    }
    // digits * 10^n = digits * 5^n * 2^n
    const int n = power - static_cast<int>(places);
    return programMemory([&] {
        int exponent = n;
        ExactInteger integer;
        gmpinteger fives;
        readDigits(integer, digits, 10);
        detail::power(fives, 5, static_cast<unsigned long>(std::abs(n)));
        if (n >= 0) {
            multiply(integer, integer, fives);
        } else if (mpz_divisible_p(integer, fives) != 0) {
            divideExactly(integer, integer, fives);
        } else if (lastPlace) {
            // digits / 5^-n * 2^n in units of 2^lastPlace, rounded down and then to odd.
            if (n >= *lastPlace) {
                shiftLeft(integer, integer, static_cast<mp_bitcnt_t>(n - *lastPlace));
            } else {
                shiftLeft(fives, fives, static_cast<mp_bitcnt_t>(*lastPlace - n));
            }
            divideDown(integer, integer, fives);
            setBit(integer, 0);
            exponent = *lastPlace;
        } else {
            refuse(text, "has no finite binary form. Give it a format, which rounds it.");
        }
        if (isNegative) {
            integer.negate();
        }
        return integer.times(exponent);
    });
}

exact_value exact_value::from_words(const std::uint64_t* limbs, std::size_t count, bool is_signed, int exponent) {
    return programMemory([&] {
        ExactInteger integer;
        setUnits(integer, count, sizeof(std::uint64_t), limbs);
        if (is_signed && count > 0 && limbs[count - 1] >> 63 != 0) {
            gmpinteger whole;
            setBit(whole, count * 64);
            subtract(integer, integer, whole);
        }
        return integer.times(exponent);
    });
}

int exact_value::bits() const {
    return mMagnitude.empty() ? 0 : static_cast<int>(mMagnitude.size()) * 64 - std::countl_zero(mMagnitude.back());
}

double exact_value::to_double() const {
    if (is_zero()) {
        return 0.0;
    }
    // The bits that a double has of it, 53 unless it is small, and one that tells whether there are others.
    const int kept = std::min(53, magnitude_exponent() + 1075);
    const int dropped = bits() - kept;
    const double size = programMemory([&] {
        ExactInteger integer;
        integer.setMagnitude(*this);
        int exponent = mExponent;
        if (dropped > 0) {
            const auto below = static_cast<mp_bitcnt_t>(dropped);
            const bool isHalf = mpz_tstbit(integer, below - 1) != 0;
            const bool isMore = mpz_scan1(integer, 0) < below - 1;
            shiftRight(integer, integer, below);
            if (isHalf && (isMore || mpz_odd_p(static_cast<mpz_srcptr>(integer)) != 0)) {
                add(integer, integer, gmpinteger(1));
            }
            exponent += dropped;
        }
        return std::ldexp(mpz_get_d(integer), exponent);
    });
    return mIsNegative ? -size : size;
}

std::string exact_value::text() const {
    if (is_zero()) {
        return "0";
    }
    const int places = std::max(-mExponent, 0);
    std::string digits = programMemory([&] {
        ExactInteger integer;
        integer.set(*this, std::min(mExponent, 0));
        // m / 2^n = m 5^n / 10^n
        gmpinteger fives;
        power(fives, 5, static_cast<unsigned long>(places));
        multiply(integer, integer, fives);
        return digitsOf(integer, 10);
    });
    if (places > 0) {
        const auto fraction = static_cast<std::size_t>(places);
        if (digits.size() <= fraction) {
            digits.insert(0, fraction + 1 - digits.size(), '0');
        }
        digits.insert(digits.size() - fraction, ".");
    }
    return (mIsNegative ? "-" : "") + digits;
}

std::strong_ordering operator<=>(const exact_value& a, const exact_value& b) {
    const exact_value difference = a - b;
    return difference.is_zero()       ? std::strong_ordering::equal
           : difference.is_negative() ? std::strong_ordering::less
                                      : std::strong_ordering::greater;
}

exact_value operator+(const exact_value& a, const exact_value& b) {
    return combined(a, b, detail::add);
}

exact_value operator-(const exact_value& a, const exact_value& b) {
    return combined(a, b, detail::subtract);
}

exact_value operator*(const exact_value& a, const exact_value& b) {
    return programMemory([&] {
        ExactInteger left;
        ExactInteger right;
        left.set(a, a.exponent());
        right.set(b, b.exponent());
        multiply(left, left, right);
        return left.times(a.exponent() + b.exponent());
    });
}

exact_value exact_value::operator-() const {
    exact_value result = *this;
    result.mIsNegative = !is_zero() && !mIsNegative;
    return result;
}

std::ostream& operator<<(std::ostream& out, const exact_value& value) {
    return out << value.text();
}

}  // namespace tolvane
