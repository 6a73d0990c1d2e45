import os
import subprocess

import pytest

os.environ.pop("LD_PRELOAD", None)  # of a sanitizer: for this process, not for the tool

def pytest_addoption(parser):
    parser.addoption("--all", action="store_true", help="the long runs too")


@pytest.fixture(scope="session")
def tool():
    """The command-line tool."""
    return os.environ["ZEL"]


@pytest.fixture(scope="session")
def drawn(tool, tmp_path_factory):
    """Makes a folder of small photographs, no two alike."""

    def draw(count, folder, width=96, height=64, suffix="jpg"):
        folder.mkdir(parents=True, exist_ok=True)
        first = tmp_path_factory.mktemp("drawn") / "first.ppm"
        subprocess.run([tool, "sample", first, "--size", f"{width}x{height}"], check=True)
        pixels = bytearray(first.read_bytes())
        for i in range(count):
            pixels[20 + i % 200] ^= i // 200 + 1  # another picture, hardly another look
            source = first.with_name(f"p{i:03d}.ppm")
            source.write_bytes(pixels)
        command = [tool, *sorted(map(str, first.parent.glob("p*.ppm"))), "-o", f"{folder}/", "--format", suffix, "contrast"]
        subprocess.run(command, check=True)
        return folder

    return draw
