#!/usr/bin/env python3
"""Compares the names that gdb shows of numbers with the enumerations of the public headers.

usage: names_test.py ROOT
"""
import runpy
import re
import sys
from pathlib import Path

COMMENT = re.compile(r"/\*.*?\*/|//[^\n]*", re.DOTALL)
# A number that has a type of its own, and the constants that follow it.
KIND = re.compile(r"typedef u?int32_t (\w+);\s*enum \{([^}]*)\};")
CONSTANT = re.compile(r"(\w+)\s*=\s*(\d+)\s*(?:,|$)")


def names_of_headers(include):
    found = {}
    for header in sorted(include.glob("*.h")):
        for kind, constants in KIND.findall(COMMENT.sub("", header.read_text(encoding="utf-8"))):
            found[kind] = {int(number): name for name, number in CONSTANT.findall(constants.strip())}
    return found


def names_of_script(path):
    return runpy.run_path(str(path))["NAMES"]


def main():
    root = Path(sys.argv[1])
    headers = names_of_headers(root / "include")
    script = names_of_script(root / "tools/gdb/libcommon_gdb/names.py")
    assert len(headers["STATUS"]) > 20, headers
    for kind in sorted({*headers, *script}):
        assert headers.get(kind) == script.get(kind), (
            f"{kind}: the headers have {headers.get(kind)}, gdb would show {script.get(kind)}")


if __name__ == "__main__":
    main()
