"""Detectors of scikit-learn beside ours: scripts/evaluate --peers.

The same curves (those that the program forms), the same random draws as evaluate_rates.py. A peer
learns the drawn good parts, each point in spreads from its mean; its limit for the promised rate is
a rank of the scores of these parts, each by the peer learnt on the other four fifths of them.
"""

import math
import os
import shlex
import tempfile

os.environ.setdefault("OMP_NUM_THREADS", "1")

import numpy as np
from sklearn.covariance import LedoitWolf
from sklearn.ensemble import IsolationForest
from sklearn.model_selection import KFold
from sklearn.neighbors import LocalOutlierFactor
from sklearn.svm import OneClassSVM

from evaluate_rates import judge_draw, learn_draw, sets, split

DRAWS = 10
RATE = 0.05
MARK = "<!-- peers: written by scripts/evaluate --peers -->"


class Mahalanobis:
    """Distance by a covariance that is shrunk towards equal variances."""

    def fit(self, x):
        found = LedoitWolf(store_precision=False).fit(x)
        self.mean, self.root = found.location_, np.linalg.cholesky(found.covariance_)
        return self

    def score_samples(self, x):
        return -np.sum(np.linalg.solve(self.root, (x - self.mean).T) ** 2, axis=0)


PEERS = {
    "isolation forest": lambda n, seed: IsolationForest(random_state=seed),
    "one-class SVM": lambda n, seed: OneClassSVM(nu=RATE, gamma="scale"),
    "local outlier factor":
        lambda n, seed: LocalOutlierFactor(n_neighbors=min(20, n - 1), novelty=True),
    "Mahalanobis, shrunk": lambda n, seed: Mahalanobis(),
}


def scores(peer, learnt, *others, seed=0):
    """How far out parts lie, by a peer that has learnt some."""
    mean, spread = learnt.mean(0), learnt.std(0)
    varies = spread > 2.0 ** -24 * np.abs(mean)
    scaled = lambda x: (x[:, varies] - mean[varies]) / spread[varies]
    fitted = PEERS[peer](len(learnt), seed).fit(scaled(learnt))
    return [-fitted.score_samples(scaled(x)) for x in others]


def rank_limit(held_back, rate):
    """The score that further parts exceed with the rate, at most; and whether they are enough."""
    m = len(held_back)
    rank = math.ceil((1 - rate) * (m + 1) - 1e-9)
    return np.sort(held_back)[min(rank, m) - 1], rank <= m


def auc(good, bad):
    good = np.sort(good)
    return np.mean(np.searchsorted(good, bad, "left") + np.searchsorted(good, bad, "right")) \
        / (2 * len(good))


def judge_by_peer(peer, learnt, good, bad, seed):
    held_back = np.empty(len(learnt))
    for rest, left in KFold(5, shuffle=True, random_state=seed).split(learnt):
        held_back[left] = scores(peer, learnt[rest], learnt[left], seed=seed)[0]
    limit, enough = rank_limit(held_back, RATE)
    of_good, of_bad = scores(peer, learnt, good, bad, seed=seed)
    return auc(of_good, of_bad), np.mean(of_good > limit), np.mean(of_bad <= limit), enough


def normal_score(excess, n):
    """As the program turns an excess of so many spreads into a score."""
    v = n - 1
    t = excess * math.sqrt(v / (v + 2))
    return math.copysign((8 * v + 1) / (8 * v + 3) * math.sqrt(v * math.log1p(t * t / v)), t)


