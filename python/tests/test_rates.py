"""Scores of parts, and limits by the rate of good parts they reject."""

import pickle

import numpy as np
import pytest

import limes

TWELVE = np.array([10, 12, 11, 13, 9, 11, 12, 10, 14, 11, 10, 13.0])[:, None]
SCORES = [
    ({}, [-0.883110, 0.434817, -0.216600, 1.117303, -1.619741, -0.216600, 0.434817, -0.883110]
     + [1.896373, -0.216600, -0.883110, 1.117303]),
    ({"base": 1}, [-1.439343, -0.163754, -0.799642, 0.516092, -2.137018]),
    ({"groups": list("aaabbbcccddd")}, [-0.781529, 0.305836, -0.244942, 0.973901, -1.468259]
     + [-0.286472, 0.592701, -0.736156, 1.753682, -0.193788, -0.761235, 0.941727]),
    ({"one_pass": True}, [-0.792475, 1.117303]),
]  # fmt: skip


@pytest.mark.parametrize(("how", "above"), SCORES)
def test_scores_of_twelve_values(how, above):
    scores = limes.scores(TWELVE, **how)
    assert scores[: len(above), 0] == pytest.approx(above, abs=2e-6)
    if "base" not in how:
        assert scores[:, 1] == pytest.approx(-scores[:, 0], abs=1e-12)


def test_scores_take_the_worst_point():
    parts = np.random.default_rng(1).standard_normal((40, 5)).astype(np.float32)
    parts[:, 4], parts[7, 2] = 1.5, np.nan  # a point that never varies, and one not measured
    by_point = [limes.scores(parts[:, [i]])[:, 0] for i in range(5)]
    assert np.array_equal(limes.scores(parts)[:, 0], np.max(by_point, axis=0))
    groups = np.repeat([3, 1], 20)
    late = limes.scores(parts, groups=groups, one_pass=True)
    assert np.allclose(late, limes.scores(parts, groups=groups)[20:], rtol=1e-12)  # the first: none


LIMITS = [  # one side, rate, factors with 12 parts learnt, basis
    (True, 0.25, (1.279696,), "RANK"),
    (True, 0.05, (2.301524,), "EXTRAPOLATED"),
    (False, 0.25, (1.411564, 1.394739), "RANK"),
    (False, 0.10, (3.047164, 3.024664), "RANK"),
]


@pytest.mark.parametrize(("one_side", "rate", "factors", "basis"), LIMITS)
def test_factors_of_a_rate(one_side, rate, factors, basis):
    scores = limes.scores(TWELVE)
    made = limes.Calibration(scores[:, 0] if one_side else scores, one_side=one_side)
    joined = limes.Calibration(one_side=one_side)
    for score in scores[5:]:
        joined.add(score[0] if one_side else score)
    joined.merge(limes.Calibration(scores[:5, 0] if one_side else scores[:5], one_side=one_side))
    for calibration in (made, joined, pickle.loads(pickle.dumps(made))):
        assert bytes(calibration) == bytes(made) and len(calibration) == 12
        limit = calibration.for_rate(rate)
        assert limit.factors(12)[: len(factors)] == pytest.approx(factors, abs=5e-6)
        assert limit.basis.name == basis
    assert repr(pickle.loads(pickle.dumps(limit))) == repr(limit)


def test_what_a_limit_promises():
    calibration = limes.Calibration(np.arange(100.0), one_side=True)
    limit = calibration.for_rate(0.05)
    assert (limit.promised, limit.rejected(200)) == (pytest.approx(5 / 101), (2, 22))
    assert limit.interval == pytest.approx((0.0164, 0.0993), abs=1e-3)
    assert repr(limit) == "<4.95 % promised, between 1.6 and 9.9 %, from 100 scores>"
    assert calibration.beyond(limit.above) == (4, True)
    few = calibration.for_rate(0.001)
    assert (few.basis.name, few.rejected(10)[0]) == ("EXTRAPOLATED", 0)


def curves(n, seed):
    values = np.random.default_rng(seed).standard_t(3, (n, 50))  # heavy tails
    return values, [limes.curve(v, 0, 50) for v in values]


