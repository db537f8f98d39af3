// Variables for loops, and the values of expressions with them.
#include <compare>
#include <memory>
#include <optional>

#include "guard.h"

namespace tolvane::python {

namespace {

using detail::Int128;
using detail::Leaf;
using detail::LongReference;

/// Longer than the mantissa of any float.
constexpr int kAnyBits = 4096;

/// An exact value with the length of the longest word that it was made of, as constants beside it need it.
struct Exact {
    Leaf leaf;
};

/// A variable, with the bounds of its words: what lies between them can't overflow.
struct Variable {
    Variable(const fixed_format& format, const exact_value& lowest, const exact_value& highest)
        : scalar(std::make_unique<fixed_scalar>(format)),
          least(detail::leafOf(lowest)),
          greatest(detail::leafOf(highest)) {}

    std::unique_ptr<fixed_scalar> scalar;
    Leaf least;
    Leaf greatest;
};

template <class Operation>
Exact combined(const Leaf& a, const Leaf& b) {
    const detail::Pair<Operation, Leaf, Leaf> pair(a, b);
    bool isTooLong = false;
    const detail::Term<Int128> term = pair.template term<Int128>(isTooLong);
    if (isTooLong) {
        return {Leaf(LongReference(pair.exact()), pair.bits())};
    }
    return {Leaf(term.value, term.exponent, pair.bits())};
}

/// The class of arrays above the extension, and the name of what it holds.
PyObject* sArrayClass = nullptr;
PyObject* sArrayMember = nullptr;

/// The element of a real array without dimensions; empty for other arrays.
std::optional<Leaf> elementOf(py::handle array) {
    const auto held = py::reinterpret_steal<py::object>(PyObject_GetAttr(array.ptr(), sArrayMember));
    if (!held) {
        throw py::error_already_set();
    }
    const auto& x = held.cast<const fixed_array&>();
    if (x.is_complex() || !x.shape().empty()) {
        return std::nullopt;
    }
    return x[0];
}

/// A float beside words of so many bits: exact, or by the rules of the context in the best precision.
Leaf constantOf(double number, int bits, bool isSigned) {
    if (bits == kAnyBits || !areConstantsBest()) {
        return detail::nodeOf(number, bits);
    }
    const std::string name = "constant " + py::repr(py::float_(number)).cast<std::string>();
    const fixed_format format = fixed_format(best_type(isSigned, bits, number)).named(name);
    return quantizing([&](const code_location& where) {
        const fixed_array made(std::vector<double>{number}, format, where);
        return detail::leafOf(made.at(0));
    });
}

/// What a number is in an expression; a float has to fit words of so many bits. Empty for what is none.
std::optional<Leaf> operandOf(py::handle value, int bits, bool isSigned = true) {
    PyObject* const object = value.ptr();
    if (py::isinstance<Variable>(value)) {
        return value.cast<const Variable&>().scalar->leaf();
    }
    if (py::isinstance<Exact>(value)) {
        return value.cast<const Exact&>().leaf;
    }
    if (PyFloat_Check(object)) {
        return constantOf(PyFloat_AS_DOUBLE(object), bits, isSigned);
    }
    if (PyLong_Check(object)) {
        return detail::leafOf(exactOf(value));
    }
    if (reinterpret_cast<PyObject*>(Py_TYPE(object)) == sArrayClass) {
        return elementOf(value);
    }
    if (PyIndex_Check(object)) {  // whole numbers of numpy; all of its arrays claim to be some
        if (const auto whole = py::reinterpret_steal<py::object>(PyNumber_Index(object))) {
            return detail::leafOf(exactOf(whole));
        }
        PyErr_Clear();
    }
    return std::nullopt;
}

bool isSigned(const Exact&) {
    return true;
}
bool isSigned(const Variable& x) {
    return x.scalar->format().type().is_signed;
}

const Leaf& leafOf(const Exact& x) {
    return x.leaf;
}
Leaf leafOf(const Variable& x) {
    return x.scalar->leaf();
}

template <class Operation, bool kIsReflected, class Self>
py::object arithmetic(const Self& self, py::handle other) {
    const Leaf own = leafOf(self);
    const std::optional<Leaf> beside = operandOf(other, own.bits(), isSigned(self));
    if (!beside) {
        return py::reinterpret_borrow<py::object>(Py_NotImplemented);
    }
    return py::cast(kIsReflected ? combined<Operation>(*beside, own) : combined<Operation>(own, *beside));
}

template <class Test, class Self>
py::object compared(const Self& self, py::handle other, Test test) {
    const std::optional<Leaf> beside = operandOf(other, kAnyBits);
    if (!beside) {
        return py::reinterpret_borrow<py::object>(Py_NotImplemented);
    }
    return py::bool_(test(leafOf(self) <=> *beside));
}

template <class Class, class Self>
void bindOperators(Class& bound) {
    bound.def("__add__", &arithmetic<detail::Plus, false, Self>)
        .def("__radd__", &arithmetic<detail::Plus, true, Self>)
        .def("__sub__", &arithmetic<detail::Minus, false, Self>)
        .def("__rsub__", &arithmetic<detail::Minus, true, Self>)
        .def("__mul__", &arithmetic<detail::Times, false, Self>)
        .def("__rmul__", &arithmetic<detail::Times, true, Self>)
        .def("__neg__", [](const Self& x) { return combined<detail::Minus>(Leaf(0, 0, 0), leafOf(x)); })
        .def("__pos__", [](const Self& x) { return Exact{leafOf(x)}; })
        .def("__abs__",
             [](const Self& x) {
                 const Leaf zero(0, 0, 0);
                 const Leaf leaf = leafOf(x);
                 return leaf < zero ? combined<detail::Minus>(zero, leaf) : Exact{leaf};
             })
        .def(
            "scaled", [](const Self& x, int places) { return combined<detail::Times>(leafOf(x), Leaf(1, places, 0)); },
            py::arg("places"), "The value times 2**places, exactly.")
        .def("__eq__", [](const Self& a, py::handle b) { return compared(a, b, std::is_eq); })
        .def("__ne__", [](const Self& a, py::handle b) { return compared(a, b, std::is_neq); })
        .def("__lt__", [](const Self& a, py::handle b) { return compared(a, b, std::is_lt); })
        .def("__le__", [](const Self& a, py::handle b) { return compared(a, b, std::is_lteq); })
        .def("__gt__", [](const Self& a, py::handle b) { return compared(a, b, std::is_gt); })
        .def("__ge__", [](const Self& a, py::handle b) { return compared(a, b, std::is_gteq); })
        .def("__bool__", [](const Self& x) { return leafOf(x) != Leaf(0, 0, 0); })
        .def("__float__", [](const Self& x) { return detail::exactOf(leafOf(x)).to_double(); })
        .def("__int__", [](const Self& x) { return py::int_(fractionOf(detail::exactOf(leafOf(x)))); })
        .def_property_readonly(
            "value", [](const Self& x) { return fractionOf(detail::exactOf(leafOf(x))); },
            "The exact value as a fraction.")
        .def("_pair", [](const Self& x) { return pairOf(detail::exactOf(leafOf(x))); })
        .def("__str__", [](const Self& x) { return detail::exactOf(leafOf(x)).text(); });
    bound.attr("__hash__") = py::none();
    bound.attr("__array_ufunc__") = py::none();  // numpy leaves operators to this class
}

/// Sets a variable; a value within its words can't overflow, so nothing need be watched there.
void setLeaf(Variable& x, const Leaf& value) {
    const bool isInside = value >= x.least && value <= x.greatest;
    const OverflowMode mode = isInside ? OverflowMode::ignore : overflowMode();
    if (mode == OverflowMode::ignore) {
        x.scalar->set(value, callersLineForLogs());
        return;
    }
    const code_location where = callersLineForLogs();
    auto trial = std::make_unique<fixed_scalar>(*x.scalar);
    std::vector<place_record> places;
    {
        const fixed_log log;
        trial->set(value, where);
        places = log.places();  // hears of variables while it lives
    }
    reportOverflows(places, mode);
    x.scalar = std::move(trial);
}

std::unique_ptr<Variable> copyOf(const Variable& x) {
    auto made = std::make_unique<Variable>(x.scalar->format(), detail::exactOf(x.least), detail::exactOf(x.greatest));
    made->scalar = std::make_unique<fixed_scalar>(*x.scalar);
    return made;
}

void setAny(Variable& x, py::handle value) {
    awaitTurnIfNeeded();
    if (const std::optional<Leaf> leaf = operandOf(value, kAnyBits)) {
        setLeaf(x, *leaf);
        return;
    }
    // Arrays of one element, numbers of numpy, fractions and decimals.
    const py::object number =
        py::hasattr(value, "item") ? value.attr("item")() : py::reinterpret_borrow<py::object>(value);
    if (py::hasattr(number, "as_integer_ratio")) {
        const auto ratio = number.attr("as_integer_ratio")().cast<py::tuple>();
        const exact_value dividend = exactOf(ratio[0]);
        const exact_value divisor = exactOf(ratio[1]);
        if (divisor.bits() == 1) {
            setLeaf(x, detail::leafOf(dividend * Leaf::scaledValue(1, -divisor.exponent())));
            return;
        }
        auto trial = std::make_unique<fixed_scalar>(*x.scalar);
        quantizing([&](const code_location& where) {
            trial->set_quotient(dividend, divisor, where);
            return true;
        });
        x.scalar = std::move(trial);
        return;
    }
    throw py::type_error("A variable is set to a number, a variable or an expression, not to " +
                         std::string(Py_TYPE(value.ptr())->tp_name) + ".");
}

}  // namespace

namespace {

/// Sets a variable to the result of an operator on it.
template <class Operation>
py::object updated(const py::object& self, py::handle other) {
    py::object value = arithmetic<Operation, false>(self.cast<const Variable&>(), other);
    if (value.ptr() != Py_NotImplemented) {
        setAny(self.cast<Variable&>(), value);
        return self;
    }
    return value;
}

}  // namespace

void bindScalars(py::module_& module) {
    module.def("set_array_class", [](const py::object& array) {
        sArrayClass = py::object(array).release().ptr();
        sArrayMember = PyUnicode_InternFromString("_c");
    });
    py::class_<Exact> exact(module, "Exact", "An exact number: what an expression of variables makes.");
    bindOperators<py::class_<Exact>, Exact>(exact);
    exact.def(py::init([](py::handle value) { return Exact{detail::leafOf(exactOf(value))}; }), py::arg("value"))
        .def(py::pickle([](const Exact& x) { return py::make_tuple(pairOf(detail::exactOf(x.leaf)), x.leaf.bits()); },
                        [](const py::tuple& state) {
                            const Leaf leaf = detail::leafOf(exactOf(state[0]));
                            return combined<detail::Plus>(leaf, Leaf(0, 0, state[1].cast<int>()));
                        }))
        .def("__copy__", [](const Exact& x) { return x; })
        .def("__deepcopy__", [](const Exact& x, py::handle) { return x; });
    exact.def("__repr__", [](const Exact& x) { return "tolvane.Exact(" + detail::exactOf(x.leaf).text() + ")"; });

    py::class_<Variable> variable(module, "Fixed",
                                  "One number, held as a word of a format, for loops.\n\n"
                                  "    acc = tv.Fixed('s32,28', name='acc')\n"
                                  "    acc.set(acc + b * x)      # exact on the right, quantized once");
    variable
        .def(py::init([](py::handle format, py::handle value, py::handle name) {
                 fixed_format into = formatOf(format);
                 if (!name.is_none()) {
                     into = into.named(name.cast<std::string>());
                 }
                 const py::object type = py::cast(into.type());
                 const exact_value greatest = exactOf(type.attr("_greatest")());
                 const bool isSymmetric = into.overflow() == overflow::symmetric && into.type().is_signed;
                 auto made = std::make_unique<Variable>(into, isSymmetric ? -greatest : exactOf(type.attr("_least")()),
                                                        greatest);
                 if (!value.is_none()) {
                     setAny(*made, value);
                 }
                 return made;
             }),
             py::arg("format"), py::arg("value") = py::none(), py::arg("name") = py::none())
        .def_property(
            "word",
            [](const Variable& x) {
                const int places = x.scalar->format().type().fraction;
                return integerOf(x.scalar->value() * Leaf::scaledValue(1, places));
            },
            [](Variable& x, std::int64_t word) { x.scalar->set_word(word); },
            "The word as an integer, in two's complement if signed. Setting it is noted by no log.")
        .def(py::pickle(
            [](const Variable& x) {
                return py::make_tuple(x.scalar->format(), pairOf(x.scalar->value()), pairOf(detail::exactOf(x.least)),
                                      pairOf(detail::exactOf(x.greatest)));
            },
            [](const py::tuple& state) {
                auto made = std::make_unique<Variable>(state[0].cast<const fixed_format&>(), exactOf(state[2]),
                                                       exactOf(state[3]));
                made->scalar->set(exactOf(state[1]));
                return made;
            }))
        .def("__copy__", &copyOf)
        .def("__deepcopy__", [](const Variable& x, py::handle) { return copyOf(x); })
        .def("__repr__",
             [](const Variable& x) {
                 const fixed_format& format = x.scalar->format();
                 const std::string name =
                     format.name().empty() ? "" : ", name=" + py::repr(py::str(format.name())).cast<std::string>();
                 return "tolvane.Fixed('" + format.text() + "', " + x.scalar->value().text() + name + ")";
             })
        .def("__iadd__", &updated<detail::Plus>)
        .def("__isub__", &updated<detail::Minus>)
        .def("__imul__", &updated<detail::Times>)
        .def("set", &setAny, py::arg("value"), "Quantizes a value into the format; numbers may have any mantissa.")
        .def_property_readonly("format", [](const Variable& x) { return x.scalar->format(); })
        .def_property_readonly("type", [](const Variable& x) { return x.scalar->format().type(); })
        .def_property_readonly("name", [](const Variable& x) { return x.scalar->format().name(); });
    bindOperators<py::class_<Variable>, Variable>(variable);
}

}  // namespace tolvane::python
