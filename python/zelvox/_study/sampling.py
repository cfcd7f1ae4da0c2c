"""Which runs a study makes: their numbers and the values of each, known by position and so without keeping
all rows of a grid."""

import dataclasses
import hashlib
import inspect
import math
from collections.abc import Mapping

import numpy

from zelvox._study.errors import StudyError
from zelvox._study.parameters import Distribution, Given

LARGEST = 2**53  # runs; beyond it their numbers are no longer exact everywhere


@dataclasses.dataclass(frozen=True)
class Runs:
    """The runs at positions 0 to count - 1. A grid keeps its axes, anything else its columns. Numbers are of type
    float64, or int64 where the variable is no Real; texts are objects."""

    grid: bool
    names: list
    count: int
    columns: list  # of a grid the values of each axis
    own_numbers: numpy.ndarray  # a grid has none

    def numbers(self, start: int, stop: int) -> numpy.ndarray:
        """What the runs are called in the results."""
        return numpy.arange(start + 1, stop + 1) if self.grid else self.own_numbers[start:stop]

    def values(self, start: int, stop: int) -> list:
        """One array a name."""
        if not self.grid:
            return [column[start:stop] for column in self.columns]
        places = numpy.unravel_index(numpy.arange(start, stop), [len(axis) for axis in self.columns])
        return [axis[place] for axis, place in zip(self.columns, places)]

    def digest(self) -> str:
        """Tells whether two studies make the same runs."""
        digest = hashlib.sha256(repr((self.grid, self.names, self.count)).encode())
        for column in [*self.columns, self.own_numbers]:
            digest.update(repr(column.tolist()).encode() if column.dtype == object else column.tobytes())
        return digest.hexdigest()


def grid(parameters: Mapping[str, Given]) -> list:
    """The axes, of which every combination is a run; the last one changes fastest."""
    for name, given in parameters.items():
        if isinstance(given, Distribution):
            raise StudyError(f"{name} has a distribution; say how many runs to draw with --samples")
    count = math.prod(map(len, parameters.values()))
    if count > LARGEST:
        raise StudyError(f"the grid has {count} runs; more than {LARGEST} cannot be numbered")
    return list(parameters.values())


def samples(parameters: Mapping[str, Given], count: int, method: str, seed: int) -> list:
    """One column of draws a parameter. They fill the space evenly: a Latin hypercube, or a scrambled Sobol sequence."""
    from scipy.stats import qmc

    if count < 1:
        raise StudyError(f"--samples {count} must be at least 1")
    for name, given in parameters.items():
        if not isinstance(given, Distribution):
            raise StudyError(f"{name} has values of a grid; samples need a distribution, such as {name}=uniform:0:1")
    engines = {"latin": qmc.LatinHypercube, "sobol": qmc.Sobol}
    if method not in engines:
        raise StudyError(f"--sampling {method} is neither latin nor sobol")
    engine = engines[method]
    random = "rng" if "rng" in inspect.signature(engine).parameters else "seed"  # older SciPy
    source = engine(len(parameters), **{random: numpy.random.default_rng(seed)})
    if method == "sobol":
        shares = source.random_base2((count - 1).bit_length())[:count]
    else:
        shares = source.random(count)
    return [one.quantiles(shares[:, place]).tolist() for place, one in enumerate(parameters.values())]
