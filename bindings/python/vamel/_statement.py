"""An open handle and its statements, one step above the library's calls."""
from __future__ import annotations

import os
import weakref
from ctypes import byref, c_int32, c_uint32, c_void_p
from typing import Any, Callable, Dict, Iterator, Optional, Sequence, Set

from . import _native
from ._codes import Compare, Flag, Option, Result
from ._errors import ClosedError, check, error
from ._fields import TYPES, Field, Value, to_bytes, to_int32
from ._native import FieldInfo, OwnedString, lib


class Connection:
    """One open database: its handle, null once it is closed, and the names of its fields."""

    def __init__(self, path: str, fields: Sequence[Field], backup: str) -> None:
        self.path = path
        self.process = os.getpid()
        self.handle = c_void_p()
        self.fields: Dict[str, Field] = {one.name: one for one in fields}
        self._names = {one.name: OwnedString(one.name, "a field's name") for one in fields}
        self.opened = Result.OK
        environment = c_void_p()
        check(lib.vamel_alloc_env(byref(environment)), "vamel_alloc_env")
        try:
            self._describe(environment, fields, backup)
            self.opened = self._open(environment)
        finally:
            lib.vamel_free_env(byref(environment))

    def _describe(self, environment: c_void_p, fields: Sequence[Field], backup: str) -> None:
        for one in fields:
            flags = Flag.INDEXED * one.indexed | Flag.UNIQUE * one.unique
            name = OwnedString(one.name, "a field's name")
            info = FieldInfo(name.pointer(), TYPES[one.type], flags)
            code = lib.vamel_set_env(environment, Option.FIELD, byref(info))
            check(code, "vamel_set_env")
        path = OwnedString(backup, "the backup's path")
        check(lib.vamel_set_env(environment, Option.BACKUP_PATH, path.ref), "vamel_set_env")

    def _open(self, environment: c_void_p) -> Result:
        path = OwnedString(self.path, "the path")
        code = lib.vamel_open(path.ref, environment, byref(self.handle))
        return Result(check(code, "vamel_open"))

    def close(self) -> int:
        """Closes the handle, whatever the result."""
        code: int = lib.vamel_close(byref(self.handle))
        return code

    def name(self, name: str) -> Any:
        """A field's name as the calls take it."""
        if name not in self._names:
            raise error(Result.ERR_FIELD, "vamel", f"the table has no field {name!r}")
        return self._names[name].ref


def _finalize(handle: c_void_p) -> None:
    if handle:
        lib.vamel_finalize(byref(handle))


class Statement:
    """Bound values, a result set with its cursor, and the fetched values of the current record."""

    def __init__(self, connection: Connection) -> None:
        if not connection.handle:
            raise ClosedError(Result.ERR_ARGUMENT, "vamel", "the database is closed")
        self._connection = connection
        self._handle = c_void_p()
        self._with_empty: Set[str] = set()
        check(lib.vamel_prepare(connection.handle, byref(self._handle)), "vamel_prepare")
        self.close: Callable[[], object] = weakref.finalize(self, _finalize, self._handle)

    def bind(self, name: str, value: Value, compare: int = Compare.EQUAL) -> None:
        """Binds a value for the next insert, update or select. Refuses what would be changed."""
        ref = self._connection.name(name)
        kind = self._connection.fields[name].type
        if kind is int:
            number = to_int32(name, value)
            code = lib.vamel_bind_int(self._handle, ref, number, compare)
        elif kind is str:
            code = self._bind_text(ref, name, value, compare)
        else:
            data = to_bytes(name, value)
            code = lib.vamel_bind_binary(self._handle, ref, data, len(data), compare)
        check(code, "vamel_bind")

    def _bind_text(self, ref: Any, name: str, value: Value, compare: int) -> int:
        string = _native.make_string(value, f"a value of field {name!r}")  # type: ignore[arg-type]
        try:
            code: int = lib.vamel_bind_text(self._handle, ref, byref(string), compare)
            return code
        finally:
            _native.release_string(string)

    def clear(self) -> None:
        """Forgets the bound values."""
        check(lib.vamel_clear_bind(self._handle), "vamel_clear_bind")

    def select(self) -> int:
        """Fills the result set by the bound values; gives the number of records found."""
        count = c_uint32()
        code = lib.vamel_select(self._connection.handle, self._handle, byref(count))
        check(code, "vamel_select")
        return count.value

    def step(self) -> bool:
        """Makes the next record current; False if there is none."""
        return check(lib.vamel_step(self._handle), "vamel_step") == Result.ROW

    def insert(self) -> int:
        """Adds a record of the bound values. The result: a failure damages the database."""
        code: int = lib.vamel_insert(self._connection.handle, self._handle)
        return code

    def update(self) -> int:
        """Changes the current record by the bound values. The result, as with insert."""
        code: int = lib.vamel_update(self._connection.handle, self._handle)
        return code

    def delete(self) -> None:
        """Removes the current record."""
        check(lib.vamel_delete(self._connection.handle, self._handle), "vamel_delete")

    def fetch(self, name: str) -> Any:
        """The current record's value of a field; None if it has none."""
        ref = self._connection.name(name)
        kind = self._connection.fields[name].type
        if kind is int:
            return self._fetch_int(ref)
        return self._fetch_text(ref) if kind is str else self._fetch_bytes(ref, name)

    def _fetch_int(self, ref: Any) -> Optional[int]:
        number = c_int32()
        code = lib.vamel_fetch_int(self._handle, ref, byref(number))
        return number.value if _has_value(code, "vamel_fetch_int") else None

    def _fetch_text(self, ref: Any) -> Optional[str]:
        string = c_void_p()
        code = lib.vamel_fetch_text(self._handle, ref, byref(string))
        return _native.read_string(string) if _has_value(code, "vamel_fetch_text") else None

    def _fetch_bytes(self, ref: Any, name: str) -> Optional[bytes]:
        address, count = c_void_p(), c_uint32()
        code = lib.vamel_fetch_binary(self._handle, ref, byref(address), byref(count))
        if code == Result.ERR_MEMORY and self._has_empty(name):
            return b""
        if not _has_value(code, "vamel_fetch_binary"):
            return None
        return _native.read_bytes(address, count.value)

    def _has_empty(self, name: str) -> bool:
        """Whether a record holds an empty value in the field.

        An empty value cannot be fetched, and the library says so by the code that also stands for a
        lack of memory. Nothing but empty values is less than an empty value.
        """
        if name not in self._with_empty:
            search = Statement(self._connection)
            search.bind(name, b"", Compare.LESS)
            if search.select() > 0:
                self._with_empty.add(name)
            search.close()
        return name in self._with_empty

    def found(self) -> Iterator["Statement"]:
        """Steps through what was selected."""
        while self.step():
            yield self


def _has_value(code: int, call: str) -> bool:
    if code == Result.ERR_NO_VALUE:
        return False
    check(code, call)
    return True
