#!/usr/bin/env python3
"""Checks that what the Debian packages say is what the library is.

The symbols file names what the version script exports, the changelog begins with the version of the
library, and the package of the shared library has the number of its interface.

usage: packaging.py [--self-test]
"""
import re

from check import ROOT, run
from exports import exported

SYMBOLS = "debian/libcommon{}.symbols"


def symbol_problems(version_script, symbols, name):
    """What the symbols file lacks, and what it has too much."""
    wanted = {f"{symbol}@{version}"
              for version, body in re.findall(r"^([\w.]+) (\{.*?\})", version_script, re.DOTALL | re.MULTILINE)
              for symbol in [version, *exported(body)]}
    listed = re.findall(r"^ (\S+) \d", symbols, re.MULTILINE)
    found = [f"{name}: {symbol} stands twice"
             for symbol in sorted({symbol for symbol in listed if listed.count(symbol) > 1})]
    found += [f"{name}: lacks a line ' {symbol} VERSION', VERSION being the first that has it"
              for symbol in sorted(wanted - set(listed))]
    return found + [f"{name}: {symbol} is not exported" for symbol in sorted(set(listed) - wanted)]


def problems(tree):
    """Lists what is wrong. tree gives the text of a file by its name."""
    version = re.search(r'^#define COMMON_VERSION "([\d.]+)"', tree("include/common_version.h"),
                        re.MULTILINE).group(1)
    major = version.split(".")[0]
    name = SYMBOLS.format(major)
    symbols = tree(name)
    found = symbol_problems(tree("cmake/libcommon.map"), symbols, name)
    if not symbols.startswith(f"libcommon.so.{major} libcommon{major} "):
        found.append(f"{name}: does not begin with the library and the package of version {major}")
    if f"\nPackage: libcommon{major}\n" not in tree("debian/control"):
        found.append(f"debian/control: there is no package libcommon{major}")
    first = re.match(r"libcommon \(([^)]*)\) ", tree("debian/changelog"))
    if not first or first.group(1) != version:
        found.append(f"debian/changelog: does not begin with version {version}")
    return found


def self_test():
    """Shows that each kind of violation is found, and that a good tree has none."""
    good = {
        "include/common_version.h": '#define COMMON_VERSION "2.1.0"\n',
        "cmake/libcommon.map": "A_2.0 {\n global:\n A_One; # why\n A_two;\n local: *; };",
        "debian/libcommon2.symbols": "libcommon.so.2 libcommon2 #MINVER#\n* Field: x\n A_2.0@A_2.0 2.0.0\n"
                                     " A_One@A_2.0 2.0.0\n A_two@A_2.0 2.1.0\n",
        "debian/control": "Source: libcommon\n\nPackage: libcommon2\n",
        "debian/changelog": "libcommon (2.1.0) unstable; urgency=medium\n",
    }
    symbols = "debian/libcommon2.symbols"
    lacks = "lacks a line ' {} VERSION', VERSION being the first that has it"
    cases = [
        (symbols, "", "", None),
        ("cmake/libcommon.map", "", "A_2.1 {\n global:\n A_new;\n};\n",
         [f"{symbols}: " + lacks.format(symbol) for symbol in ("A_2.1@A_2.1", "A_new@A_2.1")]),
        (symbols, " A_One@A_2.0 2.0.0\n", "", f"{symbols}: " + lacks.format("A_One@A_2.0")),
        (symbols, " A_2.0@A_2.0 2.0.0\n", "", f"{symbols}: " + lacks.format("A_2.0@A_2.0")),
        (symbols, "A_One@", "A_two@A_2.0 2.0.0\n A_One@", f"{symbols}: A_two@A_2.0 stands twice"),
        (symbols, "A_One@", "A_more@A_2.0 2.0.0\n A_One@", f"{symbols}: A_more@A_2.0 is not exported"),
        (symbols, "libcommon.so.2", "libcommon.so.1",
         f"{symbols}: does not begin with the library and the package of version 2"),
        ("debian/control", "libcommon2", "libcommon1",
         "debian/control: there is no package libcommon2"),
        ("debian/changelog", "2.1.0", "2.0.0", "debian/changelog: does not begin with version 2.1.0"),
        ("debian/changelog", "(", "", "debian/changelog: does not begin with version 2.1.0"),
    ]
    for name, old, new, expected in cases:
        changed = {**good, name: good[name].replace(old, new, 1)}
        got = problems(changed.__getitem__)
        if not isinstance(expected, list):
            expected = [expected] if expected else []
        assert got == expected, f"{name}, {old!r} -> {new!r}: {got}"


def text_here(name):
    """The text of a file of this tree, or of all that fit a pattern."""
    return "".join(path.read_text() for path in sorted(ROOT.glob(name)))


if __name__ == "__main__":
    run(__doc__, self_test, lambda: problems(text_here))
