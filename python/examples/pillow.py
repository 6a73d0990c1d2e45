"""Pillow: a picture turned by its EXIF orientation is pointed at as it is seen, and stays as it is stored."""
import sys

import numpy as np
from PIL import Image

import zel


def main(source: str, target: str) -> None:
    with Image.open(source) as photo:
        exif = photo.getexif()
        plain = photo if photo.mode in ("L", "LA", "RGB", "RGBA") else photo.convert("RGB")
        better = zel.apply(
            np.asarray(plain),
            ("light-correct", {"strength": 60}),
            ("skin-clear", {"level": 40, "at": ("48%", "40%")}),
            orientation=exif.get(0x0112, 1),
        )
        Image.fromarray(better).save(target, exif=exif)


if __name__ == "__main__":
    main(*sys.argv[1:])
