"""Photo enhancement for NumPy arrays.

    import zel
    better = zel.apply(picture, "light-correct", ("vivid", {"strength": 20}))
    better = zel.vivid(picture, strength=20, rect=("10%", "10%", "50%", "90%"))

One function for each operation, with its settings as arguments; zel.operations() is the table of them all.
"""

from ._arrays import (
    BadPixels,
    Cancelled,
    CopyWarning,
    Error,
    NeedsColour,
    NoTable,
    OutOfMemory,
    Outside,
    Refused,
    WrongText,
)
from ._chains import Chain, apply, auto, operations
from ._kept import BakeError, Measured, Table, bake, measure, replay
from ._operations import *  # noqa: F403

__all__ = [
    "BadPixels",
    "BakeError",
    "Cancelled",
    "Chain",
    "CopyWarning",
    "Error",
    "Measured",
    "NeedsColour",
    "NoTable",
    "OutOfMemory",
    "Outside",
    "Refused",
    "Table",
    "WrongText",
    "apply",
    "auto",
    "bake",
    "measure",
    "operations",
    "replay",
]
