// The abstract body of a `number`: an array of values of one kind, with a cursor.
//
// Every operation acts on the element at the cursor unless its contract says otherwise; the cursor isn't checked
// against the element count; callers keep it in range. A body consists of a cursor and a pointer to a counted block
// that holds the array, its element count and its stored precision. Bodies made with `CopyIndex` share that block: a
// resize through one is seen by all, and the last one destroyed frees it. The kinds are doublenumber and mpnumber;
// operations on two bodies of any kinds are in numberops, to which the non-virtual operations below forward. Read
// number.h first.
#pragma once

#include <gmp.h>
#include <mpfr.h>

#include <cstdint>

#include "host/export.h"
#include "numbers/inlining.h"
#include "numbers/tags.h"

class doublenumber;
class mpnumber;

class TOLVANE_API numberrepbody {
 public:
    using numbertype = embeddedNumberTags::numbertype;
    using NumberVector = embeddedNumberTags::NumberVector;
    using UnsetVector = embeddedNumberTags::UnsetVector;
    using CopyIndex = embeddedNumberTags::CopyIndex;

    numberrepbody& operator=(const numberrepbody&) = delete;

    // The virtual operations; their order is that of the vtable slots, on which external callers rely.

    /// Returns a new body, owned by the caller, that holds a copy of only the current element.
    virtual numberrepbody* clone() const = 0;
    /// Keeps the first min(old, new) elements and sets the others to zero. Raises "fixedpoint:fi:outofmemory" before
    /// any change.
    virtual void resize(std::uint64_t count) = 0;
    virtual ~numberrepbody();
    virtual numbertype gettype() const = 0;
    virtual bool isempty() const = 0;
    virtual double todouble() const = 0;
    /// Sets the integer held in the words, lowest first, times 2^exponent. With `isSigned`, bit wordlength - 1 is a
    /// sign in two's complement. Slope and bias are ignored: the value stays on the binary-point scale.
    virtual void setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, double slope,
                          int exponent, double bias) = 0;
    /// As above with an exponent of -fractionlength.
    virtual void setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength,
                          int fractionlength) = 0;
    virtual void setvalue(double value) = 0;
    /// Returns -1, 0 or 1; 0 for NaN.
    virtual signed char sign() const = 0;
    virtual numberrepbody& negate() = 0;
    /// Multiplies by 2^n.
    virtual numberrepbody& pow2(int n) = 0;
    virtual numberrepbody& abs() = 0;
    /// Makes the stored integer of a value with the given binary exponent; slope and bias are ignored.
    virtual numberrepbody& stripscaling(double slope, int exponent, double bias) = 0;

    // Bit operations on the stored integer of `wordlength` bits that the value has with the given binary exponent.
    // `twoToWordlength` is 2^wordlength, the masks have wordlength ones, positions count from 1 at the lowest bit.
    // The multi-precision forms belong to mpnumber and the word forms to doublenumber; each raises an internal error on
    // the other kind. `other` is of the same kind as this body.
    virtual numberrepbody& bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias,
                                  mpz_srcptr mask, mpfr_srcptr twoToWordlength) = 0;
    virtual numberrepbody& bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias,
                                  std::uint64_t mask, std::uint64_t twoToWordlength) = 0;
    virtual numberrepbody& fibitand(const numberrepbody& other, bool isSigned, int wordlength, double slope,
                                    int exponent, double bias, mpfr_srcptr twoToWordlength) = 0;
    virtual numberrepbody& fibitand(const numberrepbody& other, bool isSigned, int wordlength, double slope,
                                    int exponent, double bias, std::uint64_t twoToWordlength) = 0;
    virtual numberrepbody& fibitor(const numberrepbody& other, bool isSigned, int wordlength, double slope,
                                   int exponent, double bias, mpfr_srcptr twoToWordlength) = 0;
    virtual numberrepbody& fibitor(const numberrepbody& other, bool isSigned, int wordlength, double slope,
                                   int exponent, double bias, std::uint64_t twoToWordlength) = 0;
    virtual numberrepbody& bitxor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                                  double bias, mpfr_srcptr twoToWordlength) = 0;
    virtual numberrepbody& bitxor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                                  double bias, std::uint64_t twoToWordlength) = 0;
    /// Returns 0 or 1; raises "fixedpoint:fi:bitget:BITOutOfRange".
    virtual unsigned char bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                                 mpfr_srcptr twoToWordlength) const = 0;
    virtual unsigned char bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                                 std::uint64_t twoToWordlength) const = 0;
    /// Raises "fixedpoint:fi:bitset:BITOutOfRange" before any change.
    virtual numberrepbody& bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent,
                                  double bias, mpfr_srcptr twoToWordlength) = 0;
    virtual numberrepbody& bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent,
                                  double bias, std::uint64_t twoToWordlength) = 0;

    /// Sorts the whole array by columns: the array is a row of blocks of stride * length elements, and in a block each
    /// of the stride columns is a sequence of length elements that lie stride apart. NaN fails every comparison.
    virtual void stridesort(bool ascending, std::uint64_t stride, std::uint64_t length) = 0;
    /// As `stridesort`, and writes to `index`, which has the layout of the array, the original position of each element
    /// in its column, counted from 1. Equal elements keep their order in both directions.
    virtual void stridesort2(double* index, bool ascending, std::uint64_t stride, std::uint64_t length) = 0;

    virtual bool isFinite() const = 0;
    virtual bool myisinf() const = 0;
    virtual bool iszero() const = 0;
    virtual bool isnegative() const = 0;
    virtual bool myisnan() const = 0;
    /// Returns the e of 2^e <= |value| < 2^(e+1); -1 for zero, infinity and NaN.
    virtual int unbiasedexponent() const = 0;

    // Rounding, at the bit of weight 2^-n or to a whole value: toward plus infinity, to nearest with ties to even,
    // toward zero, toward minus infinity, to nearest with ties toward plus infinity, to nearest with ties away from
    // zero.
    virtual numberrepbody& ceil(int n) = 0;
    virtual numberrepbody& ceil() = 0;
    virtual numberrepbody& convergent(int n) = 0;
    virtual numberrepbody& convergent() = 0;
    virtual numberrepbody& fix(int n) = 0;
    virtual numberrepbody& fix() = 0;
    virtual numberrepbody& floor(int n) = 0;
    virtual numberrepbody& floor() = 0;
    virtual numberrepbody& nearest(int n) = 0;
    virtual numberrepbody& nearest() = 0;
    virtual numberrepbody& round(int n) = 0;
    virtual numberrepbody& round() = 0;

    /// Prints the body through the host.
    virtual void disp() const = 0;

    // Without a virtual call.

    /// Return this body as its kind, or null if it is of the other kind. Defined in doublenumber.h and mpnumber.h.
    inline doublenumber* asDouble();
    inline const doublenumber* asDouble() const;
    inline mpnumber* asMp();
    inline const mpnumber* asMp() const;
    TOLVANE_INLINE_INSIDE bool isDouble() const;

    /// The number of bodies that share the array.
    TOLVANE_INLINE_INSIDE void incrcount();
    TOLVANE_INLINE_INSIDE void decrcount();
    TOLVANE_INLINE_INSIDE std::uint64_t getcount() const;

    TOLVANE_INLINE_INSIDE bool sharesArrayOf(const numberrepbody& other) const;
    TOLVANE_INLINE_INSIDE std::uint64_t numel() const;
    /// The precision in bits that was requested when the array was made.
    TOLVANE_INLINE_INSIDE std::uint32_t get_stored_precision() const;
    TOLVANE_INLINE_INSIDE void setIndex(std::uint64_t index) const;
    TOLVANE_INLINE_INSIDE std::uint64_t getIndex() const;
    /// Set the cursor and return the body itself.
    TOLVANE_INLINE_INSIDE numberrepbody& operator[](std::uint64_t index);
    TOLVANE_INLINE_INSIDE const numberrepbody& operator[](std::uint64_t index) const;

    // Forwarded to the operation of the same meaning in numberops.

    void setvalue(const numberrepbody& source);
    numberrepbody& operator+=(const numberrepbody& other);
    numberrepbody& operator-=(const numberrepbody& other);
    numberrepbody& operator*=(const numberrepbody& other);
    numberrepbody& operator/=(const numberrepbody& other);
    bool operator<(const numberrepbody& other) const;
    bool operator<=(const numberrepbody& other) const;
    bool operator>(const numberrepbody& other) const;
    bool operator>=(const numberrepbody& other) const;
    bool operator==(const numberrepbody& other) const;
    bool operator!=(const numberrepbody& other) const;
    numberrepbody& hypot(const numberrepbody& a, const numberrepbody& b);
    numberrepbody& mod(const numberrepbody& divisor);

    std::int8_t fixed2int8(int unused, int scale) const;
    std::int16_t fixed2int16(int unused, int scale) const;
    std::int32_t fixed2int32(int unused, int scale) const;
    std::int64_t fixed2int64(int unused, int scale) const;
    std::uint8_t fixed2uint8(int unused, int scale) const;
    std::uint16_t fixed2uint16(int unused, int scale) const;
    std::uint32_t fixed2uint32(int unused, int scale) const;
    std::uint64_t fixed2uint64(int unused, int scale) const;

    void fixed2IntArray(std::uint32_t* out, int words, int wordlength, double slope, int exponent, double bias,
                        mpfr_srcptr twoToWordlength) const;
    void fixed2sdec(char* out, unsigned length, unsigned wordlength, int fractionlength) const;
    void fixed2base(char* out, int length, int base, int wordlength, int fractionlength) const;
    void float2base(char* out, int length, int base, int wordlength, int exponentlength, int fractionlength,
                    int exponentmax, int exponentmin) const;
    void base2fixed(const char* text, int base, int wordlength, int fractionlength, bool isSigned);
    void base2float(const char* text, int base, int wordlength, int exponentlength, int fractionlength, int exponentmax,
                    int exponentmin);

 protected:
    /// The block that sharing bodies have in common; each kind adds its array.
    struct SharedState {
        SharedState(std::uint64_t count, std::uint32_t precision) : elementCount(count), storedPrecision(precision) {}
        SharedState(const SharedState&) = delete;
        SharedState& operator=(const SharedState&) = delete;

        std::uint64_t elementCount;
        std::uint32_t referenceCount = 1;
        std::uint32_t storedPrecision;
    };

    /// Takes over one reference to the state.
    numberrepbody(numbertype kind, SharedState* state) : mKind(kind), mState(state) {}
    // Each kind defines its own copying.
    numberrepbody(const numberrepbody&) = delete;

    /// Releases the reference; returns whether it was the last, so the kind must free the state.
    bool releaseState() { return --mState->referenceCount == 0; }

    const numbertype mKind;
    SharedState* mState;
    mutable std::uint64_t mCursor = 0;
};

#ifdef TOLVANE_BUILDING
#include "numbers/numberrepbody.inl.h"
#endif
