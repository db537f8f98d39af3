"""Functions over arrays, beyond operators and methods."""

from __future__ import annotations

import fractions
import math
from collections.abc import Sequence
from typing import Any

import numpy as np

from . import _core
from ._array import Array, ArrayLike, FormatLike, _exact, _named, _operand, _quantize, _wrap, from_words
from ._core import Format, Type


def _first(values: Sequence[Any]) -> Array | None:
    return next((value for value in values if isinstance(value, Array)), None)


def _pair(a: Any, b: Any) -> tuple[_core.FixedArray, _core.FixedArray]:
    beside = _first((a, b))
    return _operand(a, beside), _operand(b, beside)


def cast(x: ArrayLike, format: FormatLike, name: str | None = None) -> Array:
    """Every element forced into a format, under the name of the format or the given one."""
    return _wrap(_quantize(x, _named(format, name)))


def divide(a: ArrayLike, b: ArrayLike, format: FormatLike, name: str | None = None) -> Array:
    """Quotients, each rounded once to a format. A divisor of zero raises DivisionError."""
    left, right = _pair(a, b)
    return _wrap(_core.divide(left, right, _named(format, name)))


def sqrt(x: ArrayLike, format: FormatLike, name: str | None = None) -> Array:
    """Square roots, each rounded once to a format. Elements below zero raise."""
    return _wrap(_core.sqrt(_operand(x), _named(format, name)))


def convolve(x: ArrayLike, h: ArrayLike, product: FormatLike | None = None, sum: FormatLike | None = None) -> Array:
    """The full convolution of two vectors: exact, or with each product and each partial sum quantized."""
    return _wrap(_core.convolve(*_pair(x, h), product, sum))


def dot(a: ArrayLike, b: ArrayLike, product: FormatLike | None = None, sum: FormatLike | None = None) -> Array:
    """The sum of products of two vectors; products of matrices for others, as `matmul`."""
    left, right = _pair(a, b)
    operation = _core.dot if left.ndim == right.ndim == 1 else _core.matmul
    return _wrap(operation(left, right, product, sum))


def matmul(a: ArrayLike, b: ArrayLike, product: FormatLike | None = None, sum: FormatLike | None = None) -> Array:
    """Products of the matrices in the last two axes: exact, or with each product and each partial sum quantized."""
    return _wrap(_core.matmul(*_pair(a, b), product, sum))


def sum(x: Array, axis: Any = None, format: FormatLike | None = None, keepdims: bool = False) -> Array:
    """The sums along an axis or several, or of all elements: exact, or with each partial sum quantized."""
    return x.sum(axis, format, keepdims)


def cumsum(x: Array, axis: int | None = None, format: FormatLike | None = None) -> Array:
    """All partial sums along an axis, or of all elements in order."""
    return x.cumsum(axis, format)


def mean(x: Array, axis: int | None = None, format: FormatLike | None = None) -> Array:
    """The exact sum over the number of elements, rounded once to a format."""
    return x.mean(axis, format)


def where(mask: Any, a: ArrayLike, b: ArrayLike) -> Array:
    """The elements of a where the mask is set and of b elsewhere, in a type that has the values of both."""
    left, right = _pair(a, b)
    entries = np.asarray(mask, np.bool_)
    shape = np.broadcast_shapes(entries.shape, left.shape, right.shape)
    left = left if left.shape == shape else _core.broadcast_to(left, shape)
    entries = np.ascontiguousarray(np.broadcast_to(entries, shape)).view(np.uint8)
    return _wrap(_core.where(entries, left, right))


def maximum(a: ArrayLike, b: ArrayLike) -> Array:
    return _wrap(_core.maximum(*_pair(a, b)))


def minimum(a: ArrayLike, b: ArrayLike) -> Array:
    return _wrap(_core.minimum(*_pair(a, b)))


def clip(x: Array, low: ArrayLike, high: ArrayLike) -> Array:
    """The elements, or the bounds where they are beyond."""
    return _wrap(_core.clip(x._c, _operand(low, x), _operand(high, x)))


def floor(x: Array) -> Array:
    return _wrap(_core.floor(x._c))


def ceil(x: Array) -> Array:
    return _wrap(_core.ceil(x._c))


def trunc(x: Array) -> Array:
    return _wrap(_core.trunc(x._c))


def round(x: Array, rule: str = "convergent") -> Array:
    """Whole numbers, by a rounding of formats; ties to even as numpy's unless another one is given."""
    return _wrap(_core.round(x._c, rule))


def sign(x: Array) -> Array:
    return _wrap(_core.sign(x._c))


def sort(x: Array, axis: int = -1) -> Array:
    return _wrap(_core.sort(x._c, axis))


def argsort(x: Array, axis: int = -1) -> Any:
    from ._array import _from_memory

    return _from_memory(_core.argsort(x._c, axis), np.int64, x.shape)


def concatenate(parts: Sequence[ArrayLike], axis: int | None = 0) -> Array:
    """Arrays along an axis that all have, in a type that has the values of all."""
    beside = _first(parts)
    cores = [_operand(part, beside) for part in parts]
    if axis is None:
        cores = [core.reshaped((core.size,)) for core in cores]
    return _wrap(_core.concatenate(cores, 0 if axis is None else axis))


