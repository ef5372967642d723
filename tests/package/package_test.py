#!/usr/bin/env python3
"""Builds and runs the consumer program against the library in one of the ways in which a host can use it.

usage: package_test.py shared|static|pkg-config|subdirectory SOURCE_ROOT BUILD_FOLDER COMPILER LAUNCHER
"""

import os
import pathlib
import shlex
import subprocess
import sys
import tempfile


def run(*command, **more):
    """Runs a command; its output is shown only when it fails, which ends the test."""
    finished = subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, **more)
    if finished.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\nended with status {finished.returncode}:\n{finished.stdout}")
    return finished.stdout


def build_with_cmake(consumer, build, compiler, launcher, **variables):
    settings = {"CMAKE_CXX_COMPILER": compiler, "CMAKE_CXX_COMPILER_LAUNCHER": launcher, **variables}
    run("cmake", "-G", "Ninja", "-S", consumer, "-B", build, *[f"-D{name}={value}" for name, value in settings.items()])
    run("cmake", "--build", build, "--target", "consumer")
    return build / "consumer"


def build_with_pkg_config(consumer, folder, prefix, compiler):
    found = {**os.environ, "PKG_CONFIG_PATH": str(next(prefix.rglob("pkgconfig")))}
    flags = shlex.split(run("pkg-config", "--cflags", "--libs", "qlczephra", env=found))
    run(compiler, "-std=c++20", consumer / "consumer.cpp", "-o", folder / "consumer", *flags)
    return folder / "consumer"


def main():
    way, compiler, launcher = sys.argv[1], sys.argv[4], sys.argv[5]
    source, build = pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    consumer = source / "tests" / "package" / "consumer"
    with tempfile.TemporaryDirectory(dir=build) as name:
        folder = pathlib.Path(name)
        if way == "subdirectory":
            # With the options of the library's own optimised build, so that a compiler cache knows all of it.
            program = build_with_cmake(consumer, folder, compiler, launcher, QLCZEPHRA_SOURCE=source,
                                       CMAKE_BUILD_TYPE="Release", CMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG",
                                       QLCZEPHRA_WERROR="ON")
            run(program)
            return
        # Moved after its installation: nothing of it may name the place where it was built or installed first.
        run("cmake", "--install", build, "--prefix", folder / "first", "--component", "library")
        prefix = (folder / "first").rename(folder / "installed")
        if way == "pkg-config":
            program = build_with_pkg_config(consumer, folder, prefix, compiler)
        else:
            target = "qlczephra::qlczephra" + ("-static" if way == "static" else "")
            program = build_with_cmake(consumer, folder / "build", compiler, launcher, CMAKE_PREFIX_PATH=prefix,
                                       QLCZEPHRA_TARGET=target)
        # The installed library must be found, not that of the build folder.
        libraries = next(prefix.rglob("libqlczephra.so")).parent
        environment = {**os.environ, "LD_LIBRARY_PATH": str(libraries)}
        linked = str(libraries) in run("ldd", program, env=environment)
        if linked == (way == "static"):
            sys.exit(f"{way}: the program is linked with the wrong kind of library")
        run(program, env=environment)


if __name__ == "__main__":
    main()
