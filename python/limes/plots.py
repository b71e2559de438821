"""Small plots for notebooks: self-contained SVG, all texts escaped."""

from __future__ import annotations

import html

import numpy as np

from . import _limes

_WIDTH, _HEIGHT, _MARGIN = 560, 180, 44


def limit_plot(mean: _limes.CSigCurveExt, limit: _limes.CSigCurveExt | None, note: str) -> str:
    """The mean and, when there is one, the limit over x."""
    drawn = [(mean, "#0072b2", "mean")]
    if limit is not None:
        drawn.append((limit, "#d55e00", "limit"))
    return _plot(drawn, f"{mean.name}: {note}" if mean.name else note)


def curve_plot(curve: _limes.CSigCurveExt) -> str:
    return _plot([(curve, "#0072b2", "")], curve.name)


def _plot(drawn: list[tuple[_limes.CSigCurveExt, str, str]], title: str) -> str:
    first = drawn[0][0]
    x0, x1 = first.XMin(), first.XMax()
    finite = [c.values[np.isfinite(c.values)] for c, _, _ in drawn]
    kept = [values for values in finite if len(values)]
    y0 = min((float(values.min()) for values in kept), default=0.0)
    y1 = max((float(values.max()) for values in kept), default=1.0)
    if y1 <= y0:
        y0, y1 = y0 - 0.5, y0 + 0.5
    lines = []
    for c, colour, label in drawn:
        points = " ".join(_points(c, x0, x1, y0, y1))
        lines.append(
            f'<polyline fill="none" stroke="{colour}" points="{points}">'
            f"<title>{html.escape(label)}</title></polyline>"
        )
    x_axis, y_axis = html.escape(str(first.x_unit)), html.escape(str(first.y_unit))
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
        + "".join(lines)
        + "</svg>"
    )


def _points(c: _limes.CSigCurveExt, x0: float, x1: float, y0: float, y1: float) -> list[str]:
    """Smallest and largest value per pixel column, so that no peak is lost."""
    if not c.IsValid():
        return []
    begin, end = max(c.IMin(), 0), min(c.IMax(), len(c) - 1) + 1
    values = c.values[begin:end]
    x = c.x[begin:end]
    columns = _WIDTH - 2 * _MARGIN
    if len(values) > 2 * columns:
        kept = []
        for part in np.array_split(np.arange(len(values)), columns):
            kept.extend(sorted({part[np.argmin(values[part])], part[np.argmax(values[part])]}))
        values, x = values[kept], x[kept]
    px = _MARGIN + (x - x0) / (x1 - x0) * columns
    py = 20 + (y1 - values) / (y1 - y0) * (_HEIGHT - _MARGIN - 20)
    return [f"{a:.1f},{b:.1f}" for a, b in zip(px, py) if np.isfinite(b)]
