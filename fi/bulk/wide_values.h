// Signs, scales and extremes of whole arrays that hold words of many bits.
//
// Each function works on the words of one part and gives what the element operation gives for all elements; it returns
// false, and has changed nothing, if the part has no words or they don't allow it.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "descriptors/NumericType.h"
#include "logging/qlogger.h"
#include "numbers/number.h"

namespace tolvane::detail::wide {

bool negate(number& part);
/// Stores the magnitudes in another array of as many elements.
bool storeMagnitudes(const number& part, number& to);
/// Stores words of a type, or a scalar in all elements, in an array for that type. Also for doubles.
bool copy(const number& part, const EmbeddedTypeSystem::NumericType& type, bool isScalar, number& to);
bool storeSigns(const number& part, std::span<std::int8_t> signs);
/// Whether the zeros of words, in two parts at once, have at most one sign, so that their order can't be seen.
bool haveZerosOfOneSign(const number& first, const number& second);

/// Multiplies by 2^k.
bool scale(number& part, int k);
/// Stores the same bits as words of another type, of as many bits, in another array; returns how many integers change,
/// or a negative number instead of false.
std::int64_t reinterpret(const number& part, const EmbeddedTypeSystem::NumericType& type, number& to,
                         const EmbeddedTypeSystem::NumericType& toType);

enum class Extreme { least, greatest };

// Values that are stored are logged, one after the other, unless the log is null. For complex elements, `decide(i, j)`
// tells whether element i of the challengers beats the holder's element j, where their magnitudes are about the same.

template <class Part>
struct ComplexPart {
    Part& real;
    Part& imag;
};
using Decide = std::function<bool(std::uint64_t challenger, std::uint64_t holder)>;

/// Replace elements that the other's beat; a scalar meets all of them.
bool keepExtremes(Extreme extreme, number& held, const number& challengers, bool isScalar,
                  const EmbeddedTypeSystem::NumericType& type, const qlogger* log);
bool keepExtremes(Extreme extreme, const ComplexPart<number>& held, const ComplexPart<const number>& challengers,
                  bool isScalar, const EmbeddedTypeSystem::NumericType& type, const qlogger* log, const Decide& decide);
/// Store the extreme of each column of `rows` elements, the first of equal ones, and its row from 1. The holder's
/// elements are those of the array, too.
bool storeExtremes(Extreme extreme, const number& part, std::uint64_t rows, number& to, double* places,
                   const qlogger* log);
bool storeExtremes(Extreme extreme, const ComplexPart<const number>& parts, std::uint64_t rows,
                   const ComplexPart<number>& to, double* places, const qlogger* log, const Decide& decide);

}  // namespace tolvane::detail::wide
