// Quantizes doubles to any format and checks properties of every result, and that all functions agree.
#include <sstream>
#include <utility>
#include <vector>

#include "fuzz/fuzz_case.h"
#include "logging/qlogger.h"
#include "tests/support/quantizers.h"

namespace {

Description takeDescription(FuzzInput& input) {
    Description described;
    described.mode = static_cast<Mode>(input.between(0, 8));
    described.rounding = static_cast<Rounding>(input.between(0, 5));
    described.wraps = input.between(0, 1) != 0;
    described.alwaysLogs = input.between(0, 3) != 0;
    described.wordBits = input.between(1, 300);
    described.second = described.mode == Mode::Float ? input.between(0, std::min(31, described.wordBits - 1))
                                                     : input.between(-64, described.wordBits + 64);
    return described;
}

bool isFixed(const Description& described) {
    return described.mode == Mode::Fixed || described.mode == Mode::Ufixed;
}

// The precision of a number that holds every value of the format.
unsigned precisionFor(const Description& described) {
    switch (described.mode) {
        case Mode::Fixed:
        case Mode::Ufixed:
            return static_cast<unsigned>(described.wordBits);
        case Mode::Float:
            return static_cast<unsigned>(std::max(described.wordBits - described.second - 1, 52));
        default:
            return 52;
    }
}

number makeVector(const std::vector<double>& values, unsigned precision) {
    number result(values.size(), precision, embedded::NumberVector::tag);
    for (std::size_t i = 0; i < values.size(); ++i) {
        result[i].setvalue(values[i]);
    }
    return result;
}

std::string describe(const Description& described, double input, const number& result) {
    std::ostringstream out;
    out << described << ": " << text(input) << " gives " << text(result.todouble());
    return out.str();
}

// Properties of every single result; quantizing it again must not change it.
void checkResult(const Description& described, const quantizer& q, double input, number& result) {
    const auto say = [&] { return describe(described, input, result); };
    if (result.myisnan()) {
        require(std::isnan(input) || (isFixed(described) && described.wraps),
                "only a NaN or a wrapped infinity gives NaN", say);
        return;
    }
    if (isFixed(described)) {
        require(result >= q.getLowerBound() && result <= q.getUpperBound(), "the result lies within the bounds", say);
        require(scaled(exactValue(result), described.second).get_den() == 1, "the result is a whole number of steps",
                say);
    }
    // A float format whose least normal exponent is above its greatest one rounds past its own bound.
    if (described.mode == Mode::Float && described.second < 2) {
        return;
    }
    const quantizer again = described.make();
    number second(result);
    again.quantize(second);
    require(sameElement(second, result), "quantizing twice is quantizing once", say);
    if (isFixed(described)) {
        require(again.getNoverflows() == 0 && again.getNunderflows() == 0, "a value of the format counts as nothing",
                say);
    }
}

void checkSameLog(const Description& described, const quantizer& expected, const quantizer& actual,
                  const char* entrance) {
    const auto say = [&] {
        std::ostringstream out;
        out << described << ", " << entrance << ": " << countsOf(actual) << ", max " << text(actual.getMax().todouble())
            << ", min " << text(actual.getMin().todouble()) << "; by elements " << countsOf(expected) << ", max "
            << text(expected.getMax().todouble()) << ", min " << text(expected.getMin().todouble());
        return out.str();
    };
    require(countsOf(actual) == countsOf(expected), "all entrances count alike", say);
    require(sameElement(actual.getMax(), expected.getMax()) && sameElement(actual.getMin(), expected.getMin()),
            "all entrances log the same extremes", say);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const Description described = takeDescription(input);
    qlogger::setLogging(input.between(0, 1) != 0);
    std::vector<double> values;
    while (!input.isEmpty() && values.size() < 200) {
        // Some as integers near the format's own steps: arbitrary bits are nearly always out of range.
        const bool steps = input.take<std::uint8_t>() % 2 != 0;
        values.push_back(steps ? std::ldexp(input.take<std::int16_t>(), -described.second - 1) : input.take<double>());
    }

    const quantizer byElement = described.make();
    number elements = makeVector(values, precisionFor(described));
    for (std::size_t i = 0; i < values.size(); ++i) {
        byElement.quantize(elements[i]);
        checkResult(described, byElement, values[i], elements);
    }
    const bool logs = described.alwaysLogs || qlogger::getLogging();
    require(byElement.getNoperations() == (logs ? values.size() : 0), "each value is one operation",
            [&] { return std::to_string(byElement.getNoperations()); });

    const quantizer byArray = described.make();
    number array = makeVector(values, precisionFor(described));
    byArray.quantizeArray(array);
    for (std::size_t i = 0; i < values.size(); ++i) {
        require(sameElement(array[i], elements[i]), "an array gives what its elements give",
                [&] { return describe(described, values[i], array) + ", by elements " + text(elements.todouble()); });
    }
    checkSameLog(described, byElement, byArray, "array");

    const quantizer byReference = described.make();
    number doubles = makeVector(values, 52);
    for (std::size_t i = 0; i < values.size(); ++i) {
        byReference.quantize(doubles[i]);
    }
    const quantizer bySpan = described.make();
    std::vector<double> results(values.size());
    bySpan.quantize(std::span<const double>(values), std::span<double>(results));
    for (std::size_t i = 0; i < values.size(); ++i) {
        const number result(results[i], 52, false);
        require(sameElement(result, doubles[i]), "a span gives what its elements give",
                [&] { return describe(described, values[i], result) + ", by elements " + text(doubles.todouble()); });
    }
    checkSameLog(described, byReference, bySpan, "span");
    return 0;
}
