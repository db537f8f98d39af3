#include "tests/witness/draw.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr int kNarrow[] = {1, 2, 3, 4, 7, 8, 8, 9, 12, 15, 16, 16, 17, 22, 23, 24, 26, 27, 31, 32};
constexpr int kMiddle[] = {30, 31, 32, 33, 48, 50, 51, 52, 53, 54, 55};
constexpr int kWide[] = {52, 53, 60, 62, 63, 63, 64, 64, 64, 65, 65, 66, 80, 96};
constexpr int kWider[] = {65, 96, 100, 126, 127, 128, 129, 130, 160};
constexpr int kWidest[] = {128, 191, 192, 193, 256, 300, 511, 512, 1000};
constexpr std::span<const int> kWords[] = {kNarrow, kNarrow, kNarrow, kMiddle, kMiddle, kWide, kWide, kWider, kWidest};

using Family = Theme::Family;
using Mode = NumericType::DataTypeModeEnum;

}  // namespace

double Draw::anyDouble() {
    using Limits = std::numeric_limits<double>;
    if (oneIn(10)) {
        return of({0.0, -0.0, 1.0, -1.0, 0.5, Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(),
                   Limits::max(), Limits::denorm_min(), 0x1p52, 0x1p53, -0x1p63, 4503599627370497.0});
    }
    return std::ldexp(static_cast<double>(static_cast<std::int64_t>(bits()) >> below(60)), between(-80, 20));
}

Theme::Theme(Draw& draw) {
    const std::uint64_t kind = draw.below(100);
    family = kind < 62   ? Family::fixed
             : kind < 74 ? Family::mixed
             : kind < 81 ? Family::doubles
             : kind < 87 ? Family::singles
             : kind < 96 ? Family::slopeBias
                         : Family::any;
    words = static_cast<int>(draw.below(std::size(kWords)));
    exponent = draw.between(-20, 4);
    isLarge = words < 7 && draw.oneIn(50);
    // Wide words cost a hundred times as much and have no code for blocks.
    isTiny = !isLarge && draw.percent(words < 5 ? 60 : 88);
    const auto most = static_cast<int>(isTiny ? 3 : 14);
    rows = static_cast<std::uint64_t>(draw.between(1, most));
    columns = static_cast<std::uint64_t>(draw.between(1, most));
    if (isLarge || (!isTiny && draw.oneIn(3))) {
        // A vector; array code works in blocks of some hundred elements or more.
        rows = static_cast<std::uint64_t>(isLarge ? draw.between(900, 5000) : draw.between(15, 300));
        columns = 1;
        if (draw.oneIn(3)) {
            std::swap(rows, columns);
        }
    }
    complexChance = family == Family::slopeBias ? 4 : draw.of({0ULL, 15ULL, 40ULL, 100ULL});
    mostlyLocal = draw.percent(70);
    rules = anyRules(draw);
}

int Theme::wordLength(Draw& draw) const {
    return draw.percent(85) ? draw.of(kWords[words]) : draw.oneIn(2) ? draw.between(1, 66) : draw.of(kWords[4]);
}

NumericType Theme::type(Draw& draw) const {
    const int bits = wordLength(draw);
    const std::uint64_t place = draw.below(100);
    const int fixedExponent = place < 25   ? exponent
                              : place < 75 ? -draw.between(0, bits)
                              : place < 88 ? draw.between(0, 12)
                              : place < 99 ? -bits - draw.between(0, 20)
                                           : draw.of({-1074, -1023, -600, 600, 1022});
    const bool isSigned = draw.percent(65);
    Family kind = family;
    if (kind == Family::any) {
        kind = draw.of({Family::fixed, Family::mixed, Family::doubles, Family::singles, Family::slopeBias});
        if (draw.oneIn(6)) {
            return {Mode::Boolean, false, 1, 1.0, 0, 0.0};
        }
    }
    const bool isScaledDouble = (kind == Family::mixed && draw.percent(60)) || draw.oneIn(100);
    switch (kind) {
        case Family::doubles:
            return {Mode::Double, true, 64, 1.0, 0, 0.0};
        case Family::singles:
            return {Mode::Single, true, 32, 1.0, 0, 0.0};
        case Family::slopeBias:
            if (draw.percent(80)) {
                return {isScaledDouble ? Mode::ScaledDoubleSlopeBias : Mode::FixedSlopeBias,
                        isSigned,
                        bits,
                        draw.of({1.0, 1.0, 1.25, 1.5, 1.1, 1.9375}),
                        fixedExponent,
                        draw.of({0.0, 0.0, 1.0, -0.5, 3.75, -20.1})};
            }
            [[fallthrough]];
        default:
            return {isScaledDouble ? Mode::ScaledDoubleBinaryPoint : Mode::FixedBinaryPoint,
                    isSigned,
                    bits,
                    1.0,
                    fixedExponent,
                    0.0};
    }
}

