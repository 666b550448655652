"""The Python package through the built libraries: the scenarios of end_to_end.c, and what the
package adds to them. Needs PYTHONPATH and VAMEL_LIBRARY."""
import collections
import contextlib
import gc
import io
import os
import pickle
import re
import subprocess
import sys
import tempfile
import threading
import unittest
import warnings
from pathlib import Path
from unittest import mock

import vamel
from vamel import Database, Field, Result, field

PACKAGE = Path(vamel.__file__).resolve().parents[1]
FIELDS = [
    Field("id", int, indexed=True, unique=True),
    Field("name", str, indexed=True),
    Field("blob", bytes),
]


def run_script(text):
    """Another interpreter with the same package; gives its result and what it said."""
    done = subprocess.run(
        [sys.executable, "-X", "faulthandler", "-c", text],
        capture_output=True, text=True, timeout=60, check=False,
    )
    return done.returncode, done.stdout + done.stderr


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)

    def open(self, fields=None, backup=None):
        db = Database("t.db", FIELDS if fields is None else fields, backup)
        self.addCleanup(self.close_anyway, db)
        return db

    @staticmethod
    def close_anyway(db):
        with contextlib.suppress(vamel.VamelError):
            db.close()

    def filled(self, **options):
        db = self.open(**options)
        for number, name in ((3, "three"), (-1, "minus one"), (7, ""), (4, "niño")):
            db.insert(id=number, name=name, blob=number.to_bytes(2, "big", signed=True))
        db.commit()
        return db

    def ids(self, db, *criteria, **equals):
        return [row["id"] for row in db.select(*criteria, **equals)]


class EndToEnd(Case):
    def test_backup_replaces_a_missing_file(self):
        db = self.open(backup="t.bak")
        self.assertEqual(Result.NO_FILE, db.opened)
        self.close_anyway(db)
        db = self.filled(backup="t.bak")
        self.assertTrue(os.path.exists("t.db"))
        self.assertFalse(os.path.exists("t.bak"))
        self.assertTrue(db.close())
        os.remove("t.db")
        db = self.open(backup="t.bak")
        self.assertEqual(Result.OK, db.opened)
        self.assertEqual([3, -1, 7, 4], self.ids(db))

    def test_query(self):
        self.filled().close()
        db = self.open()
        row = {"id": 3, "name": "three", "blob": b"\0\3"}
        self.assertEqual([row], [dict(found) for found in db.select(name="three")])
        self.assertEqual([3, 4], self.ids(db, field("id") > 0, ("id", "<=", 4)))
        self.assertEqual(["", "niño"], [r["name"] for r in db.select(("id", ">=", 4))])
        self.assertIsNone(db.first(id=5))
        with self.assertRaises(vamel.FieldError) as caught:
            db.select(other=1)
        self.assertEqual((Result.ERR_FIELD, "VAMEL_ERR_FIELD"),
                         (caught.exception.code, caught.exception.name))

    def test_change_and_roll_back(self):
        db = self.filled()
        rows = db.select()
        row = next(rows)
        row.update(name="drei")
        self.assertRaises(vamel.StaleRowError, row.update, name="tres")
        next(rows).delete()
        self.assertEqual(7, next(rows)["id"])
        self.assertEqual([(7, ""), (4, "niño"), (3, "drei")],
                         [(r["id"], r["name"]) for r in db.select()])
        self.assertEqual(Result.OK, db.rollback())
        self.assertRaises(vamel.StaleRowError, next, rows)
        self.assertEqual([3, -1, 7, 4], self.ids(db))

    def test_damage(self):
        db = self.filled()
        db.select(id=3).delete()
        with self.assertRaises(vamel.DuplicateError):
            db.insert_unchecked(id=7)
        self.assertTrue(db.damaged)
        self.assertRaises(vamel.DamagedError, db.commit)
        with self.assertRaises(vamel.DamagedError) as caught:
            db.close()
        self.assertEqual(Result.NOT_WRITTEN, caught.exception.code)
        self.assertTrue(db.closed)
        self.assertEqual([3, -1, 7, 4], self.ids(self.open()))


