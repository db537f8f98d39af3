// Exact sums, differences and products of whole arrays, and casts.
#include <algorithm>
#include <atomic>
#include <cassert>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "program/kernels.h"
#include "program/log_access.h"
#include "program/moves.h"
#include "program/result_types.h"

namespace tolvane {

using detail::Arena;
using detail::ArrayAccess;
using detail::grown;
using detail::PartReader;
using detail::Place;
using detail::productType;
using detail::sumType;
using detail::wordarray;
using detail::integers::Block;
using detail::integers::Extent;
using detail::integers::Order;
using detail::integers::Sign;
using Words = ArrayAccess::Words;

namespace {

std::atomic<int> sMostBits = 1024;

}  // namespace

fixed_type detail::grown(const fixed_type& type, const fixed_array& a, const fixed_array& b) {
    const int most = sMostBits.load(std::memory_order_relaxed);
    if (type.bits <= most || LogAccess::isOverriding()) {
        return type;
    }
    const auto nameOf = [](const fixed_array& x) {
        return (x.name().empty() ? std::string("a value") : "\"" + x.name() + "\"") + " of " + x.type().text();
    };
    throw error("tolvane:array:growth", "The exact result of " + nameOf(a) + " and " + nameOf(b) + " needs " +
                                            std::to_string(type.bits) + " bits, more than the " + std::to_string(most) +
                                            " allowed. Cast an operand, or call set_most_bits.");
}

namespace {

fixed_type negatedType(const fixed_type& type) {
    return {true, type.bits + 1, type.fraction};
}

/// The shape of an operation on two arrays, and where their elements are if they have to be repeated.
class Broadcast {
 public:
    Broadcast(const fixed_array& a, const fixed_array& b) : mShape(shapeOf(a.shape(), b.shape())) {
        mCount = 1;
        for (const std::size_t size : mShape) {
            mCount *= size;
        }
    }
    const array_shape& shape() const { return mShape; }
    std::uint64_t count() const { return mCount; }
    /// The words of a part as the operation meets them: one for all, or one for each element.
    Words expanded(const Words& part, const array_shape& shape) const {
        const std::uint64_t size = part->span().count;
        if (size == mCount || size == 1) {
            return part;
        }
        // How far each index moves in the part.
        std::vector<std::size_t> steps(mShape.size());
        std::size_t step = 1;
        for (std::size_t i = 0; i < shape.size(); ++i) {
            const std::size_t length = shape[shape.size() - 1 - i];
            steps[steps.size() - 1 - i] = length == 1 ? 0 : step;
            step *= length;
        }
        constexpr std::uint64_t kRepeatsNoted = 1024;
        wordarray words = detail::makeWords(mCount, part->grid());
        std::vector<std::size_t> index(mShape.size());
        std::size_t from = 0;
        for (std::uint64_t to = 0; to < mCount; ++to) {
            std::ranges::copy(part->word(from), words.word(to).begin());
            if (to % kRepeatsNoted == 0) {
                detail::noteWork(kRepeatsNoted * words.grid().limbs());
            }
            for (std::size_t d = mShape.size(); d-- > 0;) {
                from += steps[d];
                if (++index[d] < mShape[d]) {
                    break;
                }
                from -= steps[d] * mShape[d];
                index[d] = 0;
            }
        }
        return std::make_shared<const wordarray>(std::move(words));
    }

 private:
    static array_shape shapeOf(const array_shape& a, const array_shape& b) {
        array_shape shape(std::max(a.size(), b.size()));
        for (std::size_t i = 0; i < shape.size(); ++i) {
            const std::size_t left = i < a.size() ? a[a.size() - 1 - i] : 1;
            const std::size_t right = i < b.size() ? b[b.size() - 1 - i] : 1;
            if (left != right && left != 1 && right != 1) {
                throw error("tolvane:array:shape", "Sizes " + std::to_string(left) + " and " + std::to_string(right) +
                                                       " of two operands don't fit together.");
            }
            shape[shape.size() - 1 - i] = left == 1 ? right : left;
        }
        return shape;
    }

