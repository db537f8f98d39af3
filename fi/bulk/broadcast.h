// How two operands meet element by element: one element meets every element of the other side, and arrays of equal
// dimensions meet index by index.
//
// The one loop of every element-wise operation. It sets the current indices and calls a step, which works on the
// current elements; it allocates nothing. Operations that have array code for a part of the elements walk only the
// rest, and then leave the indices where the loop would have left them (`settle`).
#pragma once

#include <cstdint>

#include "fi/fi.h"

namespace tolvane::detail {

class broadcasting {
 public:
    /// Keeps references to the operands. A left operand of one element counts as the scalar, also when both are. Raises
    /// "fixedpoint:fi:dimagree" for arrays of different dimensions.
    broadcasting(const fi& left, const fi& right)
        : mLeft(left), mRight(right), mLeftMoves(left.numel() != 1), mRightMoves(!mLeftMoves || right.numel() != 1) {
        if (mLeftMoves && mRightMoves) {
            left.checkElementwiseSize(right);
        }
    }

    /// The operand whose dimensions the result takes.
    const fi& shape() const { return mLeftMoves ? mLeft : mRight; }
    std::uint64_t numel() const { return shape().numel(); }
    bool leftIsScalar() const { return !mLeftMoves; }
    bool rightIsScalar() const { return !mRightMoves; }

    /// Calls the step for the elements from `begin` to before `end`, with the indices of both operands and of the
    /// result set.
    template <class Step>
    void walk(const fi& result, std::uint64_t begin, std::uint64_t end, Step&& step) const {
        if (begin >= end) {
            return;
        }
        holdScalar();
        for (std::uint64_t i = begin; i < end; ++i) {
            moveTo(i);
            result.setIndex(i);
            step();
        }
    }

    /// As above over all elements, for a result of another kind: the step takes the place of the element.
    template <class Step>
    void walk(Step&& step) const {
        holdScalar();
        for (std::uint64_t i = 0; i < numel(); ++i) {
            moveTo(i);
            step(i);
        }
    }

    /// Leave all indices as a walk over all elements does.
    void settle(const fi& result) const {
        settle();
        if (numel() > 0) {
            result.setIndex(numel() - 1);
        }
    }
    void settle() const {
        holdScalar();
        if (numel() > 0) {
            moveTo(numel() - 1);
        }
    }

 private:
    void holdScalar() const {
        if (!mLeftMoves) {
            mLeft.setIndex(0);
        } else if (!mRightMoves) {
            mRight.setIndex(0);
        }
    }
    void moveTo(std::uint64_t index) const {
        if (mRightMoves) {
            mRight.setIndex(index);
        }
        if (mLeftMoves) {
            mLeft.setIndex(index);
        }
    }

    const fi& mLeft;
    const fi& mRight;
    bool mLeftMoves;
    bool mRightMoves;
};

}  // namespace tolvane::detail
