"""Files of the host's variables."""

from __future__ import annotations

import dataclasses
import functools
import math
import os
import warnings
from collections.abc import Iterator, Mapping
from fractions import Fraction
from typing import Any, Union

import numpy as np

from . import _core
from ._array import Array, _wrap, array
from ._core import Exact, Fixed, Format, Type
from ._errors import Error, _make

Rules = dict[str, Union[str, float, int, bool]]

_CURE = (
    "On Debian, install libhdf5-dev, libssl-dev and libmuparser-dev, then build the package again "
    "(`make python`, or `pip install --no-build-isolation --no-index .`)."
)


@dataclasses.dataclass(frozen=True)
class ScaledType:
    """The values factor * 2**exponent * word + bias, for words of some bits: the host's slope and bias scaling."""

    signed: bool
    bits: int
    factor: float
    exponent: int
    bias: float

    @property
    def slope(self) -> Fraction:
        """The distance of neighbouring values, exactly."""
        return Fraction(self.factor) * Fraction(2) ** self.exponent


class ScaledArray:
    """An array of the host with slope and bias: `words`, an array of integers, and their `type`.

    `values()` is the exact array of what the words stand for; computing begins there.
    """

    def __init__(self, words: Array, type: ScaledType) -> None:
        if not isinstance(words, Array) or words.type != Type(f"{'s' if type.signed else 'u'}{type.bits}"):
            raise TypeError(
                "The words are an array of integers as long as the type says: tolvane.from_words(words, 's16')."
            )
        self.words = words
        self.type = type

    @property
    def name(self) -> str:
        return self.words.name

    def values(self) -> Array:
        """The exact array of what the words stand for."""
        slopes: Array = (self.words * _exact(self.type.factor)).scaled(self.type.exponent)
        values: Array = slopes + _exact(self.type.bias)
        return values

    def __repr__(self) -> str:
        return f"ScaledArray({self.words!r}, {self.type!r})"


class HostObject:
    """An object of the host that has no counterpart here: its class, its properties, and all that saving it again needs.

    Values in floats that carry a type, types without a binary point, structures of types, logs and rules are such objects.
    """

    def __init__(self, class_name: str, saved: bytes) -> None:
        self.class_name = class_name
        self._saved = saved

    @functools.cached_property
    def properties(self) -> dict[str, Any]:
        """The properties that have a value, in the order of the class."""
        return {name: _from_host(value, 0) for name, value in _host().properties(self._saved)}

    def __reduce__(self) -> tuple[Any, ...]:
        return HostObject, (self.class_name, self._saved)

    def __repr__(self) -> str:
        return f"<HostObject {self.class_name}>"


class Contents(dict[str, Any]):
    """The variables of a file, by name. `rules` has the rules of arrays that have their own, by the array's place in the
    file: "x", "state.taps" of a struct, "parts[0]" of a cell."""

    rules: dict[str, Rules]

    def __init__(self, *args: Any, **kwargs: Any) -> None:
        super().__init__(*args, **kwargs)
        self.rules = {}


@functools.lru_cache(maxsize=None)
def _host() -> Any:
    try:
        from . import _host as host
    except ModuleNotFoundError as missing:
        if missing.name != "tolvane._host":
            raise
        raise ImportError(
            f"This build of tolvane lacks the reference host, which reads and writes the host's files. {_CURE}",
            name="tolvane._host",
        ) from None
    host.set_errors(_host_error)
    return host


def _host_error(id: str, text: str) -> Exception:
    if id == "VELMAR:part:notFound":
        return ImportError(f"{text} {_CURE}", name="tolvane._host")
    return _make(id, text)


def _exact(value: float) -> Array:
    numerator, denominator = value.as_integer_ratio()
    whole = array(numerator, f"s{numerator.bit_length() + 1}")
    return whole.scaled(1 - denominator.bit_length())


# Into the host's values. An array of shape (a, b, c) is the host's c-by-b-by-a, with its elements in the same order.

_CLASSES = {"float64": "double", "float32": "single", "complex128": "double", "complex64": "single", "bool": "logical"}
_DTYPES = {"double": np.float64, "single": np.float32, "logical": np.bool_, "char": np.uint16}
_ROUNDINGS = {"toward_zero": "fix", "nearest_away": "round"} | {
    name: name for name in ("ceil", "convergent", "floor", "nearest")
}
_ROUNDINGS_HERE = {there: here for here, there in _ROUNDINGS.items()}