    array_shape mShape;
    std::uint64_t mCount;
};

/// left op right, or one of them where the other is missing; nothing if both are.
wordarray combineParts(const Words& left, const Words& right, Sign sign, const fixed_type& type, std::uint64_t count) {
    wordarray words = detail::makeWords(count, detail::gridOf(type), wordarray::Uninitialised{});
    if (left && right && detail::integers::combine(sign, left->span(), right->span(), words)) {
        return words;
    }
    const std::size_t width = detail::integers::widthFor(type.bits + 1);
    Arena arena(width, 3);
    Block total = arena.next();
    std::optional<PartReader> a;
    std::optional<PartReader> b;
    if (left) {
        a.emplace(*left, arena, width);
    }
    if (right) {
        b.emplace(*right, arena, width);
    }
    detail::forEachBlock(count, [&](std::uint64_t begin, std::size_t length) {
        if (a) {
            detail::integers::copy(a->block(begin, length), length, width, total);
        } else {
            std::fill_n(total.limbs, length * width, 0);
            total.extent = {-type.fraction, 0, false};
        }
        if (b) {
            detail::integers::combine(sign, b->block(begin, length), length, width, total);
        }
        detail::integers::align(-type.fraction, length, width, total);
        detail::store(total, length, width, words, begin);
    });
    return words;
}

fixed_array combine(const fixed_array& a, const fixed_array& b, Sign sign) {
    const fixed_type type = grown(sumType(a.type(), b.type(), sign), a, b);
    const Broadcast operands(a, b);
    const auto part = [&](const Words& left, const Words& right) {
        return combineParts(left ? operands.expanded(left, a.shape()) : left,
                            right ? operands.expanded(right, b.shape()) : right, sign, type, operands.count());
    };
    wordarray real = part(ArrayAccess::real(a), ArrayAccess::real(b));
    std::optional<wordarray> imag;
    if (a.is_complex() || b.is_complex()) {
        imag = part(ArrayAccess::imag(a), ArrayAccess::imag(b));
    }
    return ArrayAccess::make(type, operands.shape(), std::move(real), std::move(imag));
}

/// a b, or with a second pair of factors a b + c d, or the difference.
wordarray multiplyParts(const Words& a, const Words& b, const Words& c, const Words& d, Sign sign,
                        const fixed_type& type, std::uint64_t count) {
    wordarray words = detail::makeWords(count, detail::gridOf(type), wordarray::Uninitialised{});
    if (!c && detail::integers::multiply(a->span(), b->span(), words)) {
        return words;
    }
    const auto bitsOf = [](const Words& part) {
        return part ? detail::integers::neededBits(detail::integers::extentOf(part->grid())) : 0;
    };
    const std::size_t factorWidth = detail::integers::widthFor(std::max({bitsOf(a), bitsOf(b), bitsOf(c), bitsOf(d)}));
    const std::size_t width = std::max(detail::integers::widthFor(type.bits + 1), factorWidth);
    Arena factors(factorWidth, 4);
    Arena arena(width, 2);
    Block total = arena.next();
    Block second = arena.next();
    PartReader left(*a, factors, factorWidth);
    PartReader right(*b, factors, factorWidth);
    std::optional<PartReader> otherLeft;
    std::optional<PartReader> otherRight;
    if (c) {
        otherLeft.emplace(*c, factors, factorWidth);
        otherRight.emplace(*d, factors, factorWidth);
    }
    detail::forEachBlock(count, [&](std::uint64_t begin, std::size_t length) {
        detail::integers::multiply(left.block(begin, length), right.block(begin, length), length, factorWidth, width,
                                   total);
        if (otherLeft) {
            detail::integers::multiply(otherLeft->block(begin, length), otherRight->block(begin, length), length,
                                       factorWidth, width, second);
            detail::integers::combine(sign, second, length, width, total);
        }
        detail::store(total, length, width, words, begin);
    });
    return words;
}

wordarray castPart(const wordarray& part, Place& place) {
    wordarray words = detail::makeWords(part.span().count, detail::gridOf(place.type()));
    detail::castWords(part.span(), place, words);
    return words;
}

void requireReal(const fixed_array& x, const char* what) {
    if (x.is_complex()) {
        throw error("tolvane:array:complex", std::string(what) + " needs real numbers.");
    }
}

}  // namespace

int set_most_bits(int bits) {
    return sMostBits.exchange(bits);
}

fixed_array cast(const fixed_array& x, const fixed_format& format, const code_location& where) {
    Place place(format, where);
    std::optional<Place> imagPlace;
    wordarray real = castPart(*ArrayAccess::real(x), place);
    std::optional<wordarray> imag;
    if (x.is_complex()) {
        imagPlace.emplace(format, where);
        imag = castPart(*ArrayAccess::imag(x), *imagPlace);
    }
    Place::close({&place, imagPlace ? &*imagPlace : nullptr});
    return ArrayAccess::make(place.type(), x.shape(), std::move(real), std::move(imag), format.name());
}

fixed_array operator+(const fixed_array& a, const fixed_array& b) {
    return combine(a, b, Sign::plus);
}

fixed_array operator-(const fixed_array& a, const fixed_array& b) {
    return combine(a, b, Sign::minus);
}

fixed_array fixed_array::operator-() const {
    const fixed_type type = grown(negatedType(mType), *this, *this);
    const auto negated = [&](const Words& part) {
        return combineParts(nullptr, part, Sign::minus, type, part->span().count);
    };
    std::optional<wordarray> imag;
    if (is_complex()) {
        imag = negated(mImag);
    }
    return ArrayAccess::make(type, mShape, negated(mReal), std::move(imag));
}

fixed_array operator*(const fixed_array& a, const fixed_array& b) {
    fixed_type type = productType(a.type(), b.type());
    if (a.is_complex() && b.is_complex()) {
        // The real part is a difference and the imaginary part a sum. Of words without sign the first needs a sign and
        // the second one bit more, in one type.
        type = {true, type.bits + (type.is_signed ? 1 : 2), type.fraction};
    }
    type = grown(type, a, b);
    const Broadcast operands(a, b);
    const auto left = [&](const Words& part) { return operands.expanded(part, a.shape()); };
    const auto right = [&](const Words& part) { return operands.expanded(part, b.shape()); };
    const Words ar = left(ArrayAccess::real(a));
    const Words br = right(ArrayAccess::real(b));
    const Words ai = a.is_complex() ? left(ArrayAccess::imag(a)) : nullptr;
    const Words bi = b.is_complex() ? right(ArrayAccess::imag(b)) : nullptr;
    const auto multiply = [&](const Words& x, const Words& y, const Words& z = nullptr, const Words& w = nullptr,
                              Sign sign = Sign::plus) {
        return multiplyParts(x, y, z, w, sign, type, operands.count());
    };
    std::optional<wordarray> imag;
    if (ai && bi) {
        imag = multiply(ar, bi, ai, br);
    } else if (ai || bi) {
        imag = ai ? multiply(ai, br) : multiply(ar, bi);
    }
    wordarray real = ai && bi ? multiply(ar, br, ai, bi, Sign::minus) : multiply(ar, br);
    return ArrayAccess::make(type, operands.shape(), std::move(real), std::move(imag));
}

fixed_array divide(const fixed_array& a, const fixed_array& b, const fixed_format& format, const code_location& where) {
    requireReal(a, "divide");
    requireReal(b, "divide");
    const Broadcast operands(a, b);
    const Words left = operands.expanded(ArrayAccess::real(a), a.shape());
    const Words right = operands.expanded(ArrayAccess::real(b), b.shape());
    Place place(format, where);
    // Quotients rounded down to this, and odd if something was cut off, are rounded like the exact ones; only chances
    // and logged errors are those of the bits that are there.
    detail::integers::QuotientRounding rounding;
    constexpr int kManyBits = 62;
    const bool isStochastic = format.rounding() == tolvane::rounding::stochastic;
    rounding.guardBits = isStochastic || place.hasMore() ? kManyBits : rounding.guardBits;
    const int exponent = -place.type().fraction - rounding.guardBits;
    const Extent dividend = detail::integers::extentOf(left->grid());
    const Extent divisor = detail::integers::extentOf(right->grid());
    const Extent quotient = detail::integers::quotientOf(dividend, divisor, exponent);
    const std::size_t width = detail::integers::widthFor(
        std::max({detail::integers::bitsToDivide(dividend, divisor, exponent), place.neededBits(quotient),
                  detail::integers::neededBits(quotient), detail::integers::neededBits(dividend),
                  detail::integers::neededBits(divisor)}));
    place.open(width);
    wordarray words = detail::makeWords(operands.count(), detail::gridOf(place.type()));
    Arena arena(width, 5);
    PartReader numerators(*left, arena, width);
    PartReader denominators(*right, arena, width);
    Block numerator = arena.next();
    Block denominator = arena.next();
    Block result = arena.next();
    detail::forEachBlock(operands.count(), [&](std::uint64_t begin, std::size_t length) {
        detail::integers::copy(numerators.block(begin, length), length, width, numerator);
        detail::integers::copy(denominators.block(begin, length), length, width, denominator);
        if (detail::integers::zerosOf(denominator, length, width) != 0) {
            throw error("tolvane:array:division", "There is a zero among the divisors.");
        }
        detail::integers::divide(numerator, denominator, exponent, 0, length, width, result, rounding);
        result.negativeZeros = 0;
        place.quantize(result, length);
        detail::store(result, length, width, words, begin);
    });
    place.close();
    return ArrayAccess::make(place.type(), operands.shape(), std::move(words), std::nullopt, format.name());
}

fixed_array scaled(const fixed_array& x, int places) {
    const fixed_type type{x.type().is_signed, x.type().bits, x.type().fraction - places};
    const auto moved = [&](const Words& part) {
        wordarray words = detail::makeWords(*part, 0, part->span().count);
        words.setGrid(detail::gridOf(type));
        return words;
    };
    std::optional<wordarray> imag;
    if (x.is_complex()) {
        imag = moved(ArrayAccess::imag(x));
    }
    return ArrayAccess::make(fixed_format(type).type(), x.shape(), moved(ArrayAccess::real(x)), std::move(imag),
                             x.name());
}

fixed_array constant_for(const fixed_array& x, const exact_value& value, bool isWhole) {
    const int bits = x.type().bits;
    if (!isWhole && value.bits() > bits) {
        throw error("tolvane:array:constant",
                    "The constant " + value.text() + " has " + std::to_string(value.bits()) +
                        " significant bits, more than the words of " + x.type().text() +
                        (x.name().empty() ? "" : " (\"" + x.name() + "\")") +
                        ". If it stands for another number, round it: fixed_array(value, \"s18,17\").");
    }
    const bool isSigned = value.is_negative();
    const fixed_type type{isSigned, std::max(value.bits() + (isSigned ? 1 : 0), 1), -value.exponent()};
    wordarray words = detail::makeWords(1, detail::gridOf(fixed_format(type).type()));
    const std::span<mp_limb_t> word = words.word(0);
    std::ranges::copy(value.magnitude(), word.begin());
    if (isSigned) {
        mpn_neg(word.data(), word.data(), static_cast<mp_size_t>(word.size()));
    }
    return ArrayAccess::make(type, {}, std::move(words), std::nullopt);
}

// Comparison.

namespace {

/// Sets bytes to 1 where a pair of elements is in an order, else to 0.
void compareParts(Order order, const Words& left, const Words& right, std::uint64_t count, std::uint8_t* out) {
    if (detail::integers::compare(order, left->span(), right->span(), count, out)) {
        return;
    }
    const auto typeOf = [](const Words& part) {
        const detail::WordGrid& grid = part->grid();
        return fixed_type{grid.isSigned, grid.bits, -grid.exponent};
    };
    const fixed_type type = detail::joinedType(typeOf(left), typeOf(right));
    const auto joined = [&](const Words& part) {
        return typeOf(part) == type ? part : std::make_shared<const wordarray>(detail::widened(*part, type));
    };
    const Words a = joined(left);
    const Words b = joined(right);
    const detail::WordOrder words(a->grid());
    const std::size_t limbs = a->grid().limbs();
    const std::size_t stepA = a->span().count == 1 ? 0 : limbs;
    const std::size_t stepB = b->span().count == 1 ? 0 : limbs;
    const mp_limb_t* x = a->span().limbs;
    const mp_limb_t* y = b->span().limbs;
    const auto compareSlice = [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t i = begin; i < end; ++i, x += stepA, y += stepB) {
            const bool holds = order == Order::equal         ? words.isEqual(x, y)
                               : order == Order::lessOrEqual ? !words.isLess(y, x)
                                                             : words.isLess(x, y);
            out[i] = holds ? 1 : 0;
        }
    };
    detail::inSlices(count, compareSlice, limbs);
}

}  // namespace

