"""What scripts rely on: arrays without copies, learning and judging, states, misuse."""

import copy
import datetime
import os
import pickle
import threading

import numpy as np
import pytest

import limes


def part(level=60.0, n=100, seed=0, **changes):
    noise = np.random.default_rng(seed).random(n)
    made = dict(name="Gear", x_unit="Hz", y_unit="dB(Pa)")
    made.update(changes)
    return limes.curve(level + noise, 0, 1000, **made)


CLASSIC = limes.Rule(factor=3)


class Indexed:
    """Values with an index, as a Series has them."""

    name = "level"

    def __init__(self, index):
        self.index = np.asarray(index)

    def __array__(self, dtype=None):
        return np.arange(len(self.index), dtype=dtype)


REFUSED = [
    (lambda: limes.CMeasuringUnit("s").root(2), ValueError, ""),
    (lambda: limes.CSigCurveExt.over(np.zeros((2, 2)), 0, 1), ValueError, ""),
    (lambda: limes.CSigCurveExt.over(["a"], 0, 1), ValueError, ""),
    (lambda: limes.CSigCurveExt.over([1.0 + 2j], 0, 1), TypeError, ""),
    (lambda: limes.CSigCurveExt.over([1.0], 1, 1), ValueError, ""),
    (lambda: limes.CSigCurveExt.over([1.0], 0, float("nan")), ValueError, ""),
    (lambda: limes.CSigCurveExt.ReadFromFile(b"short"), ValueError, ""),
    (lambda: limes.learn([]), ValueError, "no parts"),
    (lambda: limes.CSigPairs([1], [1, 2]), ValueError, ""),
    (lambda: limes.CSigPairs([1], [1])[9], IndexError, ""),
    (lambda: limes.CSigCurveArray([part()], [0, 1]), ValueError, ""),
    (lambda: limes.CSigCurveArray([]).Mittelwert(), ValueError, ""),
    (lambda: limes.DVL.VectorSum(np.zeros((2, 2))), ValueError, ""),
    (lambda: limes.CDefectReportOrdner(0).Naechster(), IndexError, ""),
    (lambda: limes.CDefectReportOrdner(2)[2], IndexError, ""),
    (lambda: limes.Rule(base=float("nan")), ValueError, "base"),
    (lambda: limes.Rule(factor=-1), ValueError, "negative"),
    (lambda: limes.Rule(factor="3"), ValueError, "'3'"),
    (lambda: limes.Rule(time_scale=0), ValueError, "time_scale"),
    (lambda: limes.Rule(reject=1), ValueError, "between 0 and 1"),
    (lambda: limes.Rule(reject=0.1, factor=3), ValueError, "one of them"),
    (lambda: limes.curve(np.arange(3.0), copy=False), ValueError, "without a copy"),
    (lambda: limes.curve(np.zeros(9, np.float32)[::2], copy=False), ValueError, "without a copy"),
    (lambda: limes.curve(np.frombuffer(bytes(8), np.float32), copy=False), ValueError, "copy"),
    (lambda: limes.curve("abc"), TypeError, "not of str"),
    (lambda: limes.curve(Indexed([1.0, 2.0, 4.0])), ValueError, "equal steps"),
    (lambda: limes.curve(Indexed([2.0, 1.0, 0.0])), ValueError, "equal steps"),
    (lambda: limes.curve(Indexed(["a", "b", "c"])), ValueError, "x axis"),
    (lambda: limes.curve(Indexed([1.0, 2.0, 3.0]), 5), ValueError, "index"),
    (lambda: limes.learn([part()], CLASSIC).judge([1, 2]), TypeError, "not list"),
    (lambda: limes.learn_values([1, 2]).tool.JudgePart("a"), TypeError, r"Part takes .*not \(str\)"),
    (lambda: limes.learn([part(), part(n=50)]), ValueError, "part 2 .* another step"),
    (lambda: limes.learn_values([1, float("nan")]), ValueError, "value 2: .* not finite"),
    (lambda: limes.learn_values(["1"]), TypeError, "numbers"),
    (lambda: limes.learn_values(np.ma.masked_less([1, 9], 5)), ValueError, "masked"),
    (lambda: limes.curve(np.ma.masked_less([1, 9], 5)), ValueError, "masked"),
    (lambda: limes.Part([1.0]), TypeError, "not list"),
    (lambda: limes.Part(part(), covered=[1.0, 0.0]), TypeError, "truth"),
    (lambda: limes.learn([limes.Part(part(), [True])]), ValueError, "each value"),
    (lambda: limes.scores([1, 2]), ValueError, "rows"),
    (lambda: limes.scores([[1, np.inf]]), ValueError, "finite"),
    (lambda: limes.scores([[1]], base=[1, 2]), ValueError, "base"),
    (lambda: limes.scores([[1], [2]], groups=[1]), ValueError, "label"),
    (lambda: limes.Calibration([1, 2, 3]), ValueError, "pairs"),
    (lambda: limes.Calibration([[1, 2]], one_side=True), ValueError, "row"),
    (lambda: limes.Calibration([[1, 2], [3, np.nan]]), ValueError, "part 1 is no number"),
    (lambda: limes.Calibration("a"), TypeError, "^Calibration takes"),
    (lambda: limes.Calibration().for_rate(5), ValueError, "between 0 and 1 .* not be 5"),
    (lambda: limes.Calibration().for_rate(0.1).rejected(9), ValueError, "without a limit"),
    (lambda: limes.Calibration().merge(limes.Calibration(one_side=True)), ValueError, "rule"),
    (lambda: limes.Calibration.from_bytes(bytes(40)), ValueError, ""),
    (lambda: limes.CSigPairs("a"), TypeError, r"^CSigPairs takes \(x: .* or \(curve: .*, not \(str\)$"),
    (lambda: limes.fit(part(), grid=3), TypeError, r"not \(\S*CSigCurveExt, grid: int\)$"),
]


