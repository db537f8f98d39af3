"""Lets allocations fail, one at a time, in operations of the Python package.

    LD_PRELOAD=libfault_hook.so PYTHONPATH=build/dev/python /usr/bin/python3 tests/faults/python_faults.py [every [most]]

Each try runs in a process of its own. It must end with MemoryError and operands as they were, or with the right result;
after an error the operation must give the right result when it runs again. Prints a table and the failures with the
calls that led to the allocation, and exits with 1 if there are any.
"""

from __future__ import annotations

import copy
import ctypes
import mmap
import os
import pickle
import signal
import subprocess
import sys
import tempfile
from collections.abc import Callable
from fractions import Fraction
from typing import Any

import numpy as np

import tolvane as tv

FRAMES = 40
hook = ctypes.CDLL(None)
hook.faults_disarm.restype = ctypes.c_uint64
hook.faults_failed.restype = ctypes.c_bool
hook.faults_arm.argtypes = [ctypes.c_uint64]
hook.faults_share.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int]
shared = mmap.mmap(-1, 8192)
shared_at = ctypes.addressof(ctypes.c_char.from_buffer(shared))
hook.faults_share(shared_at + 8, shared_at, FRAMES)


class Operands:
    def __init__(self, bits: int) -> None:
        rng = np.random.default_rng(bits)
        self.values = rng.uniform(-1, 1, 12)
        self.x = tv.array(self.values, f"s{bits},{bits - 2}", name="x")
        self.y = tv.array(self.values[::-1].copy(), f"s{bits},{bits - 2}", name="y")
        self.m = tv.array(self.values.reshape(3, 4), f"s{bits},{bits - 2}", name="m")
        self.f = tv.Fixed(f"s{bits},{bits - 2}", name="f")
        self.half = tv.format(f"s{bits},{bits // 2} convergent")
        self.half_text = f"s{bits},{bits // 2} convergent"
        self.hex = self.x.hex()

    def text(self) -> str:
        return told([self.x, self.y, self.m, self.f, list(self.values)])


def told(value: Any) -> str:
    if isinstance(value, tv.Array):
        return f"{value.type} {value.shape} {value.name} {[str(word) for word in np.ravel(value.words).tolist()]}"
    if isinstance(value, (list, tuple)):
        return "[" + ", ".join(told(each) for each in value) + "]"
    if isinstance(value, np.ndarray):
        return f"{value.dtype} {value.shape} {value.tolist()}"
    return repr(value)


def assigned(o: Operands) -> tv.Array:
    o.x[2:5] = 0.25
    return o.x


def recorded(o: Operands) -> str:
    with tv.recording() as log:
        tv.cast(o.x * o.y, o.half)
    return str(log)


def set_fixed(o: Operands) -> str:
    o.f.set(o.f * o.f + 0.5)
    return repr(o.f)


def written(o: Operands) -> Any:
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "words.hex")
        tv.write_words(path, o.x)
        return tv.read_words(path, o.x.type)


OPERATIONS: dict[str, Callable[[Operands], Any]] = {
    "array of doubles": lambda o: tv.array(o.values, o.half),
    "array of a list": lambda o: tv.array([0.5, 0.25, -1], o.half),
    "array of fractions": lambda o: tv.array([Fraction(1, 3), Fraction(-2, 7)], o.half),
    "array of long integers": lambda o: tv.array([2**70, -(3**40)], "s100,0"),
    "words": lambda o: o.x.words,
    "from_words": lambda o: tv.from_words(o.x.words, o.x.type),
    "plus": lambda o: o.x + o.y,
    "times a constant": lambda o: o.x * 0.5,
    "broadcast": lambda o: o.m * o.x[:4],
    "cast": lambda o: tv.cast(o.x, o.half),
    "compare": lambda o: (o.x < o.y, o.x == 0.5),
    "index": lambda o: (o.x[1:5], o.x[[1, 2]], o.m[1, 2], o.x[o.x > 0]),
    "assign": assigned,
    "sums": lambda o: (np.sum(o.m, axis=0), tv.cumsum(o.x, format=o.half)),
    "convolve": lambda o: tv.convolve(o.x, o.y, sum=o.half),
    "matmul": lambda o: o.m @ o.m.T,
    "to doubles": lambda o: o.x.astype(float),
    "hex and bin": lambda o: (o.x.hex(), o.x.bin()),
    "from_hex": lambda o: tv.from_hex(o.hex, o.x.type),
    "repr and str": lambda o: (repr(o.x), str(o.x), str(o.half)),
    "recording": recorded,
    "scalars": set_fixed,
    "filter": lambda o: tv.lfilter([0.5, 0.25], [1.0, -0.5], o.x, coefficients_b="s16,14", coefficients_a="s16,14", sum_a=o.half_text),
    "word files": written,
    "pickle": lambda o: pickle.loads(pickle.dumps(o.x)),
    "copy": lambda o: copy.deepcopy(o.x),
    "stack": lambda o: (np.concatenate([o.x, o.y]), np.stack([o.x, o.y])),
}


