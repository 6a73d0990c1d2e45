"""What photographers bring: folders, colour profiles, formats, files in use, and pictures made to do harm."""
import json
import os
import random
import stat
import struct
import subprocess
import unittest

import builders
from builders import png, png_samples, tiff, wide_profile, with_chunk, with_orientation, with_profile
from support import ZEL, ToolTest, ppm, samples


class Folders(ToolTest):
    def fill(self):
        os.makedirs(self.path("in/deep/.hidden"))
        for name in ("in/a.ppm", "in/.b.ppm", "in/deep/b.ppm", "in/deep/.hidden/c.ppm"):
            self.write(name, ppm(8, 8, [[v * 3 for v in range(24)]] * 8))
        self.write("in/notes.txt", b"hello")
        self.write("in/wrong.jpg", b"no picture")

    def test_a_tree_is_kept_others_are_counted_and_any_part_is_resumed(self):
        self.fill()
        self.refuses(3, "is a folder; --recursive", "in", "-o", "out/", "gamma")
        run = ["-o", "out/", "-r", "--resume", "gamma", "gamma=2"]
        self.assertRegex(self.zel("in", *run)[1], r"^zel: 2 done, 2 no pictures in \d+\.\d s\n$")
        self.assertTrue(os.path.exists(self.path("out/deep/b.ppm")))
        self.assertEqual(sorted(os.listdir(self.path("out"))), [".zel-journal", "a.ppm", "deep"])
        self.assertIn("2 done before, 2 no pictures", self.zel("in", *run)[1])
        self.assertIn(b'"skipped"', self.zel("in/a.ppm", "--json", *run)[0])
        self.assertIn(b'"skipped"', self.zel("in/deep", "--json", "-o", "out/deep/", *run[2:])[0])
        self.assertFalse(os.path.exists(self.path("out/deep/.zel-journal")))
        # A photograph changed without changing its size, and the same results stored in another way, are done again.
        os.utime(self.path("in/a.ppm"), (1, 1))
        self.assertIn("1 done, 1 done before", self.zel("in", "--overwrite", *run)[1])
        self.assertIn("zel: 2 done, 2 no", self.zel("in", "--overwrite", "--strip", *run)[1])

    def test_times_modes_and_links_of_files_in_use_stay(self):
        self.fill()
        os.utime(self.path("in/a.ppm"), (1000, 2000))
        os.chmod(self.path("in/a.ppm"), 0o640)
        os.symlink("in/a.ppm", self.path("link.ppm"))
        before = self.read("in/a.ppm")
        self.zel("link.ppm", "-o", "link.ppm", "--overwrite", "--keep-time", "gamma", "gamma=2")
        self.assertTrue(os.path.islink(self.path("link.ppm")))
        status = os.stat(self.path("in/a.ppm"))
        self.assertEqual((stat.S_IMODE(status.st_mode), status.st_mtime), (0o640, 2000))
        self.assertNotEqual(self.read("in/a.ppm"), before)

    def test_pipes_are_refused_instead_of_waited_for(self):
        self.fill()
        os.mkfifo(self.path("pipe"))
        os.mkfifo(self.path("pipe.cube"))
        for message, code, arguments in (("is not a file", 3, ["pipe", "-o", "o.png", "gamma"]),
                                         ("is not a file", 2, ["in/a.ppm", "-o", "o.png", "--recipe", "pipe"]),
                                         ("is not a file", 3, ["in/a.ppm", "-o", "o.png", "--resume", "--journal", "pipe", "gamma"]),
                                         ("is not a file", 3, ["apply-table", "in/a.ppm", "-o", "o.png", "--table", "pipe.cube"]),
                                         ("nobody reads", 3, ["in/a.ppm", "-o", "pipe", "--format", "png", "gamma"])):
            self.refuses(code, message, *arguments)