@pytest.mark.parametrize(("call", "error", "message"), REFUSED)
def test_refuses(call, error, message):
    with pytest.raises(error, match=message):
        call()


def test_units():
    assert str(limes.CMeasuringUnit("kHz")) == "kHz"
    assert limes.CMeasuringUnit("km/h") == "km/h"
    assert not limes.CMeasuringUnit()


def test_values_are_views():
    c = part()
    view = c.values
    view[3] = 1.5
    assert c[3] == 1.5
    with pytest.raises(BufferError):
        c.CutLeft(500)
    del view
    c.CutLeft(500)
    assert len(c) < 100
    kept = part().values  # outlives its curve
    assert kept.sum() > 0

    array = np.zeros(10, np.float32)
    shared = limes.curve(array, 0, 10, copy=False)
    array[9] = 7
    assert shared[-1] == 7
    indexed = limes.curve(Indexed([10.0, 10.5, 11.0]))
    assert (list(indexed.x), indexed.XMax(), indexed.name) == ([10, 10.5, 11], 11.5, "level")


def test_learn_and_judge():
    limit = limes.learn((part(seed=i) for i in range(30)), limes.Rule(base=1, factor=3))
    assert limit.count == 30
    assert np.allclose(limit.mean.values, 60.5, atol=0.4)
    assert limit.judge(part(seed=77))
    bad = part(seed=78)
    bad[40] = 90
    judged = limit.judge(bad)
    assert (judged.verdict, judged.x, judged.value) == (limes.Verdict.FAIL, 400, 90)
    assert judged.in_spreads > 50 and judged.x_in_spreads == 400


def over(points, x_min=0):
    return limes.curve(part().values[:points], x_min, x_min + 10 * points, x_unit="Hz", y_unit="dB(Pa)")


def changed(change):
    made = part(seed=50)
    change(made)
    return made


def clipped():
    return np.clip(np.sin(0.1 * np.arange(2000)), -0.9, 0.9)


GAP = np.arange(100) // 15 != 2  # 15 points, the fault among them, were not measured
FAULT = changed(lambda c: c.__setitem__(40, 90))
NAN = changed(lambda c: c.__setitem__(3, np.nan))

# Each of these once passed, or was learnt, without a word.
MISFITS = [
    (part(y_unit="m/s²"), "UNIT"),
    (part(y_unit="Pa"), "REFERENCE"),
    (part(x_unit="s"), "X_UNIT"),
    (part(n=99), "STEP"),
    (over(50), "COVERS_TOO_LITTLE"),
    (over(1), "COVERS_TOO_LITTLE"),
    (changed(lambda c: c.SetVMinMax(0, 500)), "COVERS_TOO_LITTLE"),
    (over(100, 5000), "NO_COMMON_POINT"),
    (NAN, "NOT_FINITE"),
    (limes.Part(FAULT, covered=GAP), "COVERS_TOO_LITTLE"),
    (changed(lambda c: c.values.fill(0)), "NO_SIGNAL"),
    (changed(lambda c: c.values.fill(55)), "NO_SIGNAL"),
    (part(-100.0), "NO_SIGNAL"),
    (limes.Part(part(), samples=clipped()), "CLIPPED"),
]


