#!/usr/bin/env python3
"""Checks the #include lines of the library against the layers that it is built in.

The table below is the whole rule: each part of the library, the files that belong to it (a public
header belongs to the part that implements it), and the other parts that these files may include.
A part may always include its own files, and everything may include platform/ and common_api.h. A
file that no row names is a violation too, so that a new family has to take its place.

usage: layers.py [--self-test]
"""
import re
import sys
import tempfile
from fnmatch import fnmatchcase
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# The first row whose pattern fits names the part, so the narrow patterns come first. Below
# include/ the pattern is a header's name, without its folder and without ".h".
#   part           files                                   public headers             may include
PARTS = {
    "api":        ([],                                     ["common_api"],            []),
    "everything": ([],                                     ["common_library"],        ["*"]),
    "platform":   (["platform/*"],                         [],                        []),
    # The logging group: its members report through each other, by design.
    "group":      (["foundation/*", "log/*", "thread/common_thread*", "thread/common_system*",
                    "thread/common_process*", "thread/process_name*", "thread/clock*"],
                   ["status", "mem_malloc", "common_log", "common_log_settings", "common_debug",
                    "oxa_logger", "common_thread", "common_system", "common_process"],
                   []),
    "queues":     (["containers/blockq*", "containers/common_blockQEx*"],
                   ["blockq", "common_blockQEx"],
                   ["containers", "thread", "group"]),
    "containers": (["containers/*"],
                   ["abstract_set", "list_by_abstractset", "list_light", "map", "ring_buffer",
                    "data", "client_nodes", "client_descriptor"],
                   ["group"]),
    "thread":     (["thread/*"], ["common_mutex", "common_monitor", "common_sync"], ["group"]),
    "timer":      (["timer/*"], ["timer", "common_wdm"], ["group"]),
    "hsm":        (["hsm/*"], ["hsm", "hsm_trace", "ls_hsm"], ["group"]),
    "values":     (["values/*"], ["oxavar", "convert", "common_uuid", "regexp", "charset"],
                   ["containers", "group"]),
    "files":      (["files/*"],
                   ["common", "oxa_file", "flash_safety", "oxa_shims", "oxa_getopt"],
                   ["values", "containers", "group"]),
}
FOR_ALL = {"api", "platform"}
# Public headers are for callers: they include public headers only.
FOLDERS = ["include", *sorted({pattern.split("/")[0] for files, _, _ in PARTS.values()
                               for pattern in files})]
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(["<])([^">]+)[">]', re.MULTILINE)


def part_of(path):
    """Names the part that a file of the library, relative to the root, belongs to."""
    for part, (files, headers, _) in PARTS.items():
        if path.parts[0] == "include":
            if path.stem in headers:
                return part
        elif any(fnmatchcase(path.as_posix(), pattern) for pattern in files):
            return part
    return None


def resolve(root, source, name):
    """Finds an included file of the library as the compiler does; None when it is not ours."""
    for folder in (source.parent, Path("include"), Path(".")):
        path = folder / name
        if (root / path).is_file():
            path = (root / path).resolve().relative_to(root)
            return path if path.parts[0] in FOLDERS else None
    return None


def allowed(source, target):
    """Whether files of one part may include files of another."""
    uses = PARTS[source][2]
    if source == "api":
        return target == "api"
    if source == "platform":
        return target in FOR_ALL
    return source == target or target in FOR_ALL or target in uses or "*" in uses


def problems(root):
    """Lists what is wrong in the tree at root."""
    found = []
    count = 0
    for folder in FOLDERS:
        for file in sorted((root / folder).rglob("*")):
            if file.suffix not in (".c", ".cpp", ".h", ".hpp"):
                continue
            count += 1
            source = file.relative_to(root)
            part = part_of(source)
            if part is None:
                found.append(f"{source}: belongs to no row of the table")
                continue
            for quote, name in INCLUDE.findall(file.read_text()):
                target = resolve(root, source, name)
                if target is None:
                    if quote == '"':
                        found.append(f'{source}: "{name}" is not a file of the library')
                    continue
                target_part = part_of(target)
                if folder == "include" and target.parts[0] != "include":
                    found.append(f"{source}: a public header includes {target}")
                elif target_part is not None and not allowed(part, target_part):
                    found.append(f"{source}: {part} may not include {target} ({target_part})")
    if count == 0:
        found.append("there is no source file")
    return found


def self_test():
    """Shows that each kind of violation is found, and that a good tree has none."""
    good = {
        "include/common_api.h": "",
        "include/common_log.h": '#include "common_api.h"\n',
        "include/data.h": '#include "common_api.h"\n',
        "include/common.h": '#include "data.h"\n',
        "include/blockq.h": "",
        "include/common_mutex.h": "",
        "include/common_library.h": '#include "common.h"\n#include "blockq.h"\n',
        "platform/futex.h": "#include <stdio.h>\n",
        "log/report.h": '#include "platform/futex.h"\n#include "common_log.h"\n',
        "log/report.cpp": '#include "report.h"\n#include "thread/common_thread_state.h"\n',
        "thread/common_thread_state.h": "",
        "thread/common_mutex.cpp": '#include "common_mutex.h"\n#include "log/report.h"\n',
        "containers/data.cpp": '#include "data.h"\n#include "log/report.h"\n',
        "containers/blockq.cpp": '#include <common_mutex.h>\n#include "data.h"\n',
        "files/process.cpp": '#include "common.h"\n#include "data.h"\n',
    }
    cases = [
        ("log/report.cpp", '#include "data.h"',
         "log/report.cpp: group may not include include/data.h (containers)"),
        ("log/report.cpp", '  #  include <common.h>',
         "log/report.cpp: group may not include include/common.h (files)"),
        ("log/report.cpp", '#include "../containers/data.h"',
         'log/report.cpp: "../containers/data.h" is not a file of the library'),
        ("platform/futex.h", '#include "log/report.h"',
         "platform/futex.h: platform may not include log/report.h (group)"),
        ("platform/futex.h", '#include "../log/report.h"',
         "platform/futex.h: platform may not include log/report.h (group)"),
        ("containers/data.cpp", '#include "common_mutex.h"',
         "containers/data.cpp: containers may not include include/common_mutex.h (thread)"),
        ("containers/data.cpp", '#include "blockq.h"',
         "containers/data.cpp: containers may not include include/blockq.h (queues)"),
        ("files/process.cpp", '#include "common_mutex.h"',
         "files/process.cpp: files may not include include/common_mutex.h (thread)"),
        ("files/process.cpp", '#include "common_library.h"',
         "files/process.cpp: files may not include include/common_library.h (everything)"),
        ("include/common_api.h", '#include "common_log.h"',
         "include/common_api.h: api may not include include/common_log.h (group)"),
        ("include/common_log.h", '#include "../log/report.h"',
         "include/common_log.h: a public header includes log/report.h"),
        ("include/novel.h", "", "include/novel.h: belongs to no row of the table"),
    ]
    for changed, line, expected in [("log/report.h", "", None), *cases]:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder).resolve()
            for name, text in {**good, changed: good.get(changed, "") + line + "\n"}.items():
                (root / name).parent.mkdir(exist_ok=True)
                (root / name).write_text(text)
            got = problems(root)
            assert got == ([expected] if expected else []), f"{changed}, {line!r}: {got}"
    with tempfile.TemporaryDirectory() as folder:
        assert problems(Path(folder)) == ["there is no source file"]


def main():
    if sys.argv[1:] == ["--self-test"]:
        self_test()
        return 0
    if sys.argv[1:]:
        sys.exit(__doc__)
    found = problems(ROOT)
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
