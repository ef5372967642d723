#!/usr/bin/env python3
"""Checks that every include of the project follows an arrow of the design, and names each one that does not.

usage: include_directions.py [SOURCE_ROOT]
"""

import pathlib
import re
import sys

# Folder: what its files may include besides their own folder. "value.h" stands for the one public header in which
# Value lives, so that a folder of pure functions over values need not see the rest of the public surface.
ARROWS = {
    "include": set(),
    "src/text": set(),
    "src/value": {"src/text", "include"},
    "src/platform": {"src/text", "src/value", "include"},
    "src/platform/json": {"src/text", "src/value", "value.h"},
    "src/platform/plist": {"src/text", "src/value", "value.h"},
    "src/platform/native/base": {"src/platform", "include"},
    "src/platform/native/threads": {"src/platform/native/base", "src/platform"},
    "src/platform/native/files": {"src/platform/native/base", "src/platform"},
    "src/platform/native/http": {"src/platform/native/threads", "src/platform/native/base", "src/platform", "src/text",
                                 "include"},
    "src/platform/native": {"src/platform/native/http", "src/platform/native/files", "src/platform/native/threads",
                            "src/platform/native/base", "src/platform", "src/platform/json", "include"},
    "src/document": {"src/platform/json", "src/text", "src/value", "value.h"},
    "src/transport": {"src/platform", "src/platform/json", "src/text", "src/value", "include"},
    "src/state": {"src/document", "src/platform", "src/platform/plist", "src/value", "include"},
    "src/pending": {"src/state", "src/transport", "src/document", "src/platform", "src/platform/plist", "src/value",
                    "include"},
    "src/calls": {"src/pending", "src/state", "src/transport", "src/document", "src/platform", "src/platform/plist",
                  "src/value", "include"},
    "src/policy/records": {"include"},
    "src/policy": {"src/policy/records", "src/document", "src/value", "include"},
    "src/manager": {"src/calls", "src/pending", "src/state", "src/policy", "src/policy/records", "src/transport",
                    "src/document", "src/platform", "src/platform/plist", "src/value", "include"},
    "service": {"src/value", "src/platform/json", "value.h", "mutex.h"},
    "sim": {"src/platform", "service", "src/value", "include", "mutex.h"},
    "tools": {"include", "src/document", "src/platform/json", "src/platform/plist", "service", "mutex.h"},
    "examples": {"include"},
}

# Single headers that can be named above: public, and without a dependency of their own.
SINGLE_HEADERS = {"include/qlczephra/value.h": "value.h", "include/qlczephra/export.h": "value.h",
                  "src/platform/mutex.h": "mutex.h"}

# Headers outside the standard library that a folder may use.
SYSTEM = r"[a-z_]+\.h|(sys|net|netinet|arpa)/[a-z_]+\.h"
OUTSIDE = {
    "src/platform/json": r"simdjson\.h",
    "src/platform/plist": r"expat\.h",
    "src/platform/native": r".*",
    "src/platform/native/base": r".*",
    "src/platform/native/threads": r".*",
    "src/platform/native/files": r".*",
    "src/platform/native/http": r".*",
    "src/transport": r"cxxabi\.h",  # the name of a derived class in a description
    "service": SYSTEM + r"|openssl/.*|CLI/.*",
    "sim": r"CLI/.*",
    "tools": SYSTEM + r"|openssl/.*|CLI/.*",
    "examples": r"syslog\.h",
}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
STANDARD = re.compile(r"[a-z_0-9]+")  # standard headers have no suffix and no folder


def folder_of(path):
    """The folder of the design in which a file of the project stands: the longest that fits, or None."""
    fitting = [folder for folder in ARROWS if path.startswith(folder + "/")]
    return max(fitting, key=len, default=None)


def resolve(root, name):
    """The file that an include of ours means, as a path below the root."""
    for base in ("include", "src", "."):
        path = pathlib.Path(base) / name
        if (root / path).is_file():
            return path.as_posix()
    return None


def fault_of(root, folder, bracket, name):
    """What is wrong with one include, or None."""
    target = resolve(root, name)
    if target is None:
        if bracket == '"':
            return "which is no file of this project"
        if STANDARD.fullmatch(name) or re.fullmatch(OUTSIDE.get(folder, r"(?!)"), name):
            return None
        return f"which is neither standard nor allowed to {folder}"
    target_folder = folder_of(target)
    allowed = ARROWS[folder] | {folder}
    if target_folder in allowed or SINGLE_HEADERS.get(target) in allowed:
        return None
    return f"but {folder} may not depend on {target_folder or 'that place'}"


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve()
    faults = []
    seen = 0
    for path in sorted(path for top in {folder.split("/")[0] for folder in ARROWS} for path in (root / top).rglob("*")):
        relative = path.relative_to(root).as_posix()
        folder = folder_of(relative)
        if folder is None or path.suffix not in (".h", ".cpp"):
            continue
        seen += 1
        for bracket, name in INCLUDE.findall(path.read_text(encoding="utf-8")):
            fault = fault_of(root, folder, bracket, name)
            if fault is not None:
                faults.append(f"{relative} includes {name}, {fault}")
    for fault in faults:
        print(fault)
    print(f"{seen} files, {len(faults)} includes in a forbidden direction")
    return 1 if faults or seen == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
