#!/usr/bin/env python3
"""Puts what gcovr has counted together to a table by folder, for ./dev coverage.

    report.py COUNTS FOLDER SECONDS [--part]
    report.py --self-test

COUNTS is gcovr's JSON, and SECONDS what it took to come by. Writes into FOLDER: summary.txt, the table for
programs, and missed.txt, the lines and branches that were not run. Prints the table, and ends with 1 when a
goal is missed, as by a folder of which nothing is counted; with --part, for a part of the suite, there are no
goals.
"""

import collections
import json
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tools" / "checks"))
import exclusions  # noqa: E402: found by the line above

# What is measured: the parts with their folders, and the goals, in percent of lines and of branches; none
# is 0. A file belongs to the last folder that it is in.
PARTS = [
    ("library", 100, 98, ["containers", "files", "foundation", "hsm", "include", "log", "platform", "thread",
                          "timer", "values"]),
    ("C++ layer", 90, 0, ["include/commonpp"]),
    ("tools", 90, 0, ["support", "tools/commonctl", "tools/simulated_target"]),
]
DECLARATIONS = "include"  # which need not have a line that is counted
FOLDERS = {folder: part for part, _, _, folders in PARTS for folder in folders}
NUMBERS = ["lines_run", "lines", "branches_taken", "branches"]


def folder_of(file: str) -> str | None:
    """The folder that a file is counted for, if it is measured at all."""
    fitting = [folder for folder in FOLDERS if file.startswith(folder + "/")]
    return max(fitting, key=len) if fitting else None


def percent(part: int, whole: int) -> float:
    """Never rounded up to what is not reached."""
    return 100.0 if whole == 0 else int(10000 * part / whole) / 100


class Counts:
    """What was counted, of a folder or more."""

    def __init__(self) -> None:
        self.numbers = [0, 0, 0, 0]
        self.excluded: collections.Counter[str] = collections.Counter()

    def add(self, other: "Counts") -> None:
        """Adds what was counted elsewhere."""
        self.numbers = [a + b for a, b in zip(self.numbers, other.numbers)]
        self.excluded += other.excluded

    def shares(self) -> tuple[float, float]:
        """The percentages of lines and branches."""
        run, lines, taken, branches = self.numbers
        return percent(run, lines), percent(taken, branches)


def count(files: list, excluded: dict) -> tuple[dict[str, Counts], list[str]]:
    """What was counted by folder; and the lines and branches that were not run."""
    counts = {folder: Counts() for folder in FOLDERS}
    missed = []
    for file in files:
        name = file["file"]
        folder = folder_of(name)
        if folder is None:
            continue
        numbers = counts[folder].numbers
        for line in file["lines"]:
            if line["gcovr/noncode"] or line["gcovr/excluded"]:
                continue
            taken = [branch["count"] > 0 for branch in line["branches"]]
            numbers[0] += line["count"] > 0
            numbers[1] += 1
            numbers[2] += sum(taken)
            numbers[3] += len(taken)
            if line["count"] == 0:
                missed.append(f"{name}:{line['line_number']}: line")
            elif not all(taken):
                missed.append(f"{name}:{line['line_number']}: branches {taken.count(False)} of {len(taken)}")
    for file, reasons in excluded.items():
        folder = folder_of(file.as_posix())
        if folder is not None:
            counts[folder].excluded += reasons
    return counts, missed


def report(counts: dict[str, Counts]) -> tuple[list[str], list[str], list[str]]:
    """The table, the same for programs, and the goals that are missed."""
    table = [f"{'':24} {'lines':>16} {'branches':>17}   excluded, by reason"]
    summary = ["\t".join(["folder", *NUMBERS, *exclusions.REASONS])]
    missed = []
    for part, line_goal, branch_goal, folders in PARTS:
        whole = Counts()
        for folder in folders:
            whole.add(counts[folder])
        for name, counted in [*((folder, counts[folder]) for folder in folders if len(folders) > 1),
                              (part, whole)]:
            lines, branches = counted.shares()
            reasons = ", ".join(f"{counted.excluded[reason]} {reason}" for reason in exclusions.REASONS
                                if counted.excluded[reason])
            run, of_lines, taken, of_branches = counted.numbers
            table.append(f"{name:24} {lines:6.2f} % {run:>7} {branches:6.2f} % {taken:>8}   {reasons}".rstrip())
            summary.append("\t".join([name, *map(str, counted.numbers),
                                      *(str(counted.excluded[reason]) for reason in exclusions.REASONS)]))
            for what, share, goal in [("lines", lines, line_goal), ("branches", branches, branch_goal)]:
                if share < goal:
                    missed.append(f"missed: {name}: {share:.2f} % of {what}, not {goal} %")
            if of_lines == 0 and name != DECLARATIONS:
                missed.append(f"missed: {name}: nothing is counted")
            elif of_branches == 0 and name == part and branch_goal:
                missed.append(f"missed: {name}: no branches are counted")
        table.append("")
    return table, summary, missed


