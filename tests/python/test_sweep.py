"""Sweeps: the same table wherever points run, whatever dies, and nothing left behind."""

import collections
import concurrent.futures
import contextlib
import multiprocessing
import os
import pickle
import signal
import subprocess
import sys
import time
from pathlib import Path

import numpy as np
import pytest

import tolvane as tv

SIGNAL = np.sin(np.arange(200) * 0.37) * 0.9
GRID = {"data": ["s6,5", tv.format("s12,11 floor"), "s90,80"], "taps": [2, 3], "marker": [None]}


def measured(data, taps, marker):
    """Results that show every bit; at one point the first process dies, at the first ones a later one goes first."""
    if marker is not None and data == "s6,5":
        if taps == 3:
            os.close(os.open(Path(marker) / "second", os.O_CREAT))
        while taps == 2 and not (Path(marker) / "second").exists():
            time.sleep(0.01)
    if marker is not None and data == "s90,80" and taps == 2:
        try:
            os.close(os.open(Path(marker) / "died", os.O_CREAT | os.O_EXCL))
        except FileExistsError:
            pass
        else:
            os.kill(os.getpid(), signal.SIGKILL)
    y = tv.convolve(tv.array(SIGNAL, data), tv.array(np.ones(taps) / 4, "s9,8"), sum="s40,30")
    error = y.astype(float)[: SIGNAL.size] - np.convolve(SIGNAL, np.ones(taps) / 4)[: SIGNAL.size]
    return {"noise": float(np.mean(error**2)), "words": y.words.tobytes(), "sum": y.sum().item()}


def rows(table):
    return [{**row, "marker": None} for row in table]


@contextlib.contextmanager
def cluster():
    distributed = pytest.importorskip("distributed")
    from dask import config

    # A busy machine may take its time.
    patience = {f"distributed.comm.timeouts.{name}": "600s" for name in ("connect", "tcp")}
    options = {"n_workers": 2, "threads_per_worker": 1, "processes": True, "dashboard_address": None}
    with config.set(patience), distributed.LocalCluster(death_timeout=600, **options) as made:
        with distributed.Client(made) as client:
            yield client


def process_pool():
    return concurrent.futures.ProcessPoolExecutor(2, multiprocessing.get_context("spawn"))


@pytest.mark.filterwarnings("ignore:make_current:DeprecationWarning")
@pytest.mark.parametrize("make", [lambda: contextlib.nullcontext(2), process_pool, cluster], ids=["own", "pool", "cluster"])
def test_a_table_is_the_same_to_the_bit_when_a_worker_dies(make, tmp_path):
    here = tv.sweep(measured, GRID, "serial")
    assert [(row["data"], row["taps"]) for row in here] == [(d, t) for d in GRID["data"] for t in (2, 3)]
    assert here.columns == ("data", "taps", "marker", "noise", "words", "sum")
    with make() as executor:
        there = tv.sweep(measured, {**GRID, "marker": [tmp_path]}, executor)
    assert (tmp_path / "died").exists()
    assert rows(there) == rows(here) and there.columns == here.columns
    assert [type(row["data"]) for row in there] == [type(row["data"]) for row in here]


def shapes(kind):
    if kind == "named":
        return collections.namedtuple("Pair", "low high")(1, 2)
    return {"number": 3, "tuple": (1, 2.5), "dict": {"a": 1}}[kind]


def test_numbers_tuples_and_dicts_become_columns():
    table = tv.sweep(shapes, {"kind": ["number", "tuple", "named", "dict"]}, concurrent.futures.ThreadPoolExecutor(2))
    assert table.columns == ("kind", "value", "value0", "value1", "low", "high", "a")
    assert table.rows[1] == {"kind": "tuple", "value0": 1, "value1": 2.5} and table["a"] == [None] * 3 + [1]


def faulty(n):
    if n == 2:
        return {"n": 1}
    if n == 1:
        raise tv.Error("tolvane:array:shape", "no such shape")
    if n == 3:
        os._exit(7)
    with tv.errors(overflow="raise") if n == 4 else tv.errors(overflow="ignore"):
        tv.array(1.5, "s8,7", name="x")
    return n


