"""Operators, functions and indices, beside fractions and numpy."""

import operator
from fractions import Fraction

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp

import oracle
import tolvane as tv


def array_of(data, type, shape=None):
    words = data.draw(oracle.word_arrays(type, shape))
    x = tv.from_words(np.array(words, object).reshape(len(words) if shape is None else shape), oracle.text(type))
    return x, np.array(oracle.values(words, type), object).reshape(x.shape)


shapes = hnp.mutually_broadcastable_shapes(num_shapes=2, max_dims=3, max_side=3)


@given(st.data(), oracle.types(), oracle.types(), shapes)
def test_arithmetic_is_exact_and_broadcasts(data, ta, tb, shapes):
    (a, fa), (b, fb) = (array_of(data, t, s) for t, s in zip((ta, tb), shapes.input_shapes))
    for operation in (operator.add, operator.sub, operator.mul):
        made = operation(a, b)
        assert made.shape == shapes.result_shape
        assert (made.astype(object) == operation(fa, fb)).all()
    for operation in (operator.eq, operator.ne, operator.lt, operator.le, operator.gt, operator.ge):
        made = operation(a, b)
        assert np.asarray(made).dtype == bool and np.shape(made) == shapes.result_shape
        assert (made == operation(fa, fb)).all()
    for made, expected in ((-a, -fa), (abs(a), abs(fa)), (a**3, fa**3), (a.scaled(-3), fa / 8), (+a, fa)):
        assert (made.astype(object) == expected).all()
    assert (np.maximum(a, b).astype(object) == np.maximum(fa, fb)).all()
    assert (np.minimum(a, b).astype(object) == np.minimum(fa, fb)).all()


