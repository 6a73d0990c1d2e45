"""NumPy arrays to and from the library: layouts, settings, errors, progress."""
from __future__ import annotations

import functools
import json
import logging
import os
import sys
import warnings
from collections.abc import Callable, Iterable, Mapping, Sequence
from typing import TYPE_CHECKING, Any, Literal, NamedTuple, Union

import numpy as np

from ._native import ffi, lib

if TYPE_CHECKING:
    import numpy.typing as npt

Array = Union["npt.NDArray[np.uint8]", "npt.NDArray[np.uint16]"]
Order = Literal["rgb", "bgr"]
Number = Union[int, float]
# Pixels as numbers, or per cent of the picture as in "48%"; "48%,40%" in one text serves too.
Point = Union["tuple[int | str, int | str]", str]
Rect = Union["tuple[int | str, int | str, int | str, int | str]", str]
Progress = Callable[[float], object]
Setting = Union[None, bool, int, float, str, Sequence[Union[int, float, str]]]
Settings = Mapping[str, Setting]
# "vivid strength=20", ("vivid", {"strength": 20}), a recipe, or a chain.
Step = Union[str, "tuple[str, Settings]", Mapping[str, Any], "Chain"]

_BITS = {np.dtype(np.uint8): 8, np.dtype(np.uint16): 16}
_ORDERS = {"rgb": 0, "bgr": 1}
_log = logging.getLogger("zel")


class CopyWarning(UserWarning):
    """An array was copied because its samples do not lie side by side in memory."""


class Error(Exception):
    """What the library refused, in its words.

    step      the operation of the chain that it is about, from 0; -1 none
    position  where reading of a text stopped; -1 none
    changed   whether the result array no longer holds what it held
    """

    def __init__(self, text: str, step: int = -1, position: int = -1, changed: bool = False) -> None:
        super().__init__(text)
        self.step, self.position, self.changed = step, position, changed


class WrongText(Error, ValueError):
    """Words, a setting, a recipe or a table cannot be read."""


class BadPixels(Error, ValueError):
    """Arrays that are no pictures, or two that do not fit each other."""


class Outside(Error, ValueError):
    """A point or rectangle lies outside the picture."""


class NeedsColour(Error, ValueError):
    """The result has colours and the result array has none."""


class NoTable(Error, ValueError):
    """These operations cannot become a table."""


class Refused(Error):
    """The operation does not take this picture."""


class Cancelled(Error):
    """The progress callback asked to stop."""


class OutOfMemory(Error, MemoryError):
    """Memory ran out."""


_ERRORS: dict[int, type[Error]] = {
    lib.ZEL_CHAIN_WRONG_TEXT: WrongText,
    lib.ZEL_CHAIN_CANCELLED: Cancelled,
    lib.ZEL_CHAIN_NO_MEMORY: OutOfMemory,
    lib.ZEL_CHAIN_BAD_PIXELS: BadPixels,
    lib.ZEL_CHAIN_OUTSIDE: Outside,
    lib.ZEL_CHAIN_NEEDS_COLOUR: NeedsColour,
    lib.ZEL_CHAIN_NO_TABLE: NoTable,
}


def _failure(report: Any) -> Error:
    text = ffi.string(report.text).decode(errors="replace")
    return _ERRORS.get(report.code, Refused)(text, report.step, report.position, bool(report.changed))


def _held(pointer: Any, free: Any, report: Any) -> Any:
    if pointer == ffi.NULL:
        raise _failure(report)
    return ffi.gc(pointer, free)


def _note(report: Any) -> None:
    if report.notes[0] != b"\0":
        for note in ffi.string(report.notes).decode(errors="replace").splitlines():
            _log.info(note)


# ---- Pixels ----


