"""Formats of texts and parts."""

from __future__ import annotations

from ._array import FormatLike
from ._core import Format, Type


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


def _repr_html_(self: Type | Format) -> str:
    from . import _html

    return _html.type_or_format(self)


for _class in (Type, Format):
    setattr(_class, "_repr_html_", _repr_html_)
