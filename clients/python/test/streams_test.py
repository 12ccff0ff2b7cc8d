"""What the package makes of every turn that a stream can take; the robot only pretends."""
import gc
import queue
import threading

import pytest

import tavro
from pretender import Talker, pretending
from tavro import Robot
from tavro.v1 import robot_pb2 as wire

FUTURE = wire.StartReply(future=wire.FutureBegun())


@pytest.fixture
def talker():
    return Talker()


@pytest.fixture
def robot(talker):
    with pretending(talker) as address, Robot(address) as one:
        yield one


@pytest.fixture
def do(robot):
    """The method, all of whose calls are a talk."""
    return robot.service("Pretended").do


def begin(do, talker):
    """A future that the robot has promised, and the talk about it."""
    promised = queue.Queue()
    threading.Thread(target=lambda: promised.put(do())).start()
    talk = talker.talks.get(timeout=10)
    assert talk.heard.get(timeout=10).call.method == "do"
    talk.say(FUTURE)
    return promised.get(timeout=10), talk


def test_a_value_after_the_future_is_its_result(do, talker):
    future, talk = begin(do, talker)
    assert not future.done()
    talk.say(wire.StartReply(value=wire.Value(integer=7)))
    assert future.result(timeout=10) == 7


def test_a_value_at_once_makes_a_future_that_is_done(do, talker):
    future = do.start()
    talker.talks.get(timeout=10).say(wire.StartReply(value=wire.Value(text="now")))
    assert future.result(timeout=10) == "now"


@pytest.mark.parametrize("kind, error", [
    ("out_of_range", tavro.OutOfRange), ("timeout", tavro.MethodTimedOut),
    ("of_tomorrow", tavro.RuntimeFailure), ("cancelled", tavro.Cancelled)])
def test_an_error_after_the_future_is_the_futures(do, talker, kind, error):
    future, talk = begin(do, talker)
    raw = wire.CallError(kind=kind, text="no \ufffd", raw_text=b"no \xff")
    talk.say(wire.StartReply(error=raw))
    with pytest.raises(error, match="no \udcff"):
        future.result(timeout=10)
    assert future.cancelled() is (kind == "cancelled")


def test_an_error_instead_of_the_future_is_the_calls(do, talker):
    error = wire.CallError(kind="logic_error", text="not now")
    threading.Thread(target=lambda: talker.talks.get(timeout=10).say(
        wire.StartReply(error=error))).start()
    with pytest.raises(tavro.LogicError, match="not now"):
        do()


def test_a_stream_without_an_outcome_is_an_error(do, talker):
    future, talk = begin(do, talker)
    talk.end()
    with pytest.raises(tavro.Unreachable, match="without an outcome"):
        future.result(timeout=10)


def test_cancelling_is_said_and_the_outcome_still_heard(do, talker):
    future, talk = begin(do, talker)
    assert future.cancel()
    assert talk.heard.get(timeout=10).HasField("cancel")
    assert not future.done()
    talk.say(wire.StartReply(value=wire.Value(integer=1)))
    assert future.result(timeout=10) == 1


def test_dropping_a_future_ends_its_stream(do, talker):
    future, talk = begin(do, talker)
    del future
    gc.collect()
    assert talk.is_gone.result(timeout=10)


def test_a_future_that_is_held_keeps_its_stream(do, talker):
    future, talk = begin(do, talker)
    gc.collect()
    with pytest.raises(TimeoutError):
        talk.is_gone.result(timeout=0.2)
    future.cancel()


def test_a_started_method_that_runs_is_not_stopped_by_dropping_its_future(do, talker):
    do.start()
    talk = talker.talks.get(timeout=10)
    gc.collect()
    with pytest.raises(TimeoutError):
        talk.is_gone.result(timeout=0.2)
    talk.say(wire.StartReply(value=wire.Value()))
    assert talk.is_gone.result(timeout=10)


