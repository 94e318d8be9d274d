#!/usr/bin/env python3
"""Finds out what the tests notice: makes small defects in the library's sources, one at a time, builds the
library with each, and runs the tests of the folder.

    mutate.py [FOLDER or FILE] [--sample N] [--seed S] [--jobs N] [--build BUILD] [--known]
    mutate.py --check | --self-test

Takes all mutants of all folders, or of FOLDER, or as many of them as are needed for a sample of N that count:
those that compile to other code than the source. The sample is the same for the same SEED (1), but for what
changes in the sources. Verdicts are appended to build/mutate/mutants.txt, one JSON object a line, when they
are known. When it is run again, only what has none for the present source, tests and headers is judged, and
what survived. The tree must stand still meanwhile, or the run ends.

tests/mutants.txt lists mutants that no test can notice, with the reasons (known.py): these are not run, or with
--known, only these, and none may be noticed. --check looks whether it lists mutants that there are not. Takes
root, for the sandbox.
"""
import argparse
import collections
import concurrent.futures
import difflib
import fcntl
import functools
import hashlib
import json
import os
import subprocess
import sys
import threading
import time
from pathlib import Path
from typing import IO

from judge import BY_COMPILER, digest
from known import entry, read_known
from mutants import Mutant, mutants_of

ROOT = Path(__file__).resolve().parents[2]
FOLDERS = ["containers", "files", "foundation", "hsm", "log", "platform", "thread", "timer", "values"]
KNOWN = "tests/mutants.txt"
GENERATED = "// Made by "
# Test folders besides the one of the same name, by the beginning of the path: what has its tests elsewhere,
# as it shows in what uses it.
TESTED_IN = {
    "foundation/boolean_text": ["containers", "log"],
    "foundation/hex_text": ["containers", "log", "values"],
    "foundation/initialisation": ["log"],
    "foundation/settings_text": ["log"],
    "foundation/thread_state": ["log", "thread"],
    "log/process_locks": ["containers", "timer"],
    "platform/errno_keeper": ["log", "thread", "files"],
    "platform/futex": ["timer"],
    "platform/line_reader": ["log", "files", "thread"],
    "platform/lock_scope": ["containers"],
    "platform/own_thread": ["thread"],
    "platform/pause": ["thread", "timer"],
    "platform/short_look": ["thread", "containers"],
    "platform/thread_id": ["files", "log"],
    "platform/thread_name": ["timer", "log"],
    "platform/timed_lock": ["log"],
    "platform/uncancelled_scope": ["files", "timer"],
    "platform/": ["foundation", "log", "thread"],
    "thread/process_name": ["log"],
    "thread/clock": ["log"],
    "thread/common_process": ["files", "foundation", "log"],
    "thread/common_system": ["log"],
}
GOAL = 97  # percent
MEMORY = 3 << 30  # of a sandbox, so that two at once do on a small machine
COUNTED = ("noticed", "survived")


def sources(root: Path, wanted: str) -> dict[str, str]:
    """The sources by their paths, those of a folder or a file when it is given."""
    found = {}
    for folder in FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            name = path.relative_to(root).as_posix()
            if path.suffix not in (".cpp", ".h") or not (name == wanted or name.startswith(wanted)):
                continue
            text = path.read_text()
            if not text.startswith(GENERATED):  # which a test compares with what they are made from
                found[name] = text
    return found


def all_mutants(texts: dict[str, str]) -> list[Mutant]:
    return [mutant for file, text in texts.items() for mutant in mutants_of(file, text)]


def check(root: Path) -> list[str]:
    """What is wrong with the list of known mutants."""
    path = root / KNOWN
    known, wrong = read_known(path.read_text() if path.exists() else "")
    there = {mutant.key for mutant in all_mutants(sources(root, ""))}
    wrong += ["there is no such mutant:\n" + entry(key) for key in known if key not in there]
    return [f"{KNOWN}: {line}" for line in wrong]


def folder_of(file: str) -> str:
    return file.partition("/")[0]


def tested_in(file: str) -> list[str]:
    """The folders with tests of a file."""
    more = next((folders for start, folders in TESTED_IN.items() if file.startswith(start)), [])
    return [folder_of(file), *more]


def files_below(root: Path, folders: list[str]) -> list[Path]:
    return [path for folder in folders for path in sorted((root / folder).rglob("*"))
            if path.is_file() and "__pycache__" not in path.parts]


