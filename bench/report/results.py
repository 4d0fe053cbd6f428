"""Reads the result files of one run of scripts/bench."""

import json
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Series:
    unit: str
    more_is_better: bool
    median: float
    least: float
    most: float
    runs: int


class Results:
    """Everything that was measured, by workload and program; a program of this library is 'in-line' or 'process'."""

    def __init__(self, folder: Path):
        self.machine = _read(folder / "machine.json") or {}
        self.growth = _read(folder / "growth.json") or []
        self._found = {}
        self.remarks = {}
        for path in sorted(folder.glob("W*.json")):
            one = _read(path)
            program = one["mode"] or one["program"]
            if "remark" in one:
                self.remarks[program] = one["remark"]
            for series in one["series"]:
                self._found[one["workload"], program, series["name"]] = _series(series)

    def get(self, workload: str, program: str, name: str | None) -> Series | None:
        return self._found.get((workload, program, name))


def _series(one: dict) -> Series:
    return Series(one["unit"], one["more_is_better"], one["median"], one["least"], one["most"], len(one["samples"]))


def _read(path: Path):
    return json.loads(path.read_text()) if path.exists() else None
