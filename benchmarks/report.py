"""Makes ratios, a table and charts of what the benchmarks measured.

A workload's rows.json lists its rows:

    row      the first part of the benchmarks' names: row/who/size
    title    for people
    measure  "cpu" or "real" time, or "value", a counter of that name
    unit     in which it is shown: ns, us, ms or s; a "value" is shown as it is
    sizes    those that the table shows; other sizes that were measured help to see how cost grows
    grows    "constant" or "linear": how cost should grow with the size
    chart    whether to draw cost against size
    compare  with: whom; kind: "floor" (ours / with is to be at most ...), "peer" (with / ours is to be at least ...) or
             "limit" (ours itself, in that unit, is to be at most ...); reach and aim: the figures, null for none
"""

import dataclasses
import math
import pathlib
import platform
import re
import statistics
import subprocess

import chart

NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
MOST_GROWTH = {"constant": 0.15, "linear": 1.15}  # exponents of the size that still count as such


@dataclasses.dataclass
class Comparison:
    other: str
    kind: str
    reach: float | None
    aim: float | None
    ratios: dict  # size to (median, least, greatest)

    def verdict(self, ratio):
        def holds(bound):
            return bound is not None and (ratio >= bound if self.kind == "peer" else ratio <= bound)

        if holds(self.aim):
            return "aim"
        if holds(self.reach):
            return "reached"
        return "MISSED" if self.reach is not None else ""


@dataclasses.dataclass
class Row:
    title: str
    unit: str
    factor: float  # by which costs are divided to be in that unit
    grows: str | None
    chart: bool
    costs: dict  # who to size to the median
    comparisons: list

    def exponent(self):
        """Of the size in our cost, over all measured sizes; none when there are fewer than five."""
        points = [(math.log(size), math.log(cost)) for size, cost in self.costs["ours"].items() if size and cost > 0]
        if len(points) < 5:
            return None
        return statistics.linear_regression(*zip(*points)).slope


def measured(results):
    """Row to who to size to the values of the repetitions, in nanoseconds or as the counter has them."""
    values = {}
    for run in results["benchmarks"]:
        if run["run_type"] != "iteration" or run.get("error_occurred"):
            continue
        name = re.sub(r"/(iterations|repeats|min_time|threads|real_time|process_time|manual_time)(:[^/]*)?", "", run["name"])
        row, who, *size = name.split("/")
        values.setdefault(row, {}).setdefault(who, {}).setdefault(int(size[0]) if size else 0, []).append(run)
    return values


def value_of(run, measure):
    if measure == "value":
        return run["value"]
    return run[f"{measure}_time"] * NANOSECONDS[run["time_unit"]]


def spread(values):
    return statistics.median(values), min(values), max(values)


def compare(described, ours, theirs, measure, factor):
    kind = described["kind"]
    ratios = {}
    for size, runs in ours.items():
        own = [value_of(run, measure) for run in runs]
        if kind == "limit":
            ratios[size] = spread([value / factor for value in own])
        elif size in theirs:
            other = [value_of(run, measure) for run in theirs[size]]
            pairs = [(b / a if kind == "peer" else a / b) for a, b in zip(own, other) if a > 0 and b > 0]
            if pairs:
                ratios[size] = spread(pairs)
    return Comparison(described["with"] or "itself", kind, described.get("reach"), described.get("aim"), ratios)


def rows_of(described, results):
    values = measured(results)
    rows = []
    for row in described:
        whos = values.get(row["row"], {})
        if "ours" not in whos:
            raise SystemExit(f"bench: nothing was measured for '{row['row']}'")
        shown = row.get("sizes") or [0]
        measure = row["measure"]
        factor = 1.0 if measure == "value" else NANOSECONDS.get(row["unit"], 1.0)
        comparisons = []
        for comparison in row["compare"]:
            ours = {size: runs for size, runs in whos["ours"].items() if size in shown}
            # Another row may be what this one is compared with.
            source = values.get(comparison.get("row", row["row"]), {})
            comparisons.append(compare(comparison, ours, source.get(comparison["with"], {}), measure, factor))
        costs = {who: {size: statistics.median(value_of(run, measure) for run in runs) for size, runs in sizes.items()}
                 for who, sizes in whos.items()}
        rows.append(Row(row["title"], row["unit"], factor, row.get("grows"), row.get("chart", False), costs, comparisons))
    return rows


