#include "program/functions.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <optional>
#include <string>
#include <utility>

#include "program/kernels.h"
#include "program/moves.h"

namespace tolvane {

using detail::Arena;
using detail::ArrayAccess;
using detail::AxisSizes;
using detail::Place;
using detail::wordarray;
using detail::WordSpan;
using detail::integers::Block;
using detail::integers::Extent;

namespace {

void requireReal(const fixed_array& x, const char* what) {
    if (x.is_complex()) {
        throw error("tolvane:array:complex", std::string(what) + " needs real numbers.");
    }
}

std::size_t axisOf(const fixed_array& x, int axis) {
    return detail::axisOf(axis, x.shape().size());
}

}  // namespace

fixed_array array_or_number::exact() const {
    return mArray ? *mArray : constant_for(fixed_array(), mValue, true);
}

fixed_array array_or_number::beside(const array_or_number& other) const {
    return mArray || !other.mArray ? exact() : constant_for(*other.mArray, mValue, mIsWhole);
}

// Means.

namespace {

fixed_array overCount(const fixed_array& total, std::size_t count, const fixed_format& format,
                      const code_location& where) {
    if (count == 0) {
        throw error("tolvane:array:shape", "Without elements there is no mean.");
    }
    const fixed_array divisor = constant_for(total, count, true);
    const fixed_array real = divide(total.real(), divisor, format, where);
    return total.is_complex() ? complex_of(real, divide(total.imag(), divisor, format, where)) : real;
}

}  // namespace

fixed_array mean(const fixed_array& x, const fixed_format& format, const code_location& where) {
    return overCount(sum(x), x.size(), format, where);
}

fixed_array mean(const fixed_array& x, int axis, const fixed_format& format, const code_location& where) {
    return overCount(sum(x, axis), x.shape()[axisOf(x, axis)], format, where);
}

// Extremes and order.

namespace {

/// Calls `visit(row, first, step)` for each row along an axis, whose elements lie from `first` on.
template <class Visit>
void forEachAlong(const AxisSizes& sizes, const Visit& visit) {
    for (std::size_t row = 0; row < sizes.outer * sizes.inner; ++row) {
        visit(row, row / sizes.inner * sizes.along * sizes.inner + row % sizes.inner, sizes.inner);
    }
}

/// The index of the greatest element of each row, or of the least.
index_list extremesOf(const fixed_array& x, const AxisSizes& sizes, bool isGreatest) {
    requireReal(x, "Order");
    if (sizes.along == 0) {
        throw error("tolvane:array:shape", "Without elements there are no extremes.");
    }
    const WordSpan words = ArrayAccess::real(x)->span();
    const detail::WordOrder order(words.grid);
    const std::size_t limbs = words.grid.limbs();
    index_list found(sizes.outer * sizes.inner);
    forEachAlong(sizes, [&](std::size_t row, std::size_t first, std::size_t step) {
        const mp_limb_t* const begin = words.limbs + first * limbs;
        const mp_limb_t* best = begin;
        std::size_t index = 0;
        detail::inSlices(sizes.along, [&](std::uint64_t from, std::uint64_t to) {
            for (std::size_t i = from; i < to; ++i) {
                const mp_limb_t* const word = begin + i * step * limbs;
                if (isGreatest ? order.isLess(best, word) : order.isLess(word, best)) {
                    best = word;
                    index = i;
                }
            }
        });
        found[row] = static_cast<std::ptrdiff_t>(index);
    });
    return found;
}

fixed_array extremes(const fixed_array& x, int axis, bool isGreatest) {
    const std::size_t along = axisOf(x, axis);
    const AxisSizes sizes(x.shape(), along);
    index_list places = extremesOf(x, sizes, isGreatest);
    forEachAlong(sizes, [&](std::size_t row, std::size_t first, std::size_t step) {
        places[row] = static_cast<std::ptrdiff_t>(first + static_cast<std::size_t>(places[row]) * step);
    });
    return take(x, places).reshaped(detail::without(x.shape(), along));
}

AxisSizes allOf(const fixed_array& x) {
    return {{x.size()}, 0};
}

/// Visits, for each row along an axis, the places of its elements in ascending order.
template <class Visit>
void forEachSorted(const fixed_array& x, int axis, const Visit& visit) {
    requireReal(x, "Order");
    const AxisSizes sizes(x.shape(), axisOf(x, axis));
    const WordSpan words = ArrayAccess::real(x)->span();
    const detail::WordOrder order(words.grid);
    const std::size_t limbs = words.grid.limbs();
    std::vector<std::size_t> places(sizes.along);
    constexpr std::uint64_t kComparison = 10;
    constexpr std::uint64_t kComparisons = 1024;
    std::uint64_t compared = 0;
    forEachAlong(sizes, [&](std::size_t, std::size_t first, std::size_t step) {
        for (std::size_t i = 0; i < places.size(); ++i) {
            places[i] = first + i * step;
        }
        std::ranges::stable_sort(places, [&](std::size_t a, std::size_t b) {
            if (++compared % kComparisons == 0) {
                detail::noteWork(kComparisons * kComparison);
            }
            return order.isLess(words.limbs + a * limbs, words.limbs + b * limbs);
        });
        for (std::size_t i = 0; i < places.size(); ++i) {
            visit(first + i * step, places[i], (places[i] - first) / step);
        }
    });
}

}  // namespace

fixed_array max(const fixed_array& x, int axis) {
    return extremes(x, axis, true);
}

fixed_array min(const fixed_array& x, int axis) {
    return extremes(x, axis, false);
}

std::ptrdiff_t argmax(const fixed_array& x) {
    return extremesOf(x, allOf(x), true).front();
}

std::ptrdiff_t argmin(const fixed_array& x) {
    return extremesOf(x, allOf(x), false).front();
}

index_list argmax(const fixed_array& x, int axis) {
    return extremesOf(x, AxisSizes(x.shape(), axisOf(x, axis)), true);
}

index_list argmin(const fixed_array& x, int axis) {
    return extremesOf(x, AxisSizes(x.shape(), axisOf(x, axis)), false);
}

fixed_array sort(const fixed_array& x, int axis) {
    index_list places(x.size());
    forEachSorted(x, axis, [&](std::size_t to, std::size_t from, std::size_t) {
        places[to] = static_cast<std::ptrdiff_t>(from);
    });
    return take(x, places).reshaped(x.shape());
}

index_list argsort(const fixed_array& x, int axis) {
    index_list indices(x.size());
    forEachSorted(x, axis, [&](std::size_t to, std::size_t, std::size_t index) {
        indices[to] = static_cast<std::ptrdiff_t>(index);
    });
    return indices;
}

fixed_array maximum(const array_or_number& a, const array_or_number& b) {
    return where(is_less(a, b), b, a);
}

fixed_array minimum(const array_or_number& a, const array_or_number& b) {
    return where(is_less(b, a), b, a);
}

fixed_array clip(const fixed_array& x, const array_or_number& low, const array_or_number& high) {
    return minimum(maximum(x, low.beside(x)), high.beside(x));
}

// Truth.

namespace {

/// For each element whether it isn't zero.
std::vector<bool> truthOf(const fixed_array& x) {
    std::vector<bool> truth(x.size());
    for (const ArrayAccess::Words& part : {ArrayAccess::real(x), ArrayAccess::imag(x)}) {
        detail::inSlices(part ? truth.size() : 0, [&](std::uint64_t begin, std::uint64_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                truth[i] = truth[i] || !part->isZero(i);
            }
        });
    }
    return truth;
}

/// For each row whether one element has a truth.
std::vector<bool> hasTruth(const fixed_array& x, int axis, bool truth) {
    const AxisSizes sizes(x.shape(), axisOf(x, axis));
    const std::vector<bool> each = truthOf(x);
    std::vector<bool> found(sizes.outer * sizes.inner);
    forEachAlong(sizes, [&](std::size_t row, std::size_t first, std::size_t step) {
        for (std::size_t i = 0; i < sizes.along && !found[row]; ++i) {
            found[row] = each[first + i * step] == truth;
        }
    });
    return found;
}

}  // namespace

