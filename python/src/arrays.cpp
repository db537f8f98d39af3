// Arrays: making them of buffers and numbers, their words and values as memory, elements, and moves of elements.
#include <pybind11/stl.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>

#include "guard.h"

namespace tolvane::python {

namespace {

/// A double as an odd integer, or 0, times a power of two.
struct OddInteger {
    explicit OddInteger(double value) {
        constexpr int kMantissaBits = 53;
        if (value == 0 || !std::isfinite(value)) {
            (void)exact_value(value).is_zero();  // raises if it isn't finite
            return;
        }
        const auto whole = static_cast<std::int64_t>(std::ldexp(std::frexp(value, &exponent), kMantissaBits));
        const int zeros = std::countr_zero(static_cast<std::uint64_t>(whole));
        word = whole >> zeros;
        bits = kMantissaBits - zeros;
        exponent += zeros - kMantissaBits;
    }
    std::int64_t word = 0;
    int exponent = 0;
    int bits = 0;
};

/// Writes an integer times 2^places in two's complement; the limbs have room for it and its sign.
void writeLimbs(std::int64_t integer, int places, std::span<std::uint64_t> limbs) {
    constexpr int kLimbBits = 64;
    const auto first = static_cast<std::size_t>(places / kLimbBits);
    const auto moved = static_cast<detail::Unsigned128>(static_cast<detail::Int128>(integer)) << places % kLimbBits;
    const std::uint64_t sign = integer < 0 ? ~std::uint64_t{0} : 0;
    for (std::size_t i = 0; i < limbs.size(); ++i) {
        limbs[i] = i < first        ? 0
                   : i == first     ? static_cast<std::uint64_t>(moved)
                   : i == first + 1 ? static_cast<std::uint64_t>(moved >> kLimbBits)
                                    : sign;
    }
}

/// The exact array of doubles, in the shortest type that has all of them. With `beside`, each has to fit the words of
/// that array.
fixed_array exactArray(std::span<const double> values, const fixed_array* beside) {
    int least = 0;
    int top = 0;
    bool isAny = false;
    for (const double value : values) {
        const OddInteger odd(value);
        if (beside != nullptr && odd.bits > beside->type().bits) {
            constant_for(*beside, exact_value(value), false);  // raises
        }
        if (odd.word != 0) {
            least = isAny ? std::min(least, odd.exponent) : odd.exponent;
            top = isAny ? std::max(top, odd.exponent + odd.bits) : odd.exponent + odd.bits;
            isAny = true;
        }
    }
    const fixed_type type = sfix(top - least + 1, -least);
    const std::size_t limbsPerWord = static_cast<std::size_t>(type.bits + 63) / 64;
    std::vector<std::uint64_t> limbs(values.size() * limbsPerWord);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const OddInteger odd(values[i]);
        writeLimbs(odd.word, odd.word == 0 ? 0 : odd.exponent - least,
                   std::span(limbs).subspan(i * limbsPerWord, limbsPerWord));
    }
    return from_limbs(limbs, type);
}

/// Numbers of Python, each a number or a pair as `exactOf` takes them.
std::vector<exact_value> exactValues(const py::sequence& numbers) {
    std::vector<exact_value> values;
    values.reserve(numbers.size());
    for (const py::handle number : numbers) {
        values.push_back(exactOf(number));
    }
    return values;
}

fixed_array stackedConstants(const std::vector<exact_value>& values) {
    std::vector<fixed_array> parts;
    parts.reserve(values.size());
    for (const exact_value& value : values) {
        parts.push_back(constant_for(fixed_array(), value, true));
    }
    return stacked(parts);
}

fixed_array shaped(const fixed_array& made, const array_shape& shape) {
    return made.shape() == shape ? made : made.reshaped(shape);
}

/// The elements of a buffer, by the letter of their kind.
fixed_array quantizedBuffer(py::handle source, char kind, const array_shape& shape, py::handle format) {
    const Bytes bytes(source);
    const fixed_format into = formatOf(format);
    return quantizing([&](const code_location& where) {
        switch (kind) {
            case 'f':
                return detail::quantizedDoubles(bytes.as<double>(), shape, into, where);
            case 'i':
            case 'u':
                return detail::quantizedIntegers(bytes.integers(shape), shape, into, where);
            case 'c':
                return shaped(fixed_array(bytes.as<std::complex<double>>(), into, where), shape);
            default:
                throw py::type_error("There is no such kind of buffer.");
        }
    });
}

index_range rangeOf(py::handle item) {
    if (py::isinstance<py::tuple>(item)) {
        const auto range = item.cast<py::tuple>();
        return {range[0].cast<std::optional<std::ptrdiff_t>>(), range[1].cast<std::optional<std::ptrdiff_t>>(),
                range[2].cast<std::ptrdiff_t>()};
    }
    return {item.cast<std::ptrdiff_t>()};
}

std::vector<index_range> rangesOf(const py::sequence& items) {
    std::vector<index_range> ranges;
    ranges.reserve(items.size());
    for (const py::handle item : items) {
        ranges.push_back(rangeOf(item));
    }
    return ranges;
}

index_list placesOf(py::handle source) {
    const Bytes bytes(source);
    const auto places = bytes.as<std::int64_t>();
    return {places.begin(), places.end()};
}

/// Writes what `write(where)` does into an array; if overflows raise, `restore()` undoes it.
template <class Write, class Restore>
void writing(const Write& write, const Restore& restore) {
    try {
        quantizing([&](const code_location& where) {
            const Writing alone;
            write(where);
            return true;
        });
    } catch (...) {
        restore();
        throw;
    }
}

Memory wordsOf(const fixed_array& x) {
    auto owner = std::make_shared<const fixed_array>(x);
    const std::span<const std::int64_t> words = owner->words();
    const bool isUnsigned = !x.type().is_signed;
    return {owner, words.data(), words.size(), sizeof(std::int64_t), isUnsigned ? "Q" : "q", true};
}

/// Whether the nearest doubles are the values themselves.
bool isExactInDoubles(const fixed_array& x, std::span<const double> doubles) {
    constexpr int kMantissa = 53;
    constexpr int kSafeExponent = 900;
    const fixed_type& type = x.type();
    if (type.bits - (type.is_signed ? 1 : 0) <= kMantissa && std::abs(type.fraction) < kSafeExponent) {
        return true;
    }
    for (std::size_t i = 0; i < doubles.size(); ++i) {
        if (!std::isfinite(doubles[i]) || exact_value(doubles[i]) != x.at(i)) {
            return false;
        }
    }
    return true;
}

}  // namespace

