"""What numpy's functions become for arrays of fixed-point numbers; all others raise TypeError."""

from __future__ import annotations

import inspect
from collections.abc import Callable
from typing import Any

import numpy as np

from . import _core
from . import _functions as f
from ._arithmetic import add, multiply, subtract
from ._array import Array, _operand, _wrap


def _arithmetic(operation: Any) -> Callable[[Any, Any], Any]:
    def compute(a: Any, b: Any) -> Array:
        return _wrap(operation(*f._pair(a, b)))

    return compute


def _compare(operation: Any) -> Callable[[Any, Any], Any]:
    from ._array import _compared

    return lambda a, b: _compared(operation, _operand(a), _operand(b))


def _refuse(text: str) -> Callable[..., Any]:
    def raises(*args: Any, **kwargs: Any) -> Any:
        raise TypeError(text)

    return raises


_no_quotient = _refuse("Quotients have no exact word: tolvane.divide(a, b, 's16,15') rounds once.")

_UFUNCS: dict[Any, Callable[..., Any]] = {
    np.add: _arithmetic(_core.add),
    np.subtract: _arithmetic(_core.subtract),
    np.multiply: _arithmetic(_core.multiply),
    np.matmul: f.matmul,
    np.negative: lambda x: -x,
    np.positive: lambda x: +x,
    np.absolute: abs,
    np.fabs: abs,
    np.conjugate: lambda x: x.conj(),
    np.square: lambda x: x * x,
    np.power: lambda x, n: x**n,
    np.sign: f.sign,
    np.floor: f.floor,
    np.ceil: f.ceil,
    np.trunc: f.trunc,
    np.rint: f.round,
    np.maximum: f.maximum,
    np.minimum: f.minimum,
    np.fmax: f.maximum,
    np.fmin: f.minimum,
    np.equal: _compare(_core.equal),
    np.not_equal: _compare(_core.not_equal),
    np.less: _compare(_core.less),
    np.less_equal: _compare(_core.less_equal),
    np.greater: _compare(_core.greater),
    np.greater_equal: _compare(_core.greater_equal),
    np.left_shift: lambda x, n: x << n,
    np.right_shift: lambda x, n: x >> n,
    np.bitwise_and: lambda a, b: a & b if isinstance(a, Array) else b & a,
    np.bitwise_or: lambda a, b: a | b if isinstance(a, Array) else b | a,
    np.bitwise_xor: lambda a, b: a ^ b if isinstance(a, Array) else b ^ a,
    np.invert: lambda x: ~x,
    np.isfinite: lambda x: np.ones(x.shape, bool)[()],
    np.isnan: lambda x: np.zeros(x.shape, bool)[()],
    np.isinf: lambda x: np.zeros(x.shape, bool)[()],
    np.signbit: lambda x: x < 0,
    np.sqrt: _refuse("Roots have no exact word: tolvane.sqrt(x, 's16,15') rounds once."),
    np.divide: _no_quotient,
    np.floor_divide: _no_quotient,
    np.remainder: _no_quotient,
}

_REDUCTIONS: dict[tuple[Any, str], Callable[..., Any]] = {
    (np.add, "reduce"): lambda x, axis=0, keepdims=False: x.sum(axis, keepdims=keepdims),
    (np.add, "accumulate"): lambda x, axis=0: x.cumsum(axis),
    (np.maximum, "reduce"): lambda x, axis=0, keepdims=False: x.max(axis, keepdims),
    (np.minimum, "reduce"): lambda x, axis=0, keepdims=False: x.min(axis, keepdims),
}


# Those that write into an array that exists, without an array in between.
_INTO: dict[Any, Callable[..., Array]] = {
    np.add: add,
    np.subtract: subtract,
    np.multiply: multiply,
}


def _into(out: Any, made: Any) -> Any:
    """Quantizes a result into what `out` names."""
    target = out[0] if isinstance(out, tuple) else out
    if isinstance(target, Array) and isinstance(made, Array):
        target[...] = made
        return target
    if isinstance(target, np.ndarray) and isinstance(made, (np.ndarray, np.generic)):
        target[...] = made
        return target
    raise TypeError("out has to be an array of fixed-point numbers for values, and one of numpy for truth values.")


def ufunc(function: Any, method: str, inputs: tuple[Any, ...], options: dict[str, Any]) -> Any:
    out = options.pop("out", None)
    if options.pop("where", True) is not True:
        raise TypeError("where= would leave elements without a value; use tolvane.where or a mask.")
    known = _UFUNCS.get(function) if method == "__call__" else _REDUCTIONS.get((function, method))
    if known is None:
        name = function.__name__ if method == "__call__" else f"{function.__name__}.{method}"
        raise TypeError(f"numpy.{name} isn't defined for fixed-point arrays; take doubles by np.asarray(x) first.")
    if method != "__call__":
        if options.pop("dtype", None) is not None:
            raise TypeError("dtype isn't supported for fixed-point arrays; give a format to the method.")
    named = {key: options.pop(key) for key in ("axis", "keepdims") if method != "__call__" and key in options}
    if options:
        raise TypeError(f"numpy.{function.__name__} of fixed-point arrays has no option {', '.join(options)}.")
    if method == "reduce" and len(inputs) > 1:
        raise TypeError("Reductions take one array.")
    if out is not None and method == "__call__" and function in _INTO and isinstance(out[0], Array):
        return _INTO[function](*inputs, out=out[0])
    made = known(*inputs, **named)
    return made if out is None else _into(out, made)


