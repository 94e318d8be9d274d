"""Loads what gdb shows of the Common library: its records by what they mean, and "help common".

gdb loads this by itself with libcommon.so (docs/debugging.md says when it may); "source" does as well.
Such files share one set of names, so that all else is in a package, which stands beside this file.
"""
import os
import sys

import gdb


def _load_common(folder):
    wrote_no_bytecode = sys.dont_write_bytecode
    sys.path.insert(0, folder)
    sys.dont_write_bytecode = True  # nothing is left behind where this is installed
    try:
        import libcommon_gdb
    finally:
        sys.path.remove(folder)
        sys.dont_write_bytecode = wrote_no_bytecode
    libcommon_gdb.register(gdb.current_objfile())


_load_common(os.path.dirname(os.path.realpath(__file__)))
del _load_common
