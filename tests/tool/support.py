"""Runs the tool as a person would, in a folder of its own, and reads pictures with nothing but the standard library."""
import os
import subprocess
import tempfile
import unittest

ZEL = os.environ["ZEL"]


def ppm(width, height, rows, top=255):
    """The bytes of a PPM (three samples a pixel) or PGM picture; samples above 255 go high byte first."""
    samples = [s for row in rows for s in row]
    kind = b"P6" if len(samples) == 3 * width * height else b"P5"
    body = bytes(samples) if top < 256 else b"".join(s.to_bytes(2, "big") for s in samples)
    return kind + b" %d %d %d\n" % (width, height, top) + body


def samples(data):
    """The samples of a PPM or PGM picture."""
    fields, rest = [], data
    while len(fields) < 4:
        line, rest = rest.split(b"\n", 1)
        fields += line.split(b"#")[0].split()
    if int(fields[3]) < 256:
        return list(rest)
    return [rest[i] * 256 + rest[i + 1] for i in range(0, len(rest), 2)]


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return name

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def names(self):
        return sorted(os.listdir(self.folder.name))

    def run_zel(self, *arguments, stdin=b"", **options):
        return subprocess.run([ZEL, *arguments], input=stdin, capture_output=True, cwd=self.folder.name, timeout=300, **options)

    def zel(self, *arguments, code=0, **options):
        """Runs the tool, expects the exit code, returns standard output and standard error."""
        result = self.run_zel(*arguments, **options)
        errors = result.stderr.decode()
        self.assertEqual(result.returncode, code, f"{arguments}: {errors}")
        return result.stdout, errors

    def refuses(self, code, message, *arguments, **options):
        """One clear line on standard error that holds `message`, and no picture."""
        _, errors = self.zel(*arguments, code=code, **options)
        self.assertIn(message, errors)
        self.assertEqual(errors.count("\n"), 1, errors)
        self.assertTrue(errors.startswith("zel: "), errors)

    def pixels(self, name):
        """The colour samples of any picture the tool reads, by way of PPM without change."""
        data, _ = self.zel(name, "-o", "-", "--format", "ppm", "contrast")
        return samples(data)
