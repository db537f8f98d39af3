#include "program/moves.h"

#include <algorithm>
#include <functional>
#include <numeric>

#include "program/kernels.h"

namespace tolvane::detail {

std::size_t sizeOf(const array_shape& shape) {
    return std::accumulate(shape.begin(), shape.end(), std::size_t{1}, std::multiplies<>());
}

std::string textOf(const array_shape& shape) {
    std::string text = "(";
    for (std::size_t i = 0; i < shape.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(shape[i]);
    }
    return text + ")";
}

std::size_t axisOf(int axis, std::size_t count) {
    const auto axes = static_cast<std::ptrdiff_t>(count);
    if (axis < -axes || axis >= axes) {
        throw error("tolvane:array:axis",
                    "There is no axis " + std::to_string(axis) + " of " + std::to_string(count) + ".");
    }
    return static_cast<std::size_t>(axis < 0 ? axis + axes : axis);
}

std::size_t indexOf(std::ptrdiff_t index, std::size_t size) {
    const auto count = static_cast<std::ptrdiff_t>(size);
    if (index < -count || index >= count) {
        throw error("tolvane:array:index",
                    "There is no element " + std::to_string(index) + " of " + std::to_string(size) + ".");
    }
    return static_cast<std::size_t>(index < 0 ? index + count : index);
}

Strided stridedOf(const array_shape& shape) {
    Strided view{shape, std::vector<std::ptrdiff_t>(shape.size())};
    std::ptrdiff_t step = 1;
    for (std::size_t i = shape.size(); i-- > 0;) {
        view.steps[i] = step;
        step *= static_cast<std::ptrdiff_t>(shape[i]);
    }
    return view;
}

Strided broadcasted(const Strided& from, const array_shape& shape) {
    Strided view{shape, std::vector<std::ptrdiff_t>(shape.size(), 0), from.first};
    bool fits = from.shape.size() <= shape.size();
    for (std::size_t i = 0; fits && i < from.shape.size(); ++i) {
        const std::size_t to = shape.size() - from.shape.size() + i;
        fits = from.shape[i] == 1 || from.shape[i] == shape[to];
        view.steps[to] = from.shape[i] == 1 ? 0 : from.steps[i];
    }
    if (!fits) {
        throw error("tolvane:array:shape", "Elements of shape " + textOf(from.shape) +
                                               " can't be repeated to the shape " + textOf(shape) + ".");
    }
    return view;
}

array_shape commonShape(const array_shape& a, const array_shape& b) {
    array_shape shape(std::max(a.size(), b.size()));
    for (std::size_t i = 1; i <= shape.size(); ++i) {
        const std::size_t left = i <= a.size() ? a[a.size() - i] : 1;
        const std::size_t right = i <= b.size() ? b[b.size() - i] : 1;
        if (left != right && left != 1 && right != 1) {
            throw error("tolvane:array:shape",
                        "Operands of shapes " + textOf(a) + " and " + textOf(b) + " don't fit together.");
        }
        shape[shape.size() - i] = left == 1 ? right : left;
    }
    return shape;
}

AxisSizes::AxisSizes(const array_shape& shape, std::size_t axis) : along(shape[axis]) {
    for (std::size_t i = 0; i < shape.size(); ++i) {
        (i < axis ? outer : inner) *= i == axis ? 1 : shape[i];
    }
}

array_shape without(array_shape shape, std::size_t axis) {
    shape.erase(shape.begin() + static_cast<std::ptrdiff_t>(axis));
    return shape;
}

wordarray gathered(const wordarray& from, const Strided& view) {
    wordarray words = detail::makeWords(sizeOf(view.shape), from.grid());
    const std::uint64_t limbs = from.grid().limbs();
    std::uint64_t to = 0;
    forEachRow(view, [&](std::ptrdiff_t first, std::ptrdiff_t step, std::size_t count) {
        if (step == 1) {
            const auto copySlice = [&](std::uint64_t begin, std::uint64_t end) {
                words.copyRun(from.span(), static_cast<std::uint64_t>(first) + begin, to + begin, end - begin);
            };
            inSlices(count, copySlice, limbs);
        } else {
            const auto copySlice = [&](std::uint64_t begin, std::uint64_t end) {
                words.copyEach(
                    from.span(), end - begin,
                    [=](std::uint64_t i) {
                        return static_cast<std::uint64_t>(first + static_cast<std::ptrdiff_t>(begin + i) * step);
                    },
                    [=](std::uint64_t i) { return to + begin + i; });
            };
            inSlices(count, copySlice, limbs);
        }
        to += count;
    });
    return words;
}

fixed_array gathered(const fixed_array& x, const Strided& view) {
    return mapParts(x, x.type(), view.shape, [&](const wordarray& part) { return gathered(part, view); });
}

void scattered(const wordarray& from, const Strided& view, wordarray& to) {
    std::uint64_t done = 0;
    forEachRow(view, [&](std::ptrdiff_t first, std::ptrdiff_t step, std::size_t count) {
        if (step == 1) {
            to.copyRun(from.span(), done, static_cast<std::uint64_t>(first), count);
        } else {
            to.copyEach(
                from.span(), count, [=](std::uint64_t i) { return done + i; },
                [=](std::uint64_t i) {
                    return static_cast<std::uint64_t>(first + static_cast<std::ptrdiff_t>(i) * step);
                });
        }
        done += count;
    });
}

fixed_type joinedType(const fixed_type& a, const fixed_type& b) {
    const int fraction = std::max(a.fraction, b.fraction);
    const bool isSigned = a.is_signed || b.is_signed;
    const auto bitsOf = [&](const fixed_type& type) {
        return type.bits + (fraction - type.fraction) + (isSigned && !type.is_signed ? 1 : 0);
    };
    return {isSigned, std::max(bitsOf(a), bitsOf(b)), fraction};
}

wordarray widened(const wordarray& from, const fixed_type& type) {
    const std::uint64_t count = from.span().count;
    wordarray words = detail::makeWords(count, gridOf(type));
    const std::size_t width = integers::widthFor(type.bits + 1);
    Arena arena(width, 1);
    Block block = arena.next();
    forEachBlock(count, [&](std::uint64_t begin, std::size_t length) {
        integers::load(from.span(), begin, length, width, block);
        integers::align(-type.fraction, length, width, block);
        store(block, length, width, words, begin);
    });
    return words;
}

fixed_array widened(const fixed_array& x, const fixed_type& type) {
    if (type == x.type()) {
        return x;
    }
    grown(type, x, x);
    return mapParts(x, type, x.shape(), [&](const wordarray& part) { return widened(part, type); });
}

wordarray copyOf(const ArrayAccess::Words& part, std::size_t count, const fixed_type& type) {
    return part ? makeWords(*part, 0, count) : makeWords(count, gridOf(type));
}

}  // namespace tolvane::detail
