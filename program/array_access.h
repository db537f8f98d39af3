// How the sources of this folder reach what an array is made of, and formats become those of integer blocks.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "numbers/wordarray.h"
#include "program/fixed_array.h"
#include "program/memory.h"
#include "quantization/integer_blocks.h"

namespace tolvane::detail {

inline WordGrid gridOf(const fixed_type& type) {
    return {-type.fraction, type.bits, type.is_signed};
}
inline integers::Extent extentOf(const fixed_type& type) {
    return integers::extentOf(gridOf(type));
}
/// `random` is for stochastic rounding.
integers::Format formatOf(const fixed_format& format, std::uint64_t* random);

/// As the constructors of words, except that std::bad_alloc is thrown where memory runs out.
inline wordarray makeWords(std::uint64_t count, const WordGrid& grid) {
    return programMemory([&] { return wordarray(count, grid); });
}
inline wordarray makeWords(std::uint64_t count, const WordGrid& grid, wordarray::Uninitialised uninitialised) {
    return programMemory([&] { return wordarray(count, grid, uninitialised); });
}
inline wordarray makeWords(const wordarray& source, std::uint64_t start, std::uint64_t count) {
    return programMemory([&] { return wordarray(source, start, count); });
}

class ArrayAccess {
 public:
    using Words = std::shared_ptr<const wordarray>;

    static const Words& real(const fixed_array& x) { return x.mReal; }
    static const Words& imag(const fixed_array& x) { return x.mImag; }
    static fixed_array make(const fixed_type& type, array_shape shape, wordarray real, std::optional<wordarray> imag,
                            std::string name = {}) {
        fixed_array made;
        made.mType = type;
        made.mShape = std::move(shape);
        made.mReal = std::make_shared<wordarray>(std::move(real));
        if (imag) {
            made.mImag = std::make_shared<wordarray>(std::move(*imag));
        }
        made.mName = std::move(name);
        return made;
    }
    /// Makes an array the only owner of its words, which may then be written.
    static void own(fixed_array& x) {
        for (Words* const part : {&x.mReal, &x.mImag}) {
            if (*part && part->use_count() != 1) {
                *part = std::make_shared<wordarray>(makeWords(**part, 0, (*part)->span().count));
            }
        }
    }
    /// A part of an array that owns its words. All of them were made as words that change.
    static wordarray& writable(const Words& part) { return const_cast<wordarray&>(*part); }
};

}  // namespace tolvane::detail
