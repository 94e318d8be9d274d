#!/usr/bin/env python3
"""Tells which tests of a run failed, each with the lines of its output that say why.

    failed_tests.py JUNIT_FILE LABEL
    failed_tests.py --self-test
"""

import pathlib
import re
import sys
import tempfile
import xml.etree.ElementTree

# What a line that tells a failure has in it: of the test framework, of sanitizers, of scripts.
TELLS = re.compile(r": Failure$|runtime error:|Sanitizer|^Traceback|[Ee]rror: |terminate called|Assertion")
LINES = 8


def reason(output: str) -> list[str]:
    """The lines from the first that tells a failure on; the last ones when none does."""
    lines = [line for line in output.splitlines() if line.strip()]
    for number, line in enumerate(lines):
        if TELLS.search(line):
            return lines[number : number + LINES]
    return lines[-LINES:]


def failures(junit: pathlib.Path, label: str) -> list[str]:
    """A line for each test that did not run to a good end, then why."""
    told = []
    for test in xml.etree.ElementTree.parse(junit).iter("testcase"):
        skipped = test.find("skipped")
        off = skipped is not None and skipped.get("message", "").startswith("SKIP_")
        if test.get("status") in ("run", "disabled") or off:
            continue
        told.append(f"failed: {test.get('name')} ({label})")
        told += [f"    {line[:160]}" for line in reason(test.findtext("system-out") or "")]
    return told


def self_test() -> None:
    """One test of each kind."""
    text = """<testsuite>
<testcase name="A.Good" status="run"><system-out>a.cpp:1: Failure</system-out></testcase>
<testcase name="A.Skips" status="notrun"><skipped message="SKIP_REGULAR_EXPRESSION_MATCHED"/></testcase>
<testcase name="A.Off" status="disabled"/>
<testcase name="A.Bad" status="fail"><failure message=""/><system-out>before

a.cpp:2: Failure
Expected: 1
</system-out></testcase>
<testcase name="A.Late" status="fail"><system-out>1
2
3
4
5
6
7
8
9</system-out></testcase>
<testcase name="A.Missing" status="notrun"><skipped message="Unable to find executable"/></testcase>
</testsuite>"""
    with tempfile.TemporaryDirectory() as folder:
        junit = pathlib.Path(folder, "junit.xml")
        junit.write_text(text)
        got = failures(junit, "clang")
    expected = ["failed: A.Bad (clang)", "    a.cpp:2: Failure", "    Expected: 1", "failed: A.Late (clang)"]
    expected += [f"    {number}" for number in range(2, 10)] + ["failed: A.Missing (clang)"]
    if got != expected:
        sys.exit(f"failed_tests: tells {got}, not {expected}")


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    elif len(sys.argv) == 3:
        print("\n".join(failures(pathlib.Path(sys.argv[1]), sys.argv[2])))
    else:
        sys.exit(__doc__)
