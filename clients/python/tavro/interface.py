"""The types of a robot's interface: how they are written, and what they are in Python.

    bool  int (32 bits)  float (single precision)  string  value (of any type)
    list<T>  future<T> (as a result only)  void (as a result only)
"""
from __future__ import annotations

import collections.abc
import concurrent.futures
import re
import types
import typing
from dataclasses import dataclass
from typing import Any, Optional

from tavro.v1 import robot_pb2 as wire

_KINDS = {
    "void": wire.Type.KIND_VOID, "bool": wire.Type.KIND_BOOL, "int": wire.Type.KIND_INT,
    "float": wire.Type.KIND_FLOAT, "string": wire.Type.KIND_STRING, "value": wire.Type.KIND_VALUE,
    "list": wire.Type.KIND_LIST, "future": wire.Type.KIND_FUTURE}
_NAMES = {number: name for name, number in _KINDS.items()}
_PYTHON: dict[str, Any] = {"void": None, "bool": bool, "int": int, "float": float, "string": str,
                           "value": Any}


@dataclass(frozen=True)
class Type:
    """One type: its kind, and what a list or a future has in it."""

    kind: str
    element: Optional["Type"] = None

    def __str__(self) -> str:
        return f"{self.kind}<{self.element}>" if self.element else self.kind

    @property
    def is_future(self) -> bool:
        return self.kind == "future"

    @property
    def python(self) -> Any:
        """The annotation that stands for it: `list[str]`, `Future[None]`, ..."""
        if self.element is None:
            return _PYTHON[self.kind]
        if self.kind == "list":
            return list[self.element.python]  # type: ignore[name-defined]
        return concurrent.futures.Future[self.element.python]  # type: ignore[name-defined]

    @property
    def python_text(self) -> str:
        """The same, as a program writes it."""
        if self.element is None:
            python = _PYTHON[self.kind]
            return "Any" if python is Any else getattr(python, "__name__", "None")
        return f"{self.kind if self.kind == 'list' else 'Future'}[{self.element.python_text}]"

    @staticmethod
    def from_wire(message: wire.Type) -> "Type":
        """A kind that a newer robot may have reads as "value": the robot judges then."""
        kind = _NAMES.get(message.kind, "value")
        if kind in ("list", "future"):
            element = Type.from_wire(message.element) if message.HasField("element") else VALUE
            return Type(kind, element)
        return Type(kind)

    def to_wire(self) -> wire.Type:
        message = wire.Type(kind=_KINDS[self.kind])
        if self.element is not None:
            message.element.CopyFrom(self.element.to_wire())
        return message


VALUE = Type("value")
VOID = Type("void")


@dataclass(frozen=True)
class Signature:
    """Number and types of the arguments, and the type of the result."""

    params: tuple[Type, ...]
    result: Type

    def __str__(self) -> str:
        text = "(" + ", ".join(map(str, self.params)) + ")"
        return text if self.result == VOID else f"{text} -> {self.result}"

    @staticmethod
    def from_wire(message: wire.Signature) -> "Signature":
        return Signature(tuple(map(Type.from_wire, message.params)),
                         Type.from_wire(message.result))

    def to_wire(self) -> wire.Signature:
        return wire.Signature(params=[param.to_wire() for param in self.params],
                              result=self.result.to_wire(), text=str(self))


def parse_signature(text: str) -> Signature:
    """Reads "(list<string>, value) -> future<void>". Errors: ValueError, TypeError."""
    match = re.fullmatch(r"\s*\((.*)\)\s*(?:->\s*(\S+)\s*)?", text)
    if not match:
        raise ValueError(f"{text!r} is no signature; write one as '(string, list<float>) -> void'")
    params = [one.strip() for one in match.group(1).split(",")] if match.group(1).strip() else []
    result = parse_type(match.group(2) or "void")
    signature = Signature(tuple(map(parse_type, params)), parse_type(match.group(2) or "void"))
    _require_place(signature.result, True, text)
    for param in signature.params:
        _require_place(param, False, text)
    return signature


def parse_type(text: str) -> Type:
    """Reads "list<string>". Errors: ValueError."""
    match = re.fullmatch(r"(list|future)<(.*)>", text)
    if match:
        return Type(match.group(1), parse_type(match.group(2)))
    if text not in _PYTHON:
        raise ValueError(f"{text!r} is no type; there are {', '.join(_PYTHON)}, list<T>, future<T>")
    return Type(text)


def from_annotation(annotation: Any, is_result: bool = False) -> Type:
    """The type that a Python annotation stands for. Errors: TypeError for one that has none."""
    found = _of_annotation(annotation)
    _require_place(found, is_result, annotation)
    return found


def _require_place(found: Type, is_result: bool, where: Any) -> None:
    """Nothing, and what comes later, can only be a result; all else can be an argument too."""
    if is_result and found.is_future and found.element is not None:
        found = found.element
    if is_result and found == VOID:
        return
    inner: Optional[Type] = found
    while inner is not None:
        if inner.kind in ("void", "future"):
            raise TypeError(f"{where!r}: {inner} can only be a result")
        inner = inner.element


def _of_annotation(annotation: Any) -> Type:
    if annotation is None or annotation is type(None):
        return VOID
    for kind, python in _PYTHON.items():
        if annotation is python:
            return Type(kind)
    origin, arguments = typing.get_origin(annotation), typing.get_args(annotation)
    if annotation in (list, tuple) or annotation is collections.abc.Sequence:
        return Type("list", VALUE)
    if origin in (list, collections.abc.Sequence, collections.abc.Iterable):
        return Type("list", _of_annotation(arguments[0]))
    if origin is tuple and len(arguments) == 2 and arguments[1] is ...:
        return Type("list", _of_annotation(arguments[0]))
    cls = origin or annotation
    if isinstance(cls, type) and issubclass(cls, concurrent.futures.Future):
        return Type("future", _of_annotation(arguments[0]) if arguments else VALUE)
    if annotation in (bytes, object) or origin in (typing.Union, types.UnionType):
        return VALUE
    raise TypeError(f"{annotation!r} has no type in a robot's interface; there are bool, int, "
                    "float, str, bytes, Any, None, list[...] and Future[...]")
