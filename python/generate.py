"""Writes zel/_operations.py from the table of operations that is compiled into the extension.

generate.py EXTENSION OUTPUT
"""
import importlib
import json
import os
import sys
import textwrap

COMMON = {
    "out": "receives the result: an array of the same height, width and depth; the picture itself for in place",
    "order": 'order of the colour channels, "rgb" or "bgr"',
    "orientation": "EXIF, 1 to 8: points and rectangles count in the picture as it is shown",
    "progress": "called with the share done, 0 to 1; a true answer cancels",
}
HEADER = '''"""One function for each operation. Written by generate.py from the library's table; changes here are lost."""
from __future__ import annotations

from typing import Literal

from ._arrays import Array, Order, Progress
from ._chains import Point, Rect, one

__all__ = {names}
'''


def table(path):
    sys.path.insert(0, os.path.dirname(path))
    native = importlib.import_module("_native")
    return json.loads(native.ffi.string(native.lib.ZelChain_Table()).decode())


def annotation(parameter):
    kind = parameter["type"]
    if kind == "choice":
        if parameter["choices"] == ["no", "yes"]:
            return "bool"
        return "Literal[" + ", ".join(f'"{choice}"' for choice in parameter["choices"]) + "]"
    return {
        "integer": "int",
        "number": "float",
        "integers": "int | tuple[int, int, int]",
        "numbers": "float | tuple[float, float, float]",
        "rect": "Rect",
        "point": "Point",
    }[kind]


def default(parameter):
    value = parameter["default"]
    if annotation(parameter) == "bool":
        return str(value == "yes")
    return f'"{value}"' if isinstance(value, str) else repr(tuple(value) if isinstance(value, list) else value)


def values(parameter):
    kind = annotation(parameter)
    return {
        "bool": "True or False",
        "Rect": '(left, top, right, bottom), pixels as numbers or per cent as "10%"',
        "Point": '(x, y), pixels as numbers or per cent as "10%"',
    }.get(kind, parameter["values"])


def wrapped(text, indent, hanging=""):
    return textwrap.fill(text, 116, initial_indent=indent, subsequent_indent=indent + hanging)


def function(operation):
    name = operation["name"].replace("-", "_")
    signature, pairs, lines = ["array: Array"], [], []
    required = [p for p in operation["parameters"] if p.get("required")]
    optional = [p for p in operation["parameters"] if not p.get("required")]
    signature.append("*")
    for parameter in required + optional:
        word = parameter["name"].replace("-", "_")
        kind = annotation(parameter)
        if parameter.get("required"):
            signature.append(f"{word}: {kind}")
        elif parameter["default"] is None:
            signature.append(f"{word}: {kind} | None = None")
        else:
            signature.append(f"{word}: {kind} = {default(parameter)}")
        pairs.append(f'("{parameter["name"]}", {word})')
        lines.append(wrapped(f"{word}: {parameter['meaning']}; {values(parameter)}", " " * 8, " " * 4))
    signature += ["out: Array | None = None", 'order: Order = "rgb"', "orientation: int = 1", "progress: Progress | None = None"]
    lines += [wrapped(f"{word}: {meaning}", " " * 8, " " * 4) for word, meaning in COMMON.items()]
    facts = [
        "Shapes: (h, w), (h, w, 1) grey; (h, w, 2) grey and alpha; (h, w, 3) colour; (h, w, 4) colour and alpha. "
        f"uint8 or uint16. Alpha stays. {operation['channelsText'][:1].upper()}{operation['channelsText'][1:]}.",
        f"Depth: {operation['depthText']}.",
        f"Reach: {operation['reachText']}.",
        "Raises: WrongText for a setting out of range, Outside for a point or rectangle beside the picture, NeedsColour "
        "when a grey picture would become coloured, Refused when the picture cannot be processed, Cancelled.",
    ]
    arguments = ",\n    ".join(signature)
    body = [f"def {name}(\n    {arguments},\n) -> Array:", f'    """{operation["purpose"]}', ""]
    if operation["more"]:
        body += [wrapped(operation["more"], "    "), ""]
    body += ["    Args:", *lines, ""]
    body += [wrapped(fact, "    ") for fact in facts]
    body += ['    """', "    settings = (", *(f"        {pair}," for pair in pairs), "    )"]
    body.append(f'    return one("{operation["name"]}", settings, array, out, order, orientation, progress)')
    return name, "\n".join(body)


def main(extension, output):
    made = [function(operation) for operation in table(extension)["operations"]]
    names = "[\n" + "".join(f'    "{name}",\n' for name, _ in made) + "]"
    with open(output, "w", encoding="utf-8") as file:
        file.write(HEADER.format(names=names))
        for _, text in made:
            file.write("\n\n" + text + "\n")


if __name__ == "__main__":
    main(*sys.argv[1:])
