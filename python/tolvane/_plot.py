"""Pictures of logs, by matplotlib."""

from __future__ import annotations

import math
from fractions import Fraction
from typing import Any

from ._log import Place


def _exponent(value: Fraction) -> float | None:
    """The power of two that a magnitude reaches; of numbers that no double holds as well."""
    if value == 0:
        return None
    above, below = abs(value.numerator), value.denominator
    shift = above.bit_length() - below.bit_length()
    return shift + math.log2(above / (below << shift) if shift >= 0 else (above << -shift) / below)


def plot(places: list[Place], axes: Any = None) -> Any:
    """A row for each place, over powers of two: the bits of its format as a box, the magnitudes that came as a line or,
    where the log kept them, as bars, and the bits that were lacking in red. Magnitudes far below the last bit share a
    bar."""
    if axes is None:
        try:
            from matplotlib import pyplot
        except ImportError as missing:
            raise ImportError("Pictures need matplotlib: install python3-matplotlib, or pip install matplotlib.") from missing
        _, axes = pyplot.subplots(figsize=(8, 1 + 0.6 * len(places)), constrained_layout=True)
    for row, place in enumerate(places):
        type = place.format.type
        least, greatest = -type.fraction, type.bits - type.fraction - (1 if type.signed else 0)
        axes.barh(row, greatest - least, left=least, height=0.8, color="#dde6f0", edgecolor="#7090b0")
        needed = greatest - place.bits_to_spare
        if needed > greatest:
            axes.barh(row, needed - greatest, left=greatest, height=0.8, color="#f4c7c3", edgecolor="#c03028")
        if place.histogram is not None and place.histogram.powers:
            counts: dict[int, int] = {}
            for exponent, both in place.histogram.powers.items():
                shown = max(exponent, least - 4)
                counts[shown] = counts.get(shown, 0) + sum(both)
            most = max(counts.values())
            for exponent, count in counts.items():
                axes.bar(exponent + 0.5, -0.7 * count / most, bottom=row + 0.38, width=0.9, color="#30608c")
        else:
            reached = [_exponent(value) for value in place.before]
            top = max((one for one in reached if one is not None), default=None)
            if top is not None:
                axes.plot([least, top], [row, row], color="#30608c", linewidth=3, solid_capstyle="butt")
        if place.overflows:
            axes.annotate(
                f"{place.overflows} overflowed", (max(needed, greatest), row), xytext=(-4, 0), textcoords="offset points",
                va="center", ha="right", color="#c03028", annotation_clip=False,
            )  # fmt: skip
    axes.set_yticks(range(len(places)), [f"{place.name}\n{place.format.type}" for place in places])
    axes.set_ylim(len(places) - 0.4, -0.6)
    axes.set_xlabel("power of two")
    axes.xaxis.get_major_locator().set_params(integer=True)
    low, high = axes.get_xlim()
    axes.set_xlim(high + 0.2 * (high - low), low - 0.02 * (high - low))
    return axes
