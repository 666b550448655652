"""Measures the command vamel on files of growing size.

    tool.py COMMAND FOLDER SIZE[,SIZE...]

Prints a table: nanoseconds for one record, of the processor's time, and the most memory that the
process held, beyond what it takes to say its version, in multiples of the file's size. The growth exponent is the slope between the smallest
and the largest size; 0 is a cost that is linear in the number of records.
"""
import math
import os
import random
import subprocess
import sys

RECORD_FIELDS = ["id:integer:unique", "name:text:indexed", "group:integer", "data:binary"]
WORK = {  # what follows the command; {f}: the file, {g}: another with the same records
    "import": ["import", "{g}"] + [w for f in RECORD_FIELDS for w in ("--field", f)] + ["{csv}"],
    "info": ["info", "{f}"],
    "check": ["check", "{f}"],
    "check --unique id": ["check", "{f}", "--unique", "id"],
    "dump": ["dump", "{f}"],
    "dump --format csv": ["dump", "{f}", "--format", "csv"],
    "dump --format jsonl": ["dump", "{f}", "--format", "jsonl"],
    "select, a tenth": ["select", "{f}", "--where", "group<100"],
    "diff, in order": ["diff", "{f}", "{g}"],
    "export --to sqlite": ["export", "{f}", "--to", "sqlite"],
    "export --to postgres": ["export", "{f}", "--to", "postgres"],
}


def write_csv(path, size):
    """The records that the other benchmarks use."""
    numbers = random.Random(1)
    with open(path, "w", encoding="ascii") as out:
        out.write("id,name,group,data\n")
        for i in range(size):
            place = i * 48271 % size // 2
            blob = numbers.getrandbits(256)
            out.write(f"{i + 1},name {place:08},{numbers.randrange(1000)},0x{blob:064x}\n")


def run(command):
    """The seconds of processor time and the bytes of memory that a process has taken."""
    with open(os.devnull, "wb") as nowhere:
        process = subprocess.Popen(command, stdout=nowhere)
        _, status, used = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{command}: status {status}")
    return used.ru_utime + used.ru_stime, used.ru_maxrss * 1024


def measure(command, folder, size):
    """For each work its nanoseconds a record and its memory; the median of three runs."""
    names = {key: f"{folder}/tool.{key}" for key in ("f", "g", "csv")}
    write_csv(names["csv"], size)
    results = {}
    least = run([command, "--version"])[1]
    for work, words in WORK.items():
        runs = []
        for _ in range(3):
            if work == "import" and os.path.exists(names["g"]):
                os.remove(names["g"])
            runs.append(run([command] + [word.format(**names) for word in words]))
        if work == "import":
            subprocess.run(["cp", names["g"], names["f"]], check=True)
        seconds, memory = sorted(runs)[1]
        results[work] = seconds / size * 1e9, (memory - least) / os.path.getsize(names["f"])
    for name in names.values():
        os.remove(name)
    return results


def main():
    command, folder, sizes = sys.argv[1], sys.argv[2], [int(s) for s in sys.argv[3].split(",")]
    results = [measure(command, folder, size) for size in sizes]
    heads = [f"{size:,} records: ns a record | memory ÷ file" for size in sizes]
    print("| `vamel` |", " | ".join(heads), "| growth exponent |")
    print("|---|" + "--:|" * (2 * len(sizes) + 1))
    for work in WORK:
        cells = [f"{r[work][0]:,.0f} | {r[work][1]:.2f}" for r in results]
        growth = math.log(results[-1][work][0] / results[0][work][0])
        growth /= math.log(sizes[-1] / sizes[0]) if len(sizes) > 1 else 1
        print(f"| {work} |", " | ".join(cells), f"| {growth:.2f} |")


main()
