// Sums and extremes along any dimension.
//
// The class reduces the first dimension; other dimensions are moved there and back. By default the first dimension
// whose size isn't 1 is used. Dimensions count from 0.
#pragma once

#include <cstddef>
#include <optional>

#include "host/front/shape.h"

namespace front {

using WantedDimension = std::optional<std::size_t>;

/// Sums along a dimension, in the type that the sum rules give for its length. An empty sum is 0, and that of a 0-by-0
/// array without a dimension is a single 0.
Value sum(Session& session, const Value& array, WantedDimension dimension = {});

struct Extremes {
    Value values;
    Value places;  // along the dimension, from 1, as doubles
};
/// The greatest and the smallest elements along a dimension, complex ones by magnitude; of equal elements the first.
/// The result for an empty dimension is empty.
Extremes maxAlong(Session& session, const Value& array, WantedDimension dimension = {});
Extremes minAlong(Session& session, const Value& array, WantedDimension dimension = {});
/// The greater or smaller elements of two arrays of one type; a scalar is compared with every element, and a host array
/// is quantized to the type of the other one.
Value max(Session& session, const Value& a, const Value& b);
Value min(Session& session, const Value& a, const Value& b);

}  // namespace front
