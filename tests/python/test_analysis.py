"""Rules for constants, explanations of noise, differences of runs."""

import contextvars
import csv
import inspect
import io
import math
from fractions import Fraction

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st

import oracle
import tolvane as tv


@pytest.mark.parametrize(
    "type, value, chosen, word",
    [
        ("s16,15", 0.1, "s16,18", 26214),
        ("s16,4", -0.1, "s16,18", -26214),
        ("u8,2", 100.7, "u8,1", 201),
        ("s8,7", 1.0, "s8,6", 64),
        ("s8,7", -1.0, "s8,7", -128),
        ("s8", 127.6, "s8,-1", 64),
        ("s8", [0.25, -3.2], "s8,5", [8, -102]),
        ("s8", [[1.0], [-1.0]], "s8,6", [[64], [-64]]),
        ("s8", 0.0, "s8,7", 0),
        ("s100,3", 0.1, "s100,102", int(Fraction(0.1) * 2**102)),
        ("s8,3", Fraction(1, 3), "s8,8", 85),
        ("s8,3", np.float32(0.3), "s8,8", 77),
        ("s8", 0.25 - 3.2j, "s8,5", None),
    ],
)
def test_constants_take_the_best_precision(type, value, chosen, word):
    with tv.errors(overflow="ignore"):
        x = tv.array([1], type, name="x")
    with tv.rules(constants="best"), tv.recording() as log, tv.errors(overflow="ignore"):
        made = x * value
        joined = value + x
    assert made.type.fraction == x.type.fraction + tv.Type(chosen).fraction
    if word is not None:
        # The array holds 1 or the greatest word.
        one = x.item()
        expected = np.array(word, object) * Fraction(2) ** -tv.Type(chosen).fraction
        assert (made.astype(object) == one * expected).all() and (joined.astype(object) == one + expected).all()
    else:
        assert made.iscomplex and made.imag.item() == Fraction(-102, 32) * x.item()
    assert [place.format.type.text for place in log.places()] == [tv.Type(chosen).text]
    assert log.places()[0].name.startswith("constant")


def test_rules_belong_to_contexts_and_leave_other_numbers_alone():
    x = tv.array([0.5, 0.25], "s8,7", name="x")
    before = contextvars.copy_context()
    with tv.rules(constants="best"):
        assert (x * 3).type == tv.Type("s10,7") and (x + 2**70).astype(object)[0] == 2**70 + Fraction(1, 2)
        assert (x == 0.1).tolist() == [False, False] and (x < 0.3).tolist() == [False, True]
        with pytest.raises(TypeError):
            before.run(lambda: x * 0.1)
        with pytest.raises(tv.Error, match="NaN"):
            x * math.nan
        u = tv.array([1], "u8,2")
        with pytest.warns(tv.OverflowWarning, match="constant -0.1"):
            assert (u * -0.1).item() == 0
        with tv.errors(overflow="raise"), pytest.raises(tv.OverflowError):
            u * -0.1
        b = tv.Fixed("u8,4", 1)
        assert (b * 0.1).value == Fraction(205, 2**11)  # eight bits without sign
        assert ((b + b) * 0.1).value == Fraction(102, 2**10) * 2  # with sign, since an expression may be below zero
        with tv.rules(constants="exact"), pytest.raises(TypeError):
            b * 0.1
        f = tv.FloatArray([1, 2], "e4m3")
        assert (f * 0.1).tolist() == [0.1015625, 0.203125]
    for refused in (lambda: x * 0.1, lambda: b * 0.1, lambda: f * 0.1, lambda: x @ np.array([0.1, 0.5])):
        with pytest.raises(TypeError):
            refused()
    with pytest.raises(ValueError):
        with tv.rules(constants="nearest"):
            pass


def test_the_reference_has_constants_in_full():
    def run():
        x = tv.array([0.5, 0.25], "s8,7", name="x")
        return tv.cast(x * 0.1, "s8,10", name="y")

    with tv.rules(constants="best"):
        with tv.recording(samples=True, override="double") as reference:
            run()
        with tv.recording(samples=True) as log:
            run()
    rows = {row.place: row for row in tv.explain(log, reference)}
    assert set(rows) == {"x", "y", "constant 0.1"}
    assert math.isclose(rows["constant 0.1"].added, (102 / 1024 - 0.1) ** 2, rel_tol=1e-6)


def test_growth_has_a_limit_that_names_the_operands():
    before = tv.set_most_bits(40)
    try:
        x = tv.array([1, 2], "s30", name="gain")
        with pytest.raises(tv.Error, match="gain") as caught:
            x * x
        assert caught.value.id == "tolvane:array:growth" and tv.set_most_bits(60) == 40
        assert (x * x).type.bits == 60
    finally:
        tv.set_most_bits(before)
    for wrong in (0, 65536):
        with pytest.raises(ValueError):
            tv.set_most_bits(wrong)


