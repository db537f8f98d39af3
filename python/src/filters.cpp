// Filters, with a format at every node.
#include <pybind11/stl.h>

#include <array>

#include "guard.h"

namespace tolvane::python {

namespace {

filter_form formNamed(const std::string& name) {
    constexpr std::array<std::pair<const char*, filter_form>, 4> kForms{{{"direct1", filter_form::direct1},
                                                                         {"direct2", filter_form::direct2},
                                                                         {"transposed1", filter_form::transposed1},
                                                                         {"transposed2", filter_form::transposed2}}};
    for (const auto& [known, form] : kForms) {
        if (name == known) {
            return form;
        }
    }
    throw py::value_error("form is 'direct1', 'direct2', 'transposed1' or 'transposed2', not '" + name + "'.");
}

/// Options by the names that Python's side has checked.
filter_options optionsOf(const py::dict& given) {
    filter_options options;
    const std::array<std::pair<const char*, std::optional<fixed_format>*>, 9> formats{{
        {"coefficients_b", &options.coefficients_b},
        {"coefficients_a", &options.coefficients_a},
        {"section_input", &options.section_input},
        {"product_b", &options.product_b},
        {"product_a", &options.product_a},
        {"sum_b", &options.sum_b},
        {"sum_a", &options.sum_a},
        {"state", &options.state},
        {"section_output", &options.section_output},
    }};
    for (const auto& [name, format] : formats) {
        if (given.contains(name)) {
            *format = optionalFormat(given[name]);
        }
    }
    options.form = formNamed(given["form"].cast<std::string>());
    options.a_sign = given["negate_a"].cast<bool>() ? feedback_sign::negated : feedback_sign::subtract;
    options.name = given["name"].cast<std::string>();
    if (!given["gains"].is_none()) {
        options.gains = given["gains"].cast<const fixed_array&>();
    }
    return options;
}

filter_coefficients coefficientsOf(py::handle values) {
    if (py::isinstance<fixed_array>(values)) {
        return {values.cast<const fixed_array&>()};
    }
    return {values.cast<std::vector<double>>()};
}

filter_sections sectionsOf(py::handle values) {
    if (py::isinstance<fixed_array>(values)) {
        return {values.cast<const fixed_array&>()};
    }
    return {values.cast<std::vector<std::array<double, 6>>>()};
}

}  // namespace

void bindFilters(py::module_& module) {
    py::class_<filter_state>(module, "FilterState", "What a filter holds between blocks; all zeros at first.")
        .def(py::init<>())
        .def("__copy__", [](const filter_state& state) { return state; })
        .def("__deepcopy__", [](const filter_state& state, py::handle) { return state; });

    // A state becomes what the filter leaves only when nothing raised.
    module.def("lfilter",
               [](py::handle b, py::handle a, const fixed_array& x, filter_state* state, const py::dict& given) {
                   const filter_options options = optionsOf(given);
                   filter_state after = state == nullptr ? filter_state() : *state;
                   fixed_array y = quantizing([&](const code_location& where) {
                       return lfilter(coefficientsOf(b), coefficientsOf(a), x, after, options, where);
                   });
                   if (state != nullptr) {
                       *state = std::move(after);
                   }
                   return y;
               });
    module.def("sosfilt", [](py::handle sos, const fixed_array& x, filter_state* state, const py::dict& given) {
        const filter_options options = optionsOf(given);
        filter_state after = state == nullptr ? filter_state() : *state;
        fixed_array y =
            quantizing([&](const code_location& where) { return sosfilt(sectionsOf(sos), x, after, options, where); });
        if (state != nullptr) {
            *state = std::move(after);
        }
        return y;
    });
}

}  // namespace tolvane::python
