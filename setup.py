"""Builds the module for pip through CMake and its install rules.

The CMake build lives in build/pip (or KYR_PIP_BUILD_DIR) and is kept
between installs, so a second install only rebuilds what changed. It leaves
out the tests and tools and is stripped on install, so no installed file
names the build tree.
"""

import os
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCE = Path(__file__).resolve().parent
BUILD = Path(os.environ.get("KYR_PIP_BUILD_DIR", SOURCE / "build" / "pip")).resolve()
# The machine is shared: two jobs unless the caller asks otherwise.
JOBS = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")


class CMakeBuild(build_ext):
    def get_ext_filename(self, ext_name):
        # CMake names the library as Python imports it, without an ABI tag.
        return ext_name + ".so"

    def build_extension(self, ext):
        target = Path(self.get_ext_fullpath(ext.name)).resolve().parent
        cmake = BUILD / "cmake"
        # The interpreter itself, not a venv's link to it: the cached
        # configuration stays valid whichever venv installs next.
        python = os.path.realpath(sys.executable)
        subprocess.run(["cmake", "-S", str(SOURCE), "-B", str(cmake), "--log-level=WARNING",
                        "-DCMAKE_BUILD_TYPE=Release", "-DKYR_BUILD_TESTS=OFF",
                        f"-DPython3_EXECUTABLE={python}"], check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", str(cmake), "-j", JOBS], check=True)
        subprocess.run(["cmake", "--install", str(cmake), "--prefix", str(target), "--strip"],
                       check=True, stdout=subprocess.DEVNULL)


setup(
    ext_modules=[Extension("libKyrCameraGuiApiPy", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    options={"build": {"build_base": str(BUILD / "setuptools")},
             "egg_info": {"egg_base": str(BUILD)}},
)
