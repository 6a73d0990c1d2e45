"""Chains of operations: words, settings and recipes; one operation, several, or those that a photograph needs."""
from __future__ import annotations

import functools
import json
from collections.abc import Iterable, Mapping, Sequence
from typing import Any, Union

import numpy as np

from ._arrays import Array, Order, Picture, Progress, held, made, note, options_of, run
from ._native import ffi, lib

Number = Union[int, float]
# Pixels as numbers, or per cent of the picture as in "48%"; "48%,40%" in one text serves too.
Point = Union["tuple[int | str, int | str]", str]
Rect = Union["tuple[int | str, int | str, int | str, int | str]", str]
Setting = Union[None, bool, int, float, str, Sequence[Union[int, float, str]]]
Settings = Mapping[str, Setting]
# "vivid strength=20", ("vivid", {"strength": 20}), a recipe, or a chain.
Step = Union[str, "tuple[str, Settings]", Mapping[str, Any], "Chain"]


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
    return made(lib.ZelChain_ParseWords, lib.ZelChain_Free, ffi.new("char *[]", texts), len(texts))


def _named(name: str, settings: Iterable[tuple[str, Setting]]) -> Any:
    return _from_words([name, *(f"{key}={_text(value)}" for key, value in settings if value is not None)])


def _read(parse: Any, text: str) -> Any:
    data = text.encode()
    return made(parse, lib.ZelChain_Free, data, len(data))


def _parsed(step: Step) -> Any:
    if isinstance(step, Chain):
        return step._chain
    if isinstance(step, str):
        return _read(lib.ZelChain_ParseLine, step)
    if isinstance(step, Mapping):
        return _read(lib.ZelChain_ParseRecipe, json.dumps(step))
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
            chain = made(lib.ZelChain_Join, lib.ZelChain_Free, chain, _parsed(step))
        self._chain = chain

    @classmethod
    def _of(cls, held: Any) -> Chain:
        chain = cls.__new__(cls)
        chain._chain = held
        return chain

    @classmethod
    def from_recipe(cls, recipe: str | Mapping[str, Any]) -> Chain:
        """Reads a recipe: JSON text, or what json.load makes of it."""
        return cls(recipe) if isinstance(recipe, Mapping) else cls._of(_read(lib.ZelChain_ParseRecipe, recipe))

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
        return run(lib.ZelChain_Apply, self._chain, array, out, order, options_of(orientation, progress))

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


def chain_of(steps: tuple[Step, ...]) -> Chain:
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
    return chain_of(steps)(array, out=out, order=order, orientation=orientation, progress=progress)


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
    return run(lib.ZelChain_Apply, chain, array, out, order, options_of(orientation, progress))


def auto(array: Array, strength: int = 50, *, order: Order = "rgb") -> Chain:
    """Looks at a photograph and chooses what makes it better. A good photograph gets an empty or nearly empty chain.

    The reasons go to the logger "zel", one line each.
    """
    picture, report = Picture(np.asarray(array), order), ffi.new("ZelReport *")
    chain = held(lib.ZelChain_Auto(picture.pixels, strength, ffi.NULL, report), lib.ZelChain_Free, report)
    note(report)
    return Chain._of(chain)


@functools.lru_cache(maxsize=1)
def _table() -> str:
    return str(ffi.string(lib.ZelChain_Table()).decode())


def operations() -> list[dict[str, Any]]:
    """The table of all operations: names, purposes, parameters with their ranges and defaults, examples, reach, depth."""
    found = json.loads(_table())["operations"]
    assert isinstance(found, list)
    return found
