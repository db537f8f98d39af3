// Variables of a fixed-point format for loops that work sample by sample, and the expressions one writes with them.
//
//     fixed_scalar acc("s40,30", "acc"), y("s16,15", "y"), b("s18,17"), x("s16,15");
//     b = 0.3;                 // quantized to s18,17
//     acc = acc + b * x;       // exact on the right, quantized once into acc, noted under "acc"
//     y = acc;                 // quantized into y
//
// An expression is a value: it holds what its variables held when it was written, so `auto t = b * x` may outlive b.
// It is computed exactly when it is assigned: in 64 bits, if those overflow in 128, and if those do in as many as it
// takes. Assigning never changes the format of a variable; a variable made from another one has its format.
//
// What logs hear of a variable, they hear when it ends, when a log is made or ends, and when the thread that assigned
// to it reads a log. A variable belongs to one thread at a time.
#pragma once

#include <bit>
#include <cmath>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "host/export.h"
#include "program/code_location.h"
#include "program/exact_value.h"
#include "program/fixed_array.h"
#include "program/format.h"
#include "program/log_level.h"
#include "program/scalar_place.h"

/// Expressions are taken apart in the loop that assigns them, or they would be copied through memory.
#define TOLVANE_INLINE __attribute__((always_inline)) inline

namespace tolvane {

class fixed_scalar;

/// What all expressions are; in this namespace, so that its operators are found for them.
struct expression_base {};

namespace detail {

class ScalarRegistry;

/// A value that is too long for 128 bits, shared by copies. Plain pointers would do for those that have none, so a copy
/// costs a comparison.
class LongReference {
 public:
    LongReference() = default;
    TOLVANE_API explicit LongReference(exact_value value);
    TOLVANE_INLINE LongReference(const LongReference& other) : mHeld(other.mHeld) {
        if (mHeld) [[unlikely]] {
            retain(mHeld);
        }
    }
    TOLVANE_INLINE LongReference(LongReference&& other) noexcept : mHeld(std::exchange(other.mHeld, nullptr)) {}
    TOLVANE_INLINE LongReference& operator=(LongReference other) noexcept {
        std::swap(mHeld, other.mHeld);
        return *this;
    }
    TOLVANE_INLINE ~LongReference() {
        if (mHeld) [[unlikely]] {
            release(mHeld);
        }
    }
    explicit operator bool() const { return mHeld != nullptr; }
    TOLVANE_API const exact_value& operator*() const;

 private:
    struct Held;
    // These take the pointer itself, so that references can stay in registers.
    TOLVANE_API static void retain(Held* held);
    TOLVANE_API static void release(Held* held);

    Held* mHeld = nullptr;
};

/// An integer of 128 bits from its halves. They are kept apart, since a load of both right after a store of one waits.
inline Int128 wordOf(std::int64_t low, std::int64_t high) {
    return static_cast<Int128>(static_cast<Unsigned128>(static_cast<std::uint64_t>(high)) << 64U |
                               static_cast<std::uint64_t>(low));
}

/// An integer times 2^exponent, in a length that the expression chose.
template <class Int>
struct Term {
    Int value;
    int exponent;
};

/// x * 2^places; sets the flag if that is too long.
template <class Int>
TOLVANE_INLINE Int raised(Int x, int places, bool& isTooLong) {
    constexpr int kMost = static_cast<int>(sizeof(Int)) * 8 - 2;
    if (places > kMost) {
        isTooLong |= x != 0;
        return 0;
    }
    const auto moved = static_cast<Int>(static_cast<typename UnsignedOf<Int>::Type>(x) << places);
    isTooLong |= moved >> places != x;
    return moved;
}

/// Brings two terms to the lesser exponent.
template <class Int>
TOLVANE_INLINE void alignTerms(Term<Int>& a, Term<Int>& b, bool& isTooLong) {
    const int distance = a.exponent - b.exponent;
    if (distance > 0) {
        a = {raised(a.value, distance, isTooLong), b.exponent};
    } else if (distance < 0) {
        b = {raised(b.value, -distance, isTooLong), a.exponent};
    }
}

/// A place for values of one unit; it follows them to finer ones.
template <class Int>
struct UnitPlace {
    NarrowPlace<Int> place;
    int unit = 0;

