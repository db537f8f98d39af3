"""Operations into arrays that exist, comparisons, buffers and reductions: beside numpy's answers and fractions."""

import operator
import os
import warnings
from fractions import Fraction

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp

import oracle
import tolvane as tv

FUNCTIONS = [(tv.add, np.add, operator.iadd), (tv.subtract, np.subtract, operator.isub), (tv.multiply, np.multiply, operator.imul)]
small_types = st.tuples(st.booleans(), st.integers(2, 20), st.integers(-4, 12))


def drawn(data, type, shape):
    words = data.draw(oracle.word_arrays(type, shape))
    x = tv.from_words(np.array(words, object).reshape(shape), oracle.text(type), name="x")
    return x, np.array(oracle.values(words, type), object).reshape(shape)


@given(st.data(), st.one_of(small_types, oracle.types()), small_types, small_types, st.sampled_from(FUNCTIONS), st.sampled_from(["ignore", "warn", "raise"]))
def test_out_is_quantized_once_or_as_it_was(data, ta, tb, tc, functions, mode):
    shapes = data.draw(hnp.mutually_broadcastable_shapes(num_shapes=2, max_dims=3, max_side=3))
    ours, numpys, in_place = functions
    (a, fa), (b, fb) = (drawn(data, t, s) for t, s in zip((ta, tb), shapes.input_shapes))
    exact = numpys(fa, fb)
    expected = [oracle.word(one, *tc) for one in np.ravel(exact)]
    overflows = any(over for _, over in expected)
    for run in (lambda out: ours(a, b, out=out), lambda out: numpys(a, b, out=out)):
        out = tv.from_words(np.zeros(shapes.result_shape, int), oracle.text(tc), name="out")
        kept, view = out.copy(), out.words
        with warnings.catch_warnings(record=True) as caught, tv.errors(overflow=mode):
            warnings.simplefilter("always")
            if mode == "raise" and overflows:
                with pytest.raises(tv.OverflowError):
                    run(out)
                assert tv.identical(out, kept)
            else:
                assert run(out) is out
                assert out.words.ravel().tolist() == [word for word, _ in expected]
        assert bool(caught) == (mode == "warn" and overflows)
        assert (view == 0).all() and (kept.words == 0).all() and out.name == "out"
    with tv.errors(overflow="ignore"):
        text = f"{oracle.text(tc)} convergent wrap"
        made = ours(a, b, format=text)
        assert made.words.ravel().tolist() == [oracle.word(one, *tc, "convergent", "wrap")[0] for one in np.ravel(exact)]
        if shapes.result_shape == a.shape:
            before = a.copy()
            same = in_place(a, b)
            assert same is a and a.type == before.type
            assert a.words.ravel().tolist() == [oracle.word(one, *ta)[0] for one in np.ravel(exact)]


def test_what_out_cannot_do_says_the_cure():
    x = tv.array([0.5, 0.25], "s8,7", name="x")
    before = x.copy()
    for call, kind, words in (
        (lambda: tv.add(x, x, out=np.zeros(2)), TypeError, "tolvane.zeros"),
        (lambda: tv.add(x, x, "s9,7", out=x), TypeError, "format or out"),
        (lambda: np.add(x, x, out=x, where=[True, False]), TypeError, "tolvane.where"),
        (lambda: np.add(x, x, out=np.zeros(2)), TypeError, "fixed-point"),
        (lambda: np.add(np.ones(2), x, out=x, dtype=float), TypeError, "dtype"),
        (lambda: np.add(x, [1, 2, 3], out=x), ValueError, ""),
        (lambda: np.add(x, [[1, 2], [3, 4]], out=x), ValueError, ""),
        (lambda: operator.iadd(x, [[1, 2], [3, 4]]), ValueError, ""),
        (lambda: operator.imul(x, 1j), TypeError, ""),
        (lambda: operator.iadd(x, "1"), TypeError, ""),
        (lambda: x.__setitem__(..., np.array([1.0, np.nan])), ValueError, ""),
        (lambda: np.less(x, x, out=x), TypeError, "truth"),
    ):
        with pytest.raises(kind, match=words):
            call()
        assert tv.identical(x, before)
    flags = np.zeros(2, bool)
    assert np.less(x, 0.4, out=flags) is flags and flags.tolist() == [False, True]
    with tv.errors(overflow="ignore"):
        x[...] = np.array([2.0, 0.1])[::-1]
    assert x.words.tolist() == [13, 127]
    np.copyto(x, 0.5)
    assert x.words.tolist() == [64, 64]


def test_a_warning_that_is_an_error_leaves_everything_as_it_was():
    x = tv.array(np.full(3000, 0.75), "s8,7", name="x")
    before = x.copy()
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        for call in (
            lambda: operator.iadd(x, x),
            lambda: tv.multiply(x, 4, out=x),
            lambda: x.__setitem__(..., np.full(3000, 1.5)),
            lambda: x.__setitem__(slice(None, None, 2), 1.5),
            lambda: np.copyto(x, 3),
        ):
            with pytest.raises(tv.OverflowWarning):
                call()
            assert tv.identical(x, before)


@given(st.data(), oracle.types(), oracle.types(), hnp.array_shapes(max_dims=3, max_side=4), hnp.array_shapes(max_dims=3, max_side=4))
def test_shapes_fit_as_numpys_do(data, ta, tb, first, second):
    (a, fa), (b, fb) = drawn(data, ta, first), drawn(data, tb, second)
    try:
        expected = np.less(fa, fb)
    except ValueError:
        for operation in (operator.add, operator.lt, operator.eq, np.maximum, tv.subtract):
            with pytest.raises(ValueError):
                operation(a, b)
        return
    assert (np.asarray(a < b) == expected).all() and (np.asarray(a >= b) != expected).all()
    assert (np.asarray(a == b) == (fa == fb)).all() and (np.asarray(a != b) == (fa != fb)).all()


