"""The workers: processes of this machine, or a cluster that runs already; and whether each of them can make
runs at all, before the first one is made."""

import asyncio
import contextlib
import csv
import logging
from collections.abc import Iterator
from typing import Optional, Union

import dask
from distributed import Client, LocalCluster

from zelvox import __version__
from zelvox._study.errors import StudyError
from zelvox._study.worker import Job, StudyOnWorker, check

_PATIENCE = 30  # seconds, for a first worker to come

# What Dask watches of itself many times a second took a twentieth of each processor of this machine.
_UNWATCHED = {
    "distributed.worker.profile.enabled": False,
    "distributed.admin.system-monitor.interval": "5s",
    "distributed.admin.tick.interval": "1s",
}

# Evaluated on workers, which may have no zelvox to unpickle anything of.
_VERSION = (
    "(lambda find: getattr(__import__('zelvox'), '__version__', '?') if find('zelvox') else None)"
    "(__import__('importlib.util', fromlist=['util']).find_spec)"
)


@contextlib.contextmanager
def connected(scheduler: Union[str, Client, None], workers: Optional[int]) -> Iterator[Client]:
    """A client of the scheduler at that address, or of as many processes of this machine."""
    if workers is not None and (scheduler is not None or workers < 1):
        raise StudyError("the number of workers is for those of this machine, and at least 1")
    if isinstance(scheduler, Client):
        yield scheduler
        return
    with contextlib.ExitStack() as stack:
        if scheduler is None:
            stack.enter_context(dask.config.set(_UNWATCHED))
            scheduler = stack.enter_context(
                LocalCluster(  # type: ignore[no-untyped-call]
                    n_workers=workers,
                    threads_per_worker=1,  # more workers for more at a time: Python has one lock each
                    processes=True,
                    host="127.0.0.1",
                    dashboard_address="127.0.0.1:0",
                    memory_limit=0,  # the memory is the JVM's, which is another process
                    preload=["zelvox._study.local_worker"],
                    silence_logs=logging.CRITICAL,
                )
            )
        try:
            client = stack.enter_context(Client(scheduler, set_as_default=False))
        except (OSError, ValueError) as problem:
            raise StudyError(f"there is no scheduler at {scheduler}: {_first_line(problem)}") from None
        yield client


def prepared(client: Client, job: Job) -> tuple:
    """Sends the job to all workers, has each start a process, and gives the header of their tables and what
    `zelvox batch` warns of. Raises StudyError that says which worker lacks what."""
    try:
        client.wait_for_workers(1, timeout=_PATIENCE)
    except (TimeoutError, asyncio.TimeoutError):  # before Python 3.11 the one is not the other
        raise StudyError(f"the scheduler has no workers, and none came in {_PATIENCE} s") from None
    for worker, version in client.run(eval, _VERSION).items():
        if version is None:
            raise StudyError(f"the worker {worker} has no zelvox; pip install 'zelvox-fmu[study]' there")
        if version != __version__:
            raise StudyError(
                f"the worker {worker} has zelvox {version} and not {__version__} as here; install the same there"
            )
    client.register_plugin(StudyOnWorker(job), name=job.key)
    answers = client.run(check, job.key, on_error="return")
    problems: dict[str, list] = {}
    for worker, answer in answers.items():
        if isinstance(answer, Exception):
            problems.setdefault(str(answer) or type(answer).__name__, []).append(worker)
    if problems:
        raise StudyError(_told(problems, len(answers)))
    (header, warnings), *others = answers.values()
    columns = next(csv.reader([header.decode()]))
    if any(header != other for other, _ in others):
        raise StudyError("the workers make tables with different columns; install the same zelvox on all of them")
    given = [] if job.all_points else job.names
    if len(set(columns)) < len(columns) or columns[1 : 1 + len(given)] != given:
        raise StudyError(f"the results have columns that cannot be told apart: {', '.join(columns)}")
    return header, warnings


def _told(problems: dict, count: int) -> str:
    sentence, workers = max(problems.items(), key=lambda problem: len(problem[1]))
    if len(workers) == count:  # it is the study, not the worker
        return sentence
    others = f" and {len(workers) - 1} more" if len(workers) > 1 else ""
    return f"the worker {workers[0]}{others}: {sentence}"


def _first_line(problem: Exception) -> str:
    return (str(problem).strip() or type(problem).__name__).splitlines()[0]


def forgotten(client: Client, job: Job) -> None:
    """Has the workers end their processes and delete their files."""
    with contextlib.suppress(Exception):  # who is gone has forgotten
        client.unregister_worker_plugin(job.key)
