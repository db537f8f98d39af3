#include "program/fixed_array.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <ostream>
#include <utility>

#include "program/kernels.h"
#include "program/moves.h"
#include "quantization/array_kernels.h"

namespace tolvane {

using detail::Arena;
using detail::ArrayAccess;
using detail::Place;
using detail::sizeOf;
using detail::textOf;
using detail::wordarray;
using detail::integers::Block;

namespace {

constexpr std::size_t kWordBits = 64;

exact_value elementOf(const wordarray& words, std::size_t index) {
    if (index >= words.span().count) {
        throw error("tolvane:array:index",
                    "There is no element " + std::to_string(index) + " of " + std::to_string(words.span().count) + ".");
    }
    const std::span<const mp_limb_t> word = words.word(index);
    return exact_value::from_words(word.data(), word.size(), words.grid().isSigned, words.grid().exponent);
}

/// Quantizes exact values one by one.
wordarray wordsOf(const std::vector<exact_value>& values, Place& place) {
    wordarray words = detail::makeWords(values.size(), detail::gridOf(place.type()));
    // One unit and one length for all of them.
    int exponent = 0;
    int top = 0;
    bool isAny = false;
    for (const exact_value& value : values) {
        if (!value.is_zero()) {
            exponent = isAny ? std::min(exponent, value.exponent()) : value.exponent();
            top = isAny ? std::max(top, value.magnitude_exponent()) : value.magnitude_exponent();
            isAny = true;
        }
    }
    constexpr int kMostBits = 1 << 20;
    if (isAny && top - exponent > kMostBits) {
        throw error("tolvane:array:growth", "The values differ by more than 2^20 bits in size.");
    }
    const detail::integers::Extent extent{exponent, top - exponent + 1, true};
    const std::size_t width = detail::integers::widthFor(std::max(place.neededBits(extent), extent.bits + 2));
    place.open(width);
    Arena arena(width, 1);
    Block block = arena.next();
    detail::forEachBlock(values.size(), [&](std::uint64_t begin, std::size_t count) {
        block.extent = extent;
        block.negativeZeros = 0;
        for (std::size_t i = 0; i < count; ++i) {
            detail::noteWork(width);
            detail::setInteger(values[begin + i], exponent, width, block.limbs + i * width);
        }
        place.quantize(block, count);
        detail::store(block, count, width, words, begin);
    });
    return words;
}

wordarray wordsOf(std::span<const double> values, Place& place) {
    if (!place.takesDoubles()) {
        return wordsOf(std::vector<exact_value>(values.begin(), values.end()), place);
    }
    wordarray words = detail::makeWords(values.size(), detail::gridOf(place.type()));
    detail::castDoubles(values, place, words);
    return words;
}

template <class Values>
fixed_array arrayOf(const Values& real, const Values& imag, const fixed_format& format, const code_location& where) {
    Place place(format, where);
    place.takeValues();
    std::optional<Place> imagPlace;
    wordarray realWords = wordsOf(real, place);
    std::optional<wordarray> imagWords;
    if (!imag.empty()) {
        imagPlace.emplace(format, where);
        imagPlace->takeValues();
        imagWords = wordsOf(imag, *imagPlace);
    }
    Place::close({&place, imagPlace ? &*imagPlace : nullptr});
    return ArrayAccess::make(place.type(), {real.size()}, std::move(realWords), std::move(imagWords), format.name());
}

}  // namespace

fixed_array::fixed_array() {
    // Most are given other words at once.
    static const auto sNone = std::make_shared<const wordarray>(0, detail::gridOf(mType));
    mReal = sNone;
}

fixed_array fixed_array::quantized(const std::vector<exact_value>& real, const std::vector<exact_value>& imag,
                                   const fixed_format& format, const code_location& where) {
    return arrayOf(real, imag, format, where);
}

fixed_array fixed_array::quantized(std::span<const double> real, std::span<const double> imag,
                                   const fixed_format& format, const code_location& where) {
    for (const std::span<const double>& part : {real, imag}) {
        if (!detail::arraykernels::areFinite(part.data(), part.size())) {
            exact_value{*std::ranges::find_if_not(part, [](double value) { return std::isfinite(value); })};  // raises
        }
    }
    return arrayOf(real, imag, format, where);
}

fixed_array fixed_array::quantized(std::span<const std::int64_t> real, std::span<const std::int64_t> imag,
                                   bool isSigned, const fixed_format& format, const code_location& where) {
    const auto wordsOf = [&](std::span<const std::int64_t> integers, Place& place) {
        wordarray words = detail::makeWords(integers.size(), detail::gridOf(place.type()));
        const detail::WordGrid grid{0, static_cast<int>(kWordBits), isSigned};
        const auto* const limbs = reinterpret_cast<const mp_limb_t*>(integers.data());
        detail::castWords({limbs, nullptr, integers.size(), grid}, place, words);
        return words;
    };
    Place place(format, where);
    std::optional<Place> imagPlace;
    wordarray realWords = wordsOf(real, place);
    std::optional<wordarray> imagWords;
    if (!imag.empty()) {
        imagPlace.emplace(format, where);
        imagWords = wordsOf(imag, *imagPlace);
    }
    Place::close({&place, imagPlace ? &*imagPlace : nullptr});
    return ArrayAccess::make(place.type(), {real.size()}, std::move(realWords), std::move(imagWords), format.name());
}

fixed_array fixed_array::from_words(std::span<const std::int64_t> words, const fixed_type& type) {
    const fixed_type checked = fixed_format(type).type();
    if (checked.bits > static_cast<int>(kWordBits)) {
        throw error("tolvane:array:word", "Words of " + type.text() + " don't fit in 64 bits.");
    }
    wordarray made = detail::makeWords(words.size(), detail::gridOf(checked));
    const int unused = static_cast<int>(kWordBits) - checked.bits;
    detail::inSlices(words.size(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto limb = static_cast<mp_limb_t>(words[i]);
            const auto extended = checked.is_signed
                                      ? static_cast<mp_limb_t>(static_cast<std::int64_t>(limb << unused) >> unused)
                                      : limb << unused >> unused;
            if (extended != limb) {
                throw error("tolvane:array:word", "Element " + std::to_string(i) + ", " + std::to_string(words[i]) +
                                                      ", is no word of " + checked.text() + ".");
            }
            made.limbs()[i] = limb;
        }
    });
    return ArrayAccess::make(checked, {words.size()}, std::move(made), std::nullopt);
}

