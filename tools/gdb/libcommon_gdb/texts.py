"""Texts of values, made without a call of any function of the process."""
import re
import time

import gdb

MOST = 1 << 16  # elements that are looked at where gdb's limit is lifted


def limit():
    """How many elements of anything gdb shows."""
    return min(gdb.parameter("print elements") or MOST, MOST)


def text(pointer):
    """A text in quotation marks, cut at gdb's limit; or why there is none."""
    if int(pointer) == 0:
        return "null"
    shown = pointer.cast(gdb.lookup_type("char").pointer()).format_string(symbols=False)
    return re.sub(r"^0x[0-9a-f]+ ", "", shown)


def function(pointer):
    """The name of a function, or its address."""
    if int(pointer) == 0:
        return "null"
    found = re.search(r"<(.*)>", pointer.format_string(symbols=True))
    return found.group(1) if found else f"{int(pointer):#x}"


def hex_text(*pieces):
    """The bytes of some (address, length) in hexadecimal, cut at gdb's limit."""
    read = gdb.selected_inferior().read_memory
    left = limit()
    digits = []
    for address, length in pieces:
        taken = min(length, left)
        left -= taken
        digits += [f"{byte:02x}" for byte in bytes(read(int(address), taken))] if taken else []
    return " ".join(digits + (["..."] if len(digits) < sum(length for _, length in pieces) else []))


def thread_text(lwp):
    for thread in gdb.selected_inferior().threads():
        if thread.ptid[1] == lwp and thread.name:
            return f"thread {lwp} ({thread.name})"
    return f"thread {lwp}"


def thread_of(handle):
    """The thread that a pthread_t stands for."""
    try:
        thread = gdb.selected_inferior().thread_from_handle(handle)
    except (gdb.error, TypeError, ValueError):  # without the C library's help
        thread = None
    return thread_text(thread.ptid[1]) if thread else f"thread {int(handle):#x}"


def moment(seconds, nanoseconds=0):
    """A time of the monotonic clock, from now on where the process is on this machine."""
    connection = gdb.selected_inferior().connection
    at_ms = seconds * 1000 + nanoseconds // 1_000_000
    if connection is None or connection.type != "native":
        return f"at {at_ms // 1000}.{at_ms % 1000:03} s of the monotonic clock"
    left = at_ms - time.monotonic_ns() // 1_000_000
    return f"in {left} ms" if left >= 0 else f"{-left} ms ago"


def chain(node, link):
    """The records that lead to one another, each once; last a text where it cannot be followed."""
    seen = set()
    while int(node) != 0:
        if int(node) in seen:
            yield f"<leads back to {int(node):#x}>"
            return
        seen.add(int(node))
        try:
            record = node.dereference()
            record.fetch_lazy()
        except gdb.MemoryError as error:
            yield f"<{error}>"
            return
        yield record
        node = record[link]


def count(records):
    """How many there are, as far as they are looked at."""
    return sum(1 for _, record in zip(range(MOST), records) if not isinstance(record, str))


def several(number, what):
    return f"{number} {what}{'' if number == 1 else 's'}"
