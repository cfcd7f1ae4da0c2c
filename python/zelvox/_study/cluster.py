"""The workers: threads of this process, or a cluster that runs already; and whether each of them can make
runs at all, before the first one is made."""

import asyncio
import contextlib
import logging
import tempfile
from collections.abc import Iterator
from typing import Any, Optional, Union

import dask
from dask.system import CPU_COUNT
from distributed import Client, Scheduler, SpecCluster, Worker
from distributed.comm import connect, get_address_host_port
from distributed.security import Security
from distributed.utils import LoopRunner

from zelvox import __version__
from zelvox._program import wheel
from zelvox._study.errors import StudyError
from zelvox._study.worker import Job, StudyOnWorker, check

_PATIENCE = 30  # seconds, for a first worker to come
_CONNECT = 8  # seconds, for a scheduler to answer

_HERE = {
    # What Dask watches of itself many times a second took a twentieth of each processor of this machine.
    "distributed.worker.profile.enabled": False,
    "distributed.admin.system-monitor.interval": "5s",
    "distributed.admin.tick.interval": "1s",
    "distributed.dashboard.link": dask.config.get("distributed.dashboard.link").replace("{host}", "127.0.0.1"),
    # The pages of the dashboard, and nothing that changes anything or fetches from elsewhere.
    "distributed.scheduler.http.routes": ["distributed.http.scheduler.info", "distributed.http.statics"],
}

# Evaluated on workers, which may have no zelvox to unpickle anything of.
_VERSION = (
    "(lambda find: getattr(__import__('zelvox'), '__version__', '?') if find('zelvox') else None)"
    "(__import__('importlib.util', fromlist=['util']).find_spec)"
)


def _none(*_: Any, **__: Any) -> None:
    """In place of servers of HTTP, which Dask starts on all interfaces, whether a dashboard is wanted or not."""


class _Worker(Worker):
    start_http_server = _none


class _Unwatched(Scheduler):
    start_http_server = _none


class _Watched(Scheduler):
    async def benchmark_hardware(self) -> dict:
        """Measures nothing: whoever looked at a page of the dashboard would have the workers write 50 MB."""
        return {"disk": {}, "memory": {}, "network": {}}


@contextlib.contextmanager
def connected(scheduler: Union[str, Client, None], workers: Optional[int], dashboard: bool = False) -> Iterator[Client]:
    """A client of the scheduler at that address, or of one in this process with as many threads, which waits for
    as many processes `zelvox batch`. Nobody can connect to that one; its dashboard only tells how far it is."""
    if workers is not None and (scheduler is not None or workers < 1):
        raise StudyError("the number of workers is for those of this machine, and at least 1")
    if isinstance(scheduler, Client):
        yield scheduler
        return
    with contextlib.ExitStack() as stack:
        if scheduler is None:
            # Dask's own directory has a name that anybody can take first.
            scratch = stack.enter_context(tempfile.TemporaryDirectory(prefix="zelvox-study-"))
            stack.enter_context(dask.config.set({**_HERE, "temporary-directory": scratch}))
            memory = {"protocol": "inproc"}
            watched = {"dashboard": dashboard, "dashboard_address": "127.0.0.1:0"}
            # The memory to limit is the JVMs', which are other processes.
            threads = {"nthreads": workers or CPU_COUNT, "memory_limit": 0}
            scheduler = stack.enter_context(
                SpecCluster(  # type: ignore[no-untyped-call]
                    scheduler={"cls": _Watched if dashboard else _Unwatched, "options": {**memory, **watched}},
                    workers={0: {"cls": _Worker, "options": {**memory, **threads}}},
                    silence_logs=logging.CRITICAL,
                )
            )
        else:
            _greet(scheduler)
        yield stack.enter_context(Client(scheduler, timeout=_CONNECT, set_as_default=False))


def _greet(address: str) -> None:
    """Raises StudyError where no scheduler answers, for which Dask's client would wait for ever."""

    async def greeted() -> None:
        arguments = Security().get_connection_args("client")
        comm = await asyncio.wait_for(connect(address, timeout=_CONNECT - 1, **arguments), _CONNECT)
        comm.abort()

    try:
        get_address_host_port(address)
    except ValueError as problem:
        raise StudyError(f"{address} is no scheduler's address, such as tcp://host:8786: {problem}") from None
    loop = LoopRunner()
    loop.start()
    try:
        loop.run_sync(greeted)
    except TypeError:
        hint = "which Dask's configuration names; see docs/studies.md"
        raise StudyError(f"{address} needs certificates, {hint}") from None
    except (OSError, asyncio.TimeoutError) as problem:
        cause = problem.__cause__ or problem
        reason = (str(cause).strip() or type(cause).__name__).splitlines()[0].rpartition("] ")[2]
        reason = "it says nothing" if reason.endswith("Error") else reason
        raise StudyError(f"no scheduler of Dask answers at {address}: {reason}") from None
    finally:
        loop.stop()


def prepared(client: Client, job: Job) -> tuple:
    """Sends the job to all workers, has each start a process, and gives the header of their tables and what
    `zelvox batch` warns of. Raises StudyError that says which worker lacks what."""
    try:
        client.wait_for_workers(1, timeout=_PATIENCE)
    except (TimeoutError, asyncio.TimeoutError):  # before Python 3.11 the one is not the other
        raise StudyError(f"the scheduler has no workers, and none came in {_PATIENCE} s") from None
    for worker, version in client.run(eval, _VERSION).items():
        if version is None:
            raise StudyError(f"the worker {worker} has no zelvox; install it there, {wheel('study')}")
        if version != __version__:
            raise StudyError(f"the worker {worker} has zelvox {version}; install {__version__} there, as here")
    client.register_plugin(StudyOnWorker(job))
    answers = client.run(check, job.key, on_error="return")
    reasons = [(worker, str(answer)) for worker, answer in answers.items() if isinstance(answer, Exception)]
    if reasons:
        worker, reason = reasons[0]
        if reasons == [(each, reason) for each in answers]:  # it is the study, not the workers
            raise StudyError(reason)
        others = f" and {len(reasons) - 1} more" if len(reasons) > 1 else ""
        raise StudyError(f"the worker {worker}{others}: {reason}")
    return next(iter(answers.values()))


def forgotten(client: Client, job: Job) -> None:
    """Has the workers end their processes and delete their files."""
    with contextlib.suppress(Exception):  # who is gone has forgotten
        client.unregister_worker_plugin(job.key)
