#!/usr/bin/env python3
"""Checks the comments that mark an oddity: something strange that callers rely on, so that it stays.

    // Oddity: what it is, and what callers rely on. Test: Suite.Name.

Each names a test that pins it, which must exist.

usage: oddities.py [--self-test]
"""
import re
import tempfile
from pathlib import Path

from check import ROOT, run

FOLDERS = ["containers", "files", "foundation", "hsm", "include", "log", "platform", "thread", "timer",
           "values"]
COMMENT = re.compile(r"(?:^[ \t]*//[^\n]*\n)+|//[^\n]*\n|/\*.*?\*/", re.DOTALL | re.MULTILINE)
NAMED = re.compile(r"\bTests?:((?:(?:,|\s|and)*\w+\.\w+)+)")
TEST = re.compile(r"^\s*(?:[A-Z]+_)?TEST(?:_[FP])?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)


def problems(root):
    """Lists what is wrong in the tree at root."""
    tests = {f"{suite}.{name}" for file in (root / "tests").rglob("*.cpp")
             for suite, name in TEST.findall(file.read_text())}
    found = []
    count = 0
    for file in (file for folder in FOLDERS for file in sorted((root / folder).rglob("*"))
                 if file.suffix in (".c", ".cpp", ".h")):
        text = file.read_text()
        for comment in COMMENT.finditer(text):
            # A paragraph of the words alone, without what begins each line.
            words = " ".join(re.sub(r"^[ \t]*(?:///?<?|/\*+|\*/?)|\*/", "", line).strip()
                             for line in comment.group().splitlines())
            for oddity in words.split("Oddity:")[1:]:
                count += 1
                place = f"{file.relative_to(root)}:{text.count(chr(10), 0, comment.start()) + 1}"
                named = NAMED.search(oddity)
                if named is None:
                    found.append(f"{place}: an oddity that names no test")
                    continue
                found += [f"{place}: there is no test {name}"
                          for name in re.findall(r"\w+\.\w+", named.group(1)) if name not in tests]
    return found if count else ["there is no oddity"]


def self_test():
    """Shows that each kind of violation is found, and that a good tree has none."""
    test = "TEST(S, One)\n{\n}\nFRESH_TEST(S, Two)\n  TEST_P(T, Three)\n"
    cases = [
        ("int x;  // Oddity: y. Test: S.One.\n", []),
        ("/// Oddity: a\n/// b. Tests: S.Two, T.Three.\nint x;\n", []),
        ("/**\n * Text. Oddity: b.\n * Test:\n * T.Three.\n */\n", []),
        ("int x;\n// Oddity: y.\nint z;  // Test: S.One\n", ["log/a.h:2: an oddity that names no test"]),
        ("// Oddity: y. Test: S.Four.\n", ["log/a.h:1: there is no test S.Four"]),
        ("// Oddity: y. Tests: S.One and S.Four.\n", ["log/a.h:1: there is no test S.Four"]),
        ("// x\n", ["there is no oddity"]),
    ]
    for text, expected in cases:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            (root / "log").mkdir()
            (root / "tests" / "log").mkdir(parents=True)
            (root / "log" / "a.h").write_text(text)
            (root / "tests" / "log" / "a_test.cpp").write_text(test)
            got = problems(root)
            assert got == expected, f"{text!r}: {got}"


if __name__ == "__main__":
    run(__doc__, self_test, lambda: problems(ROOT))