def test_places_are_explained_by_what_came_and_what_was_added():
    values = np.random.default_rng(3).uniform(-1, 1, 300)
    formats = {"x": "s12,11", "square": "s9,8 floor", "y": "s12,10"}
    lines = {}

    def run():
        lines["x"] = inspect.currentframe().f_lineno + 1
        x = tv.array(values, formats["x"], name="x")
        square = tv.cast(x * x, formats["square"], name="square")
        return tv.cast(square * 2 + x, formats["y"], name="y")

    with tv.recording(samples=True, override="double") as reference:
        run()
    with tv.recording(samples=True) as log, tv.errors(overflow="ignore"):
        y = run()
    table = tv.explain(log, reference)
    rows = {row.place: row for row in table}
    # The same in doubles, which hold all of it.
    quantize = lambda v, name: np.asarray(tv.array(v, formats[name]))
    with tv.errors(overflow="ignore"):
        x = quantize(values, "x")
        square = quantize(x * x, "square")
        before = {"x": (values, values), "square": (x * x, values**2), "y": (square * 2 + x, values**2 * 2 + values)}
        after = {"x": x, "square": square, "y": quantize(square * 2 + x, "y")}
    power = lambda v: float(np.mean(np.square(v)))
    for name, (came, ideal) in before.items():
        row = rows[name]
        assert math.isclose(row.signal, power(ideal), rel_tol=1e-9)
        assert math.isclose(row.arrived, power(came - ideal), rel_tol=1e-6, abs_tol=1e-25)
        assert math.isclose(row.added, power(after[name] - came), rel_tol=1e-9)
        assert math.isclose(row.total, power(after[name] - ideal), rel_tol=1e-6)
        assert math.isclose(row.total_db, 10 * math.log10(row.signal / row.total)) and row.values == 300
        kept = log.samples(name)
        assert np.array_equal(kept[0], came) and np.array_equal(kept[1], after[name])
    assert [row.place for row in table] == sorted(rows, key=lambda name: rows[name].added_db)
    assert table[0].place == "y" and rows["x"].new_part == 1 and rows["y"].overflows == log["y"].overflows > 0
    assert rows["x"].line == lines["x"] and rows["x"].file == __file__ and rows["x"].code.startswith("x = tv.array(")
    assert str(table).count("\n") == 4 and "square = tv.cast" in str(table)
    assert [row["place"] for row in csv.DictReader(io.StringIO(table.csv()))] == [row.place for row in table]
    assert math.isclose(tv.signal_to_noise_db(values**2 * 2 + values, y), rows["y"].total_db, rel_tol=1e-6)


def test_explanations_without_samples_know_what_was_added():
    def run(count):
        tv.array(np.full(count, 0.3), "s8,7", name="x")

    with tv.recording(errors=True) as log:
        run(3)
    with tv.recording(samples=True) as longer:
        run(4)
    for table in (tv.explain(log, longer), tv.explain(longer, log)):
        (row,) = table
        assert math.isclose(row.added, (38 / 128 - 0.3) ** 2) and row.total is row.arrived is row.new_part is None
        assert math.isclose(row.signal, 0.09) and str(table)
    with tv.recording() as plain:
        run(1)
    for refused in (lambda: tv.explain(plain, log), lambda: tv.diff(log, longer), lambda: plain.samples("x")):
        with pytest.raises(tv.Error, match=r"tolvane.recording\((samples|errors)=True\)") as caught:
            refused()
        assert caught.value.id == "tolvane:log:options"


@given(st.data(), oracle.types(), st.integers(0, 3))
def test_arrays_differ_where_values_do(data, type, changes):
    words = data.draw(oracle.word_arrays(type, (2, 3)))
    others = list(words)
    for _ in range(changes):
        others[data.draw(st.integers(0, 5))] = data.draw(oracle.word_arrays(type, ()))[0]
    x = tv.from_words(np.array(words, object).reshape(2, 3), oracle.text(type), name="x")
    y = tv.from_words(np.array(others, object).reshape(2, 3), oracle.text(type))
    wrong = [i for i in range(6) if words[i] != others[i]]
    table = tv.diff(x, tv.cast(y, f"s200,{type[2] + 3}"))
    assert len(table) == bool(wrong)
    for row in table:
        values = [oracle.values(one, type) for one in (words, others)]
        assert (row.place, row.differences, row.first) == ("x", len(wrong), divmod(wrong[0], 3))
        assert (row.one, row.other) == (values[0][wrong[0]], values[1][wrong[0]])
        assert row.greatest == max(abs(a - b) for a, b in zip(*values))


