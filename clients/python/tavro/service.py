"""A service of the robot as a Python object: its methods come from the robot's own description."""
from __future__ import annotations

import textwrap
from typing import Any, Optional

from tavro import description as descriptions
from tavro import values
from tavro.background import background
from tavro.connection import Connection
from tavro.description import Description, Row
from tavro.future import Future, begin, start
from tavro.v1 import robot_pb2 as wire


class Method:
    """One published method, all its overloads. Call it; `start()` calls it in the background.

    A call blocks until the method returned on the robot. Arguments are checked before anything is
    sent: TypeError and ValueError. `timeout`, in seconds, ends the call with TimedOut; it, Ctrl-C
    and the loss of the connection ask the robot's method to stop.
    """

    def __init__(self, connection: Connection, service: str, rows: tuple[Row, ...]) -> None:
        self._connection = connection
        self._service = service
        self._rows = rows
        self.__name__ = rows[0].name
        self.__qualname__ = f"{service}.{rows[0].name}"
        self.__doc__ = descriptions.docstring_of(rows)
        self.__signature__ = descriptions.signature_of(rows)

    @property
    def overloads(self) -> tuple[Row, ...]:
        """What is published: one row for each overload, with texts and signature."""
        return self._rows

    def __call__(self, /, *args: Any, timeout: Optional[float] = None, **named: Any) -> Any:
        row, request = self._prepare(args, named)
        if row.result.is_future:
            return background.run(begin(self._connection, request, timeout))
        return background.run(self._connection.call(request, timeout))

    def start(self, /, *args: Any, **named: Any) -> Future[Any]:
        """Calls the method without waiting for it: all that becomes of it is told to the future,
        whose `cancel()` asks the method to stop."""
        _, request = self._prepare(args, named)
        return background.run(start(self._connection, request))

    def __get__(self, instance: object, owner: object = None) -> "Method":
        """Makes documentation tools list it among the methods of its class."""
        return self

    def __repr__(self) -> str:
        return f"<method {self.__qualname__}{self.__signature__}>"

    def _prepare(self, args: tuple[Any, ...],
                 named: dict[str, Any]) -> tuple[Row, wire.CallRequest]:
        """Picks the overload whose types fit best, as the robot does, and converts to its types."""
        fitting: list[tuple[int, Row, list[wire.Value]]] = []
        faults: list[Exception] = []
        for row in self._rows:
            try:
                converted = [values.convert(value, one, f"{self.__qualname__}: {name}")
                             for name, one, value in zip(row.names, row.params,
                                                         self._arrange(row, args, named))]
                score = sum(score for _, score in converted)
                fitting.append((score, row, [value for value, _ in converted]))
            except (TypeError, ValueError) as fault:
                faults.append(fault)
        if not fitting:
            raise self._why_nothing_fits(faults, args)
        _, row, sent = min(fitting, key=lambda one: one[0])
        return row, wire.CallRequest(service=self._service, method=self.__name__, args=sent,
                                     completion=wire.COMPLETION_RETURNED)

    def _arrange(self, row: Row, args: tuple[Any, ...], named: dict[str, Any]) -> list[Any]:
        """The arguments by position. Errors: TypeError that names what is missing or too much."""
        if len(args) > len(row.names):
            raise TypeError(f"{row.call_text()} takes {len(row.names)} arguments, "
                            f"{len(args)} were given")
        by_name = dict(zip(row.names, args))
        for name, value in named.items():
            if name not in row.names:
                raise TypeError(f"{row.call_text()} has no argument {name!r}")
            if name in by_name:
                raise TypeError(f"{row.call_text()}: {name!r} is given twice")
            by_name[name] = value
        missing = [name for name in row.names if name not in by_name]
        if missing:
            raise TypeError(f"{row.call_text()}: missing {', '.join(missing)}")
        return [by_name[name] for name in row.names]

    def _why_nothing_fits(self, faults: list[Exception], args: tuple[Any, ...]) -> Exception:
        """Of one overload, or one of that many arguments, what is wrong; else the candidates."""
        near = [fault for row, fault in zip(self._rows, faults) if len(row.params) == len(args)]
        if len(faults) == 1 or len(near) == 1:
            return (near or faults)[0]
        for fault in near:
            if isinstance(fault, ValueError):
                return fault
        candidates = "\n  ".join(row.call_text() for row in self._rows)
        given = ", ".join(type(arg).__name__ for arg in args)
        return TypeError(f"{self.__qualname__} has no overload for ({given}); there are\n"
                         f"  {candidates}")


class Service:
    """A service of the robot. Its methods are attributes; a name that Python keeps for itself is
    reached as `service["name"]`."""

    def __getitem__(self, name: str) -> Method:
        """The method of that name. Errors: KeyError."""
        return type(self).__methods__[name]  # type: ignore[attr-defined,no-any-return]

    def __repr__(self) -> str:
        cls = type(self)
        address = cls.__address__  # type: ignore[attr-defined]
        return f"<service {cls.__name__} of the robot at {address}>"


def make_service(connection: Connection, found: Description, method: type[Method] = Method,
                 base: type = Service) -> Any:
    """An object of a class made for this service, so that `help()` and `dir()` know its methods."""
    methods = {name: method(connection, found.service, rows)
               for name, rows in found.methods.items()}
    attributes = {name: one for name, one in methods.items()
                  if not (name.startswith("__") and name.endswith("__"))}
    namespace: dict[str, Any] = {
        "__doc__": _class_text(found), "__slots__": (), "__methods__": methods,
        "__address__": str(connection.address), **attributes}
    return type(found.service, (base,), namespace)()


def _class_text(found: Description) -> str:
    paragraphs = [textwrap.fill(line.strip(), 100) for line in found.text.splitlines()]
    return "\n".join(paragraphs) or f"The service {found.service}."