def _fields(array: npt.NDArray[Any], order: str) -> tuple[Any, ...] | None:
    """An array as the fields of ZelPixels; None when its samples do not lie as those can say."""
    bits = _BITS.get(array.dtype)
    shape, strides = array.shape, array.strides
    if bits is None:
        raise BadPixels(f"an array of {array.dtype} is no picture; uint8 and uint16 in the machine's byte order are")
    if len(shape) not in (2, 3) or 0 in shape or (len(shape) == 3 and shape[2] > 4):
        raise BadPixels(f"an array of shape {shape} is no picture; (h, w) and (h, w, 1) to (h, w, 4) are")
    if order not in _ORDERS:
        raise ValueError(f"order={order!r} must be one of 'rgb', 'bgr'")
    item = bits // 8
    height, width = shape[0], shape[1]
    channels = shape[2] if len(shape) == 3 else 1
    sample = strides[2] if channels > 1 else item
    pixel = strides[1] if width > 1 else channels * item
    row = strides[0] if height > 1 else 0
    blue = _ORDERS[order]
    address = array.__array_interface__["data"][0]
    if sample == -item and channels == 3:  # as in picture[..., ::-1]
        sample, blue, address = item, 1 - blue, address - 2 * item
    tight = width * channels * item
    if sample != item or pixel != channels * item or (height > 1 and abs(row) < tight):
        return None
    return ffi.cast("void *", address), row, width, height, channels, bits, blue


class _Picture:
    """An array that the library can work on, and what has to happen for it before and after."""

    __slots__ = ("array", "kept", "pixels")

    def __init__(self, array: npt.NDArray[Any], order: str, apart: npt.NDArray[Any] | None = None) -> None:
        fields = _fields(array, order)
        self.array = self.kept = array
        if fields is None or apart is not None:
            if fields is None:
                text = f"an array with strides {array.strides} was copied: its samples do not lie side by side"
            else:
                text = "the picture was copied: it shares memory with the result array"
            warnings.warn(text, CopyWarning, stacklevel=_outside())
            self.kept = np.ascontiguousarray(array) if fields is None else array.copy()
            fields = _fields(self.kept, order)
        self.pixels = ffi.new("ZelPixels *", fields)

    def finish(self) -> None:
        if self.kept is not self.array:
            self.array[...] = self.kept


def _outside() -> int:
    """How many calls up the code lies that is not ours."""
    level, frame = 1, sys._getframe(1)
    here = os.path.dirname(__file__)
    while frame.f_back is not None and os.path.dirname(frame.f_code.co_filename) == here:
        level, frame = level + 1, frame.f_back
    return level


def _same_place(a: npt.NDArray[Any], b: npt.NDArray[Any]) -> bool:
    return (
        a.__array_interface__["data"] == b.__array_interface__["data"] and a.strides == b.strides and a.shape == b.shape
    )


# ---- Progress ----


class _Call:
    """A callback while the library runs, and what it raised."""

    def __init__(self, progress: Progress) -> None:
        self.progress = progress
        self.raised: BaseException | None = None


@ffi.def_extern()  # type: ignore[misc]
def zel_progress(user: Any, done: float) -> int:
    call = ffi.from_handle(user)
    try:
        return 1 if call.progress(done) else 0
    except BaseException as error:  # nothing may leave through C; it is raised again behind the call
        call.raised = error
        return 1


def _options(
    orientation: int, progress: Progress | None, whole: tuple[int, int] | None = None, at: tuple[int, int] = (0, 0)
) -> tuple[Any, Any, _Call | None]:
    """The options of a call, what has to stay alive with them, and the callback."""
    if orientation == 1 and progress is None and whole is None:
        return ffi.NULL, None, None
    options = ffi.new("ZelApplyOptions *")
    options.size = ffi.sizeof("ZelApplyOptions")
    options.orientation = orientation
    if whole is not None:
        options.wholeWidth, options.wholeHeight = whole
        options.left, options.top = at
    if progress is None:
        return options, None, None
    call = _Call(progress)
    handle = ffi.new_handle(call)
    options.progress, options.user = lib.zel_progress, handle
    return options, handle, call


