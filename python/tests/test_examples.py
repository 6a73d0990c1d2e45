"""The examples as a person runs them: each makes a picture that differs from its photograph."""
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
from PIL import Image

EXAMPLES = Path(__file__).parents[1] / "examples"


@pytest.mark.parametrize("name", ["pillow", "opencv", "scikit_image", "imageio_frames", "gallery"])
def test_example(name, tool, tmp_path):
    photo, out = tmp_path / "photo.png", tmp_path / ("out.gif" if "frames" in name else "out.png")
    subprocess.run([tool, "sample", photo, "--size", "480x320"], check=True)
    words = ["vivid", "tone"] if name == "gallery" else []
    subprocess.run([sys.executable, "-W", "error::UserWarning:zel", EXAMPLES / f"{name}.py", photo, out, *words], check=True)
    with Image.open(out) as made, Image.open(photo) as was:
        assert getattr(made, "n_frames", 1) == (5 if "frames" in name else 1)
        if made.size == was.size:
            before, after = (np.asarray(p.convert("RGB")).astype(int) for p in (was, made))
            assert 0.5 < np.abs(before - after).mean() < 60
        else:
            assert made.size[0] >= 300 and len(np.unique(np.asarray(made.convert("L")))) > 50
