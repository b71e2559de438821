"""Measures the program as a whole beside its peers, in processor time on one core and, with --jobs,
in elapsed time on two. The peers only read and reduce: they learn, judge and store nothing.
usage: program_bench.py PROGRAM   (NumPy; pandas and SciPy where they are installed)"""

import os
import resource
import subprocess
import sys
import tempfile
import time
import wave

import numpy as np

RANDOM = np.random.default_rng(1)
REPEATS = 3

READ_ROWS = """
import pandas, sys, time
start = time.process_time()
table = pandas.read_csv(sys.argv[1])
table.mean().sum() + table.std().sum()
print(time.process_time() - start)
"""
SPECTRA = """
import glob, numpy, scipy.io.wavfile, scipy.signal, sys, time
start = time.process_time()
levels = []
for name in sorted(glob.glob(sys.argv[1] + "/*.wav")):
    rate, x = scipy.io.wavfile.read(name)
    power = scipy.signal.welch(x.astype(numpy.float32) / 32768, rate, nperseg=4096, scaling="spectrum")[1]
    levels.append(10 * numpy.log10(power[1:-1]))
numpy.mean(levels, axis=0).sum() + numpy.std(levels, axis=0).sum()
print(time.process_time() - start)
"""


def table(name, rows, columns, header):
    values = RANDOM.normal(10, 1, (rows, columns))
    with open(name, "w") as out:
        out.write(",".join(header(i) for i in range(columns)) + "\n")
        np.savetxt(out, values, fmt="%.6g", delimiter=",")


def sounds(folder, count):
    os.mkdir(folder)
    for i in range(count):
        with wave.open(f"{folder}/{i:03}.wav", "wb") as out:
            out.setnchannels(1)
            out.setsampwidth(2)
            out.setframerate(48000)
            out.writeframes((RANDOM.normal(0, 3000, 48000)).astype("<i2").tobytes())


def run(words, before=lambda: None, most=1):
    """Least processor and elapsed seconds of a command."""
    best = [float("inf"), float("inf")]
    for _ in range(REPEATS):
        before()
        used = resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.perf_counter()
        done = subprocess.run(words, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        elapsed = time.perf_counter() - start
        if done.returncode > most:
            sys.exit(f"{' '.join(words)}: {done.stderr.decode()}")
        now = resource.getrusage(resource.RUSAGE_CHILDREN)
        processor = now.ru_utime + now.ru_stime - used.ru_utime - used.ru_stime
        best = [min(best[0], processor), min(best[1], elapsed)]
    return best


def peer(code, argument):
    """Least processor seconds of a peer behind its imports; None where it is not installed."""
    best = None
    for _ in range(REPEATS):
        done = subprocess.run([sys.executable, "-c", code, argument], capture_output=True)
        if done.returncode == 0:
            best = min(float(done.stdout), best or float("inf"))
    return best


def show(what, measure, code=None, argument=None):
    """With one thread beside the peer, with two beside one."""
    for jobs in (1, 2):
        processor, elapsed = measure("--jobs", str(jobs))
        beside = peer(code, argument) if code and jobs == 1 else None
        ratio = (f"  {processor / beside:.2f} of the peer's {beside:.2f} s" if beside else
                 f"  {alone / elapsed:.2f} times as fast" if jobs == 2 else "")
        print(f"{what + f', --jobs {jobs}':44} {processor:6.2f} s of processor, "
              f"{elapsed:6.2f} s elapsed{ratio}", flush=True)
        alone = elapsed


def main(program):
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        table("values.csv", 20000, 10, lambda i: f"v{i} [V]")
        table("rows.csv", 5000, 1000, lambda i: f"p{i}")
        sounds("sounds", 574)

        def forget():
            for ending in ("", "-wal", "-shm"):
                if os.path.exists("store" + ending):
                    os.remove("store" + ending)

        def learn(*words):
            return [program, "learn", "store", *words, "--no-guard"]

        def judge(*words):
            return [program, "test", "store", *words]

        show("rows of curves learnt", lambda *jobs: run(learn("rows.csv", "--rows", *jobs), forget),
             READ_ROWS, "rows.csv")
        show("the same judged", lambda *jobs: run(judge("rows.csv", "--no-store", *jobs)))
        show("spectra of 574 sounds learnt",
             lambda *jobs: run(learn("sounds", "--spectrum", "4096", *jobs), forget), SPECTRA, "sounds")
        forget()
        run(learn("values.csv", "--values"), forget)
        learnt = os.path.getsize("store")
        show("20,000 parts of ten values judged",
             lambda *jobs: run(judge("values.csv", "--json", *jobs)))
        print(f"{'stored of such a part':44} "
              f"{(os.path.getsize('store') - learnt) / (20000 * REPEATS * 2):6.0f} bytes")


if __name__ == "__main__":
    main(os.path.abspath(sys.argv[1]))
