"""Services that a Python process lends to the robot."""
import concurrent.futures
import threading
import time

import pytest

import tavro
from conftest import eventually
from tavro import Robot


class Worker:
    """Does things slowly."""

    def __init__(self):
        self.begun = threading.Semaphore(0)
        self.go_on = threading.Event()
        self.stopped = threading.Event()
        self.promised = []

    def add(self, one: int, other: int = 1) -> int:
        """Adds.

        Args:
            one: The first.
            other: The second.
        """
        return one + other

    def block(self) -> str:
        """Until it is let go."""
        self.begun.release()
        assert self.go_on.wait(30)
        return "done"

    def run(self) -> None:
        """Until it is stopped."""
        self.begun.release()
        if tavro.wait_for_stop(30):
            self.stopped.set()

    def promise(self) -> "concurrent.futures.Future[str]":
        self.promised.append(concurrent.futures.Future())
        return self.promised[-1]

    def fail(self, kind: str) -> None:
        raise {"value": ValueError("no such LED"), "key": KeyError("no key"),
               "other": RuntimeError("broken \udcff"), "half": RuntimeError("half \ud800"),
               "exit": SystemExit("the end"), "hb": tavro.HBError("module")}[kind]

    def long(self, length: int) -> str:
        return "x" * length

    def lie(self) -> int:
        return "seven"  # type: ignore[return-value]


@pytest.fixture
def worker():
    one = Worker()
    yield one
    one.go_on.set()


@pytest.fixture
def lent(robot, worker):
    with robot.lend("Worker", worker) as handle:
        yield handle


@pytest.fixture
def client(robot, lent):
    """The service, as another client sees it."""
    with Robot(robot.address) as other:
        yield other.service("Worker")


def test_it_is_a_service_with_its_documentation(robot, client):
    assert "Worker" in robot.services()
    assert type(client).__doc__ == "Does things slowly."
    assert [row.call_text() for row in client.add.overloads] == [
        "add(one: int) -> int", "add(one: int, other: int) -> int"]
    assert "one (int): The first." in client.add.__doc__


def test_its_methods_are_called(client):
    assert client.add(1) == 2 and client.add(40, other=2) == 42


@pytest.mark.parametrize("kind, error, text", [
    ("value", tavro.InvalidArgument, "no such LED"), ("key", tavro.OutOfRange, "no key"),
    ("other", tavro.RuntimeFailure, "broken \udcff"), ("half", tavro.RuntimeFailure, "half ?"),
    ("exit", tavro.RuntimeFailure, "the end"), ("hb", tavro.HBError, "module")])
def test_what_it_raises_reaches_the_caller(client, kind, error, text):
    with pytest.raises(error) as caught:
        client.fail(kind)
    assert str(caught.value) == text


def test_a_result_of_another_type_than_promised_is_an_error(client):
    with pytest.raises(tavro.InvalidArgument, match="the result of lie must be an int"):
        client.lie()


def test_a_result_too_large_for_a_message_is_an_error_and_the_service_stands(client):
    with pytest.raises(tavro.LengthError, match="result of long has 10485.. bytes .* 1048576"):
        client.long(2**20 - 20)
    assert len(client.long(2**20 - 100)) == 2**20 - 100


def test_a_method_that_blocks_holds_up_no_other_and_no_ping(worker, client):
    blocked = client.block.start()
    assert worker.begun.acquire(timeout=10)
    # Nothing tells that a ping was answered; one that is not costs the service after 1.9 s at most.
    time.sleep(2.5)
    assert client.add(1, 2) == 3
    worker.go_on.set()
    assert blocked.result(timeout=10) == "done"


def test_several_calls_run_at_once(worker, client):
    calls = [client.block.start() for _ in range(4)]
    for _ in calls:
        assert worker.begun.acquire(timeout=10)
    worker.go_on.set()
    assert [call.result(timeout=10) for call in calls] == ["done"] * 4


def test_a_stopped_call_sees_the_stop(worker, client):
    running = client.run.start()
    assert worker.begun.acquire(timeout=10)
    running.cancel()
    assert worker.stopped.wait(10)
    concurrent.futures.wait([running], timeout=10)
    assert running.done()


def test_a_future_of_its_own_is_waited_for(worker, client):
    promised = client.promise()
    assert not promised.done()
    worker.promised[0].set_result("late")
    assert promised.result(timeout=10) == "late"


def test_the_error_and_the_cancellation_of_a_future_reach_the_caller(worker, client):
    failed, cancelled = client.promise(), client.promise()
    worker.promised[0].set_exception(ValueError("too late"))
    with pytest.raises(tavro.InvalidArgument, match="too late"):
        failed.result(timeout=10)
    assert cancelled.cancel()
    assert eventually(worker.promised[1].cancelled)
    with pytest.raises(tavro.Cancelled):
        cancelled.result(timeout=10)


def test_a_name_that_stands_is_refused(robot, lent, worker):
    with pytest.raises(tavro.NameTaken, match="Worker"):
        robot.lend("Worker", worker)
    with pytest.raises(tavro.NameTaken, match="HBLeds"):
        robot.lend("HBLeds", worker)


def test_closing_takes_it_away_and_its_calls_fail(robot, worker, lent, client):
    blocked = client.run.start()
    assert worker.begun.acquire(timeout=10)
    lent.close()
    assert not lent.is_standing and worker.stopped.wait(10)
    lent.wait(timeout=1)
    with pytest.raises(tavro.CallFailed):
        blocked.result(timeout=10)
    assert eventually(lambda: "Worker" not in robot.services())
    with robot.lend("Worker", worker):
        assert client.add(1) == 2


def test_it_learns_that_the_robot_is_gone(worker):
    with Robot.start() as robot:
        handle = robot.lend("Worker", worker)
        robot.process.popen.kill()
        with pytest.raises(tavro.Unreachable, match="is gone"):
            handle.wait(timeout=10)
        assert not handle.is_standing
