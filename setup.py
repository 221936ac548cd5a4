"""Builds the vorn3d wheel with CMake.

The library and the extension module go into the package folder, where the
module finds the library through its $ORIGIN run path. The CMake build
folder is build/python-wheel; CMAKE_BUILD_PARALLEL_LEVEL sets the jobs (2).
"""
import os
import re
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent
VERSION = re.search(r"project\(Vorn3D VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        package_root = Path(self.get_ext_fullpath(ext.name)).resolve().parent.parent
        build = ROOT / "build" / "python-wheel"
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")
        hints = []
        try:  # pybind11 from pip, when the build is isolated
            import pybind11
            hints.append(f"-Dpybind11_DIR={pybind11.get_cmake_dir()}")
        except ImportError:
            pass
        for command in (
            ["cmake", "-S", str(ROOT), "-B", str(build), "-DCMAKE_BUILD_TYPE=Release",
             "-DVORN3D_BUILD_TESTS=OFF", "-DVORN3D_BUILD_EXAMPLES=OFF", "-DVORN3D_PYTHON_WHEEL=ON",
             f"-DPython3_EXECUTABLE={sys.executable}", *hints],
            ["cmake", "--build", str(build), "-j", jobs, "--target", "vorn3d_core"],
            ["cmake", "--install", str(build), "--component", "python", "--prefix", str(package_root)],
        ):
            subprocess.run(command, check=True)


setup(
    version=VERSION,
    packages=["vorn3d"],
    package_dir={"": "python"},
    ext_modules=[Extension("vorn3d._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    zip_safe=False,
)
