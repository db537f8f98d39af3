// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp).
#include "fi/bulk/compare_loops.h"

#include <algorithm>
#include <array>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "fi/bulk/compare_loops.cpp"
#include "quantization/each_target.inl.h"

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::compareloops {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using Tag = hn::CappedTag<double, 8>;
using Vector = hn::Vec<Tag>;
using Mask = hn::Mask<Tag>;

/// The elements whose flags are made together: a byte of bits.
constexpr std::size_t kGroup = 8;

/// The flags of eight elements as bytes, by the bits of their masks.
constexpr std::array<std::array<std::uint8_t, kGroup>, 256> kFlags = [] {
    std::array<std::array<std::uint8_t, kGroup>, 256> flags{};
    for (std::size_t bits = 0; bits < flags.size(); ++bits) {
        for (std::size_t i = 0; i < kGroup; ++i) {
            flags[bits][i] = static_cast<std::uint8_t>((bits >> i) & 1U);
        }
    }
    return flags;
}();

struct Equal {
    HWY_INLINE Mask operator()(Vector a, Vector b) const { return hn::Eq(a, b); }
};
struct Unequal {
    // Highway's own relation is false for NaN.
    HWY_INLINE Mask operator()(Vector a, Vector b) const { return hn::Not(hn::Eq(a, b)); }
};
struct Less {
    HWY_INLINE Mask operator()(Vector a, Vector b) const { return hn::Lt(a, b); }
};
struct AtMost {
    HWY_INLINE Mask operator()(Vector a, Vector b) const { return hn::Le(a, b); }
};

/// The bits of the relation for a group.
template <class Compare>
HWY_INLINE unsigned bitsOf(const double* a, const double* b) {
    const Tag tag;
    constexpr std::size_t kLanes = hn::MaxLanes(Tag());
    unsigned bits = 0;
    for (std::size_t i = 0; i < kGroup; i += kLanes) {
        std::uint8_t some[kGroup] = {};
        hn::StoreMaskBits(tag, Compare()(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i)), some);
        bits |= static_cast<unsigned>(some[0]) << i;
    }
    return bits;
}

template <class Compare>
void compareBy(Doubles a, Doubles b, std::size_t count, Join join, std::uint8_t* out) {
    // One element for all of them becomes a group that stays.
    double one[2][kGroup];
    const auto begin = [](Doubles part, double(&group)[kGroup]) {
        std::fill_n(group, kGroup, part.isScalar ? *part.values : 0.0);
        return part.isScalar ? group : part.values;
    };
    const double* left = begin(a, one[0]);
    const double* right = begin(b, one[1]);
    const std::size_t leftStep = a.isScalar ? 0 : kGroup;
    const std::size_t rightStep = b.isScalar ? 0 : kGroup;
    const auto put = [join](unsigned bits, std::size_t size, std::uint8_t* to) {
        const std::array<std::uint8_t, kGroup>& flags = kFlags[bits];
        if (join == Join::replace) {
            std::memcpy(to, flags.data(), size);
            return;
        }
        for (std::size_t i = 0; i < size; ++i) {
            to[i] = join == Join::both ? to[i] & flags[i] : to[i] | flags[i];
        }
    };
    std::size_t i = 0;
    for (; i + kGroup <= count; i += kGroup, left += leftStep, right += rightStep) {
        put(bitsOf<Compare>(left, right), kGroup, out + i);
    }
    if (i < count) {
        double rest[2][kGroup] = {};
        std::copy_n(left, count - i, rest[0]);
        std::copy_n(right, count - i, rest[1]);
        put(bitsOf<Compare>(rest[0], rest[1]), count - i, out + i);
    }
}

void compareForTarget(Relation relation, Doubles a, Doubles b, std::size_t count, Join join, std::uint8_t* out) {
    switch (relation) {
        case Relation::isEqual:
            return compareBy<Equal>(a, b, count, join, out);
        case Relation::isUnequal:
            return compareBy<Unequal>(a, b, count, join, out);
        case Relation::isLess:
            return compareBy<Less>(a, b, count, join, out);
        case Relation::isAtMost:
            return compareBy<AtMost>(a, b, count, join, out);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::compareloops
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::compareloops {

HWY_EXPORT(compareForTarget);

void compare(Relation relation, Doubles a, Doubles b, std::size_t count, Join join, std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(compareForTarget)(relation, a, b, count, join, out);
}

}  // namespace tolvane::detail::compareloops
#endif
