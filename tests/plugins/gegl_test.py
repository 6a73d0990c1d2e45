"""Every operation through the gegl command, beside the tool: the same pixels, whatever the tiles.

ZEL is the tool, ZEL_GEGL the folder of the module, ZEL_GEGL_HOST the folder of GEGL's own modules.
"""
import concurrent.futures
import json
import os
import subprocess
import sys
import unittest

from PIL import Image

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tool"))
from support import ToolTest, ZEL  # noqa: E402

OPERATIONS = json.loads(subprocess.run([ZEL, "ops", "--json"], capture_output=True, check=True).stdout)["operations"]
SIDES = ("left", "top", "right", "bottom")


def share(text):
    return "%.10g" % (float(text.rstrip("%")) / 100)


def properties(operation, words):
    """The words of an example as GEGL's properties."""
    types = {p["name"]: p["type"] for p in operation["parameters"]}
    result = []
    for word in words.split():
        name, value = word.split("=")
        if types[name] == "point":
            x, y = value.split(",")
            result += [f"use-{name}=true", f"{name}-x={share(x)}", f"{name}-y={share(y)}"]
        elif types[name] == "rect":
            result += [f"{name}-{side}={share(part)}" for side, part in zip(SIDES, value.split(","))]
        elif types[name] in ("integers", "numbers"):
            parts = value.split(",") if "," in value else [value] * 3
            result += [f"{name}-{channel}={part}" for channel, part in zip(("red", "green", "blue"), parts)]
        else:
            result.append(word)
    return result


class GeglTest(ToolTest):
    def gegl(self, source, target, *chain, bits=8, tile=None):
        """Runs the gegl command and returns what it printed."""
        environment = dict(os.environ, GEGL_PATH=os.environ["ZEL_GEGL"] + ":" + os.environ["ZEL_GEGL_HOST"])
        if tile:
            environment.update(GEGL_TILE_SIZE=f"{tile}x{tile}", GEGL_CHUNK_SIZE=str(tile * tile), GEGL_THREADS="2")
        arguments = ["gegl", source, "--", *chain, "gegl:png-save", f"path={target}", f"bitdepth={bits}"]
        result = subprocess.run(arguments, cwd=self.folder.name, env=environment, capture_output=True, timeout=300)
        return (result.stdout + result.stderr).decode()

    def compare(self, source, operation, words, name, **options):
        """The difference between both, or nothing."""
        said = self.gegl(source, name + "-gegl.png", "zel:" + operation["name"], *properties(operation, words), **options)
        if not os.path.exists(self.path(name + "-gegl.png")):
            return f"{operation['name']} {words}: {said}"
        done = self.run_zel(source, "-o", name + "-zel.png", "--overwrite", operation["name"], *words.split())
        if done.returncode:
            return f"{operation['name']} {words}: {done.stderr.decode()}"
        ours, theirs = self.pixels(name + "-zel.png"), self.pixels(name + "-gegl.png")
        count = sum(a != b for a, b in zip(ours, theirs)) + abs(len(ours) - len(theirs))
        return f"{operation['name']} {words}: {count} of {len(ours)} samples differ" if count else ""

    def compare_all(self, source, cases, **options):
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            jobs = [pool.submit(self.compare, source, o, w, f"{i}", **options) for i, (o, w) in enumerate(cases)]
            differences = [job.result() for job in jobs if job.result()]
        self.assertEqual(differences, [])

    def test_examples(self):
        self.zel("sample", "s.png", "--size", "333x222")
        self.compare_all("s.png", [(o, w) for o in OPERATIONS for w in o["examples"]])

    def test_small_tiles(self):
        """Tiles smaller than the margins, on several threads, with a rectangle and a point too."""
        self.zel("sample", "s.png", "--size", "333x222")
        cases = [(o, o["examples"][2]) for o in OPERATIONS]
        by_name = {o["name"]: o for o in OPERATIONS}
        cases += [
            (by_name["contrast"], "contrast=40 rect=10%,20%,60%,70%"),
            (by_name["blur"], "radius=6 rect=25%,25%,75%,75%"),
            (by_name["sky-colorful"], "amount=80 at=20%,6% rect=0%,0%,100%,50%"),
        ]
        self.compare_all("s.png", cases, tile=16)

    def test_layouts(self):
        """16 bits, grey and alpha reach the operations as they are; alpha comes out untouched."""
        self.zel("sample", "s.png", "--size", "120x90", "--bits", "16")
        cases = [(o, o["examples"][1]) for o in OPERATIONS if o["name"] in ("contrast", "vivid", "gamma", "light-correct")]
        self.compare_all("s.png", cases, bits=16)
        rgb = self.pixels("s.png")
        grey = b"P5 120 90 255\n" + bytes(rgb[i] >> 8 for i in range(0, len(rgb), 3))
        self.write("g.pgm", grey)
        self.zel("g.pgm", "-o", "g.png", "contrast")
        self.compare_all("g.png", cases)
        self.gegl("g.png", "a.png", "gegl:color-to-alpha", "color=rgb(1,1,1)")
        self.gegl("a.png", "theirs.png", "zel:contrast", "contrast=40")
        self.zel("a.png", "-o", "ours.png", "contrast", "contrast=40")
        pictures = [Image.open(self.path(name)) for name in ("ours.png", "theirs.png", "a.png")]
        self.assertEqual(pictures[1].tobytes(), pictures[0].convert(pictures[1].mode).tobytes())
        self.assertEqual(pictures[1].getchannel("A").tobytes(), pictures[2].getchannel("A").tobytes())

    def test_hostile_properties(self):
        """Values beyond their ranges are cut by GEGL; whatever arrives, the command ends with a picture."""
        self.zel("sample", "s.png", "--size", "64x64")
        for chain in (
            ("zel:blur", "radius=1e30"),
            ("zel:levels", "shadow-red=-5", "highlight-red=999999"),
            ("zel:skin-clear", "rect-left=0.9", "rect-right=0.1"),
            ("zel:foliage-tone", "use-at=true", "at-x=1", "at-y=1"),
            ("zel:gamma", "gamma-red=nan"),
        ):
            said = self.gegl("s.png", "h.png", *chain)
            self.assertTrue(os.path.exists(self.path("h.png")), f"{chain}: {said}")
            os.remove(self.path("h.png"))


if __name__ == "__main__":
    unittest.main()