def test_the_end_of_the_timeout_ends_the_stream(do, talker):
    with pytest.raises(tavro.TimedOut):
        do(timeout=0.1)
    assert talker.talks.get(timeout=10).is_gone.result(timeout=10)


def watch_reply(**values):
    """A message of a watch; `more`, `snapshot` and `dropped` are its own, the rest are items."""
    own = {name: values.pop(name) for name in ("more", "snapshot", "dropped") if name in values}
    items = [wire.MemoryItem(key=key, value=wire.Value(integer=value))
             for key, value in values.items()]
    return wire.WatchReply(items=items, **own)


def test_a_batch_in_several_messages_is_one(robot, talker):
    watch = robot.watch("a*")
    threading.Thread(target=lambda: [talk := talker.talks.get(timeout=10),
                                     talk.say(watch_reply(a=1, more=True, snapshot=True)),
                                     talk.say(watch_reply(b=2, more=True, snapshot=True)),
                                     talk.say(watch_reply(c=3, snapshot=True)),
                                     talk.say(watch_reply(a=4, dropped=7))]).start()
    first, second = next(watch), next(watch)
    assert (dict(first), first.snapshot) == ({"a": 1, "b": 2, "c": 3}, True)
    assert (dict(second), second.snapshot, second.dropped) == ({"a": 4}, False, 7)


def test_a_watch_that_is_dropped_ends_its_stream(robot, talker):
    watch = robot.watch("a*")
    threading.Thread(target=lambda: next(watch)).start()
    talk = talker.talks.get(timeout=10)
    assert talk.heard.get(timeout=10).pattern == "a*"
    talk.say(watch_reply(a=1))
    del watch
    gc.collect()
    assert talk.is_gone.result(timeout=10)


class Lent:
    """Blocks until it is let go."""

    def __init__(self):
        self.begun = threading.Event()
        self.go_on = threading.Event()

    def block(self) -> str:
        self.begun.set()
        self.go_on.wait(30)
        return "done"


def lend(robot, talker, lent):
    """The handle, and the talk about the service."""
    handle = queue.Queue()
    threading.Thread(target=lambda: handle.put(robot.lend("Lent", lent))).start()
    talk = talker.talks.get(timeout=10)
    offer = talk.heard.get(timeout=10).offer
    assert (offer.service, offer.methods[0].signature.text) == ("Lent", "() -> string")
    talk.say(wire.LendReply(accepted=wire.LendReply.Accepted()))
    return handle.get(timeout=10), talk


def test_an_offer_that_the_robot_does_not_answer_is_an_error(talker):
    with pretending(talker) as address, Robot(address, timeout=1) as robot:
        with pytest.raises(tavro.Unreachable, match="did not answer within 1 s"):
            robot.lend("Lent", Lent())
        assert talker.talks.get(timeout=10).is_gone.result(timeout=10)


def test_a_ping_is_answered_while_a_method_blocks(robot, talker):
    lent = Lent()
    handle, talk = lend(robot, talker, lent)
    talk.say(wire.LendReply(call=wire.LendReply.Call(call=3)))
    assert lent.begun.wait(10)
    talk.say(wire.LendReply(ping=17))
    assert talk.heard.get(timeout=10).pong.number == 17
    lent.go_on.set()
    returned = talk.heard.get(timeout=10).returned
    assert (returned.call, returned.value.text) == (3, "done")
    handle.close()
    assert talk.is_gone.result(timeout=10)


def test_a_call_of_a_method_that_was_not_offered_ends_the_lending_with_an_error(robot, talker):
    handle, talk = lend(robot, talker, Lent())
    talk.say(wire.LendReply(call=wire.LendReply.Call(call=1, method=9)))
    with pytest.raises(IndexError):
        handle.wait(timeout=10)
    assert not handle.is_standing and talk.is_gone.result(timeout=10)


def test_a_lending_that_the_robot_ends_is_an_error(robot, talker):
    handle, talk = lend(robot, talker, Lent())
    talk.end()
    with pytest.raises(tavro.Unreachable, match="ended the lending of Lent"):
        handle.wait(timeout=10)
