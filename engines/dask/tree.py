"""Learning on a cluster with dask.distributed: each partition of the parts becomes a state where it
lies, states are joined two by two. What travels is the bytes of states.

The tree is that of the partitions' order, whichever worker is free, so that the result is the same
to the last bit when tasks move or are run again. For that join must leave what it is given as it is.
"""


def learn_tree(client, partitions, learn, join):
    """A future of the joint state of learn(partition), joined by join(earlier, later).

    A partition is what learn takes: a path, a query, a list of parts, a future or a delayed object;
    a bag's are those of bag.to_delayed().
    """
    states = client.map(learn, partitions, pure=False)
    while len(states) > 1:
        pairs = [states[i:i + 2] for i in range(0, len(states), 2)]
        states = [client.submit(join, *pair, pure=False) if len(pair) == 2 else pair[0]
                  for pair in pairs]
    return states[0]
