#!/usr/bin/env python3
"""Compares the symbols that a library exports with a list in docs/exports.

exports.py LIBRARY LIST           fails if they differ, and prints the added and removed symbols
exports.py LIBRARY LIST --write   writes the list anew

The lists leave out instances of the C++ library's templates, which differ from compiler to compiler.
"""
import re
import os
import subprocess
import sys

OF_CXX_LIBRARY = re.compile(r"_Z(T[VIST]|GV|Z)*(NK?)?(S[tabsiod]|9__gnu_cxx)")
STRING = "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"


def output_of(*command, **more):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **more).stdout


def is_windows(library):
    with open(library, "rb") as file:
        return file.read(2) == b"MZ"


def symbols_of(library):
    if is_windows(library):
        headers = output_of("x86_64-w64-mingw32-objdump", "-p", library)
        return re.findall(r"^\s*\[ *\d+\] (\w+)$", headers.split("[Ordinal/Name Pointer]")[1], re.M)
    return [line.split()[-1] for line in output_of("nm", "-D", "--defined-only", library).splitlines()]


def exports_of(library):
    symbols = [symbol for symbol in symbols_of(library) if not OF_CXX_LIBRARY.match(symbol)]
    names = output_of("c++filt", input="\n".join(symbols)).replace(STRING, "std::string")
    return sorted(set(names.splitlines()))


def main():
    library, path = sys.argv[1:3]
    exports = exports_of(library)
    if sys.argv[3:] == ["--write"]:
        with open(path, "w", encoding="utf-8") as file:
            file.write("\n".join(exports) + "\n")
        return
    with open(path, encoding="utf-8") as file:
        listed = set(file.read().splitlines())
    if "QZ_FAIL_ON_PURPOSE" in os.environ:  # by ./dev red
        listed.pop()
    changes = [f"+ {name}" for name in exports if name not in listed]
    changes += [f"- {name}" for name in sorted(listed.difference(exports))]
    if changes:
        sys.exit("\n".join(changes) + f"\nThe library exports other symbols than {path} says. "
                 "If that is meant, write the lists anew: ./dev symbols")


main()
