#include "host/reference/functions.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <numeric>

#include "host/ErrorIdException.h"
#include "host/om.h"
#include "host/reference/calls/builtins.h"
#include "host/reference/calls/dispatch.h"
#include "host/reference/calls/eval.h"
#include "host/reference/calls/format.h"
#include "host/reference/listeners.h"

namespace hostref {

namespace {

using Arguments = std::span<const hvArray* const>;
using Results = std::vector<hvArrayOwner>;

void requireCount(Arguments arguments, std::size_t fewest, std::size_t most) {
    if (arguments.size() < fewest) {
        hvErrMsg(2);
    }
    if (arguments.size() > most) {
        hvErrMsg(1);
    }
}

template <class... Arrays>
Results resultsOf(Arrays*... arrays) {
    Results results;
    (results.emplace_back(arrays), ...);
    return results;
}

Results evalFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 1);
    Results results;
    results.push_back(evaluate(hvArray2String(arguments[0])));
    return results;
}

/// Returns the message and the id of the last error; with arguments it sets them, message first.
Results lastErrorFunction(int, Arguments arguments) {
    requireCount(arguments, 0, 2);
    Results results;
    results.emplace_back(hvCreateString(lastError().message));
    results.emplace_back(hvCreateString(lastError().id));
    if (!arguments.empty()) {
        setLastError(
            {arguments.size() > 1 ? hvArray2String(arguments[1]) : std::string(), hvArray2String(arguments[0])});
    }
    return results;
}

/// Raises the error in its arguments: "error(message)" or "error(id, message)", without formatting.
Results errorFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 2);
    raiseError(arguments.size() > 1 ? hvArray2String(arguments[0]) : std::string(), hvArray2String(arguments.back()));
}

/// "warning(message)", "warning(id, message)", or "warning('on' or 'off', id)".
Results warningFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 2);
    const std::string first = hvArray2String(arguments.front());
    const std::string last = hvArray2String(arguments.back());
    if (arguments.size() == 2 && (first == "on" || first == "off")) {
        setWarningEnabled(last, first == "on");
    } else {
        warn(arguments.size() == 2 ? first : std::string(), last);
    }
    return {};
}

/// Applies a rule to each element of a double or single array; complex elements are passed and returned as
/// std::complex.
template <class Rule>
hvArrayOwner mapFloats(const hvArray* input, hvComplexity complexity, Rule rule) {
    hvArrayOwner output(
        hvCreateNumericArray(hvGetNumberOfDimensions(input), hvGetDimensions(input), hvGetClassID(input), complexity));
    const auto map = [&]<class T>(std::type_identity<T>) {
        const std::span<const T> real = hvGetTypedData<T>(input);
        const std::span<const T> imaginary = hvGetTypedImagData<T>(input);
        const std::span<T> outReal = hvGetTypedData<T>(output.get());
        const std::span<T> outImaginary = hvGetTypedImagData<T>(output.get());
        for (std::size_t i = 0; i < real.size(); ++i) {
            const std::complex<T> value = rule(std::complex<T>(real[i], imaginary.empty() ? T{} : imaginary[i]));
            outReal[i] = value.real();
            if (!outImaginary.empty()) {
                outImaginary[i] = value.imag();
            }
        }
    };
    if (hvIsDouble(input)) {
        map(std::type_identity<double>{});
    } else {
        map(std::type_identity<float>{});
    }
    return output;
}

void requireFloat(const hvArray* array, const char* function) {
    if (!hvIsA(array, "float")) {
        raiseError("VELMAR:UndefinedFunction", std::string("Undefined function '") + function +
                                                   "' for an argument of class '" + hvGetClassName(array) + "'.");
    }
}

bool hasNegative(const hvArray* array) {
    const auto isNegative = [](auto x) { return x < 0; };
    if (hvIsDouble(array)) {
        const auto data = hvGetTypedData<double>(array);
        return std::any_of(data.begin(), data.end(), isNegative);
    }
    const auto data = hvGetTypedData<float>(array);
    return std::any_of(data.begin(), data.end(), isNegative);
}

Results sqrtFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 1);
    const hvArray* input = arguments[0];
    requireFloat(input, "sqrt");
    Results results;
    if (hvIsComplex(input) || hasNegative(input)) {
        results.push_back(mapFloats(input, hvCOMPLEX, [](auto value) { return std::sqrt(value); }));
    } else {
        results.push_back(
            mapFloats(input, hvREAL, [](auto value) { return decltype(value)(std::sqrt(value.real())); }));
    }
    return results;
}

Results absFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 1);
    requireFloat(arguments[0], "abs");
    Results results;
    results.push_back(mapFloats(arguments[0], hvREAL, [](auto value) { return decltype(value)(std::abs(value)); }));
    return results;
}

