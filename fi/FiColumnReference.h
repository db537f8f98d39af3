// A view of one column of an array, or of any stretch of its elements, as a column vector.
//
// The current index counts from the start of the view, and stands at the first element of the root until it is set.
// Reads with an index, such as `real(i)`, count from the start of the root, as in every view. Everything else takes the
// elements of the view alone: arithmetic, comparison, shapes, copies, host arrays, texts, and stores of words into all
// of it. The root is no column view.
#pragma once

#include <cstdint>

#include "fi/FiReference.h"

class TOLVANE_API FiColumnReference final : public FiReference {
 public:
    /// Views a column, from 0. The number of columns is allowed too, for a view behind the last column at which a loop
    /// ends: it has the size of a column and no elements, so it may be copied, compared by place and moved by
    /// setColumn, but not walked over. Raises "fixedpoint:fi:FiColumnReference:ColumnNumberOutOfRange".
    FiColumnReference(fi& root, std::uint64_t column);
    /// Views `count` elements. Raises "fixedpoint:fi:FiColumnReference:IndexOutOfRange".
    FiColumnReference(fi& root, std::uint64_t start, std::uint64_t count);
    FiColumnReference(FiColumnReference& other);
    ~FiColumnReference() override;

    using FiReference::operator=;
    /// Assigns the current element as `fi` does, and takes root, place and size of the other.
    FiColumnReference& operator=(const FiColumnReference& other);

    void setIndex(std::uint64_t index) const override;
    /// Moves the view to a column of the root, whose columns must be as long as the view. Refuses, unlike the
    /// constructor, the place behind the last column. Raises "fixedpoint:fi:FiColumnReference:setColumn". The current
    /// index stays where it was until it is set.
    void setColumn(std::uint64_t column);

 private:
    std::uint64_t getMatrixNumel() const { return mMatrixNumel; }
    std::uint64_t getStartIndex() const { return mStartIndex; }
    void becomeColumnOf(std::uint64_t count);

    std::uint64_t mMatrixNumel;
    std::uint64_t mStartIndex;
};
