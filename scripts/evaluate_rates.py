"""What limits for a rate keep: the second table of scripts/evaluate.

Of each set some good parts are drawn, learnt in that order by the program, and the other good and
all bad parts judged by the factor 3 and by the rates: DRAWS times, with fixed seeds. By each rate
twice: from the scores of learning, and from those of limes calibrate (leave one out).
"""

import csv
import glob
import math
import os
import random
import shutil
import tempfile
import wave

DRAWS = 10
RATES = (0.05, 0.01)
SHARE_LEARNT, MOST_LEARNT = 0.7, 400


def rows(path, first, is_good, keep=lambda row: True, part=None, scale=1.0):
    """Good and bad parts of a table, each a list of (axis, values): a row, or those that have the
    same text in the column part; none where there is no such file."""
    if not os.path.exists(path):
        return [first], [], []
    with open(path, newline="") as file:
        table = [row for row in csv.DictReader(file) if keep(row)]
    names = list(table[0])[list(table[0]).index(first):]
    parts = {}
    for number, row in enumerate(table):
        key = (not is_good(row), row[part] if part else number)
        values = [row[name] if scale == 1.0 else repr(float(row[name]) * scale) for name in names]
        parts.setdefault(key, []).append((row.get("axis", "x"), values))
    return names, *([p for (bad, _), p in parts.items() if bad == wanted]
                    for wanted in (False, True))


def tables(names, good, bad, folder):
    """Writes parts as one table and gives its name."""
    path = os.path.join(folder, f"parts{len(good)}_{len(bad)}.csv")
    with open(path, "w", newline="") as file:
        out = csv.writer(file)
        out.writerow(["part", "axis", "label", *names])
        for number, part in enumerate(good + bad):
            for axis, values in part:
                label = "good" if number < len(good) else "bad"
                out.writerow([f"part {number}", axis, label, *values])
    return [path]


def pieces(paths, length, folder):
    """The recordings cut into files of so many samples each."""
    for path in paths:
        name, ending = os.path.splitext(os.path.join(folder, os.path.basename(path)))
        if ending == ".wav":
            with wave.open(path) as sound:
                size = sound.getnchannels() * sound.getsampwidth() * length
                kind, samples = sound.getparams(), sound.readframes(sound.getnframes())
            whole = [samples[i:i + size] for i in range(0, len(samples) - size + 1, size)]
        else:
            with open(path) as file:
                head, *lines = file
            whole = [lines[i:i + length] for i in range(0, len(lines) - length + 1, length)]
        for number, piece in enumerate(whole):
            written = f"{name}_{number}{ending}"
            if ending == ".wav":
                with wave.open(written, "wb") as out:
                    out.setparams(kind)
                    out.writeframes(piece)
            else:
                with open(written, "w") as out:
                    out.writelines([head, *piece])
            yield written


def sets(data, folder):
    """Name, options of learn, good and bad parts, and what writes some of them into a folder; of the
    sets that are there."""
    return (one_set for one_set in all_sets(data, folder) if one_set[2] and one_set[3])