    /// Brings the value to the unit of the place, or makes the place anew; false if this length serves neither.
    bool meet(const fixed_format& format, Int& value, int exponent, std::uint64_t epoch);
    bool serves(Int value) const { return value <= place.limit && value >= -place.limit; }
};
extern template struct TOLVANE_API UnitPlace<std::int64_t>;
extern template struct TOLVANE_API UnitPlace<Int128>;

// Expressions. Each has `term<Int>(isTooLong)`, its exact value if the flag stays false; `exact()`; and `bits()`, the
// longest word in it.

/// A variable's value, or a constant.
class Leaf : public expression_base {
 public:
    TOLVANE_INLINE Leaf(Int128 word, int exponent, int bits)
        : mLow(static_cast<std::int64_t>(word)),
          mHigh(static_cast<std::int64_t>(word >> 64)),
          mExponent(exponent),
          mBits(bits) {}
    TOLVANE_INLINE Leaf(std::int64_t low, std::int64_t high, int exponent, int bits, const LongReference& value)
        : mLow(low), mHigh(high), mExponent(exponent), mBits(bits), mLong(value) {}
    TOLVANE_INLINE Leaf(const Leaf&) = default;
    TOLVANE_INLINE Leaf(Leaf&&) = default;
    TOLVANE_INLINE ~Leaf() = default;
    Leaf& operator=(const Leaf&) = delete;

    Leaf(LongReference value, int exponent, int bits) : mExponent(exponent), mBits(bits), mLong(std::move(value)) {}
    Leaf(LongReference value, int bits) : mExponent((*value).exponent()), mBits(bits), mLong(std::move(value)) {}

    template <class Int>
    TOLVANE_INLINE Term<Int> term(bool& isTooLong) const {
        isTooLong |= static_cast<bool>(mLong);
        if constexpr (sizeof(Int) == sizeof(Int128)) {
            return {wordOf(mLow, mHigh), mExponent};
        } else {
            isTooLong |= mHigh != mLow >> 63;
            return {mLow, mExponent};
        }
    }
    exact_value exact() const { return mLong ? *mLong : scaledValue(wordOf(mLow, mHigh), mExponent); }
    int bits() const { return mBits; }

    TOLVANE_API static exact_value scaledValue(Int128 word, int exponent);

 private:
    std::int64_t mLow = 0;
    std::int64_t mHigh = 0;
    int mExponent = 0;
    int mBits = 0;
    LongReference mLong;
};

struct Plus {
    template <class Int>
    TOLVANE_INLINE static Term<Int> apply(Term<Int> a, Term<Int> b, bool& isTooLong) {
        alignTerms(a, b, isTooLong);
        isTooLong |= __builtin_add_overflow(a.value, b.value, &a.value);
        return a;
    }
    static exact_value apply(const exact_value& a, const exact_value& b) { return a + b; }
};
struct Minus {
    template <class Int>
    TOLVANE_INLINE static Term<Int> apply(Term<Int> a, Term<Int> b, bool& isTooLong) {
        alignTerms(a, b, isTooLong);
        isTooLong |= __builtin_sub_overflow(a.value, b.value, &a.value);
        return a;
    }
    static exact_value apply(const exact_value& a, const exact_value& b) { return a - b; }
};
struct Times {
    template <class Int>
    TOLVANE_INLINE static Term<Int> apply(Term<Int> a, Term<Int> b, bool& isTooLong) {
        isTooLong |= __builtin_mul_overflow(a.value, b.value, &a.value);
        a.exponent += b.exponent;
        return a;
    }
    static exact_value apply(const exact_value& a, const exact_value& b) { return a * b; }
};

template <class Operation, class Left, class Right>
class Pair : public expression_base {
 public:
    TOLVANE_INLINE Pair(Left left, Right right) : mLeft(std::move(left)), mRight(std::move(right)) {}

    TOLVANE_INLINE Pair(const Pair&) = default;
    TOLVANE_INLINE Pair(Pair&&) = default;
    TOLVANE_INLINE ~Pair() = default;
    Pair& operator=(const Pair&) = delete;

    template <class Int>
    TOLVANE_INLINE Term<Int> term(bool& isTooLong) const {
        return Operation::template apply<Int>(mLeft.template term<Int>(isTooLong), mRight.template term<Int>(isTooLong),
                                              isTooLong);
    }
    exact_value exact() const { return Operation::apply(mLeft.exact(), mRight.exact()); }
    int bits() const { return mLeft.bits() > mRight.bits() ? mLeft.bits() : mRight.bits(); }

