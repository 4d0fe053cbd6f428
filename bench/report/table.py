#!/usr/bin/env python3
"""Writes the page of figures from the result files: table.py RESULTS PAGE [--plots]."""

import argparse
from pathlib import Path

from goals import GOALS, GROWTH_MAY_CHANGE, PEERS, PROCESS_COMPARED, WITHOUT_BOUND, Goal
from results import Results, Series

MODES = ("in-line", "process")
LEVERS = Path(__file__).with_name("levers.md")  # what was tried by hand


def number(value: float) -> str:
    if value >= 1000:
        return f"{value:,.0f}"
    return f"{value:.3g}" if value < 100 else f"{value:.0f}"


def show(series: Series | None) -> str:
    return "–" if series is None else f"{number(series.median)} {series.unit}"


def show_pair(pair: list[Series | None]) -> str:
    """Of the in-line run and of the process run, which each have their own."""
    found = [series for series in pair if series is not None]
    if not found:
        return "–"
    return " / ".join("–" if series is None else number(series.median) for series in pair) + f" {found[0].unit}"


def ratio(one: Series | None, other: Series | None) -> float | None:
    return None if one is None or other is None else one.median / other.median


def best_peer(results: Results, goal: Goal) -> tuple[str, Series] | None:
    """The best of those that keep a memory bound."""
    if goal.explains:
        return None
    names = [name for name in PEERS if name not in WITHOUT_BOUND.get(goal.workload, ())]
    found = [(name, results.get(goal.workload, name, goal.series)) for name in names]
    found = [(name, series) for name, series in found if series is not None]
    if not found:
        return None
    better = max if found[0][1].more_is_better else min
    return better(found, key=lambda pair: pair[1].median)


def verdict(met: bool) -> str:
    return "yes" if met else "**no**"


def meets(value: float, goal: float, series: Series) -> bool:
    return value >= goal if series.more_is_better else value <= goal


def goal_text(goal: Goal, series: Series | None) -> str:
    sign = "≥" if series is None or series.more_is_better else "≤"
    parts = []
    if goal.limit is not None:
        process = f" ({sign} {goal.limit_process:g} in process mode)" if goal.limit_process else ""
        parts.append(f"{sign} {goal.limit:g} × limit{process}")
    if goal.peers is not None:
        peers = f"≥ {goal.peers:g} ×" if sign == "≥" else f"≤ 1/{1 / goal.peers:.0f} of"
        parts.append(f"{peers} every peer")
    if goal.plus is not None:
        parts.append(f"limit + {goal.plus:g} {series.unit if series else ''}")
    if goal.most is not None:
        parts.append(f"≤ {goal.most:g} {series.unit if series else ''}")
    return ", ".join(parts) or "–"


def met_in(results: Results, goal: Goal, mode: str) -> bool | None:
    """Whether the goals of a row are met in a mode; None when there is nothing to judge."""
    own = results.get(goal.workload, mode, goal.series)
    if own is None:
        return None
    judged = []
    limit = results.get(goal.workload, mode, goal.limit_series)
    wanted = goal.limit_process if mode == "process" and goal.limit_process else goal.limit
    if wanted is not None and limit is not None:
        judged.append(meets(own.median / limit.median, wanted, own))
    peer = best_peer(results, goal)
    if goal.peers is not None and peer is not None:
        judged.append(meets(own.median / peer[1].median, goal.peers, own))
    if goal.plus is not None and limit is not None:
        judged.append(own.median <= limit.median + goal.plus)
    if goal.most is not None:
        judged.append(own.median <= goal.most)
    return all(judged) if judged else None


def workload_row(results: Results, goal: Goal) -> str | None:
    own = {mode: results.get(goal.workload, mode, goal.series) for mode in MODES}
    if all(series is None for series in own.values()):
        return None
    cells = [goal.workload, goal.what]
    cells.append(show_pair([results.get(goal.workload, mode, goal.limit_series) for mode in MODES]))
    peer = best_peer(results, goal)
    cells.append(f"{show(peer[1])} ({peer[0]})" if peer else "–")
    for mode in MODES:
        share = ratio(own[mode], results.get(goal.workload, mode, goal.limit_series))
        cells.append(show(own[mode]))
        cells.append("–" if share is None else f"{share:.2f}")
    cells.append(goal_text(goal, own["in-line"] or own["process"]))
    judged = [met_in(results, goal, mode) for mode in MODES]
    open_goal = goal.peers is not None and peer is None
    cells.append(" / ".join("–" if met is None else
                            "by the limit" if met and open_goal else verdict(met) for met in judged))
    return "| " + " | ".join(cells) + " |"


def workload_table(results: Results) -> list[str]:
    head = ["", "what", "limit (in-line run / process run)", "best peer", "in-line", "of limit", "process", "of limit", "goal", "met (in-line / process)"]
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return lines + [row for goal in GOALS if (row := workload_row(results, goal))]


