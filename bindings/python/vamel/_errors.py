"""Exceptions. Each carries the library's result code, its name and its text."""
from __future__ import annotations

from typing import Dict, Type

from ._codes import TEXTS, Result


class VamelError(Exception):
    """A call of the library failed, or would have.

    code    the result code, a Result where the table of codes has it.
    name    its name, such as "VAMEL_ERR_DUPLICATE".
    text    its text.
    call    the call that gave it.
    detail  more, where there is more to say.
    """

    def __init__(self, code: int, call: str, detail: str = "") -> None:
        super().__init__(code, call, detail)
        self.code = Result(code) if code in TEXTS else code
        self.name = "VAMEL_" + self.code.name if isinstance(self.code, Result) else "VAMEL_?"
        self.text = TEXTS.get(code, "not a result code")
        self.call = call
        self.detail = detail

    def __str__(self) -> str:
        return f"{self.call}: {self.detail or self.text} ({self.name}, {int(self.code)})"


class FileError(VamelError):
    """The database file cannot be read or written; what is malformed, open has removed."""


class SchemaError(VamelError):
    """A field is defined twice, or there are too many fields, or none."""


class FieldError(VamelError):
    """The table has no field of that name."""


class DuplicateError(VamelError):
    """Another record holds an equal value of a unique field."""


class DamagedError(VamelError):
    """The database is damaged: nothing is written any more."""


class EmptyTableError(VamelError):
    """A table without records is not written: the file keeps the records that it holds."""


class ClosedError(VamelError):
    """The database, or the selection, is closed."""


class StaleRowError(VamelError):
    """The row is no longer its selection's current one, or the table was changed elsewhere."""


class FieldsSkippedWarning(UserWarning):
    """Values in the file match no field of the table; the next write leaves them out for good.

    Where a filter makes it an error, opening fails with it, and the file stays as it is.
    """


_CLASSES: Dict[int, Type[VamelError]] = {
    Result.NOT_WRITTEN: DamagedError,
    Result.UNKNOWN_FIELD: FieldError,
    Result.ERR_DAMAGED: DamagedError,
    Result.ERR_FIELD: FieldError,
    Result.ERR_FORMAT: FileError,
    Result.ERR_IO: FileError,
    Result.ERR_READ: FileError,
    Result.ERR_DUPLICATE: DuplicateError,
    Result.ERR_CHECKSUM: FileError,
    Result.ERR_SCHEMA: SchemaError,
}


def error(code: int, call: str, detail: str = "") -> VamelError:
    """The exception for a result code."""
    return _CLASSES.get(code, VamelError)(code, call, detail)


def check(code: int, call: str) -> int:
    """Raises if the code is a failure; gives the code otherwise."""
    if code < 0:
        raise error(code, call)
    return code
