"""Floating-point formats of any size."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from typing import Any, Union

import numpy as np

from . import _core
from ._array import Array, FormatLike, _axes, _from_memory, _numpy_key, _wrap
from ._core import FloatFormat
from ._rules import are_constants_best

FloatFormatLike = Union[str, FloatFormat]


def _float(core: _core.FloatWords) -> FloatArray:
    made = object.__new__(FloatArray)
    made._c = core
    return made


def _of_words(words: Any, format: FloatFormatLike) -> FloatArray:
    kept = np.ascontiguousarray(words, np.uint64)
    return _float(_core.float_words(kept, np.shape(words), format))


def float_from_words(words: Any, format: FloatFormatLike) -> FloatArray:
    """An array of encodings, as integers of any shape: sign, exponent and fraction from the top bit down.

    >>> import tolvane as tv
    >>> tv.float_from_words([0x3c00, 0xfc00], 'fp16')
    tolvane.FloatArray([  1., -inf], 'e5m10')

    Raises Error "tolvane:float:word" for bits beyond the type, TypeError for what are no integers.
    """
    source = np.asarray(words)
    if source.dtype.kind not in "iu" and source.size:
        raise TypeError(f"Words are integers, not {source.dtype}.")
    if source.dtype.kind == "i" and source.size and int(source.min()) < 0:
        raise ValueError("Encodings are integers without sign.")
    return _of_words(source, format)


def _broadcast(*arrays: FloatArray) -> list[_core.FloatWords]:
    """Operands of one shape; single elements are left to the engine."""
    shape = np.broadcast_shapes(*(one.shape for one in arrays))
    return [
        one._c if one.shape == shape else _of_words(np.broadcast_to(one.words, shape), one.type)._c for one in arrays
    ]


def _comparison(compute: Callable[[Any, Any], Any]) -> Callable[[Any, Any], Any]:
    def compare(self: Any, other: Any) -> Any:
        if not isinstance(other, FloatArray):
            beside = np.asarray(other) if not isinstance(other, Array) else None
            if beside is None or beside.dtype.kind not in "fiub" or beside.dtype.itemsize > 8:
                return NotImplemented
            other = FloatArray(beside, "fp64")
        a, b = _broadcast(self, other)
        return compute(a, b).reshape(np.broadcast_shapes(self.shape, other.shape))[()]

    return compare


def _equal(a: _core.FloatWords, b: _core.FloatWords) -> Any:
    return _from_memory(_core.float_equal(a, b), np.bool_, (a.size,))


def _less(a: _core.FloatWords, b: _core.FloatWords) -> Any:
    return _from_memory(_core.float_less(a, b), np.bool_, (a.size,))


class FloatArray:
    """An array of words of a floating-point type, as 'fp16', 'bf16' or 'e4m3'. Results are exact, rounded once.

    Made of numbers, fixed-point arrays or float arrays. Operands of `+ - *` have one type; plain numbers beside an array
    have to be values of its type, unless `rules(constants="best")` rounds them. Shapes are broadcast, indices are
    numpy's, and what they give is a copy. Comparisons are by value: zeros are equal and NaN is unordered. Logs don't
    hear of floats.

    >>> import tolvane as tv
    >>> x = tv.FloatArray([0.1, 2, 70000], 'fp16')
    >>> x
    tolvane.FloatArray([0.09997559, 2.        ,        inf], 'e5m10')
    >>> x[:2] * 2 + x[1], x < 1
    (tolvane.FloatArray([2.19921875, 6.        ], 'e5m10'), array([ True, False, False]))

    Raises Error "tolvane:float:type", "tolvane:float:text" for formats that don't exist, TypeError for operands of two
    types and for numbers that aren't plain.
    """

    __slots__ = ("_c",)
    __hash__ = None  # type: ignore[assignment]
    __array_ufunc__ = None  # numpy's functions would go through doubles in silence
    _c: _core.FloatWords

    def __init__(self, values: Any, format: FloatFormatLike) -> None:
        if isinstance(values, Array):
            self._c = _core.float_of_fixed(values._c, format)
        elif isinstance(values, FloatArray):
            self._c = _core.float_of_float(values._c, format)
        else:
            source = np.ascontiguousarray(values)
            if source.dtype.kind not in "fiub" or source.dtype.itemsize > 8:
                raise TypeError(f"Floats are made of plain numbers, not of {source.dtype}.")
            doubles = source.astype(np.float64)
            if source.dtype.kind in "iu" and not (doubles.astype(object) == source.astype(object)).all():
                raise ValueError("Some integers lie between doubles; quantize them first, by tolvane.array.")
            self._c = _core.float_buffer(doubles, np.shape(values), format)

    @property
    def type(self) -> str:
        """The type as a text, "e5m10" for fp16: exponent and fraction."""
        return self._c.type_text

    @property
    def shape(self) -> tuple[int, ...]:
        return tuple(self._c.shape)

    @property
    def ndim(self) -> int:
        return len(self._c.shape)

    @property
    def size(self) -> int:
        return self._c.size

    @property
    def T(self) -> FloatArray:
        return _of_words(self.words.T, self.type)

    @property
    def words(self) -> Any:
        """The encodings, as a read-only view of uint64."""
        return _from_memory(self._c.words(), np.uint64, self.shape)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> Any:
        if copy is False:
            raise ValueError("The values of an array have no memory of their own; x.words is a view of its words.")
        made = _from_memory(self._c.doubles(), np.float64, self.shape)
        return made if dtype is None else made.astype(dtype, copy=False)

    def astype(self, dtype: Any) -> Any:
        """The values as an array of numpy, by way of the nearest doubles."""
        return self.__array__(dtype)

    def tolist(self) -> Any:
        """The values as floats in lists."""
        return self.__array__().tolist()

    def item(self) -> float:
        """The value of an array of one element."""
        if self.size != 1:
            raise ValueError("Only an array of one element is one number.")
        return float(self.__array__().ravel()[0])

    def __float__(self) -> float:
        return self.item()

    def __bool__(self) -> bool:
        if self.size != 1:
            raise ValueError("The truth of an array of several elements is ambiguous; use (x != 0).any() or all().")
        return self.item() != 0

    def __len__(self) -> int:
        if not self.shape:
            raise TypeError("len() of an array without dimensions")
        return self.shape[0]

    def __iter__(self) -> Iterator[FloatArray]:
        return (self[i] for i in range(len(self)))

    def hex(self) -> Any:
        """The encodings in hexadecimal digits, all of a word."""
        return self._digits("x", 4)

    def bin(self) -> Any:
        """The encodings in binary digits, all of a word."""
        return self._digits("b", 1)

    def _digits(self, letter: str, bits: int) -> Any:
        places = -(-FloatFormat(self.type).bits // bits)
        return np.vectorize(lambda word: f"{int(word):0{places}{letter}}", [str])(self.words).tolist() if self.size else []

    def cast(self, format: FormatLike) -> Array:
        """Forces numbers into a fixed-point format; infinities and NaN raise."""
        return _wrap(_core.fixed_of_float(self._c, format))

    # Elements.

    def __getitem__(self, key: Any) -> FloatArray:
        return _of_words(self.words[_numpy_key(key)], self.type)

    def __setitem__(self, key: Any, value: Any) -> None:
        """Rounds numbers and arrays of other types to this type."""
        kept = value if isinstance(value, FloatArray) and value.type == self.type else FloatArray(value, self.type)
        words = self.words.copy()
        words[_numpy_key(key)] = kept.words
        self._c = _of_words(words, self.type)._c

    def reshape(self, *shape: Any) -> FloatArray:
        """As many elements in another shape; one size may be -1."""
        return _of_words(self.words.reshape(*shape), self.type)

    def copy(self) -> FloatArray:
        return _float(self._c)

    def where(self, mask: Any, other: Any) -> FloatArray:
        """The elements where the mask is set, and those of another array or number of this type elsewhere."""
        beside = self._operand(other)
        if beside is NotImplemented:
            raise TypeError(f"Elements of {self.type} come from floats, not from {type(other).__name__}.")
        return _of_words(np.where(np.asarray(mask, np.bool_), self.words, beside.words), self.type)

    # Arithmetic.

    def _operand(self, other: Any) -> Any:
        if isinstance(other, FloatArray):
            if other.type != self.type:
                raise TypeError(f"{self.type} and {other.type} differ; cast one of them: tolvane.FloatArray(x, 'fp16').")
            return other
        if isinstance(other, Array):
            return NotImplemented
        source = np.asarray(other)
        if source.dtype.kind not in "fiub" or source.dtype.itemsize > 8:
            return NotImplemented
        made = FloatArray(source, self.type)
        if not are_constants_best() and not np.array_equal(made.__array__(), source, equal_nan=source.dtype.kind == "f"):
            raise TypeError(
                f"Some constants aren't values of {self.type}. If they stand for other numbers, round them: "
                f"tolvane.FloatArray(value, '{self.type}')."
            )
        return made

    def _arithmetic(self, operation: Any, other: Any, is_reflected: bool = False) -> FloatArray:
        beside = self._operand(other)
        if beside is NotImplemented:
            return NotImplemented
        a, b = _broadcast(self, beside)
        return _float(operation(b, a, self.type) if is_reflected else operation(a, b, self.type))

    def __add__(self, other: Any) -> FloatArray:
        return self._arithmetic(_core.float_add, other)

    __radd__ = __add__

    def __sub__(self, other: Any) -> FloatArray:
        return self._arithmetic(_core.float_subtract, other)

    def __rsub__(self, other: Any) -> FloatArray:
        return self._arithmetic(_core.float_subtract, other, True)

    def __mul__(self, other: Any) -> FloatArray:
        return self._arithmetic(_core.float_multiply, other)

    __rmul__ = __mul__

    def __neg__(self) -> FloatArray:
        return _float(self._c.negated())

    def __pos__(self) -> FloatArray:
        return self.copy()

    def __abs__(self) -> FloatArray:
        return _of_words(self.words & np.uint64((1 << (FloatFormat(self.type).bits - 1)) - 1), self.type)

    # Comparisons, by value.

    __eq__ = _comparison(_equal)
    __ne__ = _comparison(lambda a, b: ~_equal(a, b))
    __lt__ = _comparison(_less)
    __le__ = _comparison(lambda a, b: _less(a, b) | _equal(a, b))
    __gt__ = _comparison(lambda a, b: _less(b, a))
    __ge__ = _comparison(lambda a, b: _less(b, a) | _equal(a, b))

    def isnan(self) -> Any:
        """Where elements are NaN."""
        return ~_equal(self._c, self._c).reshape(self.shape)

    # Reductions.

    def _folded(self, axis: Any, step: Callable[[FloatArray, FloatArray], FloatArray], empty: FloatArray | None) -> FloatArray:
        """Elements along an axis or several joined one after the other, in the order of memory."""
        axes = _axes(axis, self.ndim)
        rest = [one for one in range(self.ndim) if one not in axes]
        words = np.transpose(self.words, [*axes, *rest])
        words = words.reshape(-1, *words.shape[len(axes) :]) if axes else words[None]
        if not len(words):
            if empty is None:
                raise ValueError("An array without elements has no greatest or least one.")
            return _of_words(np.broadcast_to(empty.words, words.shape[1:]), self.type)
        made = _of_words(words[0], self.type)
        for one in words[1:]:
            made = step(made, _of_words(one, self.type))
        return made

    def sum(self, axis: Any = None) -> FloatArray:
        """The sums along an axis or several, or of all elements: added one after the other, in the order of memory, with
        each partial sum rounded to the type, as an accumulator of this type does."""
        return self._folded(axis, lambda a, b: a + b, FloatArray(0.0, self.type))

    def max(self, axis: Any = None) -> FloatArray:
        """The greatest elements; NaN if one is."""
        return self._folded(axis, lambda a, b: b.where((a < b) | b.isnan(), a), None)

    def min(self, axis: Any = None) -> FloatArray:
        """The least elements; NaN if one is."""
        return self._folded(axis, lambda a, b: b.where((a > b) | b.isnan(), a), None)

    def any(self) -> bool:
        return bool(np.any(self != 0))

    def all(self) -> bool:
        return bool(np.all(self != 0))

    def _repr_html_(self) -> str:
        from . import _html

        return _html.float_array(self)

    def __repr__(self) -> str:
        values = np.array2string(self.__array__(), separator=", ", prefix="tolvane.FloatArray(")
        return f"tolvane.FloatArray({values}, '{self.type}')"

    def __reduce__(self) -> tuple[Any, ...]:
        return float_from_words, (np.array(self.words), self.type)

    def __copy__(self) -> FloatArray:
        return self.copy()

    def __deepcopy__(self, memo: Any) -> FloatArray:
        return self.copy()


def multiply_add(a: FloatArray, b: FloatArray, c: FloatArray, format: FloatFormatLike) -> FloatArray:
    """a b + c, exactly, rounded once to a format. Shapes are broadcast.

    >>> import tolvane as tv
    >>> a = tv.FloatArray([1.0009765625, 3], 'fp16')
    >>> tv.multiply_add(a, a, tv.FloatArray(-1, 'fp16'), 'fp32')
    tolvane.FloatArray([1.95407867e-03, 8.00000000e+00], 'e8m23')

    Raises Error "tolvane:float:type" and "tolvane:float:text" for formats that don't exist.
    """
    x, y, z = _broadcast(a, b, c)
    return _float(_core.float_multiply_add(x, y, z, format))
