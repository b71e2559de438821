"""Limits by the rate of good parts they reject: the scores of parts."""

from __future__ import annotations

import numpy as np
import numpy.typing as npt

from . import _limes


def scores(
    parts: npt.ArrayLike,
    *,
    base: npt.ArrayLike = 0.0,
    groups: npt.ArrayLike | None = None,
    one_pass: bool = False,
) -> npt.NDArray[np.float64]:
    """How far each part, a row of values, lies beyond what the others are like, as Normal scores
    of its worst points: pairs, above and below, for Calibration. NaN stands where a part has no
    value; values count as float32.

    groups are labels: of each part its whole group is left out, as of pieces of one recording.
    one_pass scores each part (group) by those before it; the parts before the eleventh have no
    scores then and are left out of the result. base is that of the limit, for all points or each.
    """
    if np.ma.is_masked(parts):
        raise ValueError("what is masked has no values: fill it with NaN")
    array = np.asarray(parts)
    if array.ndim != 2 or array.dtype.kind not in "biuf":
        raise ValueError("parts are the rows of an array of numbers, points the columns")
    with np.errstate(over="ignore"):
        values = np.ascontiguousarray(array, dtype=np.float32)
    if np.isinf(values).any():
        raise ValueError("parts have values that are not finite")
    bases = np.asarray(base, dtype=np.float32).reshape(-1)
    if not np.isfinite(bases).all() or bases.size not in (1, array.shape[1]):
        raise ValueError("base is one finite number, or one for each point")
    labels = np.arange(len(array)) if groups is None else np.asarray(groups)
    if labels.shape != (len(array),):
        raise ValueError("groups has one label for each part")
    numbers = np.unique(labels, return_inverse=True)[1]
    scored = _limes.ScoresOf(values, bases, numbers, one_pass)
    return scored[~np.isnan(scored[:, 0])]
