#include "program/assignments.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "numbers/uninterrupted.h"
#include "program/array_memory.h"
#include "program/kernels.h"
#include "program/log_access.h"
#include "program/moves.h"
#include "program/result_types.h"
#include "program/shapes.h"

namespace tolvane {

using detail::ArrayAccess;
using detail::Operation;
using detail::Place;
using detail::wordarray;
using detail::integers::Arena;
using detail::integers::Block;
using detail::integers::Extent;
using detail::integers::Sign;
using Words = ArrayAccess::Words;

namespace {

fixed_type exactType(Operation operation, const fixed_type& a, const fixed_type& b) {
    return operation == Operation::product
               ? detail::productType(a, b)
               : detail::sumType(a, b, operation == Operation::sum ? Sign::plus : Sign::minus);
}

fixed_array exactly(Operation operation, const fixed_array& a, const fixed_array& b) {
    return operation == Operation::product ? a * b : operation == Operation::sum ? a + b : a - b;
}

bool combineAll(Operation operation, const detail::WordSpan& a, const detail::WordSpan& b, wordarray& out) {
    return operation == Operation::product
               ? detail::integers::multiply(a, b, out)
               : detail::integers::combine(operation == Operation::sum ? Sign::plus : Sign::minus, a, b, out);
}

/// A part as an operand of elements of a shape: one word for all, or one for each. It holds the words only if they are
/// its own, so that those of a target have one owner.
class Operand {
 public:
    Operand(const Words& part, const array_shape& from, const array_shape& to, std::uint64_t count)
        : mWords(part.get()) {
        const std::uint64_t size = part->span().count;
        if (size != count && size != 1) {
            mOwn.emplace(detail::gathered(*part, detail::broadcasted(detail::stridedOf(from), to)));
        }
    }
    const wordarray& words() const { return mOwn ? *mOwn : *mWords; }