class Colour(ToolTest):
    def test_profiles_are_kept_converted_or_spoken_of(self):
        plain = png(2, 1, 3, bytes([60, 200, 80, 128, 128, 128]))
        self.write("wide.png", with_profile(plain, wide_profile()))
        self.assertIn("encoded values of its colour profile, Test RGB", self.zel("wide.png", "-o", "kept.png", "gamma")[1])
        self.assertIn(b"iCCP", self.read("kept.png"))
        self.assertEqual(png_samples(self.read("kept.png"))[1], [60, 200, 80, 128, 128, 128])
        for name, options in (("stripped.png", ["--strip"]), ("dropped.ppm", []), ("working.png", ["--working", "srgb"])):
            errors = self.zel("wide.png", "-o", name, *options, "gamma")[1]
            out = self.pixels(name)
            self.assertLess(out[0], 20, name)  # sRGB needs less red for this green
            self.assertTrue(all(abs(v - 128) < 4 for v in out[3:]), out)
            self.assertEqual("encoded values" in errors, name != "working.png")
        self.assertNotIn(b"iCCP", self.read("stripped.png"))
        self.assertIn(b"iCCP", self.read("working.png"))

    def test_comparisons_and_sheets_show_the_colours_that_are_meant(self):
        self.write("wide.png", with_profile(png(64, 64, 3, bytes([60, 200, 80] * 64 * 64)), wide_profile()))
        self.zel("wide.png", "-o", "same.png", "--working", "srgb", "gamma")
        self.assertIn("largest 0 of", self.zel("compare", "wide.png", "same.png")[0].decode().replace("no difference", "largest 0 of"))
        self.zel("sheet", "wide.png", "gamma", "-o", "sheet.png", "--cell", "64")
        header, shown = png_samples(self.read("sheet.png"))
        first = shown[3 * (20 * header[0] + 20):][:3]
        self.assertLess(first[0], 20)
        self.assertEqual(first, self.pixels("same.png")[:3])

    def test_grey_with_a_profile_is_converted_before_the_profile_goes(self):
        self.write("grey.png", with_profile(png(2, 1, 1, bytes([55, 128])), builders.grey_profile()))
        self.assertIn("encoded values of its colour profile, Test GRAY", self.zel("grey.png", "-o", "kept.png", "gamma")[1])
        self.assertEqual(png_samples(self.read("kept.png"))[1], [55, 128])
        self.assertIn(b"iCCP", self.read("kept.png"))
        for name, options in (("stripped.png", ["--strip"]), ("dropped.ppm", []), ("working.png", ["--working", "srgb"])):
            self.zel("grey.png", "-o", name, *options, "gamma")
            out = self.pixels(name)
            self.assertTrue(len(out) == 2 and abs(out[0] - 128) < 3 and abs(out[1] - 188) < 3, (name, out))
        # A picture that gets colours cannot keep a profile of grey.
        self.zel("grey.png", "-o", "warm.png", "temperature", "temperature=-20")
        self.assertNotIn(b"iCCP", self.read("warm.png"))
        self.assertGreater(png_samples(self.read("warm.png"))[1][4], 170)

    def test_four_inks_become_colours_by_their_profile(self):
        self.write("ink.tif", tiff([[0, 0, 0, 0]], 5, 4, builders.ink_profile()))
        out, errors = self.zel("ink.tif", "-o", "-", "--format", "ppm", "gamma")
        self.assertEqual(errors, "zel: note: ink.tif: CMYK was converted to sRGB\n")
        self.assertGreater(min(samples(out)), 250)
        self.write("yellow.tif", tiff([[0, 0, 255, 0]], 5, 4, builders.ink_profile()))
        red, green, blue = self.pixels("yellow.tif")[:3]
        self.assertTrue(red > 200 and green > 200 and blue < 120, (red, green, blue))
        self.write("bare.tif", tiff([[0, 0, 0, 0]], 5, 4))
        self.refuses(3, "CMYK picture without a colour profile", "bare.tif", "-o", "o.png", "gamma")

    def test_depths_are_rounded_as_promised(self):
        for level, expected in ((128, 0), (129, 1), (65406, 254), (65407, 255)):
            self.write("flat.pgm", ppm(8, 8, [[level] * 8] * 8, 65535))
            self.zel("flat.pgm", "-o", "flat.jpg", "--overwrite", "--quality", "100", "gamma")
            self.assertEqual(self.pixels("flat.jpg"), [expected] * 64)
        # The change that an operation of 8 bits makes counts in whole 257ths of 16 bits.
        ramp = [257 * v + 7 for v in range(0, 250, 10)]
        self.write("ramp.ppm", ppm(25, 1, [[v for v in ramp for _ in range(3)]], 65535))
        out = samples(self.zel("ramp.ppm", "-o", "-", "--format", "ppm", "tone", "strength=60")[0])
        self.assertEqual({v % 257 for v in out if 257 < v < 65000}, {7})

    def test_coordinates_follow_every_orientation(self):
        self.zel("sample", "s.jpg", "--size", "96x64")
        for orientation in range(1, 9):
            self.write("turned.jpg", with_orientation(self.read("s.jpg"), orientation))
            for rect in ("0,0,10,20", "0%,0%,10.4%,31.2%" if orientation < 5 else "0%,0%,15.6%,20.8%"):
                self.zel("turned.jpg", "-o", "dark.ppm", "--overwrite", "levels", "shadow=254", f"rect={rect}")
                width = 96 if orientation < 5 else 64
                shown = self.pixels("dark.ppm")
                black = lambda x, y: max(shown[3 * (width * y + x):][:3]) == 0
                self.assertEqual((black(5, 15), black(5, 55), black(55, 15), black(55, 55)), (True, False, False, False), orientation)


