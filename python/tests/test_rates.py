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
