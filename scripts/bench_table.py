"""Table of benchmark results: ours beside the best peer, by the names WHO/OPERATION/SIZE.

Then the rows of TARGET_SIZES that take more than TARGET of the best peer's time.
A label of ours names what the machine can do at most: the sum of Limit/KIND/SIZE over KIND+KIND.

usage: bench_table.py RESULTS_DIR OUT_JSON
"""

import json
import pathlib
import sys


TARGET = 1.05
TARGET_SIZES = (1000, 100_000)


def read(folder):
    """Best times in ns of each (file, operation, size) by who ran it, and the limits of ours."""
    times, limits = {}, {}
    for path in sorted(pathlib.Path(folder).glob("*.json")):
        for run in json.loads(path.read_text())["benchmarks"]:
            if run.get("run_type") == "aggregate":
                continue
            parts = run.get("run_name", run["name"]).split("/")
            if len(parts) < 3 or run.get("error_occurred"):
                continue
            who, operation, size = parts[:3]
            scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
            file = path.name.split(".")[0]
            best = times.setdefault((file, operation, size), {})
            best[who] = min(best.get(who, float("inf")), run["cpu_time"] * scale)
            if who == "Ours" and run.get("label"):
                limits[file, operation, size] = run["label"].split("+")
    return times, limits


def rows(times, limits):
    by_size = sorted(times, key=lambda key: (key[0], key[1], len(key[2]), key[2]))
    for file, operation, size in by_size:
        best = times[file, operation, size]
        if "Ours" not in best:
            continue
        ours = best["Ours"]
        peers = {who: time for who, time in best.items() if who not in ("Ours", "Limit")}
        peer = min(peers, key=peers.get) if peers else None
        kinds = limits.get((file, operation, size), [])
        passes = [times.get((file, kind, size), {}).get("Limit") for kind in kinds]
        limit = sum(passes) if passes and None not in passes else None
        yield {
            "operation": operation,
            "size": int(size) if size.isdigit() else size,
            "ours_ns": round(ours, 1),
            "peer": peer,
            "peer_ns": round(peers[peer], 1) if peer else None,
            "ratio": round(ours / peers[peer], 3) if peer else None,
            "limit": "+".join(kinds) if limit else None,
            "limit_ns": round(limit, 1) if limit else None,
            "fraction_of_limit": round(limit / ours, 3) if limit else None,
        }


def text(value, digits):
    return "" if value is None else f"{value:.{digits}f}"


def main():
    table = list(rows(*read(sys.argv[1])))
    pathlib.Path(sys.argv[2]).write_text(json.dumps(table, indent=1) + "\n")
    print(
        f"{'operation':28}{'size':>10}{'ours ns':>14}{'peer ns':>14}{'ours/peer':>11}"
        f"{'of limit':>10}  peer, limit"
    )
    for row in table:
        names = ", ".join(filter(None, (row["peer"] or "-", row["limit"])))
        print(
            f"{row['operation']:28}{row['size']:>10}{row['ours_ns']:14.0f}"
            f"{text(row['peer_ns'], 0):>14}{text(row['ratio'], 3):>11}"
            f"{text(row['fraction_of_limit'], 2):>10}  {names}"
        )
    aimed = [row for row in table if row["ratio"] and row["size"] in TARGET_SIZES]
    missed = [row for row in aimed if row["ratio"] > TARGET]
    print(f"\nabove {TARGET} of the best peer: {len(missed)} of {len(aimed)} rows of 1e3 and 1e5")
    for row in sorted(missed, key=lambda row: -row["ratio"]):
        print(f"  {row['operation']:26}{row['size']:>10}{row['ratio']:8.2f}  {row['peer']}")


if __name__ == "__main__":
    main()
