"""Logs, warnings, variables, filters, files of words and floats."""

import contextvars
import copy
import inspect
import json
import pickle
import threading
import warnings
from fractions import Fraction

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st

import oracle
import tolvane as tv


def line():
    return inspect.currentframe().f_back.f_lineno


def test_a_log_says_what_happened_where():
    with tv.recording(histogram=True, errors=True) as log, tv.errors(overflow="ignore"):
        x = tv.array([0.5, 1.7, 0.001], "s8,7", name="input")
        here = line() + 1
        tv.cast(x + x, "s8,7 floor", name="sum")
    assert [place.name for place in log.places()] == ["input", "sum"]
    place = log["input"]
    assert place.before == (Fraction(0.001), Fraction(1.7)) and place.after == (0, Fraction(127, 128))
    assert (place.values, place.overflows, place.underflows) == (3, 1, 1)
    assert (place.bits_needed, place.bits_to_spare) == (9, -1)
    assert place.histogram.zeros == 0 and sum(map(sum, place.histogram.powers.values())) == 3
    assert place.errors.greatest == Fraction(1.7) - Fraction(127, 128)
    assert log["sum"].overflow_file == __file__ and log["sum"].overflow_line == here
    assert "input" in str(log) and log.csv().count("\n") >= 3 and json.loads(log.json())
    tv.array([0.3], "s8,7", name="later")
    assert len(log.places()) == 2
    with pytest.raises(tv.Error, match="input"):
        log["other"]
    log.clear()
    assert log.places() == []


@pytest.mark.parametrize("histogram", [False, True])
def test_a_log_is_drawn(histogram, tmp_path):
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    with tv.recording(histogram=histogram) as log, tv.errors(overflow="ignore"):
        x = tv.array(np.sin(np.arange(200)) * 3, "s12,10", name="x")
        tv.cast(x * 2**2000, "u2100,90", name="long")
        tv.zeros(2, "s4", name="zeros")[:] = 0
    axes = log.plot()
    assert [label.get_text() for label in axes.get_yticklabels()] == ["x\ns12,10", "long\nu2100,90", "zeros\ns4,0"]
    assert [text.get_text().split()[0] for text in axes.texts] == [str(log["x"].overflows), str(log["long"].overflows)]
    axes.figure.savefig(tmp_path / "log.png")


def test_logs_nest_and_propose_and_compare():
    def run():
        x = tv.array(np.sin(np.arange(50)) * 1.5, "s12,11", name="x")
        return tv.cast(x * x, "s12,4", name="y")

    with tv.recording(errors=True, override="double") as reference:
        run()
    with tv.recording(errors=True) as log, tv.errors(overflow="ignore"):
        exact = run()
    assert exact.type == tv.Type("s12,4") and log["x"].overflows > 0
    proposals = {one.place: one.proposed for one in tv.propose(reference)}
    assert proposals["x"].type == tv.Type("s12,10") and "x" in str(tv.propose(reference, keep="fraction", margin=1))
    rows = tv.compare(log, reference)
    assert {row.place for row in rows} == {"x", "y"} and rows[0].ratio_db <= rows[1].ratio_db


@pytest.mark.parametrize(
    "operation",
    [
        lambda x: tv.array([3.0, 0.5], "s8,7", name="p"),
        lambda x: tv.array([3, 0], "s8,7", name="p"),
        lambda x: tv.array([Fraction(7, 3), 0], "s8,7", name="p"),
        lambda x: tv.cast(x * 4, "s8,7", name="p"),
        lambda x: tv.divide(x, tv.array([0.25], "s8,7"), "s8,7", name="p"),
        lambda x: np.add(x, x, out=tv.zeros(2, "s8,7", name="p")),
        lambda x: (x * 4).sum(format=tv.format("s8,7", name="p")),
        lambda x: tv.zeros(2, "s8,7", name="p").__setitem__(0, 2.5),
        lambda x: tv.zeros(2, "s8,7", name="p").__setitem__([0, 1], x * 2),
        lambda x: tv.lfilter([1, 1, 1], [1], x, section_output=tv.format("s8,7", name="p")),
        lambda x: tv.Fixed("s8,7", name="p").set(7),
        lambda x: tv.Fixed("s8,7", name="p").set(Fraction(7, 3)),
        lambda x: tv.Fixed("s8,7", 7, name="p"),
    ],
)
def test_overflows_warn_at_the_line_of_the_caller(operation):
    x = tv.array([0.75, 0.5], "s8,7")
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        operation(x)
    assert len(caught) == 1 and caught[0].filename == __file__
    assert caught[0].lineno == inspect.getsourcelines(operation)[1]
    warning = caught[0].message
    assert isinstance(warning, tv.OverflowWarning) and issubclass(tv.OverflowWarning, RuntimeWarning)
    assert warning.name == "p" and warning.count in (1, 2)
    with tv.errors(overflow="ignore"), warnings.catch_warnings():
        warnings.simplefilter("error")
        operation(x)
    with tv.errors(overflow="raise"), pytest.raises(tv.OverflowError) as raised:
        operation(x)
    assert raised.value.name == "p" and isinstance(raised.value, tv.Error)


