// Matrices with one value along each diagonal: toeplitz, and along each anti-diagonal: hankel.
//
// The left operand's elements are moved as stored; the right one's are assigned to its type and counted.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

#include "fi/fi.h"
#include "fi/result_types/slopebias_errors.h"
#include "fi/shape/element_moves.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

void errorIfEmpty(const fi& array, const std::string& operation) {
    if (array.isempty()) {
        raise("fixedpoint:fi:" + operation + ":emptynotallowed",
              "Function '" + operation + "' is not defined for empty inputs.");
    }
}

bool areEqual(const fi& a, std::uint64_t indexOfA, const fi& b, std::uint64_t indexOfB) {
    a.setIndex(indexOfA);
    if (&a != &b) {
        b.setIndex(indexOfB);
        return a == b;
    }
    // One array has one current element.
    const fi elementOfA(a, embedded::CopyElement::tag);
    elementOfA.resetLogging();
    b.setIndex(indexOfB);
    return elementOfA == b;
}

}  // namespace

fi* fi::hankel() const {
    errorIfEmpty(*this, "hankel");
    const std::uint64_t size = mNumel;
    const auto above = [=](const auto& mover) {
        for (std::uint64_t column = 0; column < size; ++column) {
            mover.run({.from = column, .to = column * size, .count = size - column});
        }
    };
    return ElementMoves::moved(*this, size, size, above).release();
}

fi* fi::hankel(const fi& row) const {
    errorIfEmpty(*this, "hankel");
    errorIfEmpty(row, "hankel");
    if (!areEqual(*this, mNumel - 1, row, 0)) {
        warn("VELMAR:hankel:AntiDiagonalConflict",
             "Last element of input column does not match first element of input row. \n         Column wins "
             "anti-diagonal conflict.");
    }
    const std::uint64_t rows = mNumel;
    const std::uint64_t columns = row.mNumel;
    auto result = zerosLike(*this, rows, columns, iscomplex() || row.iscomplex());
    ElementMoves::move(*this, *result, [=](const auto& mover) {
        for (std::uint64_t column = 0; column < std::min(rows, columns); ++column) {
            mover.run({.from = column, .to = column * rows, .count = rows - column});
        }
    });
    ElementMoves::assign(row, *result, [=](const auto& mover) {
        for (std::uint64_t column = 1; column < columns; ++column) {
            // The first row of the column that the left operand doesn't reach.
            const std::uint64_t top = rows - std::min(rows, column);
            mover.run({.from = column + top + 1 - rows, .to = column * rows + top, .count = rows - top});
        }
    });
    return result.release();
}

fi* fi::toeplitz() const {
    if (iscomplex() && isSlopeBiasScaled()) {
        slopebias::raiseForComplex("toeplitz(c)");
    }
    const auto unloggedCopy = [this] {
        auto copy = std::make_unique<fi>(*this);
        copy->resetLogging();
        return copy;
    };
    const std::unique_ptr<fi> row = unloggedCopy();
    errorIfEmpty(*row, "toeplitz");
    if (isreal()) {
        return toeplitz(*row);
    }
    // The first element is conjugated on the opposite side from the rest, so a complex one conflicts with itself:
    // callers expect the warning.
    const std::unique_ptr<fi> column = unloggedCopy();
    row->imagEntries()[0].negate();
    for (std::uint64_t i = 1; i < mNumel; ++i) {
        column->imagEntries()[i].negate();
    }
    row->quantizeAll(true);
    column->quantizeAll(true);
    return column->toeplitz(*row);
}

fi* fi::toeplitz(const fi& row) const {
    errorIfEmpty(*this, "toeplitz");
    errorIfEmpty(row, "toeplitz");
    if (!areEqual(*this, 0, row, 0)) {
        warn("fixedpoint:fi:toeplitz:DiagonalConflict",
             "First element of input column does not match first element of input row. \n         Column wins diagonal "
             "conflict.");
    }
    const std::uint64_t rows = mNumel;
    const std::uint64_t columns = row.mNumel;
    auto result = zerosLike(*this, rows, columns, iscomplex() || row.iscomplex());
    ElementMoves::move(*this, *result, [=](const auto& mover) {
        for (std::uint64_t column = 0; column < std::min(rows, columns); ++column) {
            mover.run({.from = 0, .to = column * rows + column, .count = rows - column});
        }
    });
    ElementMoves::assign(row, *result, [=](const auto& mover) {
        for (std::uint64_t column = 1; column < columns; ++column) {
            for (std::uint64_t top = 0; top < std::min(rows, column); ++top) {
                mover.run({.from = column - top, .to = column * rows + top});
            }
        }
    });
    return result.release();
}
