"""The array."""

from __future__ import annotations

import decimal
import fractions
import math
import numbers
import operator
from collections.abc import Callable, Iterator, Sequence
from typing import Any, SupportsIndex, Union

import numpy as np

from . import _core
from ._core import Exact, Fixed, Format, Type
from ._rules import are_constants_best

FormatLike = Union[str, Format, Type]
ArrayLike = Any

_new = object.__new__


def _wrap(core: _core.FixedArray) -> Array:
    made = _new(Array)
    made._c = core
    return made


def _fraction(pair: tuple[int, int]) -> fractions.Fraction:
    word, exponent = pair
    return fractions.Fraction(word << exponent) if exponent >= 0 else fractions.Fraction(word, 1 << -exponent)


def _from_memory(memory: Any, dtype: Any, shape: tuple[int, ...]) -> Any:
    return np.frombuffer(memory, dtype).reshape(shape) if 0 not in shape else np.empty(shape, dtype)


def _is_dyadic(value: fractions.Fraction) -> bool:
    below = value.denominator
    return below & (below - 1) == 0


def _pair(value: fractions.Fraction) -> tuple[int, int]:
    return value.numerator, 1 - value.denominator.bit_length()


def _exact_number(value: Any) -> fractions.Fraction:
    """A real number of any kind as a fraction."""
    if isinstance(value, (Fixed, Exact)):
        return _fraction(value._pair())
    if isinstance(value, Array):
        return value.item()
    if isinstance(value, (numbers.Rational, decimal.Decimal)):
        return fractions.Fraction(value)
    if isinstance(value, (float, np.floating)):
        if not np.isfinite(value):
            raise _core_error("tolvane:value:finite", f"{value} is no finite number.")
        return fractions.Fraction(*value.as_integer_ratio())
    if isinstance(value, (np.integer, np.bool_)):
        return fractions.Fraction(int(value))
    raise TypeError(f"A number is needed, not {type(value).__name__}.")


def _core_error(id: str, text: str) -> Exception:
    from ._errors import _make

    return _make(id, text)


def _named(format: FormatLike, name: str | None) -> Format | FormatLike:
    return format if name is None else Format(format, name=name)


def _as_ndarray(values: Any) -> Any:
    """Numbers as an array of numpy, with nothing rounded on the way."""
    if isinstance(values, np.ndarray):
        return values
    if isinstance(values, (Fixed, Exact, Array, fractions.Fraction, decimal.Decimal)):
        made = np.empty((), object)
        made[()] = values
        return made
    if isinstance(values, int) and not -(2**63) <= values < 2**63:
        return np.array(values, object)
    if isinstance(values, (list, tuple)):
        kept = np.array(values, dtype=object)
        kinds = {type(value) for value in kept.flat}
        if kinds <= {float} or kinds <= {int, bool}:
            made = np.array(values)
            # Integers of 64 bits with and without sign would become floats.
            return made if made.dtype.kind in ("f" if kinds == {float} else "ib") else kept
        if kinds <= {float, int, bool} and all(type(v) is float or abs(v) <= 2**53 for v in kept.flat):
            return kept.astype(float)
        if complex in kinds and kinds <= {float, int, complex}:
            return kept.astype(complex)
        return kept
    return np.asarray(values)


def _bits(integers: Any) -> int:
    """The bits that integers need, without their sign bit."""
    least, greatest = int(integers.min()), int(integers.max())
    return max(greatest.bit_length(), (~least).bit_length() if least < 0 else 0)


def _integers(source: Any) -> Any:
    """Integers as the engine reads them."""
    return np.ascontiguousarray(source, source.dtype.newbyteorder("="))


def _quantize(values: Any, format: FormatLike) -> _core.FixedArray:
    if isinstance(values, Array):
        return _core.cast(values._c, format)
    source = _as_ndarray(values)
    shape = source.shape
    kind = source.dtype.kind
    size = source.dtype.itemsize
    if kind == "f" and size <= 8:
        return _core.quantize_buffer(np.ascontiguousarray(source, np.float64), "f", shape, format)
    if kind in "iub":
        return _core.quantize_buffer(_integers(source), "i", shape, format)
    if kind == "c" and size <= 16:
        return _core.quantize_buffer(np.ascontiguousarray(source, np.complex128), "c", shape, format)
    if kind not in "Of":
        raise TypeError(f"Arrays are made of numbers, not of {source.dtype}.")
    exact = [_exact_number(value) for value in source.flat]
    if all(map(_is_dyadic, exact)):
        return _core.quantize_numbers([_pair(value) for value in exact], shape, format)
    return _core.quantize_quotients(
        [value.numerator for value in exact], [value.denominator for value in exact], shape, format
    )


