// Transposes, other dimensions, diagonals and triangles.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "fi/bulk/entries.h"
#include "fi/core/squeezed_dimensions.h"
#include "fi/fi.h"
#include "fi/shape/element_moves.h"
#include "fi/shape/shape_errors.h"
#include "numbers/services.h"

using namespace tolvane::detail;

// Transposes.

namespace {

void errorIfNotMatrix(const fi& array, const std::string& operation) {
    if (array.ndims() > 2) {
        raise("fixedpoint:fi:" + operation + ":NDArray", "Transpose on ND array is not defined.");
    }
}

/// Swaps rows and columns, in square tiles, so that the columns that are read and the rows that are written share their
/// cache lines.
struct Transposition {
    std::uint64_t rows;
    std::uint64_t columns;

    template <class Mover>
    void operator()(const Mover& mover) const {
        if (rows == 1 || columns == 1) {
            mover.run({.from = 0, .to = 0, .count = rows * columns});
            return;
        }
        constexpr std::uint64_t kTile = 16;
        for (std::uint64_t left = 0; left < columns; left += kTile) {
            for (std::uint64_t top = 0; top < rows; top += kTile) {
                moveTile(mover, top, std::min(top + kTile, rows), left, std::min(left + kTile, columns));
            }
        }
    }

 private:
    template <class Mover>
    void moveTile(const Mover& mover, std::uint64_t top, std::uint64_t bottom, std::uint64_t left,
                  std::uint64_t right) const {
        if constexpr (requires { typename Mover::Value; }) {
            for (std::uint64_t row = top; row < bottom; ++row) {
                const auto* const from = mover.source + row;
                auto* const to = mover.target + row * columns;
                for (std::uint64_t column = left; column < right; ++column) {
                    to[column] = from[column * rows];
                }
            }
        } else if constexpr (requires { Mover::kNotesLast; }) {
            mover.run({.from = bottom - 1 + (right - 1) * rows, .to = 0});
        } else {
            for (std::uint64_t row = top; row < bottom; ++row) {
                for (std::uint64_t column = left; column < right; ++column) {
                    mover.run({.from = row + column * rows, .to = column + row * columns});
                }
            }
        }
    }
};

}  // namespace

fi* fi::transpose() const {
    errorIfNotMatrix(*this, "transpose");
    return ElementMoves::permuted(*this, mN, mM, Transposition{mM, mN}).release();
}

fi* fi::ctranspose() const {
    errorIfNotMatrix(*this, "ctranspose");
    auto result = ElementMoves::permuted(*this, mN, mM, Transposition{mM, mN});
    if (iscomplex()) {
        entries::negate(result->imagEntries());
        result->getAssignmentQuantizer().quantizeArray(result->imagEntries());
    }
    return result.release();
}

// Other dimensions.

fi* fi::squeeze() const {
    auto result = std::make_unique<fi>(*this);
    const Dimensions dims = squeezedDimensions(result->mDims);
    result->copyDimensions(dims.data(), dims.size());
    return result.release();
}

// Diagonals.

void tolvane::detail::raiseNoDiagonalNumber(const std::string& operation) {
    raise("fixedpoint:fi:" + operation + ":kthDiagInputNotInteger", "K-th diagonal input must be an integer scalar.");
}

