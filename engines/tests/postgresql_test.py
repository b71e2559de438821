"""The verbs in PostgreSQL, on a server of the test's own (see with_postgresql): the same bits as the C
interface for the same parts in the same order, errors of SQL for everything that does not fit."""

import os
import re
import subprocess
import unittest

import limits

GRID = "dx=10 x_unit=Hz unit=dB(Pa) reference=2e-5"
FIELDS = {"dx": 10.0, "x_unit": b"Hz", "unit": b"dB(Pa)", "reference": 2e-5}
PARTS = 120


def sql(*statements):
    """What the statements of one session print, errors among it."""
    done = subprocess.run(["psql", "-XAtq"], input=";\n".join(statements) + ";", text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return done.stdout.splitlines()


def one(statement):
    lines = sql(statement)
    assert len(lines) == 1, lines
    return lines[0]


def learnt(kind, take, rule=None, parts=range(PARTS), **fields):
    library = limits.Library(os.environ["LIMES_C_LIBRARY"])
    limit = limits.Limit(library, kind, rule)
    for i in parts:
        limit.learn(take(limits.measured(i)), **fields)
    return limit


def array(values):
    return "'{" + ",".join(map(repr, values)) + "}'"


def hexadecimal(state):
    return "'\\x" + state.hex() + "'"


class PostgresqlTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        rows = ",".join(f"({i}, {array(limits.measured(i))}, {limits.measured(i)[0]!r})"
                        for i in range(PARTS))
        printed = sql("CREATE EXTENSION limes VERSION '1.0'", "ALTER EXTENSION limes UPDATE",
                      "CREATE TABLE part(id int PRIMARY KEY, level real[], torque float8)",
                      f"INSERT INTO part VALUES {rows}", "ANALYZE part",
                      "CREATE TABLE kept AS SELECT 'curve' AS kind, "
                      f"limes_learn(level, '{GRID}', 'reject=0.05') AS state FROM part")
        assert printed == [], printed
        cls.limit = learnt(limits.CURVE, lambda v: v, limits.Rule(reject=0.05), **FIELDS)

    def test_learns_and_judges_with_the_bits_of_the_library(self):
        self.assertEqual(one("SELECT state FROM kept"), "\\x" + self.limit.state.hex())
        part = limits.measured(1000)
        part[120] -= 12.0
        outcome, lower = self.limit.judge(part, limits.LOWER, **FIELDS)
        for kind in ("real[]", "float8[]"):
            row = one(f"SELECT (limes_judge(state, {array(part)}::{kind}, '{GRID}')).* FROM kept")
            verdict, side, *numbers, share, reason = row.split("|")
            self.assertEqual([verdict, side, share, reason], [outcome, "lower", "1", ""])
            self.assertEqual([float(n) for n in numbers], [
                lower.excess, lower.x, lower.value, lower.limit, lower.mean, lower.spread])
        rows = sql("SELECT (limes_limit(state)).* FROM kept")
        x, mean, spread, upper = self.limit.limits()
        expected = zip(x, mean, spread, self.limit.limits(limits.LOWER)[3], upper)
        self.assertEqual([tuple(map(float, row.split("|"))) for row in rows], list(expected))
        self.assertRegex(one("SELECT limes_info(state) FROM kept"), r"\(curve,120,110,0\.04")
        value = learnt(limits.VALUE, lambda v: v[0], unit=b"mm").state
        self.assertEqual(one("SELECT limes_learn(torque, 'unit=mm') FROM part"), "\\x" + value.hex())
        self.assertEqual(one(f"SELECT verdict FROM limes_judge({hexadecimal(value)}, 99, 'unit=mm')"),
                         "NOK")

    def test_learns_in_parallel_and_joins_groups(self):
        parallel = ["SET parallel_setup_cost = 0", "SET parallel_tuple_cost = 0",
                    "SET min_parallel_table_scan_size = 0", "SET force_parallel_mode = on"]
        for rule, bound in (("factor=3", 1e-2), ("factor=3 precise=1", 1e-9)):
            with self.subTest(rule):
                self.compare_ways_to_learn(parallel, rule, bound)

    def compare_ways_to_learn(self, parallel, rule, bound):
        learn = f"SELECT (limes_limit(limes_learn(level, '{GRID}', '{rule}'))).* FROM part"
        self.assertIn("Partial Aggregate", "\n".join(sql(*parallel, "EXPLAIN " + learn)))
        groups = ("SELECT (limes_limit(limes_merge(s))).* FROM (SELECT "
                  f"limes_learn(level, '{GRID}', '{rule}') AS s FROM part GROUP BY id % 7) AS g")
        plain = sql(learn)
        for rows in (sql(*parallel, learn), sql(groups), sql(*parallel, groups)):
            self.assertEqual(len(rows), len(plain))
            for row, other in zip(rows, plain):
                for a, b in zip(row.split("|"), other.split("|")):
                    self.assertAlmostEqual(float(a), float(b), delta=bound)

    def test_is_null_of_nothing_and_leaves_out_what_was_not_measured(self):
        for nothing in ("limes_learn(NULL::real[], '')", "limes_merge(NULL)", "limes_learnt(NULL)",
                        "limes_judge(NULL, '{1}'::real[], '')"):
            self.assertEqual(one(f"SELECT {nothing} IS NULL"), "t")
        self.assertEqual(sql("SELECT limes_limit(NULL)"), [])
        gaps = "(SELECT array_agg(CASE WHEN i <= {} THEN v END) FROM unnest(level) " \
               "WITH ORDINALITY AS u(v, i))"
        for count, verdict in ((190, "OK"), (100, "not judged")):
            row = one(f"SELECT (limes_judge(state, {gaps.format(count)}, '{GRID}')).* "
                      "FROM kept, part WHERE id = 7").split("|")
            self.assertEqual([row[0], float(row[8])], [verdict, count / 200])
        self.assertEqual(row[2:8], [""] * 6)
        self.assertNotEqual(row[9], "")

    def test_refuses_what_does_not_fit_and_lives_on(self):
        state = bytearray(self.limit.state)
        queries = []
        for at in range(0, len(state), 301):
            state[at] ^= 0x10
            queries += [f"SELECT {hexadecimal(state)}::limes_state",
                        f"SELECT limes_learnt({hexadecimal(state)}::bytea::limes_state)"]
            state[at] ^= 0x10
        queries += ["SELECT ''::limes_state", "SELECT 'LIMS'::limes_state",
                    f"SELECT {hexadecimal(state[:-1])}::limes_state"]
        damaged = len(queries)
        queries += [
            f"SELECT limes_learn(v, '{GRID}') FROM (SELECT level FROM part UNION ALL "
            "SELECT level[1:50] FROM part) AS u(v)",
            "SELECT limes_learn(ARRAY[level, level], '') FROM part",
            "SELECT limes_learn(level, NULL) FROM part",
            "SELECT limes_learn(level, '', 'base=' || id) FROM part",
            "SELECT limes_learn(level, 'unit=furlong') FROM part",
            "SELECT limes_learn(level, '', 'sides=left') FROM part",
            "SELECT limes_learn('{}'::real[], '')",
            "SELECT limes_learn(level || '{NaN}', '') FROM part",
            "SELECT limes_learn(1, 'dx=1')",
            "SELECT limes_merge(s) FROM (SELECT state FROM kept UNION ALL "
            "SELECT limes_learn(torque, '') FROM part) AS u(s)",
            "SELECT limes_judge(state, 1, '') FROM kept"]
        printed = sql("SELECT pg_backend_pid()", *queries, "SELECT pg_backend_pid()")
        self.assertEqual(printed[0], printed[-1])
        errors = [line for line in printed[1:-1] if line.startswith("ERROR")]
        self.assertEqual(len(errors), len(queries), printed)
        for error in errors[:damaged]:
            self.assertRegex(error, "no state, or a damaged one|invalid input syntax")
        for error, why in zip(errors[damaged:], (
                "too little", "one dimension", "NULL", "rule changes", "unit: furlong", "sides", "no values",
                "finite|NaN", "no x", "another kind", "another kind")):
            self.assertRegex(error, why)

    def test_ends_when_cancelled_and_keeps_no_memory_of_failures(self):
        many = "FROM generate_series(1, 100000000) AS s, part WHERE id < 2"
        memory = "SELECT pg_read_file('/proc/self/status')"
        fail = ("DO $$ BEGIN FOR i IN 1..3000 LOOP BEGIN PERFORM limes_learn(level, '') FROM "
                "(SELECT level FROM part UNION ALL SELECT '{1}') AS u; "
                "EXCEPTION WHEN OTHERS THEN NULL; END; END LOOP; END $$")
        printed = "\n".join(sql(
            "SET statement_timeout = 300", f"SELECT limes_learn(level, '') {many}",
            "SET statement_timeout = 0", fail.replace("3000", "100"), memory, fail, memory))
        self.assertIn("canceling statement due to statement timeout", printed)
        before, after = map(int, re.findall(r"VmRSS:\s+(\d+) kB", printed))
        self.assertLess(after - before, 4000, "kB kept of 3000 failures")
