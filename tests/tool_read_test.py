#!/usr/bin/env python3
"""Runs the command's reading half as a user would: info, check, dump, select, on good and damaged
files. VAMEL_COMMAND is the command."""

import glob
import itertools
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor

from tool_files import BINARY, COMMAND, INTEGER, TEXT, content, number, read, run, seal

HERE = pathlib.Path(__file__).parent
TOOLS = HERE.parent / "tools"
VECTORS = sorted(glob.glob(str(HERE / "data/vectors/*.db")))
FIELDS = [("id", INTEGER), ("name", TEXT), ("name=x", TEXT), ("raw", BINARY), ("odd", 9)]
RECORDS = [
    [(0, number(1)), (1, b"ann\0"), (3, b"\x00\xff")],
    [(1, b"bob \"b\",\n\0"), (0, number(-2))],
    [(0, number(3)), (1, b"\0"), (3, b""), (4, b"\x07")],
    [],
    [(2, b"both\0"), (0, b"\x01\x02"), (1, b"\xff\0")],
    [(0, number(9)), (1, b"annie\0"), (0, number(3)), (3, b"\x00")],
    [(0, number(30)), (1, b"\xc3\xa9\x1b\0"), (2, b"a\0b\0")],
]


def value_of(form):
    """The stored bytes that a value in JSON stands for."""
    if isinstance(form, dict):
        return bytes.fromhex(form["hex"])
    return number(form) if isinstance(form, int) else form.encode() + b"\0"


def lines_of(result):
    return [json.loads(line) for line in result.stdout.decode().splitlines()]


class ToolTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vamel-read-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.people = self.make(seal(content(FIELDS, RECORDS)))

    def make(self, data, name="people.db"):
        path = self.folder / name
        path.write_bytes(data)
        return path

    def expect(self, status, message, *arguments, **options):
        result = run(*arguments, **options)
        with self.subTest(arguments=arguments):
            self.assertEqual(result.returncode, status, result.stderr)
            self.assertRegex(result.stderr.decode(), message)
            self.assertEqual(result.stderr.count(b"\n"), 0 if message == "^$" else 1)
        return result