def _exact(values: Any, beside: Array | None) -> _core.FixedArray:
    """An operand that is no array. Floats have to fit the words of the array beside it, or are rounded if the rules of
    the context say so; all else is exact."""
    if isinstance(values, bool):
        values = int(values)
    if isinstance(values, int):
        return _core.constant(_EMPTY, values, True)
    if isinstance(values, float) and beside is not None:
        if are_constants_best():
            return _best(np.asarray(values), beside)
        return _core.constant(beside._c, values, False)
    if isinstance(values, (Fixed, Exact)):
        return _core.constant(_EMPTY, values._pair(), True)
    source = _as_ndarray(values)
    kind = source.dtype.kind
    if kind in "iubfO" and not source.size:
        return _core.zeros(source.shape, "s1")
    if kind in "iub":
        bits = _bits(source)
        if bits < 64:
            return _core.from_words(np.ascontiguousarray(source, np.int64), source.shape, f"s{bits + 1}")
    if beside is not None and kind in "fcO" and are_constants_best() and not _are_whole(source):
        return _best(source, beside)
    if kind == "f" and source.dtype.itemsize <= 8:
        made = np.ascontiguousarray(source, np.float64)
        return _core.exact_doubles(made, source.shape, None if beside is None else beside._c)
    if kind == "c":
        return _core.complex_of(_exact(source.real.copy(), beside), _exact(source.imag.copy(), beside))
    if kind in "iubO":
        exact = [_exact_number(value) for value in source.flat]
        if not all(map(_is_dyadic, exact)):
            raise TypeError(
                "A fraction that is no multiple of a power of two has no exact word; quantize it: tolvane.array(value, 's18,17')."
            )
        return _core.exact_numbers([_pair(value) for value in exact], source.shape)
    raise TypeError(f"Operands are numbers, not {source.dtype}.")


def _are_whole(source: Any) -> bool:
    return source.dtype.kind == "O" and all(isinstance(value, (int, np.integer)) for value in source.flat)


def _best(source: Any, beside: Array) -> _core.FixedArray:
    """Constants in the best precision that words of the length and the sign of an array give the greatest of them."""
    parts = [source.real, source.imag] if source.dtype.kind == "c" else [source]
    reached = [0.0]
    for part in parts if source.size else []:
        extremes = part.flat if part.dtype.kind == "O" else (part.min(), part.max())
        reached += [float(value) for value in extremes]
    greatest = max(reached, key=lambda value: (abs(value), value))
    type = beside.type
    name = f"constant {greatest!r}" if source.size == 1 else f"constants to {greatest!r}"
    return _quantize(source, Format(_core.best_type(type.signed, type.bits, greatest), name=name))


def _operand(value: Any, beside: Array | None = None) -> _core.FixedArray:
    return value._c if isinstance(value, Array) else _exact(value, beside)


_NUMBERS = (int, float, complex, numbers.Number, np.ndarray, np.generic, list, tuple, Fixed, Exact)
_EMPTY = _core.zeros((0,), "s1")


def _is_left_to(other: Any, x: Array) -> bool:
    """Whether an operator makes an expression, since one side is a variable or one and the other a single element."""
    return isinstance(other, (Fixed, Exact)) and not x._c.ndim and not x._c.is_complex


def _binary(operation: Callable[[Any, Any], Any]) -> tuple[Callable[[Array, Any], Any], Callable[[Array, Any], Any]]:
    def forward(self: Array, other: Any) -> Any:
        if type(other) is Array:
            made = _new(Array)
            made._c = operation(self._c, other._c)
            return made
        if not isinstance(other, _NUMBERS) or _is_left_to(other, self):
            return NotImplemented
        return _wrap(operation(self._c, _exact(other, self)))

    def reflected(self: Array, other: Any) -> Any:
        if not isinstance(other, _NUMBERS) or _is_left_to(other, self):
            return NotImplemented
        return _wrap(operation(_exact(other, self), self._c))

    return forward, reflected


