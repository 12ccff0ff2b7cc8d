"""The robot's memory: read, snapshots, watches."""
import threading

import pytest

import tavro
from conftest import eventually
from tavro import Robot

KEY = "Device/SubDeviceList/Face/Led/Red/Left/0Deg/Actuator/Value"


def test_a_key_has_the_value_that_was_written(robot, leds):
    leds.setIntensity("FaceLeds", 0.25)
    assert robot.read(KEY) == 0.25


def test_an_unknown_key_is_an_error_with_the_robots_text(robot):
    with pytest.raises(tavro.CallFailed, match="there is no key 'Nowhere'"):
        robot.read("Nowhere")


def test_a_pattern_finds_the_keys_below_it(robot):
    found = robot.values("Face/*")
    assert len(found) == 48 and KEY in found
    assert robot.values("Nothing/*") == {}
    assert set(found) < set(robot.values())


def test_a_watch_tells_everything_and_then_what_changed(robot, leds):
    leds.off("FaceLeds")
    with robot.watch("Face/*") as watch:
        first = next(watch)
        assert first.snapshot and first == robot.values("Face/*")
        leds.setIntensity("Face/Led/Red/Left/0Deg/Actuator/Value", 1)
        second = next(watch)
        assert dict(second) == {KEY: 1.0} and not second.snapshot


def test_a_reader_that_is_slow_misses_values_in_between_never_the_last(robot, leds):
    watch = robot.watch("Face/Led/Red/Left/0Deg/*")
    next(watch)
    for step in range(50):
        leds.setIntensity("Face/Led/Red/Left/0Deg/Actuator/Value", step / 64)
    assert eventually(lambda: next(watch)[KEY] == 49 / 64)
    watch.close()


def test_closing_ends_a_step_that_waits_in_another_thread(robot):
    watch = robot.watch("Face/*")
    next(watch)
    steps = []
    reader = threading.Thread(target=lambda: steps.extend(watch))
    reader.start()
    watch.close()
    reader.join(timeout=10)
    assert not reader.is_alive()


def test_a_watch_ends_in_an_error_when_the_connection_is_closed(robot):
    other = Robot(robot.address)
    watch = other.watch("Face/*")
    next(watch)
    threading.Timer(0.05, other.close).start()
    with pytest.raises(tavro.Cancelled, match="was closed"):
        for _ in watch:
            pass


def test_an_overlong_pattern_is_refused_with_the_limit(robot):
    with pytest.raises(tavro.LimitReached, match="1024"):
        next(robot.watch("x" * 2000))
