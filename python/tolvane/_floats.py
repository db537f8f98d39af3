"""Floating-point formats of any size."""

from __future__ import annotations

from typing import Any, Union

import numpy as np

from . import _core
from ._array import Array, FormatLike, _from_memory, _wrap
from ._core import FloatFormat

FloatFormatLike = Union[str, FloatFormat]


def _float(core: _core.FloatWords) -> FloatArray:
    made = object.__new__(FloatArray)
    made._c = core
    return made


class FloatArray:
    """An array of words of a floating-point type, as 'fp16', 'bf16' or 'e4m3'. Results are exact, rounded once."""

    __slots__ = ("_c",)
    __hash__ = None  # type: ignore[assignment]
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
        return self._c.type_text

    @property
    def shape(self) -> tuple[int, ...]:
        return tuple(self._c.shape)

    @property
    def size(self) -> int:
        return self._c.size

    @property
    def words(self) -> Any:
        """The encodings, as a read-only view of uint64."""
        return _from_memory(self._c.words(), np.uint64, self.shape)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> Any:
        made = _from_memory(self._c.doubles(), np.float64, self.shape)
        return made if dtype is None else made.astype(dtype, copy=False)

    def cast(self, format: FormatLike) -> Array:
        """Forces numbers into a fixed-point format; infinities and NaN raise."""
        return _wrap(_core.fixed_of_float(self._c, format))

    def reshape(self, *shape: int) -> FloatArray:
        return _float(self._c.reshaped(shape))

    def _arithmetic(self, operation: Any, other: FloatArray) -> FloatArray:
        if not isinstance(other, FloatArray):
            return NotImplemented
        if other.type != self.type:
            raise TypeError(f"{self.type} and {other.type} differ; cast one of them: tolvane.FloatArray(x, 'fp16').")
        return _float(operation(self._c, other._c, self.type))

    def __add__(self, other: Any) -> FloatArray:
        return self._arithmetic(_core.float_add, other)

    def __sub__(self, other: Any) -> FloatArray:
        return self._arithmetic(_core.float_subtract, other)

    def __mul__(self, other: Any) -> FloatArray:
        return self._arithmetic(_core.float_multiply, other)

    def __neg__(self) -> FloatArray:
        return _float(self._c.negated())

    def __eq__(self, other: Any) -> Any:
        if not isinstance(other, FloatArray):
            return NotImplemented
        return _from_memory(_core.float_equal(self._c, other._c), np.bool_, np.broadcast_shapes(self.shape, other.shape))

    def _repr_html_(self) -> str:
        from . import _html

        return _html.float_array(self)

    def __repr__(self) -> str:
        values = np.array2string(self.__array__(), separator=", ", prefix="tolvane.FloatArray(")
        return f"tolvane.FloatArray({values}, '{self.type}')"


def multiply_add(a: FloatArray, b: FloatArray, c: FloatArray, format: FloatFormatLike) -> FloatArray:
    """a b + c, rounded once."""
    return _float(_core.float_multiply_add(a._c, b._c, c._c, format))
