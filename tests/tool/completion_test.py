"""What bash, zsh and fish make of a line and a tab. A shell that is not installed (scripts/install.sh shells) is skipped."""
import os
import pty
import shlex
import shutil
import subprocess
import unittest

from support import ToolTest

# A line, and the word that is the only way to go on.
LINES = {
    "zel smart-c": "smart-contrast",
    "zel apply": "apply-table",
    "zel one": "one more.jpg",
    "zel photo.png -o on": "one more.jpg",
    "zel photo.png tone style=sh": "style=shadows",
    "zel photo.png tone style=dark str": "strength=",
    "zel photo.png tone strength=20 vivid style=d": "style=detail",
    "zel --dry": "--dry-run",
    "zel photo.png --format pn": "png",
    "zel photo.png --quality on": "",
    "zel bake --no": "--nodes",
    "zel bake --nodes 5": "52",
    "zel bake -o x.cube foliage-t": "foliage-tone",
    "zel apply-table photo.png --table on": "one more.jpg",
    "zel help skin-f": "skin-flash",
    "zel completion f": "fish",
}

# Words as readline hands them over: = stands alone.
BASH = r"""
while IFS= read -r line; do
  IFS=$'\n'; COMP_WORDS=($(grep -o '=\|[^ =]*[^ =]' <<< "$line")); IFS=$' \t\n'
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMPREPLY=()
  compopt() { :; }
  _zel; echo "${COMPREPLY[*]}"
done < questions
"""

# The lines are completed in the line editor of an interactive shell.
ZSH = r"""
unsetopt zle_bracketed_paste; autoload -Uz compinit; compinit -D -u; source completion; compdef _zel zel
zle -C finish complete-word _main_complete
ask() { for BUFFER in "${(@f)$(<questions)}"; do CURSOR=$#BUFFER; zle finish; print -r -- "$BUFFER" >>answers; done; exit }
zle -N ask; bindkey '^T' ask
"""

FISH = "source completion; while read -l line; echo (complete -C $line | string split -f1 \\t); end < questions; true"


class Completion(ToolTest):
    def shell(self, name):
        if not shutil.which(name):
            self.skipTest(f"{name} is not installed")
        self.write("completion", self.zel("completion", name)[0])
        self.write("questions", "\n".join(LINES).encode() + b"\n")
        for file in ("one more.jpg", "photo.png"):
            self.write(file, b"")

    def answers(self, *command):
        done = subprocess.run(command, capture_output=True, cwd=self.folder.name, timeout=60,
                              env=os.environ | {"HOME": self.folder.name, "XDG_CONFIG_HOME": self.folder.name})
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout.decode().splitlines()

    def check(self, words):
        self.assertEqual(dict(zip(LINES, words)), LINES)

    def test_bash(self):
        self.shell("bash")
        words = self.answers("bash", "-uc", self.read("completion").decode() + BASH)
        # Behind = readline wants the value alone.
        self.check([line.rpartition(" ")[2].partition("=")[0] + "=" + word if "=" in line.split()[-1] else word
                    for line, word in zip(LINES, words)])

    def test_zsh(self):
        self.shell("zsh")
        self.write(".zshrc", ZSH.encode())
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(self.folder.name)
            os.environ.update(ZDOTDIR=self.folder.name, TERM="dumb")
            os.execvp("zsh", ["zsh", "-d", "-i"])
        os.write(terminal, b"\x14")
        try:
            while os.read(terminal, 1 << 16):
                pass
        except OSError:
            pass  # the shell has closed its end
        os.waitpid(child, 0)
        lines = self.read("answers").decode().splitlines()
        self.check(["" if made == asked else shlex.split(made)[-1] for asked, made in zip(LINES, lines)])

    def test_fish(self):
        self.shell("fish")
        self.check(self.answers("fish", "--no-config", "-c", FISH))


if __name__ == "__main__":
    unittest.main()
