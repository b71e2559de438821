"""Limits of what the common modes of good parts leave."""

from __future__ import annotations

import dataclasses
import math
from collections.abc import Sequence
from typing import Any

import numpy as np
import numpy.typing as npt

from . import _limes
from .parts import Given, Measured, check_rate, given

_FOLDS = 32
_SHARE = 0.9  # of the points, measured of a part, or of a part within what is learnt
_STEP_TOLERANCE = 1e-4  # relative; other steps are another measurement


@dataclasses.dataclass(frozen=True)
class ModesVerdict:
    """A part against the limits of its modes and residuals; upper and lower are its own limits."""

    verdict: _limes.Verdict
    reason: _limes.PartStatus  #: why it is not judged, else OK
    amounts: npt.NDArray[np.float64]  #: of the modes, in spreads
    amount_limit: float
    expected: npt.NDArray[np.float64]
    residual: npt.NDArray[np.float64]  #: what the modes leave, NaN where nothing was measured
    upper: npt.NDArray[np.float64]
    lower: npt.NDArray[np.float64]
    beyond: npt.NDArray[np.int64]  #: points beyond a limit
    whole: float  #: how far all points lie out together, 0 without
    whole_limit: float
    judged_share: float  #: of the points that were measured
    x: npt.NDArray[np.float64] | None = None  #: of the points, where parts are curves


