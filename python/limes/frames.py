"""Series, DataFrames and xarray: into signals with index and units, and out of them."""

from __future__ import annotations

import dataclasses
import re
from typing import Any

import numpy as np
import numpy.typing as npt

from . import _limes

# What pint calls units, where limes means the same by another text.
_NAMES = {
    "ampere": "A",
    "bar": "bar",
    "celsius": "°C",
    "degC": "°C",
    "degree": "°",
    "degree_Celsius": "°C",
    "g_0": "g",
    "hertz": "Hz",
    "hour": "h",
    "kph": "km/h",
    "meter": "m",
    "metre": "m",
    "newton": "N",
    "pascal": "Pa",
    "percent": "%",
    "radian": "rad",
    "revolutions_per_minute": "rpm",
    "second": "s",
    "standard_gravity": "g",
    "volt": "V",
    "watt": "W",
}
_PREFIXES = {"nano": "n", "micro": "µ", "milli": "m", "centi": "c", "kilo": "k", "mega": "M"}


def _plain(name: str) -> str:
    """One unit of pint as limes writes it."""
    if name in _NAMES:
        return _NAMES[name]
    for prefix, short in _PREFIXES.items():
        if name.startswith(prefix) and name[len(prefix) :] in _NAMES:
            return short + _NAMES[name[len(prefix) :]]
    return name


def unit(text: Any) -> _limes.CMeasuringUnit:
    """A unit of a text, or of what pint calls one: "meter / second ** 2" is m/s²."""
    if isinstance(text, _limes.CMeasuringUnit):
        return text
    given = str(text)
    if given == "dimensionless":
        return _limes.CMeasuringUnit()
    # Of pint a lone g is the gram, of limes the gravity.
    from_pint = type(text).__module__.partition(".")[0] == "pint"
    if from_pint and f"{text:~}" == "g":
        raise ValueError("unknown unit: gram")
    try:
        return _limes.CMeasuringUnit(given)
    except ValueError:
        words = re.split(r"\s*([*/]{1,2})\s*", given)
        names = [w if i % 2 or w.isdigit() else _plain(w) for i, w in enumerate(words)]
        joined = "".join(names).replace("**2", "²").replace("**3", "³")
        return _limes.CMeasuringUnit("Nm" if joined in ("N*m", "m*N") else joined)


@dataclasses.dataclass(frozen=True)
class Taken:
    """Values with what they bring along; x is None where they have none."""

    values: npt.NDArray[Any]
    x: npt.NDArray[np.float64] | None
    name: str
    x_unit: _limes.CMeasuringUnit
    y_unit: _limes.CMeasuringUnit


def taken(values: Any, x_unit: Any = "", y_unit: Any = "") -> Taken:
    """What an array, a Series, a DataArray or a pint quantity says; a unit that is given wins."""
    index, index_unit = _index(values)
    own = _own_unit(values)
    values_name = getattr(values, "name", None)
    bare = getattr(values, "magnitude", values)
    if np.ma.is_masked(bare):
        raise ValueError("what is masked has no values: leave it out, or see Part for curves")
    array = np.asarray(bare)
    if array.ndim != 1 or array.dtype.kind not in "biuf":
        raise TypeError(f"a curve is made of a row of numbers, not of {type(values).__name__}")
    return Taken(
        array,
        index,
        "" if values_name is None else str(values_name),
        unit(x_unit or index_unit),
        unit(y_unit or own),
    )


def _own_unit(values: Any) -> Any:
    if hasattr(values, "magnitude") and hasattr(values, "units"):  # pint
        return values.units
    attributes = getattr(values, "attrs", None)
    return attributes.get("units", "") if isinstance(attributes, dict) else ""


def _index(values: Any) -> tuple[npt.NDArray[np.float64] | None, Any]:
    """What a Series or DataArray has along x, and its unit; None for what has none."""
    if hasattr(values, "coords") and hasattr(values, "dims"):
        along = [values.coords[dim] for dim in values.dims if dim in values.coords]
        return (_places(along[0]), _own_unit(along[0])) if len(along) == 1 else (None, "")
    index = getattr(values, "index", None)
    return (None, "") if index is None or callable(index) else (_places(index), "")


def _places(index: Any) -> npt.NDArray[np.float64]:
    x = np.asarray(index)
    if x.dtype.kind == "m":
        return x / np.timedelta64(1, "s")
    if x.dtype.kind not in "iuf" or len(x) < 2:
        raise ValueError("the index is no x axis of two numbers or more")
    return x.astype(np.float64)


def steps(x: npt.NDArray[np.float64]) -> tuple[float, float | None]:
    """First x, and the step where all are equal."""
    if x.ndim != 1 or len(x) < 2 or not np.isfinite(x).all():
        raise ValueError("x is a row of finite places, two or more")
    step = float((x[-1] - x[0]) / (len(x) - 1))
    equal = step > 0 and np.allclose(np.diff(x), step, rtol=1e-3, atol=0)
    return float(x[0]), step if equal else None


def _along(signal: Any) -> tuple[Any, Any, str, str, str]:
    """x, values, name and units; of a curve where it is valid."""
    if isinstance(signal, _limes.CSigCurveExt):
        valid = slice(max(signal.IMin(), 0), signal.IMax() + 1 if signal.IsValid() else 0)
        x, y = signal.x[valid], signal.values[valid].copy()
    else:
        x, y = np.array(signal.x), np.array(getattr(signal, "y", getattr(signal, "values", None)))
    units = (str(signal.x_unit), str(signal.y_unit))
    x_unit, y_unit = ("" if u == "-" else u for u in units)
    return x, y, signal.name, x_unit, y_unit


def series(signal: Any) -> Any:
    """A pandas Series over x, with the units in attrs."""
    import pandas  # type: ignore[import]

    x, y, name, x_unit, y_unit = _along(signal)
    made = pandas.Series(y, index=pandas.Index(x, name=x_unit or "x"), name=name)
    made.attrs.update(units=y_unit, x_units=x_unit)
    return made


def index(signal: Any) -> Any:
    """x as the index of a table; None without pandas."""
    try:
        import pandas
    except ImportError:
        return None
    return pandas.Index(signal.x, name=str(signal.x_unit) if signal.x_unit else "x")


def data_array(signal: Any) -> Any:
    """An xarray DataArray with coordinate x, and the units in the attributes of both."""
    import xarray  # type: ignore[import]

    x, y, name, x_unit, y_unit = _along(signal)
    made = xarray.DataArray(y, coords={"x": x}, dims="x", name=name or None)
    made.attrs["units"] = y_unit
    made.coords["x"].attrs["units"] = x_unit
    return made


def table(columns: dict[str, Any], index: Any = None) -> Any:
    """A DataFrame, or without pandas the columns as arrays."""
    try:
        import pandas
    except ImportError:
        return {name: np.asarray(column) for name, column in columns.items()}
    return pandas.DataFrame(columns, index=index)
