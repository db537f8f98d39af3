"""Processes of this machine that run the points of a sweep, and what runs in them.

A process is a new interpreter, which doesn't import the program it works for, so programs need no guard. It has one
point at a time: if it dies, that point is to blame, and no other one has to be repeated.
"""

from __future__ import annotations

import collections
import contextvars
import dataclasses
import functools
import importlib
import os
import pickle
import signal
import subprocess
import sys
import threading
import traceback
from collections.abc import Callable, Generator, Iterable, Mapping, Sequence
from multiprocessing import Pipe
from multiprocessing.connection import Connection, wait
from typing import Any, Union


@dataclasses.dataclass(frozen=True)
class Done:
    """What became of a point that ran to its end."""

    results: dict[str, Any] = dataclasses.field(default_factory=dict)
    error: Exception | None = None


@dataclasses.dataclass(frozen=True)
class Death:
    """A point that ended its processes."""

    text: str


Outcome = Union[Done, Death]
Outcomes = Generator[tuple[int, Outcome], None, None]


class _Trace(Exception):
    """The lines of an exception in another process."""

    def __str__(self) -> str:
        return "\n" + str(self.args[0])


def pack(value: Any) -> bytes:
    """Pickled, by reference where another process can import it, otherwise by value."""
    problem: Exception | None = None
    try:
        packed = pickle.dumps(value)
        if b"__main__" not in packed:
            return packed
    except Exception as error:
        problem = error
    try:
        import cloudpickle
    except ImportError as missing:
        raise ImportError(
            "A function of a notebook or of the program itself gets to other processes by cloudpickle only: install "
            "python3-cloudpickle, or pip install cloudpickle, or put the function into a module."
        ) from (problem or missing)
    return bytes(cloudpickle.dumps(value))


def _modes() -> dict[tuple[str, str], Any]:
    """What the context of the caller says, as `tolvane.errors`, by module and name."""
    modes = {}
    for module_name, module in list(sys.modules.items()):
        if module_name.startswith("tolvane."):
            for name, variable in vars(module).items():
                if isinstance(variable, contextvars.ContextVar):
                    value = variable.get(None)
                    if isinstance(value, (bool, int, float, str)):
                        modes[module_name, name] = value
    return modes


def unpack(packed: bytes) -> Any:
    return pickle.loads(packed)


class Task:
    """A function with the modes that are in force where the task is made."""

    def __init__(self, run: Callable[..., Any]) -> None:
        self.run = run
        self.modes = _modes()

    def packed(self) -> bytes:
        return pack((self.run, self.modes))


def _called(task: Task, point: dict[str, Any]) -> Any:
    for (module, name), value in task.modes.items():
        getattr(importlib.import_module(module), name).set(value)
    return task.run(**point)


def _results(returned: Any) -> dict[str, Any]:
    """What a function returned, by the names of columns."""
    if isinstance(returned, Mapping):
        return dict(returned)
    if isinstance(returned, tuple):
        names = getattr(returned, "_fields", [f"value{i}" for i in range(len(returned))])
        return dict(zip(names, returned))
    return {"value": returned}


def measure(task: Task, point: dict[str, Any]) -> Done:
    """Runs a point under the modes of a task, and leaves those of this context alone."""
    try:
        return Done(_results(contextvars.copy_context().run(_called, task, point)))
    except Exception as error:
        return Done(error=error)


@functools.lru_cache(maxsize=4)
def _unpacked(packed: bytes) -> Task:
    task = Task.__new__(Task)
    task.run, task.modes = unpack(packed)
    return task


def _portable(error: Exception) -> Exception:
    """An error that can be sent, with its lines in this process as its cause."""
    lines = "".join(traceback.format_exception(type(error), error, error.__traceback__))
    try:
        sent: Exception = unpack(pack(error))
    except Exception:
        sent = RuntimeError(f"{type(error).__name__}: {error}")
    # Its __dict__ goes along, where its cause and its traceback don't.
    sent.__dict__["_lines"] = lines
    return sent


def packed_measure(packed: bytes, point: bytes) -> bytes:
    """As `measure`, in another process: of a packed task and a packed point, a packed outcome."""
    try:
        done = measure(_unpacked(packed), unpack(point))
        if done.error is None:
            return pack(done)
    except Exception as error:
        done = Done(error=error)
    assert done.error is not None
    return pack(Done(error=_portable(done.error)))