def learn_values(_, rule):
    return limes.learn_values(curves(60, 1)[0][:, 0], rule)


@pytest.mark.parametrize("learn", [limes.learn, limes.learn_tracks, learn_values])
def test_limits_for_a_rate(learn, tmp_path):
    values, parts = curves(60, 1)
    new, news = curves(300, 2)
    if learn is learn_values:
        values, news = values[:, :1], list(new[:, 0])
    limit = learn(parts, limes.Rule(reject=0.1))
    plain = limes.Calibration(limes.scores(values, one_pass=True))
    assert limit.promise.basis.name == "RANK" and len(limit.calibration) == 50
    assert limit.promise.above == pytest.approx(plain.for_rate(0.1).above, rel=1e-2)
    least, most = limit.promise.rejected(300)
    assert least <= sum(not limit.judge(part) for part in news) <= most

    limit.save(tmp_path / "limit")
    limit.reject = 0.5
    twins = [type(limit).load(tmp_path / "limit"), pickle.loads(pickle.dumps(limit))]
    assert (twins[0].reject, twins[1].reject) == (0.1, 0.5)
    twins[0].reject = 0.5
    rejected = [part for part in news if not limit.judge(part)]
    assert len(rejected) > most
    for twin in twins:
        assert [part for part in news if not twin.judge(part)] == rejected
    twins[0].merge(twins[1])
    assert len(twins[0].calibration) == 100 and twins[0].promise.basis.name == "RANK"


def test_a_rate_without_scores_judges_nothing():
    limit = limes.learn_values(np.arange(13.0), limes.Rule(reject=0.01))
    with pytest.raises(ValueError, match="has 3: learn 14 parts"):
        limit.judge(1.0)
    limit.learn(20.0)
    assert limit.promise.basis.name == "EXTRAPOLATED" and not limit.judge(1e9)
    limit.calibration = limes.Calibration(np.arange(400.0).reshape(200, 2))
    assert limit.promise.basis.name == "RANK"


def test_one_strange_part_among_few_forms_no_limit():
    parts = [10 + 0.1 * (i * 7 % 11) for i in range(17)] + [90.0] + [10.3, 10.7]
    with pytest.raises(ValueError, match="spreads from the mean"):
        limes.learn_values(parts).judge(10.5)


def test_modes_find_what_the_points_hide():
    rng = np.random.default_rng(3)
    way = np.cos(np.arange(40) / 10)
    make = lambda: 50 + 8 * rng.normal() * way + 0.4 * rng.normal(size=40)
    modes = limes.Modes(1, reject=0.05)
    with pytest.raises(ValueError, match="no limit yet"):
        modes.judge(make())
    for _ in range(100):
        modes.learn(make())
    assert len(modes.tool) == 100 and modes.tool.shares[0] > 0.9
    bad = make()
    bad[11] += 3
    found = modes.judge(bad)
    assert found.verdict == limes.Verdict.FAIL and list(found.beyond) == [11]
    far = modes.judge(50 + 60 * way)
    assert far.verdict == limes.Verdict.FAIL and abs(far.amounts[0]) > far.amount_limit
    half = make()
    half[::2] = np.nan
    assert modes.judge(half).verdict == limes.Verdict.NOT_JUDGED
    assert modes.judge(half, min_share=0.5).verdict == limes.Verdict.PASS
    with pytest.raises(ValueError):
        modes.learn(make()[:39])
    again = pickle.loads(pickle.dumps(modes.tool))
    assert bytes(again) == bytes(modes.tool)
    assert sum(modes.judge(make()).verdict == limes.Verdict.FAIL for _ in range(200)) < 30


