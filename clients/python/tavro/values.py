"""Python values to the wire and back.

| Python | robot |
|---|---|
| None | the invalid value: what a method without a result gives |
| bool, int (32 bits), float (single precision) | the same |
| str | text; bytes of a text that is not UTF-8 are escaped as Python's "surrogateescape" does |
| bytes, bytearray, memoryview | binary |
| list, tuple, what has `tolist()` (NumPy's arrays and scalars) | list, or what `tolist()` gives |

A bool is never taken for a number. Whole numbers are taken where a float is wanted, and whole
floats where an int is.
"""
from __future__ import annotations

import math
import reprlib
import struct
from typing import Any

from tavro.interface import VALUE, Type
from tavro.v1 import robot_pb2 as wire

INT_MIN, INT_MAX = -2**31, 2**31 - 1
# What a message of the wire holds for readers everywhere.
MAX_NESTED_LISTS = 45

_WANTED = {"bool": "a bool", "int": "an int", "float": "a float", "string": "a str",
           "list": "a list", "void": "None", "future": "a future"}


def to_wire(value: Any, where: str = "the value") -> wire.Value:
    """Any value. Errors: TypeError, ValueError, each naming `where`."""
    return convert(value, VALUE, where)[0]


def convert(value: Any, wanted: Type, where: str) -> tuple[wire.Value, int]:
    """The value as `wanted`, and how badly it fits: 0 exactly, 1 as another kind of number.

    Errors: TypeError for a value of another type, ValueError for one out of range; both begin with
    `where` and name the value and what is wanted.
    """
    message = wire.Value()
    return message, _fill(message, value, wanted, where, 0)


def from_wire(message: wire.Value) -> Any:
    """The value that a message holds."""
    kind = message.WhichOneof("kind")
    if kind is None:
        return None
    if kind == "list":
        return [from_wire(element) for element in message.list.values]
    if kind == "raw_text":
        return message.raw_text.decode("utf-8", "surrogateescape")
    return getattr(message, kind)


def exact_text(error: wire.CallError) -> str:
    """An error's text, byte by byte."""
    return error.raw_text.decode("utf-8", "surrogateescape") if error.raw_text else error.text


def _fill(message: wire.Value, value: Any, wanted: Type, where: str, depth: int) -> int:
    kind = _kind_of(value)
    if kind == "other" and hasattr(value, "tolist"):
        value = value.tolist()
        kind = _kind_of(value)
    if wanted.kind != "value" and kind != wanted.kind:
        if {kind, wanted.kind} != {"int", "float"}:
            raise _type_error(value, wanted, where)
        if kind == "float" and not float(value).is_integer():  # false for NaN and infinities
            raise _type_error(value, wanted, where)
        _fill_scalar(message, value, wanted.kind, where)
        return 1
    if kind == "list":
        return _fill_list(message, value, wanted.element or VALUE, where, depth)
    if kind == "other":
        raise _type_error(value, wanted, where)
    _fill_scalar(message, value, kind, where)
    return 0


def _kind_of(value: Any) -> str:
    if value is None:
        return "void"
    if isinstance(value, bool):
        return "bool"
    if isinstance(value, str):
        return "string"
    if isinstance(value, (list, tuple)):
        return "list"
    if isinstance(value, (bytes, bytearray, memoryview)):
        return "binary"
    if hasattr(value, "tolist"):
        return "other"
    if hasattr(type(value), "__index__"):
        return "int"
    return "float" if hasattr(type(value), "__float__") else "other"


def _fill_list(message: wire.Value, values: Any, element: Type, where: str, depth: int) -> int:
    if depth >= MAX_NESTED_LISTS:
        raise ValueError(f"{where} has more than {MAX_NESTED_LISTS} lists within lists")
    message.list.SetInParent()
    worst = 0
    for index, value in enumerate(values):
        one = message.list.values.add()
        worst = max(worst, _fill(one, value, element, f"{where}[{index}]", depth + 1))
    return worst


def _fill_scalar(message: wire.Value, value: Any, kind: str, where: str) -> None:
    if kind == "bool":
        message.boolean = value
    elif kind == "int":
        message.integer = _int32(value, where)
    elif kind == "float":
        message.number = _float32(value, where)
    elif kind == "string":
        _fill_text(message, value, where)
    elif kind == "binary":
        message.binary = bytes(value)


def _int32(value: Any, where: str) -> int:
    number = int(value)
    if not INT_MIN <= number <= INT_MAX:
        raise ValueError(f"{where} is {_shown(value)}; an int has 32 bits: {INT_MIN} to {INT_MAX}")
    return number


def _float32(value: Any, where: str) -> float:
    try:
        number = float(value)
        if math.isfinite(number):
            struct.pack("<f", number)
    except OverflowError:
        raise ValueError(f"{where} is {_shown(value)}, too large for a float of single precision, "
                         "which ends at 3.4e38") from None
    return number


def _fill_text(message: wire.Value, value: str, where: str) -> None:
    try:
        raw = value.encode("utf-8", "surrogateescape")
    except UnicodeEncodeError as error:
        raise ValueError(f"{where} is {_shown(value)}, which is no text: {error.reason}") from None
    try:
        message.text = raw.decode("utf-8")
    except UnicodeDecodeError:
        message.raw_text = raw


def _type_error(value: Any, wanted: Type, where: str) -> TypeError:
    what = _WANTED.get(wanted.kind, "None, a bool, int, float, str, bytes or list")
    return TypeError(f"{where} must be {what}, not {_shown(value)} ({type(value).__name__})")


def _shown(value: Any) -> str:
    try:
        return reprlib.repr(value)
    except ValueError:  # of an int with thousands of digits
        return "a huge number"
