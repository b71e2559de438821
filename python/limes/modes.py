"""Limits of what the common modes of good parts leave."""

from __future__ import annotations

import dataclasses

import numpy as np
import numpy.typing as npt

from . import _limes


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


class Modes:
    """Learns the main ways in which good parts differ all together, and judges what they leave of a
    part, point by point, and how much of them is in it. One rate of rejected good parts holds for
    both. A part is a row of numbers, NaN where it was not measured."""

    def __init__(self, modes: int = 3, *, reject: float = 0.01, base: float = 0.0):
        self.tool = _limes.CCommonModes(modes)
        self.calibration = _limes.Calibration()
        self.reject = reject
        self.base = base

    def learn(self, part: npt.ArrayLike) -> None:
        """Judges a part by those before it, once modes are formed, and learns it."""
        row = np.asarray(part, dtype=np.float64)
        scores = self.tool.explain(row, self.base).scores if self.tool.formed else None
        self.tool.learn(row)
        if scores is not None:
            self.calibration.add(scores)

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
        row = np.asarray(part, dtype=np.float64)
        told = self.tool.explain(row, self.base)
        above, below = limit.factors(self.tool.effective)
        upper = told.expected + self.base + above * told.spread
        lower = told.expected - self.base - below * told.spread
        most = self.tool.amount_limit(limit)
        rounding = 2.0**-22 * np.abs(row)
        beyond = np.flatnonzero((row > upper + rounding) | (row < lower - rounding))
        bad = bool(beyond.size) or bool((np.abs(told.amounts) > most).any())
        verdict = _limes.Verdict.FAIL if bad else _limes.Verdict.PASS
        return ModesVerdict(verdict, told.amounts, most, told.expected, upper, lower, beyond)
