#include "host/ho.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include "host/ErrorIdException.h"
#include "host/hv.h"
#include "host/reference/calls/format.h"
#include "host/reference/values/texts.h"

namespace {

/// Writes a double to a buffer in the common format of the whole array.
using NumberFormat = int (*)(char*, std::size_t, double);

/// Whole numbers as they are, others with four decimals, and those too large or small for that with an exponent.
NumberFormat chooseFormat(const std::vector<double>& values) {
    bool areWhole = true;
    double largest = 0.0;
    double smallest = HUGE_VAL;
    for (const double value : values) {
        if (std::isfinite(value)) {
            areWhole = areWhole && std::trunc(value) == value;
            largest = std::max(largest, std::fabs(value));
            smallest = value == 0.0 ? smallest : std::min(smallest, std::fabs(value));
        }
    }
    if (areWhole && largest < 1e15) {
        return [](char* text, std::size_t size, double value) { return std::snprintf(text, size, "%.0f", value); };
    }
    if (largest < 1e5 && smallest >= 1e-3) {
        return [](char* text, std::size_t size, double value) { return std::snprintf(text, size, "%.4f", value); };
    }
    return [](char* text, std::size_t size, double value) { return std::snprintf(text, size, "%.4e", value); };
}

std::string formatNumber(NumberFormat format, double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value < 0.0 ? "-Inf" : "Inf";
    }
    char text[64];
    const int length = format(text, sizeof text, value + 0.0);
    return {text, static_cast<std::size_t>(length)};
}

std::vector<double> asDoubles(const hvArray* array, bool imaginary) {
    std::vector<double> values;
    hvDispatchClass(hvGetClassID(array), [&]<class T>(std::type_identity<T>) {
        const std::span<const T> data = imaginary ? hvGetTypedImagData<T>(array) : hvGetTypedData<T>(array);
        values.reserve(data.size());
        std::transform(data.begin(), data.end(), std::back_inserter(values),
                       [](T value) { return static_cast<double>(value); });
    });
    return values;
}

/// The numbers, right-aligned to one width.
std::vector<std::string> alignedTexts(NumberFormat format, const std::vector<double>& values) {
    std::vector<std::string> texts;
    texts.reserve(values.size());
    std::size_t width = 0;
    for (const double value : values) {
        texts.push_back(formatNumber(format, value));
        width = std::max(width, texts.back().size());
    }
    for (std::string& text : texts) {
        text.insert(0, width - text.size(), ' ');
    }
    return texts;
}

/// The texts of all elements, of one width, with their signs and units below one another.
std::vector<std::string> elementTexts(const hvArray* array) {
    const std::vector<double> real = asDoubles(array, false);
    const std::vector<double> imaginary = asDoubles(array, true);
    std::vector<double> all = real;
    all.insert(all.end(), imaginary.begin(), imaginary.end());
    const NumberFormat format = chooseFormat(all);

    std::vector<std::string> texts = alignedTexts(format, real);
    std::vector<double> magnitudes = imaginary;
    std::ranges::transform(magnitudes, magnitudes.begin(), [](double value) { return std::fabs(value); });
    const std::vector<std::string> imaginaryTexts = alignedTexts(format, magnitudes);
    for (std::size_t i = 0; i < imaginary.size(); ++i) {
        const bool isNegative = std::signbit(imaginary[i]) && !std::isnan(imaginary[i]);
        texts[i] += (isNegative ? " - " : " + ") + imaginaryTexts[i] + "i";
    }
    return texts;
}

/// The heading of a page: its subscripts in the third and further dimensions.
std::string pageHeading(std::span<const std::size_t> dimensions, std::size_t page) {
    std::string heading = "(:,:";
    for (const std::size_t dimension : dimensions.subspan(2)) {
        heading += "," + std::to_string(page % dimension + 1);
        page /= dimension;
    }
    return heading + ") =\n";
}

}  // namespace

void hoPrintMatrixCompact(const hvArray* array) {
    const bool isChar = hvIsChar(array);
    if (!isChar && !hvIsNumeric(array) && !hvIsLogical(array)) {
        raiseError("VELMAR:array:notNumericClass",
                   std::string("An array of class '") + hvGetClassName(array) + "' has no compact form.");
    }
    if (hvIsEmpty(array)) {
        hostref::print(isChar ? "\n" : "     []\n");
        return;
    }
    const std::vector<std::string> texts = isChar ? std::vector<std::string>() : elementTexts(array);
    const std::span<const std::size_t> dimensions = hvGetDims(array);
    const std::size_t rows = dimensions[0];
    const std::size_t columns = dimensions[1];
    const std::size_t pages = hvGetNumberOfElements(array) / (rows * columns);
    std::string output;
    for (std::size_t page = 0; page < pages; ++page) {
        if (dimensions.size() > 2) {
            output += pageHeading(dimensions, page);
        }
        for (std::size_t row = 0; row < rows; ++row) {
            const std::size_t offset = page * rows * columns + row;
            if (isChar) {
                output += hostref::charRow(array, offset, rows, columns);
            } else {
                for (std::size_t column = 0; column < columns; ++column) {
                    output += "   " + texts[offset + column * rows];
                }
            }
            output += "\n";
        }
    }
    hostref::print(output);
}
