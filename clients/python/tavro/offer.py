"""An ordinary object as a service: which of its methods are published, as what, and with which
documentation."""
from __future__ import annotations

import inspect
import re
import typing
from dataclasses import dataclass
from typing import Any, Callable, Optional, TypeVar, Union

from tavro.interface import VALUE, Signature, Type, from_annotation, parse_signature
from tavro.v1 import robot_pb2 as wire

F = TypeVar("F", bound=Callable[..., Any])
_MARK = "_tavro_signature"


def method(signature: Union[str, F, None] = None) -> Any:
    """Publishes a method of a lent object whose name begins with "_", or tells its types.

        @tavro.method
        def _reload(self) -> None: ...

        @tavro.method("(list<string>, value, value) -> void")
        def _animateLEDs(self, keys, times, values): ...

    Without a signature in words the annotations count, as for all other methods.
    """
    if callable(signature):
        setattr(signature, _MARK, "")
        return signature
    text = signature or ""
    if text:
        parse_signature(text)  # refused where it is written

    def mark(function: F) -> F:
        setattr(function, _MARK, text)
        return function
    return mark


@dataclass(frozen=True)
class Offered:
    """One published row: what a caller from outside calls, and its types."""

    call: Callable[..., Any]
    name: str
    signature: Signature


def describe(name: str, lent: object) -> tuple[wire.DescribeServiceReply, list[Offered]]:
    """The service's description, and the methods in the same order. Errors: TypeError for an object
    without methods to publish, and for a method whose types cannot be told."""
    offer = wire.DescribeServiceReply(service=name, description=_doc(type(lent)) or _doc(lent))
    offered: list[Offered] = []
    for method_name, call in _published(lent):
        documented = _read_doc(_doc(call))
        names, signatures = _signatures(call)
        for signature in signatures:
            offered.append(Offered(call, method_name, signature))
            offer.methods.append(_to_wire(method_name, names, signature, documented))
    if not offered:
        raise TypeError(f"{type(lent).__name__} has no method to publish: those whose names do not "
                        "begin with '_', and those marked with @tavro.method, are")
    return offer, offered


def _published(lent: object) -> list[tuple[str, Callable[..., Any]]]:
    """In the order in which the class, its bases first, defines them."""
    names: dict[str, None] = {}
    for cls in reversed(type(lent).__mro__[:-1]):
        names.update(dict.fromkeys(vars(cls)))
    found = []
    for name in names:
        definition = inspect.getattr_static(type(lent), name)
        if isinstance(definition, property) or isinstance(definition, type):
            continue
        if not callable(definition) and not isinstance(definition, (staticmethod, classmethod)):
            continue
        call = getattr(lent, name)
        if not callable(call):
            continue
        if not name.startswith("_") or hasattr(call, _MARK):
            found.append((name, call))
    return found


def _signatures(call: Callable[..., Any]) -> tuple[list[str], list[Signature]]:
    """The arguments' names, and one signature for each number of arguments: defaults make
    overloads."""
    params = list(inspect.signature(call).parameters.values())
    for param in params:
        if param.kind in (param.VAR_POSITIONAL, param.VAR_KEYWORD):
            raise TypeError(f"{_title(call)}: *{param.name} cannot be published: a method takes a "
                            "fixed number of arguments")
        if param.kind == param.KEYWORD_ONLY and param.default is param.empty:
            raise TypeError(f"{_title(call)}: {param.name} cannot be given by position")
    params = [param for param in params if param.kind != param.KEYWORD_ONLY]
    names = [param.name for param in params]
    text = getattr(call, _MARK, "")
    if text:
        signature = parse_signature(text)
        if len(signature.params) > len(params):
            raise TypeError(f"{_title(call)}: {text} has more arguments than the method")
        return names, [signature]
    types, result = _annotated(call, names)
    optional = sum(param.default is not param.empty for param in params)
    return names, [Signature(tuple(types[:count]), result)
                   for count in range(len(params) - optional, len(params) + 1)]


def _annotated(call: Callable[..., Any], names: list[str]) -> tuple[list[Type], Type]:
    """What is not annotated may be any value."""
    function = getattr(call, "__func__", call)
    try:
        hints = typing.get_type_hints(function)
        types = [from_annotation(hints[name]) if name in hints else VALUE for name in names]
        result = from_annotation(hints["return"], True) if "return" in hints else VALUE
    except (TypeError, NameError) as fault:
        raise TypeError(f"{_title(call)}: {fault}") from None
    return types, result


@dataclass
class _Documented:
    text: str
    params: dict[str, str]
    returns: Optional[str]
    example: Optional[str]


_SECTIONS = ("Args", "Arguments", "Parameters", "Returns", "Example", "Examples")


def _read_doc(doc: str) -> _Documented:
    """Splits a docstring into its text and its sections "Args:", "Returns:" and "Example:"."""
    lines: dict[str, list[str]] = {"": []}
    section = ""
    for line in doc.splitlines():
        heading = re.fullmatch(r"(\w+):", line)
        if heading and heading.group(1) in _SECTIONS:
            section = heading.group(1)
        elif line and not line.startswith(" "):
            section = ""
        lines.setdefault(section, []).append("" if heading and section else line)
    params = [one for key in _SECTIONS[:3] for one in lines.get(key, [])]
    example = "\n".join(one for key in _SECTIONS[4:] for one in lines.get(key, []))
    return _Documented("\n".join(lines[""]).strip(), _read_params(params),
                       _joined(lines.get("Returns", [])) or None,
                       inspect.cleandoc(example) + "\n" if example.strip() else None)


def _read_params(lines: list[str]) -> dict[str, str]:
    params: dict[str, str] = {}
    last = ""
    for line in inspect.cleandoc("\n".join(["", *lines])).splitlines():
        begun = re.match(r"(\w+)(?: \([^)]*\))?: *(.*)", line)
        if begun:
            last = begun.group(1)
            params[last] = begun.group(2)
        elif last:
            params[last] += " " + line.strip()
    return params


def _joined(lines: list[str]) -> str:
    return " ".join(line.strip() for line in lines if line.strip())


def _to_wire(name: str, names: list[str], signature: Signature,
             documented: _Documented) -> wire.Method:
    row = wire.Method(name=name, description=documented.text, signature=signature.to_wire())
    for param in names[:len(signature.params)]:
        row.params.add(name=param, text=documented.params.get(param, ""))
    if documented.returns:
        row.returns.name = "result"
        row.returns.text = documented.returns
    if documented.example:
        row.examples.add(name="python", text=documented.example)
    return row


def _doc(what: object) -> str:
    return inspect.cleandoc(getattr(what, "__doc__", None) or "")


def _title(call: Callable[..., Any]) -> str:
    return getattr(call, "__qualname__", repr(call))
