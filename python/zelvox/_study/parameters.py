"""What a parameter is given: its values on a grid, or the distribution that it is drawn from, out of the
texts of the command line or the values of a Python program."""

import math
from typing import Any, Callable, Iterable, NamedTuple, Union

import numpy

from zelvox._study.errors import StudyError

# name: (what its numbers are, what must hold, the sentence for it)
_DISTRIBUTIONS: dict[str, tuple[str, Callable[..., bool], str]] = {
    "uniform": ("low:high", lambda low, high: low < high, "low must be below high"),
    "normal": ("mean:deviation", lambda mean, deviation: deviation > 0, "the deviation must be above 0"),
    "lognormal": (
        "median:sigma",
        lambda median, sigma: median > 0 and sigma > 0,
        "the median and sigma, the deviation of the natural logarithm, must be above 0",
    ),
    "loguniform": ("low:high", lambda low, high: 0 < low < high, "low must be above 0 and below high"),
    "triangular": (
        "low:mode:high",
        lambda low, mode, high: low <= mode <= high and low < high,
        "low, mode and high must ascend",
    ),
}

HELP = """what a parameter is given:
  J=1e-4,2e-4,5e-4             these values (grid)
  J=1e-4:1e-3:20               20 values with equal distances, from 1e-4 to 1e-3 (grid)
  J=uniform:LOW:HIGH           any value between the two is as likely (samples)
  J=normal:MEAN:DEVIATION      the standard deviation (samples)
  J=lognormal:MEDIAN:SIGMA     its natural logarithm is normal, with the deviation SIGMA (samples)
  J=loguniform:LOW:HIGH        its logarithm is uniform (samples)
  J=triangular:LOW:MODE:HIGH   most likely at MODE (samples)"""


class Distribution(NamedTuple):
    """A distribution by name; the numbers mean what HELP says."""

    name: str
    numbers: tuple[float, ...]

    def quantiles(self, probabilities: numpy.ndarray) -> numpy.ndarray:
        """The values below which these shares of all draws lie."""
        from scipy import stats

        # No distribution without bounds has a value at 0 or 1.
        shares = numpy.clip(probabilities, 2.0**-53, 1 - 2.0**-53)
        a, b, *rest = self.numbers
        if self.name == "uniform":
            return numpy.clip(a + (b - a) * shares, a, b)
        if self.name == "normal":
            return stats.norm.ppf(shares, a, b)
        if self.name == "lognormal":
            return stats.lognorm.ppf(shares, b, scale=a)
        if self.name == "loguniform":
            return numpy.clip(stats.loguniform.ppf(shares, a, b), a, b)
        return stats.triang.ppf(shares, (b - a) / (rest[0] - a), a, rest[0] - a)


# Numbers where all are numbers, else texts as they were given.
Values = numpy.ndarray
Given = Union[Values, Distribution]


def parse(text: str) -> tuple[str, Given]:
    """Of NAME=..., as on the command line."""
    name, equals, given = text.partition("=")
    if not equals or not name.strip() or not given.strip():
        raise StudyError(f"--parameter {text} is not NAME=VALUES, such as J=1e-4:1e-3:20")
    return name.strip(), meaning(name.strip(), given)


def meaning(name: str, given: Any) -> Given:
    """Of a text as on the command line without the name, of one value, or of several."""
    if isinstance(given, Distribution):
        return given
    if isinstance(given, str):
        return _of_text(name, given.strip())
    if isinstance(given, Iterable):
        return values(name, list(given))
    return values(name, [given])


def values(name: str, given: list) -> Values:
    """Numbers where all can be read as such, else texts."""
    if not given:
        raise StudyError(f"{name} is given no value")
    try:
        numbers = numpy.array([float(value) for value in given])
    except (TypeError, ValueError):
        return numpy.array([str(value).strip() for value in given], dtype=object)
    if not numpy.isfinite(numbers).all():
        raise StudyError(
            f"{name} is given {_show(given[int(numpy.isfinite(numbers).argmin())])}, which is no finite number"
        )
    return numbers


def _of_text(name: str, text: str) -> Given:
    head, *rest = text.split(":")
    if head in _DISTRIBUTIONS:
        return _distribution(name, head, rest)
    if len(rest) == 2 and "," not in text:
        return _range(name, text, [head, *rest])
    if rest and "," not in text:
        raise StudyError(f"{name}={text} is neither low:high:count nor a distribution ({', '.join(_DISTRIBUTIONS)})")
    cells = [cell.strip() for cell in text.split(",")]
    if not all(cells):
        raise StudyError(f"{name}={text} has an empty value")
    return values(name, cells)


def _range(name: str, text: str, parts: list) -> Values:
    try:
        low, high, count = float(parts[0]), float(parts[1]), int(parts[2])
    except ValueError:
        raise StudyError(f"{name}={text} is not low:high:count, two numbers and a whole one") from None
    if not (math.isfinite(low) and math.isfinite(high) and low != high):
        raise StudyError(f"{name}={text} needs two finite numbers that differ")
    if count < 2:
        raise StudyError(f"{name}={text} needs 2 values or more; {name}={parts[0]} gives one")
    return numpy.linspace(low, high, count)


def _distribution(name: str, kind: str, parts: list) -> Distribution:
    meaning_of_numbers, holds, sentence = _DISTRIBUTIONS[kind]
    try:
        numbers = tuple(float(part) for part in parts)
    except ValueError:
        numbers = ()
    if len(numbers) != meaning_of_numbers.count(":") + 1 or not all(map(math.isfinite, numbers)):
        raise StudyError(f"{name}={':'.join([kind, *parts])} is not {kind}:{meaning_of_numbers}")
    if not holds(*numbers):
        raise StudyError(f"{name}={':'.join([kind, *parts])}: {sentence}")
    return Distribution(kind, numbers)


def _show(value: Any) -> str:
    return str(value)


def cell(value: Any) -> str:
    """As a table has it: numbers with all their digits, whole ones without a point."""
    if not isinstance(value, float):
        return str(value)
    text = repr(float(value))
    return text[:-2] if text.endswith(".0") else text