def stamp(root: Path) -> list[tuple[Path, int, int]]:
    """What changes when a file is changed that verdicts come from."""
    states = [(path, path.stat()) for path in files_below(root, [*FOLDERS, "include", "support", "tests"])]
    return [(path, state.st_mtime_ns, state.st_size) for path, state in states]


def digests_of(root: Path, texts: dict[str, str]) -> dict[str, str]:
    """Of each source: it, its tests, and what is compiled into these. Another source of the library is left out,
    as a change of it would unsettle everything, and seldom changes what the tests of this one notice."""
    headers = [path for path in files_below(root, [*FOLDERS, "include"]) if path.suffix in (".h", ".hpp")]
    common = [*headers, *files_below(root, ["support", "tests/harness", "tools/mutate"])]
    content = functools.cache(lambda path: hashlib.sha256(path.read_bytes()).hexdigest())

    def digest_of(file: str) -> str:
        tests = files_below(root, [f"tests/{folder}" for folder in tested_in(file)])
        lines = [texts[file], *(f"{path} {content(path)}" for path in [*common, *tests])]
        return hashlib.sha256("\n".join(lines).encode()).hexdigest()[:16]

    return {file: digest_of(file) for file in texts}


def lock(folder: Path) -> IO[str]:
    """Sees to it that no other run is at work in a folder, as long as the file that it gives is open."""
    folder.mkdir(parents=True, exist_ok=True)
    file = (folder / "lock").open("w")
    try:
        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit("mutate: another run is at work here")
    return file


def made_of_library(build: Path) -> set[str]:
    """The objects that are made of sources of the library, by their paths in a build."""
    commands = subprocess.run(["ninja", "-C", build, "-t", "compdb"], text=True, check=True, capture_output=True)
    places = tuple(f"{ROOT / folder}/" for folder in FOLDERS)
    return {made["output"] for made in json.loads(commands.stdout) if made["file"].startswith(places)}


class Programs:
    """The test programs of a build, and how long they take."""

    def __init__(self, build: Path, files: list[str]):
        wanted = {folder for file in files for folder in tested_in(file)}
        self.by_name: dict[str, dict] = {}
        objects = made_of_library(build)
        for line in (build / "test_targets.txt").read_text().splitlines():
            name, place, first, *_ = line.split(";")
            folder = Path(place).name
            if folder in wanted and not first.startswith("="):
                path = Path(place).relative_to(build) / name
                query = subprocess.run(["ninja", "-C", build, "-t", "query", path], text=True, check=True,
                                       capture_output=True)
                self.by_name[name] = {"name": name, "folder": place, "of": folder, "limit": 300,
                                      "internal": not objects.isdisjoint(query.stdout.split())}
        self.noticed: dict[str, collections.Counter] = collections.defaultdict(collections.Counter)

    def of(self, file: str) -> list[dict]:
        """Those that judge a file, first those that are most likely to notice, and soon."""
        folder = folder_of(file)
        stem, header = Path(file).stem, file.endswith(".h")

        def promise(program: dict) -> float:
            name = program["name"].removesuffix("_test")
            alike = difflib.SequenceMatcher(None, stem, name).ratio()
            likely = alike**3 + self.noticed[file][program["name"]]
            return (likely if program["of"] == folder else likely / 10) / (0.2 + program.get("seconds", 1))

        chosen = [program for program in self.by_name.values() if program["of"] in tested_in(file)]
        return [{**program, "stale": header or program["internal"]}
                for program in sorted(chosen, key=promise, reverse=True)]


