#!/usr/bin/env python3
"""Checks the protections that the compiler and linker put into the shared library and the programs.

usage: hardening.py FILE...
"""

import re
import subprocess
import sys


def readelf(option, file):
    return subprocess.run(["readelf", "--wide", option, file], check=True, capture_output=True, text=True).stdout


def faults_of(file):
    header = readelf("--file-header", file)
    segments = readelf("--program-headers", file)
    dynamic = readelf("--dynamic", file)
    symbols = readelf("--dyn-syms", file)
    stack = re.search(r"GNU_STACK.* ([RWE ]{3}) ", segments)
    wanted = {
        "its code can be loaded anywhere": re.search(r"Type:\s+DYN", header),
        "its stack cannot be executed": stack is not None and "E" not in stack[1],
        "no segment is both written and executed": not re.search(r"LOAD.* RWE ", segments),
        "its tables of addresses are read-only once it runs": "GNU_RELRO" in segments and "NOW" in dynamic,
        "its stack frames are checked": "__stack_chk_fail" in symbols,
        "its buffer functions are checked": re.search(r"__\w+_chk\b", symbols.replace("__stack_chk_fail", "")),
        "its code is not changed when it is loaded": "TEXTREL" not in dynamic,
    }
    return [f"{file}: it is not so that {what}" for what, holds in wanted.items() if not holds]


def main():
    faults = [fault for file in sys.argv[1:] for fault in faults_of(file)]
    print("\n".join(faults) or f"{len(sys.argv) - 1} files have all protections")
    return 1 if faults or len(sys.argv) < 2 else 0


if __name__ == "__main__":
    sys.exit(main())
