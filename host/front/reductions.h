// Sums and extremes along any dimension.
//
// The class reduces the first dimension; other ones are brought there and back. Without a dimension the first one whose
// size isn't 1 is taken. Dimensions count from 0.
#pragma once

#include <cstddef>
#include <optional>

#include "host/front/shape.h"

namespace front {

using WantedDimension = std::optional<std::size_t>;

/// Sums along a dimension in the type that the rules of sums give for its length. An empty sum is 0, and that of a
/// 0-by-0 array without a dimension is one 0.
Value sum(Session& session, const Value& array, WantedDimension dimension = {});

struct Extremes {
    Value values;
    Value places;  // along the dimension, from 1, as doubles
};
/// The greatest and the smallest elements along a dimension, by magnitude for complex ones, the first of equal ones.
/// The result of an empty dimension is empty.
Extremes maxAlong(Session& session, const Value& array, WantedDimension dimension = {});
Extremes minAlong(Session& session, const Value& array, WantedDimension dimension = {});
/// Element by element the greater or smaller of two arrays of one type; a scalar stands for all elements, and a host
/// array is quantized into the type of the other one.
Value max(Session& session, const Value& a, const Value& b);
Value min(Session& session, const Value& a, const Value& b);

}  // namespace front
