#!/usr/bin/env python3
"""Checks that objects that use all of the C++ layer define nothing for others.

What the layer leaves in an object is weak: inline functions, of which a program keeps one.

usage: symbols_test.py NM OBJECT...
"""
import subprocess
import sys

WEAK = {"W", "V", "u"}


def main(nm, objects):
    failures = []
    of_the_layer = 0
    for made in objects:
        for line in subprocess.run([nm, "-g", "--defined-only", "--format=posix", made],
                                   stdout=subprocess.PIPE, text=True, check=True).stdout.splitlines():
            name, kind = line.split()[:2]
            of_the_layer += "commonpp" in name
            # The 32-bit compiler's own helpers that give an address are hidden, one in a program.
            if kind not in WEAK and not name.startswith("__x86.get_pc_thunk."):
                failures.append(f"{made}: {name} is of kind {kind}")
    if of_the_layer == 0:
        failures.append("nothing of the layer is in the objects")
    print("\n".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2:]))
