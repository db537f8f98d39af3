"""Signals end long work, threads take turns, and forked and spawned processes compute."""

import multiprocessing
import signal
import subprocess
import sys
import textwrap
import threading
import time

import numpy as np
import pytest

import tolvane as tv

# Each of these takes minutes, or an hour, if nothing ends it.
LONG = {
    "convolution": ("x = tv.full(10**7, 0.25, 's16,15')", "tv.convolve(x, x)"),
    "convolution through places": ("x = tv.full(10**6, 0.25, 's16,15')", "tv.convolve(x, x, sum='s40,30 wrap')"),
    "matmul": ("x = tv.full((10000, 10000), 0.25, 's16,15')", "x @ x"),
    "text": ("x = tv.full(10**4, Fraction(1, 3), 's65535,65534')", "tv._core.to_decimal(x._c)"),
    "filter": ("x = tv.full(10**6, 0.25, 's16,15')",
               "tv.lfilter(np.full(10**5, 2.0**-17), [1.0], x, coefficients_b='s18,17', section_output='s16,15')"),
}


@pytest.mark.parametrize("name", LONG)
def test_a_signal_ends_long_work_and_leaves_no_record(name):
    prepare, run = LONG[name]
    places = ["coefficients_b"] if name == "filter" else []  # the coefficients were quantized before
    child = subprocess.Popen(
        [sys.executable, "-c", textwrap.dedent(f"""
            import numpy as np, tolvane as tv
            from fractions import Fraction
            {prepare}
            before = x.words[:100].copy() if x.type.bits < 65 else None
            with tv.recording() as log:
                try:
                    print("ready", flush=True)
                    {run}
                except KeyboardInterrupt:
                    print("interrupted", [place.name for place in log.places()])
            assert before is None or (x.words[:100] == before).all()
            print(x.size > 0)
            """)],
        stdout=subprocess.PIPE, text=True)
    assert child.stdout.readline() == "ready\n"
    time.sleep(0.3)
    child.send_signal(signal.SIGINT)
    try:
        assert child.communicate(timeout=60)[0] == f"interrupted {places}\nTrue\n"
    finally:
        child.kill()


def test_a_signal_ends_an_assignment_that_changes_nothing():
    class Alarm(Exception):
        pass

    def ring(*_):
        raise Alarm

    x = tv.zeros((20, 100000), "s200,100")
    values = tv.full(100000, 0.1, "s2000,1999")
    old = signal.signal(signal.SIGALRM, ring)
    try:
        # Sooner and later within the assignment, which is done or hasn't begun; and at its end, when it is done.
        for delay in np.linspace(1e-4, 0.1, 12):
            x[...] = 0
            try:
                signal.setitimer(signal.ITIMER_REAL, delay)
                x[...] = values
                signal.setitimer(signal.ITIMER_REAL, 0)
            except Alarm:
                pass
            first = x[0, 0] == 0
            assert bool((x == (0 if first else x[0, 0])).all())
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, old)


def test_a_handler_computes_but_writes_nothing_meanwhile():
    seen = []
    x = tv.full(200000, 0.25, "s16,15")

    def ring(*_):
        try:
            x[0] = 0.5
        except RuntimeError as error:
            seen.append(str(error))
        seen.append(int((x[:3] + x[:3]).words[0]))

    old = signal.signal(signal.SIGALRM, ring)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.3)
        y = tv.convolve(x, x[:20000])
    finally:
        signal.signal(signal.SIGALRM, old)
    assert len(seen) == 2 and "signal handler" in seen[0] and seen[1] == 2 << 13
    assert y[100000] == 0.25 * 0.25 * 20000


def test_other_threads_run_and_take_turns_while_one_computes():
    x = tv.full(10**6, 0.25, "s16,15")
    ticks, ends = [], []

    def compute(name):
        with tv.recording() as log:
            y = tv.convolve(x, x[:5000], sum=f"s40,30 {name}")
        ends.append((name, y[10000] == 0.0625 * 5000, [place.name for place in log.places()], log.places()[0].values))

    def tick():
        while len(ends) < 2:
            ticks.append(len(ends))
            time.sleep(0.001)

    names = ["floor", "nearest"]
    threads = [threading.Thread(target=compute, args=(name,)) for name in names] + [threading.Thread(target=tick)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert sorted(end[0] for end in ends) == names
    for name, is_right, places, values in ends:
        assert is_right and places == ["sum"] and values > 10**6, name
    assert len(ticks) > 20


def test_threads_write_arrays_while_others_read_them():
    shared = tv.zeros(200000, "s24,15")
    wrong = []

    def write(value):
        for _ in range(20):
            shared[...] = value

    def read():
        for _ in range(20):
            words = (shared * shared + shared).words
            if len(set(words[:10].tolist()) | set(words[-10:].tolist())) != 1:
                wrong.append(words)

    threads = [threading.Thread(target=write, args=(value,)) for value in (0.25, -0.5)]
    threads += [threading.Thread(target=read) for _ in range(2)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not wrong


def compute_in_child(seed):
    x = tv.array(np.random.default_rng(seed).random(1000), "s16,15", name="x")
    with tv.recording() as log:
        y = tv.convolve(x, x, sum="s20,10")
    return y.words.tolist(), log["sum"].values


@pytest.mark.parametrize("method", ["fork", "spawn"])
def test_processes_compute_while_a_thread_holds_the_lock(method):
    x = tv.full(10**6, 0.25, "s16,15")
    stop = threading.Event()

    def compute():
        while not stop.is_set():
            tv.convolve(x, x[:2000])

    thread = threading.Thread(target=compute)
    thread.start()
    try:
        time.sleep(0.2)
        with multiprocessing.get_context(method).Pool(2) as pool:
            results = pool.map_async(compute_in_child, range(4)).get(timeout=120)
    finally:
        stop.set()
        thread.join()
    assert results == [compute_in_child(seed) for seed in range(4)]
