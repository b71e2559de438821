"""Reading measurements and forming what is judged, as the program does both."""

from __future__ import annotations

import os
from collections.abc import Iterable, Iterator, Mapping
from typing import Any

import numpy as np
import numpy.typing as npt

from . import _limes, frames

Paths = str | os.PathLike[str] | Iterable[str | os.PathLike[str]]


def read_each(
    paths: Paths,
    *,
    where: Mapping[str, str] | None = None,
    labelled: bool = False,
    **settings: Any,
) -> Iterator[_limes.Recording]:
    """What limes.read gives, one recording at a time: only that one is in memory."""
    each = [paths] if isinstance(paths, (str, os.PathLike)) else list(paths)
    given = [os.fspath(path) for path in each]
    names = [os.path.join(".", name) if name == "-" else name for name in given]
    for name in names:
        os.stat(name)  # says whether it is missing or may not be read
    return iter(_limes.Source(names, dict(where or {}), labelled, settings))


def read(
    paths: Paths,
    *,
    where: Mapping[str, str] | None = None,
    labelled: bool = False,
    **settings: Any,
) -> list[_limes.Recording]:
    """The recordings of files, or of all measurements in folders, with their quantities by name.

    All formats of the program: CSV and other tables, WAV and other sound files, UFF/UNV 58, TDMS,
    MDF 4, MAT, HDF5, NumPy arrays and limes records. Keywords are the options of `limes learn` that say how
    files are read and what is formed: rows, values, long, dx, x, x_unit, unit, name, use, cut,
    detrend, spectrum, ref, scale, label_column, good, ... (x_unit="s" for --x-unit s). where takes
    the rows of tables whose cell in a column is this text, labelled those with the label of good
    parts. What is assumed of a file is a warning. ValueError names the file and says what is wrong
    with it.
    """
    return list(read_each(paths, where=where, labelled=labelled, **settings))


def quantity(
    values: Any,
    *,
    x: npt.ArrayLike | None = None,
    dx: float | None = None,
    name: str = "",
    x_unit: Any = "",
    y_unit: Any = "",
) -> _limes.Quantity:
    """A signal as limes.read gives it, of a curve, a Series, a DataArray or plain values."""
    if isinstance(values, _limes.Quantity):
        return values
    if isinstance(values, _limes.CSigCurveExt):
        if values.IMin() > 0 or values.IMax() + 1 < len(values):
            raise ValueError("the curve is not valid everywhere: cut it first")
        width = (float(values.XMax()) - values.XMin()) / max(len(values), 1)
        return _limes.Quantity(
            values.values, values.XMin(), width, None, values.name, values.x_unit, values.y_unit
        )
    taken = frames.taken(values, x_unit, y_unit)
    places = taken.x if x is None else np.asarray(x, dtype=np.float64)
    name = name or taken.name
    start, equal = (0.0, 1.0) if places is None else frames.steps(places)
    free = places if equal is None and dx is None else None
    return _limes.Quantity(
        taken.values, start, dx or equal or 1.0, free, name, taken.x_unit, taken.y_unit
    )


def form(measured: Any, *, wave: bool = True, **settings: Any) -> Any:
    """What the program makes of a measurement before it learns or judges it: scale, unit, mean
    removed, spectrum, ...; keywords as of limes.read. Of a recording a recording, of anything that
    limes.curve takes a quantity. wave=False for curves that may rest where they are largest, which
    then do not count as clipped."""
    if isinstance(measured, _limes.Recording):
        return _limes.Formed(measured, wave, settings)
    part = _limes.Recording([quantity(measured)], "measurement")
    return _limes.Formed(part, wave, settings)[0]


def spectrum(
    signal: Any,
    n: int,
    *,
    dx: float | None = None,
    ref: float | None = None,
    detrend: bool = False,
    x_unit: Any = "s",
    y_unit: Any = "",
) -> _limes.Quantity:
    """The level spectrum of a time signal, averaged over half overlapped segments of n samples, as
    `limes learn --spectrum n` forms it. dx is the step of plain values, in seconds unless x_unit
    says otherwise; ref the reference of decibels (2e-5 for Pa, else 1)."""
    of = quantity(signal, dx=dx, x_unit=x_unit, y_unit=y_unit)
    given = str(frames.unit(y_unit)) if y_unit else None  # also of a quantity without unit
    settings = {"spectrum": n, "ref": ref, "detrend": detrend, "unit": given}
    return _limes.Formed(_limes.Recording([of], "signal"), True, settings)[0]
