"""What a parameter is given: its values on a grid, or the distribution that it is drawn from, out of the
texts of the command line or the values of a Python program. What a single value means, `zelvox` says."""

import math
from collections.abc import Iterable
from typing import Any, Callable, NamedTuple, Union

import numpy

from zelvox._study.errors import StudyError

# name: (what its numbers are, what must hold, the sentence for it)
_DISTRIBUTIONS: dict[str, tuple[str, Callable[..., bool], str]] = {
    "uniform": ("low:high", lambda a, b: 0 < b - a < math.inf, "low must be below high, by less than 1.8e308"),
    "normal": ("mean:deviation", lambda mean, deviation: deviation > 0, "the deviation must be above 0"),
    "lognormal": ("median:sigma", lambda median, sigma: median > 0 and sigma > 0, "median and sigma must be above 0"),
    "loguniform": ("low:high", lambda low, high: 0 < low < high, "low must be above 0 and below high"),
    "triangular": ("low:mode:high", lambda a, m, b: a <= m <= b and 0 < b - a < math.inf, "low, mode and high must ascend"),
}


class Distribution(NamedTuple):
    """A distribution by name; the numbers mean what `zelvox-study --help` says."""

    name: str
    numbers: tuple[float, ...]

    def quantiles(self, probabilities: numpy.ndarray) -> numpy.ndarray:
        """The values below which these shares of all draws lie."""
        from scipy import stats

        a, b, c = (*self.numbers, 0.0)[:3]
        drawn = {
            "uniform": lambda: stats.uniform(a, b - a),
            "normal": lambda: stats.norm(a, b),
            "lognormal": lambda: stats.lognorm(b, scale=a),
            "loguniform": lambda: stats.loguniform(a, b),
            "triangular": lambda: stats.triang((b - a) / (c - a), a, c - a),
        }[self.name]()
        # No distribution without bounds has a value at 0 or 1.
        values = drawn.ppf(numpy.clip(probabilities, 2.0**-53, 1 - 2.0**-53))
        return values if math.isinf(drawn.support()[1]) else numpy.clip(values, a, self.numbers[-1])


Given = Union[list, Distribution]  # the values as they were given


def parse(text: str) -> tuple[str, str]:
    """Of NAME=..., as on the command line."""
    name, equals, given = text.partition("=")
    if not equals or not name:
        raise StudyError(f"--parameter {text} is not NAME=VALUES, such as J=1e-4:1e-3:20")
    return name, given


def meaning(name: str, given: Any, kind: str = "Real") -> Given:
    """Of a text as on the command line without the name, of one value, or of several; `kind` is the type of the
    variable."""
    if isinstance(given, str):
        return _of_text(name, given, kind)
    return given if isinstance(given, Distribution) else list(given) if isinstance(given, Iterable) else [given]


def cell(value: Any) -> str:
    """A value as `zelvox batch` reads it."""
    if isinstance(value, (bool, numpy.bool_)):
        return str(value).lower()
    return repr(float(value)) if isinstance(value, (float, numpy.floating)) else str(value)


def cells(name: str, given: list, kind: str) -> list:
    """The same of all values of a variable. A number is no text, as nobody knows which digits it was read from."""
    for value in given:
        if kind == "String" and not isinstance(value, str):
            raise StudyError(f"{name} is a text, and it is given {value!r}, which is none")
    return [cell(value) for value in given]


def _of_text(name: str, text: str, kind: str) -> Given:
    if kind == "String" or ":" not in text or "," in text:
        return text.split(",")
    head, *rest = (part.strip() for part in text.split(":"))
    if head in _DISTRIBUTIONS:
        return _distribution(f"{name}={text}", head, rest)
    if len(rest) == 2 and not math.isnan(_number(head)):
        return _range(name, text, [head, *rest])
    raise StudyError(f"{name}={text} is neither low:high:count nor a distribution ({', '.join(_DISTRIBUTIONS)})")


def _number(text: str) -> float:
    """NaN where the text is no number, or one in a notation of Python's."""
    try:
        return math.nan if "_" in text else float(text)
    except ValueError:
        return math.nan


def _range(name: str, text: str, parts: list) -> list:
    low, high, count = map(_number, parts)
    if not (count >= 2 and count.is_integer()):
        raise StudyError(f"{name}={text} needs a whole number of 2 values or more; {name}={parts[0]} gives one")
    if not 0 < abs(high - low) < math.inf:
        raise StudyError(f"{name}={text} needs two finite numbers that differ, by less than 1.8e308")
    return numpy.linspace(low, high, int(count)).tolist()


def _distribution(text: str, kind: str, parts: list) -> Distribution:
    names, holds, sentence = _DISTRIBUTIONS[kind]
    numbers = tuple(map(_number, parts))
    whole = len(numbers) == names.count(":") + 1 and all(map(math.isfinite, numbers))
    if not whole or not holds(*numbers):
        raise StudyError(f"{text} is not {kind}:{names}{f'; {sentence}' if whole else ''}")
    return Distribution(kind, numbers)
