"""zel IN -o OUT OPERATION: pictures, settings, messages and exit codes."""
import hashlib
import os
import resource
import struct
import subprocess
import unittest

from builders import png, png_samples, with_orientation
from support import ToolTest, ppm, samples

GRADIENT = ppm(16, 8, [[(16 * x + 2 * y + 40 * c) % 256 for x in range(16) for c in range(3)] for y in range(8)])
DEEP = ppm(16, 8, [[(4099 * x + 517 * y + 9001 * c) % 65536 for x in range(16) for c in range(3)] for y in range(8)], 65535)


class Formats(ToolTest):
    def test_no_change_keeps_every_sample_in_every_lossless_format(self):
        for source in (GRADIENT, DEEP):
            self.write("in.ppm", source)
            for suffix in ("png", "tif", "ppm"):
                self.zel("in.ppm", "-o", f"out.{suffix}", "--overwrite", "gamma", "gamma=1")
                self.assertEqual(self.pixels(f"out.{suffix}"), samples(source))

    def test_alpha_is_carried_untouched(self):
        for bits in (8, 16):
            for bands in (2, 4):
                data = bytes((37 * i + i * i // 7) % 256 for i in range(8 * 4 * bands * bits // 8))
                self.write("in.png", png(8, 4, bands, data, bits))
                self.zel("in.png", "-o", "out.png", "--overwrite", "contrast", "brightness=40")
                header, out = png_samples(self.read("out.png"))
                size, step = bits // 8, bands * bits // 8
                self.assertEqual(header[2:4], (bits, 4 if bands == 2 else 6))
                for i in range(0, len(data), step):
                    self.assertEqual(bytes(out[i + step - size:i + step]), data[i + step - size:i + step])
                self.assertNotEqual(bytes(out), data)

    def test_grey_stays_grey_unless_the_operation_colours_it(self):
        self.write("in.pgm", ppm(8, 8, [[20 * x + y for x in range(8)] for y in range(8)]))
        for chain, bands in ((["hue-saturation", "saturation=20"], 1), (["denoise"], 1), (["temperature", "temperature=-60"], 3)):
            out, _ = self.zel("in.pgm", "-o", "-", "--format", "ppm", *chain)
            self.assertEqual(len(samples(out)), 64 * bands, chain)

    def test_operations_of_8_bits_add_their_change_to_16_bits(self):
        self.write("in.ppm", DEEP)
        out, errors = self.zel("in.ppm", "-o", "-", "--format", "ppm", "sharpen", "amount=0", "gamma", "gamma=1",
                               "sharpen", "amount=40", "rect=0,0,8,8")
        self.assertEqual(errors, "zel: note: in.ppm: works with 8 of the 16 bits: sharpen\n")
        before, after = samples(DEEP), samples(out)
        self.assertNotEqual(before, after)
        for y in range(8):
            self.assertEqual(before[48 * y + 27:48 * y + 48], after[48 * y + 27:48 * y + 48])

    def test_metadata_is_kept_or_stripped_and_coordinates_are_those_of_the_upright_picture(self):
        self.zel("sample", "s.jpg", "--size", "96x64")
        self.write("turned.jpg", with_orientation(self.read("s.jpg"), 6))
        self.zel("turned.jpg", "-o", "kept.jpg", "contrast")
        self.assertIn(b"Exif", self.read("kept.jpg"))
        self.zel("turned.jpg", "-o", "plain.png", "--strip", "contrast")
        self.assertEqual(png_samples(self.read("plain.png"))[0][:2], (64, 96))
        # PPM holds no orientation, so its pixels are those of the upright picture.
        self.zel("turned.jpg", "-o", "dark.ppm", "levels", "shadow=254", "rect=0,0,10,20")
        shown = self.pixels("dark.ppm")
        self.assertEqual(shown[3 * (64 * 15 + 5):][:3], [0, 0, 0])
        self.assertNotEqual(shown[3 * (64 * 85 + 5):][:3], [0, 0, 0])

    def test_formats_that_hold_less_say_so(self):
        self.write("in.png", png(8, 4, 4, bytes(range(8 * 4 * 4))))
        self.assertIn("no alpha channel", self.zel("in.png", "-o", "out.jpg", "contrast")[1])
        self.write("deep.ppm", DEEP)
        self.assertIn("8 of the 16 bits", self.zel("deep.ppm", "-o", "deep.jpg", "gamma")[1])

    def test_sample_has_the_same_pixels_everywhere(self):
        data, _ = self.zel("sample", "-", "--format", "ppm", "--size", "160x120")
        self.assertEqual(hashlib.sha256(bytes(samples(data))).hexdigest()[:16], "5a46c44cb6ecd03e")


class Settings(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("in.ppm", GRADIENT)

    def test_mistakes_are_one_line_and_nothing_is_written(self):
        self.write("a.json", b'{"operations": [{"name": "blur", "radios": 3}]}')
        out = ["in.ppm", "-o", "out.png"]
        for message, arguments in {
            "did you mean contrast?": [*out, "contrst"],
            "zel ops lists them": [*out, "contraband"],
            "in.ppm is no operation; zel ops lists them (photographs stand": [*out, "contrast", "in.ppm"],
            "contrast has no parameter strength; it has contrast, brightness, rect": [*out, "contrast", "strength=3"],
            "contrast=101 must be a whole number from -100 to 100": [*out, "contrast", "contrast=101"],
            "contrast=1.5 must be": [*out, "contrast", "contrast=1.5"],
            "radius=nan must be": [*out, "blur", "radius=nan"],
            "gamma=1,2 must be one number or three": [*out, "gamma", "gamma=1,2"],
            "style=loud must be one of auto, light": [*out, "tone", "style=loud"],
            "rect=1,2,3 must be left,top,right,bottom": [*out, "contrast", "rect=1,2,3"],
            "contrast is given twice": [*out, "contrast", "contrast=1", "contrast=2"],
            "stands before the first operation": ["in.ppm", "strength=3", "-o", "out.png", "contrast"],
            "no operation is given": out,
            "no photograph is given": ["-o", "out.png", "contrast"],
            "no output is given": ["in.ppm", "contrast"],
            "cannot tell the format of out.gif": ["in.ppm", "-o", "out.gif", "contrast"],
            "standard output needs --format": ["in.ppm", "-o", "-", "contrast"],
            "need a folder": ["in.ppm", "in.ppm", "-o", "out.png", "contrast"],
            "would both become": ["in.ppm", "in.ppm", "-o", "o/", "contrast"],
            "may hold {stem}": ["in.ppm", "-o", "{name}.png", "contrast"],
            "--max-pixels lots must be": [*out, "--max-pixels", "lots", "contrast"],
            "blur has no parameter radios; it has radius, rect": [*out, "--recipe", "a.json"],
            "recipe none.json cannot be read": [*out, "--recipe", "none.json"],
        }.items():
            self.refuses(2, message, *arguments)
        self.assertEqual(self.names(), ["a.json", "in.ppm"])

    def test_places_outside_the_picture_are_failures(self):
        self.refuses(3, "the point 16,0 lies outside the picture of 16 x 8", "in.ppm", "-o", "o.png", "sky-tone", "at=16,0")
        self.refuses(3, "the rectangle 20,0,30,8 lies outside", "in.ppm", "-o", "o.png", "contrast", "rect=20,0,30,8")

    def test_a_recipe_does_what_the_words_do(self):
        chain = ["contrast", "contrast=20", "levels", "shadow=10,20,30", "blur", "radius=1.5", "rect=0%,0%,50%,100%"]
        self.zel("in.ppm", "-o", "words.ppm", "--save-recipe", "look.json", *chain)
        self.zel("in.ppm", "-o", "recipe.ppm", "--recipe", "look.json")
        self.assertEqual(self.read("words.ppm"), self.read("recipe.ppm"))
        self.zel("--save-recipe", "look2.json", *chain)
        self.assertEqual(self.read("look.json"), self.read("look2.json"))

    def test_every_operation_explains_itself_and_its_examples_are_valid(self):
        listing = self.zel("ops")[0].decode()
        names = [line.split()[0] for line in listing.splitlines() if line.startswith("  ") and line[2] not in " "]
        self.assertGreaterEqual(len(names), 28)
        for name in names:
            text = self.zel("help", name)[0].decode()
            for example in text.rsplit("Examples\n", 1)[1].splitlines():
                self.zel("in.ppm", "-o", "out.png", "--dry-run", *example.split()[4:])
            self.assertIn("Depth", text)


class HostileFiles(ToolTest):
    @unittest.skipIf(os.environ.get("SANITIZE"), "sanitizers take addresses of their own")
    def test_what_does_not_fit_into_memory_is_told(self):
        with open(self.path("big.ppm"), "wb") as file:
            file.write(b"P6 9000 6000 255\n")
            file.truncate(17 + 9000 * 6000 * 3)
        limit = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_AS, (250 << 20, 250 << 20))}
        self.refuses(3, "does not fit into memory: 9000 x 6000 pixels take 162.0 MB", "big.ppm", "-o", "out.png", "gamma", **limit)
        self.refuses(3, "out.webp cannot be written: webpsave: failed to allocate 432000000 bytes",
                     "sample", "out.webp", "--size", "12000x12000", **limit)

    def test_files_that_are_no_photographs(self):
        self.zel("sample", "good.png", "--size", "200x150")
        good = self.read("good.png")
        self.zel("good.png", "-o", "good.jpg", "contrast")
        self.write("empty.png", b"")
        self.write("text.jpg", b"hello, world\n")
        self.write("cut.png", good[:len(good) // 2])
        self.write("cut.jpg", self.read("good.jpg")[:4000])
        self.write("cut.ppm", ppm(100, 100, [[0] * 300] * 100)[:500])
        self.write("bomb.png", png(8, 8, 1, bytes(64)).replace(struct.pack(">II", 8, 8), struct.pack(">II", 60000, 60000)))
        self.write("bomb.ppm", b"P6 60000 60000 255\n123")
        self.write("gif.png", b"GIF89a\x01\0\x01\0\0\0\0,\0\0\0\0\x01\0\x01\0\0\x02\x02D\x01\0;")
        self.write("vector.png", b"<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>")
        os.mkdir(self.path("folder.png"))
        before = self.names()
        for name, message in {
            "none.png": "No such file", "empty.png": "is empty", "text.jpg": "is plain text document", "cut.png": "is damaged",
            "cut.jpg": "is damaged", "cut.ppm": "is damaged", "bomb.ppm": "more than the limit of 300.0",
            "gif.png": "is GIF image, not a PNG", "vector.png": "is SVG image", "folder.png": "is a folder"}.items():
            self.refuses(3, message, name, "-o", "out.png", "contrast")
        self.zel("bomb.png", "-o", "out.png", "contrast", code=3)
        self.refuses(3, "more than the limit", "good.png", "-o", "out.png", "--max-pixels", "20k", "contrast")
        self.assertEqual(self.names(), before)
        self.write("wrong.jpg", good)  # a PNG by content: read as what it is
        self.zel("wrong.jpg", "-o", "right.png", "contrast")
        self.assertEqual(self.pixels("right.png"), self.pixels("good.png"))

    def test_results_appear_complete_or_not_at_all(self):
        self.zel("sample", "in.png", "--size", "200x150")
        source = self.read("in.png")
        self.refuses(3, "is itself the output", "in.png", "-o", "./in.png", "contrast", "contrast=20")
        self.assertEqual(self.read("in.png"), source)
        self.refuses(3, "No space left on device", "in.png", "-o", "/dev/full", "--format", "png", "contrast")
        self.refuses(3, "o.png cannot be written", "in.png", "-o", "/proc/o.png", "contrast")
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
        # A file system that is full, or here a limit reached, is named with the file that did not fit.
        result = self.run_zel("in.png", "-o", "new.png", "contrast", preexec_fn=limit, restore_signals=False)
        self.assertEqual(result.stderr, b"zel: in.png: new.png cannot be written: File too large\n")
        for arguments in (["in.png", "-o", "new.png"], ["in.png", "-o", "in.png", "--overwrite"]):
            result = self.run_zel(*arguments, "contrast", "contrast=20", preexec_fn=limit)
            self.assertNotEqual(result.returncode, 0)
            self.assertEqual(self.names(), ["in.png"])
            self.assertEqual(self.read("in.png"), source)
        self.zel("in.png", "-o", "in.png", "--overwrite", "contrast", "contrast=20")
        self.assertNotEqual(self.read("in.png"), source)
        self.assertEqual(self.names(), ["in.png"])

    def test_standard_input_and_output(self):
        out, _ = self.zel("-", "-o", "-", "--format", "ppm", "gamma", stdin=GRADIENT)
        self.assertEqual(samples(out), samples(GRADIENT))
        self.refuses(3, "is empty document, not a PNG", "-", "-o", "-", "--format", "ppm", "gamma", stdin=b"")


class Reference(ToolTest):
    def test_manual_page_is_clean_troff(self):
        manual, _ = self.zel("man")
        checked = subprocess.run(["bash", "-c", "command -v groff >/dev/null || exit 0; groff -man -ww -Tutf8 2>&1 >/dev/null"],
                                 input=manual, capture_output=True)
        self.assertEqual(checked.stdout, b"")


if __name__ == "__main__":
    unittest.main()
