#include "program/shapes.h"

#include <algorithm>
#include <utility>

#include "program/kernels.h"
#include "program/moves.h"

namespace tolvane {

using detail::ArrayAccess;
using detail::AxisSizes;
using detail::Strided;
using detail::wordarray;

index_range::index_range(std::optional<std::ptrdiff_t> begin, std::optional<std::ptrdiff_t> end, std::ptrdiff_t step)
    : mBegin(begin), mEnd(end), mStep(step) {
    if (step == 0) {
        throw error("tolvane:array:step", "A range needs a step other than zero.");
    }
}

// Arrays from nothing.

fixed_array zeros(array_shape shape, const fixed_type& type) {
    return fixed_array::zeros(std::move(shape), type);
}

fixed_array full(const array_shape& shape, const exact_value& value, const fixed_format& format,
                 const code_location& where) {
    const fixed_array one = fixed_array(std::vector<exact_value>{value}, format, where).reshaped({});
    return broadcast_to(one, shape);
}

fixed_array ones(const array_shape& shape, const fixed_format& format, const code_location& where) {
    return full(shape, 1, format, where);
}

fixed_array arange(const exact_value& start, const exact_value& stop, const exact_value& step,
                   const fixed_format& format, const code_location& where) {
    if (step.is_zero()) {
        throw error("tolvane:array:step", "arange needs a step other than zero.");
    }
    constexpr std::uint64_t kNumber = 50;
    std::vector<exact_value> values;
    for (exact_value value = start; step.is_negative() ? value > stop : value < stop; value = value + step) {
        detail::noteWork(kNumber);
        values.push_back(value);
    }
    return fixed_array(values, format, where);
}

fixed_array full_range(const fixed_type& type) {
    constexpr int kMostBits = 24;
    const fixed_type checked = fixed_format(type).type();
    if (checked.bits > kMostBits) {
        throw error("tolvane:array:growth", "There are too many words of " + checked.text() +
                                                "; all of them are made for types of up to " +
                                                std::to_string(kMostBits) + " bits.");
    }
    std::vector<std::int64_t> words(std::size_t{1} << checked.bits);
    const std::int64_t least = checked.is_signed ? -(std::int64_t{1} << (checked.bits - 1)) : 0;
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = least + static_cast<std::int64_t>(i);
    }
    return fixed_array::from_words(words, checked);
}

fixed_array from_limbs(std::span<const std::uint64_t> limbs, const fixed_type& type) {
    const fixed_type checked = fixed_format(type).type();
    const detail::WordGrid grid = detail::gridOf(checked);
    const std::size_t length = grid.limbs();
    if (limbs.size() % length != 0) {
        throw error("tolvane:array:word", std::to_string(limbs.size()) + " limbs aren't whole words of " +
                                              checked.text() + ", which have " + std::to_string(length) + " each.");
    }
    const int unused = static_cast<int>(length) * detail::WordGrid::kLimbBits - checked.bits;
    for (std::size_t i = length - 1; i < limbs.size(); i += length) {
        const std::uint64_t top = limbs[i] << unused;
        const std::uint64_t extended =
            checked.is_signed ? static_cast<std::uint64_t>(static_cast<std::int64_t>(top) >> unused) : top >> unused;
        if (extended != limbs[i]) {
            throw error("tolvane:array:word", "Element " + std::to_string(i / length) + " is no word of " +
                                                  checked.text() + ": the bits above its top bit aren't its sign.");
        }
    }
    wordarray words = detail::makeWords(limbs.size() / length, grid);
    std::ranges::copy(limbs, words.limbs());
    return ArrayAccess::make(checked, {limbs.size() / length}, std::move(words), std::nullopt);
}

namespace {

std::span<const std::uint64_t> limbsOf(const wordarray& words) {
    return {words.span().limbs, words.span().count * words.grid().limbs()};
}

}  // namespace

std::span<const std::uint64_t> limbs_of(const fixed_array& x) {
    return limbsOf(*ArrayAccess::real(x));
}

std::span<const std::uint64_t> imag_limbs_of(const fixed_array& x) {
    return x.is_complex() ? limbsOf(*ArrayAccess::imag(x)) : std::span<const std::uint64_t>();
}