class Good(ToolTest):
    def test_every_stored_byte_comes_out_in_json(self):
        for path in [*VECTORS, self.people]:
            fields, records = read(pathlib.Path(path).read_bytes())
            with self.subTest(path=path):
                head, *rows = lines_of(run("dump", path, "--format", "jsonl", "--schema"))
                self.assertEqual([f["name"].encode() for f in head["fields"]],
                                 [name for name, _ in fields])
                wanted = [[(fields[i][0].decode(), v) for i, v in r.items()] for r in records]
                self.assertEqual([[(n, value_of(v)) for n, v in r.items()] for r in rows], wanted)

    def test_info_counts_what_each_field_holds(self):
        rows = run("info", self.people).stdout.decode().splitlines()
        self.assertEqual(rows[1:5], [f"bytes     {self.people.stat().st_size}", rows[2],
                                     "records   7", "fields    5"])
        self.assertRegex(rows[2], "^checksum  [0-9a-f]{8}, matches$")
        self.assertEqual([row.split() for row in rows[8:]],
                         [["0", "id", "integer", "6"], ["1", "name", "text", "6"],
                          ["2", "name=x", "text", "2"], ["3", "raw", "binary", "3"],
                          ["4", "odd", "9", "1"]])
        self.assertEqual(run("info", "-", input=self.people.read_bytes()).stdout.splitlines()[1:],
                         [row.encode() for row in rows[1:]])

    def test_csv_tells_absent_from_empty(self):
        result = run("dump", self.people, "--format", "csv")
        self.assertEqual(result.stdout.decode(), "\n".join((
            'id,name,name=x,raw,odd', '1,ann,,0x00ff,', '-2,"bob ""b"",', '",,,', '3,"",,"",0x07',
            ',,,,', '0x0102,0xff00,both,,', '3,annie,,0x00,', '30,é\x1b,0x61006200,,', '')))

    def test_table_keeps_to_its_width_and_shows_no_control_characters(self):
        wide = self.make(seal(content([("日本", TEXT), ("n", INTEGER)], [
            [(0, "日本語日本語日本語".encode() + b"\0"), (1, number(-7))],
            [(0, b"\x1b[2J\xc2\x85\t\0"), (1, number(123456))], [(0, b"\0")]])), "wide.db")
        shown = run("dump", wide, env={"COLUMNS": "20"}).stdout.decode()
        self.assertEqual(shown, "日本               n\n------------  ------\n"
                                "日本語日本…       -7\n\\x1b[2J\\x85…  123456\n\"\"\n")
        narrow = self.expect(0, "4 more fields do not fit", "dump", self.people,
                             env={"COLUMNS": "9"})
        self.assertLessEqual(max(map(len, narrow.stdout.decode().splitlines())), 9)

    def test_json_escapes_what_a_terminal_would_obey(self):
        odd = self.make(seal(content([("t", TEXT)], [[(0, "\x9b2J\x7f\xa0\xc2\0".encode())]])), "o.db")
        shown = run("dump", odd, "--format", "jsonl").stdout.decode()
        self.assertEqual(shown, '{"t":"\\u009b2J\\u007f\xa0\xc2"}\n')

    def test_choice_of_fields_and_limit(self):
        chosen = run("dump", self.people, "--format", "csv", "--fields", "raw,id", "--fields",
                     "name=x", "--limit", "2")
        self.assertEqual(chosen.stdout, b"raw,id,name=x\n0x00ff,1,\n,-2,\n")
        rows = lines_of(run("dump", self.people, "--format", "jsonl", "--fields", "id"))
        self.assertEqual(rows[:4], [{"id": 1}, {"id": -2}, {"id": 3}, {}])

    def test_select_narrows_and_starts_anew_as_the_library_does(self):
        for conditions, ids, steps in [
            ([], [1, -2, 3, None, {"hex": "0102"}, 3, 30], "all 7"),
            (["id=3"], [3, 3], "seeded: 2 of 7"),
            (["id<=1"], [1, -2], "seeded: 2 of 7"),
            (["id > 3"], [{"hex": "0102"}, 30], "seeded: 2"),
            (["name=ann"], [1], "seeded: 1"),
            (["name = ann"], [1], "seeded: 1"),
            (["name=x=both"], [{"hex": "0102"}], "seeded: 1"),
            (["raw=00"], [1, 3], "seeded: 2"),
            (["raw<0x"], [3], "seeded: 1"),
            (["odd>=07"], [3], "seeded: 1"),
            (["id>=-2", "raw=00"], [1, -2, {"hex": "0102"}, 3, 30], "narrowed: 5 of 6 left"),
            (["id=3", "name=nobody", "id=1"], [1], "anew: 1 of 7"),
            (["id=3", "name=nobody"], [], "narrowed: 0 of 2 left"),
        ]:
            arguments = [part for c in conditions for part in ("--where", c)]
            with self.subTest(conditions=conditions):
                result = run("select", self.people, "--format", "jsonl", "--explain", *arguments)
                self.assertEqual([row.get("id") for row in lines_of(result)], ids)
                self.assertIn(steps, result.stderr.decode().splitlines()[-1])
                self.assertEqual(result.stdout, run("select", self.people, "--format", "jsonl",
                                                    "--indexed", "id", *arguments).stdout)

    def test_check_warns_and_is_strict_when_asked(self):
        odd = seal(content(FIELDS + [("id", TEXT)], RECORDS + [[(7, b"x"), (0, b""), (0, b"")]],
                           b"tail"))
        warnings = run("check", self.make(odd, "odd.db"), "--unique", "id", "--unique", "raw",
                       "--unique", "name").stderr.decode()
        for text in ["field 5: another field has the same name", "belongs to no field; 1",
                     "record 6: two values belong to one field; 2", "'id': an integer that is not 4 bytes long; 2",
                     "record 5: field 'name': text that is not UTF-8; 1",
                     "'name=x': text without one zero", "4 bytes follow the last record",
                     "'id' is not unique: records 3 and 6", "'raw' is not unique: records 6 and 1"]:
            self.assertIn(text, warnings)
        self.assertNotIn("'name' is not unique", warnings)
        self.assertEqual(run("check", self.people, "--strict").returncode, 1)
        self.expect(0, "^$", "check", VECTORS[0], "--strict")
        full = content([(f"f{i}", BINARY) for i in range(255)], [[]])
        self.expect(0, "255 fields", "check", self.make(seal(full), "full.db"))


