#!/usr/bin/env python3
"""Runs the vamel command as a user does: import, diff, restore and export.

    VAMEL_COMMAND=build/release/tools/vamel tests/tool_write_test.py [ARGUMENT OF unittest...]

What is exported is loaded into the real sqlite3 and a real PostgreSQL server, if they are
installed.
"""
import csv
import hashlib
import json
import os
import pathlib
import pty
import random
import resource
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

from tool_files import BINARY, COMMAND, INTEGER, TEXT, content, number, read, seal

HERE = pathlib.Path(__file__).parent


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


class Import(Case):
    def test_accepted(self):
        wanted = "id:integer name:text:indexed pic:binary a:b:text"
        fields = [("id", INTEGER), ("name", TEXT), ("pic", BINARY), ("a:b", TEXT)]
        row = [(0, number(5)), (1, text("ann"))]
        cases = [
            ("id,name\n5,ann\n", [row]),
            (
                "\ufeffname,id\r\nann,5\r\n\r\nbob,-2147483648",
                [row[::-1], [(1, text("bob")), (0, number(-(2**31)))]],
            ),
            ('"name"\n""\n\n"a ""b"",\r\nc"\n', [[(1, b"\0")], [], [(1, text('a "b",\r\nc'))]]),
            (
                'a:b,pic,id\n,"",\n"é",0x00fF,0\n',
                [[(2, b"")], [(3, text("é")), (2, b"\0\xff"), (0, number(0))]],
            ),
            ('{"id":5,"name":"ann"}\n\n{"pic":{"hex":""},"id":null}\r\n{}', [row, [(2, b"")], []]),
            (
                '\ufeff{"name":"\\ud83d\\ude00\\n","id":-1}',
                [[(1, text("\U0001f600\n")), (0, number(-1))]],
            ),
        ]
        for i, (given, records) in enumerate(cases):
            with self.subTest(given=given):
                path = self.path(f"{i}.db")
                self.add(path, wanted, given)
                self.assertEqual(path.read_bytes(), encode(fields, records))
                self.add(path, "", given)  # once more, with the fields of the file
                self.assertEqual(path.read_bytes(), encode(fields, records * 2))

    def test_fields_from_the_input(self):
        path = self.path("t.db")
        self.add(path, "", "a,b c\n1,\n")
        self.assertEqual(decode(path.read_bytes()), ([("a", TEXT), ("b c", TEXT)], [[(0, b"1\0")]]))
        path.unlink()
        self.add(path, "", '{"n":1}\n{"n":2,"t":"x"}\n{"b":{"hex":"00"},"":"y"}\n')
        self.assertEqual(
            decode(path.read_bytes())[0], [("n", INTEGER), ("t", TEXT), ("b", BINARY), ("", TEXT)]
        )
        path.unlink()
        self.add(path, "n:integer t:text", "1,x\n", 0, "--no-header")
        self.assertEqual(
            path.read_bytes(),
            encode([("n", INTEGER), ("t", TEXT)], [[(0, number(1)), (1, b"x\0")]]),
        )

    def test_refused_by_line(self):
        cases = [
            ("id,name\n1,a\n2147483648,b", "line 3: field id", "2147483647"),
            ("id,name\n-2147483649,b", "line 2: field id", "2147483647"),
            ("id\n1\n 2\n", "line 3: field id", "no integer"),
            ('id\n""\n', "line 2: field id", "no integer"),
            ("id\n1e3\n", "line 2", "no integer"),
            ("id,name\n1,a\n1,a,b\n", "line 3", "3 cells where 2"),
            ('name\n"a\n\nb"\n"c', "line 5", "never closed"),
            ('name\n"a"b\n', "line 2", "closing quote"),
            ('name\na"b"\n', "line 2", "quote"),
            ("name\na\rb\n", "line 2", "carriage return"),
            (b"name\n\xed\xa0\x80\n", "line 2: field name", "UTF-8"),
            (b"name\na\0b\n", "line 2: field name", "zero byte"),
            ("pic\n0x123\n", "line 2: field pic", "hexadecimal"),
            ("pic\nabc\n", "line 2: field pic", "hexadecimal"),
            ("id,nome\n", "line 1", "no field"),
            ("id,id\n1,2\n", "line 1", "twice"),
            ("", "line 1", "header"),
            ('{"id":1}\n{"id":2147483648}', "line 2: field id", "32 bits"),
            ('{"id":1.5}', "line 1: field id", "integer"),
            ('{"id":"1"}', "line 1: field id", ""),
            ('{"name":7}', "line 1: field name", "string"),
            ('{"name":"a\\u0000b"}', "line 1: field name", "U+0000"),
            (b'{"name":"\xff"}', "line 1", "no JSON"),
            ('{"name":"\\ud800"}', "line 1", "no JSON"),
            ('{"pic":{"hex":"0"}}', "line 1: field pic", "hex"),
            ('{"nome":"x"}', "line 1", "no field"),
            ('{"id":1,"id":2}', "line 1", "twice"),
            ('{"id":1}\n{"id":2', "line 2", "no JSON"),
            ('{"id":1}\n[1]', "line 2", "object"),
            ('{"fields":[{"name":"id","type":"text"}]}', "line 1", "no field id of type text"),
            ('{"fields":[{"name":"id"}]}', "line 1", "field list"),
            ('{"id":' * 100000 + "1" + "}" * 100000, "line 1", "too deeply"),
        ]
        old = encode([("id", INTEGER), ("name", TEXT), ("pic", BINARY)], [[(0, number(1))]])
        path = self.path("t.db", old)
        for given, *parts in cases:
            with self.subTest(given=given[:60]):
                self.add(path, "", given, 2)
                for part in ["standard input: ", *parts]:
                    self.assertIn(part, self.errors)
                self.add(self.path("new.db"), "id:integer name:text pic:binary", given, 2)
                self.assertEqual((path.read_bytes(), self.names()), (old, ["t.db"]))

    def test_refused_before_the_first_line(self):
        old = encode([("id", INTEGER)], [[(0, number(1))]])
        path = self.path("t.db", old)
        repeated = self.path("repeated.db", encode([("id", INTEGER)] * 2, [[(0, number(1))]]))
        damaged = self.path("damaged.db", old[:-1])
        self.path("locked.db", old).chmod(0o444)
        cases = [
            (2, [path, "-", "--field=id:text"], "no field id of type text"),
            (2, [path, "-", "--field=x:integer"], "no field x"),
            (2, ["new.db", "-", "--field=x"], "name:type"),
            (2, ["new.db", "-", "--field=x:int"], "name:type"),
            (2, ["new.db", "-", "--field=x:256"], "name:type"),
            (2, ["new.db", "-", "--field=x:text", "--field=x:integer"], "twice"),
            (2, ["-", path], "standard output"),
            (3, [path, "missing.csv"], "missing.csv"),
            (3, ["none/t.db", "-", "--field=id:integer"], "none/t.db"),
            (3, [".", "-"], "regular file"),
            (1, [repeated, "-"], "same name"),
            (1, [damaged, "-"], "damaged"),
        ]
        before = self.names()
        for status, arguments, part in cases:
            with self.subTest(arguments=arguments):
                self.run_tool("import", *arguments, given="id\n7\n", status=status, cwd=self.folder)
                self.assertIn(part, self.errors)
                self.assertEqual((path.read_bytes(), self.names()), (old, before))
        if os.geteuid() != 0:
            self.run_tool("import", self.path("locked.db"), "-", given="id\n7\n", status=3)

    def test_unique_as_an_insert_has_it(self):
        cases = [
            (
                "u:integer:unique",
                "u\n1\n2\n1\n",
                "line 4: field u: its value is to be unique, and line 2",
            ),
            ("u:integer:unique", "u\n\n1\n\n", None),
            ("u:text:unique", 'u\na\nab\n""\n""\n', "line 5"),
            ("u:binary:unique", 'u\n""\n""\n0x61\n', None),
            ("u:binary:unique", "u\n0x6162\n0x61\n", "line 3"),  # a value equals its prefixes
            ("u:text:indexed:unique", "u\na\nb\na\n", "line 4"),
        ]
        for field, given, fault in cases:
            with self.subTest(field=field, given=given):
                path = self.path("u.db")
                self.add(path, field, given, 2 if fault else 0)
                self.assertIn(fault or "", self.errors)
                self.assertEqual(path.exists(), fault is None)
                path.unlink(missing_ok=True)
        path = self.path("u.db")
        self.add(path, "u:integer", "u\n1\n2\n")
        self.add(path, "u:integer:unique", "u\n3\n2\n", 2)
        self.assertIn("line 3: field u: its value is to be unique, and record 2 of", self.errors)
        self.add(path, "u:integer", "u\n2\n")
        self.add(path, "u:integer:unique", "u\n9\n", 1)
        self.assertIn("records 2 and 3", self.errors)

    def test_no_record_makes_no_file(self):
        self.add(self.path("t.db"), "id:integer", "id\n")
        self.assertIn("none was made", self.errors)
        self.assertEqual(self.names(), [])

    def test_json_lines_out_and_in_are_the_same_bytes(self):
        unicode_fields = unicode_csv(self.path("unicode.csv"))
        self.run_tool(
            "import",
            self.path("unicode.db"),
            self.path("unicode.csv"),
            *(f"--field={s}" for s in unicode_fields.split()),
        )
        with open("/usr/share/iso-codes/json/iso_639-3.json") as codes:
            lines = "".join(json.dumps(c) + "\n" for c in json.load(codes)["639-3"])
        self.run_tool("import", self.path("iso.db"), self.path("iso.jsonl", lines))
        self.path("odd.db", ODD)
        sources = [*(HERE / "data/vectors").glob("*.db"), *self.folder.glob("*.db")]
        self.assertGreater(len(sources), 10)
        for source in sources:
            with self.subTest(source=source.name):
                copy = self.path("copy.db")
                exported = self.run_tool("export", source, "--to", "jsonl")
                self.run_tool("import", copy, self.path("copy.jsonl", exported))
                self.assertEqual(copy.read_bytes(), source.read_bytes())
                self.run_tool("diff", source, copy)
                copy.unlink()


