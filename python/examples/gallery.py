"""Every operation at its middle example, before and after, as one picture: gallery.py PHOTO OUT.png [OPERATION ...]"""
import math
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
from PIL import Image

import zel


def main(source: str, target: str, *names: str) -> None:
    with Image.open(source) as opened:
        photo = opened.convert("RGB")
        photo.thumbnail((480, 480))
    pixels = np.asarray(photo)
    shown = [o for o in zel.operations() if not names or o["name"] in names]
    columns = min(6, len(shown) + 1)
    rows = math.ceil((len(shown) + 1) / columns)
    size = (3.2 * columns, (3.2 * pixels.shape[0] / pixels.shape[1] + 0.55) * rows)
    figure, axes = plt.subplots(rows, columns, figsize=size, squeeze=False, layout="constrained")
    for axis in axes.flat:
        axis.set_axis_off()
    axes.flat[0].imshow(pixels)
    axes.flat[0].set_title("as it was", fontsize=10)
    for axis, operation in zip(axes.flat[1:], shown):
        words = operation["examples"][1]
        axis.imshow(zel.apply(pixels, f"{operation['name']} {words}"))
        axis.set_title(f"{operation['title']}\n{words}", fontsize=9)
    figure.savefig(target, dpi=90)


if __name__ == "__main__":
    main(*sys.argv[1:])
