"""Names, numbers and texts of the library. Made by generate_codes.py: do not edit."""
from enum import IntEnum
from typing import Dict, Final

VERSION: Final = "1.0.0"


class Result(IntEnum):
    """What a call of the library returns; failures are negative."""

    OK = 0
    ROW = 1
    DONE = 2
    UNKNOWN_FIELD = 3
    NO_FILE = 4
    NOT_WRITTEN = 5
    FIELDS_SKIPPED = 6
    ERR_UNKNOWN = -1
    ERR_DAMAGED = -2
    ERR_ARGUMENT = -3
    ERR_MEMORY = -4
    ERR_NO_VALUE = -5
    ERR_FIELD = -6
    ERR_FORMAT = -7
    ERR_IO = -8
    ERR_READ = -9
    ERR_DUPLICATE = -10
    ERR_CHECKSUM = -11
    ERR_SCHEMA = -12


class Option(IntEnum):
    """What an environment can be told."""

    BACKUP_PATH = 1
    FIELD = 2


class Type(IntEnum):
    """The types of fields."""

    INTEGER = 1
    TEXT = 2
    BINARY = 3


class Flag(IntEnum):
    """What a field can be besides."""

    INDEXED = 1
    UNIQUE = 2


class Compare(IntEnum):
    """How a record's value must compare with the bound one."""

    EQUAL = 0
    LESS = 1
    GREATER = 2
    LESS_OR_EQUAL = 3
    GREATER_OR_EQUAL = 4


TEXTS: Final[Dict[int, str]] = {
    0: "done",
    1: "a record is now current",
    2: "no record is current: the result set is exhausted or empty",
    3: "the table has no field of that name",
    4: "there was no database file: the table is empty",
    5: "the database is damaged: closed without writing",
    6: "read, but values of stored fields that did not match were skipped",
    -1: "unexpected internal status",
    -2: "the database is damaged by an earlier failure",
    -3: "null argument, unknown option, no result set, or empty table",
    -4: "out of memory, or a conversion failed",
    -5: "no record is current, or it has no value for the field",
    -6: "no field of that name, or the field has another type",
    -7: "the database file is empty or malformed",
    -8: "the database file cannot be written or positioned",
    -9: "the database file exists but cannot be opened for reading",
    -10: "a unique field's value is already held by another record",
    -11: "the database file's checksum does not match",
    -12: "field defined twice, too many fields, or no field defined",
}
