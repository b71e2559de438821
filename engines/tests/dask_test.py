"""Learning on a real cluster of processes: the same bits as the same tree here, also when a worker is
killed in the middle."""

import os
import pathlib
import signal
import tempfile
import unittest

import dask
import limits
from dask.distributed import Client, LocalCluster
from tree import learn_tree

RULE = {"factor": 3.0, "precise": 1}
FIELDS = {"dx": 10.0, "x_unit": b"Hz", "unit": b"dB"}


def library():
    return limits.Library(os.environ["LIMES_C_LIBRARY"])


def learn(parts):
    limit = limits.Limit(library(), limits.CURVE, limits.Rule(**RULE))
    for part in parts:
        limit.learn(limits.measured(part), **FIELDS)
    return limit.state


def join(earlier, later):
    limit = limits.Limit(library(), limits.CURVE, state=earlier)
    limit.merge(limits.Limit(library(), limits.CURVE, state=later))
    return limit.state


def learn_or_die(marker):
    """Learns, but the first process that comes to the fourth partition is killed."""
    def task(parts):
        if parts.start == 60 and not pathlib.Path(marker).exists():
            pathlib.Path(marker).touch()
            os.kill(os.getpid(), signal.SIGKILL)
        return learn(parts)
    return task


def judge(state, part):
    return limits.Limit(library(), limits.CURVE, state=state).judge(
        limits.measured(part), **FIELDS)[0]


class DaskTest(unittest.TestCase):
    def test_learns_the_same_on_a_cluster_that_loses_a_worker(self):
        partitions = [range(first, first + 20) for first in range(0, 140, 20)]
        states = [learn(parts) for parts in partitions]
        while len(states) > 1:
            states = [join(*states[i:i + 2]) if i + 1 < len(states) else states[i]
                      for i in range(0, len(states), 2)]
        in_order = limits.Limit(library(), limits.CURVE, state=learn(range(140)))
        with tempfile.TemporaryDirectory() as work, \
                dask.config.set({"temporary-directory": work}), \
                LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, \
                Client(cluster) as client:
            marker = os.path.join(work, "killed")
            tree = learn_tree(client, partitions, learn_or_die(marker), join).result(timeout=120)
            self.assertTrue(os.path.exists(marker), "no worker was killed")
            delayed = [dask.delayed(list)(parts) for parts in partitions]
            again = learn_tree(client, client.compute(delayed), learn, join).result(timeout=120)
            state = client.scatter(tree)
            judged = client.gather([client.submit(judge, state, part) for part in range(3)])
        self.assertEqual(tree, states[0])
        self.assertEqual(again, states[0])
        self.assertEqual(judged, ["OK"] * 3)
        joint = limits.Limit(library(), limits.CURVE, state=tree)
        for a, b in zip(joint.limits()[3], in_order.limits()[3]):
            self.assertAlmostEqual(a, b, delta=1e-9)
