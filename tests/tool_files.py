"""What the tests of the command share: database files made and read byte by byte, and runs."""

import csv
import itertools
import operator
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

KEY = b"HorsesRunFasterThanTurtles"
INTEGER, TEXT, BINARY = 1, 2, 3
COMMAND = os.environ.get("VAMEL_COMMAND", "vamel")


def number(value):
    return (value & 0xFFFFFFFF).to_bytes(4, "big")


def content(fields, records, tail=b""):
    """fields: (name, type); records: lists of (field number, bytes)."""
    plain = number(len(fields))
    for i, (name, kind) in enumerate(fields):
        name = name if isinstance(name, bytes) else name.encode()
        plain += number(kind) + bytes([i]) + number(len(name) + 1) + name + b"\0"
    plain += number(len(records))
    parts = [plain]
    for record in records:
        parts += [bytes([i]) + number(len(value)) + value for i, value in record]
        parts.append(b"\xff")
    return b"".join(parts) + tail


def seal(plain):
    plain += number(sum(plain))
    key = itertools.cycle(KEY)
    return bytes(itertools.accumulate(map(operator.xor, plain, key), operator.xor))


def read(data):
    """(fields, records) of a file's bytes; None for one that a reader has to refuse."""
    before = b"\0" + data[:-1]
    plain = bytes(map(operator.xor, map(operator.xor, data, before), itertools.cycle(KEY)))
    body = plain[:-4]
    if len(data) < 4 or number(sum(body)) != plain[-4:]:
        return None
    try:
        return read_content(body)
    except EOFError:
        return None


def read_content(body):
    at = 0

    def take(count):
        nonlocal at
        if count > len(body) - at:
            raise EOFError
        at += count
        return body[at - count : at]

    def count(most):
        stored = int.from_bytes(take(4), "big", signed=True)
        if stored > most:
            raise EOFError
        return range(stored)

    fields, places, records = [], {}, []
    for _ in count(255):
        kind, place, size = int.from_bytes(take(4), "big"), take(1)[0], take(4)
        end = body.find(b"\0", at)
        name = body[at : max(end, at)]
        take(int.from_bytes(size, "big") if end >= 0 else len(body) + 1)
        places[place] = len(fields)
        fields.append((name, kind))
    for _ in count(0x7FFFFFFF):
        record = {}
        while (place := take(1)[0]) != 255:
            value = take(int.from_bytes(take(4), "big"))
            if place in places:
                record[places[place]] = value
        records.append(record)
    return fields, records


def run(*arguments, **options):
    """Runs the command; the result has returncode, stdout and stderr as bytes."""
    environment = dict(os.environ, **options.pop("env", {}))
    result = subprocess.run([COMMAND, *map(str, arguments)], stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, env=environment, timeout=120, **options)
    if result.returncode not in (0, 1, 2, 3) or b"Sanitizer" in result.stderr:
        sys.exit(f"{arguments}: status {result.returncode}\n{result.stderr.decode()}")
    return result


def text(t):
    return t.encode() + b"\0"


def encode(fields, records):
    return seal(content(fields, records))


def decode(data):
    fields, records = read(data)
    return [(n.decode(), kind) for n, kind in fields], [list(r.items()) for r in records]


# What no host that keeps to the types would store.
ODD = encode(
    [("id", INTEGER), ("name", TEXT), (b"\xffbad", BINARY), ("seven", 7)],
    [
        [(1, b"ann\0"), (0, number(-5))],
        [(0, b""), (1, b""), (2, b""), (3, b"")],
        [(0, b"\1\2\3"), (1, b"no end"), (2, b"\0\xff"), (3, b"x")],
        [(1, b"\xff\xfe\0"), (0, b"\1\2\3\4\5")],
        [(1, b"in\0side\0")],
        [(1, b"\0"), (0, number(2**31 - 1))],
        [],
    ],
)


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def path(self, name, content=None):
        path = self.folder / name
        if content is not None:
            path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def run_tool(self, *arguments, status=0, given=b"", **more):
        given = given if isinstance(given, bytes) else given.encode()
        done = subprocess.run(
            [COMMAND, *map(str, arguments)], input=given, capture_output=True, check=False, **more
        )
        self.assertEqual(done.returncode, status, (arguments, given[:200], done.stderr))
        self.assertLessEqual(done.stderr.count(b"\n"), 1 if status else 99, done.stderr)
        self.errors = done.stderr.decode()
        return done.stdout

    def add(self, path, wanted, given, status=0, *more):
        wanted = [f"--field={field}" for field in wanted.split()]
        return self.run_tool("import", path, "-", *wanted, *more, given=given, status=status)

    def names(self):
        return sorted(os.listdir(self.folder))


def unicode_csv(path):
    """The Unicode table with all its columns, the code point as a number."""
    fields = "code name category class bidi split decimal digit number mirrored old comment"
    with open("/usr/share/unicode/UnicodeData.txt") as table, open(path, "w") as out:
        rows = csv.writer(out)
        rows.writerow(fields.split())
        for line in table:
            row = line.rstrip("\n").split(";")
            rows.writerow([int(row[0], 16), *row[1:12]])
    return " ".join(
        f + (":integer:unique:indexed" if f == "code" else ":text") for f in fields.split()
    )
