"""The robot's memory as it changes."""
from __future__ import annotations

import asyncio
import weakref
from typing import Any, Optional

import grpc.aio

from tavro import errors, values
from tavro.background import background
from tavro.connection import Connection
from tavro.v1 import robot_pb2 as wire


class Changes(dict[str, Any]):
    """Values by key that changed at the same time; of the first batch every key that matches.

    `snapshot`: whether it is that first one. `dropped`: how many batches were merged into later
    ones so far because the reader was slow.
    """

    def __init__(self, snapshot: bool, dropped: int, items: dict[str, Any]) -> None:
        super().__init__(items)
        self.snapshot = snapshot
        self.dropped = dropped


class WatchStream:
    """The robot's side of a watch. Used on the loop only; one `read` at a time."""

    def __init__(self, connection: Connection, pattern: str) -> None:
        self._connection = connection
        self._pattern = pattern
        self._stream: Any = None
        self._is_closed = False

    async def read(self) -> Optional[Changes]:
        """The next batch; None when it was closed. The first read asks for the watch."""
        if self._is_closed:
            return None
        try:
            if self._stream is None:
                request = wire.WatchRequest(pattern=self._pattern)
                self._stream = self._connection.open_stream("Watch", request)
            return await self._read_batch()
        except grpc.aio.AioRpcError as error:
            raise self._connection.error_of(error) from None
        except asyncio.CancelledError as error:
            if self._is_closed:
                return None
            if self._connection.is_open:
                raise
            raise self._connection.error_of(error) from None

    async def _read_batch(self) -> Changes:
        items: dict[str, Any] = {}
        while True:
            reply = await self._stream.read()
            if reply is grpc.aio.EOF:
                raise errors.Unreachable(f"The robot at {self._connection.address} is gone: the "
                                         "stream ended")
            items.update((item.key, values.from_wire(item.value)) for item in reply.items)
            if not reply.more:
                return Changes(reply.snapshot, reply.dropped, items)

    def close(self) -> None:
        self._is_closed = True
        if self._stream is not None and not self._stream.done():
            self._stream.cancel()


class Watch:
    """An endless iterator of `Changes`, first of a snapshot. Each step blocks until there is one.

    What changes while nobody asks is merged: a slow reader misses values in between, never the
    last one. Ended by `close()`, from any thread, by `with`, or when it is dropped.
    """

    def __init__(self, connection: Connection, pattern: str) -> None:
        self._stream = WatchStream(connection, pattern)
        finalizer = weakref.finalize(self, background.post, self._stream.close)
        finalizer.atexit = False

    def __iter__(self) -> "Watch":
        return self

    def __next__(self) -> Changes:
        """Errors: those of `tavro.errors`, such as Unreachable when the robot is gone."""
        changes = background.run(self._stream.read())
        if changes is None:
            raise StopIteration
        return changes

    def close(self) -> None:
        """Ends it: a step that waits ends too."""
        background.post(self._stream.close)

    def __enter__(self) -> "Watch":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


async def read_once(connection: Connection, pattern: str, timeout: float) -> dict[str, Any]:
    """What a pattern finds now."""
    stream = WatchStream(connection, pattern)
    try:
        changes = await asyncio.wait_for(stream.read(), timeout)
        return dict(changes or {})
    except asyncio.TimeoutError:
        raise errors.Unreachable(f"The robot at {connection.address} did not answer within "
                                 f"{timeout:g} s") from None
    finally:
        stream.close()
