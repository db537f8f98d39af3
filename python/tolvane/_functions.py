"""Functions over arrays, beyond operators and methods."""

from __future__ import annotations

import fractions
import math
from collections.abc import Sequence
from typing import Any

import numpy as np

from . import _core
from ._array import Array, ArrayLike, FormatLike, _core_error, _exact, _named, _operand, _quantize, _wrap, from_words
from ._core import Format, Type


def _first(values: Sequence[Any]) -> Array | None:
    return next((value for value in values if isinstance(value, Array)), None)


def _pair(a: Any, b: Any) -> tuple[_core.FixedArray, _core.FixedArray]:
    beside = _first((a, b))
    return _operand(a, beside), _operand(b, beside)


def cast(x: ArrayLike, format: FormatLike, name: str | None = None) -> Array:
    """Every element forced into a format, under the name of the format or the given one. Keeps the shape.

    >>> import tolvane as tv
    >>> tv.cast([0.3, 0.8], 's4,3 floor')
    tolvane.array([0.25, 0.75], 's4,3')

    Raises Error "tolvane:value:finite" for infinities and NaN, TypeError for what is no number.
    """
    return _wrap(_quantize(x, _named(format, name)))


def divide(a: ArrayLike, b: ArrayLike, format: FormatLike, name: str | None = None) -> Array:
    """Quotients, each rounded once to a format; shapes are broadcast.

    >>> import tolvane as tv
    >>> tv.divide(tv.array([1, 2], 's4'), 3, 's8,6')
    tolvane.array([0.328125, 0.671875], 's8,6')

    A divisor of zero raises DivisionError, complex operands KindError.
    """
    left, right = _pair(a, b)
    return _wrap(_core.divide(left, right, _named(format, name)))


def sqrt(x: ArrayLike, format: FormatLike, name: str | None = None) -> Array:
    """Square roots, each rounded once to a format. Keeps the shape.

    >>> import tolvane as tv
    >>> tv.sqrt(tv.array([2, 9], 's8'), 's8,4')
    tolvane.array([1.4375, 3.    ], 's8,4')

    Elements below zero raise Error "tolvane:array:root", complex ones KindError.
    """
    return _wrap(_core.sqrt(_operand(x), _named(format, name)))


def convolve(x: ArrayLike, h: ArrayLike, product: FormatLike | None = None, sum: FormatLike | None = None) -> Array:
    """The full convolution of two vectors, of n and m elements into n + m - 1: exact, or with each product and each
    partial sum quantized. Element k adds h[0] x[k], h[1] x[k - 1] and so on, in this order.

    >>> import tolvane as tv
    >>> x = tv.array([1, 2, 3], 's4')
    >>> tv.convolve(x, [1, -1]), tv.convolve(x, [1, -1], sum='s4').type
    (tolvane.array([ 1.,  1.,  1., -3.], 's7,0'), tolvane.Type('s4,0'))

    Raises Error "tolvane:array:shape" for what are no vectors.
    """
    return _wrap(_core.convolve(*_pair(x, h), product, sum))


def dot(a: ArrayLike, b: ArrayLike, product: FormatLike | None = None, sum: FormatLike | None = None) -> Array:
    """The sum of products of two vectors of one length; products of matrices for others, as `matmul`. Exact, or with
    each product and each partial sum quantized, from the first to the last.

    >>> import tolvane as tv
    >>> tv.dot(tv.array([0.5, 0.25], 's8,7'), [2, 4]).item()
    Fraction(2, 1)

    Raises Error "tolvane:array:shape" for lengths that differ, and for more than two axes: numpy's dot means other sums
    than `matmul` there.
    """
    left, right = _pair(a, b)
    if max(left.ndim, right.ndim) > 2:
        raise _core_error("tolvane:array:shape", "dot takes vectors and matrices; stacks of matrices are for matmul.")
    operation = _core.dot if left.ndim == right.ndim == 1 else _core.matmul
    return _wrap(operation(left, right, product, sum))


def matmul(a: ArrayLike, b: ArrayLike, product: FormatLike | None = None, sum: FormatLike | None = None) -> Array:
    """Products of the matrices in the last two axes; other axes are broadcast. Exact, or with each product and each
    partial sum quantized, from the first to the last.

    >>> import tolvane as tv
    >>> tv.matmul(tv.array([[1, 2], [3, 4]], 's4'), [[0, 1], [1, 0]]).tolist()
    [[2.0, 1.0], [4.0, 3.0]]

    Raises Error "tolvane:array:shape" for sizes that don't fit.
    """
    return _wrap(_core.matmul(*_pair(a, b), product, sum))


