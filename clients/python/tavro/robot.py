"""A robot, seen from Python."""
from __future__ import annotations

import asyncio
import weakref
from pathlib import Path
from typing import TYPE_CHECKING, Any, Optional, Sequence, Union, overload

from tavro import address as addresses
from tavro import errors
from tavro.background import background
from tavro.connection import Access, Connection
from tavro.info import Calls, Info
from tavro.lend import LendStream, Lent
from tavro.offer import describe
from tavro.process import RobotProcess
from tavro.service import make_service
from tavro.watch import Watch, read_once

if TYPE_CHECKING:
    from typing import Literal

    from tavro.leds import HBLeds


def connection_to(where: Optional[str], access: Access, name: str, timeout: float) -> Connection:
    """Not open yet. Errors: ValueError, OSError."""
    address = addresses.default() if where is None else addresses.parse(where)
    return Connection(address, access, name, timeout)


class Robot:
    """A connection to one robot.

        with Robot("127.0.0.1:5480") as robot:
            leds = robot.service("HBLeds")
            leds.fadeRGB("FaceLeds", "red", 1.0)

    Thread-safe; every call blocks the calling thread and no other. Errors: those of `tavro.errors`.
    After the loss of a connection the next call tries again.

    Args:
        address: "HOST:PORT" or "unix:PATH". None: this user's robot on this machine, through its
            Unix socket, else "127.0.0.1:5480".
        tls: encrypted, the robot's certificate being one that this system trusts.
        ca: encrypted, its certificate being one that the authorities in this file (PEM) vouch for.
        tls_name: encrypted; the name in its certificate, when that is not the address's host.
        token: who you are, to robots that ask. None: that of the environment variable TAVRO_TOKEN,
            which goes over TLS and to this machine only.
        insecure: lets `token` travel to another machine without encryption.
        name: how the robot's list of calls names this client.
        timeout: seconds that connecting and every short question may take.
    """

    def __init__(self, address: Optional[str] = None, *, tls: bool = False,
                 ca: Union[str, Path, None] = None, tls_name: Optional[str] = None,
                 token: Optional[str] = None, insecure: bool = False, name: str = "python",
                 timeout: float = 5.0) -> None:
        self._timeout = timeout
        self._process: Optional[RobotProcess] = None
        self._connection = connection_to(
            address, Access(tls, ca, tls_name, token, insecure), name, timeout)
        background.run(self._connection.open())
        self._closing = weakref.finalize(self, background.submit_call, self._connection.close)
        self._closing.atexit = False

    @staticmethod
    def start(model: str = "minimal", *, args: Sequence[str] = (), program: Optional[str] = None,
              ready: bool = True, timeout: float = 30.0) -> "Robot":
        """Starts a robot of one's own on this machine and connects to it; `close()` ends it.

        Args:
            model: "minimal", "vanto", "lirae", or the file of another.
            args: more options of the program, such as ["--without", "motion"].
            program: the `tavro` to run; else `$TAVRO_PROGRAM`, the build that this package lies in,
                or the one on the PATH.
            ready: waits until every module stands. False: until it lets clients in.
            timeout: seconds that this may take.

        Errors: FileNotFoundError without a program or model; Unreachable, with the program's last
        words, when it does not come up.
        """
        process = RobotProcess(model, args=args, program=program, timeout=timeout)
        try:
            if ready:
                process.wait_until_ready()
            robot = Robot(process.address)
        except BaseException:
            process.stop()
            raise
        robot._process = process
        return robot

    @property
    def address(self) -> str:
        return str(self._connection.address)

    @property
    def process(self) -> Optional[RobotProcess]:
        """The process of a robot that `start` began; None of any other."""
        return self._process

    def close(self) -> None:
        """Ends all that was begun here: calls are asked to stop, watches end, lent services go. A
        robot that `start` began ends. Twice is allowed."""
        self._closing.detach()
        background.run(self._connection.close())
        if self._process is not None:
            self._process.stop()

    def __enter__(self) -> "Robot":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<robot at {self.address}{'' if self._connection.is_open else ', closed'}>"

    def info(self) -> Info:
        """Who answers: name, versions, uptime, services, limits."""
        return Info.from_wire(background.run(self._connection.info()))

    def wait_until_ready(self, timeout: Optional[float] = None) -> None:
        """Until the robot answers and every module stands. Errors: TimedOut after so many
        seconds."""
        try:
            background.run(asyncio.wait_for(self._connection.wait_until_ready(), timeout))
        except asyncio.TimeoutError:
            raise errors.TimedOut(f"The robot at {self.address} is not ready") from None

    def services(self) -> list[str]:
        """The names of the services that stand now, ascending."""
        return background.run(self._connection.services())

    if TYPE_CHECKING:
        @overload
        def service(self, name: Literal["HBLeds"]) -> HBLeds: ...
        @overload
        def service(self, name: str) -> Any: ...

    def service(self, name: str) -> Any:
        """A service as an object: its methods, with documentation, are those that it publishes
        now. Errors: NoSuchService."""
        return make_service(self._connection, background.run(self._connection.describe(name)))

    def calls(self) -> Calls:
        """The calls that came to the robot from outside: those that run, and the last that
        ended."""
        return Calls.from_wire(background.run(self._connection.list_calls()))

    def stop(self, call: int) -> bool:
        """Asks the running call of that id, whoever made it, to stop; False when there is none."""
        return background.run(self._connection.stop_call(call))

    def read(self, key: str) -> Any:
        """The value of one key of the robot's memory. Errors: CallFailed for an unknown key."""
        return background.run(self._connection.read(key))

    def values(self, pattern: str = "*") -> dict[str, Any]:
        """The values of all keys that match, at one instant.

        "*" stands for any text, "/" included. A pattern that does not begin with "*" may begin at
        the start of any path component: "Face/*".
        """
        return background.run(read_once(self._connection, pattern, self._timeout))

    def watch(self, pattern: str = "*") -> Watch:
        """Follows the keys that match (see `values`): an iterator of what changed, first of all
        that matches."""
        return Watch(self._connection, pattern)

    def lend(self, name: str, service: object) -> Lent:
        """Makes a Python object a service of the robot, until it is closed or either side goes.

        Its public methods are published; annotations tell their types, docstrings their
        documentation, and defaults make overloads. `tavro.method` marks those whose names begin
        with "_", or whose types are better said in words. A method runs on a thread of its own, up
        to eight at once; it may return a `concurrent.futures.Future` when its annotation says so.
        What it raises reaches the caller with its text.

        Errors: TypeError for an object that cannot be published; NameTaken.
        """
        offer, offered = describe(name, service)
        stream = LendStream(self._connection, offer, offered, None)
        background.run(stream.open())
        return Lent(name, stream)
