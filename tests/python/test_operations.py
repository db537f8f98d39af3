"""Every operation on arrays of random types, beside Python's integers.

An example is one operation on arrays of some 50 elements, of one pair of types and one target format. Each draw of
hypothesis puts its arrays through all operations of the table, so 100 000 examples are 100 000 / len(OPERATIONS) draws.
TOLVANE_DRAWS sets their number. `python3 tests/python/test_operations.py SECONDS [SEED]` runs without hypothesis and
counts examples and values.
"""

import math
import operator
import os
import random
import sys
import time
from fractions import Fraction

import numpy as np
from hypothesis import given, settings
from hypothesis import strategies as st

import oracle
import tolvane as tv

ROUNDINGS = [*sorted(oracle.ROUNDINGS), "nearest_odd"]
OPERATIONS = []


def rounded(n, d, rule):
    """The whole number that n / d becomes, for d > 0."""
    q, r = divmod(n, d)
    if r == 0:
        return q
    tie = 2 * r == d
    up = {
        "floor": False,
        "ceil": True,
        "toward_zero": n < 0,
        "away_from_zero": n > 0,
        "nearest": 2 * r >= d,
        "nearest_down": 2 * r > d,
        "nearest_away": 2 * r > d or (tie and n > 0),
        "nearest_zero": 2 * r > d or (tie and n < 0),
        "convergent": 2 * r > d or (tie and q % 2 == 1),
        "nearest_odd": 2 * r > d or (tie and q % 2 == 0),
        "jam": q % 2 == 0,
    }
    return q + up[rule]


def forced(n, d, type, rounding, overflow):
    """The word that n / d units of the last place become."""
    return oracle.word(rounded(n, d, rounding), type[0], type[1], 0, "floor", overflow)[0]


def at(n, fraction, type):
    """n / 2**fraction as a numerator and a denominator in units of the last place of a type."""
    shift = type[2] - fraction
    return (n << shift, 1) if shift >= 0 else (n, 1 << -shift)


def words_of(rng, type, count):
    least, greatest = oracle.bounds(type[0], type[1])
    edges = [least, greatest, 0, min(1, greatest), max(-1, least)]
    near = rng.random() < 0.3
    return [rng.choice(edges) if near and rng.random() < 0.3 else rng.randint(least, greatest) for _ in range(count)]


def array_of(words, type, shape):
    source = np.array(words, np.int64 if type[1] < 64 else object).reshape(shape)
    return tv.from_words(source, oracle.text(type))


class Case:
    """Two arrays of one shape, their words, a target format, and what is needed beside them."""

    def __init__(self, seed, ta, tb, tc, rounding, overflow, rows, columns):
        self.rng = random.Random(seed)
        self.ta, self.tb, self.tc, self.rounding, self.overflow = ta, tb, tc, rounding, overflow
        self.shape = (rows, columns)
        self.a, self.b = (words_of(self.rng, t, rows * columns) for t in (ta, tb))
        self.x, self.y = array_of(self.a, ta, self.shape), array_of(self.b, tb, self.shape)
        self.format = f"{oracle.text(tc)} {rounding} {overflow}"
        self.fraction = max(ta[2], tb[2])
        # Both in units of the finer last place.
        self.fa = [w << (self.fraction - ta[2]) for w in self.a]
        self.fb = [w << (self.fraction - tb[2]) for w in self.b]

    def force(self, n, fraction):
        return forced(*at(n, fraction, self.tc), self.tc, self.rounding, self.overflow)

    def rows(self, words):
        return [words[i : i + self.shape[1]] for i in range(0, len(words), self.shape[1])]

    def columns(self, words):
        return [words[i :: self.shape[1]] for i in range(self.shape[1])]


def same(made, expected, fraction):
    """Whether the values of an array are whole numbers over 2**fraction."""
    words = made.words.ravel().tolist()
    shift = fraction - made.type.fraction
    if shift >= 0:
        assert [w << shift for w in words] == expected
    else:
        assert words == [e << -shift for e in expected]


