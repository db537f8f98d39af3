// Types and formats.
#include <pybind11/stl.h>

#include <array>

#include "conversions.h"

namespace tolvane::python {

namespace {

constexpr std::array kRoundings{rounding::ceil,           rounding::convergent,   rounding::toward_zero,
                                rounding::floor,          rounding::nearest,      rounding::nearest_away,
                                rounding::nearest_zero,   rounding::nearest_down, rounding::nearest_odd,
                                rounding::away_from_zero, rounding::jam,          rounding::add_sign,
                                rounding::stochastic};
constexpr std::array kOverflows{overflow::saturate, overflow::wrap, overflow::symmetric, overflow::zero,
                                overflow::keep_sign};

exact_value boundOf(const fixed_type& type, bool isGreatest) {
    // The bit pattern of the bound, as words of two's complement.
    const bool hasLowBits = isGreatest;
    std::vector<std::uint64_t> limbs(static_cast<std::size_t>(type.bits) / 64 + 1, hasLowBits ? ~std::uint64_t{0} : 0);
    const int top = type.bits - (type.is_signed ? 1 : 0);
    for (int bit = top; bit < static_cast<int>(limbs.size()) * 64; ++bit) {
        const std::uint64_t mask = std::uint64_t{1} << (bit % 64);
        std::uint64_t& limb = limbs[static_cast<std::size_t>(bit) / 64];
        const bool isSet = !isGreatest && type.is_signed;
        limb = isSet ? limb | mask : limb & ~mask;
    }
    return exact_value::from_words(limbs.data(), limbs.size(), true, -type.fraction);
}

}  // namespace

void bindFormats(py::module_& module) {
    py::class_<fixed_type>(module, "Type",
                           "The values word * 2**-fraction, for words of some bits, in two's complement if signed.\n\n"
                           "Type('s16,15') reads the texts of formats. Immutable and hashable.")
        .def(py::init([](py::handle text) { return typeOf(text); }), py::arg("text"))
        .def_readonly("signed", &fixed_type::is_signed, "Whether words are in two's complement.")
        .def_readonly("bits", &fixed_type::bits, "All bits of a word, 1 to 65535.")
        .def_readonly("fraction", &fixed_type::fraction, "Bits after the point; may be negative or beyond the word.")
        .def_property_readonly("text", &fixed_type::text)
        .def("_least", [](const fixed_type& type) { return pairOf(boundOf(type, false)); })
        .def("_greatest", [](const fixed_type& type) { return pairOf(boundOf(type, true)); })
        .def("__eq__",
             [](const fixed_type& a, py::handle b) -> py::object {
                 if (!py::isinstance<fixed_type>(b)) {
                     return py::reinterpret_borrow<py::object>(Py_NotImplemented);
                 }
                 return py::bool_(a == b.cast<const fixed_type&>());
             })
        .def("__hash__", [](const fixed_type& type) { return std::hash<fixed_type>()(type); })
        .def("__str__", &fixed_type::text)
        .def("__repr__", [](const fixed_type& type) { return "tolvane.Type('" + type.text() + "')"; })
        .def(py::pickle([](const fixed_type& type) { return py::make_tuple(type.text()); },
                        [](const py::tuple& state) { return typeOf(state[0]); }))
        .def("__copy__", [](const fixed_type& type) { return type; })
        .def("__deepcopy__", [](const fixed_type& type, py::handle) { return type; });

    const auto roundingNamed = [](const std::string& name) {
        for (const rounding one : kRoundings) {
            if (name_of(one) == name) {
                return one;
            }
        }
        throw py::value_error("There is no rounding '" + name + "'.");
    };
    const auto overflowNamed = [](const std::string& name) {
        for (const overflow one : kOverflows) {
            if (name_of(one) == name) {
                return one;
            }
        }
        throw py::value_error("There is no overflow '" + name + "'.");
    };
    py::class_<fixed_format>(module, "Format",
                             "What a value is forced into at one place of a design: a type, a rounding, an overflow\n"
                             "and a name, under which logs keep what happens there. Immutable and hashable.")
        .def(py::init([=](py::handle format, py::handle rounding, py::handle overflow, py::handle name) {
                 fixed_format made = formatOf(format);
                 if (!rounding.is_none() || !overflow.is_none()) {
                     made = fixed_format(
                         made.type(),
                         rounding.is_none() ? made.rounding() : roundingNamed(rounding.cast<std::string>()),
                         overflow.is_none() ? made.overflow() : overflowNamed(overflow.cast<std::string>()),
                         made.name());
                 }
                 return name.is_none() ? made : made.named(name.cast<std::string>());
             }),
             py::arg("format"), py::arg("rounding") = py::none(), py::arg("overflow") = py::none(),
             py::arg("name") = py::none())
        .def_property_readonly("type", &fixed_format::type)
        .def_property_readonly("rounding", [](const fixed_format& f) { return std::string(name_of(f.rounding())); })
        .def_property_readonly("overflow", [](const fixed_format& f) { return std::string(name_of(f.overflow())); })
        .def_property_readonly("name", &fixed_format::name)
        .def_property_readonly("text", &fixed_format::text)
        .def("named", &fixed_format::named, py::arg("name"), "The same format under another name.")
        .def("__eq__",
             [](const fixed_format& a, py::handle b) -> py::object {
                 if (!py::isinstance<fixed_format>(b)) {
                     return py::reinterpret_borrow<py::object>(Py_NotImplemented);
                 }
                 return py::bool_(a == b.cast<const fixed_format&>());
             })
        .def("__hash__", [](const fixed_format& format) { return std::hash<fixed_format>()(format); })
        .def("__str__", &fixed_format::text)
        .def("__repr__",
             [](const fixed_format& format) {
                 const std::string name =
                     format.name().empty() ? "" : ", name=" + py::repr(py::str(format.name())).cast<std::string>();
                 return "tolvane.format('" + format.text() + "'" + name + ")";
             })
        .def(py::pickle([](const fixed_format& format) { return py::make_tuple(format.text(), format.name()); },
                        [](const py::tuple& state) {
                            return fixed_format(state[0].cast<std::string>(), state[1].cast<std::string>());
                        }))
        .def("__copy__", [](const fixed_format& format) { return format; })
        .def("__deepcopy__", [](const fixed_format& format, py::handle) { return format; });

    module.def("best_type", &best_type);

    std::vector<std::string> names;
    for (const rounding one : kRoundings) {
        names.emplace_back(name_of(one));
    }
    module.attr("roundings") = py::tuple(py::cast(names));
    names.clear();
    for (const overflow one : kOverflows) {
        names.emplace_back(name_of(one));
    }
    module.attr("overflows") = py::tuple(py::cast(names));
}

}  // namespace tolvane::python