def _run(
    function: Any,
    what: Any,
    array: Array,
    out: Array | None,
    order: str,
    options: tuple[Any, Any, _Call | None] = (ffi.NULL, None, None),
) -> Array:
    source = array if type(array) is np.ndarray else np.asarray(array)
    if out is None:
        from_ = _Picture(source, order)
        out = np.empty(source.shape, source.dtype)
        to = _Picture(out, order)
    elif not isinstance(out, np.ndarray):
        raise TypeError("out must be a NumPy array")
    elif not out.flags.writeable:
        raise ValueError("out is read-only")
    elif _same_place(source, out):
        from_ = to = _Picture(out, order)
    else:
        to = _Picture(out, order)
        from_ = _Picture(source, order, out if np.may_share_memory(source, out) and to.kept is out else None)
    report = ffi.new("ZelReport *")
    # cffi sets the interpreter free while the library works.
    code = function(what, from_.pixels, to.pixels, options[0], report)
    if code != lib.ZEL_OK:
        if options[2] is not None and options[2].raised is not None:
            raise options[2].raised
        raise _failure(report)
    to.finish()
    _note(report)
    return out


# ---- Chains ----


def _text(value: Setting) -> str:
    if isinstance(value, (bool, np.bool_)):
        return "yes" if value else "no"
    if isinstance(value, str):
        return value
    if isinstance(value, (Sequence, np.ndarray)):
        return ",".join(_text(part) for part in value)
    number: Any = value
    if isinstance(number, np.generic):
        number = number.item()
    return str(int(number)) if isinstance(number, float) and number.is_integer() else str(number)


def _from_words(words: Iterable[str]) -> Any:
    texts = [ffi.new("char[]", word.encode()) for word in words]
    report = ffi.new("ZelReport *")
    pointers = ffi.new("char *[]", texts)
    return _held(lib.ZelChain_ParseWords(pointers, len(texts), report), lib.ZelChain_Free, report)


def _named(name: str, settings: Iterable[tuple[str, Setting]]) -> Any:
    return _from_words([name, *(f"{key}={_text(value)}" for key, value in settings if value is not None)])


def _parsed(step: Step) -> Any:
    report = ffi.new("ZelReport *")
    if isinstance(step, Chain):
        return step._chain
    if isinstance(step, str):
        text = step.encode()
        return _held(lib.ZelChain_ParseLine(text, len(text), report), lib.ZelChain_Free, report)
    if isinstance(step, Mapping):
        text = json.dumps(step).encode()
        return _held(lib.ZelChain_ParseRecipe(text, len(text), report), lib.ZelChain_Free, report)
    if isinstance(step, tuple) and len(step) == 2 and isinstance(step[0], str) and isinstance(step[1], Mapping):
        return _named(step[0], step[1].items())
    raise TypeError('a step is "name setting=value", ("name", {"setting": value}), a recipe or a zel.Chain')


class Chain:
    """Operations with checked settings, one after another. Never changes; any number of threads may use it.

        warm = zel.Chain("temperature temperature=-30", ("vivid", {"strength": 20}))
        better = warm(picture)
    """

    __slots__ = ("_chain",)

    def __init__(self, *steps: Step) -> None:
        chain = _from_words([])
        for step in steps:
            report = ffi.new("ZelReport *")
            chain = _held(lib.ZelChain_Join(chain, _parsed(step), report), lib.ZelChain_Free, report)
        self._chain = chain

    @classmethod
    def _of(cls, held: Any) -> Chain:
        chain = cls.__new__(cls)
        chain._chain = held
        return chain

    @classmethod
    def from_recipe(cls, recipe: str | Mapping[str, Any]) -> Chain:
        """Reads a recipe: JSON text, or what json.load makes of it."""
        if isinstance(recipe, Mapping):
            return cls(recipe)
        report, text = ffi.new("ZelReport *"), recipe.encode()
        return cls._of(_held(lib.ZelChain_ParseRecipe(text, len(text), report), lib.ZelChain_Free, report))

    @property
    def words(self) -> str:
        """The chain as the tool takes it."""
        return str(ffi.string(lib.ZelChain_Words(self._chain)).decode())

    @property
    def recipe(self) -> str:
        """The chain as JSON text."""
        return str(ffi.string(lib.ZelChain_Recipe(self._chain)).decode())

    @property
    def margin(self) -> int:
        """How many pixels around it a result pixel depends on; -1: all."""
        return int(lib.ZelChain_Margin(self._chain))

    def describe(self) -> list[dict[str, Any]]:
        """Every operation with all settings that hold, its reach and its depth."""
        described = json.loads(ffi.string(lib.ZelChain_Describe(self._chain)))
        assert isinstance(described, list)
        return described

    def __call__(
        self,
        array: Array,
        *,
        out: Array | None = None,
        order: Order = "rgb",
        orientation: int = 1,
        progress: Progress | None = None,
    ) -> Array:
        """Runs the chain; arguments as for zel.apply."""
        return _run(lib.ZelChain_Apply, self._chain, array, out, order, _options(orientation, progress))

    def __len__(self) -> int:
        return int(lib.ZelChain_Steps(self._chain))

    def __add__(self, other: Chain) -> Chain:
        return Chain(self, other)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Chain) and self.words == other.words

    def __hash__(self) -> int:
        return hash(self.words)

    def __repr__(self) -> str:
        return f"zel.Chain({self.words!r})"

    def __reduce__(self) -> tuple[Any, ...]:
        return Chain.from_recipe, (self.recipe,)


