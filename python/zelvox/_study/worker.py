"""What happens on a worker: the files of the study are put into its directory, and each thread has a process
`zelvox batch` that lives from task to task, so that a task costs no start of a JVM. A run that ends the
process is found by being repeated alone in a new one."""

import asyncio
import contextlib
import csv
import io
import shutil
import threading
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any, NamedTuple, Optional

from distributed import get_worker
from distributed.diagnostics.plugin import WorkerPlugin

from zelvox._program import program
from zelvox._study.child import Child, Ended, TooLong
from zelvox._study.errors import StudyError

_THROUGH_PIPES = ["--runs", "-", "--output-file", "-"]


class Job(NamedTuple):
    """What is the same for all runs."""

    key: str  # tells this study from others, and names its directory
    files: dict  # name: content; they are in the directory in which `zelvox batch` runs
    arguments: list  # of zelvox batch, but for the runs and the results
    names: list  # the columns of the runs
    all_points: bool  # rows for every point of a run, so that the end of a run cannot be told from its rows
    run_timeout: Optional[float]


class Made(NamedTuple):
    """A finished batch: its table, and the time that it took in seconds."""

    rows: bytes
    seconds: float


def row(cells: list) -> bytes:
    """A line of a comma-separated table."""
    line = io.StringIO(newline="")
    csv.writer(line, lineterminator="\n").writerow(cells)
    return line.getvalue().encode()


class StudyOnWorker(WorkerPlugin):
    """Dask sends it once to every worker, also to those that come later, and keeps it there."""

    def __init__(self, job: Job) -> None:
        self.job = job
        self.name = job.key

    def setup(self, worker: Any) -> None:
        self._directory = Path(worker.local_directory).absolute() / self.job.key
        self._directory.mkdir(parents=True, exist_ok=True)
        for name, content in self.job.files.items():
            (self._directory / name).write_bytes(content)
        self._idle: list[Child] = []
        self._living: set[Child] = set()
        self._lock = threading.Lock()
        self._over = False

    def teardown(self, worker: Any) -> None:
        with self._lock:  # also what a task still uses, whose results nobody waits for
            self._over = True
            for child in self._living:
                child.kill()
        shutil.rmtree(self._directory, ignore_errors=True)

    def header(self) -> tuple:
        """The first line of every table, and what `zelvox batch` warns of. Raises StudyError where no run can be
        made, and says why."""
        with self._child() as child:
            return child.header, child.warnings

    def make(self, rows: list) -> Made:
        """The table of the runs whose rows these are, each beginning with the number of the run."""
        began = time.monotonic()
        made = self._all_points(rows) if self.job.all_points else self._one_row_each(rows)
        return Made(self.header()[0] + b"".join(made), time.monotonic() - began)

    def _one_row_each(self, rows: list) -> list:
        """As many rows, in order, whatever happens to the process."""
        made: list[bytes] = []
        alone = self.job.run_timeout is not None
        while len(made) < len(rows):
            with self._child() as child:
                guilty = alone and child.fresh
                sent = rows[len(made) : len(made) + 1] if alone else rows[len(made) :]
                child.send(b"".join(sent))
                try:
                    for one in sent:
                        made.append(_checked(one, child.receive(self.job.run_timeout)))
                        child.fresh = False
                except TooLong:
                    child.kill()
                    reason = f"the run took longer than {self.job.run_timeout:g} s"
                    made.append(_failed(child.header, rows[len(made)], reason))
                except Ended as how:
                    if guilty:
                        made.append(_failed(child.header, rows[len(made)], str(how)))
                    alone = True
        return made

    def _all_points(self, rows: list) -> list:
        """Any number of rows a run. When one of the runs fails, they are made again by halves."""
        made: list[bytes] = []
        with self._child() as child:
            child.send(b"".join(rows))
            child.finish()
            try:
                while True:
                    made.append(child.receive()[:-1] + b",\n")
            except Ended as how:
                if child.code == 0:
                    return made
                if len(rows) == 1:
                    return [_failed(child.header, rows[0], str(how) if child.code != 1 else child.sentence)]
        half = len(rows) // 2
        return self._all_points(rows[:half]) + self._all_points(rows[half:])

    @contextlib.contextmanager
    def _child(self) -> Iterator[Child]:
        """A process that nobody else has; it is kept for the next task, unless something goes wrong."""
        with self._lock:
            child = self._idle.pop() if self._idle else None
        child = child or self._start()
        try:
            yield child
        except BaseException:
            child.kill()
            raise
        finally:
            with self._lock:
                if child.code is None:
                    self._idle.append(child)
                else:
                    self._living.discard(child)

    def _start(self) -> Child:
        try:
            child = Child([str(program()), "batch", *self.job.arguments, *_THROUGH_PIPES], self._directory)
        except OSError as problem:
            raise StudyError(f"{program()} cannot be run: {problem.strerror}; install zelvox-fmu there") from None
        with self._lock:
            self._living.add(child)
            if self._over:
                child.kill()
        child.send(row(["run", *self.job.names]))
        try:
            header = child.receive()
        except Ended as how:
            raise StudyError(child.sentence or str(how)) from None
        child.header = header[:-1] + b',"error"\n' if self.job.all_points else header
        return child


def _checked(sent: bytes, received: bytes) -> bytes:
    number = sent.split(b",", 1)[0].strip()
    if received.split(b",", 1)[0].strip() != number:
        answer = received[:200].decode(errors="replace")
        raise StudyError(f"zelvox batch answered run {number.decode()} with {answer!r}")
    return received


def _failed(header: bytes, sent: bytes, reason: str) -> bytes:
    """A row with what was sent and the error, without results."""
    columns = next(csv.reader([header.decode()]))
    number = next(csv.reader([sent.decode()]))[0]
    return row([number, *[""] * (len(columns) - 2), reason])


async def check(key: str, dask_worker: Any) -> tuple:
    """What header() gives, once a process has started there."""
    return await asyncio.to_thread(dask_worker.plugins[key].header)


def make(key: str, rows: list) -> Made:
    """The task."""
    plugin = get_worker().plugins[key]
    assert isinstance(plugin, StudyOnWorker)
    return plugin.make(rows)
