// The value cell of the whole library: every element, bound and extreme is held in a `number`.
//
// A number is a handle to a body (numberrepbody.h), an array of values with a cursor. Each operation acts on the
// element at the cursor; `operator[]` sets the cursor, so that `a[i] += b[j]` works and a loop needs no temporary
// handle. The body holds plain doubles for precisions of up to 52 bits and multi-precision floats from 53 bits; callers
// never need to know which. Operations on doubles need no virtual call, and sources of this library expand them in
// place (inlining.h); the others are virtual calls or forwarded to numberops.h. A copy of a number holds only its
// current element; assignment copies a value and never changes the target's kind, precision or size. Moving is copying:
// a result that took over a whole array would differ from a copied one.
#pragma once

#include <cstdint>
#include <type_traits>

#include "host/export.h"
#include "numbers/doublenumber.h"
#include "numbers/inlining.h"
#include "numbers/numberops.h"
#include "numbers/numberrepbody.h"
#include "numbers/tags.h"
#include "numbers/words.h"

class TOLVANE_API number {
 public:
    using NumberVector = embeddedNumberTags::NumberVector;
    using UnsetVector = embeddedNumberTags::UnsetVector;
    using CopyIndex = embeddedNumberTags::CopyIndex;

    /// Makes a zero of default precision. Every constructor raises "fixedpoint:fi:outofmemory".
    number();
    /// Makes one element; `force` takes a multi-precision body at any precision. A double body stores a precision
    /// of 52.
    number(double value, std::uint32_t precision, bool force);
    /// Makes `count` zeros; the default force flag is ignored.
    number(std::uint64_t count, std::uint32_t precision, NumberVector tag);
    /// As above, but leaves the values uninitialised; the caller sets each before reading it.
    number(std::uint64_t count, std::uint32_t precision, UnsetVector tag);
    /// Makes `count` values of a grid, zeros or, for doubles, uninitialised.
    number(std::uint64_t count, std::uint32_t precision, const tolvane::detail::WordGrid& grid, bool areUnset);
    /// Copies the whole array.
    number(const number& source, NumberVector tag);
    /// Copies `count` elements from `start` on, all within the source.
    number(const number& source, std::uint64_t start, std::uint64_t count);
    /// Shares the array of the source, with its own cursor, at 0; either may be destroyed first.
    number(const number& source, CopyIndex tag);
    /// Copies the current element into an array of one, made with the source's stored precision.
    number(const number& source);
    virtual ~number();

    static void setDefaultPrecision(std::uint32_t precision, bool force);
    static void setDefaultForceMultiplePrecision(bool force);
    static std::uint32_t getDefaultPrecision();
    static bool getDefaultForceMultiplePrecision();

    TOLVANE_INLINE_INSIDE std::uint64_t numel() const;
    TOLVANE_INLINE_INSIDE std::uint64_t getIndex() const;
    TOLVANE_INLINE_INSIDE void setIndex(std::uint64_t index) const;
    /// The stored precision in bits.
    TOLVANE_INLINE_INSIDE std::uint32_t getprecision() const;
    TOLVANE_INLINE_INSIDE bool isempty() const;
    TOLVANE_INLINE_INSIDE embeddedNumberTags::numbertype gettype() const;
    TOLVANE_INLINE_INSIDE double todouble() const;
    float tosingle() const { return static_cast<float>(todouble()); }
    TOLVANE_INLINE_INSIDE signed char sign() const;
    TOLVANE_INLINE_INSIDE bool isnegative() const;
    TOLVANE_INLINE_INSIDE bool isFinite() const;
    TOLVANE_INLINE_INSIDE bool myisinf() const;
    TOLVANE_INLINE_INSIDE bool iszero() const;
    TOLVANE_INLINE_INSIDE bool myisnan() const;
    TOLVANE_INLINE_INSIDE int unbiasedexponent() const;
    TOLVANE_INLINE_INSIDE void disp() const;

    /// Returns whether both share one array.
    TOLVANE_INLINE_INSIDE bool sharesArrayOf(const number& other) const;
    /// Replaces the array by that of the source, like the sharing constructor; keeps the cursor.
    number& share(const number& source);

    /// The body, owned by this number.
    numberrepbody& body() { return *mBody; }
    const numberrepbody& body() const { return *mBody; }
    /// The body if it holds doubles, otherwise null.
    TOLVANE_INLINE_INSIDE doublenumber* asDouble();
    TOLVANE_INLINE_INSIDE const doublenumber* asDouble() const;
    /// The body if it holds words of a grid (numbers/mpnumber.h), otherwise null.
    mpnumber* asWords();
    const mpnumber* asWords() const;

    /// Set the cursor and return the number itself.
    TOLVANE_INLINE_INSIDE number& operator[](std::uint64_t index);
    TOLVANE_INLINE_INSIDE const number& operator[](std::uint64_t index) const;

    /// Keeps the first min(old, new) elements and sets the others to zero. Raises "fixedpoint:fi:outofmemory" before
    /// any change.
    number& resize(std::uint64_t count);
    /// As above if the stored precision is already the given one; otherwise makes a new body of zeros, whose kind may
    /// differ, and the old values are lost.
    number& resize(std::uint64_t count, std::uint32_t precision);
    /// As above; a new body is for values of a grid.
    number& resize(std::uint64_t count, std::uint32_t precision, const tolvane::detail::WordGrid& grid);

