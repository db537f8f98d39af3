// Moves of words: arrays as strided views, and exact conversions to wider types, on which the functions for shapes,
// bits and reductions are built.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "program/array_access.h"

namespace tolvane::detail {

std::size_t sizeOf(const array_shape& shape);
/// "(2, 3)"
std::string textOf(const array_shape& shape);
/// An axis from 0 on; one that isn't there raises "tolvane:array:axis".
std::size_t axisOf(int axis, std::size_t count);
/// An index from 0 on; one that isn't there raises "tolvane:array:index".
std::size_t indexOf(std::ptrdiff_t index, std::size_t size);

/// Elements of an array: how far each index moves in memory, and where the first one lies.
struct Strided {
    array_shape shape;
    std::vector<std::ptrdiff_t> steps;
    std::ptrdiff_t first = 0;
};
/// A whole array.
Strided stridedOf(const array_shape& shape);
/// The same elements as often as a shape needs them; one that doesn't fit raises "tolvane:array:shape".
Strided broadcasted(const Strided& from, const array_shape& shape);
/// The shape of an operation on two arrays; ones that don't fit together raise "tolvane:array:shape".
array_shape commonShape(const array_shape& a, const array_shape& b);

/// The sizes before, along and after an axis.
struct AxisSizes {
    AxisSizes(const array_shape& shape, std::size_t axis);
    std::size_t outer = 1;
    std::size_t along = 1;
    std::size_t inner = 1;
};
array_shape without(array_shape shape, std::size_t axis);

/// Calls `visit(first, step, count)` for rows of elements in their order, as long as the steps allow.
template <class Visit>
void forEachRow(const Strided& view, const Visit& visit) {
    struct Axis {
        std::size_t size;
        std::ptrdiff_t step;
    };
    std::vector<Axis> axes;
    for (std::size_t i = 0; i < view.shape.size(); ++i) {
        const Axis axis{view.shape[i], view.steps[i]};
        if (axis.size == 0) {
            return;
        }
        if (axis.size == 1) {
            continue;
        }
        if (!axes.empty() && axes.back().step == axis.step * static_cast<std::ptrdiff_t>(axis.size)) {
            axes.back() = {axes.back().size * axis.size, axis.step};
        } else {
            axes.push_back(axis);
        }
    }
    const Axis row = axes.empty() ? Axis{1, 1} : axes.back();
    if (!axes.empty()) {
        axes.pop_back();
    }
    std::vector<std::size_t> index(axes.size());
    std::ptrdiff_t first = view.first;
    while (true) {
        visit(first, row.step, row.size);
        std::size_t d = axes.size();
        while (d > 0) {
            --d;
            first += axes[d].step;
            if (++index[d] < axes[d].size) {
                break;
            }
            first -= axes[d].step * static_cast<std::ptrdiff_t>(axes[d].size);
            index[d] = 0;
            if (d == 0) {
                return;
            }
        }
        if (axes.empty()) {
            return;
        }
    }
}

/// The elements of a view, as an array of its shape.
wordarray gathered(const wordarray& from, const Strided& view);
fixed_array gathered(const fixed_array& x, const Strided& view);
/// Copies words of the same grid, in their order, to the elements of a view.
void scattered(const wordarray& from, const Strided& view, wordarray& to);

/// Makes an array of what `make(part)` makes of each part.
template <class Make>
fixed_array mapParts(const fixed_array& x, const fixed_type& type, array_shape shape, const Make& make) {
    wordarray real = make(*ArrayAccess::real(x));
    std::optional<wordarray> imag;
    if (x.is_complex()) {
        imag = make(*ArrayAccess::imag(x));
    }
    return ArrayAccess::make(type, std::move(shape), std::move(real), std::move(imag), x.name());
}

/// The shortest type with the values of both.
fixed_type joinedType(const fixed_type& a, const fixed_type& b);
/// The same values in such a type.
wordarray widened(const wordarray& from, const fixed_type& type);
fixed_array widened(const fixed_array& x, const fixed_type& type);
/// A part of an array, or zeros for the imaginary part of a real one.
wordarray copyOf(const ArrayAccess::Words& part, std::size_t count, const fixed_type& type);

}  // namespace tolvane::detail
