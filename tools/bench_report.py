#!/usr/bin/env python3
"""Puts the rows of the benchmarks together to one document, for ./dev bench --report.

    bench_report.py BUILD ROWS DOCUMENT
    bench_report.py --self-test

ROWS is a folder with what each benchmark program has written down (<program>.tsv, see
bench/support/ratio_report.h), what bench/count_instructions has printed (instructions.txt) and
/proc/loadavg as it was before (load.txt). BUILD is where they were built. Writes nothing when rows are missing or cannot be read.
"""

import datetime
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
DOCUMENT = "bench/RESULTS.md"


def figure(value: float, unit: str) -> str:
    """A figure in its unit; times in the one that suits."""
    if unit == "ns" and value >= 1e3:
        value, unit = (value / 1e6, "ms") if value >= 1e6 else (value / 1e3, "µs")
    return f"{value:.0f} {unit}" if value >= 99.95 else f"{value:.3g} {unit}"


def row_of(line: str) -> tuple[str, bool | None]:
    """A row of the table, from one that was written down; and whether its goal is met."""
    what, ours, peers, unit, goal = line.split("\t")
    measured, _, peer = what.partition(" / ")
    ratio, aim = float(ours) / float(peers), float(goal)
    met = ratio <= aim if aim > 0 else None
    verdict = {True: "met", False: "**missed**", None: ""}[met]
    cells = [measured, peer, figure(float(ours), unit), figure(float(peers), unit),
             f"{ratio:.2f}" if ratio >= 0.1 else f"{ratio:.2g}", f"{aim:g}" if aim > 0 else "", verdict]
    return f"| {' | '.join(cells)} |", met


def ratio_table(rows: pathlib.Path) -> list[str]:
    """The table of all programs, and a line that counts."""
    table, met, missed = [], 0, 0
    for file in sorted(rows.glob("*.tsv")):
        lines = file.read_text(encoding="utf-8").splitlines()
        if not lines:
            raise ValueError(f"{file.stem} has no row")
        table.append(f"| **{file.stem}** | | | | | | |")
        for line in lines:
            row, reached = row_of(line)
            table.append(row)
            met += reached is True
            missed += reached is False
    if not table:
        raise ValueError("no benchmark has written a row")
    return [f"{met} goals met, {missed} missed.", "",
            "| what | peer | ours | peer's | ratio | goal | |",
            "|---|---|--:|--:|--:|--:|---|", *table]


def instruction_table(rows: pathlib.Path) -> list[str]:
    """The instructions of each hot operation."""
    lines = (rows / "instructions.txt").read_text(encoding="utf-8").splitlines()[1:]
    counts = [line.split() for line in lines]
    if not counts or any(len(count) != 2 or int(count[1]) <= 0 for count in counts):
        raise ValueError("an operation has no count of instructions")
    return ["| operation | instructions |", "|---|--:|", *(f"| {name} | {count} |" for name, count in counts)]


def printed(*command: str) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True, cwd=ROOT).stdout.strip()


def flags(command: str) -> str:
    """The compiler's name and what it was told about the code: no folders, files or warnings."""
    compiler, *words = shlex.split(command)
    kept = [word for word in words if re.match(r"-(O|f|m|std=|DNDEBUG)", word) and "/" not in word]
    return f"{pathlib.Path(compiler).name} {' '.join(kept)}"


def compiler_of(build: pathlib.Path) -> tuple[str, str]:
    """The compiler's version, and how it was called for the library."""
    commands = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    command = next(each["command"] for each in commands if each["file"] == str(ROOT / "hsm/hsm.cpp"))
    return printed(shlex.split(command)[0], "--version").splitlines()[0], flags(command)


def processor() -> str:
    for line in printed("env", "LC_ALL=C", "lscpu").splitlines():
        if line.startswith("Model name:"):
            return line.partition(":")[2].strip()
    return os.uname().machine


def commit() -> str:
    git = ["git", "-c", f"safe.directory={ROOT}"]
    changed = printed(*git, "status", "--porcelain", "--untracked-files=no", "--", ".", f":!{DOCUMENT}")
    return printed(*git, "rev-parse", "--short=10", "HEAD") + (" with changes" if changed else "")


