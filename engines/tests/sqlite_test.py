"""The verbs in SQLite: the same bits as the C interface for the same parts in the same order."""

import json
import os
import pathlib
import re
import sqlite3
import subprocess
import tempfile
import unittest

import limits

GRID = "dx=10 x_unit=Hz unit=dB(Pa) reference=2e-5"
FIELDS = {"dx": 10.0, "x_unit": b"Hz", "unit": b"dB(Pa)", "reference": 2e-5}


def load(db):
    db.enable_load_extension(True)
    db.load_extension(os.environ["LIMES_SQLITE_MODULE"].removesuffix(".so"))
    return db


def connect():
    db = load(sqlite3.connect(":memory:"))
    db.execute("CREATE TABLE part(id INTEGER PRIMARY KEY, level BLOB, torque REAL)")
    db.executemany("INSERT INTO part VALUES(?, ?, ?)",
                   ((i, limits.measured(i).tobytes(), limits.measured(i)[0]) for i in range(60)))
    return db


class SqliteTest(unittest.TestCase):
    def setUp(self):
        self.db = connect()
        self.library = limits.Library(os.environ["LIMES_C_LIBRARY"])

    def one(self, query, *values):
        return self.db.execute("SELECT " + query, values).fetchone()[0]

    def learnt(self, kind, take, rule=None, parts=range(60), **fields):
        limit = limits.Limit(self.library, kind, rule)
        for i in parts:
            limit.learn(take(limits.measured(i)), **fields)
        return limit

    def test_learns_and_judges_with_the_bits_of_the_library(self):
        state = self.one("limes_learn(level, ?, 'reject=0.05') FROM part", GRID)
        limit = self.learnt(limits.CURVE, lambda v: v, limits.Rule(reject=0.05), **FIELDS)
        self.assertEqual(state, limit.state)
        self.assertEqual(self.one("limes_learnt(?)", state), 60)
        part = limits.measured(1000)
        part[120] -= 12.0
        verdict = json.loads(self.one("limes_judge(?, ?, ?)", state, part.tobytes(), GRID))
        outcome, lower = limit.judge(part, limits.LOWER, **FIELDS)
        self.assertEqual([verdict[k] for k in ("verdict", "side", "x", "excess", "limit")],
                         [outcome, "lower", 1200.0, lower.excess, lower.limit])
        rows = self.db.execute("SELECT * FROM limes_limit(?)", (state,)).fetchall()
        x, mean, spread, upper = limit.limits()
        self.assertEqual(rows, list(zip(x, mean, spread, limit.limits(limits.LOWER)[3], upper)))

        # Doubles that are floats make the same curve; single values are learnt as such.
        doubles = limits.array.array("d", limits.measured(7)).tobytes()
        self.assertEqual(self.one("limes_learn(?, 'type=float64', 'factor=3')", doubles),
                         self.one("limes_learn(level, '', 'factor=3') FROM part WHERE id = 7"))
        value = self.one("limes_learn(torque, 'unit=mm') FROM part")
        self.assertEqual(value, self.learnt(limits.VALUE, lambda v: v[0], unit=b"mm").state)
        self.assertIn('"NOK"', self.one("limes_judge(?, 99.0, 'unit=mm')", value))
        self.assertIn('"not judged"', self.one("limes_judge(?, 99.0, 'unit=Nm')", value))

    def test_joins_states_of_groups(self):
        joint = self.one("limes_merge(s) FROM (SELECT limes_learn(level, ?) AS s FROM part "
                         "GROUP BY id / 20)", GRID)
        limit = self.learnt(limits.CURVE, lambda v: v, parts=range(20), **FIELDS)
        for first in (20, 40):
            limit.merge(self.learnt(limits.CURVE, lambda v: v, parts=range(first, first + 20),
                                    **FIELDS))
        self.assertEqual(joint, limit.state)

    def test_is_null_of_nothing(self):
        state = self.one("limes_learn(level, '') FROM part")
        self.assertEqual(self.one("limes_learn(NULL, '')"), None)
        self.assertEqual(self.one("limes_merge(NULL)"), None)
        self.assertEqual(self.one("limes_judge(?, NULL, '')", state), None)
        self.assertEqual(self.one("limes_judge(NULL, ?, '')", b"1234"), None)
        self.assertEqual(self.one("count(*) FROM limes_limit(NULL)"), 0)

    def test_refuses_what_does_not_fit(self):
        state = self.one("limes_learn(level, '') FROM part")
        self.db.execute("CREATE TABLE odd AS SELECT level FROM part UNION ALL SELECT x'00000000'")
        for query, values, why in (
                ("limes_learn(level, '') FROM odd", (), "."),
                ("limes_learn(level, 'unit=furlong') FROM part", (), "no known unit: furlong"),
                ("limes_learn(level, 'dx=0') FROM part", (), "rise"),
                ("limes_learn(level, 'dx') FROM part", (), "key=value"),
                ("limes_learn(level, 'colour=red') FROM part", (), "colour"),
                ("limes_learn(level, '', 'reject=2') FROM part", (), "not allowed"),
                ("limes_learn(level, '', 'base=' || id) FROM part", (), "rule changes"),
                ("limes_learn(x'0102', '')", (), "whole number of values"),
                ("limes_learn('text', '')", (), "number or a blob"),
                ("limes_learn(1.0, 'dx=2')", (), "single value"),
                ("limes_judge(?, 1.0, '')", (state,), "another kind"),
                ("limes_judge(?, ?, '')", (state[:-1], state), "damaged"),
                ("limes_learnt(?)", ("text",), "no state"),
                ("limes_merge(?)", (state[:50],), "no state"),
                ("count(*) FROM limes_limit(?)", (b"LIMS" * 9,), "no state"),
                ("limes_merge(s) FROM (SELECT ? AS s UNION ALL SELECT limes_learn(torque, '') "
                 "FROM part)", (state,), "another kind")):
            with self.subTest(query), self.assertRaisesRegex(sqlite3.Error, why):
                self.one(query, *values)
        broken = bytearray(state)
        for at in range(0, len(state), 97):
            broken[at] ^= 0x10
            with self.assertRaises(sqlite3.Error):
                self.one("limes_learnt(?)", bytes(broken))
            broken[at] ^= 0x10
        self.assertEqual(self.one("limes_learnt(?)", state), 60)

    @unittest.skipUnless("LIMES_PROGRAM" in os.environ, "needs the program")
    def test_reads_stores_of_the_program(self):
        guide = pathlib.Path(os.environ["LIMES_SOURCE"], "docs/engines.md").read_text("utf-8")
        view, query = re.search(r"```sql\n(CREATE TEMP VIEW.*?;)\n(.*?)```", guide, re.S).groups()
        rows = "".join(f"{limits.measured(i)[0]},{limits.measured(i)[7]}\n" for i in range(60))
        curves = "".join(",".join(map(str, limits.measured(i))) + "\n" for i in range(60))
        for name, text, options in (
                ("values", "torque [Nm],force\n" + rows, ("--values", "--reject", "5%")),
                ("rows", curves, ("--rows", "--no-header", "--dx", "10", "--unit", "dB(Pa)",
                                  "--x-unit", "Hz", "--base", "3", "--factor", "3")),
                ("track", curves, ("--rows", "--no-header", "--dx", "10", "--tracks", "--sides",
                                   "lower")),
                ("--cover", rows, ("--values", "--no-header", "--cover", "99%")),
                *((option, curves, ("--rows", "--no-header", "--dx", "10", option, *more))
                  for option, *more in (("--width", "20"), ("--modes", "2"), ("--whole",),
                                        ("--align", "20")))):
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                table, store = folder + "/good.csv", folder + "/store.limes"
                pathlib.Path(table).write_text(text, "utf-8")
                program = [os.environ["LIMES_PROGRAM"]]
                subprocess.run([*program, "learn", store, table, *options, "--quiet"], check=True,
                               stdout=subprocess.DEVNULL)
                shown = subprocess.run([*program, "show", store, "--json"], check=True, text=True,
                                       stdout=subprocess.PIPE).stdout
                db = load(sqlite3.connect(store))
                db.execute(view)
                if name in options:
                    with self.assertRaisesRegex(sqlite3.Error, f"{name}.*program alone"):
                        db.execute(query).fetchall()
                    continue
                found = {}
                for quantity, x, mean, spread, lower, upper in db.execute(query):
                    for side, bound in (("lower", lower), ("upper", upper)):
                        if bound is not None:
                            found.setdefault((quantity, side), []).append((mean, spread, bound))
                told = {(q["name"], q["side"]): list(zip(q["mean"], q["spread"], q["limit"]))
                        for q in map(json.loads, shown.splitlines()) if q["limit"][0] is not None}
                self.assertTrue(told)
                self.assertEqual(found.keys(), told.keys())
                for key in told:
                    self.assertEqual(len(found[key]), len(told[key]))
                    for row, other in zip(found[key], told[key]):
                        for a, b in zip(row, other):
                            self.assertAlmostEqual(a, b, delta=1e-6 * max(abs(b), 1.0))
                db.close()
