// Seeded random: choices, types, rules, and values near the boundaries between cases of arithmetic.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "descriptors/NumericType.h"
#include "descriptors/fimath.h"
#include "host/hv.h"

using EmbeddedTypeSystem::NumericType;
using Sizes = std::vector<std::uint64_t>;

class Draw {
 public:
    explicit Draw(std::uint64_t seed) : mState(seed) {}

    std::uint64_t bits() {
        std::uint64_t x = mState += 0x9E3779B97F4A7C15U;
        x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9U;
        x = (x ^ (x >> 27U)) * 0x94D049BB133111EBU;
        return x ^ (x >> 31U);
    }
    /// 0 for a count of 0.
    std::uint64_t below(std::uint64_t count) { return count == 0 ? 0 : bits() % count; }
    int between(int low, int high) { return low + static_cast<int>(below(static_cast<std::uint64_t>(high - low) + 1)); }
    bool oneIn(std::uint64_t count) { return below(count) == 0; }
    bool percent(std::uint64_t chance) { return below(100) < chance; }
    template <class T>
    T of(std::initializer_list<T> choices) {
        return choices.begin()[below(choices.size())];
    }
    template <class T>
    const T& of(std::span<const T> choices) {
        return choices[below(choices.size())];
    }
    template <class Enum>
    Enum anyOf(int last) {
        return static_cast<Enum>(between(0, last));
    }
    embedded::RoundModeEnum rounding() { return anyOf<embedded::RoundModeEnum>(5); }
    embedded::OverflowModeEnum overflow() { return anyOf<embedded::OverflowModeEnum>(1); }
    embedded::OperationTypeEnum operation() { return anyOf<embedded::OperationTypeEnum>(4); }
    const char* tag() { return of({"", "", "x", "filter.b"}); }
    /// Any finite double with a moderate exponent, and at times an extreme or special one.
    double anyDouble();

 private:
    std::uint64_t mState;
};

/// The common properties of the arrays of a case, so that most operations between them are allowed.
struct Theme {
    enum class Family { fixed, mixed, doubles, singles, slopeBias, any };
    /// How entries are spread: inside the range, on one side of zero with zeros of both signs, and so on.
    enum class Spread { mixed, notNegative, notPositive, zeros, limits, small, ties };

    explicit Theme(Draw& draw);

    int wordLength(Draw& draw) const;
    NumericType type(Draw& draw) const;
    fimath anyRules(Draw& draw) const;
    Sizes sizes(Draw& draw) const;
    bool isComplex(Draw& draw) const { return draw.percent(complexChance); }
    bool isLocal(Draw& draw) const { return draw.oneIn(12) ? !mostlyLocal : mostlyLocal; }
    /// The rules of most arrays; a few have others.
    fimath rulesOfArray(Draw& draw) const { return draw.oneIn(40) ? anyRules(draw) : rules; }

    Family family;
    int words;     // the class of word lengths
    int exponent;  // shared by some of the types
    bool isTiny, isLarge;
    std::uint64_t rows, columns, complexChance;
    bool mostlyLocal;
    fimath rules;
};

Theme::Spread anySpread(Draw& draw);
/// A real-world value for the type.
double valueFor(Draw& draw, const NumericType& type, Theme::Spread spread);
std::vector<double> valuesFor(Draw& draw, const NumericType& type, Theme::Spread spread, std::uint64_t count);
std::uint64_t countOf(const Sizes& sizes);

/// A host array of a numeric class (or logical) with values for the type.
hvArrayOwner hostArray(Draw& draw, const NumericType& type, const Sizes& sizes, hvClassID classId, bool isComplex);
/// Random bits in every byte of a host array.
hvArrayOwner hostWords(Draw& draw, const Sizes& sizes, hvClassID classId, bool isComplex);
hvArrayOwner hostRow(std::initializer_list<double> values);