def margins(parts, lines, n):
    """One number per part, larger than 0 beyond the limit for the rate: of its two sides and of the
    whole, each in the spread of its scores, which the limits for two rates tell."""
    limited = {"upper": ["above"], "lower": ["below"]}.get(lines[RATE]["sides"], ["above", "below"])
    told = lambda rate: all(lines[rate][f"factor_{side}"] is not None for side in limited)
    other = next((rate for rate in (0.01, 0.02, 0.1) if rate in lines and told(rate)), None)
    if other is None or not told(RATE):  # a limit that lets everything pass is none
        return np.zeros(len(parts))
    limit = {(rate, side): normal_score(lines[rate][f"factor_{side}"], n)
             for rate in (RATE, other) for side in limited}
    if "score_limit_whole" in lines[RATE]:
        limit.update({(rate, "whole"): lines[rate]["score_limit_whole"] for rate in (RATE, other)})
    sides = [side for rate, side in limit if rate == RATE]
    width = {side: max(abs(limit[other, side] - limit[RATE, side]), 1e-9) for side in sides}
    def number(part, side):  # none is no finite one: what never changed before did
        score = part[f"score_{side}"]
        return 1e9 if score is None else (score - limit[RATE, side]) / width[side]

    return np.array([max(number(part, side) for side in sides) for part in parts])


def judge_by_ours(limes, folder, one_set, number, more):
    store = learn_draw(limes, folder, one_set, number, more)
    (goods, good_parts), (bads, bad_parts) = judge_draw(limes, folder, one_set, number, store)
    os.remove(store)
    n = split(one_set, number)[1]
    line, bad = goods[RATE], bads[RATE]
    return (auc(margins(good_parts, goods, n), margins(bad_parts, goods, n)),
            line["rejected"] / line["parts"], 1 - bad["rejected"] / bad["parts"],
            not line["extrapolated"])


def curves(limes, folder, one_set):
    """Good and bad parts as the program forms them, a row each: all points of all quantities."""
    _, options, good, bad, write = one_set
    if "--values" in options:
        return [np.array([[float(v) for _, values in part for v in values] for part in parts])
                for parts in (good, bad)]
    reading = list(options)
    for option in ("--sides", "--label-column"):
        if option in reading:
            at = reading.index(option)
            del reading[at:at + 2]
    if "--first-value" in reading:
        reading += ["--skip", "label"]
    path = os.path.join(folder, "formed.csv")

    def formed(parts):
        limes("convert", *write(parts, [], folder), *reading, "--out", path, "--force")
        with open(path) as file:
            file.readline()
            return np.array([[float(cell) for cell in line.split(",")[1:]] for line in file]).T

    x = formed(list(good) + list(bad))
    rows_per_part = len(x) // (len(good) + len(bad))
    x = x.reshape(len(good) + len(bad), rows_per_part * x.shape[1])
    return x[:len(good)], x[len(good):]


def cell(results):
    area, alarms, misses, enough = (np.mean([r[i] for r in results]) for i in range(4))
    return f"{area:.3f}, {'' if enough == 1 else '~'}{100 * alarms:.1f}, {100 * misses:.0f}"


def print_peers(data, limes, learn_arguments, page):
    ours = {"limes": []}
    if learn_arguments:
        ours[f"limes {learn_arguments}"] = shlex.split(learn_arguments)
    lines = [f"| set, parts learnt | {' | '.join([*ours, *PEERS])} |",
             "|---|" + "---|" * (len(ours) + len(PEERS))]
    print("\n".join(lines), flush=True)
    with tempfile.TemporaryDirectory() as folder:
        for one_set in sets(data, folder):
            good, bad = curves(limes, folder, one_set)
            results = {name: [] for name in [*ours, *PEERS]}
            for number in range(DRAWS):
                for name, more in ours.items():
                    results[name].append(judge_by_ours(limes, folder, one_set, number, more))
                order, n = split(one_set, number)
                for peer in PEERS:
                    results[peer].append(
                        judge_by_peer(peer, good[order[:n]], good[order[n:]], bad, number))
            lines.append(f"| {one_set[0]}, {n} | " +
                         " | ".join(cell(results[name]) for name in results) + " |")
            print(lines[-1], flush=True)
    if page:
        with open(page) as file:
            before, _, after = file.read().split(MARK)
        with open(page, "w") as file:
            file.write("\n".join([before + MARK, "", *lines, "", MARK + after]))
