// Comparison of elements and of arrays.
//
// Where both operands hold doubles or words on one scale, the array forms are loops over these; otherwise they set the
// indices and compare the current elements.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "fi/bulk/broadcast.h"
#include "fi/bulk/compare_loops.h"
#include "fi/bulk/entries.h"
#include "fi/bulk/wide_compare.h"
#include "fi/fi.h"

using namespace tolvane::detail;

// Elements.

bool fi::operator==(const fi& b) const {
    if (isSlopeBiasScaled() || b.isSlopeBiasScaled()) {
        return equalsAcrossScales(b);
    }
    if (mReal != b.mReal) {
        return false;
    }
    if (isreal()) {
        return b.isreal() || b.imag().iszero();
    }
    return b.isreal() ? imag().iszero() : imag() == b.imag();
}

bool fi::equalsAcrossScales(const fi& b) const {
    if (isreal() && b.isreal()) {
        return mReal == b.getAdjustedReal(*this);
    }
    if (iscomplex() && b.iscomplex()) {
        const fi& other = b.getAdjustedElement(*this);
        return mReal == other.mReal && imag() == other.imag();
    }
    const fi& flat = isreal() ? *this : b;
    const fi& full = isreal() ? b : *this;
    if (flat.mReal != full.getAdjustedElement(flat).mReal) {
        return false;
    }
    // The imaginary part is compared as stored, although its zero is made on the other operand's scale. The zero passes
    // its own quantizer, which must leave no trace in the operand's log or in the log map.
    number zero(flat.storedZero(), flat.wordPrecision(), number::getDefaultForceMultiplePrecision());
    quantizer q(flat.getAssignmentQuantizer());
    q.quantize(zero);
    q.getQlogger().reset();
    return full.imag() == zero;
}

// Arrays.

namespace {

using compareloops::Doubles;
using compareloops::Join;
using compareloops::Relation;

/// Both operands as doubles; the imaginary part of a real one is a zero.
struct DoubleParts {
    Doubles re;
    Doubles im;

    DoubleParts(const fi& array, bool isScalar)
        : re{entries::doublesOf(array.real(), array.numel()).data(), isScalar},
          im{array.isreal() ? &kZero : entries::doublesOf(array.imag(), array.numel()).data(),
             isScalar || array.isreal()} {}
    bool areThere() const { return re.values && im.values; }

 private:
    static constexpr double kZero = 0.0;
};

/// Both operands where one has words; real ones have no comparison of imaginary parts.
struct WideParts {
    std::optional<wide::Comparison> re;
    std::optional<wide::Comparison> im;

    WideParts(const fi& a, bool aIsScalar, const fi& b, bool bIsScalar, std::uint64_t count)
        : re(wide::Comparison::of({&a.real(), a.getNumericType(), aIsScalar},
                                  {&b.real(), b.getNumericType(), bIsScalar}, count)),
          mIsComplex(a.iscomplex() || b.iscomplex()) {
        if (re && mIsComplex) {
            im = wide::Comparison::of({a.iscomplex() ? &a.imag() : nullptr, a.getNumericType(), aIsScalar},
                                      {b.iscomplex() ? &b.imag() : nullptr, b.getNumericType(), bIsScalar}, count);
        }
    }
    bool areThere() const { return re && (im || !mIsComplex); }