def _in_place(operation: Callable[[Any, Any, Any, Any], None]) -> Callable[[Array, Any], Array]:
    def update(self: Array, other: Any) -> Array:
        if type(other) is not Array and not isinstance(other, _NUMBERS):
            return NotImplemented
        operation(self._c, self._c, _operand(other, self), None)
        return self

    return update


def _comparison(operation: Callable[[Any, Any], Any]) -> Callable[[Array, Any], Any]:
    def compare(self: Array, other: Any) -> Any:
        if type(other) is not Array and not isinstance(other, _NUMBERS):
            return NotImplemented
        return _compared(operation, self._c, _operand(other))

    return compare


def _compared(operation: Callable[[Any, Any], Any], a: _core.FixedArray, b: _core.FixedArray) -> Any:
    shape = np.broadcast_shapes(a.shape, b.shape) if a.shape != b.shape else a.shape
    return _from_memory(operation(a, b), np.bool_, shape)[()]


def _places(count: Any) -> int:
    if isinstance(count, (int, np.integer)) and not isinstance(count, bool):
        return int(count)
    raise TypeError("Words are shifted by a whole number of places, the same for all elements.")


def _word_operand(value: Any, beside: Array) -> _core.FixedArray:
    """An operand of logic, bit by bit: an array, or integers as words of the other operand's type."""
    if isinstance(value, Array):
        return value._c
    source = _as_ndarray(value)
    if source.dtype.kind not in "iuO":
        raise TypeError("Logic bit by bit needs words: an array, or integers.")
    type = beside.type
    words = [int(word) for word in source.flat]
    if type.signed:  # patterns with the top bit set are words below zero
        words = [word - (1 << type.bits) if word >> (type.bits - 1) == 1 else word for word in words]
    return from_words(np.array(words, object).reshape(source.shape), type)._c


def _axes(axis: Any, ndim: int) -> tuple[int, ...]:
    """Axes from 0 on, in ascending order."""
    wanted = range(ndim) if axis is None else axis if isinstance(axis, tuple) else (axis,)
    axes = []
    for one in wanted:
        index = operator.index(one)
        if not -ndim <= index < ndim:
            raise _core_error("tolvane:array:axis", f"There is no axis {index} of {ndim}.")
        axes.append(index % ndim)
    if len(set(axes)) != len(axes):
        raise ValueError("An axis can be reduced only once.")
    return tuple(sorted(axes))


def _reduced(x: Array, reduce: Callable[[Any, int], Any], axis: Any, keepdims: bool) -> Array:
    """What `reduce(core, axis)` makes along one axis after the other, the last one first."""
    axes = _axes(axis, x.ndim)
    core = x._c
    if len(axes) == x.ndim != 1:
        core = reduce(core.reshaped((x.size,)), 0)
    else:
        for one in reversed(axes):
            core = reduce(core, one)
    return _wrap(core.reshaped(_kept_shape(x, axes, True)) if keepdims else core)


def _merged(x: Array, axes: tuple[int, ...]) -> _core.FixedArray:
    """The array with some axes as one, the last one."""
    rest = [i for i in range(x.ndim) if i not in axes]
    order = [*rest, *axes]
    core = x._c if order == list(range(x.ndim)) else _core.permute(x._c, order)
    return core.reshaped([*[x.shape[i] for i in rest], math.prod(x.shape[i] for i in axes)])


def _kept_shape(x: Array, axes: tuple[int, ...], keepdims: bool) -> tuple[int, ...]:
    if keepdims:
        return tuple(1 if i in axes else size for i, size in enumerate(x.shape))
    return tuple(size for i, size in enumerate(x.shape) if i not in axes)


def _truth(x: Array, reduce: Callable[[Any], bool], along: Callable[[Any, int], Any], axis: Any, keepdims: bool) -> Any:
    if axis is None and not keepdims:
        return reduce(x._c)
    axes = _axes(axis, x.ndim)
    return _from_memory(along(_merged(x, axes), -1), np.bool_, _kept_shape(x, axes, keepdims))[()]


