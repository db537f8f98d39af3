"""Runs the examples of the guides, which print what they say."""

import doctest
from pathlib import Path

import pytest


@pytest.mark.parametrize("page, least", [("python.md", 25), ("python-for-others.md", 20), ("python-agc.md", 30)])
def test_a_guide_prints_what_it_says(page, least):
    guide = Path(__file__).resolve().parents[2] / "docs" / page
    failed, tried = doctest.testfile(str(guide), module_relative=False)
    assert failed == 0 and tried > least
