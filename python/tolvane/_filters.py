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
    """Filters along the last axis by coefficients b and a, with a0 = 1, into an array of the shape of x.

    Formats are given by the names of nodes: coefficients_b, coefficients_a, section_input, product_b, product_a, sum_b,
    sum_a, state and section_output; a node without one is exact. `negate_a` negates the coefficients a before they are
    quantized. `zi`, a FilterState, is where the filter begins, and then holds what the samples after these need.

    >>> import tolvane as tv
    >>> x = tv.array([0.5, 0, 0], 's8,7')
    >>> tv.lfilter([1, 0.5], [1, -0.5], x, section_output='s12,9')
    tolvane.array([0.5 , 0.5 , 0.25], 's12,9')

    Raises Error "tolvane:filter:growth" for a feedback without a format in its loop, and others of that kind;
    TypeError for nodes that don't exist.
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
    """As `lfilter`, by second-order sections of rows b0, b1, b2, a0, a1, a2, one after the other. `gains` has a factor
    for the input of each section."""
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
    """The text that a file of words would have.

    >>> import tolvane as tv
    >>> print(tv.words_text(tv.from_words([1, -1], 's8'), describe=False), end='')
    01
    ff

    Raises Error "tolvane:words:arrays" for sizes that differ, "tolvane:words:name" for names that C doesn't have.
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
    return _core.words_text(_cores(arrays), options)


def _read(read: Any, source: str, signals: Any, options: dict[str, Any], iscomplex: bool | Sequence[bool]) -> Any:
    if not isinstance(signals, (list, tuple)):
        if not isinstance(iscomplex, (bool, np.bool_)):
            raise TypeError("One format has one iscomplex; give a list of formats for several signals.")
        return _wrap(read(source, [(signals, bool(iscomplex))], options)[0])
    is_one = isinstance(iscomplex, (bool, np.bool_))
    each = [bool(iscomplex)] * len(signals) if is_one else [bool(one) for one in np.asarray(iscomplex)]
    if len(each) != len(signals):
        raise ValueError(f"There are {len(signals)} formats and {len(each)} entries of iscomplex.")
    return [_wrap(one) for one in read(source, list(zip(signals, each)), options)]


def read_words(
    path: Path,
    format: Signals,
    *,
    style: Style | None = None,
    first_address: int = 0,
    fill_gaps: bool = False,
    iscomplex: bool | Sequence[bool] = False,
) -> Any:
    """Reads words from a file, into one vector, or into a list of them for a list of formats.

    Signals with names are found by them in tables and C headers. `iscomplex` is true for signals whose elements have
    two parts, or has an entry for each format. Addresses of a memory that have no words raise unless `fill_gaps` makes them
    zeros. Raises Error "tolvane:words:file", "tolvane:words:text" with line and column, and others of that kind.
    """
    options = _file_options(style, first_address=first_address, fill_gaps=fill_gaps)
    return _read(_core.read_words, os.fspath(path), format, options, iscomplex)


def words_from_text(
    text: str,
    format: Signals,
    *,
    style: Style | None = None,
    first_address: int = 0,
    fill_gaps: bool = False,
    iscomplex: bool | Sequence[bool] = False,
) -> Any:
    """As `read_words`, from a text.

    >>> import tolvane as tv
    >>> tv.words_from_text('01 ff', 's8')
    tolvane.array([ 1., -1.], 's8,0')
    """
    options = _file_options(style, first_address=first_address, fill_gaps=fill_gaps)
    return _read(_core.words_from_text, text, format, options, iscomplex)


def _digits(texts: str | Sequence[str], base: int, format: FormatLike, name: str | None, iscomplex: bool) -> Array:
    all = [texts] if isinstance(texts, str) else list(texts)
    core = _core.from_digits(all, base, format if name is None else Format(format, name=name), iscomplex)
    return _wrap(core.reshaped(()) if isinstance(texts, str) else core)


def from_hex(
    texts: str | Sequence[str], format: FormatLike, name: str | None = None, iscomplex: bool = False
) -> Array:
    """An array of words in hexadecimal digits, as `x.hex()` makes them; a single text makes a single element.

    A complex element is one word of twice the bits, its real part the lower half.

    >>> import tolvane as tv
    >>> tv.from_hex(['7f', '80'], 's8,7')
    tolvane.array([ 0.9921875, -1.       ], 's8,7')

    Raises Error "tolvane:words:text" for other digits, too many, or bits beyond the words.
    """
    return _digits(texts, 16, format, name, iscomplex)


def from_bin(
    texts: str | Sequence[str], format: FormatLike, name: str | None = None, iscomplex: bool = False
) -> Array:
    """As `from_hex`, of binary digits, as `x.bin()` makes them."""
    return _digits(texts, 2, format, name, iscomplex)


def from_oct(
    texts: str | Sequence[str], format: FormatLike, name: str | None = None, iscomplex: bool = False
) -> Array:
    """As `from_hex`, of octal digits."""
    return _digits(texts, 8, format, name, iscomplex)


def from_decimal(texts: str | Sequence[str], format: FormatLike, name: str | None = None) -> Array:
    """An array of decimal numbers as "-12.375e-3", each quantized once; a single text makes a single element.

    >>> import tolvane as tv
    >>> tv.from_decimal(['0.1', '-2e-1'], 's8,7')
    tolvane.array([ 0.1015625, -0.203125 ], 's8,7')

    Raises Error "tolvane:value:text" for other texts.
    """
    all = [texts] if isinstance(texts, str) else list(texts)
    core = _core.from_decimal(all, format if name is None else Format(format, name=name))
    return _wrap(core.reshaped(()) if isinstance(texts, str) else core)
