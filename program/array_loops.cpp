// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp). The
// compiler makes vectors of these loops.
#include "program/array_loops.h"

#include <bit>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "program/array_loops.cpp"
#include "quantization/each_target.inl.h"

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail {
namespace HWY_NAMESPACE {
namespace {

/// Compares by `holds(x, y)` of shifted limbs.
template <class Holds>
HWY_INLINE void compareEach(const ComparedWords& a, const ComparedWords& b, std::size_t count, std::uint8_t* out,
                            const Holds& holds) {
    const std::uint64_t* const x = a.words;
    const std::uint64_t* const y = b.words;
    const unsigned xShift = a.shift;
    const unsigned yShift = b.shift;
    if (a.step != 0 && b.step != 0) {
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = holds(x[i] << xShift, y[i] << yShift) ? 1 : 0;
        }
    } else if (a.step != 0) {
        const std::uint64_t right = *y << yShift;
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = holds(x[i] << xShift, right) ? 1 : 0;
        }
    } else {
        const std::uint64_t left = *x << xShift;
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = holds(left, y[i * b.step] << yShift) ? 1 : 0;
        }
    }
}

void compareWords(Relation relation, const ComparedWords& a, const ComparedWords& b, bool areSigned, std::size_t count,
                  std::uint8_t* out) {
    // Words without a sign are in the order of signed ones whose top bit is the other one.
    const std::uint64_t flip = areSigned ? 0 : std::uint64_t{1} << 63U;
    const auto key = [flip](std::uint64_t limb) HWY_ATTR { return static_cast<std::int64_t>(limb ^ flip); };
    switch (relation) {
        case Relation::equal:
            compareEach(a, b, count, out, [](std::uint64_t x, std::uint64_t y) HWY_ATTR { return x == y; });
            break;
        case Relation::notEqual:
            compareEach(a, b, count, out, [](std::uint64_t x, std::uint64_t y) HWY_ATTR { return x != y; });
            break;
        case Relation::less:
            compareEach(a, b, count, out, [=](std::uint64_t x, std::uint64_t y) HWY_ATTR { return key(x) < key(y); });
            break;
        case Relation::lessEqual:
            compareEach(a, b, count, out, [=](std::uint64_t x, std::uint64_t y) HWY_ATTR { return key(x) <= key(y); });
            break;
    }
}

void doublesOfWords(const std::uint64_t* words, std::size_t count, bool areSigned, double unit, double* out) {
    if (areSigned) {
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = static_cast<double>(static_cast<std::int64_t>(words[i])) * unit;
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = static_cast<double>(words[i]) * unit;
        }
    }
}

bool areAllWords(const std::uint64_t* limbs, std::size_t count, int bits, bool areSigned) {
    constexpr int kLimbBits = 64;
    const int unused = kLimbBits - bits;
    std::uint64_t beyond = 0;
    if (areSigned) {
        for (std::size_t i = 0; i < count; ++i) {
            beyond |= limbs[i] ^ static_cast<std::uint64_t>(static_cast<std::int64_t>(limbs[i] << unused) >> unused);
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            beyond |= limbs[i] ^ (limbs[i] << unused >> unused);
        }
    }
    return beyond == 0;
}

template <class Integer>
void limbsOf(const void* data, std::size_t first, std::size_t count, std::uint64_t* out) {
    const auto* const integers = static_cast<const Integer*>(data) + first;
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = static_cast<std::uint64_t>(static_cast<std::int64_t>(integers[i]));
    }
}

void limbsOfIntegers(const PlainIntegers& integers, std::size_t first, std::size_t count, std::uint64_t* out) {
    using Loop = void (*)(const void*, std::size_t, std::size_t, std::uint64_t*);
    static constexpr Loop kLoops[][2] = {{&limbsOf<std::uint8_t>, &limbsOf<std::int8_t>},
                                         {&limbsOf<std::uint16_t>, &limbsOf<std::int16_t>},
                                         {&limbsOf<std::uint32_t>, &limbsOf<std::int32_t>},
                                         {&limbsOf<std::uint64_t>, &limbsOf<std::int64_t>}};
    kLoops[std::countr_zero(integers.itemBytes)][integers.isSigned ? 1 : 0](integers.data, first, count, out);
}

std::uint64_t magnitudesOf(const std::uint64_t* limbs, std::size_t count, bool areSigned) {
    std::uint64_t all = 0;
    if (areSigned) {
        for (std::size_t i = 0; i < count; ++i) {
            all |= limbs[i] ^ static_cast<std::uint64_t>(static_cast<std::int64_t>(limbs[i]) >> 63);
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            all |= limbs[i];
        }
    }
    return all;
}

bool areAllFinite(const double* values, std::size_t count) {
    // The bits of an exponent that isn't finite's are all ones, and one more sets the bit above them.
    constexpr std::uint64_t kOne = std::uint64_t{1} << 52U;
    constexpr std::uint64_t kExponent = std::uint64_t{0x7FF} << 52U;
    std::uint64_t any = 0;
    for (std::size_t i = 0; i < count; ++i) {
        any |= (std::bit_cast<std::uint64_t>(values[i]) & kExponent) + kOne;
    }
    return any <= kExponent;
}

constexpr ArrayLoops kLoops{&compareWords,    &doublesOfWords, &areAllWords,
                            &limbsOfIntegers, &magnitudesOf,   &areAllFinite};

const ArrayLoops& loopsForTarget() {
    return kLoops;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail {

namespace {
HWY_EXPORT(loopsForTarget);
}

const ArrayLoops& arrayLoops() {
    static const ArrayLoops& kBest = HWY_DYNAMIC_DISPATCH(loopsForTarget)();
    return kBest;
}

}  // namespace tolvane::detail
#endif
