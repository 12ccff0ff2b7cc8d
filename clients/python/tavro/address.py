"""Where a robot is found: the two forms of address, and where one listens unless told otherwise."""
from __future__ import annotations

import asyncio
import errno
import os
import socket
import stat
from dataclasses import dataclass
from typing import Optional

DEFAULT_TCP = "127.0.0.1:5480"
_MAX_UNIX_PATH = 107


@dataclass(frozen=True)
class Address:
    """"HOST:PORT" or "unix:PATH"."""

    host: str = ""
    port: int = 0
    path: str = ""  # of a Unix socket; then there is no host

    def __str__(self) -> str:
        if self.path:
            return f"unix:{self.path}"
        return f"[{self.host}]:{self.port}" if ":" in self.host else f"{self.host}:{self.port}"

    @property
    def is_local(self) -> bool:
        """Whether only processes of this machine get there."""
        if self.path or self.host in ("localhost", "::1"):
            return True
        parts = self.host.split(".")
        return parts[0] == "127" and len(parts) == 4 and all(
            part.isdecimal() and int(part) <= 255 for part in parts)

    async def why_nobody_listens(self, timeout: float = 1.0) -> Optional[str]:
        """None when somebody accepts connections there, else the reason in the system's words."""
        try:
            if self.path:
                opened = asyncio.open_unix_connection(self.path)
            else:
                opened = asyncio.open_connection(self.host, self.port)
            _, writer = await asyncio.wait_for(opened, timeout)
        except asyncio.TimeoutError:
            return "no answer to the connection request"
        except OSError as error:
            return os.strerror(error.errno) if (error.errno or 0) > 0 else str(error)
        writer.close()
        return None


def parse(text: str) -> Address:
    """Reads "HOST:PORT", "[IPv6]:PORT" or "unix:PATH". Errors: ValueError."""
    if text.startswith("unix:"):
        return Address(path=_unix_path(text))
    host, colon, port = text.rpartition(":")
    if not colon:
        raise _malformed(text, "the port is missing")
    if host.startswith("[") and host.endswith("]"):
        host = host[1:-1]
    elif ":" in host:
        raise _malformed(text, "an IPv6 address stands in brackets")
    if not host:
        raise _malformed(text, "the host is missing")
    if any(character in "/ \t\r\n%,@" for character in host):
        raise _malformed(text, "that is no host")
    if not (port.isascii() and port.isdecimal()) or int(port) > 65535:
        raise _malformed(text, "the port must be a number from 0 to 65535")
    return Address(host, int(port))


def default() -> Address:
    """The Unix socket of this user's robot when one listens there, else `DEFAULT_TCP`."""
    path = default_unix_path()
    return Address(path=path) if _is_own_live_socket(path) else parse(DEFAULT_TCP)


def default_unix_path() -> str:
    """"$XDG_RUNTIME_DIR/tavro/robot.sock", or "/tmp/tavro-UID/robot.sock" without that folder."""
    runtime = os.environ.get("XDG_RUNTIME_DIR", "")
    try:
        found = os.lstat(runtime) if runtime.startswith("/") else None
    except OSError:
        found = None
    if found and stat.S_ISDIR(found.st_mode) and found.st_uid == os.getuid():
        path = f"{runtime}/tavro/robot.sock"
        if len(os.fsencode(path)) <= _MAX_UNIX_PATH:
            return path
    return f"/tmp/tavro-{os.getuid()}/robot.sock"


def _unix_path(text: str) -> str:
    path = text.removeprefix("unix:")
    if not path:
        raise _malformed(text, "the path is missing")
    if "\0" in path:
        raise _malformed(text, "a path has no zero")
    if len(os.fsencode(path)) > _MAX_UNIX_PATH:
        raise _malformed(text, f"a Unix socket's path has at most {_MAX_UNIX_PATH} characters")
    return path


def _is_own_live_socket(path: str) -> bool:
    """What somebody else put at the default place is not asked."""
    try:
        found = os.lstat(path)
        if not stat.S_ISSOCK(found.st_mode) or found.st_uid != os.getuid():
            return False
        with socket.socket(socket.AF_UNIX) as probe:
            probe.setblocking(False)
            return probe.connect_ex(path) in (0, errno.EAGAIN, errno.EINPROGRESS)
    except OSError:
        return False


def _malformed(text: str, why: str) -> ValueError:
    return ValueError(f"{text!r} is not an address: {why}; allowed are HOST:PORT, such as "
                      f"{DEFAULT_TCP}, and unix:PATH")
