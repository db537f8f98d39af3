// Arrays made from stored integers of any length, and host arrays read as integers: oracles of integer interchange.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/hv.h"
#include "tests/support/random_arrays_of_fi.h"

/// The groups of `bits` bits of a nonnegative value, lowest first.
inline Integers groupsOf(Integer value, int bits, int count) {
    Integers groups;
    for (int i = 0; i < count; ++i) {
        groups.push_back(residue(value, bits));
        value = floorOf(scaled(Rational(value), -bits));
    }
    return groups;
}
inline void append(Integers& list, const Integers& more) {
    list.insert(list.end(), more.begin(), more.end());
}

inline std::uint64_t elementCount(const Sizes& sizes) {
    return std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{1}, std::multiplies<>());
}

struct StoredIntegers {
    Integers re;
    Integers im;
    bool operator==(const StoredIntegers&) const = default;
};
inline StoredIntegers randomWords(Random& random, const NumericType& type, std::uint64_t count, bool isComplex) {
    StoredIntegers words;
    for (std::uint64_t i = 0; i < count; ++i) {
        words.re.push_back(randomWord(random, type));
        if (isComplex) {
            words.im.push_back(randomWord(random, type));
        }
    }
    return words;
}

/// An array whose entries are set one by one, without the quantizer.
inline fi arrayOf(const NumericType& type, const Sizes& sizes, const StoredIntegers& words,
                  const fimath& rules = rulesOf()) {
    const bool isComplex = !words.im.empty();
    fi array(sizes.data(), sizes.size(), type, rules, isComplex, "", true, Operation::Assignment, 0);
    const auto store = [&type](number& entry, const Integer& word) {
        entry.setvalue(
            makeNumber(scaled(Rational(word), type.getFixedExponent()), static_cast<unsigned>(type.getWordLength())));
    };
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        store(array.real()[i], words.re[i]);
        if (isComplex) {
            // The array owns the entry; there is no other way to write it without a conversion.
            store(const_cast<number&>(array.imag(i)), words.im[i]);
        }
    }
    return array;
}

/// The entries of an array as integers; any other value fails the test.
inline StoredIntegers storedIn(const fi& array) {
    StoredIntegers words;
    const auto word = [&array](const number& entry) {
        const Rational stored = scaled(exactValue(entry), -array.getFixedExponent());
        EXPECT_EQ(stored.get_den(), 1);
        return Integer(stored.get_num());
    };
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        words.re.push_back(word(array.real(i)));
        if (array.iscomplex()) {
            words.im.push_back(word(array.imag(i)));
        }
    }
    return words;
}

/// The elements of a host array of whole numbers.
inline StoredIntegers integersIn(const hvArray* values) {
    StoredIntegers words;
    hvDispatchClass(hvGetClassID(values), [&]<class T>(std::type_identity<T>) {
        const auto read = [](std::span<const T> data, Integers& into) {
            for (const T x : data) {
                if constexpr (std::is_same_v<T, std::int64_t> || std::is_same_v<T, std::uint64_t>) {
                    into.emplace_back(std::to_string(x));
                } else {
                    into.emplace_back(static_cast<double>(x));
                }
            }
        };
        read(hvGetTypedData<T>(values), words.re);
        read(hvGetTypedImagData<T>(values), words.im);
    });
    return words;
}

/// A host array of an integer class; words are taken modulo the size of its elements.
inline hvArrayOwner hostIntegers(hvClassID classId, const Sizes& sizes, const StoredIntegers& words) {
    const std::vector<std::size_t> dims(sizes.begin(), sizes.end());
    hvArrayOwner values(hvCreateNumericArray(dims.size(), dims.data(), classId, words.im.empty() ? hvREAL : hvCOMPLEX));
    hvDispatchClass(classId, [&]<class T>(std::type_identity<T>) {
        const auto write = [](std::span<T> data, const Integers& from) {
            for (std::size_t i = 0; i < data.size(); ++i) {
                data[i] = static_cast<T>(residue(from.at(i), 64).get_ui());
            }
        };
        write(hvGetTypedData<T>(values.get()), words.re);
        write(hvGetTypedImagData<T>(values.get()), words.im);
    });
    return values;
}

inline Sizes sizesOf(const hvArray* values) {
    const auto dims = hvGetDims(values);
    return {dims.begin(), dims.end()};
}

/// Random shapes, with singletons in every position, and empty ones.
inline Sizes randomShape(Random& random) {
    static const std::vector<Sizes> kShapes = {{1, 1},    {1, 4},       {4, 1},    {2, 3},    {0, 3},
                                               {0, 0},    {3, 0},       {2, 3, 2}, {1, 2, 3}, {3, 1, 2},
                                               {1, 1, 4}, {2, 1, 1, 3}, {2, 0, 2}};
    return random.pick(kShapes);
}

/// Sets the feature of compact long words for its lifetime.
class CompactWords {
 public:
    explicit CompactWords(bool isOn) { embedded::setFeatureFi33PlusMemoryFootprint(isOn); }
    ~CompactWords() { embedded::setFeatureFi33PlusMemoryFootprint(true); }
    CompactWords(const CompactWords&) = delete;
    CompactWords& operator=(const CompactWords&) = delete;
};
