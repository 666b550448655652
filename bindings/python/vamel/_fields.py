"""Fields, values and criteria."""
from __future__ import annotations

import operator
from dataclasses import dataclass
from typing import Dict, List, Mapping, Sequence, Tuple, Type, Union

from . import _codes
from ._codes import Compare, Result
from ._errors import SchemaError

Value = Union[int, str, bytes, bytearray, memoryview, None]
ValueType = Union[Type[int], Type[str], Type[bytes]]

TYPES: Dict[type, int] = {
    int: _codes.Type.INTEGER,
    str: _codes.Type.TEXT,
    bytes: _codes.Type.BINARY,
}
# A table may have one more, but the file that it is written to cannot be read.
MAX_FIELDS = 255


@dataclass(frozen=True)
class Field:
    """One field of the table.

    name     any text; names that differ only in case are different fields.
    type     int (32 bits, signed), str or bytes.
    indexed  whether equality on it is looked up rather than scanned for.
    unique   whether no two records may hold equal values.
    """

    name: str
    type: ValueType
    indexed: bool = False
    unique: bool = False

    def __post_init__(self) -> None:
        if not isinstance(self.name, str):
            raise TypeError(f"a field's name must be str, not {type(self.name).__name__}")
        if self.type not in TYPES:
            raise TypeError(f"field {self.name!r} must be of int, str or bytes, not {self.type!r}")


Fields = Union[Mapping[str, ValueType], Sequence[Field]]


def make_fields(fields: Fields) -> Tuple[Field, ...]:
    """The fields in order, from their list or from a mapping of names to types."""
    if isinstance(fields, Mapping):
        fields = [Field(name, kind) for name, kind in fields.items()]
    for one in fields:
        if not isinstance(one, Field):
            raise TypeError(f"not a Field: {one!r}")
    if len(fields) > MAX_FIELDS:
        detail = f"at most {MAX_FIELDS} fields can be read back from a file"
        raise SchemaError(Result.ERR_SCHEMA, "Database", detail)
    return tuple(fields)


@dataclass(frozen=True)
class Criterion:
    """A comparison that a record's value must pass; made by field("name") < value."""

    name: str
    compare: Compare
    value: Value

    def __bool__(self) -> bool:
        raise TypeError("a criterion is neither true nor false: pass several of them one by one")


class FieldName:
    """A field's name in a comparison, see field()."""

    __hash__ = None  # type: ignore[assignment]

    def __init__(self, name: str) -> None:
        self._name = name

    def __eq__(self, value: Value) -> Criterion:  # type: ignore[override]
        return Criterion(self._name, Compare.EQUAL, value)

    def __ne__(self, value: object) -> bool:
        raise TypeError("the library has no search for values that differ")

    def __lt__(self, value: Value) -> Criterion:
        return Criterion(self._name, Compare.LESS, value)

    def __gt__(self, value: Value) -> Criterion:
        return Criterion(self._name, Compare.GREATER, value)

    def __le__(self, value: Value) -> Criterion:
        return Criterion(self._name, Compare.LESS_OR_EQUAL, value)

    def __ge__(self, value: Value) -> Criterion:
        return Criterion(self._name, Compare.GREATER_OR_EQUAL, value)


def field(name: str) -> FieldName:
    """A field to compare: field("age") < 30 is a criterion of a select."""
    return FieldName(name)


_OPERATORS: Dict[str, Compare] = {
    "==": Compare.EQUAL,
    "=": Compare.EQUAL,
    "<": Compare.LESS,
    ">": Compare.GREATER,
    "<=": Compare.LESS_OR_EQUAL,
    ">=": Compare.GREATER_OR_EQUAL,
}
CriterionLike = Union[Criterion, Tuple[str, str, Value]]


def _make_criterion(one: CriterionLike) -> Criterion:
    if isinstance(one, tuple) and len(one) == 3 and one[1] in _OPERATORS:
        one = Criterion(one[0], _OPERATORS[one[1]], one[2])
    if not isinstance(one, Criterion):
        raise TypeError(f'not a criterion, such as ("age", "<", 30) or field("age") < 30: {one!r}')
    return one


def make_criteria(
    criteria: Sequence[CriterionLike], equals: Mapping[str, Value]
) -> List[Criterion]:
    """All criteria of a select in order, those given as name=value last."""
    made = [_make_criterion(one) for one in criteria]
    return made + [Criterion(name, Compare.EQUAL, value) for name, value in equals.items()]


def to_int32(name: str, value: Value) -> int:
    """A value for an integer field, which has 32 bits."""
    try:
        number = operator.index(value)  # type: ignore[arg-type]
    except TypeError:
        raise TypeError(f"field {name!r} takes int, not {type(value).__name__}") from None
    if not -(1 << 31) <= number < 1 << 31:
        raise OverflowError(f"field {name!r} takes 32-bit integers, not {number}")
    return number


def to_bytes(name: str, value: Value) -> bytes:
    """A value for a binary field."""
    if not isinstance(value, (bytes, bytearray, memoryview)):
        raise TypeError(f"field {name!r} takes bytes, not {type(value).__name__}")
    data = bytes(value)
    if len(data) >= 1 << 32:
        raise OverflowError(f"field {name!r} takes less than 4 GiB")
    return data
