// An integer for GMP's functions in memory of its own.
//
// GMP ends the process when it can't allocate. So the integers of bit and radix operations bring their memory: room for
// what a function writes is made before it is called, and GMP, which only allocates for what is too small, never does.
// Up to 2048 bits live in the object itself. The functions below know how much room each function of GMP 6 asks for,
// and take steps that GMP would do in memory of its own, which it does for long decimal texts. What GMP uses for a
// moment lies on the stack up to 32512 bytes a piece; integers of 65535 bits and their products need no more.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "host/export.h"
#include "numbers/host_memory.h"

namespace tolvane::detail {

class TOLVANE_API gmpinteger {
 public:
    static constexpr std::size_t kLimbBits = 64;
    /// Integers of so many limbs become texts, and are read from them, in no memory but the caller's.
    static constexpr std::size_t kShortLimbs = 12;

    /// Makes a zero.
    gmpinteger() {
        mValue->_mp_size = 0;
        place(mInside, kInsideLimbs);
    }
    explicit gmpinteger(long value) : gmpinteger() { mpz_set_si(mValue, value); }
    gmpinteger(const gmpinteger& other) : gmpinteger() { *this = other; }
    gmpinteger(gmpinteger&& other) noexcept : gmpinteger() { *this = std::move(other); }
    gmpinteger& operator=(const gmpinteger& other);
    gmpinteger& operator=(gmpinteger&& other) noexcept;
    ~gmpinteger() = default;

    operator mpz_srcptr() const { return mValue; }

    int sign() const { return mpz_sgn(mValue); }
    std::size_t limbs() const { return mpz_size(mValue); }
    /// Returns the number of bits of the magnitude; 0 for zero.
    mp_bitcnt_t bitCount() const { return sign() == 0 ? 0 : mpz_sizeinbase(mValue, 2); }

    /// For a function of GMP that asks for no more limbs than these. The value stays. Raises
    /// "fixedpoint:fi:outofmemory", as all that makes integers does.
    mpz_ptr withRoom(std::size_t limbs) {
        if (limbs > static_cast<std::size_t>(mValue->_mp_alloc)) {
            grow(limbs);
        }
        return mValue;
    }
    mpz_ptr withRoomForBits(std::uint64_t bits) { return withRoom(bits / kLimbBits + 2); }

    void negate() { mpz_neg(mValue, mValue); }
    void makePositive() { mpz_abs(mValue, mValue); }

 private:
    static constexpr std::size_t kInsideLimbs = 32;

    void place(mp_limb_t* limbs, std::size_t count) {
        mValue->_mp_d = limbs;
        mValue->_mp_alloc = static_cast<int>(count);
    }
    void grow(std::size_t limbs);

    mpz_t mValue;
    mp_limb_t mInside[kInsideLimbs];
    HostMemory<mp_limb_t> mOutside;
};

// As the functions of GMP of those names; operands may be the result.

inline void set(gmpinteger& out, long value) {
    mpz_set_si(out.withRoom(1), value);
}
/// Unsigned units, the lowest first.
TOLVANE_API void setUnits(gmpinteger& out, std::size_t count, std::size_t unitBytes, const void* units);
TOLVANE_API void add(gmpinteger& out, mpz_srcptr a, mpz_srcptr b);
TOLVANE_API void subtract(gmpinteger& out, mpz_srcptr a, mpz_srcptr b);
TOLVANE_API void multiply(gmpinteger& out, mpz_srcptr a, mpz_srcptr b);
TOLVANE_API void shiftLeft(gmpinteger& out, mpz_srcptr a, mp_bitcnt_t bits);
/// Truncates toward zero.
TOLVANE_API void shiftRight(gmpinteger& out, mpz_srcptr a, mp_bitcnt_t bits);
/// The remainder by 2^bits, with the sign of a, and from 0 on.
TOLVANE_API void lowBits(gmpinteger& out, mpz_srcptr a, mp_bitcnt_t bits);
TOLVANE_API void lowBitsFromZero(gmpinteger& out, mpz_srcptr a, mp_bitcnt_t bits);
TOLVANE_API void setBit(gmpinteger& out, mp_bitcnt_t bit);
TOLVANE_API void clearBit(gmpinteger& out, mp_bitcnt_t bit);
/// By a divisor of a.
TOLVANE_API void divideExactly(gmpinteger& out, mpz_srcptr a, mpz_srcptr divisor);
/// Rounds toward minus infinity.
TOLVANE_API void divideDown(gmpinteger& out, mpz_srcptr a, mpz_srcptr divisor);
TOLVANE_API void power(gmpinteger& out, unsigned long base, unsigned long exponent);

/// The digits of the magnitude in a base from 2 to 62, lower case up to base 36; "0" for zero.
TOLVANE_API std::string digitsOf(const gmpinteger& value, int base);
/// Values of digits in a base, the highest first.
TOLVANE_API void setDigits(gmpinteger& out, std::span<const std::uint8_t> digits, int base);
/// Reads what mpz_set_str reads, bases 0 and 2 to 62; false for other texts, of which the value is any.
TOLVANE_API bool readDigits(gmpinteger& out, std::string_view text, int base);

}  // namespace tolvane::detail
