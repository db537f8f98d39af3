// Short ways to make fixed-point arrays in tests, to read them back exactly, and the rational oracle of a store.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "fi/fi.h"
#include "tests/support/quantizers.h"
#include "tests/support/rational.h"
#include "tests/support/types.h"

using Operation = embedded::OperationTypeEnum;
using Sizes = std::vector<std::uint64_t>;

inline fimath rulesOf(Rounding rounding, bool wraps) {
    return fimath(static_cast<embedded::RoundModeEnum>(rounding),
                  wraps ? embedded::OverflowModeEnum::Wrap : embedded::OverflowModeEnum::Saturate);
}
inline fimath rulesOf() {
    return rulesOf(Rounding::nearest, false);
}

inline NumericType fixedType(bool isSigned, int wordBits, int fractionBits) {
    return NumericType(isSigned, wordBits, fractionBits);
}
inline NumericType slopeBiasType(bool isSigned, int wordBits, double factor, int exponent, double bias) {
    return NumericType(TypeMode::FixedSlopeBias, isSigned, wordBits, factor, exponent, bias);
}
inline NumericType plainType(TypeMode mode) {
    return NumericType(mode, true, 16, 1.0, 0, 0.0);
}

inline fi scalar(double value, const NumericType& type, const fimath& rules = rulesOf(), bool isLocal = true) {
    return fi(value, type, rules, 0, "", isLocal, Operation::Assignment);
}
inline fi column(const std::vector<double>& re, const NumericType& type, const fimath& rules = rulesOf(),
                 bool isLocal = true) {
    const Sizes sizes{re.size(), 1};
    return fi(re.data(), sizes.data(), 2, type, rules, "", isLocal, Operation::Assignment);
}
inline fi column(const std::vector<double>& re, const std::vector<double>& im, const NumericType& type,
                 const fimath& rules = rulesOf(), bool isLocal = true) {
    const Sizes sizes{re.size(), 1};
    return fi(re.data(), im.data(), sizes.data(), 2, type, rules, "", isLocal, Operation::Assignment);
}

inline fi zeros(const Sizes& sizes, const NumericType& type, const fimath& rules = rulesOf(), bool isComplex = false) {
    return fi(sizes.data(), sizes.size(), type, rules, isComplex, "", true, Operation::Assignment, 0);
}
/// An array of these sizes with one value everywhere.
inline fi filled(const Sizes& sizes, double value, const NumericType& type, const fimath& rules = rulesOf()) {
    return fi(value, sizes.data(), sizes.size(), type, rules, "", true, Operation::Assignment);
}
/// An array of these sizes from its elements, column by column.
inline fi arrayOf(const Sizes& sizes, const std::vector<double>& re, const NumericType& type,
                  const fimath& rules = rulesOf()) {
    return fi(re.data(), sizes.data(), sizes.size(), type, rules, "", true, Operation::Assignment);
}

inline std::vector<double> realParts(const fi& array) {
    std::vector<double> result;
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        result.push_back(array.realdouble(i));
    }
    return result;
}
inline std::vector<double> imaginaryParts(const fi& array) {
    std::vector<double> result;
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        result.push_back(array.imagdouble(i));
    }
    return result;
}
inline Sizes sizesOf(const fi& array) {
    return {array.dims(), array.dims() + array.ndims()};
}
inline Counts countsOf(const fi& array) {
    return {array.getNoverflows(), array.getNunderflows(), array.getNoperations()};
}

/// The complete visible state of an array, except its logs.
struct Snapshot {
    std::vector<double> re;
    std::vector<double> im;
    bool isReal;
    Sizes sizes;
    TypeFields type;
    bool isLocal;
    bool operator==(const Snapshot&) const = default;
};
inline Snapshot snapshotOf(const fi& array) {
    return {realParts(array),
            imaginaryParts(array),
            array.isreal(),
            sizesOf(array),
            fieldsOf(array.getNumericType()),
            array.getFimathIsLocal()};
}
inline std::ostream& operator<<(std::ostream& out, const Snapshot& seen) {
    return out << ::testing::PrintToString(seen.re) << " + i " << ::testing::PrintToString(seen.im) << " of size "
               << ::testing::PrintToString(seen.sizes) << ", type " << seen.type;
}

