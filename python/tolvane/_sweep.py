"""Sweeps: one function at all combinations of formats, on several processes or machines, and the table of results."""

from __future__ import annotations

import contextlib
import io
import itertools
import os
import sys
import time
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from typing import TYPE_CHECKING, Any, Literal, Union

import numpy as np

from ._core import Format, Type
from ._errors import Error

if TYPE_CHECKING:
    from concurrent.futures import Executor, Future

    from ._processes import Outcome, Outcomes, Task

Row = dict[str, Any]
Grid = Union[Mapping[str, Iterable[Any]], Iterable[Mapping[str, Any]]]


class SweepError(Error):
    """A point of a sweep that failed: `point` has its values, and `__cause__` is what was raised there."""

    def __init__(self, id: str, text: str, point: Row) -> None:
        super().__init__(id, text)
        self.args = (id, text, point)
        self.point = point


def _cell(value: Any) -> str:
    """A value as people read it in a table."""
    if value is None:
        return ""
    if isinstance(value, (float, np.floating)):
        return f"{value:.6g}"
    if isinstance(value, (Format, Type)):
        return value.text
    if isinstance(value, BaseException):
        return f"{type(value).__name__}: {value}"
    return str(value)


class SweepTable:
    """The results of a sweep: a row for each point, in the order of the grid.

    Rows are dicts of a point's values and its results. `table["snr"]` is a column as a list, `table[3]` a row, and
    a slice a shorter table.
    """

    def __init__(self, rows: Iterable[Row], columns: Iterable[str], point_columns: Iterable[str] = ()) -> None:
        self.rows = list(rows)
        self.columns = tuple(columns)
        self.point_columns = tuple(point_columns)

    def __len__(self) -> int:
        return len(self.rows)

    def __iter__(self) -> Iterator[Row]:
        return iter(self.rows)

    def __getitem__(self, key: Any) -> Any:
        if isinstance(key, str):
            if key not in self.columns:
                raise KeyError(f"There is no column {key!r}; there are {', '.join(self.columns)}.")
            return [row.get(key) for row in self.rows]
        return SweepTable(self.rows[key], self.columns, self.point_columns) if isinstance(key, slice) else self.rows[key]

    def where(self, keep: Callable[[Row], bool]) -> SweepTable:
        """The rows for which `keep(row)` is true."""
        return SweepTable(filter(keep, self.rows), self.columns, self.point_columns)

    def best(self, key: str | Callable[[Row], Any], *, least: bool = False) -> Row:
        """The row with the greatest (or least) value in a column, or of a function of rows; the first of equals.

        Rows without a value, or with one that is no number (NaN), don't count. ValueError if none is left.
        """
        values = self[key] if isinstance(key, str) else [key(row) for row in self.rows]
        ranked = [(value, row) for value, row in zip(values, self.rows) if value is not None and value == value]
        if not ranked:
            raise ValueError("No row of the table has such a value.")
        order: Callable[..., tuple[Any, Row]] = min if least else max
        return order(ranked, key=lambda one: one[0])[1]

    def pivot(self, down: str, across: str, value: str) -> tuple[list[Any], list[Any], Any]:
        """One result over two columns of the points: the values down, those across, and an array of floats, NaN where
        the table has none. For pictures: `axes.imshow(table.pivot("data", "coefficients", "snr")[2])`."""
        rows, columns = (list(dict.fromkeys(self[name])) for name in (down, across))
        made = np.full((len(rows), len(columns)), np.nan)
        for row in self.rows:
            if row.get(value) is not None:
                made[rows.index(row[down]), columns.index(row[across])] = float(row[value])
        return rows, columns, made

    def to_pandas(self) -> Any:
        """A DataFrame of pandas."""
        try:
            import pandas
        except ImportError as missing:
            raise ImportError("A DataFrame needs pandas: install python3-pandas, or pip install pandas.") from missing
        return pandas.DataFrame(self.rows, columns=list(self.columns))

    def to_csv(self, path: str | os.PathLike[str] | None = None) -> str | None:
        """Comma-separated values with all digits: a text, or a file at a path."""
        import csv

        text = io.StringIO()
        writer = csv.writer(text, lineterminator="\n")
        writer.writerow(self.columns)
        for row in self.rows:
            cells = [row.get(name) for name in self.columns]
            writer.writerow([_cell(one) if isinstance(one, BaseException) else one for one in cells])
        if path is None:
            return text.getvalue()
        with open(path, "w", encoding="utf-8", newline="") as file:
            file.write(text.getvalue())
        return None

    def __repr__(self) -> str:
        shown = self.rows if len(self) <= 30 else self.rows[:15] + self.rows[-10:]
        cells = [[_cell(row.get(name)) for name in self.columns] for row in shown]
        cells = [[cell if len(cell) <= 60 else cell[:59] + "…" for cell in line] for line in cells]
        if len(shown) < len(self):
            cells.insert(15, ["..." for _ in self.columns])
        widths = [max(map(len, column)) for column in zip(self.columns, *cells)]
        lines = ["  ".join(f"{cell:>{width}}" for cell, width in zip(line, widths)) for line in [self.columns, *cells]]
        return "\n".join([*lines, f"{len(self)} points"])

    def _repr_html_(self) -> str:
        from . import _html

        return _html.sweep_table(self)


