"""The database: one table in memory, one file."""
from __future__ import annotations

import os
import threading
import warnings
import weakref
from contextlib import contextmanager
from types import TracebackType
from typing import Iterator, List, Mapping, Optional, Tuple, Type, Union

from ._codes import Result
from ._errors import (
    ClosedError,
    DuplicateError,
    EmptyTableError,
    FieldsSkippedWarning,
    VamelError,
    check,
    error,
)
from ._fields import CriterionLike, Field, Fields, Value, make_criteria, make_fields
from ._native import lib
from ._selection import Row, Selection
from ._statement import Connection, Statement

Path = Union[str, "os.PathLike[str]"]


def _absolute(path: Path) -> str:
    """The path from the root on: a later change of folder must not move the file."""
    text = os.fspath(path)
    if not isinstance(text, str):
        raise TypeError(f"a path must be str, not {type(text).__name__}")
    if not text:
        raise ValueError("an empty path")
    return os.path.join(os.getcwd(), text)


def _close_left_open(connection: Connection) -> None:
    """Closes what its owner did not, which writes it; but not in a copy of the owner's process."""
    if not connection.handle or connection.process != os.getpid():
        return
    code = connection.close()
    warnings.warn(f"database left open: {connection.path}", ResourceWarning)
    if code == Result.NOT_WRITTEN or code < 0 and code != Result.ERR_ARGUMENT:
        warnings.warn(f"closing it failed: {error(code, 'vamel_close')}", RuntimeWarning)


