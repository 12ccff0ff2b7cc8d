"""Talks to a robot: calls its services, follows its memory, lends it services of one's own.

    from tavro import Robot

    with Robot.start(model="minimal") as robot:
        leds = robot.service("HBLeds")
        leds.fadeRGB("FaceLeds", "red", 1.0).result()

`tavro.aio` has the same for asyncio.
"""
from tavro.errors import (CallFailed, Cancelled, DomainError, HBError, InvalidArgument, LengthError,
                          LimitReached, LogicError, MethodTimedOut, NameTaken, NoSuchService,
                          NotAllowed, NotARobot, NotReached, OtherVersion, OutOfRange,
                          OverflowFailure, RangeError, Refused, RobotError, RuntimeFailure,
                          TimedOut, UnderflowFailure, Unreachable)
from tavro.future import Future
from tavro.info import CallInfo, Calls, Info
from tavro.lend import Lent, is_stop_required, wait_for_stop
from tavro.offer import method
from tavro.robot import Robot
from tavro.watch import Changes, Watch

__version__ = "1.0.0"

__all__ = ["CallFailed", "CallInfo", "Calls", "Cancelled", "Changes", "DomainError", "Future",
           "HBError", "Info", "InvalidArgument", "LengthError", "Lent", "LimitReached",
           "LogicError", "MethodTimedOut", "NameTaken", "NoSuchService", "NotARobot", "NotAllowed",
           "NotReached", "OtherVersion", "OutOfRange", "OverflowFailure", "RangeError", "Refused",
           "Robot", "RobotError", "RuntimeFailure", "TimedOut", "UnderflowFailure", "Unreachable",
           "Watch", "is_stop_required", "method", "wait_for_stop"]
