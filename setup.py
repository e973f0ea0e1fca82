"""Builds the Python package by CMake, as pip asks for it: pip install --no-build-isolation .

REMORA_BUILD may name the folder of a CMake build with REMORA_BUILD_PYTHON, which is then taken.
"""

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


def cmake(*arguments):
    subprocess.run(["cmake", *map(str, arguments)], check=True)


class BuildByCMake(build_ext):
    def build_extension(self, extension):
        tree = os.environ.get("REMORA_BUILD")
        if not tree:
            tree = Path(self.build_temp).resolve()
            cmake("-S", ROOT, "-B", tree, "-DCMAKE_BUILD_TYPE=Release", "-DREMORA_BUILD_PYTHON=ON",
                  f"-DPython_EXECUTABLE={sys.executable}", "-DREMORA_BUILD_TOOLS=OFF",
                  "-DREMORA_BUILD_TESTS=OFF")
        cmake("--build", tree, "--target", "remora_python", "--parallel", os.cpu_count() or 1)
        # The libraries go beside the module, under the names that it asks for.
        stage = Path(self.build_temp).resolve() / "stage"
        for component in ("libraries", "python"):
            cmake("--install", tree, "--component", component, "--prefix", stage)
        package = Path(self.get_ext_fullpath(extension.name)).parent
        package.mkdir(parents=True, exist_ok=True)
        for file in [*stage.rglob("libremora*.so.[0-9]"), *stage.rglob("_remora*.so")]:
            shutil.copy(file, package)


setup(
    version=re.search(r"project\(remora VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1],
    ext_modules=[Extension("remora._remora", sources=[])],
    cmdclass={"build_ext": BuildByCMake},
)