bool operator==(const fixed_array& a, const fixed_array& b) {
    if (a.shape() != b.shape()) {
        return false;
    }
    std::vector<std::uint8_t> all(a.size());
    detail::compare(Order::equal, a, b, all);
    return std::ranges::find(all, 0) == all.end();
}

void detail::compare(Order order, const fixed_array& a, const fixed_array& b, std::span<std::uint8_t> out) {
    if (order != Order::equal) {
        requireReal(a, "Order");
        requireReal(b, "Order");
    }
    const Broadcast operands(a, b);
    assert(out.size() == operands.count());
    const auto compareTo = [&](const fixed_array& x, const fixed_array& y, std::uint8_t* flags) {
        compareParts(order, operands.expanded(ArrayAccess::real(x), x.shape()),
                     operands.expanded(ArrayAccess::real(y), y.shape()), operands.count(), flags);
    };
    compareTo(a, b, out.data());
    if (a.is_complex() || b.is_complex()) {
        std::vector<std::uint8_t> areEqual(out.size());
        compareTo(a.imag(), b.imag(), areEqual.data());
        std::ranges::transform(out, areEqual, out.begin(), std::bit_and());
    }
}

namespace {

std::vector<bool> compared(Order order, const fixed_array& a, const fixed_array& b) {
    std::vector<std::uint8_t> flags(Broadcast(a, b).count());
    detail::compare(order, a, b, flags);
    return {flags.begin(), flags.end()};
}

}  // namespace

