// Arrays from the memory of a caller, and values into it.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "program/array_loops.h"
#include "program/array_memory.h"
#include "program/kernels.h"
#include "program/moves.h"

namespace tolvane {

using detail::Place;
using detail::wordarray;
using detail::integers::Arena;
using detail::integers::Block;

namespace {

constexpr std::size_t kWordBits = 64;
constexpr std::size_t kChunk = 16 * detail::integers::kBlock;

void requireFinite(std::span<const double> values) {
    if (!detail::arrayLoops().areFinite(values.data(), values.size())) {
        exact_value{*std::ranges::find_if_not(values, [](double value) { return std::isfinite(value); })};  // raises
    }
}

/// Quantizes integers, as words of a type that has all of them, on their way into the array.
void quantizeIntegers(const detail::PlainIntegers& integers, const fixed_type& type, Place& place, wordarray& words) {
    const detail::integers::Extent extent = detail::extentOf(type);
    const std::size_t width =
        detail::integers::widthFor(std::max(place.neededBits(extent), detail::integers::neededBits(extent)));
    place.open(width);
    Arena arena(width, 1);
    Block block = arena.next();
    std::array<std::uint64_t, kChunk> limbs;
    const std::size_t size = words.span().count;
    for (std::size_t begin = 0; begin < size; begin += kChunk) {
        const std::size_t length = std::min(kChunk, size - begin);
        detail::arrayLoops().toLimbs(integers, begin, length, limbs.data());
        const detail::WordSpan chunk{limbs.data(), nullptr, length, detail::gridOf(type)};
        if (place.quantizeAll(chunk, words.limbs() + begin * words.grid().limbs())) {
            continue;
        }
        detail::forEachBlock(length, [&](std::uint64_t first, std::size_t count) {
            detail::integers::load(chunk, first, count, width, block);
            place.quantize(block, count);
            detail::store(block, count, width, words, begin + first);
        });
    }
}

/// The shortest type with the values of all integers.
fixed_type typeOf(const detail::PlainIntegers& integers, std::size_t count) {
    int bits = static_cast<int>(8 * integers.itemBytes);
    if (integers.itemBytes == sizeof(std::uint64_t)) {
        // The fewer bits, the shorter are the integers on the way.
        const auto* const limbs = static_cast<const std::uint64_t*>(integers.data);
        bits = static_cast<int>(std::bit_width(detail::arrayLoops().magnitudes(limbs, count, integers.isSigned))) +
               (integers.isSigned ? 1 : 0);
    }
    return {integers.isSigned, std::max(bits, 1), 0};
}

}  // namespace

fixed_array detail::quantizedIntegers(const PlainIntegers& integers, const array_shape& shape,
                                      const fixed_format& format, const code_location& where) {
    Place place(format, where);
    const std::size_t count = sizeOf(shape);
    wordarray words = detail::makeWords(count, gridOf(place.type()), wordarray::Uninitialised{});
    quantizeIntegers(integers, typeOf(integers, count), place, words);
    place.close();
    return ArrayAccess::make(place.type(), shape, std::move(words), std::nullopt, format.name());
}

fixed_array detail::arrayOfWords(const PlainIntegers& integers, const array_shape& shape, const fixed_type& type) {
    const fixed_type checked = fixed_format(type).type();
    if (checked.bits > static_cast<int>(kWordBits)) {
        throw error("tolvane:array:word", "Words of " + type.text() + " don't fit in 64 bits.");
    }
    const std::size_t count = sizeOf(shape);
    wordarray words = detail::makeWords(count, gridOf(checked), wordarray::Uninitialised{});
    for (std::size_t begin = 0; begin < count; begin += kChunk) {
        const std::size_t length = std::min(kChunk, count - begin);
        mp_limb_t* const limbs = words.limbs() + begin;
        arrayLoops().toLimbs(integers, begin, length, limbs);
        if (!arrayLoops().areWords(limbs, length, checked.bits, checked.is_signed)) {
            std::size_t i = 0;
            while (arrayLoops().areWords(limbs + i, 1, checked.bits, checked.is_signed)) {
                ++i;
            }
            throw error("tolvane:array:word", "Element " + std::to_string(begin + i) + ", " +
                                                  std::to_string(static_cast<std::int64_t>(limbs[i])) +
                                                  ", is no word of " + checked.text() + ".");
        }
    }
    return ArrayAccess::make(checked, shape, std::move(words), std::nullopt);
}

void detail::quantizeInto(std::span<const double> values, Place& place, wordarray& words) {
    const std::size_t width = integers::widthFor(place.type().bits + 1);
    place.open(width);
    Arena arena(width, 1);
    Block block = arena.next();
    for (std::size_t begin = 0; begin < values.size(); begin += kChunk) {
        const auto chunk = values.subspan(begin, std::min(kChunk, values.size() - begin));
        requireFinite(chunk);
        if (place.quantizeAll(chunk, words.limbs() + begin * words.grid().limbs())) {
            continue;
        }
        forEachBlock(chunk.size(), [&](std::uint64_t first, std::size_t count) {
            place.quantize(chunk.data() + first, count, block);
            store(block, count, width, words, begin + first);
        });
    }
}

fixed_array detail::quantizedDoubles(std::span<const double> values, const array_shape& shape,
                                     const fixed_format& format, const code_location& where) {
    if (values.size() != sizeOf(shape)) {
        throw error("tolvane:array:shape",
                    std::to_string(values.size()) + " values can't take the shape " + textOf(shape) + ".");
    }
    Place place(format, where);
    place.takeValues();
    if (!place.takesDoubles()) {
        return fixed_array(values, format, where).reshaped(shape);
    }
    wordarray words = detail::makeWords(values.size(), gridOf(place.type()), wordarray::Uninitialised{});
    quantizeInto(values, place, words);
    place.close();
    return ArrayAccess::make(place.type(), shape, std::move(words), std::nullopt, format.name());
}

void detail::doublesInto(const fixed_array& x, std::span<double> out) {
    // Beyond these, doubles have fewer bits, or none.
    constexpr int kSafeExponent = 900;
    const wordarray& words = *ArrayAccess::real(x);
    const detail::WordGrid& grid = words.grid();
    if (grid.limbs() == 1 && std::abs(grid.exponent) <= kSafeExponent) {
        detail::arrayLoops().toDoubles(words.span().limbs, out.size(), grid.isSigned, std::ldexp(1.0, grid.exponent),
                                       out.data());
        return;
    }
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] = words.toDouble(i);
    }
}

}  // namespace tolvane
