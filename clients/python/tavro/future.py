"""Futures that live on the robot: what a method promised, waited for here.

    running --outcome told--> done (value, error or cancelled)

A stream to the robot belongs to each; nothing else: no thread waits.
"""
from __future__ import annotations

import asyncio
import concurrent.futures
import weakref
from typing import Any, Callable, Optional, TypeVar

import grpc.aio

from tavro import errors
from tavro.background import background, callback_workers
from tavro.connection import Connection, outcome
from tavro.v1 import robot_pb2 as wire

T = TypeVar("T")


class Future(concurrent.futures.Future[T]):
    """What a robot's method promised; as Python's own, and good for `concurrent.futures.wait`.

    Thread-safe. Dropping it lets go of it on the robot: what was begun goes on, and nobody is told.
    """

    def __init__(self, call: "StartedCall") -> None:
        super().__init__()
        self._call = call
        self._why_cancelled: Optional[BaseException] = None
        drop = weakref.finalize(self, background.post, call.drop)
        drop.atexit = False

    def cancel(self) -> bool:
        """Asks the robot to end it, without waiting; False when it is done already.

        The outcome is still told: cancelled, or a value or error when it ended otherwise, such as
        a method that was asked to stop and returned.
        """
        if self.done():
            return False
        background.post(self._call.cancel)
        return True

    def running(self) -> bool:
        """Whether it is not done."""
        return not self.done()

    def result(self, timeout: Optional[float] = None) -> T:
        """Blocks until it is done, at most `timeout` seconds; the future goes on after those.

        Errors: TimeoutError; Cancelled; those of the robot's method; Unreachable when the robot is
        gone.
        """
        self._require_other_thread()
        try:
            return super().result(timeout)
        except concurrent.futures.CancelledError:
            raise self._cancelled() from None

    def exception(self, timeout: Optional[float] = None) -> Optional[BaseException]:
        """As `result()`, but hands over the method's error, or None."""
        self._require_other_thread()
        try:
            return super().exception(timeout)
        except concurrent.futures.CancelledError:
            raise self._cancelled() from None

    def add_done_callback(self, fn: Callable[[Any], object]) -> None:
        """Calls `fn(future)` when it is done: at once on this thread if it is, else on a thread of
        this package that may block. A future with a callback is kept until it is done."""
        self._call.keep(self)
        super().add_done_callback(lambda _: self._call_back(fn))

    def _call_back(self, fn: Callable[[Any], object]) -> None:
        if background.is_current():
            callback_workers.submit(lambda: _run_callback(fn, self))
        else:
            fn(self)

    def _cancelled(self) -> errors.Cancelled:
        return errors.Cancelled(str(self._why_cancelled or "The call was cancelled"))

    def _require_other_thread(self) -> None:
        if background.is_current() and not self.done():
            raise RuntimeError("tavro: waiting on the thread that talks to robots")

    def _finish(self, value: Any, error: Optional[BaseException]) -> None:
        """On the loop."""
        if isinstance(error, concurrent.futures.CancelledError):
            self._why_cancelled = error
            super().cancel()
            self.set_running_or_notify_cancel()
        elif error is not None:
            self.set_exception(error)
        else:
            self.set_result(value)


