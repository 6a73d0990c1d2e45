"""What chains decide on a picture, kept to be used elsewhere: measured chains and tables."""
from __future__ import annotations

from typing import TYPE_CHECKING, Any, NamedTuple

import numpy as np

from ._arrays import Array, Order, Picture, Progress, failure, held, made, options_of, run
from ._chains import Step, chain_of
from ._native import ffi, lib

if TYPE_CHECKING:
    import numpy.typing as npt


class Measured:
    """A chain with the decisions that it made on one picture. Never changes; any number of threads may use it.

    tiles   parts of the picture with their margin give what the whole gives
    exact   on the picture that was measured it gives, at 8 bits, what the chain itself gives
    margin  pixels that a part needs around those whose results are wanted; -1: all
    """

    __slots__ = ("_measured",)

    def __init__(self, held: Any) -> None:
        self._measured = held

    @property
    def tiles(self) -> bool:
        return bool(lib.ZelMeasured_Flags(self._measured) & lib.ZEL_MEASURED_TILES)

    @property
    def exact(self) -> bool:
        return bool(lib.ZelMeasured_Flags(self._measured) & lib.ZEL_MEASURED_EXACT)

    @property
    def margin(self) -> int:
        return int(lib.ZelMeasured_Margin(self._measured))

    def block(self, step: int) -> npt.NDArray[np.uint8] | None:
        """What a step decided: curves of shape (3, 256), a lattice of shape (16, 16, 16, 3) with red varying fastest
        (so indexed blue, green, red), or None."""
        block = np.empty(lib.ZEL_LUT3D_BYTES, np.uint8)
        count = lib.ZelMeasured_Block(self._measured, step, ffi.from_buffer("uint8_t[]", block))
        if count == lib.ZEL_LUT1D_BYTES:
            return block[:count].reshape(3, 256)
        return block.reshape(16, 16, 16, 3) if count else None


def measure(
    array: Array, *steps: Step, order: Order = "rgb", orientation: int = 1, progress: Progress | None = None
) -> Measured:
    """Runs the steps on a picture, mostly a small one, and keeps what the automatic operations decided, for `replay`.

    Give points and rectangles in per cent when the picture is a reduced one.
    """
    picture, report = Picture(np.asarray(array), order), ffi.new("ZelReport *")
    options = options_of(orientation, progress)
    found = lib.ZelChain_Measure(chain_of(steps)._chain, picture.pixels, options[0], report)
    if found == ffi.NULL and options[2] is not None and options[2].raised is not None:
        raise options[2].raised
    return Measured(held(found, lib.ZelMeasured_Free, report))


def replay(
    measured: Measured,
    array: Array,
    *,
    out: Array | None = None,
    order: Order = "rgb",
    orientation: int = 1,
    whole: tuple[int, int] | None = None,
    at: tuple[int, int] = (0, 0),
    progress: Progress | None = None,
) -> Array:
    """Applies a measured chain to the full picture, or to a part of it.

    Args:
        whole: width and height of the whole picture when `array` is a part of it
        at: column and row of the part's corner in the whole picture

    The others as for zel.apply.
    """
    options = options_of(orientation, progress, whole, at)
    return run(lib.ZelMeasured_Apply, measured._measured, array, out, order, options)


class BakeError(NamedTuple):
    """How far a table lies from the operations themselves, in levels of 255 over all samples."""

    most: float
    mean: float
    over_one: float  # share of the samples that differ by more than one level


