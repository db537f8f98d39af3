#!/usr/bin/python3
"""Draws the pictures of the documents into a folder, by default this one. Needs the Python package and matplotlib.

    PYTHONPATH=build/dev/python docs/pictures/draw.py [FOLDER]
"""

import sys
from pathlib import Path

import matplotlib
import numpy as np

matplotlib.use("Agg")
from matplotlib import pyplot

import tolvane as tv
from tolvane import _study, _study_page


def save(figure, folder, name):
    figure.savefig(folder / name, dpi=90, metadata={"Software": None})


def log_picture(folder):
    """A filter whose output lacks a bit: where words are, and how many values reach each power of two."""
    random = np.random.default_rng(3)
    signal = 0.8 * np.sin(np.arange(2000) * 0.05) + 0.03 * random.standard_normal(2000)
    n = np.arange(31) - 15
    with tv.recording(histogram=True) as log, tv.errors(overflow="ignore"):
        x = tv.array(signal, "s16,15", name="x")
        h = tv.array(0.33 * np.sinc(0.23 * n) * np.kaiser(31, 5), "s12,11 convergent", name="h")
        y = tv.convolve(x, h, sum=tv.format("s20,17", name="sum"))
        tv.cast(y, "s11,10 wrap", name="y")
    figure, axes = pyplot.subplots(figsize=(8, 3), constrained_layout=True)
    log.plot(axes)
    save(figure, folder, "log.png")


def ratio_picture(folder):
    """What the filter study finds for a signal of its own."""
    words = range(8, 21, 2)
    study = _study.studied(_study.made_signal(), coefficients=words, data=words, executor="serial", progress=False)
    with matplotlib.rc_context(_study_page.STYLE):
        save(_study_page.ratios(study), folder, "ratios.png")


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).resolve().parent
    folder.mkdir(parents=True, exist_ok=True)
    log_picture(folder)
    ratio_picture(folder)


main()
