"""What is learnt and judged: the rule, curves, and parts with what is known of them."""

from __future__ import annotations

import dataclasses
import math
import numbers
from collections.abc import Sequence
from typing import Any

import numpy as np
import numpy.typing as npt

from . import _limes, frames


@dataclasses.dataclass(frozen=True)
class Rule:
    """How limits are formed: base + mean + factor * spread above, and the same below. The factor
    follows from reject, the rate of good parts that may be rejected on all sides together (0.01,
    which is 1 %, unless given), or is given itself. sides says which are limited: "both", "upper"
    or "lower".

    width widens a curve's limit along x by a number of points: the index of that place on the x
    axis, at most 31, to the left and one less to the right; the last point stays. time_scale is the
    number of parts after which old ones are forgotten by and by.
    """

    base: float = 0.0
    factor: float | None = None
    width: float = 0.0
    time_scale: int = 10000
    reject: float | None = None
    sides: str = "both"

    def __post_init__(self) -> None:
        if self.reject is not None:
            if self.factor is not None:
                raise ValueError("factor follows from reject: give one of them")
            check_rate(self.reject)
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
        if self.sides not in ("both", "upper", "lower"):
            raise ValueError(f"sides must be both, upper or lower, not {self.sides!r}")


def check_rate(rate: object) -> None:
    if not isinstance(rate, numbers.Real) or not 0 < float(rate) < 1:
        raise ValueError(f"reject must lie between 0 and 1 (0.01 is 1 %), not be {rate!r}")


def curve(
    values: Any,
    x_min: float | None = None,
    x_max: float | None = None,
    *,
    name: str = "",
    x_unit: Any = "",
    y_unit: Any = "",
    copy: bool = True,
) -> _limes.CSigCurveExt:
    """A curve of values at equal steps from x_min (0 unless given) on; x_max, one step behind the
    last value, is x_min + len(values) unless given. The index or coordinate of a Series or
    DataArray becomes x; ValueError when its steps are not equal or x_min or x_max is given, too.
    Units are texts, such as "m/s²" and what pint writes, or those that the values bring along. With
    copy=False the curve uses the memory of a writable float32 array.
    """
    taken = frames.taken(values, x_unit, y_unit)
    if taken.x is not None:
        if x_min is not None or x_max is not None:
            raise ValueError("x is that of the index: give the plain values to set another one")
        x_min, step = frames.steps(taken.x)
        if step is None:
            raise ValueError("the index does not rise in equal steps")
        x_max = float(taken.x[-1]) + step
    start = 0.0 if x_min is None else x_min
    end = start + len(taken.values) if x_max is None else x_max
    make = _limes.CSigCurveExt if copy else _limes.CSigCurveExt.over
    made = make(taken.values, start, end)
    made.name = name or taken.name
    made.x_unit = taken.x_unit
    made.y_unit = taken.y_unit
    return made


def curves(
    table: Any,
    x_min: float | None = None,
    x_max: float | None = None,
    *,
    x_unit: Any = "",
    y_unit: Any = "",
) -> list[_limes.CSigCurveExt]:
    """A curve for each part of a table: for each column of a DataFrame, whose index is x, for each
    entry of the first dimension of a DataArray, whose second one is x, and for each row of a plain
    array (x as of limes.curve)."""
    if hasattr(table, "columns") and hasattr(table, "iloc"):
        rows = [table.iloc[:, i] for i in range(table.shape[1])]
    else:
        rows = list(table)
    return [curve(row, x_min, x_max, x_unit=x_unit, y_unit=y_unit) for row in rows]


#: What the learning and judging calls take as a measured part.
Measured = Any


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
            raise TypeError(
                f"a part is a curve, as limes.curve(values, x_min, x_max) makes it, a Part, what "
                f"limes.read gives, a Series or a DataArray, not {type(self.curve).__name__}"
            )
        if self.covered is not None and np.asarray(self.covered).dtype.kind != "b":
            raise TypeError("covered is a row of truth values")

    def _given(self) -> Given:
        covered = None if self.covered is None else np.array(self.covered, dtype=np.bool_)
        samples: Any = self.samples
        if samples is None:
            valid = slice(max(self.curve.IMin(), 0), max(self.curve.IMax() + 1, 0))
            samples = self.curve.values[valid]
            if covered is not None and covered.shape == (len(self.curve),):
                samples = samples[covered[valid]]
        return Given(self.curve, covered, _limes.HealthOf(samples))


@dataclasses.dataclass(frozen=True)
class Given:
    """A part as the learners take it, and its units where limes does not know them."""

    curve: _limes.CSigCurveExt
    covered: npt.NDArray[np.bool_] | None
    health: _limes.SignalHealth
    unknown_units: tuple[str, str] = ("", "")

    @property
    def arguments(self) -> tuple[Any, ...]:
        return self.curve, self.covered, self.health


def given(part: Measured, grid: _limes.CSigCurveExt | None) -> Given:
    """A part of whatever was measured; grid: what is learnt, which free x are drawn on."""
    if isinstance(part, _limes.Recording):
        if len(part) != 1:
            names: Sequence[str] = part.names
            raise ValueError(f"{part.name} has {len(part)} quantities, choose one of {names}")
        part = part[0]
    if isinstance(part, _limes.Quantity):
        drawn, covered = part.drawn(grid)
        return Given(drawn, covered, part.health, part.unknown_units)
    if hasattr(part, "coords") or hasattr(part, "iloc"):  # xarray, pandas
        part = curve(part)
    return (part if isinstance(part, Part) else Part(part))._given()
