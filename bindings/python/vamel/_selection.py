"""What a select found: rows, one after the other."""
from __future__ import annotations

from typing import TYPE_CHECKING, Any, Dict, Iterator, List, Mapping, Optional, Tuple

from ._codes import Result
from ._errors import ClosedError, StaleRowError
from ._fields import Criterion, Value
from ._statement import Statement

if TYPE_CHECKING:
    from ._database import Database


class Row(Mapping[str, Any]):
    """One record: a mapping of its fields' names to values, None where it has no value.

    The values stay when the record changes or goes. The row can change or delete its record for as
    long as it is the one that its selection gave last, and nothing else has changed the table's
    records since; then StaleRowError is raised, and nothing is touched.
    """

    __slots__ = ("_selection", "_values", "__weakref__")

    def __init__(self, selection: "Selection", values: Dict[str, Any]) -> None:
        self._selection = selection
        self._values = values

    def __getitem__(self, name: str) -> Any:
        return self._values[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._values)

    def __len__(self) -> int:
        return len(self._values)

    def __repr__(self) -> str:
        return f"Row({self._values!r})"

    def update(self, values: Optional[Mapping[str, Value]] = None, /, **fields: Value) -> None:
        """Changes or adds values of the record, which becomes the table's last one.

        A value cannot be taken away again, so None is refused. A value of a unique field that
        another record holds raises DuplicateError, and the record is as it was.
        """
        self._selection._update(self, {**(values or {}), **fields})

    def delete(self) -> None:
        """Removes the record from the table."""
        self._selection._delete(self)


class Selection(Iterator[Row]):
    """The records found, in the order in which they were added to the table. To be walked once.

    A selection may change the table as it goes, through its rows or through update and delete. If
    another selection updates or deletes meanwhile, or the database rolls back, the walk would skip
    records: the next step raises StaleRowError instead. Inserted records do not join it.
    """

    def __init__(self, database: "Database", criteria: List[Criterion]) -> None:
        self._database = database
        self._statement = Statement(database._connection)
        self._columns: Tuple[str, ...] = tuple(database._connection.fields)
        self._required: Tuple[str, ...] = ()
        self._row: Optional[Row] = None
        self._changes = database._changes
        self._finished = False
        self._find(criteria)

    def _find(self, criteria: List[Criterion]) -> None:
        """Selects by the first criterion, then by the first two, and so on to all of them.

        The library starts anew with a criterion that finds the result empty, so what is empty once
        must not meet another one. It also keeps records without a value for any but the first
        criterion's field: they are left out here as the walk comes to them.
        """
        for one in criteria:
            self._statement.bind(one.name, one.value, one.compare)
            if self._statement.select() == 0:
                self.close()
                return
        if not criteria:
            self._statement.select()
        self._statement.clear()
        self._required = tuple({one.name for one in criteria if one.name != criteria[0].name})

    def only(self, *names: str) -> "Selection":
        """Fetches these fields alone from here on: less work, and no harm from the others."""
        for name in names:
            self._database._connection.name(name)
        self._columns = names
        return self

    def __iter__(self) -> "Selection":
        return self

    def __next__(self) -> Row:
        with self._database._lock:
            self._row = None
            if self._finished:
                raise StopIteration
            self._check()
            for statement in self._statement.found():
                if all(statement.fetch(name) is not None for name in self._required):
                    self._row = Row(self, {name: statement.fetch(name) for name in self._columns})
                    return self._row
            self.close()
            raise StopIteration

    def update(self, values: Optional[Mapping[str, Value]] = None, /, **fields: Value) -> int:
        """Updates all rows that are left, as Row.update does; gives their number.

        The first that fails ends it, and those before it stay updated.
        """
        return self._each(lambda row: row.update(values, **fields))

    def delete(self) -> int:
        """Deletes all rows that are left; gives their number."""
        return self._each(Row.delete)

    def close(self) -> None:
        """Ends the walk. Any number of times; the walk's own end does it too."""
        with self._database._lock:
            self._finished = True
            self._row = None
            self._statement.close()

    def __enter__(self) -> "Selection":
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def _each(self, change: Any) -> int:
        count = 0
        with self._database._lock:
            for row in self.only():
                change(row)
                count += 1
        return count

    def _check(self) -> None:
        if self._database.closed:
            raise ClosedError(Result.ERR_ARGUMENT, "Selection", "the database is closed")
        if self._changes != self._database._changes:
            detail = "the table's records were changed elsewhere: select again"
            raise StaleRowError(Result.ERR_NO_VALUE, "Selection", detail)

    def _claim(self, row: Row) -> None:
        """Makes sure that the row's record is the statement's current one."""
        self._check()
        if row is not self._row:
            detail = "the row is not, or no longer, its selection's current one"
            raise StaleRowError(Result.ERR_NO_VALUE, "Row", detail)

    def _changed(self) -> None:
        """The record before the row's is now the current one, which the host has not asked for."""
        self._row = None
        self._database._changes += 1
        self._changes = self._database._changes

    def _update(self, row: Row, values: Mapping[str, Value]) -> None:
        with self._database._lock:
            self._claim(row)
            self._database._refuse_duplicates(values, self._statement)
            try:
                for name, value in values.items():
                    self._statement.bind(name, value)
                self._claim(row)  # again: a value may have run code that moved the cursor
                self._database._check_write(self._statement.update(), "vamel_update")
            finally:
                self._statement.clear()
            self._changed()

    def _delete(self, row: Row) -> None:
        with self._database._lock:
            self._claim(row)
            self._statement.delete()
            self._changed()
