"""One robot over gRPC: what can be asked of it, as coroutines of the background loop, and what a
status other than OK means. The only file that knows the channel's settings."""
from __future__ import annotations

import asyncio
import os
import re
import weakref
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Optional, Union

import grpc
import grpc.aio

from tavro import address as addresses
from tavro import errors, values
from tavro.description import Description, read
from tavro.v1 import robot_pb2 as wire
from tavro.v1 import robot_pb2_grpc

PROTOCOL_MAJOR, PROTOCOL_MINOR = 1, 0

_CHANNEL_OPTIONS = [
    ("grpc.max_receive_message_length", -1),
    ("grpc.use_local_subchannel_pool", 1),  # one connection a Robot, shared with none
    ("grpc.enable_http_proxy", 0),
    ("grpc.enable_retries", 0),
    ("grpc.initial_reconnect_backoff_ms", 100),
    ("grpc.max_reconnect_backoff_ms", 1000),
    # A robot whose machine or network is gone is noticed while something is asked of it.
    ("grpc.keepalive_time_ms", 10000),
    ("grpc.keepalive_timeout_ms", 5000),
    ("grpc.http2.max_pings_without_data", 0),
]

# Where Debian keeps the authorities that the system trusts.
_SYSTEM_AUTHORITIES = "/etc/ssl/certs/ca-certificates.crt"

Code = grpc.StatusCode
_REFUSALS = {
    Code.NOT_FOUND: errors.NoSuchService,
    Code.INVALID_ARGUMENT: errors.LimitReached,
    Code.RESOURCE_EXHAUSTED: errors.LimitReached,
    Code.UNAUTHENTICATED: errors.NotAllowed,
    Code.PERMISSION_DENIED: errors.NotAllowed,
    Code.ALREADY_EXISTS: errors.NameTaken,
}


@dataclass(frozen=True)
class Access:
    """How a robot is reached beyond its address: see `tavro.Robot`."""

    tls: bool = False
    ca: Union[str, Path, None] = None
    tls_name: Optional[str] = None
    token: Optional[str] = field(default=None, repr=False)
    insecure: bool = False

    @property
    def is_encrypted(self) -> bool:
        return self.tls or self.ca is not None or self.tls_name is not None

    def token_for(self, where: addresses.Address) -> Optional[str]:
        """The token to send. That of the environment is for whatever address a program happens to
        be told, so it goes only where nobody reads it on the way. Errors: ValueError."""
        is_safe = self.is_encrypted or where.is_local
        token = self.token
        if token is None:
            token = os.environ.get("TAVRO_TOKEN") if is_safe else None
        elif not (is_safe or self.insecure):
            raise ValueError(f"the token would travel to {where} for all to read: use tls=True or "
                             "ca=, or allow it with insecure=True")
        if token is not None and not re.fullmatch(r"[!-~]+", token):
            raise ValueError("the token has characters other than printable ASCII")
        return token

    def credentials(self) -> Optional[grpc.ChannelCredentials]:
        """None for a connection that is not encrypted. Errors: OSError, ValueError."""
        if not self.is_encrypted:
            return None
        authorities = Path(self.ca or _SYSTEM_AUTHORITIES).read_bytes()
        if b"-----BEGIN CERTIFICATE-----" not in authorities:
            raise ValueError(f"{self.ca}: there is no certificate in it (PEM is needed)")
        return grpc.ssl_channel_credentials(authorities)


