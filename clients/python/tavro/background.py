"""The one thread that talks to robots: an asyncio loop, shared by every connection of the process.

Callers block on their own threads until it has what they asked for; it blocks nowhere, so that the
pings of a robot are answered whatever callers and lent services do.
"""
from __future__ import annotations

import asyncio
import atexit
import concurrent.futures
import queue
import threading
from typing import Any, Callable, Coroutine, Optional, TypeVar

T = TypeVar("T")


class Background:
    """An event loop on a daemon thread, started when first used. Thread-safe."""

    def __init__(self) -> None:
        self._mutex = threading.Lock()
        self._loop: Optional[asyncio.AbstractEventLoop] = None
        self._thread: Optional[threading.Thread] = None

    def loop(self) -> asyncio.AbstractEventLoop:
        with self._mutex:
            if self._loop is None:
                self._loop = asyncio.new_event_loop()
                self._thread = threading.Thread(target=self._loop.run_forever, name="tavro",
                                                daemon=True)
                self._thread.start()
                atexit.register(self._stop)
            return self._loop

    def is_current(self) -> bool:
        """Whether the caller runs on the loop's thread, which must never block."""
        return threading.current_thread() is self._thread

    def submit(self, work: Coroutine[Any, Any, T]) -> concurrent.futures.Future[T]:
        """Starts it on the loop."""
        return asyncio.run_coroutine_threadsafe(work, self.loop())

    def run(self, work: Coroutine[Any, Any, T]) -> T:
        """Blocks until it is done. Whatever interrupts the wait (Ctrl-C) cancels it."""
        if self.is_current():
            work.close()
            raise RuntimeError("tavro: a blocking call on the thread that talks to robots")
        running = self.submit(work)
        try:
            return running.result()
        except BaseException:
            running.cancel()
            raise

    def post(self, work: Callable[..., object], *args: object) -> None:
        """Has it called on the loop, soon."""
        self.loop().call_soon_threadsafe(work, *args)

    def submit_call(self, work: Callable[[], Coroutine[Any, Any, object]]) -> None:
        """The same for a coroutine that is made only then."""
        self.post(lambda: asyncio.ensure_future(work()))

    def _stop(self) -> None:
        """At the end of the process: what still runs is cancelled, and its end awaited a moment."""
        if self._loop is None or self._thread is None:
            return
        finished = asyncio.run_coroutine_threadsafe(_cancel_all(), self._loop)
        concurrent.futures.wait([finished], timeout=2)
        self._loop.call_soon_threadsafe(self._loop.stop)
        self._thread.join(timeout=2)


async def _cancel_all() -> None:
    tasks = asyncio.all_tasks() - {asyncio.current_task()}
    for task in tasks:
        task.cancel()
    await asyncio.gather(*tasks, return_exceptions=True)


class Workers:
    """Daemon threads for what users wrote: callbacks of futures, methods of lent services.

    Grows to `most` threads, each made when no other is free. Thread-safe. Work beyond waits.
    """

    def __init__(self, name: str, most: int) -> None:
        self._name = name
        self._most = most
        self._mutex = threading.Lock()
        self._queue: queue.SimpleQueue[Optional[Callable[[], object]]] = queue.SimpleQueue()
        self._threads = 0
        self._free = 0

    def submit(self, work: Callable[[], object]) -> None:
        """`work` handles its own exceptions."""
        with self._mutex:
            if self._free > 0:
                self._free -= 1
            elif self._threads < self._most:
                self._threads += 1
                threading.Thread(target=self._serve, name=f"{self._name}-{self._threads}",
                                 daemon=True).start()
        self._queue.put(work)

    def close(self) -> None:
        """Threads end when they are free."""
        with self._mutex:
            for _ in range(self._threads):
                self._queue.put(None)

    def _serve(self) -> None:
        while True:
            work = self._queue.get()
            if work is None:
                return
            work()
            del work  # not kept while waiting for the next
            with self._mutex:
                self._free += 1


background = Background()
callback_workers = Workers("tavro-callback", 64)
