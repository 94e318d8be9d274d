"""Tests of mutate.py: of what it makes and reads (run), and of the sandbox (try_sandbox), which takes root."""
import collections
import contextlib
import io
import os
import shutil
import subprocess
import tempfile
import threading
import types
from collections.abc import Callable
from pathlib import Path

import mutate
from known import entry, read_known
from mutants import mutants_of

SOURCE = r"""// if (a < b) return 1;
#define SKIPPED(x) ((x) + 1)
static_assert(sizeof(int) == 4, "no text");
extern "C" {
template <int N>
[[gnu::aligned(8)]] int first(int a, const int* b) noexcept
{
    const LockScope lock(mutex);
    if (a < 10 && !ready()) {
        return 0x0f;
    } else {
        wait();
        return a;
    }
    for (int i = 0; i != a; ++i) {
        work(i);  // one
        value = next('a');
    }
    log(a ? "" : "yes");
    const std::vector<int> list{a};
    COMMON_REPORT(kSource, Error, "%d", a);
    flag.store(true, std::memory_order_release);
    return a == 1 ? 1'000 : *b;
}
}
"""
# Of each: line, operator, before -> after.
EXPECTED = """
8 lock: const LockScope lock(mutex); -> nothing
9 condition: a < 10 && !ready() -> !(...)
9 condition: a < 10 && !ready() -> true
9 condition: a < 10 && !ready() -> false
9 comparison: < -> <=
9 constant: 10 -> 9
9 constant: 10 -> 11
9 condition: && -> ||
9 condition: ! -> nothing
10 constant: 0x0f -> 0xe
10 constant: 0x0f -> 0x10
12 statement: wait(); -> nothing
13 statement: return a; -> nothing
15 constant: 0 -> 1
15 condition: i != a -> !(...)
15 arithmetic: ++ -> --
16 statement: work(i); -> nothing
16 order: work(i); -> behind the next one
17 statement: value = next('a'); -> nothing
17 constant: 'a' -> '~'
19 statement: log(a ? "" : "yes"); -> nothing
19 condition: a -> !(...)
19 text: "" -> "~"
19 text: "yes" -> "~yes"
19 text: "yes" -> "yes~"
21 statement: COMMON_REPORT(kSource, Error, "%d", a); -> nothing
21 order: COMMON_REPORT(kSource, Error, "%d", a); -> behind the next one
21 constant: Error -> Warn
21 text: "%d" -> "~%d"
21 text: "%d" -> "%d~"
22 statement: flag.store(true, std::memory_order_release); -> nothing
22 constant: true -> false
22 lock: memory_order_release -> memory_order_relaxed
23 condition: a == 1 -> !(...)
23 constant: 1 -> 0
23 constant: 1 -> 2
23 constant: 1'000 -> 999
23 constant: 1'000 -> 1001
"""

GOOD_LIST = """# Comment.

log/a.cpp: constant: 1 -> 0
    int a = 1;
log/a.cpp: constant: 1 -> 2
    int a = 1;
it is not read,
nowhere

log/a.cpp: constant: 1 -> 0 (2)
    int a = 1;
nor is that one
"""
BAD_LISTS = [
    ("log/a.cpp: constant: 1 -> 0\n    int a = 1;\n", "no entry with a reason: log/a.cpp: constant: 1 -> 0"),
    ("what is this\n", "no entry with a reason: what is this"),
    ("log/a.cpp: constant: 1 -> 3\n    int a = 1;\nreason\n",
     "there is no such mutant:\nlog/a.cpp: constant: 1 -> 3\n    int a = 1;"),
]