def operation(function):
    OPERATIONS.append(function)
    return function


def element_wise(compute, expect):
    """`expect(a, b)` of words in a common unit, of which the result is so many times 2**-fraction."""

    def run(c):
        same(compute(c.x, c.y), list(map(expect, c.fa, c.fb)), c.fraction)

    return run


def compared(compute):
    def run(c):
        made = compute(c.x, c.y)
        assert made.dtype == bool and made.ravel().tolist() == list(map(compute, c.fa, c.fb))

    return run


def of_one(compute, expect):
    return lambda c: same(compute(c.x), list(map(expect, c.a)), c.ta[2])


def of_words(compute, expect):
    """On words as bit patterns: `expect(pattern, bits, word)`."""

    def run(c):
        bits = c.ta[1]
        made = compute(c.x)
        patterns = [expect(w % (1 << bits), bits, w) for w in c.a]
        wide = made.type.bits
        assert [w % (1 << wide) for w in made.words.ravel().tolist()] == patterns

    return run


def counted(compute, expect):
    return lambda c: np.testing.assert_array_equal(
        compute(c.x).ravel(), [expect(format(w % (1 << c.ta[1]), f"0{c.ta[1]}b")) for w in c.a]
    )


OPERATIONS.extend(
    [
        element_wise(operator.add, operator.add),
        element_wise(operator.sub, operator.sub),
        element_wise(np.maximum, max),
        element_wise(np.minimum, min),
        element_wise(lambda x, y: tv.where(x < y, x, y), min),
        *map(compared, (operator.eq, operator.ne, operator.lt, operator.le, operator.gt, operator.ge)),
        of_one(operator.neg, operator.neg),
        of_one(abs, abs),
        of_one(operator.pos, operator.pos),
        of_one(lambda x: x.scaled(5), lambda w: w << 5),
        of_one(lambda x: x * 7, lambda w: 7 * w),
        of_one(lambda x: -3 * x + x * 0.5 + 0.5 * x, lambda w: -2 * w),
        of_one(lambda x: np.flip(np.repeat(x.ravel(), 2))[::-2], lambda w: w),
        of_words(lambda x: tv.reinterpret(x, f"u{x.type.bits},-3"), lambda p, n, w: p),
        of_words(operator.invert, lambda p, n, w: p ^ ((1 << n) - 1)),
        of_words(lambda x: x << 3, lambda p, n, w: (p << 3) % (1 << n)),
        of_words(lambda x: x >> 3, lambda p, n, w: (w >> 3) % (1 << n)),
        of_words(lambda x: tv.shift_right_logical(x, 2), lambda p, n, w: p >> 2),
        of_words(lambda x: tv.rotate_bits(x, 1), lambda p, n, w: (p << 1 | p >> (n - 1)) % (1 << n)),
        of_words(lambda x: tv.slice_bits(x, x.type.bits - 1, 1), lambda p, n, w: p >> 1),
        of_words(lambda x: tv.get_bit(x, 1), lambda p, n, w: p >> 1 & 1),
        of_words(lambda x: tv.set_bit(x, 1), lambda p, n, w: p | 2),
        of_words(lambda x: tv.set_bit(x, 0, False), lambda p, n, w: p & ~1),
        of_words(lambda x: tv.concat_bits(x, x), lambda p, n, w: p << n | p),
        of_words(lambda x: x & 1, lambda p, n, w: p & 1),
        of_words(lambda x: tv.from_hex(x.ravel().hex(), x.type), lambda p, n, w: p),
        of_words(lambda x: tv.from_bin(x.ravel().bin(), x.type), lambda p, n, w: p),
        of_words(lambda x: x.copy() if x.size > 3 else tv.array(x, x.type), lambda p, n, w: p),
        counted(tv.leading_zeros, lambda text: len(text) - len(text.lstrip("0"))),
        counted(tv.leading_signs, lambda text: len(text) - len(text.lstrip(text[0])) - 1),
        counted(tv.trailing_zeros, lambda text: len(text) - len(text.rstrip("0"))),
        counted(tv.count_ones, lambda text: text.count("1")),
    ]
)