fixed_array fixed_array::zeros(array_shape shape, const fixed_type& type) {
    const fixed_type checked = fixed_format(type).type();
    wordarray words = detail::makeWords(sizeOf(shape), detail::gridOf(checked));
    return ArrayAccess::make(checked, std::move(shape), std::move(words), std::nullopt);
}

std::size_t fixed_array::size() const {
    return mReal->span().count;
}

fixed_array fixed_array::named(std::string name) const {
    fixed_array result = *this;
    result.mName = std::move(name);
    return result;
}

fixed_array fixed_array::reshaped(array_shape shape) const {
    if (sizeOf(shape) != size()) {
        throw error("tolvane:array:shape",
                    "An array of shape " + textOf(mShape) + " can't take the shape " + textOf(shape) + ".");
    }
    fixed_array result = *this;
    result.mShape = std::move(shape);
    return result;
}

exact_value fixed_array::at(std::size_t index) const {
    return elementOf(*mReal, index);
}

exact_value fixed_array::imag_at(std::size_t index) const {
    return mImag ? elementOf(*mImag, index) : elementOf(*mReal, index) * 0;
}

fixed_array fixed_array::real() const {
    fixed_array result = *this;
    result.mImag.reset();
    return result;
}

fixed_array fixed_array::imag() const {
    if (!mImag) {
        return zeros(mShape, mType);
    }
    fixed_array result = *this;
    result.mReal = std::exchange(result.mImag, nullptr);
    return result;
}

namespace {

/// Calls `take(i, value)` with the nearest double of each element.
template <class Take>
void forEachDouble(const wordarray& words, const Take& take) {
    // Beyond these, doubles have fewer bits, or none.
    constexpr int kSafeExponent = 900;
    constexpr std::uint64_t kLongWord = 50;
    const detail::WordGrid& grid = words.grid();
    const std::size_t count = words.span().count;
    if (grid.bits > static_cast<int>(kWordBits) || std::abs(grid.exponent) > kSafeExponent) {
        for (std::size_t i = 0; i < count; ++i) {
            detail::noteWork(kLongWord + grid.limbs());
            take(i, words.toDouble(i));
        }
        return;
    }
    const double unit = std::ldexp(1.0, grid.exponent);
    const mp_limb_t* const limbs = words.span().limbs;
    detail::inSlices(count, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            take(i, unit * (grid.isSigned ? static_cast<double>(static_cast<std::int64_t>(limbs[i]))
                                          : static_cast<double>(limbs[i])));
        }
    });
}

}  // namespace

std::vector<double> fixed_array::to_doubles() const {
    std::vector<double> values(size());
    if (!detail::integers::toDoubles(mReal->span(), values.data())) {
        forEachDouble(*mReal, [&](std::size_t i, double value) { values[i] = value; });
    }
    return values;
}

std::vector<std::complex<double>> fixed_array::to_complex_doubles() const {
    std::vector<std::complex<double>> values(size());
    forEachDouble(*mReal, [&](std::size_t i, double value) { values[i].real(value); });
    if (mImag) {
        forEachDouble(*mImag, [&](std::size_t i, double value) { values[i].imag(value); });
    }
    return values;
}

namespace {

std::span<const std::int64_t> viewOf(const wordarray& words, const fixed_type& type) {
    if (type.bits > static_cast<int>(kWordBits)) {
        throw error("tolvane:array:word", "Words of " + type.text() + " don't fit in 64 bits.");
    }
    return {reinterpret_cast<const std::int64_t*>(words.span().limbs), words.span().count};
}

}  // namespace

std::span<const std::int64_t> fixed_array::words() const {
    return viewOf(*mReal, mType);
}

std::span<const std::int64_t> fixed_array::imag_words() const {
    return mImag ? viewOf(*mImag, mType) : std::span<const std::int64_t>();
}

std::ostream& operator<<(std::ostream& out, const fixed_array& x) {
    constexpr std::size_t kMostShown = 20;
    out << (x.name().empty() ? "" : x.name() + ": ") << x.type() << (x.is_complex() ? " complex" : "") << ' '
        << textOf(x.shape()) << " [";
    for (std::size_t i = 0; i < std::min(x.size(), kMostShown); ++i) {
        out << (i == 0 ? "" : ", ") << x.at(i);
        if (x.is_complex()) {
            const exact_value imag = x.imag_at(i);
            out << (imag.is_negative() ? " - " : " + ") << (imag.is_negative() ? -imag : imag) << 'i';
        }
    }
    return out << (x.size() > kMostShown ? ", ..." : "") << "]";
}

}  // namespace tolvane
