"""What zelvox.study does, and the command line with it."""

import contextlib
import tempfile
from collections.abc import Iterator, Mapping
from pathlib import Path
from typing import Any, Optional, Union

import pandas
from distributed import Client

from zelvox._study import cluster, engine, pictures
from zelvox._study.plan import Plan, Wish, plan
from zelvox._study.progress import Progress
from zelvox._study.store import Store

PathLike = Union[str, Path]


def study(
    fmu: PathLike,
    parameters: Optional[Mapping[str, Any]] = None,
    *,
    samples: Optional[int] = None,
    sampling: str = "latin",
    seed: int = 0,
    runs: Union[PathLike, pandas.DataFrame, None] = None,
    output: Optional[PathLike] = None,
    resume: bool = False,
    plot: Optional[PathLike] = None,
    scheduler: Union[str, Client, None] = None,
    workers: Optional[int] = None,
    run_timeout: Optional[float] = None,
    dashboard: bool = True,
    quiet: bool = True,
    **options: Any,
) -> pandas.DataFrame:
    """Runs an FMU many times on Dask and gives one row a run: its number, its parameters, the results, and
    the error of a run that failed, else "".

    Everything is as `zelvox-study --help` has it. `parameters` are lists of values or texts of the command line, such
    as "1e-4:1e-3:20" or "normal:0.5:0.1"; `runs` is a table at hand or in a file; `scheduler` is an address or a
    client; Dask's `dashboard`, whose address is a line on stderr, needs `quiet` to be false. The `options` are
    those of `zelvox batch` with _ for -, in the plural where there may be several: start_values (a mapping),
    output_variables, jvm_options. Without `output` the results are only given back.

    Raises StudyError where the study cannot be made.
    """
    chosen = plan(Path(fmu), Wish(parameters, samples, sampling, seed, runs), run_timeout, options)
    with contextlib.ExitStack() as stack:
        if output is None:
            output = Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="zelvox-study-")), "results")
        where = (scheduler, workers, dashboard and not quiet)
        with made(chosen, Path(output), resume, plot and Path(plot), where, Progress(quiet)) as store:
            return store.frame()


@contextlib.contextmanager
def made(
    chosen: Plan, output: Path, resume: bool, picture: Optional[Path], where: tuple, progress: Progress
) -> Iterator[Store]:
    """Makes what the place of the results misses, by workers as `cluster.connected` takes them, and draws it."""
    if picture:
        pictures.check(picture, chosen)
    with contextlib.closing(Store(output, chosen, resume)) as store:
        try:
            if store.done < chosen.runs.count:
                with cluster.connected(*where) as client:
                    if client.dashboard_link:
                        progress.say(f"Dask's dashboard: {client.dashboard_link}")
                    try:
                        header, warnings = cluster.prepared(client, chosen.job)
                        for warning in warnings:
                            progress.say(f"zelvox-study: {warning}")
                        progress.begin(chosen.runs.count, store.done)
                        engine.execute(client, chosen.job, chosen.runs, store, header, progress.told)
                    finally:
                        cluster.forgotten(client, chosen.job)
        except BaseException:
            if not resume and not store.done:
                store.remove()  # so that the same command works again
            raise
        finally:
            progress.end()
        if picture:
            pictures.draw(store, chosen, picture)
            progress.say(f"Drew {picture}")
        yield store
