// The body of numbers of up to 52 bits: an array of plain doubles.
//
// Element access is inline and allocates nothing; a single element lives inside the shared block. The rounding rules
// are those of numbers/rounding.h. Array kernels take the whole array from `elements()`.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <span>

#include "numbers/TolvaneKit.h"
#include "numbers/numberrepbody.h"
#include "numbers/rounding.h"

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
    doublenumber& pow2(int n) override {
        setelement(tolvane::detail::rounding::scaleByPowerOfTwo(getelement(), n));
        return *this;
    }
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

    doublenumber& ceil(int n) override { return applyAtBit<tolvane::detail::rounding::CeilRule>(n); }
    doublenumber& ceil() override { return apply<tolvane::detail::rounding::CeilRule>(); }
    doublenumber& convergent(int n) override { return applyAtBit<tolvane::detail::rounding::ConvergentRule>(n); }
    doublenumber& convergent() override { return apply<tolvane::detail::rounding::ConvergentRule>(); }
    doublenumber& fix(int n) override { return applyAtBit<tolvane::detail::rounding::FixRule>(n); }
    doublenumber& fix() override { return apply<tolvane::detail::rounding::FixRule>(); }
    doublenumber& floor(int n) override { return applyAtBit<tolvane::detail::rounding::FloorRule>(n); }
    doublenumber& floor() override { return apply<tolvane::detail::rounding::FloorRule>(); }
    doublenumber& nearest(int n) override { return applyAtBit<tolvane::detail::rounding::NearestRule>(n); }
    doublenumber& nearest() override { return apply<tolvane::detail::rounding::NearestRule>(); }
    doublenumber& round(int n) override { return applyAtBit<tolvane::detail::rounding::RoundRule>(n); }
    doublenumber& round() override { return apply<tolvane::detail::rounding::RoundRule>(); }

    /// Prints every element with its index.
    void disp() const override;

    // Beyond the common operations.

    /// The whole array, valid until the next resize of any body that shares it.
    std::span<double> elements() { return {state().elements, state().elementCount}; }
    std::span<const double> elements() const { return {state().elements, state().elementCount}; }

    /// The precision in bits, which is 52 whatever precision was requested.
    std::uint32_t getprecision() const { return kScalarPrecision; }

    double getelement() const { return state().elements[mCursor]; }
    double getelement(std::uint64_t index) const { return state().elements[index]; }
    double& getmodifiableelement() { return state().elements[mCursor]; }
    double& getmodifiableelement(std::uint64_t index) { return state().elements[index]; }
    void setelement(double value) { state().elements[mCursor] = value; }
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
    doublenumber& mod(const doublenumber& divisor) {
        setelement(TolvaneKit::mod(getelement(), divisor.getelement()));
        return *this;
    }

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

    struct State : SharedState {
        /// Make `count` zeros, or values to be set; raise "fixedpoint:fi:outofmemory".
        template <class Tag>
        State(std::uint64_t count, std::uint32_t precision, Tag tag);
        ~State();
        void resize(std::uint64_t count);

        /// Null if empty, `single` for one element, otherwise in `block` at the start of a cache line, so that vectors
        /// of any width lie in one line.
        double* elements = nullptr;
        double single = 0.0;
        /// Null, or memory for bsFree.
        void* block = nullptr;
    };
    template <class Tag>
    static State* makeState(std::uint64_t count, std::uint32_t precision, Tag tag);

    State& state() const { return static_cast<State&>(*mState); }
    std::uint64_t bits() const { return std::bit_cast<std::uint64_t>(getelement()); }

    template <class Rule>
    doublenumber& apply() {
        double& x = getmodifiableelement();
        x = Rule::apply(x);
        return *this;
    }
    template <class Rule>
    doublenumber& applyAtBit(int n) {
        double& x = getmodifiableelement();
        x = tolvane::detail::rounding::applyAtBit<Rule>(x, n);
        return *this;
    }
};

inline doublenumber* numberrepbody::asDouble() {
    return isDouble() ? static_cast<doublenumber*>(this) : nullptr;
}
inline const doublenumber* numberrepbody::asDouble() const {
    return isDouble() ? static_cast<const doublenumber*>(this) : nullptr;
}
