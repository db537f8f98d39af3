// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp).
#include "fi/host_arrays/word_loops.h"

#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "fi/host_arrays/word_loops.cpp"
#include "quantization/each_target.inl.h"

#ifndef TOLVANE_WORD_LOOPS_ONCE
#define TOLVANE_WORD_LOOPS_ONCE
namespace tolvane::detail::wordloops {

/// How to convert: truncation is plain for whole numbers below a bound in magnitude; the others take the rule of
/// elements.
template <class Word>
struct Conversion {
    int shift;
    double bound;
    Word (*onElement)(double, int);
};

}  // namespace tolvane::detail::wordloops
#endif

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::wordloops {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

/// A double at 1.5 * 2^52 has a unit of 1, so its sum with a whole number up to 2^51 has the number's two's complement
/// in its low bits.
template <class Word>
HWY_INLINE void convertTo(const double* entries, std::size_t count, const Conversion<Word>& conversion, Word* out) {
    const hn::ScalableTag<double> tag;
    const hn::Rebind<Word, decltype(tag)> wordTag;
    const auto scale = hn::Set(tag, std::ldexp(1.0, conversion.shift));
    const auto base = hn::Set(tag, 0x1.8p52);
    const auto bound = hn::Set(tag, conversion.bound);
    const std::size_t lanes = hn::Lanes(tag);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto scaled = hn::Mul(hn::LoadU(tag, entries + i), scale);
        const auto shifted = hn::Add(scaled, base);
        const auto isWhole = hn::Eq(hn::Sub(shifted, base), scaled);
        if (HWY_LIKELY(hn::AllTrue(tag, hn::And(isWhole, hn::Lt(hn::Abs(scaled), bound))))) {
            const auto bits = hn::BitCast(hn::RebindToUnsigned<decltype(tag)>(), shifted);
            hn::StoreU(hn::TruncateTo(wordTag, bits), wordTag, out + i);
        } else {
            for (std::size_t lane = i; lane < i + lanes; ++lane) {
                out[lane] = conversion.onElement(entries[lane], conversion.shift);
            }
        }
    }
    for (; i < count; ++i) {
        out[i] = conversion.onElement(entries[i], conversion.shift);
    }
}

void convertTo8(const double* in, std::size_t count, const Conversion<std::uint8_t>& conversion, std::uint8_t* out) {
    convertTo(in, count, conversion, out);
}
void convertTo16(const double* in, std::size_t count, const Conversion<std::uint16_t>& conversion, std::uint16_t* out) {
    convertTo(in, count, conversion, out);
}
void convertTo32(const double* in, std::size_t count, const Conversion<std::uint32_t>& conversion, std::uint32_t* out) {
    convertTo(in, count, conversion, out);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::wordloops
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::wordloops {

namespace {

HWY_EXPORT(convertTo8);
HWY_EXPORT(convertTo16);
HWY_EXPORT(convertTo32);

}  // namespace

template <class T>
void convert(std::span<const double> entries, int shift, std::span<T> out) {
    using Word = std::make_unsigned_t<T>;
    constexpr int kMostShift = 1022;
    if (std::abs(shift) > kMostShift) {
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = wordOf<T>(entries[i], shift);
        }
        return;
    }
    constexpr double kBound = std::is_same_v<T, std::uint32_t> ? 0x1p51 : 0x1p31;
    const Conversion<Word> conversion{shift, kBound,
                                      [](double x, int n) { return static_cast<Word>(wordOf<T>(x, n)); }};
    Word* const words = reinterpret_cast<Word*>(out.data());
    if constexpr (sizeof(Word) == 1) {
        HWY_DYNAMIC_DISPATCH(convertTo8)(entries.data(), out.size(), conversion, words);
    } else if constexpr (sizeof(Word) == 2) {
        HWY_DYNAMIC_DISPATCH(convertTo16)(entries.data(), out.size(), conversion, words);
    } else {
        HWY_DYNAMIC_DISPATCH(convertTo32)(entries.data(), out.size(), conversion, words);
    }
}

template void convert(std::span<const double>, int, std::span<std::int8_t>);
template void convert(std::span<const double>, int, std::span<std::uint8_t>);
template void convert(std::span<const double>, int, std::span<std::int16_t>);
template void convert(std::span<const double>, int, std::span<std::uint16_t>);
template void convert(std::span<const double>, int, std::span<std::int32_t>);
template void convert(std::span<const double>, int, std::span<std::uint32_t>);

}  // namespace tolvane::detail::wordloops
#endif
