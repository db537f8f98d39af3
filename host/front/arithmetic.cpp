#include "host/front/arithmetic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/front/concatenation.h"

namespace front {

// Quotients

namespace {

/// An operand as a `fi`: a host array in the other one's word length, signed if necessary, at the best precision for
/// its values.
Value asFi(Session& session, const Value& operand, const Value& other) {
    if (isFi(operand)) {
        return operand;
    }
    const Value type = other.get("numerictype");
    if (session.call("isscaledtype", {other}).toBool()) {
        const auto isNegative = [](double x) { return x < 0; };
        if (std::ranges::any_of(operand.toDoubles(), isNegative) ||
            std::ranges::any_of(operand.toImaginaries(), isNegative)) {
            type.set("SignednessBool", true);
        }
        type.set("Scaling", "Unspecified");
    }
    return session.construct(kArrayClass, {asNumbers(operand), type, Value(false)});
}

/// The least power of two near a magnitude in the array, as its exponent; 0 if there is none.
double leastExponent(const Value& array) {
    const std::vector<double> real = array.toDoubles();
    const std::vector<double> imaginary = array.toImaginaries();
    std::optional<int> least;
    for (std::size_t i = 0; i < real.size(); ++i) {
        const double x = real[i];
        const double y = imaginary.empty() ? 0.0 : imaginary[i];
        if ((x == 0.0 && y == 0.0) || !std::isfinite(x) || !std::isfinite(y)) {
            continue;
        }
        // Of two numbers near the end of doubles the magnitude is beyond it.
        const double magnitude = std::hypot(x, y);
        const int exponent = std::isinf(magnitude) ? std::ilogb(std::hypot(x / 2, y / 2)) + 1 : std::ilogb(magnitude);
        least = std::min(least.value_or(exponent), exponent);
    }
    return least.value_or(0);
}

/// The parts of a type on which quotients depend.
struct Word {
    explicit Word(const Value& type)
        : dataType(type.get("DataType").toText()),
          isSigned(type.get("SignednessBool").toBool()),
          wordLength(type.get("WordLength").toDouble()),
          fixedExponent(type.get("FixedExponent").toDouble()) {
        if (dataType == "boolean") {
            *this = Word{"Fixed", false, 1, 0};
        }
    }

    std::string dataType;
    bool isSigned;
    double wordLength;
    double fixedExponent;

 private:
    Word(std::string data, bool sign, double bits, double exponent)
        : dataType(std::move(data)), isSigned(sign), wordLength(bits), fixedExponent(exponent) {}
};

}  // namespace

Value computeDivideType(Session& session, const Value& numerator, const Value& denominator) {
    const std::array operands = {numerator, denominator};
    const Value& known = firstobj(operands);
    const Word a(asFi(session, numerator, known).get("numerictype"));
    Word b(asFi(session, denominator, known).get("numerictype"));
    if (!isFi(denominator)) {
        b.fixedExponent = leastExponent(denominator);
    }
    Value type = session.construct(kTypeClass);
    for (const char* const dataType : {"double", "single", "ScaledDouble"}) {
        if (a.dataType == dataType || b.dataType == dataType) {
            type.set("DataType", dataType);
            if (std::string_view(dataType) != "ScaledDouble") {
                return type;
            }
        }
    }
    type.set("SignednessBool", a.isSigned || b.isSigned);
    type.set("WordLength", std::max(a.wordLength, b.wordLength));
    type.set("FixedExponent", a.fixedExponent - b.fixedExponent);
    return type;
}

Value rdivide(Session& session, const Value& numerator, const Value& denominator) {
    const Value type = computeDivideType(session, numerator, denominator);
    return session.call("divide", {type, asFi(session, numerator, denominator), asFi(session, denominator, numerator)});
}

Value mrdivide(Session& session, const Value& numerator, const Value& divisor) {
    if (elementCount(dimensionsOf(session, divisor)) != 1) {
        throw hostref::HostError("fixedpoint:fi:mrdivide:scalarDivisor",
                                 "A matrix can be divided by a scalar only; use rdivide for quotients of elements.");
    }
    return rdivide(session, numerator, divisor);
}

// Magnitudes and roots

namespace {

/// Calls a method that takes a type, rules, both or neither.
Value callBy(Session& session, const char* method, const Value& array, const Value& type, const Value& rules) {
    std::vector<Value> arguments = {array};
    for (const Value& given : {type, rules}) {
        if (given.isObject()) {
            arguments.push_back(given);
        }
    }
    return session.call(method, arguments);
}

/// Magnitudes of floating-point elements, whose squares could overflow.
Value floatMagnitudes(Session& session, const Value& array) {
    const Value values = session.get(array, "double");
    const std::vector<double> real = values.toDoubles();
    const std::vector<double> imaginary = values.toImaginaries();
    std::vector<double> magnitudes(real.size());
    std::ranges::transform(real, imaginary, magnitudes.begin(), [](double x, double y) { return std::hypot(x, y); });
    const bool isLocal = session.call("isfimathlocal", {array}).toBool();
    return session.construct(kArrayClass, {doubles(values.dimensions(), magnitudes), array.get("numerictype"),
                                           isLocal ? array.get("fimath") : Value(false)});
}

}  // namespace

Value abs(Session& session, const Value& array, const Value& type, const Value& rules) {
    if (session.call("isreal", {array}).toBool()) {
        return callBy(session, "realabs", array, type, rules);
    }
    if (!session.call("isfixed", {array}).toBool()) {
        return callBy(session, "realabs", floatMagnitudes(session, array), type, rules);
    }
    const auto squares = [&](const char* part) {
        const Passing passing(session, session.call(part, {array}));
        const Value& values = passing;
        if (rules.isObject()) {
            values.set("fimath", rules);
        }
        return session.call("times", {values, values});
    };
    // The type of a `fi` is its own, so it may be changed.
    const Value wanted = (type.isObject() ? session.construct(kArrayClass, {Value(), type}) : array).get("numerictype");
    if (wanted.get("SignednessBool").isEmpty()) {
        wanted.set("SignednessBool", false);
    }
    return callBy(session, "sqrt", session.call("plus", {squares("real"), squares("imag")}), wanted, rules);
}

Value sqrt(Session& session, const Value& array, const Value& type, const Value& rules) {
    return callBy(session, "sqrt", array, type, rules);
}

// Convolutions and complex arrays

Value conv(Session& session, const Value& a, const Value& b, std::string_view shape) {
    static constexpr std::pair<std::string_view, const char*> kMethods[] = {
        {"full", "convF"}, {"same", "convS"}, {"valid", "convV"}};
    const auto found = std::ranges::find(kMethods, shape, [](const auto& row) { return row.first; });
    if (found == std::end(kMethods)) {
        throw hostref::HostError("fixedpoint:fi:conv:shape", "The shape of a convolution is full, same or valid.");
    }
    if (!isVector(dimensionsOf(session, a)) || !isVector(dimensionsOf(session, b))) {
        throw hostref::HostError("fixedpoint:fi:conv:vectors", "The operands of a convolution must be vectors.");
    }
    return session.call(found->second, {a, b});
}

Value complex(Session& session, const Value& realPart, const Value& imaginaryPart) {
    const Value imaginary = isFi(realPart) ? amongElementsOf(session, realPart, imaginaryPart) : imaginaryPart;
    return session.call("binaryop_complex", {realPart, imaginary});
}

Value complex(Session& session, const Value& array) {
    const bool isReal = session.call("isreal", {array}).toBool();
    return isReal ? complex(session, array, 0) : session.call("copy", {array});
}

}  // namespace front
