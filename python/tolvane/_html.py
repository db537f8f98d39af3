"""What notebooks show of arrays, formats, logs and tables: small tables of HTML, readable on dark and on light."""

from __future__ import annotations

import decimal
import html
from collections.abc import Callable, Iterable, Sequence
from fractions import Fraction
from typing import TYPE_CHECKING, Any

import numpy as np

from ._core import Format, Type

if TYPE_CHECKING:
    from ._array import Array
    from ._floats import FloatArray
    from ._log import Log, Place
    from ._sweep import SweepTable

# Colours that differ enough from black and from white; everything else is the page's.
_LINE = "1px solid rgba(128,128,128,.35)"
_RED = "#d9534f"
_SHADE = "rgba(128,128,128,.12)"
_TABLE = "border-collapse:collapse;font-size:.9em"
_ROWS, _COLUMNS = 6, 10


def _text(value: Any) -> str:
    return html.escape(str(value))


def _table(head: Sequence[str], rows: Iterable[Sequence[str]], caption: str = "") -> str:
    """A table of cells that are HTML already; numbers on the right, as most cells are."""
    style = f"border:0;border-bottom:{_LINE};padding:.15em .6em;text-align:right;white-space:nowrap"
    lines = [f'<div style="overflow-x:auto"><table style="{_TABLE}">']
    if caption:
        lines.append(f'<caption style="caption-side:top;text-align:left;padding:.2em .6em">{caption}</caption>')
    if head:
        heads = "".join(f'<th style="{style};background:{_SHADE}">{cell}</th>' for cell in head)
        lines.append(f"<thead><tr>{heads}</tr></thead>")
    lines.append("<tbody>")
    for row in rows:
        lines.append("<tr>" + "".join(f'<td style="{style}">{cell}</td>' for cell in row) + "</tr>")
    lines.append("</tbody></table></div>")
    return "".join(lines)


def _code(text: Any) -> str:
    return f"<code>{_text(text)}</code>"


def number(value: Fraction) -> str:
    """Six significant digits, of numbers that no double holds as well."""
    try:
        near = float(value)
        if near or not value:
            return f"{near:.6g}"
    except OverflowError:
        pass
    with decimal.localcontext() as context:
        context.prec = 6
        return str((decimal.Decimal(value.numerator) / value.denominator).normalize()).lower()


def _element(x: Array) -> str:
    if x.iscomplex:
        imag = number(x.imag.item())
        return _text(f"{number(x.real.item())}{'' if imag.startswith('-') else '+'}{imag}j")
    word = "" if x.type.bits > 128 else f' title="word {x.hex()}"'
    return f"<span{word}>{_text(number(x.item()))}</span>"


def _ends(size: int, most: int) -> list[int | None]:
    """The indices to show of an axis, None where some are left out."""
    if size <= most:
        return list(range(size))
    return [*range(most - 2), None, size - 1]


def _elements(shape: tuple[int, ...], caption: str, element: Callable[[tuple[int, ...]], str]) -> str:
    """The first elements and the last one; of more than two axes the first matrix."""
    if 0 in shape:
        return f"<div>{caption}</div>"
    first = (0,) * max(0, len(shape) - 2)
    if first:
        caption += f", of which [{'0, ' * len(first)}...]"
    if not shape:
        return _table([], [[element(())]], caption)
    columns = _ends(shape[-1], _COLUMNS)
    head = ["…" if j is None else str(j) for j in columns]
    if len(shape) == 1:
        return _table(head, [["…" if j is None else element((j,)) for j in columns]], caption)
    rows = []
    for i in _ends(shape[-2], _ROWS):
        cells = ["…" if i is None or j is None else element((*first, i, j)) for j in columns]
        rows.append(["…" if i is None else f"<b>{i}</b>", *cells])
    return _table(["", *head], rows, caption)


def _caption(x: Array | FloatArray, *more: str) -> str:
    name = f"<b>{_text(x._c.name)}</b> " if x._c.name else ""
    size = " × ".join(map(str, x.shape)) if len(x.shape) != 1 else f"{x.size} element{'s' * (x.size != 1)}"
    return ", ".join(part for part in (f"{name}{_code(x.type)}", size, *more) if part)


def array(x: Array) -> str:
    """Type, shape and name over some elements. The words show under the pointer."""
    caption = _caption(x, "complex") if x.iscomplex else _caption(x)
    return _elements(x.shape, caption, lambda index: _element(x[index]))


def float_array(x: FloatArray) -> str:
    """As `array`, of floats."""
    values = np.asarray(x)
    return _elements(x.shape, _caption(x), lambda index: _text(f"{values[index]:.6g}"))


