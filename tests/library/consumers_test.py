#!/usr/bin/env python3
"""Compiles and runs a program that uses the library: by CMake, by pkg-config and by the compiler alone,
in C11 and, with the C++ layer, in C++17 and C++20; with the library in one of three places: the build
tree, where it was installed, or where that was moved afterwards. Names each combination that fails.

The remaining arguments are the flags of the compilers.
"""
import argparse
import os
import shutil
import subprocess
import sys
from pathlib import Path

CONSUMER = Path(__file__).parent / "consumer"
DIALECTS = {"c11": 201112, "c++17": 201703, "c++20": 202002}
STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]


class Failed(Exception):
    """What a step ended with."""


def run(*command, **environment):
    """Runs a command, gives its standard output."""
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False,
                            env={**os.environ, **environment})
    if result.returncode != 0:
        raise Failed(f"{' '.join(map(str, command))}\nended with {result.returncode}:\n"
                     f"{result.stdout}{result.stderr}")
    return result.stdout


def headers():
    """Where the public headers are installed, below the prefix."""
    include = Path(__file__).parents[2] / "include"
    return {f"include/common/{file.name}" for file in include.glob("*.h")} | {
        f"include/{file.relative_to(include)}" for file in include.glob("*/*.hpp")}


def install(arguments):
    """Installs the library part by part, and looks whether each has what it must; gives the folder."""
    prefix = arguments.work / "installed"
    library = f"{arguments.libdir}/libcommon.so"
    parts = [("Unspecified", set()),
             ("runtime", {f"{library}.1", f"{library}.{arguments.version}"}),
             ("development", {library, f"{arguments.libdir}/pkgconfig/common.pc"} | headers())]
    if arguments.tools:
        parts.append(("tools", {"bin/commonctl"}))
    found = set()
    for component, expected in parts:
        run("cmake", "--install", arguments.build, "--prefix", prefix, "--component", component)
        now = {str(file.relative_to(prefix)) for file in prefix.rglob("*") if not file.is_dir()}
        new, found = now - found, now
        if not expected <= new or (component in ("Unspecified", "runtime") and expected != new):
            raise Failed(f"{component} has {sorted(new)} instead of {sorted(expected)}")
    return prefix


def relocate(arguments):
    """Installs the library and moves it; gives the folder. Nothing there may name the one before."""
    before = install(arguments)
    after = arguments.work / "moved" / "elsewhere"
    after.parent.mkdir()
    before.rename(after)
    for file in [*after.rglob("*.cmake"), *after.rglob("*.pc")]:
        if str(before) in file.read_text():
            raise Failed(f"{file} names {before}")
    return after


class Place:
    """A place of the library, and what users must know of it."""

    def __init__(self, arguments):
        if arguments.place == "build":
            root = arguments.build
            self.package, self.pkg_config, self.libraries = root, root, root
        else:
            root = install(arguments) if arguments.place == "installed" else relocate(arguments)
            self.libraries = root / arguments.libdir
            self.package = self.libraries / "cmake/Common"
            self.pkg_config = self.libraries / "pkgconfig"
        self.headers = root / "include"


def check_output(program, dialect, version, names="<common/map.h>", **environment):
    """Runs a program and compares what it prints."""
    expected = f"{version} {version} {DIALECTS[dialect]} {names} Success 3\n"
    if dialect.startswith("c++"):
        expected += '{"Elm Street", 3} 1 0\n'
    text = run(program, COMMON_LOG_LEVEL="Info", **environment)
    if text != expected:
        raise Failed(f"printed '{text}' instead of '{expected}'")


def compile_alone(arguments, place, dialect, program, options):
    """Compiles and runs the program without a build system."""
    compiler = [arguments.c, CONSUMER / "consumer.c"]
    if dialect.startswith("c++"):
        compiler = [arguments.cxx, CONSUMER / "consumer.cpp"]
    program.parent.mkdir(exist_ok=True)
    run(*compiler, f"-std={dialect}", *STRICT, *arguments.flags, "-o", program, *options)
    check_output(program, dialect, arguments.version, LD_LIBRARY_PATH=str(place.libraries))


def by_compiler(arguments, place, dialect):
    """As somebody without any tool compiles it, who read which flags 32 bits need."""
    long_times = arguments.long_times or "-m32" in arguments.flags
    times = ["-D_FILE_OFFSET_BITS=64", "-D_TIME_BITS=64"] if long_times else []
    compile_alone(arguments, place, dialect, arguments.work / "cc" / dialect,
                  [*times, "-I", place.headers, "-L", place.libraries, "-lcommon"])


def by_pkg_config(arguments, place, dialect):
    """With what pkg-config says, which knows the library's folder only."""
    found = [arguments.pkg_config, "common"]
    version = run(*found, "--modversion", PKG_CONFIG_LIBDIR=str(place.pkg_config)).strip()
    if version != arguments.version:
        raise Failed(f"pkg-config says version {version}")
    options = run(*found, "--cflags", "--libs", PKG_CONFIG_LIBDIR=str(place.pkg_config)).split()
    compile_alone(arguments, place, dialect, arguments.work / "pkg-config" / dialect, options)


def configure(arguments, place):
    """Configures and builds the CMake project with all dialects; gives what went wrong, and its folder."""
    folder = arguments.work / "cmake"
    flags = " ".join(arguments.flags)
    try:
        run("cmake", "-S", CONSUMER, "-B", folder, "-G", arguments.generator,
            f"-DVERSION={arguments.version}", f"-DCMAKE_C_COMPILER={arguments.c}", f"-DCMAKE_CXX_COMPILER={arguments.cxx}",
            f"-DCMAKE_C_FLAGS={flags}", f"-DCMAKE_CXX_FLAGS={flags}", f"-DCommon_DIR={place.package}")
        run("cmake", "--build", folder, "--", "-k", *(["0"] if arguments.generator == "Ninja" else []))
    except Failed as failed:
        return str(failed), folder
    return "", folder


def by_cmake(arguments, built, dialect):
    """By the project in consumer/, which was built for all dialects."""
    problem, folder = built
    if not (folder / dialect).exists():
        raise Failed(problem)
    check_output(folder / dialect, dialect, arguments.version, "<map.h>")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--place", choices=["build", "installed", "relocated"], required=True)
    for path in ("build", "work"):
        parser.add_argument(f"--{path}", type=Path, required=True)
    for text in ("libdir", "version", "generator", "c", "cxx", "pkg-config"):
        parser.add_argument(f"--{text}", required=True)
    parser.add_argument("--tools", action="store_true", help="the tools were built, too")
    parser.add_argument("--long-times", action="store_true", help="they have to be asked for")
    parser.add_argument("flags", nargs="*")
    arguments = parser.parse_args()
    shutil.rmtree(arguments.work, ignore_errors=True)
    arguments.work.mkdir(parents=True)

    try:
        place = Place(arguments)
    except Failed as failed:
        sys.exit(f"{arguments.place}: {failed}")
    bad = 0
    for tool, function, given in [("CMake", by_cmake, configure(arguments, place)),
                                  ("pkg-config", by_pkg_config, place), ("compiler", by_compiler, place)]:
        for dialect in DIALECTS:
            try:
                function(arguments, given, dialect)
            except Failed as failed:
                print(f"FAILED: {tool}, {dialect}, {arguments.place}: {failed}")
                bad += 1
    sys.exit(bad)


if __name__ == "__main__":
    main()