def _dimensions(shape: tuple[int, ...]) -> list[int]:
    return list(reversed(shape)) + [1] * (2 - len(shape))


def _words(x: _core.FixedArray) -> tuple[Any, Any]:
    return (x.real().limbs(), x.imag().limbs()) if x.is_complex else (x.limbs(), None)


def _type_parts(type: Type | ScaledType) -> tuple[Any, ...]:
    if isinstance(type, ScaledType):
        return type.signed, type.bits, type.factor, type.exponent, type.bias, True
    return type.signed, type.bits, 1.0, -type.fraction, 0.0, False


class _Saving:
    def __init__(self, rules: Mapping[str, Rules]) -> None:
        self.rules = rules
        self.used: set[str] = set()

    def value(self, value: Any, place: str) -> tuple[Any, ...]:
        if isinstance(value, Fixed):
            value = array(value, value.type, value.name)
        if isinstance(value, Array):
            return self.fixed(value, value.type, place)
        if isinstance(value, ScaledArray):
            return self.fixed(value.words, value.type, place)
        if isinstance(value, (Type, ScaledType)):
            return "type", _type_parts(value)
        if isinstance(value, Format):
            return _from_format(value, place)
        if isinstance(value, HostObject):
            return "object", value.class_name, value._saved
        if isinstance(value, str):
            return _from_text(value)
        if isinstance(value, Mapping):
            for name in value:
                if not isinstance(name, str):
                    raise TypeError(f"{place}: fields have names, not {name!r}.")
            values = [self.value(one, f"{place}.{name}") for name, one in value.items()]
            return "struct", [1, 1], list(value), values
        if isinstance(value, (list, tuple)):
            elements = [self.value(one, f"{place}[{i}]") for i, one in enumerate(value)]
            return "cell", [len(value), 1], elements
        if isinstance(value, (np.ndarray, np.generic, bool, int, float, complex)):
            return self.plain(np.asarray(value), place)
        raise TypeError(
            f"{place}: a {type(value).__name__} has no counterpart in the host's files. They hold arrays, types and "
            "formats of tolvane, arrays of numpy, numbers, texts, and dicts and lists of these."
        )

    def fixed(self, x: Array, type: Type | ScaledType, place: str) -> tuple[Any, ...]:
        rules = self.rules.get(place)
        if rules is not None:
            self.used.add(place)
            rules = dict(rules)
        return ("fi", _type_parts(type), _dimensions(x.shape), *_words(x._c), x.name, rules)

    def plain(self, values: Any, place: str) -> tuple[Any, ...]:
        kind = values.dtype.kind
        if kind == "O":
            if values.ndim == 0:
                raise TypeError(
                    f"{place}: integers beyond 64 bits and exact numbers have no counterpart in the host's files; make "
                    "them an array: tolvane.array(value, 's100')."
                )
            flat = [self.value(one, f"{place}[{i}]") for i, one in enumerate(values.flat)]
            return "cell", _dimensions(values.shape), flat
        if kind == "U" and values.dtype.itemsize == 4:
            units = np.ascontiguousarray(values).view(np.uint32).astype(np.uint16)
            return "array", "char", _dimensions(values.shape), units, None
        name = values.dtype.newbyteorder("=").name
        name = _CLASSES.get(name, name)
        if name not in _CLASSES.values() and kind not in "iu":
            raise TypeError(
                f"{place}: the host's files hold no numbers of {values.dtype}; convert it: x.astype(np.float64)."
            )
        values = np.ascontiguousarray(values, values.dtype.newbyteorder("="))
        if kind == "c":
            real, imag = np.ascontiguousarray(values.real), np.ascontiguousarray(values.imag)
            return "array", name, _dimensions(values.shape), real, imag
        return "array", name, _dimensions(values.shape), values, None


def _from_text(text: str) -> tuple[Any, ...]:
    units = np.frombuffer(text.encode("utf-16-le", "surrogatepass"), np.uint16)
    return "array", "char", [1 if text else 0, len(units)], units, None


