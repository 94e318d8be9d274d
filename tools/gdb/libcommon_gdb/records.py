"""What each record of the interface is in a line, and its children."""
from typing import NamedTuple

import gdb

from .texts import chain, count, function, hex_text, moment, several, text, thread_of, thread_text


def variant(value):
    kind, elements, word = int(value["type"]), int(value["count"]), value["value"]
    if kind == 5:
        first = int(word["elements"])
        last = first + elements * value.type.sizeof
        if elements != 0 and value.address is not None and first <= int(value.address) < last:
            return "<an array of itself>"
        return f"array of {elements}" + (" without elements" if elements and not first else "")
    if kind == 2:
        return f"float {word['real'].format_string()}"
    texts = {0: lambda: "none", 1: lambda: f"int {int(word['integer'])}",
             3: lambda: f"string {text(word['text'])}",
             4: lambda: f"pointer {word['pointer'].format_string(symbols=True)}"}
    return texts.get(kind, lambda: f"<unknown type {kind}>")()


def variant_elements(value):
    if not variant(value).startswith("array of") or int(value["value"]["elements"]) == 0:
        return
    for index in range(int(value["count"])):
        element = value["value"]["elements"][index]
        try:
            element.fetch_lazy()
        except gdb.MemoryError as error:
            yield f"[{index}]", f"<{error}>"
            return
        yield f"[{index}]", element


def light_list(value):
    return f"list of {int(value['size'])}"


def light_list_values(value):
    return (node if isinstance(node, str) else node["data"] for node in chain(value["head"], "next"))


def set_values(value):
    for entry in chain(value["sentinel"]["flink"], "flink"):
        if not isinstance(entry, str) and int(entry["value"]) == 0:
            return  # the sentinel, also that of another set, which this is a copy of
        yield entry if isinstance(entry, str) else entry["value"]


def map_summary(value):
    return "map without list" if int(value["list"]) == 0 else f"map of {int(value['list']['size'])}"


def map_pairs(value):
    """Key, value, key, value, ...: a pair is two words."""
    if int(value["list"]) == 0:
        return
    words = gdb.lookup_type("void").pointer().pointer()
    for pair in light_list_values(value["list"].dereference()):
        if isinstance(pair, str):
            yield from (pair, pair)
            return
        pair = [pair.cast(words)[index] for index in range(2)]
        try:
            for word in pair:
                word.fetch_lazy()
        except gdb.MemoryError as error:
            pair = [f"<{error}>"] * 2
        yield from pair


def numbered(values):
    return lambda value: ((f"[{index}]", item) for index, item in enumerate(values(value)))


def ring(value):
    start, end, read = (int(value[name]) for name in ("start", "end", "read"))
    size, held = end - start, int(value["count"])
    if start == 0:
        return "no bytes"
    if size < 0 or held > size or not start <= read <= end:
        return f"<corrupt: {held} of {size} bytes>"
    straight = min(held, end - read)
    shown = hex_text((read, straight), (start, held - straight))
    return f"{held} of {size} bytes" + (f": {shown}" if held else "")


def byte_array(value):
    length, capacity = int(value["length"]), int(value["capacity"])
    if length > capacity or (capacity and int(value["data"]) == 0):
        return f"<corrupt: {length} of {capacity} bytes>"
    return f"{length} of {capacity} bytes" + (f": {hex_text((value['data'], length))}" if length else "")


def platform_mutex(value):
    data = value["__data"]
    if int(data["__lock"]) == 0:
        return "free"
    depth = int(data["__count"])
    return f"locked by {thread_text(int(data['__owner']))}" + (f", {depth} times" if depth > 1 else "")


def platform_semaphore(value):
    """The value of a sem_t: with 32-bit words, its lowest bit says whether somebody waits."""
    word = value["__align"]
    low = int(word) & 0xFFFFFFFF
    return low if word.type.sizeof == 8 else low >> 1


def mutex(value):
    return platform_mutex(value["mutex"])


def monitor(value):
    waiting = int(value["condition"]["__data"]["__wrefs"]) >> 3
    waits = f", {several(waiting, 'thread')} in the wait" if waiting else ""
    return mutex(value["mutex"]) + waits


def sync(value):
    owner = value["owner"]
    nobody = (1 << (8 * owner.type.sizeof)) - 1
    lock = "free" if int(owner) & nobody == nobody else f"locked by {thread_of(owner)}"
    return lock + (", signal pending" if platform_semaphore(value["signal"]) else "")


def blocking_queue(value):
    busy = [f", {name} {platform_mutex(value[name])}" for name in ("queueMutex", "bufferMutex")
            if int(value[name]["__data"]["__lock"])]
    return ring(value["ring"]) + "".join(busy)


def queue_with_sync(value):
    state = sync(value["sync"])
    return ring(value["ring"]) + ("" if state == "free" else f", {state}")


def first_word(value):
    """The plain value in a std::atomic."""
    while value.type.strip_typedefs().code == gdb.TYPE_CODE_STRUCT:
        value = value[next(field for field in value.type.strip_typedefs().fields()
                           if hasattr(field, "bitpos"))]
    return value


def timer(value):
    if int(value["inUse"]) == 0:
        return "idle"
    return f"armed, last with {function(value['callback'])} after {int(value['interval'])} ms"


def timer_threads(value):
    """What each thread does; nothing without debug information of the library."""
    for index, thread in enumerate(chain(value["threads"], "next"), 1):
        if not isinstance(thread, str):
            phase = str(first_word(thread["phase"])).rpartition("::")[2]
            due = moment(int(thread["until"]["tv_sec"]), int(thread["until"]["tv_nsec"]))
            state = {"Waiting": f"idle, ends {due}", "Calling": "calling back"}.get(phase, phase.lower())
            armed = phase == "Waiting" and thread["armed"]
            thread = f"calls {function(thread['callback'])} {due}" if armed else state
        yield f"thread {index}", thread