class Replacing(Case):
    """Whatever stops the command leaves the old file or the new one."""

    def setUp(self):
        super().setUp()
        self.old = encode([("id", INTEGER), ("name", TEXT)], [[(0, number(1))]])
        self.target = self.path("t.db", self.old)
        rows = "".join(f"{i},name {i}\n" for i in range(100000))
        self.rows = self.path("rows.csv", "id,name\n" + rows)

    def test_full_disk(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (50000, 50000))

        self.run_tool("import", self.target, self.rows, status=3, preexec_fn=limit)
        self.assertIn(
            "t.db: cannot be written: File too large; the old file is as it was", self.errors
        )
        big = self.path("big.db")
        self.run_tool("import", big, self.rows)
        for to in ("sqlite", "csv"):
            arguments = ("export", big, "--to", to, "-o", self.path("out"))
            self.run_tool(*arguments, status=3, preexec_fn=limit)
        self.run_tool("restore", self.target, "--from", big, status=3, preexec_fn=limit)
        self.assertEqual(
            (self.target.read_bytes(), self.names()), (self.old, ["big.db", "rows.csv", "t.db"])
        )

    def test_stopped_at_any_moment(self):
        whole, big, out = self.path("whole.db", self.old), self.path("big.db"), self.path("out.sql")
        self.run_tool("import", big, self.rows)
        writing = [
            (["import", self.target, self.rows], ["import", whole, self.rows], whole),
            (
                ["export", big, "--to=sqlite", "-o", self.target],
                ["export", big, "--to=sqlite", "-o", out],
                out,
            ),
        ]
        seed = random.randrange(2**32)
        moments = random.Random(seed)
        for command, same, result in writing:
            begun = time.monotonic()
            self.run_tool(*same)
            lasts, new = time.monotonic() - begun, result.read_bytes()
            for i in range(30):
                which = (signal.SIGKILL, signal.SIGTERM, signal.SIGINT)[i % 3]
                tool = subprocess.Popen([COMMAND, *command], stdout=subprocess.DEVNULL)
                time.sleep(moments.uniform(0.2, 1.1) * lasts)
                tool.send_signal(which)
                tool.wait()
                self.assertIn(self.target.read_bytes(), (self.old, new), seed)
                left = [n for n in self.names() if n.startswith(".")]
                self.assertTrue(which == signal.SIGKILL or not left, (seed, left))
                for name in left:
                    self.path(name).unlink()
                self.target.write_bytes(self.old)

    def test_what_else_is_kept(self):
        self.target.chmod(0o640)
        link = self.path("link.db")
        link.symlink_to("t.db")
        self.add(link, "", "id\n2\n")
        chain = [self.path("chain.db"), self.path("link2.db")]  # to a file that is not there yet
        chain[0].symlink_to("link2.db"), chain[1].symlink_to("new.db")
        self.add(chain[0], "", "id\n2\n")
        self.assertTrue(self.path("new.db").exists())
        self.assertTrue(all(path.is_symlink() for path in [link, *chain]))
        self.assertEqual(self.target.stat().st_mode & 0o777, 0o640)
        self.assertEqual(len(decode(self.target.read_bytes())[1]), 2)

    def test_changed_meanwhile(self):
        tool = subprocess.Popen(
            [COMMAND, "import", self.target, "-"], stdin=subprocess.PIPE, stderr=subprocess.PIPE
        )
        tool.stdin.write(b"id\n" + b"1\n" * 100000)
        tool.stdin.flush()  # more than the pipe holds: the old file has been read
        self.target.write_bytes(self.old * 2)
        _, errors = tool.communicate(b"2\n")
        self.assertEqual((tool.returncode, self.target.read_bytes()), (3, self.old * 2))
        self.assertIn(b"changed by another program", errors)

    def test_restore(self):
        other = encode([("x", TEXT)], [[(0, b"1\0")]])
        backup = self.path("backup.db", other[:-1])
        self.run_tool("restore", self.target, "--from", backup, status=1)
        self.assertEqual(self.target.read_bytes(), self.old)
        backup.write_bytes(other)
        self.run_tool("restore", self.target, "--from", self.target, status=2)
        self.run_tool("restore", self.target, "--from", self.path("missing"), status=3)
        said = self.run_tool("restore", self.target, "--from", backup)
        self.assertIn(b"t.db.old", said)
        self.run_tool("restore", self.target, "--from", backup)
        self.run_tool("restore", self.path("gone.db"), "--from", backup)
        files = {n: self.path(n).read_bytes() for n in self.names() if n != "rows.csv"}
        self.assertEqual(
            files,
            {
                "t.db": other,
                "t.db.old": self.old,
                "t.db.old2": other,
                "gone.db": other,
                "backup.db": other,
            },
        )

    def test_progress(self):
        ours, theirs = pty.openpty()
        tool = subprocess.Popen(
            [COMMAND, "import", self.path("p.db"), "-"],
            stdin=subprocess.PIPE,
            stdout=subprocess.DEVNULL,
            stderr=theirs,
        )
        tool.stdin.write(b"id\n" + b"1\n" * 5000)
        tool.stdin.flush()
        time.sleep(0.5)
        tool.communicate(b"2\n" * 5000)
        shown = os.read(ours, 10000)
        self.assertIn(b"records, ", shown)
        self.assertTrue(shown.endswith(b"\r\x1b[K"), shown)
        os.close(ours), os.close(theirs)


