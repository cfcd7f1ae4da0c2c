"""What happens on a worker: the files of the study are put into its directory, and each thread has a process
`zelvox batch` that lives from task to task, so that a task costs no start of a JVM. A run that ends the
process is found by being repeated alone in a new one."""

import asyncio
import contextlib
import math
import shutil
import threading
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any, Callable, NamedTuple, Optional

from distributed import get_worker
from distributed.diagnostics.plugin import WorkerPlugin

from zelvox._program import program
from zelvox._study import table
from zelvox._study.child import Child, Ended, TooLong, Unwanted
from zelvox._study.errors import StudyError

_THROUGH_PIPES = ["--runs", "-", "--output-file", "-"]
_START = 30  # seconds for a JVM to start, where runs have a limit
_TRIES = 3  # to start a process that a signal ends
_IDLE = 20  # seconds without a task after which a process ends, as the client of its study may have died


class Job(NamedTuple):
    """What is the same for all runs."""

    key: str  # tells this study from others, also equal ones, and names its directory
    files: dict  # name: content; they are in the directory in which `zelvox batch` runs
    arguments: list  # of zelvox batch, but for the runs and the results
    names: list  # the columns of the runs
    all_points: bool  # a row for every point of a run, and one at its end
    run_timeout: Optional[float]

    def unpack(self, directory: Path) -> None:
        """Writes the files."""
        for name, content in self.files.items():
            (directory / name).write_bytes(content)


class StudyOnWorker(WorkerPlugin):
    """Dask sends it once to every worker, also to those that come later, and keeps it there."""

    def __init__(self, job: Job) -> None:
        self.job = job
        self.name = job.key

    async def setup(self, worker: Any) -> None:
        self._directory = Path(worker.local_directory).absolute() / self.job.key
        self._directory.mkdir(parents=True, exist_ok=True)
        self.job.unpack(self._directory)
        self._started: Optional[tuple] = None  # what header() gives
        self._idle: list[Child] = []
        self._living: set[Child] = set()
        self._lock = threading.Lock()
        self._over = False
        self._watch = asyncio.create_task(self._end_idle())

    async def teardown(self, worker: Any) -> None:
        self._over = True
        self._watch.cancel()
        await asyncio.to_thread(self._end, -math.inf)
        end = time.monotonic() + _IDLE
        while self._living and time.monotonic() < end:  # tasks that still run see _over, and end theirs
            await asyncio.sleep(0.05)
        shutil.rmtree(self._directory, ignore_errors=True)

    async def _end_idle(self) -> None:
        while True:
            await asyncio.sleep(_IDLE / 4)
            await asyncio.to_thread(self._end, _IDLE)

    def _end(self, idle: float) -> None:
        """Has the processes end in order that had nothing to do for so many seconds."""
        with self._lock:
            old = [child for child in self._idle if time.monotonic() - child.idle_since > idle]
            self._idle = [child for child in self._idle if child not in old]
        for child in old:
            child.finish()
        for child in old:
            child.close()
            self._living.discard(child)

    def header(self) -> tuple:
        """The first line of every table, and what `zelvox batch` warns of. Raises StudyError where no run can be
        made, and says why."""
        if self._started is None:
            with self._child():
                pass
        return self._started  # type: ignore[return-value]

    def make(self, rows: list, wanted: Callable[[], bool]) -> tuple:
        """The table of the runs whose rows these are, each beginning with the number of the run: of each of them
        everything, in order, whatever happens to the process. And the seconds that it took."""
        began = time.monotonic()
        made: list[bytes] = []
        limit = self.job.run_timeout
        alone = limit is not None
        while len(made) < len(rows):
            with self._child() as child:
                guilty = alone and child.fresh
                sent = rows[len(made) : len(made) + 1] if alone else rows[len(made) :]
                child.send(b"".join(sent))
                try:
                    for one in sent:
                        end = math.inf if limit is None else time.monotonic() + limit
                        made.append(self._run(child, one, end, lambda: wanted() and not self._over))
                        child.fresh = False
                except TooLong:
                    child.kill()
                    made.append(self._failed(rows[len(made)], f"the run took longer than {limit:g} s"))
                except Ended as how:
                    if guilty:
                        made.append(self._failed(rows[len(made)], str(how)))
                    alone = True
        return self.header()[0] + b"".join(made), time.monotonic() - began

    def _run(self, child: Child, sent: bytes, end: float, wanted: Callable[[], bool]) -> bytes:
        """The rows of a run, up to the one that ends it."""
        number = sent.split(b",", 1)[0] + b","
        last = number + b"," if self.job.all_points else number  # that one has no time
        made: list[bytes] = []
        while not made or not made[-1].startswith(last):
            made.append(child.receive(end, wanted))
            if not made[-1].startswith(number):
                answer = made[-1][:200].decode(errors="replace")
                raise StudyError(f"zelvox batch answered run {number[:-1].decode()} with {answer!r}")
        rows = b"".join(made)
        try:
            rows.decode()
        except UnicodeDecodeError:
            return self._failed(sent, "a text of the results is not in UTF-8")
        return rows if made[-1].endswith(b",\n") else made[-1]  # a run that failed has no results

    def _failed(self, sent: bytes, reason: str) -> bytes:
        """A row with what was sent, as far as the table has it, and the error, without results."""
        columns = table.names(self.header()[0])
        given = sent.split(b",", 1)[0] if self.job.all_points else sent[:-1]
        empty = len(columns) - 1 - (0 if self.job.all_points else len(self.job.names))
        return given + b"," * empty + table.rows([[reason]])

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
            child.idle_since = time.monotonic()
            with self._lock:
                if child.code is None:
                    self._idle.append(child)
                else:
                    self._living.discard(child)
            if self._over:
                self._end(-math.inf)

    def _start(self) -> Child:
        limit = math.inf if self.job.run_timeout is None else _START + self.job.run_timeout
        tries = _TRIES
        while True:
            try:
                child = Child([str(program()), "batch", *self.job.arguments, *_THROUGH_PIPES], self._directory)
            except OSError as problem:
                raise StudyError(f"{program()} cannot be run: {problem.strerror}; install zelvox-fmu there") from None
            self._living.add(child)
            child.send(table.rows([["run", *self.job.names]]))
            try:
                header = child.receive(time.monotonic() + limit, lambda: not self._over)
            except BaseException as problem:
                child.kill()
                self._living.discard(child)
                if isinstance(problem, TooLong):
                    raise StudyError(f"the JVM and the model were not ready to run after {limit:g} s") from None
                if not isinstance(problem, Ended):
                    raise
                tries -= 1
                if tries == 0 or child.code >= 0:  # type: ignore[operator]
                    raise StudyError([str(problem), *child.said][-1]) from None
            else:
                self._started = header, [said for said in child.said if said.startswith("warning: ")]
                return child


async def check(key: str, dask_worker: Any) -> tuple:
    """What header() gives, once a process has started there."""
    return await asyncio.to_thread(dask_worker.plugins[key].header)


def make(key: str, rows: list) -> tuple:
    """The task."""
    worker = get_worker()
    task = worker.get_current_task()
    # Once nobody wants the result, the worker knows the task no more, or as a cancelled one.
    wanted = lambda: getattr(worker.state.tasks.get(task), "state", "") == "executing"  # noqa: E731
    return worker.plugins[key].make(rows, wanted)  # type: ignore[attr-defined]
