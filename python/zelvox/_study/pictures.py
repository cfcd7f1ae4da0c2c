"""A study as a picture: a curve over one parameter, a map over two of a grid, and else points with their rank
correlations. One panel an output, failed runs left out."""

from pathlib import Path
from typing import Any

import numpy
import pandas

from zelvox._study.errors import StudyError
from zelvox._study.plan import Plan
from zelvox._study.store import Store

_SUFFIXES = (".svg", ".png", ".pdf")
_POINTS = 5000  # more make a picture slow and no clearer
_OUTPUTS, _PARAMETERS = 6, 6  # more cannot be read


def check(file: Path, plan: Plan) -> None:
    """Raises StudyError for a picture that could not be drawn."""
    if file.suffix not in _SUFFIXES:
        raise StudyError(f"the picture {file} has to end in one of {', '.join(_SUFFIXES)}")
    if not file.absolute().parent.is_dir():
        raise StudyError(f"the directory of the picture {file} does not exist")
    if plan.job.all_points:
        raise StudyError("a picture has one value a run; leave it or --record all away")
    if all(column.dtype == object for column in plan.runs.columns):
        raise StudyError("a picture needs a parameter that is a number")


def draw(store: Store, plan: Plan, file: Path) -> None:
    """Replaces the picture."""
    from matplotlib import rc_context
    from matplotlib.figure import Figure

    given = dict(zip(plan.runs.names, plan.runs.columns))
    outputs = [name for name in store.columns() if name not in ("run", "error", *given) and name not in store.texts]
    names = [name for name in given if name not in store.texts]
    names = [name for name in names if len(set(given[name].tolist())) > 1] or names
    left_out = len(outputs) - _OUTPUTS
    outputs = outputs[:_OUTPUTS]
    shown = _shown(plan.info)
    table = store.frame([*names, *outputs, "error"])
    labels = {}
    for name in [*names, *outputs]:
        # A result may be a statistic of a variable.
        unit, factor, offset = shown.get(name) or shown.get(name.rpartition(".")[0]) or ("", 1.0, 0.0)
        table[name] = factor * table[name] + offset
        labels[name] = f"{name} [{unit}]" if unit else name
    table = table.rename(columns=labels)
    names, outputs = [labels[name] for name in names], [labels[name] for name in outputs]
    good = table[table["error"] == ""]
    if not outputs or good.empty:
        raise StudyError(f"{file} was not drawn, as no run has a result")
    is_map = len(names) == 2 and plan.runs.grid and len(plan.runs.names) == 2
    drawn = good if is_map else _thinned(good)
    with rc_context({"font.size": 9, "axes.grid": False, "svg.fonttype": "none", "text.parse_math": False}):
        figure = Figure(layout="constrained")
        if is_map:
            _maps(figure, table, names, outputs)
        elif len(names) == 1:
            _curves(figure, drawn, names[0], outputs, plan.runs.grid)
        else:
            _points(figure, good, drawn, names, outputs)
        notes = [f"{len(drawn):,} of {len(table):,} runs" if len(drawn) < len(table) else f"{len(table):,} runs"]
        notes += [f"{len(table) - len(good):,} failed"] if len(good) < len(table) else []
        notes += [f"{left_out} more outputs not shown"] if left_out > 0 else []
        figure.suptitle(f"{next(iter(plan.job.files))}: {', '.join(notes)}")
        figure.savefig(file, dpi=120)


def _shown(info: dict) -> dict:
    """By the name of a variable: the unit that people read, and the factor and the offset to it."""
    units = {unit["name"]: unit.get("DisplayUnit", []) for unit in info.get("UnitDefinitions", [])}
    shown = {}
    for variable in info["ModelVariables"]:
        name, unit = variable.get("displayUnit"), variable.get("unit", "")
        own = [(name, each["factor"], each["offset"]) for each in units.get(unit, []) if each["name"] == name]
        shown[variable["name"]] = own[0] if own else (unit, 1.0, 0.0)
    return shown


def _curves(figure: Any, drawn: pandas.DataFrame, name: str, outputs: list, joined: bool) -> None:
    figure.set_size_inches(7, 1 + 2.2 * len(outputs))
    axes = figure.subplots(len(outputs), 1, sharex=True, squeeze=False)
    drawn = drawn.sort_values(name)
    for panel, output in zip(axes[:, 0], outputs):
        panel.plot(drawn[name], drawn[output], "-" if joined else "", marker="o", markersize=3, linewidth=1)
        panel.set_ylabel(output)
        panel.grid(True, alpha=0.3)
    axes[-1, 0].set_xlabel(name)


def _maps(figure: Any, table: pandas.DataFrame, names: list, outputs: list) -> None:
    columns = min(2, len(outputs))
    rows = -(-len(outputs) // columns)
    figure.set_size_inches(1 + 4.4 * columns, 0.6 + 3.6 * rows)
    axes = figure.subplots(rows, columns, squeeze=False)
    for panel in axes.flat[len(outputs) :]:
        panel.axis("off")
    for panel, output in zip(axes.flat, outputs):
        # A failed run has no value and leaves its place blank.
        grid = table.pivot_table(index=names[1], columns=names[0], values=output, dropna=False)
        drawn = panel.pcolormesh(grid.columns, grid.index, grid.to_numpy(), shading="nearest", rasterized=True)
        panel.set(xlabel=names[0], ylabel=names[1], title=output)
        panel.ticklabel_format(scilimits=(-3, 4))
        figure.colorbar(drawn, ax=panel)


def _points(figure: Any, good: pandas.DataFrame, drawn: pandas.DataFrame, names: list, outputs: list) -> None:
    correlations = good[[*names, *outputs]].corr("spearman")
    # Those that matter come first.
    names.sort(key=lambda name: -correlations.loc[name, outputs].abs().fillna(0).max())
    shown = names[:_PARAMETERS]
    rows, columns = len(outputs), len(shown) + 1
    figure.set_size_inches(1 + 2.1 * columns, 0.8 + 2.1 * rows)
    axes = figure.subplots(rows, columns, squeeze=False)
    for line, output in zip(axes, outputs):
        for panel, name in zip(line, shown):
            panel.plot(drawn[name], drawn[output], ".", markersize=2, alpha=0.5, rasterized=True)
            panel.set_title(f"rank correlation {correlations.loc[name, output]:+.2f}", fontsize=8)
            panel.set_xlabel(name)
            panel.tick_params(labelsize=7)
            if good[name].min() > 0 and good[name].max() > 50 * good[name].min():
                panel.set_xscale("log")
            else:
                panel.locator_params(axis="x", nbins=4)
                panel.ticklabel_format(axis="x", scilimits=(-3, 4))
        line[0].set_ylabel(output)
        bars = line[-1]
        bars.barh([name.partition(" [")[0] for name in names[::-1]], correlations.loc[names[::-1], output].fillna(0))
        bars.set(xlim=(-1, 1), xlabel="rank correlation (Spearman)")
        bars.axvline(0, color="black", linewidth=0.5)
        bars.tick_params(labelsize=7)


def _thinned(good: pandas.DataFrame) -> pandas.DataFrame:
    """Not too many, with the largest and the smallest value of each column."""
    if len(good) <= _POINTS:
        return good
    finite = good.reset_index(drop=True).drop(columns="error").replace([numpy.inf, -numpy.inf], numpy.nan)
    extremes = {place for _, column in finite.items() if column.any() for place in (column.idxmin(), column.idxmax())}
    others = finite.index.difference(extremes)
    chosen = numpy.random.default_rng(0).choice(others, _POINTS - len(extremes), replace=False)
    return good.iloc[sorted([*extremes, *chosen])]
