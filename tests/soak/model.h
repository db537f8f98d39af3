// The exact model: what words, roundings and overflows are, in plain integers. The integers are std::int64_t or Int128
// where they are known to be large enough, or GMP's of any length.
#pragma once

#include <gmpxx.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "program/format.h"

namespace soak {

__extension__ typedef __int128 Int128;
__extension__ typedef unsigned __int128 UnsignedInt128;

using tolvane::fixed_format;
using tolvane::fixed_type;
using tolvane::overflow;
using tolvane::rounding;

template <class Integer>
bool isOdd(const Integer& x) {
    if constexpr (std::is_same_v<Integer, mpz_class>) {
        return mpz_odd_p(x.get_mpz_t()) != 0;
    } else {
        return (x & 1) != 0;
    }
}

/// x * 2^places; in short integers the caller knows that there is room.
template <class Integer>
Integer timesPower(const Integer& x, int places) {
    if constexpr (std::is_same_v<Integer, mpz_class>) {
        return x << static_cast<mp_bitcnt_t>(places);
    } else {
        return static_cast<Integer>(x * (Integer{1} << places));
    }
}
/// The floor of x / 2^places.
template <class Integer>
Integer floorOfPower(const Integer& x, int places) {
    if constexpr (std::is_same_v<Integer, mpz_class>) {
        return x >> static_cast<mp_bitcnt_t>(places);
    } else {
        return x >> places;
    }
}

/// Whether a value goes up to the next integer: `low` is its floor, and it lies `half` above it, which is below zero
/// under a half, zero on a tie, and above zero beyond. The value isn't an integer.
template <rounding kRule, class Integer>
bool goesUp(const Integer& low, int half, bool isNegative) {
    switch (kRule) {
        case rounding::ceil:
            return true;
        case rounding::floor:
            return false;
        case rounding::toward_zero:
        case rounding::add_sign:
            return isNegative;
        case rounding::away_from_zero:
            return !isNegative;
        case rounding::jam:
            return !isOdd(low);
        case rounding::nearest:
            return half >= 0;
        case rounding::nearest_down:
            return half > 0;
        case rounding::nearest_away:
            return half > 0 || (half == 0 && !isNegative);
        case rounding::nearest_zero:
            return half > 0 || (half == 0 && isNegative);
        case rounding::convergent:
            return half > 0 || (half == 0 && isOdd(low));
        case rounding::nearest_odd:
            return half > 0 || (half == 0 && !isOdd(low));
        case rounding::stochastic:
            break;
    }
    return false;
}

/// x / 2^places as an integer; places below zero multiply. `kIsTyped` says that x is the word of a type, whose places
/// are cut off even if they are zeros.
template <rounding kRule, bool kIsTyped, class Integer>
Integer roundedPower(const Integer& x, int places) {
    if (places <= 0) {
        return timesPower<Integer>(x, -places);
    }
    const Integer low = floorOfPower<Integer>(x, places);
    const Integer rest = x - timesPower<Integer>(low, places);
    if (rest == 0) {
        return kRule == rounding::add_sign && kIsTyped && x < 0 ? Integer(low + 1) : low;
    }
    const Integer half = timesPower<Integer>(Integer(1), places - 1);
    const int beside = (rest > half ? 1 : 0) - (rest < half ? 1 : 0);
    return Integer(low + (goesUp<kRule, Integer>(low, beside, x < 0) ? 1 : 0));
}

/// dividend / divisor as an integer.
template <rounding kRule, class Integer>
Integer roundedRatio(Integer dividend, Integer divisor) {
    if (divisor < 0) {
        dividend = -dividend;
        divisor = -divisor;
    }
    Integer low = dividend / divisor;
    Integer rest = dividend - low * divisor;
    if (rest < 0) {
        low -= 1;
        rest += divisor;
    }
    if (rest == 0) {
        return low;
    }
    const Integer twice = rest * 2;
    const int beside = (twice > divisor ? 1 : 0) - (twice < divisor ? 1 : 0);
    return Integer(low + (goesUp<kRule, Integer>(low, beside, dividend < 0) ? 1 : 0));
}

/// Calls `body` with the rounding as a constant, std::integral_constant<rounding, ...>.
template <class Body>
decltype(auto) withRounding(rounding rule, const Body& body) {
    switch (rule) {
        case rounding::ceil:
            return body(std::integral_constant<rounding, rounding::ceil>());
        case rounding::convergent:
            return body(std::integral_constant<rounding, rounding::convergent>());
        case rounding::toward_zero:
            return body(std::integral_constant<rounding, rounding::toward_zero>());
        case rounding::nearest:
            return body(std::integral_constant<rounding, rounding::nearest>());
        case rounding::nearest_away:
            return body(std::integral_constant<rounding, rounding::nearest_away>());
        case rounding::nearest_zero:
            return body(std::integral_constant<rounding, rounding::nearest_zero>());
        case rounding::nearest_down:
            return body(std::integral_constant<rounding, rounding::nearest_down>());
        case rounding::nearest_odd:
            return body(std::integral_constant<rounding, rounding::nearest_odd>());
        case rounding::away_from_zero:
            return body(std::integral_constant<rounding, rounding::away_from_zero>());
        case rounding::jam:
            return body(std::integral_constant<rounding, rounding::jam>());
        case rounding::add_sign:
            return body(std::integral_constant<rounding, rounding::add_sign>());
        case rounding::floor:
        case rounding::stochastic:
            break;
    }
    return body(std::integral_constant<rounding, rounding::floor>());
}

/// The words of a type, and what becomes of integers beyond them.
template <class Integer>
class Words {
 public:
    Words(const fixed_type& type, overflow over)
        : mLow(type.is_signed ? Integer(-timesPower<Integer>(Integer(1), type.bits - 1)) : Integer(0)),
          mHigh(timesPower<Integer>(Integer(1), type.bits - (type.is_signed ? 1 : 0)) - 1),
          mBits(type.bits),
          mOverflow(over) {
        if (over == overflow::symmetric && type.is_signed) {
            mLow = -mHigh;
        }
        if (over == overflow::keep_sign && !type.is_signed) {
            mOverflow = overflow::wrap;
        }
    }
    bool has(const Integer& x) const { return x >= mLow && x <= mHigh; }
    Integer forced(const Integer& x) const {
        if (has(x)) {
            return x;
        }
        switch (mOverflow) {
            case overflow::saturate:
            case overflow::symmetric:
                return x < mLow ? mLow : mHigh;
            case overflow::wrap:
                return Integer(mLow + lowBits(Integer(x - mLow), mBits));
            case overflow::keep_sign:
                return Integer(lowBits(x, mBits - 1) + (x < 0 ? mLow : Integer(0)));
            case overflow::zero:
                break;
        }
        return Integer(0);
    }
    const Integer& low() const { return mLow; }
    const Integer& high() const { return mHigh; }

    static Integer lowBits(const Integer& x, int bits) {
        return Integer(x - timesPower<Integer>(floorOfPower<Integer>(x, bits), bits));
    }

 private:
    Integer mLow;
    Integer mHigh;
    int mBits;
    overflow mOverflow;
};

/// The bits of a word as an integer without sign, and back.
template <class Integer>
Integer patternOf(const Integer& word, const fixed_type& type) {
    return Words<Integer>::lowBits(word, type.bits);
}
template <class Integer>
Integer wordOf(const Integer& pattern, const fixed_type& type) {
    const Integer modulus = timesPower<Integer>(Integer(1), type.bits);
    return type.is_signed && pattern * 2 >= modulus ? Integer(pattern - modulus) : pattern;
}

template <class Integer>
std::string textOf(const Integer& x) {
    if constexpr (std::is_same_v<Integer, mpz_class>) {
        return x.get_str();
    } else {
        const Int128 wide = x;
        mpz_class whole(static_cast<long>(wide >> 64));
        whole = (whole << 64) + mpz_class(static_cast<unsigned long>(wide));
        return whole.get_str();
    }
}

}  // namespace soak
