"""What learn --guard holds back: scripts/evaluate --guard.

Of each set some good parts are drawn, with none or 5 % bad ones in random places, and learnt with
the guard and without: DRAWS times, with fixed seeds.
"""

import math
import os
import random
import re
import tempfile

from evaluate_rates import sets

DRAWS = 5
MOST_LEARNT, SHARE_LEARNT, SHARE_BAD = 300, 0.7, 0.05


def places(limes, store, parts):
    """Where the held parts stand among the parts: by the file, or by the number in a table."""
    names = {os.path.basename(part): place for place, part in enumerate(parts)
             if isinstance(part, str)}
    for line in limes("show", store, "--held", "--json"):
        found = re.fullmatch(r"(?:.*/)?(.*?)(?::(?:part )?(\d+))?", line["part"])
        name, number = found.groups()
        # Rows count from 1, parts that are named so from 0.
        yield names[name] if name in names else int(number) - (":part " not in line["part"])


def learnt(limes, folder, one_set, parts, *more):
    """Mean and spread at each point after learning; places of the parts held back."""
    _, options, _, _, write = one_set
    store = os.path.join(folder, "guard.limes")
    limes("learn", store, *write(parts, [], folder), *options, *more)
    side = None
    mean, spread = [], []
    for quantity in limes("show", store, "--json"):
        side = side or quantity["side"]
        if quantity["side"] == side:
            mean += quantity["mean"]
            spread += quantity["spread"]
    held = set(places(limes, store, parts)) if more else set()
    os.remove(store)
    return mean, spread, held


def moved(state, wanted):
    """RMS over the points of the shift of the mean in spreads, and of the change of the spread."""
    points = [(m, s, m0, s0) for m, s, m0, s0 in zip(*state[:2], *wanted[:2])
              if s0 is not None and s0 > 2 ** -24 * abs(m0)]
    rms = lambda values: math.sqrt(sum(v * v for v in values) / max(len(points), 1))
    return rms([(m - m0) / s0 for m, _, m0, s0 in points]), rms([s / s0 - 1 for _, s, _, s0 in points])


def draw(limes, folder, one_set, share, number):
    _, _, good, bad, _ = one_set
    chance = random.Random(number)
    n = min(MOST_LEARNT, int(SHARE_LEARNT * len(good)))
    parts = chance.sample(good, n)
    wrong = set(chance.sample(range(n), round(share * n)))
    wanted = learnt(limes, folder, one_set, [p for i, p in enumerate(parts) if i not in wrong])
    for place, part in zip(wrong, chance.choices(bad, k=len(wrong))):
        parts[place] = part
    if len({str(part) for part in parts}) < len(parts):  # one is learnt once only
        return draw(limes, folder, one_set, share, number + 1000)
    guarded = learnt(limes, folder, one_set, parts, "--guard")
    held = guarded[2]
    return (100 * len(held - wrong) / (n - len(wrong)),
            100 * len(held & wrong) / max(len(wrong), 1), *moved(guarded, wanted),
            *moved(learnt(limes, folder, one_set, parts), wanted))


def print_guard(data, limes):
    print(f"What learn --guard holds, mean of {DRAWS} random draws: parts in %, and how far the mean "
          "(in spreads)\nand the spread are from those of the good parts alone (RMS over the "
          "points), with the guard and without.\n")
    print("| set, parts | clean: held | 5 % bad: good held | bad held | mean moved by, without | "
          "spread changed by, without |")
    print("|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as folder:
        for one_set in sets(data, folder):
            n = min(MOST_LEARNT, int(SHARE_LEARNT * len(one_set[2])))
            means = []
            for share in (0, SHARE_BAD):
                of = [draw(limes, folder, one_set, share, number) for number in range(DRAWS)]
                means.append([sum(column) / DRAWS for column in zip(*of)])
            clean, mixed = means
            print(f"| {one_set[0]}, {n} | {clean[0]:.1f} | {mixed[0]:.1f} | {mixed[1]:.0f} | "
                  f"{mixed[2]:.2g}, {mixed[4]:.2g} | {mixed[3]:.2g}, {mixed[5]:.2g} |", flush=True)
