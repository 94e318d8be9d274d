#!/usr/bin/env python3
"""Checks the comments that take lines or branches out of what ./dev coverage counts.

    // GCOVR_EXCL_LINE REASON: why           this line; GCOVR_EXCL_BR_LINE its branches only
    // GCOVR_EXCL_START REASON: why          from here to GCOVR_EXCL_STOP, likewise with BR_

REASON is one of these:
    can't happen      the code shows that it is never run, which the compiler does not see
    guard             only a defect or a broken machine leads there, which no test can make
    platform          what this kernel, C library or processor never does, and others do
    unreachable text  a report whose text callers know, of a step that never fails

usage: exclusions.py [--self-test]
"""
import re
import tempfile
from collections import Counter
from pathlib import Path

from check import ROOT, run

REASONS = ["can't happen", "guard", "platform", "unreachable text"]
# What ./dev coverage measures.
FOLDERS = ["containers", "files", "foundation", "hsm", "include", "log", "platform", "support", "thread",
           "timer", "tools", "values"]
ANY = re.compile(r"\w*_EXCL_\w+")
MARKER = re.compile(r"GCOVR_EXCL_(BR_)?(LINE|START|STOP)")
REASON = re.compile(rf" ({'|'.join(REASONS)}): \S")


def sources(root):
    """The files that are measured, relative to root."""
    return [file.relative_to(root) for folder in FOLDERS for file in sorted((root / folder).rglob("*"))
            if file.suffix in (".c", ".cpp", ".h", ".hpp")]


def exclusions(text):
    """The exclusions of a source, each with its line and reason; and what is wrong, with the line."""
    found, wrong = [], []
    started = {}
    for number, line in enumerate(text.splitlines(), 1):
        for word in ANY.finditer(line):
            marker = MARKER.fullmatch(word.group())
            if marker is None or "//" not in line[:word.start()]:
                wrong.append((number, f"{word.group()} is no marker in a comment"))
                continue
            branches, kind = marker.groups()
            if kind == "STOP":
                if started.pop(branches, None) is None:
                    wrong.append((number, f"{word.group()} ends nothing"))
                continue
            reason = REASON.match(line, word.end())
            if reason is None:
                wrong.append((number, f"{word.group()} without one of the reasons and why"))
            else:
                found.append((number, reason.group(1)))
            if kind == "START":
                if branches in started:
                    wrong.append((number, f"{word.group()} inside another"))
                started[branches] = number
    wrong += [(number, "is never ended") for number in started.values()]
    return found, wrong


def counted(root):
    """How many exclusions each file has, by reason."""
    return {file: Counter(reason for _, reason in exclusions((root / file).read_text(encoding="utf-8"))[0])
            for file in sources(root)}


def problems(root):
    """Lists what is wrong in the tree at root."""
    return [f"{file}:{number}: {what}" for file in sources(root)
            for number, what in exclusions((root / file).read_text(encoding="utf-8"))[1]]


def self_test():
    """Shows that each kind of violation is found, and that a good tree has none."""
    bare = "without one of the reasons and why"
    cases = [
        ("int x;  // GCOVR_EXCL_LINE can't happen: y\n", []),
        ("// GCOVR_EXCL_START guard: y\nint x;\n// GCOVR_EXCL_STOP\n", []),
        ("// GCOVR_EXCL_BR_START platform: y\nint x;  // GCOVR_EXCL_LINE unreachable text: z\n"
         "// GCOVR_EXCL_BR_STOP\n", []),
        ("int x;  // GCOVR_EXCL_LINE\n", [f"log/a.h:1: GCOVR_EXCL_LINE {bare}"]),
        ("int x;  // GCOVR_EXCL_BR_LINE never: y\n", [f"log/a.h:1: GCOVR_EXCL_BR_LINE {bare}"]),
        ("int x;  // GCOVR_EXCL_LINE guard: \n", [f"log/a.h:1: GCOVR_EXCL_LINE {bare}"]),
        ("int x;  // LCOV_EXCL_LINE guard: y\n", ["log/a.h:1: LCOV_EXCL_LINE is no marker in a comment"]),
        ("int GCOVR_EXCL_LINE;\n", ["log/a.h:1: GCOVR_EXCL_LINE is no marker in a comment"]),
        ("// GCOVR_EXCL_STOP\n", ["log/a.h:1: GCOVR_EXCL_STOP ends nothing"]),
        ("\n// GCOVR_EXCL_START guard: y\n", ["log/a.h:2: is never ended"]),
        ("// GCOVR_EXCL_START guard: y\n// GCOVR_EXCL_START guard: z\n// GCOVR_EXCL_STOP\n",
         ["log/a.h:2: GCOVR_EXCL_START inside another"]),
        ("// GCOVR_EXCL_START guard: y\n// GCOVR_EXCL_BR_STOP\n// GCOVR_EXCL_STOP\n",
         ["log/a.h:2: GCOVR_EXCL_BR_STOP ends nothing"]),
    ]
    for text, expected in cases:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            (root / "log").mkdir()
            (root / "log" / "a.h").write_text(text)
            got = problems(root)
            assert got == expected, f"{text!r}: {got}"
            if not expected:
                assert sum(counted(root)[Path("log/a.h")].values()) == text.count("_EXCL_") - text.count("STOP")


if __name__ == "__main__":
    run(__doc__, self_test, lambda: problems(ROOT))
