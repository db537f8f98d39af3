#include "host/front/reductions.h"

#include <utility>
#include <vector>

namespace front {

namespace {

Along alongOf(Session& session, const Value& array, WantedDimension dimension) {
    Dimensions dimensions = dimensionsOf(session, array);
    const std::size_t along = dimension.value_or(firstLongDimension(dimensions));
    return {std::move(dimensions), along};
}

Extremes extremes(Session& session, const char* method, const Value& array, WantedDimension dimension) {
    const Along along = alongOf(session, array, dimension);
    const Passing inFront = along.inFront(session, array);
    const std::vector<Value> found = session.call(2, method, {inFront});
    const Passing values(session, found[0]);
    const Dimensions dimensions = along.withLength(along.length == 0 ? 0 : 1);
    return {reshaped(session, values, dimensions), doubles(dimensions, found[1].toDoubles())};
}

}  // namespace

Value sum(Session& session, const Value& array, WantedDimension dimension) {
    const Along along = alongOf(session, array, dimension);
    const Passing inFront = along.inFront(session, array);
    const bool isNothing = !dimension && along.dimensions == Dimensions{0, 0};
    if (along.inner * along.outer == 0 && !isNothing) {
        return reshaped(session, inFront, along.withLength(1));
    }
    Passing sums(session, session.call("leadingdimension_sum", {inFront}));
    return isNothing ? sums.release() : reshaped(session, sums, along.withLength(1));
}

Extremes maxAlong(Session& session, const Value& array, WantedDimension dimension) {
    return extremes(session, "unary_max", array, dimension);
}

Extremes minAlong(Session& session, const Value& array, WantedDimension dimension) {
    return extremes(session, "unary_min", array, dimension);
}

Value max(Session& session, const Value& a, const Value& b) {
    return session.call("binary_max", {a, b});
}

Value min(Session& session, const Value& a, const Value& b) {
    return session.call("binary_min", {a, b});
}

}  // namespace front