def self_test() -> None:
    """A tree that reaches all goals, and each way to miss one."""
    def line(number: int, times: int, *branches: int, **flags: bool) -> dict:
        return {"line_number": number, "count": times, "branches": [{"count": b} for b in branches],
                "gcovr/noncode": flags.get("noncode", False), "gcovr/excluded": flags.get("excluded", False)}

    def told(log_lines: list, tool_lines: list) -> tuple[list[str], list[str]]:
        others = [(f"{folder}/b.cpp", [line(1, 1)]) for folder in FOLDERS
                  if folder not in (DECLARATIONS, "log", "tools/commonctl")]
        files = [{"file": name, "lines": lines} for name, lines in
                 [("log/a.cpp", log_lines), ("tools/commonctl/a.cpp", tool_lines), ("tests/log/a.cpp", [line(1, 0)]),
                  *others]]
        counts, not_run = count(files, {pathlib.Path("log/a.cpp"): collections.Counter({"guard": 2})})
        table, summary, missed = report(counts)
        assert "log\t" in summary[6] and summary[6].endswith("\t0\t2\t0\t0"), summary
        assert any(row.startswith("log ") and row.endswith("2 guard") for row in table), table
        return not_run, missed

    good = [line(1, 1, *[1] * 49), line(2, 3), line(3, 0, noncode=True), line(4, 0, 0, excluded=True)]
    nine_of_ten = [*(line(number, 1) for number in range(9)), line(9, 0)]
    cases = [
        (good, nine_of_ten, (["tools/commonctl/a.cpp:9: line"], [])),
        (good + [line(5, 1, 0)], [line(1, 1, 0)],
         (["log/a.cpp:5: branches 1 of 1", "tools/commonctl/a.cpp:1: branches 1 of 1"], [])),
        (good + [line(5, 1, 0, 0)], [line(1, 1)],
         (["log/a.cpp:5: branches 2 of 2"],
          ["missed: log: 96.07 % of branches, not 98 %", "missed: library: 96.07 % of branches, not 98 %"])),
        (good + [line(5, 0)], [line(1, 1)],
         (["log/a.cpp:5: line"],
          ["missed: log: 66.66 % of lines, not 100 %", "missed: library: 90.90 % of lines, not 100 %"])),
        (good, nine_of_ten[3:],
         (["tools/commonctl/a.cpp:9: line"],
          ["missed: tools/commonctl: 85.71 % of lines, not 90 %", "missed: tools: 88.88 % of lines, not 90 %"])),
        (good, [], ([], ["missed: tools/commonctl: nothing is counted"])),
        ([line(1, 1)], [line(1, 1)], ([], ["missed: library: no branches are counted"])),
    ]
    for log_lines, tool_lines, expected in cases:
        got = told(log_lines, tool_lines)
        if got != expected:
            sys.exit(f"report: tells {got}, not {expected}")
    empty = report(count([], {})[0])[2]
    names = {*FOLDERS, *(part for part, *_ in PARTS)} - {DECLARATIONS, "include/commonpp"}  # a part of one folder
    if sorted(empty) != sorted(f"missed: {name}: nothing is counted" for name in names):
        sys.exit(f"report: tells {empty} of nothing")


def main(counted: pathlib.Path, folder: pathlib.Path, seconds: int, is_part: bool) -> int:
    """Reads, writes and prints."""
    wrong = exclusions.problems(ROOT)
    counts, not_run = count(json.loads(counted.read_text(encoding="utf-8"))["files"], exclusions.counted(ROOT))
    table, summary, missed = report(counts)
    summary.append(f"seconds\t{seconds}")
    table.append(f"built, run and read in {seconds} s")
    (folder / "summary.txt").write_text("\n".join(summary) + "\n", encoding="utf-8")
    (folder / "missed.txt").write_text("".join(f"{place}\n" for place in not_run), encoding="utf-8")
    if is_part:
        missed = []
    print("\n".join(table + wrong + missed))
    return 1 if wrong or missed else 0


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    elif len(sys.argv) == 4 or sys.argv[4:] == ["--part"]:
        sys.exit(main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), int(sys.argv[3]),
                      len(sys.argv) == 5))
    else:
        sys.exit(__doc__)