def run(operation: Callable[[Operands], Any], operands: Operands) -> tuple[str, Any]:
    try:
        return "", operation(operands)
    except MemoryError:
        return "MemoryError", None
    except BaseException as error:
        return f"{type(error).__name__}: {error}", None


def tried(operation: Callable[[Operands], Any], operands: Operands, point: int, right: tuple[str, str, str]) -> str:
    """What is wrong, "" if nothing is, or "e" for an error that is in order."""
    hook.faults_arm(point)
    error, result = run(operation, operands)
    hook.faults_disarm()
    before, expected, after = right
    if not error:
        return "" if (told(result), operands.text()) == (expected, after) else "a wrong result"
    if error != "MemoryError":
        return error
    if operands.text() != before:
        return "something has changed"
    error, result = run(operation, operands)
    return "e" if not error and (told(result), operands.text()) == (expected, after) else "the next run: " + error


def in_child(body: Callable[[], str]) -> str:
    shared[0:4] = b"\0\0\0\0"
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        signal.alarm(30)
        os.dup2(os.open(os.devnull, os.O_WRONLY), 2)
        text = body()
        os.write(writing, text.encode()[:60000])
        os._exit(0)
    os.close(writing)
    with os.fdopen(reading, "rb") as pipe:
        text = pipe.read().decode(errors="replace")
    status = os.waitpid(child, 0)[1]
    return text if status == 0 else f"the process ends with status {os.waitstatus_to_exitcode(status)}"


def frames() -> list[str]:
    count = int.from_bytes(shared[0:4], "little")
    modules = []
    with open("/proc/self/maps") as maps:
        for line in maps:
            parts = line.split()
            if len(parts) > 5 and parts[5].startswith("/"):
                low, high = (int(number, 16) for number in parts[0].split("-"))
                modules.append((low, high, int(parts[2], 16), parts[5]))
    lines = []
    for i in range(2, count):
        place = int.from_bytes(shared[8 + 8 * i : 16 + 8 * i], "little")
        for low, high, offset, name in modules:
            if low <= place < high:
                lines.append(f"{name} {place - low + offset - 1:#x}")
    return lines


def symbol(frame: str) -> str:
    module, offset = frame.rsplit(" ", 1)
    found = subprocess.run(["addr2line", "-Cfpe", module, offset], capture_output=True, text=True).stdout.strip()
    return f"    {found[:140]} ({os.path.basename(module)})"


def main(every: int, most: int) -> int:
    failures: dict[tuple[str, ...], list[str]] = {}
    print(f"{'operation':<40} {'points':>8} {'tries':>8} {'errors':>8} {'success':>8} {'failures':>8}")
    for bits in (16, 100):
        for name, operation in OPERATIONS.items():
            run(operation, Operands(bits))
            operands = Operands(bits)

            def plain() -> str:
                before = operands.text()
                hook.faults_arm(0)
                error, result = run(operation, operands)
                count = hook.faults_disarm()
                return "\1".join([str(count), error, before, told(result), operands.text()])

            parts = in_child(plain).split("\1")
            if len(parts) != 5 or parts[1]:
                print(name, "without a fault:", parts[:2])
                failures.setdefault((name,), []).append(name)
                continue
            points = int(parts[0])
            tries = errors = successes = failed = 0
            for point in range(1, points + 1, max(every, (points + most - 1) // most)):
                tries += 1
                outcome = in_child(lambda: tried(operation, operands, point, (parts[2], parts[3], parts[4])))
                if outcome == "e":
                    errors += 1
                elif not outcome:
                    successes += 1
                else:
                    failed += 1
                    key = (outcome[:150], *frames()[:8])
                    failures.setdefault(key, []).append(f"{name}, {bits} bits, at allocation {point}")
            print(f"{name + f', {bits} bits':<40} {points:8} {tries:8} {errors:8} {successes:8} {failed:8}", flush=True)
    for key, places in sorted(failures.items(), key=lambda item: -len(item[1]))[:20]:
        print(f"\n{len(places)} x {key[0]}\n  {places[0]}")
        for frame in key[1:]:
            print(symbol(frame))
    return 1 if failures else 0


if __name__ == "__main__":
    numbers = [int(argument) for argument in sys.argv[1:]]
    sys.exit(main(*(numbers + [1, 400][len(numbers) :])))
