"""What a robot tells about itself, as plain data."""
from __future__ import annotations

import datetime
from dataclasses import dataclass

from tavro.v1 import robot_pb2 as wire


@dataclass(frozen=True)
class Info:
    """Who answers."""

    name: str                  # of the robot's model; "" until it is ready
    version: str               # of the program
    protocol: tuple[int, int]  # major, minor
    uptime: float              # seconds
    ready: bool                # every module stands
    services: tuple[str, ...]
    modules: tuple[str, ...]
    role: str                  # "operator" or "viewer"
    limits: dict[str, int]

    @staticmethod
    def from_wire(reply: wire.GetInfoReply) -> "Info":
        return Info(reply.robot_name, reply.software_version,
                    (reply.protocol_major, reply.protocol_minor), reply.uptime_ms / 1000,
                    reply.ready, tuple(reply.services), tuple(reply.modules), reply.role,
                    {limit.name: limit.most for limit in reply.limits})


@dataclass(frozen=True)
class CallInfo:
    """A call that came to the robot from outside."""

    id: int
    client: str  # as it calls itself
    peer: str    # where it calls from
    service: str
    method: str
    began: datetime.datetime
    duration: float  # seconds until the method returned, or so far
    error: str       # the start of its text; "" when it runs or succeeded

    @staticmethod
    def from_wire(call: wire.CallInfo) -> "CallInfo":
        began = datetime.datetime.fromtimestamp(call.began_ms / 1000, datetime.timezone.utc)
        return CallInfo(call.id, call.client, call.peer, call.service, call.method, began,
                        call.duration_us / 1e6, call.error)


@dataclass(frozen=True)
class Calls:
    """`running` in the order of their beginning, and the last that `ended`, oldest first."""

    running: tuple[CallInfo, ...]
    ended: tuple[CallInfo, ...]

    @staticmethod
    def from_wire(reply: wire.ListCallsReply) -> "Calls":
        return Calls(tuple(map(CallInfo.from_wire, reply.running)),
                     tuple(map(CallInfo.from_wire, reply.ended)))