class Array:
    """An array of fixed-point numbers: words of one type, with numpy's habits.

    Operators are exact: their types grow so that they hold every result. Casts, assignments and functions with a format
    quantize, once for each value. Made by `tolvane.array`, `from_words`, `zeros` and others. Slices are copies, never
    views; assigning to elements changes this array alone.
    """

    __slots__ = ("_c", "__weakref__")
    __array_priority__ = 1000.0
    __hash__ = None  # type: ignore[assignment]
    _c: _core.FixedArray

    def __init__(self, values: ArrayLike, format: FormatLike, name: str | None = None) -> None:
        self._c = _quantize(values, _named(format, name))

    # What it is.

    @property
    def type(self) -> Type:
        """The type of the words."""
        return self._c.type

    @property
    def shape(self) -> tuple[int, ...]:
        return self._c.shape

    @property
    def ndim(self) -> int:
        return self._c.ndim

    @property
    def size(self) -> int:
        return self._c.size

    @property
    def name(self) -> str:
        """The name under which logs keep what is assigned to its elements; empty if it has none."""
        return self._c.name

    @property
    def iscomplex(self) -> bool:
        return self._c.is_complex

    @property
    def real(self) -> Array:
        return _wrap(self._c.real())

    @property
    def imag(self) -> Array:
        return _wrap(self._c.imag())

    @property
    def T(self) -> Array:
        return self.transpose()

    @property
    def words(self) -> Any:
        """The words as integers, in two's complement if signed: a read-only view as int64 (uint64 without sign), which
        keeps what it shows, or an array of Python ints beyond 64 bits."""
        if self._c.is_complex:
            raise TypeError("A complex array has words of two parts: x.real.words and x.imag.words.")
        type = self._c.type
        if type.bits <= 64:
            return _from_memory(self._c.words(), np.int64 if type.signed else np.uint64, self.shape)
        count = (type.bits + 63) // 64 * 8
        memory = bytes(memoryview(self._c.limbs()))
        made = np.empty(self.size, object)
        for i in range(self.size):
            made[i] = int.from_bytes(memory[i * count : (i + 1) * count], "little", signed=type.signed)
        return made.reshape(self.shape)

    def _texts(self, texts: list[str]) -> Any:
        if not self.shape:
            return texts[0]
        return np.array(texts, object).reshape(self.shape).tolist()

    def hex(self) -> Any:
        """The words as hexadecimal texts, all of one length, in lists as the array is shaped."""
        return self._texts(_core.to_hex(self._c))

    def bin(self) -> Any:
        """The words as texts of bits."""
        return self._texts(_core.to_bin(self._c))

    def named(self, name: str) -> Array:
        """The same array under another name."""
        return _wrap(self._c.named(name))

    def copy(self) -> Array:
        return _wrap(self._c.named(self._c.name))

    def __copy__(self) -> Array:
        return self.copy()

    def __deepcopy__(self, memo: Any) -> Array:
        return self.copy()

    def __reduce__(self) -> tuple[Any, ...]:
        core = self._c
        parts = [core.real(), core.imag()] if core.is_complex else [core]
        return _restored, (core.type.text, core.shape, core.name, *[bytes(memoryview(part.limbs())) for part in parts])

    # Values.

    def item(self, *index: int) -> fractions.Fraction:
        """One element as a fraction: of an array of one element, or the one at an index."""
        if self._c.is_complex:
            raise TypeError("A complex element has two parts: x.real.item() and x.imag.item().")
        if index:
            return self[index].item()
        if self.size != 1:
            raise ValueError("Only an array of one element is one number.")
        return _fraction(self._c.at(0))

    def _doubles(self, is_any_allowed: bool) -> Any:
        if self._c.is_complex:
            real, imag = self.real._doubles(is_any_allowed), self.imag._doubles(is_any_allowed)
            made = np.empty(self.shape, complex)
            made.real, made.imag = real, imag
            return made
        memory = self._c.doubles(is_any_allowed)
        if memory is None:
            raise ValueError(
                f"Some values of {self.type} lie between doubles. Ask for the nearest ones, x.astype(float), "
                "or for fractions, x.astype(object)."
            )
        return _from_memory(memory, np.float64, self.shape)

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> Any:
        if copy is False:
            raise ValueError("The values of an array have no memory of their own; x.words is a view of its words.")
        return self._doubles(False) if dtype is None else self.astype(dtype)

    def astype(self, dtype: Any) -> Any:
        """The values as an array of numpy: the nearest floats, whole numbers cut off toward zero, or fractions for
        `object`. Never the words."""
        try:
            wanted = np.dtype(dtype)
        except TypeError:
            raise TypeError(f"{dtype!r} is no type of numpy's. Other formats are reached by a cast: x.cast('s8,7').") from None
        if wanted.kind in "Ofiu" and self._c.is_complex:
            raise TypeError("Complex values become floats, integers or fractions by x.real and x.imag.")
        if wanted.kind == "O":
            made = np.empty(self.size, object)
            made[:] = [_fraction(pair) for pair in self._c.values()]
            return made.reshape(self.shape)
        if wanted.kind in "fc":
            return self._doubles(True).astype(wanted, copy=False)
        if wanted.kind in "iu":
            whole = [int(_fraction(pair)) for pair in _core.trunc(self._c).values()]
            return np.array(whole, wanted).reshape(self.shape)
        if wanted.kind == "b":
            return _compared(_core.not_equal, self._c, _exact(0, None))
        raise TypeError(f"Values don't become {wanted}.")

    def tolist(self) -> Any:
        """The values as floats in lists, as `np.asarray(x).tolist()`."""
        return self.__array__().tolist()

    def __float__(self) -> float:
        return float(self.item())

    def __int__(self) -> int:
        return int(self.item())

    def __complex__(self) -> complex:
        if self.size != 1:
            raise TypeError("Only an array of one element is one number.")
        return complex(self._doubles(True).reshape(())[()])

    def __bool__(self) -> bool:
        if self.size != 1:
            raise ValueError("The truth of an array of several elements is ambiguous; use any() or all().")
        return bool(_core.any(self._c))

    def __len__(self) -> int:
        if not self.shape:
            raise TypeError("len() of an array without dimensions")
        return self.shape[0]

    def __iter__(self) -> Iterator[Array]:
        if not self.shape:
            raise TypeError("iteration over an array without dimensions")
        return (self[i] for i in range(self.shape[0]))

    def __repr__(self) -> str:
        name = f", name={self.name!r}" if self.name else ""
        type = self.type
        if not self.iscomplex and type.bits <= 54 and abs(type.fraction) < 900:
            text = np.array2string(self._doubles(True), separator=", ", prefix="tolvane.array(", floatmode="unique")
            text = text if self.size else repr(np.empty(self.shape).tolist())
            return f"tolvane.array({text}, '{type}'{name})"
        if self.iscomplex:
            return f"tolvane.complex_of({self.real!r}, {self.imag!r})"
        text = np.array2string(self.words, separator=", ", prefix="tolvane.from_words(")
        return f"tolvane.from_words({text}, '{type}'{name})"

    def __str__(self) -> str:
        return str(self._doubles(True))

    def _repr_html_(self) -> str:
        from . import _html

        return _html.array(self)

    def __format__(self, spec: str) -> str:
        return format(float(self), spec) if spec else str(self)

    # Arithmetic.

    __add__, __radd__ = _binary(_core.add)
    __sub__, __rsub__ = _binary(_core.subtract)
    __mul__, __rmul__ = _binary(_core.multiply)

    def __matmul__(self, other: Any) -> Array:
        return _wrap(_core.matmul(self._c, _operand(other, self), None, None))

    def __rmatmul__(self, other: Any) -> Array:
        return _wrap(_core.matmul(_operand(other, self), self._c, None, None))

    def __neg__(self) -> Array:
        return _wrap(_core.negative(self._c))

    def __pos__(self) -> Array:
        return self.copy()

    def __abs__(self) -> Array:
        return _wrap(_core.absolute(self._c))

    def __pow__(self, exponent: Any) -> Array:
        if not isinstance(exponent, (int, np.integer)) or isinstance(exponent, bool):
            raise TypeError("Powers are by whole numbers; tolvane.sqrt(x, 's16,15') is the root, rounded once.")
        return _wrap(_core.power(self._c, int(exponent)))

    def __truediv__(self, other: Any) -> Array:
        raise TypeError("Quotients have no exact word: tolvane.divide(a, b, 's16,15') rounds once, x.scaled(-n) divides by 2**n.")

    __rtruediv__ = __floordiv__ = __rfloordiv__ = __mod__ = __rmod__ = __truediv__

    # These quantize into this array's type, to nearest and with saturation.
    __iadd__ = _in_place(_core.assign_sum)
    __isub__ = _in_place(_core.assign_difference)
    __imul__ = _in_place(_core.assign_product)

    def scaled(self, places: int) -> Array:
        """The values times 2**places, exactly: the point moves."""
        return _wrap(_core.scaled(self._c, places))

    # Words.

    def __lshift__(self, places: Any) -> Array:
        return _wrap(_core.shift_left(self._c, _places(places)))

    def __rshift__(self, places: Any) -> Array:
        return _wrap(_core.shift_right(self._c, _places(places)))

    def __and__(self, other: Any) -> Array:
        return _wrap(_core.and_bits(self._c, _word_operand(other, self)))

    def __or__(self, other: Any) -> Array:
        return _wrap(_core.or_bits(self._c, _word_operand(other, self)))

    def __xor__(self, other: Any) -> Array:
        return _wrap(_core.xor_bits(self._c, _word_operand(other, self)))

    __rand__, __ror__, __rxor__ = __and__, __or__, __xor__

    def __invert__(self) -> Array:
        return _wrap(_core.not_bits(self._c))

    # Comparisons, by exact value.

    __eq__ = _comparison(_core.equal)  # type: ignore[assignment]
    __ne__ = _comparison(_core.not_equal)  # type: ignore[assignment]
    __lt__ = _comparison(_core.less)
    __le__ = _comparison(_core.less_equal)
    __gt__ = _comparison(_core.greater)
    __ge__ = _comparison(_core.greater_equal)

    # Elements.

    def _simple_key(self, key: Any) -> list[Any] | None:
        """The ranges of an index of integers, slices and an ellipsis; None for others."""
        keys = key if type(key) is tuple else (key,)
        shape = self.shape
        ranges: list[Any] = []
        for i, one in enumerate(keys):
            kind = type(one)
            if one is Ellipsis:
                rest = len(shape) - (len(keys) - 1)
                if rest < 0 or any(other is Ellipsis for other in keys[i + 1 :]):
                    return None
                ranges.extend([(None, None, 1)] * rest)
                continue
            if len(ranges) >= len(shape):
                return None
            if kind is int:
                ranges.append(one)
            elif kind is slice:
                start, stop, step = one.indices(shape[len(ranges)])
                if (stop <= start) if step > 0 else (stop >= start):
                    ranges.append((0, 0, 1))
                else:
                    ranges.append((start, stop if stop >= 0 else None, step))
            else:
                return None
        return ranges

    def _place_map(self, key: Any) -> Any:
        """The places in memory of the elements of any index, as numpy has them."""
        return np.arange(self.size, dtype=np.int64).reshape(self.shape)[key]

    def __getitem__(self, key: Any) -> Array:
        ranges = self._simple_key(key)
        if ranges is not None:
            return _wrap(_core.sliced(self._c, ranges))
        places = np.asarray(self._place_map(_numpy_key(key)))
        return _wrap(_core.take(self._c, np.ascontiguousarray(places)).reshaped(places.shape))

    def __setitem__(self, key: Any, value: Any) -> None:
        if key is Ellipsis:
            self._assign(value)
            return
        values = value._c if type(value) is Array else _assigned(value, self)
        ranges = self._simple_key(key)
        if ranges is not None:
            self._c.put_slice(ranges, values)
            return
        places = np.asarray(self._place_map(_numpy_key(key)))
        if values.shape != places.shape:
            values = _core.broadcast_to(values, places.shape)
        self._c.put_places(np.ascontiguousarray(places), values.reshaped((places.size,)))

    def _assign(self, value: Any) -> None:
        """Quantizes values into all elements."""
        if isinstance(value, np.ndarray) and value.dtype == np.float64 and value.shape == self._c.shape:
            if not self._c.is_complex:
                _core.assign_doubles(self._c, np.ascontiguousarray(value))
                return
        _core.assign(self._c, value._c if type(value) is Array else _assigned(value, self))

    def reshape(self, *shape: Any) -> Array:
        """As many elements in another shape; one size may be -1."""
        wanted = shape[0] if len(shape) == 1 and isinstance(shape[0], (tuple, list)) else shape
        sizes = [int(size) for size in wanted]
        if sizes.count(-1) == 1:
            known = int(np.prod([size for size in sizes if size != -1], dtype=np.int64))
            if known == 0 or self.size % known:
                raise ValueError(f"An array of shape {self.shape} can't take the shape {tuple(sizes)}.")
            sizes[sizes.index(-1)] = self.size // known
        if any(size < 0 for size in sizes):
            raise ValueError("Sizes are at least 0, except for one -1.")
        return _wrap(self._c.reshaped(sizes))

    def ravel(self) -> Array:
        return self.reshape(-1) if self.size else self.reshape(0)

    def flatten(self) -> Array:
        return self.ravel()

    def squeeze(self) -> Array:
        return self.reshape(tuple(size for size in self.shape if size != 1))

    def transpose(self, *axes: Any) -> Array:
        order = axes[0] if len(axes) == 1 and isinstance(axes[0], (tuple, list)) else axes
        if not order or order == (None,):
            order = tuple(range(self.ndim))[::-1]
        return _wrap(_core.permute(self._c, [int(axis) for axis in order]))

    # Reductions.

    def sum(self, axis: Any = None, format: FormatLike | None = None, keepdims: bool = False) -> Array:
        """The sums along an axis or several, or of all elements: exact, or with each partial sum quantized."""
        if format is not None and isinstance(axis, tuple) and len(axis) > 1:
            raise TypeError("The order of partial sums along several axes isn't defined; sum along one after the other.")
        return _reduced(self, lambda core, along: _core.sum(core, along, format), axis, keepdims)

    def cumsum(self, axis: int | None = None, format: FormatLike | None = None) -> Array:
        """All partial sums along an axis, or of all elements in order."""
        core = self._c.reshaped((self.size,)) if axis is None else self._c
        return _wrap(_core.cumsum(core, 0 if axis is None else axis, format))

    def mean(self, axis: Any = None, format: FormatLike | None = None, keepdims: bool = False) -> Array:
        """The exact sums along an axis, several or all, over the number of their terms, rounded once to a format."""
        if format is None:
            raise TypeError("A mean has no exact word; give a format: x.mean(format='s16,15').")
        if self.iscomplex:
            parts = [part.mean(axis, format, keepdims)._c for part in (self.real, self.imag)]
            return _wrap(_core.complex_of(*parts).named(parts[0].name))
        axes = _axes(axis, self.ndim)
        core = _core.mean(_merged(self, axes), -1, format)
        return _wrap(core.reshaped(_kept_shape(self, axes, True)) if keepdims else core)

    def clip(self, low: ArrayLike, high: ArrayLike) -> Array:
        return _wrap(_core.clip(self._c, _operand(low, self), _operand(high, self)))

    def max(self, axis: Any = None, keepdims: bool = False) -> Array:
        return _reduced(self, _core.max, axis, keepdims)

    def min(self, axis: Any = None, keepdims: bool = False) -> Array:
        return _reduced(self, _core.min, axis, keepdims)

    def _indices(self, memory: Any, axis: int) -> Any:
        (one,) = _axes(axis, self.ndim)
        return _from_memory(memory, np.int64, self.shape[:one] + self.shape[one + 1 :])[()]

    def argmax(self, axis: int | None = None) -> Any:
        return _core.argmax(self._c) if axis is None else self._indices(_core.argmax_along(self._c, axis), axis)

    def argmin(self, axis: int | None = None) -> Any:
        return _core.argmin(self._c) if axis is None else self._indices(_core.argmin_along(self._c, axis), axis)

    def any(self, axis: Any = None, keepdims: bool = False) -> Any:
        return _truth(self, _core.any, _core.any_along, axis, keepdims)

    def all(self, axis: Any = None, keepdims: bool = False) -> Any:
        return _truth(self, _core.all, _core.all_along, axis, keepdims)

    def dot(self, other: Any) -> Array:
        return self.__matmul__(other)

    def conj(self) -> Array:
        return _wrap(_core.conj(self._c))

    def cast(self, format: FormatLike, name: str | None = None) -> Array:
        """Every element forced into a format."""
        return _wrap(_core.cast(self._c, _named(format, name)))

    # What numpy's functions become.

    def __array_ufunc__(self, ufunc: Any, method: str, *inputs: Any, **options: Any) -> Any:
        from . import _numpy

        return _numpy.ufunc(ufunc, method, inputs, options)

    def __array_function__(self, function: Any, types: Any, args: Any, kwargs: Any) -> Any:
        from . import _numpy

        return _numpy.function(function, args, kwargs)


