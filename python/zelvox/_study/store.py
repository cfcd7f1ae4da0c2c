"""The results: a directory that is a Parquet dataset. Each finished batch of runs is a file in it, named by
the positions that it holds and a digest of its bytes, and complete as soon as it has that name, so that a study
which was cut short goes on with what is missing. `_study.json` says which study it is."""

import contextlib
import fcntl
import hashlib
import io
import json
import os
import re
import shutil
from collections.abc import Iterator
from pathlib import Path
from typing import Any, Optional

import numpy
import pandas
import pyarrow
import pyarrow.compute
import pyarrow.dataset
import pyarrow.parquet

from zelvox._study import table
from zelvox._study.errors import StudyError
from zelvox._study.plan import Plan

_PART = re.compile(r"runs-(\d{12})-(\d{12})-([0-9a-f]{16})\.parquet")
_SETTINGS = "_study.json"  # readers of datasets leave names with _ alone


class Store:
    """The place of one study. Columns of `texts` hold no numbers."""

    def __init__(self, place: Path, plan: Plan, resume: bool) -> None:
        self.place, self._settings, self._runs, self._all_points = place, plan.settings, plan.runs, plan.job.all_points
        texts = [name for name, kind in plan.types.items() if kind == "String"]
        self.texts = {*texts, *(f"{name}.final" for name in texts), "error"}
        self._done: list[tuple[int, int]] = []
        self._lock: Any = None  # an open file
        try:
            self._open(resume)
        except BaseException as problem:
            self.close()
            if isinstance(problem, OSError):
                raise StudyError(f"{place} cannot be written: {problem.strerror}") from None
            raise

    def _open(self, resume: bool) -> None:
        held = self.place / _SETTINGS
        if not resume and (self.place.is_symlink() or self.place.exists()):
            hint = "go on with --resume, or name" if held.is_file() else "name"
            raise StudyError(f"{self.place} exists; {hint} another place")
        new = not any(self.place.glob("[!.]*"))  # also where a study was killed that had only just begun
        if not new and not held.is_file():
            raise StudyError(f"{self.place} is no study that could be resumed, there is no {_SETTINGS} in it")
        if new:
            self.place.mkdir(parents=True, exist_ok=resume)  # of two that come at once the other one fails
            _synchronize(self.place.parent)
            self._put(_SETTINGS, json.dumps({"made with": self._settings}, indent=1).encode() + b"\n")
        else:
            self._compare(held)
        self._lock = open(held, "rb")
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise StudyError(f"{self.place} is being written by another study") from None
        except OSError:
            pass  # a file system without locks
        for left in self.place.glob(".new-*"):  # by a study that was killed
            left.unlink()
        self._find_done()

    def _compare(self, held: Path) -> None:
        try:
            before = json.loads(held.read_text())["made with"]
            now = self._settings
            gone, come = ([word for word in one if word not in other] for one, other in ((before, now), (now, before)))
        except (ValueError, KeyError, TypeError):
            raise StudyError(f"{held} is damaged; name another place") from None
        if gone or come:
            told = " and ".join(f"{how} {', '.join(them)}" for how, them in (("with", gone), ("without", come)) if them)
            raise StudyError(f"{self.place} holds another study, made {told}; ask for the same, or name another place")

    def _find_done(self) -> None:
        end = 0
        for file in sorted(self.place.glob("runs-*.parquet")):
            part = _PART.fullmatch(file.name)
            start, stop, digest = (int(part[1]) - 1, int(part[2]), part[3]) if part else (0, 0, "")
            # What the machine had not written when it went down, what a disk or somebody changed since, and copies.
            if start < end or stop <= start or digest != _digest(file.read_bytes()):
                file.unlink()
            else:
                end = stop
                self._done.append((start, stop))

    @property
    def done(self) -> int:
        """How many runs are there."""
        return sum(stop - start for start, stop in self._done)

    def missing(self) -> Iterator[tuple[int, int]]:
        """The positions of the runs that are still to be made, from start to before stop."""
        end = 0
        for start, stop in [*sorted(self._done), (self._runs.count, self._runs.count)]:
            if end < start:
                yield end, start
            end = stop

    def write(self, start: int, stop: int, rows: bytes) -> int:
        """Keeps the table of these runs as it came from a worker; tells how many failed. Raises StudyError unless
        each run is in it once, whole and with its values."""
        part = self._part(start, stop, rows)
        content = io.BytesIO()
        pyarrow.parquet.write_table(part, content, write_page_checksum=True)
        written = content.getvalue()
        try:
            self._put(f"runs-{start + 1:012}-{stop:012}-{_digest(written)}.parquet", written)
        except OSError as problem:
            raise StudyError(f"{self.place} cannot be written: {problem.strerror}; go on with --resume") from None
        self._done.append((start, stop))
        return pyarrow.compute.count_distinct(part.filter(pyarrow.compute.field("error") != "")["run"]).as_py()

    def _part(self, start: int, stop: int, rows: bytes) -> pyarrow.Table:
        names, numbers = self._runs.names, self._runs.numbers(start, stop)
        made = table.read(rows, self.texts)
        run = made["run"].to_numpy()
        # The row that ends a run is its only one, or one without a time behind its points.
        ends = made["time"].is_null().to_numpy() if self._all_points else numpy.ones(len(run), bool)
        place = numpy.cumsum(ends) - ends  # of the run that each row belongs to
        whole = ends.sum() == len(numbers) and ends[-1] and (run == numbers[place]).all()
        given = {name: column[place] for name, column in zip(names, self._runs.values(start, stop))} if whole else {}
        if not self._all_points:
            whole = whole and all((made[name].to_numpy() == column).all() for name, column in given.items())
            made = made.drop_columns(names)
        elif not given.keys().isdisjoint(made.column_names):
            raise StudyError(f"a column of the results is also varied; vary others than {', '.join(names)}")
        if not whole:
            raise StudyError(f"runs {start + 1} to {stop} came back with rows missing or changed; tell the developers")
        for place, (name, column) in enumerate(given.items(), 1):
            made = made.add_column(place, name, pyarrow.array(column))
        good = made["error"].to_numpy() == ""
        return made.filter(pyarrow.array(~good | ~ends)) if self._all_points else made

    def failures(self) -> tuple:
        """How many runs failed, and why the first did."""
        failed = self._parts().to_table(columns=["error"], filter=pyarrow.compute.field("error") != "")
        return len(failed), failed["error"][0].as_py() if len(failed) else ""

    def not_finite(self) -> int:
        """How many good runs have a result that is NaN or infinite."""
        outputs = [name for name in self.columns() if name not in ("run", *self._runs.names, *self.texts)]
        count = 0
        for rows in self._parts().to_batches(columns=outputs, filter=pyarrow.compute.field("error") == ""):
            finite = [numpy.isfinite(column.to_numpy(zero_copy_only=False)) for column in rows.columns]
            count += int((~numpy.logical_and.reduce(finite)).sum()) if finite else 0
        return count

    def columns(self) -> list:
        """The names of the columns of the results."""
        return self._parts().schema.names

    def frame(self, columns: Optional[list] = None) -> pandas.DataFrame:
        """All runs in order, or only some of their columns."""
        return self._parts().to_table(columns=columns).to_pandas()

    def _parts(self) -> pyarrow.dataset.Dataset:
        parts = [str(file) for file in sorted(self.place.iterdir()) if _PART.fullmatch(file.name)]
        return pyarrow.dataset.dataset(parts, format="parquet")

    def _put(self, name: str, content: Any) -> None:
        new = self.place / f".new-{name}"
        with open(new, "wb") as file:
            file.write(content)
            file.flush()
            os.fsync(file.fileno())
        os.replace(new, self.place / name)
        _synchronize(self.place)

    def remove(self) -> None:
        """Deletes a place in which no run is."""
        shutil.rmtree(self.place)

    def close(self) -> None:
        """Lets another study write here."""
        if self._lock:
            self._lock.close()


def _digest(content: bytes) -> str:
    return hashlib.sha256(content).hexdigest()[:16]


def _synchronize(directory: Path) -> None:
    """Has the names in it on the disk."""
    opened = os.open(directory, os.O_RDONLY | os.O_CLOEXEC)
    with contextlib.suppress(OSError):  # a file system that cannot
        os.fsync(opened)
    os.close(opened)
