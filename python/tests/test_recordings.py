"""Reading, forming and stores: the same as the program, and never a crash by what a file holds."""

import copy
import os
import pickle
import subprocess
import sys

import numpy as np
import pytest

import limes

CSV = "Frequency [Hz],Gear noise [dB(Pa)],Way [furlong]\n" + "".join(
    f"{i},{60 + i % 3},{i}\n" for i in range(20)
)


@pytest.fixture()
def table(tmp_path):
    path = tmp_path / "a.csv"
    path.write_text(CSV)
    return path


def test_read(table):
    (part,) = limes.read(table)
    noise = part["Gear noise"]
    assert (part.names, len(part), part[-1].name) == (["Gear noise", "Way"], 2, "Way")
    assert (noise.unit, noise.x_unit, noise.dx, len(noise)) == ("dB(Pa)", "Hz", 1.0, 20)
    assert (list(noise.values[:4]), list(noise.x[:2])) == ([60, 61, 62, 60], [0, 1])
    assert part["Way"].unknown_units == ("", "furlong")
    for twin in (copy.deepcopy(part), pickle.loads(pickle.dumps(part))):
        assert np.array_equal(twin["Way"].values, part["Way"].values)
        assert twin["Way"].unknown_units == ("", "furlong")
    singles = limes.read(table, values=True, skip="Frequency")
    assert [float(p["Gear noise"]) for p in singles[:3]] == [60, 61, 62]
    assert limes.learn_values([p["Gear noise"] for p in singles]).count == 20


REFUSED = [
    (lambda p: limes.read(p.parent / "none.wav"), FileNotFoundError, "none.wav"),
    (lambda p: limes.read(p, spectrums=2), TypeError, "keywords are rows, values"),
    (lambda p: limes.read(p, spectrum="a"), TypeError, "spectrum cannot be 'a'"),
    (lambda p: limes.read(p, spectrum=-2), TypeError, "spectrum cannot be -2"),
    (lambda p: limes.read(p, spectrum=3), ValueError, "spectrum"),
    (lambda p: limes.read(p, use="Way", spectrum=64), ValueError, "fewer than spectrum 64"),
    (lambda p: limes.read(p)[0]["none"], KeyError, "none"),
    (lambda p: limes.read(p)[0][2], IndexError, ""),
    (lambda p: limes.learn(limes.read(p)), ValueError, "2 quantities, choose one"),
    (lambda p: float(limes.read(p)[0][0]), TypeError, "is a signal"),
    (lambda p: limes.quantity([1, 2], dx=-1), ValueError, "above 0"),
    (lambda p: limes.quantity([1, 2], x=[1, np.nan]), ValueError, "finite"),
    (lambda p: limes.spectrum([1.0] * 9, 16), ValueError, "fewer than"),
    (lambda p: limes.Store(p), ValueError, ""),
    (lambda p: limes.Store(p.parent / "none"), FileNotFoundError, "none"),
]


@pytest.mark.parametrize(("call", "error", "message"), REFUSED)
def test_refuses(table, call, error, message):
    with pytest.raises(error, match=message):
        call(table)


def test_what_is_assumed_is_a_warning(tmp_path):
    (tmp_path / "a.csv").write_text("x [s],p [dB(A)]\n0,1\n1,2\n")
    with pytest.warns(UserWarning, match=r"dB\(A\) is read as dB\(Pa\)"):
        limes.read(tmp_path / "a.csv")


def test_unknown_units_are_told_apart(table):
    (part,) = limes.read(table)
    limit = limes.learn([part["Way"], part["Way"]], limes.Rule(factor=3))
    other = limes.quantity(np.arange(20.0), x_unit="Hz")
    assert limit.judge(part["Way"])
    for twin in (limit, pickle.loads(pickle.dumps(limit))):
        assert twin.judge(other).reason == limes.PartStatus.UNIT
        with pytest.raises(ValueError, match="another unit"):
            twin.learn(other)