_core.set_array_class(Array)


def _numpy_key(key: Any) -> Any:
    def plain(one: Any) -> Any:
        if isinstance(one, Array):
            raise TypeError("Arrays of fixed-point numbers are no indices; use x.words or x.astype(int).")
        return one

    return tuple(plain(one) for one in key) if type(key) is tuple else plain(key)


def _assigned(value: Any, into: Array) -> _core.FixedArray:
    """A value for elements of an array: exact, so that it is quantized once, when it is written."""
    if isinstance(value, (float, int, Fixed, Exact)):
        if isinstance(value, float) and not np.isfinite(value):
            raise _core_error("tolvane:value:finite", f"{value} is no finite number.")
        return _exact(value, None) if not isinstance(value, float) else _core.constant(_EMPTY, value, True)
    source = _as_ndarray(value)
    if source.dtype.kind == "O":
        exact = [_exact_number(one) for one in source.flat]
        if not all(map(_is_dyadic, exact)):
            return _quantize(source, Format(into.type, name=into.name))
    return _exact(source, None)


def array(values: ArrayLike, format: FormatLike, name: str | None = None) -> Array:
    """An array of values, each quantized once to a format.

    Values are numbers of all kinds, exactly: buffers of any dtype, lists, Fractions, Decimals, Python ints, arrays. The
    name is that of the place in logs and warnings.

    >>> import tolvane as tv
    >>> tv.array([0.1, 0.9, -0.5], 's8,7', name='x')
    tolvane.array([ 0.1015625,  0.8984375, -0.5      ], 's8,7', name='x')

    Raises Error "tolvane:value:finite" for infinities and NaN, TypeError for what is no number.
    """
    return _wrap(_quantize(values, _named(format, name)))


