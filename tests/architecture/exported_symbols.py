#!/usr/bin/env python3
"""Checks what the shared library exports: names of its public headers, and its two version symbols with their content.

usage: exported_symbols.py LIBRARY PUBLIC_HEADERS_FOLDER [LIST [--update]]

With LIST, a file of one name a line, the exported names must be exactly those; --update writes the list anew. What inline
code is left to export depends on the compiler and its options, so the list is that of the optimised build.
"""

import ctypes
import pathlib
import re
import subprocess
import sys

DATA_SYMBOLS = {"qlczephraVersionNumber", "qlczephraVersionString"}
INTERNAL_NAMESPACES = {"platform"}  # the public headers name it, but offer nothing of it
OWN_NAME = re.compile(r"(?:(?:vtable|typeinfo|typeinfo name|VTT) for |(?:non-)?virtual thunk to )?qlczephra::(\w+)")


def exported_names(library):
    listing = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", library], check=True,
                             capture_output=True, text=True).stdout
    # Each line: address, kind, name.
    return [line.split(maxsplit=2)[2] for line in listing.splitlines()]


def differences_from(listed, names, update):
    if update:
        listed.write_text("\n".join(sorted(set(names))) + "\n", encoding="utf-8")
    known = set(listed.read_text(encoding="utf-8").splitlines())
    return ([f"exported, but not in {listed.name}: {name}" for name in sorted(set(names) - known)] +
            [f"in {listed.name}, but not exported: {name}" for name in sorted(known - set(names))])


def main():
    library, headers = sys.argv[1], pathlib.Path(sys.argv[2])
    declared = set()
    for header in headers.rglob("*.h"):
        text = re.sub(r"//.*", "", header.read_text(encoding="utf-8"))
        declared.update(re.findall(r"\w+", text))
    declared -= INTERNAL_NAMESPACES

    names = exported_names(library)
    faults = []
    for name in names:
        own = OWN_NAME.match(name)
        if name not in DATA_SYMBOLS and (own is None or own[1] not in declared):
            faults.append(f"exported, but in no public header: {name}")
    faults += [f"not exported: {name}" for name in sorted(DATA_SYMBOLS - set(names))]
    if not any("QLCZephraManager::QLCZephraManager(" in name for name in names):
        faults.append("not exported: the manager's constructor")

    if not faults:
        loaded = ctypes.CDLL(library)
        number = ctypes.c_double.in_dll(loaded, "qlczephraVersionNumber").value
        expected = b"@(#)PROGRAM:qlczephra  PROJECT:qlczephra-1\n\0"
        text = bytes((ctypes.c_char * len(expected)).in_dll(loaded, "qlczephraVersionString"))
        if number != 1.0:
            faults.append(f"qlczephraVersionNumber is {number}")
        if text != expected:
            faults.append(f"qlczephraVersionString is {text}")

    if len(sys.argv) > 3:
        faults += differences_from(pathlib.Path(sys.argv[3]), names, update="--update" in sys.argv)

    print("\n".join(faults) or f"{len(names)} exported symbols, all of them public")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
