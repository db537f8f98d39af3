"""Making arrays, and what comes out of them."""

import copy
import decimal
import pickle
from fractions import Fraction

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st

import oracle
import tolvane as tv


@given(st.data(), oracle.types(), st.sampled_from(sorted(oracle.ROUNDINGS)), st.sampled_from(oracle.OVERFLOWS))
def test_values_are_quantized_as_fractions_are(data, type, rounding, overflow):
    scale = Fraction(2) ** -type[2]
    numbers = st.integers(-(2 ** (type[1] + 2)), 2 ** (type[1] + 2))
    fine = data.draw(st.lists(numbers, min_size=1, max_size=4))
    below = data.draw(st.sampled_from([1, 2, 4, 3, 10]))
    exact = [Fraction(one, below) * scale for one in fine]
    with tv.errors(overflow="ignore"):
        made = tv.array(np.array(exact, object), f"{oracle.text(type)} {rounding} {overflow}")
    assert made.words.tolist() == [oracle.word(one, *type, rounding, overflow)[0] for one in exact]


@pytest.mark.parametrize("dtype", ["?", "i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f2", "f4", "f8", "g", ">i4", ">f8", "O"])
def test_buffers_of_every_kind_keep_their_values(dtype):
    source = np.array([[0, 1, 1], [1, 0, 1]]).astype(dtype)
    for values in (source, source.T, source[:, ::2], source[::-1, ::-1]):
        made = tv.array(values, "s8,3")
        assert made.shape == values.shape
        assert (made.words == 8 * values.astype(int)).all()


@pytest.mark.parametrize("most", [1, 2, 127, 128, 2**31, 2**62])
def test_integers_of_both_signs_are_exact(most):
    for values in ([-most, most - 1], [-most - 1, 0], [most, 0], [-most, -1]):
        assert tv.array(np.array(values), "s80,3").words.tolist() == [8 * value for value in values]
        assert (tv.array([0, 0], "s2") + np.array(values)).astype(object).tolist() == values


@pytest.mark.parametrize("type", ["u64", "s65", "u65", "s127", "u128", "s128,3", "u129", "s192"])
def test_words_at_the_ends_of_limbs_come_back(type):
    signed, bits = type[0] == "s", tv.Type(type).bits
    least, greatest = oracle.bounds(signed, bits)
    words = [least, greatest, 0, 1, greatest - 1, least + 1]
    assert tv.from_words(words, type).words.tolist() == words


def test_the_ends_of_long_integers_are_exact():
    assert tv.array(np.array([2**64 - 1, 1], np.uint64), "u64").words.tolist() == [2**64 - 1, 1]
    assert tv.array(np.array([-(2**63), 2**63 - 1]), "s64").words.tolist() == [-(2**63), 2**63 - 1]
    assert tv.array([2**100, -(2**99), 3.0], "s110").words.tolist() == [2**100, -(2**99), 3]
    assert tv.array([2**53 + 1, 0.5], "s60,1").words.tolist() == [2**54 + 2, 1]
    assert tv.array(2**70, "s80").item() == 2**70
    assert tv.array([2**63 + 1, -1], "s80").words.tolist() == [2**63 + 1, -1]


