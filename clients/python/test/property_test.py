"""Any calls of HBLeds with any values, through a real robot: what must hold holds afterwards.

The examples are the same in every run. With RACK_LONG=1 in the environment they are twenty times as
many, and others each time; what fails is printed with the lines that repeat it.
"""
import math
import os
import struct

import pytest
from hypothesis import example, given, settings
from hypothesis import strategies as st

import tavro
from conftest import eventually
from leds_test import CALLS
from tavro import Robot, errors, values
from tavro.background import background
from tavro.interface import parse_signature
from tavro.v1 import robot_pb2 as wire

IS_LONG = os.environ.get("RACK_LONG", "") not in ("", "0")
EXAMPLES = 800 if IS_LONG else 40
PATIENCE = 0.2  # seconds until a call is asked to stop: some go on for a day

# Kinds of errors that a method may end in (see tavro.errors).
KINDS = {"error", "invalid_argument", "out_of_range", "length_error", "domain_error", "logic_error",
         "range_error", "overflow_error", "underflow_error", "runtime_error", "HBError", "timeout",
         "cancelled"}

NUMBERS = st.floats(0, 1, width=32) | st.floats(width=32) | st.sampled_from(
    [0.0, -0.0, 0.4, 1.0, 1.0000001, 2.0, -1.0, 86400.0, 86401.0, 2.0**31, 1e30])
# One turn, one way of the ears: slept through, stop or no stop.
SLEPT = st.sampled_from([0.0, -1.0, 0.01, 0.04, 86401.0, 1e30, math.nan, math.inf, -math.inf])
INTS = st.integers(values.INT_MIN, values.INT_MAX) | st.sampled_from([0, 90, 360, 361, 0xFFFFFF, -1])
NAMES = st.sampled_from(["AllLeds", "FaceLeds", "EarLeds", "ChestLeds", "BrainLeds", "FaceLed0",
                         "FaceLedRight0", "Mine", "Yours", "red", "white", "nocolor", "", " ",
                         "Face/Led/Red/Left/0Deg/Actuator/Value", "Device/SubDeviceList/"])
TEXTS = NAMES | st.text(st.characters(blacklist_categories=["Cs"]), max_size=12) | st.binary(
    max_size=6).map(lambda raw: raw.decode("utf-8", "surrogateescape")) | st.just("x" * 65537)
ANYTHING = st.recursive(st.none() | st.booleans() | INTS | NUMBERS | TEXTS | st.binary(max_size=6),
                        lambda inner: st.lists(inner, max_size=4), max_leaves=8)


def arguments_of(text, params):
    """Of the types wanted; now and then anything."""
    by_kind = {"bool": st.booleans(), "int": INTS, "float": NUMBERS, "string": TEXTS,
               "value": ANYTHING | st.lists(NUMBERS, max_size=3) | st.lists(INTS, max_size=3),
               "list": st.lists(TEXTS, max_size=4)}
    wanted = [by_kind[param.kind] for param in params]
    slept = {"rotateEyes": 1, "earLedsSetAngle": 1}.get(text.split("(")[0])
    if slept is not None:
        wanted[slept] = SLEPT
        return st.tuples(*wanted)
    return st.one_of(st.tuples(*wanted), st.tuples(*wanted), st.tuples(*wanted),
                     st.lists(ANYTHING, max_size=5).map(tuple))


def calls():
    rows = [st.tuples(st.just(text.split("(")[0]),
                      arguments_of(text, parse_signature(text[text.index("("):]).params))
            for text in CALLS]
    return st.lists(st.one_of(rows), max_size=8)


def call_raw(robot, name, args):
    """Without this package's own checks of arguments: the robot has to know."""
    request = wire.CallRequest(service="HBLeds", method=name, completion=wire.COMPLETION_RETURNED,
                               args=[values.to_wire(one) for one in args])
    return background.run(robot._connection.call(request, PATIENCE))


def error_fault(error):
    """What is wrong with an error that a call ended in; None when it is one of those documented."""
    if type(error).__name__ not in tavro.__all__:
        return f"{type(error)} is no documented error"
    if isinstance(error, errors.CallFailed):
        return None if error.kind in KINDS else f"'{error.kind}' is no documented kind"
    if isinstance(error, (errors.LimitReached, errors.TimedOut)) and str(error):
        return None
    return f"a call ended in {error!r}"


def require_end(call):
    """Calls, and looks at the error that comes of it. A future that comes is dropped."""
    try:
        call()
    except tavro.RobotError as error:
        assert error_fault(error) is None


def memory_fault(robot):
    """Of the values of LEDs; None when all are what they may be."""
    for key, value in robot.values("Device/SubDeviceList/*").items():
        if not (isinstance(value, float) and math.isfinite(value) and 0 <= value <= 1):
            return f"{key} is {value}"
    return None


