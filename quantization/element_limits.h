// What a quantizer's format is to a loop over plain doubles: its constants as doubles, and their reciprocals.
//
// A quantizer rebuilds this with every derivation. Where `valid` is false (a constant that no double holds, or a scale
// whose power of two is not a normal double) elements go through the general operations of `number` instead; where it
// is true, quantization/element_rules.inl.h gives the same values, counts and extremes in every bit.
#pragma once

#include <cstdint>

struct ElementLimits {
    bool valid = false;

    // All modes: a value outside [lowerbound, realmax] overflows.
    double realmax = 0.0;
    double lowerbound = 0.0;

    // Fixed and scaled-double modes.
    double scale = 1.0;         // 2^fractionlength
    double inverseScale = 1.0;  // 2^-fractionlength, the value of the lowest bit
    double wraparound = 1.0;    // 2^(wordlength - fractionlength), the modulus of wrapping
    double inverseWraparound = 1.0;
    double positiveEps = 0.0;
    double negativeEps = 0.0;

    // Float modes: the least normal value, and 2^(mantissa bits) with its reciprocal.
    double leastNormal = 0.0;
    double mantissaScale = 1.0;
    double inverseMantissaScale = 1.0;
};

/// Whether 2^n is a normal double, so that multiplying by it is what ldexp does.
constexpr bool isNormalExponent(int n) {
    return n >= -1022 && n <= 1023;
}

/// The exponent field of a double's bits, and the bits that p's bits are subtracted from to give its reciprocal's, for
/// a power of two p: the exponent fields of p and 1 / p add up to 2046.
constexpr std::uint64_t kExponentBits = 0x7FF0000000000000;
constexpr std::uint64_t kReciprocalBits = 0x7FE0000000000000;