class Modes:
    """Learns the main ways in which good parts differ all together, and judges what they leave of a
    part, point by point, how much of them is in it, and with whole (then 0 modes will do) how far
    all points lie out together. One rate of rejected good parts holds for all. A part is a row of
    numbers, NaN or masked where it was not measured, or what limes.learn takes as a curve, which is
    placed on the grid of the first one."""

    def __init__(
        self, modes: int = 3, *, reject: float = 0.01, base: float = 0.0, whole: bool = False
    ):
        if modes < 0:
            raise ValueError(f"modes must not be negative, not be {modes}")
        self._modes = modes
        self._whole = whole
        self._first: Given | None = None
        self._points = 0
        self.tool = self._make()
        self.calibration = _limes.Calibration(whole=whole)
        self.reject = reject
        self.base = base

    @property
    def reject(self) -> float:
        """Rate of good parts that may be rejected. May be changed."""
        return self._reject

    @reject.setter
    def reject(self, rate: float) -> None:
        check_rate(rate)
        self._reject = rate

    @property
    def base(self) -> float:
        """What the limits of all points are wider by, on both sides. May be changed, best before
        parts are scored."""
        return self._base

    @base.setter
    def base(self, base: float) -> None:
        if not math.isfinite(base):
            raise ValueError(f"base must be a finite number, not {base!r}")
        self._base = base

    def _make(self) -> Any:
        return _limes.CCommonModes(self._modes, whole=self._whole)

    def learn(self, part: npt.ArrayLike | Measured) -> None:
        """Judges a part by those before it, once modes are formed, and learns it. ValueError, with
        nothing changed, when it does not fit or less than 0.9 of its points were measured."""
        row, taken = self._row(part)
        _require_measured(row)
        scores = self._scores(self.tool, row) if self.tool.formed else None
        self.tool.learn(row)
        self._first = self._first or taken
        self._points = len(row)
        if scores is not None:
            self.calibration.add(scores)

    def calibrate(self, parts: Sequence[npt.ArrayLike | Measured]) -> None:
        """Replaces the scores by those of good parts, each by the modes of the others: a 32nd of
        them is left out at a time. ValueError when modes cannot be formed of the others, for parts
        that learn would refuse, and for one that is given twice, whose scores are of itself."""
        rows = [self._row(part)[0] for part in parts]
        if not rows:
            raise ValueError("no parts to calibrate with")
        places: dict[bytes, int] = {}
        for number, row in enumerate(rows, 1):
            _require_measured(row)
            if (first := places.setdefault(row.tobytes(), number)) != number:
                raise ValueError(f"part {number} is part {first} once more")
        folds = min(len(rows), _FOLDS)
        calibration = _limes.Calibration(whole=self._whole)
        for fold in range(folds):
            others = self._make()
            for number, row in enumerate(rows):
                if number % folds != fold:
                    others.learn(row)
            others.form()
            if not others.formed:
                raise ValueError(
                    f"modes need {others.parts_needed} parts beside those left out, {len(others)} "
                    "are there"
                )
            for row in rows[fold::folds]:
                calibration.add(self._scores(others, row))
        self.calibration = calibration

    def _scores(self, tool: Any, row: npt.NDArray[np.float64]) -> tuple[float, ...]:
        scores = tool.explain(row, self.base).scores
        return scores + (-40.0,) if self._whole and len(scores) == 2 else scores  # nothing varies

    def _row(self, part: Any) -> tuple[npt.NDArray[np.float64], Given | None]:
        """The values of a part on the learnt grid, and the part where it is a curve."""
        if isinstance(part, np.ndarray | list | tuple):
            if self._first is not None:
                raise ValueError("curves were learnt: give a curve, not a row of numbers")
            return self._numbers(part), None
        first = self._first
        taken = given(part, None if first is None else first.curve)
        health = _limes.SignalHealth
        if taken.health not in (health.HEALTHY, health.UNKNOWN):
            clipped = taken.health == health.CLIPPED
            status = _limes.PartStatus.CLIPPED if clipped else _limes.PartStatus.NO_SIGNAL
            raise ValueError(status.text)
        values = taken.curve.values.astype(np.float64)
        at = np.arange(len(values))
        has = (at >= taken.curve.IMin()) & (at <= taken.curve.IMax())
        if taken.covered is not None:
            has &= taken.covered
        if not np.isfinite(values[has]).all():
            raise ValueError(_limes.PartStatus.NOT_FINITE.text)
        values[~has] = np.nan
        if first is None:
            if len(self.tool):
                raise ValueError("rows of numbers were learnt: give one, not a curve")
            return values, taken
        if _units(taken) != _units(first):
            raise ValueError(_limes.PartStatus.UNIT.text)
        step, start = _grid(first)
        other_step, other_start = _grid(taken)
        if abs(other_step - step) > _STEP_TOLERANCE * step:
            raise ValueError(f"the part has steps of {other_step:g}, learnt are {step:g}")
        offset = round((other_start - start) / step)
        row = np.full(len(first.curve), np.nan)
        at += offset
        inside = (at >= 0) & (at < len(row))
        if not (has & inside).any():
            raise ValueError(_limes.PartStatus.NO_COMMON_POINT.text)
        if (has & inside).sum() < _SHARE * has.sum():
            raise ValueError(_limes.PartStatus.LONGER_THAN_TEMPLATE.text)
        row[at[inside]] = values[inside]
        return row, taken

    def _numbers(self, part: Any) -> npt.NDArray[np.float64]:
        masked = np.ma.getmaskarray(part) if np.ma.isMaskedArray(part) else None
        array = np.asarray(part)
        if array.dtype.kind not in "biuf":
            raise TypeError(f"a part is a row of numbers, not of {array.dtype}")
        if array.ndim != 1 or array.size != (self._points or array.size):
            learnt = f" of {self._points} points" if self._points else ""
            raise ValueError(f"a part is a row of numbers{learnt}, not of shape {array.shape}")
        row = array.astype(np.float64)
        if masked is not None:
            row[masked] = np.nan
        return row

    @property
    def promise(self) -> _limes.CalibratedLimit:
        """What is promised of the limits."""
        return self.calibration.for_rate(self.reject)

    def judge(
        self, part: npt.ArrayLike | Measured, *, min_share: float = _SHARE
    ) -> ModesVerdict:
        """Judges a part, which passes only when at least min_share of its points were measured.
        ValueError while there is no limit for the rate, and for what cannot be judged."""
        limit = self.promise
        if limit.basis == _limes.CalibrationBasis.NONE:
            raise ValueError(
                f"no limit yet: {len(self.tool)} parts are learnt, modes need "
                f"{self.tool.parts_needed} and a few more"
            )
        if limit.is_too_wide(self.tool.effective):
            raise ValueError(
                "the limit would lie too many spreads from the mean, and all would pass: one of the "
                "parts does not belong"
            )
        row, taken = self._row(part)
        told = self.tool.explain(row, self.base)
        above, below = limit.factors(self.tool.effective)
        upper = told.expected + self.base + above * told.spread
        lower = told.expected - self.base - below * told.spread
        most = self.tool.amount_limit(limit)
        rounding = 2.0**-22 * np.abs(row)
        beyond = np.flatnonzero((row > upper + rounding) | (row < lower - rounding))
        far = bool((np.abs(told.amounts) > most).any()) or told.whole > limit.whole
        share = _measured(row)
        verdict = _limes.Verdict.PASS if share >= min_share else _limes.Verdict.NOT_JUDGED
        if beyond.size or far:
            verdict = _limes.Verdict.FAIL
        status, unjudged = _limes.PartStatus, verdict == _limes.Verdict.NOT_JUDGED
        x = None
        if taken is not None and self._first is not None:
            step, start = _grid(self._first)
            x = start + step * np.arange(len(row))
        return ModesVerdict(
            verdict=verdict,
            reason=status.COVERS_TOO_LITTLE if unjudged else status.OK,
            amounts=told.amounts,
            amount_limit=most,
            expected=told.expected,
            residual=row - told.expected,
            upper=upper,
            lower=lower,
            beyond=beyond,
            whole=told.whole,
            whole_limit=limit.whole,
            judged_share=share,
            x=x,
        )


def _require_measured(row: npt.NDArray[np.float64]) -> None:
    if _measured(row) < _SHARE:
        raise ValueError(_limes.PartStatus.COVERS_TOO_LITTLE.text)


def _measured(row: npt.NDArray[np.float64]) -> float:
    return float(np.isfinite(row).mean()) if row.size else 0.0


def _grid(taken: Given) -> tuple[float, float]:
    """Step and first x of a curve."""
    c = taken.curve
    return (c.x_max() - c.x_min()) / len(c), c.x_min()


def _units(taken: Given) -> tuple[Any, ...]:
    return taken.curve.x_unit, taken.curve.y_unit, taken.unknown_units
