"""Many photographs: naming, parallel work, reports, interruption and going on."""
import json
import os
import signal
import subprocess
import time
import unittest

from support import ZEL, ToolTest, samples


class Batch(ToolTest):
    def draw(self, count, size="64x64"):
        self.zel("sample", "0.png", "--size", size)
        for i in range(1, count):
            os.link(self.path("0.png"), self.path(f"{i}.png"))
        return [f"{i}.png" for i in range(count)]

    def test_results_go_to_a_folder_or_follow_a_pattern(self):
        inputs = self.draw(3)
        self.zel(*inputs, "-o", "new/folder/", "contrast")
        self.assertEqual(sorted(os.listdir(self.path("new/folder"))), inputs)
        self.zel(*inputs, "-o", "{dir}/{n}-{stem}.{ext}", "--format", "jpg", "contrast")
        self.assertLessEqual({"1-0.jpg", "2-1.jpg", "3-2.jpg"}, set(self.names()))

    def test_one_bad_photograph_does_not_stop_the_others(self):
        inputs = self.draw(2)
        self.write("bad.png", b"no")
        out, errors = self.zel(*inputs, "bad.png", "-o", "out/", "-j", "2", "--json", "contrast", "contrast=5", code=1)
        lines = {line["input"]: line for line in map(json.loads, out.splitlines())}
        self.assertEqual({k: v["result"] for k, v in lines.items()}, {"0.png": "done", "1.png": "done", "bad.png": "failed"})
        self.assertEqual(lines["0.png"]["operations"], [{"name": "contrast", "contrast": 5, "brightness": 0}])
        self.assertIn("is plain text document", lines["bad.png"]["error"])
        self.assertRegex(errors, r"^zel: bad.png: is plain .*\nzel: 2 done, 1 failed in \d+\.\d s\n$")
        self.assertEqual(sorted(os.listdir(self.path("out"))), inputs)

    def test_parallel_results_equal_single_ones(self):
        inputs = self.draw(6, "120x90")
        for jobs in ("1", "4"):
            self.zel(*inputs, "-o", f"out{jobs}/", "-j", jobs, "denoise", "smart-contrast")
        for name in inputs:
            self.assertEqual(self.read(f"out1/{name}"), self.read(f"out4/{name}"))

    def test_dry_run_writes_nothing(self):
        inputs = self.draw(2)
        out, _ = self.zel(*inputs, "none.png", "-o", "out/", "--dry-run", "blur", "radius=3", code=1)
        self.assertEqual(out.decode(), "0.png -> out/0.png: blur radius=3\n1.png -> out/1.png: blur radius=3\n")
        self.zel("none.png", "-o", "out/", "--dry-run", "blur", code=3)
        self.assertEqual(self.names(), inputs)

    def test_resume_does_only_what_is_missing_or_changed(self):
        inputs = self.draw(4)
        results = lambda *more: [json.loads(line)["result"] for line in
                                 self.zel(*inputs, "-o", "out/", "--resume", "--json", *more)[0].splitlines()]
        self.assertEqual(results("contrast"), ["done"] * 4)
        self.assertEqual(results("contrast"), ["skipped"] * 4)
        os.remove(self.path("out/1.png"))
        os.remove(self.path("2.png"))
        self.zel("sample", "2.png", "--size", "70x64")
        self.write("out/3.png", bytes(len(self.read("out/3.png"))))
        self.assertEqual(results("--overwrite", "contrast"), ["skipped", "done", "done", "done"])
        self.assertEqual(results("--overwrite", "gamma", "gamma=2"), ["done"] * 4)

    def interrupted(self, sign, options):
        """Starts a batch, ends it by a signal half way, and goes on."""
        inputs = self.draw(40, "300x200")
        command = [*inputs, "-o", "out/", "-j", "2", "--resume", *options, "denoise", "blur", "radius=8"]
        process = subprocess.Popen([ZEL, *command], cwd=self.folder.name, stderr=subprocess.PIPE)
        while not os.path.isdir(self.path("out")) or len(os.listdir(self.path("out"))) < 8:
            self.assertIsNone(process.poll(), process.stderr.read() if process.poll() else "")
            time.sleep(0.002)
        process.send_signal(sign)
        errors = process.communicate(timeout=60)[1].decode()
        self.assertEqual(process.returncode, -sign, errors)
        first = {name: os.stat(self.path(f"out/{name}")) for name in os.listdir(self.path("out")) if name != ".zel-journal"}
        self.assertTrue(0 < len(first) < 40)
        self.assertLessEqual(set(first), set(inputs))  # nothing half-written, no temporary names
        out, _ = self.zel(*command, "--json")
        done = [json.loads(line) for line in out.splitlines()]
        self.assertEqual({line["input"] for line in done if line["result"] == "skipped"}, set(first))
        for name, status in first.items():
            self.assertEqual(os.stat(self.path(f"out/{name}")).st_mtime_ns, status.st_mtime_ns)
        expected = self.pixels("out/0.png")
        for name in inputs:
            self.assertEqual(self.pixels(f"out/{name}"), expected)
        return errors

    def test_control_c_is_resumed(self):
        self.assertIn("of 40 photographs finished; the same command goes on", self.interrupted(signal.SIGINT, []))

    def test_kill_is_resumed(self):
        self.interrupted(signal.SIGKILL, [])

    def test_working_in_place_is_resumed_without_doing_anything_twice(self):
        inputs = self.draw(1)
        command = [*inputs, "-o", "{dir}/{stem}.{ext}", "--overwrite", "--resume", "--json", "contrast", "contrast=20"]
        self.zel(*command)
        once = self.read("0.png")
        self.assertIn(b"skipped", self.zel(*command)[0])
        self.assertEqual(self.read("0.png"), once)

    def test_memory_does_not_grow_with_the_number_of_photographs(self):
        inputs = self.draw(60, "600x400")
        most = lambda files: int(subprocess.run(
            ["python3", "-c", "import resource, subprocess, sys; subprocess.run(sys.argv[1:], check=True);"
             "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)", ZEL, *files, "-o", f"o{len(files)}/", "gamma"],
            capture_output=True, check=True, cwd=self.folder.name).stdout)
        self.assertLess(most(inputs), most(inputs[:6]) * 1.3)


if __name__ == "__main__":
    unittest.main()
