"""Filters with a format at every node, and words as files."""

from __future__ import annotations

import os
from collections.abc import Sequence
from typing import Any, Literal, Union

import numpy as np

from . import _core
from ._array import Array, FormatLike, _operand, _wrap
from ._core import FilterState, Format

Form = Literal["direct1", "direct2", "transposed1", "transposed2"]
_NODES = (
    "coefficients_b",
    "coefficients_a",
    "section_input",
    "product_b",
    "product_a",
    "sum_b",
    "sum_a",
    "state",
    "section_output",
)


def _options(formats: dict[str, Any], form: str, negate_a: bool, gains: Array | None, name: str) -> dict[str, Any]:
    for node in formats:
        if node not in _NODES:
            raise TypeError(f"A filter has no node '{node}'; it has {', '.join(_NODES)}.")
    core = None if gains is None else _operand(gains)
    return {**formats, "form": form, "negate_a": negate_a, "gains": core, "name": name}


def lfilter(
    b: Any,
    a: Any,
    x: Array,
    *,
    form: Form = "direct1",
    negate_a: bool = False,
    zi: FilterState | None = None,
    name: str = "",
    **formats: FormatLike | None,
) -> Array:
    """Filters along the last axis by coefficients b and a, with a0 = 1.

    Formats are given by the names of nodes: coefficients_b, coefficients_a, section_input, product_b, product_a, sum_b,
    sum_a, state and section_output; a node without one is exact. `negate_a` negates the coefficients a before they are
    quantized. `zi`, a FilterState, is where the filter begins, and then holds what the samples after these need.
    """
    options = _options(formats, form, negate_a, None, name)
    sides = [side._c if isinstance(side, Array) else np.asarray(side, float).ravel().tolist() for side in (b, a)]
    return _wrap(_core.lfilter(sides[0], sides[1], x._c, zi, options))


def sosfilt(
    sos: Any,
    x: Array,
    *,
    form: Form = "direct1",
    negate_a: bool = False,
    gains: Array | None = None,
    zi: FilterState | None = None,
    name: str = "",
    **formats: FormatLike | None,
) -> Array:
    """As `lfilter`, by second-order sections b0, b1, b2, a0, a1, a2, one after the other."""
    options = _options(formats, form, negate_a, gains, name)
    sections = sos._c if isinstance(sos, Array) else np.asarray(sos, float).reshape(-1, 6).tolist()
    return _wrap(_core.sosfilt(sections, x._c, zi, options))


Style = Literal["hex", "bin", "c", "csv"]
Path = Union[str, "os.PathLike[str]"]
Signals = Union[FormatLike, Sequence[FormatLike]]


def _file_options(style: str | None, **others: Any) -> dict[str, Any]:
    defaults: dict[str, Any] = {
        "first_address": 0,
        "address_every": 0,
        "values": False,
        "fill_gaps": False,
        "comment": "",
        "describe": True,
        "name": "words",
    }
    return {"style": style, **defaults, **others}


def _cores(arrays: Array | Sequence[Array]) -> list[_core.FixedArray]:
    parts = [arrays] if isinstance(arrays, Array) else list(arrays)
    if not all(isinstance(one, Array) for one in parts):
        raise TypeError("Words are those of arrays: tolvane.array(values, 's16,15'), or a list of such.")
    return [one._c for one in parts]


def write_words(
    path: Path,
    arrays: Array | Sequence[Array],
    *,
    style: Style | None = None,
    first_address: int = 0,
    address_every: int = 0,
    values: bool = False,
    comment: str = "",
    describe: bool = True,
    name: str = "words",
) -> None:
    """Writes words for simulators of hardware, C programs and spreadsheets.

    The style is that of the end of the path, ".hex", ".bin", ".h" or ".csv", unless one is given. Several arrays share
    the words of a memory, the first one on top. A failed write leaves the file as it was.
    """
    options = _file_options(
        style,
        first_address=first_address,
        address_every=address_every,
        values=values,
        comment=comment,
        describe=describe,
        name=name,
    )
    _core.write_words(os.fspath(path), _cores(arrays), options)


def words_text(
    arrays: Array | Sequence[Array],
    *,
    style: Style | None = None,
    first_address: int = 0,
    address_every: int = 0,
    values: bool = False,
    comment: str = "",
    describe: bool = True,
    name: str = "words",
) -> str:
    """The text that a file of words would have."""
    options = _file_options(
        style,
        first_address=first_address,
        address_every=address_every,
        values=values,
        comment=comment,
        describe=describe,
        name=name,
    )
    return _core.words_text(_cores(arrays), options)


def _read(read: Any, source: str, signals: Any, options: dict[str, Any], iscomplex: bool) -> Any:
    if isinstance(signals, (list, tuple)):
        return [_wrap(one) for one in read(source, [(one, iscomplex) for one in signals], options)]
    return _wrap(read(source, [(signals, iscomplex)], options)[0])


def read_words(
    path: Path,
    format: Signals,
    *,
    style: Style | None = None,
    first_address: int = 0,
    fill_gaps: bool = False,
    iscomplex: bool = False,
) -> Any:
    """Reads words from a file, into one array, or one for each of a list of formats."""
    options = _file_options(style, first_address=first_address, fill_gaps=fill_gaps)
    return _read(_core.read_words, os.fspath(path), format, options, iscomplex)


def words_from_text(
    text: str,
    format: Signals,
    *,
    style: Style | None = None,
    first_address: int = 0,
    fill_gaps: bool = False,
    iscomplex: bool = False,
) -> Any:
    """As `read_words`, from a text."""
    options = _file_options(style, first_address=first_address, fill_gaps=fill_gaps)
    return _read(_core.words_from_text, text, format, options, iscomplex)


def _digits(texts: str | Sequence[str], base: int, format: FormatLike, name: str | None) -> Array:
    all = [texts] if isinstance(texts, str) else list(texts)
    core = _core.from_digits(all, base, format if name is None else Format(format, name=name))
    return _wrap(core.reshaped(()) if isinstance(texts, str) else core)


def from_hex(texts: str | Sequence[str], format: FormatLike, name: str | None = None) -> Array:
    """An array of words in hexadecimal digits."""
    return _digits(texts, 16, format, name)


def from_bin(texts: str | Sequence[str], format: FormatLike, name: str | None = None) -> Array:
    """An array of words in binary digits."""
    return _digits(texts, 2, format, name)
