// Operands and results of array code that computes with integers of many bits (quantization/integer_blocks.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "descriptors/NumericType.h"
#include "numbers/number.h"
#include "numbers/wordarray.h"
#include "quantization/integer_blocks.h"

namespace tolvane::detail::wide {

/// One part of an operand, real or imaginary, by blocks: words, doubles that are integers of the type, or one value for
/// all elements.
class Source {
 public:
    /// Of `count` elements, or of a scalar that meets as many. Gives nothing if the values aren't integers of a grid,
    /// or not those of the array alone, as in a view.
    static std::optional<Source> of(const number& part, const EmbeddedTypeSystem::NumericType& type,
                                    std::uint64_t count, bool isScalar);
    /// Zeros, of a grid if their place on one matters.
    static Source zeros(const WordGrid& grid = {0, 1, true});

    const integers::Extent& extent() const { return mExtent; }
    /// The words, of which a scalar has one; null for doubles.
    const WordSpan* words() const { return mWords ? &*mWords : nullptr; }
    bool isScalar() const { return mScalar.has_value(); }
    /// Takes a block from the arena.
    void open(integers::Arena& arena, std::size_t width);
    /// A block; a multiple of 64 is its beginning.
    const integers::Block& block(std::uint64_t begin, std::size_t count);
    /// A block of which the caller gives the memory.
    void take(std::uint64_t begin, std::size_t count, integers::Block& out) const;
    /// The same for elements at any places.
    void gather(const std::uint64_t* places, std::size_t count, integers::Block& out) const;

 private:
    explicit Source(const integers::Extent& extent) : mExtent(extent) {}

    integers::Extent mExtent;
    const double* mDoubles = nullptr;
    std::optional<WordSpan> mWords;
    std::optional<wordarray> mScalar;
    integers::Block mBlock;
    std::size_t mWidth = 0;
};

/// The elements of a part side by side in a width, for operations that meet them in any order.
class Panel {
 public:
    Panel(Source& source, std::uint64_t count, std::size_t width);
    /// Of a matrix, row by row.
    Panel(Source& source, std::uint64_t rows, std::uint64_t columns, std::size_t width);

    const integers::Extent& extent() const { return mExtent; }
    integers::Block block(std::uint64_t begin, std::size_t count) const;
    integers::Factor factor(std::uint64_t index) const { return {block(index, 1)}; }

 private:
    Panel(std::uint64_t count, const Source& source, std::size_t width);

    integers::Extent mExtent;
    wordarray mWords;
};

/// One part of a result.
class Target {
 public:
    /// Gives nothing if the results aren't integers that array code can store.
    static std::optional<Target> of(number& part, const EmbeddedTypeSystem::NumericType& type, std::uint64_t count);
    /// The same for results of much work each, of which a single one is worth it, too.
    static std::optional<Target> ofSums(number& part, const EmbeddedTypeSystem::NumericType& type, std::uint64_t count);
    void store(const integers::Block& block, std::uint64_t begin, std::size_t count, std::size_t width,
               std::uint64_t stride = 1);
    /// Makes all elements zero.
    void clear(std::uint64_t count);
    /// The same for a part that keeps elements.
    static std::optional<Target> within(number& part, const EmbeddedTypeSystem::NumericType& type, std::uint64_t count);
    /// Null for doubles and for a single element.
    wordarray* words() const { return mWords; }
    /// Stores at any places.
    void scatter(const integers::Block& block, const std::uint64_t* places, std::size_t count, std::size_t width);
    /// Whether an element is -0; nothing if it isn't zero.
    std::optional<bool> signOfZero(std::uint64_t place) const;

 private:
    double* mDoubles = nullptr;
    wordarray* mWords = nullptr;
    // A single element is a float, which takes what is stored in a word.
    std::shared_ptr<wordarray> mSingle;
    number* mElement = nullptr;
};

}  // namespace tolvane::detail::wide
