"""Which place lost most, where two runs part, and what all of it cost."""

from __future__ import annotations

import dataclasses
from typing import Any, overload

import numpy as np

from . import _core
from ._array import Array, ArrayLike, _compared, _fraction, _operand, _wrap
from ._core import Format
from ._log import Log, Table


@dataclasses.dataclass(frozen=True)
class Explanation:
    """How one place differs from that of a reference. Powers are means of squares.

    `signal` is that of the reference, `arrived` the power of the difference in what came to the place, `added` what the
    place itself did, overflows as well, and `total` the difference behind it. `added_db` and `total_db` are ratios of
    the signal to them in dB. `new_part` is the part of the noise that is new here, from 0 to 1. Without samples on both
    sides, or with another number of values, `arrived`, `total`, `total_db` and `new_part` are None, and the signal is
    that of the log. `file` and `line` are the first call that quantized here.
    """

    place: str
    format: Format
    signal: float
    arrived: float | None
    added: float
    total: float | None
    added_db: float
    total_db: float | None
    new_part: float | None
    values: int
    overflows: int
    bits_needed: int
    bits_to_spare: int
    file: str
    line: int

    @property
    def code(self) -> str:
        """The line of the program itself, without spaces around it; empty where it isn't known."""
        return _code(self.file, self.line)


@dataclasses.dataclass(frozen=True)
class Difference:
    """How a place, or an array, differs between two runs.

    `differences` counts the values that differ among those that both have. `first` is the index of the first one: a
    number in the order of a place's values, or a tuple for arrays; `one` and `other` are the values there, None where a
    run has no more. `greatest` is the greatest magnitude of a difference.
    """

    place: str
    values: int
    other_values: int
    differences: int
    first: int | tuple[int, ...]
    one: Any
    other: Any
    greatest: Any
    file: str = ""
    line: int = 0

    @property
    def code(self) -> str:
        """The line of the program itself, without spaces around it; empty where it isn't known."""
        return _code(self.file, self.line)


def _code(file: str, line: int) -> str:
    import linecache

    return linecache.getline(file, line).strip() if line else ""


def _with_code(text: str, rows: list[Any]) -> str:
    """The table of the engine with the lines of the program behind theirs."""
    lines = text.splitlines()
    codes = ["", *(row.code for row in rows)]
    if not any(codes):
        return text
    width = max(map(len, lines))
    return "".join(f"{one.ljust(width)}  {code}".rstrip() + "\n" for one, code in zip(lines, codes))


def explain(log: Log, reference: Log) -> Table:
    """Which place lost most: a row for each place of a log, the one that adds most noise to its signal first.

    The reference is a log of the same code, as a rule with override="double"; places are found in it by their names.
    With samples=True on both, a row tells how much noise came to the place, how much it added, and the ratio of the
    signal to all of it; a log that keeps only errors=True tells what each place added. Prints as a table with the lines
    of the program; `csv()` has all numbers.

    >>> import numpy as np
    >>> import tolvane as tv
    >>> def run():
    ...     x = tv.array(np.sin(np.arange(100)), 's16,15', name='x')
    ...     tv.cast(x * x, 's6,5', name='square')
    >>> with tv.recording(samples=True, override='double') as reference:
    ...     run()
    >>> with tv.recording(samples=True) as log, tv.errors(overflow='ignore'):
    ...     run()
    >>> [(row.place, round(row.total_db), round(row.new_part, 3)) for row in tv.explain(log, reference)]
    [('square', 35, 1.0), ('x', 98, 1.0)]

    Raises Error "tolvane:log:options" for a log with neither errors nor samples.
    """
    rows, text = _core.explain(log._core_log(), reference._core_log())
    made = []
    for place, format, is_matched, signal, arrived, added, total, added_db, total_db, *rest in rows:
        noise = added + arrived
        made.append(
            Explanation(
                place,
                format,
                signal,
                arrived if is_matched else None,
                added,
                total if is_matched else None,
                added_db,
                total_db if is_matched else None,
                (added / noise if noise > 0 else 0.0) if is_matched else None,
                *rest,
            )
        )
    return Table(made, _with_code(text, made))