std::vector<bool> detail::areEqual(const fixed_array& a, const fixed_array& b) {
    return compared(Order::equal, a, b);
}

std::vector<bool> detail::areLess(const fixed_array& a, const fixed_array& b) {
    requireReal(a, "Order");
    requireReal(b, "Order");
    return compared(Order::less, a, b);
}

namespace {

template <class IsBetter>
exact_value extremeOf(const fixed_array& x, const IsBetter& isBetter) {
    requireReal(x, "Order");
    if (x.size() == 0) {
        throw error("tolvane:array:shape", "An array without elements has no extremes.");
    }
    const detail::WordSpan words = ArrayAccess::real(x)->span();
    const detail::WordOrder order(words.grid);
    const std::size_t limbs = words.grid.limbs();
    std::size_t best = 0;
    detail::inSlices(x.size(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            best = isBetter(order, words.limbs + i * limbs, words.limbs + best * limbs) ? i : best;
        }
    });
    return x.at(best);
}

}  // namespace

exact_value max(const fixed_array& x) {
    return extremeOf(
        x, [](const detail::WordOrder& order, const mp_limb_t* a, const mp_limb_t* b) { return order.isLess(b, a); });
}

exact_value min(const fixed_array& x) {
    return extremeOf(
        x, [](const detail::WordOrder& order, const mp_limb_t* a, const mp_limb_t* b) { return order.isLess(a, b); });
}

fixed_array abs(const fixed_array& x) {
    requireReal(x, "abs");
    // The least word's absolute value takes all bits.
    const fixed_type type{false, x.type().bits, x.type().fraction};
    wordarray words = detail::makeWords(x.size(), detail::gridOf(type));
    const Words& from = ArrayAccess::real(x);
    const auto makeSlice = [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t i = begin; i < end; ++i) {
            const std::span<mp_limb_t> word = words.word(i);
            std::ranges::copy(from->word(i), word.begin());
            if (from->isNegative(i)) {
                mpn_neg(word.data(), word.data(), static_cast<mp_size_t>(word.size()));
            }
        }
    };
    detail::inSlices(x.size(), makeSlice, words.grid().limbs());
    return ArrayAccess::make(type, x.shape(), std::move(words), std::nullopt);
}

}  // namespace tolvane