bool any_of(const fixed_array& x) {
    return std::ranges::any_of(truthOf(x), std::identity());
}

bool all_of(const fixed_array& x) {
    return std::ranges::all_of(truthOf(x), std::identity());
}

std::vector<bool> any_of(const fixed_array& x, int axis) {
    return hasTruth(x, axis, true);
}

std::vector<bool> all_of(const fixed_array& x, int axis) {
    std::vector<bool> result = hasTruth(x, axis, false);
    result.flip();
    return result;
}

index_list find(const fixed_array& x) {
    return find(truthOf(x));
}

index_list find(const std::vector<bool>& mask) {
    index_list places;
    for (std::size_t i = 0; i < mask.size(); ++i) {
        if (mask[i]) {
            places.push_back(static_cast<std::ptrdiff_t>(i));
        }
    }
    return places;
}

std::vector<array_shape> argwhere(const fixed_array& x) {
    std::vector<array_shape> indices;
    for (const std::ptrdiff_t place : find(x)) {
        array_shape index(x.shape().size());
        auto rest = static_cast<std::size_t>(place);
        for (std::size_t axis = index.size(); axis-- > 0;) {
            index[axis] = rest % x.shape()[axis];
            rest /= x.shape()[axis];
        }
        indices.push_back(std::move(index));
    }
    return indices;
}