@pytest.mark.parametrize("executor", ["serial", 1])
def test_an_exception_is_raised_or_kept_with_its_point(executor):
    with pytest.raises(tv.SweepError, match="^At n=1: Error: no such shape$") as caught:
        tv.sweep(faulty, {"n": [0, 1]}, executor)
    assert caught.value.point == {"n": 1} and caught.value.id == "tolvane:sweep:point"
    assert caught.value.__cause__.id == "tolvane:array:shape"
    assert executor == "serial" or "in faulty" in str(caught.value.__cause__.__cause__)
    table = tv.sweep(faulty, {"n": [1, 0, 4]}, executor, errors="keep")
    assert table.columns == ("n", "value", "error") and table["value"] == [None, 0, None]
    assert [type(one) for one in table["error"]] == [tv.Error, type(None), tv.OverflowError]
    assert "Error: no such shape" in repr(table) and pickle.loads(pickle.dumps(caught.value)).point == {"n": 1}
    with pytest.raises(ValueError, match="'n' has the name"):
        tv.sweep(faulty, {"n": [2]}, executor)


def test_a_point_that_kills_every_process_is_reported():
    with pytest.raises(tv.SweepError, match="point n=3 ended every process .* 2 times, .* exited with 7") as caught:
        tv.sweep(faulty, {"n": [3, 0]}, 2, tries=2)
    assert caught.value.id == "tolvane:sweep:worker"
    table = tv.sweep(faulty, {"n": [3, 0]}, 1, tries=1, errors="keep")
    assert table["value"] == [None, 0] and "once" in str(table["error"][0])


def warned(n):
    return tv.array(1.5, "s8,7", name="x").item()


@pytest.mark.parametrize("executor", ["serial", 1])
def test_what_happens_at_overflows_goes_along(executor):
    with tv.errors(overflow="raise"), pytest.raises(tv.SweepError, match="overflowed") as caught:
        tv.sweep(warned, {"n": [0]}, executor)
    assert isinstance(caught.value.__cause__, tv.OverflowError) and caught.value.__cause__.count == 1
    with tv.errors(overflow="ignore"):
        assert tv.sweep(warned, {"n": [0]}, executor)["value"] == [tv.array(127 / 128, "s8,7").item()]


PROGRAM = """
import collections, os, sys, time
from pathlib import Path
import tolvane as tv

class Odd(Exception):
    pass

Pair = collections.namedtuple("Pair", "low high")

def run(n, folder):
    if folder is None:
        if n == 2:
            raise Odd("two")
        return Pair(n, n + 0.5)
    Path(folder, str(os.getpid())).touch()
    while True:
        time.sleep(0.01)

# No guard: processes don't import this program.
print(tv.sweep(run, {"n": range(3), "folder": [None]}, errors="keep", executor=2)["high"], flush=True)
tv.sweep(run, {"n": range(3), "folder": [sys.argv[1]]}, executor=2)
"""


def is_running(pid):
    try:
        return Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0] != "Z"
    except (FileNotFoundError, ProcessLookupError):
        return False


def wait_for(condition):
    """Waits until something is so; what never is shows as a failure of the assertions after it."""
    for _ in range(6000):
        if condition():
            return
        time.sleep(0.02)


@pytest.mark.parametrize("ending", [signal.SIGINT, signal.SIGKILL])
def test_a_program_that_is_ended_leaves_no_processes(ending, tmp_path):
    pytest.importorskip("cloudpickle")
    (tmp_path / "program.py").write_text(PROGRAM)
    folder = tmp_path / "pids"
    folder.mkdir()
    program = subprocess.Popen(
        [sys.executable, tmp_path / "program.py", folder],
        stdout=open(tmp_path / "printed", "w"),
        stderr=open(tmp_path / "said", "w"),
    )
    wait_for(lambda: len(list(folder.iterdir())) == 2 or program.poll() is not None)
    pids = [int(file.name) for file in folder.iterdir()]
    program.send_signal(ending)
    program.wait()
    printed, said = ((tmp_path / name).read_text() for name in ("printed", "said"))
    assert printed == "[0.5, 1.5, None]\n" and len(pids) == 2, said
    assert program.returncode == -ending and (ending == signal.SIGKILL or said.endswith("KeyboardInterrupt\n")), said
    try:
        if ending == signal.SIGKILL:
            wait_for(lambda: not any(map(is_running, pids)))
        assert not any(map(is_running, pids))
    finally:
        for pid in filter(is_running, pids):
            os.kill(pid, signal.SIGKILL)


