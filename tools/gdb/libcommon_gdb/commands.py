"""The commands: "common log", "common threads", "common values"."""
import gdb

from .names import NAMES
from .records import RECORDS, first_word
from .texts import function, limit, text

NO_DEBUG_INFORMATION = ("no debug information of libcommon.so is loaded: install what belongs to it"
                        " (Debian: libcommon1-dbgsym), or build the library with -g")


def variable(name):
    """A variable inside the library."""
    symbol = gdb.lookup_global_symbol(f"common::log::{name}")
    if symbol is None:
        raise gdb.GdbError(NO_DEBUG_INFORMATION)
    return symbol.value()


def short(kind, number):
    """The name of a number without what all names of its kind begin with."""
    prefix = kind.removesuffix("_t")
    return NAMES[kind].get(number, f"{prefix}{number}").removeprefix(prefix)


class Common(gdb.Command):
    """Commands of the Common library (libcommon.so)."""

    def __init__(self):
        super().__init__("common", gdb.COMMAND_DATA, prefix=True)


class _Command(gdb.Command):
    """A command whose mistakes, and what cannot be read, are one line without a word about Python."""

    def invoke(self, argument, from_tty):
        try:
            self.answer(argument)
        except gdb.error as error:
            raise gdb.GdbError(str(error)) from error


class Log(_Command):
    """Show the settings of the log, as they are in the process or core.
This takes debug information of the library itself."""

    def __init__(self):
        super().__init__("common log", gdb.COMMAND_DATA)

    def answer(self, _):
        for name, shown in self._rows(variable("logger"), int(first_word(variable("gate")))):
            gdb.write(f"{name + ':':18}{shown}\n")

    def _rows(self, logger, gate):
        def setting(name):
            return int(first_word(logger[name]))

        def level(name):
            return short("COMMON_LogLevel_t", setting(name))

        accepted = "nothing" if not setting("enable") else f"{level('level')} and what is more urgent"
        look = " (the next call looks first: at its settings at the start, or at files)"
        yield "accepted", accepted + (look if gate == 0xFFFFFFFF else "")
        yield "level", (f"{level('level')}; without peak load {level('levelAtPeakloadOff')},"
                        f" at peak load {level('levelAtPeakloadOn')}")
        yield "peakload control", (f"{short('COMMON_LogPeakloadControl_t', setting('peakloadControl'))},"
                                   f" files looked at every {setting('granularityPeakloadProcessing')} ms")
        yield "layout", short("COMMON_LogFormat_t", setting("format"))
        handler = function(first_word(logger["handler"]))
        built_in = "handlerLegacy" in handler
        yield "records go to", "the system log" if built_in else f"the handler {handler}"
        switches = ("cache", "color", "debug", "enable", "legacy", "strip")
        yield "switches", ", ".join(f"{name} {'on' if setting(name) else 'off'}" for name in switches)
        process = logger["process"]
        if int(first_word(logger["captured"])):
            yield "process", f"{int(process['id'])} {text(process['name'])}"


class Threads(_Command):
    """List the threads that the library itself has started, with what they are for.
They are known by their names, which a core does not have, or by their functions, which takes symbols of
the library. A thread that a callback or handler has started inherits the name."""

    # The functions of such threads, and their names.
    _FUNCTIONS = {"common::timer::TimerHandler": "timer", "common::wdm::run_monitor": "watchdog's monitor"}
    _NAMES = {"common-timer": "timer, or started by a callback",
              "common-wdm": "watchdog's monitor or handler, or started by one"}

    def __init__(self):
        super().__init__("common threads", gdb.COMMAND_DATA)

    def answer(self, _):
        selected = gdb.selected_thread()
        if selected is None:
            raise gdb.GdbError("there is no process")
        frame = gdb.selected_frame()
        rows = []
        try:
            for thread in sorted(gdb.selected_inferior().threads(), key=lambda each: each.num):
                thread.switch()
                what = self._function() or self._NAMES.get(thread.name)
                if what:
                    rows.append(f"{thread.num:4}  LWP {thread.ptid[1]:<8} {what}\n")
        finally:
            selected.switch()
            frame.select()
        gdb.write("".join(rows) or "no threads of the library\n")

    def _function(self):
        frame = gdb.newest_frame()
        for _ in range(256):
            if frame is None:
                return None
            name = (frame.name() or "").partition("(")[0]
            if name in self._FUNCTIONS:
                return self._FUNCTIONS[name]
            try:
                frame = frame.older()
            except gdb.error:
                return None
        return None


class Values(_Command):
    """Print what is in a list or map, each value as of a type: common values LIST as TYPE
LIST is a ListLight, AbsSET (LIST) or Map, or a pointer to one. TYPE is of the word itself, such as
"char *" or "unsigned long"; what a "struct TRACK *" leads to is printed whole. For a map it is that of
the values; "KEY, VALUE" gives both types. Example: common values tracks as char *"""

    def __init__(self):
        super().__init__("common values", gdb.COMMAND_DATA, gdb.COMPLETE_EXPRESSION)

    def answer(self, argument):
        expression, found, wanted = argument.rpartition(" as ")
        if not found or not expression.strip():
            raise gdb.GdbError("usage: common values LIST as TYPE")
        value = gdb.parse_and_eval(expression)
        if value.type.strip_typedefs().code == gdb.TYPE_CODE_PTR:
            value = value.dereference()
        name = value.type.strip_typedefs().tag or value.type.strip_typedefs().name
        if name not in ("ListLight", "AbsSET", "Map"):
            raise gdb.GdbError(f"{expression} is no list and no map")
        types = [gdb.parse_and_eval(f"({each.strip()})0").type for each in wanted.split(",")]
        if len(types) != 2 or name != "Map":
            types = [gdb.lookup_type("void").pointer() if name == "Map" else types[0], types[0]]
        self._print(list(zip(range(limit() * (2 if name == "Map" else 1)), RECORDS[name].children(value))),
                    types, name == "Map")

    def _print(self, items, types, is_map):
        for index, (_, (_, item)) in enumerate(items):
            shown = item if isinstance(item, str) else self._text(item, types[index % 2])
            if is_map and index % 2 == 0:
                gdb.write(f"{shown} -> ")
            else:
                gdb.write(f"{shown}\n" if is_map else f"[{index}] {shown}\n")

    def _text(self, item, kind):
        try:
            value = item.cast(kind)
            target = kind.strip_typedefs()
            if target.code == gdb.TYPE_CODE_PTR:
                target = target.target().strip_typedefs()
                if target.code in (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION) and int(value):
                    value = value.dereference()
            return value.format_string()
        except gdb.MemoryError as error:
            return f"<{error}>"


def register():
    for command in (Common, Log, Threads, Values):
        command()
