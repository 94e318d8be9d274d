#!/usr/bin/env python3
"""Checks that the exported names and the documented declarations are the same set.

Every name in cmake/libcommon.map must be declared in a public header right after a comment of its
own, and every function or object that a public header declares must be in that list. Only objects
that stand directly below each other, such as a row of texts, may share one comment.

usage: exports.py [--self-test]
"""
import re
from pathlib import Path

from check import ROOT, run

COMMENT = re.compile(r"/\*.*?\*/|//[^\n]*", re.DOTALL)
DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.MULTILINE)
BLOCK = re.compile(r"\{[^{}]*\}")
DECLS = re.compile(r"\b(?:COMMON_BEGIN_DECLS|COMMON_END_DECLS)\b")
FUNCTION = re.compile(r"\b(\w+)\s*\(")
OBJECT = re.compile(r"\bextern\b[^(]*?\b(\w+)\s*(?:\[[^\]]*\]\s*)*$")
# Stands for a comment that documents what follows it; no C token begins with it.
DOCUMENTED = "@"


def mark_comment(match):
    """Keeps a comment that documents the declaration behind it, as a mark."""
    text = match.group()
    of_next = text.startswith("/**") and not text.startswith("/**<") and "@file" not in text
    return DOCUMENTED if of_next else " "


def declarations(text):
    """Yields (name, is_documented) of each function and object that a header declares."""
    text = DECLS.sub(" ", DIRECTIVE.sub("", COMMENT.sub(mark_comment, text)))
    while BLOCK.search(text):
        text = BLOCK.sub(" ", text)
    previous = ("", False)
    for statement in text.split(";"):
        documented = DOCUMENTED in statement
        statement = statement.replace(DOCUMENTED, " ").strip()
        if not statement or re.match(r"(typedef|enum|struct|union|static)\b", statement):
            if re.match(r"(enum|struct|union)\b[^(]*\(", statement):
                raise ValueError(f"cannot read '{statement}'")
            previous = ("", False)
            continue
        found = OBJECT.search(statement)
        kind = "object" if found else "function"
        found = found or FUNCTION.search(statement)
        if not found:
            raise ValueError(f"cannot read '{statement}'")
        documented = documented or (kind == "object" and previous == ("object", True))
        previous = (kind, documented)
        yield found.group(1), documented


def exported(text):
    """The names between 'global:' and 'local:' of a version script."""
    text = re.sub(r"#[^\n]*|/\*.*?\*/", "", text, flags=re.DOTALL)
    names = []
    for part in re.findall(r"global:(.*?)(?:local:|\})", text, re.DOTALL):
        names += [name.strip() for name in part.split(";") if name.strip()]
    return names


def problems(version_script, headers):
    """Lists what is wrong. headers maps a file name to its text."""
    found = []
    names = exported(version_script)
    if not names:
        found.append("the version script exports nothing")
    for name in sorted({name for name in names if names.count(name) > 1}):
        found.append(f"{name} is exported twice")
    declared = {}
    for header, text in sorted(headers.items()):
        try:
            for name, documented in declarations(text):
                if name in declared:
                    found.append(f"{header}: {name} is also declared in {declared[name]}")
                declared[name] = header
                if not documented:
                    found.append(f"{header}: {name} has no comment of its own")
                if name not in names:
                    found.append(f"{header}: {name} is declared, but not exported")
        except ValueError as error:
            found.append(f"{header}: {error}")
    found += [f"{name} is exported, but no public header declares it"
              for name in names if name not in declared]
    return found


def self_test():
    """Shows that each kind of violation is found, and that a good library has none."""
    script = "V { global:\n A_One; # why\n A_text;\n A_more; A_Stop;\n local: *; };"
    header = """/** @file a.h */
#define A(x) \\
    f(x)
typedef void (*A_Call)(int);
/** A record. */
typedef struct A { int x; /**< x */ } A;
enum { A_X = 1, /**< x */ A_Y };
/** One. */
int A_One(int (*f)(void), ...) A_PRINTF(1, 2);
/** Texts. */
extern const char A_text[];
extern const char A_more[];
/** Stop. */
A_NORETURN void A_Stop(void);
"""
    cases = [
        ("", "", []),
        ("/** One. */", "/* One. */", ["a.h: A_One has no comment of its own"]),
        ("/** Stop. */", "", ["a.h: A_Stop has no comment of its own"]),
        ("/** One. */", "/** @file b.h */", ["a.h: A_One has no comment of its own"]),
        ("/** Texts. */", "", ["a.h: A_text has no comment of its own",
                               "a.h: A_more has no comment of its own"]),
        ("A_Stop(", "A_Halt(", ["a.h: A_Halt is declared, but not exported",
                                "A_Stop is exported, but no public header declares it"]),
        ("extern const char A_more[];", "",
         ["A_more is exported, but no public header declares it"]),
        ("extern const char A_more[];", "/** M. */ extern int A_most; extern const char A_more[];",
         ["a.h: A_most is declared, but not exported"]),
        ("/** Texts. */", "int;", ["a.h: cannot read 'int'",
                                   "A_text is exported, but no public header declares it",
                                   "A_more is exported, but no public header declares it",
                                   "A_Stop is exported, but no public header declares it"]),
    ]
    for old, new, expected in cases:
        got = problems(script, {"a.h": header.replace(old, new) if old else header})
        assert got == expected, f"{old!r} -> {new!r}: {got}"
    assert problems("V { local: *; };", {}) == ["the version script exports nothing"]
    twice = problems(script.replace("A_One;", "A_One; A_One;"), {"a.h": header})
    assert twice == ["A_One is exported twice"], twice


def problems_here():
    """Lists what is wrong in this tree."""
    headers = {path.name: path.read_text() for path in (ROOT / "include").glob("*.h")}
    return problems((ROOT / "cmake/libcommon.map").read_text(), headers)


if __name__ == "__main__":
    run(__doc__, self_test, problems_here)
