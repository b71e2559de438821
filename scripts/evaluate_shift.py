"""What curves that come early or late cost: scripts/evaluate --shifts.

Of sets that hold rows of values each curve is moved by up to SHIFT points, good and bad alike, at
random; area under the ROC curve as measured, moved, and moved with learn --align.
"""

import random
import tempfile

from evaluate_peers import judge_by_ours
from evaluate_rates import sets, tables

DRAWS = 10
SHIFT = 3
LAG = 2 * SHIFT + 1  # the first part, to which others are moved, may be late itself
SETS = {"wafer": 1.0, "hydraulic flow": 0.1}  # and the step of x


def moved(parts, most, seed):
    """Each curve without the SHIFT points at its ends, which it is moved into."""
    draw = random.Random(seed)
    result = []
    for part in parts:
        at = SHIFT + draw.randint(-most, most)
        result.append([(axis, values[at:len(values) + at - 2 * SHIFT]) for axis, values in part])
    return result


def print_shifts(data, limes):
    rows = [("as measured", 0, []), (f"moved by up to {SHIFT}", SHIFT, []),
            ("moved, --align", SHIFT, ["--align"])]
    print("| set | limits | " + " | ".join(name for name, _, _ in rows) + " |")
    print("|---|---|" + "---|" * len(rows))
    with tempfile.TemporaryDirectory() as folder:
        for name, options, good, bad, write in sets(data, folder):
            if name not in SETS:
                continue
            names = [f"p{i}" for i in range(len(good[0][0][1]) - 2 * SHIFT)]
            options = ["p0" if o == options[options.index("--first-value") + 1] else o
                       for o in options]
            write = lambda *parts, names=names: tables(names, *parts)
            for more in ([], ["--modes", "3"], ["--modes", "auto"]):
                areas = []
                for _, most, align in rows:
                    lag = [*align, str(LAG * SETS[name])] if align else []
                    one_set = (name, options, moved(good, most, 1), moved(bad, most, 2), write)
                    results = [judge_by_ours(limes, folder, one_set, draw, [*more, *lag])
                               for draw in range(DRAWS)]
                    areas.append(sum(r[0] for r in results) / DRAWS)
                print(f"| {name} | {' '.join(more) or 'points'} | " +
                      " | ".join(f"{area:.4f}" for area in areas) + " |", flush=True)
