"""Limits learnt from good parts: what a script or a notebook needs, over the C++ learners."""

from __future__ import annotations

import dataclasses
import math
import numbers
import os
import pathlib
import shutil
import struct
import threading
from collections.abc import Iterable
from typing import Any

import numpy as np
import numpy.typing as npt

from . import _limes, plots


@dataclasses.dataclass(frozen=True)
class Rule:
    """How a limit is formed: base + mean + factor * spread. The factor follows from reject, the rate
    of good parts that it may reject (0.01, which is 1 %, unless given), or is given itself.

    width widens a curve's limit along x by a number of points: the index of that place on the x
    axis, at most 31, to the left and one less to the right; the last point stays. time_scale is the
    number of parts after which old ones are forgotten by and by.
    """

    base: float = 0.0
    factor: float | None = None
    width: float = 0.0
    time_scale: int = 10000
    reject: float | None = None

    def __post_init__(self) -> None:
        if self.reject is not None:
            if self.factor is not None:
                raise ValueError("factor follows from reject: give one of them")
            _check_rate(self.reject)
        elif self.factor is None:
            object.__setattr__(self, "reject", 0.01)
        for name in ("base", "width") if self.factor is None else ("base", "factor", "width"):
            number = getattr(self, name)
            if not isinstance(number, numbers.Real) or not math.isfinite(number):
                raise ValueError(f"{name} must be a finite number, not {number!r}")
        for name in ("factor", "width"):
            if (getattr(self, name) or 0) < 0:
                raise ValueError(f"{name} must not be negative")
        if not isinstance(self.time_scale, numbers.Integral) or self.time_scale < 1:
            raise ValueError(f"time_scale must be a whole number from 1 on, not {self.time_scale!r}")


def _check_rate(rate: object) -> None:
    if not isinstance(rate, numbers.Real) or not 0 < float(rate) < 1:
        raise ValueError(f"reject must lie between 0 and 1 (0.01 is 1 %), not be {rate!r}")


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


def _behind_record(content: bytes) -> bytes:
    return content[20 + int.from_bytes(content[8:16], "little") :]  # head, payload, check


_MOST_FACTOR = 100  #: of spreads that is still a limit