class Connection:
    """Coroutines run on the background loop only; their errors are those of `tavro.errors`.

    `timeout`: seconds that connecting and every short question may take.
    """

    def __init__(self, where: addresses.Address, access: Access, name: str,
                 timeout: float) -> None:
        self.address = where
        token = access.token_for(where)
        self._metadata = (("authorization", f"Bearer {token}"),) if token else ()
        self._credentials = access.credentials()
        self._tls_name = access.tls_name
        self._name = name
        self.timeout = timeout
        self._channel: Optional[grpc.aio.Channel] = None
        self._stub: Any = None
        self.most_bytes = 2**20  # of a message that the robot accepts
        self._streams: weakref.WeakSet[Any] = weakref.WeakSet()

    async def open(self) -> wire.GetInfoReply:
        """Connects, and finds out who answers."""
        options = [*_CHANNEL_OPTIONS, ("grpc.primary_user_agent", self._name)]
        if self._tls_name:
            options.append(("grpc.ssl_target_name_override", self._tls_name))
        if self._credentials is None:
            channel = grpc.aio.insecure_channel(str(self.address), options)
        else:
            channel = grpc.aio.secure_channel(str(self.address), self._credentials, options)
        self._channel = channel
        self._stub = robot_pb2_grpc.RobotStub(channel)  # type: ignore[no-untyped-call]
        try:
            return await self._meet()
        except BaseException:
            await self.close()
            raise

    async def close(self) -> None:
        """Ends everything that was begun here. Twice is allowed."""
        channel, self._channel = self._channel, None
        for stream in list(self._streams):  # which a channel does not know
            stream.cancel()
        if channel is not None:
            await channel.close()

    @property
    def is_open(self) -> bool:
        return self._channel is not None

    async def _meet(self) -> wire.GetInfoReply:
        """The first question: is this a robot, and one that we can talk to?"""
        reply: wire.GetInfoReply
        looking = asyncio.get_running_loop().create_task(self._look_late())
        try:
            reply = await self._stub.GetInfo(wire.GetInfoRequest(), timeout=self.timeout,
                                            metadata=self._metadata)
        except grpc.aio.AioRpcError as error:
            raise await self._why_not_met(error, looking) from None
        finally:
            looking.cancel()
        if reply.protocol_major == PROTOCOL_MAJOR:
            for limit in reply.limits:
                if limit.name == "message bytes":
                    self.most_bytes = limit.most
            return reply
        raise errors.OtherVersion(
            f"The robot at {self.address} speaks version {reply.protocol_major}."
            f"{reply.protocol_minor} of the protocol, this program version {PROTOCOL_MAJOR}."
            f"{PROTOCOL_MINOR}")

    async def _look_late(self) -> Optional[str]:
        """Whether anybody listens, told when the time for an answer is over, not later."""
        seconds = min(1.0, self.timeout / 2)
        await asyncio.sleep(self.timeout - seconds)
        return await self.address.why_nobody_listens(seconds)

    async def _why_not_met(self, error: grpc.aio.AioRpcError,
                           looking: asyncio.Task[Optional[str]]) -> errors.RobotError:
        if error.code() in (Code.UNAUTHENTICATED, Code.PERMISSION_DENIED):
            return errors.NotAllowed(error.details())
        is_late = error.code() == Code.DEADLINE_EXCEEDED
        nobody = await (looking if is_late else self.address.why_nobody_listens())
        if nobody:
            return errors.Unreachable(f"No robot was reached at {self.address}: {nobody}")
        what = f"What listens at {self.address} is not a robot"
        if is_late:
            return errors.NotARobot(f"{what}, or it is stuck: it accepts connections but did not "
                                    f"answer within {self.timeout:g} s")
        if self._credentials is not None:
            what += (" that speaks TLS, with a certificate for that name from an authority that is "
                     "trusted here")
        return errors.NotARobot(f"{what} ({error.details()})")

    def error_of(self, error: BaseException) -> errors.RobotError:
        """What a status other than OK, or a cancellation on this side, means once connected."""
        if not isinstance(error, grpc.aio.AioRpcError):
            if self.is_open:
                return errors.Cancelled("The call was cancelled")
            return errors.Cancelled(f"The connection to {self.address} was closed")
        code, text = error.code(), error.details() or error.code().name
        if code in _REFUSALS:
            return _REFUSALS[code](_refusal_text(code, text))
        if code == Code.DEADLINE_EXCEEDED:
            return errors.TimedOut("The call did not end within the time allowed")
        if code == Code.CANCELLED and not self.is_open:
            return errors.Cancelled(f"The connection to {self.address} was closed")
        if code in (Code.UNAVAILABLE, Code.CANCELLED):
            return errors.Unreachable(f"The robot at {self.address} is gone: {text}")
        return errors.Refused(text)

    def require_open(self) -> None:
        if not self.is_open:
            raise errors.Cancelled(f"The connection to {self.address} is closed")

    def open_stream(self, question: str, *request: Any) -> Any:
        """Begins an RPC of many messages; it ends with the connection at the latest."""
        self.require_open()
        stream = getattr(self._stub, question)(*request, metadata=self._metadata)
        self._streams.add(stream)
        return stream

    async def _ask(self, question: str, request: Any, timeout: Optional[float]) -> Any:
        self.require_open()
        try:
            return await getattr(self._stub, question)(request, timeout=timeout,
                                                      metadata=self._metadata)
        except grpc.aio.AioRpcError as error:
            raise self.error_of(error) from None
        except asyncio.CancelledError as error:
            if self.is_open:
                raise  # who waits for this was cancelled
            raise self.error_of(error) from None

    async def _ask_short(self, question: str, request: Any) -> Any:
        try:
            return await self._ask(question, request, self.timeout)
        except errors.TimedOut:
            raise errors.Unreachable(f"The robot at {self.address} did not answer within "
                                     f"{self.timeout:g} s") from None

    async def info(self) -> wire.GetInfoReply:
        reply: wire.GetInfoReply = await self._ask_short("GetInfo", wire.GetInfoRequest())
        return reply

    async def services(self) -> list[str]:
        reply = await self._ask_short("ListServices", wire.ListServicesRequest())
        return list(reply.services)

    async def describe(self, service: str) -> Description:
        request = wire.DescribeServiceRequest(service=service)
        return read(await self._ask_short("DescribeService", request))

    async def list_calls(self) -> wire.ListCallsReply:
        reply: wire.ListCallsReply = await self._ask_short("ListCalls", wire.ListCallsRequest())
        return reply

    async def stop_call(self, call: int) -> bool:
        return bool((await self._ask_short("StopCall", wire.StopCallRequest(id=call))).found)

    async def read(self, key: str) -> Any:
        return outcome(await self._ask_short("ReadMemory", wire.ReadMemoryRequest(key=key)))

    async def call(self, request: wire.CallRequest, timeout: Optional[float]) -> Any:
        """Cancelling this asks the robot's method to stop."""
        return outcome(await self._ask("Call", request, timeout))

    async def wait_until_ready(self) -> None:
        """Until the robot answers and every module stands."""
        while True:
            try:
                if (await self.info()).ready:
                    return
            except errors.Unreachable:
                pass
            await asyncio.sleep(0.05)


def _refusal_text(code: grpc.StatusCode, text: str) -> str:
    """The robot's text; that of gRPC itself, for a message too large, in plain words."""
    sizes = re.search(r"\((\d+) vs\. (\d+)\)", text)
    if code == Code.RESOURCE_EXHAUSTED and sizes:
        return (f"The request has {sizes.group(1)} bytes as it travels; the limit is "
                f"{sizes.group(2)}")
    return text


def outcome(reply: Any) -> Any:
    """The value of a reply that has a value or an error. Errors: those of the method."""
    if reply.HasField("error"):
        raise errors.failure(reply.error.kind, values.exact_text(reply.error))
    return values.from_wire(reply.value)
