// The places of elements that subscripts name, walked in the order of the subscripts and never stored as a whole.
//
// The library reads only the plain kinds of subscripts: scalars, ":", ranges and lists as real arrays of doubles that
// are whole and within bounds, one for each dimension or one for all; and one mask of the array's own shape. For any
// other index the functions here return nothing, and the host's own subscripts run on an array of positions instead
// (fi/subscripts/plans.cpp). Both give the same places, shapes and order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "host/hv.h"

namespace tolvane::detail {

using Sizes = std::vector<std::uint64_t>;

/// Places counted from 0: `count` of them at a constant distance, modulo 2^64, or listed as offsets.
struct Stretch {
    std::uint64_t first = 0;
    std::uint64_t step = 1;
    std::size_t count = 0;
    const std::uint64_t* offsets = nullptr;  // from `first`; if set, `step` means nothing

    std::uint64_t operator[](std::size_t i) const { return first + (offsets != nullptr ? offsets[i] : i * step); }
    bool isRun() const { return offsets == nullptr && (step == 1 || count == 1); }
};
using VisitStretch = std::function<void(const Stretch&)>;

/// Selected elements of an array, as an array.
class Selection {
 public:
    explicit Selection(Sizes dims) : mDims(std::move(dims)) {}
    virtual ~Selection() = default;
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;

    const Sizes& dims() const { return mDims; }
    /// Visits all places in the order of the selection. A list is short: it has at most `kMostListed` offsets.
    virtual void walk(const VisitStretch& visit) const = 0;

    static constexpr std::size_t kMostListed = 512;

 private:
    Sizes mDims;
};

/// The slices of a dimension in an array: `outer` times `extent` slices of `inner` adjacent elements.
struct Slices {
    std::uint64_t inner;
    std::uint64_t extent;
    std::uint64_t outer;
};

/// One subscript. It refers to the numbers of the host array that it was read from.
class Subscript {
 public:
    /// Every element of a dimension.
    static Subscript all(std::uint64_t extent);
    /// Reads an index other than a mask; the numbers may be at most `most`. Nothing for an empty or any other index.
    static std::optional<Subscript> read(const hvArray* index, std::uint64_t extent, std::uint64_t most);
    /// Reads a logical array.
    explicit Subscript(std::span<const hvLogical> mask);

    std::uint64_t count() const { return mCount; }
    /// Strictly, so that no place is named twice.
    bool isAscending() const { return mIsAscending; }
    bool isRange() const { return mList.empty() && mMask.empty(); }
    bool isRun() const { return isRange() && (mStep == 1 || mCount == 1); }
    bool isMask() const { return !mMask.empty(); }
    /// Whether it names each place of a dimension, in ascending order.
    bool isAll(std::uint64_t extent) const { return mIsAscending && mCount == extent; }
    /// The first and the last place; not of a mask.
    std::uint64_t first() const { return (*this)[0]; }
    std::uint64_t last() const { return (*this)[mCount - 1]; }
    /// The places of groups of `size` elements instead of single elements; of a run.
    Subscript scaled(std::uint64_t size) const;
    /// Not of a mask.
    std::uint64_t operator[](std::uint64_t i) const {
        return mList.empty() ? mFirst + i * mStep : static_cast<std::uint64_t>(static_cast<std::int64_t>(mList[i])) - 1;
    }

    /// Visits the places, times `distance`, counted from `start`.
    void walk(std::uint64_t start, std::uint64_t distance, const VisitStretch& visit) const;
    /// Visits the elements of the slices that are not named; of an ascending subscript.
    void walkRest(const Slices& slices, const VisitStretch& visit) const;

 private:
    Subscript() = default;
    template <class Visit>
    void walkGaps(std::uint64_t extent, Visit&& visit) const;
    bool readNumbers(std::span<const double> numbers, std::uint64_t most);

    std::uint64_t mCount = 0;
    std::uint64_t mFirst = 0;
    std::uint64_t mStep = 1;
    std::span<const double> mList;  // counted from 1
    std::span<const hvLogical> mMask;
    bool mIsAscending = true;
};

/// Subscripts in parentheses, one for all dimensions or at least one for each.
class Places {
 public:
    /// `most` is the largest position that numbers may name in any dimension; 0 stands for the dimension's own.
    static std::optional<Places> read(std::span<const hvArray* const> indices, std::span<const std::uint64_t> dims,
                                      std::uint64_t most = 0);

    std::span<const Subscript> subscripts() const { return mSubscripts; }
    /// The dimensions as the subscripts see them.
    const Sizes& extents() const { return mExtents; }
    /// How many places each subscript names.
    Sizes counts() const;
    bool areAscending() const;
    void walk(const VisitStretch& visit) const;

 private:
    std::vector<Subscript> mSubscripts;
    Sizes mExtents;
};

/// The dimensions as a host array has them: at least two, and no trailing ones beyond the second.
Sizes trimmed(std::span<const std::uint64_t> dims);

// Of an array of trimmed dimensions.

/// The elements that subscripts name, for a reference; null if the host has to read the subscripts.
std::unique_ptr<Selection> selectedBy(std::span<const hvArray* const> indices, std::span<const std::uint64_t> dims);
/// The elements that a deletion leaves; null as above.
std::unique_ptr<Selection> leftBy(std::span<const hvArray* const> indices, std::span<const std::uint64_t> dims);

}  // namespace tolvane::detail
