"""Exceptions, and what happens when values overflow."""

from __future__ import annotations

import contextlib
import contextvars
import os
import re
from collections.abc import Iterator
from typing import Literal

from . import _core

OverflowMode = Literal["warn", "raise", "ignore"]


class Error(ValueError):
    """What the engine refuses. `id` tells errors apart, as "tolvane:array:shape"."""

    def __init__(self, id: str, text: str) -> None:
        super().__init__(id, text)
        self.id = id
        self.text = text

    def __str__(self) -> str:
        return self.text


class KindError(Error, TypeError):
    """An operand of the wrong kind: a float that doesn't fit the words, a complex value for a real array."""


class IndexError(Error, __builtins__["IndexError"] if isinstance(__builtins__, dict) else __builtins__.IndexError):  # type: ignore[misc]
    """An element or an axis that an array doesn't have."""


class DivisionError(Error, ZeroDivisionError):
    """A divisor of zero."""


class OverflowWarning(RuntimeWarning):
    """Values overflowed at a place: its `name`, and the `count` of those that did, among `values`."""

    def __init__(self, name: str, count: int, values: int, format: str) -> None:
        super().__init__(name, count, values, format)
        self.name = name
        self.count = count
        self.values = values
        self.format = format

    def __str__(self) -> str:
        place = f'"{self.name}" ({self.format})' if self.name != self.format else self.format
        return f"{self.count} of {self.values} values overflowed in {place}"


class OverflowError(Error, ArithmeticError):
    """Values overflowed while `errors(overflow="raise")` was in force."""

    def __init__(self, name: str, count: int, values: int, format: str) -> None:
        Error.__init__(self, "tolvane:overflow", str(OverflowWarning(name, count, values, format)))
        self.args = (name, count, values, format)
        self.name = name
        self.count = count
        self.values = values
        self.format = format


_KINDS: dict[str, type[Error]] = {
    "tolvane:array:constant": KindError,
    "tolvane:array:complex": KindError,
    "tolvane:array:index": IndexError,
    "tolvane:array:axis": IndexError,
    "tolvane:array:division": DivisionError,
}


def _make(id: str, text: str) -> Error:
    # What the engine says to C++ programs, in this language.
    text = re.sub(r'fixed_array\(value, "([^"]*)"\)', r"tolvane.array(value, '\1')", text)
    text = re.sub(r"\{\.(\w+) = true\}", r"tolvane.recording(\1=True)", text)
    text = text.replace(", or write an exact_value", "").replace("proposal_rule::keep_fraction", "keep='fraction'")
    text = text.replace("call set_most_bits", "call tolvane.set_most_bits")
    return _KINDS.get(id, Error)(id, text)


def _overflowed(name: str, count: int, values: int, format: str, is_error: bool) -> Warning | Exception:
    return (OverflowError if is_error else OverflowWarning)(name, count, values, format)


_MODES: tuple[OverflowMode, ...] = ("ignore", "warn", "raise")
_mode: contextvars.ContextVar[int] = contextvars.ContextVar("tolvane_overflow", default=1)

_core.set_errors(_make)
_core.set_context(_mode, _overflowed, os.path.dirname(os.path.abspath(__file__)) + os.sep)


@contextlib.contextmanager
def errors(*, overflow: OverflowMode) -> Iterator[None]:
    """What happens in a `with` when values overflow: "warn" (as without it), "raise" or "ignore".

    The mode belongs to the context (`contextvars`), so to a thread or a task. When it raises, there is no result, and
    what would have been written is as before. Warnings are of class `OverflowWarning` and name the line of the caller.

    >>> import tolvane as tv
    >>> with tv.errors(overflow='raise'):
    ...     tv.array([2.0, 0.5], 's8,7', name='x')
    Traceback (most recent call last):
    ...
    tolvane._errors.OverflowError: 1 of 2 values overflowed in "x" (s8,7 nearest saturate)

    Raises ValueError for another mode.
    """
    if overflow not in _MODES:
        raise ValueError(f"overflow is 'warn', 'raise' or 'ignore', not {overflow!r}.")
    token = _mode.set(_MODES.index(overflow))
    try:
        yield
    finally:
        _mode.reset(token)
