// The same elements in other dimensions.
#pragma once

#include <span>

#include "host/front/shape.h"

namespace front {

/// Gives the elements other dimensions: a row of sizes, or individual sizes, one of which may be the empty array and is
/// derived from the others. Throws "fixedpoint:fi:reshape:badSize" for anything but whole numbers, and
/// "fixedpoint:fi:reshape:countMismatch" unless their product is the number of elements; the class tests neither.
Value reshape(Session& session, const Value& array, std::span<const Value> sizes);

}  // namespace front
