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
    array = _unmasked(values)
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


def _unmasked(values: npt.ArrayLike) -> npt.NDArray[Any]:
    if np.ma.is_masked(values):
        raise ValueError("what is masked has no values: leave it out, or see Part for curves")
    return np.asarray(values)


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


@dataclasses.dataclass(frozen=True)
class Part:
    """A measured curve with what is known of its measurement.

    covered says for each value whether anything was measured there: NaN is refused where it is
    true, and judged is only where it is true. samples is the recording that the curve was made of,
    which is looked at for silence and clipping; without it the curve's own values are.
    """

    curve: _limes.CSigCurveExt
    covered: npt.ArrayLike | None = None
    samples: npt.ArrayLike | None = None

    def __post_init__(self) -> None:
        if not isinstance(self.curve, _limes.CSigCurveExt):
            raise TypeError(f"a part is a CSigCurveExt or a Part, not {type(self.curve).__name__}")
        if self.covered is not None and np.asarray(self.covered).dtype.kind != "b":
            raise TypeError("covered is a row of truth values")

    def _given(self) -> tuple[_limes.CSigCurveExt, npt.NDArray[np.bool_] | None, Any]:
        """Curve, mask and health, as the learners take them."""
        covered = None if self.covered is None else np.array(self.covered, dtype=np.bool_)
        samples: Any = self.samples
        if samples is None:
            valid = slice(max(self.curve.IMin(), 0), max(self.curve.IMax() + 1, 0))
            samples = self.curve.values[valid]
            if covered is not None and covered.shape == (len(self.curve),):
                samples = samples[covered[valid]]
        return self.curve, covered, _limes.HealthOf(samples)


def _part(part: _limes.CSigCurveExt | Part) -> Part:
    return part if isinstance(part, Part) else Part(part)


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


class _AlongX(_Saved):
    """What limits of curves and of tracks have in common."""

    _min_share: float  # for a pass, unless another one is given

    @property
    def mean(self) -> _limes.CSigCurveExt:
        return self.tool.Mittelwert()

    @property
    def limit(self) -> _limes.CSigCurveExt:
        return self.tool.Grenzkurve()

    def learn(
        self,
        part: _limes.CSigCurveExt | Part,
        *,
        min_share: float = 0.9,
        allow_short: bool = False,
        allow_constant: bool = False,
    ) -> None:
        """Learns one more good part, drawn on the grid of the first one. ValueError says why it
        cannot be learnt: other units or steps, values that are not finite, no signal, clipped, or
        of a curve less than min_share in common with the first one unless allow_short.
        allow_constant learns a curve that has one value only."""
        self.tool.LearnPart(*_part(part)._given(), min_share, allow_short, allow_constant)
        self._form()

    def judge(
        self, part: _limes.CSigCurveExt | Part, *, min_share: float | None = None
    ) -> _limes.SPartJudgement:
        """Judges a part, drawn on the learnt grid. It passes only when at least min_share of the
        grid was measured (curves 0.9, tracks 0.5); what cannot be judged says why in reason."""
        share = self._min_share if min_share is None else min_share
        return self.tool.JudgePart(*_part(part)._given(), share)

    def _learn_all(self, parts: Iterable[_limes.CSigCurveExt | Part], **allowed: Any) -> None:
        number = 0
        for number, part in enumerate(parts, 1):
            try:
                self.tool.LearnPart(*_part(part)._given(), **allowed)
            except ValueError as error:
                raise ValueError(f"part {number} cannot be learnt: {error}") from None
        if number == 0:
            raise ValueError("no parts to learn from")
        self._form()


class CurveLimit(_AlongX):
    """Limit along a curve. tool is the learner behind it."""

    _tool_class = _limes.CKurvenLernWerkzeug
    _min_share = 0.9

    @property
    def count(self) -> int:
        """Parts learnt."""
        return self.tool.NrGelernt()

    @property
    def spread(self) -> _limes.CSigCurveExt:
        return self.tool.StandardAbw()

    def _form(self) -> None:
        if self.count > 0:
            self.tool.UpdateLimit()

    def _repr_html_(self) -> str:
        return plots.limit_plot(self.mean, self.limit, f"{self.count} parts learnt")


