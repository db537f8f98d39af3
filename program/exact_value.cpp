#include "program/exact_value.h"

#include <gmp.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <optional>
#include <ostream>
#include <utility>

#include "program/decimal_text.h"

namespace tolvane {

/// An integer of GMP with an owner.
struct ExactInteger {
    ExactInteger() { mpz_init(value); }
    ~ExactInteger() { mpz_clear(value); }
    ExactInteger(const ExactInteger&) = delete;
    ExactInteger& operator=(const ExactInteger&) = delete;

    /// The value in units of 2^exponent, which is no greater than its own.
    void set(const exact_value& from, int exponent) {
        mpz_import(value, from.mMagnitude.size(), -1, sizeof(std::uint64_t), 0, 0, from.mMagnitude.data());
        if (!from.is_zero()) {
            mpz_mul_2exp(value, value, static_cast<mp_bitcnt_t>(from.mExponent - exponent));
        }
        if (from.mIsNegative) {
            mpz_neg(value, value);
        }
    }
    exact_value times(int exponent) const {
        exact_value result;
        if (mpz_sgn(value) == 0) {
            return result;
        }
        ExactInteger odd;
        const mp_bitcnt_t zeros = mpz_scan1(value, 0);
        mpz_tdiv_q_2exp(odd.value, value, zeros);
        result.mIsNegative = mpz_sgn(value) < 0;
        result.mExponent = exponent + static_cast<int>(zeros);
        result.mMagnitude.resize(mpz_size(odd.value));
        mpz_export(result.mMagnitude.data(), nullptr, -1, sizeof(std::uint64_t), 0, 0, odd.value);
        return result;
    }

    mpz_t value;
};

namespace {

/// a op b, in the smaller unit of both.
template <class Operation>
exact_value combined(const exact_value& a, const exact_value& b, const Operation& operation) {
    const int exponent = a.is_zero() ? b.exponent() : b.is_zero() ? a.exponent() : std::min(a.exponent(), b.exponent());
    ExactInteger left;
    ExactInteger right;
    left.set(a, exponent);
    right.set(b, exponent);
    operation(left.value, left.value, right.value);
    return left.times(exponent);
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
    mpz_import(integer.value, 2, -1, sizeof(std::uint64_t), 0, 0, limbs);
    if (isNegative) {
        mpz_neg(integer.value, integer.value);
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
    mpz_set_d(integer.value, std::ldexp(fraction, kMantissaBits));
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
    int exponent = n;
    ExactInteger integer;
    ExactInteger fives;
    mpz_set_str(integer.value, digits.c_str(), 10);
    mpz_ui_pow_ui(fives.value, 5, static_cast<unsigned long>(std::abs(n)));
    if (n >= 0) {
        mpz_mul(integer.value, integer.value, fives.value);
    } else if (mpz_divisible_p(integer.value, fives.value) != 0) {
        mpz_divexact(integer.value, integer.value, fives.value);
    } else if (lastPlace) {
        // digits / 5^-n * 2^n in units of 2^lastPlace, rounded down and then to odd.
        if (n >= *lastPlace) {
            mpz_mul_2exp(integer.value, integer.value, static_cast<mp_bitcnt_t>(n - *lastPlace));
        } else {
            mpz_mul_2exp(fives.value, fives.value, static_cast<mp_bitcnt_t>(*lastPlace - n));
        }
        mpz_fdiv_q(integer.value, integer.value, fives.value);
        mpz_setbit(integer.value, 0);
        exponent = *lastPlace;
    } else {
        refuse(text, "has no finite binary form. Give it a format, which rounds it.");
    }
    if (isNegative) {
        mpz_neg(integer.value, integer.value);
    }
    return integer.times(exponent);
}

exact_value exact_value::from_words(const std::uint64_t* limbs, std::size_t count, bool is_signed, int exponent) {
    ExactInteger integer;
    mpz_import(integer.value, count, -1, sizeof(std::uint64_t), 0, 0, limbs);
    if (is_signed && count > 0 && limbs[count - 1] >> 63 != 0) {
        ExactInteger whole;
        mpz_setbit(whole.value, count * 64);
        mpz_sub(integer.value, integer.value, whole.value);
    }
    return integer.times(exponent);
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
    ExactInteger integer;
    mpz_import(integer.value, mMagnitude.size(), -1, sizeof(std::uint64_t), 0, 0, mMagnitude.data());
    int exponent = mExponent;
    if (dropped > 0) {
        ExactInteger whole;
        mpz_fdiv_q_2exp(whole.value, integer.value, static_cast<mp_bitcnt_t>(dropped));
        const bool isHalf = mpz_tstbit(integer.value, static_cast<mp_bitcnt_t>(dropped - 1)) != 0;
        const bool isMore = mpz_scan1(integer.value, 0) < static_cast<mp_bitcnt_t>(dropped - 1);
        if (isHalf && (isMore || mpz_odd_p(whole.value) != 0)) {
            mpz_add_ui(whole.value, whole.value, 1);
        }
        mpz_swap(integer.value, whole.value);
        exponent += dropped;
    }
    const double size = std::ldexp(mpz_get_d(integer.value), exponent);
    return mIsNegative ? -size : size;
}

std::string exact_value::text() const {
    if (is_zero()) {
        return "0";
    }
    ExactInteger integer;
    const int places = std::max(-mExponent, 0);
    integer.set(*this, std::min(mExponent, 0));
    mpz_abs(integer.value, integer.value);
    // m / 2^n = m 5^n / 10^n
    ExactInteger fives;
    mpz_ui_pow_ui(fives.value, 5, static_cast<unsigned long>(places));
    mpz_mul(integer.value, integer.value, fives.value);
    std::string digits(mpz_sizeinbase(integer.value, 10) + 2, '\0');
    mpz_get_str(digits.data(), 10, integer.value);
    digits.resize(digits.find('\0'));
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
    return combined(a, b, mpz_add);
}

exact_value operator-(const exact_value& a, const exact_value& b) {
    return combined(a, b, mpz_sub);
}

exact_value operator*(const exact_value& a, const exact_value& b) {
    ExactInteger left;
    ExactInteger right;
    left.set(a, a.exponent());
    right.set(b, b.exponent());
    mpz_mul(left.value, left.value, right.value);
    return left.times(a.exponent() + b.exponent());
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
