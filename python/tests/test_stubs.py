"""The type stubs say what the module has."""

import pathlib
import subprocess
import sys

import limes

HERE = pathlib.Path(__file__).parent
PACKAGE = pathlib.Path(limes.__file__).parent


def run(*arguments):
    done = subprocess.run(
        [sys.executable, "-m", *arguments], cwd=PACKAGE.parent, capture_output=True, text=True
    )
    assert done.returncode == 0, done.stdout + done.stderr


def test_stubs_match_the_module(tmp_path):
    config = tmp_path / "mypy.ini"
    config.write_text(f"[mypy]\ncache_dir = {tmp_path / 'cache'}\n")
    allowed = HERE / "stubs_allowed.txt"
    run("mypy.stubtest", "limes._limes", f"--allowlist={allowed}", f"--mypy-config-file={config}")
    run("mypy", "--strict-equality", f"--config-file={config}", "limes")
