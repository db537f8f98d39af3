// Words as texts, and files of words.
#include <pybind11/stl.h>

#include "guard.h"

namespace tolvane::python {

namespace {

word_options optionsOf(const py::dict& given) {
    word_options options;
    if (!given["style"].is_none()) {
        const auto style = given["style"].cast<std::string>();
        if (style == "hex") {
            options.style = word_style::memory_hex;
        } else if (style == "bin") {
            options.style = word_style::memory_bin;
        } else if (style == "c") {
            options.style = word_style::c_header;
        } else if (style == "csv") {
            options.style = word_style::csv;
        } else {
            throw py::value_error("style is 'hex', 'bin', 'c' or 'csv', not '" + style + "'.");
        }
    }
    options.first_address = given["first_address"].cast<std::uint64_t>();
    options.address_every = given["address_every"].cast<std::size_t>();
    options.values = given["values"].cast<bool>();
    options.fill_gaps = given["fill_gaps"].cast<bool>();
    options.comment = given["comment"].cast<std::string>();
    options.describe = given["describe"].cast<bool>();
    options.name = given["name"].cast<std::string>();
    return options;
}

/// Pairs of a format and whether elements are complex.
std::vector<word_signal> signalsOf(const py::sequence& given) {
    std::vector<word_signal> signals;
    for (const py::handle item : given) {
        const auto pair = item.cast<py::tuple>();
        signals.push_back({formatOf(pair[0]), pair[1].cast<bool>()});
    }
    return signals;
}

}  // namespace

void bindWords(py::module_& plain) {
    const Functions module(plain);
    module.def("to_hex", &to_hex);
    module.def("to_bin", &to_bin);
    module.def("to_oct", &to_oct);
    module.def("to_decimal", &to_decimal);
    module.def("from_digits", [](const std::vector<std::string>& texts, int base, py::handle format, bool isComplex) {
        const fixed_format into = formatOf(format);
        return working([&] {
            return base == 16  ? from_hex(texts, into, isComplex)
                   : base == 2 ? from_bin(texts, into, isComplex)
                               : from_oct(texts, into, isComplex);
        });
    });
    module.def("from_decimal", [](const std::vector<std::string>& texts, py::handle format) {
        const fixed_format into = formatOf(format);
        return quantizing([&](const code_location&) { return from_decimal(texts, into); });
    });
    module.def("write_words",
               [](const std::string& path, const std::vector<fixed_array>& arrays, const py::dict& given) {
                   const word_options options = optionsOf(given);
                   working([&] {
                       write_words(path, arrays, options);
                       return true;
                   });
               });
    module.def("words_text", [](const std::vector<fixed_array>& arrays, const py::dict& given) {
        const word_options options = optionsOf(given);
        return working([&] { return words_text(arrays, options); });
    });
    module.def("read_words", [](const std::string& path, const py::sequence& signals, const py::dict& given) {
        const std::vector<word_signal> wanted = signalsOf(signals);
        const word_options options = optionsOf(given);
        return working([&] { return read_words(path, wanted, options); });
    });
    module.def("words_from_text", [](const std::string& text, const py::sequence& signals, const py::dict& given) {
        const std::vector<word_signal> wanted = signalsOf(signals);
        const word_options options = optionsOf(given);
        return working([&] { return words_from_text(text, wanted, options); });
    });
}

}  // namespace tolvane::python
