// Makes number bodies and chooses their kind: doubles below a precision of 53 bits, multi-precision from there.
//
// A body keeps its kind for life. Every body made here is owned by the caller.
#pragma once

#include <cstdint>

#include "numbers/numberrepbody.h"
#include "numbers/words.h"

class TOLVANE_API numberfactory {
 public:
    /// The least precision in bits that needs a multi-precision body.
    static constexpr std::uint32_t kMultiplePrecisionFrom = 53;

    /// Makes `count` zeros. Raises "fixedpoint:fi:outofmemory", as do all below.
    static numberrepbody* createnumberVector(std::uint64_t count, std::uint32_t precision);
    /// As above, with values to be set by the caller: zeros, or uninitialised doubles.
    static numberrepbody* createnumberVector(std::uint64_t count, std::uint32_t precision,
                                             embeddedNumberTags::UnsetVector tag);
    /// As above for values of a grid, which multi-precision arrays of several elements hold as words.
    static numberrepbody* createnumberVector(std::uint64_t count, std::uint32_t precision,
                                             const tolvane::detail::WordGrid& grid, bool areUnset);
    /// Copies the whole array into a body of the same kind.
    static numberrepbody* createnumberVector(const numberrepbody* source);
    /// Copies `count` elements from `start` on, all within the source, into a body of the same kind.
    static numberrepbody* createnumberVector(const numberrepbody* source, std::uint64_t start, std::uint64_t count);
    /// Makes one element; `force` takes a multi-precision body at any precision.
    static numberrepbody* createnumberScalar(double value, std::uint32_t precision, bool force);
    /// Shares the array of the source, with its own cursor, at 0.
    static numberrepbody* createnumber(const numberrepbody* source, embeddedNumberTags::CopyIndex tag);
};