def _points(grid: Grid) -> list[Row]:
    if not isinstance(grid, Mapping):
        points = [dict(point) for point in grid]
        if any(point.keys() != points[0].keys() for point in points):
            raise ValueError("All points of a sweep have the same names.")
        return points
    choices = []
    for name, values in grid.items():
        if isinstance(values, (str, bytes, Format, Type)) or not isinstance(values, Iterable):
            raise TypeError(f"{name!r} needs several values in a list, as [{values!r}].")
        choices.append(list(values))
    return [dict(zip(grid, values)) for values in itertools.product(*choices)]


def _named(point: Row) -> str:
    return ", ".join(f"{name}={_cell(value)}" for name, value in point.items())


def _on_executor(executor: Executor, task: Task, points: Sequence[Row], tries: int) -> Outcomes:
    from concurrent.futures import ThreadPoolExecutor, as_completed
    from concurrent.futures.process import BrokenProcessPool

    from ._processes import measure, on_processes, pack, packed_measure, unpack

    futures: dict[Future[Any], int] = {}
    future: Future[Any]
    unfinished: list[int] = []
    is_here = isinstance(executor, ThreadPoolExecutor)
    packed = b"" if is_here else task.packed()
    try:
        for i, point in enumerate(points):
            try:
                if is_here:
                    future = executor.submit(measure, task, point)
                else:
                    future = executor.submit(packed_measure, packed, pack(point))
                futures[future] = i
            except BrokenProcessPool:
                unfinished.append(i)
        for future in as_completed(futures):
            try:
                outcome: Outcome = future.result() if is_here else unpack(future.result())
            except BrokenProcessPool:
                unfinished.append(futures[future])
                continue
            yield futures[future], outcome
    finally:
        for future in futures:
            future.cancel()
    if unfinished:
        # Processes of a pool with an initializer may know what others don't.
        if getattr(executor, "_initializer", None) is not None:
            text = "A process of the pool ended, and with it the pool: make another one, and sweep again."
            raise SweepError("tolvane:sweep:worker", text, points[min(unfinished)])
        yield from on_processes(task, points, sorted(unfinished), getattr(executor, "_max_workers", None), tries)


def _on_cluster(client: Any, task: Task, points: Sequence[Row]) -> Outcomes:
    from distributed import as_completed
    from distributed.scheduler import KilledWorker

    from ._processes import Death, pack, packed_measure, unpack

    packed = task.packed()
    futures = {client.submit(packed_measure, packed, pack(point), pure=False): i for i, point in enumerate(points)}
    try:
        for future in as_completed(list(futures)):
            try:
                outcome: Outcome = unpack(future.result())
            except KilledWorker as killed:
                outcome = Death(str(killed))
            yield futures[future], outcome
    finally:
        client.cancel(list(futures))


def _is_cluster(executor: Any) -> bool:
    # Whoever has a client has imported its module.
    module = sys.modules.get("distributed")
    return module is not None and isinstance(executor, module.Client)


def _in_turn(task: Task, points: Sequence[Row]) -> Outcomes:
    from ._processes import measure

    for i, point in enumerate(points):
        yield i, measure(task, point)


def _outcomes(executor: Any, task: Task, points: Sequence[Row], tries: int) -> Outcomes:
    from concurrent.futures import Executor

    from ._processes import on_processes

    if isinstance(executor, str) and executor == "serial":
        return _in_turn(task, points)
    if executor is None or (isinstance(executor, int) and not isinstance(executor, bool) and executor > 0):
        return on_processes(task, points, range(len(points)), executor, tries)
    if _is_cluster(executor):
        return _on_cluster(executor, task, points)
    if isinstance(executor, Executor):
        return _on_executor(executor, task, points, tries)
    raise TypeError(
        "executor is None, a number of processes, 'serial', an executor of concurrent.futures or a client of Dask, "
        f"not {executor!r}."
    )


