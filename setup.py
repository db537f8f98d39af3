"""Builds the Python package: CMake makes the extension and the engine, in a folder of their own."""

import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent
# setuptools packs whatever lies in its folders, so they begin empty.
WORK = ROOT / "build" / "wheel"
shutil.rmtree(WORK, ignore_errors=True)
WORK.mkdir(parents=True)


class CMakeBuild(build_ext):
    """The engine and the extensions over it, installed into the package's folder.

    The one for the host's files needs the reference host, which is left out if a library that it needs is missing.
    """

    def run(self) -> None:
        folder = ROOT / "build" / "package"
        install = folder / "install"
        shutil.rmtree(install, ignore_errors=True)
        needed = ["muparser", "libcrypto", "hdf5"]
        missing = [name for name in needed if subprocess.run(["pkg-config", "--exists", name]).returncode]
        if missing:
            print(f"tolvane.save and tolvane.load are left out: pkg-config finds no {', '.join(missing)}.", file=sys.stderr)
        host, targets = ("external", []) if missing else ("reference", ["tolvane_python_host"])
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DTOLVANE_PYTHON=ON", f"-DTOLVANE_HOST={host}"]
        options.append(f"-DPython3_EXECUTABLE={sys.executable}")
        # Libraries are copied from the build folder, where paths that are padded for later would name the current folder.
        options.append("-DCMAKE_BUILD_WITH_INSTALL_RPATH=ON")
        options += [f"-DTOLVANE_{part}=OFF" for part in ("TESTS", "EXAMPLES")]
        generator = ["-G", "Ninja"] if shutil.which("ninja") else []
        subprocess.run(["cmake", "-S", str(ROOT), "-B", str(folder), *generator, *options], check=True)
        build = ["cmake", "--build", str(folder), "--parallel", "--target", "tolvane_python", *targets]
        subprocess.run(build, check=True)
        subprocess.run(
            ["cmake", "--install", str(folder), "--component", "python", "--prefix", str(install), "--strip"], check=True
        )
        package = Path(self.get_ext_fullpath("tolvane._core")).parent
        shutil.copytree(install / "tolvane", package, dirs_exist_ok=True)


setup(
    ext_modules=[Extension("tolvane._core", [])],
    cmdclass={"build_ext": CMakeBuild},
    options={"build": {"build_base": str(WORK)}, "egg_info": {"egg_base": str(WORK)}},
)