def test_mutants() -> None:
    expected = [line for line in EXPECTED.splitlines() if ":" in line]
    made = mutants_of("log/a.cpp", SOURCE)
    got = [f"{each.line} {each.operator}: {each.change}" for each in made]
    assert sorted(got) == sorted(expected), sorted(set(got) ^ set(expected))
    for each in made:
        mutant = each.apply(SOURCE)
        assert mutant != SOURCE and (each.operator == "order" or mutant.count("\n") == SOURCE.count("\n")), each
    order = next(each for each in made if each.operator == "order")
    assert "#line 17\nvalue = next('a');\n#line 16\nwork(i);\n#line 17\n" in order.apply(SOURCE), order.apply(SOURCE)


def test_list() -> None:
    known, wrong = read_known(GOOD_LIST)
    assert not wrong, wrong
    key = ("log/a.cpp", "constant", "1 -> 0", "int a = 1;")
    assert known[key] == "it is not read, nowhere" and len(known) == 3, known
    assert entry(key) == "log/a.cpp: constant: 1 -> 0\n    int a = 1;"
    with tempfile.TemporaryDirectory() as folder:
        root = Path(folder)
        (root / "tests").mkdir()
        (root / "log").mkdir()
        (root / "log/a.cpp").write_text("int a = 1;\nint a = 1;\n")
        (root / mutate.KNOWN).write_text(GOOD_LIST)
        assert mutate.check(root) == [], mutate.check(root)
        for text, expected in BAD_LISTS:
            (root / mutate.KNOWN).write_text(f"{GOOD_LIST}\n{text}")
            assert mutate.check(root) == [f"{mutate.KNOWN}: {expected}"], mutate.check(root)


def test_table() -> None:
    rows = [{"file": "log/a.cpp", "verdict": verdict, "by": "t: hang (hang)" if verdict == "noticed" else ""}
            for verdict in ["noticed"] * 97 + ["survived"] * 3 + ["same code", "not compiled"]]
    text, reached = mutate.table(rows, collections.Counter(log=4))
    assert reached and text.splitlines()[-1].split() == "all 100 97 3 97.0 97 0 1 1 4".split(), text
    assert not mutate.table([*rows, rows[-3]], collections.Counter())[1]
    compiler = {"file": "log/a.cpp", "verdict": "noticed", "by": f"a_test: {mutate.BY_COMPILER}"}
    text, reached = mutate.table([compiler], collections.Counter())
    assert reached and text.splitlines()[-1].split() == "all 1 1 0 100.0 0 1 0 0 0".split(), text
    assert not mutate.table(rows[-2:], collections.Counter())[1], "nothing was judged"


def ends_with(message: str, action: Callable[[], object]) -> bool:
    """Whether an action ends the program with a message."""
    try:
        action()
    except SystemExit as end:
        return message in str(end)
    return False


def test_start() -> None:
    """A sandbox in which nothing is built ends the run, and so does another run."""
    judge = types.SimpleNamespace(run=lambda *_: {"verdict": "not compiled", "output": "no compiler"})
    assert ends_with('log/a.cpp as it is comes out as "not compiled"\nno compiler',
                     lambda: mutate.measure(judge, types.SimpleNamespace(), "log/a.cpp", SOURCE))
    with tempfile.TemporaryDirectory() as folder:
        with mutate.lock(Path(folder)):
            assert ends_with("another run is at work here", lambda: mutate.lock(Path(folder)))
        mutate.lock(Path(folder)).close()


BUILD_OF_TESTS = """rule any
  command = false $in $out
build lib/CMakeFiles/other.dir/a.o: any @ROOT@/log/a.cpp
build tests/log/own.o: any @ROOT@/tests/log/own.cpp
build tests/log/inside_test: any tests/log/own.o lib/CMakeFiles/other.dir/a.o
build tests/log/outside_test: any tests/log/own.o || lib
build lib: phony lib/CMakeFiles/other.dir/a.o
"""


