#!/usr/bin/env python3
"""Runs the comparison and writes its table (report.md) and its chart (chart.svg).

report.py COMPARE OUTPUT SIZE,... [WORKLOAD]
"""
import math
import os
import statistics
import subprocess
import sys
import tempfile

NAMES = {"vamel": "vamel", "sqlite": "SQLite", "hashed": "hashed container"}
COLOURS = {"vamel": "#c0392b", "sqlite": "#2471a3", "hashed": "#707b7c"}


def measure(compare, sizes, only):
    """Gives {(workload, size, contender): median of all rounds}."""
    found = {}
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None  # the disk plays no part
    for size in sizes:
        rounds = min(max(200000 // size, 3), 25)  # more where a workload is over in no time
        print(f"   {size:,} records, {rounds} rounds", file=sys.stderr, flush=True)
        with tempfile.TemporaryDirectory(dir=memory) as folder:
            calls = [[str(rounds), only]]
            if only in ("", "resident bytes"):
                calls += [["resident", name] for name in NAMES]
            for call in calls:
                output = subprocess.run([compare, folder, str(size), *call], check=True,
                                        stdout=subprocess.PIPE, text=True).stdout
                for line in output.splitlines():
                    workload, contender, value = line.split(",")
                    found.setdefault((workload, size, contender), []).append(float(value))
    return {key: statistics.median(values) for key, values in found.items()}


def exponent(found, workload, sizes, contender):
    """The slope of the least-squares line through log(time of one operation) over log(size)."""
    xs = [math.log(size) for size in sizes]
    ys = [math.log(found[workload, size, contender]) for size in sizes]
    x, y = statistics.mean(xs), statistics.mean(ys)
    below = sum((a - x) ** 2 for a in xs)
    return sum((a - x) * (b - y) for a, b in zip(xs, ys)) / below if below else 0.0


def write_table(found, workloads, sizes, out):
    for size in sizes:
        out.write(f"\n### {size:,} records\n\n| Nanoseconds for one | vamel | SQLite | hashed "
                  "container | SQLite ÷ vamel | vamel ÷ hashed |\n|---|--:|--:|--:|--:|--:|\n")
        for workload in workloads:
            v, s, h = (found[workload, size, name] for name in NAMES)
            cells = f"{v:,.0f} | {s:,.0f} | {h:,.0f} | {s / v:.2f} | {v / h:.2f}"
            out.write(f"| {workload} | {cells} |\n")
    if len(sizes) > 1:
        out.write("\n### Growth\n\n| Exponent of the time of one | vamel | SQLite | hashed "
                  "container |\n|---|--:|--:|--:|\n")
        for workload in workloads:
            cells = (f"{exponent(found, workload, sizes, name):.2f}" for name in NAMES)
            out.write(f"| {workload} | {' | '.join(cells)} |\n")


def panel(found, workload, sizes, left, top):
    """One workload: nanoseconds over records, both logarithmic."""
    values = [found[workload, size, name] for size in sizes for name in NAMES]
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)) + 1e-9)

    def point(size, value):
        x = left + 40 + 150 * math.log10(size / sizes[0]) / math.log10(sizes[-1] / sizes[0])
        return x, top + 125 - 100 * (math.log10(value) - low) / (high - low)

    yield f'<text x="{left + 40}" y="{top + 15}" font-weight="bold">{workload}</text>'
    for power in range(low, high + 1):
        y = point(sizes[0], 10**power)[1]
        yield f'<path d="M{left + 40} {y:.1f}h150" stroke="#ddd"/>'
        yield f'<text x="{left + 36}" y="{y + 3:.1f}" text-anchor="end">{10**power:,}</text>'
    for size in sizes:
        x = point(size, 1)[0]
        yield f'<text x="{x:.1f}" y="{top + 139}" text-anchor="middle">{size / 1000:,.0f}k</text>'
    for name in NAMES:
        line = " ".join("{:.1f},{:.1f}".format(*point(s, found[workload, s, name])) for s in sizes)
        yield f'<polyline points="{line}" fill="none" stroke="{COLOURS[name]}" stroke-width="2"/>'


def write_chart(found, workloads, sizes, out):
    rows = (len(workloads) + 3) // 4
    out.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="840" height="{rows * 150 + 40}" '
              'font-family="sans-serif" font-size="10"><rect width="100%" height="100%" '
              'fill="#fff"/><text x="10" y="20">Nanoseconds for one operation over the number of '
              'records; resident bytes are for one record</text>\n')
    for i, name in enumerate(NAMES):
        out.write(f'<text x="{530 + 80 * i}" y="20" font-weight="bold" '
                  f'fill="{COLOURS[name]}">{NAMES[name]}</text>\n')
    for i, workload in enumerate(workloads):
        out.write("\n".join(panel(found, workload, sizes, i % 4 * 205, i // 4 * 150 + 30)) + "\n")
    out.write("</svg>\n")


def main(compare, folder, sizes, only=""):
    sizes = [int(size) for size in sizes.split(",")]
    found = measure(compare, sizes, only)
    if not found:
        sys.exit(f"there is no workload {only}")
    workloads = list(dict.fromkeys(workload for workload, _, _ in found))
    with open(f"{folder}/report.md", "w", encoding="utf-8") as out:
        write_table(found, workloads, sizes, out)
    if len(sizes) > 1:
        with open(f"{folder}/chart.svg", "w", encoding="utf-8") as out:
            write_chart(found, workloads, sizes, out)


main(*sys.argv[1:])