def number(value):
    return f"{value:,.0f}" if abs(value) >= 100 else f"{value:.3g}"


def bound(comparison, value):
    if value is None:
        return ""
    return ("at least " if comparison.kind == "peer" else "at most ") + number(value)


def table(rows):
    lines = ["| Workload | Size | Ours | Beside | Ratio: median (min to max) | Reach | Aim | |",
             "|---|---:|---:|---|---|---|---|---|"]
    for row in rows:
        for comparison in row.comparisons:
            direction = {"peer": " / ours", "floor": "", "limit": ""}[comparison.kind]
            name = f"ours / {comparison.other}" if comparison.kind == "floor" else comparison.other + direction
            for size, (median, least, greatest) in sorted(comparison.ratios.items()):
                shown = f"{size:,}" if size else ""
                cells = (row.title, shown, f"{number(row.costs['ours'][size] / row.factor)} {row.unit}", name,
                         f"{number(median)} ({number(least)} to {number(greatest)})", bound(comparison, comparison.reach),
                         bound(comparison, comparison.aim), comparison.verdict(median))
                lines.append(f"| {' | '.join(cells)} |".replace("|  |", "| |").replace("|  |", "| |"))
    return "\n".join(lines)


def growth(rows):
    lines = ["| Workload | Sizes | Cost grows as size to the power of | Should be |", "|---|---|---:|---|"]
    for row in rows:
        exponent = row.exponent()
        if row.grows and exponent is not None:
            sizes = sorted(size for size in row.costs["ours"] if size)
            held = "" if exponent <= MOST_GROWTH[row.grows] else ", MISSED"
            lines.append(f"| {row.title} | {len(sizes)} of {sizes[0]:,} to {sizes[-1]:,} | {exponent:.2f} | {row.grows}{held} |")
    return "\n".join(lines)


def version_of(package):
    answer = subprocess.run(["dpkg-query", "--show", "--showformat=${Version}", package], capture_output=True, text=True)
    return answer.stdout or "missing"


def machine(repetitions):
    processor = next((line.split(":", 1)[1].strip() for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                      if line.startswith("model name")), platform.machine())
    packages = ("g++", "libcurl4-openssl-dev", "libssl-dev", "libsimdjson-dev", "libbenchmark-dev", "nlohmann-json3-dev",
                "rapidjson-dev", "libboost1.81-dev", "libexpat1-dev")
    versions = ", ".join(f"{package} {version_of(package)}" for package in packages)
    return (f"{repetitions} repetitions on {processor}, Linux {platform.release()}, -O2 -DNDEBUG. "
            f"Debian packages: {versions}.")


def write_page(docs, rows, repetitions):
    """Replaces what stands between the marks of docs/performance.md, and the charts."""
    folder = docs / "performance"
    folder.mkdir(exist_ok=True)
    charts = []
    for row in rows:
        if row.chart:
            name = re.sub(r"[^a-z0-9]+", "-", row.title.lower()).strip("-") + ".svg"
            (folder / name).write_text(chart.svg_of(row.title, row.unit, row.costs, row.factor))
            charts.append(f"![{row.title}: cost against size](performance/{name})")
    page = docs / "performance.md"
    begin, end = "<!-- measured: begin -->", "<!-- measured: end -->"
    before, rest = page.read_text().split(begin)
    after = rest.split(end)[1]
    parts = [begin, machine(repetitions), table(rows), growth(rows), "\n".join(charts), end]
    page.write_text(before + "\n\n".join(parts) + after)
