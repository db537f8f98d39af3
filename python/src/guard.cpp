#include "guard.h"

#include <frameobject.h>

#include <string>
#include <string_view>
#include <unordered_set>

namespace tolvane::python {

namespace {

struct Context {
    PyObject* mode = nullptr;     // a context variable with a small int
    PyObject* warning = nullptr;  // a class
    std::string folder;           // of the package
};
Context sContext;
PyObject* sConstants = nullptr;  // a context variable with a small int

long valueOf(PyObject* variable) {
    PyObject* value = nullptr;
    if (PyContextVar_Get(variable, nullptr, &value) != 0) {
        throw py::error_already_set();
    }
    const long number = value == nullptr ? 0 : PyLong_AsLong(value);
    Py_XDECREF(value);
    return number;
}

/// Whether a line of this file belongs to the package, or to what passes calls on to it.
bool isInside(std::string_view file) {
    return file.starts_with(sContext.folder) || file.starts_with("<__array_function__");
}

struct Caller {
    const char* file = "";
    std::uint32_t line = 0;
    Py_ssize_t level = 1;  // as warnings count frames
};

Caller caller() {
    // Files appear in logs that may outlive their code.
    static auto* const sFiles = new std::unordered_set<std::string>;
    Caller found;
    auto* frame = PyEval_GetFrame();
    Py_XINCREF(frame);
    while (frame != nullptr) {
        PyCodeObject* const code = PyFrame_GetCode(frame);
        Py_ssize_t size = 0;
        const char* const file = PyUnicode_AsUTF8AndSize(code->co_filename, &size);
        const std::string_view name(file == nullptr ? "" : file, static_cast<std::size_t>(size));
        const bool isFound = !isInside(name);
        if (isFound) {
            found.file = sFiles->emplace(name).first->c_str();
            const int line = PyFrame_GetLineNumber(frame);
            found.line = line < 0 ? 0 : static_cast<std::uint32_t>(line);
        }
        Py_DECREF(code);
        if (isFound) {
            break;
        }
        PyFrameObject* const back = PyFrame_GetBack(frame);
        Py_DECREF(frame);
        frame = back;
        ++found.level;
    }
    Py_XDECREF(frame);
    return found;
}

}  // namespace

OverflowMode overflowMode() {
    if (*overridesOfThread() > 0 || sContext.mode == nullptr) {
        return OverflowMode::ignore;
    }
    return static_cast<OverflowMode>(valueOf(sContext.mode));
}

bool areConstantsBest() {
    return sConstants != nullptr && valueOf(sConstants) != 0;
}

code_location callersLine() {
    const Caller found = caller();
    return code_location::current(found.file, "", found.line);
}

void reportOverflows(const std::vector<place_record>& places, OverflowMode mode) {
    for (const place_record& place : places) {
        if (place.overflows == 0) {
            continue;
        }
        const py::object warning = py::handle(sContext.warning)(place.name, place.overflows, place.values,
                                                                place.format.text(), mode == OverflowMode::raise);
        if (mode == OverflowMode::raise) {
            PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(warning.ptr())), warning.ptr());
            throw py::error_already_set();
        }
        // warnings.warn takes an instance, which PyErr_WarnEx doesn't.
        py::module_::import("warnings").attr("warn")(warning, py::none(), caller().level);
    }
}

const std::shared_ptr<int>& overridesOfThread() {
    thread_local const auto sCount = std::make_shared<int>(0);
    return sCount;
}

void bindGuard(py::module_& module) {
    module.def("set_rules", [](const py::object& constants) { sConstants = py::object(constants).release().ptr(); });
    module.def("set_context", [](const py::object& mode, const py::object& warning, std::string folder) {
        sContext = {py::object(mode).release().ptr(), py::object(warning).release().ptr(), std::move(folder)};
    });
}

}  // namespace tolvane::python
