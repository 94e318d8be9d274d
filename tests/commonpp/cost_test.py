#!/usr/bin/env python3
"""Checks that what goes through the C++ layer takes not an instruction more than the C calls do.

Both ways are compiled with -O2 and without exceptions, which would have code beside the way of the
instructions that are run. Each pair of functions must make the same calls.

usage: cost_test.py COMPILER [FLAG...]
"""
import re
import subprocess
import sys

PROGRAM = """#include <mutex>
#include <commonpp/commonpp.hpp>

// Each C_x() is what the program would write without the layer, each P_x() with it.
extern "C" {
void C_lock(COMMON_Mutex* mutex, int* number)
{
    COMMON_Mutex_Lock(mutex);
    ++*number;
    COMMON_Mutex_Unlock(mutex);
}
void P_lock(commonpp::mutex* mutex, int* number)
{
    const std::lock_guard<commonpp::mutex> held(*mutex);
    ++*number;
}
bool C_push(BlockQ* queue, const int* number)
{
    return BlockQ_Add(queue, number, sizeof *number) == sizeof *number;
}
bool P_push(commonpp::queue<int, 16>* queue, const int* number) { return queue->push(*number); }
int C_pop(BlockQ* queue)
{
    int number;
    static_cast<void>(BlockQ_Remove(queue, &number, sizeof number));
    return number;
}
int P_pop(commonpp::queue<int, 16>* queue) { return queue->pop(); }
void C_wait(COMMON_Monitor* monitor, const int* number)
{
    while (*number == 0) {
        COMMON_Monitor_Wait(monitor);
    }
}
void P_wait(commonpp::monitor* monitor, const int* number)
{
    monitor->wait([&] { return *number != 0; });
}
void C_delete(Map* map)
{
    if (map != nullptr) {
        Map_Delete(map);
    }
}
void P_delete(Map* map) { const commonpp::map owner{map}; }
int C_get(const COMMON_OXAVar* var)
{
    return var->type == OXAVAR_TYPE_INT ? var->value.integer : -1;
}
int P_get(const commonpp::variant* var)
{
    const std::int32_t* const value = var->get_if<std::int32_t>();
    return value != nullptr ? *value : -1;
}
}

struct Chart : commonpp::machine<Chart> {
    Chart() : machine("chart") {}
    HsmEvent in_only(HsmEvent event);
    state<&Chart::in_only> only{"only", *this};
};
struct Record {
    Hsm hsm;
    State only;
};
HsmEvent in_only(Record& record, HsmEvent event);
HsmEvent C_call(Hsm* machine, HsmEvent event);
HsmEvent C_call(Hsm* machine, HsmEvent event)
{
    return in_only(*reinterpret_cast<Record*>(machine), event);
}
State* P_state(Chart* chart);
State* P_state(Chart* chart) { Chart* const made = new (chart) Chart; return made->only.native(); }
"""
LABEL = re.compile(r"^([\w$.]+):")


def functions(compiler):
    """The instructions of each function, as (mnemonic, what it calls) of assembler text."""
    text = subprocess.run([*compiler, "-std=c++17", "-O2", "-fPIC", "-fno-exceptions", "-S", "-o", "-", "-x", "c++", "-"],
                          input=PROGRAM, text=True, stdout=subprocess.PIPE, check=True).stdout
    found = {}
    current = None
    for line in text.splitlines():
        label = LABEL.match(line)
        if label and not label[1].startswith((".L", "L")):
            current = found.setdefault(label[1], [])
        words = line.split("#")[0].split()
        if current is not None and words and not words[0].endswith(":") and words[0][0] != ".":
            called = words[-1] if words[0].startswith(("call", "jmp", "b")) else ""
            current.append((words[0], "" if ".L" in called else called))
    return found


def calls(code):
    return [called for _, called in code if called]


def main(compiler):
    found = functions(compiler)
    pairs = [(name, found.get("C_" + name), found.get("P_" + name))
             for name in ("lock", "push", "pop", "wait", "delete", "get")]
    # A handler: what the engine calls only goes on to the member.
    handler = [code for name, code in found.items() if "4call" in name and "7in_only" in name]
    plain = [code for name, code in found.items() if "C_call" in name]
    pairs.append(("handler", plain[0], handler[0]))
    failures = [f"{name}:\n  C   {plain}\n  C++ {layered}" for name, plain, layered in pairs
                if not plain or not layered or len(layered) > len(plain)
                or (name != "handler" and calls(layered) != calls(plain))]
    for name, plain, layered in pairs:
        print(f"{name}: {len(layered or [])} of {len(plain or [])} instructions")
    print("\n".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1:]))
