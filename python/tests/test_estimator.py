"""The estimator keeps scikit-learn's rules, and its rate."""

import pickle
import subprocess
import sys

import numpy as np
import pytest

import limes

pytest.importorskip("sklearn")
from sklearn.utils.estimator_checks import check_estimator  # noqa: E402


@pytest.mark.parametrize("changes", [{}, {"factor": 1.0, "sides": "upper"}, {"base": 1.0}])
def test_passes_the_checks_of_scikit_learn(changes):
    check_estimator(limes.LimitEstimator(**changes))


def parts(n, seed):
    return 1e6 + np.random.default_rng(seed).standard_t(3, (n, 40))


@pytest.mark.parametrize("sides", ["both", "upper", "lower"])
def test_rejects_the_promised_rate(sides):
    good, new = parts(300, 1), parts(1000, 2)
    estimator = limes.LimitEstimator(reject=0.05, sides=sides).fit(good)
    rejected = np.sum(estimator.predict(new) == -1)
    least, most = estimator.limit_.rejected(1000)
    assert least <= rejected <= most
    bad = new.copy()
    bad[:, 7] += 40 * (-1 if sides == "lower" else 1)
    assert np.all(estimator.predict(bad) == -1)
    bad[:, 7] -= 80 * (-1 if sides == "lower" else 1)
    assert np.all(estimator.predict(bad) == -1) == (sides == "both")
    twin = pickle.loads(pickle.dumps(estimator))
    assert np.array_equal(twin.score_samples(new), estimator.score_samples(new))
    assert np.array_equal(estimator.predict(new) == -1, estimator.decision_function(new) < 0)


def test_factor_is_that_of_limits():
    good, new = parts(30, 1)[:, :1] - 1e6, parts(200, 2)[:, :1] - 1e6
    estimator = limes.LimitEstimator(factor=2.0, base=0.5).fit(good)
    limit = limes.learn_values(good[:, 0], limes.Rule(factor=2, base=0.5))
    assert [bool(limit.judge(v)) for v in new[:, 0]] == list(estimator.predict(new) == 1)


def test_a_change_of_what_never_varied_is_an_outlier():
    good = parts(50, 3)
    good[:, 5] = 7.0
    new = good[:2].copy()
    new[1, 5] = 7.001
    assert list(limes.LimitEstimator(reject=0.05).fit(good).predict(new)) == [1, -1]


def test_refuses():
    for changes in ({"reject": 2}, {"sides": "left"}, {"factor": -1.0}, {"base": np.nan}):
        with pytest.raises(ValueError):
            limes.LimitEstimator(**changes).fit(parts(50, 1))
    with pytest.raises(ValueError, match="does not belong"):
        strange = np.array([[10 + 0.1 * (i * 7 % 11)] for i in range(19)] + [[90.0]])
        limes.LimitEstimator().fit(strange)


def test_limes_needs_no_scikit_learn():
    code = "import sys; sys.modules['sklearn'] = None; import limes\ntry: limes.LimitEstimator\n"
    code += "except ImportError as e: assert 'scikit-learn' in str(e)\nelse: assert False"
    subprocess.run([sys.executable, "-c", code], check=True)
