#include "conversions.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

#include "host/ErrorIdException.h"

namespace tolvane::python {

Bytes::Bytes(py::handle source) {
    if (PyObject_GetBuffer(source.ptr(), &mView, PyBUF_C_CONTIGUOUS | PyBUF_FORMAT) != 0) {
        throw py::error_already_set();
    }
}

void Bytes::requireMultipleOf(std::size_t size) const {
    if (static_cast<std::size_t>(mView.len) % size != 0) {
        PyBuffer_Release(const_cast<Py_buffer*>(&mView));
        throw py::value_error("The buffer holds no whole number of elements.");
    }
}

detail::PlainIntegers Bytes::integers(const array_shape& shape) const {
    const std::string_view format = mView.format == nullptr ? "B" : mView.format;
    const bool isSigned = format.find_first_of("bhilq") != std::string_view::npos;
    if (!isSigned && format.find_first_of("?BHILQ") == std::string_view::npos) {
        throw py::type_error("A buffer of integers is needed.");
    }
    std::size_t bytes = static_cast<std::size_t>(mView.itemsize);
    for (const std::size_t size : shape) {
        bytes *= size;
    }
    if (bytes != static_cast<std::size_t>(mView.len)) {
        throw py::value_error("The buffer has another number of elements than the array.");
    }
    return {mView.buf, static_cast<std::size_t>(mView.itemsize), isSigned};
}

Memory memoryOf(const std::vector<bool>& values) {
    auto owner = std::make_shared<const std::vector<std::uint8_t>>(values.begin(), values.end());
    const void* const data = owner->data();
    return {std::move(owner), data, values.size(), 1, "?", false};
}

namespace {

constexpr int kLimbBits = 64;

exact_value integerFrom(py::handle integer, int exponent) {
    int overflows = 0;
    const long long value = PyLong_AsLongLongAndOverflow(integer.ptr(), &overflows);
    if (value == -1 && PyErr_Occurred() != nullptr) {
        throw py::error_already_set();
    }
    if (overflows == 0) {
        const auto limb = static_cast<std::uint64_t>(value);
        return exact_value::from_words(&limb, 1, true, exponent);
    }
    const auto bits = integer.attr("bit_length")().cast<std::size_t>();
    const std::size_t count = bits / kLimbBits + 1;
    using namespace py::literals;
    const std::string bytes =
        integer.attr("to_bytes")(count * sizeof(std::uint64_t), "little", "signed"_a = true).cast<std::string>();
    std::vector<std::uint64_t> limbs(count);
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(limbs.data()));
    return exact_value::from_words(limbs.data(), count, true, exponent);
}

}  // namespace

exact_value exactOf(py::handle number) {
    if (PyFloat_Check(number.ptr())) {
        return exact_value(PyFloat_AS_DOUBLE(number.ptr()));
    }
    if (PyLong_Check(number.ptr())) {
        return integerFrom(number, 0);
    }
    if (py::isinstance<py::tuple>(number)) {
        const auto pair = number.cast<py::tuple>();
        return integerFrom(pair[0], pair[1].cast<int>());
    }
    throw py::type_error("A number is needed, not " + std::string(Py_TYPE(number.ptr())->tp_name) + ".");
}

py::tuple pairOf(const exact_value& value) {
    const std::vector<std::uint64_t>& limbs = value.magnitude();
    py::object integer;
    if (limbs.size() <= 1) {
        integer = py::reinterpret_steal<py::object>(PyLong_FromUnsignedLongLong(limbs.empty() ? 0 : limbs[0]));
    } else {
        const py::bytes bytes(reinterpret_cast<const char*>(limbs.data()), limbs.size() * sizeof(std::uint64_t));
        integer = py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(&PyLong_Type))
                      .attr("from_bytes")(bytes, "little");
    }
    return py::make_tuple(value.is_negative() ? py::object(-integer) : integer, value.exponent());
}

py::object integerOf(const exact_value& value) {
    const py::tuple pair = pairOf(value);
    return value.exponent() == 0 ? py::object(pair[0]) : py::object(pair[0]) << py::object(pair[1]);
}

py::object fractionOf(const exact_value& value) {
    const py::object made = py::module_::import("fractions").attr("Fraction");
    return value.exponent() >= 0 ? made(integerOf(value))
                                 : made(pairOf(value)[0], py::int_(1) << py::int_(-value.exponent()));
}

fixed_format formatOf(py::handle format) {
    if (PyUnicode_Check(format.ptr())) {
        return fixed_format(format.cast<std::string>());
    }
    if (py::isinstance<fixed_format>(format)) {
        return format.cast<const fixed_format&>();
    }
    if (py::isinstance<fixed_type>(format)) {
        return {format.cast<const fixed_type&>()};
    }
    throw py::type_error("A format is needed: a text like 's16,15 convergent', a Format or a Type, not " +
                         std::string(Py_TYPE(format.ptr())->tp_name) + ".");
}

std::optional<fixed_format> optionalFormat(py::handle format) {
    return format.is_none() ? std::nullopt : std::optional(formatOf(format));
}

fixed_type typeOf(py::handle type) {
    return py::isinstance<fixed_type>(type) ? type.cast<const fixed_type&>() : formatOf(type).type();
}

namespace {

PyObject* sMakeError = nullptr;

}  // namespace

void registerErrors(py::module_& module) {
    // Python's side decides which exception an id becomes.
    module.def("set_errors", [](const py::function& make) { sMakeError = py::object(make).release().ptr(); });
    // The translator's type wants a copy.
    py::register_exception_translator([](std::exception_ptr raised) {  // NOLINT(performance-unnecessary-value-param)
        try {
            if (raised) {
                std::rethrow_exception(raised);
            }
        } catch (ErrorIdException* raisedByEngine) {
            const std::unique_ptr<ErrorIdException> e(raisedByEngine);
            if (std::string_view(e->getId()).ends_with(":outofmemory")) {
                PyErr_SetString(PyExc_MemoryError, "There is not enough memory for the result.");
            } else {
                PyErr_SetString(PyExc_RuntimeError, e->getMessage());
            }
        } catch (const error& e) {
            if (sMakeError == nullptr) {
                PyErr_SetString(PyExc_ValueError, e.what());
                return;
            }
            try {
                const py::object made = py::handle(sMakeError)(e.id(), std::string(e.what()));
                PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(made.ptr())), made.ptr());
            } catch (py::error_already_set& other) {
                other.restore();
            }
        }
    });
}

}  // namespace tolvane::python