fimath Theme::anyRules(Draw& draw) const {
    using Arithmetic = fimath::ArithmeticModeEnum;
    const auto mode = [&] {
        return family == Family::slopeBias && draw.percent(85) ? Arithmetic::SpecifyPrecision
               : draw.oneIn(3)                                 ? Arithmetic::FullPrecision
                                                               : draw.anyOf<Arithmetic>(3);
    };
    const auto greatest = [&] {
        // Products of values with a bias use words of the greatest length.
        return family == Family::slopeBias ? draw.of({128, 128, 200, draw.between(8, 64)})
                                           : draw.of({128, 1024, 65535, 65535, 65535, draw.between(8, 64)});
    };
    fimath made{draw.rounding(),
                draw.overflow(),
                fimath::PrecisionModeEnum::Arbitrary,
                mode(),
                wordLength(draw),
                greatest(),
                draw.between(-4, 40),
                mode(),
                wordLength(draw),
                greatest(),
                draw.between(-4, 40),
                draw.percent(60)};
    if (family == Family::slopeBias) {
        if (draw.oneIn(2)) {
            made.setProductSlopeAdjustmentFactor(draw.of({1.0, 1.25, 1.9}));
            made.setProductBias(draw.of({0.0, 1.5, -7.0}));
        }
        if (draw.oneIn(2)) {
            made.setSumSlopeAdjustmentFactor(draw.of({1.0, 1.25, 1.9}));
            made.setSumBias(draw.of({0.0, 1.5, -7.0}));
        }
    }
    return made;
}

Sizes Theme::sizes(Draw& draw) const {
    const std::uint64_t kind = draw.below(100);
    return kind < 55   ? Sizes{rows, columns}
           : kind < 72 ? Sizes{1, 1}
           : kind < 78 ? Sizes{columns, rows}
           : kind < 84 ? Sizes{rows, 1}
           : kind < 90 ? Sizes{1, columns}
           : kind < 93 ? Sizes{1, rows * columns}
           : kind < 96 ? Sizes{draw.oneIn(2) ? 0 : rows, 0}
           : kind < 98 ? Sizes{rows, 1, columns}
                       : Sizes{columns, rows, 2};
}

Theme::Spread anySpread(Draw& draw) {
    return draw.anyOf<Theme::Spread>(6);
}

