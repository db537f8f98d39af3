// How numbers, buffers, formats and errors cross between Python and the engine.
#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "numbers/services.h"
#include "program/array_memory.h"
#include "program/tolvane.h"

namespace tolvane::python {

namespace py = pybind11;

/// Bytes of another object, which stay as they are while this lives.
class Bytes {
 public:
    explicit Bytes(py::handle source);
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes() { PyBuffer_Release(&mView); }

    /// Elements of a type; bytes that are no multiple of it raise ValueError.
    template <class T>
    std::span<const T> as() const {
        requireMultipleOf(sizeof(T));
        return {static_cast<const T*>(mView.buf), static_cast<std::size_t>(mView.len) / sizeof(T)};
    }

    /// Integers of any length, for an array of a shape; buffers of other elements raise TypeError, and of another size
    /// ValueError.
    detail::PlainIntegers integers(const array_shape& shape) const;

 private:
    void requireMultipleOf(std::size_t size) const;

    Py_buffer mView{};
};

/// Memory of the engine that Python reads by the buffer protocol.
struct Memory {
    std::shared_ptr<const void> owner;
    const void* data = nullptr;
    std::size_t count = 0;
    std::size_t itemBytes = 1;
    std::string format;
    bool isReadOnly = true;
};

template <class T>
Memory memoryOf(std::vector<T> values) {
    auto owner = std::make_shared<const std::vector<T>>(std::move(values));
    const void* const data = owner->data();
    const std::size_t count = owner->size();
    return {std::move(owner), data, count, sizeof(T), py::format_descriptor<T>::format(), false};
}
Memory memoryOf(const std::vector<bool>& values);
/// Memory for so many elements, uninitialised, and where to write them.
template <class T>
std::pair<Memory, std::span<T>> memoryFor(std::size_t count) {
    auto* const data = static_cast<T*>(detail::allocateOrRaise(count * sizeof(T)));
    std::shared_ptr<const void> owner(
        data, [](const void* memory) { detail::services().release(const_cast<void*>(memory)); });
    return {Memory{std::move(owner), data, count, sizeof(T), py::format_descriptor<T>::format(), false},
            std::span<T>(data, count)};
}

/// A Python int, a float, an expression or a variable, or a pair of a numerator and the exponent of 2 that it is to be
/// multiplied by. Raises TypeError for others.
exact_value exactOf(py::handle number);
/// The odd integer and the power of two.
py::tuple pairOf(const exact_value& value);
/// A Python int; the value has to be whole.
py::object integerOf(const exact_value& value);

/// A Fraction.
py::object fractionOf(const exact_value& value);

/// A format, a type or a text.
fixed_format formatOf(py::handle format);
std::optional<fixed_format> optionalFormat(py::handle format);
fixed_type typeOf(py::handle type);

/// Raises the Python exception for an error of the engine.
void registerErrors(py::module_& module);

// Each file of bindings defines one of these.
void bindGuard(py::module_& module);
void bindFormats(py::module_& module);
void bindArrays(py::module_& module);
void bindFunctions(py::module_& module);
void bindLogs(py::module_& module);
void bindScalars(py::module_& module);
void bindFilters(py::module_& module);
void bindWords(py::module_& module);
void bindFloats(py::module_& module);

}  // namespace tolvane::python
