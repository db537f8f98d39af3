#include "host/front/shape.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <utility>

namespace front {

bool isObjectOf(const Value& value, const char* className) {
    return value.isObject() && value.isA(className);
}

bool isNumbers(const Value& value) {
    return value.isArray() && (hvIsNumeric(value.array()) || hvIsLogical(value.array()));
}

Dimensions dimensionsOf(Session& session, const Value& value) {
    if (value.isArray()) {
        return value.dimensions();
    }
    Dimensions dimensions;
    for (const double size : session.call("size", {value}).toDoubles()) {
        dimensions.push_back(static_cast<std::size_t>(size));
    }
    return dimensions;
}

std::size_t elementCount(const Dimensions& dimensions) {
    return std::accumulate(dimensions.begin(), dimensions.end(), std::size_t{1}, std::multiplies<>());
}

bool isEmpty(Session& session, const Value& value) {
    return elementCount(dimensionsOf(session, value)) == 0;
}

bool isVector(const Dimensions& dimensions) {
    return dimensions.size() == 2 && (dimensions[0] == 1 || dimensions[1] == 1);
}

std::size_t firstLongDimension(const Dimensions& dimensions) {
    const auto found = std::ranges::find_if(dimensions, [](std::size_t size) { return size != 1; });
    return found == dimensions.end() ? 0 : static_cast<std::size_t>(found - dimensions.begin());
}

std::size_t dimensionAt(const Value& number) {
    constexpr double kMost = 1024;
    const double given = number.isArray() && number.numberOfElements() == 1 ? number.toDouble() : 0.0;
    if (!(given >= 1.0 && given <= kMost && given == std::floor(given))) {
        throw hostref::HostError("fixedpoint:fi:dimension:mustBePositiveInteger",
                                 "The number of a dimension must be a whole number from 1 to 1024.");
    }
    return static_cast<std::size_t>(given) - 1;
}

Value doubles(const Dimensions& dimensions, std::span<const double> elements) {
    hvArrayOwner array(hvCreateNumericArray(dimensions.size(), dimensions.data(), hvDOUBLE_CLASS));
    std::ranges::copy(elements, hvGetPr(array.get()));
    return Value(std::move(array));
}

Value asNumbers(const Value& value) {
    const bool isLogical = value.isArray() && hvIsLogical(value.array());
    return isLogical ? doubles(value.dimensions(), value.toDoubles()) : value;
}

Value amongElementsOf(Session& session, const Value& fi, const Value& value) {
    const bool isWords = isFi(value) && session.call("isscaledtype", {value}).toBool();
    return isWords && session.call("isdouble", {fi}).toBool() ? session.get(value, "double") : value;
}

Value reshaped(Session& session, const Value& array, Dimensions dimensions) {
    while (dimensions.size() > 2 && dimensions.back() == 1) {
        dimensions.pop_back();
    }
    return session.call("fi_reshape", {array, std::vector<double>(dimensions.begin(), dimensions.end())});
}

Passing::~Passing() {
    if (mSession == nullptr) {
        return;
    }
    try {
        mSession->call(0, "resetlogging", {mValue});
    } catch (const hostref::HostError&) {
        // The array is destroyed in any case; its log is then written a second time.
    }
}

Along::Along(Dimensions sizes, std::size_t along) : dimensions(std::move(sizes)), dimension(along) {
    dimensions.resize(std::max(dimensions.size(), along + 1), 1);
    for (std::size_t i = 0; i < dimensions.size(); ++i) {
        (i < along ? inner : i == along ? length : outer) *= dimensions[i];
    }
}

Dimensions Along::withLength(std::size_t other) const {
    Dimensions changed = dimensions;
    changed[dimension] = other;
    return changed;
}

Passing Along::inFront(Session& session, const Value& array) const {
    const Dimensions matrix = {length, inner * outer};
    if (inner == 1) {
        return Passing(session, reshaped(session, array, matrix));
    }
    if (outer == 1) {
        // A transpose leaves the log of its source alone.
        const bool isMatrix = isFi(array) && dimensions.size() == 2;
        const Passing rows = isMatrix ? Passing(array) : Passing(session, reshaped(session, array, {inner, length}));
        return Passing(session, session.call("transpose", {rows}));
    }
    std::vector<double> places;
    places.reserve(length * inner * outer);
    for (std::size_t block = 0; block < outer; ++block) {
        for (std::size_t place = 0; place < inner; ++place) {
            for (std::size_t row = 0; row < length; ++row) {
                places.push_back(static_cast<double>((block * length + row) * inner + place + 1));
            }
        }
    }
    // Elements that a vector selects from another vector have the direction of the array.
    const Passing moved(session, session.index(array, {hostref::paren(doubles(matrix, places))}));
    return Passing(session, reshaped(session, moved, matrix));
}

}  // namespace front