@pytest.mark.parametrize(("given", "reason"), MISFITS)
def test_neither_judged_nor_learnt(given, reason):
    limit = limes.learn((part(seed=i) for i in range(12)), CLASSIC)
    state = limit.tool.WriteState()
    judged = limit.judge(given)
    assert judged.reason == getattr(limes.PartStatus, reason)
    assert judged.verdict == limes.Verdict.NOT_JUDGED and not judged
    assert judged.reason.text in repr(judged)
    with pytest.raises(ValueError, match=judged.reason.text):
        limit.learn(given)
    assert limit.tool.WriteState() == state


def test_passes_nothing_of_a_cable_that_came_off():
    upper = limes.Rule(sides="upper", factor=3)
    hump = 1 + 20 * np.exp(-(((np.arange(100) - 40) / 10) ** 2))
    forces = [limes.curve((1 + 0.04 * (i % 3 - 1)) * hump, 0, 100, y_unit="N") for i in range(12)]
    limit, values = limes.learn(forces, upper), limes.learn_values([c[40] for c in forces], upper)
    for gain, verdict in ((1, "PASS"), (0.5, "PASS"), (0.1, "NOT_JUDGED"), (-1, "NOT_JUDGED")):
        part = limes.curve(gain * hump, 0, 100, y_unit="N")
        assert limit.judge(part).verdict.name == values.judge(float(part[40])).verdict.name == verdict


def test_what_is_let_in_when_asked_for():
    good = [part(seed=i) for i in range(12)]
    limit = limes.learn([*good, over(50)], limes.Rule(base=1, factor=3), allow_short=True)
    assert limit.count == 13
    assert limit.judge(part(seed=20)).reason == limes.PartStatus.COVERS_TOO_LITTLE
    assert limit.judge(part(seed=20), min_share=0.5)
    gaps = limes.Part(NAN, covered=np.isfinite(NAN.values))
    assert limes.learn([*good, gaps], limes.Rule(base=1, factor=3)).judge(gaps)
    with pytest.raises(ValueError, match="part 2 .* covers too little"):
        limes.learn([over(50), *good])


def test_values_keep_their_digits():
    clock = 24_576_000 + np.tile([0.1, -0.1], 10)
    limit = limes.learn_values(clock, CLASSIC, unit="Hz")
    verdicts = [limit.judge(24_576_000 + d, unit="Hz").verdict for d in (0.2, 0.9)]
    assert verdicts == [limes.Verdict.PASS, limes.Verdict.FAIL]
    for unit in ("s", None):
        assert limit.judge(24_576_000.0, unit=unit).reason == limes.PartStatus.UNIT
    rough = limes.learn_values(clock.astype(np.float32), CLASSIC)
    assert rough.judge(24_576_000.0, unit="Hz").reason == limes.PartStatus.UNIT
    assert rough.judge(np.float32(24_576_000)).reason == limes.PartStatus.RESOLUTION
    with pytest.raises(ValueError, match="another unit"):
        limit.learn(24_576_000.0, unit="s")


def test_states(tmp_path):
    whole, first, second = (
        limes.learn((part(seed=i) for i in range(*span)), CLASSIC) for span in ((20,), (12,), (12, 20))
    )
    first.merge(second)
    assert first.count == 20
    assert np.allclose(first.mean.values, whole.mean.values, rtol=1e-6)
    assert np.allclose(first.limit.values, whole.limit.values, atol=0.02)  # floats: S of Q - M²
    whole.save(tmp_path / "gear.state")
    again = limes.CurveLimit.load(tmp_path / "gear.state")
    assert np.array_equal(again.limit.values, whole.limit.values)
    assert np.array_equal(again.spread.values, whole.spread.values)
    damaged = bytearray(whole.tool.WriteState())
    damaged[60] ^= 1
    with pytest.raises(ValueError):
        limes.CKurvenLernWerkzeug.ReadState(bytes(damaged))
    with pytest.raises(ValueError, match="itself"):
        first.merge(first)


