"""What a robot publishes about a service, read once and turned into what Python shows of a method:
parameter names, signature and docstring."""
from __future__ import annotations

import inspect
import keyword
import re
import textwrap
from dataclasses import dataclass
from typing import Any, Optional

from tavro.interface import VOID, Signature, Type
from tavro.v1 import robot_pb2 as wire

# Taken by the client itself: how long a call may last.
TIMEOUT = "timeout"


@dataclass(frozen=True)
class Text:
    """A name, and a text for people."""

    name: str
    text: str


@dataclass(frozen=True)
class Row:
    """One published method: a name may have several rows, its overloads."""

    name: str
    description: str
    names: tuple[str, ...]       # of the arguments: as documented by position, else argN
    documented: tuple[Text, ...]  # by position; may be more or fewer than the arguments
    returns: Optional[Text]
    examples: tuple[Text, ...]   # language and program
    signature: Signature

    @property
    def params(self) -> tuple[Type, ...]:
        return self.signature.params

    @property
    def result(self) -> Type:
        return self.signature.result

    def python_signature(self) -> inspect.Signature:
        kind = inspect.Parameter.POSITIONAL_OR_KEYWORD
        params = [inspect.Parameter(name, kind, annotation=one.python)
                  for name, one in zip(self.names, self.params)]
        return inspect.Signature([*params, _TIMEOUT_PARAMETER],
                                 return_annotation=self.result.python)

    def call_text(self) -> str:
        """"fade(name: str, intensity: float, duration: float) -> Future[None]"."""
        params = ", ".join(f"{name}: {one.python_text}"
                           for name, one in zip(self.names, self.params))
        return f"{self.name}({params}) -> {self.result.python_text}"


@dataclass(frozen=True)
class Description:
    """A service: what it is, and its methods by name, in the order of publication."""

    service: str
    text: str
    methods: dict[str, tuple[Row, ...]]


_TIMEOUT_PARAMETER = inspect.Parameter(TIMEOUT, inspect.Parameter.KEYWORD_ONLY, default=None,
                                       annotation=Optional[float])


def read(reply: wire.DescribeServiceReply) -> Description:
    """The robot's description of a service."""
    methods: dict[str, tuple[Row, ...]] = {}
    for method in reply.methods:
        methods[method.name] = methods.get(method.name, ()) + (_read_row(method),)
    return Description(reply.service, reply.description, methods)


def _read_row(method: wire.Method) -> Row:
    signature = Signature.from_wire(method.signature)
    documented = tuple(_read_text(param) for param in method.params)
    returns = _read_text(method.returns) if method.HasField("returns") else None
    return Row(method.name, method.description, _names(documented, len(signature.params)),
               documented, returns, tuple(map(_read_text, method.examples)), signature)


def _read_text(message: wire.NamedText) -> Text:
    return Text(message.name, message.text)


def _names(documented: tuple[Text, ...], count: int) -> tuple[str, ...]:
    """One usable name an argument; `argN`, from 1, where none is documented or it is taken."""
    names: list[str] = []
    for place in range(count):
        name = ""
        if place < len(documented):
            name = re.sub(r"\W", "_", documented[place].name)
            if keyword.iskeyword(name) or name == TIMEOUT:
                name += "_"
        if not name.isidentifier() or name in names:
            name = f"arg{place + 1}"
        names.append(name)
    return tuple(names)


def signature_of(rows: tuple[Row, ...]) -> inspect.Signature:
    """That of the method; of overloads the arguments are open, and their docstring lists them."""
    if len(rows) == 1:
        return rows[0].python_signature()
    results = {row.result for row in rows}
    args = inspect.Parameter("args", inspect.Parameter.VAR_POSITIONAL)
    returned = rows[0].result.python if len(results) == 1 else Any
    return inspect.Signature([args, _TIMEOUT_PARAMETER], return_annotation=returned)


def docstring_of(rows: tuple[Row, ...]) -> str:
    """What `help()` shows of a method, all its overloads."""
    if len(rows) == 1:
        return _row_text(rows[0])
    return "\n\n".join(f"{row.call_text()}\n{textwrap.indent(_row_text(row), '    ')}"
                       for row in rows)


def _row_text(row: Row) -> str:
    parts = [row.description.strip()]
    arguments = []
    for place, (name, one) in enumerate(zip(row.names, row.params)):
        text = row.documented[place].text if place < len(row.documented) else ""
        arguments.append(f"{name} ({one}): {text}".rstrip(": ") if not text
                         else f"{name} ({one}): {text}")
    if arguments:
        parts.append(_section("Args", arguments))
    beyond = row.documented[len(row.params):]
    if beyond:
        parts.append(_section("Documented, but no argument of this method",
                              [f"{one.name}: {one.text}" for one in beyond]))
    if row.result != VOID:
        text = f"{row.returns.name} ({row.result}): {row.returns.text}" if row.returns else str(
            row.result)
        parts.append(_section("Returns", [text]))
    for example in row.examples:
        if example.name == "python":
            parts.append(_section("Example", example.text.strip("\n").splitlines()))
    return "\n\n".join(part for part in parts if part)


def _section(title: str, lines: list[str]) -> str:
    return f"{title}:\n" + textwrap.indent("\n".join(lines), "    ")