    // Setting an element to itself is sound. NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
    number& operator=(const number& source) { return setvalue(source); }
    number& operator=(double value) { return setvalue(value); }
    TOLVANE_INLINE_INSIDE number& setvalue(const number& source);
    TOLVANE_INLINE_INSIDE number& setvalue(double value);
    /// Sets source * slope + bias, with slope and bias at default precision.
    number& setvalue(const number& source, double slope, double bias);
    /// Sets the integer in the words (lowest first) times 2^exponent; slope and bias are ignored.
    number& setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, double slope,
                     int exponent, double bias);

    TOLVANE_INLINE_INSIDE number& operator+=(const number& other);
    TOLVANE_INLINE_INSIDE number& operator-=(const number& other);
    TOLVANE_INLINE_INSIDE number& operator*=(const number& other);
    TOLVANE_INLINE_INSIDE number& operator/=(const number& other);
    TOLVANE_INLINE_INSIDE number& hypot(const number& a, const number& b);
    /// Takes the value modulo the divisor, with the divisor's sign; a zero divisor leaves it unchanged.
    TOLVANE_INLINE_INSIDE number& mod(const number& divisor);

    // Results hold one element, made with the stored precision of the left operand.
    number operator+(const number& other) const;
    number operator-(const number& other) const;
    number operator*(const number& other) const;
    number operator/(const number& other) const;
    number operator-() const;

    TOLVANE_INLINE_INSIDE bool operator<(const number& other) const;
    TOLVANE_INLINE_INSIDE bool operator<=(const number& other) const;
    TOLVANE_INLINE_INSIDE bool operator>(const number& other) const;
    TOLVANE_INLINE_INSIDE bool operator>=(const number& other) const;
    TOLVANE_INLINE_INSIDE bool operator==(const number& other) const;
    TOLVANE_INLINE_INSIDE bool operator!=(const number& other) const;

    /// Sets the absolute value of x.
    number& abs(const number& x) { return setvalue(x).abs(); }
    TOLVANE_INLINE_INSIDE number& abs();
    TOLVANE_INLINE_INSIDE number& negate();
    /// Multiplies by 2^n.
    TOLVANE_INLINE_INSIDE number& pow2(int n);
    number& stripscaling(double slope, int exponent, double bias);
    /// Sort the whole array, as the body's operations of those names.
    number& stridesort(bool ascending, std::uint64_t stride, std::uint64_t length);
    number& stridesort2(double* index, bool ascending, std::uint64_t stride, std::uint64_t length);

    // Rounding to a whole value or at the bit of weight 2^-n; see numberrepbody.h for the rules.
    TOLVANE_INLINE_INSIDE number& ceil(int n);
    TOLVANE_INLINE_INSIDE number& ceil();
    TOLVANE_INLINE_INSIDE number& convergent(int n);
    TOLVANE_INLINE_INSIDE number& convergent();
    TOLVANE_INLINE_INSIDE number& fix(int n);
    TOLVANE_INLINE_INSIDE number& fix();
    TOLVANE_INLINE_INSIDE number& floor(int n);
    TOLVANE_INLINE_INSIDE number& floor();
    TOLVANE_INLINE_INSIDE number& nearest(int n);
    TOLVANE_INLINE_INSIDE number& nearest();
    TOLVANE_INLINE_INSIDE number& round(int n);
    TOLVANE_INLINE_INSIDE number& round();

    // Conversions of the stored integer to and from words and texts, as mpnumber's operations of those names.
    void fixed2IntArray(std::uint32_t* out, int words, int wordlength, double slope, int exponent, double bias,
                        mpfr_srcptr twoToWordlength) const;
    void fixed2sdec(char* out, unsigned length, unsigned wordlength, int fractionlength) const;
    void fixed2base(char* out, int length, int base, int wordlength, int fractionlength) const;
    void float2base(char* out, int length, int base, int wordlength, int exponentlength, int fractionlength,
                    int exponentmax, int exponentmin) const;
    number& base2fixed(const char* text, int base, int wordlength, int fractionlength, bool isSigned);
    number& base2float(const char* text, int base, int wordlength, int exponentlength, int fractionlength,
                       int exponentmax, int exponentmin);

    // Bit operations on the stored integer, as the body's: the forms with words for double bodies, the others for
    // multi-precision bodies.
    number& bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias, mpz_srcptr mask,
                   mpfr_srcptr twoToWordlength);
    number& bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias, std::uint64_t mask,
                   std::uint64_t twoToWordlength);
    number& doublebitand(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         std::uint64_t twoToWordlength);
    number& mpbitand(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                     mpfr_srcptr twoToWordlength);
    number& doublebitor(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                        std::uint64_t twoToWordlength);
    number& mpbitor(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                    mpfr_srcptr twoToWordlength);
    number& doublebitxor(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         std::uint64_t twoToWordlength);
    number& mpbitxor(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                     mpfr_srcptr twoToWordlength);
    unsigned char bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         mpfr_srcptr twoToWordlength) const;
    unsigned char bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         std::uint64_t twoToWordlength) const;
    number& bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent, double bias,
                   mpfr_srcptr twoToWordlength);
    number& bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent, double bias,
                   std::uint64_t twoToWordlength);

    // Per thread.
    static thread_local std::uint32_t sDefaultPrecision;
    static thread_local bool sDefaultForceMultiplePrecision;

 private:
    // Both run an action on the body, by virtual calls unless it holds doubles.
    template <class Action>
    number& apply(Action action);
    template <class Question>
    std::invoke_result_t<Question, const doublenumber&> ask(Question question) const;

    numberrepbody* mBody;
};

#ifdef TOLVANE_BUILDING
#include "numbers/number.inl.h"
#endif