def test_modes_take_rows_of_numbers_alone():
    rng = np.random.default_rng(3)
    rows = [50 + rng.normal(size=40) for _ in range(60)]
    modes = limes.Modes(1, reject=0.05)
    for row in rows:
        modes.learn(row)
    bad = np.where(np.arange(40) == 7, 90, rows[0])
    half = np.ma.masked_array(bad, mask=np.arange(40) < 20)
    told = modes.judge(half)
    assert (told.verdict.name, told.reason.name) == ("NOT_JUDGED", "COVERS_TOO_LITTLE")
    assert modes.judge(bad).reason == limes.PartStatus.OK
    for call, given, why in (
        (modes.judge, bad[1:], "of 40 points"),
        (modes.judge, bad.reshape(2, 20), "of 40 points"),
        (modes.learn, bad + 1j, "not of complex"),
        (modes.judge, [str(v) for v in bad], "row of numbers"),
        (modes.learn, half, "too little"),
        (modes.calibrate, [*rows, half], "too little"),
        (modes.calibrate, [row[1:] for row in rows], "of 40 points"),
        (modes.calibrate, [*rows, rows[3].copy()], "part 61 is part 4 once more"),
        (modes.calibrate, rows[:3], "beside those left out"),
        (lambda base: setattr(modes, "base", base), np.nan, "finite"),
        (lambda rate: setattr(modes, "reject", rate), 5, "between 0 and 1"),
        (limes.scores, np.ma.masked_array(rows, mask=np.array(rows) > 51), "masked"),
    ):
        with pytest.raises((ValueError, TypeError), match=why):
            call(given)
    assert len(modes.tool) == 60 and len(modes.calibration) == 60 - modes.tool.parts_needed


@pytest.mark.parametrize("count", [0, 1])
def test_the_whole_finds_what_is_small_everywhere(count):
    rng = np.random.default_rng(3)
    way = np.cos(np.arange(40) / 10)
    make = lambda: 50 + 8 * rng.normal() * way + 0.4 * rng.normal(size=40)
    parts = [make() for _ in range(120)]
    plain, whole = limes.Modes(count or 1, reject=0.05), limes.Modes(count, reject=0.05, whole=True)
    for part in parts:
        plain.learn(part)
        whole.learn(part)
    ripple = 50 + 0.7 * (-1.0) ** np.arange(40)
    assert plain.judge(ripple).verdict == limes.Verdict.PASS
    for _ in range(2):
        found = whole.judge(ripple)
        assert found.verdict == limes.Verdict.FAIL and found.whole > found.whole_limit
        assert len(found.amounts) == count
        assert np.array_equal(found.residual, ripple - found.expected)
        assert sum(whole.judge(make()).verdict == limes.Verdict.FAIL for _ in range(200)) < 24
        whole.calibrate(parts)
    assert len(whole.calibration) == 120
    limit = pickle.loads(pickle.dumps(whole.promise))
    assert limit.whole == whole.promise.whole


def test_modes_of_curves_judge_what_was_measured_where_it_was():
    rng = np.random.default_rng(3)
    unit = {"x_unit": "s", "y_unit": "N"}
    make = lambda: 50 + (8 + rng.normal()) * np.cos(np.arange(40) / 10) + 0.1 * rng.normal(size=40)
    modes = limes.Modes(1, reject=0.05)
    for _ in range(120):
        modes.learn(limes.curve(make(), 1, 5, **unit))
    good = make()
    later = limes.curve(good[2:], 1.2, 5, **unit)
    told = pickle.loads(pickle.dumps(modes)).judge(later)
    assert told.verdict == limes.Verdict.PASS and np.isnan(told.residual[:2]).all()
    assert told.judged_share == 0.95 and told.x[3] == pytest.approx(1.3)
    assert abs(told.residual[2:]).max() < 1 and pickle.loads(pickle.dumps(told)).verdict
    assert modes.judge(later, min_share=0.96).verdict == limes.Verdict.NOT_JUDGED
    covered = np.arange(40) < 30
    assert modes.judge(limes.Part(limes.curve(good, 1, 5, **unit), covered)).judged_share == 0.75
    for wrong, why in (
        (limes.curve(good, 1, 5, x_unit="s", y_unit="V"), "unit"),
        (limes.curve(good, 1, 9, **unit), "steps"),
        (limes.curve(good, 100, 104, **unit), "point"),
        (limes.curve(np.tile(good, 2), 1, 9, **unit), "covers too little"),
        (limes.curve(np.zeros(40), 1, 5, **unit), "signal"),
        (limes.curve(np.where(covered, good, np.nan), 1, 5, **unit), "finite"),
        (good, "a curve"),
    ):
        with pytest.raises(ValueError, match=why):
            modes.judge(wrong)
