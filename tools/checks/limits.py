#!/usr/bin/env python3
"""Checks that docs/limits.md has a row for each load in tests/limits, and for each system call that
tests/platform refuses; and that each row has its test.

usage: limits.py [--self-test]
"""
import re
import tempfile
from pathlib import Path

from check import ROOT, run

DOCUMENT = "docs/limits.md"
CALLS = "tests/platform/refused_calls_test.cpp"
TEST = re.compile(r"^(?:FRESH_)?TEST(?:_[FP])?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)
LOAD_ROW = re.compile(r"^\|.*\| `(\w+\.\w+)` \|$", re.MULTILINE)
CALL = re.compile(r'^    \{"(\w+)",', re.MULTILINE)
SECTION = "## Kernel features that are refused\n"
CALL_ROW = re.compile(r"^\| (`[^|]+`) \|", re.MULTILINE)


def differences(what, tested, told):
    """Lists what is in one set and not in the other."""
    return ([f"{DOCUMENT}: no row for {what} {name}" for name in sorted(tested - told)] +
            [f"{DOCUMENT}: a row for {what} {name}, which no test has" for name in sorted(told - tested)])


def problems(root):
    """Lists what is wrong in the tree at root."""
    loads = {f"{suite}.{name}" for file in (root / "tests/limits").glob("*.cpp")
             for suite, name in TEST.findall(file.read_text())}
    calls = set(CALL.findall((root / CALLS).read_text()))
    text, _, refused = (root / DOCUMENT).read_text().partition(SECTION)
    told = {name for cell in CALL_ROW.findall(refused) for name in re.findall(r"`(\w+)`", cell)}
    if not loads or not calls:
        return ["there is no load, or no system call"]
    return (differences("the load", loads, set(LOAD_ROW.findall(text))) +
            differences("the system call", calls, told))


def self_test():
    """Shows that each kind of violation is found, and that a good tree has none."""
    good = {
        "tests/limits/a_limits_test.cpp": "TEST(ALimits, One)\n{\n}\nFRESH_TEST(ALimits, Two)\n",
        CALLS: 'const Call kCalls[] = {\n    {"read", {SYS_read}},\n    {"mmap", {SYS_mmap}, {"x"}},\n};\n',
        DOCUMENT: "| load | promised | test |\n|---|---|---|\n| l | p | `ALimits.One` |\n"
                  "| l | q | `ALimits.One` |\n| m | p | `ALimits.Two` |\n"
                  f"{SECTION}| refused | x |\n|---|---|\n| `read`, `mmap` | y, as `z()` says |\n",
    }
    cases = [
        (None, "", "", []),
        (DOCUMENT, "| m | p | `ALimits.Two` |\n", "", [f"{DOCUMENT}: no row for the load ALimits.Two"]),
        (DOCUMENT, "| m | p", "| m | p | `ALimits.Three` |\n| m | p",
         [f"{DOCUMENT}: a row for the load ALimits.Three, which no test has"]),
        (DOCUMENT, "`read`, ", "", [f"{DOCUMENT}: no row for the system call read"]),
        (DOCUMENT, "`read`, ", "`read`, `open`, ",
         [f"{DOCUMENT}: a row for the system call open, which no test has"]),
        (CALLS, '    {"read", {SYS_read}},\n    {"mmap", {SYS_mmap}, {"x"}},\n', "",
         ["there is no load, or no system call"]),
    ]
    for changed, old, new, expected in cases:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            for name, text in good.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text.replace(old, new) if name == changed else text)
            got = problems(root)
            assert got == expected, f"{changed}, {new!r}: {got}"


if __name__ == "__main__":
    run(__doc__, self_test, lambda: problems(ROOT))