def test_stale() -> None:
    """What links an object made of the library's sources, whatever builds it, is built anew for each mutant."""
    with tempfile.TemporaryDirectory() as folder:
        build = Path(folder)
        (build / "build.ninja").write_text(BUILD_OF_TESTS.replace("@ROOT@", str(mutate.ROOT)))
        targets = [f"{name};{build}/tests/log;own.cpp\n" for name in ["inside_test", "outside_test"]]
        (build / "test_targets.txt").write_text("".join(targets))
        programs = mutate.Programs(build, ["log/a.cpp"])
        for file, expected in [("log/a.cpp", {"inside_test"}), ("log/a.h", {"inside_test", "outside_test"})]:
            stale = {program["name"] for program in programs.of(file) if program["stale"]}
            assert stale == expected, (file, stale)


def test_results() -> None:
    """A verdict holds for the source, the tests and the headers that it was given for, and is not recorded when
    these were changed meanwhile."""
    with tempfile.TemporaryDirectory() as folder:
        root = Path(folder)
        for name in ["log/a.cpp", "log/b.cpp", "log/a.h", "include/c.h", "tests/log/a_test.cpp",
                     "tests/hsm/b_test.cpp", "tests/harness/d.h"]:
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text("")
        texts = {"log/a.cpp": SOURCE}
        mutant = mutants_of("log/a.cpp", SOURCE)[0]

        def results() -> mutate.Results:
            return mutate.Results(root / "mutants.txt", root, texts)

        for name, holds in [("log/a.h", False), ("include/c.h", False), ("tests/log/a_test.cpp", False),
                            ("tests/harness/d.h", False), ("log/b.cpp", True), ("tests/hsm/b_test.cpp", True)]:
            before = results()
            before.add(mutant, {"verdict": "noticed", "took": 1})
            assert results().settled(mutant)
            (root / name).write_text((root / name).read_text() + "//")
            assert bool(results().settled(mutant)) == holds, name
            assert ends_with("changed meanwhile", lambda: before.add(mutant, {"verdict": "noticed", "took": 1}))
        texts["log/a.cpp"] += "//"
        assert not results().settled(mutant)


def test_at_once() -> None:
    """Each waits for another one: all get through only when two run at once."""
    together = threading.Barrier(2, timeout=10)

    def judged(*_: object) -> dict:
        together.wait()
        return {"verdict": "noticed", "by": "a_test: Suite.Name"}

    with tempfile.TemporaryDirectory() as folder:
        judge = mutate.Judge(Path(folder), 2, Path(folder))
        judge.ask = judged
        texts = {"log/a.cpp": SOURCE}
        results = mutate.Results(Path(folder) / "mutants.txt", Path(folder), texts)
        programs = types.SimpleNamespace(of=lambda _: [], noticed=collections.defaultdict(collections.Counter))
        chosen = mutants_of("log/a.cpp", SOURCE)
        with contextlib.redirect_stdout(io.StringIO()):
            rows = mutate.judge_all(chosen, texts, results, judge, programs, 6)
        assert len(rows) == 6 and set(results.known) == {each.key for each in chosen[:6]}, rows


def run() -> None:
    test_mutants()
    test_list()
    test_table()
    test_start()
    test_stale()
    test_results()
    test_at_once()


