"""The console script zelvox-study."""

import argparse
import os
import signal
import sys
from pathlib import Path
from typing import Any, Optional

from zelvox import __version__
from zelvox._program import wheel
from zelvox._study.errors import StudyError

_VALUES = """what a parameter is given:
  J=1e-4,2e-4,5e-4             these values (grid); a text is what stands between the commas
  J=1e-4:1e-3:20               20 values with equal distances, from 1e-4 to 1e-3 (grid)
  J=uniform:LOW:HIGH           any value between the two is as likely (samples)
  J=normal:MEAN:DEVIATION      the standard deviation (samples)
  J=lognormal:MEDIAN:SIGMA     its natural logarithm is normal, with the deviation SIGMA (samples)
  J=loguniform:LOW:HIGH        its logarithm is uniform (samples)
  J=triangular:LOW:MODE:HIGH   most likely at MODE (samples)"""

_EXAMPLES = """examples:
  zelvox-study motor.fmu --parameter J=1e-4:1e-3:20 --parameter load=0:0.2:10 --output results.parquet
  zelvox-study motor.fmu --parameter J=lognormal:1e-4:0.2 --samples 10000 --output results.parquet --plot study.svg
  zelvox-study motor.fmu --runs runs.csv --output results.parquet --scheduler tcp://host:8786

The results are a directory with Parquet files, which pandas.read_parquet and others read as one table: run,
the parameters, the outputs as `zelvox batch` has them, and error, which is empty for a good run. Ctrl-C or
worse leaves the runs that are over there; the same command with --resume goes on.

exit codes: 0 all runs are good, 1 some failed (the results are complete) or the study could not be made,
2 wrong command line, 130 interrupted"""


def _arguments() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="zelvox-study",
        usage="zelvox-study FMU --output DIRECTORY [--parameter NAME=VALUES]... [OPTION]...",
        description="Run an FMU many times, on the processors of this machine or of a Dask cluster.",
        epilog=f"{_VALUES}\n\n{_EXAMPLES}",
        formatter_class=argparse.RawDescriptionHelpFormatter,
        allow_abbrev=False,
    )
    parser.add_argument("--version", action="version", version=f"zelvox-study {__version__}")
    parser.add_argument("fmu", type=Path, metavar="FMU", help="made by zelvox pack or by anybody else (FMI 2.0)")

    runs = parser.add_argument_group("the runs")
    runs.add_argument("--parameter", action="append", default=[], metavar="NAME=VALUES", help="repeatable, see below")
    runs.add_argument("--samples", type=int, metavar="N", help="draw N runs of distributions [all combinations]")
    runs.add_argument("--sampling", choices=("latin", "sobol"), default="latin", help="hypercube, or sequence [latin]")
    runs.add_argument("--seed", type=int, default=0, help="of the samples; the same one draws the same [0]")
    runs.add_argument("--runs", type=Path, metavar="CSV", help="in place of them one row a run, as for zelvox batch")
    runs.add_argument("--run-timeout", type=float, metavar="SECONDS", help="a run that takes longer fails [none]")

    each = parser.add_argument_group("each run, as in zelvox batch")
    for option in ("--start-time", "--stop-time", "--output-interval", "--step-size"):
        each.add_argument(option, type=float, metavar="SECONDS")
    each.add_argument("--start-value", action="append", default=[], dest="start_values", metavar="NAME=VALUE")
    each.add_argument("--input-file", type=Path, metavar="CSV")
    each.add_argument("--output-variable", action="append", default=[], dest="output_variables", metavar="NAME")
    each.add_argument("--record", metavar="LIST", help="all, or some of minimum,maximum,mean,final [final]")
    each.add_argument("--fail-on-nan", action="store_true", default=None)
    each.add_argument("--class-path", action="append", default=[], metavar="JAR", help="files, with : between them")
    each.add_argument("--jvm-option", action="append", default=[], dest="jvm_options", metavar="OPTION")

    results = parser.add_argument_group("results")
    results.add_argument("--output", type=Path, required=True, metavar="DIRECTORY", help="a Parquet dataset")
    results.add_argument("--resume", action="store_true", help="go on with what is there")
    results.add_argument("--plot", type=Path, metavar="FILE", help="draw them (.svg, .png or .pdf)")
    results.add_argument("--quiet", action="store_true", help="no progress, and no dashboard")

    where = parser.add_argument_group("where")
    where.add_argument("--scheduler", metavar="ADDRESS", help="of Dask, such as tcp://host:8786 [this machine]")
    where.add_argument("--no-dashboard", action="store_false", dest="dashboard", help="no web page of Dask")
    where.add_argument("--workers", type=int, metavar="N", help="processes of this machine [one per processor]")
    return parser


def _run(arguments: argparse.Namespace) -> int:
    from zelvox._study import api, plan  # takes a second, and brings what only the extra has
    from zelvox._study.parameters import parse
    from zelvox._study.progress import Progress

    _on_interrupt(_interrupted)
    arguments.class_path = [path for paths in arguments.class_path for path in paths.split(":") if path]
    parameters: dict[str, Any] = {}
    for name, given in map(parse, arguments.parameter):
        if name in parameters:
            raise StudyError(f"--parameter gives {name} twice")
        parameters[name] = given
    chosen = plan.plan(
        arguments.fmu,
        plan.Wish(parameters, arguments.samples, arguments.sampling, arguments.seed, arguments.runs),
        arguments.run_timeout,
        {name: getattr(arguments, name) for name in plan.OPTIONS},
    )
    progress = Progress(arguments.quiet)
    where = (arguments.scheduler, arguments.workers, arguments.dashboard and not arguments.quiet)
    with api.made(chosen, arguments.output, arguments.resume, arguments.plot, where, progress) as store:
        progress.say(f"{store.done} runs are in {arguments.output}")
        failed, reason = store.failures()
        not_finite = store.not_finite()
    if not_finite:
        finding = f"warning: {not_finite} good rows have results that are NaN or infinite"
        print(f"zelvox-study: {finding}; with --fail-on-nan such a run fails", file=sys.stderr)
    if failed:
        print(f"zelvox-study: {failed} of {chosen.runs.count} runs failed, the first because {reason}", file=sys.stderr)
    return 1 if failed else 0


def _on_interrupt(what: Any) -> None:
    for asked in (signal.SIGINT, signal.SIGTERM):
        signal.signal(asked, what)


def _interrupted(*_: Any) -> None:
    """The first time in order, the second time at once."""
    _on_interrupt(signal.SIG_DFL)
    raise KeyboardInterrupt


def main(given: Optional[list] = None) -> None:
    """Exits with the code that the help names."""
    arguments = _arguments().parse_args(given)

    def say(*_: Any) -> None:
        hint = f"the same command with --resume goes on with {arguments.output}"
        print(f"zelvox-study: interrupted; {hint}", file=sys.stderr, flush=True)

    # Libraries that are being imported take an exception for a fault of theirs.
    _on_interrupt(lambda *_: (say(), os._exit(130)))
    try:
        code = _run(arguments)
    except StudyError as problem:
        print(f"zelvox-study: {problem}", file=sys.stderr)
        code = 1
    except ModuleNotFoundError as missing:
        print(f"zelvox-study: {missing.name} is missing; {wheel('study')}", file=sys.stderr)
        code = 1
    except KeyboardInterrupt:
        say()
        code = 130
    sys.exit(code)


if __name__ == "__main__":
    main()