def _from_format(format: Format, place: str) -> tuple[Any, ...]:
    if format.rounding not in _ROUNDINGS or format.overflow not in ("saturate", "wrap"):
        raise Error(
            "tolvane:file:format",
            f"{place}: the host has no format '{format.text}'. It rounds by {', '.join(_ROUNDINGS)}, and saturates or "
            "wraps; save the type alone: format.type.",
        )
    type = format.type
    rounding = _ROUNDINGS[format.rounding]
    return "format", type.signed, type.bits, type.fraction, rounding, format.overflow, format.name


def save(
    path: str | os.PathLike[str],
    contents: Mapping[str, Any] | None = None,
    /,
    *,
    rules: Mapping[str, Rules] | None = None,
    **arrays: Any,
) -> None:
    """Writes variables to a file of the host: save('work.h5', x=x, h=h), or save('work.h5', {'x': x}).

    A variable is an array, a type or a format of tolvane, an array of numpy, a number, a text, or a dict or a list of
    such: there a `fi`, a `numerictype`, a `quantizer`, an array of plain data, a struct or a cell array. Words are kept
    bit for bit, of any length, with the type and the name, which is the tag there. A shape (a, b, c) is c-by-b-by-a
    there, with the elements in the same order.

    `rules` gives arrays rules of their own, by place: {'x': {'RoundMode': 'floor'}}. Others follow the global rules of
    the session that loads them. What `load` returned keeps its rules when it is saved.

    The file holds either the old contents or the new ones, whatever fails. Raises `Error` with an id that begins with
    "VELMAR:save:" or "tolvane:file:", TypeError for what has no counterpart there, FileNotFoundError if there is no such
    folder, and ImportError in a build without the reference host.
    """
    if contents is not None and not isinstance(contents, Mapping):
        raise TypeError("Variables have names: tolvane.save(path, x=x), or tolvane.save(path, {'x': x}).")
    variables = {**(contents or {}), **arrays}
    for name in variables:
        if not isinstance(name, str):
            raise TypeError(f"Variables have names, not {name!r}.")
    if rules is None:
        rules = contents.rules if isinstance(contents, Contents) else {}
        rules = {place: one for place, one in rules.items() if _variable_of(place) not in arrays}
        are_told = False
    else:
        are_told = True
    saving = _Saving(rules)
    values = [saving.value(value, name) for name, value in variables.items()]
    unused = sorted(set(rules) - saving.used)
    if are_told and unused:
        raise Error(
            "tolvane:file:rules",
            f"There is no fixed-point array '{unused[0]}' to have rules. Places are written as 'x', 'state.taps' in a "
            "dict, and 'parts[0]' in a list.",
        )
    host = _host()
    path = os.fspath(path)
    os.stat(os.path.dirname(path) or ".")
    host.save(os.fsencode(path), list(variables), values)


def _variable_of(place: str) -> str:
    return place.split(".")[0].split("[")[0]


# Out of them.