 private:
    bool mIsComplex;
};

/// `Compare` is applied to whole elements, its relation to the parts, whose flags are joined.
template <class Compare>
void compareForEquality(const fi& a, const fi& b, Relation relation, Join join, const fi::FlagsFor& flagsFor) {
    const broadcasting operands(a, b);
    const std::span<std::uint8_t> out = flagsFor(operands.shape());
    const DoubleParts left(a, operands.leftIsScalar());
    const DoubleParts right(b, operands.rightIsScalar());
    const bool isScaled = a.isSlopeBiasScaled() || b.isSlopeBiasScaled();
    if (isScaled || !left.areThere() || !right.areThere()) {
        WideParts wide(a, operands.leftIsScalar(), b, operands.rightIsScalar(), out.size());
        if (isScaled || !wide.areThere()) {
            operands.walk([&](std::uint64_t i) { out[i] = Compare()(a, b); });
            return;
        }
        wide.re->run(relation, Join::replace, out.data());
        if (wide.im) {
            wide.im->run(relation, join, out.data());
        }
        operands.settle();
        return;
    }
    compareloops::compare(relation, left.re, right.re, out.size(), Join::replace, out.data());
    if (a.iscomplex() || b.iscomplex()) {
        compareloops::compare(relation, left.im, right.im, out.size(), join, out.data());
    }
    operands.settle();
}

/// The order of real parts: `Compare` of elements, or the relation between doubles, to which isSwapped gives the right
/// one first.
template <class Compare>
void compareForOrder(const fi& a, const fi& b, Relation relation, bool isSwapped, const fi::FlagsFor& flagsFor) {
    const broadcasting operands(a, b);
    const std::span<std::uint8_t> out = flagsFor(operands.shape());
    const Doubles left{entries::doublesOf(a.real(), a.numel()).data(), operands.leftIsScalar()};
    const Doubles right{entries::doublesOf(b.real(), b.numel()).data(), operands.rightIsScalar()};
    if (!a.hasScaleOf(b) || !left.values || !right.values) {
        const wide::Compared first{&a.real(), a.getNumericType(), operands.leftIsScalar()};
        const wide::Compared second{&b.real(), b.getNumericType(), operands.rightIsScalar()};
        std::optional<wide::Comparison> wide =
            wide::Comparison::of(isSwapped ? second : first, isSwapped ? first : second, out.size());
        if (!a.hasScaleOf(b) || !wide) {
            operands.walk([&](std::uint64_t i) { out[i] = Compare()(a.real(), b.getAdjustedReal(a)); });
            return;
        }
        wide->run(relation, Join::replace, out.data());
        operands.settle();
        return;
    }
    compareloops::compare(relation, isSwapped ? right : left, isSwapped ? left : right, out.size(), Join::replace,
                          out.data());
    operands.settle();
}

/// For arrays of equal dimensions and complexity; leaves the indices at the first difference.
bool haveEqualElements(const fi& a, const fi& b) {
    const std::uint64_t count = a.numel();
    const auto stopAt = [&](std::uint64_t place) {
        if (count > 0) {
            a.setIndex(std::min(place, count - 1));
            b.setIndex(std::min(place, count - 1));
        }
        return place == count;
    };
    const bool isScaled = a.isSlopeBiasScaled() || b.isSlopeBiasScaled();
    const DoubleParts left(a, false);
    const DoubleParts right(b, false);
    if (!isScaled && left.areThere() && right.areThere()) {
        const auto firstDifference = [count](Doubles x, Doubles y) {
            const double* const end = x.values + count;
            return x.isScalar ? count
                              : static_cast<std::uint64_t>(std::mismatch(x.values, end, y.values).first - x.values);
        };
        return stopAt(std::min(firstDifference(left.re, right.re), firstDifference(left.im, right.im)));
    }
    if (WideParts wide(a, false, b, false, count); !isScaled && wide.areThere()) {
        return stopAt(std::min(wide.re->firstDifference(), wide.im ? wide.im->firstDifference() : count));
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        b.setIndex(i);
        a.setIndex(i);
        if (a != b) {
            return false;
        }
    }
    return true;
}

}  // namespace

void fi::compare(Comparison comparison, const fi& b, const FlagsFor& flagsFor) const {
    switch (comparison) {
        case Comparison::eq:
            return compareForEquality<std::equal_to<>>(*this, b, Relation::isEqual, Join::both, flagsFor);
        case Comparison::ne:
            return compareForEquality<std::not_equal_to<>>(*this, b, Relation::isUnequal, Join::either, flagsFor);
        case Comparison::gt:
            return compareForOrder<std::greater<>>(*this, b, Relation::isLess, true, flagsFor);
        case Comparison::ge:
            return compareForOrder<std::greater_equal<>>(*this, b, Relation::isAtMost, true, flagsFor);
        case Comparison::lt:
            return compareForOrder<std::less<>>(*this, b, Relation::isLess, false, flagsFor);
        case Comparison::le:
            return compareForOrder<std::less_equal<>>(*this, b, Relation::isAtMost, false, flagsFor);
    }
}

bool fi::equalsArray(const fi& b) const {
    return isSameSize(b) && isreal() == b.isreal() && haveEqualElements(*this, b);
}