fixed_array where(const std::vector<bool>& mask, const array_or_number& a, const array_or_number& b) {
    const fixed_array left = a.beside(b);
    const fixed_array right = b.beside(a);
    const array_shape shape = detail::commonShape(left.shape(), right.shape());
    const std::size_t count = detail::sizeOf(shape);
    if (mask.size() != count) {
        throw error("tolvane:array:shape", "A mask of " + std::to_string(mask.size()) +
                                               " entries doesn't fit operands of shape " + detail::textOf(shape) + ".");
    }
    const fixed_type type = detail::grown(detail::joinedType(left.type(), right.type()), left, right);
    const fixed_array chosen = detail::widened(broadcast_to(left, shape), type);
    const fixed_array others = detail::widened(broadcast_to(right, shape), type);
    const auto mixed = [&](const ArrayAccess::Words& from, const ArrayAccess::Words& to) {
        const ArrayAccess::Words source =
            from ? from : std::make_shared<const wordarray>(detail::makeWords(count, detail::gridOf(type)));
        wordarray words = detail::copyOf(to, count, type);
        const std::size_t limbs = words.grid().limbs();
        const mp_limb_t* x = source->span().limbs;
        mp_limb_t* y = words.limbs();
        const auto mix = [&](std::uint64_t begin, std::uint64_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const mp_limb_t isChosen = mask[i] ? ~mp_limb_t{0} : 0;
                for (std::size_t k = 0; k < limbs; ++k, ++x, ++y) {
                    *y ^= (*x ^ *y) & isChosen;
                }
            }
        };
        detail::inSlices(count, mix, limbs);
        return words;
    };
    wordarray real = mixed(ArrayAccess::real(chosen), ArrayAccess::real(others));
    std::optional<wordarray> imag;
    if (left.is_complex() || right.is_complex()) {
        imag = mixed(ArrayAccess::imag(chosen), ArrayAccess::imag(others));
    }
    return ArrayAccess::make(type, shape, std::move(real), std::move(imag));
}

// Comparisons.

namespace {

std::vector<bool> inverted(std::vector<bool> truth) {
    truth.flip();
    return truth;
}

}  // namespace

std::vector<bool> is_equal(const array_or_number& a, const array_or_number& b) {
    return detail::areEqual(a.exact(), b.exact());
}

std::vector<bool> is_not_equal(const array_or_number& a, const array_or_number& b) {
    return inverted(is_equal(a, b));
}

std::vector<bool> is_less(const array_or_number& a, const array_or_number& b) {
    return detail::areLess(a.exact(), b.exact());
}

std::vector<bool> is_less_equal(const array_or_number& a, const array_or_number& b) {
    return inverted(is_less(b, a));
}

std::vector<bool> is_greater(const array_or_number& a, const array_or_number& b) {
    return is_less(b, a);
}

std::vector<bool> is_greater_equal(const array_or_number& a, const array_or_number& b) {
    return inverted(is_less(a, b));
}

// Element by element.

fixed_array round(const fixed_array& x, rounding rule) {
    const fixed_type& from = x.type();
    if (from.fraction <= 0) {
        return x;
    }
    // Rounding up can reach the power of two above the range, and a unit where nothing is before the point.
    const int sign = from.is_signed ? 1 : 0;
    const fixed_type type{from.is_signed, std::max(from.bits - from.fraction, sign) + 1, 0};
    std::uint64_t random = 1;
    const detail::integers::Format format = detail::formatOf({type, rule, overflow::saturate}, &random);
    const std::size_t width = detail::integers::widthFor(detail::integers::neededBits(format, detail::extentOf(from)));
    return detail::mapParts(x, type, x.shape(), [&](const wordarray& part) {
        wordarray words = detail::makeWords(x.size(), detail::gridOf(type));
        Arena arena(width, 1);
        Block block = arena.next();
        detail::forEachBlock(x.size(), [&](std::uint64_t begin, std::size_t count) {
            detail::integers::load(part.span(), begin, count, width, block);
            detail::integers::quantize(format, count, width, block, nullptr);
            detail::store(block, count, width, words, begin);
        });
        return words;
    });
}

fixed_array floor(const fixed_array& x) {
    return round(x, rounding::floor);
}

fixed_array ceil(const fixed_array& x) {
    return round(x, rounding::ceil);
}

fixed_array trunc(const fixed_array& x) {
    return round(x, rounding::toward_zero);
}

fixed_array sign(const fixed_array& x) {
    requireReal(x, "sign");
    const bool isSigned = x.type().is_signed;
    const fixed_type type{isSigned, isSigned ? 2 : 1, 0};
    const wordarray& from = *ArrayAccess::real(x);
    wordarray words = detail::makeWords(x.size(), detail::gridOf(type));
    detail::inSlices(x.size(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            words.limbs()[i] = from.isZero(i) ? 0 : from.isNegative(i) ? ~mp_limb_t{0} : 1;
        }
    });
    return ArrayAccess::make(type, x.shape(), std::move(words), std::nullopt);
}

