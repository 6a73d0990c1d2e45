"""imageio: what the first frame needs is measured once and replayed on every frame, so that nothing flickers."""
import sys

import imageio
import numpy as np

import zel


def main(source: str, target: str) -> None:
    photo = np.asarray(imageio.imread(source))
    frames = [photo[shift : shift + 200, shift : shift + 300] for shift in range(0, 40, 8)]
    measured = zel.measure(frames[0], "light-correct strength=80", "tone strength=40")
    imageio.mimwrite(target, [zel.replay(measured, frame) for frame in frames])


if __name__ == "__main__":
    main(*sys.argv[1:])
