"""The type stubs say what the module has, and the reference what it does."""

import pathlib
import re
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


def test_examples_are_strictly_typed(tmp_path):
    page = HERE.parent.parent / "docs" / "guide" / "python.md"
    blocks = []
    for block in re.findall(r"^```python\n(.*?)^```$", page.read_text(), re.M | re.S):
        blocks.append(tmp_path / f"block_{len(blocks)}.py")
        blocks[-1].write_text(block)
    assert len(blocks) >= 5
    ignored = ["--ignore-missing-imports", "--follow-imports=silent", "--no-warn-unused-ignores"]
    run("mypy", "--strict", *ignored, f"--cache-dir={tmp_path / 'cache'}", *map(str, blocks))


def test_everything_public_is_in_the_reference(tmp_path):
    script = HERE.parent.parent / "scripts" / "docs_python.py"
    done = subprocess.run(
        [sys.executable, script, PACKAGE.parent, tmp_path], capture_output=True, text=True
    )
    assert done.returncode == 0, done.stderr
    reference = "".join(page.read_text() for page in tmp_path.glob("*.md"))
    for name in ("limes.learn", "CurveLimit.judge", "Curve.x_min", "DVL.vector_variance"):
        assert f"# {name} {{#" in reference, name
