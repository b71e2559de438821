"""Learns the same parts in every engine and compares what comes of it: the same bytes where the order
is the same, limits within 1e-9 of the spread where it is not. With --measure it says how long
PostgreSQL takes. To be run by scripts/engines, with a server that has the extension.

usage: compare.py PARTS [--measure]
"""

import array
import os
import pathlib
import re
import sqlite3
import subprocess
import sys
import tempfile

import parts
import limits

GRID = "dx=10 x_unit=Hz unit=dB"
FIELDS = {"dx": 10.0, "x_unit": b"Hz", "unit": b"dB"}
FACTOR, PRECISE = "factor=3", "factor=3 precise=1"
AT_ONCE = 100  #: parts of a task on the cluster


def spectra(first, count):
    """Parts by their numbers, as arrays of floats."""
    start = first // parts.AT_ONCE * parts.AT_ONCE
    block = next(parts.blocks(parts.AT_ONCE, start))
    for row in block[first - start:first - start + count]:
        yield array.array("f", row.tobytes())


def learn(first, count, precise):
    library = limits.Library(os.environ["LIMES_C_LIBRARY"])
    limit = limits.Limit(library, limits.CURVE, limits.Rule(factor=3.0, precise=precise))
    for at in range(first, first + count, AT_ONCE):
        for part in spectra(at, min(AT_ONCE, first + count - at)):
            limit.learn(part, **FIELDS)
    return limit.state


def learn_precisely(span):
    return learn(*span, 1)


def read(state):
    return limits.Limit(limits.Library(os.environ["LIMES_C_LIBRARY"]), limits.CURVE, state=state)


def join(earlier, later):
    limit = read(earlier)
    limit.merge(read(later))
    return limit.state


def psql(*statements):
    done = subprocess.run(["psql", "-XAtq", "-v", "ON_ERROR_STOP=1"], text=True, check=True,
                          input=";\n".join(statements) + ";", stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT)
    return done.stdout


def fill(count):
    psql("CREATE EXTENSION limes", "CREATE TABLE part(id integer, level real[])")
    with subprocess.Popen(["psql", "-Xqc", "COPY part FROM STDIN (FORMAT binary)"],
                          stdin=subprocess.PIPE) as copy:
        parts.write_copy(copy.stdin, count)
        copy.stdin.close()
    psql("VACUUM ANALYZE part")


SERIAL = "SET max_parallel_workers_per_gather = 0"


def parallel(workers):
    """Settings for a plan in which so many workers do all of the work."""
    return (f"SET max_parallel_workers_per_gather = {workers}",
            f"ALTER TABLE part SET (parallel_workers = {workers})",
            "SET parallel_leader_participation = off", "SET min_parallel_table_scan_size = 0",
            "SET parallel_setup_cost = 0", "SET parallel_tuple_cost = 0")


def by_postgresql(rule, *settings):
    text = psql(*settings, f"SELECT limes_learn(level, '{GRID}', '{rule}') FROM part")
    return bytes.fromhex(text.strip().removeprefix("\\x"))


def by_sqlite(count, rule):
    db = sqlite3.connect(":memory:")
    db.enable_load_extension(True)
    db.load_extension(os.environ["LIMES_SQLITE_MODULE"].removesuffix(".so"))
    db.execute("CREATE TABLE part(id INTEGER PRIMARY KEY, level BLOB)")
    for first in range(0, count, AT_ONCE):
        db.executemany("INSERT INTO part VALUES(NULL, ?)",
                       ((p.tobytes(),) for p in spectra(first, min(AT_ONCE, count - first))))
    return db.execute("SELECT limes_learn(level, ?, ?) FROM part", (GRID, rule)).fetchone()[0]


def by_csharp(count):
    with tempfile.TemporaryDirectory() as work:
        path = pathlib.Path(work, "parts.f32")
        with path.open("wb") as file:
            for first in range(0, count, AT_ONCE):
                for part in spectra(first, min(AT_ONCE, count - first)):
                    file.write(part.tobytes())
        done = subprocess.run(["mono", os.environ["LIMES_CSHARP"], path, str(parts.POINTS)],
                              check=True, text=True, stdout=subprocess.PIPE, env=os.environ | {
                                  "LD_LIBRARY_PATH": os.path.dirname(os.environ["LIMES_C_LIBRARY"])})
    return bytes.fromhex(done.stdout)


def by_dask(count):
    from distributed import Client, LocalCluster
    from tree import learn_tree
    spans = [(first, min(AT_ONCE, count - first)) for first in range(0, count, AT_ONCE)]
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, \
            Client(cluster) as client:
        return learn_tree(client, spans, learn_precisely, join).result()


def require(holds, what):
    print(f"{'same' if holds else 'DIFFERENT'}: {what}")
    if not holds:
        sys.exit(1)


def difference(state, other):
    """Largest difference of the limits, in spreads."""
    most = 0.0
    for side in (limits.UPPER, limits.LOWER):
        _, _, spread, bound = read(state).limits(side)
        most = max(most, *(abs(a - b) / s
                           for a, b, s in zip(bound, read(other).limits(side)[3], spread)))
    return most


def compare(count):
    state, precise = learn(0, count, 0), learn(0, count, 1)
    for rule, expected in ((FACTOR, state), (PRECISE, precise)):
        require(by_sqlite(count, rule) == expected, f"SQLite, {rule}, to the last bit")
        require(by_postgresql(rule, SERIAL) == expected, f"PostgreSQL, {rule}, to the last bit")
    if "LIMES_CSHARP" in os.environ:
        require(by_csharp(count) == state, f"C#, {FACTOR}, to the last bit")
    in_float = difference(by_postgresql(FACTOR, *parallel(2)), state)
    print(f"in float a parallel plan differs by {in_float:.1e} spreads")
    most = difference(by_postgresql(PRECISE, *parallel(2)), precise)
    require(most <= 1e-9, f"PostgreSQL, 2 workers, {PRECISE}, within {most:.1e} spreads")
    try:
        most = difference(by_dask(count), precise)
    except ImportError:
        print("no dask.distributed, so no cluster")
        return
    require(most <= 1e-9, f"dask, tree of {-(-count // AT_ONCE)} states, within {most:.1e} spreads")


def measure(count):
    """The fastest of five runs each, and the processor time of serial ones."""
    read_all = "SELECT sum(array_length(level, 1)) FROM part"
    learn_all = f"SELECT limes_learnt(limes_learn(level, '{GRID}', '{{}}')) FROM part"
    plans = [("reads the arrays", read_all), ("learns, factor=3", learn_all.format(FACTOR)),
             ("learns, reject=0.01", learn_all.format("reject=0.01")),
             ("learns, precise=1", learn_all.format(PRECISE))]
    print(psql("SELECT pg_size_pretty(pg_total_relation_size('part'))").strip())
    for name, query in plans:
        text = psql(SERIAL, "SET client_min_messages = log", "SET log_executor_stats = on",
                    *[query] * 5)
        used = [float(user) + float(system) for user, system in
                re.findall(r"([\d.]+) s user, ([\d.]+) s system, [\d.]+ s elapsed", text)]
        print(f"{name}: {min(used) / count * 1e6:.1f} us of processor a part")
        for workers in (1, 2):
            text = psql(*parallel(workers), "\\timing on\n" + query, *[query] * 4)
            times = [float(ms) for ms in re.findall(r"Time: ([\d.]+) ms", text)]
            print(f"{name}: {min(times) / 1e3:.2f} s with {workers} workers")


if __name__ == "__main__":
    number = int(sys.argv[1])
    fill(number)
    if "--measure" in sys.argv:
        measure(number)
    else:
        compare(number)