PLACE = mutate.ROOT / "build/mutate/self-test"
PROGRAM = """#define _GNU_SOURCE
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>
int first(const char* file) { return access(file, F_OK) != 0 && creat(file, 0600) >= 0; }
int main(void) { return %s; }
"""
BUILD = """rule compile
  command = ! grep 'error: broken' $in && cc -O1 -g -w -c $in -o $out
rule link
  command = cc $in -o $out
build CMakeFiles/common_objects.dir/a.o: compile ../a.c
build a: link CMakeFiles/common_objects.dir/a.o
build common: phony a
build common_faulty: phony a
rule test
  command = cc -Werror -fsyntax-only $in && touch $out
build b_test: test ../a.c
build c_test: test ../a.c c
"""
TEST = """#!/bin/sh
echo '[ RUN      ] Suite.Name'
./a
case $? in
  0) echo '[  PASSED  ] 1 test.'; exit ;;
  2) echo '[  FAILED  ] Suite.Other (0 ms)' ;;
  *) echo '[  FAILED  ] Suite.Name (0 ms)' ;;
esac
exit 1
"""
VICTIM = PLACE / "victim"
# The results of the program, and the verdicts.
CASES = [
    ("1", "noticed", "a_test: Suite.Name"),
    ("getpid() == -1", "survived", ""),
    ("0 * 2", "same code", ""),
    ("0; enum { VALUE = 1 } value", "same code", ""),  # told to debuggers only
    ("nonsense", "not compiled", ""),
    ("pause()", "noticed", "a_test: Suite.Name (hang)"),
    ("fork() + fork() + fork() + fork() + fork() + fork() + fork() + fork() + fork() + fork() + fork(), pause()",
     "noticed", "a_test: Suite.Name (runaway)"),
    ("kill(-1, SIGKILL)", "noticed", "a_test: Suite.Name"),
    (f'unlink("{VICTIM}")', "survived", ""),
    ('getppid(), unlink("/etc/hostname") == 0', "survived", ""),
    ("mmap(0, 512 << 20, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0), pause()",
     "noticed", "a_test: Suite.Name (runaway)"),
    ('posix_fallocate(creat("/tmp/large", 0600), 0, 512 << 20), pause()', "noticed", "a_test: Suite.Name (runaway)"),
    # Fails the first time and, after a run that passes, the third: with the same test, and with another.
    ('first("/tmp/1") ? 1 : !first("/tmp/2")', "noticed", "a_test: Suite.Name"),
    ('first("/tmp/1") ? 1 : first("/tmp/2") ? 0 : 2', "survived", ""),
    # Hangs, or fails, once.
    ('first("/tmp/1") && pause()', "survived", ""),
    ('first("/tmp/1")', "survived", ""),
]
# What is wrong with the sandbox tells nothing of a mutant.
NO_VERDICTS = [
    ("0 /* error: broken */", "a_test", "the build of common and common_faulty ended with 1, but no compiler"),
    ("getpid() == -1", "c_test", "the build of c_test ended with 1, but no compiler"),
]


def try_sandbox() -> None:
    """Shows that each verdict is given, and that what a mutant does to the machine stays in its sandbox."""
    shutil.rmtree(PLACE, ignore_errors=True)
    (PLACE / "build").mkdir(parents=True)
    (PLACE / "a.c").write_text(PROGRAM % 0)
    (PLACE / "build/build.ninja").write_text(BUILD)
    (PLACE / "build/a_test").write_text(TEST)
    (PLACE / "build/a_test").chmod(0o755)
    VICTIM.write_text("")
    subprocess.run(["ninja", "-C", PLACE / "build", "common"], check=True, stdout=subprocess.DEVNULL)
    judge = mutate.Judge(PLACE / "build", 1, memory=256 << 20)

    def judged(result: str, name: str = "a_test") -> dict:
        program = {"name": name, "folder": str(PLACE / "build"), "limit": 3, "stale": name != "a_test"}
        return judge.run([program], str(PLACE.relative_to(mutate.ROOT) / "a.c"), PROGRAM % result)

    answer = judged("getpid() == (char*) -1", "b_test")  # with a warning
    assert (answer["verdict"], answer["by"]) == ("noticed", "b_test: does not compile"), answer
    for result, name, message in NO_VERDICTS:
        assert ends_with(message, lambda: judged(result, name)), result
    for result, verdict, by in CASES:
        answer = judged(result)
        assert (answer["verdict"], answer.get("by", "")) == (verdict, by), f"{result}: {answer}"
    assert answer["failed"] == ["a_test: Suite.Name (unstable)"], answer
    assert VICTIM.exists() and os.path.exists("/etc/hostname")
    shutil.rmtree(PLACE)