/// A rule for a real number, with its name for users.
template <class Rule>
struct NamedRule {
    const char* name;
    Rule rule;
};
template <class Rule>
NamedRule(const char*, Rule) -> NamedRule<Rule>;

/// Rounds real and imaginary parts separately; integers are already whole.
template <const auto& Named>
Results roundingFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 1);
    if (hvIsA(arguments[0], "integer")) {
        return resultsOf(hvCreateSharedDataCopy(arguments[0]));
    }
    requireFloat(arguments[0], Named.name);
    const hvComplexity complexity{hvIsComplex(arguments[0])};
    Results results;
    results.push_back(mapFloats(arguments[0], complexity, [](auto value) {
        return decltype(value)(Named.rule(value.real()), Named.rule(value.imag()));
    }));
    return results;
}

/// Converts numeric, logical and char arrays.
Results doubleFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 1);
    const hvArray* input = arguments[0];
    const hvComplexity complexity{hvIsComplex(input)};
    hvArrayOwner output(
        hvCreateNumericArray(hvGetNumberOfDimensions(input), hvGetDimensions(input), hvDOUBLE_CLASS, complexity));
    const auto convert = [&]<class T>(std::type_identity<T>) {
        const auto real = hvGetTypedData<T>(input);
        const auto imaginary = hvGetTypedImagData<T>(input);
        const auto toDouble = [](T value) { return static_cast<double>(value); };
        std::transform(real.begin(), real.end(), hvGetPr(output.get()), toDouble);
        std::transform(imaginary.begin(), imaginary.end(), hvGetPi(output.get()), toDouble);
    };
    if (hvIsChar(input)) {
        convert(std::type_identity<hvChar>{});
    } else if (!hvDispatchClass(hvGetClassID(input), convert)) {
        requireFloat(input, "double");
    }
    Results results;
    results.push_back(std::move(output));
    return results;
}

Results sizeFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 1);
    const std::span<const std::size_t> dimensions = hvGetDims(arguments[0]);
    hvArray* result = hvCreateDoubleMatrix(1, dimensions.size());
    std::transform(dimensions.begin(), dimensions.end(), hvGetPr(result),
                   [](std::size_t dimension) { return static_cast<double>(dimension); });
    return resultsOf(result);
}

/// Counts the elements of an array; for an object, as its class reports by the method "size", or one without it.
Results numelFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 1);
    const Argument given = Argument::of(arguments[0]);
    auto count = static_cast<double>(hvGetNumberOfElements(arguments[0]));
    if (given.interface != nullptr && hasMethod(*given.interface->getClass(), "size")) {
        const Value sizes = callByName("size", std::span(&given, 1), Wanted::exactly(1)).front();
        const std::vector<double> all = sizes.toDoubles();
        count = std::accumulate(all.begin(), all.end(), 1.0, std::multiplies<>());
    }
    return resultsOf(hvCreateDoubleScalar(count));
}

Results classFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 1);
    return resultsOf(hvCreateString(hvGetClassName(arguments[0])));
}

template <bool (*Predicate)(const hvArray*)>
Results predicateFunction(int, Arguments arguments) {
    requireCount(arguments, 1, 1);
    return resultsOf(hvCreateLogicalScalar(Predicate(arguments[0])));
}

Results isaFunction(int, Arguments arguments) {
    requireCount(arguments, 2, 2);
    return resultsOf(hvCreateLogicalScalar(hvIsA(arguments[0], hvArray2String(arguments[1]).c_str())));
}

constexpr NamedRule kCeil = {"ceil", [](auto x) { return std::ceil(x); }};
constexpr NamedRule kFix = {"fix", [](auto x) { return std::trunc(x); }};
constexpr NamedRule kFloor = {"floor", [](auto x) { return std::floor(x); }};
constexpr NamedRule kRound = {"round", [](auto x) { return std::round(x); }};

}  // namespace

std::map<std::string, Function, std::less<>> builtinFunctions() {
    std::map<std::string, Function, std::less<>> all = {
        {"abs", absFunction},
        {kCeil.name, roundingFunction<kCeil>},
        {"class", classFunction},
        {"double", doubleFunction},
        {"error", errorFunction},
        {"eval", evalFunction},
        {kFix.name, roundingFunction<kFix>},
        {kFloor.name, roundingFunction<kFloor>},
        {"isa", isaFunction},
        {"isempty", predicateFunction<hvIsEmpty>},
        {"isnumeric", predicateFunction<hvIsNumeric>},
        {"isscalar", predicateFunction<hvIsScalar>},
        {"lasterr", lastErrorFunction},
        {"numel", numelFunction},
        {kRound.name, roundingFunction<kRound>},
        {"size", sizeFunction},
        {"sqrt", sqrtFunction},
        {"warning", warningFunction},
    };
    all.merge(objectFunctions());
    return all;
}

}  // namespace hostref
