"""Makes a page of a C header: what it declares under its name, with the comment above it as text."""
import re
import sys


def plain(text):
    """Text as Markdown that reads the same; names of the interface as code."""
    text = re.sub(r"([\\*_\[\]|#])", r"\\\1", " ".join(text.split()).replace("&", "&amp;").replace("<", "&lt;"))
    return re.sub(r'(?<![\w"])(?:Zel\w+(?:\\_\w+)*|GetDLLVersion|ZEL(?:\\_\w+)+)', lambda name: "`" + name[0].replace("\\", "") + "`", text)


def page(comment):
    """A comment's paragraphs: text, lists of words with their meaning as tables, everything else that is aligned as it stands."""
    out = ""
    for part in re.split(r"\n\s*\n", comment):
        rows = re.split(r"\n(?=\S)", part)
        words = [re.fullmatch(r"(\S+(?: \S+)?) {2,}(\S.*)", row, re.S) for row in rows]
        if all(words):
            out += "| name | meaning |\n|---|---|\n" + "".join(f"| `{word[1]}` | {plain(word[2])} |\n" for word in words) + "\n"
        elif re.search(r"^\s| {3}", part, re.M):
            out += "```text\n" + part + "\n```\n\n"
        else:
            out += plain(part) + "\n\n"
    return out


name = sys.argv[1].rsplit("/", 1)[1]
with open(sys.argv[1], encoding="utf-8") as file:
    # Paragraphs: a comment and the declarations that follow it without an empty line.
    parts = re.findall(r"^(?:/\*((?:(?!\*/).)*)\*/\n)?((?:(?!/\*)[^\n]+\n(?:  [^\n]*\n|}[^\n]*\n)*)*)\n", file.read(), re.S | re.M)
print(f"# {name}\n")
for comment, code in parts:
    comment, code = re.sub(r"^ ?\*? ?", "", comment, flags=re.M).strip("\n -"), code.strip()
    if code.startswith("#ifndef"):
        print(page(comment) + "## Types and codes\n")
    elif comment and not code:
        title, _, rest = comment.partition(":")
        print(f"## {title.rstrip('.')}\n\n" + (page(rest.strip().capitalize()) if rest else ""))
    elif re.match(r"typedef|ZEL\w*_API|#define ZEL_\w+ \S", code):
        names = re.findall(r"ZEL_CALL (\w+)\(|typedef struct (\w+)|^typedef \w+ (\w+);", code, re.M)
        title = ", ".join(dict.fromkeys("".join(n) for n in names)) or re.match(r"[^.,:(]*", comment)[0]
        print((f"### {title}\n\n" if title else "") + f"```c\n{code}\n```\n\n" + (page(comment) if comment.rstrip(".") != title else ""))
