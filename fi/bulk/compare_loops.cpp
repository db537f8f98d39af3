// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp).
#include "fi/bulk/compare_loops.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "numbers/words.h"

#ifndef TOLVANE_COMPARE_LOOPS_ONCE
#define TOLVANE_COMPARE_LOOPS_ONCE
namespace tolvane::detail::compareloops {

inline void joinFlags(Join join, const std::uint8_t* flags, std::size_t size, std::uint8_t* out) {
    if (join == Join::replace) {
        std::memcpy(out, flags, size);
        return;
    }
    for (std::size_t i = 0; i < size; ++i) {
        out[i] = join == Join::both ? out[i] & flags[i] : out[i] | flags[i];
    }
}

}  // namespace tolvane::detail::compareloops
#endif

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "fi/bulk/compare_loops.cpp"
#include "quantization/each_target.inl.h"

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::compareloops {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
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
    template <class V>
    HWY_INLINE auto operator()(V a, V b) const {
        return hn::Eq(a, b);
    }
};
struct Unequal {
    // Highway's own relation is false for NaN.
    template <class V>
    HWY_INLINE auto operator()(V a, V b) const {
        return hn::Not(hn::Eq(a, b));
    }
};
struct Less {
    template <class V>
    HWY_INLINE auto operator()(V a, V b) const {
        return hn::Lt(a, b);
    }
};
struct AtMost {
    template <class V>
    HWY_INLINE auto operator()(V a, V b) const {
        if constexpr (hwy::IsFloat<hn::TFromV<V>>()) {
            return hn::Le(a, b);
        } else {
            return hn::Not(hn::Lt(b, a));
        }
    }
};

/// A value for each element, or one for all of them.
template <class T>
struct Side {
    const T* values;
    bool isScalar;
};

/// The bits of the relation for a group.
template <class Compare, class T>
HWY_INLINE unsigned bitsOf(const T* a, const T* b) {
    const hn::CappedTag<T, kGroup> tag;
    constexpr std::size_t kLanes = hn::MaxLanes(tag);
    unsigned bits = 0;
    for (std::size_t i = 0; i < kGroup; i += kLanes) {
        std::uint8_t some[kGroup] = {};
        hn::StoreMaskBits(tag, Compare()(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i)), some);
        bits |= static_cast<unsigned>(some[0]) << i;
    }
    return bits;
}

template <class Compare, class T>
void compareBy(Side<T> a, Side<T> b, std::size_t count, Join join, std::uint8_t* out) {
    // One element for all of them becomes a group that stays.
    T one[2][kGroup];
    const auto begin = [](Side<T> part, T(&group)[kGroup]) {
        std::fill_n(group, kGroup, part.isScalar ? *part.values : T{});
        return part.isScalar ? group : part.values;
    };
    const T* left = begin(a, one[0]);
    const T* right = begin(b, one[1]);
    const std::size_t leftStep = a.isScalar ? 0 : kGroup;
    const std::size_t rightStep = b.isScalar ? 0 : kGroup;
    const auto put = [join](unsigned bits, std::size_t size, std::uint8_t* to) {
        joinFlags(join, kFlags[bits].data(), size, to);
    };
    std::size_t i = 0;
    for (; i + kGroup <= count; i += kGroup, left += leftStep, right += rightStep) {
        put(bitsOf<Compare>(left, right), kGroup, out + i);
    }
    if (i < count) {
        T rest[2][kGroup] = {};
        std::copy_n(left, count - i, rest[0]);
        std::copy_n(right, count - i, rest[1]);
        put(bitsOf<Compare>(rest[0], rest[1]), count - i, out + i);
    }
}

template <class T>
void compareLanes(Relation relation, Side<T> a, Side<T> b, std::size_t count, Join join, std::uint8_t* out) {
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

void compareForTarget(Relation relation, Doubles a, Doubles b, std::size_t count, Join join, std::uint8_t* out) {
    compareLanes<double>(relation, {a.values, a.isScalar}, {b.values, b.isScalar}, count, join, out);
}

template <class T>
void compareLimbs(Relation relation, Words a, Words b, std::size_t count, Join join, std::uint8_t* out) {
    const auto side = [](Words x) { return Side<T>{reinterpret_cast<const T*>(x.limbs), x.isScalar}; };
    compareLanes<T>(relation, side(a), side(b), count, join, out);
}

void compareLimbsForTarget(Relation relation, bool isSigned, Words a, Words b, std::size_t count, Join join,
                           std::uint8_t* out) {
    (isSigned ? compareLimbs<std::int64_t> : compareLimbs<std::uint64_t>)(relation, a, b, count, join, out);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::compareloops
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::compareloops {

HWY_EXPORT(compareForTarget);
HWY_EXPORT(compareLimbsForTarget);

void compare(Relation relation, Doubles a, Doubles b, std::size_t count, Join join, std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(compareForTarget)(relation, a, b, count, join, out);
}

namespace {

/// Of words of several limbs.
template <class Holds>
void compareLong(std::size_t limbs, Words a, Words b, std::size_t count, Join join, std::uint8_t* out,
                 const Holds& holds) {
    constexpr std::size_t kGroup = 64;
    const std::size_t leftStep = a.isScalar ? 0 : limbs;
    const std::size_t rightStep = b.isScalar ? 0 : limbs;
    std::array<std::uint8_t, kGroup> flags;
    for (std::size_t begin = 0; begin < count; begin += kGroup) {
        const std::size_t size = std::min(kGroup, count - begin);
        for (std::size_t i = 0; i < size; ++i, a.limbs += leftStep, b.limbs += rightStep) {
            flags[i] = holds(a.limbs, b.limbs) ? 1 : 0;
        }
        joinFlags(join, flags.data(), size, out + begin);
    }
}

}  // namespace

void compare(Relation relation, const WordShape& shape, Words a, Words b, std::size_t count, Join join,
             std::uint8_t* out) {
    if (shape.limbs == 1) {
        HWY_DYNAMIC_DISPATCH(compareLimbsForTarget)(relation, shape.isSigned, a, b, count, join, out);
        return;
    }
    const WordOrder order(shape.limbs, shape.isSigned);
    const auto run = [&](auto holds) { compareLong(shape.limbs, a, b, count, join, out, holds); };
    using Word = const mp_limb_t*;
    switch (relation) {
        case Relation::isEqual:
            return run([&order](Word x, Word y) { return order.isEqual(x, y); });
        case Relation::isUnequal:
            return run([&order](Word x, Word y) { return !order.isEqual(x, y); });
        case Relation::isLess:
            return run([&order](Word x, Word y) { return order.isLess(x, y); });
        case Relation::isAtMost:
            return run([&order](Word x, Word y) { return !order.isLess(y, x); });
    }
}

}  // namespace tolvane::detail::compareloops
#endif