 private:
    const wordarray* mWords;
    std::optional<wordarray> mOwn;
};

/// Quantizes all words of a part, or one that stands for all.
void quantizeInto(const wordarray& part, Place& place, wordarray& words) {
    if (part.span().count == words.span().count) {
        detail::castWords(part.span(), place, words);
        return;
    }
    const Extent extent = detail::integers::extentOf(part.grid());
    const std::size_t width =
        detail::integers::widthFor(std::max(place.neededBits(extent), detail::integers::neededBits(extent)));
    place.open(width);
    Arena arena(width, 1);
    Block block = arena.next();
    detail::forEachBlock(words.span().count, [&](std::uint64_t begin, std::size_t count) {
        detail::integers::load(part.span(), 0, 1, width, block);
        detail::integers::spread(count, width, block);
        place.quantize(block, count);
        detail::store(block, count, width, words, begin);
    });
}

/// Sets all words to quantized results of words of one limb, in one pass; false, and nothing is done, if results or
/// what they become on the way are longer.
bool combineInto(Operation operation, const wordarray& a, const wordarray& b, const fixed_type& exact, Place& place,
                 wordarray& words) {
    const Extent extent = detail::extentOf(exact);
    const int bits = std::max(place.neededBits(extent), detail::integers::neededBits(extent));
    if (detail::integers::widthFor(bits) != 1 || a.grid().limbs() != 1 || b.grid().limbs() != 1 ||
        words.grid().limbs() != 1) {
        return false;
    }
    const std::uint64_t count = words.span().count;
    // What one chunk leaves in the cache is read from there.
    constexpr std::uint64_t kChunk = 16 * detail::kBlock;
    wordarray chunk = detail::makeWords(std::min(kChunk, count), detail::gridOf(exact), wordarray::Uninitialised{});
    wordarray rest =
        detail::makeWords(count > kChunk ? count % kChunk : 0, detail::gridOf(exact), wordarray::Uninitialised{});
    place.open(1);
    const auto partOf = [](const wordarray& operand, std::uint64_t begin, std::uint64_t length) {
        detail::WordSpan span = operand.span();
        if (span.count != 1) {
            span.limbs += begin;
            span.count = length;
        }
        return span;
    };
    for (std::uint64_t begin = 0; begin < count; begin += kChunk) {
        const std::uint64_t length = std::min(kChunk, count - begin);
        wordarray& results = length == chunk.span().count ? chunk : rest;
        if (!combineAll(operation, partOf(a, begin, length), partOf(b, begin, length), results)) {
            return false;  // in the first chunk, if at all
        }
        if (place.quantizeAll(results.span(), words.limbs() + begin)) {
            continue;
        }
        detail::forEachBlock(length, [&](std::uint64_t first, std::size_t many) {
            Block block = detail::integers::view(results.span(), first, many);
            place.quantize(block, many);
            detail::store(block, many, 1, words, begin + first);
        });
    }
    return true;
}

/// Where results are written.
enum class Writing { inPlace, elsewhere };

/// Lets `fill(place, words, isImag)` write all words of the target, in place if asked for and nobody else sees them.
/// They may be those of an operand. In place, the function throws nothing once it writes.
template <class Fill>
void fillTarget(fixed_array& out, bool isComplex, Writing writing, const fixed_format& format,
                const code_location& where, const Fill& fill) {
    if (isComplex && !out.is_complex()) {
        throw error("tolvane:array:complex", "Complex values can't be put into a real array. Make it complex first.");
    }
    Place place(format, where);
    if (writing == Writing::inPlace && !LogAccess::isLogging() && !out.is_complex() &&
        ArrayAccess::real(out).use_count() == 1) {
        const detail::Uninterrupted alone;
        fill(place, ArrayAccess::writable(ArrayAccess::real(out)), false);
        return;
    }
    std::optional<Place> imagPlace;
    // What comes out has another type if a log has put other formats in force.
    const detail::WordGrid grid = detail::gridOf(place.type());
    wordarray real = detail::makeWords(out.size(), grid, wordarray::Uninitialised{});
    fill(place, real, false);
    std::optional<wordarray> imag;
    if (out.is_complex()) {
        imag = detail::makeWords(out.size(), grid);
    }
    if (isComplex) {
        imagPlace.emplace(format, where);
        fill(*imagPlace, *imag, true);
    }
    fixed_array made = ArrayAccess::make(place.type(), out.shape(), std::move(real), std::move(imag), out.name());
    Place::close({&place, imagPlace ? &*imagPlace : nullptr});
    out = std::move(made);
}

/// Raises if a shape can't be broadcast to another.
void requireFits(const array_shape& shape, const array_shape& into) {
    if (shape != into) {
        detail::broadcasted(detail::stridedOf(shape), into);
    }
}

void assignResult(Operation operation, fixed_array& out, const fixed_array& a, const fixed_array& b,
                  const fixed_format& format, const code_location& where) {
    if (a.is_complex() || b.is_complex()) {
        assign(out, exactly(operation, a, b), format.rounding(), format.overflow(), where);
        return;
    }
    requireFits(a.shape() == b.shape() ? a.shape() : detail::commonShape(a.shape(), b.shape()), out.shape());
    const Operand left(ArrayAccess::real(a), a.shape(), out.shape(), out.size());
    const Operand right(ArrayAccess::real(b), b.shape(), out.shape(), out.size());
    const fixed_type exact = detail::grown(exactType(operation, a.type(), b.type()), a, b);
    const bool isKept =
        !LogAccess::isLogging() && exact.fraction <= out.type().fraction && detail::cannotOverflow(format, exact);
    fillTarget(out, false, Writing::inPlace, format, where, [&](Place& place, wordarray& words, bool /*isImag*/) {
        // The loops below have one operand with a word for each result.
        const bool isOne = left.words().span().count == 1 && right.words().span().count == 1;
        if (isKept && !isOne && combineAll(operation, left.words().span(), right.words().span(), words)) {
            return;
        }
        if (isOne || !combineInto(operation, left.words(), right.words(), exact, place, words)) {
            const fixed_array results = exactly(operation, a, b);
            quantizeInto(Operand(ArrayAccess::real(results), results.shape(), out.shape(), out.size()).words(), place,
                         words);
        }
    });
}

}  // namespace

bool detail::cannotOverflow(const fixed_format& into, const fixed_type& values) {
    const integers::Format format = formatOf(into, nullptr);
    return integers::covers(format, integers::roundedOf(format, extentOf(values))) &&
           into.overflow() != overflow::symmetric;
}

bool detail::cannotOverflow(const fixed_format& into, Operation operation, const fixed_array& a, const fixed_array& b) {
    return !a.is_complex() && !b.is_complex() && cannotOverflow(into, exactType(operation, a.type(), b.type()));
}

void assign(fixed_array& out, const fixed_array& x, rounding round, overflow over, const code_location& where) {
    requireFits(x.shape(), out.shape());
    const Operand real(ArrayAccess::real(x), x.shape(), out.shape(), out.size());
    std::optional<Operand> imag;
    if (x.is_complex()) {
        imag.emplace(ArrayAccess::imag(x), x.shape(), out.shape(), out.size());
    }
    fillTarget(out, x.is_complex(), Writing::inPlace, {out.type(), round, over, out.name()}, where,
               [&](Place& place, wordarray& words, bool isImag) {
                   quantizeInto((isImag ? *imag : real).words(), place, words);
               });
}

void assign(fixed_array& out, std::span<const double> values, rounding round, overflow over,
            const code_location& where) {
    if (values.size() != out.size()) {
        throw error("tolvane:array:shape", std::to_string(values.size()) +
                                               " values have no place in an array of shape " +
                                               detail::textOf(out.shape()) + ".");
    }
    const fixed_format format(out.type(), round, over, out.name());
    if (LogAccess::wantsMore() || detail::formatOf(format, nullptr).hasMore()) {
        fixed_array made = detail::quantizedDoubles(values, out.shape(), format, where);
        out = out.is_complex() ? complex_of(made, fixed_array::zeros(out.shape(), made.type())).named(out.name())
                               : std::move(made);
        return;
    }
    // Values are found not to be finite on the way.
    fillTarget(out, false, Writing::elsewhere, format, where, [&](Place& place, wordarray& words, bool /*isImag*/) {
        place.takeValues();
        detail::quantizeInto(values, place, words);
    });
}

void assign_sum(fixed_array& out, const fixed_array& a, const fixed_array& b, rounding round, overflow over,
                const code_location& where) {
    assignResult(Operation::sum, out, a, b, {out.type(), round, over, out.name()}, where);
}

void assign_difference(fixed_array& out, const fixed_array& a, const fixed_array& b, rounding round, overflow over,
                       const code_location& where) {
    assignResult(Operation::difference, out, a, b, {out.type(), round, over, out.name()}, where);
}

void assign_product(fixed_array& out, const fixed_array& a, const fixed_array& b, rounding round, overflow over,
                    const code_location& where) {
    assignResult(Operation::product, out, a, b, {out.type(), round, over, out.name()}, where);
}

namespace {

/// x = x op b at an unnamed place of the type of x; the shape grows if it has to.
void update(Operation operation, fixed_array& x, const fixed_array& b, const code_location& where) {
    if (x.is_complex() || b.is_complex() || detail::commonShape(x.shape(), b.shape()) != x.shape()) {
        x = cast(exactly(operation, x, b), x.type(), where).named(x.name());
        return;
    }
    assignResult(operation, x, x, b, x.type(), where);
}

}  // namespace

fixed_array array_operand::arrayFor(const fixed_array& x) const {
    return mArray != nullptr ? *mArray : constant_for(x, mNumber, mIsWhole);
}

fixed_array& fixed_array::operator+=(const array_operand& other) {
    update(Operation::sum, *this, other.arrayFor(*this), other.mWhere);
    return *this;
}

fixed_array& fixed_array::operator-=(const array_operand& other) {
    update(Operation::difference, *this, other.arrayFor(*this), other.mWhere);
    return *this;
}

fixed_array& fixed_array::operator*=(const array_operand& other) {
    update(Operation::product, *this, other.arrayFor(*this), other.mWhere);
    return *this;
}

}  // namespace tolvane
