// Floating-point formats of any size, and arrays of their words.
#include <pybind11/stl.h>

#include "guard.h"

namespace tolvane::python {

namespace {

float_format floatFormatOf(py::handle format) {
    return py::isinstance<float_format>(format) ? format.cast<const float_format&>()
                                                : float_format(format.cast<std::string>());
}

}  // namespace

void bindFloats(py::module_& plain) {
    const Functions module(plain);
    py::class_<float_format>(plain, "FloatFormat",
                             "A floating-point type, a rounding and an overflow: 'fp16', 'bf16', 'e4m3 saturate'.")
        .def(py::init([](const std::string& text, const std::string& name) { return float_format(text, name); }),
             py::arg("text"), py::arg("name") = "")
        .def_property_readonly("text", &float_format::text)
        .def_property_readonly("name", &float_format::name)
        .def_property_readonly("bits", [](const float_format& format) { return format.type().bits(); })
        .def("__eq__",
             [](const float_format& a, py::handle b) -> py::object {
                 if (!py::isinstance<float_format>(b)) {
                     return py::reinterpret_borrow<py::object>(Py_NotImplemented);
                 }
                 return py::bool_(a == b.cast<const float_format&>());
             })
        .def("__hash__", [](const float_format& format) { return std::hash<std::string>()(format.text()); })
        .def("__str__", &float_format::text)
        .def("__repr__", [](const float_format& format) { return "tolvane.FloatFormat('" + format.text() + "')"; })
        .def(py::pickle([](const float_format& format) { return py::make_tuple(format.text(), format.name()); },
                        [](const py::tuple& state) {
                            return float_format(state[0].cast<std::string>(), state[1].cast<std::string>());
                        }));

    py::class_<float_array>(plain, "FloatWords")
        .def_property_readonly("shape", &float_array::shape)
        .def_property_readonly("size", &float_array::size)
        .def_property_readonly("name", &float_array::name)
        .def_property_readonly("type_text", [](const float_array& x) { return x.type().text(); })
        .def("reshaped", &float_array::reshaped)
        .def("words",
             [](const float_array& x) -> Memory {
                 auto owner = std::make_shared<const float_array>(x);
                 return {owner, owner->words().data(), owner->size(), sizeof(std::uint64_t), "Q", true};
             })
        .def("doubles", [](const float_array& x) { return memoryOf(x.to_doubles()); })
        .def("negated", [](const float_array& x) { return -x; })
        .def("is_same", [](const float_array& a, const float_array& b) { return a == b; });
    module.def("float_buffer", [](py::handle source, const array_shape& shape, py::handle format) {
        const Bytes bytes(source);
        return float_array(bytes.as<double>(), floatFormatOf(format)).reshaped(shape);
    });
    module.def("float_words", [](py::handle source, const array_shape& shape, py::handle format) {
        const Bytes bytes(source);
        return float_array::from_words(bytes.as<std::uint64_t>(), floatFormatOf(format).type()).reshaped(shape);
    });
    module.def("float_of_fixed",
               [](const fixed_array& x, py::handle format) { return cast(x, floatFormatOf(format)); });
    module.def("float_of_float",
               [](const float_array& x, py::handle format) { return cast(x, floatFormatOf(format)); });
    module.def("fixed_of_float", [](const float_array& x, py::handle format) {
        const fixed_format into = formatOf(format);
        return quantizing([&](const code_location&) { return cast(x, into); });
    });
    module.def("float_add", [](const float_array& a, const float_array& b, py::handle format) {
        return add(a, b, floatFormatOf(format));
    });
    module.def("float_subtract", [](const float_array& a, const float_array& b, py::handle format) {
        return subtract(a, b, floatFormatOf(format));
    });
    module.def("float_multiply", [](const float_array& a, const float_array& b, py::handle format) {
        return multiply(a, b, floatFormatOf(format));
    });
    module.def("float_multiply_add", [](const float_array& a, const float_array& b, const float_array& c,
                                        py::handle format) { return multiply_add(a, b, c, floatFormatOf(format)); });
    module.def("float_equal", [](const float_array& a, const float_array& b) { return memoryOf(equal(a, b)); });
    module.def("float_less", [](const float_array& a, const float_array& b) { return memoryOf(less(a, b)); });
}

}  // namespace tolvane::python