def timer_children(value):
    known = int(value["threads"]) and value["threads"].dereference().type.strip_typedefs().fields()
    return timer_threads(value) if known else ()


def subscriber(value):
    states = [what for what in ("unsubscribed", "fired") if int(value[what])]
    state = " and ".join(states) or f"due {moment(int(value['deadline']))}"
    return f"{function(value['handler'])}({value['argument'].format_string(symbols=True)}), {state}"


def watched(value):
    """The subscribers in the queue; a link is a number, all ones where the monitor sleeps."""
    node, seen = value["head"], set()
    asleep = (1 << (8 * node.type.sizeof)) - 1
    while int(node) not in (0, asleep):
        if int(node) in seen:
            yield f"<leads back to {int(node):#x}>"
            return
        seen.add(int(node))
        if int(node["subscriber"]):
            yield node["subscriber"].dereference()
        node = node["next"].cast(value["head"].type)


def watchdog(value):
    return several(count(watched(value)), "subscriber") + ("" if int(value["monitored"]) else ", no monitor")


def state_name(state, handler):
    return text(state["name"]).strip('"') if int(state["name"]) else function(state[handler])


def machine(value, parent, handler, target):
    """The state that is current, and those around it. The target is one that is being gone to, or 0."""
    name = text(value["name"])
    if int(value["current"]) == 0:
        return f"{name} not started"
    path = []
    for state in chain(value["current"], parent):
        path.insert(0, state if isinstance(state, str) else state_name(state, handler))
        if len(path) == 64:
            break
    going = f", on its way to {state_name(target, handler)}" if int(target) else ""
    return f"{name} in {path[-1]} ({' > '.join(path)}){going}"


def hsm(value):
    return machine(value, "super", "handler", value["next"])


def ls_hsm(value):
    # A target stays where it is after a transition that went wrong.
    return machine(value, "parent", "callback", value["target"] if int(value["busy"]) else 0)


def regular_expression(value):
    return (f"{several(int(value['expression']['re_nsub']), 'group')}, next match from byte"
            f" {int(value['position'])}")


def regular_expression_texts(value):
    if int(value["subexps"]):
        for index, found in enumerate(light_list_values(value["subexps"].dereference())):
            yield f"[{index}]", found if isinstance(found, str) else text(found)
    if int(value["result"]):
        yield "result", text(value["result"])


def uuid(value):
    size = int(value["size"])
    if size not in (0, 2, 4, 16):
        return f"<corrupt: {size} bytes>"
    digits = "".join(f"{int(value['bytes'][index]):02x}" for index in range(size))
    if size == 16:
        digits = "-".join((digits[:8], digits[8:12], digits[12:16], digits[16:20], digits[20:]))
    return digits or "empty"


def client(value):
    events = several(count(chain(value["eventHead"], "next")), "event")
    return f"client {int(value['clientId'])}, {events}"


def client_events(value):
    return (event if isinstance(event, str) else event["data"] for event in chain(value["eventHead"], "next"))


def clients(value):
    return "no clients" if int(value["head"]) == 0 else "clients"


def thread_record(value):
    name = text(value["name"][0].address) if value.address is not None else value["name"].format_string()
    return f"{name} " + (f"runs as {thread_of(value['id'])}" if int(value["id"]) else "does not run")


def process_record(value):
    return f"process {int(value['id'])} {text(value['name'])}" + ("" if int(value["loaded"]) else ", not read")


class Record(NamedTuple):
    """How a record is shown. The fields tell it from another of that name."""
    fields: str
    summary: object
    children: object = None
    hint: str = None


RECORDS = {
    "COMMON_OXAVar": Record("type count value", variant, variant_elements, "array"),
    "ListLight": Record("head tail size", light_list, numbered(light_list_values), "array"),
    "AbsSET": Record("cursor sentinel size release", light_list, numbered(set_values), "array"),
    "Map": Record("list compare", map_summary, numbered(map_pairs), "map"),
    "RingBuf": Record("start end read write count", ring),
    "BlockQ": Record("ring queueMutex condition bufferMutex", blocking_queue),
    "COMMON_BlockQEx": Record("ring sync", queue_with_sync),
    "DATA_Array": Record("data length capacity", byte_array),
    "COMMON_Mutex": Record("mutex priorityCeiling recursive", mutex),
    "COMMON_Monitor": Record("condition mutex clockId", monitor),
    "COMMON_sync": Record("owner lock signal flags", sync),
    "TMR": Record("callback interval inUse threads", timer, timer_children),
    "COMMON_wdm": Record("head anchor monitored", watchdog, numbered(watched), "array"),
    "COMMON_wdm_Subscriber": Record("deadline unsubscribed fired handler argument", subscriber),
    "RegExp": Record("expression position subexps result", regular_expression, regular_expression_texts),
    "COMMON_UUID": Record("size bytes", uuid),
    "Hsm": Record("name current next source top", hsm),
    "State": Record("super handler name", lambda value: state_name(value, "handler")),
    "ls_hsm": Record("name current target immediateTarget master", ls_hsm),
    "ls_hsm_state": Record("parent callback name depth", lambda value: state_name(value, "callback")),
    "ClientList": Record("head tail", clients, numbered(lambda value: chain(value["head"], "next")), "array"),
    "ClientNode": Record("eventHead clientId userData", client, numbered(client_events), "array"),
    "COMMON_Thread": Record("id schedule stackSize entry name", thread_record),
    "COMMON_Process": Record("id buffer name loaded", process_record),
}
