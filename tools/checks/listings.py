#!/usr/bin/env python3
"""Checks that the listings of the pages are the files that they say, to the byte, and renews them.

A line "<!-- listing: FILE.c -->" is followed by a block ```c with the text of that file, a line
"<!-- output: FILE -->" by a block ```text. What the suite compares with what the programs print and
log stands so on the pages. Every program and output in examples/guide/ stands on some page.

usage: listings.py [--self-test | --renew]
"""
import re
import sys
import tempfile
from pathlib import Path

from check import ROOT, run

PAGES = ("README.md", "docs/**/*.md")
SHOWN = {".c": "listing", ".out": "output", ".log": "output"}
MARKED = re.compile(r"^<!-- (listing|output): (\S+) -->\n(?:```\w*\n(?:.*?\n)??```\n)?", re.MULTILINE | re.DOTALL)


def block(root, kind, name):
    """What shall stand behind a mark, with the mark; null when there is no such file."""
    file = root / name
    if not file.is_file():
        return None
    text = file.read_text(encoding="utf-8")
    text += "" if text.endswith("\n") or not text else "\n"
    language = "text" if kind == "output" else file.suffix[1:]
    return f"<!-- {kind}: {name} -->\n```{language}\n{text}```\n"


def pages(root):
    """The pages that may have listings."""
    return sorted({path for pattern in PAGES for path in root.glob(pattern)})


def problems(root):
    """Lists the listings that are not what they say, and the programs that no page shows."""
    found = []
    shown = set()
    for page in pages(root):
        name = page.relative_to(root).as_posix()
        for mark in MARKED.finditer(page.read_text(encoding="utf-8")):
            shown.add((mark[1], mark[2]))
            wanted = block(root, mark[1], mark[2])
            if wanted is None:
                found.append(f"{name}: there is no {mark[1]} of {mark[2]}")
            elif mark[0] != wanted:
                found.append(f"{name}: the {mark[1]} of {mark[2]} differs; tools/checks/listings.py --renew")
    for file in sorted(root.glob("examples/guide/*")):
        name = file.relative_to(root).as_posix()
        if file.suffix in SHOWN and (SHOWN[file.suffix], name) not in shown:
            found.append(f"{name}: on no page")
    return found


def renew(root):
    """Writes the blocks anew and leaves what names no file."""
    for page in pages(root):
        old = page.read_text(encoding="utf-8")
        new = MARKED.sub(lambda mark: block(root, mark[1], mark[2]) or mark[0], old)
        if new != old:
            page.write_text(new, encoding="utf-8")


def self_test():
    """Shows that each fault is found, that renewing repairs it, and that a good tree has none."""
    listing = "<!-- listing: examples/guide/a.c -->\n```c\nint a;\n```\n"
    output = "<!-- output: examples/guide/a.out -->\n```text\nout\n```\n"
    differs = "docs/guide/1.md: the {} of examples/guide/a.{} differs; tools/checks/listings.py --renew"
    cases = [
        (listing + "text\n" + output, []),
        (listing.replace("a;", "b;") + output, [differs.format("listing", "c")]),
        (listing + output.replace("out\n```", "out\n\n```"), [differs.format("output", "out")]),
        (listing + output.replace("```text", "```"), [differs.format("output", "out")]),
        ("<!-- listing: examples/guide/a.c -->\n" + output, [differs.format("listing", "c")]),
        ("<!-- listing: examples/guide/a.c -->\n```c\n```\n" + output, [differs.format("listing", "c")]),
        (listing, ["examples/guide/a.out: on no page"]),
        (output, ["examples/guide/a.c: on no page"]),
        (listing + output + "<!-- listing: gone.c -->\n", ["docs/guide/1.md: there is no listing of gone.c"]),
    ]
    for text, expected in cases:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            for name, content in {"docs/guide/1.md": text, "README.md": "", "examples/guide/a.c": "int a;\n",
                                  "examples/guide/a.out": "out\n"}.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(content)
            got = problems(root)
            assert got == expected, f"{text!r}: {got}"
            renew(root)
            left = [line for line in expected if "differs" not in line]
            assert problems(root) == left, f"{text!r}, renewed: {problems(root)}"


if __name__ == "__main__":
    if sys.argv[1:] == ["--renew"]:
        renew(ROOT)
    else:
        run(__doc__, self_test, lambda: problems(ROOT))