class TrackLimit(_AlongX):
    """Limit along a curve, learnt from parts that each cover their own x range."""

    _tool_class = _limes.CTrackLernWerkzeug
    _min_share = 0.5

    @property
    def counts(self) -> npt.NDArray[np.uint32]:
        """Parts learnt, point by point of mean."""
        return self.tool.LearnCounts()

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

    def learn(self, value: float, *, unit: str | _limes.CMeasuringUnit | None = None) -> None:
        """Learns one more value; ValueError when it is not finite or has another unit."""
        self.tool.LearnParts(np.array([value], dtype=np.float64), _value_unit(unit))

    def judge(
        self,
        value: float,
        *,
        unit: str | _limes.CMeasuringUnit | None = None,
        resolution: float | None = None,
    ) -> _limes.SPartJudgement:
        """Judges a value. The unit is checked when it is given; resolution is the smallest
        difference that the measurement shows, that of a float32 or float16 when the value is one."""
        if resolution is None:
            kind = np.asarray(value).dtype
            short = kind.kind == "f" and kind.itemsize < 8
            resolution = abs(float(value)) * float(np.finfo(kind).eps) / 2 if short else 0.0
        return self.tool.JudgePart(value, _value_unit(unit), resolution)


def _value_unit(unit: str | _limes.CMeasuringUnit | None) -> _limes.CMeasuringUnit | None:
    return None if unit is None else _unit(unit)


def learn(
    curves: Iterable[_limes.CSigCurveExt | Part],
    rule: Rule = Rule(),
    *,
    min_share: float = 0.9,
    allow_short: bool = False,
    allow_constant: bool = False,
) -> CurveLimit:
    """The limit of good parts; the first one sets grid and units, on which the others are drawn.
    ValueError names the part that cannot be learnt, and why: see CurveLimit.learn."""
    limit = CurveLimit(_limes.CKurvenLernWerkzeug())
    limit.tool.Bildungsregel(rule.base, rule.factor, rule.width)
    limit.tool.Neustart(rule.time_scale)
    limit._learn_all(
        curves, min_share=min_share, allow_short=allow_short, allow_constant=allow_constant
    )
    return limit


def learn_tracks(
    tracks: Iterable[_limes.CSigCurveExt | Part],
    rule: Rule = Rule(),
    base_count: int = 5,
    *,
    allow_constant: bool = False,
) -> TrackLimit:
    """The limit of good parts with an x range each of their own, on the grid of the first one,
    which grows; points learnt from fewer than base_count parts are not judged. Width and time scale
    of the rule are not used. ValueError as of learn."""
    limit = TrackLimit(_limes.CTrackLernWerkzeug())
    limit.tool.Bildungsregel(rule.base, rule.factor)
    limit.tool.base_count = base_count
    limit._learn_all(tracks, allow_constant=allow_constant)
    return limit


def learn_values(
    values: npt.ArrayLike,
    rule: Rule = Rule(),
    *,
    unit: str | _limes.CMeasuringUnit | None = None,
) -> ValueLimit:
    """The limit of a value measured at good parts, in double; the rule's width is not used.
    ValueError when a value is not finite."""
    array = _unmasked(values)
    if array.size == 0:
        raise ValueError("no values to learn from")
    if array.dtype.kind not in "biuf":
        raise TypeError(f"values are numbers, not {array.dtype}")
    limit = ValueLimit(_limes.CLernenderGrenzwert(rule.time_scale))
    limit.tool.Bildungsregel(rule.base, rule.factor)
    limit.tool.LearnParts(array.astype(np.float64), _value_unit(unit))
    return limit
