#!/usr/bin/env python3
"""Guards the binary interface: compares what a build exports with the dumps in abi/.

A dump holds the exported names of the library and every type of the public headers that they take or
give, for one machine. Any difference is a failure. "--renew" writes the dumps anew when the version in
include/common_version.h has had the step that the difference demands since the last release (docs/abi.md).
abi/VERSION says which version the dumps are of, which release was before it, and what has changed since.

usage: abi.py [--renew] LIBRARY_X86_64 LIBRARY_I386
       abi.py --self-test
"""
import re
import subprocess
import sys
import tempfile
from enum import IntEnum
from pathlib import Path
from typing import NamedTuple

from check import ROOT

MACHINES = ["x86_64", "i386"]
ABIDW = ["abidw", "--exported-interfaces-only", "--drop-private-types", "--no-show-locs",
         "--no-corpus-path", "--no-comp-dir-path", "--no-elf-needed", "--no-write-default-sizes"]
RECORD = re.compile(r"^(?:typedef )?(?:struct|union) (\w+)\s*\{", re.MULTILINE)
# Callers reach them through a pointer to anything, so no exported name leads there.
UNREACHED = {
    "COMMON_LogLimit_Count": "only code that the caller itself compiles uses it",
    "COMMON_LogLimit_Second": "only code that the caller itself compiles uses it",
    "Map_Pair": "its layout is held by the assertions in containers/map.cpp",
}


class Change(IntEnum):
    """What a difference means to a program that was compiled before."""
    NONE = 0
    ADDITION = 1
    BREAK = 2


class Version(NamedTuple):
    """A version of the library."""
    major: int
    minor: int
    patch: int

    def __str__(self):
        return ".".join(map(str, self))


class State(NamedTuple):
    """What abi/VERSION says."""
    version: Version
    base: Version | None  # the release before it, if there is one
    change: Change        # since the base


class Bad(Exception):
    """What is wrong, for people."""


def parse_version(text):
    """Reads "1.2.3"."""
    return Version(*map(int, text.split(".")))


def dump(library, include):
    """Gives the dump of a library."""
    result = subprocess.run([*ABIDW, "--headers-dir", str(include), str(library)],
                            capture_output=True, text=True, check=False)
    if result.returncode != 0 or "<function-decl" not in result.stdout:
        raise Bad(f"abidw cannot read {library}: {result.stderr}")
    return result.stdout


def difference(old, new):
    """Compares two dumps, which are files. Gives a Change, and what abidiff says of it."""
    def run(*options):
        result = subprocess.run(["abidiff", *options, str(old), str(new)], capture_output=True,
                                text=True, check=False)
        if result.returncode & 3:
            raise Bad(f"abidiff ended with {result.returncode}: {result.stdout}{result.stderr}")
        return result.returncode != 0, result.stdout
    if run("--no-added-syms")[0]:
        return Change.BREAK, run()[1]
    # What abidiff calls harmless, too: numbers that an enumeration gets, other names of fields.
    added, text = run("--harmless")
    return (Change.ADDITION if added else Change.NONE), text


def records_missing(text, include):
    """The records of the headers that a dump does not have, though it should."""
    declared = {name for header in include.glob("*.h") for name in RECORD.findall(header.read_text())}
    return sorted(name for name in declared - set(UNREACHED)
                  if not re.search(rf"<(class|union)-decl name='{name}' size", text))


def read_state(path):
    """Reads abi/VERSION."""
    words = dict(line.split(" ", 1) for line in path.read_text().splitlines())
    base = None if words["since"] == "nothing" else parse_version(words["since"])
    return State(parse_version(words["version"]), base, Change[words["change"]])


def write_state(path, state):
    """Writes abi/VERSION."""
    path.write_text(f"version {state.version}\nsince {state.base or 'nothing'}\n"
                    f"change {state.change.name}\n")


def renewed(state, change, current, changelog):
    """Gives the state after a change that was found in the current version, or says why not."""
    top = re.search(r"^## (\d+\.\d+\.\d+)(, not released)?", changelog, re.MULTILINE)
    if top is None or parse_version(top[1]) != current:
        raise Bad(f"the header says {current}, the first section of CHANGELOG.md {top and top[1]}")
    if current < state.version:
        raise Bad(f"{current} is before {state.version}, which the dumps are of")
    released = state.version != current or not top[2]
    if released:
        state = State(current, state.version, Change.NONE)
    base = state.base
    if base is None:
        return State(current, None, Change.NONE)
    change = max(change, state.change)
    if change != Change.NONE:
        enough = current.major > base.major or (
            change == Change.ADDITION and current[:2] > base[:2])
        if not enough:
            least = (Version(base.major, base.minor + 1, 0) if change == Change.ADDITION
                     else Version(base.major + 1, 0, 0))
            raise Bad(f"{current} is too low: this demands {least} after {base}")
    return State(current, base, change)


def current_version():
    """Reads the version from the header."""
    text = (ROOT / "include/common_version.h").read_text()
    return parse_version(re.search(r'#define COMMON_VERSION "(.*)"', text)[1])


def guard(libraries, renew):
    """Compares each library with its dump, and renews the dumps when asked for."""
    folder = ROOT / "abi"
    worst = Change.NONE
    new = {}
    with tempfile.TemporaryDirectory() as work:
        for machine, library in zip(MACHINES, libraries):
            new[machine] = dump(library, ROOT / "include")
            missing = records_missing(new[machine], ROOT / "include")
            if missing:
                raise Bad(f"no exported name leads to {', '.join(missing)}: tools/checks/abi.py, UNREACHED")
            stored, made = folder / f"{machine}.abi", Path(work, f"{machine}.abi")
            made.write_text(new[machine])
            if stored.exists():
                change, text = difference(stored, made)
                if change != Change.NONE:
                    print(f"{machine}: {change.name}\n{text}")
                worst = max(worst, change)
            elif not renew:
                raise Bad(f"{stored} is missing")
    if not renew:
        if worst != Change.NONE:
            raise Bad("the binary interface is not that in abi/. If this is meant, see docs/abi.md, "
                      "and then: ./dev abi --renew")
        return
    state = read_state(folder / "VERSION")
    state = renewed(state, worst, current_version(), (ROOT / "CHANGELOG.md").read_text())
    for machine, text in new.items():
        (folder / f"{machine}.abi").write_text(text)
    write_state(folder / "VERSION", state)


def main():
    renew = sys.argv[1:2] == ["--renew"]
    libraries = sys.argv[2:] if renew else sys.argv[1:]
    try:
        if sys.argv[1:] == ["--self-test"]:
            from abi_self_test import self_test
            self_test()
        elif len(libraries) == len(MACHINES):
            guard(libraries, renew)
        else:
            sys.exit(__doc__)
    except Bad as bad:
        sys.exit(f"abi: {bad}")
    except FileNotFoundError as gone:
        sys.exit(f"abi: there is no {gone.filename}")


if __name__ == "__main__":
    main()