def test_save_keeps_links_modes_and_devices(tmp_path):
    limit = limes.learn_values([1.0, 2.0])
    state = limit.tool.WriteState()
    target, link = tmp_path / "a.state", tmp_path / "link"
    target.write_bytes(b"old")
    target.chmod(0o640)
    link.symlink_to(target)
    limit.save(link)
    assert link.is_symlink() and target.read_bytes().startswith(state)
    assert target.stat().st_mode & 0o777 == 0o640
    limit.save("/dev/null")
    assert not os.path.isfile("/dev/null")
    with pytest.raises(OSError):
        limit.save(tmp_path / "none" / "a.state")
    assert sorted(p.name for p in tmp_path.iterdir()) == ["a.state", "link"]


def times():
    day = limes.CSigPairsTm("2026-01-01", "2026-01-02")
    day.NeuesPaar("2026-01-01T12:00:07", 3)
    return day


def run():
    pairs = limes.CSigPairsVM([0, 1], [2, 3])
    pairs.SetSpecification("run-up", "Mic 1", parameter="level")
    pairs.SetzeTriggerStartStop(1, 9)
    return pairs


def tracks():
    return limes.learn_tracks((part(seed=i) for i in range(9)), CLASSIC)


def curves():
    return limes.learn((part(seed=i) for i in range(9)), CLASSIC)


def defect():
    made = limes.CDefectReport()
    made.name, made.place = "level", 3.5
    made.SetNameAt(2, "left")
    made.FormatReport()
    return made


ANSWERS = [
    (part, lambda c: (list(c.values), c.name, c.x_unit, c.y_unit)),
    (lambda: part(name="a" * 300), lambda c: c.name),
    (lambda: limes.CMeasuringUnit("dB(m/s²)"), lambda u: (u, u.ExactText(), u.reference)),
    (lambda: limes.CSigPairs(part()), lambda p: (list(p.x), list(p.y), p.name, p.y_unit)),
    (times, lambda p: (list(p.times), list(p.y), p.start, p.end)),
    (run, lambda p: (list(p.y), p.specification, p.TriggerStart(), p.TriggerStop())),
    (
        lambda: limes.CSigCurveArray([part(), part(seed=1)], [3, 5]),
        lambda a: (list(a.positions), list(a[1].values), a[1].y_unit),
    ),
    (lambda: curves().judge(part(80.0)), lambda j: (j.verdict, j.deviation, j.x, j.share)),
    (lambda: limes.learn_values([1, 2], CLASSIC).judge(9), lambda j: (j.verdict, j.value, j.limit)),
    (lambda: limes.Rule(factor=4), lambda r: r),
    (lambda: limes.learn_values([1, 2]), lambda v: (v.limit, v.spread, v.tool.WriteState())),
    (defect, lambda r: (r.name, r.place, r.NameAt(2), r.Berichtstext())),
    (curves, lambda c: (list(c.limit.values), list(c.spread.values), c.judge(part(80.0)).verdict)),
    (tracks, lambda t: (list(t.limit.values), list(t.counts), t.judge(part(80.0)).verdict)),
]


@pytest.mark.parametrize(("make", "answer"), ANSWERS)
def test_copies_answer_as_their_originals(make, answer):
    made = make()
    for twin in (pickle.loads(pickle.dumps(made)), copy.deepcopy(made)):
        assert answer(twin) == answer(made)


def test_values_and_tracks():
    limit = limes.learn_values([1.0, 2.0, 3.0], limes.Rule(factor=2))
    assert limit.limit == pytest.approx(2 + 2 * np.std([1, 2, 3]))
    assert limit.judge(2.5)
    assert limit.judge(9).verdict == limes.Verdict.FAIL
    assert limit.judge(float("nan")).verdict == limes.Verdict.NOT_JUDGED
    tracks = []
    for i in range(12):
        track = part(seed=i)
        track.SetVMinMax(0, 500 if i < 9 else 900)
        tracks.append(track)
    ranged = limes.learn_tracks(tracks, limes.Rule(base=2, factor=3))
    assert sorted(set(ranged.counts)) == [0, 3, 12]  # 0: the grid has room to grow
    assert ranged.judge(part(seed=99))


def test_pairs():
    a = limes.CSigPairs([0, 1, 2, 4], [0, 10, 20, 40])
    assert a.WertBei(3) == 30
    assert list(a.WertBei([0.5, 9])) == [5, 40]
    assert (a.x.strides, list(a.y)) == ((8,), [0, 10, 20, 40])
    with pytest.raises(ValueError):
        a.x[0] = 1
    view = a.x
    with pytest.raises(BufferError):
        a.NeuesPaar(5, 5)
    del view
    a.NeuesPaarEinsortieren(3, 0)
    assert a[3] == (3, 0)
    assert list((a + limes.CSigPairs([0, 4], [1, 1])).y) == [1, 11, 21, 1, 41]
    assert np.array_equal(limes.CSigPairs.ReadFromFile(a.WriteToFile()).y, a.y)
    grid = limes.curve(np.zeros(5), 0, 5)
    assert list(a.KurveBilden(grid).values) == [0, 10, 20, 0, 40]