class Selecting(Case):
    def test_all_criteria_hold(self):
        db = self.open([Field("a", int), Field("b", int), Field("c", int)])
        db.insert(a=1, b=1)
        db.insert(a=1)
        db.insert(a=2, b=2, c=None)
        self.assertEqual([], list(db.select(a=9, b=2)))  # the library finds the third
        self.assertEqual([], list(db.select(("a", ">", 5), ("a", "<", 9))))
        self.assertEqual(1, db.count(a=1, b=1))  # the library finds two
        self.assertEqual([{"a": 2}], [dict(row) for row in db.select(b=2).only("a")])
        self.assertEqual(3, db.count())

    def test_criteria_are_checked(self):
        db = self.filled()
        for bad in ("id", ("id", "~", 1), ("id", "<"), 5, None, {"id": 1}):
            self.assertRaises(TypeError, db.select, bad)
        self.assertRaises(TypeError, lambda: 1 < field("id") < 3)
        self.assertRaises(TypeError, lambda: field("id") != 3)
        self.assertRaises(TypeError, db.select, id=None)

    def test_update_and_delete_all(self):
        db = self.filled()
        self.assertEqual(2, db.select(field("id") < 4).update(name="low"))
        self.assertEqual([3, -1], self.ids(db, name="low"))
        self.assertEqual(1, db.select(name="").delete())
        self.assertEqual(3, db.count())

    def test_a_row_never_changes_another_record(self):
        db = self.filled()
        rows, others = db.select(), db.select()
        next(rows), next(others)
        row, other = next(rows), next(others)
        other.delete()  # now the library's current record for row is the one before
        self.assertRaises(vamel.StaleRowError, row.delete)
        self.assertRaises(vamel.StaleRowError, next, rows)
        self.assertEqual(7, next(others)["id"])
        db.insert(id=50)  # disturbs nobody
        self.assertEqual([4], [r["id"] for r in others])
        self.assertRaises(vamel.StaleRowError, other.delete)
        self.assertEqual(4, db.count())


class Writing(Case):
    def test_checked_writes_spare_the_database(self):
        db = self.filled()
        self.assertRaises(vamel.DuplicateError, db.insert, {"id": 7}, name="again")
        row = db.first(id=3)
        self.assertRaises(vamel.DuplicateError, row.update, id=4)
        row.update(id=3, name="same")  # its own value is free to it
        db.insert(name="none")
        self.assertRaises(vamel.DuplicateError, db.first(name="none").update, id=-1)
        self.assertFalse(db.damaged)
        self.assertTrue(db.commit())
        self.assertEqual([-1, 7, 4, 3, None], self.ids(db))

    def test_unique_bytes_equal_their_prefixes(self):
        db = self.open([Field("key", bytes, unique=True)])
        for key in (b"", b"", b"abc"):
            db.insert(key=key)
        self.assertRaises(vamel.DuplicateError, db.insert, key=b"ab")
        db.first(key=b"abc").update(key=b"ab")
        self.assertEqual([b"", b"", b"ab"], [row["key"] for row in db.select()])
        self.assertTrue(db.commit())

    def test_values_come_back(self):
        db = self.open([Field("i", int), Field("t", str), Field("b", bytes)])
        texts = ("", "x" * 5000, "\U0001F600é\uffff")
        blobs = (b"", b"\0", bytes(range(256)) * 300, bytearray(b"ab"), memoryview(b"abcd")[::2])
        numbers = (0, -1, 2**31 - 1, -(2**31), True)
        records = [{"i": i, "t": "", "b": b"x"} for i in numbers]
        records += [{"i": 0, "t": t, "b": None} for t in texts]
        records += [{"i": None, "t": None, "b": b} for b in blobs]
        for record in records:
            db.insert(record)
        db.close()
        self.assertEqual(records, [dict(row) for row in self.open(list(db.fields)).select()])

    def test_bad_values_change_nothing(self):
        db = self.filled()
        lone, half = "\ud800", "ab\udfff"
        bad = [("id", 2**31, OverflowError), ("id", -(2**31) - 1, OverflowError),
               ("id", 10**400, OverflowError), ("id", 1.5, TypeError), ("id", "1", TypeError),
               ("name", "a\0b", ValueError), ("name", lone, ValueError), ("name", half, ValueError),
               ("name", b"x", TypeError), ("name", 5, TypeError), ("blob", "x", TypeError),
               ("blob", 5, TypeError), ("blob", [1], TypeError), ("Id", 1, vamel.FieldError),
               ("a\0", 1, vamel.FieldError), (5, 1, vamel.FieldError), ("no", None, vamel.FieldError)]
        for name, value, wanted in bad:
            with self.subTest(name=name, value=value):
                row = db.first(id=3)
                self.assertRaises(wanted, db.insert, {"id": 60, name: value})
                self.assertRaises(wanted, db.insert_unchecked, {"id": 60, name: value})
                self.assertRaises(wanted, row.update, {"id": 60, name: value})
                self.assertRaises(wanted, db.select, (name, "<", value))
                row.update(name="three")  # nothing of the above is bound still
        self.assertRaises(TypeError, db.first(id=3).update, id=None)
        db.insert(name="last")
        self.assertEqual([-1, 7, 4, 3, None], self.ids(db))
        self.assertTrue(db.commit())

    def test_a_value_that_closes_the_database(self):
        db = self.filled()
        class Trap:
            def __index__(self):
                db.close()
                return 5
        self.assertRaises(vamel.VamelError, db.insert, id=Trap())
        self.assertRaises(vamel.ClosedError, db.insert, id=5)

    def test_a_value_that_changes_the_table(self):
        db = self.open([Field("id", int, unique=True), Field("name", str), Field("n", int)])
        class Trap:
            def __init__(self, spring):
                self.spring = iter([spring])
            def __index__(self):
                next(self.spring, int)()
                return 5
        db.insert(id=1, n=Trap(lambda: db.insert(name="inner")))
        db.insert(id=Trap(lambda: db.insert(id=2)), name="outer")
        wanted = [(None, "inner", None), (1, None, 5), (2, None, None), (5, "outer", None)]
        self.assertEqual(wanted, [tuple(row.values()) for row in db.select()])
        for spring in (lambda: row.update(name="x"), lambda: row.delete(), db.first(id=5).delete):
            rows = db.select()
            next(rows)
            row = next(rows)
            self.assertRaises(vamel.StaleRowError, row.update, n=Trap(spring))
            self.assertEqual(0, db.count(n=5, name="inner"))  # the record before the row's


