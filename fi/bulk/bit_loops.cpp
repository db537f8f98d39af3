// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp).
#include "fi/bulk/bit_loops.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <optional>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "fi/bulk/bit_loops.cpp"
#include "quantization/each_target.inl.h"

#ifndef TOLVANE_BIT_LOOPS_ONCE
#define TOLVANE_BIT_LOOPS_ONCE
namespace tolvane::detail::bitloops {

/// The stored integers of a type, as doubles, and the factors between them and values.
struct Grid {
    double toStored;
    double toValue;
    double least;
    double greatest;
};

/// What each element is combined with: an element each, or one word for all of them.
struct Right {
    const double* values;
    std::int64_t word;
};

/// Replaces the element at a position by the rule of single elements.
using OnElement = std::function<double(std::size_t, double)>;

}  // namespace tolvane::detail::bitloops
#endif

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::bitloops {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using Tag = hn::ScalableTag<double>;
using WordTag = hn::RebindToSigned<Tag>;
using Vector = hn::Vec<Tag>;
using Words = hn::Vec<WordTag>;

/// A double at 2^52 and a half of it has a unit of 1, so the sum with a whole number up to 2^51 has the number's two's
/// complement in its low bits.
constexpr double kBase = 0x1.8p52;

struct Converted {
    Words words;
    hn::Mask<Tag> isStored;
};

HWY_INLINE Converted wordsOf(Vector x, const Grid& grid) {
    const Tag tag;
    const Vector shifted = hn::Add(hn::Mul(x, hn::Set(tag, grid.toStored)), hn::Set(tag, kBase));
    const Vector stored = hn::Sub(shifted, hn::Set(tag, kBase));
    const auto isWhole = hn::Eq(hn::Mul(stored, hn::Set(tag, grid.toValue)), x);
    const auto isInside =
        hn::And(hn::Ge(stored, hn::Set(tag, grid.least)), hn::Le(stored, hn::Set(tag, grid.greatest)));
    return {hn::Sub(hn::BitCast(WordTag(), shifted), hn::Set(WordTag(), std::bit_cast<std::int64_t>(kBase))),
            hn::And(isWhole, isInside)};
}

HWY_INLINE Vector valuesOf(Words words, const Grid& grid) {
    const Tag tag;
    const auto shifted = hn::Add(words, hn::Set(WordTag(), std::bit_cast<std::int64_t>(kBase)));
    const Vector stored = hn::Sub(hn::BitCast(tag, shifted), hn::Set(tag, kBase));
    return hn::Mul(stored, hn::Set(tag, grid.toValue));
}

template <class Join>
HWY_INLINE void combineBy(Join join, std::span<const double> elements, double* out, const Right& right,
                          const Grid& grid, const OnElement& onElement) {
    const Tag tag;
    const std::size_t lanes = hn::Lanes(tag);
    const Words word = hn::Set(WordTag(), right.word);
    const std::size_t count = elements.size();
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const Converted left = wordsOf(hn::LoadU(tag, elements.data() + i), grid);
        Words made = word;
        auto isStored = left.isStored;
        if (right.values) {
            const Converted other = wordsOf(hn::LoadU(tag, right.values + i), grid);
            made = other.words;
            isStored = hn::And(isStored, other.isStored);
        }
        if (HWY_LIKELY(hn::AllTrue(tag, isStored))) {
            hn::StoreU(valuesOf(join(left.words, made), grid), tag, out + i);
        } else {
            for (std::size_t lane = i; lane < i + lanes; ++lane) {
                out[lane] = onElement(lane, elements[lane]);
            }
        }
    }
    for (; i < count; ++i) {
        out[i] = onElement(i, elements[i]);
    }
}

