"""Calls everything of the module with hostile arguments, in several threads: whatever it raises, the
interpreter must live. usage: fuzz_bindings.py SEED SECONDS"""

import copy
import faulthandler
import gc
import pickle
import random
import resource
import sys
import threading
import time
import types
import warnings

import numpy as np

import limes
from limes import _limes

faulthandler.enable()
warnings.simplefilter("ignore")
resource.setrlimit(resource.RLIMIT_AS, (3 << 30, 3 << 30))

ARRAYS = [
    np.zeros(0, "f4"),
    np.array(1.0),
    np.arange(7, dtype="f4"),
    np.arange(7, dtype="f4")[::-1],
    np.arange(14, dtype="f4")[::2],
    np.arange(7, dtype=">f4"),
    np.arange(7, dtype="f8"),
    np.arange(7, dtype="i8"),
    np.arange(7, dtype="u1"),
    np.arange(7) > 3,
    np.arange(7) + 1j,
    np.arange(12, dtype="f4").reshape(3, 4),
    np.asfortranarray(np.arange(12, dtype="f4").reshape(3, 4)),
    np.broadcast_to(np.float32(3), (9,)),
    np.lib.stride_tricks.as_strided(np.arange(9, dtype="f4"), (8,), (0,)),
    np.frombuffer(b"x" + bytes(range(32)), dtype="f4", count=7, offset=1),
    np.frombuffer(bytes(28), "f4"),
    np.array([np.nan, np.inf, -np.inf, 1e38, -0.0, 1, 2], "f4"),
    np.array([1, "a", None, b"c"], dtype=object),
    np.array(["2026-01-01", "NaT"], "M8[s]"),
    np.ma.masked_less(np.arange(7.0), 3),
    np.zeros(100_000, "f4"),
    memoryview(bytearray(28)).cast("f"),
]
SCALARS = [0, 1, 2, 3, -1, 7, 31, 2**15, 2**31, 2**32 + 1, 2**63, -(2**63), 2**70, 0.5, -1.5, 1e300]
SCALARS += [np.nan, np.inf, -np.inf, True, None, np.float32(2), np.int8(-3), 3 + 1j]
TEXTS = ["", "a", "Hz", "dB(Pa)", "m/s²", "upper", "lower", "both", "\0", "\ud800", "𝄞" * 50, "x" * 5000]
TEXTS += [b"", b"\0" * 40, bytes(range(256)), "2026-01-01", "mean", "level"]


class Hostile:
    """Answers with what nobody expects."""

    def __array__(self, *_):
        raise RuntimeError("no array")

    def __len__(self):
        return -1

    def __float__(self):
        return "no number"

    def __getitem__(self, _):
        raise KeyError


MADE = [
    lambda r: limes.curve(r.random(50), 0, 50, y_unit="Pa"),
    lambda r: limes.curve(np.zeros(60_000, "f4"), 0, 1, copy=False),
    lambda r: limes.CSigPairs(np.sort(r.random(20)), r.random(20)),
    lambda r: limes.CSigPairsTm("2026-01-01", "2026-01-02"),
    lambda r: limes.CSigPairsVM([0, 1], [1, 2]),
    lambda r: limes.CSigCurveArray([limes.curve(r.random(5)) for _ in range(3)], [0, 1, 2]),
    lambda r: limes.CMeasuringUnit("kHz"),
    lambda r: limes.CDefectReportOrdner(3),
    lambda r: limes.CDefectReport(),
    lambda r: limes.quantity(r.random(30), x=np.sort(r.random(30))),
    lambda r: limes.Recording([limes.quantity(r.random(9))]),
    lambda r: limes.Calibration(r.random((30, 2))),
    lambda r: limes.Calibration(r.random((30, 2))).for_rate(0.2),
    lambda r: limes.learn((limes.curve(r.random(50)) for _ in range(20)))._sided,
    lambda r: limes.learn((limes.curve(r.random(50)) for _ in range(20))).tool,
    lambda r: limes.learn_tracks((limes.curve(r.random(50)) for _ in range(20)))._sided,
    lambda r: limes.learn_values(r.random(20))._sided,
    lambda r: limes.learn_values(r.random(20), limes.Rule(factor=3)).judge(9.0),
    lambda r: limes.CKurvenLernWerkzeug(),
    lambda r: limes.CTrackLernWerkzeug(),
    lambda r: limes.CLernenderGrenzwert(),
]


def functions():
    for name, value in vars(_limes).items():
        if isinstance(value, types.ModuleType):
            yield from ((f"{name}.{k}", None, v) for k, v in vars(value).items() if callable(v))
        elif isinstance(value, type):
            yield name, None, value
        elif callable(value):
            yield name, None, value


def fuzz(seed, until, pool, calls):
    pick, random_state = random.Random(seed), np.random.default_rng(seed)
    free = [f for _, _, f in functions()]
    while time.monotonic() < until:
        if pick.random() < 0.05 or len(pool) < 30:
            pool.append(pick.choice(MADE)(random_state))
        if len(pool) > 150:
            del pool[pick.randrange(100)]
        choices = [ARRAYS, SCALARS, TEXTS, pool, [Hostile(), [], {}, (), [1, 2], [[1], [2, 3]], range(5)]]
        given = [pick.choice(pick.choice(choices)) for _ in range(pick.choice([0, 1, 1, 2, 2, 3, 5]))]
        try:
            calls[0] += 1
            if pick.random() < 0.2:
                made = pick.choice(free)(*given)
            else:
                owner = pick.choice(pool)
                names = [n for n in dir(type(owner)) if n not in SKIPPED and not hasattr(object, n)]
                made = getattr(owner, pick.choice(names + ["__init__", "__eq__"]))
                if callable(made):
                    made = made(*given)
                elif given and pick.random() < 0.3:
                    setattr(owner, pick.choice(names), given[0])
            if pick.random() < 0.05:
                made = pick.choice([copy.copy, copy.deepcopy, repr, len, list, hash, np.asarray])(
                    pick.choice(pool)
                )
            if pick.random() < 0.02:
                pool.append(pickle.loads(pickle.dumps(pick.choice(pool))))
            if isinstance(made, np.ndarray) and made.size and made.flags.writeable and made.dtype == "f4":
                made.flat[0] = 1.0
            if type(made).__module__.startswith("limes"):
                pool.append(made)
        except Exception:  # whatever it is, it is an exception
            calls[1] += 1


SKIPPED = {"_repr_html_", "to_series", "to_xarray"}  # they import, which is slow


def main(seed, seconds):
    pool, calls = [], [0, 0]
    until = time.monotonic() + seconds
    threads = [threading.Thread(target=fuzz, args=(seed + i, until, pool, calls)) for i in range(3)]
    sys.setswitchinterval(1e-5)
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    del pool[:]
    gc.collect()
    print(f"{calls[0]} calls, {calls[1]} refused")


main(int(sys.argv[1]), float(sys.argv[2]))