class Bad(ToolTest):
    def test_wrong_use_and_unreadable_files(self):
        locked = self.folder / "missing.db"
        for status, message, *arguments in [
            (2, "subcommand", ),
            (2, "FILE", "dump"),
            (2, "xml", "dump", self.people, "--format", "xml"),
            (2, "called 'nix'; there are: id, name, name=x", "dump", self.people, "--fields", "nix"),
            (2, "--nix", "info", self.people, "--nix"),
            (2, "called", "check", self.people, "--unique", "nix"),
            (2, "expected a field", "select", self.people, "--where", "age<3"),
            (2, "'3x' is not an integer", "select", self.people, "--where", "id<3x"),
            (2, "does not fit", "select", self.people, "--where", "id<2147483648"),
            (2, "hexadecimal", "select", self.people, "--where", "raw=0"),
            (2, "no number", "dump", self.people, "--limit", "-1"),
            (3, r"a\\nb\\x1b: ", "info", self.folder / "a\nb\x1b"),
            (3, "missing.db: .*No such file", "info", locked),
            (3, "Is a directory", "check", self.folder),
        ]:
            self.expect(status, message, *arguments)

    def test_streams_that_are_full_or_closed(self):
        dump, check, missing = ["dump", self.people], ["check", self.people], ["info", "none.db"]
        for status, command, streams in [
            (3, dump, ">/dev/full"), (3, check, ">/dev/full"), (3, ["--help"], ">/dev/full"),
            (0, check, "2>/dev/full"), (3, missing, "2>/dev/full"), (3, check, ">&-"),
            (3, missing, ">&- 2>&-"), (3, ["info", "-"], "<&-"), (0, dump, "| true"),
        ]:
            with self.subTest(command=command, streams=streams):
                line = f'"$@" {streams}; exit ${{PIPESTATUS[0]}}'
                result = subprocess.run(["bash", "-c", line, "bash", COMMAND, *command],
                                        capture_output=True, check=False)
                self.assertEqual(result.returncode, status, result.stderr)

    def test_the_first_fault_is_named(self):
        sound = content([("a", INTEGER)], [[(0, number(5))]])
        for plain, message in [
            (sound[:-1], "byte 28: expected 1 bytes of a record.*the content after 0"),
            (number(256), "byte 0: expected a field count of at most 255, found 256"),
            (sound[:21] + b"\xff" * 3 + sound[24:], "byte 24: expected 16777215 bytes of a value"),
            (sound[:13] + b"aa", "byte 13: expected a zero byte at the end of a field's name"),
            (sound[:16], "byte 15: expected 4 bytes of the record count"),
            (b"", "byte 0: expected 4 bytes of the field count"),
        ]:
            self.expect(1, message, "check", self.make(seal(plain)))
        flipped = bytearray(seal(sound))
        flipped[-1] ^= 1
        self.expect(1, "byte 29: expected the checksum 0000016e .*found 0000016f", "check",
                    self.make(flipped))
        self.assertIn(b"DOES NOT MATCH", run("info", self.people).stdout)

    def test_every_damage_is_refused_and_no_file_is_touched(self):
        plain = content([("a", INTEGER), ("b", TEXT)], [[(0, number(5)), (1, b"x\0")]])
        sound = seal(plain)

        def flips(data):
            return [data[:i] + bytes([data[i] ^ 1 << bit]) + data[i + 1 :]
                    for i in range(len(data)) for bit in range(8)]

        damaged = [sound[:n] for n in range(len(sound))] + flips(sound)
        # A checksum that matches lets the damage through to what reads the content.
        damaged += [seal(p) for p in flips(plain) + [plain[:n] for n in range(len(plain))]]
        cases = list(zip(itertools.cycle(("check", "info", "dump", "select", "check")), damaged))
        with ThreadPoolExecutor(2) as pool:
            for wrong in filter(None, pool.map(self.judge, range(len(cases)), cases)):
                self.fail(wrong)

    def judge(self, at, case):
        command, data = case
        path = self.make(data, f"{at}.db")
        result = run(command, path)
        wanted = 1 if read(data) is None else 0
        kept = path.read_bytes() == data
        path.unlink()
        if result.returncode == wanted and kept and (wanted == 0) == (b"damaged" not in result.stderr):
            return None
        return f"{command}: {result.returncode}, wanted {wanted}, kept {kept}: {data.hex()}"


class Pages(unittest.TestCase):
    def test_manual_page_and_completion_know_what_help_shows(self):
        page = (TOOLS / "vamel.1").read_text()
        names = re.findall(r"^  (\w+)  ", run("--help").stdout.decode().split("Subcommands:")[1], re.M)
        self.assertEqual(re.findall(r"^\.Ss (\w+)", page, re.M), names)
        sections = re.split(r"^\.S[sh] ", page, flags=re.M)
        for name in names:
            section = next(s for s in sections if s.split("\n")[0] == name)
            shown = run(name, "--help").stdout.decode()
            with self.subTest(subcommand=name):
                self.assertRegex(shown, r"Example:\n  vamel " + name)
                options = set(re.findall(r"^  (?:-\w,)?--([\w-]+)", shown, re.M)) - {"help"}
                self.assertEqual(set(re.findall(r"^\.It (?:Fl \w , )?Fl Fl ([\w-]+)", section, re.M)), options)
                self.assertEqual(set(self.complete(name, "--")),
                                 {"--help"} | {"--" + option for option in options})
        self.assertEqual(self.complete("in"), ["info"])
        with tempfile.TemporaryDirectory(prefix="vamel-read-") as folder:
            path = pathlib.Path(folder, "odd.db")
            path.write_bytes(seal(content([("$(rm odd.db)", TEXT), ("$5 bill", TEXT)], [[]])))
            self.assertEqual(self.complete("select", path, "--where", "$5"), ["\\$5\\", "bill"])
            self.assertEqual(self.complete("check", path.with_name("od")), [str(path)])
            self.assertTrue(path.exists())

    def complete(self, *words):
        script = (f'PATH={os.path.dirname(COMMAND)}:$PATH; . "{TOOLS}/vamel.bash"; '
                  'COMP_WORDS=(vamel "$@"); COMP_CWORD=$#; _vamel; printf "%s\\n" "${COMPREPLY[@]}"')
        result = subprocess.run(["bash", "-c", script, "bash", *map(str, words)], stdout=subprocess.PIPE,
                                check=True)
        return result.stdout.decode().split()

    @unittest.skipUnless(shutil.which("mandoc"), "mandoc is not installed")
    def test_manual_page_is_clean(self):
        result = subprocess.run(["mandoc", "-Tlint", "-Wwarning", TOOLS / "vamel.1"],
                                stdout=subprocess.PIPE, check=False)
        self.assertEqual(result.stdout, b"")


if __name__ == "__main__":
    unittest.main()