@given(st.data(), oracle.types(most_bits=30))
def test_sums_and_products_of_vectors_are_exact(data, type):
    a, fa = array_of(data, type, (2, 3))
    b, fb = array_of(data, type, (3, 2))
    for made, expected in (
        (a @ b, fa.dot(fb)),
        (np.matmul(a[0], b), fa[0].dot(fb)),
        (np.dot(a[0], b[:, 1]), fa[0].dot(fb[:, 1])),
        (a.sum(), fa.sum()),
        (np.sum(a, axis=1), fa.sum(1)),
        (np.sum(a, axis=(0, -1)), fa.sum((0, 1))),
        (a.sum(axis=(1,), keepdims=True), fa.sum(1, keepdims=True)),
        (np.max(a, axis=None, keepdims=True), fa.max(keepdims=True)),
        (np.add.reduce(a, axis=-2, keepdims=True), np.add.reduce(fa, axis=0, keepdims=True)),
        (np.minimum.reduce(a), np.minimum.reduce(fa)),
        (np.cumsum(a, axis=-1), fa.cumsum(1)),
        (a.cumsum(), fa.cumsum()),
        (a.max(axis=0), fa.max(0)),
        (a.min(), fa.min()),
        (np.convolve(a[0], b[:, 0]), np.convolve(fa[0], fb[:, 0])),
        (np.convolve(a[0], b[:2, 0], "valid"), np.convolve(fa[0], fb[:2, 0], "valid")),
        (np.convolve(a[0], b[:2, 0], "same"), np.convolve(fa[0], fb[:2, 0], "same")),
        (np.where(fa > 0, a, -1), np.where(fa > 0, fa, -1)),
        (np.where([[True], [False]], a[0], b[:, 1]), np.where([[True], [False]], fa[0], fb[:, 1])),
        (np.concatenate([a, b.T, a]), np.concatenate([fa, fb.T, fa])),
        (np.stack([a, b.T], axis=-1), np.stack([fa, fb.T], axis=-1)),
        (np.transpose(a), fa.T),
        (np.reshape(a, (3, -1)), fa.reshape(3, -1)),
        (np.sort(a), np.sort(fa)),
        (np.round(a), np.vectorize(round, [object])(fa)),
        (np.floor(a), np.vectorize(lambda v: v // 1, [object])(fa)),
    ):
        assert made.shape == np.shape(expected)
        assert (made.astype(object) == expected).all()
    assert (np.any(a, axis=-1) == (fa != 0).any(1)).all() and (a.all(axis=0) == (fa != 0).all(0)).all()
    assert np.argmax(a) == np.argmax(fa) and (np.argmin(a, axis=1) == np.argmin(fa, axis=1)).all()
    assert np.array_equal(a, fa) and not np.array_equal(a, b) and tv.array_equal(a, a.astype(object))


@pytest.mark.parametrize("sum, product", [("s12,4 floor wrap", None), (None, "s10,3 convergent"), ("s9,2", "s9,4")])
def test_sums_are_quantized_step_by_step(sum, product):
    a = np.array([7, -3, 5, 6])
    b = np.array([-5, 4, 7, 3])
    total = 0
    with tv.errors(overflow="ignore"):
        for one, other in zip(a, b):
            term = Fraction(int(one * other), 2**6)
            term = tv.array(term, product).item() if product else term
            total = tv.array(total + term, sum).item() if sum else total + term
        x, y = tv.from_words(a, "s5,3"), tv.from_words(b, "s5,3")
        assert tv.dot(x, y, product=product, sum=sum).item() == total
        assert tv.matmul(x, y, product=product, sum=sum).item() == total
        assert tv.convolve(x, y[::-1], product=product)[3].item() == (total if not sum else tv.dot(x, y, product=product).item())


def test_constants_are_exact_or_refused():
    x = tv.array([0.5, 0.25], "s8,7", name="x")
    assert (x + 2**80).astype(object).tolist() == [2**80 + Fraction(1, 2), 2**80 + Fraction(1, 4)]
    assert (1 - 0.5 * x).tolist() == [0.75, 0.875]
    assert (np.array([1, 2]) * x + np.array([0.5, -0.25])).tolist() == [1.0, 0.25]
    assert (x + [1, 2]).tolist() == [1.5, 2.25] and (x + np.float32(0.5)).tolist() == [1.0, 0.75]
    assert (x == np.array([0.5, 0.1])).tolist() == [True, False] and (x < 0.3).tolist() == [False, True]
    for wrong in (0.1, np.array([0.5, 0.1]), np.float64(0.1)):
        with pytest.raises(TypeError, match="tolvane.array"):
            x * wrong
    with pytest.raises(TypeError):
        x + Fraction(1, 3)
    with pytest.raises(TypeError):
        x + "1"
    assert (x == "1") is False or not np.any(x == "1")


index = st.one_of(
    hnp.basic_indices((3, 4, 2), allow_newaxis=True, allow_ellipsis=True),
    hnp.integer_array_indices((3, 4, 2), result_shape=hnp.array_shapes(max_dims=2, max_side=3)),
    hnp.arrays(bool, (3, 4, 2)),
    hnp.arrays(bool, (3,)),
    st.tuples(hnp.arrays(bool, (3,)), st.integers(-4, 3)),
)


@given(index)
def test_indices_mean_what_they_mean_to_numpy(key):
    plain = np.arange(-12, 12).reshape(3, 4, 2)
    x = tv.array(plain, "s10,1", name="x")
    assert x[key].shape == np.shape(plain[key]) and (x[key].astype(int) == plain[key]).all()
    x[key] = 5
    plain[key] = 5
    assert (x.astype(int) == plain).all()
    if plain[key].ndim:
        values = np.arange(plain[key].size).reshape(plain[key].shape)
        x[key] = tv.array(values, "s20,3")
        plain[key] = values
        assert (x.astype(int) == plain).all()


def test_what_numpy_refuses_is_refused():
    x = tv.array([[1, 2], [3, 4]], "s8,1")
    for key in (2, (0, 0, 0), [0, 5], np.array([True])):
        with pytest.raises(IndexError):
            x[key]
    with pytest.raises(TypeError):
        x[tv.array(1, "s8")]
    with pytest.raises(ValueError):
        x + tv.array([1, 2, 3], "s8")
    for axis in (2, -3, (0, 2)):
        for call in (x.sum, x.max, x.any, x.argmin):
            with pytest.raises((IndexError, ValueError, TypeError)):
                call(axis=axis)
    with pytest.raises(ValueError):
        x.sum(axis=(0, -2))
    for call in (
        lambda: x / 2,
        lambda: 1 // x,
        lambda: np.sqrt(x),
        lambda: np.sin(x),
        lambda: np.fft.fft(x),
        lambda: np.add(x, x, where=[True, False]),
        lambda: np.mean(x),
        lambda: np.add(x, x, out=np.zeros((2, 2))),
        lambda: np.multiply.reduce(x),
        lambda: x ** 0.5,
    ):
        with pytest.raises(TypeError):
            call()


def test_out_and_assignment_quantize():
    x = tv.array([0.5, 0.25], "s8,7", name="x")
    other = x
    with tv.recording() as log, pytest.warns(tv.OverflowWarning):
        np.multiply(x, 3.0, out=x)
        x[1] = 0.3
        x *= 1
    assert log["x"].values == 5
    assert other is x and x.words.tolist() == [127, 38] and log["x"].overflows == 1
    with tv.errors(overflow="ignore"):
        x += 0.25 * x
    x -= 0.5
    assert other is x and x.words.tolist() == [63, -16]
    with pytest.raises(TypeError):
        x[0] = 1j


def test_logic_takes_integers_as_patterns():
    x = tv.from_words([-128, 5, 127], "s8,3")
    assert (x & 0xF0).words.tolist() == [-128, 0, 112]
    with pytest.raises(ValueError):
        x & 256


@given(hnp.arrays(np.float64, 4, elements=st.floats(allow_nan=False, allow_infinity=False)), st.data())
def test_floats_of_all_sizes_are_compared_and_assigned_exactly(values, data):
    type = data.draw(oracle.types())
    x, fx = array_of(data, type, (4,))
    exact = np.array([Fraction(one) for one in values], object)
    assert ((x < values) == (fx < exact)).all() and ((x == values) == (fx == exact)).all()
    with tv.errors(overflow="ignore"):
        x[:] = values
        assert x.words.tolist() == [oracle.word(one, *type)[0] for one in exact]
        x[::2] = float(values[0])
        assert x.words.tolist()[::2] == [oracle.word(exact[0], *type)[0]] * 2