def test_pair_variants():
    day = limes.CSigPairsTm("2026-01-01", "2026-01-02")
    noon = datetime.datetime(2026, 1, 1, 13, tzinfo=datetime.timezone(datetime.timedelta(hours=1)))
    assert (day.NeuesPaar("2026-01-01T18:00", 3), day.NeuesPaar(noon, 1)) == (0, 0)
    assert list(day.times) == [np.datetime64("2026-01-01T12"), np.datetime64("2026-01-01T18")]
    assert list(day.WertBei(day.times)) == [1, 3]
    assert day.WertBei("2026-01-01T15:00") == 2
    assert day.HatWertBei("2026-01-01T18:01", 120)
    day.ZeitraumAendern("2026-01-01", "2026-01-03")
    assert (list(day.x), day.end) == ([0.25, 0.375], np.datetime64("2026-01-03"))
    assert (type(copy.copy(day)), len(day)) == (limes.CSigPairsTm, 2)
    for start, end in (("2026-01-02", "2026-01-01"), ("NaT", "2026-01-01"), ("soon", "later")):
        with pytest.raises(ValueError):
            limes.CSigPairsTm(start, end)
    run = limes.CSigPairsVM([0, 1], [2, 3])
    run.SetSpecification("run-up", "Mic 1", parameter="level")
    assert run.specification == ("run-up", "Mic 1", "", "", "level", "")
    run.SetzeTriggerStartStop(1, 9)
    assert (run.TriggerStop(), copy.copy(run).specification[0], run.WertBei(0.5)) == (9, "run-up", 2.5)


def test_curve_arrays():
    curves = [limes.curve([i, 2 * i, 3], 0, 3) for i in range(4)]
    array = limes.CSigCurveArray(curves, [0, 1, 2, 3])
    assert len(array) == 4
    assert list(array.Mittelwert().values) == [1.5, 3, 3]
    assert list(array.Maximum().values) == [3, 6, 3]
    assert list(array.Querschnitt(1).y) == [0, 2, 4, 6]
    array[1].values[2] = 99
    assert array.Maximum()[2] == 99
    assert array.Resample2d(3, 3).shape == (3, 3)
    again = limes.CSigCurveArray.DateiImport(array.DateiExport())
    assert list(again.positions) == [0, 1, 2, 3]


def test_kernels():
    a = np.arange(12, dtype=np.float32)
    assert limes.DVL.VectorSum(a[::3]) == 0 + 3 + 6 + 9
    assert limes.DVL.VectorMinMax(a[::-1]) == (0, 11)
    assert limes.DVL.VectorMaxIdx([1, 5, 5]) == (5, 1)
    assert limes.DVL.VectorLogSum([0.0, 0.0]) == pytest.approx(3.0103, abs=1e-4)
    assert list(limes.DVL.DownsamlingMean(a, 3)) == [1.5, 5.5, 9.5]
    assert list(limes.DVL.Resamling(a[:9:8], 3)) == [0, 2, 4]


def test_defects():
    folder = limes.CDefectReportOrdner(2)
    for name, priority in (("low", 1), ("high", 9)):
        report = folder.Naechster()
        report.name, report.priority = name, priority
    folder.Ordnen()
    assert [r.name for r in folder.Ordered()] == ["high", "low"]
    assert folder[-1].name == "high"


def test_threads_share_a_learner():
    tool = limes.learn([part(n=100000)]).tool
    curves = [part(n=100000, seed=i) for i in range(4)]
    threads = [
        threading.Thread(target=lambda c=c: [tool.LearnPart(c) for _ in range(20)]) for c in curves
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert tool.NrGelernt() == 81


def test_plots():
    hostile = part(name="<script>alert(1)</script>", n=5000)
    hostile[1234] = 500
    for shown in (limes.learn([hostile]), hostile, limes.CSigPairs(hostile), limes.CSigPairs([], [])):
        html = shown._repr_html_()
        assert html.startswith("<svg") and "<script>" not in html
        assert len(html) < 45000
    assert ",20.0 " in hostile._repr_html_()  # the peak, at the top
