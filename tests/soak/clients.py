"""The clients of the soak: one class a kind. Each does one small thing a step, for as long as it is
let, with pauses between: steady work, far from what the robot can bear.

A step comes back in seconds; what it raises, other than that a module was away, is a fault.
"""
import random
import signal
import socket
import subprocess
import time
import urllib.request

import tavro
from tavro import Robot

from page import Page

HOUR = 3600.0
SOON = 3.0  # what is left behind is over by then: the robot keeps it that long
LEDS = "HBLeds"
# Said of a service while its module is away, or whose lender this busy machine let wait for too long.
AWAY = ("This object is null", "There is no service '", "The process that lent ")
# What `ledctl` makes of it.
AWAY_IN_WORDS = AWAY + ("WRONG: There is no", "The robot has no service '")


class Kind:
    """`place`: the robot's process, and the `ledctl` to use."""
    pause = 0.2  # seconds between two steps

    def __init__(self, place):
        self.place = place
        self.random = random.Random(type(self).__name__)
        self.turn = 0

    def step(self):
        raise NotImplementedError

    def close(self):
        """Ends what is under way."""


class WithRobot(Kind):
    """One that stays connected."""

    def __init__(self, place):
        super().__init__(place)
        self.robot = Robot(place.robot.address, name=f"soak-{type(self).__name__.lower()}")
        self.leds = self.robot.service(LEDS)

    def close(self):
        self.robot.close()


class Script(WithRobot):
    """A program that lights, fades, reads and groups."""

    def step(self):
        self.turn += 1
        does = (self.light, self.fade, self.read, self.group, self.together)[self.turn % 5]
        does()

    def light(self):
        self.leds.setIntensity(self.random.choice(("EarLeds", "ChestLeds", "FaceLedRight0")), 0.3)
        self.leds.off("FeetLeds")

    def fade(self):
        self.leds.fadeRGB("FaceLeds", self.random.randrange(2**24), 0.1).result(timeout=10)

    def read(self):
        self.leds.getIntensity("FaceLedRight0")
        self.robot.values("Face/*")
        self.robot.info()

    def group(self):
        self.leds.createGroup(f"Soak{self.turn % 3}", ["EarLeds", "FaceLedRight0"])
        self.leds.listGroup("FaceLeds")

    def together(self):
        fading = [self.leds.fade("BrainLeds", 0.1 * i, 0.05) for i in range(8)]
        turning = [self.leds.earLedsSetAngle.start(45 * i, 0.05, False) for i in range(4)]
        for one in fading + turning:
            one.result(timeout=10)


class Canceller(WithRobot):
    """One that never waits for the end."""

    def step(self):
        turning = self.leds.rotateEyes.start(0x00FF00, 0.05, HOUR)
        fading = self.leds.fade("ChestLeds", 1.0, HOUR)
        self.leds.fade("ChestLeds", 0.5, SOON)  # dropped
        time.sleep(0.05)  # to cancel them half way: when they began is the robot's own affair
        turning.cancel()
        fading.cancel()
        for one in (turning, fading):
            try:
                one.result(timeout=10)
            except tavro.Cancelled:
                pass
        try:
            self.leds.rotateEyes(0x0000FF, 0.05, HOUR, timeout=0.1)
        except tavro.TimedOut:
            pass
        self.leds.setIntensity("ChestLeds", 0.0)


class Watcher(WithRobot):
    """One that reads all that changes, until it sees what it wrote itself, and now and then begins
    anew."""
    pause = 0.05

    def __init__(self, place):
        super().__init__(place)
        self.memory = self.robot.service("HBMemory")
        self.watch = None

    def step(self):
        self.turn += 1
        if self.watch is None:
            self.watch = self.robot.watch("*")
        self.memory.insertData("Soak/turn", self.turn)
        while next(self.watch).get("Soak/turn") != self.turn:
            pass
        if self.turn % 200 == 0:
            self.watch.close()
            self.watch = None


class Echo:
    """Says what it hears."""

    def echo(self, value):
        return value


class Lender(WithRobot):
    """One that lends a service and calls it like any client, and takes it away again."""

    def __init__(self, place):
        super().__init__(place)
        self.lent = None

    def step(self):
        if self.lent is None or not self.lent.is_standing:
            # A name of its own: of the one before the robot may not know yet that it is free.
            self.name = f"SoakEcho{self.turn // 20 % 4}"
            self.lent = self.robot.lend(self.name, Echo())
        said = ["a text", self.turn, [0.5, True]]
        self.turn += 1
        heard = self.robot.service(self.name).echo(said)
        if heard != said:
            raise AssertionError(f"said {said}, heard {heard}")
        if self.turn % 20 == 0:
            self.lent.close()
            self.lent = None


