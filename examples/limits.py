"""Learns limits of a spectrum from good parts and judges two more, from Python without the limes
package: through the C interface, by ctypes alone.

usage: limits.py [LIBRARY]    (liblimes_c.so.1 unless given)
"""

import array
import ctypes as c
import math
import sys

VALUE, CURVE, TRACK = 1, 2, 3
UPPER, LOWER, BOTH = 0, 1, 2
OUTCOMES = ("OK", "NOK", "not judged")
BUFFER = 8


class Sized(c.Structure):
    """A struct of the interface begins with its size."""

    def __init__(self, **fields):
        super().__init__(size=c.sizeof(self), **fields)


class Rule(Sized):
    _fields_ = [("size", c.c_size_t), ("sides", c.c_int32), ("time_scale", c.c_int32),
                ("base", c.c_double), ("reject", c.c_double), ("factor", c.c_double),
                ("min_parts", c.c_int32), ("precise", c.c_int32)]

    def __init__(self, **fields):
        super().__init__(**({"sides": BOTH, "time_scale": 10000, "reject": 0.01,
                             "factor": math.nan, "min_parts": 3} | fields))


class Curve(Sized):
    _fields_ = [("size", c.c_size_t), ("floats", c.c_void_p), ("doubles", c.c_void_p),
                ("count", c.c_size_t), ("x0", c.c_double), ("dx", c.c_double),
                ("x_unit", c.c_char_p), ("unit", c.c_char_p), ("covered", c.c_void_p),
                ("reference", c.c_double)]


class Judgement(Sized):
    _fields_ = [("size", c.c_size_t), ("outcome", c.c_int32), ("reason", c.c_int32),
                *((name, c.c_double) for name in (
                    "share", "x_first", "x_last", "excess", "x", "value", "limit", "mean",
                    "spread", "in_spreads", "x_in_spreads"))]


class Library:
    """The functions of the shared library; a status other than 0 is raised."""

    def __init__(self, path="liblimes_c.so.1"):
        self.library = c.CDLL(path)
        for name, result in (("limes_error", c.c_char_p), ("limes_status_text", c.c_char_p),
                             ("limes_learnt", c.c_int64), ("limes_free", None)):
            getattr(self.library, name).restype = result

    def call(self, name, limit, *arguments):
        status = getattr(self.library, name)(limit, *arguments)
        if status != 0:
            why = self.library.limes_error(limit) or self.library.limes_status_text(status)
            raise ValueError(why.decode())


class Limit:
    """A limit of one quantity."""

    def __init__(self, library, kind, rule=None, state=None):
        self.library = library
        self.handle = c.c_void_p()
        if state is not None:
            status = library.library.limes_read(state, c.c_size_t(len(state)),
                                                c.byref(self.handle))
        else:
            status = library.library.limes_new(kind, c.byref(rule or Rule()),
                                               c.byref(self.handle))
        if status != 0:
            raise ValueError(library.library.limes_status_text(status).decode())

    def __del__(self):
        self.library.library.limes_free(self.handle)

    def learn(self, part, **grid):
        if isinstance(part, float):
            self.library.call("limes_learn_value", self.handle, c.c_double(part),
                              grid.get("unit"))
        else:
            self.library.call("limes_learn_curve", self.handle, c.byref(_curve(part, grid)))

    def judge(self, part, side=UPPER, **grid):
        """Outcome, and the judgement by the limit of a side."""
        outcome, judgement = c.c_int(), Judgement()
        if isinstance(part, float):
            self.library.call("limes_judge_value", self.handle, c.c_double(part),
                              grid.get("unit"), c.byref(outcome))
        else:
            self.library.call("limes_judge_curve", self.handle, c.byref(_curve(part, grid)),
                              c.byref(outcome))
        self.library.call("limes_judgement_of", self.handle, side, c.byref(judgement))
        return OUTCOMES[outcome.value], judgement

    def limits(self, side=UPPER):
        """x, mean, spread and limit, each an array of doubles."""
        count = c.c_size_t(0)
        function = self.library.library.limes_limits
        if function(self.handle, side, None, None, None, None, c.byref(count)) != BUFFER:
            raise ValueError("nothing is learnt")
        rows = [array.array("d", bytes(8 * count.value)) for _ in range(4)]
        self.library.call("limes_limits", self.handle, side, *(_address(row) for row in rows),
                          c.byref(count))
        return rows

    def merge(self, other):
        self.library.call("limes_merge", self.handle, other.handle)

    @property
    def learnt(self):
        return self.library.library.limes_learnt(self.handle)

    @property
    def state(self):
        size = c.c_size_t(0)
        self.library.library.limes_write(self.handle, None, c.byref(size))
        state = c.create_string_buffer(size.value)
        self.library.call("limes_write", self.handle, state, c.byref(size))
        return state.raw


def _address(values):
    return c.c_void_p(values.buffer_info()[0])


def _curve(values, grid):
    fields = {"dx": 1.0} | grid
    fields["doubles" if values.typecode == "d" else "floats"] = _address(values)
    return Curve(count=len(values), **fields)


def measured(part, points=200):
    """A simulated spectrum, the same on every machine."""
    state = (part * 2654435761 + 1) % 2**32
    values = array.array("f", [60.0] * points)
    for i in range(points):
        for _ in range(3):
            state = (state * 1664525 + 1013904223) % 2**32
            values[i] += (state >> 8) / 8388608 - 1
    return values


def main():
    library = Library(*sys.argv[1:])
    grid = {"dx": 10.0, "x_unit": b"Hz", "unit": b"dB"}
    limit = Limit(library, CURVE, Rule(reject=0.05))
    for part in range(60):
        limit.learn(measured(part), **grid)
    again = Limit(library, CURVE, state=limit.state)
    good, bad = measured(1000), measured(1000)
    bad[120] += 12.0
    for part in (good, bad):
        outcome, judgement = again.judge(part, **grid)
        print(f"{outcome}: largest excess {judgement.excess:.2f} dB at {judgement.x:.0f} Hz")
    return 0 if again.judge(good, **grid)[0] == "OK" and outcome == "NOK" else 1


if __name__ == "__main__":
    sys.exit(main())