@operation
def products(c):
    same(c.x * c.y, list(map(operator.mul, c.a, c.b)), c.ta[2] + c.tb[2])


@operation
def powers(c):
    same(c.x**3, [w**3 for w in c.a], 3 * c.ta[2])


@operation
def casts(c):
    assert tv.cast(c.x, c.format).words.ravel().tolist() == [c.force(w, c.ta[2]) for w in c.a]


@operation
def logged_casts(c):
    with tv.recording() as log:
        tv.cast(c.x, c.format, name="x")
    place, counts = log["x"], []
    for w in c.a:
        n = rounded(*at(w, c.ta[2], c.tc), c.rounding)
        counts.append((oracle.word(n, *c.tc[:2], 0, "floor", c.overflow)[1], n == 0 and w != 0))
    assert (place.values, place.overflows, place.underflows) == (len(c.a), *map(sum, zip(*counts)))
    assert place.before == tuple(oracle.values([min(c.a), max(c.a)], c.ta)) and place.format.text == c.format


@operation
def complex_products(c):
    made = tv.complex_of(c.x, c.y) * tv.complex_of(c.x, c.y).conj() * tv.array(1j, "s2")
    same(made.imag, [v * v + w * w for v, w in zip(c.fa, c.fb)], 2 * c.fraction)
    assert not made.real.any()


@operation
def integers(c):
    source = [w >> max(c.ta[1] - 60, 0) for w in c.a]
    assert tv.array(np.array(source), c.format).words.ravel().tolist() == [c.force(w, 0) for w in source]


@operation
def casts_beside_fractions(c):
    # The integers above beside the fractions of the other tests.
    value = Fraction(c.a[0]) / Fraction(2) ** c.ta[2]
    if c.rounding in oracle.ROUNDINGS:
        expected = oracle.word(value, *c.tc, c.rounding, c.overflow)[0]
        assert tv.array(value, c.format).words.tolist() == c.force(c.a[0], c.ta[2]) == expected


@operation
def quotients(c):
    divisors = [w or 1 for w in c.b]
    made = tv.divide(c.x, array_of(divisors, c.tb, c.shape), c.format)
    shift = c.tc[2] - c.ta[2] + c.tb[2]
    expected = []
    for n, d in zip(c.a, divisors):
        n, d = (-n, -d) if d < 0 else (n, d)
        n, d = (n << shift, d) if shift >= 0 else (n, d << -shift)
        expected.append(forced(n, d, c.tc, c.rounding, c.overflow))
    assert made.words.ravel().tolist() == expected


@operation
def roots(c):
    expected = []
    for w in map(abs, c.a):
        shift = 2 * (c.tc[2] + 2) - c.ta[2]
        n = w << max(shift, 0)
        root = math.isqrt(n >> max(-shift, 0))
        sticky = root * root << max(-shift, 0) != n
        expected.append(forced(2 * root + sticky, 8, c.tc, c.rounding, c.overflow))
    assert tv.sqrt(abs(c.x), c.format).words.ravel().tolist() == expected


@operation
def means(c):
    n, d = at(sum(c.a), c.ta[2], c.tc)
    assert c.x.mean(format=c.format).words.tolist() == forced(n, d * len(c.a), c.tc, c.rounding, c.overflow)


@operation
def sums(c):
    same(c.x.sum(), [sum(c.a)], c.ta[2])
    same(c.x.sum(axis=0), list(map(sum, c.columns(c.a))), c.ta[2])
    same(c.x.sum(axis=-1), list(map(sum, c.rows(c.a))), c.ta[2])


