// Operations on two bodies of any kinds; all binary arithmetic and comparison of `number` ends here.
//
// Operands are promoted to multi-precision: a mixed operation is computed on a multi-precision copy of the double
// operand, and a double target takes the result rounded back. A target never changes its kind or precision. The case of
// two doubles comes first, without a virtual call.
#pragma once

#include <cstdint>

#include "numbers/doublenumber.h"
#include "numbers/inlining.h"
#include "numbers/numberrepbody.h"

class TOLVANE_API numberops {
 public:
    TOLVANE_INLINE_INSIDE static void plusequals(numberrepbody& a, const numberrepbody& b);
    TOLVANE_INLINE_INSIDE static void minusequals(numberrepbody& a, const numberrepbody& b);
    TOLVANE_INLINE_INSIDE static void timesequals(numberrepbody& a, const numberrepbody& b);
    TOLVANE_INLINE_INSIDE static void divideequals(numberrepbody& a, const numberrepbody& b);
    /// Makes a the remainder of a by b, with the sign of b.
    TOLVANE_INLINE_INSIDE static void mod(numberrepbody& a, const numberrepbody& b);

    TOLVANE_INLINE_INSIDE static bool lessthan(const numberrepbody& a, const numberrepbody& b);
    TOLVANE_INLINE_INSIDE static bool lessthanorequal(const numberrepbody& a, const numberrepbody& b);
    static bool greaterthan(const numberrepbody& a, const numberrepbody& b) { return lessthan(b, a); }
    static bool greaterthanorequal(const numberrepbody& a, const numberrepbody& b) { return lessthanorequal(b, a); }
    TOLVANE_INLINE_INSIDE static bool equal(const numberrepbody& a, const numberrepbody& b);
    static bool notequal(const numberrepbody& a, const numberrepbody& b) { return !equal(a, b); }

    /// Sets the target to sqrt(a^2 + b^2); a double target reduces both to doubles first.
    static void hypot(numberrepbody& target, const numberrepbody& a, const numberrepbody& b);
    /// Copies a value; between multi-precision bodies with truncation toward zero at the target's precision.
    TOLVANE_INLINE_INSIDE static void setvalue(numberrepbody& target, const numberrepbody& source);

    // The value as a double times 2^scale, truncated toward zero, so only 53 bits of a wide body count.
    static std::int8_t fixed2int8(const numberrepbody& body, int unused, int scale);
    static std::int16_t fixed2int16(const numberrepbody& body, int unused, int scale);
    static std::int32_t fixed2int32(const numberrepbody& body, int unused, int scale);
    static std::int64_t fixed2int64(const numberrepbody& body, int unused, int scale);
    static std::uint8_t fixed2uint8(const numberrepbody& body, int unused, int scale);
    static std::uint16_t fixed2uint16(const numberrepbody& body, int unused, int scale);
    static std::uint32_t fixed2uint32(const numberrepbody& body, int unused, int scale);
    static std::uint64_t fixed2uint64(const numberrepbody& body, int unused, int scale);

    // The conversions of mpnumber, on a double body through a multi-precision copy of `wordlength` bits.
    static void fixed2IntArray(const numberrepbody& body, std::uint32_t* out, int words, int wordlength, double slope,
                               int exponent, double bias, mpfr_srcptr twoToWordlength);
    static void fixed2sdec(const numberrepbody& body, char* out, unsigned length, unsigned wordlength,
                           int fractionlength);
    static void fixed2base(const numberrepbody& body, char* out, int length, int base, int wordlength,
                           int fractionlength);
    static void float2base(const numberrepbody& body, char* out, int length, int base, int wordlength,
                           int exponentlength, int fractionlength, int exponentmax, int exponentmin);
    static void base2fixed(numberrepbody& body, const char* text, int base, int wordlength, int fractionlength,
                           bool isSigned);
    static void base2float(numberrepbody& body, const char* text, int base, int wordlength, int exponentlength,
                           int fractionlength, int exponentmax, int exponentmin);

 private:
    static bool bothDouble(const numberrepbody& a, const numberrepbody& b) { return a.isDouble() && b.isDouble(); }
    static double& element(numberrepbody& body) { return static_cast<doublenumber&>(body).getmodifiableelement(); }
    static double element(const numberrepbody& body) { return static_cast<const doublenumber&>(body).getelement(); }

    static void mixedPlus(numberrepbody& a, const numberrepbody& b);
    static void mixedMinus(numberrepbody& a, const numberrepbody& b);
    static void mixedTimes(numberrepbody& a, const numberrepbody& b);
    static void mixedDivide(numberrepbody& a, const numberrepbody& b);
    static void mixedMod(numberrepbody& a, const numberrepbody& b);
    static bool mixedLess(const numberrepbody& a, const numberrepbody& b);
    static bool mixedLessOrEqual(const numberrepbody& a, const numberrepbody& b);
    static bool mixedEqual(const numberrepbody& a, const numberrepbody& b);
    static void mixedSetvalue(numberrepbody& target, const numberrepbody& source);
};

#ifdef TOLVANE_BUILDING
#include "numbers/numberops.inl.h"
#endif
