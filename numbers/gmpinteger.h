// Owner of one GMP integer.
//
// Bit and radix operations on elements use GMP integers; this owner frees them on every path out of an operation,
// including errors. It converts to the pointers that GMP's functions take.
#pragma once

#include <gmp.h>

#include <utility>

namespace tolvane::detail {

class gmpinteger {
 public:
    /// Makes a zero.
    gmpinteger() { mpz_init(mValue); }
    explicit gmpinteger(long value) { mpz_init_set_si(mValue, value); }
    gmpinteger(const gmpinteger& other) { mpz_init_set(mValue, other.mValue); }
    gmpinteger(gmpinteger&& other) noexcept : gmpinteger() { mpz_swap(mValue, other.mValue); }
    gmpinteger& operator=(gmpinteger other) noexcept {
        mpz_swap(mValue, other.mValue);
        return *this;
    }
    ~gmpinteger() { mpz_clear(mValue); }

    operator mpz_ptr() { return mValue; }
    operator mpz_srcptr() const { return mValue; }

    int sign() const { return mpz_sgn(mValue); }
    /// Returns the number of bits of the magnitude; 0 for zero.
    mp_bitcnt_t bitCount() const { return sign() == 0 ? 0 : mpz_sizeinbase(mValue, 2); }

 private:
    mpz_t mValue;
};

}  // namespace tolvane::detail