def stack(parts: Sequence[ArrayLike], axis: int = 0) -> Array:
    """Arrays of one shape along a new axis, in a type that has the values of all."""
    beside = _first(parts)
    return _wrap(_core.stacked([_operand(part, beside) for part in parts], axis))


def broadcast_to(x: Array, shape: Any) -> Array:
    return _wrap(_core.broadcast_to(x._c, _shape(shape)))


def flip(x: Array, axis: int | None = None) -> Array:
    axes = range(x.ndim) if axis is None else (axis,)
    core = x._c
    for one in axes:
        core = _core.flip(core, one)
    return _wrap(core)


def diag(x: Array) -> Array:
    return _wrap(_core.diag(x._c))


def repeat(x: Array, count: int, axis: int | None = None) -> Array:
    core = x._c.reshaped((x.size,)) if axis is None else x._c
    return _wrap(_core.repeat(core, count, -1 if axis is None else axis))


def complex_of(real: Array, imag: Array) -> Array:
    """Complex numbers of two real arrays of one shape."""
    return _wrap(_core.complex_of(real._c, imag._c))


def _shape(shape: Any) -> tuple[int, ...]:
    sizes = (int(shape),) if isinstance(shape, (int, np.integer)) else tuple(int(size) for size in shape)
    if any(size < 0 for size in sizes):
        raise ValueError("Sizes are at least 0.")
    if math.prod(sizes) >= 1 << 60:
        raise MemoryError(f"An array of shape {sizes} is beyond any memory.")
    return sizes


def _type(format: FormatLike) -> Type:
    return format if isinstance(format, Type) else Format(format).type


def zeros(shape: Any, format: FormatLike, name: str | None = None) -> Array:
    core = _core.zeros(_shape(shape), _type(format))
    named = name if name is not None else format.name if isinstance(format, Format) else ""
    return _wrap(core.named(named) if named else core)


def full(shape: Any, value: Any, format: FormatLike, name: str | None = None) -> Array:
    """A value everywhere, quantized once."""
    return broadcast_to(Array(value, format, name), _shape(shape))


def ones(shape: Any, format: FormatLike, name: str | None = None) -> Array:
    return full(shape, 1, format, name)


def arange(*bounds: Any, format: FormatLike, name: str | None = None) -> Array:
    """As numpy's arange of exact numbers, each quantized once."""
    from ._array import _exact_number

    exact = [_exact_number(bound) for bound in bounds]
    start = exact[0] if len(exact) > 1 else fractions.Fraction(0)
    stop = exact[min(1, len(exact) - 1)]
    step = exact[2] if len(exact) > 2 else fractions.Fraction(1)
    count = max(0, -(-(stop - start) // step))
    made = np.empty(int(count), object)
    made[:] = [start + i * step for i in range(int(count))]
    return Array(made, format, name)


def fullrange(type: FormatLike) -> Array:
    """Every word of a type of up to 24 bits, from the least value to the greatest."""
    return _wrap(_core.full_range(_type(type)))


def zeros_like(x: Array) -> Array:
    return zeros(x.shape, x.type, x.name)


def ones_like(x: Array) -> Array:
    return ones(x.shape, x.type, x.name)


def full_like(x: Array, value: Any) -> Array:
    return full(x.shape, value, x.type, x.name)


def identical(a: Array, b: Array) -> bool:
    """Whether types, shapes and all words are equal; `==` compares values."""
    return a.type == b.type and a.iscomplex == b.iscomplex and _core.array_equal(a._c, b._c)


def array_equal(a: ArrayLike, b: ArrayLike) -> bool:
    """Whether shapes and all values are equal, whatever the types."""
    return _core.array_equal(_operand(a), _operand(b))


# Words as bits.


def slice_bits(x: Array, high: int, low: int) -> Array:
    """Bits high to low, as unsigned integers."""
    return _wrap(_core.slice_bits(x._c, high, low))


def concat_bits(*parts: Array) -> Array:
    """The words of several arrays in one, the first ones highest."""
    return _wrap(_core.concat_bits([part._c for part in parts]))


def get_bit(x: Array, bit: int) -> Array:
    return _wrap(_core.get_bit(x._c, bit))


def set_bit(x: Array, bit: int, value: bool = True) -> Array:
    return _wrap(_core.set_bit(x._c, bit, value))


def reinterpret(x: Array, type: FormatLike) -> Array:
    """The same words as those of another type of the same length."""
    return _wrap(_core.reinterpret(x._c, _type(type)))


def shift_right_logical(x: Array, places: int) -> Array:
    return _wrap(_core.shift_right_logical(x._c, places))


def rotate_bits(x: Array, places: int) -> Array:
    return _wrap(_core.rotate_bits(x._c, places))


def _counts(operation: Any, x: Array) -> Any:
    from ._array import _from_memory

    return _from_memory(operation(x._c), np.int32, x.shape)[()]


def leading_zeros(x: Array) -> Any:
    return _counts(_core.leading_zeros, x)


def leading_signs(x: Array) -> Any:
    return _counts(_core.leading_signs, x)


def trailing_zeros(x: Array) -> Any:
    return _counts(_core.trailing_zeros, x)


def count_ones(x: Array) -> Any:
    return _counts(_core.count_ones, x)