def from_words(words: ArrayLike, type: FormatLike, name: str | None = None) -> Array:
    """An array of words as integers of any shape, in two's complement if signed.

    >>> import tolvane as tv
    >>> tv.from_words([64, -128], 's8,7')
    tolvane.array([ 0.5, -1. ], 's8,7')

    Integers that are no word of the type raise Error "tolvane:array:word", other numbers TypeError.
    """
    wanted = type if isinstance(type, Type) else Type(type)
    source = np.asarray(words) if not isinstance(words, (int, list, tuple)) else np.array(words, object)
    if source.dtype.kind not in "iubO":
        raise TypeError(f"Words are integers, not {source.dtype}.")
    if wanted.bits <= 64 and source.dtype.kind != "O":
        # What the engine would see as a word of the other sign.
        if source.dtype.kind == "i" and wanted.bits == 64 and not wanted.signed and source.size and int(source.min()) < 0:
            raise _core_error("tolvane:array:word", f"{int(source.min())} is no word of {wanted}.")
        if source.dtype.kind == "u" and wanted.signed and source.size and int(source.max()) >= 1 << 63:
            raise _core_error("tolvane:array:word", f"{int(source.max())} is no word of {wanted}.")
        made = _core.from_words(_integers(source), source.shape, wanted)
    else:
        least = -(1 << (wanted.bits - 1)) if wanted.signed else 0
        greatest = (1 << (wanted.bits - (1 if wanted.signed else 0))) - 1
        count = (wanted.bits + 63) // 64 * 8
        limbs = bytearray()
        for word in source.flat:
            if isinstance(word, (bool, np.bool_)) or not isinstance(word, (int, np.integer)):
                raise TypeError(f"Words are integers, not {word.__class__.__name__}.")
            if not least <= word <= greatest:
                raise _core_error("tolvane:array:word", f"{word} is no word of {wanted}.")
            limbs += int(word).to_bytes(count, "little", signed=wanted.signed)
        made = _core.from_limbs(limbs, source.shape, wanted)
    return _wrap(made if name is None else made.named(name))


def _restored(type: str, shape: tuple[int, ...], name: str, *parts: bytes) -> Array:
    cores = [_core.from_limbs(part, shape, type) for part in parts]
    core = cores[0] if len(cores) == 1 else _core.complex_of(*cores)
    return _wrap(core.named(name))