class StartedCall:
    """The robot's side of a future: the stream of one `Start`. Used on the loop only."""

    def __init__(self, connection: Connection, request: wire.CallRequest) -> None:
        self._connection = connection
        self._request = request
        self._stream: Any = None
        self._kept_running: Optional[Future[Any]] = None
        self._kept_for_callbacks: Optional[Future[Any]] = None
        self._future: Callable[[], Optional[Future[Any]]] = lambda: None
        self.has_returned = False
        self._writing = asyncio.Lock()
        self._tasks: set[asyncio.Task[None]] = set()

    async def start(self, future: Future[Any], returned: Callable[[], object]) -> None:
        """Calls the method and tells the future its outcome. `returned` is called when the method
        returned a future; until then the method runs on, whoever drops its future."""
        self._kept_running = future
        self._future = weakref.ref(future)
        del future
        value: Any = None
        error: Optional[BaseException] = None
        try:
            self._stream = self._connection.open_stream("Start")
            await self._write(wire.StartRequest(call=self._request))
            reply = await self._read()
            if reply.HasField("future"):
                self.has_returned = True
                returned()
                self._kept_running = None  # from here on whoever waits keeps it
                reply = await self._read()
            value = outcome(reply)
        except asyncio.CancelledError as cancelled:
            error = self._connection.error_of(cancelled)
        except grpc.aio.AioRpcError as failed:
            error = self._connection.error_of(failed)
        except Exception as failed:  # the method's own, or a fault of ours: both are for the caller
            error = failed
        self._end(value, error)

    def own(self, task: asyncio.Task[None]) -> None:
        """Keeps a task until it is done: the loop itself knows tasks only weakly."""
        self._tasks.add(task)
        task.add_done_callback(self._tasks.discard)

    def keep(self, future: Future[Any]) -> None:
        """From any thread: the future is not to be dropped before its end."""
        self._kept_for_callbacks = future

    def cancel(self) -> None:
        """Asks the method to stop, or its future to cancel."""
        if self._stream is None or self._stream.done():
            return
        self.own(asyncio.get_running_loop().create_task(self._send_cancel()))

    def drop(self) -> None:
        """Nobody waits any more."""
        if self._stream is not None and not self._stream.done():
            self._stream.cancel()

    async def _write(self, message: wire.StartRequest) -> None:
        async with self._writing:
            await self._stream.write(message)

    async def _send_cancel(self) -> None:
        try:
            await self._write(wire.StartRequest(cancel=wire.Cancel()))
        except (grpc.aio.AioRpcError, asyncio.InvalidStateError, asyncio.CancelledError):
            pass  # it ended meanwhile

    async def _read(self) -> wire.StartReply:
        reply: wire.StartReply = await self._stream.read()
        if reply is grpc.aio.EOF:
            raise errors.Unreachable(f"The robot at {self._connection.address} ended the call "
                                     "without an outcome")
        return reply

    def _end(self, value: Any, error: Optional[BaseException]) -> None:
        future = self._future()
        self._kept_running = self._kept_for_callbacks = None
        if future is not None and not future.done():
            future._finish(value, error)
        self.drop()


async def begin(connection: Connection, request: wire.CallRequest,
                timeout: Optional[float]) -> Future[Any]:
    """Calls a method that returns a future, and comes back when it returned.

    Cancelling this, or the end of `timeout` (seconds), asks the method to stop. Errors: those of
    the call.
    """
    call = StartedCall(connection, request)
    future: Future[Any] = Future(call)
    loop = asyncio.get_running_loop()
    returned = loop.create_future()
    running = loop.create_task(call.start(future, lambda: _set(returned)))
    call.own(running)
    running.add_done_callback(lambda _: _set(returned))
    try:
        await asyncio.wait_for(returned, timeout)
    except asyncio.TimeoutError:
        call.drop()
        raise errors.TimedOut("The call did not end within the time allowed") from None
    except asyncio.CancelledError:
        call.drop()
        raise
    if not call.has_returned:
        error = future.exception()
        if error is not None:
            raise error
    return future


async def start(connection: Connection, request: wire.CallRequest) -> Future[Any]:
    """Calls any method and comes back at once. All that becomes of it is told to the future."""
    call = StartedCall(connection, request)
    future: Future[Any] = Future(call)
    running = asyncio.get_running_loop().create_task(call.start(future, lambda: None))
    call.own(running)
    return future


def _set(future: asyncio.Future[None]) -> None:
    if not future.done():
        future.set_result(None)


def _run_callback(fn: Callable[[Any], object], future: Future[Any]) -> None:
    try:
        fn(future)
    except Exception:
        concurrent.futures._base.LOGGER.exception("exception calling callback for %r", future)
