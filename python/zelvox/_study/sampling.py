"""Which runs a study makes: their numbers and the values of each, known by position and so without keeping
all rows of a grid."""

import csv
import dataclasses
import hashlib
import inspect
import sys
from collections.abc import Mapping
from pathlib import Path
from typing import Optional

import numpy

from zelvox._study.errors import StudyError
from zelvox._study.parameters import Distribution, Given, Values, values

LARGEST = 2**53  # runs; beyond it their numbers are no longer exact everywhere


@dataclasses.dataclass(frozen=True)
class Runs:
    """The runs at positions 0 to count - 1. A grid keeps its axes, anything else its columns."""

    kind: str  # grid, samples or table
    names: list
    count: int
    columns: list  # of a grid the values of each axis
    own_numbers: Optional[numpy.ndarray] = None

    def numbers(self, start: int, stop: int) -> numpy.ndarray:
        """What the runs are called in the results."""
        if self.own_numbers is not None:
            return self.own_numbers[start:stop]
        return numpy.arange(start + 1, stop + 1)

    def values(self, start: int, stop: int) -> list:
        """One array a name."""
        if self.kind != "grid":
            return [column[start:stop] for column in self.columns]
        places = numpy.unravel_index(numpy.arange(start, stop), [len(axis) for axis in self.columns])
        return [axis[place] for axis, place in zip(self.columns, places)]

    def digest(self) -> str:
        """Tells whether two studies make the same runs."""
        digest = hashlib.sha256(repr((self.kind == "grid", self.names, self.count)).encode())
        for column in [*self.columns, self.own_numbers]:
            if column is not None:
                digest.update(repr(column.tolist()).encode() if column.dtype == object else column.tobytes())
        return digest.hexdigest()


def grid(parameters: Mapping[str, Given]) -> Runs:
    """Every combination; the last parameter changes fastest."""
    for name, given in parameters.items():
        if isinstance(given, Distribution):
            raise StudyError(f"{name} has a distribution; say how many runs to draw with --samples")
    count = 1
    for given in parameters.values():
        count *= len(given)
    if count > LARGEST:
        raise StudyError(f"the grid has {count} runs; more than {LARGEST} cannot be numbered")
    return Runs("grid", list(parameters), count, list(parameters.values()))


def samples(parameters: Mapping[str, Given], count: int, method: str, seed: int) -> Runs:
    """Draws that fill the space evenly: a Latin hypercube, or a scrambled Sobol sequence."""
    from scipy.stats import qmc

    if count < 1:
        raise StudyError(f"--samples {count} must be at least 1")
    distributions: list[Distribution] = []
    for name, given in parameters.items():
        if not isinstance(given, Distribution):
            raise StudyError(
                f"{name} has values of a grid; with --samples give a distribution, such as {name}=uniform:0:1"
            )
        distributions.append(given)
    engines = {"latin": qmc.LatinHypercube, "sobol": qmc.Sobol}
    if method not in engines:
        raise StudyError(f"--sampling {method} is neither latin nor sobol")
    engine = engines[method]
    random = "rng" if "rng" in inspect.signature(engine).parameters else "seed"  # older SciPy
    source = engine(len(distributions), **{random: numpy.random.default_rng(seed)})
    if method == "sobol":
        shares = source.random_base2((count - 1).bit_length())[:count]
    else:
        shares = source.random(count)
    columns = [one.quantiles(shares[:, place]) for place, one in enumerate(distributions)]
    return Runs("samples", list(parameters), count, columns)


def table(file: Path) -> Runs:
    """The rows of a comma-separated table with a header of names; a column `run` numbers them."""
    try:
        with open(file, encoding="utf-8-sig", newline="") as lines:
            rows = [row for row in csv.reader(lines, skipinitialspace=True) if row]
    except (OSError, UnicodeDecodeError, csv.Error) as problem:
        raise StudyError(f"{file} cannot be read: {getattr(problem, 'strerror', None) or problem}") from None
    if len(rows) < 2:
        raise StudyError(f"{file} has no runs; it needs a header of names and one row a run")
    names = [sys.intern(name.strip()) for name in rows[0]]
    for line, row in enumerate(rows[1:], 1):
        if len(row) != len(names):
            raise StudyError(f"{file}, run {line}, has {len(row)} values for {len(names)} names")
        if not all(cell.strip() for cell in row):
            raise StudyError(
                f"{file}, run {line}, has no value for {names[[bool(c.strip()) for c in row].index(False)]}"
            )
    return of_columns(names, [[row[place] for row in rows[1:]] for place in range(len(names))], str(file))


def of_columns(names: list, columns: list, source: str) -> Runs:
    """The same of columns that are at hand; the source is named where they are wrong."""
    twice = [name for name in names if names.count(name) > 1 or not name]
    if twice:
        raise StudyError(f"{source} has {'a column without a name' if not twice[0] else f'{twice[0]} twice'}")
    by_name: dict[str, Values] = {name: values(name, list(column)) for name, column in zip(names, columns)}
    own = by_name.pop("run", None)
    if own is not None:
        if own.dtype == object or (own != numpy.floor(own)).any() or (abs(own) > LARGEST).any():
            raise StudyError(f"{source}: the column run needs whole numbers")
        own = own.astype(numpy.int64)
        if len(numpy.unique(own)) != len(own):
            raise StudyError(f"{source}: the column run has a number twice")
    if not by_name:
        raise StudyError(f"{source} has no column with values, only numbers of runs")
    return Runs("table", list(by_name), len(columns[0]), list(by_name.values()), own)