def sum(x: Array, axis: Any = None, format: FormatLike | None = None, keepdims: bool = False) -> Array:
    """The sums along an axis or several, or of all elements: exact, or with each partial sum quantized.

    >>> import tolvane as tv
    >>> x = tv.array([[1, 2], [3, 4]], 's4')
    >>> tv.sum(x).type, tv.sum(x, axis=0).tolist(), tv.sum(x, format='s5').type
    (tolvane.Type('s6,0'), [4.0, 6.0], tolvane.Type('s5,0'))

    An axis that the array lacks raises IndexError.
    """
    return x.sum(axis, format, keepdims)


def cumsum(x: Array, axis: int | None = None, format: FormatLike | None = None) -> Array:
    """All partial sums along an axis, or of all elements in order: exact, or each quantized.

    >>> import tolvane as tv
    >>> tv.cumsum(tv.array([1, 2, 3], 's4')).tolist()
    [1.0, 3.0, 6.0]

    An axis that the array lacks raises IndexError.
    """
    return x.cumsum(axis, format)


def mean(x: Array, axis: Any = None, format: FormatLike | None = None, keepdims: bool = False) -> Array:
    """The exact sum over the number of elements, rounded once to a format; along an axis, several, or of all.

    >>> import tolvane as tv
    >>> tv.mean(tv.array([1, 2], 's4'), format='s8,4')
    tolvane.array(1.5, 's8,4')

    Without a format TypeError is raised: most means have no exact word.
    """
    return x.mean(axis, format, keepdims)


def where(mask: Any, a: ArrayLike, b: ArrayLike) -> Array:
    """The elements of a where the mask is set and of b elsewhere, in a type that has the values of both. Shapes are
    broadcast.

    >>> import tolvane as tv
    >>> x = tv.array([-0.5, 0.5], 's4,3')
    >>> tv.where(x > 0, x, 0)
    tolvane.array([0. , 0.5], 's5,3')
    """
    left, right = _pair(a, b)
    entries = np.asarray(mask, np.bool_)
    shape = np.broadcast_shapes(entries.shape, left.shape, right.shape)
    left = left if left.shape == shape else _core.broadcast_to(left, shape)
    entries = np.ascontiguousarray(np.broadcast_to(entries, shape)).view(np.uint8)
    return _wrap(_core.where(entries, left, right))


def maximum(a: ArrayLike, b: ArrayLike) -> Array:
    """The greater of two elements, in a type that has the values of both. Shapes are broadcast. Complex operands raise
    KindError."""
    return _wrap(_core.maximum(*_pair(a, b)))


def minimum(a: ArrayLike, b: ArrayLike) -> Array:
    """The lesser of two elements, in a type that has the values of both. Shapes are broadcast. Complex operands raise
    KindError."""
    return _wrap(_core.minimum(*_pair(a, b)))


def clip(x: Array, low: ArrayLike, high: ArrayLike) -> Array:
    """The elements, or the bounds where they are beyond, in a type that has all of these values. Bounds are broadcast.

    >>> import tolvane as tv
    >>> tv.clip(tv.array([-2, 0.5, 2], 's8,4'), -1, 1).tolist()
    [-1.0, 0.5, 1.0]

    Complex operands raise KindError.
    """
    return x.clip(low, high)


def floor(x: Array) -> Array:
    """The greatest whole numbers that aren't above the elements, exactly; each part of complex ones by itself."""
    return _wrap(_core.floor(x._c))


def ceil(x: Array) -> Array:
    """The least whole numbers that aren't below the elements, exactly; each part of complex ones by itself."""
    return _wrap(_core.ceil(x._c))


def trunc(x: Array) -> Array:
    """Whole numbers cut off toward zero, exactly; each part of complex ones by itself."""
    return _wrap(_core.trunc(x._c))


def round(x: Array, rule: str = "convergent") -> Array:
    """Whole numbers, by a rounding of formats; ties to even as numpy's unless another one is given.

    >>> import tolvane as tv
    >>> x = tv.array([0.5, 1.5, -0.25], 's8,4')
    >>> tv.round(x).tolist(), tv.round(x, 'floor').tolist()
    ([0.0, 2.0, 0.0], [0.0, 1.0, -1.0])

    Raises Error "tolvane:format:text" for a rounding that doesn't exist.
    """
    return _wrap(_core.round(x._c, rule))


