#include "fi/FiColumnReference.h"

#include "numbers/services.h"

using namespace tolvane::detail;

FiColumnReference::FiColumnReference(fi& root, std::uint64_t column)
    : FiReference(root), mMatrixNumel(root.numel()), mStartIndex(root.getM() * column) {
    if (column > root.getN()) {
        raise("fixedpoint:fi:FiColumnReference:ColumnNumberOutOfRange",
              "FiColumnReference::Column number out of range in FiColumnReference constructor");
    }
    becomeColumnOf(root.getM());
}

FiColumnReference::FiColumnReference(fi& root, std::uint64_t start, std::uint64_t count)
    : FiReference(root), mMatrixNumel(root.numel()), mStartIndex(start) {
    if (start > mMatrixNumel || count > mMatrixNumel - start) {
        raise("fixedpoint:fi:FiColumnReference:IndexOutOfRange",
              "FiColumnReference::StartIndex + Length exceeds original matrix size in FiColumnReference "
              "constructor");
    }
    becomeColumnOf(count);
}

FiColumnReference::FiColumnReference(FiColumnReference& other)
    : FiReference(other), mMatrixNumel(other.getMatrixNumel()), mStartIndex(other.getStartIndex()) {}

FiColumnReference::~FiColumnReference() = default;

// Assigning a view to itself is sound, as it is for its base. NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
FiColumnReference& FiColumnReference::operator=(const FiColumnReference& other) {
    FiReference::operator=(other);
    copyDimensions(other.dims(), other.ndims());
    mMatrixNumel = other.mMatrixNumel;
    mStartIndex = other.mStartIndex;
    return *this;
}

void FiColumnReference::becomeColumnOf(std::uint64_t count) {
    const std::uint64_t sizes[] = {count, 1};
    copyDimensions(sizes, 2);
}

void FiColumnReference::setIndex(std::uint64_t index) const {
    fi::setIndex(mStartIndex + index);
}

void FiColumnReference::setColumn(std::uint64_t column) {
    if (column >= getRoot().getN()) {
        raise("fixedpoint:fi:FiColumnReference:setColumn", "Column number out of range.");
    }
    mStartIndex = numel() * column;
}
