"""Limits learnt from good parts: what a script or a notebook needs, over the C++ learners."""

from __future__ import annotations

import dataclasses
import os
import pathlib
from collections.abc import Iterable
from typing import Any

import numpy as np
import numpy.typing as npt

from . import _limes, plots


@dataclasses.dataclass(frozen=True)
class Rule:
    """How a limit is formed: base + mean + factor * spread.

    width widens a curve's limit along x (a place on the x axis whose index says by how many points,
    at most 31); time_scale is the number of parts after which old ones are forgotten by and by.
    """

    base: float = 0.0
    factor: float = 3.0
    width: float = 0.0
    time_scale: int = 10000


def curve(
    values: npt.ArrayLike,
    x_min: float = 0.0,
    x_max: float | None = None,
    *,
    name: str = "",
    x_unit: str | _limes.CMeasuringUnit = "",
    y_unit: str | _limes.CMeasuringUnit = "",
    copy: bool = True,
) -> _limes.CSigCurveExt:
    """A curve of values at equal steps from x_min on; x_max, one step behind the last value, is
    x_min + len(values) unless given. With copy=False the curve uses a float32 array's own memory.
    """
    array = np.asarray(values)
    end = x_min + len(array) if x_max is None else x_max
    make = _limes.CSigCurveExt if copy else _limes.CSigCurveExt.over
    made = make(array, x_min, end)
    made.name = name
    made.x_unit = _unit(x_unit)
    made.y_unit = _unit(y_unit)
    return made


def _unit(unit: str | _limes.CMeasuringUnit) -> _limes.CMeasuringUnit:
    return unit if isinstance(unit, _limes.CMeasuringUnit) else _limes.CMeasuringUnit(unit)


class _Saved:
    """Saving and loading of a learner's state, bit for bit."""

    _tool_class: Any

    def __init__(self, tool):
        self.tool = tool

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes the state to a file that other hosts of the library read, too."""
        target = pathlib.Path(path)
        part = target.with_name(target.name + ".new")
        part.write_bytes(self.tool.WriteState())
        part.replace(target)

    @classmethod
    def load(cls, path: str | os.PathLike[str]):
        """The limit of a file; ValueError says what is wrong with it."""
        limit = cls(cls._tool_class.ReadState(pathlib.Path(path).read_bytes()))
        limit._form()
        return limit

    def merge(self, other) -> None:
        """Joins the state with one that was learnt elsewhere, as the later one; ValueError when
        grid, unit, rule or time scale differ."""
        self.tool.Merge(other.tool)
        self._form()

    def _form(self) -> None:
        pass


class CurveLimit(_Saved):
    """Limit along a curve. tool is the learner behind it."""

    _tool_class = _limes.CKurvenLernWerkzeug

    @property
    def count(self) -> int:
        """Parts learnt."""
        return self.tool.NrGelernt()

    @property
    def mean(self) -> _limes.CSigCurveExt:
        return self.tool.Mittelwert()

    @property
    def spread(self) -> _limes.CSigCurveExt:
        return self.tool.StandardAbw()

    @property
    def limit(self) -> _limes.CSigCurveExt:
        return self.tool.Grenzkurve()

    def learn(self, part: _limes.CSigCurveExt) -> None:
        """Learns one more good part, fitted to the grid where it needs to be."""
        self.tool.NeueMessung(self.tool.Fitted(part))
        self._form()

    def judge(self, part: _limes.CSigCurveExt) -> _limes.SCurveJudgement:
        """Judges a part, fitted to the grid where it needs to be; ValueError for other units."""
        return self.tool.Judge(self.tool.Fitted(part))

    def _form(self) -> None:
        if self.count > 0:
            self.tool.UpdateLimit()

    def _repr_html_(self) -> str:
        return plots.limit_plot(self.mean, self.limit, f"{self.count} parts learnt")


class TrackLimit(_Saved):
    """Limit along a curve, learnt from parts that each cover their own x range."""

    _tool_class = _limes.CTrackLernWerkzeug

    @property
    def mean(self) -> _limes.CSigCurveExt:
        return self.tool.Mittelwert()

    @property
    def limit(self) -> _limes.CSigCurveExt:
        return self.tool.Grenzkurve()

    @property
    def counts(self) -> npt.NDArray[np.uint32]:
        """Parts learnt, point by point."""
        return self.tool.LearnCounts()

    def learn(self, part: _limes.CSigCurveExt) -> None:
        self.tool.NeueMessung(part)
        self._form()

    def judge(self, part: _limes.CSigCurveExt) -> _limes.SCurveJudgement:
        return self.tool.Judge(part)

    def _form(self) -> None:
        if self.tool.HatGelernt():
            self.tool.GrenzeBilden()

    def _repr_html_(self) -> str:
        return plots.limit_plot(self.mean, self.limit, "parts with ranges of their own")


class ValueLimit(_Saved):
    """Limit of a single value."""

    _tool_class = _limes.CLernenderGrenzwert

    @property
    def count(self) -> int:
        return self.tool.NrGelernt()

    @property
    def mean(self) -> float:
        return self.tool.Mittelwert()

    @property
    def spread(self) -> float:
        return self.tool.StdDev()

    @property
    def limit(self) -> float:
        return self.tool.Grenzwert()

    def learn(self, value: float) -> None:
        self.tool.NeueMessung(value)

    def judge(self, value: float) -> _limes.SValueJudgement:
        return self.tool.Judge(value)


def learn(curves: Iterable[_limes.CSigCurveExt], rule: Rule = Rule()) -> CurveLimit:
    """The limit of good parts; the first one sets grid and units, the others are fitted to it."""
    limit = CurveLimit(_limes.CKurvenLernWerkzeug())
    limit.tool.Bildungsregel(rule.base, rule.factor, rule.width)
    for i, part in enumerate(curves):
        if i == 0:
            limit.tool.Vorlage(part)
            limit.tool.Neustart(rule.time_scale)
        limit.tool.NeueMessung(limit.tool.Fitted(part))
    if limit.count == 0:
        raise ValueError("no parts to learn from")
    limit._form()
    return limit


def learn_tracks(
    tracks: Iterable[_limes.CSigCurveExt], rule: Rule = Rule(), base_count: int = 5
) -> TrackLimit:
    """The limit of good parts on one grid, each with a valid range of its own; points learnt from
    fewer than base_count parts are not judged. Width and time scale of the rule are not used."""
    limit = TrackLimit(_limes.CTrackLernWerkzeug())
    limit.tool.Bildungsregel(rule.base, rule.factor)
    limit.tool.base_count = base_count
    for i, part in enumerate(tracks):
        if i == 0:
            limit.tool.Vorlage(part)
        limit.tool.NeueMessung(part)
    if not limit.tool.HatGelernt():
        raise ValueError("no parts to learn from")
    limit._form()
    return limit


def learn_values(values: npt.ArrayLike, rule: Rule = Rule()) -> ValueLimit:
    """The limit of a value measured at good parts; the rule's width is not used."""
    array = np.asarray(values, dtype=np.float32)
    if array.size == 0:
        raise ValueError("no values to learn from")
    if not np.isfinite(array).all():
        raise ValueError("values that are not finite cannot be learnt")
    limit = ValueLimit(_limes.CLernenderGrenzwert(rule.time_scale))
    limit.tool.Bildungsregel(rule.base, rule.factor)
    limit.tool.NeueMessungen(array)
    return limit
