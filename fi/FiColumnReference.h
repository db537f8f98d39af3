// A view of one column of an array, or of any range of its elements, as a column vector.
//
// The current index counts from the start of the view, and is at the first element of the root until it is set. Reads
// with an index, such as `real(i)`, count from the start of the root, as in every view. Everything else uses only the
// elements of the view: arithmetic, comparison, shapes, copies, host arrays, texts, and stores of words into all of it.
// The root must not be a column view.
#pragma once

#include <cstdint>

#include "fi/FiReference.h"

class TOLVANE_API FiColumnReference final : public FiReference {
 public:
    /// Views a column, from 0. The number of columns is also valid, for a view past the last column as the end of a
    /// loop: it has the size of a column but no elements, so it may be copied, compared by position and moved by
    /// setColumn, but not iterated over. Raises "fixedpoint:fi:FiColumnReference:ColumnNumberOutOfRange".
    FiColumnReference(fi& root, std::uint64_t column);
    /// Views `count` elements. Raises "fixedpoint:fi:FiColumnReference:IndexOutOfRange".
    FiColumnReference(fi& root, std::uint64_t start, std::uint64_t count);
    FiColumnReference(FiColumnReference& other);
    ~FiColumnReference() override;

    using FiReference::operator=;
    /// Assigns the current element as `fi` does, and takes root, position and size of the other.
    FiColumnReference& operator=(const FiColumnReference& other);

    void setIndex(std::uint64_t index) const override;
    /// Moves the view to a column of the root, whose columns must be as long as the view. Unlike the constructor,
    /// refuses the position past the last column. Raises "fixedpoint:fi:FiColumnReference:setColumn". The current index
    /// stays at the same element until it is set.
    void setColumn(std::uint64_t column);

 private:
    std::uint64_t getMatrixNumel() const { return mMatrixNumel; }
    std::uint64_t getStartIndex() const { return mStartIndex; }
    void becomeColumnOf(std::uint64_t count);

    std::uint64_t mMatrixNumel;
    std::uint64_t mStartIndex;
};
