"""Writes the type stubs of HBLeds (leds.pyi) from what a robot publishes: starts one and asks it.

    make_stubs.py OUTPUT
"""
import sys
import textwrap

from tavro import Robot
from tavro.description import Row
from tavro.service import Service

SERVICE = "HBLeds"

HEAD = '''"""Types of the service HBLeds. Generated from the robot's own description."""
from typing import Any, Optional, Protocol, Sequence, overload

from tavro import aio
from tavro.future import Future
from tavro.service import Service
'''


def argument_type(text: str) -> str:
    """What may be given for an argument of that type: any sequence for a list."""
    return text.replace("list[", "Sequence[")


def definition(name: str, row: Row, result: str, is_async: bool, has_timeout: bool,
               is_overload: bool) -> list[str]:
    params = ["self", *(f"{one}: {argument_type(kind.python_text)}"
                        for one, kind in zip(row.names, row.params))]
    if has_timeout:
        params += ["*", "timeout: Optional[float] = ..."]
    lines = ["@overload"] if is_overload else []
    lines.append(f"{'async ' if is_async else ''}def {name}({', '.join(params)}) -> {result}: ...")
    return lines


def method_class(service: str, name: str, rows: tuple[Row, ...], is_async: bool) -> list[str]:
    """A class whose instance is one method: callable, and with `start`."""
    prefix = "aio." if is_async else ""
    lines = [f"class _{service}_{name}(Protocol):"]
    for which in ("__call__", "start"):
        for row in rows:
            result = row.result.python_text
            if which == "start":
                result = result if row.result.is_future else f"Future[{result}]"
            lines += ["    " + line for line in definition(
                which, row, result.replace("Future[", f"{prefix}Future["), is_async,
                which == "__call__", len(rows) > 1)]
    return lines


def service_class(name: str, service: Service, is_async: bool) -> list[str]:
    methods = type(service).__methods__
    lines: list[str] = []
    for one, method in methods.items():
        lines += [*method_class(name, one, method.overloads, is_async), "", ""]
    base = "aio.Service" if is_async else "Service"
    lines.append(f"class {name}({base}):")
    for one, method in methods.items():
        lines.append(f"    {one}: _{name}_{one}")
        text = method.__doc__.replace("\\", "\\\\").replace('"""', "'''")
        lines.append(textwrap.indent(f'"""{text}\n"""', "    "))
    return lines


def main() -> None:
    with Robot.start() as robot:
        service = robot.service(SERVICE)
    parts = [HEAD, "", *service_class(SERVICE, service, False), "", "",
             *service_class("Aio" + SERVICE, service, True)]
    with open(sys.argv[1], "w", encoding="utf-8") as file:
        file.write("\n".join(parts) + "\n")


main()
