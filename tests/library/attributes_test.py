#!/usr/bin/env python3
"""Checks what the attributes of the public headers make a compiler do.

A discarded result of each function that is declared COMMON_MUST_USE is warned of, and one that is
cast to void is not where the language has a way to say so. The attributes of allocations tell the
compiler what they promise, and nothing more: checks of results that may be null stay in the code.

usage: attributes_test.py INCLUDE c|c++ COMPILER [FLAG...]
"""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

COMMENT = re.compile(r"/\*.*?\*/|//[^\n]*", re.DOTALL)
MARKED = re.compile(r"\bCOMMON_MUST_USE\b(?P<type>[^;(]*?)(?P<name>\w+)\((?P<parameters>[^()]*)\)")

# Each calls gone() where the compiler must see that nobody comes there, and stays() where it must
# not think so.
PROMISES = """
#include <stddef.h>
#include <common_library.h>

#ifdef __cplusplus
extern "C" {
#endif
extern void gone(void);
#define STAYS(name, result) extern void stays_##name(void); \\
    void test_##name(void* block, const char* text, uint32_t size); \\
    void test_##name(void* block, const char* text, uint32_t size) \\
    { (void)block; (void)text; (void)size; if ((result) == NULL) { stays_##name(); } }

void sizes(void* block);
void sizes(void* block)
{
    void* const plain = MEM_Malloc(4);
    void* const zeroed = MEM_Salloc(5);
    void* const copied = MEM_Clone(6, block);
    void* const resized = MEM_Realloc(block, 7);
    if (__builtin_object_size(plain, 0) != 4 || __builtin_object_size(zeroed, 0) != 5 ||
        __builtin_object_size(copied, 0) != 6 || __builtin_object_size(resized, 0) != 7) {
        gone();
    }
}

void never_null(uint32_t number);
void never_null(uint32_t number)
{
    if (CHARSET_GetName(number) == NULL) {
        gone();
    }
}

void new_memory(char* other);
void new_memory(char* other)
{
    char* const block = (char*)MEM_Malloc(1);
    *other = 1;
    *block = 2;
    if (*other != 1) {
        gone();
    }
}

/* Also where memory is refused in another way than by the end of the process. */
STAYS(MEM_Malloc, MEM_Malloc(size))
STAYS(MEM_Salloc, MEM_Salloc(size))
STAYS(MEM_Realloc, MEM_Realloc(block, size))
STAYS(MEM_StrDup, MEM_StrDup(text))
STAYS(MEM_Clone, MEM_Clone(size, text))
STAYS(COMMON_OXA_strdup, COMMON_OXA_strdup(text))
STAYS(COMMON_OXAVarToString, COMMON_OXAVarToString((const COMMON_OXAVar*)block))
#ifdef __cplusplus
}
#endif
"""


def marked_functions(include):
    """Yields the name and the parameters' types of each function declared COMMON_MUST_USE."""
    for header in sorted(include.glob("*.h")):
        text = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", "", COMMENT.sub(" ", header.read_text()),
                      flags=re.MULTILINE)
        found = list(MARKED.finditer(text))
        assert len(found) == len(re.findall(r"\bCOMMON_MUST_USE\b", text)), header
        for match in found:
            parameters = match["parameters"].split(",")
            if [parameter.strip() for parameter in parameters] == ["void"]:
                parameters = []
            yield match["name"], [re.sub(r"\w+\s*$", "", each).strip() for each in parameters]


def compile_text(text, language, command):
    """Compiles a source text at -O2. Gives what the compiler said, and the assembler text."""
    with tempfile.TemporaryDirectory() as folder:
        source = Path(folder) / "source"
        source.write_text(text)
        result = subprocess.run(
            [*command, "-x", language, "-O2", "-Wall", "-Wextra", "-S", source, "-o", f"{source}.s"],
            capture_output=True, text=True, check=False)
        assert result.returncode == 0, result.stderr
        return result.stderr, Path(f"{source}.s").read_text()


def check_discarded(include, language, command):
    """Discards each result in a line of its own, and in C++ also behind a cast."""
    functions = list(marked_functions(include))
    assert "MEM_Malloc" in dict(functions), functions
    lines = ["#include <common_library.h>"]
    expected = set()
    for name, types in functions:
        values = ["{}" if language == "c++" else f"({each}){{0}}" for each in types]
        call = f"{name}({', '.join(values)});"
        lines.append(f"void discard_{name}(void); void discard_{name}(void) {{ {call} }}")
        expected.add(len(lines))
        if language == "c++":
            lines.append(f"void cast_{name}(); void cast_{name}() {{ (void){call} }}")
    said, _ = compile_text("\n".join(lines) + "\n", language, command)
    warned = {int(line) for line in re.findall(r":(\d+):\d+: warning: .*\[-Wunused-result\]", said)}
    for line in sorted(expected - warned):
        print("no warning:", lines[line - 1])
    for line in sorted(warned - expected):
        print("a warning:", lines[line - 1])
    assert warned == expected, said


def check_promises(language, command):
    """Looks for the calls that must be gone, and for those that must stay."""
    _, assembler = compile_text(PROMISES, language, command)
    assert "gone" not in assembler, "an attribute does not tell what it promises"
    for stays in set(re.findall(r"STAYS\((\w+), ", PROMISES)) - {"name"}:
        assert f"stays_{stays}" in assembler, f"a check of {stays}() is gone"


def main():
    include, language, compiler, *flags = sys.argv[1:]
    dialect = "-std=c++17" if language == "c++" else "-std=c11"
    # As the headers demand it of 32-bit callers.
    times = ["-D_FILE_OFFSET_BITS=64", "-D_TIME_BITS=64"]
    command = [compiler, *flags, dialect, *times, "-I", include]
    check_discarded(Path(include), language, command)
    check_promises(language, command)


if __name__ == "__main__":
    main()
