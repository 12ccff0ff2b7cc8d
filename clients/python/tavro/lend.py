"""A Python object as a service of the robot, for as long as it is lent.

The background loop reads what the robot asks and answers its pings; methods run on threads of
their own, so that one that blocks holds up neither the pings nor the others.
"""
from __future__ import annotations

import asyncio
import concurrent.futures
import contextvars
import inspect
import logging
import threading
from typing import Any, Optional

import grpc.aio

from tavro import errors, values
from tavro.background import Workers, background
from tavro.connection import Connection
from tavro.interface import VOID, Type
from tavro.offer import Offered
from tavro.v1 import robot_pb2 as wire

# How many methods of one lent object run at once.
MAX_CALLS = 8
# What travels around a result, at most.
_ENVELOPE_BYTES = 64
# Characters of an error's text.
_MOST_OF_AN_ERROR = 10000

_log = logging.getLogger("tavro")
_stop: contextvars.ContextVar[Optional[threading.Event]] = contextvars.ContextVar("stop",
                                                                                 default=None)


def is_stop_required() -> bool:
    """For a lent method that runs long: whether its caller asked it to stop, or is gone."""
    stop = _stop.get()
    return stop is not None and stop.is_set()


def wait_for_stop(seconds: float) -> bool:
    """A sleep for a lent method: ends at once, with True, when its caller asks it to stop."""
    stop = _stop.get() or threading.Event()
    return stop.wait(seconds)


class _Call:
    """One call of a lent method, from its arrival until its outcome is told."""

    def __init__(self, number: int, offered: Offered, args: list[Any]) -> None:
        self.number = number
        self.offered = offered
        self.args = args
        self.stop = threading.Event()
        self.future: Optional[concurrent.futures.Future[Any]] = None
        self.is_cancelled = False


class LendStream:
    """The stream of one lent service. Used on the loop only, but for `_run`."""

    def __init__(self, connection: Connection, offer: wire.DescribeServiceReply,
                 offered: list[Offered], home: Optional[asyncio.AbstractEventLoop]) -> None:
        self._connection = connection
        self._offer = offer
        self._offered = offered
        self._home = home  # where coroutine methods run; None refuses them
        self._calls: dict[int, _Call] = {}
        self._outgoing: asyncio.Queue[wire.LendRequest] = asyncio.Queue()
        self._workers = Workers(f"lent-{offer.service}"[:12], MAX_CALLS)
        self._stream: Any = None
        self._serving: Optional[asyncio.Task[None]] = None
        self.ended: concurrent.futures.Future[None] = concurrent.futures.Future()

    async def open(self) -> None:
        """Comes back when the robot accepted. Errors: NameTaken, NotAllowed, ..."""
        self._stream = self._connection.open_stream("Lend")
        seconds = self._connection.timeout
        try:
            reply = await asyncio.wait_for(self._make_offer(), seconds)
        except grpc.aio.AioRpcError as error:
            raise self._connection.error_of(error) from None
        except asyncio.TimeoutError:
            self._stream.cancel()
            raise errors.Unreachable(f"The robot at {self._connection.address} did not answer "
                                     f"within {seconds:g} s") from None
        except asyncio.CancelledError:
            self._stream.cancel()
            raise
        if reply is grpc.aio.EOF or not reply.HasField("accepted"):
            raise errors.Unreachable(f"The robot at {self._connection.address} did not accept "
                                     f"{self._offer.service}")
        self._serving = asyncio.get_running_loop().create_task(self._serve())

    async def _make_offer(self) -> Any:
        await self._stream.write(wire.LendRequest(offer=self._offer))
        return await self._stream.read()

    def close(self) -> None:
        if self._stream is not None and not self._stream.done():
            self._stream.cancel()

    async def _serve(self) -> None:
        writing = asyncio.get_running_loop().create_task(self._write_all())
        error: Optional[BaseException] = None
        try:
            while True:
                message = await self._stream.read()
                if message is grpc.aio.EOF:
                    raise errors.Unreachable(f"The robot at {self._connection.address} ended the "
                                             f"lending of {self._offer.service}")
                self._take(message)
        except asyncio.CancelledError:
            pass  # closed on this side
        except Exception as failed:
            is_rpc = isinstance(failed, grpc.aio.AioRpcError)
            error = self._connection.error_of(failed) if is_rpc else failed
        writing.cancel()
        self.close()
        self._end(error)

    def _end(self, error: Optional[BaseException]) -> None:
        for call in self._calls.values():
            call.stop.set()
            if call.future is not None:
                call.future.cancel()
        self._calls.clear()
        self._workers.close()
        if error is None:
            self.ended.set_result(None)
        else:
            self.ended.set_exception(error)

    async def _write_all(self) -> None:
        try:
            while True:
                await self._stream.write(await self._outgoing.get())
        except (grpc.aio.AioRpcError, asyncio.InvalidStateError):
            pass  # the reader learns why

    def _take(self, message: wire.LendReply) -> None:
        what = message.WhichOneof("what")
        if what == "ping":
            self._outgoing.put_nowait(
                wire.LendRequest(pong=wire.LendRequest.Pong(number=message.ping)))
        elif what == "call":
            self._begin(message.call)
        elif what in ("stop", "cancel", "drop"):
            call = self._calls.get(getattr(message, what))
            if call is None:
                return
            if what == "drop":
                del self._calls[call.number]
                return
            call.stop.set()
            call.is_cancelled = call.is_cancelled or what == "cancel"
            if call.future is not None and what == "cancel":
                call.future.cancel()

    def _begin(self, message: wire.LendReply.Call) -> None:
        offered = self._offered[message.method]
        call = _Call(message.call, offered, [values.from_wire(arg) for arg in message.args])
        self._calls[call.number] = call
        self._workers.submit(lambda: self._run(call))

    def _run(self, call: _Call) -> None:
        """On a worker's thread."""
        if self.ended.done():
            return
        _stop.set(call.stop)
        returned = wire.LendRequest.Returned(call=call.number)
        future: Optional[concurrent.futures.Future[Any]] = None
        try:
            result = call.offered.call(*call.args)
            if inspect.iscoroutine(result):
                result = self._run_at_home(result)
            wanted = call.offered.signature.result
            if wanted.is_future:
                future = _require_future(result, call.offered)
                returned.future.SetInParent()
            else:
                returned.value.CopyFrom(self._to_wire(result, wanted, call.offered))
        except BaseException as error:  # sys.exit() in a method ends that call alone
            returned.error.CopyFrom(_error_to_wire(error, call.offered))
        background.post(self._returned, call, returned, future)

    def _to_wire(self, result: Any, wanted: Type, offered: Offered) -> wire.Value:
        """Errors: also LengthError for a result that would break the stream."""
        if wanted == VOID:
            return wire.Value()
        value = values.convert(result, wanted, f"the result of {offered.name}")[0]
        if value.ByteSize() + _ENVELOPE_BYTES > self._connection.most_bytes:
            raise errors.LengthError(
                f"the result of {offered.name} has {value.ByteSize()} bytes as it travels; the "
                f"limit of a message is {self._connection.most_bytes}")
        return value

    def _run_at_home(self, work: Any) -> Any:
        if self._home is None:
            work.close()
            raise TypeError("an async method is lent from tavro.aio only")
        return asyncio.run_coroutine_threadsafe(work, self._home).result()

    def _returned(self, call: _Call, returned: wire.LendRequest.Returned,
                  future: Optional[concurrent.futures.Future[Any]]) -> None:
        if call.number not in self._calls:
            return  # the stream ended
        self._outgoing.put_nowait(wire.LendRequest(returned=returned))
        if future is None:
            del self._calls[call.number]
            return
        call.future = future
        if call.is_cancelled:
            future.cancel()
        future.add_done_callback(lambda done: background.post(self._finished, call, done))

    def _finished(self, call: _Call, future: concurrent.futures.Future[Any]) -> None:
        if self._calls.pop(call.number, None) is None:
            return
        finished = wire.LendRequest.Finished(call=call.number)
        try:
            element = call.offered.signature.result.element or VOID
            finished.value.CopyFrom(self._to_wire(future.result(), element, call.offered))
        except BaseException as error:  # cancellation is none of Exception
            finished.error.CopyFrom(_error_to_wire(error, call.offered))
        self._outgoing.put_nowait(wire.LendRequest(finished=finished))