def sign(x: Array) -> Array:
    """-1, 0 or 1 for each element. Complex ones raise KindError."""
    return _wrap(_core.sign(x._c))


def sort(x: Array, axis: int = -1) -> Array:
    """Elements in ascending order along an axis, the last one unless told otherwise. Complex ones raise KindError."""
    return _wrap(_core.sort(x._c, axis))


def argsort(x: Array, axis: int = -1) -> Any:
    """The places that bring elements into ascending order along an axis, as integers of numpy; equal ones keep their
    order. Complex ones raise KindError."""
    from ._array import _from_memory

    return _from_memory(_core.argsort(x._c, axis), np.int64, x.shape)


def concatenate(parts: Sequence[ArrayLike], axis: int | None = 0) -> Array:
    """Arrays joined along an axis, or as vectors with axis=None, in a type that has the values of all.

    >>> import tolvane as tv
    >>> tv.concatenate([tv.array([1, 2], 's4'), tv.array([0.5], 'u4,3')])
    tolvane.array([1. , 2. , 0.5], 's7,3')

    Raises Error "tolvane:array:shape" for other sizes that differ.
    """
    beside = _first(parts)
    cores = [_operand(part, beside) for part in parts]
    if axis is None:
        cores = [core.reshaped((core.size,)) for core in cores]
    return _wrap(_core.concatenate(cores, 0 if axis is None else axis))


def stack(parts: Sequence[ArrayLike], axis: int = 0) -> Array:
    """Arrays of one shape joined along a new axis, in a type that has the values of all. Raises Error
    "tolvane:array:shape" for shapes that differ."""
    beside = _first(parts)
    return _wrap(_core.stacked([_operand(part, beside) for part in parts], axis))


def broadcast_to(x: Array, shape: Any) -> Array:
    """The array repeated to a shape, by numpy's rules. Raises Error "tolvane:array:shape" for shapes that don't fit."""
    return _wrap(_core.broadcast_to(x._c, _shape(shape)))


def flip(x: Array, axis: int | None = None) -> Array:
    """Elements in the opposite order along an axis, or along all."""
    axes = range(x.ndim) if axis is None else (axis,)
    core = x._c
    for one in axes:
        core = _core.flip(core, one)
    return _wrap(core)


def diag(x: Array) -> Array:
    """A matrix with the elements of a vector in its diagonal, or the diagonal of a matrix."""
    return _wrap(_core.diag(x._c))


def repeat(x: Array, count: int, axis: int | None = None) -> Array:
    """Each element so many times, along an axis, or of all elements as a vector."""
    core = x._c.reshaped((x.size,)) if axis is None else x._c
    return _wrap(_core.repeat(core, count, -1 if axis is None else axis))


def complex_of(real: Array, imag: Array) -> Array:
    """Complex numbers of two real arrays of one shape, in a type that has the values of both.

    >>> import tolvane as tv
    >>> z = tv.complex_of(tv.array([1, 2], 's4'), tv.array([0.5, 0], 's4,1'))
    >>> (z * z.conj()).tolist()
    [(1.25+0j), (4+0j)]

    Raises Error "tolvane:array:shape" for shapes that differ, KindError for operands that are complex.
    """
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
    """Zeros of a shape (a number or a tuple) in the type of a format, under its name or the given one.

    >>> import tolvane as tv
    >>> tv.zeros((2, 2), 's8,7')
    tolvane.array([[0., 0.],
                   [0., 0.]], 's8,7')

    Sizes below zero raise ValueError.
    """
    core = _core.zeros(_shape(shape), _type(format))
    named = name if name is not None else format.name if isinstance(format, Format) else ""
    return _wrap(core.named(named) if named else core)


def full(shape: Any, value: Any, format: FormatLike, name: str | None = None) -> Array:
    """A value everywhere, quantized once, in a shape that is a number or a tuple.

    >>> import tolvane as tv
    >>> tv.full(3, 0.3, 's8,4')
    tolvane.array([0.3125, 0.3125, 0.3125], 's8,4')

    Sizes below zero raise ValueError.
    """
    return broadcast_to(Array(value, format, name), _shape(shape))


def ones(shape: Any, format: FormatLike, name: str | None = None) -> Array:
    """Ones of a shape, quantized once: a format without room for 1 overflows."""
    return full(shape, 1, format, name)


