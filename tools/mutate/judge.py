"""Builds one mutant and runs the tests that judge it, as the first process of a sandbox (sandbox.sh).

Reads an order, writes a verdict, both as JSON:

    {"build": the build folder, "file": the path of the source, or null for none, "text": of the mutant,
     "objects": {path: digest of the library's objects without a mutant},
     "programs": [{"name", "folder", "limit": seconds, "stale": whether it must be built anew}, ...],
     "stop": whether the first failure is enough, "memory": how much the sandbox may take, in bytes}
    {"verdict": "noticed", "survived", "not compiled" or "same code", "by": what noticed it,
     "seconds": {program: seconds}, "failed": [program, ...], "output": the last lines of what failed}
"""
import hashlib
import json
import os
import re
import resource
import select
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

BUILD_LIMIT = 1800  # seconds: the whole library, by one of many at once
PROCESSES = 600  # of all tests of a program together
GIBIBYTE = 1 << 30
OUTPUT = Path("/tmp/output")
# What a compiler tells of the text that it was given, and a linker of what the compiler made of it.
COMPILE_ERROR = re.compile(r":\d+:\d+: (fatal )?error: |undefined reference to ")
BY_COMPILER = "does not compile"
# A warning is no error here, except what would be undefined: the mutant is to compile.
ENVIRONMENT = {"CCC_OVERRIDE_OPTIONS": "# +-Wno-error +-Werror=return-type", "CCACHE_DISABLE": "1",
               "COMMON_TEST_TIME_FACTOR": "0.3"}


def prepare() -> None:
    """In the new process: signals as in a shell, wherever this was started from, and limits."""
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGPIPE, signal.SIGTERM):
        signal.signal(number, signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_AS, (8 * GIBIBYTE, 8 * GIBIBYTE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def kill_all() -> None:
    """Ends every other process of the sandbox."""
    if os.getpid() != 1:
        sys.exit("judge.py is for a sandbox")
    try:
        os.kill(-1, signal.SIGKILL)
    except ProcessLookupError:
        return
    while True:
        try:
            os.wait()
        except ChildProcessError:
            return


def memory_of(processes: list[str]) -> int:
    """The bytes of memory that the sandbox has: its processes, and its files, which are in memory."""
    pages = 0
    for process in processes:
        try:
            pages += int(Path(f"/proc/{process}/statm").read_text().split()[1])
        except (FileNotFoundError, ProcessLookupError):
            pass  # ended meanwhile
    volumes = [os.statvfs(folder) for folder in ("/tmp", "/dev/shm", os.getcwd())]
    return pages * resource.getpagesize() + sum((each.f_blocks - each.f_bfree) * each.f_frsize for each in volumes)


def runs_away() -> bool:
    """Whether processes become ever more, or what is in memory, which no limit of a process holds back."""
    processes = [name for name in os.listdir("/proc") if name.isdigit()]
    return len(processes) > PROCESSES or memory_of(processes) > memory_limit


def run(command: list[str], folder: str, limit: float) -> tuple[int | str, str]:
    """Runs a command: its status, or "hang" or "runaway", and what it wrote."""
    with OUTPUT.open("wb") as output:
        process = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=output,
                                   stderr=subprocess.STDOUT, env={**os.environ, **ENVIRONMENT},
                                   start_new_session=True, preexec_fn=prepare)
    deadline = time.monotonic() + limit
    status: int | str = "hang"
    ended = select.poll()
    ended.register(os.pidfd_open(process.pid), select.POLLIN)
    while time.monotonic() < deadline:
        if ended.poll(100):
            status = process.wait()
            break
        if runs_away():
            status = "runaway"
            break
    kill_all()
    return status, OUTPUT.read_text(errors="replace")


def run_program(program: dict, only: str | None = None) -> tuple[int | str, str]:
    command = [f"./{program['name']}", "--gtest_color=no", "--gtest_fail_fast"]
    if only:
        command.append(f"--gtest_filter={only}")
    status, output = run(command, program["folder"], program["limit"])
    if status == 0 and "[  PASSED  ]" not in output:
        status = "early end"
    return status, output


def failed_test(output: str) -> str | None:
    """The test that failed first, or the last that was started."""
    found = re.search(r"^\[  FAILED  \] ([\w/.]+)", output, re.MULTILINE)
    if found:
        return found[1]
    started = re.findall(r"^\[ RUN      \] ([\w/.]+)", output, re.MULTILINE)
    return started[-1] if started else None


def failure(program: dict) -> tuple[str | None, str]:
    """What of a program fails, twice, and its output; None when nothing does."""
    status, output = run_program(program)
    if status == 0:
        return None, ""
    test = failed_test(output)
    name = f"{program['name']}: {test or status}"
    if status in ("hang", "runaway"):
        name = f"{name} ({status})"
    if test and run_program(program, test)[0] != 0:
        return name, output
    # On its own it passes: either it needs those before it, or it fails now and then.
    status, again = run_program(program)
    return (name if status != 0 and failed_test(again) == test else None), output


def compile_errors(build: str, *targets: str) -> str | None:
    """Builds targets: None, or what the compiler has against their sources. What else goes wrong ends the run:
    it tells nothing of a mutant."""
    status, output = run(["ninja", "-C", build, "-j", "1", *targets], build, BUILD_LIMIT)
    if status == 0:
        return None
    if status != 1 or not COMPILE_ERROR.search(output):
        sys.exit(f"the build of {' and '.join(targets)} ended with {status}, but no compiler's error:\n"
                 f"{output[-2000:]}")
    return output[-2000:]


def digest(path: Path) -> str:
    """Of an object, but for what debuggers are told, such as where the compiler's cache first saw the source."""
    with tempfile.NamedTemporaryFile() as stripped:
        subprocess.run(["objcopy", "--strip-debug", path, stripped.name], check=True)
        return hashlib.sha256(Path(stripped.name).read_bytes()).hexdigest()


def judge(order: dict) -> dict:
    build = order["build"]
    if order["file"]:
        Path(order["file"]).write_text(order["text"])
        if (errors := compile_errors(build, "common", "common_faulty")) is not None:
            return {"verdict": "not compiled", "output": errors}
        if all(digest(Path(path)) == known for path, known in order["objects"].items()):
            return {"verdict": "same code"}
    answer = {"verdict": "survived", "seconds": {}, "failed": [], "output": ""}
    for program in order["programs"]:
        if program["stale"] and (errors := compile_errors(build, program["name"])) is not None:
            # Such as by a static_assert of the test.
            return {**answer, "verdict": "noticed", "by": f"{program['name']}: {BY_COMPILER}", "output": errors}
        start = time.monotonic()
        name, output = failure(program)
        answer["seconds"][program["name"]] = time.monotonic() - start
        if output:
            answer["failed"].append(name or f"{program['name']}: {failed_test(output)} (unstable)")
            answer["output"] = output[-3000:]
        if name:
            answer |= {"verdict": "noticed", "by": name}
            if order["stop"]:
                break
    return answer


if __name__ == "__main__":
    given = json.load(sys.stdin)
    memory_limit = given["memory"]
    json.dump(judge(given), sys.stdout)
