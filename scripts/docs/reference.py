"""Makes a page of a C header: every function under its name, with its declaration and the comment above it."""
import re
import sys

text = open(sys.argv[1], encoding="utf-8").read()
name = sys.argv[1].rsplit("/", 1)[1]
tidy = lambda comment: re.sub(r"^ ?\*? ?", "", comment, flags=re.M).strip()
print(f"# {name}\n")
print("```text\n" + tidy(re.match(r"/\*(.*?)\*/", text, re.S)[1]) + "\n```\n")
pattern = re.compile(r"/\*((?:(?!\*/).)*)\*/\n((?:(?:typedef|ZEL\w*_?API)[^;{]*(?:\{[^}]*\})?[^;]*;\n)+)", re.S)
for comment, declarations in pattern.findall(text):
    names = re.findall(r"\b((?:Zel\w+_\w+|GetDLLVersion))\s*\(", declarations) or re.findall(r"(\w+)\s*;\n", declarations)
    print("## " + ", ".join(names) + "\n\n```c\n" + declarations.strip() + "\n```\n\n```text\n" + tidy(comment) + "\n```\n")