@operation
def stepwise_sums(c):
    total, expected = 0, []
    for w in c.a:
        # A partial sum has the places of both.
        fraction = max(c.tc[2], c.ta[2])
        total = c.force((total << (fraction - c.tc[2])) + (w << (fraction - c.ta[2])), fraction)
        expected.append(total)
    flat = c.x.ravel()
    assert flat.cumsum(format=c.format).words.tolist() == expected
    assert flat.sum(format=c.format).words.tolist() == total


@operation
def partial_sums(c):
    totals, expected = 0, []
    for w in c.a:
        totals += w
        expected.append(totals)
    same(c.x.cumsum(), expected, c.ta[2])


@operation
def dots(c):
    same(tv.dot(c.x.ravel(), c.y.ravel()), [sum(map(operator.mul, c.a, c.b))], c.ta[2] + c.tb[2])


@operation
def stepwise_dots(c):
    total, fraction = 0, max(c.tc[2], c.ta[2] + c.tb[2])
    for v, w in zip(c.a, c.b):
        total = c.force((total << (fraction - c.tc[2])) + (v * w << (fraction - c.ta[2] - c.tb[2])), fraction)
    assert tv.dot(c.x.ravel(), c.y.ravel(), sum=c.format).words.tolist() == total


@operation
def matrices(c):
    rows, other = c.rows(c.a), c.rows(c.b)
    expected = [sum(map(operator.mul, v, w)) for v in rows for w in other]
    same(c.x @ c.y.T, expected, c.ta[2] + c.tb[2])


@operation
def convolutions(c):
    x, h = c.a[: c.shape[1]], c.b[:3]
    expected = [sum(x[k - i] * h[i] for i in range(len(h)) if 0 <= k - i < len(x)) for k in range(len(x) + len(h) - 1)]
    same(tv.convolve(c.x[0], c.y.ravel()[:3]), expected, c.ta[2] + c.tb[2])


@operation
def extremes(c):
    same(c.x.max(axis=0), list(map(max, c.columns(c.a))), c.ta[2])
    same(c.x.min(axis=1), list(map(min, c.rows(c.a))), c.ta[2])
    assert c.x.argmax() == c.a.index(max(c.a)) and c.x.argmin() == c.a.index(min(c.a))


@operation
def orders(c):
    same(tv.sort(c.x), [w for row in c.rows(c.a) for w in sorted(row)], c.ta[2])
    assert tv.argsort(c.x.ravel()).tolist() == sorted(range(len(c.a)), key=c.a.__getitem__)


@operation
def bounds(c):
    low, high = sorted([c.b[0], c.b[-1]])
    at_b = array_of([low, high], c.tb, (2,))
    low, high = (w << (c.fraction - c.tb[2]) for w in (low, high))
    same(tv.clip(c.x, at_b[0], at_b[1]), [min(max(w, low), high) for w in c.fa], c.fraction)


@operation
def whole_numbers(c):
    n = [at(w, c.ta[2], (True, 1, 0)) for w in c.a]
    for compute, rule in ((tv.floor, "floor"), (tv.ceil, "ceil"), (tv.trunc, "toward_zero"), (tv.round, "convergent")):
        same(compute(c.x), [rounded(*one, rule) for one in n], 0)
    same(tv.round(c.x, "nearest_away"), [rounded(*one, "nearest_away") for one in n], 0)
    same(tv.sign(c.x), [(w > 0) - (w < 0) for w in c.a], 0)


@operation
def broadcasts(c):
    columns = c.shape[1]
    same(c.x + c.y[0], [w + c.fb[i % columns] for i, w in enumerate(c.fa)], c.fraction)
    same(c.x[:, :1] - c.y, [c.fa[i - i % columns] - w for i, w in enumerate(c.fb)], c.fraction)


@operation
def joined(c):
    same(np.concatenate([c.x, c.y]), c.fa + c.fb, c.fraction)
    same(np.stack([c.x, c.y], axis=-1), [w for pair in zip(c.fa, c.fb) for w in pair], c.fraction)