class Formats(ToolTest):
    def test_jpeg_follows_its_source_and_keeps_comments(self):
        self.zel("sample", "s.ppm", "--size", "96x64")
        self.zel("s.ppm", "-o", "plain.jpg", "--quality", "71", "--subsampling", "4:2:0", "--progressive", "gamma")
        data = self.read("plain.jpg")
        self.write("source.jpg", data[:2] + b"\xff\xfe\0\x09note it" + data[2:])
        self.zel("source.jpg", "-o", "out.jpg", "contrast", "contrast=5")
        out = self.read("out.jpg")
        table = data[data.index(b"\xff\xdb"):][:134]
        self.assertIn(table, out)
        self.assertIn(b"\xff\xfe\0\x09note it", out)
        self.assertIn(b"\xff\xc2", out)  # progressive
        frame = out[out.index(b"\xff\xc2"):]
        self.assertEqual(frame[11], 0x22)  # 4:2:0
        self.zel("source.jpg", "-o", "fine.jpg", "--quality", "90", "--subsampling", "4:4:4", "contrast")
        self.assertNotIn(table, self.read("fine.jpg"))
        # Half the columns of colour cannot be written; nothing of them may be lost.
        self.zel("sample", "s.jpg", "--size", "64x64")
        self.write("columns.jpg", builders.with_half_columns(self.read("s.jpg")))
        self.zel("columns.jpg", "-o", "full.jpg", "gamma")
        self.assertEqual(self.pixels("full.jpg"), [128] * 64 * 64 * 3)
        frame = self.read("full.jpg").split(b"\xff\xc0")[1]
        self.assertEqual(frame[9], 0x11)

    def test_the_small_picture_of_the_camera_does_not_outlive_the_photograph(self):
        self.zel("sample", "s.jpg", "--size", "96x64")
        self.zel("sample", "small.jpg", "--size", "64x64")
        small = self.read("small.jpg")
        self.write("camera.jpg", builders.with_thumbnail(self.read("s.jpg"), small))
        for name in ("out.jpg", "out.png", "out.tif", "out.webp"):
            errors = self.zel("camera.jpg", "-o", name, "contrast", "contrast=40")[1]
            data = self.read(name)
            self.assertFalse(small[-400:-300] in data, name)
            self.assertEqual((b"Somebody" in data, "without the camera's EXIF" in errors), (name != "out.tif", name == "out.tif"), name)

    def test_several_pictures_in_a_file_are_never_lost_silently(self):
        self.write("two.tif", tiff([[10], [200]]))
        self.refuses(3, "holds 2 pictures; choose one with --page 0 to 1", "two.tif", "-o", "o.png", "gamma")
        self.assertEqual(samples(self.zel("two.tif", "--page", "1", "-o", "-", "--format", "ppm", "gamma")[0]), [200] * 16)
        self.refuses(3, "page 2", "two.tif", "--page", "2", "-o", "o.png", "gamma")
        self.write("moving.png", with_chunk(png(2, 2, 1, bytes(4)), b"acTL", struct.pack(">II", 2, 0)))
        self.refuses(3, "animated PNG", "moving.png", "-o", "o.png", "gamma")
        self.write("raw.dng", tiff([[10]]))
        self.refuses(3, "develop it first", "raw.dng", "-o", "o.png", "gamma")
        self.write("short.ppm", b"P3 20000 10000 255\n1 2 3")
        self.refuses(3, "ends before its last sample", "short.ppm", "-o", "o.png", "gamma")

    def test_damaged_files_of_every_format_end_in_a_message(self):
        self.zel("sample", "good.ppm", "--size", "64x64")
        random.seed(1)
        for suffix in ("png", "jpg", "tif", "ppm", "webp", "avif", "heic", "jxl"):
            if suffix in ("heic", "jxl"):
                self.write(f"good.{suffix}", builders.HEIC if suffix == "heic" else builders.JXL)
                if b"not a PNG" in self.run_zel(f"good.{suffix}", "-o", "-", "--format", "ppm", "gamma").stderr:
                    continue  # the installed image library has no reader
                self.assertEqual(self.pixels(f"good.{suffix}")[:3], [200, 100, 50])
            else:
                self.zel("good.ppm", "-o", f"good.{suffix}", "--overwrite", "gamma")
            good = self.read(f"good.{suffix}")
            self.assertEqual(len(self.pixels(f"good.{suffix}")), 64 * 64 * 3)
            for i in range(12):
                bad = bytearray(good[:random.randrange(len(good))] if i % 3 == 0 else good)
                for _ in range(i):
                    bad[random.randrange(min(len(bad), 300))] = random.randrange(256)
                self.write(f"bad{i}", bytes(bad))
            result = self.run_zel(*(f"bad{i}" for i in range(12)), "-o", f"out-{suffix}/", "--format", "png", "gamma")
            self.assertIn(result.returncode, (0, 1, 3), result.stderr)
            self.refuses(3, "more than the limit", f"good.{suffix}", "-o", "-", "--format", "ppm", "--max-pixels", "1k", "gamma")
        self.refuses(2, "read but not written; give --format", "good.ppm", "-o", "out.heic", "gamma")

    @unittest.skipIf(os.environ["SANITIZE"], "the sanitizer needs memory of its own")
    def test_memory_is_the_picture_and_little_more(self):
        self.write("big.ppm", b"P6 6000 4000 255\n" + bytes(range(250)) * (6000 * 4000 * 3 // 250))
        self.zel("big.ppm", "-o", "big.jpg", "gamma")
        most = subprocess.run(["python3", "-c", "import resource, subprocess, sys; subprocess.run(sys.argv[1:], check=True);"
                               "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)", ZEL, "big.jpg", "-o", "out.jpg",
                               "contrast", "contrast=20"], capture_output=True, check=True, cwd=self.folder.name).stdout
        self.assertLess(int(most) * 1024, 1.3 * 6000 * 4000 * 3 + 40e6)


class Looking(ToolTest):
    def test_sheets_of_strengths_and_recipes_and_the_part_at_full_size(self):
        self.zel("sample", "s.png", "--size", "300x200")
        size = lambda name: png_samples(self.read(name))[0][:2]
        self.zel("sheet", "s.png", "vivid", "-o", "v.png", "--cell", "64")
        os.mkdir(self.path("looks"))
        self.refuses(2, "holds no recipe", "sheet", "s.png", "--recipes", "looks", "-o", "l.png")
        self.zel("--save-recipe", "looks/one.json", "gamma", "gamma=2")
        self.zel("sheet", "s.png", "--recipes", "looks", "-o", "l.png", "--cell", "64")
        self.assertEqual(size("v.png")[0] - 12, 2 * (size("l.png")[0] - 12))
        self.zel("s.png", "-o", "after.png", "gamma", "gamma=2")
        self.write("a.pgm", ppm(8, 8, [[1000] * 8] * 8, 65535))
        self.write("b.pgm", ppm(8, 8, [[2000] * 8] * 8, 65535))
        self.assertEqual(self.zel("compare", "a.pgm", "b.pgm")[0], b"PSNR 36.33 dB, mean difference 1000.000, largest 1000 of 65535\n")
        self.zel("compare", "s.png", "after.png", "-o", "c.png", "--width", "150", "--at", "50%,50%")
        self.assertEqual(size("c.png")[0], 12 + 2 * (256 + 12))
        self.zel("sheet", "s.png", "auto", "-o", "auto.png", "--cell", "64")
        self.assertEqual(size("auto.png")[0], 12 + 4 * (64 + 12))
        # An upright photograph leaves no room beside it: six strengths and the photograph, four across.
        self.zel("sample", "tall.png", "--size", "200x300")
        self.zel("sheet", "tall.png", "vivid", "-o", "tall-sheet.png", "--cell", "96")
        self.assertEqual(size("tall-sheet.png")[0], 12 + 4 * (64 + 12))

    def test_auto_tells_what_it_chose(self):
        self.zel("sample", "s.png", "--size", "120x80")
        line = json.loads(self.zel("s.png", "-o", "a.png", "--json", "auto", "strength=60%", "blur")[0])
        self.assertEqual([o["name"] for o in line["operations"]], ["auto", "blur"])
        self.assertTrue(line["chosen"]["operations"] and line["chosen"]["because"])
        self.assertIn("auto chose", self.zel("s.png", "-o", "b.png", "-v", "auto")[1])
        self.refuses(2, "auto has no parameter level", "s.png", "-o", "c.png", "auto", "level=3")

    def test_auto_mends_what_is_wrong_and_leaves_the_rest(self):
        def auto(source, result):
            line = json.loads(self.zel(source, "-o", result, "--overwrite", "--json", "auto")[0])
            return {word for word in line["chosen"]["operations"].split() if "=" not in word}
        self.zel("sample", "0.png", "--size", "480x320")
        changes = []
        for i in range(3):
            chosen = auto(f"{i}.png", f"{i + 1}.png")
            changes.append(float(self.zel("compare", f"{i}.png", f"{i + 1}.png")[0].decode().split("mean difference ")[1].split(",")[0]))
        self.assertTrue(changes[0] > 1.5 * changes[1] > 2 * changes[2], changes)  # what is better needs less
        self.assertLessEqual(chosen, {"light-correct", "levels"})
        for damage, cure in ((["contrast", "contrast=-45"], "levels"), (["gamma", "gamma=0.55"], "gamma"),
                             (["hue-saturation", "saturation=-60"], "hue-saturation"), (["blur", "radius=1.2"], "unsharp"),
                             (["temperature", "temperature=-50"], "light-correct")):
            self.zel("2.png", "-o", "bad.png", "--overwrite", *damage)
            self.assertIn(cure, auto("bad.png", "good.png"), damage)


class Words(ToolTest):
    def test_what_people_type_is_understood_or_explained(self):
        self.zel("sample", "s.png", "--size", "64x64")
        out = ["s.png", "-o", "o.png"]
        line = json.loads(self.zel(*out, "--dry-run", "--json", "vivid", "strength=20%")[0])
        self.assertEqual(line["operations"], [{"name": "vivid", "strength": 20, "style": "plain"}])
        self.assertFalse(os.path.exists(self.path("o.png")))
        self.refuses(2, "a setting: hue-saturation saturation=", *out, "saturation", "strength=20")
        self.refuses(2, "foliage-tone needs at=, a pixel of the foliage", *out, "foliage-tone")
        for listing in (["ops"], ["help", "auto"], ["man"], ["completion"]):
            self.assertIn("auto", [word.strip(":)") for word in self.zel(*listing)[0].decode().split()], listing)
        self.assertIn("zel compare [OPTIONS]", self.zel("help", "compare")[0].decode())
        manual = self.zel("man")[0].decode()
        for text in (".SS zel sheet", "\\-\\-subsampling\\fR NAME", "zel photo.jpg \\-o better.jpg vivid"):
            self.assertIn(text, manual)


if __name__ == "__main__":
    unittest.main()