class Diff(Case):
    def test_diff(self):
        def table(*rows, fields=("id", "name")):
            kinds = [(f, INTEGER if f == "id" else TEXT) for f in fields]
            values = [
                [(i, number(v) if i == 0 else text(v)) for i, v in enumerate(r) if v is not None]
                for r in rows
            ]
            return encode(kinds, values)

        ann, bob, eve = (1, "ann"), (2, "bob"), (3, "eve")
        base = table(ann, bob, eve)
        cases = [
            (base, base, "", 0, []),
            (base, table(bob, eve, ann), "id", 0, []),
            (base, table(bob, eve, ann), "", 1, ['- record 1 {"id":1,"name":"ann"}', "3 changed"]),
            (
                base,
                table(ann, (2, ""), eve),
                "id",
                1,
                ['- record "id"=2 {"name":"bob"}\n+ record "id"=2 {"name":""}\n', "1 changed"],
            ),
            (table(ann, (2, "")), table(ann, (2, None)), "", 1, ['+ record 2 {"name":null}']),
            (base, table(ann, eve), "id", 1, ['- record "id"=2 {"id":2,"name":"bob"}\n0 fields']),
            (table(ann), base, "", 1, ["+ record 3", "2 only in"]),
            (table(ann, ann), table(ann), "id", 1, ["1 records only in", "0 changed"]),
            (
                table(ann),
                table(ann, fields=("id", "nom")),
                "",
                1,
                ['- field "name" text\n+ field "nom" text\n', "2 fields differ; 0 records"],
            ),
            (table((None, "x"), (-1, "y")), table((-1, "y"), (None, "x")), "id", 0, []),
        ]
        for a, b, key, status, parts in cases:
            with self.subTest(a=decode(a), b=decode(b), key=key):
                arguments = ["diff", self.path("a.db", a), self.path("b.db", b)]
                arguments += ["--key", key] if key else []
                shown = self.run_tool(*arguments, status=status).decode()
                self.assertEqual(shown == "", status == 0)
                for part in parts:
                    self.assertIn(part, shown)
                quiet = self.run_tool(*arguments, "-q", status=status).decode()
                self.assertEqual(quiet.count("\n"), status)
        self.run_tool("diff", self.path("a.db"), self.path("b.db"), "--key", "nome", status=2)
        self.run_tool("diff", self.path("a.db"), self.path("c.db", base[:-2]), status=1)
        self.run_tool("diff", self.path("a.db"), self.path("none.db"), status=3)


