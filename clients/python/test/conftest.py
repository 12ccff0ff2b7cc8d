"""What the tests share: real robots, and a moment in which to look again."""
import time

import hypothesis
import pytest

from tavro import Robot

hypothesis.settings.register_profile("robot", deadline=None, database=None, derandomize=True,
                                     suppress_health_check=[
                                         hypothesis.HealthCheck.function_scoped_fixture])
hypothesis.settings.load_profile("robot")


@pytest.fixture(scope="module")
def robot():
    """A Vanto that the tests of a file share."""
    with Robot.start(model="vanto") as one:
        yield one


@pytest.fixture
def fresh():
    """A Vanto of one's own."""
    with Robot.start(model="vanto") as one:
        yield one


@pytest.fixture(scope="module")
def leds(robot):
    return robot.service("HBLeds")


def eventually(holds, seconds=10.0):
    """Waits until `holds()` gives something true, and gives that; fails after so many seconds."""
    end = time.monotonic() + seconds
    while True:
        found = holds()
        if found:
            return found
        assert time.monotonic() < end, f"not within {seconds} s"
        time.sleep(0.005)  # what is waited for happens in another process, which tells nobody