class _Limit:
    """A learner with the scores of the parts it has learnt, each by those before it."""

    _tool_class: Any

    def __init__(self, tool, reject: float | None = None):
        self.tool = tool
        self._calibration = _limes.Calibration(one_side=True)
        self._reject = reject

    @property
    def calibration(self) -> _limes.Calibration:
        """The scores of good parts, which may be replaced: by scores of all parts by the others."""
        return self._calibration

    @calibration.setter
    def calibration(self, calibration: _limes.Calibration) -> None:
        if not calibration.one_side:
            raise ValueError("this limit has one side: Calibration(scores[:, 0], one_side=True)")
        self._calibration = calibration
        self._form()

    @property
    def reject(self) -> float | None:
        """Rate of good parts that may be rejected; None for a given factor. May be changed."""
        return self._reject

    @reject.setter
    def reject(self, rate: float) -> None:
        _check_rate(rate)
        self._reject = rate
        self._form()

    @property
    def promise(self) -> _limes.CalibratedLimit | None:
        """What the limit promises, by how many scores; None for a given factor."""
        return None if self._reject is None else self._calibration.for_rate(self._reject)

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes the state, which other hosts of the library read, too, and behind it scores and
        rate."""
        rate = struct.pack("<d", math.nan if self._reject is None else self._reject)
        _replace(pathlib.Path(path), self.tool.WriteState() + bytes(self._calibration) + rate)

    @classmethod
    def load(cls, path: str | os.PathLike[str]):
        """The limit of a file; ValueError says what is wrong with it."""
        content = pathlib.Path(path).read_bytes()
        limit = cls(cls._tool_class.ReadState(content))
        scores = _behind_record(content)
        if scores:  # not of a state that another host wrote
            limit._calibration = _limes.Calibration.from_bytes(scores)
            rate = _behind_record(scores)
            if len(rate) != 8:
                raise ValueError("the rate is cut short")
            (reject,) = struct.unpack("<d", rate)
            limit._reject = None if math.isnan(reject) else reject
        limit._form()
        return limit

    def __setstate__(self, state: dict[str, Any]) -> None:
        self.__dict__.update(state)
        self._form()

    def merge(self, other) -> None:
        """Joins the state with one that was learnt elsewhere, as the later one; ValueError when
        grid, unit, rule or time scale differ."""
        if self._reject != other._reject:
            raise ValueError("the limits have other rates")
        calibration = _limes.Calibration.from_bytes(bytes(self._calibration))
        calibration.merge(other._calibration)
        if self._reject is not None:  # their factors differ, as they follow from the scores
            self._set_factor(0.0)
            other._set_factor(0.0)
        try:
            self.tool.Merge(other.tool)
            self._calibration = calibration
        finally:
            self._form()
            other._form()

    def _learnt(self, scores: tuple[float, float] | None) -> None:
        if scores is not None:
            self._calibration.add(scores[0])

    def _form(self) -> None:
        """Forms the limit anew, with the factor that follows from the scores."""
        promise = self.promise
        if promise is not None and promise.basis != _limes.CalibrationBasis.NONE:
            self._set_score(promise)

    def _set_score(self, promise: _limes.CalibratedLimit) -> None:
        self._set_factor(promise.factors(self.tool.EffectiveParts())[0])

    def _set_factor(self, factor: float) -> None:
        self.tool.Bildungsregel(self.tool.Sockel(), factor)

    def _check_promise(self) -> None:
        promise = self.promise
        if promise is not None and promise.basis == _limes.CalibrationBasis.NONE:
            raise ValueError(
                f"a limit for a rate needs 4 scores and has {promise.scores}: learn 14 parts at "
                "least, or give Rule(factor=3), which judges without a promise"
            )
        if promise is not None and not promise.factors(self._effective())[0] <= _MOST_FACTOR:
            raise ValueError(
                f"the limit would lie more than {_MOST_FACTOR} spreads from the mean, and all would "
                "pass: one of the parts does not belong (limes.scores tells which), or give "
                "Rule(factor=3)"
            )

    def _effective(self) -> float:
        return self.tool.EffectiveParts()


class _AlongX(_Limit):
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
        self._learnt(
            self.tool.LearnPart(*_part(part)._given(), min_share, allow_short, allow_constant)
        )
        self._form()

    def judge(
        self, part: _limes.CSigCurveExt | Part, *, min_share: float | None = None
    ) -> _limes.SPartJudgement:
        """Judges a part, drawn on the learnt grid. It passes only when at least min_share of the
        grid was measured (curves 0.9, tracks 0.5); what cannot be judged says why in reason."""
        self._check_promise()
        share = self._min_share if min_share is None else min_share
        return self.tool.JudgePart(*_part(part)._given(), share)

    def _learn_all(self, parts: Iterable[_limes.CSigCurveExt | Part], **allowed: Any) -> None:
        number = 0
        for number, part in enumerate(parts, 1):
            try:
                self._learnt(self.tool.LearnPart(*_part(part)._given(), **allowed))
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

    def _set_factor(self, factor: float) -> None:
        self.tool.Bildungsregel(self.tool.Sockel(), factor, self.tool.Width())

    def _form(self) -> None:
        super()._form()
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

    def _effective(self) -> float:
        return float(max(self.counts))

    def _set_score(self, promise: _limes.CalibratedLimit) -> None:
        self.tool.LimitScore(promise.above)

    def _form(self) -> None:
        super()._form()
        if self.tool.HatGelernt():
            self.tool.GrenzeBilden()

    def _repr_html_(self) -> str:
        return plots.limit_plot(self.mean, self.limit, "parts with ranges of their own")


class ValueLimit(_Limit):
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
        self._learn_all(np.array([value], dtype=np.float64), unit)

    def _set_factor(self, factor: float) -> None:
        super()._set_factor(factor)
        self.tool.UpdateLimit()

    def _learn_all(self, values: Any, unit: str | _limes.CMeasuringUnit | None) -> None:
        for scores in self.tool.LearnParts(values, _value_unit(unit)):
            self._learnt(scores)
        self._form()

    def judge(
        self,
        value: float,
        *,
        unit: str | _limes.CMeasuringUnit | None = None,
        resolution: float | None = None,
    ) -> _limes.SPartJudgement:
        """Judges a value. The unit is checked when it is given; resolution is the smallest
        difference that the measurement shows, that of a float32 or float16 when the value is one."""
        self._check_promise()
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
    limit = CurveLimit(_limes.CKurvenLernWerkzeug(), rule.reject)
    limit.tool.Bildungsregel(rule.base, rule.factor or 0.0, rule.width)
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
    limit = TrackLimit(_limes.CTrackLernWerkzeug(), rule.reject)
    limit.tool.Bildungsregel(rule.base, rule.factor or 0.0)
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
    limit = ValueLimit(_limes.CLernenderGrenzwert(rule.time_scale), rule.reject)
    limit.tool.Bildungsregel(rule.base, rule.factor or 0.0)
    limit._learn_all(array.astype(np.float64), unit)
    return limit