def sweep(
    run: Callable[..., Any],
    grid: Grid,
    executor: Any = None,
    *,
    errors: Literal["raise", "keep"] = "raise",
    tries: int = 3,
    progress: bool | None = None,
) -> SweepTable:
    """Runs a function at all combinations of values and makes a table of its results.

    `grid` has a list of values for each argument of `run`: formats, or anything else; or it is a list of points, each a
    dict. `run` returns a number, a dict, or a tuple, whose items become columns. Rows are in the order of the grid, the
    last name changing fastest, whatever finishes first.

    `executor` says where: None is as many processes of this machine as it has cores, a number that many, "serial" this
    process; or any executor of `concurrent.futures`, or a client of Dask (`distributed.Client`). Results don't depend on
    it. Modes of this context, as that of `tolvane.errors`, hold there; logs of this process hear nothing of others, so
    open them inside `run`. Functions of a notebook or of the program itself need cloudpickle to get there.

    An exception at a point ends the sweep with a SweepError, which names the point; with errors="keep" the row has it
    in the column "error", and no results. If a process dies, its point is tried again, `tries` times in all; a cluster
    has its own rule. `progress` shows how far it is: True, False, or None for only on a terminal and in a notebook.

    >>> def error(bits, rounding):
    ...     return abs(float(tv.array(0.1, f's{bits},{bits - 1} {rounding}')) - 0.1)
    >>> table = sweep(error, {'bits': [4, 6, 8], 'rounding': ['nearest', 'floor']}, 'serial')
    >>> table.where(lambda row: row['value'] < 0.01).best('bits', least=True)['bits']
    6
    """
    if errors not in ("raise", "keep"):
        raise ValueError(f"errors is 'raise' or 'keep', not {errors!r}.")
    if tries < 1:
        raise ValueError("tries is at least 1.")
    from ._processes import Task

    points = _points(grid)
    task = Task(run)
    made: list[Row | None] = [None] * len(points)
    with contextlib.closing(_outcomes(executor, task, points, tries)) as outcomes:
        with _progress(len(points), progress) as advance:
            for i, outcome in outcomes:
                made[i] = _row(points[i], outcome, errors)
                advance()
    names = list(points[0]) if points else list(grid) if isinstance(grid, Mapping) else []
    rows = [row for row in made if row is not None]
    columns = dict.fromkeys([*names, *(name for row in rows for name in row if name != "error")])
    if any("error" in row for row in rows):
        columns["error"] = None
    return SweepTable(rows, columns, names)


def _row(point: Row, outcome: Outcome, errors: str) -> Row:
    from ._processes import Death, with_lines

    if isinstance(outcome, Death):
        text = f"The point {_named(point)} ended every process that it ran on: {outcome.text}."
        error: Exception = SweepError("tolvane:sweep:worker", text, point)
        cause = None
    elif outcome.error is not None:
        with_lines(outcome.error)
        text = f"At {_named(point)}: {type(outcome.error).__name__}: {outcome.error}"
        error, cause = SweepError("tolvane:sweep:point", text, point), outcome.error
    else:
        results = outcome.results
        taken = sorted({"error", *point} & results.keys())
        if taken:
            raise ValueError(f"The result {taken[0]!r} has the name of a value of the grid or of 'error'; rename it.")
        return {**point, **results}
    if errors == "raise":
        raise error from cause
    return {**point, "error": error if cause is None else cause}


def _notebook() -> Any:
    """IPython's display in a notebook, else None."""
    module = sys.modules.get("IPython")
    shell = module.get_ipython() if module is not None else None
    if shell is None or not hasattr(shell, "kernel"):
        return None
    from IPython import display

    return display


class _Shown:
    """A count that is shown as it grows, ten times a second at most."""

    def __init__(self, count: int, show: Callable[[str, int], None]) -> None:
        self._count = count
        self._show = show
        self._done = 0
        self._last = 0.0

    def advance(self) -> None:
        self._done += 1
        now = time.monotonic()
        if now - self._last > 0.1:
            self._last = now
            self.show()

    def show(self) -> None:
        self._show(f"{self._done} of {self._count} points", self._done)


@contextlib.contextmanager
def _progress(count: int, wanted: bool | None) -> Iterator[Callable[[], object]]:
    """Shows how many points are done: a bar in a notebook, tqdm or a line of text on a terminal, nothing elsewhere."""
    display = _notebook()
    is_terminal = sys.stderr is not None and sys.stderr.isatty()
    if wanted is False or count == 0 or not (wanted or display or is_terminal):
        yield lambda: None
        return
    if display is not None:
        handle = display.display(display.HTML(""), display_id=True)

        def draw(text: str, done: int) -> None:
            handle.update(display.HTML(f'<progress value="{done}" max="{count}"></progress> {text}'))

        shown = _Shown(count, draw)
    else:
        try:
            from tqdm import tqdm
        except ImportError:
            shown = _Shown(count, lambda text, done: print(f"\r{text}", end="", file=sys.stderr, flush=True))
        else:
            with tqdm(total=count, unit="point", file=sys.stderr) as meter:
                yield meter.update
            return
    try:
        yield shown.advance
    finally:
        shown.show()
        if display is None:
            print(file=sys.stderr)
