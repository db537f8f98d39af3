"""Runs the examples of the guide, which print what it says."""

import doctest
from pathlib import Path


def test_the_guide_prints_what_it_says():
    guide = Path(__file__).resolve().parents[2] / "docs" / "python.md"
    failed, tried = doctest.testfile(str(guide), module_relative=False)
    assert failed == 0 and tried > 25