class Guest(Kind):
    """Comes, asks, goes; or comes and says nothing; or what nobody understands."""
    pause = 0.5

    def step(self):
        for address in (self.place.robot.address, "unix:" + self.place.robot.socket):
            with Robot(address, name="soak-guest") as robot:
                robot.service(LEDS).fade("EarLeds", 0.5, SOON)  # left behind
                robot.info()
        host, port = self.place.robot.address.rsplit(":", 1)
        for words in (b"", b"GET / HTTP/1.1\r\n\r\n"):
            with socket.create_connection((host, int(port)), timeout=10) as connection:
                connection.sendall(words)


class Shell(Kind):
    """`ledctl`, one process a step; every tenth is killed in the middle of an animation."""
    pause = 1.0
    LINES = (("fadeRGB", "FaceLeds", "red", "0.2"), ("--wait", "fadeRGB", "FaceLeds", "blue", "0.1"),
             ("--json", "getIntensity", "FaceLedRight0"), ("listGroups",), ("off", "AllLeds"),
             ("watch", "Face/*", "--count", "1"), ("describe", "fadeRGB"), ("doctor",),
             ("rotateEyes", "0xff00ff", "0.1", "0.2"))

    def step(self):
        self.turn += 1
        if self.turn % 10 == 0:
            return self.kill_one()
        words = self.LINES[self.turn % len(self.LINES)]
        done = subprocess.run(self.command(*words), capture_output=True, text=True, timeout=30)
        text = done.stderr + done.stdout
        if done.returncode != 0 and not any(away in text for away in AWAY_IN_WORDS):
            raise AssertionError(f"ledctl {' '.join(words)}: status {done.returncode}: {text}")
        return None

    def kill_one(self):
        ledctl = subprocess.Popen(self.command("rotateEyes", "0x00ff00", "0.1", "3600"),
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            time.sleep(0.3)  # to kill it half way: it says nothing before its end
            ledctl.send_signal(signal.SIGKILL)
        finally:
            ledctl.wait(30)

    def command(self, *words):
        return [self.place.ledctl, "--robot", "unix:" + self.place.robot.socket, *words]


class Browser(Kind):
    """A page: looks, calls, stops what it began, and is opened anew now and then."""

    def __init__(self, place):
        super().__init__(place)
        self.page = None

    def step(self):
        self.turn += 1
        if self.page is None:
            for file in ("/", "/main.js"):
                urllib.request.urlopen(self.place.robot.page + file, timeout=10).read()
            self.page = Page(self.place.robot.page)
            self.page.ask("hello", name="soak-page")
            self.page.ask("watch", pattern="*")
            self.page.ask("log", level="info")
        does = (self.fade, self.stop, self.look)[self.turn % 3]
        does()
        if self.turn % 50 == 0:
            self.close()

    def fade(self):
        self.page.ask("call", service=LEDS, method="fadeRGB", args=["FaceLeds", 255, 0.1])

    def stop(self):
        turning = self.page.begin("call", service=LEDS, method="rotateEyes", args=[255, 0.05, HOUR])
        self.page.ask("stop", call=turning)
        self.page.answer_to(turning)

    def look(self):
        self.page.ask("state")
        self.page.ask("describe", service="HBMemory")

    def close(self):
        if self.page is not None:
            self.page.close()
            self.page = None


class Moods(WithRobot):
    """What the robot does by itself, on and off."""
    pause = 0.5
    ON_AND_OFF = (("_startPassiveBlinking",), ("_startEyesRotationASR",), ("_startEarsRotationASR",),
                  ("_blink",), ("_setEnabledEyesRotationASR", True), ("_setEnabledEarsRotationASR", True),
                  ("_blinkWithShadow",), ("rasta", 0.2), ("randomEyes", 0.2),
                  ("_setEnabledEyesRotationASR", False), ("_stopEyesRotationASR",),
                  ("_stopEarsRotationASR",), ("_stopPassiveBlinking",))

    def step(self):
        name, *args = self.ON_AND_OFF[self.turn % len(self.ON_AND_OFF)]
        self.turn += 1
        self.leds[name](*args, timeout=60)


class Modules(WithRobot):
    """A module goes, and comes back. Not motion: a command that writes in the moment in which it goes
    logs an error, and the log is looked at here."""
    pause = 4.0

    def step(self):
        host = self.robot.service("HBHost")
        name = ("signsandfeedback", "leds")[self.turn % 2]
        self.turn += 1
        host.unloadModule(name, timeout=60)
        host.loadModule(name, timeout=60)


ALL = (Script, Canceller, Watcher, Lender, Guest, Shell, Browser, Moods, Modules)
