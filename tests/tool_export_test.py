#!/usr/bin/env python3
"""Runs the vamel command as a user does: export. What comes out is loaded into the real sqlite3 and
a real PostgreSQL server, if they are installed.

    VAMEL_COMMAND=build/release/tools/vamel tests/tool_export_test.py [ARGUMENT OF unittest...]
"""
import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from tool_files import BINARY, INTEGER, ODD, TEXT, Case, decode, encode, number, text, unicode_csv


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
        for option in "--unique", "--index", "--table", "--sequence":
            self.run_tool("export", self.path("odd.db"), "--to", "csv", option, "id", status=2)

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