class Database:
    """A table of records, read whole from its file and written whole by commit and close.

    path    the file. Opening REMOVES a file that it cannot make sense of: never give it a path
            that may be another program's file. A missing one is made by the first write.
    fields  the table's fields: a list of Field, or a dict of names to int, str or bytes.
    backup  a second file, written by close and read where the first cannot be.

    Used as a context manager it closes at the end, and CLOSING WRITES, also after an exception: use
    transaction() where an exception is to undo changes. A database that is never closed is closed,
    and so written, when it is collected or the interpreter ends, with a ResourceWarning.

    Threads may share a database: each call, each step of a selection and each transaction is done
    as a whole. A forked process must leave its parent's databases alone.
    """

    def __init__(self, path: Path, fields: Fields, backup: Optional[Path] = None) -> None:
        self._lock = threading.RLock()
        self._path = _absolute(path)
        self._backup = _absolute(backup) if backup is not None else ""
        self._fields = make_fields(fields)
        self._connection = Connection(self._path, self._fields, self._backup)
        self._left_open = weakref.finalize(self, _close_left_open, self._connection)
        self._changes = 0  # counts what moves the cursors of selections
        self._damaged = False
        self._in_transaction = False
        self._spare: List[Statement] = []
        if self._connection.opened == Result.FIELDS_SKIPPED:
            text = f"{path}: values of fields that the table lacks will be lost by the next write"
            try:
                warnings.warn(text, FieldsSkippedWarning, stacklevel=2)
            except BaseException:  # turned into an error: the host does not want the loss
                self._abandon()
                raise

    @property
    def path(self) -> str:
        """The file's path, from the root on."""
        return self._path

    @property
    def fields(self) -> Tuple[Field, ...]:
        """The table's fields."""
        return self._fields

    @property
    def opened(self) -> Result:
        """How the file was read: Result.OK, Result.NO_FILE or Result.FIELDS_SKIPPED."""
        return self._connection.opened

    @property
    def damaged(self) -> bool:
        """Whether a failed write into the table has damaged the database: it is never written."""
        return self._damaged

    @property
    def closed(self) -> bool:
        """Whether the database is closed."""
        return not self._connection.handle

    def insert(self, values: Optional[Mapping[str, Value]] = None, /, **fields: Value) -> None:
        """Adds a record. None is no value.

        A value of a unique field that another record holds raises DuplicateError before the library
        sees it: the table is as it was, and the database is not damaged.
        """
        record = {**(values or {}), **fields}
        with self._lock:
            self._check_open()
            self._refuse_duplicates(record, None)
            self._insert(record)

    def insert_unchecked(
        self, values: Optional[Mapping[str, Value]] = None, /, **fields: Value
    ) -> None:
        """As insert, without looking first: a little faster, but a duplicate DAMAGES the database.

        From then on it is never written again, and closing it loses all that was not committed.
        """
        with self._lock:
            self._check_open()
            self._insert({**(values or {}), **fields})

    def select(self, /, *criteria: CriterionLike, **equals: Value) -> Selection:
        """The records that pass all criteria, in the order in which they were added.

        criteria  such as ("age", "<", 30) or field("age") < 30; the operators are ==, <, <=, > and
                  >=. Without any, all records.
        equals    name="x" stands for ("name", "==", "x").

        A record without a value for a criterion's field is not found. Bytes compare over the
        shorter of the two lengths: they equal each of their prefixes, but on an indexed field only
        where the look-up comes upon them. Texts compare by their UTF-8 bytes.
        """
        with self._lock:
            self._check_open()
            return Selection(self, make_criteria(criteria, equals))

    def first(self, /, *criteria: CriterionLike, **equals: Value) -> Optional[Row]:
        """The first record that select finds, or None."""
        return next(self.select(*criteria, **equals), None)

    def count(self, /, *criteria: CriterionLike, **equals: Value) -> int:
        """The number of records that select finds."""
        with self._lock:
            return sum(1 for _ in self.select(*criteria, **equals).only())

    def commit(self) -> bool:
        """Writes the file, not the backup. The write is not atomic: the old file goes first.

        A table without records is not written. That raises EmptyTableError if there is a file,
        which keeps the records that it holds; remove it to be rid of them. Without a file there is
        nothing to lose, and the result is False.
        """
        with self._lock:
            self._check_open()
            return self._is_written(lib.vamel_commit(self._connection.handle), "vamel_commit")

    def rollback(self) -> Result:
        """Reads the file again, or the backup; gives Result.OK, NO_FILE or FIELDS_SKIPPED.

        Whatever was changed since the last commit is gone. If it raises, do not commit: what the
        table holds then may be less than the file does, and closing writes it.
        """
        with self._lock:
            self._check_open()
            self._changes += 1
            code = lib.vamel_rollback(self._connection.handle)
            return Result(check(code, "vamel_rollback"))

    @contextmanager
    def transaction(self) -> Iterator["Database"]:
        """Commits at the end of the block; rolls back if the block raises.

        Rolling back goes to what the file holds: changes from before the block go too, unless they
        were committed. Other threads wait for the block's end. Transactions do not nest.
        """
        with self._lock:
            self._check_open()
            if self._in_transaction:
                raise RuntimeError("transactions do not nest")
            self._in_transaction = True
            try:
                yield self
            except BaseException as failure:
                self._undo(failure)
                raise
            else:
                self.commit()
            finally:
                self._in_transaction = False

    def close(self) -> bool:
        """Writes the file and the backup, and closes, whatever comes of it. Once; then no more.

        True if written. A table without records is not: see commit. A damaged database raises
        DamagedError: what was not committed is lost. With a backup, a failure to write the file
        itself goes unnoticed: commit first.
        """
        with self._lock:
            if self.closed:
                return False
            self._left_open.detach()
            while self._spare:
                self._spare.pop().close()
            return self._is_written(self._connection.close(), "vamel_close")

    def __enter__(self) -> "Database":
        self._check_open()
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        failure: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        try:
            self.close()
        except VamelError as second:
            if failure is None:
                raise
            warnings.warn(f"closing {self._path} failed too: {second}", RuntimeWarning)

    def __repr__(self) -> str:
        state = "closed" if self.closed else "damaged" if self.damaged else "open"
        return f"<vamel.Database {self._path!r}, {state}>"

    def _check_open(self) -> None:
        if self.closed:
            raise ClosedError(Result.ERR_ARGUMENT, "Database", "the database is closed")

    def _abandon(self) -> None:
        """Closes without writing: an empty table is not written, and the files stay as they are."""
        self._left_open.detach()  # first: if there is no memory to empty it, nobody closes it
        self.select().delete()
        self._connection.close()

    def _borrow(self) -> Statement:
        """A statement with nothing bound, to be given back.

        Each use has its own: a value that is bound, or a signal, may run code that comes here too.
        """
        return self._spare.pop() if self._spare else Statement(self._connection)

    def _give_back(self, statement: Statement) -> None:
        statement.clear()
        self._spare.append(statement)

    def _insert(self, record: Mapping[str, Value]) -> None:
        writer = self._borrow()
        try:
            for name, value in record.items():
                if value is not None or name not in self._connection.fields:
                    writer.bind(name, value)
            self._check_write(writer.insert(), "vamel_insert")
        finally:
            self._give_back(writer)

    def _check_write(self, code: int, call: str) -> None:
        """Raises what a write into the table gave, and keeps in mind the damage that it did."""
        if code in (Result.ERR_DUPLICATE, Result.ERR_MEMORY):
            self._damaged = True
        check(code, call)

    def _refuse_duplicates(self, values: Mapping[str, Value], changed: Optional[Statement]) -> None:
        """Raises if a record, other than the current one of `changed`, holds a unique value."""
        for name, value in values.items():
            known = self._connection.fields.get(name)
            if known is not None and known.unique and value is not None:
                if self._is_taken(name, value, changed):
                    detail = f"another record holds {name} = {value!r}; nothing was changed"
                    raise DuplicateError(Result.ERR_DUPLICATE, "vamel", detail)

    def _is_taken(self, name: str, value: Value, changed: Optional[Statement]) -> bool:
        """Whether another record holds the value.

        No two records hold the same value, so one that holds the changed record's is that record.
        """
        prober = self._borrow()
        try:
            prober.bind(name, value)
            if prober.select() == 0:
                return False
            own = changed.fetch(name) if changed is not None else None
            return any(other.fetch(name) != own for other in prober.found())
        finally:
            self._give_back(prober)

    def _is_written(self, code: int, call: str) -> bool:
        if code == Result.NOT_WRITTEN:
            raise error(code, call)
        if code != Result.ERR_ARGUMENT:  # of an open database: the table is empty
            check(code, call)
            return True
        for path in (self._path, self._backup):
            if os.path.isfile(path):
                detail = f"a table without records is not written: {path} stays as it is"
                raise EmptyTableError(code, call, detail)
        return False

    def _undo(self, failure: BaseException) -> None:
        """Rolls back after a failure; a damaged database cannot, and is never written anyway."""
        if self.closed or self._damaged:
            return
        try:
            self.rollback()
        except VamelError as second:
            raise second from failure
