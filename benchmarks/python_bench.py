#!/usr/bin/python3
"""Times of the Python package beside numpy's, as ratios, in one process.

    PYTHONPATH=build/release/python /usr/bin/python3 benchmarks/python_bench.py [milliseconds for each row]

Every row runs the package's operation and numpy's in turn and takes the least time of each, so that other work on the
machine disturbs both alike. Both write into memory that exists. Results are compared with numpy's before they are timed.
"""

import subprocess
import sys
import time
import timeit

import numpy as np

import tolvane as tv

COUNT = 10**6
SIDE = 512


def least_times(operations, budget):
    """The least time of a call of each, in seconds, over interleaved repetitions."""
    least = [float("inf")] * len(operations)
    end = time.perf_counter() + budget
    while time.perf_counter() < end:
        for i, operation in enumerate(operations):
            begin = time.perf_counter()
            operation()
            least[i] = min(least[i], time.perf_counter() - begin)
    return least


def recorded(operation):
    def run():
        with tv.recording():
            operation()

    return run


def array_rows():
    """Name, limit, the operation, numpy's."""
    rng = np.random.default_rng(1)
    f, g = rng.integers(-(2**14), 2**14, (2, COUNT)) / 2**15
    out = np.empty(COUNT)
    x, y = tv.array(f, "s16,15", name="x"), tv.array(g, "s16,15", name="y")
    sums, products, same = (tv.zeros(COUNT, type) for type in ("s17,15", "s32,30", "s16,15"))
    m, n = rng.integers(-(2**11), 2**11, (2, SIDE, SIDE)) / 2**11
    a, b = tv.array(m, "s12,11"), tv.array(n, "s12,11")
    square = np.empty((SIDE, SIDE))
    into = tv.zeros((SIDE, SIDE), (a @ b).type)

    def quantize():
        same[...] = f

    def matmul():
        np.matmul(a, b, out=into)

    add, multiply = (lambda: np.add(f, g, out=out)), (lambda: np.multiply(f, g, out=out))
    for run, array, expected in (
        (lambda: tv.add(x, y, out=sums), sums, f + g),
        (lambda: tv.add(x, y, out=same), same, f + g),
        (lambda: tv.multiply(x, y, out=products), products, f * g),
        (quantize, same, f),
        (matmul, into, m @ n),
    ):
        run()
        assert (np.asarray(array) == expected).all()
    return [
        ("plus, exact", 1.3, lambda: tv.add(x, y, out=sums), add),
        ("plus into s16,15", 1.3, lambda: tv.add(x, y, out=same), add),
        ("times, exact", 1.3, lambda: tv.multiply(x, y, out=products), multiply),
        ("times into s16,15", 1.3, lambda: tv.multiply(x, y, out=same), multiply),
        ("quantizing doubles", 1.5, quantize, add),
        ("matmul of 512", 1.5, matmul, lambda: np.matmul(m, n, out=square)),
        ("x < y", None, lambda: x < y, lambda: np.less(f, g)),
        ("np.asarray", None, lambda: np.asarray(x), add),
        ("int16 in", None, lambda i=x.words.astype(np.int16): tv.from_words(i, "s16,15"), add),
    ]


def call_rows():
    x, y = (tv.array([1, 2, 3], "s16,4") for _ in range(2))
    n = np.array([1.0, 2.0, 3.0])
    g, h = tv.Fixed("s16,10", 1.5), tv.Fixed("s16,10", 2)
    return [
        ("array of 3 plus array of 3", 0.7, lambda: x + y),
        ("the same, numpy", None, lambda: n + n),
        ("g * h, variables", 0.7, lambda: g * h),
    ]


def import_time():
    """Of the processor, for the package without numpy's own; the least of several processes."""
    code = "import numpy, time; t = time.process_time(); import tolvane; print(time.process_time() - t)"
    return min(float(subprocess.check_output([sys.executable, "-c", code])) for _ in range(7))


def shown(limit):
    return "" if limit is None else f"{limit:g}"


def main():
    budget = float(sys.argv[1]) / 1000 if len(sys.argv) > 1 else 3.0
    print(f"{'':30}{'numpy ms':>10}{'here ms':>10}{'ratio':>8}{'limit':>7}{'recorded':>10}  x without (limit 1.5)")
    with tv.errors(overflow="warn"):
        for name, limit, operation, numpys in array_rows():
            base, plain, logged = least_times([numpys, operation, recorded(operation)], budget)
            print(
                f"{name:30}{base * 1e3:10.3f}{plain * 1e3:10.3f}{plain / base:8.2f}{shown(limit):>7}{logged / plain:10.2f}",
                flush=True,
            )
    print(f"\n{'':30}{'us':>10}{'limit':>7}")
    for name, limit, operation in call_rows():
        least = min(timeit.repeat(operation, number=2000, repeat=max(5, int(budget * 100)))) / 2000
        print(f"{name:30}{least * 1e6:10.2f}{shown(limit):>7}")
    print(f"{'import without numpy, s':30}{import_time():10.3f}{'0.15':>7}")


if __name__ == "__main__":
    main()
