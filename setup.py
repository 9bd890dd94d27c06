"""Builds the extension with CMake, as the rest of the project is; pyproject.toml has everything else.

The system has to have CMake, a compiler, and the development files of GDAL and nlohmann-json. CMAKE_ARGS are further
arguments of CMake.
"""

import os
import re
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, extension):
        target = Path(self.get_ext_fullpath(extension.name)).resolve()
        build = Path(self.build_temp).resolve()
        options = [f"-DTILEWRIGHT_BUILD_{part}=OFF" for part in ("APPS", "EXAMPLES", "TESTS", "BENCHMARKS")]
        options += [f"-DPython_EXECUTABLE={sys.executable}", "-DTILEWRIGHT_PYTHON=REQUIRED", "-DTILEWRIGHT_INSTALL=OFF"]
        options += os.environ.get("CMAKE_ARGS", "").split()
        subprocess.run(["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", *options], check=True)
        jobs = str(os.cpu_count() or 1)
        subprocess.run(["cmake", "--build", build, "--target", "tilewright_python", "-j", jobs], check=True)
        (made,) = (build / "python" / "tilewright").glob("_engine.*.so")
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(str(made), str(target))


def version():
    return re.search(r"project\(tilewright VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())[1]


setup(
    version=version(),
    ext_modules=[Extension("tilewright._engine", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