def inventory_fault(robot):
    """Groups and LEDs are ascending, and have devices that the memory knows."""
    leds = robot.service("HBLeds")
    known = set(robot.values("Device/SubDeviceList/*"))
    for names, members_of in ((leds.listGroups(), leds.listGroup), (leds.listLEDs(), leds.listLED)):
        if names != sorted(names, key=lambda name: name.encode("utf-8", "surrogateescape")):
            return f"not ascending: {names}"
        for name in names:
            members = members_of(name)
            stray = {f"Device/SubDeviceList/{one}" for one in members} - known
            if not members or members != sorted(members) or stray:
                return f"{name!r} has {members}"
    return None


def settle(robot):
    """Ends what goes on by itself, and waits for all that was asked to stop."""
    leds = robot.service("HBLeds")
    leds._stopPassiveBlinking()
    leds._setTimeBetweenTwoBlinks(1, 7)
    leds._stopEyesRotationASR()
    leds._stopEarsRotationASR()
    eventually(lambda: not robot.calls().running, seconds=30)


def require_all(robot):
    settle(robot)
    assert memory_fault(robot) is None
    assert inventory_fault(robot) is None
    leds = robot.service("HBLeds")
    leds._setIntensityRatio("AllLeds", 1.0)
    leds.setIntensity("BrainLeds", 0.25)
    level = leds.listLED("BrainLedFrontLeft0")[0]
    assert robot.read(f"Device/SubDeviceList/{level}") == 0.25


@pytest.fixture(scope="module")
def other(robot):
    """A second client, by the Unix socket or port that the first one does not use."""
    with Robot(robot.address, name="property") as one:
        yield one


@settings(max_examples=EXAMPLES, derandomize=not IS_LONG, print_blob=True)
@example(sequence=[("rotateEyes", (0xFF00, 0.04, 1e4)), ("createGroup", ("Mine", ["EarLeds"]))])
@example(sequence=[("_setIntensityRatio", ("AllLeds", math.nan)), ("on", ("AllLeds",))])
@given(sequence=calls())
def test_whatever_is_sent_the_robot_keeps_what_it_promises(robot, sequence):
    for name, args in sequence:
        require_end(lambda name=name, args=args: call_raw(robot, name, args))
    require_all(robot)


@settings(max_examples=EXAMPLES, derandomize=not IS_LONG, print_blob=True)
@given(sequence=calls())
def test_whatever_is_called_from_python_ends_or_is_refused_before_it_is_sent(other, sequence):
    leds = other.service("HBLeds")
    for name, args in sequence:
        try:
            require_end(lambda name=name, args=args: leds[name](*args, timeout=PATIENCE))
        except (TypeError, ValueError):
            pass  # of this package: fits no signature
    require_all(other)


@settings(max_examples=EXAMPLES * 2, derandomize=not IS_LONG, print_blob=True)
@given(value=ANYTHING)
def test_every_value_comes_back_from_the_robots_memory(other, value):
    """What is larger than a limit is refused by name instead."""
    memory = other.service("HBMemory")
    try:
        memory.insertData("Property/value", value)
    except tavro.RobotError as error:
        assert error_fault(error) is None
        return
    try:
        assert repr(other.read("Property/value")) == repr(as_read(value))
    finally:
        memory.insertData("Property/value", 0.0)


def as_read(value):
    """A value as the wire has it: floats of single precision."""
    if isinstance(value, list):
        return [as_read(one) for one in value]
    return struct.unpack("f", struct.pack("f", value))[0] if isinstance(value, float) else value


def test_a_value_that_is_none_would_be_noticed(fresh):
    assert memory_fault(fresh) is None
    memory = fresh.service("HBMemory")
    for value in (math.nan, 1.0000001, -0.5, "0.5"):
        memory.insertData("Device/SubDeviceList/Planted", value)
        assert "Planted is " in memory_fault(fresh)


def test_a_device_that_is_unknown_would_be_noticed(fresh):
    assert inventory_fault(fresh) is None
    leds = fresh.service("HBLeds")

    class Shrunken:
        """A robot whose memory lost its ears."""

        def service(self, _):
            return leds

        def values(self, pattern):
            return {key: value for key, value in fresh.values(pattern).items() if "/Ears/" not in key}

    assert "Ears/" in inventory_fault(Shrunken())


def test_an_error_of_another_kind_would_be_noticed():
    assert error_fault(errors.failure("invalid_argument", "x")) is None
    assert "no documented kind" in error_fault(errors.failure("bad_alloc", "x"))
    assert "ended in" in error_fault(errors.Unreachable("gone"))
