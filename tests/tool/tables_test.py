"""Tables: what is written, what ffmpeg and OpenColorIO's tools make of it, and what is read."""
import os
import shutil
import subprocess
import unittest

from support import ToolTest, ppm, samples


def differences(a, b):
    return max(abs(x - y) for x, y in zip(a, b, strict=True))


class Tables(ToolTest):
    def setUp(self):
        super().setUp()
        self.zel("sample", "in.png", "--size", "240x160")
        # Every level of every channel, in changing company.
        self.write("ramp.ppm", ppm(256, 8, [[v for x in range(256) for v in (x, (x * 3 + 40 * y) % 256, (255 - x + 9 * y) % 256)]
                                            for y in range(8)]))

    def by_operation(self, name, *chain):
        return samples(self.zel(name, "-o", "-", "--format", "ppm", *chain)[0])

    def by_table(self, name, table):
        return samples(self.zel("apply-table", name, "-o", "-", "--format", "ppm", "--table", table)[0])

    CURVES = [["tone", "strength=60"], ["tone", "style=dark", "strength=40"], ["smart-contrast"], ["color-cast", "strength=80"]]

    def test_a_handed_back_correction_does_what_the_operation_does(self):
        for i, chain in enumerate([*self.CURVES, ["colorful", "strength=60"], ["cast-manual", "rect=5,5,60,60"],
                                   ["color-correct", "color=yellow"]]):
            expected = self.by_operation("in.png", *chain)
            for suffix in ("cube", "clf"):
                self.zel("table", "in.png", "-o", f"{i}.{suffix}", *chain)
                self.assertEqual(self.by_table("in.png", f"{i}.{suffix}"), expected, (chain, suffix))
        self.zel("table", "in.png", "-o", "lattice.png", "colorful", "strength=60")
        self.assertEqual(self.read("lattice.png")[16:24], b"\0\0\0\x40\0\0\0\x40")
        self.assertEqual(self.by_table("in.png", "lattice.png"), self.by_operation("in.png", "colorful", "strength=60"))

    def test_cube_text_is_plain(self):
        self.zel("table", "in.png", "-o", "t.cube", "smart-contrast")
        lines = self.read("t.cube").decode("ascii").split("\n")
        self.assertEqual(lines[:2], ["# smart-contrast", "LUT_1D_SIZE 256"])
        self.assertEqual((len(lines), lines[-1]), (259, ""))
        self.assertRegex(lines[100], r"^(\d\.\d{9} ){2}\d\.\d{9}$")
        self.zel("bake", "-o", "h.cube", "hue-saturation", "hue=30")
        self.assertEqual(self.read("h.cube").split(b"\n")[1], b"LUT_3D_SIZE 16")

    def test_a_chain_of_curves_bakes_exactly_and_one_of_tables_closely(self):
        curves = ["contrast", "contrast=20", "gamma", "gamma=1.2,1,0.9", "levels", "shadow=10", "temperature", "temperature=30"]
        self.zel("bake", "-o", "c.cube", *curves)
        self.assertEqual(self.by_table("ramp.ppm", "c.cube"), self.by_operation("ramp.ppm", *curves))
        mixed = ["smart-contrast", "hue-saturation", "saturation=30", "light-correct", "contrast", "contrast=10"]
        self.zel("bake", "in.png", "-o", "m.cube", *mixed)
        self.zel("bake", "in.png", "-o", "m.png", *mixed)
        for table in ("m.cube", "m.png"):
            self.assertLessEqual(differences(self.by_table("in.png", table), self.by_operation("in.png", *mixed)), 6)

    def test_what_cannot_become_a_table_is_refused_by_name(self):
        for message, chain in {"sharpen looks at neighbouring pixels": ["contrast", "sharpen"],
                               "sky-colorful works in places": ["sky-colorful"], "rect cannot become part": ["contrast", "rect=0,0,9,9"],
                               "tone measures a photograph; give one": ["tone"]}.items():
            self.refuses(2, message, "bake", "-o", "t.cube", *chain)
        self.refuses(2, "contrast measures nothing", "table", "in.png", "-o", "t.cube", "contrast")
        self.refuses(2, "end it in .cube, .clf or .png", "bake", "-o", "t.txt", "contrast")

    def test_dialects_of_cube_are_read(self):
        rows = ["1 1 1", "0.5 0.5 0.5", "0 0 0"]
        for text in ("LUT_1D_SIZE 3\n" + "\n".join(rows) + "\n",
                     "\ufeffTITLE \"a # b\"\r\n# made elsewhere\r\n\r\nlut_1d_size 3\r\nDomain_Min 0 0 0\r\nDOMAIN_MAX 1 1 1\r\n"
                     + "\r\n".join(rows),
                     "LUT_1D_SIZE 3\rLUT_1D_INPUT_RANGE 0 1\r" + "\r".join(f"\t{row}  # note" for row in rows)):
            self.write("t.cube", text.encode())
            inverted = self.by_table("ramp.ppm", "t.cube")
            self.assertEqual([255 - v for v in inverted], self.by_operation("ramp.ppm", "gamma"))

    def test_broken_tables_name_their_line(self):
        for text, message in {
            "LUT_1D_SIZE 2\n0 0 0\n1 1 x\n": "line 3: x is not a number",
            "LUT_1D_SIZE 2\n0 0 0\n1 1\n": "line 3: 3 numbers are needed, 2 found",
            "0 0 0\n": "line 1: values before",
            "LUT_1D_SIZE 2\n0 0 0\n": "ends after 1 of 2 rows",
            "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n1 1 1\n": "line 4: more values",
            "LUT_3D_SIZE 100000\n": "line 1: LUT_3D_SIZE must be a whole number from 2 to 129",
            "LUT_1D_SIZE 2\nLUT_3D_SIZE 2\n": "line 2: a second size",
            "LUT_1D_SIZE 2\nDOMAIN_MIN 1 1 1\n0 0 0\n1 1 1\n": "the domain's minimum",
            "SHAPER 3\n": "line 1: unknown keyword SHAPER",
            "LUT_1D_SIZE 2\n0 0 0\n1 1 nan\n": "nan is not a number",
            "\n": "holds neither",
        }.items():
            self.write("t.cube", text.encode())
            self.refuses(3, message, "apply-table", "in.png", "-o", "o.png", "--table", "t.cube")
        for text, message in {"<ProcessList><Matrix/></ProcessList>": "Matrix cannot be read", "<ProcessList/>": "holds no LUT1D",
                              "<LUT1D inBitDepth='8i' outBitDepth='8i'><Array dim='2 3'>0 0 0 255</Array>": "4 numbers instead of 6",
                              "<LUT3D inBitDepth='9i'>": "unknown bit depth", "<LUT3D": "ended unexpectedly", "<a>" * 9: "line 1"}.items():
            self.write("t.clf", text.encode())
            self.refuses(3, message, "apply-table", "in.png", "-o", "o.png", "--table", "t.clf")
        self.refuses(3, "is no HaldCLUT", "apply-table", "in.png", "-o", "o.png", "--table", "in.png")
        self.refuses(3, "No such file", "apply-table", "in.png", "-o", "o.png", "--table", "none.cube")

    @unittest.skipUnless(shutil.which("ffmpeg"), "needs ffmpeg")
    def test_ffmpeg_applies_our_tables(self):
        def ffmpeg(table_filter, *inputs):
            subprocess.run(["ffmpeg", "-v", "error", "-y", "-i", "in.png", *inputs, "-filter_complex", table_filter,
                            "-pix_fmt", "rgb24", "-f", "image2", "-c:v", "ppm", "-update", "1", "ff.ppm"], cwd=self.folder.name, check=True)
            return samples(self.read("ff.ppm"))
        for chain in self.CURVES:
            self.zel("table", "in.png", "-o", "t.cube", "--overwrite", *chain)
            self.assertLessEqual(differences(ffmpeg("format=gbrp,lut1d=t.cube"), self.by_operation("in.png", *chain)), 1)
        for chain in (["colorful", "strength=60"], ["hue-saturation", "hue=20", "saturation=30"]):
            for table in ("t.cube", "t.png"):
                self.zel("bake", "in.png", "-o", table, "--overwrite", *chain)
            expected = self.by_operation("in.png", *chain)
            self.assertLessEqual(differences(ffmpeg("format=gbrp,lut3d=t.cube:interp=tetrahedral"), expected), 1)
            self.assertLessEqual(differences(ffmpeg("[0:v]format=rgb24[a];[1:v]format=rgb24[b];[a][b]haldclut=interp=tetrahedral",
                                                    "-i", "t.png"), expected), 1)

    @unittest.skipUnless(shutil.which("ocioconvert"), "needs OpenColorIO's tools")
    def test_opencolorio_applies_our_tables(self):
        for chain, tolerance in [*[(c, 0) for c in self.CURVES], (["colorful", "strength=60"], 1)]:
            expected = self.by_operation("in.png", *chain)
            for suffix, most in (("clf", tolerance), ("cube", 1)):
                self.zel("table", "in.png", "-o", f"t.{suffix}", "--overwrite", *chain)
                subprocess.run(["ocioconvert", "--lut", f"t.{suffix}", "in.png", "ocio.png"], cwd=self.folder.name, check=True,
                               capture_output=True)
                self.assertLessEqual(differences(self.pixels("ocio.png"), expected), most, (chain, suffix))


if __name__ == "__main__":
    unittest.main()
