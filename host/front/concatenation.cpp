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

/// For each position of the joined array, its source element: elements of the left array count from 1 upward, elements
/// of the right one from -1 downward.
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

/// An array to be joined, and its sizes relative to the joined dimension.
struct Part {
    Passing array;
    Along shape;
};

class Joiner {
 public:
    Joiner(Session& session, Part empty) : mSession(session), mEmpty(std::move(empty)) {}

    /// Joins the parts one after another; the log of the result covers all of them.
    Part inTurn(std::span<const Part> parts) const {
        Part joined = pair(mEmpty, parts[0]);
        for (const Part& part : parts.subspan(1)) {
            joined = pair(joined, part);
        }
        return joined;
    }
    /// Joins neighbours first, so that an element moves only a few times, however many parts there are.
    Part inPairs(std::span<const Part> parts) const {
        const std::size_t half = parts.size() / 2;
        return parts.size() == 1 ? pair(mEmpty, parts[0])
                                 : pair(inPairs(parts.first(half)), inPairs(parts.subspan(half)));
    }

 private:
    Part pair(const Part& left, const Part& right) const {
        const Value plan = planOf(left.shape, right.shape);
        return {Passing(mSession, mSession.call("subscriptedgrowassignment", {left.array, plan, right.array})),
                Along(left.shape.withLength(left.shape.length + right.shape.length), left.shape.dimension)};
    }

    Session& mSession;
    Part mEmpty;
};

}  // namespace

Value cat(Session& session, std::size_t dimension, Values values) {
    const Value& first = firstobj(values);
    std::vector<Part> parts;
    std::size_t dimensionCount = dimension + 1;
    for (const Value& value : values) {
        if (Dimensions sizes = dimensionsOf(session, value); sizes != Dimensions{0, 0}) {
            dimensionCount = std::max(dimensionCount, sizes.size());
            parts.push_back({Passing(value), Along(std::move(sizes), dimension)});
        }
    }
    for (Part& part : parts) {
        part.shape.dimensions.resize(dimensionCount, 1);
        errorIfOtherSizes(parts.front().shape, part.shape);
    }
    Passing empty(session, emptyfirstobj(session, values));
    if (parts.empty()) {
        return empty.release();
    }
    for (Part& part : parts) {
        if (const Value array = amongElementsOf(session, first, part.array); !isFi(array)) {
            part.array =
                Passing(session.construct(kArrayClass, {array, first.get("numerictype"), first.get("fimath")}));
        }
    }
    const Joiner joiner(session, {std::move(empty), Along(parts.front().shape.withLength(0), dimension)});
    const bool isLogging = session.get(first, "Logging").toBool();
    return (isLogging ? joiner.inTurn(parts) : joiner.inPairs(parts)).array.release();
}

Value todoublecell(Session& session, Values values) {
    std::vector<Value> cells;
    for (const Value& value : values) {
        cells.push_back(isFi(value) ? session.get(value, "double") : value);
    }
    return Value::cells(cells);
}

}  // namespace front
