"""From runs to results: cuts the runs into batches of about two seconds, has two of them for each thread of the
workers under way, and hands what comes back to the store."""

import math
import queue
import time
from collections.abc import Iterator
from typing import Callable

from distributed import Client, Future
from distributed.scheduler import KilledWorker

from zelvox._study import table
from zelvox._study.errors import StudyError
from zelvox._study.sampling import Runs
from zelvox._study.store import Store
from zelvox._study.worker import Job, make

SECONDS = 2.0  # that a batch is to last: a thousand times what the scheduler needs for it
_AHEAD = 2  # batches for each thread: one that it makes, and one that waits for it
_LARGEST = 100_000  # runs of a batch


class Batches:
    """Cuts what is missing. The size follows the time of the runs so far. Towards the end a batch has half of a
    thread's share of what is left, down to a twentieth of its size before, so that nobody waits long for another."""

    def __init__(self, missing: Iterator[tuple]) -> None:
        self._missing = list(missing)[::-1]
        self.left = sum(stop - start for start, stop in self._missing)
        self._seconds = math.inf  # that a run takes; until one was measured, a batch has one run

    def measured(self, runs: int, seconds: float) -> None:
        """What a batch took."""
        now = seconds / runs
        self._seconds = now if self._seconds == math.inf else 0.7 * self._seconds + 0.3 * now

    def next(self, threads: int) -> tuple:
        """The positions of the next batch, for that many threads."""
        most = min(SECONDS / max(self._seconds, 1e-9), _LARGEST)
        size = max(1, int(min(most, max(-(-self.left // (2 * threads)), most / 20))))
        start, stop = self._missing.pop()
        if stop - start > size:
            self._missing.append((start + size, stop))
            stop = start + size
        self.left -= stop - start
        return start, stop


def execute(client: Client, job: Job, runs: Runs, store: Store, header: bytes, told: Callable) -> None:
    """Makes the runs that the store misses, and tells how many more are done, and how many of these failed."""
    batches = Batches(store.missing())
    finished: queue.Queue[Future] = queue.Queue()
    under_way: dict[str, tuple] = {}  # by key: the positions, and the future; without it Dask forgets the task
    threads, asked = 1, 0.0
    try:
        while batches.left or under_way:
            if time.monotonic() - asked > 1:  # as the number of workers changes
                threads, asked = max(1, sum(client.nthreads().values())), time.monotonic()
            while batches.left and len(under_way) < _AHEAD * threads:
                start, stop = batches.next(threads)
                key = f"{job.key}-{start + 1}-{stop}"
                future = client.submit(make, job.key, _rows(runs, start, stop), key=key, pure=False)
                under_way[key] = (start, stop, future)
                future.add_done_callback(finished.put)
            for future, (rows, seconds) in _gathered(client, finished):
                start, stop, _ = under_way.pop(future.key)
                if not rows.startswith(header):
                    raise StudyError(f"the columns of runs {start + 1} to {stop} are not those of the others")
                failed = store.write(start, stop, rows)
                batches.measured(stop - start, seconds)
                told(stop - start, failed)
    finally:
        client.cancel([future for _, _, future in under_way.values()], force=True)


def _gathered(client: Client, finished: queue.Queue) -> Iterator[tuple]:
    """Waits for a batch, and gives its future and result, with those of all that have finished by then."""
    futures = [finished.get()]
    while not finished.empty():
        futures.append(finished.get())
    there = []
    for future in futures:
        status = future.status
        if status == "lost":  # the worker that had the result has died; Dask has another one make it again
            future.add_done_callback(finished.put)
        elif status != "finished":
            raise _reason(future)
        else:
            there.append(future)
    yield from zip(there, client.gather(there))


def _reason(future: Future) -> BaseException:
    if future.status != "error":
        return StudyError("the scheduler has gone away; start it again and go on with --resume")
    problem = future.exception()
    if isinstance(problem, KilledWorker):
        return StudyError(
            f"{problem.allowed_failures + 1} workers in turn were killed while they made the same batch of runs; "
            "look for the reason, such as a lack of memory, and go on with --resume"
        )
    return problem


def _rows(runs: Runs, start: int, stop: int) -> list:
    columns = [column.tolist() for column in runs.values(start, stop)]
    numbers = runs.numbers(start, stop).tolist()
    return [table.rows([cells]) for cells in zip(numbers, *columns)]
