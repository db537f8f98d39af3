"""Rules of a context: what becomes of constants, and how far exact results may grow."""

from __future__ import annotations

import contextlib
import contextvars
from collections.abc import Iterator
from typing import Literal

from . import _core

Constants = Literal["exact", "best"]

_CONSTANTS: tuple[Constants, ...] = ("exact", "best")
_constants: contextvars.ContextVar[int] = contextvars.ContextVar("tolvane_constants", default=0)

_core.set_rules(_constants)


def are_constants_best() -> bool:
    return _constants.get() != 0


@contextlib.contextmanager
def rules(*, constants: Constants) -> Iterator[None]:
    """What becomes of numbers that aren't whole, in a `with`, where they stand beside fixed-point arrays and variables.

    With "exact", as without it, a float has to fit the words beside it, and TypeError is raised for others. With "best"
    it becomes a word of the array's length and sign, with the most bits after the point that leave room for it, rounded
    to nearest: the type of an array of floats is that of its greatest magnitude. Logs know the place as "constant" and
    the number. Whole numbers stay exact, and comparisons take all numbers as they are.

    The rule belongs to the context (`contextvars`), so to a thread or a task.

    >>> import tolvane as tv
    >>> x = tv.array([0.5, -0.25], 's8,7')
    >>> with tv.rules(constants='best'):
    ...     (x * 0.1).type, (x * 0.1).tolist()
    (tolvane.Type('s16,17'), [0.0498046875, -0.02490234375])

    Raises ValueError for other rules.
    """
    if constants not in _CONSTANTS:
        raise ValueError(f"constants is 'exact' or 'best', not {constants!r}.")
    token = _constants.set(_CONSTANTS.index(constants))
    try:
        yield
    finally:
        _constants.reset(token)


def set_most_bits(bits: int) -> int:
    """Sets how many bits the type of an exact result may have, 1024 unless set, and returns what it was.

    Results that would need more raise Error "tolvane:array:growth", which names the operands: what grows without bound,
    as `acc = acc + x` in a loop, is found early. The limit belongs to the process.

    >>> import tolvane as tv
    >>> before = tv.set_most_bits(20)
    >>> x = tv.array([1, 2], 's16', name='x')
    >>> x * x
    Traceback (most recent call last):
    ...
    tolvane._errors.Error: ...
    >>> _ = tv.set_most_bits(before)

    Raises ValueError for fewer than 1 or more than 65535 bits.
    """
    if not 1 <= bits <= 65535:
        raise ValueError(f"Types have 1 to 65535 bits, not {bits}.")
    return _core.set_most_bits(bits)
