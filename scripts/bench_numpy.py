"""numpy beside the benchmarks of pair signals: adds its times to their results.

The data are those of benchmarks/pairs_bench.cpp in kind, not in every bit. Nothing is added when the
results are not there.

usage: bench_numpy.py RESULTS_DIR
"""

import json
import pathlib
import sys
import time

import numpy as np

BATCH = 64  # look-ups in one iteration of the benchmark
QUERIES = 4096


def best(call, seconds=0.2):
    """Shortest time of a call in ns."""
    call()
    lowest = float("inf")
    end = time.perf_counter() + seconds
    while time.perf_counter() < end or lowest == float("inf"):
        start = time.perf_counter()
        call()
        lowest = min(lowest, time.perf_counter() - start)
    return lowest * 1e9


def measured(n):
    random = np.random.default_rng(7)
    x = np.arange(n, dtype="f4") + random.uniform(0, 0.5, n).astype("f4")
    y = random.uniform(0, 1, n).astype("f4")
    other = x + np.float32(0.5)
    shuffled = random.permutation(x)
    queries = random.uniform(0, n, QUERIES).astype("f4")
    yield "ValueAt", best(lambda: np.interp(queries, x, y)) * BATCH / QUERIES
    yield "IndexAt", best(lambda: np.searchsorted(x, queries)) * BATCH / QUERIES

    def sort():
        order = np.argsort(shuffled, kind="stable")
        return shuffled[order], y[order]

    def plus():  # the union has no tolerance, so this is less than the combination
        at = np.union1d(x, other)
        return np.interp(at, x, y) + np.interp(at, other, y)

    yield "SortShuffled", best(sort)
    yield "CombineUnion", best(lambda: np.union1d(x, other))
    yield "CombinePlus", best(plus)


def main(folder):
    path = pathlib.Path(folder) / "pairs.json"
    if not path.exists():
        return
    results = json.loads(path.read_text())
    for n in (1000, 100000):
        for operation, ns in measured(n):
            name = f"Numpy/{operation}/{n}"
            results["benchmarks"].append(
                {"name": name, "run_name": name, "cpu_time": ns, "time_unit": "ns"}
            )
    path.write_text(json.dumps(results))


if __name__ == "__main__":
    main(sys.argv[1])
