"""A store of the program, read only: what it learnt, judged and found."""

from __future__ import annotations

import dataclasses
import json
import os
from typing import Any

import numpy as np

from . import _limes, frames
from .parts import Rule

_CURVES = ("mean", "spread", "limit", "learnt_at")


def _lines(text: str) -> list[dict[str, Any]]:
    return [json.loads(line) for line in text.splitlines()]


def _table(rows: list[dict[str, Any]], first: tuple[str, ...] = ()) -> Any:
    names = dict.fromkeys([*first, *(name for row in rows for name in row)])
    return frames.table({name: [row.get(name) for row in rows] for name in names})


class Store:
    """What a store holds, as DataFrames; without pandas as dictionaries of arrays. Columns are named
    as the fields of `limes show --json` and `limes report --json`, and mean the same. Nothing is
    ever written; each property tells what is there when it is asked."""

    def __init__(self, path: str | os.PathLike[str]) -> None:
        os.stat(path)  # says whether it is missing
        self.path = os.fspath(path)
        self._store = _limes.ReadStore(self.path)

    def __repr__(self) -> str:
        return f"Store({self.path!r})"

    def __reduce__(self) -> tuple[type[Store], tuple[str]]:
        return Store, (self.path,)

    @property
    def settings(self) -> dict[str, Any]:
        """The options that hold for the store, named as in limes.read."""
        return {k.replace("-", "_"): v for k, v in json.loads(self._store.settings()).items()}

    @property
    def reading(self) -> dict[str, Any]:
        """How the store's measurements are read and formed: limes.read(files, **store.reading)."""
        settings = self.settings
        names = set(_limes.ReadingKeywords())
        if "label_column" not in settings:
            names.discard("good")
        return {k: v for k, v in settings.items() if k in names and v not in (0, [])}

    @property
    def rule(self) -> Rule:
        """The rule of its limits."""
        known = {f.name for f in dataclasses.fields(Rule)}
        return Rule(**{k: v for k, v in self.settings.items() if k in known})

    @property
    def parts(self) -> Any:
        """The parts learnt: part, label, run, and the scores before they were learnt."""
        names = ("part", "label", "run", "score_above", "score_below")
        return _table([dict(zip(names, part)) for part in self._store.parts()], names)

    @property
    def limits(self) -> Any:
        """A row for each quantity and side: parts learnt, rule, promise and range; see curve."""
        rows = _lines(self._store.limits())
        return _table([{k: v for k, v in row.items() if k not in _CURVES} for row in rows])

    def curve(self, name: str, side: str = "upper", variant: str = "") -> Any:
        """Mean, spread, limit and parts learnt of a quantity over x. KeyError when it is not
        limited on that side; a single value is one row. variant: "product=A,gear=3", of a store
        that tells variants apart."""
        for row in _lines(self._store.limits()):
            if (row["name"], row["side"], row.get("variant", "")) == (name, side, variant):
                n = len(row["mean"])
                columns = {k: np.array(row[k], dtype=np.float64) for k in _CURVES[:3]}
                columns["learnt_at"] = np.array(row.get("learnt_at", [row["learnt"]] * n))
                if row["step"] is None:
                    return frames.table(columns)
                columns["x"] = row["x_first"] + row["step"] * np.arange(n)
                return frames.table(columns)
        raise KeyError((name, side, variant) if variant else (name, side))

    def verdicts(self, *, all_runs: bool = False) -> Any:
        """A row for each judged part, quantity and side: the latest verdict of each part, or with
        all_runs all of them. part_verdict is that of the whole part."""
        rows = []
        for part in _lines(self._store.verdicts(all_runs)):
            own = {"part": part["part"], "label": part.get("label")}
            own["part_verdict"] = part["verdict"]
            own.update({k: part[k] for k in ("score_above", "score_below")})
            rows += [{**own, **verdict} for verdict in part["quantities"]]
        return _table(rows, ("part", "label", "part_verdict"))

    def defects(self, *, all_runs: bool = False) -> Any:
        """A row for each region beyond a limit, and each single value, of the judged parts."""
        rows = []
        for part in _lines(self._store.verdicts(all_runs)):
            for text, finding in zip(part["defects"], part["findings"]):
                rows.append({"part": part["part"], **finding, "text": text})
        return _table(rows, ("part",))
