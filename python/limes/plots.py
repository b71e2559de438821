"""Small plots for notebooks: self-contained SVG, all texts escaped."""

from __future__ import annotations

import html
import math

import numpy as np
import numpy.typing as npt

from . import _limes

_WIDTH, _HEIGHT = 560, 230
_LEFT, _RIGHT, _TOP, _BOTTOM = 56, 548, 20, 190
_COLUMNS = _RIGHT - _LEFT

_Signal = _limes.CSigCurveExt | _limes.CSigPairs
_Line = tuple[npt.NDArray[np.float64], npt.NDArray[np.float64], str, str]


def limit_plot(mean: _limes.CSigCurveExt, limits: list[_limes.CSigCurveExt], note: str) -> str:
    """The mean and its limits over x."""
    lines = [_line(mean, "#0072B2", "mean")]
    for i, limit in enumerate(limits):
        lines.append(_line(limit, "#D55E00", "limit" if i == 0 else ""))
    name = mean.name.removesuffix("-avg")
    return _plot(mean, lines, f"{name}: {note}" if name else note)


def signal_plot(signal: _Signal) -> str:
    """A curve where it is valid, or pairs in their order."""
    return _plot(signal, [_line(signal, "#0072B2", "")], signal.name)


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
    drawn: list[str] = []
    grid: list[str] = []
    for i, (xs, ys, colour, label) in enumerate(lines):
        kept = _extremes(ys)
        px = _LEFT + (xs[kept] - x0) / (x1 - x0) * _COLUMNS
        py = _TOP + (y1 - ys[kept]) / (y1 - y0) * (_BOTTOM - _TOP)
        points = " ".join(f"{a:.1f},{b:.1f}" for a, b in zip(px, py))
        dashes = ' stroke-dasharray="7 3"' if colour == "#D55E00" else ""
        drawn.append(
            f'<polyline fill="none" stroke="{colour}" stroke-width="1.5"{dashes} '
            f'points="{points}"><title>{html.escape(label)}</title></polyline>'
        )
        if label:
            end = _RIGHT - 50 * (len(lines) - 1 - i)
            drawn.append(_text(end, 14, label, f' text-anchor="end" fill="{colour}"'))
    for y in _ticks(y0, y1):
        place = _TOP + (y1 - y) / (y1 - y0) * (_BOTTOM - _TOP)
        grid.append(f'<path d="M{_LEFT} {place:.1f}H{_RIGHT}"/>')
        drawn.append(_text(_LEFT - 4, place + 4, f"{y:.6g}", ' text-anchor="end"'))
    for x in _ticks(x0, x1):
        place = _LEFT + (x - x0) / (x1 - x0) * _COLUMNS
        grid.append(f'<path d="M{place:.1f} {_TOP}V{_BOTTOM}"/>')
        drawn.append(_text(place, _BOTTOM + 15, f"{x:.6g}", ' text-anchor="middle"'))
    x_unit, y_unit = str(signal.x_unit), str(signal.y_unit)
    heading = f"{title} [{y_unit}]" if y_unit else title
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {_WIDTH} {_HEIGHT}" '
        f'width="{_WIDTH}" font-size="12" font-family="sans-serif" fill="#222">'
        '<rect width="100%" height="100%" fill="#fff"/>'
        + _text(_LEFT, 14, heading)
        + '<g fill="none" stroke="#ddd">'
        + "".join(grid)
        + f'<rect x="{_LEFT}" y="{_TOP}" width="{_COLUMNS}" height="{_BOTTOM - _TOP}" '
        'stroke="#555"/></g>'
        + "".join(drawn)
        + _text(_RIGHT, _BOTTOM + 32, f"x [{x_unit}]" if x_unit else "x", ' text-anchor="end"')
        + "</svg>"
    )


def _text(x: float, y: float, text: str, attributes: str = "") -> str:
    return f'<text x="{x:.1f}" y="{y:.1f}"{attributes}>{html.escape(text)}</text>'


def _ticks(low: float, high: float) -> list[float]:
    """Round numbers, three to six."""
    rough = (high - low) / 5
    if not (math.isfinite(rough) and rough > 0):
        return []
    ten = 10.0 ** math.floor(math.log10(rough))
    step = next(n * ten for n in (2, 5, 10) if rough <= n * ten)
    first = math.ceil(low / step)
    return [n * step for n in range(first, first + 12) if n * step <= high]


def _extremes(y: npt.NDArray[np.float64]) -> npt.NDArray[np.intp]:
    """Places of the smallest and the largest value of each column, so that no peak is lost."""
    every = np.arange(len(y))
    if len(y) <= 2 * _COLUMNS:
        return every
    parts = np.array_split(every, _COLUMNS)
    low = [part[np.argmin(y[part])] for part in parts]
    high = [part[np.argmax(y[part])] for part in parts]
    return np.unique(np.concatenate([low, high]))
