"""Contacts: records as dictionaries, with duplicates refused and rows changed on the way.

    contacts.py DATABASE

DATABASE is the file to make.
"""
import os
import sys

from vamel import Database, DuplicateError, Field, field

FIELDS = [
    Field("name", str, indexed=True, unique=True),
    Field("born", int),
    Field("city", str, indexed=True),
]
PEOPLE = [
    {"name": "Ada", "born": 1815, "city": "London"},
    {"name": "Émilie", "born": 1706, "city": "Paris"},
    {"name": "Hypatia", "city": "Alexandria"},  # born: nobody knows, so there is no value
    {"name": "Mary", "born": 1780, "city": "Jedburgh"},
    {"name": "Sophie", "born": 1776, "city": "Paris"},
]


def fill(db):
    with db.transaction():  # committed at the end of the block, undone if it raises
        for person in PEOPLE:
            db.insert(person)
    try:
        db.insert(name="Ada", city="Turin")
    except DuplicateError as error:
        print("refused:", error.name)


def ask(db):
    for row in db.select(field("born") > 1750, ("born", "<", 1800)):
        print("born in between:", dict(row))
    for row in db.select(city="Paris"):
        print("lives in Paris:", row["name"], row["born"])
    print("born, as we know it:", db.first(name="Hypatia")["born"])


def change(db):
    for row in db.select(city="Jedburgh"):
        row.update(city="London")
    print("now in London:", sorted(row["name"] for row in db.select(city="London")))
    print("removed:", db.select(field("born") < 1750).delete())


def main(path):
    with Database(path, FIELDS) as db:
        fill(db)
        ask(db)
        change(db)
    with Database(path, FIELDS) as db:  # closing wrote the file
        print("in the file:", [row["name"] for row in db.select()])


if len(sys.argv) != 2 or os.path.exists(sys.argv[1]):
    sys.exit("usage: contacts.py DATABASE   (a file to make)")
main(sys.argv[1])
