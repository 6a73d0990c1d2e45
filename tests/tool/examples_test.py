"""The defaults of every operation and its bytes at its three examples, against those that were written down.

examples_test.py --rewrite writes them down."""
import hashlib
import json
import os
import sys
import unittest

from support import ToolTest, samples

STORED = os.path.join(os.path.dirname(os.path.abspath(__file__)), "examples.txt")


class Examples(ToolTest):
    def lines(self):
        for bits in ("8", "16"):
            self.zel("sample", f"in{bits}.ppm", "--size", "240x160", "--bits", bits)
        grey = samples(self.read("in8.ppm"))[1::3]
        self.write("grey.pgm", b"P5 240 160 255\n" + bytes(grey))
        for operation in json.loads(self.zel("ops", "--json")[0])["operations"]:
            defaults = [f"{p['name']}={p.get('default', '')}" for p in operation["parameters"]]
            yield " ".join([operation["name"], operation["depth"], *defaults]) + "\n"
            for example in operation["examples"]:
                digests = [hashlib.sha256(self.zel(name, "-o", "-", "--format", "ppm", operation["name"], *example.split())[0])
                           .hexdigest()[:16] for name in ("in8.ppm", "in16.ppm", "grey.pgm")]
                yield " ".join([operation["name"], *example.split(), *digests]) + "\n"

    def test_every_operation_has_its_defaults_and_every_example_its_bytes(self):
        lines = list(self.lines())
        if rewrite:
            with open(STORED, "w", encoding="ascii") as file:
                file.writelines(lines)
        with open(STORED, encoding="ascii") as file:
            self.assertEqual(lines, file.readlines())


if __name__ == "__main__":
    rewrite = "--rewrite" in sys.argv
    unittest.main(argv=[arg for arg in sys.argv if arg != "--rewrite"])
