#include "host/reference/values/indexing.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/ErrorIdException.h"
#include "host/positions.h"
#include "host/reference/values/array.h"

namespace hostref {

void raiseNoIndexing(const std::string& className) {
    raiseError("VELMAR:subs:notSupported", "A value of class '" + className + "' can't be accessed in this way.");
}

namespace {

using Dimensions = std::vector<std::size_t>;

[[noreturn]] void raiseBadSubscript() {
    raiseError("VELMAR:subs:badSubscript", "Subscript indices must either be real positive integers or logicals.");
}
[[noreturn]] void raiseExceedsDimensions() {
    raiseError("VELMAR:subs:exceedsDimensions", "Index exceeds matrix dimensions.");
}
[[noreturn]] void raiseDimensionMismatch() {
    raiseError("VELMAR:subs:dimensionMismatch", "Subscripted assignment dimension mismatch.");
}

std::size_t product(std::span<const std::size_t> dimensions) {
    std::size_t result = 1;
    for (const std::size_t dimension : dimensions) {
        result *= dimension;
    }
    return result;
}

bool isVector(std::span<const std::size_t> dimensions) {
    return dimensions.size() == 2 && (dimensions[0] == 1) != (dimensions[1] == 1);
}

/// The positions that one index names in a dimension.
class Index {
 public:
    explicit Index(const hvArray* value) : mShape(hvGetDims(value).begin(), hvGetDims(value).end()) {
        if (hvIsChar(value) && hvArray2String(value) == ":") {
            mIsColon = true;
        } else if (hvIsLogical(value)) {
            fromMask(hvGetTypedData<hvLogical>(value));
        } else if (hvIsNumeric(value) && !hvIsComplex(value)) {
            fromNumbers(value);
        } else {
            raiseBadSubscript();
        }
    }

    // A copy's numbers would refer to the original.
    Index(const Index&) = delete;
    Index(Index&&) = default;
    Index& operator=(const Index&) = delete;
    Index& operator=(Index&&) = delete;
    ~Index() = default;

    bool isColon() const { return mIsColon; }
    /// Sets the number of positions that ":" represents.
    void setExtent(std::size_t extent) { mColonCount = extent; }
    std::size_t count() const { return mIsColon ? mColonCount : mNumbers.size(); }
    /// The largest position, counted from 1, 0 without any.
    std::size_t largest() const { return mIsColon ? mColonCount : mLargest; }
    /// The dimensions of the index as it was given; a mask counts as the positions of its true elements.
    const Dimensions& shape() const { return mShape; }
    /// Counts from 0, as does the result.
    std::size_t operator[](std::size_t i) const {
        return mIsColon ? i : static_cast<std::size_t>(static_cast<std::int64_t>(mNumbers[i])) - 1;
    }

 private:
    void fromMask(std::span<const hvLogical> mask) {
        for (std::size_t i = 0; i < mask.size(); ++i) {
            if (mask[i] != 0) {
                mOwned.push_back(static_cast<double>(i + 1));
            }
        }
        mNumbers = mOwned;
        mLargest = mOwned.empty() ? 0 : static_cast<std::size_t>(mOwned.back());
        const bool isRow = mShape.size() == 2 && mShape[0] == 1 && mShape[1] != 1;
        mShape = isRow ? Dimensions{1, mOwned.size()} : Dimensions{mOwned.size(), 1};
    }

    void fromNumbers(const hvArray* value) {
        if (hvIsDouble(value)) {
            mNumbers = hvGetTypedData<double>(value);
        } else {
            hvDispatchClass(hvGetClassID(value), [&]<class T>(std::type_identity<T>) {
                const std::span<const T> elements = hvGetTypedData<T>(value);
                mOwned.assign(elements.begin(), elements.end());
            });
            mNumbers = mOwned;
        }
        // Beyond 2^53 doubles no longer count exactly, and no array is that long. Every comparison fails for NaN.
        constexpr double kMost = 9007199254740992.0;
        double largest = 0.0;
        bool isGood = true;
        for (const double number : mNumbers) {
            const bool isInRange = number >= 1.0 && number <= kMost;
            const double inRange = isInRange ? number : 1.0;
            isGood &= isInRange && static_cast<double>(static_cast<std::int64_t>(inRange)) == inRange;
            largest = inRange > largest ? inRange : largest;
        }
        if (!isGood) {
            raiseBadSubscript();
        }
        mLargest = static_cast<std::size_t>(largest);
    }

