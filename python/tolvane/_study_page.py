"""The pictures of the filter study, and its page: one file of HTML, with the pictures inside, light and dark."""

from __future__ import annotations

import base64
import html
import io
import math
from collections.abc import Callable
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np

from . import _html
from ._plot import plot

try:
    from matplotlib import rc_context
    from matplotlib.backends.backend_agg import FigureCanvasAgg
    from matplotlib.figure import Figure
except ImportError as missing:
    raise ImportError("Pictures need matplotlib: install python3-matplotlib, or pip install matplotlib.") from missing

if TYPE_CHECKING:
    from ._study import Study

STYLE: dict[str, Any] = {
    "font.size": 10,
    "axes.spines.top": False,
    "axes.spines.right": False,
    "axes.grid": True,
    "grid.alpha": 0.25,
    "legend.frameon": False,
    "figure.dpi": 110,
    "savefig.dpi": 110,
}
_DARK: dict[str, Any] = {
    **dict.fromkeys(
        ("text.color", "axes.labelcolor", "xtick.color", "ytick.color", "axes.edgecolor", "grid.color"), "#d8dadd"
    ),
    "figure.facecolor": "#1b1e23",
    "axes.facecolor": "#1b1e23",
    "savefig.facecolor": "#1b1e23",
}
_BLUE, _ORANGE, _RED = "#3f88c5", "#e08e2b", "#d9534f"


def _shades(count: int) -> list[Any]:
    from matplotlib import cm

    return [cm.viridis(0.25 + 0.6 * i / max(1, count - 1)) for i in range(count)]


def ratios(study: Study) -> Any:
    """The ratio over the lengths of data, a line for each length of coefficients."""
    figure = Figure(figsize=(8, 4.6), constrained_layout=True)
    axes = figure.add_subplot()
    coefficients, data, values = study.table.pivot("coefficients", "data", "snr")
    values = np.where(np.isfinite(values), values, np.nan)
    for bits, line, colour in zip(coefficients, values, _shades(len(coefficients))):
        is_chosen = bits == study.coefficients
        axes.plot(data, line, color=colour, linewidth=2.6 if is_chosen else 1.3, marker="o", markersize=3)
    # Labels at the ends of lines, moved up where they would touch each other.
    gap = 0.05 * (np.nanmax([values.max(), study.target]) - np.nanmin([values.min(), study.target]) + 1)
    last = -math.inf
    for height, bits, colour in sorted(zip(values[:, -1].tolist(), coefficients, _shades(len(coefficients)))):
        if math.isfinite(height):
            last = max(height, last + gap)
            weight = "bold" if bits == study.coefficients else "normal"
            axes.annotate(
                f"{bits}", (data[-1], height), xytext=(data[-1] + 0.02 * (data[-1] - data[0] + 1), last),
                textcoords="data", va="center", color=colour, weight=weight, annotation_clip=False,
            )  # fmt: skip
    axes.annotate(
        "coefficient\nbits", (1, 1), xycoords="axes fraction", xytext=(7, 4), textcoords="offset points", fontsize=8, va="bottom"
    )  # fmt: skip
    axes.axhline(study.target, color=_RED, linestyle="--", linewidth=1)
    axes.annotate(
        f"wanted: {study.target:g} dB", (data[0], study.target), xytext=(2, 4), textcoords="offset points", color=_RED
    )
    if math.isfinite(study.snr):
        axes.plot([study.data], [study.snr], "o", markersize=11, markerfacecolor="none", markeredgecolor=_RED, markeredgewidth=2)
    axes.set_xticks(data)
    axes.set_xlabel("bits of data words")
    axes.set_ylabel("signal-to-noise ratio [dB]")
    return figure


