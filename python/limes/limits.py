"""Limits learnt from good parts: what a script or a notebook needs, over the C++ learners."""

from __future__ import annotations

import dataclasses
import math
import numbers
import os
import pathlib
import shutil
import threading
from collections.abc import Iterable
from typing import Any

import numpy as np
import numpy.typing as npt

from . import _limes, plots


@dataclasses.dataclass(frozen=True)
class Rule:
    """How a limit is formed: base + mean + factor * spread.

    width widens a curve's limit along x by a number of points: the index of that place on the x
    axis, at most 31, to the left and one less to the right; the last point stays. time_scale is the
    number of parts after which old ones are forgotten by and by.
    """

    base: float = 0.0
    factor: float = 3.0
    width: float = 0.0
    time_scale: int = 10000

    def __post_init__(self) -> None:
        for name in ("base", "factor", "width"):
            number = getattr(self, name)
            if not isinstance(number, numbers.Real) or not math.isfinite(number):
                raise ValueError(f"{name} must be a finite number, not {number!r}")
        for name in ("factor", "width"):
            if getattr(self, name) < 0:
                raise ValueError(f"{name} must not be negative")
        if not isinstance(self.time_scale, numbers.Integral) or self.time_scale < 1:
            raise ValueError(f"time_scale must be a whole number from 1 on, not {self.time_scale!r}")


def curve(
    values: npt.ArrayLike,
    x_min: float | None = None,
    x_max: float | None = None,
    *,
    name: str = "",
    x_unit: str | _limes.CMeasuringUnit = "",
    y_unit: str | _limes.CMeasuringUnit = "",
    copy: bool = True,
) -> _limes.CSigCurveExt:
    """A curve of values at equal steps from x_min (0 unless given) on; x_max, one step behind the
    last value, is x_min + len(values) unless given. The index or coordinate of a Series or
    DataArray becomes x; ValueError when its steps are not equal or x_min or x_max is given, too.
    With copy=False the curve uses the memory of a writable float32 array.
    """
    index = _index(values)
    array = np.asarray(values)
    if array.ndim != 1 or array.dtype.kind not in "biuf":
        raise TypeError(f"a curve is made of a row of numbers, not of {type(values).__name__}")
    if index is not None:
        if x_min is not None or x_max is not None:
            raise ValueError("x is that of the index: give the plain values to set another one")
        x_min, x_max = _ends(index)
    start = 0.0 if x_min is None else x_min
    end = start + len(array) if x_max is None else x_max
    make = _limes.CSigCurveExt if copy else _limes.CSigCurveExt.over
    made = make(array, start, end)
    made.name = name or str(getattr(values, "name", None) or "")
    made.x_unit = _unit(x_unit)
    made.y_unit = _unit(y_unit)
    return made


def _index(values: Any) -> Any:
    """What a Series or DataArray has along x; None for what has none."""
    if hasattr(values, "coords") and hasattr(values, "dims"):
        along = [values.coords[dim] for dim in values.dims if dim in values.coords]
        return np.asarray(along[0]) if len(along) == 1 else None
    index = getattr(values, "index", None)
    return None if index is None or callable(index) else np.asarray(index)


def _ends(index: Any) -> tuple[float, float]:
    """First x, and that one step behind the last one."""
    if index.dtype.kind not in "iuf" or len(index) < 2:
        raise ValueError("the index is no x axis of two numbers or more")
    x = index.astype(np.float64)
    step = (x[-1] - x[0]) / (len(x) - 1)
    if not step > 0 or not np.allclose(np.diff(x), step, rtol=1e-3, atol=0):
        raise ValueError("the index does not rise in equal steps")
    return float(x[0]), float(x[-1] + step)


def _unit(unit: str | _limes.CMeasuringUnit) -> _limes.CMeasuringUnit:
    return unit if isinstance(unit, _limes.CMeasuringUnit) else _limes.CMeasuringUnit(unit)


def _replace(path: pathlib.Path, content: bytes) -> None:
    """Writes a file whole or not at all. A link, its target's mode and a device stay."""
    target = pathlib.Path(os.path.realpath(path))
    if target.exists() and not target.is_file():
        target.write_bytes(content)
        return
    part = target.with_name(f".{target.name}.{os.getpid()}.{threading.get_ident()}")
    try:
        with open(part, "xb") as file:
            file.write(content)
            file.flush()
            os.fsync(file.fileno())
        if target.exists():
            shutil.copymode(target, part)
        part.replace(target)
    except BaseException:
        part.unlink(missing_ok=True)
        raise


class _Saved:
    """Saving and loading of a learner's state, bit for bit."""

    _tool_class: Any

    def __init__(self, tool):
        self.tool = tool

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes the state to a file that other hosts of the library read, too."""
        _replace(pathlib.Path(path), self.tool.WriteState())

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
