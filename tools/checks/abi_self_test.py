"""The self-test of abi.py: each kind of change is found in a small library, and renewing takes the step."""
import subprocess
import tempfile
from pathlib import Path

from abi import Bad, Change, State, difference, dump, parse_version, read_state, records_missing, renewed, \
    write_state

HEADER = """struct Inside;
typedef struct Outside {
    int first;
    char second;
    struct Inside* hidden;
} Outside;
typedef struct Pair {
    void* key;
} Pair;
#define HIDDEN __attribute__((visibility("hidden")))
typedef enum Colour { RED, GREEN } Colour;
int take(Outside* outside);
int paint(Colour colour);
extern Pair pairs[2];
int leave(void);
"""
SOURCE = """#include "toy.h"
struct Inside { int a; };
int take(Outside* outside) { return outside->hidden->a; }
Pair pairs[2];
int paint(Colour colour) { return colour; }
int leave(void) { return 1; }
"""
# What is replaced in header and source, with what, and what that is to programs.
CHANGES = [
    ("int a;", "long b[2]; int a;", Change.NONE),  # what callers do not see
    ("return 1;", "return 2;", Change.NONE),
    ("int leave(void)", "int more(void); int leave(void)", Change.NONE),
    ("int leave(void) {", "int more(void) { return 3; }\nint leave(void) {", Change.ADDITION),
    ("GREEN }", "GREEN, BLUE }", Change.ADDITION),
    ("char second;", "char renamed;", Change.ADDITION),
    ("GREEN }", "BLUE }", Change.BREAK),
    ("RED, GREEN }", "GREEN, RED }", Change.BREAK),
    ("int leave(void)", "HIDDEN int leave(void)", Change.BREAK),
    ("int leave(void)", "long leave(void)", Change.BREAK),
    ("Outside* outside", "Outside* outside, int more", Change.BREAK),
    ("int first;", "long first;", Change.BREAK),
    ("int first;", "unsigned first;", Change.BREAK),
    ("int first;\n    char second;", "char second;\n    int first;", Change.BREAK),
    ("struct Inside* hidden;", "struct Inside* hidden; int last;", Change.BREAK),
    ("pairs[2]", "pairs[3]", Change.BREAK),
]


def make(folder, old, new):
    """Builds the small library with a change; gives its folder."""
    assert old in HEADER + SOURCE, old
    folder.mkdir()
    (folder / "toy.h").write_text(HEADER.replace(old, new))
    (folder / "toy.c").write_text(SOURCE.replace(old, new))
    subprocess.run(["gcc", "-g", "-O1", "-shared", "-fPIC", "-Wl,-soname,libtoy.so", "-o",
                    folder / "libtoy.so", folder / "toy.c"], check=True)
    (folder / "toy.abi").write_text(dump(folder / "libtoy.so", folder))
    return folder


def test_differences(work):
    """Every change is what it is, and dumps do not depend on where they were made."""
    good = make(work / "good", "", "")
    text = (good / "toy.abi").read_text()
    assert records_missing(text, good) == [], text
    assert str(work) not in text.replace(f"path='{good}/toy.c'", ""), text
    for number, (old, new, expected) in enumerate(CHANGES):
        changed = make(work / str(number), old, new)
        found, said = difference(good / "toy.abi", changed / "toy.abi")
        assert found == expected, f"'{old}' to '{new}' is {found.name}: {said}"
    (good / "toy.h").write_text(HEADER + "struct Gone {\n int x;\n};\n")
    assert records_missing(text, good) == ["Gone"]
    for bad in (lambda: dump(good / "toy.c", good), lambda: difference(good / "toy.abi", good / "gone")):
        try:
            bad()
        except Bad:
            continue
        raise AssertionError("a file that cannot be read is good")


def step(stored, change, current, changelog):
    """What renewing makes of a state, as text; why not, otherwise."""
    version, base, before = stored
    state = State(parse_version(version), base and parse_version(base), before)
    try:
        state = renewed(state, change, parse_version(current), f"# Changelog\n\n## {changelog}\n\n## 0.9.0\n")
    except Bad as bad:
        return str(bad)
    return f"{state.version} since {state.base}: {state.change.name}"


def test_steps():
    """Renewing takes a version with the step that all changes since the last release demand."""
    none, addition, broken = Change
    first = ("1.0.0", None, none)
    patch, minor = ("1.0.1", "1.0.0", none), ("1.1.0", "1.0.0", addition)
    low = "{} is too low: this demands {} after 1.0.0".format
    cases = [
        # Nobody has the first version yet.
        (first, addition, "1.0.0", "1.0.0, not released", "1.0.0 since None: NONE"),
        (first, broken, "1.0.0", "1.0.0, not released", "1.0.0 since None: NONE"),
        # It is released: its number takes no more changes.
        (first, addition, "1.0.0", "1.0.0", "1.0.0 is too low: this demands 1.1.0 after 1.0.0"),
        (first, none, "1.0.1", "1.0.1, not released", "1.0.1 since 1.0.0: NONE"),
        (first, addition, "1.0.1", "1.0.1, not released", low("1.0.1", "1.1.0")),
        (first, addition, "1.1.0", "1.1.0, not released", "1.1.0 since 1.0.0: ADDITION"),
        (first, broken, "1.0.1", "1.0.1, not released", low("1.0.1", "2.0.0")),
        (first, broken, "1.1.0", "1.1.0, not released", low("1.1.0", "2.0.0")),
        (first, broken, "2.0.0", "2.0.0, not released", "2.0.0 since 1.0.0: BREAK"),
        # Renewed before in the same version: what was asked for then still is.
        (minor, addition, "1.1.0", "1.1.0, not released", "1.1.0 since 1.0.0: ADDITION"),
        (minor, none, "1.1.0", "1.1.0, not released", "1.1.0 since 1.0.0: ADDITION"),
        (minor, broken, "1.1.0", "1.1.0, not released", low("1.1.0", "2.0.0")),
        (patch, addition, "1.0.1", "1.0.1, not released", low("1.0.1", "1.1.0")),
        (minor, none, "1.0.1", "1.0.1, not released", "1.0.1 is before 1.1.0, which the dumps are of"),
        # The version of the section and of the header are one.
        (first, none, "1.0.0", "1.1.0, not released",
         "the header says 1.0.0, the first section of CHANGELOG.md 1.1.0"),
    ]
    for stored, change, current, changelog, expected in cases:
        got = step(stored, change, current, changelog)
        assert got == expected, f"{stored}, {change.name}, {current}, '{changelog}': {got}"


def self_test():
    """Runs all."""
    test_steps()
    with tempfile.TemporaryDirectory() as folder:
        work = Path(folder)
        test_differences(work)
        for base in (None, parse_version("1.0.0")):
            state = State(parse_version("1.2.3"), base, Change.ADDITION)
            write_state(work / "VERSION", state)
            assert read_state(work / "VERSION") == state