namespace {

void errorIfBadDiagonal(const fi& array, double k, const std::string& operation) {
    if (array.ndims() != 2) {
        raise("fixedpoint:fi:" + operation + ":firstInputMustBe2D", "First input must be 2D.");
    }
    if (std::isnan(k)) {
        raiseNoDiagonalNumber("diag");
    }
}

/// The number of a diagonal without its fraction; nothing if it doesn't fit in 64 bits.
std::optional<std::int64_t> wholeDiagonal(double k) {
    return k >= -0x1p63 && k < 0x1p63 ? std::optional(static_cast<std::int64_t>(k)) : std::nullopt;
}

/// The distance from the main diagonal.
std::uint64_t distance(std::int64_t k) {
    return k < 0 ? -static_cast<std::uint64_t>(k) : static_cast<std::uint64_t>(k);
}

/// A diagonal: the position of its first element, the number of elements, and the step from one to the next.
struct Diagonal {
    std::uint64_t start;
    std::uint64_t count;
    std::uint64_t step;
};

Diagonal diagonalOf(std::uint64_t rows, std::uint64_t columns, std::int64_t k) {
    const std::uint64_t away = distance(k);
    if (away >= (k > 0 ? columns : rows)) {
        return {0, 0, 0};
    }
    return k > 0 ? Diagonal{away * rows, std::min(rows, columns - away), rows + 1}
                 : Diagonal{away, std::min(columns, rows - away), rows + 1};
}

}  // namespace

fi* fi::diag(double k) const {
    errorIfBadDiagonal(*this, k, "diag");
    const std::optional<std::int64_t> whole = wholeDiagonal(k);
    if (isvector()) {
        if (!whole) {
            raise("fixedpoint:fi:diag:pmaxsize", "Maximum variable size allowed by the program is exceeded.");
        }
        // No overflow: arrays have fewer than 2^63 elements, and a diagonal is at most that far away.
        const std::uint64_t size = mNumel + distance(*whole);
        const Diagonal places = diagonalOf(size, size, *whole);
        const auto spread = [&](const auto& mover) {
            for (std::uint64_t i = 0; i < places.count; ++i) {
                mover.run({.from = i, .to = places.start + i * places.step});
            }
        };
        return ElementMoves::moved(*this, size, size, spread).release();
    }
    const Diagonal places = whole ? diagonalOf(mM, mN, *whole) : Diagonal{0, 0, 0};
    const auto gather = [&](const auto& mover) {
        for (std::uint64_t i = 0; i < places.count; ++i) {
            mover.run({.from = places.start + i * places.step, .to = i});
        }
    };
    return ElementMoves::moved(*this, places.count, 1, gather).release();
}

// Triangles.

namespace {

enum class Triangle { lower, upper };

/// The part of a matrix from a diagonal on.
struct TrianglePattern {
    std::uint64_t rows;
    std::uint64_t columns;
    std::int64_t k;  // between -rows and columns
    Triangle triangle;

    template <class Mover>
    void operator()(const Mover& mover) const {
        const bool isLower = triangle == Triangle::lower;
        for (std::uint64_t column = 0; column < columns; ++column) {
            const std::int64_t diagonalRow = static_cast<std::int64_t>(column) - k;
            // The rows above the lower part, or the rows of the upper part.
            const auto split = static_cast<std::uint64_t>(
                std::clamp<std::int64_t>(diagonalRow + (isLower ? 0 : 1), 0, static_cast<std::int64_t>(rows)));
            const std::uint64_t first = column * rows + (isLower ? split : 0);
            mover.run({.from = first, .to = first, .count = isLower ? rows - split : split});
        }
    }
};

TrianglePattern patternOf(const fi& array, double k, Triangle triangle) {
    errorIfBadDiagonal(array, k, "tril");
    if (array.isempty()) {
        return {0, 0, 0, triangle};
    }
    const std::optional<std::int64_t> whole = wholeDiagonal(k);
    if (!whole) {
        raiseBadIndex();
    }
    // The sizes of an array that has elements fit.
    return {array.getM(), array.getN(),
            std::clamp(*whole, -static_cast<std::int64_t>(array.getM()), static_cast<std::int64_t>(array.getN())),
            triangle};
}

}  // namespace

fi* fi::tril(double k) const {
    const TrianglePattern kept = patternOf(*this, k, Triangle::lower);
    return isempty() ? new fi(*this) : ElementMoves::moved(*this, mM, mN, kept).release();
}

fi* fi::triu(double k) const {
    const TrianglePattern kept = patternOf(*this, k, Triangle::upper);
    return isempty() ? new fi(*this) : ElementMoves::moved(*this, mM, mN, kept).release();
}