def arange(*bounds: Any, format: FormatLike, name: str | None = None) -> Array:
    """start, stop and step as numpy's arange, of exact numbers, each quantized once.

    >>> import tolvane as tv
    >>> tv.arange(0, 1, 0.25, format='s8,4')
    tolvane.array([0.  , 0.25, 0.5 , 0.75], 's8,4')

    A step of zero raises ZeroDivisionError.
    """
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
    """Every word of a type, from the least value to the greatest: for tables, and tests that leave nothing out.

    >>> import tolvane as tv
    >>> tv.fullrange('s2,1')
    tolvane.array([-1. , -0.5,  0. ,  0.5], 's2,1')

    Types of more than 24 bits raise Error "tolvane:array:growth".
    """
    return _wrap(_core.full_range(_type(type)))


def zeros_like(x: Array) -> Array:
    """Zeros with the shape, the type and the name of an array."""
    return zeros(x.shape, x.type, x.name)


def ones_like(x: Array) -> Array:
    """Ones with the shape, the type and the name of an array."""
    return ones(x.shape, x.type, x.name)


def full_like(x: Array, value: Any) -> Array:
    """A value everywhere, quantized once, with the shape, the type and the name of an array."""
    return full(x.shape, value, x.type, x.name)


def identical(a: Array, b: Array) -> bool:
    """Whether types, shapes and all words are equal; `==` compares values.

    >>> import tolvane as tv
    >>> a, b = tv.array([0.5], 's8,4'), tv.array([0.5], 's8,5')
    >>> tv.identical(a, b), tv.array_equal(a, b)
    (False, True)
    """
    return a.type == b.type and a.iscomplex == b.iscomplex and _core.array_equal(a._c, b._c)


def array_equal(a: ArrayLike, b: ArrayLike) -> bool:
    """Whether shapes and all values are equal, whatever the types; either may be plain numbers."""
    return _core.array_equal(_operand(a), _operand(b))


# Words as bits.


def slice_bits(x: Array, high: int, low: int) -> Array:
    """Bits high to low of each word, both counted from 0 and kept, as unsigned integers of high - low + 1 bits.

    >>> import tolvane as tv
    >>> tv.slice_bits(tv.from_words([0b0110], 'u4'), 2, 1).words.tolist()
    [3]

    Raises Error "tolvane:array:index" for bits that the words lack.
    """
    return _wrap(_core.slice_bits(x._c, high, low))


def concat_bits(*parts: Array) -> Array:
    """The words of several arrays of one shape side by side, the first ones highest, as unsigned integers."""
    return _wrap(_core.concat_bits([part._c for part in parts]))


def get_bit(x: Array, bit: int) -> Array:
    """One bit of each word, counted from 0, as unsigned words of one bit. Raises IndexError for bits beyond words."""
    return _wrap(_core.get_bit(x._c, bit))


def set_bit(x: Array, bit: int, value: bool = True) -> Array:
    """The words with one bit, counted from 0, set or cleared. Raises IndexError for a bit beyond the word."""
    return _wrap(_core.set_bit(x._c, bit, value))


def reinterpret(x: Array, type: FormatLike) -> Array:
    """The same bit patterns as words of another type of the same length.

    >>> import tolvane as tv
    >>> tv.reinterpret(tv.array([-1], 's8'), 'u8').tolist()
    [255.0]

    Raises Error for a type of another length.
    """
    return _wrap(_core.reinterpret(x._c, _type(type)))


def shift_right_logical(x: Array, places: int) -> Array:
    """Bit patterns shifted right, with zeros from above, in the same type; `>>` keeps the sign."""
    return _wrap(_core.shift_right_logical(x._c, places))


def rotate_bits(x: Array, places: int) -> Array:
    """Bit patterns rotated left by so many places, or right by a negative number, in the same type."""
    return _wrap(_core.rotate_bits(x._c, places))


def _counts(operation: Any, x: Array) -> Any:
    from ._array import _from_memory

    return _from_memory(operation(x._c), np.int32, x.shape)[()]


def leading_zeros(x: Array) -> Any:
    """The zeros above the highest set bit of each bit pattern, as integers of numpy."""
    return _counts(_core.leading_zeros, x)


def leading_signs(x: Array) -> Any:
    """How many bits below the top one equal it, as integers of numpy: by so many places a signed word can be shifted
    left without loss."""
    return _counts(_core.leading_signs, x)


def trailing_zeros(x: Array) -> Any:
    """The zeros below the lowest set bit of each bit pattern, as integers of numpy; all bits of a word of zero."""
    return _counts(_core.trailing_zeros, x)


def count_ones(x: Array) -> Any:
    """The set bits of each bit pattern, as integers of numpy."""
    return _counts(_core.count_ones, x)
