"""Series, DataFrames, xarray and units of pint come in and go out as they are; plots; arithmetic."""

import numpy as np
import pytest

import limes

pandas = pytest.importorskip("pandas")
xarray = pytest.importorskip("xarray")

X = np.arange(10, 20, 0.5)
RNG = np.random.default_rng(5)


def frame(n=12):
    return pandas.DataFrame({f"p{i}": 60 + RNG.random(len(X)) for i in range(n)}, index=X)


def test_series_and_data_arrays_go_in_and_out():
    series = pandas.Series(np.arange(len(X)), index=X, name="level")
    series.attrs["units"] = "dB(Pa)"
    curve = limes.curve(series, x_unit="Hz")
    assert (curve.name, curve.y_unit, curve.XMin(), curve.XDelta()) == ("level", "dB(Pa)", 10, 0.5)
    again = curve.to_series()
    assert np.array_equal(again.index, X) and list(again) == list(series) and again.name == "level"
    array = curve.to_xarray()
    assert (array.attrs["units"], array.coords["x"].attrs["units"]) == ("dB(Pa)", "Hz")
    twin = limes.curve(array)
    assert (twin.x_unit, twin.y_unit, list(twin.x)) == ("Hz", "dB(Pa)", list(X))
    assert list(limes.quantity(array).to_xarray()) == list(array)
    assert limes.curve(pandas.Series([1, 2], pandas.to_timedelta([0, 1], "s"))).XMax() == 2
    with pytest.raises(ValueError, match="x axis"):
        limes.curve(pandas.Series([1, 2], pandas.to_datetime(["2026-01-01", "2026-01-02"])))


def test_tables_of_parts():
    table = frame()
    rows = xarray.DataArray(table.to_numpy().T, coords={"part": table.columns, "x": X})
    a, b, c = (limes.curves(t) for t in (table, rows, table.to_numpy().T))
    assert [list(p.values) for p in a] == [list(p.values) for p in b] == [list(p.values) for p in c]
    assert list(a[3].x) == list(b[3].x) == list(X) and a[3].name == "p3"
    limit = limes.learn(a, limes.Rule(factor=4))
    assert limit.judge(table["p0"]) and limit.judge(rows[0])
    made = limit.to_frame()
    assert list(made.columns) == ["mean", "spread", "upper", "lower", "count"]
    assert np.array_equal(made.index, X) and (made["count"] == 12).all()
    gap = table["p0"].copy()
    gap.iloc[3] = np.nan
    assert limit.judge(gap).reason == limes.PartStatus.NOT_FINITE
    assert not limit.judge(table["p0"].iloc[:9]) and not limit.judge(table["p0"].iloc[::2])


UNITS = [
    ("meter / second ** 2", "m/s²"),
    ("m/s**2", "m/s²"),
    ("kilohertz", "kHz"),
    ("millimeter", "mm"),
    ("degree_Celsius", "°C"),
    ("newton * meter", "Nm"),
    ("kilometer / hour", "km/h"),
    ("revolutions_per_minute", "rpm"),
    ("standard_gravity", "g"),
    ("dimensionless", ""),
]


@pytest.mark.parametrize(("text", "means"), UNITS)
def test_texts_of_pint(text, means):
    assert limes.curve([1.0, 2.0], y_unit=text).y_unit == limes.CMeasuringUnit(means)


def test_pint_itself():
    registry = pytest.importorskip("pint").UnitRegistry()
    curve = limes.curve(np.arange(3.0) * registry("m/s**2"))
    assert (curve.y_unit, list(curve.values)) == ("m/s²", [0, 1, 2])
    with pytest.raises(ValueError, match="unknown unit"):
        limes.curve(np.arange(3.0) * registry("gram"))


def test_arithmetic_makes_new_curves():
    a, b = (limes.curve(np.arange(5.0) + i, y_unit="Pa", name="p") for i in (1, 2))
    made = [a + b, b - a, a * 2, 2 * a, a / 2, 1 - a, 1 + a, -a, abs(-a), a - 1]
    assert [m[1] for m in made] == [5, 1, 4, 4, 1, -1, 3, -2, 2, 1]
    assert (a[1], made[0].y_unit, made[0].name) == (2, "Pa", "p")
    assert np.array_equal(np.sqrt(a), np.sqrt(a.values))
    short = limes.curve(np.arange(5.0), y_unit="Pa")
    short.SetVMinMax(1, 3)
    assert ((a + short).IMin(), (short + a).IMax()) == (1, 3)
    for other in (limes.curve(np.arange(6.0)), limes.curve(np.arange(5.0), y_unit="V")):
        with pytest.raises(ValueError):
            a + other
    with pytest.raises(TypeError):
        a + "1"


def test_english_names_are_the_same_functions():
    curve = limes.Curve([1.0, 2.0], 0, 2)
    assert limes.Curve is limes.CSigCurveExt and curve.x_max() == curve.XMax() == 2
    assert "XMax(" in limes.Curve.x_max.__doc__
    assert limes.CurveLearner().set_rule(1, 3) is None


def test_regions_sides_and_sureness():
    good = [limes.curve(60 + RNG.random(100), 0, 100, y_unit="dB(Pa)") for _ in range(40)]
    bad = limes.curve(60 + RNG.random(100), 0, 100, y_unit="dB(Pa)")
    bad[20], bad[21], bad[70] = 80, 90, 20
    table = {}
    for sides, x in (("both", [(20, 21), (70, 70)]), ("upper", [(20, 21)]), ("lower", [(70, 70)])):
        limit = limes.learn(good, limes.Rule(factor=5, sides=sides))
        judged = limit.judge(bad)
        assert [(r.x0, r.x1) for r in judged.regions] == x and not judged
        assert judged.side == ("upper" if sides == "upper" else "lower")
        assert (limit.upper is None, limit.lower is None) == (sides == "lower", sides == "upper")
        table[sides] = judged
        assert [s.parts for s in limit.sureness.values()] == [40] * len(judged.sides)
    both = table["both"]
    assert both.sides["lower"].limit == table["lower"].limit < 60 < both.sides["upper"].limit
    assert table["lower"].deviation > 30 and table["lower"].value == 20
    with pytest.raises(ValueError, match="sides"):
        limes.Rule(sides="left")


def test_plot():
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    good = [limes.curve(60 + RNG.random(100), 0, 100, y_unit="dB(Pa)", name="gear") for _ in range(20)]
    bad = good[0] + 0
    bad[30] = 99
    axes = limes.learn(good, limes.Rule(factor=5)).plot(bad)
    assert axes.get_ylabel() == "gear [dB(Pa)]" and "FAIL" in axes.get_title()
    assert len(axes.patches) == 1 and max(axes.lines[-1].get_ydata()) == 99