def _chain(steps: tuple[Step, ...]) -> Chain:
    return steps[0] if len(steps) == 1 and isinstance(steps[0], Chain) else Chain(*steps)


def apply(
    array: Array,
    *steps: Step,
    out: Array | None = None,
    order: Order = "rgb",
    orientation: int = 1,
    progress: Progress | None = None,
) -> Array:
    """Runs operations one after another, without rounding to 8 bits in between.

        zel.apply(picture, "light-correct", ("vivid", {"strength": 20}))

    Args:
        array: uint8 or uint16 of shape (h, w), (h, w, 1) grey; (h, w, 2) grey and alpha; (h, w, 3) colour; (h, w, 4)
            colour and alpha. Rows may lie anywhere, upwards too; other strides are copied, with a CopyWarning.
        steps: texts, pairs of name and settings, recipes, chains
        out: receives the result: an array of the same height, width and depth; `array` itself for in place
        order: order of the colour channels, "rgb" or "bgr"
        orientation: EXIF, 1 to 8: points and rectangles count in the picture as it is shown
        progress: called with the share done, 0 to 1; a true answer cancels, an exception too

    Returns `out`, or a new array. Other threads run meanwhile.

    Raises: WrongText, BadPixels, Outside, NeedsColour, Refused, Cancelled, OutOfMemory; all are zel.Error.
    """
    return _chain(steps)(array, out=out, order=order, orientation=orientation, progress=progress)


@functools.lru_cache(maxsize=512)
def _remembered(name: str, settings: tuple[tuple[str, Setting], ...], kinds: tuple[type, ...]) -> Any:
    return _named(name, settings)


def one(
    name: str,
    settings: tuple[tuple[str, Setting], ...],
    array: Array,
    out: Array | None,
    order: Order,
    orientation: int,
    progress: Progress | None,
) -> Array:
    """One operation; chains of the same settings are kept."""
    try:
        # True is 1 in Python, and is not in words.
        chain = _remembered(name, settings, tuple([type(value) for _, value in settings]))
    except TypeError:  # a list has no hash
        chain = _named(name, settings)
    return _run(lib.ZelChain_Apply, chain, array, out, order, _options(orientation, progress))


def auto(array: Array, strength: int = 50, *, order: Order = "rgb") -> Chain:
    """Looks at a photograph and chooses what makes it better. A good photograph gets an empty or nearly empty chain.

    The reasons go to the logger "zel", one line each.
    """
    picture, report = _Picture(np.asarray(array), order), ffi.new("ZelReport *")
    chain = lib.ZelChain_Auto(picture.pixels, strength, ffi.NULL, report)
    held = _held(chain, lib.ZelChain_Free, report)
    _note(report)
    return Chain._of(held)


@functools.lru_cache(maxsize=1)
def _table() -> str:
    return str(ffi.string(lib.ZelChain_Table()).decode())