@pytest.mark.parametrize("mode", ["warn", "raise"])
def test_what_would_have_been_written_is_as_before(mode):
    x = tv.array([0.75, 0.5, 0.25], "s8,7", name="x")
    acc = tv.Fixed("s90,80", 0.375, name="acc")
    state = tv.FilterState()
    with warnings.catch_warnings(), tv.errors(overflow=mode):
        warnings.simplefilter("error")
        for write in (
            lambda: x.__setitem__(slice(None), 3),
            lambda: x.__setitem__([2, 0], 3),
            lambda: np.add(x, x, out=x),
            lambda: acc.set(5000),
            lambda: tv.lfilter([1, 2], [1], x, section_output="s8,7", zi=state),
        ):
            with pytest.raises((tv.OverflowError, tv.OverflowWarning)):
                write()
    assert x.tolist() == [0.75, 0.5, 0.25] and acc == 0.375
    assert tv.lfilter([0, 0.5], [1], x, zi=state).tolist() == [0, 0.375, 0.25]


def test_modes_belong_to_contexts():
    seen = []

    def other():
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            tv.array(3, "s8,7")
        seen.append(len(caught))

    with tv.errors(overflow="ignore"):
        contextvars.copy_context().run(other)
        thread = threading.Thread(target=other)
        thread.start()
        thread.join()
    assert seen == [0, 1]
    with pytest.raises(ValueError):
        with tv.errors(overflow="maybe"):
            pass


@given(st.data(), oracle.types(), oracle.types(), oracle.types(), st.sampled_from(sorted(oracle.ROUNDINGS)), st.sampled_from(oracle.OVERFLOWS))
def test_variables_are_exact_on_the_right(data, ta, tb, tc, rounding, overflow):
    wa, wb, wc = (data.draw(oracle.word_arrays(type, ())) for type in (ta, tb, tc))
    a, b = tv.Fixed(oracle.text(ta)), tv.Fixed(oracle.text(tb))
    c = tv.Fixed(f"{oracle.text(tc)} {rounding} {overflow}", name="c")
    (fa,), (fb,), (fc,) = (oracle.values(w, t) for w, t in ((wa, ta), (wb, tb), (wc, tc)))
    with tv.errors(overflow="ignore"):
        a.set(fa), b.set(fb), c.set(fc)
        fc = c.value
        assert (a.value, b.value) == (fa, fb)
        with tv.recording() as log:
            c.set(c - a * b + 3)
        value = fc - fa * fb + 3
    word, over = oracle.word(value, *tc, rounding, overflow)
    assert c.word == word and log["c"].overflows == over and log["c"].values == 1
    assert (a < b, a == b, -a >= b, abs(a) > 1) == (fa < fb, fa == fb, -fa >= fb, abs(fa) > 1)
    assert (a.scaled(-2) + 1).value == fa / 4 + 1


def test_variables_take_numbers_of_all_kinds():
    x = tv.Fixed("s16,8", name="x")
    for value, word in (
        (0.5, 128),
        (3, 768),
        (Fraction(1, 3), 85),
        (np.float32(0.25), 64),
        (np.int16(-2), -512),
        (tv.array(1.5, "s8,4"), 384),
        (x, 384),
        (True, 256),
    ):
        x.set(value)
        assert x.word == word
    x.set(x * x + 0.5)
    assert x.word == 384
    x.set(1)
    y = x
    x += 1
    x *= np.int64(2)
    x -= 0.5
    assert y is x and x.word == 256 * 3.5 and float(x) == 3.5 and int(x) == 3
    for other in (pickle.loads(pickle.dumps(x)), copy.deepcopy(x), eval(repr(x), {"tolvane": tv})):
        assert other == x and other.format == x.format and other is not x
    other = copy.copy(x)
    other.set(0)
    assert x == 3.5 and (x * np.float64(0.5)).value == Fraction(7, 4) and np.float64(0.5) * x == 1.75
    assert (tv.array([1, 2], "s8") * x).tolist() == [3.5, 7.0] and (x - tv.array([1, 2], "s8")).tolist() == [2.5, 1.5]
    one = tv.array([0.25, 1], "s8,4")
    for made in (x * one[0], one[0] * x, x * one[0] + 0 * one[1]):
        assert isinstance(made, tv.Exact) and made == 0.875
    assert (one[0] - x, x - one[0]) == (-3.25, 3.25) and one[0] < x and x > one[0] and (one == tv.Exact(0.25))[0]
    with pytest.raises(TypeError, match="tolvane.array|variable"):
        tv.Fixed("s8,7") * 0.1
    for wrong in ("1", None, [1]):
        with pytest.raises(TypeError):
            x.set(wrong)
    with pytest.raises(TypeError):
        hash(x)
    for operation in (lambda: x * np.ones(3), lambda: np.ones(3) + x, lambda: np.ones(3) < x, lambda: x + np.array(1.0)):
        with pytest.raises(TypeError):
            operation()