    bool mIsColon = false;
    std::size_t mColonCount = 0;
    std::size_t mLargest = 0;
    Dimensions mShape;
    std::span<const double> mNumbers;  // counted from 1
    std::vector<double> mOwned;        // if the index isn't an array of doubles
};

std::vector<Index> indexesOf(Indices indices) {
    return std::vector<Index>(indices.begin(), indices.end());
}

/// The dimensions as seen by a number of indices: the last index covers all remaining ones.
Dimensions folded(std::span<const std::size_t> dimensions, std::size_t indexCount) {
    Dimensions result(indexCount, 1);
    for (std::size_t d = 0; d < dimensions.size(); ++d) {
        result[std::min(d, indexCount - 1)] *= dimensions[d];
    }
    return result;
}

/// Walks all positions that the indices name in an array of the given dimensions, the first index fastest. Calls
/// `run(offset, k)` for each combination of the others: the positions of the first index, counted from `offset`, are
/// the elements from the k-th on.
template <class Run>
void walkRuns(const std::vector<Index>& indexes, std::span<const std::size_t> dimensions, Run&& run) {
    Dimensions at(indexes.size(), 0);
    std::size_t total = 1;
    for (const Index& index : indexes) {
        total *= index.count();
    }
    const std::size_t runLength = indexes[0].count();
    for (std::size_t k = 0; k < total; k += runLength) {
        std::size_t offset = 0;
        std::size_t stride = dimensions[0];
        for (std::size_t d = 1; d < indexes.size(); ++d) {
            offset += indexes[d][at[d]] * stride;
            stride *= dimensions[d];
        }
        run(offset, k);
        for (std::size_t d = 1; d < indexes.size() && ++at[d] == indexes[d].count(); ++d) {
            at[d] = 0;
        }
    }
}

/// Elements to be moved: cells share their contents, all others are bytes of their size.
template <class Action>
void withElementType(const hvArray* array, Action&& action) {
    switch (classTraits(hvGetClassID(array)).elementBytes) {
        case 1:
            return action(std::type_identity<std::uint8_t>{});
        case 2:
            return action(std::type_identity<std::uint16_t>{});
        case 4:
            return action(std::type_identity<std::uint32_t>{});
        case 8:
            return action(std::type_identity<std::uint64_t>{});
        default:
            raiseNoIndexing(hvGetClassName(array));
    }
}

void copyCell(const hvArray* from, std::size_t source, hvArray* to, std::size_t target) {
    const hvArray* const value = hvGetCell(from, source);
    hvSetCell(to, target, value == nullptr ? nullptr : hvCreateSharedDataCopy(value));
}

/// Calls `move(source, target)` with the pointers to both data parts, real and imaginary, of the same element type; a
/// part that the source lacks is unchanged.
template <class Move>
void moveParts(const hvArray* source, hvArray* target, Move&& move) {
    withElementType(source, [&]<class T>(std::type_identity<T>) {
        move(static_cast<const T*>(hvGetData(source)), static_cast<T*>(hvGetData(target)));
        if (hvIsComplex(source)) {
            move(static_cast<const T*>(hvGetImagData(source)), static_cast<T*>(hvGetImagData(target)));
        }
    });
}

hvArrayOwner emptyLike(const hvArray* array, std::span<const std::size_t> dimensions, bool isComplex,
                       Contents contents = Contents::zeros) {
    return makeArray(dimensions, hvGetClassID(array), isComplex ? hvCOMPLEX : hvREAL, contents);
}

/// Fills a new array of the given dimensions, as many elements as the indices name, with the elements there.
hvArrayOwner gathered(const hvArray* array, std::vector<Index>& indexes, std::span<const std::size_t> from,
                      std::span<const std::size_t> dimensions) {
    hvArrayOwner result = emptyLike(array, dimensions, hvIsComplex(array), Contents::unset);
    const Index& first = indexes[0];
    const std::size_t length = first.count();
    if (hvIsCell(array)) {
        walkRuns(indexes, from, [&](std::size_t offset, std::size_t k) {
            for (std::size_t i = 0; i < length; ++i) {
                copyCell(array, offset + first[i], result.get(), k + i);
            }
        });
        return result;
    }
    moveParts(array, result.get(), [&]<class T>(const T* source, T* target) {
        walkRuns(indexes, from, [&](std::size_t offset, std::size_t k) {
            if (first.isColon()) {
                std::copy_n(source + offset, length, target + k);
                return;
            }
            for (std::size_t i = 0; i < length; ++i) {
                target[k + i] = source[offset + first[i]];
            }
        });
    });
    return result;
}

/// The shape of the result for one index of a given shape.
Dimensions linearShape(std::span<const std::size_t> dimensions, std::span<const std::size_t> indexShape) {
    if (isVector(dimensions) && isVector(indexShape)) {
        const std::size_t count = product(indexShape);
        return dimensions[0] == 1 ? Dimensions{1, count} : Dimensions{count, 1};
    }
    return {indexShape.begin(), indexShape.end()};
}

/// Fills a new array with the elements at one index of doubles, in a single pass over memory. Null if that isn't
/// possible, because of the classes or because a number isn't a position: the general path raises the error.
hvArrayOwner gatheredByDoubles(const hvArray* array, const hvArray* index) {
    if (!hvIsDouble(index) || hvIsComplex(index) || hvGetElementSize(array) == 0) {
        return nullptr;
    }
    const std::span<const double> numbers = hvGetTypedData<double>(index);
    const std::size_t count = hvGetNumberOfElements(array);
    hvArrayOwner result =
        emptyLike(array, linearShape(hvGetDims(array), hvGetDims(index)), hvIsComplex(array), Contents::unset);
    std::array<std::uint64_t, 512> offsets;
    for (std::size_t k = 0; k < numbers.size(); k += offsets.size()) {
        const std::span<const double> block = numbers.subspan(k, std::min(offsets.size(), numbers.size() - k));
        if (!offsetsOf(block, 1, count, offsets.data())) {
            return nullptr;
        }
        moveParts(array, result.get(), [&]<class T>(const T* source, T* target) {
            for (std::size_t i = 0; i < block.size(); ++i) {
                target[k + i] = source[offsets[i]];
            }
        });
    }
    return result;
}

void requireWithin(std::vector<Index>& indexes, std::span<const std::size_t> dimensions) {
    for (std::size_t d = 0; d < indexes.size(); ++d) {
        indexes[d].setExtent(dimensions[d]);
        if (indexes[d].largest() > dimensions[d]) {
            raiseExceedsDimensions();
        }
    }
}

/// The dimensions that are not 1.
Dimensions squeezed(std::span<const std::size_t> dimensions) {
    Dimensions result;
    std::copy_if(dimensions.begin(), dimensions.end(), std::back_inserter(result),
                 [](std::size_t dimension) { return dimension != 1; });
    return result;
}

/// The dimensions an array needs for one index, which checks the number of values.
Dimensions grownLinear(std::span<const std::size_t> dimensions, Index& index, std::size_t valueCount) {
    const std::size_t count = product(dimensions);
    index.setExtent(count);
    if (valueCount != 1 && valueCount != index.count()) {
        raiseError("VELMAR:subs:countMismatch",
                   "In an assignment  A(I) = B, the number of elements in B and I must be the same.");
    }
    Dimensions result(dimensions.begin(), dimensions.end());
    if (index.largest() <= count) {
        return result;
    }
    const bool isRow = result.size() == 2 && (result[0] == 1 || (result[0] == 0 && result[1] == 0));
    if (isRow) {
        return {1, index.largest()};
    }
    if (result.size() == 2 && result[1] == 1) {
        return {index.largest(), 1};
    }
    raiseError("VELMAR:subs:cannotResize", "In an assignment  A(I) = B, a matrix A cannot be resized.");
}

/// The dimensions an array needs for several indices, which checks the dimensions of the values.
Dimensions grownSubscripts(std::span<const std::size_t> dimensions, std::vector<Index>& indexes,
                           std::span<const std::size_t> valueDimensions, bool isOneValue) {
    const Dimensions seen = folded(dimensions, indexes.size());
    const Dimensions values = squeezed(valueDimensions);
    const bool isEmpty = product(dimensions) == 0;
    // In an empty dimension, ":" takes the extent of the values at its position among the extents that are not 1.
    std::size_t place = 0;
    for (std::size_t d = 0; d < indexes.size(); ++d) {
        std::size_t extent = seen[d];
        if (indexes[d].isColon() && isEmpty && extent == 0) {
            extent = isOneValue || place >= values.size() ? 1 : values[place];
        }
        indexes[d].setExtent(extent);
        place += std::size_t{indexes[d].count() != 1};
    }
    Dimensions counts;
    for (const Index& index : indexes) {
        counts.push_back(index.count());
    }
    if (!isOneValue && squeezed(counts) != values) {
        raiseDimensionMismatch();
    }
    // One value can go to more positions than any array has, by repeated indices.
    static_cast<void>(checkedCount(counts));
    Dimensions result(dimensions.begin(), dimensions.end());
    result.resize(std::max(result.size(), indexes.size()), 1);
    if (std::ranges::find(counts, std::size_t{0}) != counts.end()) {
        return result;
    }
    for (std::size_t d = 0; d < indexes.size(); ++d) {
        if (indexes[d].largest() <= seen[d]) {
            continue;
        }
        if (d + 1 == indexes.size() && d + 1 < dimensions.size()) {
            raiseError("VELMAR:subs:cannotResize", "An array cannot grow along a dimension that stands for several.");
        }
        result[d] = indexes[d].largest();
    }
    return result;
}

/// The array with other dimensions, each at least the old one, and zeros in the new positions.
hvArrayOwner grown(const hvArray* array, std::span<const std::size_t> dimensions, bool isComplex) {
    if (std::ranges::equal(dimensions, hvGetDims(array))) {
        hvArrayOwner same(hvCreateSharedDataCopy(array));
        if (isComplex && !hvIsComplex(same.get())) {
            hvSetComplexity(same.get(), hvCOMPLEX);
        }
        return same;
    }
    hvArrayOwner result = emptyLike(array, dimensions, isComplex);
    if (hvIsEmpty(array)) {
        return result;
    }
    const auto old = hvGetDims(array);
    std::vector<Index> all;
    const hvArrayOwner colon(hvCreateString(":"));
    for (std::size_t d = 0; d < dimensions.size(); ++d) {
        all.emplace_back(colon.get());
        all.back().setExtent(d < old.size() ? old[d] : 1);
    }
    const std::size_t length = all[0].count();
    if (hvIsCell(array)) {
        walkRuns(all, dimensions, [&](std::size_t offset, std::size_t k) {
            for (std::size_t i = 0; i < length; ++i) {
                copyCell(array, k + i, result.get(), offset + i);
            }
        });
        return result;
    }
    moveParts(array, result.get(), [&]<class T>(const T* source, T* target) {
        walkRuns(all, dimensions,
                 [&](std::size_t offset, std::size_t k) { std::copy_n(source + k, length, target + offset); });
    });
    return result;
}

/// The values converted for the array; null if they already have its class.
hvArrayOwner converted(const hvArray* array, const hvArray* values) {
    if (hvGetClassID(array) == hvGetClassID(values)) {
        return nullptr;
    }
    const bool isNumber = hvIsNumeric(values) || hvIsLogical(values) || hvIsChar(values);
    if (!hvIsDouble(array) || !isNumber) {
        raiseError("VELMAR:subs:classMismatch", std::string("Values of class '") + hvGetClassName(values) +
                                                    "' can't stand in an array of class '" + hvGetClassName(array) +
                                                    "'.");
    }
    hvArrayOwner result = makeArray(hvGetDims(values), hvDOUBLE_CLASS, hvIsComplex(values) ? hvCOMPLEX : hvREAL);
    const auto convert = [&]<class T>(std::type_identity<T>) {
        const auto real = hvGetTypedData<T>(values);
        const auto imaginary = hvGetTypedImagData<T>(values);
        const auto toDouble = [](T value) { return static_cast<double>(value); };
        std::transform(real.begin(), real.end(), hvGetPr(result.get()), toDouble);
        std::transform(imaginary.begin(), imaginary.end(), hvGetPi(result.get()), toDouble);
    };
    if (hvIsChar(values)) {
        convert(std::type_identity<hvChar>{});
    } else {
        hvDispatchClass(hvGetClassID(values), convert);
    }
    return result;
}

/// Writes the values at the positions; `step` is 0 if one value goes to all of them.
void scatter(hvArray* target, const std::vector<Index>& indexes, std::span<const std::size_t> dimensions,
             const hvArray* values, std::size_t step) {
    const Index& first = indexes[0];
    const std::size_t length = first.count();
    if (hvIsCell(values)) {
        walkRuns(indexes, dimensions, [&](std::size_t offset, std::size_t k) {
            for (std::size_t i = 0; i < length; ++i) {
                copyCell(values, step * (k + i), target, offset + first[i]);
            }
        });
        return;
    }
    moveParts(values, target, [&]<class T>(const T* source, T* to) {
        walkRuns(indexes, dimensions, [&](std::size_t offset, std::size_t k) {
            for (std::size_t i = 0; i < length; ++i) {
                to[offset + first[i]] = source[step * (k + i)];
            }
        });
    });
    if (hvIsComplex(target) && !hvIsComplex(values)) {
        withElementType(target, [&]<class T>(std::type_identity<T>) {
            T* const imaginary = static_cast<T*>(hvGetImagData(target));
            walkRuns(indexes, dimensions, [&](std::size_t offset, std::size_t) {
                for (std::size_t i = 0; i < length; ++i) {
                    imaginary[offset + first[i]] = T{};
                }
            });
        });
    }
}

/// The array with other dimensions of the same number of elements.
hvArrayOwner reshaped(hvArrayOwner array, const Dimensions& dimensions) {
    hvSetDimensions(array.get(), dimensions.size(), dimensions.data());
    return array;
}

/// The elements of a dimension that an index leaves, as an index.
hvArrayOwner rest(const Index& index, std::size_t extent) {
    std::vector<hvLogical> stays(extent, 1);
    for (std::size_t i = 0; i < index.count(); ++i) {
        stays[index[i]] = 0;
    }
    hvArrayOwner mask(hvCreateLogicalMatrix(1, extent));
    std::ranges::copy(stays, hvGetTypedData<hvLogical>(mask.get()).begin());
    return mask;
}

}  // namespace

hvArrayOwner elementsAt(const hvArray* array, Indices indices) {
    if (indices.empty()) {
        return hvArrayOwner(hvCreateSharedDataCopy(array));
    }
    return withMemory([&] {
        if (indices.size() == 1) {
            if (hvArrayOwner result = gatheredByDoubles(array, indices[0])) {
                return result;
            }
        }
        std::vector<Index> indexes = indexesOf(indices);
        const Dimensions seen = folded(hvGetDims(array), indexes.size());
        requireWithin(indexes, seen);
        Dimensions shape;
        if (indexes.size() == 1) {
            shape = indexes[0].isColon() ? Dimensions{indexes[0].count(), 1}
                                         : linearShape(hvGetDims(array), indexes[0].shape());
        } else {
            for (const Index& index : indexes) {
                shape.push_back(index.count());
            }
        }
        return gathered(array, indexes, seen, shape);
    });
}

hvArrayOwner withElements(const hvArray* array, Indices indices, const hvArray* values) {
    if (indices.empty()) {
        raiseBadSubscript();
    }
    return withMemory([&] {
        hvArrayOwner untyped;
        if (hvIsDouble(array) && hvGetM(array) == 0 && hvGetN(array) == 0 && !hvIsDouble(values)) {
            untyped = emptyLike(values, hvGetDims(array), false);
            array = untyped.get();
        }
        const hvArrayOwner own = converted(array, values);
        const hvArray* const given = own ? own.get() : values;
        const std::size_t valueCount = hvGetNumberOfElements(given);
        std::vector<Index> indexes = indexesOf(indices);
        const Dimensions dimensions =
            indexes.size() == 1 ? grownLinear(hvGetDims(array), indexes[0], valueCount)
                                : grownSubscripts(hvGetDims(array), indexes, hvGetDims(given), valueCount == 1);
        hvArrayOwner result = grown(array, dimensions, hvIsComplex(array) || hvIsComplex(given));
        scatter(result.get(), indexes, folded(dimensions, indexes.size()), given, valueCount == 1 ? 0 : 1);
        return result;
    });
}

hvArrayOwner withoutElements(const hvArray* array, Indices indices) {
    if (indices.empty()) {
        raiseBadSubscript();
    }
    return withMemory([&] {
        std::vector<Index> indexes = indexesOf(indices);
        const Dimensions seen = folded(hvGetDims(array), indexes.size());
        requireWithin(indexes, seen);
        if (indexes.size() == 1) {
            if (indexes[0].count() == 0) {
                return hvArrayOwner(hvCreateSharedDataCopy(array));
            }
            if (indexes[0].isColon()) {
                return emptyLike(array, Dimensions{0, 0}, hvIsComplex(array));
            }
            const hvArrayOwner mask = rest(indexes[0], seen[0]);
            const hvArray* const stays[] = {mask.get()};
            hvArrayOwner left = elementsAt(array, stays);
            const auto dimensions = hvGetDims(array);
            const bool isColumn = dimensions.size() == 2 && dimensions[1] == 1 && dimensions[0] != 1;
            const std::size_t count = hvGetNumberOfElements(left.get());
            return reshaped(std::move(left), isColumn ? Dimensions{count, 1} : Dimensions{1, count});
        }
        const auto namesNothing = [](const Index& index) { return index.count() == 0; };
        if (std::ranges::any_of(indexes, namesNothing)) {
            return hvArrayOwner(hvCreateSharedDataCopy(array));
        }
        // The index that doesn't select all of its dimension determines where to delete; if all do, the first index
        // given as numbers.
        std::vector<hvArrayOwner> masks;
        std::size_t place = indexes.size();
        bool isWhole = true;
        for (std::size_t d = 0; d < indexes.size(); ++d) {
            masks.push_back(rest(indexes[d], seen[d]));
            const auto stays = hvGetTypedData<hvLogical>(static_cast<const hvArray*>(masks[d].get()));
            const bool takesAll = std::ranges::find(stays, hvLogical{1}) == stays.end();
            if (!takesAll && !isWhole) {
                raiseError("VELMAR:subs:badDeletion", "A null assignment can have only one non-colon index.");
            }
            if (!takesAll) {
                isWhole = false;
                place = d;
            } else if (isWhole && place == indexes.size() && !indexes[d].isColon()) {
                place = d;
            }
        }
        place = place == indexes.size() ? 0 : place;
        const hvArrayOwner colon(hvCreateString(":"));
        std::vector<const hvArray*> kept(indexes.size(), colon.get());
        kept[place] = masks[place].get();
        return elementsAt(array, kept);
    });
}

}  // namespace hostref
