"""OpenCV: blue first, any depth, in place; a part of the picture is a view of its rows."""
import sys

import cv2

import zel


def main(source: str, target: str) -> None:
    photo = cv2.imread(source, cv2.IMREAD_UNCHANGED)
    zel.smart_contrast(photo, strength=40, out=photo, order="bgr")
    upper = photo[: photo.shape[0] // 2]
    zel.sky_colorful(upper, amount=60, out=upper, order="bgr")
    cv2.imwrite(target, photo)


if __name__ == "__main__":
    main(*sys.argv[1:])
