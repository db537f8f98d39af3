"""Arithmetic as functions: exact, quantized to a format, or quantized into an array that exists."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import numpy as np

from . import _core
from ._array import Array, ArrayLike, FormatLike, _operand, _wrap
from ._core import Format

_Operation = Callable[[Any, Any], _core.FixedArray]
_Assignment = Callable[[Any, Any, Any, Any], None]


def _operands(a: Any, b: Any) -> tuple[_core.FixedArray, _core.FixedArray]:
    beside = a if isinstance(a, Array) else b if isinstance(b, Array) else None
    return _operand(a, beside), _operand(b, beside)


def _computed(
    operation: _Operation, assignment: _Assignment, a: Any, b: Any, format: FormatLike | None, out: Array | None
) -> Array:
    left, right = _operands(a, b)
    if out is not None:
        if not isinstance(out, Array):
            raise TypeError("out has to be an array of fixed-point numbers: tolvane.zeros(shape, format) makes one.")
        if format is not None:
            raise TypeError("Results in out have its type; give a format or out.")
        assignment(out._c, left, right, None)
        return out
    if format is None:
        return _wrap(operation(left, right))
    if left.is_complex or right.is_complex:
        return _wrap(_core.cast(operation(left, right), format))
    into = format if isinstance(format, Format) else Format(format)
    made = _core.zeros(np.broadcast_shapes(left.shape, right.shape), into.type).named(into.name)
    assignment(made, left, right, into)
    return _wrap(made)


def add(a: ArrayLike, b: ArrayLike, format: FormatLike | None = None, out: Array | None = None) -> Array:
    """a + b: exact, or each sum quantized once, to a format or into an array that exists.

    >>> import tolvane as tv
    >>> a = tv.array([0.25, 0.5], 's8,7')
    >>> tv.add(a, a, 's8,6')
    tolvane.array([0.5, 1. ], 's8,6')
    >>> tv.add(a, 0.125, out=a)
    tolvane.array([0.375, 0.625], 's8,7')
    """
    return _computed(_core.add, _core.assign_sum, a, b, format, out)


def subtract(a: ArrayLike, b: ArrayLike, format: FormatLike | None = None, out: Array | None = None) -> Array:
    """a - b: exact, or each difference quantized once, to a format or into an array that exists."""
    return _computed(_core.subtract, _core.assign_difference, a, b, format, out)


def multiply(a: ArrayLike, b: ArrayLike, format: FormatLike | None = None, out: Array | None = None) -> Array:
    """a * b: exact, or each product quantized once, to a format or into an array that exists.

    >>> import tolvane as tv
    >>> tv.multiply(tv.array([0.25, 0.5], 's8,7'), 3, 's8,5')
    tolvane.array([0.75, 1.5 ], 's8,5')
    """
    return _computed(_core.multiply, _core.assign_product, a, b, format, out)
