// The body of numbers of up to 52 bits: an array of plain doubles.
//
// Element access allocates nothing; a single element lives inside the shared block. The rounding rules are those of
// numbers/rounding.h. Array kernels take the whole array from `elements()`.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <span>

#include "numbers/inlining.h"
#include "numbers/numberrepbody.h"

class TOLVANE_API doublenumber final : public numberrepbody {
 public:
    /// The precision in bits of a body made from a value.
    static constexpr std::uint32_t kScalarPrecision = 52;

    explicit doublenumber(double value);
    /// Makes `count` zeros and stores the requested precision. Raises "fixedpoint:fi:outofmemory".
    doublenumber(std::uint64_t count, std::uint32_t precision, NumberVector tag = NumberVector::tag);
    /// As above, but leaves the values uninitialised; the caller sets each before reading it.
    doublenumber(std::uint64_t count, std::uint32_t precision, UnsetVector tag);
    /// Copies only the current element (none from an empty source); stores a precision of 52.
    doublenumber(const doublenumber& source);
    /// Copies the whole array. Raises "fixedpoint:fi:outofmemory".
    doublenumber(const doublenumber* source, NumberVector tag);
    /// Copies `count` elements from `start` on, all within the source. Raises as above.
    doublenumber(const doublenumber* source, std::uint64_t start, std::uint64_t count);
    /// Shares the array; the cursor starts at 0.
    doublenumber(const doublenumber* source, CopyIndex tag);
    ~doublenumber() override;

    using numberrepbody::setvalue;