class Table:
    """One colour in, one colour out: curves or a lattice."""

    __slots__ = ("_table", "error")

    def __init__(self, held: Any, error: BakeError | None = None) -> None:
        self._table = held
        self.error = error

    @classmethod
    def from_array(cls, rows: npt.NDArray[Any]) -> Table:
        """A table of results from 0 to 1: (n, 3) curves, or (n, n, n, 3) indexed blue, green, red."""
        values = np.ascontiguousarray(rows, np.float64)
        lattice = values.ndim == 4
        if values.shape[-1:] != (3,) or values.ndim not in (2, 4) or len(set(values.shape[:-1])) != 1:
            raise ValueError(f"an array of shape {values.shape} is no table; (n, 3) and (n, n, n, 3) are")
        rows_ = ffi.from_buffer("double[]", values)
        return cls(made(lib.ZelTable_FromRows, lib.ZelTable_Free, rows_, len(values), lattice, ffi.NULL, ffi.NULL))

    @classmethod
    def from_cube(cls, text: str) -> Table:
        """Reads the text of a .cube file."""
        data = text.encode()
        return cls(made(lib.ZelTable_ReadCube, lib.ZelTable_Free, data, len(data)))

    @classmethod
    def from_hald(cls, array: Array, *, order: Order = "rgb") -> Table:
        """Reads a HaldCLUT picture."""
        picture = Picture(np.asarray(array), order)  # whose memory stays until the table is read
        return cls(made(lib.ZelTable_ReadHald, lib.ZelTable_Free, picture.pixels))

    @property
    def array(self) -> npt.NDArray[np.float64]:
        """A copy of the table: (n, 3) curves, or (n, n, n, 3) indexed blue, green, red."""
        size = lib.ZelTable_Size(self._table)
        shape = (size, size, size, 3) if lib.ZelTable_IsLattice(self._table) else (size, 3)
        rows = lib.ZelTable_Rows(self._table)
        data = ffi.buffer(rows, int(np.prod(shape)) * 8)
        return np.frombuffer(data, np.float64).reshape(shape).copy()

    def resample(self, nodes: int) -> Table:
        """The same mapping as a lattice of so many nodes an axis, 2 to 129."""
        return Table(made(lib.ZelTable_Resample, lib.ZelTable_Free, self._table, nodes))

    def _written(self, write: Any, comment: str) -> str:
        text = made(write, lib.ZelText_Free, self._table, comment.encode(), ffi.NULL)
        return str(ffi.string(text).decode())

    def cube(self, comment: str = "") -> str:
        """The text of a .cube file."""
        return self._written(lib.ZelTable_WriteCube, comment)

    def clf(self, comment: str = "") -> str:
        """The text of a CLF file."""
        return self._written(lib.ZelTable_WriteClf, comment)

    def hald(self) -> Array:
        """The table as a HaldCLUT picture, red first."""
        side, bits = lib.ZelTable_HaldSide(self._table), lib.ZelTable_HaldBits(self._table)
        picture = np.empty((side, side, 3), np.uint8 if bits == 8 else np.uint16)
        report = ffi.new("ZelReport *")
        if lib.ZelTable_WriteHald(self._table, Picture(picture, "rgb").pixels, report) != lib.ZEL_OK:
            raise failure(report)
        return picture

    def apply(self, array: Array, *, out: Array | None = None, order: Order = "rgb", progress: Progress | None = None) -> Array:
        """Maps every pixel; arguments as for zel.apply."""
        return run(lib.ZelTable_Apply, self._table, array, out, order, options_of(1, progress))


def bake(*steps: Step, photo: Array | None = None, nodes: int = 0, order: Order = "rgb") -> Table:
    """One table that does what the steps do at 8 bits.

    Args:
        photo: what automatic operations measure; without it there may be none
        nodes: 2 to 129 makes a lattice; 0 chooses, curves when they are exact

    `error` of the table says how far it is from the operations. Raises NoTable when one looks at neighbours or places.
    """
    error = ffi.new("ZelBakeError *")
    picture = None if photo is None else Picture(np.asarray(photo), order)
    pixels = ffi.NULL if picture is None else picture.pixels
    baked = made(lib.ZelChain_Bake, lib.ZelTable_Free, chain_of(steps)._chain, pixels, nodes, ffi.NULL, error)
    return Table(baked, BakeError(error.most, error.mean, error.overOne))
