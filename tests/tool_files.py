"""What the tests of the command share: database files made and read byte by byte, and runs."""

import itertools
import operator
import os
import subprocess
import sys

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