def test_the_cause_of_a_difference_comes_first():
    def run(format):
        total = tv.Fixed("s16,8", name="total")
        step = tv.Fixed(format, 0.25, name="step")
        for i in range(5):
            total.set(total + step)
            step.set(step + 0.25 + (0.125 if i == 2 else 0))

    with tv.recording(samples=True) as a:
        run("s16,8")
    with tv.recording(samples=True) as b:
        run("s16,2 floor")
    rows = tv.diff(a, b)
    assert [row.place for row in rows] == ["step", "total"]
    assert rows[0].first == 3 and float(rows[0].one) == 1.125 and float(rows[0].other) == 1.0
    assert rows[0].code.startswith("step") and rows[1].differences == 2
    assert tv.diff(a, a) == [] and str(tv.diff(a, a))
    z = tv.array([1j, 2], "s8")
    (row,) = tv.diff(z, [1j, 2.5])
    assert row.one == (2, 0) and row.greatest == Fraction(1, 2) and str(tv.diff(z, [1j, 2.5]))
    with pytest.raises(ValueError):
        tv.diff(z, z[:1])
    with pytest.raises(TypeError):
        tv.diff(a, z)


def test_float_arrays_behave_as_arrays_of_the_machine():
    rng = np.random.default_rng(7)
    plain = rng.normal(size=(3, 4)).astype(np.float32)
    plain[1, 2], plain[0, 0], plain[2, 3] = np.nan, np.inf, -0.0
    other = rng.normal(size=4).astype(np.float32)
    plain[2, :2] = other[0], 0.5
    x, y = tv.FloatArray(plain, "fp32"), tv.FloatArray(other, "fp32")

    def same(made, expected):
        assert made.shape == expected.shape and np.array_equal(np.asarray(made), expected.astype(float), equal_nan=True)

    for made, expected in (
        (x + y, plain + other),
        (y - x, other - plain),
        (x * y[:1], plain * other[:1]),
        (2 * x - 0.5, 2 * plain - np.float32(0.5)),
        (1 - x, 1 - plain),
        (x[:, ::2], plain[:, ::2]),
        (x[plain > 0], plain[plain > 0]),
        (x[None, 1], plain[None, 1]),
        (x.T, plain.T),
        (abs(x), abs(plain)),
        (x.where(plain > 0, y), np.where(plain > 0, plain, other)),
        (x.sum(axis=0), np.add.reduce(plain)),
        (x.max(axis=1), plain.max(1)),
        (x.min(), plain.min()),
        (y.min(), other.min()),
        (tv.multiply_add(x, y, y, "fp32"), (plain.astype(float) * other + other).astype(np.float32)),
    ):
        same(made, np.asarray(expected))
    for compare in (np.less, np.less_equal, np.greater, np.greater_equal, np.equal, np.not_equal):
        name = {"less": "lt", "less_equal": "le", "greater": "gt", "greater_equal": "ge", "equal": "eq", "not_equal": "ne"}
        made = getattr(x, f"__{name[compare.__name__]}__")(y)
        assert made.dtype == bool and np.array_equal(made, compare(plain, other))
        assert np.array_equal(getattr(x, f"__{name[compare.__name__]}__")(0.5), compare(plain, 0.5))
    x[:, 1] = y[:3]
    x[0] = 7
    plain[:, 1], plain[0] = other[:3], 7
    same(x, plain)
    assert [int(word, 16) for word in y.hex()] == y.words.tolist() == [int(word, 2) for word in y.bin()]
    assert tv.FloatArray(2, "fp16").item() == 2 and len(x) == 3 and tv.FloatArray(0.0, "fp16").sum() == 0
    for refused in (lambda: np.add(x, y), lambda: x + tv.array([1], "s4"), lambda: x + 1j, lambda: hash(x), lambda: x * 0.1):
        with pytest.raises(TypeError):
            refused()
    with pytest.raises(ValueError):
        bool(x)


def test_mixed_signals_come_back_from_files(tmp_path):
    z, x = tv.array([0.5 - 0.25j, 1j], "s8,5", name="z"), tv.array([3, 4], "u4", name="x")
    for ending in ("csv", "h", "hex"):
        tv.write_words(tmp_path / f"w.{ending}", [z, x])
        formats = [tv.format("s8,5", name="z"), tv.format("u4", name="x")]
        back = tv.read_words(tmp_path / f"w.{ending}", formats, iscomplex=[True, False])
        assert tv.identical(back[0], z) and tv.identical(back[1], x)
    assert tv.identical(tv.from_hex(z.hex(), z.type, iscomplex=True), z)
    assert tv.identical(tv.from_bin(z.bin(), z.type, iscomplex=True), z) and tv.from_oct("17", "u6").item() == 15
    with pytest.warns(tv.OverflowWarning):
        assert tv.from_decimal(["0.125", "-1e3"], "s8,3").tolist() == [0.125, -16]
    with pytest.raises(ValueError):
        tv.read_words(tmp_path / "w.csv", formats, iscomplex=[True])
