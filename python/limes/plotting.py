"""Limits and parts drawn with matplotlib."""

from __future__ import annotations

from typing import Any

import numpy as np

from . import _limes
from .parts import Given


def _label(text: str, unit: Any) -> str:
    return f"{text} [{unit}]" if unit else text


def _draw(ax: Any, curve: _limes.CSigCurveExt, shown: Any = None, **style: Any) -> None:
    valid = slice(max(curve.IMin(), 0), curve.IMax() + 1 if curve.IsValid() else 0)
    y = curve.values[valid].astype(float)
    if shown is not None:
        y[~shown[valid]] = np.nan
    ax.plot(curve.x[valid], y, **style)


def limit_plot(limit: Any, part: Given | None, judged: _limes.Judgement | None, ax: Any) -> Any:
    if ax is None:
        import matplotlib.pyplot  # type: ignore[import]

        ax = matplotlib.pyplot.subplots()[1]
    mean = limit.mean
    _draw(ax, mean, color="#0072B2", linewidth=1, label="mean")
    for i, curve in enumerate(c for c in (limit.upper, limit.lower) if c is not None):
        label = "limit" if i == 0 else None
        _draw(ax, curve, color="#D55E00", linestyle="--", linewidth=1, label=label)
    if part is not None and judged is not None:
        _draw(ax, part.curve, part.covered, color="#000000", linewidth=1, label="part")
        half = float(mean.XDelta()) / 2
        for region in judged.regions:
            ax.axvspan(region.x0 - half, region.x1 + half, color="#CC79A7", alpha=0.4, linewidth=0)
        if judged.regions:
            worst = max(judged.regions, key=lambda r: r.excess / r.spread if r.spread else np.inf)
            ax.plot([worst.x], [worst.value], marker="o", color="#CC79A7")
        ax.set_title(f"{mean.name.removesuffix('-avg')}: {judged.verdict.name}".removeprefix(": "))
    ax.set_xlabel(_label("x", mean.x_unit))
    ax.set_ylabel(_label(mean.name.removesuffix("-avg"), mean.y_unit))
    ax.legend(loc="best", fontsize="small")
    return ax
