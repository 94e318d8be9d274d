#!/usr/bin/env python3
"""Makes a table of what the loads of ./dev limits have measured.

    limits_table.py TABLE ROWS64 ROWS32
    limits_table.py --renew DOCUMENT ROWS64 ROWS32
    limits_table.py --self-test

ROWS64 and ROWS32 are what the loads have written down with 64 and 32 bits, one promise a line (tests/limits/limits.h);
one that is missing has no rows. Writes the table to a file of its own, or between the two marks of a document.
Exits with 1 when a promise does not hold.
"""
import pathlib
import platform
import sys
import tempfile

BEGIN = "<!-- measured by ./dev limits --renew -->"
END = "<!-- end of what was measured -->"


class Bad(Exception):
    """What cannot be made into a table."""


def read_rows(path):
    """The rows of a file: (test, load, promise) and (figure, whether it holds)."""
    rows = {}
    if not path.is_file():
        return rows
    for line in path.read_text(encoding="utf-8").splitlines():
        cells = line.split("\t")
        if len(cells) != 5 or cells[4] not in ("holds", "does not hold"):
            raise Bad(f"{path}: not a row: {line}")
        key = tuple(cells[:3])
        if key in rows:
            raise Bad(f"{path}: twice: {line}")
        rows[key] = (cells[3], cells[4] == "holds")
    return rows


def cell(text):
    """A text as a cell of a table."""
    return text.replace("|", "\\|")


def figure(rows, key):
    """What was measured, as a cell."""
    if key not in rows:
        return ""
    text, holds = rows[key]
    return cell(text) if holds else f"**{cell(text)}: does not hold**"


def table(rows64, rows32):
    """The lines of the table: a group of rows for each suite, in the order of the first file."""
    if not rows64 and not rows32:
        raise Bad("nothing was measured")
    keys = [*rows64, *(key for key in rows32 if key not in rows64)]
    suites = list(dict.fromkeys(test.split(".")[0] for test, _, _ in keys))
    lines = ["| load | promised | with 64 bits | with 32 bits | test |", "|---|---|---|---|---|"]
    for suite in suites:
        for key in sorted((key for key in keys if key[0].split(".")[0] == suite),
                          key=lambda key: [other[0] for other in keys].index(key[0])):
            test, load, promise = key
            lines.append(f"| {cell(load)} | {cell(promise)} | {figure(rows64, key)} | {figure(rows32, key)} | "
                         f"`{test}` |")
    return lines


def machine():
    """Where it was measured."""
    release = ".".join(platform.release().split("-")[0].split(".")[:2])
    return f"{platform.machine()}, Linux {release}, {' '.join(platform.libc_ver())}"


def renewed(document, lines):
    """A document with another table between its marks."""
    before, begin, rest = document.partition(BEGIN)
    _, end, after = rest.partition(END)
    if not begin or not end:
        raise Bad("the document has no place for the table")
    return before + BEGIN + "\n" + "\n".join(["", f"Measured on {machine()}.", "", *lines, "", END]) + after


def self_test():
    """Shows that rows of both word sizes come together, and that what is wrong is told."""
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder, "rows")
        file.write_text("A.One\tload\tpromise\t1 | 2\tholds\nB.Two\tload\tother\t3\tdoes not hold\n"
                        "A.One\tload\tmore\t5\tholds\n", encoding="utf-8")
        rows = read_rows(file)
        assert rows == {("A.One", "load", "promise"): ("1 | 2", True), ("B.Two", "load", "other"): ("3", False),
                        ("A.One", "load", "more"): ("5", True)}, rows
        lines = table(rows, {("A.One", "load", "promise"): ("4", True), ("C.Three", "l", "p"): ("6", True)})
        assert lines[2:] == ["| load | promise | 1 \\| 2 | 4 | `A.One` |", "| load | more | 5 |  | `A.One` |",
                             "| load | other | **3: does not hold** |  | `B.Two` |",
                             "| l | p |  | 6 | `C.Three` |"], lines
        document = renewed(f"text\n{BEGIN}\nformer\n{END}\nmore\n", lines)
        assert document.startswith(f"text\n{BEGIN}\n\nMeasured on ") and document.endswith(f"|\n\n{END}\nmore\n")
        assert "former" not in document
        assert not read_rows(pathlib.Path(folder, "missing"))
        wrong = {"A.One\tload\tpromise\t1\n": "not a row", "A\tb\tc\td\tperhaps\n": "not a row",
                 "A\tb\tc\td\tholds\n" * 2: "twice"}
        for text, expected in wrong.items():
            file.write_text(text, encoding="utf-8")
            try:
                read_rows(file)
                raise AssertionError(text)
            except Bad as bad:
                assert expected in str(bad), bad
        for function in (lambda: table({}, {}), lambda: renewed("text", lines)):
            try:
                function()
                raise AssertionError(function)
            except Bad:
                pass


def main(arguments):
    """Does what the command line says; gives the exit status."""
    if arguments == ["--self-test"]:
        self_test()
        return 0
    renew = arguments[:1] == ["--renew"]
    paths = [pathlib.Path(argument) for argument in arguments[renew:]]
    if len(paths) != 3:
        sys.exit(__doc__)
    try:
        rows = [read_rows(path) for path in paths[1:]]
        lines = table(*rows)
        text = renewed(paths[0].read_text(encoding="utf-8"), lines) if renew else "\n".join([*lines, ""])
    except Bad as bad:
        print(f"limits_table.py: {bad}", file=sys.stderr)
        return 1
    paths[0].write_text(text, encoding="utf-8")
    return 0 if all(holds for one in rows for _, holds in one.values()) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