class Judge:
    """Runs sandboxes, each in one of as many places as may be used at once."""

    def __init__(self, build: Path, at_once: int, folder: Path = ROOT / "build/mutate", memory: int = MEMORY):
        self.build = build
        self.memory = memory
        self.at_once = at_once
        self.places = [folder / f"scratch-{number}" for number in range(at_once)]
        self.lock = threading.Lock()
        for place in self.places:
            place.mkdir(parents=True, exist_ok=True)
        objects = (build / "CMakeFiles/common_objects.dir").rglob("*.o")
        self.objects = {str(path): digest(path) for path in objects}

    def run(self, programs: list[dict], file: str | None = None, text: str = "", stop: bool = True) -> dict:
        with self.lock:
            place = self.places.pop()
        try:
            return self.ask(place, {"build": str(self.build), "file": file and str(ROOT / file), "text": text,
                                    "objects": self.objects, "programs": programs, "stop": stop,
                                    "memory": self.memory})
        finally:
            with self.lock:
                self.places.append(place)

    def ask(self, place: Path, order: dict) -> dict:
        done = subprocess.run([ROOT / "tools/mutate/sandbox.sh", ROOT, place, sys.executable, "-B",
                               ROOT / "tools/mutate/judge.py"],
                              input=json.dumps(order), capture_output=True, text=True)
        if done.returncode != 0 or not done.stdout:
            sys.exit(f"mutate: the sandbox failed: {done.stderr}")
        return json.loads(done.stdout)


class Results:
    """The verdicts, in the file and by mutant."""

    def __init__(self, path: Path, root: Path, texts: dict[str, str]):
        self.path = path
        self.root = root
        self.stamp = stamp(root)
        self.digests = digests_of(root, texts)
        self.known: dict[tuple, dict] = {}
        lines = path.read_text().splitlines() if path.exists() else []
        for line in lines:
            try:
                row = json.loads(line)
            except ValueError:
                continue  # cut when it was stopped
            if row["source"] == self.digests.get(row["file"]):
                self.known[tuple(row["key"])] = row

    def settled(self, mutant: Mutant) -> dict | None:
        row = self.known.get(mutant.key)
        return row if row and row["verdict"] != "survived" else None

    def add(self, mutant: Mutant, answer: dict) -> dict:
        if stamp(self.root) != self.stamp:
            sys.exit("mutate: sources or tests were changed meanwhile")
        row = {"file": mutant.file, "line": mutant.line, "operator": mutant.operator, "change": mutant.change,
               "verdict": answer["verdict"], "by": answer.get("by", ""), "seconds": round(answer["took"], 1),
               "unstable": answer.get("failed", []) if answer["verdict"] == "survived" else [],
               "key": mutant.key, "source": self.digests[mutant.file]}
        self.known[mutant.key] = row
        with self.path.open("a") as file:
            file.write(json.dumps(row) + "\n")
        return row


def measure(judge: Judge, programs: Programs, file: str, text: str) -> None:
    """Shows that the sandbox makes of a source as it is what there is, and runs all programs without a mutant:
    they must pass, and tell their times."""
    answer = judge.run([], file, text)
    if answer["verdict"] != "same code":
        sys.exit(f"mutate: {file} as it is comes out as \"{answer['verdict']}\"\n{answer['output']}")
    names = sorted(programs.by_name)
    parts = [names[number :: judge.at_once] for number in range(judge.at_once)]

    def run_part(part: list[str]) -> dict:
        wanted = [{**programs.by_name[name], "stale": False} for name in part]
        return judge.run(wanted, stop=False)

    with concurrent.futures.ThreadPoolExecutor(len(parts)) as pool:
        answers = list(pool.map(run_part, parts))
    failed = [name for answer in answers for name in answer["failed"]]
    for name in failed:
        print(f"mutate: without a mutant, there fails {name}")
    if any(answer["verdict"] != "survived" for answer in answers):
        sys.exit("mutate: the tests must pass in the sandbox first\n" +
                 "\n".join(answer["output"] for answer in answers))
    for answer in answers:
        for name, seconds in answer["seconds"].items():
            programs.by_name[name] |= {"seconds": seconds, "limit": 30 + 8 * seconds}


def table(rows: list[dict], known: collections.Counter) -> tuple[str, bool]:
    """The figures by folder, and whether the goal is reached."""
    lines = ["folder        judged  noticed  survived  percent   hang  by compiler  same code  not compiled  known"]
    for folder in [*sorted({folder_of(row["file"]) for row in rows} | set(known)), "all"]:
        mine = [row for row in rows if folder in ("all", folder_of(row["file"]))]
        count = collections.Counter(row["verdict"] for row in mine)
        hang = sum(row["by"].endswith("(hang)") for row in mine)
        compiler = sum(row["by"].endswith(BY_COMPILER) for row in mine)
        judged = count["noticed"] + count["survived"]
        percent = 100 * count["noticed"] / judged if judged else 0
        listed = known.total() if folder == "all" else known[folder]
        lines.append(f"{folder:12}{judged:8}{count['noticed']:9}{count['survived']:10}{percent:9.1f}{hang:7}"
                     f"{compiler:13}{count['same code']:11}{count['not compiled']:14}{listed:7}")
    return "\n".join(lines), percent >= GOAL


