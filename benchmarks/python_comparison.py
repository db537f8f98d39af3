"""The table of docs/python-for-others.md: this package beside numpy's doubles, Python's integers and Fractions.

    build/python-env/bin/python benchmarks/python_comparison.py [elements]

Every way comes to the same numbers, which is checked before anything is timed. Nanoseconds for an element, the least of
many runs that take turns.
"""

from __future__ import annotations

import sys
import time
from collections.abc import Callable
from fractions import Fraction
from typing import Any

import numpy as np

import tolvane as tv

Way = Callable[[], Any]


def timed(ways: dict[str, Way], elements: int, seconds: float = 1.0) -> dict[str, float]:
    """The least time of each, in nanoseconds for an element."""
    least = dict.fromkeys(ways, float("inf"))
    end = time.perf_counter() + seconds * len(ways)
    while time.perf_counter() < end:
        for name, way in ways.items():
            start = time.perf_counter()
            way()
            least[name] = min(least[name], time.perf_counter() - start)
    return {name: value / elements * 1e9 for name, value in least.items()}


def main() -> None:
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 100_000
    random = np.random.default_rng(1)

    def words(bits: int) -> list[int]:
        return [int.from_bytes(random.bytes(bits // 8 + 1), "little") % 2**bits - 2 ** (bits - 1) for _ in range(count)]

    rows: dict[str, dict[str, Way]] = {}

    def row(name: str, ours: Way, others: dict[str, Way], fraction: int) -> None:
        wanted = [int(word) for word in ours().words]
        for other, way in others.items():
            got = way()
            scaled = [int(Fraction(value) * Fraction(2) ** fraction) for value in got] if other != "ints" else [int(v) for v in got]
            assert scaled == wanted, (name, other)
        rows[name] = {"here": ours, **others}

    for bits in (16, 100):
        a, b = words(bits), words(bits)
        x, y = tv.from_words(np.array(a, object), f"s{bits},15"), tv.from_words(np.array(b, object), f"s{bits},15")
        ints = np.array(a, object), np.array(b, object)
        fractions = [Fraction(word, 2**15) for word in a], [Fraction(word, 2**15) for word in b]
        doubles = (np.array(a) / 2**15, np.array(b) / 2**15) if bits == 16 else None
        for name, sign, fraction in (("add", "+", 15), ("multiply", "*", 30)):
            operation = {"+": lambda p, q: p + q, "*": lambda p, q: p * q}[sign]
            others: dict[str, Way] = {
                "ints": lambda o=operation, i=ints: o(*i),
                "Fractions": lambda o=operation, f=fractions: [o(p, q) for p, q in zip(*f)],
            }
            if doubles is not None:
                others["doubles"] = lambda o=operation, d=doubles: o(*d)
            row(f"{name}, {bits} bits", lambda o=operation, u=x, v=y: o(u, v), others, fraction)
        if doubles is not None:
            source = doubles[0] * 1.23456789
            scale, bound = 2.0**11, 2.0**15
            row(
                "16 bits from doubles",
                lambda s=source: tv.array(s, "s16,11"),
                {"doubles": lambda s=source, k=scale, w=bound: np.clip(np.floor(s * k + 0.5), -w, w - 1) / k},
                11,
            )
        # Products back to the words that they were made of: rounded to nearest, saturated.
        product, long = x * y, ints[0] * ints[1]
        half, top = 1 << (bits - 1), 2 ** (bits - 1)
        others = {"ints": lambda p=long, h=half, t=top, n=bits: np.clip((p + h) >> n, -t, t - 1)}
        if doubles is not None:
            plain, scale = doubles[0] * doubles[1], 2.0 ** (30 - bits)
            others["doubles"] = lambda p=plain, k=scale, t=top: np.clip(np.floor(p * k + 0.5), -t, t - 1) / k
        to = f"s{bits},{30 - bits}"
        row(f"round products, {bits} bits", lambda p=product, f=to: tv.cast(p, f), others, 30 - bits)

    print(f"{'ns for an element':26}{'here':>10}{'doubles':>10}{'ints':>10}{'Fractions':>11}")
    for name, ways in rows.items():
        times = timed(ways, count)
        cells = [f"{times[way]:.3g}" if way in times else "" for way in ("here", "doubles", "ints", "Fractions")]
        print(f"{name:26}{cells[0]:>10}{cells[1]:>10}{cells[2]:>10}{cells[3]:>11}")


if __name__ == "__main__":
    with tv.errors(overflow="ignore"):  # the others don't look for overflows either
        main()
