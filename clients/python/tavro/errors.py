"""What can go wrong with a robot: one exception for each kind, each with the robot's own text.

    RobotError
    ├── NotReached            there is no robot to talk to (also a ConnectionError)
    │   ├── Unreachable       nobody answers, or the connection was lost
    │   ├── NotARobot         something else answers
    │   └── OtherVersion      a robot that speaks another major version of the protocol
    ├── Refused               the robot called nothing
    │   ├── NoSuchService     (also a LookupError)
    │   ├── LimitReached      names the limit and its number
    │   ├── NotAllowed        a token is missing, wrong, or of a viewer (also a PermissionError)
    │   └── NameTaken         a service of that name stands already
    ├── TimedOut              the time given with `timeout=` is over (also a TimeoutError)
    ├── Cancelled             the call was cancelled (also a concurrent.futures.CancelledError)
    └── CallFailed            the method was called and failed; one class for each `kind`

Arguments that fit no signature are a TypeError, those out of range of their type a ValueError, both
before anything is sent.
"""
from __future__ import annotations

import concurrent.futures


class RobotError(Exception):
    """Something asked of a robot did not happen. `str()` of it is the text for people."""


class NotReached(RobotError, ConnectionError):
    """There is no robot to talk to."""


class Unreachable(NotReached):
    """Nobody answers at that address, or the connection was lost. The next call tries again."""


class NotARobot(NotReached):
    """Something else answers at that address."""


class OtherVersion(NotReached):
    """A robot answers, and speaks another major version of the protocol."""


class Refused(RobotError):
    """The robot called nothing; the text says why."""


class NoSuchService(Refused, LookupError):
    """No service of that name stands now."""


class LimitReached(Refused):
    """The request exceeds a limit; the text names the limit and its number."""


class NotAllowed(Refused, PermissionError):
    """The robot wants a token, another one, or one of an operator."""


class NameTaken(Refused):
    """A service of that name stands already."""


class TimedOut(RobotError, TimeoutError):
    """The time given with `timeout=` is over; the robot's method was asked to stop."""


class Cancelled(RobotError, concurrent.futures.CancelledError):
    """The call was cancelled, or the connection closed on this side."""


class CallFailed(RobotError):
    """The method was called and failed. Of this class itself: kinds "error" and unknown ones.

    `kind` is the kind as the robot names it.
    """

    kind = "error"


class InvalidArgument(CallFailed, ValueError):
    """An argument is not acceptable, such as the name of an unknown LED."""

    kind = "invalid_argument"


class OutOfRange(CallFailed, IndexError):
    """There is no such element or key."""

    kind = "out_of_range"


class LengthError(CallFailed, ValueError):
    """Something is too long."""

    kind = "length_error"


class DomainError(CallFailed, ValueError):
    """An argument for which the operation is not defined."""

    kind = "domain_error"


class LogicError(CallFailed):
    """The operation does not make sense in this state."""

    kind = "logic_error"


class RangeError(CallFailed, ArithmeticError):
    """A result cannot be represented."""

    kind = "range_error"


class OverflowFailure(CallFailed, OverflowError):
    """A result is too large."""

    kind = "overflow_error"


class UnderflowFailure(CallFailed, ArithmeticError):
    """A result is too small."""

    kind = "underflow_error"


class RuntimeFailure(CallFailed, RuntimeError):
    """Something that only showed while the method ran."""

    kind = "runtime_error"


class HBError(CallFailed):
    """A module's error of the framework."""

    kind = "HBError"


class MethodTimedOut(CallFailed, TimeoutError):
    """The method itself gave up waiting for something."""

    kind = "timeout"


_OF_KIND: dict[str, type[CallFailed]] = {
    one.kind: one
    for one in (CallFailed, InvalidArgument, OutOfRange, LengthError, DomainError, LogicError,
                RangeError, OverflowFailure, UnderflowFailure, RuntimeFailure, HBError,
                MethodTimedOut)}


def failure(kind: str, text: str) -> RobotError:
    """The exception for an error that a method ended in. An unknown kind reads as runtime_error."""
    if kind == "cancelled":
        return Cancelled(text)
    error = _OF_KIND.get(kind, RuntimeFailure)(text)
    error.kind = kind
    return error


# What a lent service's exceptions are called on the wire; the first that fits holds.
_KIND_OF: tuple[tuple[type[BaseException], str], ...] = (
    (concurrent.futures.CancelledError, "cancelled"),
    (TimeoutError, "timeout"),
    (LookupError, "out_of_range"),
    (OverflowError, "overflow_error"),
    (ArithmeticError, "range_error"),
    (ValueError, "invalid_argument"),
    (TypeError, "invalid_argument"),
)


def kind_of(error: BaseException) -> str:
    """The kind under which an exception travels to the caller of a lent service."""
    if isinstance(error, CallFailed):
        return error.kind
    return next((kind for cls, kind in _KIND_OF if isinstance(error, cls)), "runtime_error")


def text_of(error: BaseException) -> str:
    """Its text; of one without text its class name."""
    if isinstance(error, KeyError) and error.args:  # whose str() is in quotes
        return str(error.args[0])
    return str(error) or type(error).__name__