fixed_array complex_of(const fixed_array& real, const fixed_array& imag) {
    if (real.is_complex() || imag.is_complex()) {
        throw error("tolvane:array:complex", "complex_of needs real numbers.");
    }
    if (real.shape() != imag.shape()) {
        throw error("tolvane:array:shape", "Parts of shapes " + detail::textOf(real.shape()) + " and " +
                                               detail::textOf(imag.shape()) + " don't make complex numbers.");
    }
    const fixed_type type = detail::grown(detail::joinedType(real.type(), imag.type()), real, imag);
    return ArrayAccess::make(type, real.shape(), detail::widened(*ArrayAccess::real(real), type),
                             detail::widened(*ArrayAccess::real(imag), type), real.name());
}

// Parts of arrays.

namespace {

Strided viewOf(const array_shape& shape, const std::vector<index_range>& ranges) {
    if (ranges.size() > shape.size()) {
        throw error("tolvane:array:axis", std::to_string(ranges.size()) + " ranges are too many for the shape " +
                                              detail::textOf(shape) + ".");
    }
    const Strided whole = detail::stridedOf(shape);
    Strided view;
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        const index_range range = axis < ranges.size() ? ranges[axis] : index_range();
        const auto size = static_cast<std::ptrdiff_t>(shape[axis]);
        if (range.is_single()) {
            view.first += whole.steps[axis] * static_cast<std::ptrdiff_t>(detail::indexOf(*range.begin(), shape[axis]));
            continue;
        }
        const bool isForward = range.step() > 0;
        // The places where a walk may begin and end: in front of the first element, and behind the last.
        const std::ptrdiff_t low = isForward ? 0 : -1;
        const std::ptrdiff_t high = isForward ? size : size - 1;
        const auto placeOf = [&](const std::optional<std::ptrdiff_t>& index, std::ptrdiff_t missing) {
            return !index ? missing : std::clamp(*index < 0 ? *index + size : *index, low, high);
        };
        const std::ptrdiff_t begin = placeOf(range.begin(), isForward ? low : high);
        const std::ptrdiff_t end = placeOf(range.end(), isForward ? high : low);
        const std::ptrdiff_t distance = isForward ? end - begin : begin - end;
        const std::ptrdiff_t step = isForward ? range.step() : -range.step();
        const std::ptrdiff_t count = distance <= 0 ? 0 : (distance - 1) / step + 1;
        view.shape.push_back(static_cast<std::size_t>(count));
        view.steps.push_back(whole.steps[axis] * range.step());
        view.first += count == 0 ? 0 : begin * whole.steps[axis];
    }
    return view;
}

std::vector<std::uint64_t> placesOf(const index_list& indices, std::size_t size) {
    std::vector<std::uint64_t> places(indices.size());
    std::ranges::transform(indices, places.begin(),
                           [size](std::ptrdiff_t index) { return detail::indexOf(index, size); });
    return places;
}

std::vector<std::uint64_t> placesOf(const std::vector<bool>& mask, const fixed_array& x) {
    if (mask.size() != x.size()) {
        throw error("tolvane:array:shape", "A mask of " + std::to_string(mask.size()) + " entries doesn't fit " +
                                               std::to_string(x.size()) + " elements.");
    }
    std::vector<std::uint64_t> places;
    for (std::size_t i = 0; i < mask.size(); ++i) {
        if (mask[i]) {
            places.push_back(i);
        }
    }
    return places;
}

fixed_array takenFrom(const fixed_array& x, const std::vector<std::uint64_t>& places) {
    return detail::mapParts(x, x.type(), {places.size()}, [&](const wordarray& part) {
        wordarray words = detail::makeWords(places.size(), part.grid());
        const auto copySlice = [&](std::uint64_t begin, std::uint64_t end) {
            words.copyEach(
                part.span(), end - begin, [&](std::uint64_t i) { return places[begin + i]; },
                [=](std::uint64_t i) { return begin + i; });
        };
        detail::inSlices(places.size(), copySlice, part.grid().limbs());
        return words;
    });
}

