#!/usr/bin/env python3
"""Names the targets that must be built for the tests whose names match a regular expression.

    test_targets.py BUILD NAME

A target is wanted when a test of its sources, or one that it had when it was last built, matches.
Prints nothing when no target does: then the name can only be one that a built program knows.
"""

import pathlib
import re
import sys

TEST = re.compile(r"^\s*(?:[A-Z]+_)?TEST(?:_[FP])?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)
SCENARIO = re.compile(r"^SCENARIO\(\s*(\w+)", re.MULTILINE)
INSTANCE = re.compile(r"INSTANTIATE_(?:TYPED_)?TEST_SUITE_P\(\s*(\w+)\s*,\s*(\w+)")


def names_in(source: str) -> list[str]:
    """The names of the tests of a source, without those of their parameters."""
    tests = TEST.findall(source)
    names = [f"{suite}.{test}" for suite, test in tests]
    names += [f"Faults.{scenario}" for scenario in SCENARIO.findall(source)]
    for prefix, instance in INSTANCE.findall(source):
        names += [f"{prefix}/{suite}.{test}/" for suite, test in tests if suite == instance]
    return names


def names_built(folder: pathlib.Path, target: str) -> list[str]:
    """The names that the program of a target told when it was last built."""
    names = []
    for listed in folder.glob(f"{target}*_tests.cmake"):
        names += re.findall(r"^add_test\( *(?:\[=*\[)?(.*?)(?:\]=*\])? ", listed.read_text(), re.M)
    return names


def main() -> None:
    build, wanted = pathlib.Path(sys.argv[1]), re.compile(sys.argv[2])
    targets = []
    # Of each: the target, the folder it is built in, then its sources or "=" and the name of its test.
    for line in (build / "test_targets.txt").read_text().splitlines():
        target, folder, *sources = line.split(";")
        names = names_built(pathlib.Path(folder), target)
        for source in sources:
            if source.startswith("="):
                names.append(source[1:])
            else:
                names += names_in(pathlib.Path(source).read_text(encoding="utf-8"))
        if any(wanted.search(name) for name in names):
            targets.append(target)
    for target in dict.fromkeys(targets):
        print(target)


if __name__ == "__main__":
    main()