def responses(study: Study) -> Any:
    """The gain with exact and with rounded coefficients, and the difference where the filter lets pass."""
    from ._study import made_words, response

    rate = study.recording.rate
    hertz = np.geomspace(min(rate / 2000, study.cutoff / 20), rate * 0.499, 1200)
    exact = response(study.sections, hertz / rate)
    figure = Figure(figsize=(8, 5.4), constrained_layout=True)
    above, below = figure.subplots(2, 1, sharex=True, gridspec_kw={"height_ratios": [3, 2]})
    shorter = [bits for bits in (study.coefficients - 4, study.coefficients - 2) if bits >= 4]
    lines = [*zip(shorter, ("#a06cd5", _ORANGE)), (study.coefficients, _BLUE)]
    above.semilogx(hertz, exact, color="0.55", linewidth=4, alpha=0.6, label="exact")
    passing = exact > -6
    most = 0.0
    for bits, colour in lines:
        rounded = made_words(bits, study.data, study.whole).coefficients(study.sections)
        gain = response(rounded, hertz / rate)
        is_chosen = bits == study.coefficients
        label = f"{bits} bits{', chosen' if is_chosen else ''}"
        above.semilogx(hertz, gain, color=colour, linewidth=1.8 if is_chosen else 1.1, label=label)
        below.semilogx(hertz[passing], (gain - exact)[passing], color=colour, linewidth=1.8 if is_chosen else 1.1)
        most = max(most, float(np.abs(gain - exact)[passing].max()))
    above.axvline(study.cutoff, color=_RED, linestyle="--", linewidth=1)
    above.annotate(f"{study.cutoff:g} Hz", (study.cutoff, 4), xytext=(4, 0), textcoords="offset points", color=_RED)
    above.set_ylim(-100, 12)
    above.set_ylabel("gain [dB]")
    above.legend(loc="lower left")
    below.set_ylim(-min(most, 6) * 1.1 - 1e-6, min(most, 6) * 1.1 + 1e-6)
    below.set_ylabel("error down to\n-6 dB [dB]")
    below.set_xlabel("frequency [Hz]")
    below.set_xlim(hertz[0], hertz[-1])
    return figure


def ranges(study: Study) -> Any:
    """What each place needs and what it has: with all values taken for fractions, and in the chosen words."""
    first, last = study.first.places(), study.last.places()
    figure = Figure(figsize=(11, 1.6 + 0.42 * len(last)), constrained_layout=True)
    left, right = figure.subplots(1, 2, sharex=True)
    for axes, places, title in (
        (left, first, "Before: every word holds values below 1"),
        (right, last, "After: points placed by the measured ranges"),
    ):
        plot(places, axes)
        axes.set_title(title, fontsize=11)
        axes.grid(axis="y", visible=False)
        axes.tick_params(axis="y", labelsize=8, length=0)
    low = min(-place.format.type.fraction for place in [*first, *last])
    high = max(
        place.format.type.bits - place.format.type.fraction + max(0, -place.bits_to_spare) for place in [*first, *last]
    )
    left.set_xlim(high + 0.36 * (high - low), low - 0.02 * (high - low))
    return figure


PICTURES: dict[str, tuple[Callable[[Study], Any], str, str]] = {
    "snr": (
        ratios,
        "Signal-to-noise ratio over word lengths",
        "Each line is one length of coefficients; the circle is the choice. Where lines lie on each other, data limit the "
        "ratio; where a line is level, its coefficients do. The output is compared with that of the same code with "
        "formats that don't act.",
    ),
    "response": (
        responses,
        "Frequency response",
        "With exact coefficients, with those of the chosen words, and with two and four bits less.",
    ),
    "ranges": (
        ranges,
        "What places need and what they have",
        "A row is a place where values are quantized; its box is the bits of its words, the line the magnitudes that came, "
        "and red the bits that are lacking.",
    ),
}

