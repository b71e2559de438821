"""Limits learnt from good parts: what a script or a notebook needs, over the C++ learners."""

from __future__ import annotations

import json
import math
import os
import pathlib
import shutil
import struct
import threading
import zlib
from collections.abc import Iterable
from typing import Any, Self

import numpy as np
import numpy.typing as npt

from . import _limes, frames, plots
from .parts import Given, Measured, Rule, check_rate, given


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


class _Limit:
    """Learners of all sides with the scores of the parts they have learnt, each by those before."""

    _sided_class: Any

    def __init__(self, sided: Any, reject: float | None = None) -> None:
        self._sided = sided
        self._calibration = _limes.Calibration(one_side=sided.sides != "both")
        self._reject = reject
        self._units: tuple[str, str] | None = None

    @property
    def sides(self) -> str:
        """Which sides are limited: both, upper or lower."""
        return self._sided.sides

    @property
    def _limited(self) -> tuple[str, ...]:
        return ("upper", "lower") if self.sides == "both" else (self.sides,)

    @property
    def tool(self) -> Any:
        """A copy of the C++ learner of the upper side, or of the lower one where only that is
        limited; of the values with their sign changed then."""
        return self._sided.tool(self._limited[0])

    @property
    def sureness(self) -> dict[str, _limes.Sureness]:
        """How sure the limit of each side is (SurenessOf in C++)."""
        return {side: self._sided.sureness(side) for side in self._limited}

    @property
    def calibration(self) -> _limes.Calibration:
        """The scores of good parts, which may be replaced: by scores of all parts by the others."""
        return self._calibration

    @calibration.setter
    def calibration(self, calibration: _limes.Calibration) -> None:
        if calibration.one_side == (self.sides == "both"):
            raise ValueError(
                "this limit has two sides: Calibration(scores)"
                if self.sides == "both"
                else "this limit has one side: Calibration(scores[:, 0], one_side=True), of a lower "
                "one scores[:, 1]"
            )
        self._calibration = calibration
        self._form()

    @property
    def reject(self) -> float | None:
        """Rate of good parts that may be rejected; None for a given factor. May be changed."""
        return self._reject

    @reject.setter
    def reject(self, rate: float) -> None:
        check_rate(rate)
        self._reject = rate
        self._form()

    @property
    def promise(self) -> _limes.CalibratedLimit | None:
        """What the limit promises, by how many scores; None for a given factor."""
        return None if self._reject is None else self._calibration.for_rate(self._reject)

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes the state, which other hosts of the library read, too, and behind it scores, the
        state of the other side, and rate."""
        first, *other = self._sided.states()
        more = {"reject": self._reject, "sides": self.sides, "units": self._units}
        tail = json.dumps(more).encode()
        checked = tail + zlib.crc32(tail).to_bytes(4, "little")
        content = [first, bytes(self._calibration), *other, checked]
        _replace(pathlib.Path(path), b"".join(content))

    @classmethod
    def load(cls, path: str | os.PathLike[str]) -> Self:
        """The limit of a file; ValueError says what is wrong with it."""
        content = pathlib.Path(path).read_bytes()
        states = [content]
        more: dict[str, Any] = {"sides": "upper"}  # of a state that another host wrote
        scores = _behind_record(content)
        if scores:
            calibration = _limes.Calibration.from_bytes(scores)
            tail = _behind_record(scores)
            if not calibration.one_side:
                states.append(tail)
                tail = _behind_record(tail)
            more |= _more(tail)
        limit = cls(cls._sided_class.from_states(more["sides"], states), more.get("reject"))
        limit._units = more.get("units")
        if scores:
            limit._calibration = calibration
        limit._form()
        return limit

    def __setstate__(self, state: dict[str, Any]) -> None:
        self.__dict__.update(state)
        self._form()

    def merge(self, other: Self) -> None:
        """Joins the state with one that was learnt elsewhere, as the later one; ValueError when
        grid, unit, rule or time scale differ."""
        if self._reject != other._reject:
            raise ValueError("the limits have other rates")
        if None not in (self._units, other._units) and self._units != other._units:
            raise ValueError("the limits have other units")
        calibration = _limes.Calibration.from_bytes(bytes(self._calibration))
        calibration.merge(other._calibration)
        if self._reject is not None:  # their factors differ, as they follow from the scores
            self._set_factors(0.0, 0.0)
            other._set_factors(0.0, 0.0)
        try:
            self._sided = self._sided.merged(other._sided)
            self._calibration = calibration
            self._units = self._units or other._units
        finally:
            self._form()
            other._form()

    def _learnt(self, scores: tuple[float, float] | None) -> None:
        if scores is not None:
            both = self.sides == "both"
            self._calibration.add(scores if both else scores[self.sides == "lower"])

    def _form(self) -> None:
        """Forms the limits anew, with the factors that follow from the scores."""
        promise = self.promise
        if promise is not None and promise.basis != _limes.CalibrationBasis.NONE:
            self._set_score(promise)
        self._sided.form()

    def _set_score(self, promise: _limes.CalibratedLimit) -> None:
        above, below = promise.factors(self._sided.effective_parts())
        self._set_factors(above, below if self.sides == "both" else above)

    def _set_factors(self, above: float, below: float) -> None:
        self._sided.set_rule(self._sided.base, above, below)

    def _check_promise(self) -> None:
        promise = self.promise
        if promise is None:
            return
        if promise.basis == _limes.CalibrationBasis.NONE:
            raise ValueError(
                f"a limit for a rate needs 4 scores and has {promise.scores}: learn 14 parts at "
                "least, or give Rule(factor=3), which judges without a promise"
            )
        if promise.is_too_wide(self._sided.effective_parts()):
            raise ValueError(
                "the limit would lie too many spreads from the mean, and all would pass: one of the "
                "parts does not belong (limes.scores tells which), or give Rule(factor=3)"
            )


def _more(tail: bytes) -> dict[str, Any]:
    """What a file has behind states and scores."""
    if len(tail) == 8:  # written by an older version
        (reject,) = struct.unpack("<d", tail)
        return {"reject": None if math.isnan(reject) else reject}
    text = tail[:-4]
    if len(tail) < 5 or zlib.crc32(text).to_bytes(4, "little") != tail[-4:]:
        raise ValueError("the rate is cut short or damaged")
    more: dict[str, Any] = json.loads(text)
    more["units"] = tuple(more["units"]) if more["units"] else None
    return more


class _AlongX(_Limit):
    """What limits of curves and of tracks have in common."""

    _min_share: float  # for a pass, unless another one is given

    @property
    def mean(self) -> _limes.CSigCurveExt:
        """The mean of the good parts (Mittelwert in C++)."""
        return self._sided.mean(self._limited[0])

    @property
    def spread(self) -> _limes.CSigCurveExt:
        """Their spread (StandardAbw, StdAbwKurve)."""
        return self._sided.spread(self._limited[0])

    @property
    def limit(self) -> _limes.CSigCurveExt:
        """The upper limit, or the lower one where only that is set (Grenzkurve)."""
        return self._sided.limit(self._limited[0])

    @property
    def upper(self) -> _limes.CSigCurveExt | None:
        """The upper limit; None where that side is not limited."""
        return self._sided.limit("upper") if "upper" in self._limited else None

    @property
    def lower(self) -> _limes.CSigCurveExt | None:
        """The lower limit; None where that side is not limited."""
        return self._sided.limit("lower") if "lower" in self._limited else None

    def learn(
        self,
        part: Measured,
        *,
        min_share: float = 0.9,
        allow_short: bool = False,
        allow_constant: bool = False,
    ) -> None:
        """Learns one more good part, drawn on the grid of the first one (LearnPart in C++). Taken
        are curves, Part, quantities and recordings of limes.read, Series and DataArrays. ValueError
        says why it cannot be learnt: other units or steps, values that are not finite, no signal,
        clipped, or of a curve less than min_share in common with the first one unless allow_short.
        allow_constant learns a curve that has one value only."""
        self._learn_one(self._given(part), min_share, allow_short, allow_constant)
        self._form()

    def judge(self, part: Measured, *, min_share: float | None = None) -> _limes.Judgement:
        """Judges a part, drawn on the learnt grid (JudgePart in C++). It passes only when at least
        min_share of the grid was measured (curves 0.9, tracks 0.5); what cannot be judged says why
        in reason. regions are the places beyond a limit, sides the judgement by each."""
        self._check_promise()
        share = self._min_share if min_share is None else min_share
        taken = self._given(part)
        if self._units is not None and taken.unknown_units != self._units:
            return _limes.Judgement.refused(_limes.PartStatus.UNIT)
        return self._sided.judge(*taken.arguments, share)

    def _given(self, part: Measured) -> Given:
        return given(part, self.mean)

    def _learn_one(self, taken: Given, *allowed: Any) -> None:
        if self._units is not None and taken.unknown_units != self._units:
            raise ValueError(_limes.PartStatus.UNIT.text)
        self._learnt(self._sided.learn(*taken.arguments, *allowed))
        self._units = taken.unknown_units

    def _learn_all(self, parts: Iterable[Measured], *allowed: Any) -> None:
        number = 0
        for number, part in enumerate(parts, 1):
            try:
                self._learn_one(self._given(part), *allowed)
            except ValueError as error:
                raise ValueError(f"part {number} cannot be learnt: {error}") from None
        if number == 0:
            raise ValueError("no parts to learn from")
        self._form()

    def to_frame(self) -> Any:
        """A DataFrame over x: mean, spread, limits and the parts learnt at each point."""
        mean = self.mean
        columns = {"mean": mean.values.copy(), "spread": self.spread.values.copy()}
        for side in self._limited:
            columns[side] = self._sided.limit(side).values.copy()
        columns["count"] = self._counts()
        return frames.table(columns, frames.index(mean))

    def _counts(self) -> npt.NDArray[Any]:
        raise NotImplementedError

    def plot(self, part: Measured | None = None, ax: Any = None) -> Any:
        """Draws mean and limits with matplotlib, and a part with the regions where it lies beyond
        them; the axes."""
        from . import plotting

        judged = None if part is None else self.judge(part)
        taken = None if part is None else self._given(part)
        return plotting.limit_plot(self, taken, judged, ax)

    def _repr_html_(self) -> str:
        limits = [self._sided.limit(side) for side in self._limited]
        return plots.limit_plot(self.mean, limits, self._note())

    def _note(self) -> str:
        raise NotImplementedError


class CurveLimit(_AlongX):
    """Limits along a curve (CKurvenLernWerkzeug in C++)."""

    _sided_class = _limes.SidedCurves
    _min_share = 0.9

    @property
    def count(self) -> int:
        """Parts learnt."""
        return self._sided.count

    def _set_factors(self, above: float, below: float) -> None:
        self._sided.set_rule(self._sided.base, above, below, self._sided.width)

    def _counts(self) -> npt.NDArray[Any]:
        return np.full(len(self.mean), self.count)

    def _note(self) -> str:
        return f"{self.count} parts learnt"


class TrackLimit(_AlongX):
    """Limits along a curve, learnt from parts that each cover their own x range
    (CTrackLernWerkzeug in C++)."""

    _sided_class = _limes.SidedTracks
    _min_share = 0.5

    @property
    def counts(self) -> npt.NDArray[np.uint32]:
        """Parts learnt, point by point of mean (LearnCounts)."""
        return self._sided.counts()

    @property
    def count(self) -> int:
        """Parts learnt at the point that was learnt most often."""
        return int(max(self.counts))

    def _set_score(self, promise: _limes.CalibratedLimit) -> None:
        both = self.sides == "both"
        self._sided.limit_scores(promise.above, promise.below if both else promise.above)

    def _counts(self) -> npt.NDArray[Any]:
        return self.counts[: len(self.mean)]

    def _note(self) -> str:
        return "parts with ranges of their own"


class ValueLimit(_Limit):
    """Limits of a single value (CLernenderGrenzwert in C++)."""

    _sided_class = _limes.SidedValues

    @property
    def count(self) -> int:
        """Values learnt."""
        return self._sided.count

    @property
    def mean(self) -> float:
        """The mean of the good values."""
        return self._sided.mean(self._limited[0])

    @property
    def spread(self) -> float:
        """Their spread."""
        return self._sided.spread(self._limited[0])

    @property
    def limit(self) -> float:
        """The upper limit, or the lower one where only that is set (Grenzwert)."""
        return self._sided.limit(self._limited[0])

    @property
    def upper(self) -> float | None:
        """The upper limit; None where that side is not limited."""
        return self._sided.limit("upper") if "upper" in self._limited else None

    @property
    def lower(self) -> float | None:
        """The lower limit; None where that side is not limited."""
        return self._sided.limit("lower") if "lower" in self._limited else None

    def learn(self, value: float, *, unit: Any = None) -> None:
        """Learns one more value; ValueError when it is not finite or has another unit."""
        self._learn_all(np.array([value], dtype=np.float64), unit)

    def _learn_all(self, values: Any, unit: Any) -> None:
        for scores in self._sided.learn(values, _value_unit(unit)):
            self._learnt(scores)
        self._form()

    def judge(
        self, value: float, *, unit: Any = None, resolution: float | None = None
    ) -> _limes.Judgement:
        """Judges a value. Its unit must be that of the values learnt; resolution is the smallest
        difference that the measurement shows, that of a float32 or float16 when the value is one."""
        self._check_promise()
        if resolution is None:
            kind = np.asarray(value).dtype
            short = kind.kind == "f" and kind.itemsize < 8
            resolution = abs(float(value)) * float(np.finfo(kind).eps) / 2 if short else 0.0
        return self._sided.judge(value, _value_unit(unit), resolution)


def _value_unit(unit: Any) -> _limes.CMeasuringUnit | None:
    return None if unit is None else frames.unit(unit)


def learn(
    parts: Iterable[Measured],
    rule: Rule = Rule(),
    *,
    min_share: float = 0.9,
    allow_short: bool = False,
    allow_constant: bool = False,
) -> CurveLimit:
    """The limits of good parts; the first one sets grid and units, on which the others are drawn.
    ValueError names the part that cannot be learnt, and why: see CurveLimit.learn, also for what
    counts as a part."""
    limit = CurveLimit(_limes.SidedCurves(rule.sides), rule.reject)
    factor = rule.factor or 0.0
    limit._sided.set_rule(rule.base, factor, factor, rule.width)
    limit._sided.restart(rule.time_scale)
    limit._learn_all(parts, min_share, allow_short, allow_constant)
    return limit


def learn_tracks(
    tracks: Iterable[Measured],
    rule: Rule = Rule(),
    base_count: int = 5,
    *,
    allow_constant: bool = False,
) -> TrackLimit:
    """The limits of good parts with an x range each of their own, on the grid of the first one,
    which grows; points learnt from fewer than base_count parts are not judged, nor, where the factor
    follows from a rate, those from fewer than 10. Width and time scale of the rule are not used.
    ValueError as of learn."""
    limit = TrackLimit(_limes.SidedTracks(rule.sides), rule.reject)
    factor = rule.factor or 0.0
    limit._sided.set_rule(rule.base, factor, factor)
    limit._sided.base_count = base_count if rule.reject is None else max(base_count, 10)
    limit._learn_all(tracks, 0.9, False, allow_constant)
    return limit


def learn_values(values: Any, rule: Rule = Rule(), *, unit: Any = None) -> ValueLimit:
    """The limits of a value measured at good parts, in double; the rule's width is not used.
    Quantities of limes.read are values, too. ValueError when a value is not finite."""
    if not hasattr(values, "dtype") and not np.ma.is_masked(values):
        values = [float(v) if isinstance(v, _limes.Quantity) else v for v in values]
    if np.ma.is_masked(values):
        raise ValueError("what is masked has no values: leave it out")
    array = np.asarray(values)
    if array.size == 0:
        raise ValueError("no values to learn from")
    if array.dtype.kind not in "biuf":
        raise TypeError(f"values are numbers, not {array.dtype}")
    limit = ValueLimit(_limes.SidedValues(rule.sides), rule.reject)
    limit._sided.restart(rule.time_scale)
    factor = rule.factor or 0.0
    limit._sided.set_rule(rule.base, factor, factor)
    limit._learn_all(array.astype(np.float64), unit)
    return limit