def all_sets(data, folder):
    files = lambda pattern: sorted(glob.glob(os.path.join(data, pattern)))
    path = lambda name: os.path.join(data, name)
    as_they_are = lambda good, bad, folder: good + bad
    label = lambda row: row["label"] == "good"
    upper = ["--sides", "upper"]

    def table(name, options, *arguments, **more):
        names, good, bad = rows(*arguments, **more)
        labelled = ["--part-column", "part", "--skip", "axis", "--label-column", "label"]
        return (name, [*options, "--first-value", names[0], *labelled], good, bad,
                lambda *parts: tables(names, *parts))

    yield ("glass_bottle", ["--spectrum", "256", "--ref", "1"], files("glass_bottle/good/*.wav"),
           files("glass_bottle/bad/*.wav"), as_they_are)
    cut = lambda pattern, length: list(pieces(files(pattern), length, folder))
    yield ("gearbox a2", ["--dx", "1", "--use", "a2", "--spectrum", "1024", *upper],
           cut("gearbox/good_*.csv", 4096), cut("gearbox/bad_*.csv", 4096), as_they_are)
    motors = [f for f in cut("bldc_motor/good_*.wav", 8000) if "M1_1400" not in f]  # 44.1 kHz
    yield ("bldc_motor", ["--use", "1", "--spectrum", "1024", *upper], motors,
           cut("bldc_motor/bad_*.wav", 8000), as_they_are)
    recordings, scales = [], path("cwru_bearing/scale.csv")
    if os.path.exists(scales):
        with open(scales, newline="") as file:
            recordings = [rows(path(f"cwru_bearing/{r['file']}.csv"), "v0",
                               lambda row, r=r: r["label"] == "good",
                               scale=float(r["g_per_count"])) for r in csv.DictReader(file)]
    curves = ["--rows", "--spectrum", "1024", "--dx", "2.0833333333e-05", "--x-unit", "s", *upper]
    names = recordings[0][0] if recordings else []
    yield ("cwru_bearing", [*curves, "--first-value", "v0", "--skip", "part,axis,label"],
           sum((r[1] for r in recordings), []), sum((r[2] for r in recordings), []),
           lambda *parts: tables(names, *parts))
    yield table("wafer", ["--rows"], path("wafer/wafer.csv"), "v0", label)
    yield table("cwru_features", ["--values"], path("cwru_features/features.csv"), "max", label)
    for meter, first in (("A", "flatness_ratio"), ("C", "profile_factor")):
        yield table(f"flowmeter {meter}", ["--values"], path(f"flowmeter/meter_{meter}.csv"), first,
                    label)
    yield table("hydraulic flow", ["--rows", "--dx", "0.1"], path("hydraulic/FS1.csv"), "v0",
                lambda row: row["pump_leak"] == "0", lambda row: row["valve"] == "100")
    yield table("ceiling fan", ["--rows", "--dx", "0.005", "--detrend", "--spectrum", "128",
                                "--quantity-column", "axis", *upper],
                path("ceiling_fan/medium.csv"), "v0", label, part="run")


def interval(scores, rank, judged, sure=0.95):
    """Of so many good parts as many are rejected: central interval of the Beta-binomial
    distribution with scores + 1 - rank and rank."""
    a, b = scores + 1 - rank, rank
    log_beta = lambda x, y: math.lgamma(x) + math.lgamma(y) - math.lgamma(x + y)
    below, ends = 0.0, []
    for k in range(judged + 1):
        below += math.comb(judged, k) * math.exp(log_beta(k + a, judged - k + b) - log_beta(a, b))
        while len(ends) < 2 and below >= ((1 - sure) / 2, (1 + sure) / 2)[len(ends)]:
            ends.append(k)
    return tuple((ends + [judged, judged])[:2])


def judged(limes, learnt, folder, parts, options):
    """What limes tune tells of parts that were not learnt: its lines by rate, and by factor 3; and
    those of the single parts."""
    store = os.path.join(folder, "judged.limes")
    shutil.copy(learnt, store)
    limes("test", store, *parts, *options)
    lines = limes("tune", store, "--json")
    os.remove(store)
    by = {line["reject"] or line["factor_above"]: line for line in lines
          if line["kind"] == "rate" or line["kind"] == "factor"}
    return by, [line for line in lines if line["kind"] == "part"]


def split(one_set, number):
    """The good parts in the order of a draw, and how many of them are learnt."""
    good = one_set[2]
    n = min(MOST_LEARNT, int(SHARE_LEARNT * len(good)))
    return random.Random(number).sample(range(len(good)), len(good)), n


