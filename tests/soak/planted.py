"""Clients that do harm on purpose, for each thing that the soak looks at: its canaries. All of them
use what every client may use; nothing of the product is made for them. (No client can make a robot
end badly: that harm the soak itself does, by killing it. Calls that stay have no canary.)"""
import time

import tavro
from tavro import Robot

from clients import HOUR, Kind, WithRobot


class Memory(WithRobot):
    """Leaves ever new values in the robot's memory."""

    def step(self):
        memory = self.robot.service("HBMemory")
        for _ in range(40):
            self.turn += 1
            memory.insertData(f"Planted/{self.turn}", "x" * 1000)


class Descriptors(Kind):
    """Comes, and never goes."""
    pause = 2.0

    def __init__(self, place):
        super().__init__(place)
        self.stayed = []

    def step(self):
        self.stayed.append(Robot(self.place.robot.address, name="stays"))

    def close(self):
        for robot in self.stayed:
            robot.close()


class Sleeper:
    """Answers no call."""

    def sleep(self):
        tavro.wait_for_stop(HOUR)


class Threads(WithRobot):
    """Begins calls that do not come back; each holds a thread of the robot, whatever modules go."""
    pause = 1.5

    def __init__(self, place):
        super().__init__(place)
        self.lent = None
        self.begun = []

    def step(self):
        if self.lent is None or not self.lent.is_standing:  # on a busy machine it may be lost
            self.turn += 1
            self.name = f"Sleeper{self.turn}"
            self.lent = self.robot.lend(self.name, Sleeper())
        self.begun.append(self.robot.service(self.name).sleep.start())

class Log(WithRobot):
    """Lets writes fail, so that the robot logs errors."""
    pause = 5.0

    def step(self):
        motion = self.robot.service("HBMotion")
        motion._setFault("failing", 1)
        self.leds.setIntensity("BrainLeds", 0.5)
        motion._setFault("none", 0)


class Errors(WithRobot):
    """Calls wrongly."""
    pause = 5.0

    def step(self):
        self.leds.setIntensity("Nose", 0.5)


class Idle(WithRobot):
    """Gets nothing done, and has an excuse each time: what it calls is away."""

    def step(self):
        self.robot.service("NobodyLentThis")


class Calls(Kind):
    """Does not come back from a step."""

    def step(self):
        time.sleep(HOUR)  # the harm itself: longer than any soak waits for a step


ALL = (Memory, Descriptors, Threads, Log, Errors, Idle, Calls)
