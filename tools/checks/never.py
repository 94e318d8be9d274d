#!/usr/bin/env python3
"""Checks the column "never" of CONTRIBUTING.md: what stands there in backticks is not in the library's code.

A word behind which the cell says "in `folder/`" is forbidden there only. never.txt lists the exceptions,
one a line: word, file, reason. One that is not needed any more is a violation, too.

usage: never.py [--self-test]
"""
import re
import tempfile
from pathlib import Path

from check import ROOT, run

FOLDERS = ["containers", "files", "foundation", "hsm", "include", "log", "platform", "thread", "timer",
           "values"]
EXCEPTIONS = "tools/checks/never.txt"
# Comments, texts and names of headers may say what they like.
NO_CODE = re.compile(r'#[ \t]*include[^\n]*|//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'', re.DOTALL)


def read_rules(text):
    """The forbidden words, each with the folders where it is."""
    rules = {}
    for line in text.partition("## Need, use, never")[2].partition("\n## ")[0].splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if not line.startswith("|") or len(cells) != 3 or set(cells[2]) <= {"-"}:
            continue
        words = re.findall("`(.*?)`", cells[2])
        folders = [word.rstrip("/") for word in words if word.endswith("/")]
        for word in words:
            if not word.endswith("/"):
                rules[word] = folders or FOLDERS
    return rules


def read_exceptions(text):
    """The exceptions, as (word, file); a line without a reason is none."""
    found = set()
    for line in text.splitlines():
        parts = line.split(maxsplit=2)
        if len(parts) == 3 and not line.startswith("#"):
            found.add((parts[0].replace("~", " "), parts[1]))
    return found


def uses(code, word):
    """The numbers of the lines that have a word, or words with any space between them."""
    pattern = r"\s+".join(re.escape(part) for part in word.split())
    return [code.count("\n", 0, match.start()) + 1
            for match in re.finditer(rf"(?<!\w){pattern}(?!\w)", code)]


def problems(root):
    """Lists what is wrong in the tree at root."""
    rules = read_rules((root / "CONTRIBUTING.md").read_text())
    if not rules:
        return ["CONTRIBUTING.md: no word in the column \"never\""]
    exceptions = read_exceptions((root / EXCEPTIONS).read_text())
    needed = set()
    found = []
    for folder in FOLDERS:
        for file in sorted((root / folder).rglob("*")):
            if file.suffix not in (".c", ".cpp", ".h"):
                continue
            name = file.relative_to(root).as_posix()
            code = NO_CODE.sub(lambda match: "\n" * match.group().count("\n"), file.read_text())
            for word, folders in rules.items():
                lines = uses(code, word) if folder in folders else []
                if lines and (word, name) in exceptions:
                    needed.add((word, name))
                else:
                    found += [f"{name}:{line}: {word} (see CONTRIBUTING.md)" for line in lines]
    return found + [f"{EXCEPTIONS}: {word} in {name} is not needed"
                    for word, name in sorted(exceptions - needed)]


GOOD = {
    "CONTRIBUTING.md": "## Need, use, never\n| need | use | never |\n|---|---|---|\n"
                       "| memory | x | `malloc`, `constinit lock_t` |\n"
                       "| a file | x | `fopen` in `log/` |\n| y | z | by hand |\n## More\n| a | b | `c` |\n",
    EXCEPTIONS: "# word file reason\nmalloc log/a.cpp it is where memory comes from\n",
    "log/a.cpp": "void* p = std::malloc(1);  // fopen\n",
    "files/b.cpp": '#include <malloc>\n/* malloc */ FILE* f = fopen("malloc", "r"); int my_malloc; int c;\n',
}
BAD = [
    ("files/b.cpp", "\nvoid* p = malloc (1);\n", ["files/b.cpp:4: malloc (see CONTRIBUTING.md)"]),
    ("files/b.cpp", "auto p = &malloc;", ["files/b.cpp:3: malloc (see CONTRIBUTING.md)"]),
    ("log/a.cpp", "FILE* f = std::fopen(0, 0);", ["log/a.cpp:2: fopen (see CONTRIBUTING.md)"]),
    ("log/a.cpp", "constinit\n  lock_t x;", ["log/a.cpp:2: constinit lock_t (see CONTRIBUTING.md)"]),
    (EXCEPTIONS, "fopen log/a.cpp why not\n", [f"{EXCEPTIONS}: fopen in log/a.cpp is not needed"]),
    (EXCEPTIONS, "malloc files/b.cpp why not\n", [f"{EXCEPTIONS}: malloc in files/b.cpp is not needed"]),
]


def self_test():
    """Shows that each kind of violation is found, and that a good tree has none."""
    cases = [("log/a.cpp", "", []), *BAD]
    for changed, line, expected in cases:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            for name, text in {**GOOD, changed: GOOD[changed] + line}.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
            got = problems(root)
            assert got == expected, f"{changed}, {line!r}: {got}"
            (root / EXCEPTIONS).write_text("malloc log/a.cpp\n")
            assert "log/a.cpp:1: malloc (see CONTRIBUTING.md)" in problems(root), "no reason, no exception"
            (root / "CONTRIBUTING.md").write_text("")
            assert problems(root) == ["CONTRIBUTING.md: no word in the column \"never\""]


if __name__ == "__main__":
    run(__doc__, self_test, lambda: problems(ROOT))