_PAGE = """<!doctype html>
<html lang="en"><head><meta charset="utf-8"><meta name="viewport" content="width=device-width">
<title>Filter study</title>
<style>
:root {{ color-scheme: light dark; --page: #fff; --text: #1d2126; --soft: #5c6670; --accent: #2b6ca3; }}
@media (prefers-color-scheme: dark) {{ :root {{ --page: #1b1e23; --text: #d8dadd; --soft: #9aa3ad; --accent: #79b4e6; }} }}
body {{ background: var(--page); color: var(--text); font: 16px/1.5 system-ui, sans-serif; margin: 2rem auto;
  max-width: 70rem; padding: 0 1rem; }}
h1 {{ font-size: 1.6rem; margin-bottom: .2rem; }}
h2 {{ font-size: 1.15rem; margin-top: 2.2rem; }}
p.soft, figcaption {{ color: var(--soft); }}
p.result {{ border-left: 4px solid var(--accent); padding-left: .9rem; }}
figure {{ margin: 0; }} img {{ max-width: 100%; height: auto; }}
.wide {{ overflow-x: auto; font-size: .85rem; }}
.met {{ font-weight: 600; color: var(--accent); }}
</style></head><body>
<h1>Words for a low-pass</h1>
<p class="soft">{subject}</p>
<p class="result">{summary}</p>
{figures}
<h2>All ratios, in dB</h2>
<p class="soft">Bits of coefficients down, of data across. Those that meet {target:g} dB are bold.</p>
<div class="wide">{table}</div>
<h2>The log of the chosen words</h2>
<div class="wide">{log}</div>
</body></html>
"""


def _png(draw: Callable[[Study], Any], study: Study, style: dict[str, Any]) -> bytes:
    made = io.BytesIO()
    with rc_context({**STYLE, **style}):
        figure = draw(study)
        FigureCanvasAgg(figure)
        figure.savefig(made, format="png")
    return made.getvalue()


def _image(picture: bytes) -> str:
    return "data:image/png;base64," + base64.b64encode(picture).decode()


def _table(study: Study) -> str:
    coefficients, data, values = study.table.pivot("coefficients", "data", "snr")

    def cell(bits: int, length: int, value: float) -> str:
        text = f"{value:.1f}" if math.isfinite(value) else "exact" if value > 0 else "none"
        text = f'<span class="met">{text}</span>' if value >= study.target else text
        is_chosen = (bits, length) == (study.coefficients, study.data)
        return f'<span style="outline:2px solid #d9534f;outline-offset:2px">{text}</span>' if is_chosen else text

    rows = [
        [f"<b>{bits}</b>", *(cell(bits, length, value) for length, value in zip(data, line))]
        for bits, line in zip(coefficients, values)
    ]
    return _html._table(["", *map(str, data)], rows)


def write(study: Study, folder: Path) -> list[str]:
    """Writes the pictures, the page and the table into a folder, and returns the files' names."""
    figures, files = [], []
    for name, (draw, title, caption) in PICTURES.items():
        light, dark = _png(draw, study, {}), _png(draw, study, _DARK)
        (folder / f"{name}.png").write_bytes(light)
        files.append(f"{name}.png")
        figures.append(
            f"<h2>{html.escape(title)}</h2><figure><picture>"
            f'<source media="(prefers-color-scheme: dark)" srcset="{_image(dark)}">'
            f'<img alt="{html.escape(title)}" src="{_image(light)}"></picture>'
            f"<figcaption>{html.escape(caption)}</figcaption></figure>"
        )
    from ._study import summary

    recording = study.recording
    subject = (
        f"{recording.name}: {len(recording.samples)} samples at {recording.rate} Hz; Butterworth low-pass of order "
        f"{study.order}, -3 dB at {study.cutoff:g} Hz"
    )
    page = _PAGE.format(
        subject=html.escape(subject),
        summary=html.escape(summary(study)),
        figures="\n".join(figures),
        target=study.target,
        table=_table(study),
        log=_html.log(study.last),
    )
    (folder / "study.html").write_text(page, encoding="utf-8")
    study.table.to_csv(folder / "ratios.csv")
    return [*files, "study.html", "ratios.csv"]
