// Arithmetic, sums, comparisons and bits of arrays.
#include <pybind11/stl.h>

#include "assigning.h"
#include "guard.h"

namespace tolvane::python {

namespace {

/// A relation of elements, or that of the operands in the other order.
void bindComparison(const Functions& module, const char* name, detail::Relation relation, bool areSwapped = false) {
    module.def(name, [=](const fixed_array& a, const fixed_array& b) {
        const auto [memory, flags] = memoryFor<std::uint8_t>(detail::sizeOfBoth(a, b));
        working([&, flags = flags] { detail::compareInto(relation, areSwapped ? b : a, areSwapped ? a : b, flags); });
        return memory;
    });
}

sum_formats formatsOf(py::handle product, py::handle sum) {
    sum_formats formats;
    if (!product.is_none()) {
        const fixed_format format = formatOf(product);
        formats.product = format.name().empty() ? format.named("product") : format;
    }
    if (!sum.is_none()) {
        const fixed_format format = formatOf(sum);
        formats.sum = format.name().empty() ? format.named("sum") : format;
    }
    return formats;
}

using Assignment = void (*)(fixed_array&, const fixed_array&, const fixed_array&, rounding, overflow,
                            const code_location&);

/// An operation into an array, with the rounding and the overflow of a format or those of assignments.
void bindAssignment(const Functions& module, const char* name, detail::Operation operation, Assignment assign) {
    module.def(name, [=](fixed_array& out, const fixed_array& a, const fixed_array& b, py::handle format) {
        const fixed_format into = format.is_none() ? fixed_format(out.type()) : formatOf(format);
        quantizingInto(out, detail::cannotOverflow(into, operation, a, b),
                       [&](fixed_array& target, const code_location& where) {
                           assign(target, a, b, into.rounding(), into.overflow(), where);
                       });
    });
}

std::vector<bool> maskOf(py::handle source) {
    const Bytes bytes(source);
    const auto entries = bytes.as<std::uint8_t>();
    return {entries.begin(), entries.end()};
}

Memory indicesOf(index_list indices) {
    static_assert(sizeof(std::ptrdiff_t) == sizeof(std::int64_t));
    return memoryOf(std::move(indices));
}

rounding roundingNamed(const std::string& name) {
    return fixed_format("s16,15 " + name).rounding();
}

}  // namespace

void bindFunctions(py::module_& plain) {
    const Functions module(plain);
    const auto quantized = [](const fixed_array& x, py::handle format) {
        const fixed_format into = formatOf(format);
        return quantizing([&](const code_location& where) { return cast(x, into, where); });
    };
    module.def("cast", quantized);
    module.def("add", [](const fixed_array& a, const fixed_array& b) { return a + b; });
    module.def("subtract", [](const fixed_array& a, const fixed_array& b) { return a - b; });
    module.def("multiply", [](const fixed_array& a, const fixed_array& b) { return a * b; });
    bindAssignment(module, "assign_sum", detail::Operation::sum, &assign_sum);
    bindAssignment(module, "assign_difference", detail::Operation::difference, &assign_difference);
    bindAssignment(module, "assign_product", detail::Operation::product, &assign_product);
    module.def("assign", [](fixed_array& out, const fixed_array& x) {
        quantizingInto(out, !x.is_complex() && detail::cannotOverflow(fixed_format(out.type()), x.type()),
                       [&](fixed_array& target, const code_location& where) {
                           assign(target, x, rounding::nearest, overflow::saturate, where);
                       });
    });
    module.def("assign_doubles", [](fixed_array& out, py::handle source) {
        const Bytes bytes(source);
        const auto values = bytes.as<double>();
        quantizingInto(out, false, [&](fixed_array& target, const code_location& where) {
            assign(target, values, rounding::nearest, overflow::saturate, where);
        });
    });
    module.def("negative", [](const fixed_array& x) { return -x; });
    module.def("absolute", [](const fixed_array& x) { return abs(x); });
    module.def("scaled", [](const fixed_array& x, int places) { return scaled(x, places); });
    module.def("divide", [](const fixed_array& a, const fixed_array& b, py::handle format) {
        const fixed_format into = formatOf(format);
        return quantizing([&](const code_location& where) { return divide(a, b, into, where).named(into.name()); });
    });
    module.def("sqrt", [](const fixed_array& x, py::handle format) {
        const fixed_format into = formatOf(format);
        return quantizing([&](const code_location& where) { return sqrt(x, into, where).named(into.name()); });
    });
    module.def("power", &power);

    module.def("sum", [](const fixed_array& x, std::optional<int> axis, py::handle format) {
        const sum_formats formats = formatsOf(py::none(), format);
        return quantizing(
            [&](const code_location& where) { return axis ? sum(x, *axis, formats, where) : sum(x, formats, where); });
    });
    module.def("cumsum", [](const fixed_array& x, int axis, py::handle format) {
        const std::optional<fixed_format> into = optionalFormat(format);
        return quantizing([&](const code_location& where) { return cumsum(x, axis, into, where); });
    });
    module.def("mean", [](const fixed_array& x, std::optional<int> axis, py::handle format) {
        const fixed_format into = formatOf(format);
        return quantizing(
            [&](const code_location& where) { return axis ? mean(x, *axis, into, where) : mean(x, into, where); });
    });
    module.def("dot", [](const fixed_array& a, const fixed_array& b, py::handle product, py::handle sum) {
        const sum_formats formats = formatsOf(product, sum);
        return quantizing([&](const code_location& where) { return dot(a, b, formats, where); });
    });
    module.def("matmul", [](const fixed_array& a, const fixed_array& b, py::handle product, py::handle sum) {
        const sum_formats formats = formatsOf(product, sum);
        return quantizing([&](const code_location& where) { return matmul(a, b, formats, where); });
    });
    module.def("convolve", [](const fixed_array& x, const fixed_array& h, py::handle product, py::handle sum) {
        const sum_formats formats = formatsOf(product, sum);
        return quantizing([&](const code_location& where) { return conv(x, h, formats, where); });
    });

    bindComparison(module, "equal", detail::Relation::equal);
    bindComparison(module, "not_equal", detail::Relation::notEqual);
    bindComparison(module, "less", detail::Relation::less);
    bindComparison(module, "less_equal", detail::Relation::lessEqual);
    bindComparison(module, "greater", detail::Relation::less, true);
    bindComparison(module, "greater_equal", detail::Relation::lessEqual, true);
    module.def("array_equal", [](const fixed_array& a, const fixed_array& b) { return a == b; });

    module.def("max", [](const fixed_array& x, int axis) { return max(x, axis); });
    module.def("min", [](const fixed_array& x, int axis) { return min(x, axis); });
    module.def("argmax", [](const fixed_array& x) { return argmax(x); });
    module.def("argmin", [](const fixed_array& x) { return argmin(x); });
    module.def("argmax_along", [](const fixed_array& x, int axis) { return indicesOf(argmax(x, axis)); });
    module.def("argmin_along", [](const fixed_array& x, int axis) { return indicesOf(argmin(x, axis)); });
    module.def("sort", [](const fixed_array& x, int axis) { return sort(x, axis); });
    module.def("argsort", [](const fixed_array& x, int axis) { return indicesOf(argsort(x, axis)); });
    module.def("maximum", [](const fixed_array& a, const fixed_array& b) { return maximum(a, b); });
    module.def("minimum", [](const fixed_array& a, const fixed_array& b) { return minimum(a, b); });
    module.def("clip", [](const fixed_array& x, const fixed_array& low, const fixed_array& high) {
        return clip(x, low, high);
    });
    module.def("any", [](const fixed_array& x) { return any_of(x); });
    module.def("all", [](const fixed_array& x) { return all_of(x); });
    module.def("any_along", [](const fixed_array& x, int axis) { return memoryOf(any_of(x, axis)); });
    module.def("all_along", [](const fixed_array& x, int axis) { return memoryOf(all_of(x, axis)); });
    module.def("where",
               [](py::handle mask, const fixed_array& a, const fixed_array& b) { return where(maskOf(mask), a, b); });

    module.def("floor", [](const fixed_array& x) { return floor(x); });
    module.def("ceil", [](const fixed_array& x) { return ceil(x); });
    module.def("trunc", [](const fixed_array& x) { return trunc(x); });
    module.def("round", [](const fixed_array& x, const std::string& rule) { return round(x, roundingNamed(rule)); });
    module.def("sign", [](const fixed_array& x) { return sign(x); });
    module.def("conj", [](const fixed_array& x) { return conj(x); });

    module.def("and_bits", &and_bits);
    module.def("or_bits", &or_bits);
    module.def("xor_bits", &xor_bits);
    module.def("not_bits", &not_bits);
    module.def("slice_bits", &slice_bits);
    module.def("concat_bits", [](const std::vector<fixed_array>& parts) { return concat_bits(parts); });
    module.def("get_bit", &get_bit);
    module.def("set_bit", &set_bit);
    module.def("reinterpret", [](const fixed_array& x, py::handle type) { return reinterpret(x, typeOf(type)); });
    module.def("shift_left", [](const fixed_array& x, int places) { return shift_left(x, places); });
    module.def("shift_right", [](const fixed_array& x, int places) { return shift_right(x, places); });
    module.def("shift_right_logical", &shift_right_logical);
    module.def("rotate_bits", &rotate_bits);
    module.def("leading_zeros", [](const fixed_array& x) { return memoryOf(leading_zeros(x)); });
    module.def("leading_signs", [](const fixed_array& x) { return memoryOf(leading_signs(x)); });
    module.def("trailing_zeros", [](const fixed_array& x) { return memoryOf(trailing_zeros(x)); });
    module.def("count_ones", [](const fixed_array& x) { return memoryOf(count_ones(x)); });
    module.def("set_most_bits", &set_most_bits);
}

}  // namespace tolvane::python
