#!/usr/bin/env python3
"""A day of a bench: parts of three variants come to a folder that is served, 1200 an hour.

usage: scripts/endurance_bench.py PROGRAM [--hours N] [--an-hour PARTS]

They come as fast as they are judged; the program is killed at noon and begun again. Prints what was
measured; ends with 1 when a part was lost or judged twice, or memory grew.
"""

import argparse
import collections
import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time

PRODUCTS = {"small": 50.0, "middle": 55.0, "large": 65.0}


def part(product: str, source: random.Random) -> str:
    level = PRODUCTS[product]
    return "x [s],noise [Pa]\n" + "".join(
        f"{i},{level + source.gauss(0, 1):.3f}\n" for i in range(50))


def put(folder: pathlib.Path, name: str, text: str) -> None:
    path = folder.parent / name
    path.write_text(text)
    path.rename(folder / name)


def memory(process: subprocess.Popen) -> int:
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return int(status.split("VmRSS:")[1].split()[0])


def main() -> int:
    parser = argparse.ArgumentParser(usage=__doc__.split("usage: ")[1].split("\n\n")[0])
    parser.add_argument("program")
    parser.add_argument("--hours", type=int, default=24)
    parser.add_argument("--an-hour", type=int, default=1200)
    o = parser.parse_args()
    program = os.path.abspath(o.program)
    source = random.Random(1)
    with tempfile.TemporaryDirectory() as work:
        os.chdir(work)
        good, came, away = (pathlib.Path(work, name) for name in ("good", "in", "away"))
        for folder in (good, came, away):
            folder.mkdir()
        for product in PRODUCTS:
            for i in range(30):
                put(good, f"{product}_g{i}.csv", part(product, source))
        subprocess.run([program, "learn", "day.limes", "good", "--variant", "product",
                        "--variant-pattern", "{product}_{serial}.csv", "--factor", "9"],
                       check=True, capture_output=True)

        def begin() -> subprocess.Popen:
            return subprocess.Popen(
                [program, "serve", "day.limes", "--watch", "in", "--still", "0", "--done", "away",
                 "--port", "0"], stdout=subprocess.DEVNULL)

        begun, serving, kilobytes = time.monotonic(), begin(), []
        for hour in range(o.hours):
            for i in range(o.an_hour):
                product = list(PRODUCTS)[i % 3]
                put(came, f"{product}_{hour}-{i}.csv", part(product, source))
                if i == o.an_hour // 2 and hour == o.hours // 2:
                    serving.kill()
                    serving.wait()
                    serving = begin()
            while any(came.iterdir()):
                time.sleep(0.05)
                if serving.poll() is not None:
                    print("the program has ended by itself")
                    return 1
            kilobytes.append(memory(serving))
        serving.terminate()
        serving.wait()
        told = subprocess.run([program, "report", "day.limes", "--all-runs", "--json"],
                              capture_output=True, text=True, check=True).stdout
        counts = collections.Counter(json.loads(line)["part"] for line in told.splitlines())
        lost = o.hours * o.an_hour - len(counts)
        twice = sum(count > 1 for count in counts.values())
        half = o.hours // 2
        growth = [max(run[-1] / run[1] - 1, 0) if len(run) > 1 else 0
                  for run in (kilobytes[:half], kilobytes[half:])]
        print(f"{len(counts)} parts of {o.hours} hours in {time.monotonic() - begun:.0f} s, one "
              f"kill: {lost} lost, {twice} judged twice; memory {kilobytes[half - 1]} and "
              f"{kilobytes[-1]} kB at the end of each run, "
              f"{100 * growth[0]:.0f} and {100 * growth[1]:.0f} % more than after its second hour")
        return 1 if lost or twice or max(growth) > 0.1 else 0


if __name__ == "__main__":
    sys.exit(main())
