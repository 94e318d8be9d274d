#!/usr/bin/env python3
"""Checks that the guides name only what exists, and that guide and source files stay short.

A word in backticks, or in a block of commands, that looks like a path of this repository must
exist: one with a '/' below the root or beside its guide, one that only ends like a source file
anywhere, and "./NAME" in docs/guide as the source of that program. Absolute paths, addresses, build results and words with placeholders are not looked at; in
a word with '*' something must fit it.

usage: guides.py [--self-test]
"""
import os
import re
import tempfile
from fnmatch import fnmatchcase
from pathlib import Path

from check import ROOT, run

REQUIRED = ["README.md", "ARCHITECTURE.md", "CONTRIBUTING.md"]
CONTRIBUTING_LINES = 150
SOURCE_LINES = 600
SOURCES = {".c", ".cpp", ".h", ".hpp", ".py", ".sh", ".cmake"}
NAMED_BY_SUFFIX = SOURCES | {".map", ".md"}

FENCED = re.compile(r"^```[^\n]*\n(.*?)^```", re.MULTILINE | re.DOTALL)
INLINE = re.compile(r"`([^`]+)`")
PATH = re.compile(r"(?:\./)?[\w.*+-]+(?:/[\w.*+-]+)*/?")


def tree(root):
    """The files and folders of the repository, relative to its root, without what is built."""
    entries = set()
    for folder, folders, files in os.walk(root):
        folders[:] = [name for name in folders if name not in (".git", ".cache", "__pycache__")]
        if Path(folder) == root and "build" in folders:
            folders.remove("build")
        for name in [*folders, *files]:
            entries.add(Path(folder, name).relative_to(root).as_posix())
    return entries


def looks_like_path(word):
    """Whether a word can only be meant as a path of this repository."""
    if not PATH.fullmatch(word) or word.startswith(("-", "...", "build/", "./build/")):
        return False
    return word.startswith(".ci") or "/" in word or Path(word).suffix in NAMED_BY_SUFFIX


def exists(word, guide, entries):
    """Whether the path that a guide names is there."""
    name = word.removeprefix("./").rstrip("/")
    candidates = [name, (Path(guide).parent / name).as_posix()]
    if "/" not in name:
        candidates.append("*/" + name)
    if word.startswith("./") and guide.startswith("docs/guide/"):
        candidates.append(f"examples/guide/{name}.c")
    return any(entry == wanted or fnmatchcase(entry, wanted)
               for wanted in candidates for entry in entries)


def named_paths(text):
    """The paths that a guide names. In a block of commands only what starts with "./" counts, or
    what ends like a source file below some folder: the rest may be anything."""
    for block in FENCED.findall(text):
        for word in block.split():
            word = word.strip("\"'(),;:")
            if looks_like_path(word) and (
                    word.startswith("./") or ("/" in word and Path(word).suffix in SOURCES)):
                yield word
    for code in INLINE.findall(FENCED.sub("", text)):
        for word in code.split():
            word = word.strip("\"'(),;:")
            if looks_like_path(word):
                yield word


def problems(root):
    """Lists what is wrong in the tree at root."""
    found = []
    entries = tree(root)
    docs = sorted(path.relative_to(root).as_posix() for path in (root / "docs").glob("**/*.md"))
    for guide in [*REQUIRED, *docs]:
        if not (root / guide).is_file():
            found.append(f"{guide}: missing")
            continue
        for word in named_paths((root / guide).read_text()):
            if not exists(word, guide, entries):
                found.append(f"{guide}: names {word}, which does not exist")
    for entry in sorted(entries):
        limit = CONTRIBUTING_LINES - 1 if entry == "CONTRIBUTING.md" else SOURCE_LINES
        if entry == "CONTRIBUTING.md" or Path(entry).suffix in SOURCES or entry == "dev":
            lines = (root / entry).read_text().count("\n") if (root / entry).is_file() else 0
            if lines > limit:
                found.append(f"{entry}: {lines} lines, at most {limit}")
    return found


def self_test():
    """Shows that each kind of violation is found, and that a good tree has none."""
    good = {
        "README.md": "`./dev test` `log/` `log/report.cpp` `report.cpp` `/tmp/x.h` `<name>/x.h`\n"
                     "```sh\n./dev lint\ngcc a/b -Iinclude/common <common/y.h>\n```\n"
                     "`build/release/x.h` `log/*.cpp` and/or `--flag=a/b` `https://a/b.md`\n",
        "ARCHITECTURE.md": "`docs/more.md`\n",
        "CONTRIBUTING.md": "x\n" * 149,
        "docs/more.md": "`other.md`\n",
        "docs/other.md": "",
        "docs/guide/page.md": "`./program`\n",
        "examples/guide/program.c": "",
        "dev": "",
        "log/report.cpp": "x\n" * 600,
    }
    cases = [
        ("README.md", "`./gone`", "README.md: names ./gone, which does not exist"),
        ("README.md", "see `log/gone.cpp`.", "README.md: names log/gone.cpp, which does not exist"),
        ("README.md", "`gone/`", "README.md: names gone/, which does not exist"),
        ("README.md", "`gone.py --all`", "README.md: names gone.py, which does not exist"),
        ("README.md", "`log/*.c`", "README.md: names log/*.c, which does not exist"),
        ("README.md", "```\n./gone 1\n```", "README.md: names ./gone, which does not exist"),
        ("README.md", "```\nx tests/a.cpp\n```",
         "README.md: names tests/a.cpp, which does not exist"),
        ("docs/more.md", "`gone.md`", "docs/more.md: names gone.md, which does not exist"),
        ("docs/guide/page.md", "`./other`",
         "docs/guide/page.md: names ./other, which does not exist"),
        ("docs/more.md", "`./program`", "docs/more.md: names ./program, which does not exist"),
        ("CONTRIBUTING.md", "x", "CONTRIBUTING.md: 150 lines, at most 149"),
        ("log/report.cpp", "x", "log/report.cpp: 601 lines, at most 600"),
        ("ARCHITECTURE.md", None, "ARCHITECTURE.md: missing"),
    ]
    for changed, line, expected in [("README.md", "", None), *cases]:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            for name, text in good.items():
                if name == changed:
                    if line is None:
                        continue
                    text += line + "\n"
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
            got = problems(root)
            assert got == ([expected] if expected else []), f"{changed}, {line!r}: {got}"


if __name__ == "__main__":
    run(__doc__, self_test, lambda: problems(ROOT))
