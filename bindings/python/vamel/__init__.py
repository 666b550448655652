"""vamel, a small embedded record store: one table, in memory, in one file.

    from vamel import Database, Field, field

    with Database("contacts.db", [Field("name", str, unique=True), Field("age", int)]) as db:
        with db.transaction():
            db.insert(name="Ada", age=36)
        for row in db.select(field("age") < 40):
            print(row["name"])

The shared library libvamel.so.1 is found by the loader, or by the environment variable
VAMEL_LIBRARY: its path, or its folder's.
"""
from ._codes import VERSION as __version__
from ._codes import Result
from ._database import Database
from ._errors import (
    ClosedError,
    DamagedError,
    DuplicateError,
    EmptyTableError,
    FieldError,
    FieldsSkippedWarning,
    FileError,
    SchemaError,
    StaleRowError,
    VamelError,
)
from ._fields import Criterion, Field, field
from ._selection import Row, Selection

__all__ = [
    "ClosedError",
    "Criterion",
    "DamagedError",
    "Database",
    "DuplicateError",
    "EmptyTableError",
    "Field",
    "FieldError",
    "FieldsSkippedWarning",
    "FileError",
    "Result",
    "Row",
    "SchemaError",
    "Selection",
    "StaleRowError",
    "VamelError",
    "__version__",
    "field",
]