class Files(Case):
    def test_an_empty_table_is_not_written(self):
        db = self.open()
        self.assertFalse(db.commit())
        db.insert(id=1)
        self.assertTrue(db.commit())
        db.select().delete()
        self.assertRaises(vamel.EmptyTableError, db.commit)
        self.assertRaises(vamel.EmptyTableError, db.close)
        self.assertTrue(db.closed)
        self.assertEqual([1], self.ids(self.open()))

    def test_transactions(self):
        db = self.filled()
        with self.assertRaises(ZeroDivisionError), db.transaction():
            db.insert(id=50)
            1 / 0
        with db.transaction():
            db.insert(id=51)
            self.assertRaises(RuntimeError, db.transaction().__enter__)
        with self.assertRaises(vamel.DuplicateError), db.transaction():
            db.insert_unchecked(id=51)  # damages: there is no way back, and none is tried
        self.assertRaises(vamel.DamagedError, db.rollback)
        self.close_anyway(db)
        self.assertEqual([3, -1, 7, 4, 51], self.ids(self.open()))

    def test_leaving_a_block_keeps_the_first_failure(self):
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            with self.assertRaises(vamel.DuplicateError), self.filled() as db:
                db.insert_unchecked(id=7)
        self.assertIn("VAMEL_NOT_WRITTEN", str(caught[-1].message))

    def test_unreadable_files(self):
        Path("t.db").write_bytes(b"a letter to my aunt\n")
        with self.assertRaises(vamel.FileError) as caught:
            self.open()
        self.assertEqual(Result.ERR_CHECKSUM, caught.exception.code)
        self.assertFalse(os.path.exists("t.db"))
        self.assertEqual(str(caught.exception), str(pickle.loads(pickle.dumps(caught.exception))))
        db = self.filled()
        Path("t.db").write_bytes(b"")
        with self.assertRaises(vamel.FileError), db.transaction():
            raise KeyError  # the failed way back is the graver one
        self.assertEqual(0, db.count())

    def test_skipped_fields(self):
        self.filled().close()
        with self.assertWarns(vamel.FieldsSkippedWarning):
            db = self.open(FIELDS[:2])
        self.assertEqual(Result.FIELDS_SKIPPED, db.opened)

    def test_skipped_fields_as_an_error_leave_the_file(self):
        self.filled().close()
        before = Path("t.db").read_bytes()
        with warnings.catch_warnings():
            warnings.simplefilter("error", vamel.FieldsSkippedWarning)
            self.assertRaises(vamel.FieldsSkippedWarning, self.open, FIELDS[:2])
        gc.collect()
        self.assertEqual(before, Path("t.db").read_bytes())

    def test_fields_and_paths_are_checked(self):
        field_named = [Field(f"f{i}", int) for i in range(256)]
        for fields in ([], {}, FIELDS + FIELDS[:1], field_named):
            self.assertRaises(vamel.SchemaError, self.open, fields)
        for fields in ([Field("a\0", int)], {"\ud800": int}):
            self.assertRaises(ValueError, self.open, fields)
        for fields in (["id"], {"id": float}, {5: int}, 5, [None]):
            self.assertRaises(TypeError, self.open, fields)
        for path, wanted in (("", ValueError), ("a\0b", ValueError), ("\udc80", ValueError),
                             (b"t.db", TypeError), (5, TypeError), (None, TypeError)):
            self.assertRaises(wanted, Database, path, FIELDS)
        with Database("dict.db", {"planet": str, "moons": int, "self": int}) as db:
            db.insert(planet="Mars", moons=2, self=1)
            db.select(self=1).update(self=2)
            self.assertEqual(1, db.count(self=2))
        self.assertTrue(db.path.startswith("/") and os.path.exists(db.path))