class _Loading:
    def __init__(self, ndmin: int) -> None:
        self.ndmin = ndmin
        self.rules: dict[str, Rules] = {}

    def shape(self, dimensions: tuple[int, ...]) -> tuple[int, ...]:
        """The dimensions in reverse, without leading ones beyond `ndmin`."""
        shape = tuple(reversed(dimensions))
        while len(shape) > self.ndmin and shape[0] == 1:
            shape = shape[1:]
        return shape

    def value(self, value: tuple[Any, ...], place: str) -> Any:
        kind, parts = value[0], value[1:]
        if kind == "array":
            return self.plain(*parts)
        if kind == "fi":
            return self.fixed(parts, place)
        if kind == "type":
            return _to_type(parts[0])
        if kind == "format":
            signed, bits, fraction, rounding, overflow, name = parts
            text = f"{'s' if signed else 'u'}{bits},{fraction} {_ROUNDINGS_HERE[rounding]} {overflow}"
            return Format(text, name=name or None)
        if kind == "object":
            return HostObject(*parts)
        if kind == "cell":
            return self.cell(parts, place)
        dimensions, names, values = parts
        count = math.prod(dimensions)
        if count == 1:
            return {name: self.value(one, f"{place}.{name}") for name, one in zip(names, values)}
        made = np.empty(count, object)
        for i in range(count):
            made[i] = {
                name: self.value(values[field * count + i], f"{place}[{i}].{name}") for field, name in enumerate(names)
            }
        return made.reshape(self.shape(dimensions))

    def cell(self, parts: tuple[Any, ...], place: str) -> Any:
        dimensions, elements = parts
        values = [self.value(one, f"{place}[{i}]") for i, one in enumerate(elements)]
        if len(dimensions) == 2 and dimensions[1] == 1:
            return values
        made = np.empty(len(values), object)
        for i, one in enumerate(values):
            made[i] = one
        return made.reshape(tuple(reversed(dimensions)))

    def plain(self, name: str, dimensions: tuple[int, ...], real: bytearray, imag: bytearray | None) -> Any:
        values = np.frombuffer(real, _DTYPES.get(name, name))
        if name == "char":
            if dimensions == (0, 0) or (len(dimensions) == 2 and dimensions[0] == 1 and dimensions[1]):
                return bytes(real).decode("utf-16-le", "surrogatepass")
            return values.astype(np.uint32).view("U1").reshape(self.shape(dimensions))
        if imag is not None:
            parts = np.frombuffer(imag, values.dtype)
            if values.dtype.kind != "f":
                raise Error(
                    "tolvane:file:complex",
                    f"numpy has no complex {values.dtype}, which the file holds; save it as a fi, or as doubles, there.",
                )
            values = _complex(values, parts)
        return values.reshape(self.shape(dimensions))[()]

    def fixed(self, parts: tuple[Any, ...], place: str) -> Any:
        type_parts, dimensions, real, imag, name, rules = parts
        if rules is not None:
            self.rules[place] = rules
        type = _to_type(type_parts)
        words = type if isinstance(type, Type) else Type(f"{'s' if type.signed else 'u'}{type.bits}")
        shape = self.shape(dimensions)
        made = _core.from_limbs(real, shape, words)
        if imag is not None:
            made = _core.complex_of(made, _core.from_limbs(imag, shape, words))
        x = _wrap(made.named(name))
        return x if isinstance(type, Type) else ScaledArray(x, type)


def _complex(real: Any, imag: Any) -> Any:
    made = np.empty(real.shape, np.complex64 if real.dtype == np.float32 else np.complex128)
    made.real = real
    made.imag = imag
    return made


def _to_type(parts: tuple[Any, ...]) -> Type | ScaledType:
    signed, bits, factor, exponent, bias, is_scaled = parts
    if is_scaled:
        return ScaledType(signed, bits, factor, exponent, bias)
    return Type(f"{'s' if signed else 'u'}{bits},{-exponent}")


def _from_host(value: tuple[Any, ...], ndmin: int) -> Any:
    return _Loading(ndmin).value(value, "")


def load(path: str | os.PathLike[str], *, ndmin: int = 0) -> Contents:
    """Reads the variables of a file of the host, as a session or `save` wrote it, into a dict.

    A `fi` of fixed-point words becomes an `Array`, bit for bit, with its type and its tag as the name; one with slope and
    bias a `ScaledArray`. Arrays of plain data become arrays and scalars of numpy, char rows texts, structs dicts, cell
    columns lists and other cell arrays arrays of objects; a `numerictype` a `Type`, a `quantizer` of fixed point a
    `Format`. Any other object becomes a `HostObject`, which can be saved again.

    Dimensions are in reverse, as elements are in the same order, and leading ones are dropped down to `ndmin`
    dimensions: a column of n is of shape (n,), a row of shape (n, 1). The rules of arrays with rules of their own are in
    `rules` of the result. What logs of arrays counted isn't kept.

    Raises FileNotFoundError, `Error` with an id that begins with "VELMAR:load:" for a file that is damaged or of another
    kind, and ImportError in a build without the reference host. What the host warns of is a RuntimeWarning.
    """
    host = _host()
    path = os.fspath(path)
    os.stat(path)
    loading = _Loading(ndmin)
    contents = Contents()
    for name, value in host.load(os.fsencode(path)):
        contents[name] = loading.value(value, name)
    contents.rules = loading.rules
    for id, text in host.take_warnings():
        warnings.warn(f"{text} ({id})", RuntimeWarning, stacklevel=2)
    return contents
