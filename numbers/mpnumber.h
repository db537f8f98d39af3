// The body of numbers of 53 bits and more: an array of MPFR floats.
//
// There are two precisions. The stored precision p is the requested one; an element is made with max(p + 1, 32) bits,
// its element precision, which assignment and `setprecision` can change for one element. Arithmetic works at the
// precision of the target element and to nearest, unless a contract says otherwise. Floats that are lent may be used
// with any operation of MPFR except those that reallocate or free a significand (mpfr_set_prec, mpfr_prec_round,
// mpfr_clear, mpfr_swap with a float from elsewhere): `setprecision` and `operator=` do that here.
// Within the library an array can be made of words instead, integers of one format (numbers/mpnumber.inl.h). It gives
// the same values, and becomes floats when one is asked for.
// Every access is a call; only sources of this library know the layout of the array.
#pragma once

#include <cstdint>
#include <span>

#include "numbers/numberrepbody.h"
#include "numbers/words.h"

namespace tolvane::detail {
class wordarray;
}

class TOLVANE_API mpnumber final : public numberrepbody {
 public:
    explicit mpnumber(double value = 0.0, std::uint32_t precision = 64);
    /// Makes `count` zeros. Raises "fixedpoint:fi:outofmemory", as every constructor does.
    mpnumber(std::uint64_t count, std::uint32_t precision, NumberVector tag);
    /// Makes `count` zeros as words, which have no more bits than the elements.
    mpnumber(std::uint64_t count, std::uint32_t precision, const tolvane::detail::WordGrid& grid);
    /// Copies only the current element (none from an empty source), at the element precision that follows from the
    /// source's stored precision.
    mpnumber(const mpnumber& source);
    /// Copies the whole array.
    mpnumber(const mpnumber* source, NumberVector tag);
    /// Copies `count` elements from `start` on, all within the source.
    mpnumber(const mpnumber* source, std::uint64_t start, std::uint64_t count);
    /// Shares the array; the cursor starts at 0.
    mpnumber(const mpnumber* source, CopyIndex tag);
    ~mpnumber() override;
    /// Takes the current value of the source. A target element with fewer bits is widened first, so no bit is lost; it
    /// never shrinks.
    mpnumber& operator=(const mpnumber& source);

    /// Returns the bits of an element made for a stored precision.
    static constexpr mpfr_prec_t elementPrecision(std::uint32_t storedPrecision) {
        return storedPrecision < 31 ? 32 : static_cast<mpfr_prec_t>(storedPrecision) + 1;
    }

    using numberrepbody::setvalue;