def peer_table(results: Results) -> list[str]:
    rows = []
    for goal in GOALS:
        found = [results.get(goal.workload, name, goal.series) for name in PEERS]
        if any(found) and not goal.explains:
            own = [results.get(goal.workload, mode, goal.series) for mode in MODES]
            cells = [goal.workload, goal.what, *map(show, found), *map(show, own)]
            rows.append("| " + " | ".join(cells) + " |")
    if not rows:
        return ["Peers were not measured in this run (`scripts/bench --peers`)."]
    head = ["", "what", *PEERS, "iocache in-line", "iocache process"]
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head), *rows, "", "Their settings:", ""]
    return lines + [f"- {name}: {results.remarks[name]}" for name in PEERS if name in results.remarks]


def process_table(results: Results) -> list[str]:
    lines = ["| | in-line | process | speed beside in-line | goal | met |", "|---|---|---|---|---|---|"]
    for (workload, name), least in PROCESS_COMPARED.items():
        one, other = (results.get(workload, mode, name) for mode in MODES)
        if one is None or other is None:
            continue
        speed = other.median / one.median if one.more_is_better else one.median / other.median
        what = workload + name.removeprefix("library")
        lines.append(f"| {what} | {show(one)} | {show(other)} | {speed:.2f} | ≥ {least:g} | {verdict(speed >= least)} |")
    return lines


def growth_table(one: dict) -> list[str]:
    points = one["points"]
    lines = ["| " + one["what"] + " | " + " | ".join(f"{point['at']:,.0f}" for point in points)
             + " | last : first | flat |", "|" + "---|" * (len(points) + 3)]
    for at, series in enumerate(points[0]["series"]):
        medians = [point["series"][at]["median"] for point in points]
        change = medians[-1] / medians[0]
        cells = [f"{series['name']}, {series['unit']}", *map(number, medians), f"{change:.2f}",
                 verdict(change <= 1 + GROWTH_MAY_CHANGE)]
        lines.append("| " + " | ".join(cells) + " |")
    return lines + [""] + one["remarks"]


def page(results: Results, plots: bool) -> str:
    machine = results.machine
    text = ["# Performance", "",
            "<!-- Written by bench/report/table.py from bench/results; scripts/bench measures and writes both. -->", "",
            "Every workload is measured beside its physical limit, in the same program and in turn: what counts is the "
            "ratio of two figures of one run. Figures are medians; more is better for GB/s, less for everything else. "
            "The picture has 16384 × 16384 pixels of CMYK and alpha (1.34 GB), tiles of 256 × 256, and pixels that all "
            "differ; the cache has 2 GiB where the region is in memory and 256 MiB elsewhere. *In-line* serves requests "
            "in the caller, *process* in the cache process.", "",
            f"Measured on {machine.get('processor', 'an unknown processor')}, {machine.get('processors', '?')} "
            f"processors, {machine.get('memory_gib', '?')} GiB, Linux {machine.get('kernel', '?').split('-')[0]}, "
            f"{machine.get('compiler', '?')}; load before the run, of work that was stopped for it, {machine.get('load', '?')}. "
            "Each mode is a run of its own, with a limit of its own. Cold means that the "
            "file's pages were dropped from the page cache; what a hypervisor keeps stays there.", "",
            "## Workloads", "", *workload_table(results), "",
            "What a limit is: " + "; ".join(f"{goal.workload} {goal.limit_text}" for goal in GOALS
                                            if goal.limit_text not in ("none", "the same")) + ".", ""]
    if plots:
        text += ["![Each workload as a part of its physical limit](pictures/performance.svg)", ""]
    text += ["## Process mode beside in-line", "", *process_table(results), "",
             "## Peers", "",
             "General image libraries on the same workloads, with the settings that someone who knows them would "
             "choose. Where a figure is missing, the library has nothing to compare: it does not change what it caches, "
             "keeps no cache, or makes no such image. libtiff keeps none at all: its program reads whole rows of tiles into "
             "a buffer of its own, as the limit does, and is left out of the comparison in W5, which asks for a memory "
             "bound.", "", *peer_table(results), ""]
    text += ["## Growth", "",
             f"An access is to cost the same, within {GROWTH_MAY_CHANGE:.0%}, while one thing grows.", ""]
    for one in results.growth:
        text += [f"### {one['what'].capitalize()}", ""]
        if plots:
            text += [f"![Costs of an access over {one['what']}](pictures/growth-{one['name']}.svg)", ""]
        text += [*growth_table(one), ""]
    text += [LEVERS.read_text()]
    text += ["To measure: `scripts/bench`, with `--peers` for the peers as well, on a machine that has nothing else to do.", ""]
    return "\n".join(text)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("results", type=Path)
    parser.add_argument("page", type=Path)
    parser.add_argument("--plots", action="store_true", help="show the pictures that plots.py makes")
    given = parser.parse_args()
    given.page.write_text(page(Results(given.results), given.plots))


if __name__ == "__main__":
    main()
