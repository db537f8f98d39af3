// Sorting of strided columns, for arrays of any kind of element, alone or with the original positions of the elements.
//
// A quicksort with an explicit stack, so that long columns need no deep recursion, and insertion sort for short
// segments. Elements need only a comparison; one that is not an ordering (NaN fails every comparison) gives a
// meaningless order, but never reads out of bounds or loses an element.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace tolvane::detail::stridesorting {

/// A sequence of `length` values that lie `stride` apart.
template <class Value>
struct Column {
    using Entry = Value;

    Value* first;
    std::uint64_t stride;
    std::uint64_t length;

    Value& at(std::uint64_t i) const { return first[i * stride]; }
    Entry get(std::uint64_t i) const { return at(i); }
    void put(std::uint64_t i, Entry entry) const { at(i) = entry; }
    void exchange(std::uint64_t i, std::uint64_t j) const { std::swap(at(i), at(j)); }
    static Value key(Entry entry) { return entry; }
};

/// A column of keys and the column of their positions, which move together.
template <class Value>
struct IndexedColumn {
    struct Entry {
        Value key;
        double place;
    };

    Column<Value> keys;
    Column<double> places;

    Entry get(std::uint64_t i) const { return {keys.at(i), places.at(i)}; }
    void put(std::uint64_t i, Entry entry) const {
        keys.put(i, entry.key);
        places.put(i, entry.place);
    }
    void exchange(std::uint64_t i, std::uint64_t j) const {
        keys.exchange(i, j);
        places.exchange(i, j);
    }
    static Value key(Entry entry) { return entry.key; }
};

/// Elements first to last, both included.
struct Segment {
    std::uint64_t first;
    std::uint64_t last;
    std::uint64_t length() const { return last - first + 1; }
};

template <class Columns, class Less>
void insertionSort(const Columns& columns, Segment segment, Less less) {
    for (std::uint64_t i = segment.first + 1; i <= segment.last; ++i) {
        const auto entry = columns.get(i);
        std::uint64_t place = i;
        for (; place > segment.first && less(Columns::key(entry), Columns::key(columns.get(place - 1))); --place) {
            columns.put(place, columns.get(place - 1));
        }
        columns.put(place, entry);
    }
}

/// Orders first, middle and last, and moves values below the middle value before those above it. Returns the two parts,
/// each shorter than the segment, which must have more than two elements.
///
/// The scans need no test of bounds: the middle value stops the first pass, and every exchange leaves behind a value
/// that was found to be on its proper side, which stops the scan of the other direction.
template <class Columns, class Less>
std::pair<Segment, Segment> partition(const Columns& columns, Segment segment, Less less) {
    const auto key = [&](std::uint64_t i) { return Columns::key(columns.get(i)); };
    const auto order = [&](std::uint64_t i, std::uint64_t j) {
        if (less(key(j), key(i))) {
            columns.exchange(i, j);
        }
    };
    const std::uint64_t middle = segment.first + segment.length() / 2;
    order(segment.first, middle);
    order(middle, segment.last);
    order(segment.first, middle);

    const auto pivot = key(middle);
    std::uint64_t low = segment.first;
    // One past the examined element, so that it cannot fall below zero.
    std::uint64_t high = segment.last + 1;
    while (low < high) {
        while (less(key(low), pivot)) {
            ++low;
        }
        while (less(pivot, key(high - 1))) {
            --high;
        }
        if (low < high) {
            columns.exchange(low, high - 1);
            ++low;
            --high;
        }
    }
    return {{segment.first, high - 1}, {low, segment.last}};
}

/// Sorts ascending.
template <class Columns, class Less>
void sort(const Columns& columns, std::uint64_t length, Less less) {
    constexpr std::uint64_t kShortSegment = 32;
    if (length < 2) {
        return;
    }
    // The longer part waits and the shorter one is at most half as long, so 64 entries are enough for any length.
    std::array<Segment, 64> waiting;
    std::size_t waitingCount = 0;
    Segment segment{0, length - 1};
    for (;;) {
        while (segment.length() > kShortSegment) {
            auto [one, other] = partition(columns, segment, less);
            if (one.length() < other.length()) {
                std::swap(one, other);
            }
            waiting[waitingCount++] = one;
            segment = other;
        }
        insertionSort(columns, segment, less);
        if (waitingCount == 0) {
            return;
        }
        segment = waiting[--waitingCount];
    }
}

template <class Columns>
void reverse(const Columns& columns, std::uint64_t length) {
    for (std::uint64_t i = 0, j = length; i + 1 < j; ++i) {
        columns.exchange(i, --j);
    }
}

/// Calls the action with the offset of each column of the array. Elements after the last complete block belong to no
/// column.
template <class Action>
void forEachColumn(std::uint64_t count, std::uint64_t stride, std::uint64_t length, Action action) {
    std::uint64_t block = 0;
    if (__builtin_mul_overflow(stride, length, &block) || block == 0) {
        return;
    }
    for (std::uint64_t start = 0; count - start >= block; start += block) {
        for (std::uint64_t column = 0; column < stride; ++column) {
            action(start + column);
        }
    }
}

template <class Value, class Less>
void stridesort(Value* values, std::uint64_t count, bool ascending, std::uint64_t stride, std::uint64_t length,
                Less less) {
    if (length < 2) {
        return;
    }
    forEachColumn(count, stride, length, [&](std::uint64_t offset) {
        const Column<Value> column{values + offset, stride, length};
        sort(column, length, less);
        if (!ascending) {
            reverse(column, length);
        }
    });
}

template <class Value, class Less, class Equal>
void stridesort2(Value* values, double* index, std::uint64_t count, bool ascending, std::uint64_t stride,
                 std::uint64_t length, Less less, Equal equal) {
    forEachColumn(count, stride, length, [&](std::uint64_t offset) {
        const Column<Value> keys{values + offset, stride, length};
        const Column<double> places{index + offset, stride, length};
        for (std::uint64_t i = 0; i < length; ++i) {
            places.put(i, static_cast<double>(i + 1));
        }
        const IndexedColumn<Value> both{keys, places};
        sort(both, length, less);
        if (!ascending) {
            reverse(both, length);
        }
        for (std::uint64_t i = 0; i < length;) {
            std::uint64_t end = i + 1;
            while (end < length && equal(keys.at(end), keys.at(end - 1))) {
                ++end;
            }
            const Column<double> run{&places.at(i), stride, end - i};
            sort(run, end - i, [](double a, double b) { return a < b; });
            i = end;
        }
    });
}

}  // namespace tolvane::detail::stridesorting