def machine(build: pathlib.Path, rows: pathlib.Path) -> list[str]:
    """The machine and what was measured, without names of hosts or folders."""
    memory = re.search(r"MemTotal: *(\d+)", pathlib.Path("/proc/meminfo").read_text(encoding="utf-8"))
    version, called = compiler_of(build)
    system = os.uname()
    release = re.match(r"[\d.]*\d", system.release)[0]  # what follows may name its builder
    facts = {
        "processor": f"{processor()}, {len(os.sched_getaffinity(0))} cores",
        "memory": f"{int(memory[1]) / 2**20:.1f} GiB",
        "kernel": f"{system.sysname} {release} {system.machine}",
        "C library": os.confstr("CS_GNU_LIBC_VERSION") or "unknown",
        "compiler": version,
        "flags of the library": f"`{called}`",
        "load before": (rows / "load.txt").read_text(encoding="utf-8").split()[0],
        "date": f"{datetime.datetime.now(datetime.timezone.utc):%Y-%m-%d %H:%M} UTC",
        "commit": commit(),
    }
    return ["| | |", "|---|---|", *(f"| {name} | {fact} |" for name, fact in facts.items())]


INTRODUCTION = """\
# Results of the benchmarks

Made by `./dev bench --report`. Each row compares medians of nine interleaved repetitions in one run, ours called
through the exported function: the time that the thread had a processor, or the clock's where other threads or
processes do the work. A goal is the ratio to be reached at most."""


def document(build: pathlib.Path, rows: pathlib.Path) -> str:
    return "\n".join([INTRODUCTION, "", *machine(build, rows), "", "## Ratios", "", *ratio_table(rows), "",
                      "## Instructions", "",
                      "In the process itself, counted by `bench/count_instructions`: they do not depend on the "
                      "machine's load.", "", *instruction_table(rows), ""])


def self_test() -> None:
    """Shows that rows are told right, and that what is missing is noticed."""
    assert row_of("a / b, c\t3e3\t2000\tns\t1.5") == ("| a | b, c | 3 µs | 2 µs | 1.50 | 1.5 | met |", True)
    assert row_of("a / b / c\t3.1\t2\tKiB\t1.5") == \
        ("| a | b / c | 3.1 KiB | 2 KiB | 1.55 | 1.5 | **missed** |", False)
    assert row_of("a / b\t2e9\t1e6\tns\t0") == ("| a | b | 2000 ms | 1 ms | 2000.00 |  |  |", None)
    assert row_of("a / b\t1\t400\tns\t1")[0] == "| a | b | 1 ns | 400 ns | 0.0025 | 1 | met |"
    assert figure(999.4, "ns") == "999 ns" and figure(999.6, "KiB") == "1000 KiB" and figure(1234567, "ns") == "1.23 ms"
    assert flags("/usr/bin/g++ -DX -I/a -O2 -DNDEBUG -fmacro-prefix-map=/a=. -Wall -std=c++20 -o a.o -c /a/a.cpp") == \
        "g++ -O2 -DNDEBUG -std=c++20"
    with tempfile.TemporaryDirectory() as name:
        rows = pathlib.Path(name)
        for wrong, table in ((None, ratio_table), ("", ratio_table), ("a / b\t1\n", ratio_table),
                             ("operation n\n", instruction_table), ("operation n\na 0\n", instruction_table),
                             ("operation n\na\n", instruction_table)):
            if wrong is not None:
                file = "x_bench.tsv" if table is ratio_table else "instructions.txt"
                (rows / file).write_text(wrong, encoding="utf-8")
            try:
                table(rows)
            except ValueError:
                continue
            raise AssertionError(f"not noticed: {wrong!r}")
        (rows / "x_bench.tsv").write_text("a / b\t1\t1\tns\t1\n", encoding="utf-8")
        assert ratio_table(rows)[0] == "1 goals met, 0 missed."
        assert ratio_table(rows)[-2:] == ["| **x_bench** | | | | | | |", "| a | b | 1 ns | 1 ns | 1.00 | 1 | met |"]
        (rows / "instructions.txt").write_text("operation n\na 12\n", encoding="utf-8")
        assert instruction_table(rows)[-1] == "| a | 12 |"


def main() -> None:
    if sys.argv[1:] == ["--self-test"]:
        self_test()
        return
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    build, rows, target = map(pathlib.Path, sys.argv[1:])
    try:
        text = document(build, rows)
    except (ValueError, OSError) as error:
        sys.exit(f"bench_report: {error}")
    target.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
