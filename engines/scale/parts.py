"""Simulated parts: spectra of 1000 points, mean 60, spread 1, the same on every machine.

usage: parts.py COUNT    writes them as PostgreSQL's binary COPY of (id integer, level real[])
"""

import struct
import sys

import numpy as np

POINTS = 1000
AT_ONCE = 1000


def blocks(count, start=0):
    """The parts from start on, a multiple of 1000, in blocks of up to 1000, each an array of float32
    with a row per part."""
    for first in range(start, start + count, AT_ONCE):
        noise = np.random.Generator(np.random.PCG64(first))
        rows = min(AT_ONCE, start + count - first)
        yield (60.0 + noise.standard_normal((rows, POINTS))).astype(np.float32)


def write_copy(out, count):
    head = struct.pack(">hiiiiiiii", 2, 4, 0, 20 + 8 * POINTS, 1, 0, 700, POINTS, 1)
    row = np.dtype([("head", f"V{len(head)}"), ("values", [("size", ">i4"), ("value", ">f4")], POINTS)])
    out.write(b"PGCOPY\n\xff\r\n\0" + bytes(8))
    part = 0
    for block in blocks(count):
        rows = np.zeros(len(block), row)
        rows["values"]["size"] = 4
        rows["values"]["value"] = block
        for i, content in enumerate(rows):
            raw = bytearray(content.tobytes())
            raw[:len(head)] = head
            struct.pack_into(">i", raw, 6, part + i)
            out.write(raw)
        part += len(block)
    out.write(b"\xff\xff")


if __name__ == "__main__":
    write_copy(sys.stdout.buffer, int(sys.argv[1]))
