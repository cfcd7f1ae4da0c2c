"""A study as it was asked for: its runs, what the workers need of it, and by what it is known again."""

import hashlib
import json
import math
import re
import secrets
import subprocess
import tempfile
from collections.abc import Mapping
from pathlib import Path
from typing import Any, NamedTuple, Optional, Union

import pandas

from zelvox import __version__
from zelvox._program import program
from zelvox._study import sampling, table
from zelvox._study.child import sentences
from zelvox._study.errors import StudyError
from zelvox._study.parameters import cell, cells, meaning
from zelvox._study.worker import Job

# Of `zelvox batch`, which has them as --start-time and so on, and those of which there are several in the singular.
OPTIONS = ("start_time", "stop_time", "output_interval", "step_size", "start_values", "input_file")
OPTIONS += ("output_variables", "record", "fail_on_nan", "class_path", "jvm_options")


class Wish(NamedTuple):
    """Which runs: of a grid, of samples or of a table."""

    parameters: Optional[Mapping[str, Any]]
    samples: Optional[int]
    method: str
    seed: int
    table: Union[str, Path, pandas.DataFrame, None]


class Plan(NamedTuple):
    """A study that could begin."""

    runs: sampling.Runs
    job: Job
    info: dict  # of the FMU, as `zelvox info --json` has it
    types: dict  # of its variables
    settings: list  # what has to be the same to go on with it, in words


def plan(fmu: Path, wish: Wish, run_timeout: Optional[float], options: Mapping[str, Any]) -> Plan:
    """Reads the files, so that a study has one FMU for all its life. Raises StudyError for what is wrong
    without asking any worker."""
    if not set(options) <= set(OPTIONS):
        raise TypeError(f"study() has no option {min(set(options) - set(OPTIONS))}")
    if run_timeout is not None and not run_timeout > 0:
        raise StudyError("the limit to the time of a run (run_timeout) must be above 0")
    files = {fmu.name: _content(fmu, "the FMU")}
    if not files[fmu.name].startswith(b"PK"):
        raise StudyError(f"{fmu} is no FMU; zelvox pack makes one of a model")
    record = ",".join(_several(options.get("record"))) or "final"
    all_points = record in ("all", "all,error")
    arguments = [f"./{fmu.name}", "--quiet", f"--record={'all,error' if all_points else record}"]
    arguments += ["--fail-on-nan"] if options.get("fail_on_nan") else []
    for name in OPTIONS:
        option = f"--{name.replace('_', '-').removesuffix('s')}"
        for value in _several(options.get(name)) if name not in ("record", "fail_on_nan") else []:
            value = f"./{_carried(Path(value), option, files)}" if name in ("input_file", "class_path") else cell(value)
            arguments.append(f"{option}={value}")
    with tempfile.TemporaryDirectory(prefix="zelvox-study-") as directory:
        job = Job(f"zelvox-study-{secrets.token_hex(8)}", files, arguments, [], all_points, run_timeout)
        job.unpack(Path(directory))
        info = json.loads(_answer(directory, ["info", f"./{fmu.name}", "--json"]))
        types = {variable["name"]: variable["type"] for variable in info["ModelVariables"]}
        runs = _runs(wish, job, types, directory)
    contents = [f"{name} of sha256 {hashlib.sha256(content).hexdigest()}" for name, content in files.items()]
    limit = [f"--run-timeout={run_timeout:g}"] if run_timeout else []
    varied = f"{runs.count} runs of {', '.join(runs.names)} with values of sha256 {runs.digest()}"
    settings = [f"zelvox {__version__}", *contents, *arguments[1:], *limit, varied]
    return Plan(runs, job._replace(names=runs.names), info, types, settings)


def _several(given: Any) -> list:
    if isinstance(given, Mapping):
        return [f"{name}={cell(value)}" for name, value in given.items()]
    return [] if given is None else list(given) if isinstance(given, (list, tuple)) else [given]


