"""What notebooks show: well-formed, escaped, with the values that the objects have."""

import re
from fractions import Fraction
from html.parser import HTMLParser

import numpy as np
import pytest

import tolvane as tv

NASTY = '<script>alert("&")</script>'


class Cells(HTMLParser):
    """The texts of cells by rows; fails on tags that aren't closed in order, or that nothing here should make."""

    TAGS = {"table", "caption", "thead", "tbody", "tr", "th", "td", "code", "b", "span", "sup", "div"}

    def __init__(self, text):
        super().__init__()
        self.open, self.rows, self.caption, self.text = [], [], "", ""
        self.feed(text)
        assert not self.open
        self.text = " ".join(self.text.split())

    def handle_starttag(self, tag, attributes):
        assert tag in self.TAGS
        self.open.append(tag)
        if tag == "tr":
            self.rows.append([])
        elif tag in ("td", "th"):
            self.rows[-1].append("")

    def handle_endtag(self, tag):
        assert self.open.pop() == tag

    def handle_data(self, data):
        self.text += data
        if "caption" in self.open:
            self.caption += data
        elif "td" in self.open or "th" in self.open:
            self.rows[-1][-1] += data


def cells(made):
    return Cells(made._repr_html_())


@pytest.mark.parametrize(
    "made, caption, rows",
    [
        (lambda: tv.array([0.5, -0.25], "s8,7", name=NASTY), f"{NASTY} s8,7, 2 elements", [["0", "1"], ["0.5", "-0.25"]]),
        (lambda: tv.array(0.125, "u8,7"), "u8,7", [["0.125"]]),
        (lambda: tv.array(2**100, "s120,10"), "s120,10", [["1.26765e+30"]]),
        (lambda: tv.array(-(10**400), "s1400"), "s1400,0", [["-1e+400"]]),
        (lambda: tv.array(3, "s4").scaled(-4000), "s4,4000", [["2.27582e-1204"]]),
        (
            lambda: tv.array([[1, 2], [3, 4]], "s8"),
            "s8,0, 2 × 2",
            [["", "0", "1"], ["0", "1", "2"], ["1", "3", "4"]],
        ),
        (lambda: tv.array([1 - 0.5j], "s8,6"), "s8,6, 1 element, complex", [["0"], ["1-0.5j"]]),
        (lambda: tv.array(np.arange(12), "u8"), "u8,0, 12 elements", [[*"01234567", "…", "11"]] * 2),
        (lambda: tv.zeros((2, 3, 1), "s8"), "s8,0, 2 × 3 × 1, of which [0, ...]", [["", "0"], *([str(i), "0"] for i in range(3))]),
        (lambda: tv.zeros((0, 3), "s8"), "", []),
        (lambda: tv.FloatArray([[0.1, -3]], "fp16"), "e5m10, 1 × 2", [["", "0", "1"], ["0", "0.0999756", "-3"]]),
    ],
)
def test_arrays_show_type_shape_and_some_elements(made, caption, rows):
    shown = cells(made())
    assert shown.rows == rows and shown.caption == caption
    large = tv.zeros((1000, 1000), "s8")
    assert len(large._repr_html_()) < 20000 and len(cells(large).rows) == 7


def test_words_show_under_the_pointer():
    assert re.findall('title="([^"]*)"', tv.array([-0.5, 0.25], "s12,10")._repr_html_()) == ["word e00", "word 100"]


@pytest.mark.parametrize(
    "made, text",
    [
        (tv.Type("s16,15"), "s16,15 bits 16: 1 sign, 0 before the point, 15 after range -1 to 0.999969 step 2-15"),
        (tv.Type("u8,-2"), "u8,-2 bits 8: 10 before the point, -2 after range 0 to 1020 step 22"),
        (
            tv.format("s8,4 floor wrap", name=NASTY),
            f"{NASTY} s8,4 bits 8: 1 sign, 3 before the point, 4 after range -8 to 7.9375 step 2-4 rounding floor overflow wrap",
        ),
    ],
)
def test_formats_show_range_and_step(made, text):
    parts = made._repr_html_().replace("</td>", " </td>").replace("</caption>", " </caption>")
    assert Cells(parts).text == text


def test_logs_and_their_tables_show_what_happened():
    log = tv.recording(errors=True)
    assert "hasn't begun" in cells(log).text
    with log, tv.errors(overflow="ignore"):
        assert "no place" in cells(log).text
        tv.array([0.5, 1.5], "s8,7", name=NASTY)
    with tv.recording(errors=True, override="double") as reference:
        tv.array([0.5, 1.5], "s8,7", name=NASTY)
    head, row = cells(log).rows
    shown = dict(zip(head, row))
    assert shown["place"] == NASTY and shown["format"] == "s8,7 nearest saturate"
    assert shown["before"] == "0.5 … 1.5" and shown["after"] == "0.5 … 0.992188"
    assert shown["bits needed"] == "9 of 8" and shown["overflows"] == "1"
    assert re.findall(r"width:([\d.]+)%;background:(#\w+)", log._repr_html_()) == [("11.11", "#d9534f"), ("88.89", "#5b8fc7")]
    assert re.fullmatch(r"test_html\.py:\d+", shown["first"])
    proposals = cells(tv.propose(log))
    assert proposals.rows[1] == [NASTY, "s8,7 nearest saturate", "s8,6 nearest saturate"]
    assert cells(tv.compare(log, reference)).rows[0][:2] == ["place", "format"]


def test_sweeps_show_their_rows():
    def run(format, n):
        if n == 2:
            raise ValueError(NASTY)
        return {"value": Fraction(1, 3) if n else 0.1234567}

    grid = {"format": [tv.format("s8,7"), NASTY], "n": [0, 1, 2]}
    head, *rows = cells(tv.sweep(run, grid, "serial", errors="keep")).rows
    assert head == ["format", "n", "value", "error"]
    assert rows[:3] == [
        ["s8,7 nearest saturate", "0", "0.123457", ""],
        ["s8,7 nearest saturate", "1", "1/3", ""],
        ["s8,7 nearest saturate", "2", "", f"ValueError: {NASTY}"],
    ]
    assert rows[3][0] == NASTY
    long = cells(tv.sweep(lambda n: n, {"n": range(100)}, "serial"))
    assert len(long.rows) == 26 and long.rows[-1] == ["99", "99"] and long.caption == "100 points"
