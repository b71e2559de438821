"""Nothing that Python hands in ends the interpreter."""

import pathlib
import subprocess
import sys

import pytest


@pytest.mark.parametrize("seed", [1, 2])
def test_interpreter_lives(seed):
    script = pathlib.Path(__file__).parent / "fuzz_bindings.py"
    done = subprocess.run(
        [sys.executable, script, str(100 * seed), "6"], capture_output=True, text=True
    )
    assert done.returncode == 0, done.stdout + done.stderr[-4000:]
    assert int(done.stdout.split()[0]) > 1000
