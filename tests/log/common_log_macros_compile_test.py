#!/usr/bin/env python3
"""Checks what a compiler says of files that use the logging macros.

A file that uses all of them, and one that names a zone and uses none, compile without a warning,
however strict. What is wrong is told: a missing zone, a second one, a format that does not fit its
values, a word that is no level.

usage: common_log_macros_compile_test.py INCLUDE c|c++ COMPILER [FLAG...]
"""
import re
import subprocess
import sys

STRICT = """-Wall -Wextra -Wpedantic -Wvariadic-macros -Wconversion -Wsign-conversion -Wshadow -Wformat=2
            -Wundef -Wcast-qual -Wredundant-decls -Wmissing-declarations -Wdouble-promotion -Wswitch-default
            -Wnull-dereference -Wunused -Wunused-macros""".split()
STRICT_CLANG = "-Wgnu-zero-variadic-macro-arguments -Wgnu-statement-expression -Wmissing-prototypes".split()
STRICT_C = "-Wstrict-prototypes -Wmissing-prototypes -Wold-style-definition -Wc++-compat".split()
STRICT_CXX = "-Wold-style-cast -Wzero-as-null-pointer-constant -Wnon-virtual-dtor".split()

HEAD = "#include <common_log_macros.h>\n"
ZONE = 'COMMON_LOG_ZONE("TUNER");\n'
MODULE = "COMMON_LOG_MODULE(LOG_MODULE_TIMER);\n"
FUNCTION = """void function(const char* path, int seen, COMMON_LogLevel_t level);
void function(const char* path, int seen, COMMON_LogLevel_t level)
{
    (void)path, (void)seen, (void)level;
    %s
}
"""
ALL = """
    COMMON_LOG_FATAL("plain");
    COMMON_LOG_CRITICAL("%d", seen);
    COMMON_LOG_ERROR("cannot read %s: %m", path);
    COMMON_LOG_WARN("plain");
    COMMON_LOG_NOTE("plain");
    COMMON_LOG_INFO("plain");
    COMMON_LOG_DEBUG("plain");
    COMMON_LOG_VERBOSE("plain");
    COMMON_LOG_AT(level, "plain");
    COMMON_LOG_IN("ZONE", level, "%d %m", seen);
    if (seen)
        COMMON_LOG_ONCE(WARN, "plain");
    else
        COMMON_LOG_ONCE(DEBUG, "%d %m", seen);
    if (seen)
        COMMON_LOG_EVERY_N(ERROR, 100, "plain");
    else if (level)
        COMMON_LOG_EVERY_N(NOTE, 100, "%d %m", seen);
    else
        COMMON_LOG_PER_SECOND(FATAL, 10, "plain");
    COMMON_LOG_PER_SECOND(INFO, 10, "%s", path);
"""
# Programs have macros of such names.
OTHERS = "-DDEBUG -DERROR= -DWARN=3 -DINFO=INFO -DFATAL=abort()".split()

GOOD = [
    HEAD + ZONE + FUNCTION % ALL,
    HEAD + MODULE + FUNCTION % ALL,
    HEAD + ZONE,
    HEAD + MODULE,
    HEAD + ZONE + FUNCTION % 'COMMON_LOG_IN("ZONE", level, "plain");',
    HEAD + FUNCTION % 'COMMON_LOG_IN("ZONE", level, "plain");',
]

# What does not compile, and what the compiler must name.
BAD = [(HEAD + FUNCTION % call, "COMMON_LOG_ZONE_of_this_file")
       for call in ('COMMON_LOG_WARN("x");', 'COMMON_LOG_AT(level, "x");', 'COMMON_LOG_ONCE(WARN, "x");',
                    'COMMON_LOG_EVERY_N(WARN, 2, "x");', 'COMMON_LOG_PER_SECOND(WARN, 2, "x");')]
BAD += [(HEAD + first + second, "COMMON_LOG_ZONE_of_this_file")
        for first in (ZONE, MODULE) for second in (ZONE, MODULE)]
BAD += [(HEAD + FUNCTION % 'COMMON_LOG_WARN("x");' + ZONE, "COMMON_LOG_ZONE_of_this_file")]
BAD += [(HEAD + ZONE + FUNCTION % f"{call}(WARNING, {number} \"x\");", "COMMON_LOG_LEVEL_WARNING")
        for call, number in (("COMMON_LOG_ONCE", ""), ("COMMON_LOG_EVERY_N", "2,"),
                             ("COMMON_LOG_PER_SECOND", "2,"))]
# Each of these calls checks its format against each of these values, which do not fit.
CALLS = ["COMMON_LOG_WARN(", "COMMON_LOG_AT(level, ", 'COMMON_LOG_IN("ZONE", level, ',
         "COMMON_LOG_ONCE(WARN, ", "COMMON_LOG_EVERY_N(WARN, 2, ", "COMMON_LOG_PER_SECOND(WARN, 2, "]
VALUES = ['"%s", seen);', '"%d");', '"%d", seen, seen);', "path);"]


def compile_text(text, command):
    """Compiles a source text. Gives whether that went well, and what the compiler said."""
    result = subprocess.run([*command, "-o", "/dev/null", "-"], input=text, capture_output=True,
                            text=True, check=False)
    return result.returncode == 0, result.stderr


def check_good(command, strict):
    """What is right compiles without a warning, optimised or not, and next to a program's macros."""
    for text in GOOD:
        for optimised in ("-O0", "-O2"):
            well, said = compile_text(text, [*command, *strict, "-Werror", optimised])
            assert well, f"{text}\n{said}"
    well, said = compile_text(GOOD[0], [*command, "-Werror", *OTHERS])
    assert well, said


def check_bad(command):
    """What is wrong is an error that names it, or a warning of the format, each in its line."""
    for text, named in BAD:
        well, said = compile_text(text, command)
        assert not well and named in said, f"{text}\n{said}"
    lines = [call + values for call in CALLS for values in VALUES]
    before = (HEAD + ZONE + FUNCTION).partition("%s")[0].count("\n")
    well, said = compile_text(HEAD + ZONE + FUNCTION % "\n".join(lines), [*command, "-Wformat=2"])
    assert well, said
    # A compiler names the line of the call in the warning itself or in a note below it.
    assert not re.search(r"warning: (?!.*\[-Wformat)", said), said
    warned = {int(line) for line in re.findall(r"<stdin>:(\d+):\d+:", said)}
    for number, line in enumerate(lines, before + 1):
        assert number in warned, f"no warning: {line}\n{said}"


def main():
    include, language, compiler, *flags = sys.argv[1:]
    dialects = ["-std=c++17", "-std=c++20"] if language == "c++" else ["-std=c11", "-std=c2x"]
    version = subprocess.run([compiler, "--version"], capture_output=True, text=True, check=True).stdout
    strict = STRICT + (STRICT_CXX if language == "c++" else STRICT_C)
    if "clang" in version:
        strict += STRICT_CLANG
    times = ["-D_FILE_OFFSET_BITS=64", "-D_TIME_BITS=64"]
    for dialect in dialects:
        command = [compiler, *flags, *times, dialect, "-I", include, "-x", language, "-c"]
        check_good(command, strict)
    check_bad(command)


if __name__ == "__main__":
    main()
