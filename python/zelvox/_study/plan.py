"""A study as it was asked for: its runs, what the workers need of it, and by what it is known again."""

import hashlib
from collections.abc import Mapping
from pathlib import Path
from typing import Any, NamedTuple, Optional, Union

import pandas

from zelvox import __version__
from zelvox._study import fmu as fmu_file
from zelvox._study import sampling
from zelvox._study.errors import StudyError
from zelvox._study.parameters import cell, meaning
from zelvox._study.worker import Job

# What goes to `zelvox batch` as it is: the option and what it is called in Python.
_TEXTS = {
    "start_time": "--start-time",
    "stop_time": "--stop-time",
    "output_interval": "--output-interval",
    "step_size": "--step-size",
    "record": "--record",
}
_LISTS = {"output_variables": "--output-variable", "jvm_options": "--jvm-option"}
_FILES = {"input_file": "--input-file", "class_path": "--class-path"}


class Plan(NamedTuple):
    """A study that could begin."""

    runs: sampling.Runs
    job: Job
    texts: list  # the FMU's variables whose columns are texts
    units: dict  # of the others, as far as they have one
    settings: dict  # what has to be the same to go on with it


def chosen_runs(
    parameters: Optional[Mapping[str, Any]],
    samples: Optional[int],
    method: str,
    seed: int,
    table: Union[str, Path, pandas.DataFrame, None],
) -> sampling.Runs:
    """Of a grid, of samples or of a table."""
    if table is not None:
        if parameters or samples is not None:
            raise StudyError("a table of runs takes the place of parameters and samples; give one or the other")
        if isinstance(table, pandas.DataFrame):
            return sampling.of_columns(
                list(map(str, table)), [table[name].tolist() for name in table], "the table of runs"
            )
        return sampling.table(Path(table))
    if not parameters:
        raise StudyError("there is nothing to vary; give parameters, such as J=1e-4:1e-3:20, or a table of runs")
    given = {name: meaning(name, values) for name, values in parameters.items()}
    if samples is None:
        return sampling.grid(given)
    return sampling.samples(given, samples, method, seed)


def plan(fmu: Path, runs: sampling.Runs, run_timeout: Optional[float], options: Mapping[str, Any]) -> Plan:
    """Reads the files, so that a study has one FMU for all its life. Raises StudyError for what is wrong
    without asking any worker."""
    options = {name: value for name, value in options.items() if value is not None and value != []}
    unknown = set(options) - {*_TEXTS, *_LISTS, *_FILES, "start_values", "fail_on_nan"}
    if unknown:
        raise TypeError(f"study() has no option {sorted(unknown)[0]}")
    if "run" in runs.names:
        raise StudyError("a variable with the name run cannot be varied, as the results have a column of that name")
    if "record" in options and not isinstance(options["record"], str):
        options["record"] = ",".join(options["record"])
    all_points = options.get("record") == "all"
    if run_timeout is not None and all_points:
        raise StudyError("a limit to the time of a run (run_timeout) needs another record than all")
    if run_timeout is not None and not run_timeout > 0:
        raise StudyError("the limit to the time of a run (run_timeout) must be above 0")

    files = {fmu.name: fmu_file.content(fmu, "the FMU")}
    variables = fmu_file.variables_of(fmu)
    arguments = [f"./{fmu.name}", "--quiet"]
    for name, option in _TEXTS.items():
        if name in options:
            arguments.append(f"{option}={cell(options[name])}")
    for name, option in _LISTS.items():
        arguments += [f"{option}={value}" for value in options.get(name, ())]
    for name, value in dict(options.get("start_values", {})).items():
        if name in runs.names:
            raise StudyError(f"{name} has a start value and is varied; give one of them")
        arguments.append(f"--start-value={name}={cell(value)}")
    if options.get("fail_on_nan"):
        arguments.append("--fail-on-nan")
    for name, option in _FILES.items():
        given = options.get(name, [])
        for file in map(Path, [given] if isinstance(given, (str, Path)) else given):
            arguments.append(f"{option}=./{_carried(file, option, files)}")

    settings = {
        "zelvox": __version__,
        "fmu": {name: hashlib.sha256(held).hexdigest() for name, held in files.items()},
        "options": arguments,
        "run_timeout": run_timeout,
        "runs": {"count": runs.count, "parameters": runs.names, "values": runs.digest()},
    }
    key = f"zelvox-study-{hashlib.sha256(repr(settings).encode()).hexdigest()[:16]}"
    job = Job(key, files, arguments, runs.names, all_points, run_timeout)
    return Plan(runs, job, fmu_file.text_variables(variables), fmu_file.units(variables), settings)


def _carried(file: Path, option: str, files: dict) -> str:
    """The name that the file has in the workers' directories, where it goes with the FMU."""
    if file.is_dir():
        raise StudyError(
            f"{option} {file} is a directory, and only files go to the workers; "
            f"make one of it: jar --create --file classes.jar -C {file} ."
        )
    name = file.name
    while name in files:
        name = f"_{name}"
    files[name] = fmu_file.content(file, option)
    return name
