#!/usr/bin/env python3
"""Checks the #include lines against the rooms of ARCHITECTURE.md.

The table under "Rooms" is the whole rule: each room, the files and public headers that belong to it, and
the other rooms that these files may include. What a room may use, its users may use, too. A file belongs
to the first room that names it; one that no room names is a violation, so that a new family has to take
its place. Public headers include public headers only.

usage: layers.py [--self-test]
"""
import re
import tempfile
from fnmatch import fnmatchcase
from pathlib import Path
from typing import NamedTuple

from check import ROOT, run

COLUMNS = ["room", "files", "headers in `include/`", "what is in it", "may use"]
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(["<])([^">]+)[">]', re.MULTILINE)


class Room(NamedTuple):
    files: list[str]
    headers: list[str]
    uses: set[str]  # itself, and all that it may use
    any_header: bool


def read_rooms(text):
    """Reads the table; a ValueError says what is wrong with it."""
    rows = [[cell.strip() for cell in line.strip("|").split("|")]
            for line in text.partition("## Rooms")[2].partition("\n## ")[0].splitlines()
            if line.startswith("|")]
    if len(rows) < 3 or rows[0] != COLUMNS or any(len(row) != len(COLUMNS) for row in rows):
        raise ValueError(f'no table of rooms with the columns {", ".join(COLUMNS)}')
    direct = {row[0]: [name.strip() for name in row[4].split(",") if name.strip()] for row in rows[2:]}
    for name, uses in direct.items():
        for used in uses:
            if used not in [*direct, "headers"]:
                raise ValueError(f"{name} may use {used}, which is no room")

    def all_uses(name):
        return {name}.union(*(all_uses(used) for used in direct[name] if used != "headers"))

    return {row[0]: Room(re.findall("`(.*?)`", row[1]), re.findall("`(.*?)`", row[2]),
                         all_uses(row[0]), "headers" in direct[row[0]])
            for row in rows[2:]}


def room_of(rooms, path):
    """Names the room that a file, relative to the root, belongs to."""
    for name, room in rooms.items():
        if path.parts[:-1] == ("include",):
            if path.stem in room.headers:
                return name
        elif any(fnmatchcase(path.as_posix(), pattern) for pattern in room.files):
            return name
    return None


def resolve(root, source, name, folders):
    """Finds an included file as the compiler does, or None: beside the file that includes it, in a folder
    above, in one beside it (another program's), among the public headers, in support/, and in
    tools/commonctl/, whose parts are measured, too."""
    beside = sorted(path.relative_to(root) for path in (root / source).parent.parent.iterdir()
                    if path.is_dir()) if len(source.parts) > 2 else []
    for folder in (*source.parents, *beside, Path("include"), Path("support"),
                   Path("tools/commonctl")):
        for path in (folder / name, folder / name.removeprefix("common/")):
            if (root / path).is_file():
                path = (root / path).resolve().relative_to(root)
                return path if path.parts[0] in folders else None
    return None


def problems(root):
    """Lists what is wrong in the tree at root."""
    try:
        rooms = read_rooms((root / "ARCHITECTURE.md").read_text())
    except ValueError as error:
        return [f"ARCHITECTURE.md: {error}"]
    folders = sorted({"include", *(pattern.split("/")[0] for room in rooms.values()
                                   for pattern in room.files)})
    found = []
    inhabited = set()
    for file in (file for folder in folders for file in sorted((root / folder).rglob("*"))
                 if file.suffix in (".c", ".cpp", ".h", ".hpp")):
        source = file.relative_to(root)
        room = room_of(rooms, source)
        if room is None:
            found.append(f"{source}: belongs to no room")
            continue
        inhabited.add(room)
        for quote, name in INCLUDE.findall(file.read_text()):
            target = resolve(root, source, name, folders)
            if target is None:
                if quote == '"':
                    found.append(f'{source}: "{name}" is not a file of this repository')
                continue
            public = target.parts[0] == "include"
            target_room = room_of(rooms, target)
            if source.parts[0] == "include" and not public:
                found.append(f"{source}: a public header includes {target}")
            elif target_room is not None and target_room not in rooms[room].uses and not (
                    public and rooms[room].any_header):
                found.append(f"{source}: {room} may not include {target} ({target_room})")
    return found + [f"ARCHITECTURE.md: nothing is in the room {name}"
                    for name in rooms if name not in inhabited]


TABLE = """# A
## Rooms
| room | files | headers in `include/` | what is in it | may use |
|---|---|---|---|---|
| interface | | `common_api` | | |
| whole | | `common_library` | | headers |
| platform | `platform/*` | | | interface |
| group | `log/*`, `thread/clock*` | `common_log` | | platform |
| locks | `thread/*` | `common_mutex` | | group |
| queues | `containers/blockq*` | `blockq` | | locks, containers |
| containers | `containers/*` | `data` | | group |
| files | `files/*` | `common` | | containers |
| layer | `include/plus/*` | | | headers |
| support | `support/*` | | | |
| users | `tools/*` | | | support, layer, headers |
## More
| no | table |
"""
GOOD = {
    "ARCHITECTURE.md": TABLE,
    "include/common_api.h": "",
    "include/common_log.h": '#include "common_api.h"\n',
    "include/data.h": '#include "common_api.h"\n',
    "include/common.h": '#include "data.h"\n',
    "include/blockq.h": "",
    "include/common_mutex.h": "",
    "include/common_library.h": '#include "common.h"\n#include "blockq.h"\n',
    "platform/futex.h": "#include <stdio.h>\n",
    "log/report.h": '#include "platform/futex.h"\n#include "common_log.h"\n',
    "log/report.cpp": '#include "report.h"\n#include "thread/clock.h"\n',
    "thread/clock.h": "",
    "thread/common_mutex.cpp": '#include "common_mutex.h"\n#include "log/report.h"\n',
    "containers/data.cpp": '#include "data.h"\n#include "log/report.h"\n',
    "containers/blockq.cpp": '#include <common_mutex.h>\n#include "data.h"\n',
    "files/process.cpp": '#include "common.h"\n#include "log/report.h"\n',
    "include/plus/one.hpp": '#include <common/blockq.h>\n#include "two.hpp"\n',
    "include/plus/two.hpp": "",
    "support/log_socket.h": "",
    "tools/x/main.cpp": '#include "log_socket.h"\n#include "x/own.h"\n#include <common/blockq.h>\n#include <plus/one.hpp>\n',
    "tools/x/own.h": '#include "common_library.h"\n#include "shared.h"\n',
    "tools/y/shared.h": "",
}
BAD = [
    ("log/report.cpp", '#include "data.h"',
     "log/report.cpp: group may not include include/data.h (containers)"),
    ("log/report.cpp", '  #  include <common.h>',
     "log/report.cpp: group may not include include/common.h (files)"),
    ("log/report.cpp", '#include "../containers/gone.h"',
     'log/report.cpp: "../containers/gone.h" is not a file of this repository'),
    ("platform/futex.h", '#include "log/report.h"',
     "platform/futex.h: platform may not include log/report.h (group)"),
    ("platform/futex.h", '#include "../log/report.h"',
     "platform/futex.h: platform may not include log/report.h (group)"),
    ("containers/data.cpp", '#include "common_mutex.h"',
     "containers/data.cpp: containers may not include include/common_mutex.h (locks)"),
    ("containers/data.cpp", '#include "blockq.h"',
     "containers/data.cpp: containers may not include include/blockq.h (queues)"),
    ("files/process.cpp", '#include <common/common_mutex.h>',
     "files/process.cpp: files may not include include/common_mutex.h (locks)"),
    ("files/process.cpp", '#include "common_library.h"',
     "files/process.cpp: files may not include include/common_library.h (whole)"),
    ("include/common_api.h", '#include "common_log.h"',
     "include/common_api.h: interface may not include include/common_log.h (group)"),
    ("include/common_log.h", '#include "../log/report.h"',
     "include/common_log.h: a public header includes log/report.h"),
    ("tools/x/own.h", '#include "log/report.h"',
     "tools/x/own.h: users may not include log/report.h (group)"),
    ("support/log_socket.h", '#include "data.h"',
     "support/log_socket.h: support may not include include/data.h (containers)"),
    ("include/novel.h", "", "include/novel.h: belongs to no room"),
    ("include/other/novel.hpp", "", "include/other/novel.hpp: belongs to no room"),
    ("include/plus/two.hpp", '#include "log/report.h"',
     "include/plus/two.hpp: a public header includes log/report.h"),
    ("include/data.h", '#include "plus/one.hpp"',
     "include/data.h: containers may not include include/plus/one.hpp (layer)"),
    ("log/report.h", '#include <plus/one.hpp>',
     "log/report.h: group may not include include/plus/one.hpp (layer)"),
]


def problems_with(changes):
    """What is wrong in the good tree with other contents of some files; None takes one away."""
    with tempfile.TemporaryDirectory() as folder:
        root = Path(folder).resolve()
        for name, text in {**GOOD, **changes}.items():
            if text is not None:
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
        return problems(root)


def self_test():
    """Shows that each kind of violation is found, and that a good tree has none."""
    for changed, line, expected in [("log/report.h", "", None), *BAD]:
        got = problems_with({changed: GOOD.get(changed, "") + line + "\n"})
        assert got == ([expected] if expected else []), f"{changed}, {line!r}: {got}"
    for table, expected in [
            ("", 'no table of rooms with the columns ' + ", ".join(COLUMNS)),
            (TABLE.replace("| support, layer, headers |", "| suport |"), "users may use suport, which is no room"),
            (TABLE.replace("| locks |", "| locks | x |", 1),
             'no table of rooms with the columns ' + ", ".join(COLUMNS))]:
        got = problems_with({"ARCHITECTURE.md": table})
        assert got == [f"ARCHITECTURE.md: {expected}"], got
    got = problems_with({"thread/common_mutex.cpp": None, "include/common_mutex.h": None,
                         "containers/blockq.cpp": None, "files/process.cpp": '#include "common.h"\n'})
    assert got == ["ARCHITECTURE.md: nothing is in the room locks"], got


if __name__ == "__main__":
    run(__doc__, self_test, lambda: problems(ROOT))