class Export(Case):
    """Loads exports into other engines, and asks them for each column's values."""

    @classmethod
    def setUpClass(cls):
        cls.server = None
        programs = sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin"))
        if programs:
            cls.server = Server(programs[-1])

    @classmethod
    def tearDownClass(cls):
        if cls.server:
            cls.server.stop()

    def load(self, engine, name, *arguments):
        """A function that gives the answer to a query, line by line."""
        script = self.run_tool("export", self.path(name + ".db"), "--to", engine, *arguments)
        if engine == "sqlite":
            if not shutil.which("sqlite3"):
                self.skipTest("sqlite3, from the package sqlite3, is not installed")
            ask = ["sqlite3", "-batch", str(self.path(name + ".sqlite"))]
        else:
            if not self.server:
                self.skipTest("the package postgresql is not installed")
            ask = self.server.make_database(name)

        def answer(query):
            given = query if isinstance(query, bytes) else query.encode()
            done = subprocess.run(ask, input=given, capture_output=True, check=False)
            self.assertEqual((done.returncode, done.stderr), (0, b""))
            return done.stdout.decode().splitlines()

        answer(script)
        return answer

    def check_columns(self, engine, name):
        """Compares the number of rows and a digest of each column with the file's own."""
        fields, records = decode(self.path(name + ".db").read_bytes())
        answer = self.load(engine, name)
        self.assertEqual(answer(f'SELECT count(*) FROM "{name}";')[-1:], [str(len(records))])
        for i, (field, kind) in enumerate(fields):
            column = '"' + field.replace('"', '""') + '"'
            # An integer as its digits, everything else as bytes.
            shown = {
                ("sqlite", INTEGER): column,
                ("sqlite", TEXT): f"lower(hex({column}))",
                ("postgres", INTEGER): f"{column}::text",
            }.get(
                (engine, kind),
                f"lower(hex({column}))"
                if engine == "sqlite"
                else f"encode({'convert_to(' + column + ', $$UTF8$$)' if kind == TEXT else column}, 'hex')",
            )
            shown = f"CASE WHEN {column} IS NULL THEN 'null' ELSE '=' || {shown} END"
            got = answer(f'SELECT {shown} FROM "{name}" ORDER BY seq;')
            values = [dict(r).get(i) for r in records]
            expected = [
                "null"
                if v is None
                else f"={int.from_bytes(v, 'big', signed=True)}"
                if kind == INTEGER
                else "=" + (v[:-1] if kind == TEXT else v).hex()
                for v in values
            ]
            digest = [
                hashlib.md5("\n".join(lines).encode()).hexdigest() for lines in (got, expected)
            ]
            self.assertEqual(*digest, (engine, name, field))

    def test_columns_agree(self):
        wanted = unicode_csv(self.path("unicode.csv"))
        self.add(self.path("unicode.db"), wanted, self.path("unicode.csv").read_bytes())
        with open("/usr/share/iso-codes/json/iso_3166-1.json") as codes:
            rows = json.load(codes)["3166-1"]
        self.add(self.path("iso.db"), "", "".join(json.dumps(r) + "\n" for r in rows))
        nasty = [
            "",
            "\\N",
            "\\.",
            "'; DROP TABLE x; --",
            "a\r\nb\\\tc\r\n",
            "\x01\x7f",
            "NULL",
            '"',
            "\U0010ffff",
            "\n.quit\n",
        ]
        names = ["a\"b'", "select", "Seq.", "ß;", "x y"]
        self.path(
            "nasty.db",
            encode(
                [(n, TEXT) for n in names[:3]] + [(names[3], BINARY), (names[4], INTEGER)],
                [
                    [(i % 3, text(t)), (3, t.encode() + b"\0\xff"), (4, number(-i))]
                    for i, t in enumerate(nasty)
                ],
            ),
        )
        for engine in ("sqlite", "postgres"):
            with self.subTest(engine=engine):
                for name in ("unicode", "iso", "nasty"):
                    self.check_columns(engine, name)

    def test_names(self):
        long = "é" * 40
        names = ["seq", "Id", "id", "ctid", long, long + "x", "", b"\xff", "a\nb"]
        self.path(
            "names.db", encode([(n, INTEGER) for n in names], [[(i, number(i)) for i in range(9)]])
        )
        shown = {
            "sqlite": [
                "seq_2",
                "seq",
                "Id",
                "id_2",
                "ctid",
                long,
                long + "x",
                "field_7",
                "field_8",
                "a b",
            ],
            "postgres": [
                "seq_2",
                "seq",
                "Id",
                "id",
                "ctid_2",
                "é" * 31,
                "é" * 30 + "_2",
                "field_7",
                "field_8",
                "a b",
            ],
        }
        for engine, expected in shown.items():
            with self.subTest(engine=engine):
                answer = self.load(
                    engine, "names", "--table", 't "x"', "--unique", "id", "--index", "seq"
                )
                self.assertIn("the sequence column is called seq_2", self.errors)
                head = (
                    ".headers on\n"
                    if engine == "sqlite"
                    else "\\pset tuples_only off\n\\pset footer off\n"
                )
                got = answer(head + 'SELECT * FROM "t ""x""";')
                self.assertEqual(got, ["|".join(expected), "1|0|1|2|3|4|5|6|7|8"])

    def test_odd_values_and_unique_fields(self):
        self.path("odd.db", ODD)
        expected = {
            "sqlite": [
                "'ann'|-5|NULL|NULL",
                "''|X''|X''|X''",
                "'no end'|X'010203'|X'00FF'|X'78'",
                "X'FFFE'|X'0102030405'|NULL|NULL",
                "X'696E0073696465'|NULL|NULL|NULL",
                "''|2147483647|NULL|NULL",
                "NULL|NULL|NULL|NULL",
            ],
            "postgres": [
                "\\x616e6e|-5|~|~",
                "\\x|~|\\x|\\x",
                "\\x6e6f20656e64|16909056|\\x00ff|\\x78",
                "\\xfffe|16909060|~|~",
                "\\x696e0073696465|~|~|~",
                "\\x|2147483647|~|~",
                "~|~|~|~",
            ],
        }
        for engine, rows in expected.items():
            with self.subTest(engine=engine):
                unique = "--unique=name", "--unique=id", "--unique=seven"  # empty values twice
                answer = self.load(engine, "odd", *unique)
                self.assertIn("field name: 2 values are no UTF-8 text", self.errors)
                self.assertIn("field id: 3 values are no integers", self.errors)
                if engine == "sqlite":
                    query = "SELECT quote(name)||'|'||quote(id)||'|'||quote(field_3)||'|'||quote(seven) FROM odd ORDER BY seq;"
                else:
                    query = "\\pset null ~\nSELECT name, id, field_3, seven FROM odd ORDER BY seq;"
                self.assertEqual(answer(query), rows)
                insert = "INSERT INTO odd(seq, id) VALUES(8, -5);"
                with self.assertRaises(AssertionError):
                    answer(insert)
        self.run_tool("export", self.path("odd.db"), "--to", "sqlite", "--unique", "x", status=2)
        self.run_tool("export", self.path("odd.db"), "--to", "csv", "--unique", "id", status=2)

    def test_csv_comes_back(self):
        fields, records = [("n", INTEGER), ("t", TEXT), ("b", BINARY)], [
            [(0, number(-7)), (1, text('a,"b"\r\nc')), (2, b"\0\1")],
            [(1, b"\0")],
            [(2, b"")],
            [],
        ]
        source = self.path("s.db", encode(fields, records))
        self.run_tool("export", source, "--to", "csv", "-o", self.path("s.csv"))
        self.run_tool(
            "import",
            self.path("c.db"),
            self.path("s.csv"),
            "--field=n:integer",
            "--field=t:text",
            "--field=b:binary",
        )
        self.assertEqual(self.path("c.db").read_bytes(), source.read_bytes())


