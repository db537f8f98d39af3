"""Fixed-point arithmetic in fractions of Python's own, which shares no code with the package."""

import math
from fractions import Fraction

from hypothesis import strategies as st

ROUNDINGS = {
    "floor": math.floor,
    "ceil": math.ceil,
    "toward_zero": math.trunc,
    "away_from_zero": lambda v: math.floor(v) if v < 0 else math.ceil(v),
    "nearest": lambda v: math.floor(v + Fraction(1, 2)),
    "nearest_down": lambda v: math.ceil(v - Fraction(1, 2)),
    "nearest_away": lambda v: math.floor(v + Fraction(1, 2)) if v > 0 else math.ceil(v - Fraction(1, 2)),
    "nearest_zero": lambda v: math.ceil(v - Fraction(1, 2)) if v > 0 else math.floor(v + Fraction(1, 2)),
    "convergent": round,
    "jam": lambda v: math.floor(v) | (v.denominator != 1),
}
OVERFLOWS = ("saturate", "wrap", "symmetric", "zero")


def bounds(signed, bits):
    return (-(1 << (bits - 1)), (1 << (bits - 1)) - 1) if signed else (0, (1 << bits) - 1)


def word(value, signed, bits, fraction, rounding="nearest", overflow="saturate"):
    """The word that a value becomes, and whether it overflowed."""
    least, greatest = bounds(signed, bits)
    if overflow == "symmetric" and signed:
        least = -greatest
    rounded = ROUNDINGS[rounding](Fraction(value) * Fraction(2) ** fraction)
    if least <= rounded <= greatest:
        return rounded, False
    if overflow == "wrap":
        low = bounds(signed, bits)[0]
        return (rounded - low) % (1 << bits) + low, True
    if overflow == "zero":
        return 0, True
    return min(max(rounded, least), greatest), True


@st.composite
def types(draw, most_bits=100):
    signed = draw(st.booleans())
    return signed, draw(st.integers(2, most_bits)), draw(st.integers(-20, 80))


def text(type):
    return f"{'s' if type[0] else 'u'}{type[1]},{type[2]}"


@st.composite
def word_arrays(draw, type, shape=None):
    least, greatest = bounds(type[0], type[1])
    count = draw(st.integers(1, 5)) if shape is None else math.prod(shape)
    near = st.sampled_from([least, greatest, least + 1, greatest - 1, 0, min(1, greatest)])
    return draw(st.lists(st.integers(least, greatest) | near, min_size=count, max_size=count))


def values(words, type):
    return [Fraction(one) * Fraction(2) ** -type[2] for one in words]
