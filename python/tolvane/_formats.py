"""Formats of texts and parts."""

from __future__ import annotations

from ._array import FormatLike
from ._core import Format


def format(
    format: FormatLike, rounding: str | None = None, overflow: str | None = None, name: str | None = None
) -> Format:
    """A format of a text, or of a type and modes: format('s16,15 convergent wrap', name='y')."""
    return Format(format, rounding, overflow, name)
