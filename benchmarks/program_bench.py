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
import pandas, sys
table = pandas.read_csv(sys.argv[1])
print(table.mean().sum(), table.std().sum())
"""
SPECTRA = """
import glob, numpy, scipy.io.wavfile, scipy.signal, sys
levels = []
for name in sorted(glob.glob(sys.argv[1] + "/*.wav")):
    rate, x = scipy.io.wavfile.read(name)
    power = scipy.signal.welch(x.astype(numpy.float32) / 32768, rate, nperseg=4096, scaling="spectrum")[1]
    levels.append(10 * numpy.log10(power[1:-1]))
print(numpy.mean(levels, axis=0).sum(), numpy.std(levels, axis=0).sum())
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
    script = ["/usr/bin/python3", "-c", code, argument]
    return run(script)[0] if subprocess.run(script, capture_output=True).returncode == 0 else None


def show(what, measured, beside=None):
    processor, elapsed = measured
    ratio = f"  {processor / beside:.2f} of the peer's {beside:.2f} s" if beside else ""
    print(f"{what:44} {processor:6.2f} s of processor, {elapsed:6.2f} s elapsed{ratio}")


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

        for jobs in ("1", "2"):
            rows = peer(READ_ROWS, "rows.csv") if jobs == "1" else None
            show(f"rows of curves learnt, --jobs {jobs}",
                 run(learn("rows.csv", "--rows", "--jobs", jobs), forget), rows)
            show(f"the same judged, --jobs {jobs}",
                 run([program, "test", "store", "rows.csv", "--no-store", "--jobs", jobs]))
            spectra = peer(SPECTRA, "sounds") if jobs == "1" else None
            show(f"spectra of 574 sounds learnt, --jobs {jobs}",
                 run(learn("sounds", "--spectrum", "4096", "--jobs", jobs), forget), spectra)
            forget()
            run(learn("values.csv", "--values"), forget)
            learnt = os.path.getsize("store")
            show(f"20,000 parts of ten values judged, --jobs {jobs}",
                 run([program, "test", "store", "values.csv", "--json", "--jobs", jobs]))
            print(f"{'stored of such a part':44} "
                  f"{(os.path.getsize('store') - learnt) / (20000 * REPEATS):6.0f} bytes")


if __name__ == "__main__":
    main(os.path.abspath(sys.argv[1]))
