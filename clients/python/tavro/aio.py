"""The robot for asyncio: as `tavro`, with `await`.

    async with aio.Robot("127.0.0.1:5480") as robot:
        leds = await robot.service("HBLeds")
        await (await leds.fadeRGB("FaceLeds", "red", 1.0))
        async for changes in robot.watch("Face/*"):
            print(changes)

Cancelling a task that awaits a call asks the robot's method to stop.
"""
from __future__ import annotations

import asyncio
import weakref
from pathlib import Path
from typing import TYPE_CHECKING, Any, Callable, Coroutine, Generator, Optional, TypeVar, Union
from typing import Generic, overload

from tavro import errors, future, lend, service, watch
from tavro.background import background
from tavro.connection import Access
from tavro.info import Calls, Info
from tavro.offer import describe
from tavro.robot import connection_to

if TYPE_CHECKING:
    from typing import Literal

    from tavro.leds import AioHBLeds

T = TypeVar("T")

__all__ = ["Future", "Lent", "Method", "Robot", "Service", "Watch"]


async def _run(work: Coroutine[Any, Any, T]) -> T:
    """Awaits it from any loop; it runs on the one that talks to robots."""
    return await asyncio.wrap_future(background.submit(work))


class Future(Generic[T]):
    """What a robot's method promised: `await` it. Awaiting under a time-out cancels it then, as
    asyncio does. Dropping it lets go of it on the robot."""

    def __init__(self, promised: future.Future[T]) -> None:
        self._promised = promised

    def __await__(self) -> Generator[Any, None, T]:
        return asyncio.wrap_future(self._promised).__await__()

    def done(self) -> bool:
        return self._promised.done()

    def cancelled(self) -> bool:
        return self._promised.cancelled()

    def cancel(self) -> bool:
        """Asks the robot to end it; False when it is done already. The outcome is still told."""
        return self._promised.cancel()

    def result(self) -> T:
        """Errors: asyncio.InvalidStateError while it is not done; those of the robot's method."""
        self._require_done()
        return self._promised.result()

    def exception(self) -> Optional[BaseException]:
        """As `result()`, but hands over the method's error, or None."""
        self._require_done()
        return self._promised.exception()

    def add_done_callback(self, fn: Callable[["Future[T]"], object]) -> None:
        """Calls `fn(future)` soon, on the loop of the caller, when it is done."""
        loop = asyncio.get_running_loop()
        self._promised.add_done_callback(lambda _: loop.call_soon_threadsafe(fn, self))

    def _require_done(self) -> None:
        if not self._promised.done():
            raise asyncio.InvalidStateError("The future is not done")


class Method(service.Method):
    """One published method: `await` its call."""

    async def __call__(self, /, *args: Any, timeout: Optional[float] = None, **named: Any) -> Any:
        row, request = self._prepare(args, named)
        if row.result.is_future:
            return Future(await _run(future.begin(self._connection, request, timeout)))
        return await _run(self._connection.call(request, timeout))

    async def start(self, /, *args: Any, **named: Any) -> Future[Any]:  # type: ignore[override]
        """Calls the method without waiting for it: all that becomes of it is told to the future,
        whose `cancel()` asks the method to stop."""
        _, request = self._prepare(args, named)
        return Future(await _run(future.start(self._connection, request)))


class Service(service.Service):
    """A service of the robot. Its methods are attributes."""


class Watch:
    """An endless asynchronous iterator of `Changes`, first of a snapshot; see `tavro.Watch`."""

    def __init__(self, stream: watch.WatchStream) -> None:
        self._stream = stream
        weakref.finalize(self, background.post, stream.close).atexit = False

    def __aiter__(self) -> "Watch":
        return self

    async def __anext__(self) -> watch.Changes:
        changes = await _run(self._stream.read())
        if changes is None:
            raise StopAsyncIteration
        return changes

    def close(self) -> None:
        background.post(self._stream.close)


class Lent:
    """A service that this process lends."""

    def __init__(self, name: str, stream: lend.LendStream) -> None:
        self.name = name
        self._stream = stream

    @property
    def is_standing(self) -> bool:
        return not self._stream.ended.done()

    async def wait(self) -> None:
        """Until it has ended. Errors: Unreachable when the robot is gone."""
        await asyncio.shield(asyncio.wrap_future(self._stream.ended))

    async def close(self) -> None:
        """Takes the service away."""
        background.post(self._stream.close)
        await asyncio.wait([asyncio.wrap_future(self._stream.ended)])

    async def __aenter__(self) -> "Lent":
        return self

    async def __aexit__(self, *_: object) -> None:
        await self.close()


class Robot:
    """A connection to one robot; arguments and methods as those of `tavro.Robot`.

    Opened by `async with aio.Robot(...) as robot`, or `robot = await aio.Robot(...)`.
    """

    def __init__(self, address: Optional[str] = None, *, tls: bool = False,
                 ca: Union[str, Path, None] = None, tls_name: Optional[str] = None,
                 token: Optional[str] = None, insecure: bool = False, name: str = "python",
                 timeout: float = 5.0) -> None:
        self._timeout = timeout
        self._connection = connection_to(
            address, Access(tls, ca, tls_name, token, insecure), name, timeout)
        weakref.finalize(self, background.submit_call, self._connection.close).atexit = False

    async def _open(self) -> "Robot":
        await _run(self._connection.open())
        return self

    def __await__(self) -> Generator[Any, None, "Robot"]:
        return self._open().__await__()

    async def __aenter__(self) -> "Robot":
        return self if self._connection.is_open else await self._open()

    async def __aexit__(self, *_: object) -> None:
        await self.close()

    def __repr__(self) -> str:
        return f"<robot at {self.address}{'' if self._connection.is_open else ', closed'}>"

    @property
    def address(self) -> str:
        return str(self._connection.address)

    async def close(self) -> None:
        """Ends all that was begun here. Twice is allowed."""
        await _run(self._connection.close())

    async def info(self) -> Info:
        return Info.from_wire(await _run(self._connection.info()))

    async def wait_until_ready(self, timeout: Optional[float] = None) -> None:
        try:
            await asyncio.wait_for(_run(self._connection.wait_until_ready()), timeout)
        except asyncio.TimeoutError:
            raise errors.TimedOut(f"The robot at {self.address} is not ready") from None

    async def services(self) -> list[str]:
        return await _run(self._connection.services())

    if TYPE_CHECKING:
        @overload
        async def service(self, name: Literal["HBLeds"]) -> AioHBLeds: ...
        @overload
        async def service(self, name: str) -> Any: ...

    async def service(self, name: str) -> Any:
        found = await _run(self._connection.describe(name))
        return service.make_service(self._connection, found, Method, Service)

    async def calls(self) -> Calls:
        return Calls.from_wire(await _run(self._connection.list_calls()))

    async def stop(self, call: int) -> bool:
        return await _run(self._connection.stop_call(call))

    async def read(self, key: str) -> Any:
        return await _run(self._connection.read(key))

    async def values(self, pattern: str = "*") -> dict[str, Any]:
        return await _run(watch.read_once(self._connection, pattern, self._timeout))

    def watch(self, pattern: str = "*") -> Watch:
        return Watch(watch.WatchStream(self._connection, pattern))

    async def lend(self, name: str, lent: object) -> Lent:
        """As `tavro.Robot.lend`; methods that are coroutines run on the caller's loop."""
        offer, offered = describe(name, lent)
        stream = lend.LendStream(self._connection, offer, offered, asyncio.get_running_loop())
        await _run(stream.open())
        return Lent(name, stream)
