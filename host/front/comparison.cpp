#include "host/front/comparison.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace front {

namespace {

/// Returns whether a `fi` could hold the numbers at all; otherwise the class raises.
bool canBeIn(Session& session, const Value& fi, const Value& numbers) {
    const bool holdsInfinity = session.call("isfloat", {fi}).toBool();
    const auto fits = [holdsInfinity](double x) { return holdsInfinity ? !std::isnan(x) : std::isfinite(x); };
    return std::ranges::all_of(numbers.toDoubles(), fits) && std::ranges::all_of(numbers.toImaginaries(), fits);
}

bool isEqualTo(Session& session, const Value& fi, const Value& other) {
    if (!isFi(other) && !isNumbers(other)) {
        return false;
    }
    if (const Dimensions dimensions = dimensionsOf(session, other); dimensions != dimensionsOf(session, fi)) {
        return false;
    }
    // An empty host array would count as one of 0-by-0.
    if (isNumbers(other) && (other.isEmpty() || !canBeIn(session, fi, other))) {
        return other.isEmpty();
    }
    return session.call("binaryop_isequal", {fi, asNumbers(other)}).toBool();
}

// A type in full, and rules.
constexpr const char* kTypeProperties[] = {"DataTypeModeNoWarning", "Signedness", "WordLength",      "FixedExponent",
                                           "SlopeAdjustmentFactor", "Bias",       "DataTypeOverride"};
constexpr const char* kRulesProperties[] = {
    "RoundMode",
    "OverflowMode",
    "ProductMode",
    "ProductWordLength",
    "MaxProductWordLength",
    "ProductFixedExponent",
    "ProductSlopeAdjustmentFactor",
    "ProductBias",
    "SumMode",
    "SumWordLength",
    "MaxSumWordLength",
    "SumFixedExponent",
    "SumSlopeAdjustmentFactor",
    "SumBias",
    "CastBeforeSum",
};

bool agree(Session& session, const Value& a, const Value& b, std::span<const char* const> properties) {
    return std::ranges::all_of(
        properties, [&](const char* property) { return session.get(a, property) == session.get(b, property); });
}

/// Truth values: a value is true if it isn't zero; a complex value, if either part isn't.
std::vector<bool> truthsOf(Session& session, const Value& value) {
    std::vector<bool> truths(elementCount(dimensionsOf(session, value)));
    const auto mark = [&truths](const std::vector<double>& part) {
        for (std::size_t i = 0; i < part.size(); ++i) {
            truths[i] = truths[i] || part[i] != 0;
        }
    };
    if (isFi(value)) {
        for (const char* const part : {"real", "imag"}) {
            // Signs are exact at any word length.
            mark(session.call("sign", {Passing(session, session.call(part, {value}))}).toDoubles());
        }
    } else {
        mark(value.toDoubles());
        mark(value.toImaginaries());
    }
    return truths;
}

}  // namespace

bool isequal(Session& session, Values values) {
    const Value& first = firstobj(values);
    return std::ranges::all_of(
        values, [&](const Value& value) { return &value == &first || isEqualTo(session, first, value); });
}

bool ispropequal(Session& session, const Value& a, const Value& b) {
    if (isFi(a) && isFi(b)) {
        return agree(session, a.get("numerictype"), b.get("numerictype"), kTypeProperties) &&
               agree(session, a.get("fimath"), b.get("fimath"), kRulesProperties) && isEqualTo(session, a, b);
    }
    if (isObjectOf(a, kTypeClass) && isObjectOf(b, kTypeClass)) {
        return agree(session, a, b, kTypeProperties);
    }
    return isObjectOf(a, kRulesClass) && isObjectOf(b, kRulesClass) && agree(session, a, b, kRulesProperties);
}

Value joinTruths(Session& session, TruthRule rule, const Value& a, const Value& b) {
    const std::vector<bool> left = truthsOf(session, a);
    const std::vector<bool> right = truthsOf(session, b);
    Dimensions dimensions = dimensionsOf(session, left.size() == 1 ? b : a);
    if (left.size() != 1 && right.size() != 1 && dimensions != dimensionsOf(session, b)) {
        throw hostref::HostError("fixedpoint:fi:logical:sizeMismatch",
                                 "Arrays to be joined by a logical operation must be of one size.");
    }
    hvArrayOwner joined(hvCreateLogicalArray(dimensions.size(), dimensions.data()));
    const std::span<hvLogical> out = hvGetTypedData<hvLogical>(joined.get());
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] = hvLogical{rule(left[left.size() == 1 ? 0 : i], right[right.size() == 1 ? 0 : i])};
    }
    return Value(std::move(joined));
}

}  // namespace front
