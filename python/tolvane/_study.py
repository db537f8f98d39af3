"""The filter study: a Butterworth low-pass in second-order sections, in words of many lengths.

It is filtered first with formats that don't act: that is the reference, and its ranges place the points of all words.
A sweep over lengths of coefficients and data then finds the cheapest words that meet a ratio.
"""

from __future__ import annotations

import argparse
import dataclasses
import functools
import math
import re
import sys
import wave
from collections.abc import Sequence
from pathlib import Path
from typing import Any

import numpy as np

from . import _log
from ._array import Array, array
from ._core import Format
from ._errors import Error, errors
from ._filters import sosfilt
from ._sweep import SweepTable, sweep

# The nodes of a section that quantize, by the names that logs show.
NODES = {"b": "coefficients_b", "a": "coefficients_a", "sum b": "sum_b", "sum a": "sum_a", "out": "section_output"}


class StudyError(Exception):
    """Something that the user can mend, and the code with which the program ends."""

    def __init__(self, code: int, text: str) -> None:
        super().__init__(text)
        self.code = code


@dataclasses.dataclass(frozen=True)
class Recording:
    name: str
    rate: int
    samples: Any  # doubles, full scale being 1


def read_wav(path: str, channel: int = 1) -> Recording:
    """A channel, counted from 1, of a WAV file of integers, exactly: a sample of B bits is its integer over 2^(B-1)."""
    try:
        with wave.open(path, "rb") as file:
            rate, count, width = file.getframerate(), file.getnchannels(), file.getsampwidth()
            data = file.readframes(file.getnframes())
    except (OSError, EOFError, wave.Error) as problem:
        raise StudyError(3, f"{path} can't be read as a WAV file of integers: {problem}.") from problem
    if not 1 <= channel <= count:
        raise StudyError(2, f"{path} has {count} channels; there is no channel {channel}.")
    frames = np.frombuffer(data[: len(data) // (width * count) * width * count], np.uint8).reshape(-1, count, width)
    if not frames.size:
        raise StudyError(3, f"{path} has no samples.")
    # The bytes of a sample become the high bytes of 32 bits; of 8 bits they are unsigned.
    wide = np.zeros((len(frames), 4), np.uint8)
    wide[:, 4 - width :] = frames[:, channel - 1]
    if width == 1:
        wide[:, 3] ^= 0x80
    return Recording(Path(path).name, rate, wide.view("<i4")[:, 0] / 2.0**31)


def made_signal() -> Recording:
    """A second of music-like sound: a chord that fades, a rising tone, and noise."""
    rate = 48000
    t = np.arange(rate) / rate
    chord = sum(np.sin(2 * np.pi * f * t + i) for i, f in enumerate((220.0, 277.2, 329.6, 1760.0))) * np.exp(-2 * t)
    tone = np.sin(2 * np.pi * (100 * t + 5950 * t**2))
    noise = np.random.default_rng(1).standard_normal(rate)
    samples = chord / 4 + tone / 3 + noise / 20
    return Recording("a signal of its own", rate, samples * (0.9 / np.abs(samples).max()))


def butterworth(order: int, cutoff: float) -> Any:
    """Second-order sections b0, b1, b2, a0, a1, a2 of a low-pass with a gain of 1 at zero, by the bilinear transform.

    The cutoff is a fraction of the sample rate. The sections with the poles nearest to the circle are last.
    """
    warped = 2 * math.tan(math.pi * cutoff)
    sections = []
    for k in range((order + 1) // 2):
        s = warped * np.exp(1j * math.pi * (2 * k + order + 1) / (2 * order))
        z = (2 + s) / (2 - s)
        if order % 2 and k == order // 2:
            gain = (1 - z.real) / 2
            sections.append([gain, gain, 0, 1, -z.real, 0])
        else:
            a = [1, -2 * z.real, abs(z) ** 2]
            gain = sum(a) / 4
            sections.append([gain, 2 * gain, gain, *a])
    return np.array(sections[::-1])


def response(sections: Any, frequencies: Any) -> Any:
    """The gain at frequencies, as fractions of the sample rate, in dB."""
    delay = np.exp(-2j * np.pi * np.asarray(frequencies))
    gain = np.ones(len(delay), complex)
    for b0, b1, b2, a0, a1, a2 in sections:
        gain *= (b0 + b1 * delay + b2 * delay**2) / (a0 + a1 * delay + a2 * delay**2)
    return 20 * np.log10(np.maximum(np.abs(gain), 1e-12))


@dataclasses.dataclass(frozen=True)
class Words:
    """A format for the input and one for each node; all sections share them."""

    input: Format
    nodes: dict[str, Format]

    def filtered(self, samples: Any, sections: Any) -> Array:
        formats: dict[str, Any] = {NODES[name]: one for name, one in self.nodes.items()}
        return sosfilt(sections, array(samples, self.input), **formats)

    def coefficients(self, sections: Any) -> Any:
        """The sections as these words have them."""
        made = np.array(sections)
        with errors(overflow="ignore"):
            made[:, :3] = array(made[:, :3], self.nodes["b"]).astype(float)
            made[:, 4:] = array(made[:, 4:], self.nodes["a"]).astype(float)
        return made


def lengths(coefficients: int, data: int) -> dict[str, int]:
    """The bits of each node's words. Sums are as long as a product."""
    both = coefficients + data
    return {"input": data, "b": coefficients, "a": coefficients, "sum b": both, "sum a": both, "out": data}


def made_words(coefficients: int, data: int, whole: dict[str, int] | None) -> Words:
    """Words of these lengths, with so many bits before the point, sign included; without, all fractions below 1."""
    formats = {
        name: Format(f"s{bits},{bits - (1 if whole is None else whole[name])}", name=name)
        for name, bits in lengths(coefficients, data).items()
    }
    return Words(formats.pop("input"), formats)


def whole_bits(reference: _log.Log, margin: int) -> dict[str, int]:
    """The bits before the point that each node needs, sign included, by the ranges of all its sections."""
    whole: dict[str, int] = {}
    for row in _log.propose(reference, margin=margin):
        name = re.sub(r"^section \d+ ", "", row.place)
        type = row.proposed.type
        whole[name] = max(whole.get(name, -(10**6)), type.bits - type.fraction)
    return whole


def ratio_db(exact: Any, made: Any) -> float:
    """The signal-to-noise ratio in dB; infinite if both are equal."""
    noise = float(np.sum((exact - made) ** 2))
    signal = float(np.sum(exact**2))
    return math.inf if noise == 0 else -math.inf if signal == 0 else 10 * math.log10(signal / noise)


def measured(
    samples: Any, sections: Any, exact: Any, whole: dict[str, int], coefficients: int, data: int
) -> dict[str, Any]:
    """One point of the sweep."""
    with errors(overflow="ignore"):
        y = made_words(coefficients, data, whole).filtered(samples, sections)
    return {"snr": ratio_db(exact, y.astype(float)), "cells": coefficients * data}


@dataclasses.dataclass(frozen=True)
class Study:
    recording: Recording
    order: int
    cutoff: float  # Hz
    target: float  # dB
    sections: Any
    exact: Any  # the output of the reference
    whole: dict[str, int]
    table: SweepTable
    coefficients: int
    data: int
    snr: float
    is_met: bool
    words: Words
    first: _log.Log  # formats that don't act, as they would be with all values below 1
    last: _log.Log  # the chosen words


def studied(
    recording: Recording,
    *,
    order: int = 4,
    cutoff: float | None = None,
    coefficients: Sequence[int] = range(8, 21),
    data: Sequence[int] = range(8, 21),
    target: float = 60.0,
    margin: int = 0,
    executor: Any = None,
    progress: bool | None = None,
) -> Study:
    """Makes the study; `executor` as that of `sweep`."""
    hertz = recording.rate / 12 if cutoff is None else cutoff
    sections = butterworth(order, hertz / recording.rate)
    samples = recording.samples
    # Lengths don't matter to what formats that don't act need before the point.
    with _log.recording(override="double") as first:
        exact = made_words(32, 32, None).filtered(samples, sections).astype(float)
    if not exact.any():
        raise StudyError(3, "The recording is silent; there is nothing to compare.")
    whole = whole_bits(first, margin)
    run = functools.partial(measured, samples, sections, exact, whole)
    table = sweep(run, {"coefficients": coefficients, "data": data}, executor, progress=progress)
    met = table.where(lambda row: bool(row["snr"] >= target))
    chosen = met.best(lambda row: (-row["cells"], row["snr"])) if len(met) else table.best("snr")
    words = made_words(chosen["coefficients"], chosen["data"], whole)
    with _log.recording(override="double") as first:
        made_words(chosen["coefficients"], chosen["data"], None).filtered(samples, sections)
    with _log.recording() as last, errors(overflow="ignore"):
        words.filtered(samples, sections)
    return Study(
        recording, order, hertz, target, sections, exact, whole, table,
        chosen["coefficients"], chosen["data"], chosen["snr"], bool(len(met)), words, first, last,
    )  # fmt: skip


def summary(study: Study) -> str:
    """What was found, in a few sentences."""
    nodes = study.words.nodes
    overflows = sum(place.overflows for place in study.last.places())
    wish = f"{study.target:g} dB"
    begin = (
        f"The cheapest words that meet {wish} have {study.coefficients} bits for coefficients and {study.data} for data"
        if study.is_met
        else f"No words of the sweep meet {wish}; the best have {study.coefficients} bits for coefficients and {study.data} "
        "for data"
    )
    formats = ", ".join(f"{name} {one.type}" for name, one in {"input": study.words.input, **nodes}.items())
    cure = " (--margin 1 leaves more room)" if overflows else ""
    return f"{begin}: {study.snr:.1f} dB, {overflows} overflows{cure}. Formats: {formats}."


def _word_list(text: str) -> list[int]:
    """'8-12,16' as numbers."""
    made: list[int] = []
    for part in text.split(","):
        ends = re.fullmatch(r"\s*(\d+)(?:-(\d+))?\s*", part)
        if not ends:
            raise argparse.ArgumentTypeError(f"{text!r} is no list of word lengths like 8-16 or 8,12,16")
        made += range(int(ends[1]), int(ends[2] or ends[1]) + 1)
    if not made or not all(2 <= bits <= 48 for bits in made):
        raise argparse.ArgumentTypeError("word lengths are 2 to 48 bits")
    return sorted(set(made))


def _options(arguments: Sequence[str] | None) -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="python -m tolvane.study",
        description="Filters a recording by a Butterworth low-pass in words of many lengths, and finds the cheapest that "
        "meet a signal-to-noise ratio. Writes pictures, a page that shows them, and a table.",
        epilog="Exit codes: 0 done, even if no words meet the ratio; 2 bad options; 3 a recording that can't be read; "
        "6 files that can't be written.",
    )
    add = parser.add_argument
    add("recording", nargs="?", help="a WAV file of integers; without one, a signal of its own")
    add("--channel", type=int, default=1, help="the channel, counted from 1 (1)")
    add("--words", type=_word_list, help="lengths of data words in bits, as 8-16 or 8,12,16 (8-20)", default="8-20")
    add("--coefficients", type=_word_list, help="lengths of coefficients in bits (those of --words)")
    add("--order", type=int, default=4, help="order of the filter, 1 to 16 (4)")
    add("--cutoff", type=float, metavar="HZ", help="where the gain is -3 dB (a twelfth of the sample rate)")
    add("--snr", type=float, default=60.0, metavar="DB", help="the ratio that is wanted (60)")
    add("--margin", type=int, default=0, metavar="BITS", help="bits that all words have beyond the measured ranges (0)")
    add("--processes", type=int, metavar="N", help="processes that filter; 0 for this one (as many as cores)")
    add("--out", default="tolvane_study", metavar="FOLDER", help="where files are written (tolvane_study)")
    options = parser.parse_args(arguments)
    options.coefficients = options.coefficients or options.words
    for name, is_good, what in (
        ("order", 1 <= options.order <= 16, "1 to 16"),
        ("margin", 0 <= options.margin <= 64, "0 to 64"),
        ("processes", options.processes is None or options.processes >= 0, "at least 0"),
        ("snr", math.isfinite(options.snr), "a number"),
    ):
        if not is_good:
            parser.error(f"argument --{name}: it is {what}")
    return options


def main(arguments: Sequence[str] | None = None) -> int:
    """The program. Returns its exit code."""
    options = _options(arguments)
    try:
        from . import _study_page

        recording = made_signal() if options.recording is None else read_wav(options.recording, options.channel)
        if options.cutoff is not None and not 0 < options.cutoff < recording.rate / 2:
            raise StudyError(2, f"--cutoff lies between 0 and half the sample rate, {recording.rate / 2:g} Hz.")
        folder = Path(options.out)
        try:
            folder.mkdir(parents=True, exist_ok=True)
        except OSError as problem:
            raise StudyError(6, f"The folder {folder} can't be made: {problem}.") from problem
        print(
            f"{recording.name}: {len(recording.samples)} samples at {recording.rate} Hz; Butterworth low-pass of order "
            f"{options.order}, {recording.rate / 12 if options.cutoff is None else options.cutoff:g} Hz",
            flush=True,
        )
        study = studied(
            recording,
            order=options.order,
            cutoff=options.cutoff,
            coefficients=options.coefficients,
            data=options.words,
            target=options.snr,
            margin=options.margin,
            executor="serial" if options.processes == 0 else options.processes,
        )
        print(summary(study))
        try:
            files = _study_page.write(study, folder)
        except OSError as problem:
            raise StudyError(6, f"A file can't be written: {problem}.") from problem
        print(f"Written to {folder}: {', '.join(files)}")
        return 0
    except (StudyError, ImportError, Error) as problem:
        print(f"study: {problem}", file=sys.stderr)
        return problem.code if isinstance(problem, StudyError) else 1
    except KeyboardInterrupt:
        return 130