class Server:
    """A PostgreSQL server of its own: in a temporary folder, at a socket there, at no network."""

    def __init__(self, programs):
        self.programs = programs
        self.folder = tempfile.mkdtemp(prefix="vamel-pg-")
        self.user = ["runuser", "-u", "postgres", "--"] if os.geteuid() == 0 else []
        if self.user:
            shutil.chown(self.folder, "postgres")
        data = self.folder + "/data"
        self.call(
            "initdb", "-D", data, "-E", "UTF8", "--no-locale", "-A", "trust", "-N", "-U", "tester"
        )
        options = f"-k {self.folder} -c listen_addresses= -c fsync=off"
        self.call("pg_ctl", "-D", data, "-w", "-l", self.folder + "/log", "-o", options, "start")

    def call(self, program, *arguments):
        done = subprocess.run(
            [*self.user, str(self.programs / program), *arguments],
            cwd="/",
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            check=False,
        )
        if done.returncode != 0:
            raise RuntimeError(f"{program}: {done.stderr.decode()}")

    def make_database(self, name):
        ask = ["psql", "-qAtX", "-h", self.folder, "-U", "tester", "-v", "ON_ERROR_STOP=1", "-d"]
        subprocess.run([*ask, "postgres", "-c", f'CREATE DATABASE "{name}"'], check=True)
        return [*ask, name]

    def stop(self):
        self.call("pg_ctl", "-D", self.folder + "/data", "-m", "immediate", "-w", "stop")
        shutil.rmtree(self.folder)


if __name__ == "__main__":
    unittest.main()
