"""Logs: what happens at every place where values are quantized."""

from __future__ import annotations

import csv
import dataclasses
import fractions
import io
from types import TracebackType
from typing import Any, Literal

import numpy as np

from . import _core
from ._array import _fraction, _from_memory
from ._core import Format

Range = tuple[fractions.Fraction, fractions.Fraction]


@dataclasses.dataclass(frozen=True)
class Histogram:
    """How many values are zero, and for each exponent how many, above and below zero, have magnitudes from
    2**exponent up to twice that."""

    zeros: int
    powers: dict[int, tuple[int, int]]


@dataclasses.dataclass(frozen=True)
class ErrorSums:
    """What quantizing did: the word minus the exact value, summed exactly."""

    greatest: fractions.Fraction
    sum: fractions.Fraction
    squares: fractions.Fraction
    signal_squares: fractions.Fraction


@dataclasses.dataclass(frozen=True)
class Place:
    """What a log knows of one place.

    `before` is the range of the exact values that came, `after` that of the words that were made of them. `bits_needed`
    are those of a word in which no value would have overflowed. `file` and `line` are the first call that quantized
    here, `overflow_file` and `overflow_line` the first that overflowed; "" and 0 where they aren't known.
    """

    name: str
    format: Format
    before: Range
    after: Range
    values: int
    overflows: int
    underflows: int
    bits_needed: int
    bits_to_spare: int
    file: str
    line: int
    overflow_file: str
    overflow_line: int
    histogram: Histogram | None
    errors: ErrorSums | None


@dataclasses.dataclass(frozen=True)
class Proposal:
    """A format in which no value of a place overflows."""

    place: str
    current: Format
    proposed: Format


@dataclasses.dataclass(frozen=True)
class Comparison:
    """How a place compares with that of a reference: means of squares, and their ratio in dB."""

    place: str
    format: Format
    noise: float
    signal: float
    ratio_db: float
    overflows: int
    before: Range
    reference_before: Range | None


def _range(pairs: Any) -> Range:
    return _fraction(pairs[0]), _fraction(pairs[1])


def _place(record: dict[str, Any]) -> Place:
    record["before"] = _range(record["before"])
    record["after"] = _range(record["after"])
    if record["histogram"] is not None:
        record["histogram"] = Histogram(*record["histogram"])
    if record["errors"] is not None:
        record["errors"] = ErrorSums(*map(_fraction, record["errors"]))
    return Place(**record)


class Log:
    """Hears of every place where values are quantized while its `with` lasts, and keeps it. Made by `recording`."""

    def __init__(self, histogram: bool, errors: bool, samples: bool, override: str | None) -> None:
        if override not in (None, "double"):
            raise ValueError(f"override is 'double' or None, not {override!r}.")
        self._options = (histogram, errors, samples, override == "double")
        self._c: _core.Recording | None = None

    def __enter__(self) -> Log:
        if self._c is not None:
            raise RuntimeError("A log records once; make another one by recording().")
        self._c = _core.Recording(*self._options)
        return self

    def __exit__(
        self, kind: type[BaseException] | None, value: BaseException | None, trace: TracebackType | None
    ) -> None:
        # Variables hand over what they noted when their thread reads the log.
        core = self._core_log()
        core.places()
        core.stop()

    def _core_log(self) -> _core.Recording:
        if self._c is None:
            raise RuntimeError("The log hasn't begun: with tolvane.recording() as log: ...")
        return self._c

    def places(self) -> list[Place]:
        """All places, in the order in which they were first heard of."""
        return [_place(record) for record in self._core_log().places()]

    def __getitem__(self, name: str) -> Place:
        """One place by its name."""
        return _place(self._core_log().place(name))

    def samples(self, name: str) -> tuple[Any, Any]:
        """The values that came to a place and the words that were made of them, as two vectors of the nearest doubles,
        in order. The log has to be made with samples=True; others raise Error, as a place that it lacks does."""
        before, after = self._core_log().samples(name)
        return _from_memory(before, np.float64, (-1,)), _from_memory(after, np.float64, (-1,))

    def report(self) -> str:
        """A table for people: ranges before and after, bits needed and to spare, counts, lines."""
        return self._core_log().report()

    def csv(self) -> str:
        """All numbers exactly, as comma-separated values with a line of names."""
        return self._core_log().csv()

    def json(self) -> str:
        """The same as JSON."""
        return self._core_log().json()

    def plot(self, axes: Any = None) -> Any:
        """Draws all places over powers of two, the highest bits on the left, and returns the axes. Needs matplotlib."""
        from ._plot import plot

        return plot(self.places(), axes)

    def clear(self) -> None:
        """Forgets all places."""
        self._core_log().clear()

    def __str__(self) -> str:
        return self.report()

    def _repr_html_(self) -> str:
        from . import _html

        return _html.log(self)


class Table(list[Any]):
    """Rows that print as a table. `csv()` is the same for other programs."""

    def __init__(self, rows: list[Any], text: str) -> None:
        super().__init__(rows)
        self._text = text

    def csv(self) -> str:
        """The rows as comma-separated values, with a line of names."""
        out = io.StringIO()
        if self:
            names = [field.name for field in dataclasses.fields(self[0])]
            writer = csv.writer(out, lineterminator="\n")
            writer.writerow(names)
            writer.writerows([getattr(row, name) for name in names] for row in self)
        return out.getvalue()

    def __str__(self) -> str:
        return self._text

    def _repr_html_(self) -> str:
        from . import _html

        return _html.rows(self)


def recording(
    *,
    histogram: bool = False,
    errors: bool = False,
    samples: bool = False,
    override: Literal["double"] | None = None,
) -> Log:
    """A log for a `with`: what happens at every place where values are quantized meanwhile.

    `histogram` and `errors` keep more of each place, which costs time; `samples` keeps every value, before and after,
    for `explain` and `diff`, which costs memory. With override="double" formats don't act: values keep more than the
    precision of doubles, so that the same code is its own reference.

    >>> import tolvane as tv
    >>> with tv.recording() as log:
    ...     x = tv.array([0.1, 0.5], 's8,7', name='x')
    >>> log['x'].bits_needed, log['x'].values
    (8, 2)

    Raises ValueError for another override.
    """
    return Log(histogram, errors, samples, override)


def propose(log: Log, keep: Literal["length", "fraction"] = "length", margin: int = 0) -> Table:
    """Formats for all places, by the ranges of their exact values, with `margin` more bits than these need.

    keep="length" moves the point, and keep="fraction" makes words as long as values need. Prints as a table.
    """
    rows, text = _core.propose(log._core_log(), keep, margin)
    return Table([Proposal(*row) for row in rows], text)


def compare(log: Log, reference: Log) -> Table:
    """The places of a log beside those of a reference, the greatest loss first; both need errors=True. Prints as a
    table."""
    rows, text = _core.compare(log._core_log(), reference._core_log())
    made = []
    for row in rows:
        after = None if row[-1] is None else _range(row[-1])
        made.append(Comparison(*[*row[:6], _range(row[6]), after]))
    return Table(made, text)
