"""A private robot: a `tavro` process of one's own, for notebooks and tests."""
from __future__ import annotations

import collections
import os
import queue
import shutil
import subprocess
import tempfile
import threading
import time
import weakref
from pathlib import Path
from typing import IO, Callable, Optional, Sequence

from tavro import errors

_STOP_SECONDS = 10.0


def find_program() -> str:
    """`$TAVRO_PROGRAM`, else the build that this package lies in, else on the PATH. Errors:
    FileNotFoundError."""
    named = os.environ.get("TAVRO_PROGRAM")
    if named:
        if not os.access(named, os.X_OK):
            raise FileNotFoundError(f"$TAVRO_PROGRAM is {named!r}, which is no program")
        return named
    beside = Path(__file__).resolve().parent.parent.parent / "bin" / "tavro"
    if os.access(beside, os.X_OK):
        return str(beside)
    found = shutil.which("tavro")
    if found is None:
        raise FileNotFoundError("there is no program 'tavro': build it, put it on the PATH, or "
                                "name it in $TAVRO_PROGRAM")
    return found


def find_model(model: str, program: str) -> str:
    """A file as it is ("my.xml", "models/lirae.xml"), or one of the robot's own by name
    ("minimal"). Errors: FileNotFoundError."""
    if model.endswith(".xml") or os.sep in model:
        if not os.path.exists(model):
            raise FileNotFoundError(f"there is no robot model {model!r}")
        return model
    folder = Path(program).resolve().parent
    known: set[str] = set()
    for models in (folder / "../share/tavro/models", folder / "../../models"):
        if (models / f"{model}.xml").exists():
            return str((models / f"{model}.xml").resolve())
        known.update(path.stem for path in models.glob("*.xml"))
    raise FileNotFoundError(f"there is no robot model {model!r}; there are "
                            f"{', '.join(sorted(known)) or 'none'}, and files by their path")


class RobotProcess:
    """A running `tavro`. `address` is where it listens, on this machine only.

    Ended by `stop()`, and at the end of this process.
    """

    def __init__(self, model: str = "minimal", *, args: Sequence[str] = (),
                 listen: str = "127.0.0.1:0", socket: Optional[str] = None,
                 program: Optional[str] = None, timeout: float = 30.0) -> None:
        program = program or find_program()
        self._folder = tempfile.mkdtemp(prefix="tavro-")
        command = [program, "--model", find_model(model, program),
                   "--listen", listen,
                   "--socket", socket or os.path.join(self._folder, "robot.sock"), *args]
        if "--page" not in args:
            command += ["--page", "none"]
        self.popen = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                      stderr=subprocess.PIPE, text=True, errors="replace")
        self.log: collections.deque[str] = collections.deque(maxlen=1000)
        self._lines: queue.SimpleQueue[Optional[str]] = queue.SimpleQueue()
        self._readers = [_reader(self.popen.stdout, self._lines.put),
                         _reader(self.popen.stderr, self._keep)]
        self.stop = weakref.finalize(self, _end, self.popen, self._folder, self._readers)
        deadline = time.monotonic() + timeout
        try:
            listening = self.wait_for_line("listening ", deadline)
            self.address = listening.split("grpc=", 1)[1].split()[0]
            self._deadline = deadline
        except BaseException:
            self.stop()
            raise

    def wait_until_ready(self) -> None:
        """Until every module stands. Errors: Unreachable with the program's last words."""
        self.wait_for_line("ready ", self._deadline)

    def wait_for_line(self, start: str, deadline: float) -> str:
        while True:
            try:
                line = self._lines.get(timeout=max(0.0, deadline - time.monotonic()))
            except queue.Empty:
                raise errors.Unreachable(f"tavro did not print '{start.strip()}' in time"
                                         + self._last_words()) from None
            if line is None:
                status = self.popen.wait()
                self._readers[1].join(timeout=1)
                raise errors.Unreachable(f"tavro ended with status {status}" + self._last_words())
            if line.startswith(start):
                return line

    def _keep(self, line: Optional[str]) -> None:
        if line is not None:
            self.log.append(line)

    def _last_words(self) -> str:
        return "".join("\n  " + line for line in list(self.log)[-5:])


def _reader(stream: Optional[IO[str]], take: Callable[[Optional[str]], object]) -> threading.Thread:
    """Reads lines to the end, so that the robot never waits for a reader; None is the end."""
    def read() -> None:
        for line in stream or ():
            take(line.rstrip("\n"))
        take(None)
    thread = threading.Thread(target=read, name="tavro-output", daemon=True)
    thread.start()
    return thread


def _end(popen: subprocess.Popen[str], folder: str, readers: list[threading.Thread]) -> None:
    if popen.poll() is None:
        popen.terminate()
        try:
            popen.wait(_STOP_SECONDS)
        except subprocess.TimeoutExpired:
            popen.kill()
            popen.wait()
    for reader in readers:
        reader.join(timeout=1)
    for stream in (popen.stdout, popen.stderr):
        if stream is not None:
            stream.close()
    shutil.rmtree(folder, ignore_errors=True)
