"""Table of benchmark results: ours beside the best peer, by the names WHO/OPERATION/SIZE.

usage: bench_table.py RESULTS_DIR OUT_JSON
"""

import json
import pathlib
import sys


def read(folder):
    """Best time in ns of each (operation, size) and who ran it, in the order of the files."""
    best = {}
    for path in sorted(pathlib.Path(folder).glob("*.json")):
        for run in json.loads(path.read_text())["benchmarks"]:
            if run.get("run_type") == "aggregate":
                continue
            parts = run.get("run_name", run["name"]).split("/")
            if len(parts) < 3 or run.get("error_occurred"):
                continue
            who, operation, size = parts[:3]
            scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
            times = best.setdefault((path.stem, operation, size), {})
            times[who] = min(times.get(who, float("inf")), run["cpu_time"] * scale)
    return best


def rows(best):
    for (_, operation, size), times in best.items():
        if "Ours" not in times:
            continue
        ours = times["Ours"]
        peers = {who: time for who, time in times.items() if who != "Ours"}
        peer = min(peers, key=peers.get) if peers else None
        yield {
            "operation": operation,
            "size": int(size) if size.isdigit() else size,
            "ours_ns": round(ours, 1),
            "peer": peer,
            "peer_ns": round(peers[peer], 1) if peer else None,
            "ratio": round(ours / peers[peer], 3) if peer else None,
        }


def main():
    table = list(rows(read(sys.argv[1])))
    pathlib.Path(sys.argv[2]).write_text(json.dumps(table, indent=1) + "\n")
    print(f"{'operation':28}{'size':>10}{'ours ns':>14}{'peer ns':>14}{'ours/peer':>11}  peer")
    for row in table:
        peer_ns = "" if row["peer"] is None else f"{row['peer_ns']:.0f}"
        ratio = "" if row["ratio"] is None else f"{row['ratio']:.3f}"
        print(
            f"{row['operation']:28}{row['size']:>10}{row['ours_ns']:14.0f}{peer_ns:>14}{ratio:>11}"
            f"  {row['peer'] or ''}"
        )


if __name__ == "__main__":
    main()
