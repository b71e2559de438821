"""Chooses the few found inputs of a fuzz target that reach most of what the committed ones do not.

The committed inputs with names of their own stay; those named by their content are chosen anew.
Each step takes the input with the most new edges, the smallest of them: MOST of them, and as many
again while each reaches several.

usage: fuzz_keep.py TARGET_PROGRAM COMMITTED_FOLDER FOUND_FOLDER MOST
"""

import hashlib
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

LARGEST = 4096


def edges(program, folders):
    """The edges that each file of the folders reaches, by libFuzzer's own account of a merge."""
    with tempfile.TemporaryDirectory() as work:
        out, control = pathlib.Path(work, "out"), pathlib.Path(work, "control")
        out.mkdir()
        options = ["-set_cover_merge=1", "-use_counters=0", "-rss_limit_mb=2048", "-timeout=60"]
        subprocess.run([program, *options, f"-merge_control_file={control}", out, *folders],
                       check=True, capture_output=True)
        lines = control.read_text(errors="surrogateescape").splitlines()
    count = int(lines[0])
    paths = [pathlib.Path(line) for line in lines[2:2 + count]]
    found = {}
    for line in lines[2 + count:]:
        kind, number, *reached = line.split()
        if kind == "FT":
            found[paths[int(number)]] = {int(edge) for edge in reached}
    return found


def covered(program, folders):
    """How many edges the folders reach together, as libFuzzer counts while it runs."""
    run = subprocess.run([program, "-runs=0", "-use_counters=0", "-rss_limit_mb=2048", *folders],
                         check=True, capture_output=True)
    return int(re.findall(rb" cov: (\d+) ", run.stderr)[-1])


def choose(reached, candidates, most):
    """The best candidates."""
    chosen = []
    size = {path: path.stat().st_size for path in candidates}
    while candidates and len(chosen) < 2 * most:
        best = max(candidates, key=lambda path: (len(candidates[path] - reached), -size[path], path))
        if len(candidates[best] - reached) < (1 if len(chosen) < most else 2):
            break
        chosen.append(best)
        reached = reached | candidates.pop(best)
    return chosen


def main(program, committed, found, most):
    committed, found = pathlib.Path(committed), pathlib.Path(found)
    own = re.compile(r"[0-9a-f]{8}")
    folders = [committed] + ([found] if found.is_dir() else [])
    all_edges = edges(program, folders)
    full = covered(program, folders)
    seeds = {p: e for p, e in all_edges.items()
             if p.parent == committed and not own.fullmatch(p.name)}
    candidates = {p: e for p, e in all_edges.items()
                  if p not in seeds and p.stat().st_size <= LARGEST}
    chosen = choose(set().union(*seeds.values()), candidates, int(most))
    with tempfile.TemporaryDirectory() as work:
        for path in chosen:
            name = hashlib.sha1(path.read_bytes()).hexdigest()[:8]
            shutil.copyfile(path, pathlib.Path(work, name))
        for path in committed.iterdir():
            if own.fullmatch(path.name):
                path.unlink()
        for path in pathlib.Path(work).iterdir():
            shutil.copyfile(path, committed / path.name)
    kept = list(committed.iterdir())
    print(f"{committed.name:<24} {len(kept):>6} {sum(p.stat().st_size for p in kept):>8} "
          f"{covered(program, [committed]):>8} {full:>8}")


main(*sys.argv[1:])
