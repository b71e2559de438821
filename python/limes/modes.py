"""Limits of what the common modes of good parts leave."""

from __future__ import annotations

import dataclasses
from collections.abc import Sequence
from typing import Any

import numpy as np
import numpy.typing as npt

from . import _limes

_FOLDS = 32


def _row(part: Any) -> npt.NDArray[np.float64]:
    """The values of a curve, or of anything that is a row of numbers."""
    return np.asarray(getattr(part, "values", part), dtype=np.float64)


@dataclasses.dataclass(frozen=True)
class ModesVerdict:
    """A part against the limits of its modes and residuals; upper and lower are its own limits."""

    verdict: _limes.Verdict
    amounts: npt.NDArray[np.float64]  #: of the modes, in spreads
    amount_limit: float
    expected: npt.NDArray[np.float64]
    upper: npt.NDArray[np.float64]
    lower: npt.NDArray[np.float64]
    beyond: npt.NDArray[np.int64]  #: points beyond a limit
    whole: float  #: how far all points lie out together, 0 without
    whole_limit: float


class Modes:
    """Learns the main ways in which good parts differ all together, and judges what they leave of a
    part, point by point, how much of them is in it, and with whole (then 0 modes will do) how far
    all points lie out together. One rate of rejected good parts holds for all. A part is a curve or
    a row of numbers, NaN where it was not measured."""

    def __init__(
        self, modes: int = 3, *, reject: float = 0.01, base: float = 0.0, whole: bool = False
    ):
        self._modes = modes
        self._whole = whole
        self.tool = self._make()
        self.calibration = _limes.Calibration(whole=whole)
        self.reject = reject
        self.base = base

    def _make(self) -> Any:
        return _limes.CCommonModes(self._modes, whole=self._whole)

    def learn(self, part: npt.ArrayLike) -> None:
        """Judges a part by those before it, once modes are formed, and learns it."""
        row = _row(part)
        scores = self._scores(self.tool, row) if self.tool.formed else None
        self.tool.learn(row)
        if scores is not None:
            self.calibration.add(scores)

    def calibrate(self, parts: Sequence[npt.ArrayLike]) -> None:
        """Replaces the scores by those of good parts, each by the modes of the others: a 32nd of
        them is left out at a time. ValueError when modes cannot be formed of the others."""
        rows = [_row(part) for part in parts]
        folds = min(len(rows), _FOLDS)
        calibration = _limes.Calibration(whole=self._whole)
        for fold in range(folds):
            others = self._make()
            for number, row in enumerate(rows):
                if number % folds != fold:
                    others.learn(row)
            others.form()
            for row in rows[fold::folds]:
                calibration.add(self._scores(others, row))
        self.calibration = calibration

    def _scores(self, tool: Any, row: npt.NDArray[np.float64]) -> tuple[float, ...]:
        scores = tool.explain(row, self.base).scores
        return scores + (-40.0,) if self._whole and len(scores) == 2 else scores  # nothing varies

    @property
    def promise(self) -> _limes.CalibratedLimit:
        """What is promised of the limits."""
        return self.calibration.for_rate(self.reject)

    def judge(self, part: npt.ArrayLike) -> ModesVerdict:
        """ValueError while there is no limit for the rate."""
        limit = self.promise
        if limit.basis == _limes.CalibrationBasis.NONE:
            raise ValueError(
                f"no limit yet: {len(self.tool)} parts are learnt, modes need "
                f"{self.tool.parts_needed} and a few more"
            )
        row = _row(part)
        told = self.tool.explain(row, self.base)
        above, below = limit.factors(self.tool.effective)
        upper = told.expected + self.base + above * told.spread
        lower = told.expected - self.base - below * told.spread
        most = self.tool.amount_limit(limit)
        rounding = 2.0**-22 * np.abs(row)
        beyond = np.flatnonzero((row > upper + rounding) | (row < lower - rounding))
        far = bool((np.abs(told.amounts) > most).any()) or told.whole > limit.whole
        verdict = _limes.Verdict.FAIL if beyond.size or far else _limes.Verdict.PASS
        return ModesVerdict(
            verdict, told.amounts, most, told.expected, upper, lower, beyond, told.whole, limit.whole
        )