/// Quantizes values and writes them by `write(words, into)`, for each part.
template <class Write>
void writeInto(fixed_array& x, const fixed_array& values, const array_shape& shape, rounding round, overflow over,
               const code_location& where, const Write& write) {
    if (values.is_complex() && !x.is_complex()) {
        throw error("tolvane:array:complex", "Complex values can't be put into a real array. Make it complex first.");
    }
    const Strided repeated = detail::broadcasted(detail::stridedOf(values.shape()), shape);
    fixed_array quantized = cast(values, fixed_format(x.type(), round, over, x.name()), where);
    // What comes out has another type if a log has put other formats in force.
    const fixed_type type = detail::joinedType(x.type(), quantized.type());
    quantized = detail::widened(quantized, type);
    const auto repeatedPart = [&](const ArrayAccess::Words& part) {
        return detail::gathered(detail::copyOf(part, values.size(), type), repeated);
    };
    const wordarray real = repeatedPart(ArrayAccess::real(quantized));
    const wordarray imag = repeatedPart(ArrayAccess::imag(quantized));
    if (type != x.type()) {
        x = detail::widened(x, type);
    }
    ArrayAccess::own(x);
    write(real, ArrayAccess::writable(ArrayAccess::real(x)));
    if (x.is_complex()) {
        write(imag, ArrayAccess::writable(ArrayAccess::imag(x)));
    }
}

void putAt(fixed_array& x, const std::vector<std::uint64_t>& places, const fixed_array& values, rounding round,
           overflow over, const code_location& where) {
    writeInto(x, values, {places.size()}, round, over, where, [&](const wordarray& from, wordarray& to) {
        to.copyEach(
            from.span(), places.size(), [](std::uint64_t i) { return i; }, [&](std::uint64_t i) { return places[i]; });
    });
}

}  // namespace

fixed_array sliced(const fixed_array& x, const std::vector<index_range>& ranges) {
    return detail::gathered(x, viewOf(x.shape(), ranges));
}

fixed_array take(const fixed_array& x, const index_list& places) {
    return takenFrom(x, placesOf(places, x.size()));
}

fixed_array take(const fixed_array& x, const index_list& indices, int axis) {
    const std::size_t along = detail::axisOf(axis, x.shape().size());
    const AxisSizes sizes(x.shape(), along);
    std::vector<std::uint64_t> places;
    places.reserve(sizes.outer * indices.size() * sizes.inner);
    const std::vector<std::uint64_t> chosen = placesOf(indices, sizes.along);
    for (std::size_t outer = 0; outer < sizes.outer; ++outer) {
        for (const std::uint64_t index : chosen) {
            for (std::size_t inner = 0; inner < sizes.inner; ++inner) {
                places.push_back((outer * sizes.along + index) * sizes.inner + inner);
            }
        }
    }
    array_shape shape = x.shape();
    shape[along] = indices.size();
    return takenFrom(x, places).reshaped(std::move(shape));
}

fixed_array masked(const fixed_array& x, const std::vector<bool>& mask) {
    return takenFrom(x, placesOf(mask, x));
}

void put_slice(fixed_array& x, const std::vector<index_range>& ranges, const fixed_array& values, rounding round,
               overflow over, const code_location& where) {
    const Strided view = viewOf(x.shape(), ranges);
    writeInto(x, values, view.shape, round, over, where,
              [&](const wordarray& from, wordarray& to) { detail::scattered(from, view, to); });
}

void put(fixed_array& x, const index_list& places, const fixed_array& values, rounding round, overflow over,
         const code_location& where) {
    putAt(x, placesOf(places, x.size()), values, round, over, where);
}

void put_mask(fixed_array& x, const std::vector<bool>& mask, const fixed_array& values, rounding round, overflow over,
              const code_location& where) {
    putAt(x, placesOf(mask, x), values, round, over, where);
}

// Order and number of elements.

fixed_array transpose(const fixed_array& x) {
    Strided view = detail::stridedOf(x.shape());
    std::ranges::reverse(view.shape);
    std::ranges::reverse(view.steps);
    return detail::gathered(x, view);
}

fixed_array permute(const fixed_array& x, const std::vector<int>& order) {
    const Strided whole = detail::stridedOf(x.shape());
    Strided view;
    std::vector<bool> isUsed(x.shape().size());
    for (const int axis : order) {
        const std::size_t from = detail::axisOf(axis, x.shape().size());
        view.shape.push_back(x.shape()[from]);
        view.steps.push_back(whole.steps[from]);
        isUsed[from] = true;
    }
    if (order.size() != isUsed.size() || !std::ranges::all_of(isUsed, [](bool used) { return used; })) {
        throw error("tolvane:array:axis", "permute needs each of the " + std::to_string(isUsed.size()) +
                                              " axes of an array of shape " + detail::textOf(x.shape()) + " once.");
    }
    return detail::gathered(x, view);
}

fixed_array flip(const fixed_array& x, int axis) {
    std::vector<index_range> ranges(detail::axisOf(axis, x.shape().size()));
    ranges.emplace_back(std::nullopt, std::nullopt, -1);
    return sliced(x, ranges);
}

