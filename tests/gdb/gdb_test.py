#!/usr/bin/env python3
"""Asks gdb what it shows of a process with one of each record (records.c), or of a core of it.

usage: gdb_test.py CASE --gdb GDB --program PROGRAM --shared-object FILE --build FOLDER --work FOLDER
                   --libdir FOLDER --cmake CMAKE --strip STRIP
"""
import argparse
import json
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

from expected import COMMANDS, CORE, LOG, NO_LOG, PROCESS, WITHOUT_DEBUG_INFORMATION

HERE = Path(__file__).resolve().parent
SCRIPTS = HERE.parents[1] / "tools/gdb"
SOURCE = ["-ex", f"source {SCRIPTS / 'common_gdb.py'}"]


def time_limit():
    """Seconds that one gdb may take: it hangs rather than being slow."""
    return 60 * float(os.environ.get("COMMON_TEST_TIME_FACTOR", "1"))


def plain(text):
    """An answer without what is different in each process."""
    text = re.sub(r"^\$\d+ = ", "", text.strip())
    text = re.sub(r"0x[0-9a-f]{3,}", "0x*", text)
    text = re.sub(r"\b(thread|process|LWP|Process) \d+", r"\1 N", text)
    text = re.sub(r"\b35\d{5} ms", "<an hour> ms", text)  # an hour, but for 100 seconds at most
    text = re.sub(r"\b\d+\.\d{3} s of", "<time> s of", text)
    text = re.sub(r"\b\d{5,} ms ago", "<long> ms ago", text)
    text = re.sub(r"\b\d+ of \d+ printers", "<n> of <n> printers", text)
    text = re.sub(r"(?m)^(process: +)\d+", r"\1N", text)
    return re.sub(r"(?m)^ *\d+ +LWP N +", "", text)


class Gdb:
    """A gdb that knows nothing of its user's settings."""

    def __init__(self, arguments):
        self.arguments = arguments
        self.work = Path(arguments.work)
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True)

    def ask(self, options, commands, libraries=None):
        """What it answers to each command, and all that it wrote."""
        questions, answers = self.work / "commands.json", self.work / "answers.json"
        questions.write_text(json.dumps(commands), encoding="utf-8")
        answers.unlink(missing_ok=True)
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.work), "TZ": "UTC", "LC_ALL": "C.UTF-8",
                       "GDB_TEST_COMMANDS": str(questions), "GDB_TEST_ANSWERS": str(answers)}
        if libraries is not None:
            environment["LD_LIBRARY_PATH"] = str(libraries)
        ended = subprocess.run(
            [self.arguments.gdb, "-nx", "-batch", "-iex", "set debuginfod enabled off", *options,
             "-ex", f"source {HERE / 'ask.py'}"], env=environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=time_limit(), check=False)
        if "ptrace: Operation not permitted" in ended.stdout:
            sys.exit(f"gdb may not debug processes here: allow ptrace(2), in a container by its capability"
                     f" SYS_PTRACE.\n{ended.stdout}")
        if not answers.exists():
            sys.exit(f"gdb did not answer:\n{ended.stdout}")
        return json.loads(answers.read_text(encoding="utf-8")), ended.stdout

    def safe(self, *folders):
        return ["-iex", f"set auto-load safe-path {':'.join(str(folder) for folder in folders)}"]

    def running(self):
        """The options that run the program to where it waits to be looked at."""
        return ["-ex", "break reached", "-ex", "run", self.arguments.program]

    def demand(self, options, expected, libraries=None):
        """Each command must be answered as expected."""
        answers, written = self.ask(options, list(expected), libraries)
        problems = [f"{command}\n  is    {plain(answer)!r}\n  not   {wanted!r}\n"
                    for (command, wanted), answer in zip(expected.items(), answers)
                    if plain(answer) != wanted]
        if problems or "Traceback" in written or "Python Exception" in written:
            sys.exit("".join(problems) + written)


def process(gdb):
    """A live process, and the script that stands beside the library in the build folder."""
    gdb.demand(gdb.safe(gdb.arguments.build, SCRIPTS) + gdb.running(), COMMANDS | PROCESS | LOG)


def core(gdb):
    """A core that gdb itself has written, and the script sourced by hand."""
    file = gdb.work / "core"
    _, written = gdb.ask(gdb.safe() + gdb.running(), [f"generate-core-file {file}"])
    assert file.exists(), written
    gdb.demand(gdb.safe() + [gdb.arguments.program, str(file)] + SOURCE, COMMANDS | CORE | LOG)
    file.unlink()


def installed(gdb):
    """The script is loaded from where it is installed, and leaves nothing behind there."""
    prefix = gdb.work / "prefix"
    subprocess.run([gdb.arguments.cmake, "--install", gdb.arguments.build, "--prefix", prefix,
                    "--component", "gdb"], check=True, stdout=subprocess.DEVNULL)
    libraries = prefix / gdb.arguments.libdir
    libraries.mkdir(parents=True)
    library = Path(gdb.arguments.shared_object).resolve()
    shutil.copy(library, libraries)
    (libraries / "libcommon.so.1").symlink_to(library.name)
    scripts = prefix / "share/gdb/auto-load"
    before = sorted(scripts.rglob("*"))
    assert scripts.joinpath(*libraries.parts[1:], f"{library.name}-gdb.py") in before, before
    gdb.demand(gdb.safe(scripts) + ["-iex", f"add-auto-load-scripts-directory {scripts}"] + gdb.running(),
               {"print status": "STATUS_TIMEOUT (121)"} | LOG, libraries)
    assert sorted(scripts.rglob("*")) == before, "gdb has left something behind"


def without_debug_information(gdb):
    """What remains is shown, and one line says what is missing."""
    library = Path(gdb.arguments.shared_object).resolve()
    copy = gdb.work / library.name
    subprocess.run([gdb.arguments.strip, "--strip-unneeded", "-o", copy, library], check=True)
    (gdb.work / "libcommon.so.1").symlink_to(library.name)
    gdb.demand(gdb.safe() + gdb.running() + SOURCE, WITHOUT_DEBUG_INFORMATION | NO_LOG, gdb.work)


def page(gdb):
    """What docs/debugging.md shows is what gdb answers."""
    text = (HERE.parents[1] / "docs/debugging.md").read_text(encoding="utf-8")
    listing = "\n".join(re.findall(r"^```gdb\n(.*?)^```", text, re.MULTILINE | re.DOTALL))
    said = re.findall(r"^\(gdb\) (.*)\n((?:(?!\(gdb\)).*\n)*)", listing, re.MULTILINE)
    assert len(said) > 10, said
    gdb.demand(gdb.safe() + gdb.running() + SOURCE, {command: plain(answer) for command, answer in said})


def without_process(gdb):
    """Before the program runs: what it is built with, and lines that say what is missing."""
    gdb.demand(gdb.safe() + [gdb.arguments.program] + SOURCE,
               {"print status": "STATUS_TIMEOUT (121)", "print ring": "no bytes",
                "common threads": "error: there is no process"} | NO_LOG)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    cases = {"Process": process, "Core": core, "Installed": installed, "Page": page,
             "WithoutDebugInformation": without_debug_information, "WithoutProcess": without_process}
    parser.add_argument("case", choices=cases)
    for option in ("gdb", "program", "shared-object", "build", "work", "libdir", "cmake", "strip"):
        parser.add_argument(f"--{option}", required=True)
    arguments = parser.parse_args()
    cases[arguments.case](Gdb(arguments))


if __name__ == "__main__":
    main()
