"""Prints vamel/_codes.py: the library's names, numbers and texts, from its public header.

    python3 generate_codes.py > vamel/_codes.py     (run in this folder)

So the header stays the one table of them. A test compares the two.
"""
import re
import sys
from pathlib import Path

HEADER = Path(__file__).resolve().parents[2] / "include" / "vamel" / "vamel.h"
RESULT = re.compile(r'X\((VAMEL_\w+), (-?\d+),[\s\\]*"((?:[^"\\]|\\.)*)"\)')
ENUM = re.compile(r"^enum vamel_(\w+) \{\n(.*?)^\};", re.M | re.S)
CONSTANT = re.compile(r"VAMEL_(?:OPTION|TYPE|FLAG)?_?(\w+) = (-?\d+)")
ENUMS = {
    "option": ("Option", "What an environment can be told."),
    "type": ("Type", "The types of fields."),
    "flag": ("Flag", "What a field can be besides."),
    "compare": ("Compare", "How a record's value must compare with the bound one."),
}


def render_class(name, text, members):
    lines = [f"class {name}(IntEnum):", f'    """{text}"""', ""]
    return lines + [f"    {member} = {value}" for member, value in members] + ["", ""]


def render(header):
    results = RESULT.findall(header)
    version = re.search(r'VAMEL_VERSION_STRING "(.*)"', header)
    if not results or version is None:
        sys.exit("the header has another form than this script reads")
    out = [
        '"""Names, numbers and texts of the library. Made by generate_codes.py: do not edit."""',
        "from enum import IntEnum",
        "from typing import Dict, Final",
        "",
        f'VERSION: Final = "{version.group(1)}"',
        "",
        "",
    ]
    codes = [(name[len("VAMEL_"):], value) for name, value, _ in results]
    out += render_class("Result", "What a call of the library returns; failures are negative.", codes)
    for kind, body in ENUM.findall(header):
        if kind in ENUMS:
            out += render_class(*ENUMS[kind], CONSTANT.findall(body))
    out.append("TEXTS: Final[Dict[int, str]] = {")
    out += [f'    {value}: "{text}",' for _, value, text in results] + ["}"]
    return "\n".join(out) + "\n"


if __name__ == "__main__":
    sys.stdout.write(render(HEADER.read_text(encoding="utf-8")))