@pytest.mark.parametrize("form", ["direct1", "transposed2"])
def test_filters_are_loops_of_variables(form):
    b, a = [0.25, -0.5, 0.125], [1, -1.25, 0.5]
    formats = dict(coefficients_b="s10,8", coefficients_a="s10,8 floor", state="s14,9 convergent", section_output="s12,8 floor wrap")
    x = tv.array(np.random.default_rng(1).uniform(-1, 1, 60), "s10,9")
    y = tv.lfilter(b, a, x, form=form, **formats)
    cb, ca = ([tv.array(one, formats[side]).item() for one in values] for side, values in (("coefficients_b", b), ("coefficients_a", a)))
    hold = lambda value, node: tv.array(value, formats[node]).item()
    state = [Fraction(0)] * 4
    expected = []
    for u in x.astype(object):
        if form == "direct1":
            sum = cb[0] * u + cb[1] * state[0] + cb[2] * state[1] - ca[1] * state[2] - ca[2] * state[3]
            made = hold(sum, "section_output")
            state = [hold(u, "state"), state[0], hold(made, "state"), state[2]]
        else:
            made = hold(cb[0] * u + state[0], "section_output")
            state[0] = hold(state[1] + cb[1] * u - ca[1] * made, "state")
            state[1] = hold(cb[2] * u - ca[2] * made, "state")
        expected.append(made)
    assert y.astype(object).tolist() == expected
    # The negative of a coefficient that was cut off isn't the negative coefficient cut off.
    inexact = dict(formats, coefficients_a="s10,3 floor")
    for negate, words in ((True, [1, -1.25, 0.625]), (False, [1, -1.375, 0.5])):
        turned = tv.lfilter(b, [1, -1.3, 0.55], x, form=form, negate_a=negate, **inexact)
        assert tv.identical(turned, tv.lfilter(b, words, x, form=form, **inexact))
    zi = tv.FilterState()
    blocks = [tv.sosfilt([[*b, *a]], x[i : i + 20], form=form, zi=zi, **formats) for i in (0, 20, 40)]
    assert tv.identical(np.concatenate(blocks), y)
    with pytest.raises(TypeError, match="section_output"):
        tv.lfilter(b, a, x, output="s8")
    with pytest.raises(tv.Error):
        tv.lfilter(b, a, x)


def test_files_of_words_come_back(tmp_path):
    x = tv.from_words([-3, 100, 2], "s8,3", name="x")
    y = tv.from_words([2**70, 0, 5], "u72,1", name="y")
    for name in ("w.hex", "w.bin", "w.h", "w.csv"):
        tv.write_words(tmp_path / name, [x, y], values=name.endswith(("hex", "bin")))
        formats = [tv.format("s8,3", name="x"), tv.format("u72,1", name="y")]
        back = tv.read_words(tmp_path / name, formats)
        assert tv.identical(back[0], x) and tv.identical(back[1], y)
    assert tv.identical(tv.words_from_text(tv.words_text(x), "s8,3"), x)
    with pytest.raises(tv.Error) as caught:
        tv.read_words(tmp_path / "none.hex", "s8")
    assert caught.value.id == "tolvane:words:file"


def test_floats_are_those_of_the_machine():
    values = np.concatenate([np.random.default_rng(1).normal(size=200) * 1e3, [np.inf, np.nan, -0.0, 1e-7, 65520]])
    for dtype, name, bits in ((np.float16, "fp16", np.uint16), (np.float32, "fp32", np.uint32)):
        with np.errstate(over="ignore"):
            plain = values.astype(dtype)
        made = tv.FloatArray(values, name)
        kept = ~np.isnan(plain)
        assert (made.words[kept] == plain.view(bits)[kept]).all()
        with np.errstate(all="ignore"):
            for operation in (np.add, np.multiply, np.subtract):
                other = operation(plain, plain[::-1])
                mine = getattr(made, f"__{operation.__name__[:3]}__")(tv.FloatArray(values[::-1], name)) if operation is not np.multiply else made * tv.FloatArray(values[::-1], name)
                assert np.array_equal(np.asarray(mine), other.astype(float), equal_nan=True)
    fixed = tv.FloatArray(tv.array([0.3, 2], "s16,12"), "bf16").cast("s16,12")
    assert fixed.tolist() == [0.30078125, 2.0]
    with pytest.raises(tv.Error):
        tv.FloatArray([np.inf], "fp16").cast("s8")
