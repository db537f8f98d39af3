// Sizes of values, and an array viewed along one of its dimensions.
//
// Dimensions count from 0 here; users count them from 1 (`dimensionAt`).
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "host/reference/Session.h"

namespace front {

using hostref::Session;
using hostref::Value;
using Dimensions = std::vector<std::size_t>;

inline constexpr const char* kArrayClass = "embedded.fi";
inline constexpr const char* kTypeClass = "embedded.numerictype";
inline constexpr const char* kRulesClass = "embedded.fimath";

/// Returns whether the value is an object of the class.
bool isObjectOf(const Value& value, const char* className);
inline bool isFi(const Value& value) {
    return isObjectOf(value, kArrayClass);
}

/// Returns whether the value is a numeric or logical array of the host.
bool isNumbers(const Value& value);

Dimensions dimensionsOf(Session& session, const Value& value);
std::size_t elementCount(const Dimensions& dimensions);
bool isEmpty(Session& session, const Value& value);
/// Returns whether it has two dimensions of which one is 1.
bool isVector(const Dimensions& dimensions);
/// The first dimension whose size isn't 1; 0 if there is none.
std::size_t firstLongDimension(const Dimensions& dimensions);
/// Reads the number of a dimension as a user gives it. Throws "fixedpoint:fi:dimension:mustBePositiveInteger" unless it
/// is a whole number from 1 to 1024.
std::size_t dimensionAt(const Value& number);

/// Makes a double array of any number of dimensions from its elements, column by column.
Value doubles(const Dimensions& dimensions, std::span<const double> elements);
/// A logical array as doubles, for which a precision can be found; any other value unchanged.
Value asNumbers(const Value& value);
/// A value that is safe as elements of `fi`: words as doubles if the data type of `fi` is double, since the class would
/// keep values beyond doubles; any other value unchanged.
Value amongElementsOf(Session& session, const Value& fi, const Value& value);
/// The same elements in other dimensions, whose product must be the same.
Value reshaped(Session& session, const Value& array, Dimensions dimensions);

/// An intermediate array. Like every copy it has a copy of its source's log, so its own is cleared when it is
/// destroyed: a map of logs counts an overflow once. Without a session, the array is kept as it is.
class Passing {
 public:
    explicit Passing(Value kept) : mValue(std::move(kept)) {}
    Passing(Session& session, Value made) : mSession(&session), mValue(std::move(made)) {}
    Passing(Passing&& other) noexcept
        : mSession(std::exchange(other.mSession, nullptr)), mValue(std::move(other.mValue)) {}
    Passing& operator=(Passing other) noexcept {
        std::swap(mSession, other.mSession);
        std::swap(mValue, other.mValue);
        return *this;
    }
    ~Passing();

    operator const Value&() const { return mValue; }
    /// Gives the array to the user, with its log.
    Value release() {
        mSession = nullptr;
        return mValue;
    }

 private:
    Session* mSession = nullptr;
    Value mValue;
};

/// An array as `outer` blocks of `length` rows of `inner` elements, with one row for each position along the dimension.
struct Along {
    Along(Dimensions dimensions, std::size_t dimension);

    /// The dimensions, with another size along this one.
    Dimensions withLength(std::size_t other) const;
    /// A matrix with the dimension in front: one column for each position in the other dimensions.
    Passing inFront(Session& session, const Value& array) const;

    Dimensions dimensions;
    std::size_t dimension;
    std::size_t inner = 1;
    std::size_t length = 1;
    std::size_t outer = 1;
};

}  // namespace front
