"""scikit-image: samples from 0 to 1 become 16 bits on the way in and come back as such, and hardly lose by it."""
import sys

import numpy as np
from skimage import data, exposure, io, util

import zel


def main(source: str, target: str) -> None:
    photo = io.imread(source) if source else data.astronaut()
    light = exposure.adjust_gamma(util.img_as_float(photo), 0.8)
    better = zel.apply(util.img_as_uint(light), "light-correct strength=60", "vivid strength=30")
    io.imsave(target, util.img_as_ubyte(np.clip(util.img_as_float(better), 0, 1)), check_contrast=False)


if __name__ == "__main__":
    main(*sys.argv[1:])