def type_or_format(one: Type | Format) -> str:
    """The words of a format: their bits, their range and step, and what happens to values."""
    type = one if isinstance(one, Type) else one.type
    greatest = Fraction((1 << (type.bits - 1 if type.signed else type.bits)) - 1) * Fraction(2) ** -type.fraction
    least = -Fraction(2) ** (type.bits - 1 - type.fraction) if type.signed else Fraction(0)
    whole = type.bits - type.fraction - int(type.signed)
    bits = f"{type.bits}: {'1 sign, ' if type.signed else ''}{whole} before the point, {type.fraction} after"
    rows = [["bits", bits]]
    rows += [["range", _text(f"{number(least)} to {number(greatest)}")], ["step", f"2<sup>{-type.fraction}</sup>"]]
    name = ""
    if isinstance(one, Format):
        rows += [["rounding", _text(one.rounding)], ["overflow", _text(one.overflow)]]
        name = f"<b>{_text(one.name)}</b> " if one.name and one.name != one.text else ""
    return _table([], rows, f"{name}{_code(type)}")


def _bar(place: Place) -> str:
    """How many of the bits are in use: a bar, with the lacking ones in red."""
    bits = place.format.type.bits
    needed = place.bits_needed
    whole = max(bits, needed, 1)
    width = "display:inline-block;height:.8em;vertical-align:middle"
    used, spare, lacking = min(bits, needed), max(0, bits - needed), max(0, needed - bits)
    colours = ((lacking, _RED), (spare, "rgba(128,128,128,.25)"), (used, "#5b8fc7"))
    inner = "".join(
        f'<span style="{width};width:{count * 100 / whole:.4g}%;background:{colour}"></span>'
        for count, colour in colours
        if count
    )
    return f'<span style="display:inline-block;width:6em;white-space:nowrap;line-height:0">{inner}</span>'


def _red(text: str, is_red: bool) -> str:
    return f'<b style="color:{_RED}">{text}</b>' if is_red else text


def log(log: Log) -> str:
    """A row for each place: the range before and after quantizing, bits needed and to spare, what overflowed and where."""
    try:
        places = log.places()
    except RuntimeError as unready:
        return f"<div>{_text(unready)}</div>"
    if not places:
        return "<div>The log has heard of no place yet.</div>"
    head = ["place", "format", "before", "after", "bits needed", "", "values", "overflows", "underflows", "first"]
    rows = []
    for place in places:
        file = place.overflow_file.rsplit("/", 1)[-1]
        rows.append(
            [
                f"<b>{_text(place.name)}</b>",
                _code(place.format.text),
                *(_text(f"{number(one[0])} … {number(one[1])}") for one in (place.before, place.after)),
                _red(f"{place.bits_needed} of {place.format.type.bits}", place.bits_to_spare < 0),
                _bar(place),
                str(place.values),
                _red(str(place.overflows), place.overflows > 0),
                str(place.underflows),
                _text(f"{file}:{place.overflow_line}" if place.overflows and file else ""),
            ]
        )
    return _table(head, rows)


def sweep_table(table: SweepTable) -> str:
    """The rows, of long tables the first and the last ones; names of the grid are in bold."""
    from ._sweep import _cell

    head = [_text(name) for name in table.columns]
    rows = []
    for i in _ends(len(table), 25):
        if i is None:
            rows.append(["…" for _ in head])
            continue
        cells = [_text(_cell(table.rows[i].get(name))) for name in table.columns]
        rows.append(
            [
                f"<b>{cell}</b>" if name in table.point_columns else _red(cell, True) if name == "error" and cell else cell
                for name, cell in zip(table.columns, cells)
            ]
        )
    return _table(head, rows, f"{len(table)} points")


def rows(made: Sequence[Any]) -> str:
    """Rows of records with fields, as those that `propose` and `compare` make."""
    from dataclasses import fields

    if not made:
        return "<div>no rows</div>"
    names = [field.name for field in fields(made[0])]

    def cell(value: Any) -> str:
        if isinstance(value, (Format, Type)):
            return _code(value.text)
        if isinstance(value, tuple) and len(value) == 2 and all(isinstance(one, Fraction) for one in value):
            return _text(f"{number(value[0])} … {number(value[1])}")
        return _text(f"{value:.6g}" if isinstance(value, float) else "" if value is None else value)

    return _table(
        [_text(name.replace("_", " ")) for name in names],
        [[cell(getattr(row, name)) for name in names] for row in made],
    )