 private:
    Left mLeft;
    Right mRight;
};

template <class Inner>
class Raised : public expression_base {
 public:
    TOLVANE_INLINE Raised(Inner inner, int places) : mInner(std::move(inner)), mPlaces(places) {}

    TOLVANE_INLINE Raised(const Raised&) = default;
    TOLVANE_INLINE Raised(Raised&&) = default;
    TOLVANE_INLINE ~Raised() = default;
    Raised& operator=(const Raised&) = delete;

    template <class Int>
    TOLVANE_INLINE Term<Int> term(bool& isTooLong) const {
        Term<Int> term = mInner.template term<Int>(isTooLong);
        term.exponent += mPlaces;
        return term;
    }
    exact_value exact() const { return mInner.exact() * Leaf::scaledValue(1, mPlaces); }
    int bits() const { return mInner.bits(); }

 private:
    Inner mInner;
    int mPlaces;
};

template <class T>
concept ScalarExpression = std::derived_from<T, expression_base>;

}  // namespace detail

/// A variable or an expression of variables.
template <class T>
concept scalar_expression = std::same_as<T, fixed_scalar> || detail::ScalarExpression<T>;
/// What may be assigned to a variable, or stand in an expression beside one.
template <class T>
concept scalar_operand = scalar_expression<T> || plain_number<T> || std::same_as<T, exact_value>;

/// One number, held as a word of its format.
class TOLVANE_API fixed_scalar {
 public:
    /// Zero.
    explicit fixed_scalar(fixed_format format);
    fixed_scalar(const fixed_format& format, std::string name) : fixed_scalar(format.named(std::move(name))) {}
    /// The same value in the same format; nothing is noted.
    fixed_scalar(const fixed_scalar& other);
    ~fixed_scalar();

    /// Quantizes into this variable's format. Doubles may have any mantissa; those that aren't finite raise
    /// "tolvane:value:finite".
    template <scalar_operand Value>
    TOLVANE_INLINE fixed_scalar& operator=(const Value& value) {
        set(value, {});
        return *this;
    }
    TOLVANE_INLINE fixed_scalar& operator=(const fixed_scalar& value) {
        set(value, {});
        return *this;
    }
    /// The same as `=`; logs that keep errors or histograms, or call on overflow, then know where the program has it.
    template <scalar_operand Value>
    TOLVANE_INLINE void set(const Value& value, const code_location& where = code_location::current());
    /// The quotient, rounded once. A divisor of zero raises "tolvane:array:division".
    template <scalar_operand Dividend, scalar_operand Divisor>
    void set_quotient(const Dividend& dividend, const Divisor& divisor,
                      const code_location& where = code_location::current());
    /// Sets the word itself; one that the type hasn't raises "tolvane:array:word". Nothing is noted.
    void set_word(std::int64_t word);

    template <scalar_operand Value>
    fixed_scalar& operator+=(const Value& value);
    template <scalar_operand Value>
    fixed_scalar& operator-=(const Value& value);
    template <scalar_operand Value>
    fixed_scalar& operator*=(const Value& value);

    const fixed_format& format() const { return mFormat; }
    exact_value value() const { return leaf().exact(); }
    /// The nearest double, ties to even.
    double to_double() const { return value().to_double(); }
    /// The word, in two's complement if signed; types of more than 64 bits raise "tolvane:array:word".
    std::int64_t word() const;

    /// An array of one element and no dimension, so that variables can be operands of arrays.
    operator fixed_array() const;  // NOLINT(google-explicit-constructor)

    /// What an expression holds of this variable.
    TOLVANE_INLINE detail::Leaf leaf() const {
        return {mLow, mHigh, -mFormat.type().fraction, mFormat.type().bits, mLong};
    }

 private:
    friend class detail::ScalarRegistry;

    /// Quantizes value * 2^exponent; false if 64 bits are too short for its place.
    TOLVANE_INLINE bool setShort(std::int64_t value, int exponent) {
        if (detail::currentLogEpoch.load(std::memory_order_relaxed) != mEpoch) [[unlikely]] {
            meetLogs();
        }
        if (exponent != mShort.unit || mIsSlow || !mShort.serves(value)) [[unlikely]] {
            return setElsewhere(value, exponent);
        }
        setShortWord(value);
        return true;
    }
    TOLVANE_INLINE void setShortWord(std::int64_t value) {
        mLow = mIsLogged ? mShort.place.apply<true>(value) : mShort.place.apply<false>(value);
        mHigh = mLow >> 63;
        if (mLong) [[unlikely]] {
            mLong = {};
        }
    }
    /// The same for a value that the place doesn't serve as it is.
    [[gnu::noinline]] bool setElsewhere(std::int64_t value, int exponent);
    template <class Node>
    [[gnu::noinline]] void setLong(Node node, const code_location& where);
    bool setMiddle(detail::Int128 value, int exponent);
    void setAny(const exact_value& value, int exponent, const code_location& where);
    void setWord(detail::Int128 word);
    void hold(const exact_value& value);
    void setQuotient(const exact_value& dividend, const exact_value& divisor, const code_location& where);
    void meetLogs();
    void handOver();

