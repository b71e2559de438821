"""Limits as an outlier detector of scikit-learn."""

from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt

try:
    from sklearn.base import BaseEstimator, OutlierMixin  # type: ignore[import]
    from sklearn.utils.validation import check_array, check_is_fitted  # type: ignore[import]
except ImportError as error:
    raise ImportError("limes.LimitEstimator needs scikit-learn, which is not installed") from error

from . import _limes
from .parts import Rule, check_rate
from .rates import scores

_SAME = 1e-7  # of the size of a value: what rounding to float32 changes


class LimitEstimator(OutlierMixin, BaseEstimator):  # type: ignore[misc]
    """Outlier detection by limits mean + base + factor * spread of each feature, as limes forms
    them of curves: parts are rows, points of their curves the columns.

    A part is as far out as its worst point. The limit follows from reject, the rate of good parts
    that may be rejected (0.05, which 19 parts can promise), by scores of each part against all
    others; with a factor it is as many spreads from the mean. Features that never
    varied have no spread: any change beyond base is an outlier there. sides is "both", "upper" or
    "lower".

    After fit: mean_, spread_, n_parts_, limit_ (what is promised, see CalibratedLimit), offset_.
    """

    def __init__(
        self,
        *,
        reject: float = 0.05,
        factor: float | None = None,
        base: float = 0.0,
        sides: str = "both",
    ) -> None:
        self.reject = reject
        self.factor = factor
        self.base = base
        self.sides = sides

    def fit(self, X: npt.ArrayLike, y: Any = None) -> LimitEstimator:
        """Learns good parts. y is not used."""
        Rule(base=self.base, factor=self.factor, sides=self.sides)  # checks them
        check_rate(self.reject)
        parts = self._validate_data(X, dtype=np.float64, ensure_min_samples=2)
        self.n_parts_ = len(parts)
        self.mean_ = parts.mean(axis=0)
        self.spread_ = parts.std(axis=0)
        self.spread_[self.spread_ <= _SAME * np.abs(self.mean_)] = 0.0
        above, below = self._fit_limits(parts)
        # Both sides are compared with one number, each moved by half of their difference.
        self.shift_ = (above - below) / 2 if self.sides == "both" else 0.0
        self.offset_ = -((above + below) / 2 if self.sides == "both" else above)
        return self

    def _fit_limits(self, parts: npt.NDArray[np.float64]) -> tuple[float, float]:
        """The scores of a part that lies just on the limit."""
        if self.factor is not None:
            self.limit_ = None
            score = float(_limes.ScoreOf(self.factor, self.n_parts_))
            return score, score
        found = scores(parts - self.mean_, base=self.base)
        both = self.sides == "both"
        column = found if both else found[:, int(self.sides == "lower")]
        self.limit_ = _limes.Calibration(column, one_side=not both).for_rate(self.reject)
        if self.limit_.basis == _limes.CalibrationBasis.NONE:
            raise ValueError(
                f"n_samples = {self.n_parts_} is too few for a rate: fit 4 parts or more, or give a "
                "factor"
            )
        if self.limit_.is_too_wide(self.n_parts_):
            raise ValueError(
                "the limit would lie too many spreads from the mean, and all would pass: one of the "
                "parts does not belong, or give a factor"
            )
        return self.limit_.above, self.limit_.below

    def _excess(self, parts: npt.NDArray[np.float64]) -> npt.NDArray[np.float64]:
        """Of each part the largest distance from the mean beyond base in spreads: above, below."""
        away = parts - self.mean_
        size = np.maximum(np.abs(parts), np.abs(self.mean_))
        worst = []
        for beyond in (away - self.base, -away - self.base):
            with np.errstate(divide="ignore", invalid="ignore", over="ignore"):
                excess = beyond / self.spread_
            still = np.where(beyond > _SAME * size, np.inf, -np.inf)
            worst.append(np.where(self.spread_ > 0, excess, still).max(axis=1))
        return np.stack(worst, axis=1)

    def score_samples(self, X: npt.ArrayLike) -> npt.NDArray[np.float64]:
        """The higher, the more like the good parts: minus the score of the worst point."""
        check_is_fitted(self)
        parts = self._validate_data(X, dtype=np.float64, reset=False)
        found = _limes.ScoreOf(self._excess(parts), self.n_parts_)
        above, below = np.clip(found, -40.0, 1000.0).T
        if self.sides == "both":
            return -np.maximum(above - self.shift_, below + self.shift_)
        return -(above if self.sides == "upper" else below)

    def decision_function(self, X: npt.ArrayLike) -> npt.NDArray[np.float64]:
        """score_samples - offset_: below 0 beyond the limit."""
        return self.score_samples(X) - self.offset_

    def predict(self, X: npt.ArrayLike) -> npt.NDArray[np.int64]:
        """1 for parts within the limits, -1 for outliers."""
        return np.where(self.decision_function(X) < 0, -1, 1)