fixed_array conj(const fixed_array& x) {
    return x.is_complex() ? complex_of(x.real(), -x.imag()) : x;
}

namespace {

/// x = floor(sqrt(x)), made odd where something was cut off.
void setRoot(mp_limb_t* x, std::size_t width, bool isCut, std::vector<mp_limb_t>& work) {
    std::size_t used = width;
    while (used > 0 && x[used - 1] == 0) {
        --used;
    }
    if (used == 0) {
        x[0] = isCut ? 1 : 0;
        return;
    }
    mp_limb_t* const root = work.data();
    mp_limb_t* const rest = root + width;
    const mp_size_t left = mpn_sqrtrem(root, rest, x, static_cast<mp_size_t>(used));
    const std::size_t length = (used + 1) / 2;
    std::copy_n(root, length, x);
    std::fill(x + length, x + used, 0);
    x[0] |= isCut || left != 0 ? 1U : 0U;
}

}  // namespace

fixed_array sqrt(const fixed_array& x, const fixed_format& format, const code_location& where) {
    requireReal(x, "sqrt");
    const wordarray& from = *ArrayAccess::real(x);
    for (std::size_t i = 0; x.type().is_signed && i < x.size(); ++i) {
        if (from.isNegative(i)) {
            throw error("tolvane:array:root", "Element " + std::to_string(i) + " of " +
                                                  (x.name().empty() ? std::string("the array") : x.name()) +
                                                  " is below zero and has no square root.");
        }
    }
    Place place(format, where);
    // Roots rounded down to this, and odd if something was cut off, are rounded like the exact ones; only chances and
    // logged errors are those of the bits that are there.
    constexpr int kManyBits = 62;
    const int guardBits = format.rounding() == rounding::stochastic || place.hasMore() ? kManyBits : 2;
    const int exponent = -place.type().fraction - guardBits;
    const Extent radicand = detail::extentOf(x.type());
    const int shift = radicand.exponent - 2 * exponent;
    const Extent root{exponent, (std::max(radicand.bits + shift, 0) + 1) / 2 + 1, false};
    const std::size_t width =
        detail::integers::widthFor(std::max({detail::integers::neededBits(radicand) + std::max(shift, 0),
                                             detail::integers::neededBits(root), place.neededBits(root)}));
    place.open(width);
    wordarray words = detail::makeWords(x.size(), detail::gridOf(place.type()));
    Arena arena(width, 1);
    Block block = arena.next();
    std::vector<mp_limb_t> work(2 * width);
    const auto dropped = static_cast<std::size_t>(std::max(-shift, 0));
    constexpr std::size_t kLimbBits = detail::WordGrid::kLimbBits;
    detail::forEachBlock(x.size(), [&](std::uint64_t begin, std::size_t count) {
        detail::integers::load(from.span(), begin, count, width, block);
        if (shift > 0) {
            detail::integers::align(2 * exponent, count, width, block);
        }
        for (std::size_t i = 0; i < count; ++i) {
            constexpr std::uint64_t kRoot = 50;
            detail::noteWork(kRoot + width * width);
            mp_limb_t* const value = block.limbs + i * width;
            // Bits below the square of the unit of roots are only seen.
            bool isCut = false;
            if (dropped > 0) {
                const auto size = static_cast<mp_size_t>(width);
                const bool isZero = mpn_zero_p(value, size) != 0;
                isCut = !isZero && mpn_scan1(value, 0) < dropped;
                const std::size_t whole = std::min(dropped / kLimbBits, width);
                std::copy(value + whole, value + width, value);
                std::fill(value + width - whole, value + width, 0);
                if (dropped % kLimbBits != 0) {
                    mpn_rshift(value, value, size, static_cast<unsigned>(dropped % kLimbBits));
                }
            }
            setRoot(value, width, isCut, work);
        }
        block.extent = root;
        block.negativeZeros = 0;
        place.quantize(block, count);
        detail::store(block, count, width, words, begin);
    });
    place.close();
    return ArrayAccess::make(place.type(), x.shape(), std::move(words), std::nullopt, format.name());
}

fixed_array power(const fixed_array& x, int exponent) {
    if (exponent < 0) {
        throw error("tolvane:array:exponent", "The exponent " + std::to_string(exponent) +
                                                  " is below zero. Divide 1 by the power, into a format.");
    }
    if (exponent == 0) {
        return ones(x.shape(), ufix(1, 0));
    }
    fixed_array result = x;
    // From the highest bit of the exponent down.
    int bit = 1;
    while (bit <= exponent / 2) {
        bit *= 2;
    }
    for (bit /= 2; bit > 0; bit /= 2) {
        result = result * result;
        if ((exponent & bit) != 0) {
            result = result * x;
        }
    }
    return result.named({});
}

}  // namespace tolvane