def operations() -> list[dict[str, Any]]:
    """The table of all operations: names, purposes, parameters with their ranges and defaults, examples, reach, depth."""
    found = json.loads(_table())["operations"]
    assert isinstance(found, list)
    return found


# ---- Measured chains ----


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
    picture, report = _Picture(np.asarray(array), order), ffi.new("ZelReport *")
    options = _options(orientation, progress)
    found = lib.ZelChain_Measure(_chain(steps)._chain, picture.pixels, options[0], report)
    if found == ffi.NULL and options[2] is not None and options[2].raised is not None:
        raise options[2].raised
    return Measured(_held(found, lib.ZelMeasured_Free, report))


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
    options = _options(orientation, progress, whole, at)
    return _run(lib.ZelMeasured_Apply, measured._measured, array, out, order, options)


# ---- Tables ----


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
        report = ffi.new("ZelReport *")
        pointer = ffi.from_buffer("double[]", values)
        made = lib.ZelTable_FromRows(pointer, values.shape[0], lattice, ffi.NULL, ffi.NULL, report)
        return cls(_held(made, lib.ZelTable_Free, report))

    @classmethod
    def from_cube(cls, text: str) -> Table:
        """Reads the text of a .cube file."""
        report, data = ffi.new("ZelReport *"), text.encode()
        return cls(_held(lib.ZelTable_ReadCube(data, len(data), report), lib.ZelTable_Free, report))

    @classmethod
    def from_hald(cls, array: Array, *, order: Order = "rgb") -> Table:
        """Reads a HaldCLUT picture."""
        picture, report = _Picture(np.asarray(array), order), ffi.new("ZelReport *")
        return cls(_held(lib.ZelTable_ReadHald(picture.pixels, report), lib.ZelTable_Free, report))

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
        report = ffi.new("ZelReport *")
        return Table(_held(lib.ZelTable_Resample(self._table, nodes, report), lib.ZelTable_Free, report))

    def _written(self, write: Any, comment: str) -> str:
        report = ffi.new("ZelReport *")
        text = write(self._table, comment.encode(), ffi.NULL, report)
        return str(ffi.string(_held(text, lib.ZelText_Free, report)).decode())

    def cube(self, comment: str = "") -> str:
        """The text of a .cube file."""
        return self._written(lib.ZelTable_WriteCube, comment)

    def clf(self, comment: str = "") -> str:
        """The text of a CLF file."""
        return self._written(lib.ZelTable_WriteClf, comment)

    def hald(self) -> Array:
        """The table as a HaldCLUT picture, red first."""
        side, bits = lib.ZelTable_HaldSide(self._table), lib.ZelTable_HaldBits(self._table)
        made = np.empty((side, side, 3), np.uint8 if bits == 8 else np.uint16)
        report = ffi.new("ZelReport *")
        if lib.ZelTable_WriteHald(self._table, _Picture(made, "rgb").pixels, report) != lib.ZEL_OK:
            raise _failure(report)
        return made

    def apply(self, array: Array, *, out: Array | None = None, order: Order = "rgb", progress: Progress | None = None) -> Array:
        """Maps every pixel; arguments as for zel.apply."""
        return _run(lib.ZelTable_Apply, self._table, array, out, order, _options(1, progress))


def bake(*steps: Step, photo: Array | None = None, nodes: int = 0, order: Order = "rgb") -> Table:
    """One table that does what the steps do at 8 bits.

    Args:
        photo: what automatic operations measure; without it there may be none
        nodes: 2 to 129 makes a lattice; 0 chooses, curves when they are exact

    `error` of the table says how far it is from the operations. Raises NoTable when one looks at neighbours or places.
    """
    report, error = ffi.new("ZelReport *"), ffi.new("ZelBakeError *")
    pixels = ffi.NULL if photo is None else _Picture(np.asarray(photo), order)
    baked = lib.ZelChain_Bake(
        _chain(steps)._chain, pixels if photo is None else pixels.pixels, nodes, ffi.NULL, error, report
    )
    return Table(_held(baked, lib.ZelTable_Free, report), BakeError(error.most, error.mean, error.overOne))
