"""Backup and rollback: what a failure undoes, what each of the two files holds when, and how the
second one steps in for the first.

    backup_and_rollback.py DATABASE

DATABASE is the file to make; the backup file gets ".bak" behind its name.
"""
import os
import sys

from vamel import Database


def names(db):
    return ", ".join(row["name"] for row in db.select())


def open_database(path):
    return Database(path, {"name": str}, backup=path + ".bak")


def show_files(path, when):
    there = [name for name, file in (("file", path), ("backup", path + ".bak"))
             if os.path.exists(file)]
    print(f"{when}: {' and '.join(there) or 'no file'}")


def fail_on_the_way(db):
    try:
        with db.transaction():
            db.insert(name="half done")
            raise OSError("the printer is on fire")
    except OSError as error:
        print(f"undone, because {error}: {names(db)}")


def main(path):
    show_files(path, "before")
    with open_database(path) as db:
        with db.transaction():
            db.insert(name="first")
        show_files(path, "after the commit")
        fail_on_the_way(db)
        db.insert(name="second")  # outside a transaction: written when the database is closed
    show_files(path, "after the close")

    os.remove(path)
    with open_database(path) as db:
        print("from the backup:", names(db))
        show_files(path, "before the next write")
        db.insert(name="third")
    show_files(path, "after it")

    with open(path, "r+b") as file:
        file.truncate(20)  # as after a full disk
    with open_database(path) as db:
        print("instead of the broken file:", names(db))


if len(sys.argv) != 2 or os.path.exists(sys.argv[1]) or os.path.exists(sys.argv[1] + ".bak"):
    sys.exit("usage: backup_and_rollback.py DATABASE   (a file to make)")
main(sys.argv[1])