class Lifetimes(Case):
    def test_use_after_close(self):
        db = self.filled()
        rows = db.select()
        row = next(rows)
        db.close()
        self.assertFalse(db.close())
        uses = (db.insert, db.insert_unchecked, db.select, db.first, db.count, db.commit,
                db.rollback, db.__enter__, db.transaction().__enter__, rows.__next__, row.delete,
                rows.delete, lambda: row.update(id=1), lambda: rows.update(id=1))
        for use in uses:
            self.assertRaises(vamel.ClosedError, use)
        self.assertEqual("three", row["name"])
        rows.close()
        self.assertEqual([], list(rows))

    def test_left_open(self):
        with self.assertWarns(ResourceWarning):
            Database("t.db", FIELDS).insert(id=1)
            gc.collect()
        script = """
import os, vamel
db = vamel.Database("t.db", {"id": int})
rows = db.select()
row = next(rows)
db.insert(id=2)
if os.fork() == 0:
    raise SystemExit  # leaves the file alone
os.wait()
print(os.path.getsize("t.db"))
class Late:
    def __del__(self, db=db, rows=rows, row=row):
        for use in (db.count, rows.__next__, row.delete, lambda: db.insert(id=3)):
            try: use()
            except vamel.VamelError as error: print(error.name)
late = Late()
"""
        size = os.path.getsize("t.db")
        code, said = run_script(script)
        self.assertEqual((0, str(size)), (code, said.split("\n")[0]), said)
        self.assertEqual([1, 2], self.ids(self.open({"id": int})))

    def test_nothing_is_left_behind(self):
        living = collections.Counter()
        changes = {"CFStringCreateWithCString": ("strings", 1), "CFRelease": ("strings", -1),
                   "vamel_prepare": ("statements", 1), "vamel_finalize": ("statements", -1)}

        class Counting:
            def __init__(self, library):
                self.library = library

            def __getattr__(self, name):
                if name in changes:
                    living[changes[name][0]] += changes[name][1]
                return getattr(self.library, name)

        with mock.patch.object(vamel._native, "_strings", Counting(vamel._native._strings)), \
                mock.patch.object(vamel._statement, "lib", Counting(vamel._statement.lib)):
            db = Database("t.db", FIELDS)
            for number in range(3):
                db.insert(id=number, name="a", blob=b"")
            for row in db.select(name="a"):
                row.update(name="b", blob=b"x")
            held = db.first(name="b")
            for bad in ({"name": "\0"}, {"id": 1}, {"name": 5}):
                with contextlib.suppress(ValueError, TypeError, vamel.VamelError):
                    db.insert(bad)
            self.assertGreater(living["strings"] * living["statements"], 0)
            db.close()
            del db, row, held
            gc.collect()
            self.assertEqual({"strings": 0, "statements": 0}, living)

    def test_threads_take_turns(self):
        db = self.open()
        def work(base):
            for number in range(200):
                with db.transaction() if number % 50 == 0 else contextlib.nullcontext():
                    db.insert(id=base + number, name=str(base))
                    self.assertEqual(number + 1, db.count(name=str(base)))
        failures = []
        def guarded(base):
            try:
                work(base)
            except BaseException as failure:
                failures.append(failure)
        threads = [threading.Thread(target=guarded, args=(base,)) for base in (0, 1000, 2000)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(([], 600), (failures, db.count()))


class Package(Case):
    def test_codes_are_those_of_the_header(self):
        script = PACKAGE / "generate_codes.py"
        done = subprocess.run([sys.executable, str(script)], capture_output=True, check=True)
        self.assertEqual((PACKAGE / "vamel/_codes.py").read_bytes(), done.stdout)

    def test_the_example_of_the_page_runs(self):
        page = (PACKAGE / "README.md").read_text(encoding="utf-8")
        out = io.StringIO()
        with contextlib.redirect_stdout(out):
            for block in re.findall(r"^```python\n(.*?)^```$", page, re.M | re.S):
                exec(block, {})
        self.assertEqual("Grace b'\\x89PNG'\nVAMEL_ERR_DUPLICATE\n1 left\n", out.getvalue())

    def test_a_missing_library_is_named(self):
        code, said = run_script(
            "import os; os.environ['VAMEL_LIBRARY'] = '/no/libvamel.so.1'; import vamel")
        self.assertEqual(1, code)
        self.assertRegex(said, r"ImportError: .*/no/libvamel.*VAMEL_LIBRARY")


if __name__ == "__main__":
    unittest.main()
