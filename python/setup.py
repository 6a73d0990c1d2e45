"""Builds libzel_chain by its own CMake files, the extension on it, and one function for each operation of its table."""
import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import setup
from setuptools.command.build_ext import build_ext
from setuptools.command.sdist import sdist

sys.path.insert(0, str(Path(__file__).parent))
from native import GIVEN, HERE, LIBRARIES, SOURCES  # noqa: E402

NATIVE = ["CMakeLists.txt", "cmake", "include", "src", "chain", "packaging", "README.md", "LICENSE"]


class Build(build_ext):
    def run(self):
        if not GIVEN:
            self.build_library()
        super().run()
        extension = self.get_ext_fullpath("zel._native")
        target = HERE / "src" / "zel" if self.inplace else Path(self.build_lib) / "zel"
        subprocess.run([sys.executable, HERE / "generate.py", extension, target / "_operations.py"], check=True)

    def build_library(self):
        command = ["cmake", "-S", SOURCES, "-B", LIBRARIES, "-DCMAKE_BUILD_TYPE=Release", "-DZEL_EXAMPLES=OFF"]
        if shutil.which("ninja"):
            command += ["-G", "Ninja"]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", LIBRARIES, "--target", "zel_chain_static", "--parallel"], check=True)


class Source(sdist):
    """An sdist that builds by itself: the library's sources go along."""

    def make_release_tree(self, base_dir, files):
        super().make_release_tree(base_dir, files)
        for name in NATIVE:
            source, target = SOURCES / name, Path(base_dir) / "native" / name
            if source.is_dir():
                shutil.copytree(source, target, dirs_exist_ok=True)
            elif source.exists():
                target.parent.mkdir(exist_ok=True)
                shutil.copy2(source, target)


version = re.search(r"project\(zel VERSION ([\d.]+)", (SOURCES / "CMakeLists.txt").read_text())[1]
setup(
    version=version,
    cffi_modules=["native.py:ffi"],
    cmdclass={"build_ext": Build, "sdist": Source},
    zip_safe=False,
)
