"""The Python package velko, for pip: CMake builds the module, setuptools packs it. Needs no index: with no pyproject.toml pip
works with the setuptools that is installed."""

import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py

ROOT = pathlib.Path(__file__).resolve().parent
BUILD = ROOT / "build" / "pip"
VERSION = re.search(r"project\(velko VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)


class build_with_cmake(build_py):
    """The Python sources, and the module beside them."""

    def run(self):
        super().run()
        left_out = [f"-DVELKO_BUILD_{part}=OFF" for part in ("VELKRUND", "COMPANIONS", "EXCHANGE", "MPI", "TESTS", "BENCHMARKS")]
        subprocess.run(["cmake", "-S", ROOT, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                        "-DCMAKE_CXX_COMPILER=clang++", f"-DPython_EXECUTABLE={sys.executable}", *left_out], check=True)
        subprocess.run(["cmake", "--build", BUILD, "--target", "velko_python"], check=True)
        for module in (BUILD / "python" / "velko").glob("_velko.*.so"):
            shutil.copy(module, pathlib.Path(self.build_lib) / "velko")


class WithModule(Distribution):
    def has_ext_modules(self):
        return True


setup(
    name="velko",
    version=VERSION,
    description="Forward modelling of magnetic surveys: sensitivity files as linear operators",
    packages=["velko"],
    package_dir={"velko": "python/velko"},
    package_data={"velko": ["py.typed", "*.pyi", "*.html"]},
    entry_points={"console_scripts": ["velko-plot = velko.plot_command:main"]},
    python_requires=">=3.9",
    install_requires=["numpy", "scipy"],
    extras_require={"plot": ["matplotlib"], "report": ["matplotlib", "jinja2"], "tables": ["pandas", "xarray"]},
    cmdclass={"build_py": build_with_cmake},
    distclass=WithModule,
)