fixed_array broadcast_to(const fixed_array& x, const array_shape& shape) {
    return x.shape() == shape ? x : detail::gathered(x, detail::broadcasted(detail::stridedOf(x.shape()), shape));
}

fixed_array repeat(const fixed_array& x, std::size_t count, int axis) {
    const std::size_t along = detail::axisOf(axis, x.shape().size());
    // One axis more, along which nothing moves.
    Strided view = detail::stridedOf(x.shape());
    const auto after = static_cast<std::ptrdiff_t>(along) + 1;
    view.shape.insert(view.shape.begin() + after, count);
    view.steps.insert(view.steps.begin() + after, 0);
    array_shape shape = x.shape();
    shape[along] *= count;
    return detail::gathered(x, view).reshaped(std::move(shape));
}

fixed_array diag(const fixed_array& x) {
    const array_shape& shape = x.shape();
    if (shape.size() == 2) {
        const auto columns = static_cast<std::ptrdiff_t>(shape[1]);
        return detail::gathered(x, {{std::min(shape[0], shape[1])}, {columns + 1}});
    }
    if (shape.size() != 1) {
        throw error("tolvane:array:shape",
                    "diag needs a vector or a matrix, not an array of shape " + detail::textOf(shape) + ".");
    }
    const std::size_t size = shape[0];
    return detail::mapParts(x, x.type(), {size, size}, [&](const wordarray& part) {
        wordarray words = detail::makeWords(size * size, part.grid());
        detail::scattered(part, {{size}, {static_cast<std::ptrdiff_t>(size) + 1}}, words);
        return words;
    });
}

// Arrays joined.

fixed_array concatenate(const std::vector<fixed_array>& parts, int axis) {
    if (parts.empty()) {
        throw error("tolvane:array:shape", "concatenate needs an array at least.");
    }
    const std::size_t along = detail::axisOf(axis, parts.front().shape().size());
    array_shape shape = parts.front().shape();
    fixed_type type = parts.front().type();
    bool isComplex = false;
    shape[along] = 0;
    for (const fixed_array& part : parts) {
        array_shape others = part.shape();
        std::size_t length = 0;
        if (others.size() == shape.size()) {
            length = std::exchange(others[along], shape[along]);
        }
        if (others != shape) {
            throw error("tolvane:array:shape", "Arrays of shapes " + detail::textOf(parts.front().shape()) + " and " +
                                                   detail::textOf(part.shape()) + " can't be joined along axis " +
                                                   std::to_string(along) + ".");
        }
        shape[along] += length;
        type = detail::grown(detail::joinedType(type, part.type()), parts.front(), part);
        isComplex |= part.is_complex();
    }
    const std::uint64_t size = detail::sizeOf(shape);
    wordarray real = detail::makeWords(size, detail::gridOf(type));
    std::optional<wordarray> imag;
    if (isComplex) {
        imag = detail::makeWords(size, detail::gridOf(type));
    }
    Strided view = detail::stridedOf(shape);
    for (const fixed_array& part : parts) {
        const fixed_array wide = detail::widened(part, type);
        view.shape = part.shape();
        detail::scattered(*ArrayAccess::real(wide), view, real);
        if (part.is_complex()) {
            detail::scattered(*ArrayAccess::imag(wide), view, *imag);
        }
        view.first += view.steps[along] * static_cast<std::ptrdiff_t>(part.shape()[along]);
    }
    return ArrayAccess::make(type, std::move(shape), std::move(real), std::move(imag));
}

fixed_array stacked(const std::vector<fixed_array>& parts, int axis) {
    if (parts.empty()) {
        throw error("tolvane:array:shape", "stacked needs an array at least.");
    }
    const std::size_t along = detail::axisOf(axis, parts.front().shape().size() + 1);
    std::vector<fixed_array> raised;
    for (const fixed_array& part : parts) {
        if (part.shape() != parts.front().shape()) {
            throw error("tolvane:array:shape", "Arrays of shapes " + detail::textOf(parts.front().shape()) + " and " +
                                                   detail::textOf(part.shape()) + " can't be stacked.");
        }
        array_shape shape = part.shape();
        shape.insert(shape.begin() + static_cast<std::ptrdiff_t>(along), 1);
        raised.push_back(part.reshaped(std::move(shape)));
    }
    return concatenate(raised, static_cast<int>(along));
}

}  // namespace tolvane