def _runs(wish: Wish, job: Job, types: dict, directory: str) -> sampling.Runs:
    if wish.table is not None:
        if wish.parameters or wish.samples is not None:
            raise StudyError("a table of runs takes the place of parameters and samples; give one or the other")
        if not isinstance(wish.table, pandas.DataFrame):
            given = str(wish.table)
            return _understood(job, types, directory, given if given == "-" else str(Path(given).absolute()))
        names = list(map(str, wish.table))
        values = [wish.table.iloc[:, place].tolist() for place in range(len(names))]
    elif not wish.parameters:
        raise StudyError("there is nothing to vary; give parameters, such as J=1e-4:1e-3:20, or a table of runs")
    else:
        names = list(wish.parameters)
        if "run" in names:
            raise StudyError("a variable with the name run cannot be varied, as the results have a column of that name")
        # `zelvox` says what is wrong with a name, and that comes first.
        known = {name: meaning(name, given, types[name]) for name, given in wish.parameters.items() if name in types}
        if len(known) < len(names):
            values = [[]] * len(names)
        elif wish.samples is None:
            values = sampling.grid(known)
        else:
            values = sampling.samples(known, wish.samples, wish.method, wish.seed)
    columns = [cells(name, column, types.get(name, "")) for name, column in zip(names, values)]
    rows = max(map(len, columns), default=0)
    lines = zip(*(column + column[-1:] * (rows - len(column)) for column in columns))  # axes may have any lengths
    runs = _understood(job, types, directory, "-", table.rows([names, *lines]))
    if wish.table is not None or wish.samples is not None:
        return runs
    axes = [axis[: len(column)] for axis, column in zip(runs.columns, columns)]
    return sampling.Runs(True, names, math.prod(map(len, axes)), axes, runs.own_numbers[:0])


def _understood(job: Job, types: dict, directory: str, file: str, rows: Any = None) -> sampling.Runs:
    """The runs of a table as `zelvox batch` understands it with the options of the study."""
    dry = ["batch", *job.arguments, "--dry-run", f"--runs={file}", "--output-file=-"]
    made = table.read(_answer(directory, dry, rows), [name for name, type in types.items() if type == "String"])
    run, *names = made.column_names
    if made.num_rows == 0 or not names:
        raise StudyError("there are no runs; a table of runs needs a column with values, and one row a run")
    if len(made[run].unique()) < made.num_rows:
        raise StudyError("the column run has a number twice")
    whole = ("Integer", "Enumeration", "Boolean")
    columns = [made[name].cast("int64" if types[name] in whole else made[name].type).to_numpy() for name in names]
    return sampling.Runs(False, names, made.num_rows, columns, made[run].to_numpy())


def _answer(directory: str, command: list, content: Optional[bytes] = None) -> bytes:
    """What `zelvox` writes. Raises StudyError with its sentence."""
    try:
        done = subprocess.run(
            [program(), *command],
            cwd=directory,
            input=content,
            stdin=None if content is not None or "--runs=-" in command else subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )
    except OSError as problem:
        raise StudyError(f"{program()} cannot be run: {problem.strerror}; install zelvox-fmu again") from None
    except ValueError:
        raise StudyError("an option has a character in it that no program can be given") from None
    if done.returncode:
        # Where our own table has something wrong, the sentence names the parameter and its value.
        *_, reason = [f"zelvox {command[0]} ended with exit code {done.returncode}", *sentences(done.stderr)]
        raise StudyError(re.sub(r"^stdin, line \d+, column \d+: ", "", reason))
    return done.stdout


def _content(file: Path, what: str) -> bytes:
    try:
        return file.read_bytes()
    except OSError as problem:
        raise StudyError(f"{what} {file} cannot be read: {problem.strerror}") from None


def _carried(file: Path, option: str, files: dict) -> str:
    """The name that the file has in the workers' directories, where it goes with the FMU."""
    if file.is_dir():
        raise StudyError(f"{option} {file} is no file; make one of it: jar --create --file classes.jar -C {file} .")
    name = file.name
    while name in files:
        name = f"_{name}"
    files[name] = _content(file, option)
    return name
