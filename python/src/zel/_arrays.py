"""NumPy arrays to and from the library: types, layouts, errors, progress."""
from __future__ import annotations

import logging
import os
import sys
import warnings
from collections.abc import Callable
from typing import TYPE_CHECKING, Any, Literal, Union

import numpy as np

from ._native import ffi, lib

if TYPE_CHECKING:
    import numpy.typing as npt

Array = Union["npt.NDArray[np.uint8]", "npt.NDArray[np.uint16]"]
Order = Literal["rgb", "bgr"]
Progress = Callable[[float], object]

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


def failure(report: Any) -> Error:
    text = ffi.string(report.text).decode(errors="replace")
    return _ERRORS.get(report.code, Refused)(text, report.step, report.position, bool(report.changed))


def held(pointer: Any, free: Any, report: Any) -> Any:
    if pointer == ffi.NULL:
        raise failure(report)
    return ffi.gc(pointer, free)


def made(function: Any, free: Any, *arguments: Any) -> Any:
    """What a function of the library returns, until nobody needs it."""
    report = ffi.new("ZelReport *")
    return held(function(*arguments, report), free, report)


def note(report: Any) -> None:
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


class Picture:
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


def options_of(
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


def run(
    function: Any,
    what: Any,
    array: Array,
    out: Array | None,
    order: str,
    options: tuple[Any, Any, _Call | None] = (ffi.NULL, None, None),
) -> Array:
    source = array if type(array) is np.ndarray else np.asarray(array)
    if out is None:
        from_ = Picture(source, order)
        out = np.empty(source.shape, source.dtype)
        to = Picture(out, order)
    elif not isinstance(out, np.ndarray):
        raise TypeError("out must be a NumPy array")
    elif not out.flags.writeable:
        raise ValueError("out is read-only")
    elif _same_place(source, out):
        from_ = to = Picture(out, order)
    else:
        to = Picture(out, order)
        from_ = Picture(source, order, out if np.may_share_memory(source, out) and to.kept is out else None)
    report = ffi.new("ZelReport *")
    # cffi sets the interpreter free while the library works.
    code = function(what, from_.pixels, to.pixels, options[0], report)
    if code != lib.ZEL_OK:
        if options[2] is not None and options[2].raised is not None:
            raise options[2].raised
        raise failure(report)
    to.finish()
    note(report)
    return out
