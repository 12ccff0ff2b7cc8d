"""A robot whose motion is a Python process: it prints what the LED service sends, dies in the
middle of an animation, and is started again."""
import os
import queue
import signal
import subprocess
import sys
import threading

import pytest

from conftest import eventually
from tavro import Robot

SCRIPT = os.path.join(os.path.dirname(__file__), "my_motion.py")


class Motion:
    """The process, and the lines that it prints."""

    def __init__(self, address):
        self.process = subprocess.Popen([sys.executable, SCRIPT, address], text=True,
                                        stdout=subprocess.PIPE)
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()
        assert self.next() == "lent"

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line.rstrip("\n"))

    def next(self):
        return self.lines.get(timeout=20)

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()


@pytest.fixture(params=["minimal"])
def robot(request):
    with Robot.start(model=request.param, args=["--without", "motion"], ready=False) as one:
        yield one


@pytest.fixture
def motion(robot):
    one = Motion(robot.address)
    robot.process.wait_until_ready()
    yield one
    one.kill()


def test_the_robot_waits_for_its_motion(robot):
    assert not robot.info().ready and "HBLeds" not in robot.services()
    motion = Motion(robot.address)
    robot.process.wait_until_ready()
    assert "HBLeds" in robot.services()
    motion.kill()


def test_it_prints_what_the_led_service_sends(robot, motion):
    while not motion.lines.empty():  # what the service sends when it begins
        motion.next()
    fading = robot.service("HBLeds").fadeRGB("FaceLeds", "red", 0.5)
    assert sorted(motion.next() for _ in range(3)) == [
        "Device/SubDeviceList/Face/Led/Blue/Actuator/Value [0.5] [0.0]",
        "Device/SubDeviceList/Face/Led/Green/Actuator/Value [0.5] [0.0]",
        "Device/SubDeviceList/Face/Led/Red/Actuator/Value [0.5] [1.0]"]
    fading.result(timeout=10)


@pytest.mark.parametrize("robot", ["vanto"], indirect=True)
def test_killed_in_the_middle_of_an_animation_and_started_again_it_is_driven_again(robot, motion):
    leds = robot.service("HBLeds")
    animation = leds.randomEyes.start(60)
    for _ in range(10):
        motion.next()
    motion.kill()
    assert eventually(lambda: "HBMotion" not in robot.services())
    again = Motion(robot.address)
    try:
        assert again.next().startswith("Device/SubDeviceList/Face/Led/")  # the animation goes on
        animation.cancel()
        animation.exception(timeout=10)
        leds.on("FaceLeds")
        assert eventually(lambda: again.next().endswith("[0.0] [1.0]"))
    finally:
        again.kill()