    fixed_format mFormat;
    std::int64_t mLow = 0;
    std::int64_t mHigh = 0;
    detail::LongReference mLong;  // in place of the word, if that is longer than 127 bits
    detail::UnitPlace<std::int64_t> mShort;
    std::unique_ptr<detail::UnitPlace<detail::Int128>> mMiddle;  // made when it is needed
    std::uint64_t mEpoch = ~std::uint64_t{0};
    bool mIsLogged = false;
    bool mIsMiddle = false;          // values were too long for 64 bits before, so that 128 are tried first
    bool mIsSlow = false;            // logs want more than ranges, so that every value goes the long way
    std::size_t mPlace = kUnlisted;  // among the variables that note
    static constexpr std::size_t kUnlisted = ~std::size_t{0};
};

namespace detail {

/// A double that isn't finite raises "tolvane:value:finite".
TOLVANE_INLINE Leaf leafOf(double value) {
    constexpr int kMantissa = 52;
    constexpr int kBias = 1075;
    const auto word = std::bit_cast<std::uint64_t>(value);
    const auto exponent = static_cast<int>(word >> kMantissa & 0x7FFU);
    if (exponent == 0 || exponent == 0x7FF) {
        const exact_value exact(value);  // zero, a denormal number, or none
        return exact.is_zero() ? Leaf(0, 0, 0) : Leaf(LongReference(exact), exact.bits());
    }
    const std::uint64_t mantissa = (word & ((std::uint64_t{1} << kMantissa) - 1)) | std::uint64_t{1} << kMantissa;
    const int zeros = std::countr_zero(mantissa);
    const auto integer = static_cast<std::int64_t>(mantissa >> zeros);
    return {value < 0 ? -integer : integer, exponent - kBias + zeros, kMantissa + 1 - zeros};
}
TOLVANE_API Leaf leafOf(const exact_value& value);
template <whole_number Integer>
Leaf leafOf(Integer value) {
    if constexpr (sizeof(Integer) == sizeof(Int128)) {
        return leafOf(exact_value(value));
    } else {
        return {static_cast<Int128>(value), 0, 0};
    }
}
TOLVANE_INLINE Leaf leafOf(const fixed_scalar& value) {
    return value.leaf();
}
template <ScalarExpression Value>
TOLVANE_INLINE const Value& leafOf(const Value& value) {
    return value;
}

[[noreturn]] TOLVANE_API void refuseConstant(double value, int bits);

/// What stands for an operand beside words of so many bits.
template <class Value>
TOLVANE_INLINE auto nodeOf(const Value& value, int bits) {
    auto node = leafOf(value);
    if constexpr (std::floating_point<Value>) {
        if (node.bits() > bits) {
            refuseConstant(value, bits);
        }
    }
    return node;
}
template <class Value>
int bitsOf(const Value& value) {
    if constexpr (std::same_as<Value, fixed_scalar>) {
        return value.format().type().bits;
    } else if constexpr (ScalarExpression<Value>) {
        return value.bits();
    } else {
        return 0;
    }
}
template <class Operation, class Left, class Right>
TOLVANE_INLINE auto pairOf(const Left& left, const Right& right) {
    const int bits = bitsOf(left) > bitsOf(right) ? bitsOf(left) : bitsOf(right);
    auto a = nodeOf(left, bits);
    auto b = nodeOf(right, bits);
    return Pair<Operation, decltype(a), decltype(b)>(std::move(a), std::move(b));
}
template <class Left, class Right>
concept OperandPair = scalar_operand<Left> && scalar_operand<Right> &&
    (scalar_expression<Left> || scalar_expression<Right>);

template <class Value>
exact_value exactOf(const Value& value) {
    if constexpr (plain_number<Value> || std::same_as<Value, exact_value>) {
        return exact_value(value);
    } else {
        return leafOf(value).exact();
    }
}

}  // namespace detail

// Exact sums, differences and products. Integers are exact; a double whose mantissa is longer than every word of the
// expression is probably the rounding of something else, and raises "tolvane:array:constant".
template <class Left, class Right>
requires detail::OperandPair<Left, Right> TOLVANE_INLINE auto operator+(const Left& a, const Right& b) {
    return detail::pairOf<detail::Plus>(a, b);
}
template <class Left, class Right>
requires detail::OperandPair<Left, Right> TOLVANE_INLINE auto operator-(const Left& a, const Right& b) {
    return detail::pairOf<detail::Minus>(a, b);
}
template <class Left, class Right>
requires detail::OperandPair<Left, Right> TOLVANE_INLINE auto operator*(const Left& a, const Right& b) {
    return detail::pairOf<detail::Times>(a, b);
}
template <scalar_expression Value>
auto operator-(const Value& x) {
    return 0 - x;
}
template <scalar_expression Value>
auto abs(const Value& x) {
    return (detail::leafOf(x) < 0 ? -1 : 1) * x;
}
/// The value times 2^places.
template <scalar_expression Value>
auto scaled(const Value& x, int places) {
    auto node = detail::nodeOf(x, 0);
    return detail::Raised<decltype(node)>(std::move(node), places);
}
/// The exact value of an expression.
template <scalar_expression Value>
exact_value value_of(const Value& x) {
    return detail::exactOf(x);
}

// Comparison by exact value.
template <class Left, class Right>
requires detail::OperandPair<Left, Right> std::strong_ordering operator<=>(const Left& a, const Right& b) {
    if constexpr (!std::floating_point<Left> && !std::floating_point<Right> && !std::same_as<Left, exact_value> &&
                  !std::same_as<Right, exact_value>) {
        bool isTooLong = false;
        auto x = detail::leafOf(a).template term<std::int64_t>(isTooLong);
        auto y = detail::leafOf(b).template term<std::int64_t>(isTooLong);
        detail::alignTerms(x, y, isTooLong);
        if (!isTooLong) {
            return x.value <=> y.value;
        }
    }
    return detail::exactOf(a) <=> detail::exactOf(b);
}
template <class Left, class Right>
requires detail::OperandPair<Left, Right>
bool operator==(const Left& a, const Right& b) {
    return (a <=> b) == 0;
}

/// Writes the exact value in decimal.
template <scalar_expression Value>
std::ostream& operator<<(std::ostream& out, const Value& x) {
    return out << detail::exactOf(x);
}

// Definitions.

template <scalar_operand Value>
void fixed_scalar::set(const Value& value, const code_location& where) {
    const auto node = detail::leafOf(value);
    bool isTooLong = false;
    if (mIsMiddle) {
        const detail::Term<detail::Int128> term = node.template term<detail::Int128>(isTooLong);
        if (isTooLong || !setMiddle(term.value, term.exponent)) [[unlikely]] {
            setLong(decltype(node)(node), where);
        }
        return;
    }
    const detail::Term<std::int64_t> term = node.template term<std::int64_t>(isTooLong);
    if (isTooLong || !setShort(term.value, term.exponent)) [[unlikely]] {
        setLong(decltype(node)(node), where);  // a copy, so that the fast way's stays in registers
    }
}

template <class Node>
void fixed_scalar::setLong(Node node, const code_location& where) {
    bool isTooLong = false;
    const detail::Term<detail::Int128> longer = node.template term<detail::Int128>(isTooLong);
    if (!isTooLong && setMiddle(longer.value, longer.exponent)) {
        mIsMiddle = true;
        return;
    }
    setAny(node.exact(), longer.exponent, where);
}

template <scalar_operand Dividend, scalar_operand Divisor>
void fixed_scalar::set_quotient(const Dividend& dividend, const Divisor& divisor, const code_location& where) {
    setQuotient(detail::exactOf(dividend), detail::exactOf(divisor), where);
}

template <scalar_operand Value>
fixed_scalar& fixed_scalar::operator+=(const Value& value) {
    return *this = *this + value;
}
template <scalar_operand Value>
fixed_scalar& fixed_scalar::operator-=(const Value& value) {
    return *this = *this - value;
}
template <scalar_operand Value>
fixed_scalar& fixed_scalar::operator*=(const Value& value) {
    return *this = *this * value;
}

}  // namespace tolvane

#undef TOLVANE_INLINE
