"""Every command of README and cookbook, run as it stands; every program of README, built and run."""
import os
import re
import subprocess
import unittest

from support import ZEL, ToolTest

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def blocks(page, language):
    with open(os.path.join(SOURCE, page)) as file:
        return re.findall(rf"^```{language}\n(.*?)^```", file.read(), re.S | re.M)


class Documentation(ToolTest):
    def run_commands(self, page):
        for name in ("photo.jpg", "portrait.jpg"):
            self.zel("sample", name, "--size", "192x128")
        self.zel("sample", "scan.tif", "--size", "160x120", "--bits", "16")
        os.mkdir(self.path("photos"))
        for name in "abc":
            os.link(self.path("photo.jpg"), self.path(f"photos/{name}.jpg"))
        os.mkdir(self.path("bin"))
        os.symlink(ZEL, self.path("bin/zel"))
        environment = {**os.environ, "PATH": self.path("bin") + ":" + os.environ["PATH"]}
        for block in blocks(page, "sh"):
            for command in block.splitlines():
                if command == "zel sample photo.jpg":
                    os.remove(self.path("photo.jpg"))
                result = subprocess.run(["bash", "-c", command], cwd=self.folder.name, env=environment, capture_output=True)
                self.assertEqual(result.returncode, 0, f"{command}: {result.stderr.decode()}")
                output = re.search(r"-o ([\w.-]+)(?= |$)", command)
                if output and output[1] != "-":
                    self.assertGreater(os.path.getsize(self.path(output[1])), 100, command)

    def test_readme(self):
        self.run_commands("README.md")
        library = os.path.dirname(ZEL)
        sanitize = os.environ["SANITIZE"].split()  # a program must be built like the library that it links
        for language, compiler, suffix in (("c", ["cc", "-std=c99"], "c"), ("cpp", ["c++", "-std=c++17"], "cpp")):
            for program in blocks("README.md", language):
                self.write(f"host.{suffix}", program.encode())
                subprocess.run([*compiler, *sanitize, f"host.{suffix}", "-I", f"{SOURCE}/include", "-L", library, "-lzel_chain", "-lzel",
                                f"-Wl,-rpath,{library}", "-o", "host"], cwd=self.folder.name, check=True)
                subprocess.run([self.path("host")], check=True, capture_output=True)

    def test_cookbook(self):
        self.run_commands("docs/cookbook.md")

    def test_links_lead_somewhere(self):
        for page in ("README.md", *(f"docs/{name}" for name in os.listdir(f"{SOURCE}/docs") if name.endswith(".md"))):
            with open(os.path.join(SOURCE, page)) as file:
                for link in re.findall(r"\]\(([^):#]+)\)", file.read()):
                    self.assertTrue(os.path.exists(os.path.join(SOURCE, os.path.dirname(page), link)), f"{page}: {link}")

    def test_every_operation_has_a_page_with_a_picture(self):
        self.zel("docs", "pages")
        pages = set(os.listdir(self.path("pages")))
        self.assertGreater(len(pages), 50)
        for name in pages - {"index.md"}:
            if name.endswith(".md"):
                self.assertIn(name[:-3] + ".jpg", pages)
                self.assertIn(f"zel photo.jpg -o better.jpg {name[:-3]}", self.read(f"pages/{name}").decode())


if __name__ == "__main__":
    unittest.main()
