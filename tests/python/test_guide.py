"""Runs the examples of the guides, which print what they say."""

import doctest
from pathlib import Path

import pytest

import tolvane as tv


@pytest.mark.parametrize("page, least", [("python.md", 25), ("python-for-others.md", 20), ("python-agc.md", 30)])
def test_a_guide_prints_what_it_says(page, least):
    guide = Path(__file__).resolve().parents[2] / "docs" / page
    failed, tried = doctest.testfile(str(guide), module_relative=False)
    assert failed == 0 and tried > least


def test_likely_mistakes_are_told_the_cure():
    x = tv.array([0.5], "s16,15")
    mistakes = {"tolvane.sqrt": lambda: x**0.5, "x.cast": lambda: x.astype("s8,7")}
    mistakes["tolvane.array"] = lambda: tv.words_text([1, 2], style="hex")
    for cure, mistake in mistakes.items():
        with pytest.raises(TypeError, match=cure):
            mistake()