double valueFor(Draw& draw, const NumericType& type, Theme::Spread spread) {
    using Spread = Theme::Spread;
    if (!type.isScaledType()) {
        if (type.isBoolean()) {
            return draw.of({0.0, 1.0, -0.0, 3.0});
        }
        const double value = draw.oneIn(4) ? draw.anyDouble() : draw.between(-64, 64) / 8.0;
        return spread == Spread::notNegative   ? std::fabs(value)
               : spread == Spread::notPositive ? -std::fabs(value)
               : spread == Spread::zeros       ? std::copysign(0.0, value)
                                               : value;
    }
    if (type.isScaledDouble() && draw.oneIn(40)) {
        return draw.anyDouble();
    }
    const int bits = std::min(type.getWordLength(), 60);
    // Of words longer than 60 bits, only the highest 60 are drawn.
    const int exponent = type.getFixedExponent() + type.getWordLength() - bits;
    double word = 0.0;
    switch (spread) {
        case Spread::zeros:
            break;
        case Spread::limits: {
            const double top = std::ldexp(1.0, bits - (type.isSigned() ? 1 : 0));
            word = draw.of({top, top - 1.0, top - 0.5, -top, -top - 0.5, -top - 1.0, 1.5 * top, 3.0 * top, 0.0, -1.0});
            break;
        }
        case Spread::small:
            word = draw.of({0.0, 0.25, 0.5, 0.75, 1.0, 0x1p-20, 1.5});
            break;
        default: {
            const int range = draw.between(0, bits + (draw.oneIn(8) ? 2 : 0));
            word = static_cast<double>(range == 0 ? 0 : draw.bits() >> (64 - range));
            if (spread == Spread::ties) {
                word = std::floor(word / 2.0) + draw.of({0.5, 0.25, 0.0, 1.5});
            } else if (draw.oneIn(3)) {
                word = word / 2.0;
            }
        }
    }
    const bool isNegative = spread == Spread::notPositive || (spread != Spread::notNegative && draw.oneIn(2));
    if (isNegative) {
        word = -word;
    }
    const double stored = std::ldexp(word, exponent);
    if (!type.isSlopeBiasScaled()) {
        return std::isfinite(stored) ? stored : word;
    }
    return stored * type.getSlopeAdjustmentFactor() + type.getBias();
}

std::vector<double> valuesFor(Draw& draw, const NumericType& type, Theme::Spread spread, std::uint64_t count) {
    std::vector<double> values(count);
    for (double& value : values) {
        value = valueFor(draw, type, spread);
    }
    return values;
}

std::uint64_t countOf(const Sizes& sizes) {
    std::uint64_t count = 1;
    for (const std::uint64_t size : sizes) {
        count *= size;
    }
    return count;
}

namespace {

hvArrayOwner emptyHost(const Sizes& sizes, hvClassID classId, bool isComplex) {
    return hvArrayOwner(classId == hvLOGICAL_CLASS ? hvCreateLogicalArray(sizes.size(), sizes.data())
                                                   : hvCreateNumericArray(sizes.size(), sizes.data(), classId,
                                                                          isComplex ? hvCOMPLEX : hvREAL));
}

/// Calls the action with each part of a host array as a span of its element type.
template <class Action>
void forParts(hvArray* array, Action action) {
    hvDispatchClass(hvGetClassID(array), [&](auto element) {
        using T = typename decltype(element)::type;
        const std::size_t count = hvGetNumberOfElements(array);
        action(std::span(static_cast<T*>(hvGetData(array)), count));
        if (hvIsComplex(array)) {
            action(std::span(static_cast<T*>(hvGetImagData(array)), count));
        }
    });
}

}  // namespace

hvArrayOwner hostArray(Draw& draw, const NumericType& type, const Sizes& sizes, hvClassID classId, bool isComplex) {
    hvArrayOwner made = emptyHost(sizes, classId, isComplex);
    const Theme::Spread spread = anySpread(draw);
    forParts(made.get(), [&]<class T>(std::span<T> part) {
        for (T& value : part) {
            if constexpr (std::is_floating_point_v<T>) {
                value = static_cast<T>(valueFor(draw, type, spread));
            } else {
                value = static_cast<T>(classId == hvLOGICAL_CLASS ? draw.below(2) : draw.bits() >> draw.below(64));
            }
        }
    });
    return made;
}

hvArrayOwner hostWords(Draw& draw, const Sizes& sizes, hvClassID classId, bool isComplex) {
    hvArrayOwner made = emptyHost(sizes, classId, isComplex);
    forParts(made.get(), [&]<class T>(std::span<T> part) {
        for (T& value : part) {
            if constexpr (std::is_floating_point_v<T>) {
                value = static_cast<T>(draw.between(-300, 300));
            } else {
                value = static_cast<T>(draw.oneIn(4) ? (draw.oneIn(2) ? 0 : ~0ULL) : draw.bits());
            }
        }
    });
    return made;
}

hvArrayOwner hostRow(std::initializer_list<double> values) {
    hvArrayOwner made(hvCreateDoubleMatrix(1, values.size()));
    std::size_t place = 0;
    for (const double value : values) {
        hvGetPr(made.get())[place++] = value;
    }
    return made;
}
