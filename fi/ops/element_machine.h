// The machine that runs the steps of arithmetic (fi/bulk/steps.inl.h) on elements of any body: the one that all others
// are judged by.
#pragma once

#include "fi/bulk/steps.h"
#include "numbers/number.h"
#include "quantization/quantizer.h"

namespace tolvane::detail {

struct Plus {
    static void combine(number& left, const number& right) { left += right; }
};
struct Minus {
    static void combine(number& left, const number& right) { left -= right; }
};

/// Both parts of an element pass each step before the next one.
class ElementMachine {
 public:
    /// What is being computed; `imag` is null for a real element.
    struct Cell {
        number* real;
        number* imag;
    };
    struct Element {
        const number* real;
        const number* imag;
    };
    struct Place {
        const quantizer& format;
        bool casts;
    };

    /// For steps that add; operands are converted in `scratch`, part by part.
    ElementMachine(const Place& place, number& scratch) : product(place), pair(place), sum(place), mScratch(&scratch) {}
    /// For products and quotients.
    ElementMachine(const quantizer& products, const Place& pairs)
        : product{products, false}, pair(pairs), sum(pairs), mScratch(nullptr) {}

    /// Multiplies in place; at most one factor is complex.
    static void multiply(Cell& cell, const Cell&, const Element& b) {
        if (b.imag) {
            cell.imag->setvalue(*cell.real);
            *cell.imag *= *b.imag;
            *cell.real *= *b.real;
            return;
        }
        *cell.real *= *b.real;
        if (cell.imag) {
            *cell.imag *= *b.real;
        }
    }

    /// For real factors.
    static void multiply(const Cell& cell, const Element& a, const Element& b) {
        cell.real->setvalue(*a.real) *= *b.real;
    }

    /// An operand that its place has yet to convert, unless `into` is null.
    struct Operand {
        Element value;
        const Place* into;
    };
    template <class Sign>
    void combine(Sign, const Cell& cell, const Operand& x) const {
        combinePart<Sign>(*cell.real, *x.value.real, x.into);
        if (x.value.imag) {
            combinePart<Sign>(*cell.imag, *x.value.imag, x.into);
        }
    }
    template <class Sign>
    static void combine(Sign, const Cell& cell, const Cell& x) {
        Sign::combine(*cell.real, *x.real);
    }
    static bool casts(const Place& place) { return place.casts; }
    static Operand cast(const Place& place, const Element& x) { return {x, place.casts ? &place : nullptr}; }
    static Operand cast(const Place& place, const Cell& x) {
        if (place.casts) {
            quantize(place, x);
        }
        return {{x.real, x.imag}, nullptr};
    }
    static void quantize(const Place& place, const Cell& cell) {
        place.format.quantize(*cell.real);
        if (cell.imag) {
            place.format.quantize(*cell.imag);
        }
    }

    static void negate(const Cell& cell) { cell.real->negate(); }
    static bool isZero(const Element& x) { return x.real->iszero(); }
    static void divide(const Cell& cell, const Element& a, const Element& b, bool isByZero) {
        if (isByZero) {
            return;
        }
        cell.real->setvalue(*a.real) /= *b.real;
        if (a.imag) {
            cell.imag->setvalue(*a.imag) /= *b.real;
        }
    }
    static void quantizeBut(bool isByZero, const Place& place, const Cell& cell) {
        if (!isByZero) {
            quantize(place, cell);
        }
    }
    static void takeBound(bool isByZero, const Place& place, const Cell& cell, const Element& a) {
        const auto take = [&place](number& part, const number& numerator) {
            // A zero of many bits can be negative.
            const bool isBelowZero = numerator.isnegative() && !numerator.iszero();
            part.setvalue(isBelowZero ? place.format.getLowerBound() : place.format.getUpperBound());
        };
        if (!isByZero) {
            return;
        }
        take(*cell.real, *a.real);
        if (a.imag) {
            take(*cell.imag, *a.imag);
        }
    }

    static constexpr Plus kPlus{};
    static constexpr Minus kMinus{};
    Place product;  // of quotients, too
    Place pair;
    Place sum;

 private:
    template <class Sign>
    void combinePart(number& total, const number& part, const Place* into) const {
        if (!into) {
            Sign::combine(total, part);
            return;
        }
        *mScratch = part;
        Sign::combine(total, into->format.quantize(*mScratch));
    }

    number* mScratch;
};

}  // namespace tolvane::detail