    doublenumber* clone() const override;
    void resize(std::uint64_t count) override;
    numbertype gettype() const override { return numbertype::doublenumber; }
    bool isempty() const override { return numel() == 0; }
    double todouble() const override { return getelement(); }
    void setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, double slope, int exponent,
                  double bias) override;
    void setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength,
                  int fractionlength) override;
    void setvalue(double value) override { setelement(value); }
    signed char sign() const override {
        const double x = getelement();
        return static_cast<signed char>((x > 0.0) - (x < 0.0));
    }
    doublenumber& negate() override {
        setelement(-0.0 - getelement());
        return *this;
    }
    TOLVANE_INLINE_INSIDE doublenumber& pow2(int n) override;
    doublenumber& abs() override {
        setelement(std::fabs(getelement()));
        return *this;
    }
    doublenumber& stripscaling(double slope, int exponent, double bias) override;

    doublenumber& bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias, mpz_srcptr mask,
                         mpfr_srcptr twoToWordlength) override;
    doublenumber& bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias, std::uint64_t mask,
                         std::uint64_t twoToWordlength) override;
    doublenumber& fibitand(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                           double bias, mpfr_srcptr twoToWordlength) override;
    doublenumber& fibitand(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                           double bias, std::uint64_t twoToWordlength) override;
    doublenumber& fibitor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                          double bias, mpfr_srcptr twoToWordlength) override;
    doublenumber& fibitor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                          double bias, std::uint64_t twoToWordlength) override;
    doublenumber& bitxor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                         double bias, mpfr_srcptr twoToWordlength) override;
    doublenumber& bitxor(const numberrepbody& other, bool isSigned, int wordlength, double slope, int exponent,
                         double bias, std::uint64_t twoToWordlength) override;
    unsigned char bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         mpfr_srcptr twoToWordlength) const override;
    unsigned char bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         std::uint64_t twoToWordlength) const override;
    doublenumber& bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         mpfr_srcptr twoToWordlength) override;
    doublenumber& bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         std::uint64_t twoToWordlength) override;

    void stridesort(bool ascending, std::uint64_t stride, std::uint64_t length) override;
    void stridesort2(double* index, bool ascending, std::uint64_t stride, std::uint64_t length) override;

    bool isFinite() const override { return (bits() & kExponentBits) != kExponentBits; }
    bool myisinf() const override { return (bits() & ~kSignBit) == kExponentBits; }
    bool iszero() const override { return getelement() == 0.0; }
    bool isnegative() const override { return getelement() < 0.0; }
    bool myisnan() const override { return getelement() != getelement(); }
    int unbiasedexponent() const override;

    TOLVANE_INLINE_INSIDE doublenumber& ceil(int n) override;
    TOLVANE_INLINE_INSIDE doublenumber& ceil() override;
    TOLVANE_INLINE_INSIDE doublenumber& convergent(int n) override;
    TOLVANE_INLINE_INSIDE doublenumber& convergent() override;
    TOLVANE_INLINE_INSIDE doublenumber& fix(int n) override;
    TOLVANE_INLINE_INSIDE doublenumber& fix() override;
    TOLVANE_INLINE_INSIDE doublenumber& floor(int n) override;
    TOLVANE_INLINE_INSIDE doublenumber& floor() override;
    TOLVANE_INLINE_INSIDE doublenumber& nearest(int n) override;
    TOLVANE_INLINE_INSIDE doublenumber& nearest() override;
    TOLVANE_INLINE_INSIDE doublenumber& round(int n) override;
    TOLVANE_INLINE_INSIDE doublenumber& round() override;

    /// Prints every element with its index.
    void disp() const override;

    // Beyond the common operations.

    /// The whole array, valid until the next resize of any body that shares it.
    TOLVANE_INLINE_INSIDE std::span<double> elements();
    TOLVANE_INLINE_INSIDE std::span<const double> elements() const;

    /// The precision in bits, which is 52 whatever precision was requested.
    std::uint32_t getprecision() const { return kScalarPrecision; }

    TOLVANE_INLINE_INSIDE double getelement() const;
    TOLVANE_INLINE_INSIDE double getelement(std::uint64_t index) const;
    TOLVANE_INLINE_INSIDE double& getmodifiableelement();
    TOLVANE_INLINE_INSIDE double& getmodifiableelement(std::uint64_t index);
    TOLVANE_INLINE_INSIDE void setelement(double value);
    double todouble(std::uint64_t index) const { return getelement(index); }
    float tosingle() const { return static_cast<float>(getelement()); }
    float tosingle(std::uint64_t index) const { return static_cast<float>(getelement(index)); }

    bool operator<(const doublenumber& other) const { return getelement() < other.getelement(); }
    bool operator<=(const doublenumber& other) const { return getelement() <= other.getelement(); }
    bool operator>(const doublenumber& other) const { return getelement() > other.getelement(); }
    bool operator>=(const doublenumber& other) const { return getelement() >= other.getelement(); }
    bool operator==(const doublenumber& other) const { return getelement() == other.getelement(); }
    bool operator!=(const doublenumber& other) const { return getelement() != other.getelement(); }
    bool notzero() const { return !iszero(); }

    using numberrepbody::hypot;
    using numberrepbody::mod;
    doublenumber& hypot(const doublenumber& a, const doublenumber& b) { return hypot(a.getelement(), b.getelement()); }
    doublenumber& hypot(double a, double b);
    TOLVANE_INLINE_INSIDE doublenumber& mod(const doublenumber& divisor);

    /// Returns the stored integer as a word; a negative value is taken modulo twoToWordlength.
    std::uint64_t convertToUnsignedInteger(double slope, int exponent, double bias,
                                           std::uint64_t twoToWordlength) const;
    /// Returns 2^wordlength - 1, for 0 to 64 bits.
    static std::uint64_t bitcmpXorMask(int wordlength);

    // The value times 2^scale, truncated toward zero (see numbers/truncation.h for values out of range).
    std::int8_t fixed2int8(int unused, int scale) const;
    std::int16_t fixed2int16(int unused, int scale) const;
    std::int32_t fixed2int32(int unused, int scale) const;
    std::int64_t fixed2int64(int unused, int scale) const;
    std::uint8_t fixed2uint8(int unused, int scale) const;
    std::uint16_t fixed2uint16(int unused, int scale) const;
    std::uint32_t fixed2uint32(int unused, int scale) const;
    std::uint64_t fixed2uint64(int unused, int scale) const;

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
    void numbernearest() { nearest(); }
    void numbernearest(int n) { nearest(n); }
    void numberround() { round(); }
    void numberround(int n) { round(n); }

 private:
    static constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;
    static constexpr std::uint64_t kExponentBits = std::uint64_t{0x7ff} << 52;

    struct State;
    template <class Tag>
    static State* makeState(std::uint64_t count, std::uint32_t precision, Tag tag);

    TOLVANE_INLINE_INSIDE State& state() const;
    std::uint64_t bits() const { return std::bit_cast<std::uint64_t>(getelement()); }

    template <class Rule>
    doublenumber& apply();
    template <class Rule>
    doublenumber& applyAtBit(int n);
};

inline doublenumber* numberrepbody::asDouble() {
    return isDouble() ? static_cast<doublenumber*>(this) : nullptr;
}
inline const doublenumber* numberrepbody::asDouble() const {
    return isDouble() ? static_cast<const doublenumber*>(this) : nullptr;
}

#ifdef TOLVANE_BUILDING
#include "numbers/doublenumber.inl.h"
#endif
