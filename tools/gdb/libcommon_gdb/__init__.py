"""What gdb shows of the Common library: printers of its records and names, and commands."""
import gdb
import gdb.printing

from . import commands
from .names import NAMES
from .records import RECORDS


class _Line:
    """A value that is shown as one text."""

    def __init__(self, value, text):
        self._value = value
        self._text = text

    def to_string(self):
        try:
            return self._text(self._value)
        except gdb.error as error:  # memory that is not there, a part that was optimised out
            return f"<{error}>"


class _Tree(_Line):
    """The same with children."""

    def __init__(self, value, record):
        super().__init__(value, record.summary)
        self._children = record.children
        self._hint = record.hint

    def children(self):
        try:
            yield from self._children(self._value)
        except gdb.error as error:
            yield from [("error", f"<{error}>")] * (2 if self._hint == "map" else 1)

    def display_hint(self):
        return self._hint


def _named(names):
    """The text of a number that has a name."""
    return lambda value: f"{names[int(value)]} ({int(value)})" if int(value) in names else str(int(value))


class _Printers(gdb.printing.PrettyPrinter):
    """Finds the printer of a value: by the typedef that it was declared with, or by its record."""

    def __init__(self):
        super().__init__("libcommon", [gdb.printing.SubPrettyPrinter(name) for name in (*NAMES, *RECORDS)])
        self._switches = {switch.name: switch for switch in self.subprinters}

    def __call__(self, value):
        if value.type.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
            value = value.referenced_value()
        kind = value.type.unqualified()
        while kind.code == gdb.TYPE_CODE_TYPEDEF:
            if kind.name in NAMES and self._switches[kind.name].enabled:
                plain = kind.strip_typedefs()
                if plain.code == gdb.TYPE_CODE_INT and plain.sizeof == 4:
                    return _Line(value, _named(NAMES[kind.name]))
            kind = kind.target().unqualified()
        if kind.code != gdb.TYPE_CODE_STRUCT:
            return None
        kind = kind.strip_typedefs()
        record = RECORDS.get(kind.tag or kind.name)
        if record is None or not self._switches[kind.tag or kind.name].enabled:
            return None
        if not set(record.fields.split()) <= {field.name for field in kind.fields()}:
            return None  # somebody else's of that name
        return _Tree(value, record) if record.children else _Line(value, record.summary)


def register(objfile):
    """Shows values so from now on, while the library's object file is loaded; null: always."""
    gdb.printing.register_pretty_printer(objfile, _Printers(), replace=True)
    commands.register()
