"""Nothing that Python hands in ends the interpreter."""

import pathlib
import subprocess
import sys

import pytest


@pytest.mark.parametrize("seed", [1, 2])
def test_interpreter_lives(seed, tmp_path):
    script = pathlib.Path(__file__).parent / "fuzz_bindings.py"
    done = subprocess.run(  # it writes files of any name
        [sys.executable, script, str(100 * seed), "6"], cwd=tmp_path, capture_output=True, text=True
    )
    assert done.returncode == 0, done.stdout + done.stderr[-4000:]
    assert int(done.stdout.split()[0]) > 1000