def test_other_numbers_are_exact():
    made = tv.array([Fraction(1, 3), decimal.Decimal("-0.1"), True, np.float32(0.5)], "s30,20 floor")
    assert made.words.tolist() == [2**20 // 3, -(2**20 // 10) - 1, 2**20, 2**19]
    both = tv.array(np.array([1.5 - 0.25j, 2j]), "s8,4")
    assert both.iscomplex and both.real.words.tolist() == [24, 0] and both.imag.words.tolist() == [-4, 32]
    assert np.asarray(both).tolist() == [1.5 - 0.25j, 2j]


@pytest.mark.parametrize("values", [["a"], "s8", None, [None], np.array(["1"]), np.array([1], "M8[s]")])
def test_what_is_no_number_is_refused(values):
    with pytest.raises((TypeError, ValueError)):
        tv.array(values, "s8,3")


def test_values_that_are_not_finite_are_refused():
    for values in (np.inf, [np.nan], np.array([1.0, -np.inf]), [Fraction(1, 3), float("nan")]):
        with pytest.raises(tv.Error) as caught:
            tv.array(values, "s8,3")
        assert caught.value.id == "tolvane:value:finite"


@given(st.data(), oracle.types(most_bits=200))
def test_words_come_back(data, type):
    words = data.draw(oracle.word_arrays(type))
    x = tv.from_words(words, oracle.text(type), name="x")
    assert x.words.tolist() == words
    assert x.astype(object).tolist() == oracle.values(words, type)
    assert x.astype(float).tolist() == [float(one) for one in oracle.values(words, type)]
    assert [int(one, 16) for one in x.hex()] == [one % 2 ** type[1] for one in words]
    assert [int(one, 2) for one in x.bin()] == [one % 2 ** type[1] for one in words]
    assert tv.identical(tv.from_hex(x.hex(), x.type), x)
    for other in (pickle.loads(pickle.dumps(x)), copy.copy(x), copy.deepcopy(x)):
        assert tv.identical(other, x) and other.name == "x"
    back = eval(repr(x), {"tolvane": tv})
    assert tv.identical(back, x) and back.name == "x"


def test_words_beyond_the_type_are_refused():
    for words, type in (([128], "s8"), ([-1], "u8"), (np.array([2**63], np.uint64), "s64"), ([2**80], "u80"), ([-1], "u64")):
        with pytest.raises(tv.Error) as caught:
            tv.from_words(words, type)
        assert caught.value.id == "tolvane:array:word"
    with pytest.raises(TypeError):
        tv.from_words([0.5], "s8,3")


def test_words_are_a_view_that_keeps_what_it_shows():
    x = tv.array([0.5, 0.25], "s8,3")
    words = x.words
    x[0] = 1
    assert words.tolist() == [4, 2] and x.words.tolist() == [8, 2]
    with pytest.raises(ValueError):
        words[0] = 3


def test_only_exact_doubles_come_unasked():
    assert np.asarray(tv.from_words([2**60], "s64,70")).tolist() == [2.0**-10]
    x = tv.from_words([2**60 + 1], "s64,3")
    with pytest.raises(ValueError, match="astype"):
        np.asarray(x)
    assert np.asarray(x, float)[0] == 2.0**57
    assert np.asarray(x, object)[0] == Fraction(2**60 + 1, 8)
    assert tv.array([2.75, -2.75], "s8,3").astype(int).tolist() == [2, -2]
    assert tv.array([2.75, 0], "s8,3").astype(bool).tolist() == [True, False]


def test_formats_and_types_are_values():
    f = tv.format("s16,15 convergent wrap", name="y")
    assert (f.type.bits, f.type.fraction, f.type.signed) == (16, 15, True)
    assert (f.rounding, f.overflow, f.name) == ("convergent", "wrap", "y")
    for one in (f, f.type, tv.FloatFormat("bf16")):
        assert pickle.loads(pickle.dumps(one)) == one
        assert hash(copy.deepcopy(one)) == hash(one) and eval(repr(one), {"tolvane": tv}) == one
    assert f != f.named("z") and f.type != f and tv.Type("u4") != tv.Type("s4")
    assert tv.format("s8", rounding="floor").text == "s8,0 floor saturate"
    for wrong in ("Q1.15", "s0,1", "s8 up", "s8,3 floor floor"):
        with pytest.raises(tv.Error):
            tv.format(wrong)
    with pytest.raises(TypeError):
        tv.array([1], 16)


def test_arrays_from_nothing():
    assert tv.zeros((2, 3), "s8,3").shape == (2, 3)
    assert tv.ones(2, "u4,1").words.tolist() == [2, 2]
    assert tv.full((1, 2), 0.3, "s8,3").words.tolist() == [[2, 2]]
    assert tv.arange(-1, 1, 0.25, format="s8,4").words.tolist() == list(range(-16, 16, 4))
    assert tv.fullrange("s3").words.tolist() == list(range(-4, 4))
    assert tv.zeros_like(tv.ones(3, "s8,1", name="n")).name == "n"
    assert repr(tv.zeros((0, 2), "s8,1")) and tv.array([], "s8,1").shape == (0,)


def test_arrays_have_no_hash_and_no_truth_of_several_elements():
    x = tv.array([1, 0], "s8,1")
    with pytest.raises(TypeError):
        hash(x)
    with pytest.raises(ValueError):
        bool(x)
    assert x.any() and not x.all() and bool(x[0]) and not x[1]


doubles = st.floats(allow_nan=False, allow_infinity=False, width=64) | st.floats(-300, 300) | st.sampled_from([0.0, -0.0])


@given(st.lists(doubles, min_size=1, max_size=70), oracle.types(), st.sampled_from(sorted(oracle.ROUNDINGS)), st.sampled_from(oracle.OVERFLOWS))
def test_doubles_are_quantized_as_fractions_are(values, type, rounding, overflow):
    expected = [oracle.word(Fraction(one), *type, rounding, overflow) for one in values]
    with tv.errors(overflow="ignore"), tv.recording() as log:
        made = tv.array(np.array(values), f"{oracle.text(type)} {rounding} {overflow}", name="x")
    assert made.words.tolist() == [word for word, _ in expected]
    place = log["x"]
    assert (place.values, place.overflows) == (len(values), sum(over for _, over in expected))
    assert place.underflows == sum(word == 0 and not over and one != 0 for one, (word, over) in zip(values, expected))
    assert place.before == (Fraction(min(values)), Fraction(max(values)))