def counts(goods, bads, limit, learnt):
    """Parts judged by a limit, good ones rejected or not judged, bad ones that are OK, and the
    interval."""
    line, bad = goods[limit], bads[limit]
    result = dict(good=line["parts"], rejected=line["rejected"] + line["not_judged"],
                  bad=bad["parts"], passed=bad["parts"] - bad["rejected"] - bad["not_judged"])
    if limit != 3:
        scores = line["scores"]
        rank = scores + 1 - round(line["promised"] * (scores + 1))
        low, high = interval(scores, rank, line["parts"])
        result.update(low=0 if line["extrapolated"] else low, high=high,
                      enough=not line["extrapolated"], scores=scores, learnt=learnt)
    return result


def learn_draw(limes, folder, one_set, number, more=()):
    """The store of the parts that a draw learns."""
    _, options, good, _, write = one_set
    order, n = split(one_set, number)
    store = os.path.join(folder, "learnt.limes")
    limes("learn", store, *write([good[i] for i in order[:n]], [], folder), *options, *more)
    return store


def judge_draw(limes, folder, one_set, number, store):
    """What tune tells of the good parts that were left, and of the bad ones."""
    _, options, good, bad, write = one_set
    order, n = split(one_set, number)
    labels = ["--label-column", "label"] if "--label-column" in options else []
    return (judged(limes, store, folder, write([good[i] for i in order[n:]], [], folder), labels),
            judged(limes, store, folder, write([], bad, folder), labels))


def draw(limes, folder, one_set, number):
    """By each limit, and by each rate once more with the scores of leave one out."""
    store = learn_draw(limes, folder, one_set, number)
    n = split(one_set, number)[1]
    results = {}
    for others in (False, True):
        if others:
            limes("calibrate", store)
        (goods, _), (bads, _) = judge_draw(limes, folder, one_set, number, store)
        for limit in RATES if others else (3, *RATES):
            results[limit, others] = counts(goods, bads, limit, n)
    os.remove(store)
    return results


def print_rates(data, limes):
    """Prints the table and tells whether promises were kept."""
    print(f"\nRates on parts that were not learnt, mean of {DRAWS} random draws: good parts "
          "rejected, bad parts passed in %; in brackets\nhow many of the good parts that is in the "
          "first draw, the 95 % interval for it, and in how many draws it was inside.\n"
          "~ extrapolated: too few scores for the rate.\n")
    limits = [(3, False), *((rate, others) for others in (False, True) for rate in RATES)]
    print("| set, parts learnt, scores | factor 3 | " +
          " | ".join(f"{'leave one out' if others else 'one pass'} {100 * rate:g} %"
                     for rate, others in limits[1:]) + " |")
    print("|---|" + "---|" * len(limits))
    kept = True
    with tempfile.TemporaryDirectory() as folder:
        for one_set in sets(data, folder):
            draws = [draw(limes, folder, one_set, number) for number in range(DRAWS)]
            cells = []
            for limit in limits:
                of = [d[limit] for d in draws]
                rejected = sum(d["rejected"] for d in of) / sum(d["good"] for d in of)
                passed = sum(d["passed"] for d in of) / sum(d["bad"] for d in of)
                cell = f"{100 * rejected:.1f}, {100 * passed:.0f}"
                if limit[0] != 3:
                    inside = sum(d["low"] <= d["rejected"] <= d["high"] for d in of)
                    mean = sum(d["rejected"] for d in of) / DRAWS
                    first = of[0]
                    cell = (f"{'' if first['enough'] else '~'}{cell} ({first['rejected']} of "
                            f"{first['good']}, {first['low']} to {first['high']}; "
                            f"{inside}/{DRAWS})")
                    kept &= not first["enough"] or (first["low"] <= mean <= first["high"]
                                                    and inside >= 0.8 * DRAWS)
                cells.append(cell)
            first = draws[0][RATES[0], False]
            head = f"{one_set[0]}, {first['learnt']}, {first['scores']}"
            print(f"| {head} | " + " | ".join(cells) + " |", flush=True)
    print("\npromises " + ("kept" if kept else "NOT kept"))
    return kept
