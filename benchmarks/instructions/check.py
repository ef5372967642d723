#!/usr/bin/env python3
"""Compares the instructions that fixed workloads take with the figures in figures.txt.

usage: check.py PROGRAM [--update]

A figure that differs by more than 3 % in either direction is a failure: more is a loss to be mended, less a gain to be
kept with --update. Counted by valgrind's callgrind, which gives the same number whatever else the machine does.
"""

import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys

FIGURES = pathlib.Path(__file__).with_name("figures.txt")
TOLERANCE = 0.03


def instructions_of(program, workload):
    command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", "--toggle-collect=counted", program, workload]
    # Nothing of the environment but what programs need: its size moves the stack.
    environment = {"PATH": os.environ["PATH"]}
    result = subprocess.run(command, capture_output=True, text=True, env=environment)
    collected = re.search(r"Collected : (\d+)", result.stderr)
    if result.returncode != 0 or collected is None:
        raise SystemExit(f"{workload}: cannot be counted: {result.stderr}")
    return int(collected[1])


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    names = subprocess.run([program], check=True, capture_output=True, text=True).stdout.split()
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        counts = dict(zip(names, pool.map(lambda name: instructions_of(program, name), names)))
    if "--update" in sys.argv[2:]:
        FIGURES.write_text("".join(f"{name} {count}\n" for name, count in counts.items()))
        return 0
    known = {name: int(count) for name, count in (line.split() for line in FIGURES.read_text().splitlines())}
    failures = 0
    for name, count in counts.items():
        expected = known.pop(name, None)
        change = count / expected - 1 if expected else 1.0
        failed = abs(change) > TOLERANCE
        failures += failed
        print(f"{name}: {count:,} instructions, {change:+.2%} of the figure{' FAILED' if failed else ''}")
    for name in known:
        print(f"{name}: in {FIGURES.name}, but no workload FAILED")
    if failures or known:
        print(f"If the change is meant: {pathlib.Path(__file__).name} PROGRAM --update, and say why in the commit")
    return 1 if failures or known else 0


if __name__ == "__main__":
    sys.exit(main())