def with_lines(error: Exception) -> None:
    """Gives an error from another process its lines there as a cause."""
    lines = error.__dict__.pop("_lines", None)
    if lines is not None:
        error.__cause__ = _Trace(lines)


class _Worker:
    def __init__(self, packed: bytes) -> None:
        self.index = -1
        self.connection, theirs = Pipe()
        code = f"import sys; sys.path[:] = {sys.path!r}; from tolvane._processes import main; main({theirs.fileno()})"
        options = [f"-W{option}" for option in sys.warnoptions]
        with theirs:
            self.process = subprocess.Popen(
                [sys.executable, *options, "-c", code], stdin=subprocess.PIPE, pass_fds=[theirs.fileno()]
            )
        self._packed: bytes | None = packed

    def _send(self, message: bytes) -> None:
        try:
            self.connection.send_bytes(message)
        except OSError:
            pass  # it has died, and its connection will say so

    def give(self, index: int, point: bytes) -> None:
        self.index = index
        # A long task waits here until the process has begun; the others begin meanwhile.
        if self._packed is not None:
            self._send(self._packed)
            self._packed = None
        self._send(point)

    def end(self) -> int:
        """Ends the process at once, and returns its code."""
        self.process.kill()
        code = self.process.wait()
        self.connection.close()
        if self.process.stdin is not None:
            self.process.stdin.close()
        return code


def _how(code: int) -> str:
    if code >= 0:
        return f"it exited with {code}"
    try:
        return f"it died by {signal.Signals(-code).name}"
    except ValueError:
        return f"it died by signal {-code}"


def on_processes(
    task: Task, points: Sequence[dict[str, Any]], order: Iterable[int], count: int | None, tries: int
) -> Outcomes:
    """Runs points on processes of this machine, as many as cores unless a count is given; outcomes as they come.

    A point whose process dies is given to a new one, `tries` times in all. No process is left, however it ends.
    """
    packed = task.packed()
    waiting = collections.deque(order)
    most = min(count or len(os.sched_getaffinity(0)), len(waiting))
    deaths: collections.Counter[int] = collections.Counter()
    idle: list[_Worker] = []
    busy: dict[Connection, _Worker] = {}
    try:
        for _ in range(most):
            idle.append(_Worker(packed))
        while waiting or busy:
            while waiting and (idle or len(busy) < most):
                point = pack(points[waiting[0]])
                worker = idle.pop() if idle else _Worker(packed)
                busy[worker.connection] = worker
                worker.give(waiting.popleft(), point)
            for ready in wait(list(busy)):
                worker = busy[ready]  # type: ignore[index]
                try:
                    outcome: Outcome = unpack(worker.connection.recv_bytes())
                except (EOFError, OSError):
                    # Its connection closes a moment before it has ended by itself.
                    try:
                        worker.process.wait(1)
                    except subprocess.TimeoutExpired:
                        pass
                    code = worker.end()
                    del busy[ready]  # type: ignore[arg-type]
                    deaths[worker.index] += 1
                    if deaths[worker.index] < tries:
                        waiting.appendleft(worker.index)
                        continue
                    times = "once" if tries == 1 else f"{tries} times"
                    yield worker.index, Death(f"{times}, the last time {_how(code)}")
                    continue
                del busy[ready]  # type: ignore[arg-type]
                idle.append(worker)
                yield worker.index, outcome
    finally:
        for worker in [*idle, *busy.values()]:
            worker.end()


def _end_with(life: int) -> None:
    """Ends this process when its parent has ended, and with it the other end of a pipe."""
    os.read(life, 1)
    os._exit(1)


def main(descriptor: int) -> None:
    """What a process does: it reads a task, then points, and answers each by an outcome."""
    # The parent ends its processes itself; a Ctrl-C on the terminal is for all of them.
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    threading.Thread(target=_end_with, args=(os.dup(0),), daemon=True).start()
    nothing = os.open(os.devnull, os.O_RDONLY)
    os.dup2(nothing, 0)
    os.close(nothing)
    connection = Connection(descriptor)
    packed = connection.recv_bytes()
    while True:
        try:
            message = connection.recv_bytes()
        except EOFError:
            return
        answer = packed_measure(packed, message)
        sys.stdout.flush()
        connection.send_bytes(answer)
