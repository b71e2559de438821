"""Builds the module of the Python package with CMake; see pyproject.toml.

One wheel per version of Python: the binding library has no limited interface. LIMES_MODULE names a
folder with a module that is built already.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).parent


def version():
    return re.search(r"project\(limes VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())[1]


class Build(build_ext):
    def run(self):
        built = os.environ.get("LIMES_MODULE")
        if built is None:
            folder = pathlib.Path(self.build_temp).absolute()
            flags = f"-ffile-prefix-map={ROOT.absolute()}=. -ffile-prefix-map={folder}=build"
            options = {
                "CMAKE_BUILD_TYPE": "Release",
                "CMAKE_CXX_FLAGS": flags,
                "CMAKE_MODULE_LINKER_FLAGS": "-s",
                "CMAKE_EXE_LINKER_FLAGS": "-s",
                "LIMES_PYTHON": "ON",
                "LIMES_TESTS": "OFF",
                "LIMES_ENGINES": "OFF",
                "LIMES_EXAMPLES": "OFF",
                "LIMES_INSTALL": "OFF",
                "LIMES_WERROR": "OFF",
                "Python3_EXECUTABLE": sys.executable,
            }
            given = [f"-D{name}={value}" for name, value in options.items()]
            subprocess.run(["cmake", "-G", "Ninja", "-S", ROOT, "-B", folder, *given], check=True)
            subprocess.run(["cmake", "--build", folder, "--target", "limes_python"], check=True)
            built = folder / "python" / "limes"
        built = pathlib.Path(built)
        target = pathlib.Path(self.build_lib) / "limes"
        target.mkdir(parents=True, exist_ok=True)
        for file in [*built.glob("_limes.*"), *built.glob("limes-arrays")]:
            shutil.copy(file, target)


setup(
    version=version(),
    ext_modules=[Extension("limes._limes", [])],
    cmdclass={"build_ext": Build},
)
