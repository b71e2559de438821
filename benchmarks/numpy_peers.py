"""NumPy doing the nearest thing to what the benchmarks of a name measure, in their JSON form.

usage: numpy_peers.py NAME OUT_JSON      (nothing is written for a name without peers)
"""

import json
import os
import pathlib
import sys
import time

for variable in ("OPENBLAS_NUM_THREADS", "OMP_NUM_THREADS"):
    os.environ.setdefault(variable, "1")  # as ours

import numpy as np  # noqa: E402


def best_ns(call, seconds=0.3):
    """Shortest processor time of one call; short calls are timed by the hundred."""
    call()
    start = time.process_time_ns()
    call()
    repeats = max(1, min(100, 1_000_000 // max(time.process_time_ns() - start, 1)))
    best = float("inf")
    end = time.perf_counter_ns() + int(seconds * 1e9)
    while time.perf_counter_ns() < end or best == float("inf"):
        start = time.process_time_ns()
        for _ in range(repeats):
            call()
        best = min(best, (time.process_time_ns() - start) / repeats)
    return best


def pairs():
    random = np.random.default_rng(7)
    for n in (1000, 100_000, 1_000_000):
        x = np.arange(n, dtype=np.float32) + random.random(n, dtype=np.float32) / 2
        y = random.random(n, dtype=np.float32)
        other = x + np.float32(0.5)
        if n <= 100_000:
            queries = random.random(4096, dtype=np.float32) * n  # the benchmark looks up 64
            yield "ValueAt", n, lambda: np.interp(queries, x, y), 64 / 4096
            yield "IndexAt", n, lambda: np.searchsorted(x, queries), 64 / 4096
            order = random.permutation(n)
            mixed, values = x[order], y[order]

            def sort():
                places = np.argsort(mixed)
                return mixed[places], values[places]

            yield "SortShuffled", n, sort, 1

            def plus():
                points = np.union1d(x, other)
                return points, np.interp(points, x, y) + np.interp(points, other, y)

            yield "CombinePlus", n, plus, 1

        yield "CombineUnion", n, lambda: np.union1d(x, other), 1  # the points alone, no tolerance


def arrays():
    for curves, values in ((10, 1000), (1000, 10000), (10, 1_000_000)):
        table = np.random.default_rng(1).random((curves, values), dtype=np.float32)
        size = f"{curves}x{values}"
        yield "Mittelwert", size, lambda: table.mean(axis=0), 1
        yield "RMS", size, lambda: np.sqrt(np.square(table).mean(axis=0)), 1
        yield "Maximum", size, lambda: table.max(axis=0), 1


def vector_reductions():
    for n in (1000, 100_000, 10_000_000):
        a = np.random.default_rng(2).random(n, dtype=np.float32)
        b = a[::-1].copy()
        yield "VectorMinMax", n, lambda: (a.min(), a.max()), 1
        yield "VectorMaxIdx", n, lambda: a.argmax(), 1
        yield "VectorMinIdx", n, lambda: a.argmin(), 1
        yield "MaxDifference", n, lambda: (a - b).max(), 1
        for bin in (10, 1000):
            starts = np.arange(0, n, bin)
            yield f"DownsamlingMeanBin{bin}", n, lambda: np.add.reduceat(a, starts) / bin, 1


def modes():
    """Principal components learnt in batches; one part is a share of a batch."""
    try:
        from sklearn.decomposition import IncrementalPCA
    except ImportError:
        return
    n = 1000
    for name, components, batch in (("Modes", 10, 32), ("Whole", 96, 96)):  # as many as are kept
        parts = np.random.default_rng(4).random((batch, n))
        pca = IncrementalPCA(n_components=components)

        def learn(pca=pca, parts=parts):
            pca.partial_fit(parts)

        def judge(pca=pca, parts=parts):
            return parts - pca.inverse_transform(pca.transform(parts))

        yield f"{name}Learn", n, learn, 1 / batch
        yield f"{name}Judge", n, judge, 1 / batch


def main():
    peers = {
        "pairs": pairs,
        "arrays": arrays,
        "vector_reductions": vector_reductions,
        "modes": modes,
    }
    name, out = sys.argv[1:]
    if name not in peers:
        return
    runs = [
        {
            "name": f"{'Sklearn' if name == 'modes' else 'Numpy'}/{operation}/{size}",
            "run_type": "iteration",
            "cpu_time": best_ns(call) * share,
            "time_unit": "ns",
        }
        for operation, size, call, share in peers[name]()
    ]
    pathlib.Path(out).write_text(json.dumps({"benchmarks": runs}))


if __name__ == "__main__":
    main()
