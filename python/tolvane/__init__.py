"""Fixed-point arithmetic, bit for bit as hardware computes it, with numpy's habits and logs of what happens.

    import tolvane as tv

    x = tv.array([0.1, 0.9, -0.7], 's16,15', name='x')     # quantized once
    with tv.recording() as log:
        y = tv.cast(x * x + 1, 's12,10 convergent', name='y')  # operators are exact, casts round
    print(log)
"""

from __future__ import annotations

from ._array import Array, array, from_words
from ._core import Exact, FilterState, Fixed, FloatFormat, Format, Type
from ._core import version as __version__
from ._errors import DivisionError, Error, IndexError, KindError, OverflowError, OverflowWarning, errors
from ._filters import from_bin, from_hex, lfilter, read_words, sosfilt, words_from_text, words_text, write_words
from ._floats import FloatArray, multiply_add
from ._formats import format
from ._functions import (
    arange,
    argsort,
    array_equal,
    broadcast_to,
    cast,
    ceil,
    clip,
    complex_of,
    concat_bits,
    concatenate,
    convolve,
    count_ones,
    cumsum,
    diag,
    divide,
    dot,
    flip,
    floor,
    full,
    full_like,
    fullrange,
    get_bit,
    identical,
    leading_signs,
    leading_zeros,
    matmul,
    maximum,
    mean,
    minimum,
    ones,
    ones_like,
    reinterpret,
    repeat,
    rotate_bits,
    round,
    set_bit,
    shift_right_logical,
    sign,
    slice_bits,
    sort,
    sqrt,
    stack,
    sum,
    trailing_zeros,
    trunc,
    where,
    zeros,
    zeros_like,
)
from ._log import Log, Place, compare, propose, recording