void combineForTarget(Operation operation, std::span<const double> elements, double* out, const Right& right,
                      const Grid& grid, const OnElement& onElement) {
    const auto run = [&](auto join) HWY_ATTR { combineBy(join, elements, out, right, grid, onElement); };
    switch (operation) {
        case Operation::conjunction:
            return run([](Words a, Words b) HWY_ATTR { return hn::And(a, b); });
        case Operation::disjunction:
            return run([](Words a, Words b) HWY_ATTR { return hn::Or(a, b); });
        case Operation::exclusion:
            return run([](Words a, Words b) HWY_ATTR { return hn::Xor(a, b); });
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::bitloops
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::bitloops {

namespace {

HWY_EXPORT(combineForTarget);

/// Nothing for types whose words a double with a unit of 1 can't hold in its low bits, or whose scale is extreme.
std::optional<Grid> gridOf(const WordFormat& format) {
    constexpr int kMostBits = 51;
    constexpr int kMostExponent = 900;
    if (format.wordlength < 1 || format.wordlength > kMostBits || std::abs(format.exponent) > kMostExponent) {
        return {};
    }
    const double words = std::ldexp(1.0, format.wordlength);
    return Grid{std::ldexp(1.0, -format.exponent), std::ldexp(1.0, format.exponent), format.isSigned ? -words / 2 : 0.0,
                (format.isSigned ? words / 2 : words) - 1};
}

void combineAll(Operation operation, std::span<const double> elements, double* out, const Right& right,
                const WordFormat& format, const OnElement& onElement) {
    if (const std::optional<Grid> grid = gridOf(format)) {
        HWY_DYNAMIC_DISPATCH(combineForTarget)
        (operation, elements, out, right, *grid, onElement);
        return;
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        out[i] = onElement(i, elements[i]);
    }
}

std::uint64_t joined(Operation operation, std::uint64_t a, std::uint64_t b) {
    switch (operation) {
        case Operation::conjunction:
            return a & b;
        case Operation::disjunction:
            return a | b;
        case Operation::exclusion:
            return a ^ b;
    }
    return a;
}

/// A word with the bits above it as its sign says.
std::int64_t extended(std::uint64_t word, const WordFormat& format) {
    const bool isNegative =
        format.isSigned && format.wordlength >= 1 && (word & bitwords::bitAt(format.wordlength)) != 0;
    return static_cast<std::int64_t>(isNegative ? word - format.twoToWordlength : word);
}

}  // namespace

void combine(Operation operation, std::span<const double> left, std::span<const double> right, double* out,
             const WordFormat& format) {
    if (right.size() == left.size()) {
        combineAll(operation, left, out, {right.data(), 0}, format, [&](std::size_t i, double x) {
            return bitwords::valueOf(joined(operation, bitwords::wordOf(x, format), bitwords::wordOf(right[i], format)),
                                     format);
        });
        return;
    }
    const std::uint64_t word = bitwords::wordOf(right.front(), format);
    const auto onElement = [&](std::size_t, double x) {
        return bitwords::valueOf(joined(operation, bitwords::wordOf(x, format), word), format);
    };
    if (format.wordlength >= 1 && format.wordlength < 64 && word >> format.wordlength == 0) {
        combineAll(operation, left, out, {nullptr, extended(word, format)}, format, onElement);
        return;
    }
    // A value outside its type keeps bits above the word.
    std::ranges::transform(left, out, [&](double x) { return onElement(0, x); });
}

void complement(std::span<const double> elements, double* out, std::uint64_t mask, const WordFormat& format) {
    combineAll(Operation::exclusion, elements, out, {nullptr, extended(mask, format)}, format,
               [&](std::size_t, double x) { return bitwords::complement(x, format, mask); });
}

void setBit(std::span<const double> elements, double* out, int position, bool value, const WordFormat& format) {
    const std::int64_t bit = extended(bitwords::bitAt(position), format);
    combineAll(value ? Operation::disjunction : Operation::conjunction, elements, out, {nullptr, value ? bit : ~bit},
               format, [&](std::size_t, double x) { return bitwords::setBit(x, position, value, format); });
}

}  // namespace tolvane::detail::bitloops
#endif