/// The result of quantizing a value to the type: an exact rational, computed without the library's arithmetic. The
/// input is on the stored side.
inline Rational quantized(const Rational& value, const NumericType& type, Rounding rounding, bool wraps) {
    switch (type.getDataType()) {
        case TypeData::Fixed:
            break;
        case TypeData::Single:
            return Rational(static_cast<double>(static_cast<float>(nearestDouble(value))));
        case TypeData::Boolean:
            return Rational(value != 0 ? 1 : 0);
        default:
            return value;
    }
    const int wordBits = type.getWordLength();
    Integer modulus;
    mpz_setbit(modulus.get_mpz_t(), static_cast<mp_bitcnt_t>(wordBits));
    const Integer low = type.isSigned() ? Integer(-modulus / 2) : Integer(0);
    const Integer high = low + modulus - 1;
    Integer word = rounded(scaled(value, -type.getFixedExponent()), rounding);
    if (wraps) {
        Integer offset;
        mpz_fdiv_r(offset.get_mpz_t(), Integer(word - low).get_mpz_t(), modulus.get_mpz_t());
        word = low + offset;
    } else if (word < low || word > high) {
        word = word < low ? low : high;
    }
    return scaled(Rational(word), type.getFixedExponent());
}

/// The stored side of a real-world double, in the two double operations that the contract specifies.
inline double storedSide(double realWorld, const NumericType& type) {
    return type.isSlopeBiasScaled() ? (realWorld - type.getBias()) * (1.0 / type.getSlopeAdjustmentFactor())
                                    : realWorld;
}

/// A fixed-point type of 1 to `maxBits` bits, one in four with slope and bias.
inline NumericType randomFixedType(Random& random, int maxBits, bool allowsSlopeBias) {
    const bool isSigned = random.oneIn(2);
    const int wordBits = random.oneIn(3) ? random.between(1, std::min(16, maxBits)) : random.between(1, maxBits);
    const int exponent = random.between(-wordBits - 4, 4);
    if (allowsSlopeBias && random.oneIn(4)) {
        return slopeBiasType(isSigned, wordBits, 1.0 + random.between(0, 15) / 16.0, exponent,
                             random.between(-8, 8) / 4.0);
    }
    return fixedType(isSigned, wordBits, -exponent);
}

/// A double around the range of the type, with so few bits that no sum inside a rounding rule rounds.
inline double randomInput(Random& random, const NumericType& type) {
    const int top = type.isScaledType() ? type.getWordLength() + type.getFixedExponent() : 8;
    return random.oneIn(20) ? 0.0 : random.real(top - std::min(type.getWordLength(), 36) - 2, top + 1, 36);
}

/// Sets the global rules for its lifetime, and removes them at its end.
class GlobalRules {
 public:
    explicit GlobalRules(const fimath& rules) { fimath::setGlobalFimath(rules); }
    ~GlobalRules() { fimath::resetGlobalFimath(); }
    GlobalRules(const GlobalRules&) = delete;
    GlobalRules& operator=(const GlobalRules&) = delete;
};

/// Switches logging on for its lifetime.
class LoggingOn {
 public:
    LoggingOn() { fi::setLogging(true); }
    ~LoggingOn() { fi::setLogging(false); }
    LoggingOn(const LoggingOn&) = delete;
    LoggingOn& operator=(const LoggingOn&) = delete;
};

/// Allows complex arrays with slope and bias for its lifetime.
class ComplexSlopeBias {
 public:
    ComplexSlopeBias() { embedded::setFeatureFiRealOnlySlopeBias(false); }
    ~ComplexSlopeBias() { embedded::setFeatureFiRealOnlySlopeBias(true); }
    ComplexSlopeBias(const ComplexSlopeBias&) = delete;
    ComplexSlopeBias& operator=(const ComplexSlopeBias&) = delete;
};