    mpnumber* clone() const override;
    void resize(std::uint64_t count) override;
    /// As above; floats become words if there are several, and all are of the grid.
    void resize(std::uint64_t count, const tolvane::detail::WordGrid& grid);
    /// Whether arrays of several elements of a stored precision can be words of the grid.
    static bool canBeWords(std::uint64_t count, std::uint32_t storedPrecision, const tolvane::detail::WordGrid& grid) {
        return count > 1 && grid.isUsual() && grid.bits <= elementPrecision(storedPrecision);
    }
    numbertype gettype() const override { return numbertype::mpnumber; }
    bool isempty() const override;
    double todouble() const override;
    void setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, double slope, int exponent,
                  double bias) override;
    void setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength,
                  int fractionlength) override;
    void setvalue(double value) override;
    signed char sign() const override;
    mpnumber& negate() override;
    mpnumber& pow2(int n) override;
    mpnumber& abs() override;
    /// Multiplies by 2^-exponent, without rounding.
    mpnumber& stripscaling(double slope, int exponent, double bias) override;

    mpnumber& bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias, mpz_srcptr mask,
                     mpfr_srcptr twoToWordlength) override;
    mpnumber& bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias, std::uint64_t mask,
                     std::uint64_t twoToWordlength) override;
    mpnumber& fibitand(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                       double bias, mpfr_srcptr twoToWordlength) override;
    mpnumber& fibitand(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                       double bias, std::uint64_t twoToWordlength) override;
    mpnumber& fibitor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                      double bias, mpfr_srcptr twoToWordlength) override;
    mpnumber& fibitor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                      double bias, std::uint64_t twoToWordlength) override;
    mpnumber& bitxor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                     mpfr_srcptr twoToWordlength) override;
    mpnumber& bitxor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                     std::uint64_t twoToWordlength) override;
    unsigned char bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         mpfr_srcptr twoToWordlength) const override;
    unsigned char bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         std::uint64_t twoToWordlength) const override;
    mpnumber& bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent, double bias,
                     mpfr_srcptr twoToWordlength) override;
    mpnumber& bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent, double bias,
                     std::uint64_t twoToWordlength) override;

    void stridesort(bool ascending, std::uint64_t stride, std::uint64_t length) override;
    void stridesort2(double* index, bool ascending, std::uint64_t stride, std::uint64_t length) override;

    bool isFinite() const override;
    bool myisinf() const override;
    bool iszero() const override;
    /// Returns whether the sign is minus, even for -0 and a negative NaN (unlike a doublenumber).
    bool isnegative() const override;
    bool myisnan() const override;
    int unbiasedexponent() const override;

    mpnumber& ceil(int n) override;
    mpnumber& ceil() override;
    mpnumber& convergent(int n) override;
    mpnumber& convergent() override;
    mpnumber& fix(int n) override;
    mpnumber& fix() override;
    mpnumber& floor(int n) override;
    mpnumber& floor() override;
    // These two leave an element without bits below the rounding position unchanged.
    mpnumber& nearest(int n) override;
    mpnumber& nearest() override;
    mpnumber& round(int n) override;
    mpnumber& round() override;

    /// Prints the element precision.
    void disp() const override;

    // Beyond the common operations.

    // Words. For sources of this library.

    /// The grid of the words, null if the elements are floats.
    const tolvane::detail::WordGrid* grid() const;
    /// The words, where there is a grid; valid until an element is set or lent or the array resized.
    tolvane::detail::WordSpan words() const;
    /// Makes the array words of a grid, for the caller to set all of them and the signs of their zeros.
    tolvane::detail::wordarray& rewrite(const tolvane::detail::WordGrid& grid);

    /// Access to the current element for sources that include numbers/mpnumber.inl.h.
    struct Access;
    class Reading;
    template <class Operation>
    inline mpnumber& change(const Operation& operation);

    /// The whole array, valid until the next resize of any body that shares it.
    std::span<const mpfr_ptr> elements();

    mpfr_srcptr getelement() const;
    mpfr_srcptr getelement(std::uint64_t index) const;
    /// Valid until the element is widened or the array resized.
    mpfr_ptr getmodifiableelement();
    mpfr_ptr getmodifiableelement(std::uint64_t index);

    /// The precision in bits of the current element.
    std::uint32_t getprecision() const;
    /// Rounds the current element to max(precision, 32) + 1 bits, its element precision from then on.
    void setprecision(std::uint32_t precision);
    /// The exponent e of a magnitude in [2^(e-1), 2^e); 0 for zero, infinity and NaN.
    mpfr_exp_t getexponent() const;
    /// Scales the current element to that exponent; zero, infinity and NaN have none and are unchanged.
    void setexponent(int exponent);

    /// Copies with truncation toward zero at the target's element precision.
    void setvalue(const mpnumber& source);

    using numberrepbody::hypot;
    using numberrepbody::mod;
    mpnumber& operator+=(const mpnumber& other);
    mpnumber& operator-=(const mpnumber& other);
    mpnumber& operator*=(const mpnumber& other);
    mpnumber& operator/=(const mpnumber& other);
    mpnumber& operator+=(double other);
    mpnumber& operator-=(double other);
    mpnumber& operator*=(double other);
    mpnumber& operator/=(double other);
    bool operator<(const mpnumber& other) const;
    bool operator<=(const mpnumber& other) const;
    bool operator>(const mpnumber& other) const;
    bool operator>=(const mpnumber& other) const;
    bool operator==(const mpnumber& other) const;
    bool operator!=(const mpnumber& other) const;
    bool notzero() const { return !iszero(); }

    mpnumber& changesign() { return negate(); }
    mpnumber& sqrt();
    mpnumber& log();
    /// Divides the natural logarithm by log 2, so the result isn't exact for powers of two.
    mpnumber& log2();
    mpnumber& pow(unsigned n);
    mpnumber& pow2(unsigned n);
    mpnumber& hypot(const mpnumber& a, const mpnumber& b);
    /// Takes the element modulo the divisor, with the divisor's sign; a zero divisor leaves it unchanged.
    mpnumber& mod(const mpnumber& divisor);
    mpnumber& addscaling(double slope, int exponent, double bias);

    float tosingle() const { return static_cast<float>(todouble()); }

    // As the casts of doublenumber, from `todouble()`.
    std::int8_t fixed2int8(int unused, int scale) const;
    std::int16_t fixed2int16(int unused, int scale) const;
    std::int32_t fixed2int32(int unused, int scale) const;
    std::int64_t fixed2int64(int unused, int scale) const;
    std::uint8_t fixed2uint8(int unused, int scale) const;
    std::uint16_t fixed2uint16(int unused, int scale) const;
    std::uint32_t fixed2uint32(int unused, int scale) const;
    std::uint64_t fixed2uint64(int unused, int scale) const;

    // Texts and words of the stored integer, which is the value times 2^fractionlength truncated toward zero; NaN and
    // infinity give 0. Writers fill exactly `length` characters, right-aligned and without a terminating zero; a longer
    // text keeps its low-order end, and a length below 1 writes nothing. Digits are GMP's, lower case from base 11 on;
    // bases without GMP digits (it has 2 to 62) write zeros. Readers accept the texts of mpz_set_str, and read any
    // other as 0. Word lengths below 1 have no bits.

    /// Writes the words of the integer, lowest first; a negative value is taken modulo twoToWordlength. The binary
    /// exponent replaces the fraction length; slope and bias are ignored.
    void fixed2IntArray(std::uint32_t* out, int words, int wordlength, double slope, int exponent, double bias,
                        mpfr_srcptr twoToWordlength) const;
    /// Writes a signed decimal, filled with blanks.
    void fixed2sdec(char* out, unsigned length, unsigned wordlength, int fractionlength) const;
    /// Writes the two's complement, filled with zeros.
    void fixed2base(char* out, int length, int base, int wordlength, int fractionlength) const;
    /// Writes the bit pattern of the value in a float format, filled with zeros: a sign bit, `exponentlength` bits that
    /// are biased by exponentmax, `fractionlength` bits. Bits below the fraction are cut off, and a NaN is written as
    /// the negative quiet one. A value beyond the format overflows into the bits above its exponent.
    void float2base(char* out, int length, int base, int wordlength, int exponentlength, int fractionlength,
                    int exponentmax, int exponentmin) const;
    /// Sets the integer of a text times 2^-fractionlength. Warns with "fixedpoint:base2fixed:too_many_bits" and keeps
    /// the low bits if the text needs more than wordlength.
    void base2fixed(const char* text, int base, int wordlength, int fractionlength, bool isSigned);
    /// Sets the value of a bit pattern in a float format. The pattern 0 leaves the element unchanged, and a pattern of
    /// only the sign bit negates it. Raises "fixedpoint:fi:base2float:valuetoolarge" before any change.
    void base2float(const char* text, int base, int wordlength, int exponentlength, int fractionlength, int exponentmax,
                    int exponentmin);

    /// Initialises `out` to the stored integer and leaves this element scaled and wrapped likewise.
    void convertToUnsignedInteger(mpz_ptr out, double slope, int exponent, double bias, mpfr_srcptr twoToWordlength);
    /// Initialises `mask`, which the caller clears, to 2^wordlength - 1.
    static void bitcmpXorMask(mpz_ptr mask, int wordlength);
    /// Initialises `power`, which the caller clears, to 2^n at MPFR's default precision.
    static void twoToTheN(mpfr_ptr power, int n);
    /// Returns a constant of value 0.5, stored at 64 bits.
    static const mpnumber& getOneHalf();

    // The virtual operations of those names, returning nothing.
    void numberpow2(int n) { pow2(n); }
    void numberceil() { ceil(); }
    void numberceil(int n) { ceil(n); }
    void numberconvergent() { convergent(); }
    void numberconvergent(int n) { convergent(n); }
    void numberfix() { fix(); }
    void numberfix(int n) { fix(n); }
    void numberfloor() { floor(); }
    void numberfloor(int n) { floor(n); }
    void numberround() { round(); }
    void numberround(int n) { round(n); }

 private:
    struct State;
    static State* makeState(std::uint64_t count, std::uint32_t precision);
    template <class Form>
    static State* makeState(std::uint64_t count, std::uint32_t precision, Form form);
    static State* makeCopy(State& source, std::uint64_t start, std::uint64_t count);

    inline State& state() const;
    /// The precision of copies of an element, which follows from the stored precision.
    mpfr_prec_t copyPrecision() const;
    void assign(mpfr_srcptr value);
    void put(mpfr_srcptr value);
    template <int (*operation)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t)>
    mpnumber& combine(const mpnumber& other);
    template <int (*operation)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t)>
    mpnumber& combine(double other);
};

inline mpnumber* numberrepbody::asMp() {
    return isDouble() ? nullptr : static_cast<mpnumber*>(this);
}
inline const mpnumber* numberrepbody::asMp() const {
    return isDouble() ? nullptr : static_cast<const mpnumber*>(this);
}