void bindArrays(py::module_& module) {
    py::class_<Memory>(module, "Memory", py::buffer_protocol()).def_buffer([](Memory& memory) {
        return py::buffer_info(const_cast<void*>(memory.data), static_cast<py::ssize_t>(memory.itemBytes),
                               memory.format, 1, {static_cast<py::ssize_t>(memory.count)},
                               {static_cast<py::ssize_t>(memory.itemBytes)}, memory.isReadOnly);
    });

    py::class_<fixed_array>(module, "FixedArray")
        .def_property_readonly("type", &fixed_array::type)
        .def_property_readonly("shape",
                               [](const fixed_array& x) {
                                   py::tuple shape(x.shape().size());
                                   for (std::size_t i = 0; i < x.shape().size(); ++i) {
                                       shape[i] = x.shape()[i];
                                   }
                                   return shape;
                               })
        .def_property_readonly("ndim", [](const fixed_array& x) { return x.shape().size(); })
        .def_property_readonly("size", &fixed_array::size)
        .def_property_readonly("is_complex", &fixed_array::is_complex)
        .def_property_readonly("name", &fixed_array::name)
        .def("named", &fixed_array::named)
        .def("reshaped", &fixed_array::reshaped)
        .def("real", &fixed_array::real)
        .def("imag", &fixed_array::imag)
        .def("words", &wordsOf)
        .def("limbs",
             [](const fixed_array& x) -> Memory {
                 auto owner = std::make_shared<const fixed_array>(x);
                 const std::span<const std::uint64_t> limbs = limbs_of(*owner);
                 return {owner, limbs.data(), limbs.size(), sizeof(std::uint64_t), "Q", true};
             })
        .def("doubles",
             [](const fixed_array& x, bool isAnyAllowed) -> py::object {
                 const auto [memory, doubles] = memoryFor<double>(x.size());
                 detail::doublesInto(x, doubles);
                 if (!isAnyAllowed && !isExactInDoubles(x, doubles)) {
                     return py::none();
                 }
                 return py::cast(memory);
             })
        .def("at", [](const fixed_array& x, std::size_t index) { return pairOf(x.at(index)); })
        .def("values",
             [](const fixed_array& x) {
                 py::list values(x.size());
                 for (std::size_t i = 0; i < x.size(); ++i) {
                     values[i] = pairOf(x.at(i));
                 }
                 return values;
             })
        .def("put_slice",
             [](fixed_array& x, const py::sequence& items, const fixed_array& values) {
                 const std::vector<index_range> ranges = rangesOf(items);
                 const fixed_array before = sliced(x, ranges);
                 writing(
                     [&](const code_location& where) {
                         put_slice(x, ranges, values, rounding::nearest, overflow::saturate, where);
                     },
                     [&] { put_slice(x, ranges, before); });
             })
        .def("put_places", [](fixed_array& x, py::handle source, const fixed_array& values) {
            const index_list places = placesOf(source);
            const fixed_array before = take(x, places);
            writing(
                [&](const code_location& where) {
                    put(x, places, values, rounding::nearest, overflow::saturate, where);
                },
                [&] { put(x, places, before); });
        });

    // Making arrays.
    module.def("quantize_buffer", &quantizedBuffer);
    module.def("quantize_numbers", [](const py::sequence& numbers, const array_shape& shape, py::handle format) {
        const std::vector<exact_value> values = exactValues(numbers);
        const fixed_format into = formatOf(format);
        return quantizing([&](const code_location& where) { return shaped(fixed_array(values, into, where), shape); });
    });
    module.def("quantize_quotients", [](const py::sequence& dividends, const py::sequence& divisors,
                                        const array_shape& shape, py::handle format) {
        const fixed_array above = stackedConstants(exactValues(dividends));
        const fixed_array below = stackedConstants(exactValues(divisors));
        const fixed_format into = formatOf(format);
        return quantizing([&](const code_location& where) {
            return shaped(divide(above, below, into, where), shape).named(into.name());
        });
    });
    module.def("exact_doubles", [](py::handle source, const array_shape& shape, const fixed_array* beside) {
        const Bytes bytes(source);
        return shaped(exactArray(bytes.as<double>(), beside), shape);
    });
    module.def("exact_numbers", [](const py::sequence& numbers, const array_shape& shape) {
        return shaped(stackedConstants(exactValues(numbers)), shape);
    });
    module.def("constant", [](const fixed_array& beside, py::handle number, bool isWhole) {
        return constant_for(beside, exactOf(number), isWhole);
    });
    module.def("from_words", [](py::handle source, const array_shape& shape, py::handle type) {
        const Bytes bytes(source);
        return detail::arrayOfWords(bytes.integers(shape), shape, typeOf(type));
    });
    module.def("from_limbs", [](py::handle source, const array_shape& shape, py::handle type) {
        const Bytes bytes(source);
        return shaped(from_limbs(bytes.as<std::uint64_t>(), typeOf(type)), shape);
    });
    module.def("zeros",
               [](const array_shape& shape, py::handle type) { return fixed_array::zeros(shape, typeOf(type)); });
    module.def("full_range", [](py::handle type) { return full_range(typeOf(type)); });
    module.def("complex_of", &complex_of);

    // Moves.
    module.def("sliced", [](const fixed_array& x, const py::sequence& items) { return sliced(x, rangesOf(items)); });
    module.def("take", [](const fixed_array& x, py::handle places) { return take(x, placesOf(places)); });
    module.def("permute", &permute);
    module.def("flip", &flip);
    module.def("broadcast_to", &broadcast_to);
    module.def("repeat", &repeat);
    module.def("diag", &diag);
    module.def("concatenate", &concatenate);
    module.def("stacked", &stacked);
}

}  // namespace tolvane::python
