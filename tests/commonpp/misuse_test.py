#!/usr/bin/env python3
"""Checks that a compiler refuses or warns of wrong uses of the C++ layer, and takes right ones.

usage: misuse_test.py COMPILER [FLAG...]
"""
import re
import subprocess
import sys

# Wrong use, what the compiler must say of it, and the right use in its place.
CASES = [
    ('commonpp::timer t([] {}); t.start(1ms);', "nodiscard",
     'commonpp::timer t([] {}); if (!ok(t.start(1ms))) { return; }'),
    ('kZone.warn()("%s", 5);', "format", 'kZone.warn()("%s", "5");'),
    ('COMMONPP_LOG(kZone.warn(), "%d");', "format", 'COMMONPP_LOG(kZone.warn(), "%d", 5);'),
    ('kZone.warn();', "nodiscard", 'kZone.warn()("text");'),
    ('const char* text = getenv("X"); kZone.warn()(text);', "format",
     'const char* text = getenv("X"); kZone.warn()("%s", text);'),
    ('commonpp::queue<std::string, 4> q;', "=values are copied as bytes",
     'commonpp::queue<int, 4> q;'),
    ('commonpp::queue<int, 0> q;', "=room for one value at least", 'commonpp::queue<int, 1> q;'),
    ('commonpp::queue<int, 4> q; q.pop();', "nodiscard",
     'commonpp::queue<int, 4> q; static_cast<void>(q.pop());'),
    ('commonpp::variant v(2.5);', "deleted", 'commonpp::variant v(2.5F);'),
    ('commonpp::variant v(true);', "deleted", 'commonpp::variant v(1);'),
    ('commonpp::variant v(1); v.get_if<double>();', "=int32_t, float",
     'commonpp::variant v(1); (void)v.get_if<float>();'),
    ('commonpp::thread a; commonpp::thread b(a);', "deleted|implicitly-deleted",
     'commonpp::thread a; commonpp::thread b(std::move(a));'),
    ('commonpp::timer a; commonpp::timer b(a);', "deleted|implicitly-deleted",
     'commonpp::timer a; commonpp::timer b(std::move(a));'),
    ('commonpp::mutex a; commonpp::mutex b(std::move(a));', "deleted", 'commonpp::mutex a;'),
    ('commonpp::regex r = commonpp::regex::make("a");', "conversion|convert",
     'commonpp::regex r = *commonpp::regex::make("a");'),
    ('commonpp::timer t([](int) {});', "no matching", 'commonpp::timer t([] {});'),
]
START = """#include <chrono>
#include <cstdlib>
#include <string>
#include <utility>
#include <commonpp/commonpp.hpp>
using namespace std::chrono_literals;
constexpr commonpp::zone kZone{"ZONE"};
"""


def compiled(compiler, bodies):
    """What the compiler says of some bodies, each a function on a line of its own number."""
    program = START + "".join(f'#line {number} "case"\nvoid use{number}(); '
                              f'void use{number}() {{ {body} }}\n'
                              for number, body in enumerate(bodies, 1))
    # What is right declares what nothing uses, and must be accepted without a word.
    done = subprocess.run([*compiler, "-std=c++17", "-Wall", "-Wextra", "-Wformat=2",
                           "-Wno-unused-variable", "-fsyntax-only", "-x", "c++", "-"], text=True,
                          input=program, capture_output=True, check=False)
    return done.returncode == 0, done.stderr


def main(compiler):
    failures = []
    _, text = compiled(compiler, [wrong for wrong, _, _ in CASES])
    for number, (wrong, complaint, _) in enumerate(CASES, 1):
        # From the first line that names the case to the next one that names another.
        said = "".join(part for part in re.split(r"(?m)^(?=case:|<stdin>:|In file|/)", text)
                       if f"case:{number}:" in part)
        # Of a template, it is said in the header, and the place of use beside it.
        if complaint.startswith("="):
            said, complaint = text, complaint[1:] if said or f"case:{number}:" in text else "^$"
        if not re.search(complaint, said):
            failures.append(f"{wrong}: not refused for '{complaint}', but:\n{said}")
    good, text = compiled(compiler, [right for _, _, right in CASES])
    if not good or text:
        failures.append(f"what is right is refused:\n{text}")
    print("\n".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1:]))