def test_tables_answer_questions(tmp_path):
    points = [{"a": a, "b": b} for a in (1, 2, 3) for b in ("x", "y,z") if (a, b) != (2, "x")]
    table = tv.sweep(lambda a, b: {"snr": [3.0, float("nan"), 7.25][a - 1], "cost": len(b)}, points, "serial")
    assert table.best("snr") == {"a": 3, "b": "x", "snr": 7.25, "cost": 1}
    assert table.best("cost", least=True)["a"] == 1 and table.best(lambda row: -row["a"])["b"] == "x"
    assert [row["a"] for row in table.where(lambda row: row["cost"] == 3)] == [1, 2, 3]
    down, across, values = table.pivot("a", "b", "cost")
    assert (down, across) == ([1, 2, 3], ["x", "y,z"]) and np.array_equal(values, [[1, 3], [np.nan, 3], [1, 3]], True)
    assert table.to_csv() == 'a,b,snr,cost\n1,x,3.0,1\n1,"y,z",3.0,3\n2,"y,z",nan,3\n3,x,7.25,1\n3,"y,z",7.25,3\n'
    table[:1].to_csv(tmp_path / "t.csv")
    assert (tmp_path / "t.csv").read_text() == "a,b,snr,cost\n1,x,3.0,1\n"
    assert repr(table[3:]) == "a    b   snr  cost\n3    x  7.25     1\n3  y,z  7.25     3\n2 points"
    assert list(pytest.importorskip("pandas").DataFrame(table.rows)) == list(table.to_pandas()) == list(table.columns)
    long = tv.sweep(lambda n: n, {"n": range(100)}, "serial")
    assert len(repr(long).splitlines()) == 28 and "..." in repr(long)
    for error, wrong in ((ValueError, lambda: table.where(lambda row: False).best("snr")), (KeyError, lambda: table["c"])):
        with pytest.raises(error):
            wrong()


@pytest.mark.parametrize(
    "error, text, arguments",
    [
        (TypeError, "'f' needs several values", ({"f": "s8,7"},)),
        (TypeError, "'f' needs several values", ({"f": 3},)),
        (ValueError, "have the same names", ([{"a": 1}, {"b": 1}],)),
        (TypeError, "executor is None", ({"f": [1]}, "parallel")),
        (TypeError, "executor is None", ({"f": [1]}, 0)),
        (ValueError, "errors is 'raise' or 'keep'", ({"f": [1]}, None, {"errors": "ignore"})),
        (ValueError, "tries is at least 1", ({"f": [1]}, None, {"tries": 0})),
    ],
)
def test_wrong_arguments_are_named(error, text, arguments):
    *given, options = arguments if isinstance(arguments[-1], dict) and len(arguments) == 3 else (*arguments, {})
    with pytest.raises(error, match=text):
        tv.sweep(faulty, *given, **options)


@pytest.mark.parametrize(
    "module, text, use",
    [
        ("cloudpickle", "python3-cloudpickle", lambda: tv.sweep(lambda n: n, {"n": [1]})),
        ("pandas", "python3-pandas", lambda: tv.sweep(shapes, {"kind": []}).to_pandas()),
    ],
)
def test_a_missing_package_is_named_with_its_cure(module, text, use, monkeypatch):
    monkeypatch.setitem(sys.modules, module, None)
    with pytest.raises(ImportError, match=text):
        use()


class Terminal:
    def __init__(self):
        self.text = ""

    def write(self, text):
        self.text += text

    def flush(self):
        pass

    def isatty(self):
        return True


@pytest.mark.parametrize("has_tqdm", [True, False])
def test_progress_shows_on_a_terminal_only(has_tqdm, monkeypatch, capfd):
    def show(**options):
        tv.sweep(shapes, {"kind": ["number", "dict", "tuple"]}, "serial", **options)

    if has_tqdm:
        pytest.importorskip("tqdm")
    else:
        monkeypatch.setitem(sys.modules, "tqdm", None)
    show()
    assert capfd.readouterr() == ("", "")
    show(progress=True)
    assert "3" in capfd.readouterr().err
    monkeypatch.setattr(sys, "stderr", Terminal())
    show(progress=False)
    assert not sys.stderr.text
    show()
    assert ("3/3" if has_tqdm else "\r1 of 3 points\r3 of 3 points\n") in sys.stderr.text