class Lent:
    """A service that this process lends. Ended by `close()`, by `with`, when the connection closes,
    or when the robot goes."""

    def __init__(self, name: str, stream: LendStream) -> None:
        self.name = name
        self._stream = stream

    @property
    def is_standing(self) -> bool:
        return not self._stream.ended.done()

    def wait(self, timeout: Optional[float] = None) -> None:
        """Blocks until it has ended. Errors: Unreachable when the robot is gone; TimeoutError."""
        self._stream.ended.result(timeout)

    def close(self) -> None:
        """Takes the service away; calls that run are asked to stop, and their callers get an
        error. Blocks until the robot has been told."""
        background.post(self._stream.close)
        if not background.is_current():
            concurrent.futures.wait([self._stream.ended], timeout=5)

    def __enter__(self) -> "Lent":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<lent service {self.name}, {'standing' if self.is_standing else 'ended'}>"


def _require_future(result: Any, offered: Offered) -> concurrent.futures.Future[Any]:
    if isinstance(result, concurrent.futures.Future):
        return result
    raise TypeError(f"{offered.name} returned {type(result).__name__}, "
                    "not a concurrent.futures.Future")


def _error_to_wire(error: BaseException, offered: Offered) -> wire.CallError:
    kind = errors.kind_of(error)
    if kind == "runtime_error" and not isinstance(error, (errors.RobotError, RuntimeError)):
        _log.error("lent method %s failed", offered.name, exc_info=error)
    text = errors.text_of(error)[:_MOST_OF_AN_ERROR]
    try:
        raw = text.encode("utf-8", "surrogateescape")
    except UnicodeEncodeError:  # half a pair of UTF-16
        raw = text.encode("utf-8", "replace")
    message = wire.CallError(kind=kind, text=raw.decode("utf-8", "replace"))
    if message.text.encode() != raw:
        message.raw_text = raw
    return message
