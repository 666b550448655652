#!/usr/bin/env python3
"""Runs the vamel command as a user does: import, diff, restore, and whatever stops them.

    VAMEL_COMMAND=build/release/tools/vamel tests/tool_write_test.py [ARGUMENT OF unittest...]
"""
import json
import os
import pathlib
import pty
import random
import resource
import signal
import subprocess
import time
import unittest

from tool_files import (BINARY, COMMAND, INTEGER, ODD, TEXT, Case, content, decode, encode, number,
                        seal, text, unicode_csv)

HERE = pathlib.Path(__file__).parent


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
            ('{"id":1,"\\u00006964":2}', "line 1", "twice"),  # the same name in hexadecimal
            ('{"id":1e400}', "line 1: no JSON: number overflow", ""),
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
        twice = self.path("twice.db", encode([("id", INTEGER)], [[(0, number(1)), (0, number(2))]]))
        tail = self.path("tail.db", seal(content([("id", INTEGER)], [[(0, number(1))]], b"tail")))
        many = [f"--field=f{i}:text" for i in range(256)]
        self.path("locked.db", old).chmod(0o444)
        cases = [
            (2, [path, "-", "--field=id:text"], "no field id of type text"),
            (2, [path, "-", "--field=x:integer"], "no field x"),
            (2, ["new.db", "-", "--field=x"], "name:type"),
            (2, ["new.db", "-", "--field=x:int"], "name:type"),
            (2, ["new.db", "-", "--field=x:256"], "name:type"),
            (2, ["new.db", "-", "--field=x:text", "--field=x:integer"], "twice"),
            (2, ["new.db", "-", *many], "more than 255 fields"),
            (2, ["-", path], "standard output"),
            (2, [path, path], "same file"),
            (1, [twice, "-"], "record 1 holds two values of one field"),
            (1, [tail, "-"], "bytes follow the last record"),
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

    def test_as_many_fields_as_a_file_has(self):
        for count, status in (255, 0), (256, 2):
            names = [f"c{i}" for i in range(count)]
            for given in (",".join(names) + "\n1" + "," * (count - 1), json.dumps(dict.fromkeys(names, 1))):
                with self.subTest(given=given[:9], count=count):
                    self.add(self.path("new.db"), "", given, status)
                    self.assertIn("" if status == 0 else "line 1: more than 255", self.errors)
                    self.path("new.db").unlink(missing_ok=True)

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

        self.add(self.path("n" * 255), "", "id\n2\n")  # the longest name that there is

    def test_the_source_is_no_target(self):
        link = self.path("link.db")
        link.symlink_to("t.db")
        for source, target in (self.target, self.target), (link, self.target), (self.target, link):
            for to in ("csv", "postgres"):
                self.run_tool("export", source, "--to", to, "-o", target, status=2)
        with open(self.target, "rb") as given:
            done = subprocess.run([COMMAND, "export", "-", "--to=csv", "-o", link], stdin=given,
                                  stderr=subprocess.DEVNULL, check=False)
        self.assertEqual((done.returncode, self.target.read_bytes()), (2, self.old))

    def test_messages_never_go_into_a_file(self):
        out = self.path("out.sql")
        wanted = self.run_tool("export", self.target, "--to=sqlite", "--table=sqlite_t")
        self.assertIn("the table is called t_sqlite_t", self.errors)
        for streams in ("2>&-", "<&- >&- 2>&-", "2>/dev/full"):
            line = f'"$0" export "$1" --to=sqlite --table=sqlite_t -o "$2" {streams}'
            subprocess.run(["bash", "-c", line, COMMAND, self.target, out], check=True)
            self.assertEqual(out.read_bytes(), wanted, streams)

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
        os.mkfifo(self.path("fifo"))
        self.run_tool("restore", self.target, "--from", self.path("fifo"), status=3, timeout=60)
        self.path("fifo").unlink()
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
        # Keys that are no numbers, in a field of integers, have a place among the others.
        keys = [number(-1), number(1), b"\x80\0\0", b"", number(5), b"\x01"] * 8
        for name in ("a.db", "b.db"):
            random.Random(name).shuffle(keys)
            self.path(name, encode([("id", INTEGER)], [[(0, k)] for k in keys]))
        self.run_tool("diff", self.path("a.db"), self.path("b.db"), "--key", "id")
        self.run_tool("diff", "-", "-", status=2)
        self.run_tool("diff", self.path("a.db"), self.path("b.db"), "--key", "nome", status=2)
        self.run_tool("diff", self.path("a.db"), self.path("c.db", base[:-2]), status=1)
        self.run_tool("diff", self.path("a.db"), self.path("none.db"), status=3)


if __name__ == "__main__":
    unittest.main()
