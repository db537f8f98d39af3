// The chosen coefficients as a host array: an object of class "embedded.fi" in its own session.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "examples/filter_study/Arithmetic.h"
#include "host/reference/Session.h"

namespace filterstudy {

class CoefficientArray {
 public:
    /// Makes an array of the coefficients in the words of the arithmetic, and with its rules.
    CoefficientArray(std::span<const double> coefficients, const Arithmetic& arithmetic);

    /// The host's display of the array: values, words in hexadecimal and in binary, type, rules and tag; at most 110
    /// columns.
    std::string shown();

    /// The words in base 2 by the method "bin", in base 16 by "hex".
    std::vector<std::string> words(int base);

    /// Compares a text of `hexadecimalText` or `binaryText` with the array: with its words, and by values once
    /// "base2num" has read it into another array of the same type. Throws a StudyError (WordsDiffer) with the first
    /// difference, and hostref::HostError for text that the host cannot read.
    void requireEqual(const std::string& text, int base);

 private:
    std::string displayed(const hostref::Value& value);

    hostref::Session mSession;
    hostref::Value mQuantizing;
    hostref::Value mArray;
};

}  // namespace filterstudy