@operation
def indices(c):
    places = np.arange(len(c.a)).reshape(c.shape)
    mask = np.array(c.a).reshape(c.shape) > 0
    for key in (slice(None, None, -1), (..., slice(None, None, 2)), (0, -1), mask, (None, 0), ([0, -1], 0)):
        kept = places[key]
        assert c.x[key].shape == kept.shape and c.x[key].words.ravel().tolist() == [c.a[i] for i in np.ravel(kept)]
    assert c.x.T.words.ravel().tolist() == [c.a[i] for i in places.T.ravel()]


@operation
def assignments(c):
    target = tv.zeros(c.shape, oracle.text(c.tc))
    target[...] = c.x
    expected = [forced(*at(w, c.ta[2], c.tc), c.tc, "nearest", "saturate") for w in c.a]
    assert target.words.ravel().tolist() == expected
    target[0] = c.y[0]
    expected[: c.shape[1]] = [forced(*at(w, c.tb[2], c.tc), c.tc, "nearest", "saturate") for w in c.b[: c.shape[1]]]
    assert target.words.ravel().tolist() == expected


@operation
def values(c):
    assert c.x.astype(object).ravel().tolist() == oracle.values(c.a, c.ta)
    assert c.x.astype(float).ravel().tolist() == [float(v) for v in oracle.values(c.a, c.ta)]


@operation
def doubles(c):
    made = tv.array(c.x.astype(float), c.format)
    pairs = [v.as_integer_ratio() for v in c.x.astype(float).ravel().tolist()]
    assert made.words.ravel().tolist() == [c.force(n, d.bit_length() - 1) for n, d in pairs]


@operation
def logic(c):
    other = array_of(words_of(c.rng, c.ta, len(c.a)), c.ta, c.shape)
    beside = other.words.ravel().tolist()
    for compute in (operator.and_, operator.or_, operator.xor):
        assert compute(c.x, other).words.ravel().tolist() == list(map(compute, c.a, beside))


@operation
def variables(c):
    acc = tv.Fixed(c.format)
    b = tv.Fixed(oracle.text(c.ta))
    total, fraction = 0, max(c.tc[2], c.ta[2])
    for w, x in zip(c.a[:8], c.x.ravel()[:8]):
        b.set(x)
        acc.set(acc - b + 1 if fraction >= 0 else acc - b)
        one = 1 << fraction if fraction >= 0 else 0
        total = c.force((total << (fraction - c.tc[2])) - (w << (fraction - c.ta[2])) + one, fraction)
        assert acc.word == total


def run(*parts):
    case = Case(*parts)
    with tv.errors(overflow="ignore"):
        for one in OPERATIONS:
            one(case)


draws = st.tuples(
    st.integers(0, 2**64 - 1),
    oracle.types(),
    oracle.types(),
    oracle.types(),
    st.sampled_from(ROUNDINGS),
    st.sampled_from(oracle.OVERFLOWS),
    st.integers(1, 8),
    st.integers(1, 20),
)


@settings(max_examples=int(os.environ.get("TOLVANE_DRAWS", "1600")))
@given(draws)
def test_every_operation_agrees_with_integers(parts):
    run(*parts)


def main(seconds, seed):
    rng = random.Random(seed)
    count = elements = 0
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        types = [(rng.random() < 0.5, rng.randint(2, 100), rng.randint(-20, 80)) for _ in range(3)]
        shape = rng.randint(1, 8), rng.randint(1, 20)
        parts = [rng.getrandbits(64), *types, rng.choice(ROUNDINGS), rng.choice(oracle.OVERFLOWS), *shape]
        try:
            run(*parts)
        except BaseException:
            print("run" + repr(tuple(parts)), "failed; seed", seed, "after", count, "draws")
            raise
        count += 1
        elements += shape[0] * shape[1] * len(OPERATIONS)
    print(f"seed {seed}: {count} draws, {count * len(OPERATIONS)} examples of {len(OPERATIONS)} operations, "
          f"{elements} elements, 0 mismatches")  # fmt: skip


if __name__ == "__main__":
    main(float(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else time.time_ns())
