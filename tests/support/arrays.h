// Short ways to make host arrays in tests and to read them back.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "host/hv.h"
#include "host/reference/functions.h"

inline hvArrayOwner arrayOf(std::vector<std::size_t> dimensions, hvClassID classId, hvComplexity complexity = hvREAL) {
    return hvArrayOwner(hvCreateNumericArray(dimensions.size(), dimensions.data(), classId, complexity));
}

/// A double matrix from its elements, column by column.
inline hvArrayOwner doubles(std::size_t rows, std::size_t columns, const std::vector<double>& values) {
    hvArrayOwner array(hvCreateDoubleMatrix(rows, columns));
    std::copy(values.begin(), values.end(), hvGetTypedData<double>(array.get()).begin());
    return array;
}

inline hvArrayOwner text(const std::string& characters) {
    return hvArrayOwner(hvCreateString(characters));
}

inline std::vector<double> valuesOf(const hvArrayOwner& array) {
    const auto data = hvGetTypedData<double>(static_cast<const hvArray*>(array.get()));
    return {data.begin(), data.end()};
}

inline std::vector<std::size_t> dimensionsOf(const hvArrayOwner& array) {
    const auto dimensions = hvGetDims(array.get());
    return {dimensions.begin(), dimensions.end()};
}

/// The results of a host function, each with its owner.
template <class... Made>
std::vector<hvArrayOwner> resultsOf(Made*... made) {
    std::vector<hvArrayOwner> results;
    (results.emplace_back(made), ...);
    return results;
}

/// Calls a host function and returns its one result.
inline hvArrayOwner callHost(const std::string& name, std::vector<const hvArray*> arguments) {
    return std::move(hostref::callFunction(name, 1, arguments).front());
}
