"""Small plots for notebooks: self-contained SVG, all texts escaped."""

from __future__ import annotations

import html

import numpy as np
import numpy.typing as npt

from . import _limes

_WIDTH, _HEIGHT, _MARGIN = 560, 180, 44
_COLUMNS = _WIDTH - 2 * _MARGIN

_Signal = _limes.CSigCurveExt | _limes.CSigPairs
_Line = tuple[npt.NDArray[np.float64], npt.NDArray[np.float64], str, str]


def limit_plot(mean: _limes.CSigCurveExt, limit: _limes.CSigCurveExt | None, note: str) -> str:
    """The mean and, when there is one, the limit over x."""
    lines = [_line(mean, "#0072b2", "mean")]
    if limit is not None:
        lines.append(_line(limit, "#d55e00", "limit"))
    return _plot(mean, lines, f"{mean.name}: {note}" if mean.name else note)


def signal_plot(signal: _Signal) -> str:
    """A curve where it is valid, or pairs in their order."""
    return _plot(signal, [_line(signal, "#0072b2", "")], signal.name)


def _line(signal: _Signal, colour: str, label: str) -> _Line:
    if isinstance(signal, _limes.CSigPairs):
        x, y = signal.x, signal.y
    else:
        valid = slice(max(signal.IMin(), 0), signal.IMax() + 1 if signal.IsValid() else 0)
        x, y = signal.x[valid], signal.values[valid]
    finite = np.isfinite(x) & np.isfinite(y)
    return x[finite].astype(float), y[finite].astype(float), colour, label


def _span(parts: list[npt.NDArray[np.float64]]) -> tuple[float, float]:
    values = np.concatenate(parts)
    low, high = (values.min(), values.max()) if len(values) else (0.0, 1.0)
    return (low, high) if high > low else (low - 0.5, low + 0.5)


def _plot(signal: _Signal, lines: list[_Line], title: str) -> str:
    if isinstance(signal, _limes.CSigPairs):
        x0, x1 = _span([x for x, _, _, _ in lines])
    else:
        x0, x1 = signal.XMin(), signal.XMax()
    y0, y1 = _span([y for _, y, _, _ in lines])
    drawn = []
    for x, y, colour, label in lines:
        kept = _extremes(y)
        px = _MARGIN + (x[kept] - x0) / (x1 - x0) * _COLUMNS
        py = 20 + (y1 - y[kept]) / (y1 - y0) * (_HEIGHT - _MARGIN - 20)
        points = " ".join(f"{a:.1f},{b:.1f}" for a, b in zip(px, py))
        drawn.append(
            f'<polyline fill="none" stroke="{colour}" points="{points}">'
            f"<title>{html.escape(label)}</title></polyline>"
        )
    x_axis, y_axis = html.escape(str(signal.x_unit)), html.escape(str(signal.y_unit))
    bottom, right = _HEIGHT - _MARGIN, _WIDTH - _MARGIN
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {_WIDTH} {_HEIGHT}" '
        f'width="{_WIDTH}" font-size="11" font-family="sans-serif">'
        f'<text x="{_MARGIN}" y="14">{html.escape(title)}</text>'
        f'<path d="M{_MARGIN} 20V{bottom}H{right}" fill="none" stroke="#888"/>'
        f'<text x="2" y="26">{y1:.4g}</text><text x="2" y="{bottom}">{y0:.4g}</text>'
        f'<text x="2" y="{_HEIGHT / 2}">{y_axis}</text>'
        f'<text x="{_MARGIN}" y="{bottom + 16}">{x0:.4g}</text>'
        f'<text x="{right}" y="{bottom + 16}" text-anchor="end">{x1:.4g} {x_axis}</text>'
        + "".join(drawn)
        + "</svg>"
    )


def _extremes(y: npt.NDArray[np.float64]) -> npt.NDArray[np.intp]:
    """Places of the smallest and the largest value of each column, so that no peak is lost."""
    every = np.arange(len(y))
    if len(y) <= 2 * _COLUMNS:
        return every
    parts = np.array_split(every, _COLUMNS)
    low = [part[np.argmin(y[part])] for part in parts]
    high = [part[np.argmax(y[part])] for part in parts]
    return np.unique(np.concatenate([low, high]))