def _reduced(name: str) -> Callable[..., Any]:
    def reduce(a: Array, axis: Any = None, dtype: Any = None, out: Any = None, keepdims: bool = False) -> Any:
        if dtype is not None:
            raise TypeError("dtype isn't supported for fixed-point arrays; give a format to the method.")
        made = getattr(a, name)(axis, keepdims=keepdims) if name != "cumsum" else a.cumsum(axis)
        return made if out is None else _into(out, made)

    return reduce


def _convolve(a: Any, v: Any, mode: str = "full") -> Array:
    made = f.convolve(a, v)
    long, short = max(len(a), len(v)), min(len(a), len(v))
    if mode == "full":
        return made
    if mode == "same":
        return made[(short - 1) // 2 : (short - 1) // 2 + long]
    if mode == "valid":
        return made[short - 1 : long]
    raise ValueError(f"mode is 'full', 'same' or 'valid', not {mode!r}.")


_FUNCTIONS: dict[Any, Callable[..., Any]] = {
    np.sum: _reduced("sum"),
    np.cumsum: _reduced("cumsum"),
    np.max: _reduced("max"),
    np.min: _reduced("min"),
    np.amax: _reduced("max"),
    np.amin: _reduced("min"),
    np.argmax: lambda a, axis=None: a.argmax(axis),
    np.argmin: lambda a, axis=None: a.argmin(axis),
    np.any: lambda a, axis=None, *, keepdims=False: a.any(axis, keepdims),
    np.all: lambda a, axis=None, *, keepdims=False: a.all(axis, keepdims),
    np.mean: _refuse("A mean has no exact word; give a format: x.mean(format='s16,15')."),
    np.concatenate: lambda arrays, axis=0: f.concatenate(arrays, axis),
    np.stack: lambda arrays, axis=0: f.stack(arrays, axis),
    np.reshape: lambda a, newshape=None, *, shape=None: a.reshape(newshape if shape is None else shape),
    np.ravel: lambda a: a.ravel(),
    np.squeeze: lambda a: a.squeeze(),
    np.transpose: lambda a, axes=None: a.transpose(axes),
    np.where: lambda condition, x, y: f.where(condition, x, y),
    np.convolve: _convolve,
    np.dot: lambda a, b: f.dot(a, b),
    np.round: lambda a, decimals=0: _whole(a, decimals),
    np.around: lambda a, decimals=0: _whole(a, decimals),
    np.array_equal: lambda a1, a2: f.array_equal(a1, a2),
    np.broadcast_to: lambda array, shape: f.broadcast_to(array, shape),
    np.flip: lambda m, axis=None: f.flip(m, axis),
    np.diag: lambda v, k=0: f.diag(v) if k == 0 else _refuse("Only the main diagonal is supported.")(),
    np.repeat: lambda a, repeats, axis=None: f.repeat(a, repeats, axis),
    np.sort: lambda a, axis=-1: f.sort(a, axis),
    np.argsort: lambda a, axis=-1: f.argsort(a, axis),
    np.clip: lambda a, a_min, a_max: f.clip(a, a_min, a_max),
    np.shape: lambda a: a.shape,
    np.ndim: lambda a: a.ndim,
    np.size: lambda a, axis=None: a.size if axis is None else a.shape[axis],
    np.real: lambda val: val.real,
    np.imag: lambda val: val.imag,
    np.iscomplexobj: lambda x: x.iscomplex,
    np.zeros_like: lambda a: f.zeros_like(a),
    np.ones_like: lambda a: f.ones_like(a),
    np.full_like: lambda a, fill_value: f.full_like(a, fill_value),
    np.copy: lambda a: a.copy(),
    np.copyto: lambda dst, src: dst._assign(src) if isinstance(dst, Array) else dst.__setitem__(..., np.asarray(src)),
    np.array_repr: lambda arr: repr(arr),
    np.array_str: lambda a: str(a),
    np.atleast_1d: lambda a: a if a.ndim else a.reshape(1),
}


def _whole(a: Array, decimals: int) -> Array:
    if decimals != 0:
        raise TypeError("Decimal places are no words of fixed-point types; cast to a format.")
    return f.round(a)


def function(which: Any, args: Any, kwargs: Any) -> Any:
    known = _FUNCTIONS.get(which)
    if known is None:
        raise TypeError(
            f"numpy.{which.__name__} isn't defined for fixed-point arrays; take doubles by np.asarray(x) first."
        )
    try:
        bound = inspect.signature(known).bind(*args, **kwargs)
    except TypeError as refused:
        raise TypeError(f"numpy.{which.__name__} of fixed-point arrays: {refused}.") from None
    return known(*bound.args, **bound.kwargs)
