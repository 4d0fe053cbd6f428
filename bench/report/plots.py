#!/usr/bin/env python3
"""Draws the result files as SVG: plots.py RESULTS FOLDER."""

import argparse
import math
from pathlib import Path

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402  the kind of output comes first

from goals import GOALS, PEERS, Goal  # noqa: E402
from results import Results  # noqa: E402

PROGRAMS = ("in-line", "process", *PEERS)
COLOURS = ("#1b5e8c", "#6fa8d0", "#c8553d", "#e09f3e", "#7d9d5b", "#8d6a9f", "#b79fc4", "#8a8a8a")


def label(goal: Goal) -> str:
    extra = goal.series.removeprefix("library").lstrip(", ")
    return f"{goal.workload}\n{extra}" if extra else goal.workload


def speed(results: Results, goal: Goal, program: str) -> float | None:
    """How fast beside the limit of the in-line run: 1 is as fast as the limit, more is faster."""
    limit = results.get(goal.workload, "in-line", goal.limit_series)
    own = results.get(goal.workload, program, goal.series)
    if limit is None or own is None:
        return None
    if program == "process":  # has a limit of its own run
        limit = results.get(goal.workload, "process", goal.limit_series) or limit
    return own.median / limit.median if own.more_is_better else limit.median / own.median


def draw_workloads(results: Results, target: Path) -> None:
    goals = [goal for goal in GOALS if not goal.explains and goal.workload not in ("W10", "W11") and speed(results, goal, "in-line")]
    programs = [name for name in PROGRAMS if any(speed(results, goal, name) for goal in goals)]
    figure, axes = plt.subplots(figsize=(12, 5))
    width = 0.8 / len(programs)
    for place, program in enumerate(programs):
        values = [speed(results, goal, program) or 0 for goal in goals]
        at = [i + (place - (len(programs) - 1) / 2) * width for i in range(len(goals))]
        name = f"iocache, {program}" if program in ("in-line", "process") else program
        axes.bar(at, values, width, label=name, color=COLOURS[PROGRAMS.index(program)])
    axes.axhline(1, color="black", linewidth=1)
    axes.text(len(goals) - 0.5, 1.01, "physical limit", ha="right", va="bottom", fontsize=8)
    axes.set_xticks(range(len(goals)), [label(goal) for goal in goals], fontsize=8)
    axes.set_ylabel("speed, as a part of the limit's")
    axes.set_title("Workloads beside their physical limits (higher is faster)")
    axes.spines[["top", "right"]].set_visible(False)
    axes.legend(fontsize=8, ncols=4, loc="upper center", bbox_to_anchor=(0.5, -0.12), frameon=False)
    save(figure, target)


def draw_growth(one: dict, target: Path) -> None:
    units = list(dict.fromkeys(series["unit"] for series in one["points"][0]["series"]))
    figure, panels = plt.subplots(1, len(units), figsize=(5.5 * len(units), 4), squeeze=False)
    sizes = [point["at"] for point in one["points"]]
    for axes, unit in zip(panels[0], units):
        for at, series in enumerate(one["points"][0]["series"]):
            if series["unit"] != unit:
                continue
            medians = [point["series"][at]["median"] for point in one["points"]]
            axes.plot(sizes, medians, marker="o", label=series["name"])
        axes.set_xscale("log", base=2)
        axes.set_xticks(sizes, [f"{size:,.0f}" for size in sizes], fontsize=7)
        axes.minorticks_off()
        axes.set_yscale("log")
        low, high = axes.get_ylim()
        axes.set_ylim(10 ** math.floor(math.log10(low)), 10 ** math.ceil(math.log10(high)))
        axes.yaxis.set_major_formatter(lambda value, _: f"{value:g}")
        axes.set_xlabel(one["what"])
        axes.set_ylabel(f"{unit} each")
        axes.grid(axis="y", linewidth=0.3)
        axes.spines[["top", "right"]].set_visible(False)
        axes.legend(fontsize=7, frameon=False)
    figure.suptitle(f"Cost of an access while the {one['what']} grow" if one["name"] != "grid"
                    else "Cost of an access while the grid grows")
    save(figure, target)


def save(figure, target: Path) -> None:
    figure.tight_layout()
    figure.savefig(target, metadata={"Date": None})
    plt.close(figure)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("results", type=Path)
    parser.add_argument("folder", type=Path)
    given = parser.parse_args()
    plt.rcParams["svg.hashsalt"] = "iocache"  # the same picture from the same figures
    results = Results(given.results)
    given.folder.mkdir(parents=True, exist_ok=True)
    draw_workloads(results, given.folder / "performance.svg")
    for one in results.growth:
        draw_growth(one, given.folder / f"growth-{one['name']}.svg")


if __name__ == "__main__":
    main()
