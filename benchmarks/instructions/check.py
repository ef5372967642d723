#!/usr/bin/env python3
"""Compares the instructions that fixed workloads take with the limits in limits.txt.

usage: check.py PROGRAM [--update]

A workload that takes more than its limit is a failure. --update sets each limit to what was counted and a quarter more.
Counted by valgrind's callgrind, which gives the same number whatever else the machine does.
"""

import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys

LIMITS = pathlib.Path(__file__).with_name("limits.txt")
MARGIN = 1.25


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
        LIMITS.write_text("".join(f"{name} {round(count * MARGIN, -3):.0f}\n" for name, count in counts.items()))
        return 0
    limits = {name: int(limit) for name, limit in (line.split() for line in LIMITS.read_text().splitlines())}
    for name, count in counts.items():
        failed = count > limits.get(name, 0)
        print(f"{name}: {count:,} instructions, limit {limits.get(name, 0):,}{' FAILED' if failed else ''}")
    if set(limits) != set(counts):
        print(f"{LIMITS.name} and the program do not name the same workloads FAILED")
    return 1 if set(limits) != set(counts) or any(count > limits[name] for name, count in counts.items()) else 0


if __name__ == "__main__":
    sys.exit(main())