@overload
def diff(a: Log, b: Log) -> Table: ...
@overload
def diff(a: ArrayLike, b: ArrayLike) -> Table: ...
def diff(a: Any, b: Any) -> Table:
    """Where two runs part: a row for each place, or for the arrays, that differs; empty if nothing does.

    Of two logs made with samples=True, the place that was the first to differ comes first, with the first value that
    differs there, how many do, the greatest difference and the line of the program: the cause is on top. Of two arrays
    of one shape, values are compared exactly, whatever the types; either may be numbers of another kind.

    >>> import tolvane as tv
    >>> x = tv.array([0.5, 0.25, -0.75], 's8,7', name='x')
    >>> (row,) = tv.diff(x, [0.5, 0.3, -0.75])
    >>> row.first, row.differences, float(row.one), float(row.other)
    ((1,), 1, 0.25, 0.3)

    Raises Error "tolvane:log:options" for logs without samples, ValueError for arrays of different shapes.
    """
    if isinstance(a, Log) and isinstance(b, Log):
        rows, text = _core.differences(a._core_log(), b._core_log())
        made = []
        for place, values, others, count, first, one, other, greatest, file, line in rows:
            made.append(
                Difference(
                    place,
                    values,
                    others,
                    count,
                    first,
                    _fraction(one) if first < values else None,
                    _fraction(other) if first < others else None,
                    _fraction(greatest),
                    file,
                    line,
                )
            )
        return Table(made, _with_code(text, made))
    if isinstance(a, Log) or isinstance(b, Log):
        raise TypeError("A log is compared with a log, and an array with an array.")
    return _of_arrays(_wrap(_operand(a)), _wrap(_operand(b)), a, b)


def _of_arrays(a: Array, b: Array, *given: Any) -> Table:
    if a.shape != b.shape:
        raise ValueError(f"Arrays of shapes {a.shape} and {b.shape} have no elements in common; compare parts of them.")
    mask = ~np.asarray(_compared(_core.equal, a._c, b._c))
    places = np.flatnonzero(mask)
    if not places.size:
        return Table([], "")
    first = tuple(int(one) for one in np.unravel_index(places[0], mask.shape))
    name = next((one.name for one in given if isinstance(one, Array) and one.name), "")
    both = [_element(x[first]) for x in (a, b)]
    moved = a - b
    parts = [moved.real, moved.imag] if moved.iscomplex else [moved]
    greatest = max(abs(part).max().item() for part in parts)
    row = Difference(name, a.size, b.size, int(places.size), first, both[0], both[1], greatest)
    at = first[0] if len(first) == 1 else first
    text = (
        f"{name or 'arrays'}: {row.differences} of {row.values} differ, the first at {at}: {_short(row.one)} and "
        f"{_short(row.other)}; by up to {_short(greatest)}\n"
    )
    return Table([row], text)


def _element(x: Array) -> Any:
    return (x.real.item(), x.imag.item()) if x.iscomplex else x.item()


def _short(value: Any) -> str:
    return str(tuple(map(float, value))) if isinstance(value, tuple) else f"{float(value):.6g}"


def signal_to_noise_db(reference: ArrayLike, x: Array) -> float:
    """The ratio in dB of the squares of a reference to those of the differences between it and x, element by element.

    Infinite if all are equal, minus infinity for a reference of zeros. The reference is an array or numbers of numpy.

    >>> import numpy as np
    >>> import tolvane as tv
    >>> ideal = np.sin(np.arange(1000) * 0.1)
    >>> round(tv.signal_to_noise_db(ideal, tv.array(ideal, 's13,11')), 1)
    74.1

    Raises Error "tolvane:array:shape" for sizes that differ.
    """
    if isinstance(reference, Array):
        return _core.signal_to_noise_db(reference._c, x._c)
    source = np.asarray(reference)
    if source.dtype.kind in "fiub" and source.dtype.itemsize <= 8:
        return _core.signal_to_noise_of_doubles_db(np.ascontiguousarray(source, np.float64), x._c)
    return _core.signal_to_noise_db(_operand(reference), x._c)
