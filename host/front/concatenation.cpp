#include "host/front/concatenation.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace front {

const Value& firstobj(Values values) {
    const auto found = std::ranges::find_if(values, isFi);
    if (found == values.end()) {
        throw hostref::HostError("fixedpoint:fi:firstobj:noFi", "At least one argument must be a FI object.");
    }
    return *found;
}

Value emptyfirstobj(Session& session, Values values) {
    return session.index(firstobj(values), {hostref::paren(Value())});
}

namespace {

void errorIfOtherSizes(const Along& shape, const Along& part) {
    if (shape.withLength(0) != part.withLength(0)) {
        throw hostref::HostError("fixedpoint:fi:cat:dimensionMismatch",
                                 "Arrays to be joined must have equal sizes in all dimensions but that of the joint.");
    }
}

/// For each place of the joined array, which element comes there: those of the left array count from 1 upward, those of
/// the right one from -1 downward.
Value planOf(const Along& left, const Along& right) {
    std::vector<double> plan;
    plan.reserve((left.length + right.length) * left.inner * left.outer);
    double lastLeft = 0;
    double lastRight = 0;
    for (std::size_t block = 0; block < left.outer; ++block) {
        for (std::size_t i = 0; i < left.length * left.inner; ++i) {
            plan.push_back(++lastLeft);
        }
        for (std::size_t i = 0; i < right.length * right.inner; ++i) {
            plan.push_back(--lastRight);
        }
    }
    return doubles(left.withLength(left.length + right.length), plan);
}

}  // namespace

Value cat(Session& session, std::size_t dimension, Values values) {
    const Value& first = firstobj(values);
    std::vector<std::pair<const Value*, Along>> parts;
    std::size_t dimensionCount = dimension + 1;
    for (const Value& value : values) {
        if (Dimensions sizes = dimensionsOf(session, value); sizes != Dimensions{0, 0}) {
            dimensionCount = std::max(dimensionCount, sizes.size());
            parts.emplace_back(&value, Along(std::move(sizes), dimension));
        }
    }
    for (auto& [value, shape] : parts) {
        shape.dimensions.resize(dimensionCount, 1);
        errorIfOtherSizes(parts.front().second, shape);
    }
    Value joined = emptyfirstobj(session, values);
    if (parts.empty()) {
        return joined;
    }
    Along shape(parts.front().second.withLength(0), dimension);
    for (const auto& [value, part] : parts) {
        const Value right =
            isFi(*value) ? *value
                         : session.construct(arrayClass, {*value, first.get("numerictype"), first.get("fimath")});
        joined = session.call("subscriptedgrowassignment", {joined, planOf(shape, part), right});
        shape = Along(shape.withLength(shape.length + part.length), dimension);
    }
    return joined;
}

Value todoublecell(Session& session, Values values) {
    std::vector<Value> cells;
    for (const Value& value : values) {
        cells.push_back(isFi(value) ? session.get(value, "double") : value);
    }
    return Value::cells(cells);
}

}  // namespace front