@given(st.data(), small_types, hnp.array_shapes(max_dims=3, max_side=3), st.booleans())
def test_reductions_have_numpys_axes(data, type, shape, keepdims):
    x, fx = drawn(data, type, shape)
    axis = data.draw(st.one_of(st.none(), hnp.valid_tuple_axes(len(shape)), st.integers(-len(shape), len(shape) - 1)))
    for name in ("sum", "max", "min"):
        if axis != ():
            expected = getattr(np, name)(fx, axis=axis, keepdims=keepdims)
            for made in (getattr(x, name)(axis=axis, keepdims=keepdims), getattr(np, name)(x, axis=axis, keepdims=keepdims)):
                assert made.shape == np.shape(expected) and (made.astype(object) == expected).all()
    truth = fx != 0
    for name in ("any", "all"):
        expected = getattr(np, name)(truth, axis=axis, keepdims=keepdims)
        made = getattr(np, name)(x, axis=axis, keepdims=keepdims)
        assert np.shape(made) == np.shape(expected) and (np.asarray(made) == expected).all()
    if axis != ():
        total = np.sum(fx, axis=axis, keepdims=keepdims)
        terms = fx.size // max(np.size(total), 1)
        with tv.errors(overflow="ignore"):
            made = x.mean(axis=axis, format="s30,12", keepdims=keepdims)
        assert made.shape == np.shape(total)
        assert made.words.ravel().tolist() == [oracle.word(Fraction(one, terms), True, 30, 12)[0] for one in np.ravel(total)]


def test_complex_sums_and_means_have_both_parts():
    values = np.array([[1 + 2j, 3 - 1j], [0.5j, -2]])
    x = tv.array(values, "s12,4", name="x")
    for axis in (None, 0, 1, (0, 1), -1):
        assert (np.asarray(x.sum(axis=axis)) == values.sum(axis)).all()
        assert (np.asarray(x.mean(axis=axis, format="s20,8")) == values.mean(axis)).all()
    assert (np.asarray(np.cumsum(x, axis=0)) == values.cumsum(0)).all()
    with pytest.raises(TypeError):
        x.max()


keys = st.one_of(
    hnp.basic_indices((3, 4, 2), allow_newaxis=True),
    st.tuples(st.integers(-5, 5), st.integers(-5, 5)),
    st.tuples(hnp.arrays(np.intp, hnp.array_shapes(max_dims=2, max_side=3), elements=st.integers(-5, 5)), st.slices(4)),
    st.tuples(st.slices(3), hnp.arrays(bool, st.integers(3, 5))),
    st.tuples(st.none(), st.just(...), hnp.arrays(np.intp, 2, elements=st.integers(-3, 2))),
    st.tuples(st.just(...), st.just(...)),
    st.sampled_from([np.int8(1), np.array(2), True, False, (), [], [[0, 1], [2, 0]], (0, None, [1, 1]), 1.0, "a", (0, 0, 0, 0)]),
)


@pytest.mark.filterwarnings("ignore:Out of bound index:DeprecationWarning")
@given(keys, st.integers(0, 3))
def test_any_index_means_what_it_means_to_numpy(key, form):
    plain = np.arange(24).reshape(3, 4, 2)
    x = tv.array(plain, "s10,1", name="x")
    try:
        expected = plain[key]
    except (IndexError, TypeError) as refused:
        with pytest.raises((IndexError, TypeError)):
            x[key]
        with pytest.raises((IndexError, TypeError)):
            x[key] = 1
        return
    assert x[key].shape == np.shape(expected) and (x[key].astype(int) == expected).all()
    values = [7, np.full(np.shape(expected), 3), np.arange(2), np.ones((2, 1, 3, 1))][form]
    try:
        plain[key] = values
    except ValueError:
        with pytest.raises(ValueError):
            x[key] = values
    else:
        x[key] = values
    assert (x.astype(int) == plain).all()


@given(st.data(), st.sampled_from(["i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8"]), small_types, st.sampled_from([3, 70, 1500]))
def test_integers_cross_exactly(data, dtype, type, count):
    edges = np.iinfo(dtype)
    some = data.draw(st.lists(st.integers(int(edges.min), int(edges.max)) | st.sampled_from([0, int(edges.min), int(edges.max)]), min_size=1, max_size=5))
    source = np.resize(np.array(some, dtype), count)
    with tv.errors(overflow="ignore"), tv.recording() as log:
        made = tv.array(source, oracle.text(type), name="x")
    expected = [oracle.word(int(one), *type) for one in source]
    assert made.words.tolist() == [word for word, _ in expected]
    assert log["x"].overflows == sum(over for _, over in expected) and log["x"].before == (int(source.min()), int(source.max()))
    least, greatest = oracle.bounds(*type[:2])
    if all(least <= one <= greatest for one in source.tolist()):
        assert tv.from_words(source, oracle.text(type)).words.tolist() == source.tolist()
    else:
        with pytest.raises(tv.Error, match="no word"):
            tv.from_words(source, oracle.text(type))


def test_memory_outlives_the_array_and_a_fork():
    x = tv.array(np.arange(200_000), "s20")
    doubles, words, flags = np.asarray(x), x.words, x > 5
    x += 1
    del x
    child = os.fork()
    if child == 0:
        y = tv.array(np.arange(200_000), "s20")
        y += 1
        os._exit(0 if y.words[-1] == 200_000 and doubles[-1] == 199_999 else 1)
    assert os.waitpid(child, 0)[1] == 0
    assert doubles[-1] == words[-1] == 199_999 and flags.sum() == 199_994
