"""Formats of texts and parts."""

from __future__ import annotations

from ._array import FormatLike
from ._core import Format


def format(
    format: FormatLike, rounding: str | None = None, overflow: str | None = None, name: str | None = None
) -> Format:
    """A format of a text, or of a type and modes: what a value is forced into at one place of a design.

    >>> import tolvane as tv
    >>> f = tv.format('s16,15 convergent wrap', name='y')
    >>> f.type.bits, f.type.fraction, f.rounding, f.overflow, f.name
    (16, 15, 'convergent', 'wrap', 'y')

    Raises Error "tolvane:format:text" for texts that are no format, ValueError for modes that don't exist.
    """
    return Format(format, rounding, overflow, name)