def judge_all(chosen: list[Mutant], texts: dict[str, str], results: Results, judge: Judge,
              programs: Programs, sample: int) -> list[dict]:
    """Judges mutants in their order until as many count as the sample has; gives the rows of these."""
    rows: list[dict] = []
    waiting = iter(chosen)
    running: dict[concurrent.futures.Future, Mutant] = {}

    def one(mutant: Mutant) -> dict:
        start = time.monotonic()
        text = mutant.apply(texts[mutant.file])
        answer = judge.run(programs.of(mutant.file), mutant.file, text)
        return answer | {"took": time.monotonic() - start}

    def take(row: dict) -> None:
        rows.append(row)
        if row["verdict"] == "noticed":
            programs.noticed[row["file"]][row["by"].partition(":")[0]] += 1

    with concurrent.futures.ThreadPoolExecutor(judge.at_once) as pool:
        more = True
        while more or running:
            counted = sum(row["verdict"] in COUNTED for row in rows)
            more = more and counted < sample
            while more and len(running) < judge.at_once and counted + len(running) < sample:
                mutant = next(waiting, None)
                if mutant is None:
                    more = False
                elif row := results.settled(mutant):
                    take(row)
                    counted += row["verdict"] in COUNTED
                else:
                    running[pool.submit(one, mutant)] = mutant
            if not running:
                continue
            done, _ = concurrent.futures.wait(running, return_when=concurrent.futures.FIRST_COMPLETED)
            for future in done:
                mutant = running.pop(future)
                row = results.add(mutant, future.result())
                take(row)
                verdict = f"{row['verdict']} {row['by'] and 'by '}{row['by']}".strip()
                unstable = f" (now and then: {', '.join(row['unstable'])})" if row["unstable"] else ""
                print(f"{mutant.file}:{mutant.line}: {mutant.operator}: {mutant.change}: {verdict}{unstable}",
                      flush=True)
    return rows


def main() -> None:
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("wanted", nargs="?", default="")
    parser.add_argument("--sample", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    parser.add_argument("--build", type=Path, default=ROOT / "build/clang")
    parser.add_argument("--known", action="store_true")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--self-test", action="store_true")
    options = parser.parse_args()
    import self_test  # which imports this
    if options.self_test:
        self_test.run()
        return
    if options.check:
        wrong = check(ROOT)
        print("\n".join(wrong), end="\n" if wrong else "")
        sys.exit(1 if wrong else 0)

    held = lock(ROOT / "build/mutate")
    texts = sources(ROOT, options.wanted)
    chosen = all_mutants(texts)
    if not chosen:
        sys.exit(f"mutate: there are no mutants of {options.wanted}")
    known, _ = read_known((ROOT / KNOWN).read_text())
    listed = collections.Counter(folder_of(mutant.file) for mutant in chosen if mutant.key in known)
    chosen.sort(key=lambda mutant: hashlib.sha256(repr((options.seed, mutant.key)).encode()).digest())
    chosen = [mutant for mutant in chosen if (mutant.key in known) == options.known]

    results = Results(ROOT / "build/mutate/mutants.txt", ROOT, texts)
    self_test.try_sandbox()
    programs = Programs(options.build, list(texts))
    subprocess.run(["cmake", "--build", options.build, "-j", str(os.cpu_count()), "--target", "common",
                    "common_faulty", *programs.by_name], check=True, stdout=sys.stderr)
    judge = Judge(options.build, options.jobs)
    measure(judge, programs, *next(iter(texts.items())))
    rows = judge_all(chosen, texts, results, judge, programs, options.sample or len(chosen))
    survivors = [entry(tuple(row["key"])) for row in rows if row["verdict"] == "survived"]
    if survivors:
        print("\nsurvived:\n\n" + "\n".join(survivors))
    text, reached = table(rows, listed)
    print("\n" + text)
    held.close()
    if options.known:
        reached = not any(row["verdict"] == "noticed" for row in rows)
    sys.exit(0 if reached else 1)


if __name__ == "__main__":
    main()