def test_places_without_equal_steps_are_drawn_on_the_grid():
    x = np.cumsum(np.random.default_rng(1).uniform(0.04, 0.06, 200))
    parts = [limes.quantity(np.sin(x) + 0.1 * i, x=x, name="way") for i in range(4)]
    limit = limes.learn(parts, limes.Rule(factor=3))
    assert limit.judge(parts[0])
    gap = (x < 4) | (x > 7)  # what was not measured is not judged
    assert limit.judge(limes.quantity(np.sin(x[gap]), x=x[gap])).verdict == limes.Verdict.NOT_JUDGED


def test_spectrum_of_a_tone():
    time = np.arange(4096) / 4096
    levels = limes.spectrum(np.sqrt(2) * np.sin(2 * np.pi * 512 * time), 256, dx=1 / 4096, y_unit="V")
    assert (levels.unit, levels.x_unit, levels.dx) == ("dB(V)", "Hz", 16)
    assert levels.x[np.argmax(levels.values)] == 512 and max(levels.values) == pytest.approx(0, abs=1e-3)


@pytest.fixture(scope="module")
def demo(tmp_path_factory):
    program = os.environ.get("LIMES_PROGRAM", "")
    if not os.access(program, os.X_OK):
        pytest.skip("the program is not built")
    folder = tmp_path_factory.mktemp("demo")
    subprocess.run([program, "demo", "bench"], cwd=folder, check=True, capture_output=True)
    return folder / "bench"


def test_store_and_files_give_the_same_limits(demo):
    store = limes.Store(demo / "bench.limes")
    learnt, curve = store.parts, store.curve("acceleration", "lower")
    limits, verdicts = store.limits, store.verdicts()
    assert len(learnt["part"]) == 60 and sorted(limits["side"]) == ["lower", "upper"]
    limit = limes.learn(limes.read(sorted(demo.glob("learn_*.wav")), **store.reading), store.rule)
    assert limit.sides == "both" and len(limit.calibration) == limits["scores"][0]
    assert np.array_equal(limit.lower.values, np.float32(curve["limit"]))
    defects = store.defects()
    for path in ("good_01.wav", "bad_tooth_damage_01.wav"):
        judged = limit.judge(limes.read(demo / path, **store.reading)[0])
        rows = [i for i, part in enumerate(verdicts["part"]) if part.endswith(path)]
        for i in rows:
            side = judged.sides[verdicts["side"][i]]
            assert np.float32(side.deviation) == np.float32(verdicts["max_deviation"][i])
            assert (side.verdict.name == "FAIL") == (verdicts["verdict"][i] == "NOK")
        found = sorted(x for part, x in zip(defects["part"], defects["x"]) if part.endswith(path))
        assert found == sorted(region.x for region in judged.regions)


def test_without_pandas_tables_are_arrays(demo):
    code = (
        "import sys; sys.modules['pandas'] = None; import limes\n"
        f"v = limes.Store({str(demo / 'bench.limes')!r}).verdicts()\n"
        "assert type(v) is dict and len(v['part']) == 60, v"
    )
    subprocess.run([sys.executable, "-c", code], check=True)


@pytest.mark.parametrize("ending", ["wav", "csv", "npy", "npz", "uff", "tdms", "mf4", "crv", "limes"])
def test_hostile_files_are_refused(tmp_path, ending, demo):
    """Cut and flipped files are read or refused, and never end the interpreter."""
    path = tmp_path / f"a.{ending}"
    if ending == "npy":
        np.save(path, np.arange(50.0))
    elif ending == "npz":
        np.savez(path, a=np.arange(50.0))
    elif ending == "csv":
        path.write_text(CSV)
    elif ending == "limes":
        path.write_bytes((demo / "bench.limes").read_bytes())
    else:
        path.write_bytes((demo / "good_01.wav").read_bytes()[:3000])
    whole = path.read_bytes()
    random = np.random.default_rng(3)
    for i in range(40):
        content = bytearray(whole[: random.integers(len(whole))] if i % 2 else whole)
        for at in random.integers(len(content) or 1, size=4):
            content[at : at + 1] = bytes([random.integers(256)])
        path.write_bytes(content)
        try:
            limes.Store(path).verdicts() if ending == "limes" else limes.read(path)
        except (ValueError, OSError):
            pass
