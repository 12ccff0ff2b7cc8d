"""Connecting: who answers, who does not, who is let in. Some of the robots only pretend."""
import concurrent.futures
import contextlib
import socket
import threading
import time

import grpc
import pytest

import tavro
from pretender import Pretender, pretending
from tavro import Robot
from tavro.v1 import robot_pb2 as wire


@contextlib.contextmanager
def listening(answer=b""):
    """A port where somebody accepts connections and is no robot."""
    with socket.create_server(("127.0.0.1", 0)) as listener:
        accepted = []

        def accept():
            with contextlib.suppress(OSError):
                while True:
                    accepted.append(listener.accept()[0])
                    accepted[-1].sendall(answer)
        threading.Thread(target=accept, daemon=True).start()
        yield f"127.0.0.1:{listener.getsockname()[1]}"
        for one in accepted:
            one.close()


def test_a_robot_tells_who_it_is(robot):
    info = robot.info()
    assert info.name == "Vanto" and info.ready and info.protocol[0] == 1 and info.uptime > 0
    assert list(info.services) == robot.services() and "HBLeds" in info.services
    assert robot.address in repr(robot)


def test_where_nobody_listens_the_reason_is_told(tmp_path):
    with pytest.raises(tavro.Unreachable, match="No robot was reached at 127.0.0.1:1: Connection"):
        Robot("127.0.0.1:1")
    with pytest.raises(tavro.Unreachable, match="No such file"):
        Robot(f"unix:{tmp_path}/none")


def test_what_is_no_address_is_a_value_error():
    with pytest.raises(ValueError, match="is not an address"):
        Robot("nowhere")


def test_one_who_only_accepts_is_no_robot_and_the_deadline_is_told():
    begun = time.monotonic()
    with listening() as address, pytest.raises(tavro.NotARobot, match="did not answer within 1 s"):
        Robot(address, timeout=1)
    assert time.monotonic() - begun < 5


def test_where_connections_are_not_even_accepted_the_deadline_holds_too():
    with socket.create_server(("127.0.0.1", 0), backlog=0) as listener:
        waiting = [socket.socket() for _ in range(3)]
        for one in waiting:  # they fill the queue of those who wait to be accepted
            one.setblocking(False)
            one.connect_ex(listener.getsockname())
        with pytest.raises(tavro.Unreachable, match="no answer to the connection request"):
            Robot(f"127.0.0.1:{listener.getsockname()[1]}", timeout=1)
        for one in waiting:
            one.close()


def test_a_web_server_is_no_robot():
    with listening(b"HTTP/1.1 400 Bad Request\r\n\r\n") as address:
        with pytest.raises(tavro.NotARobot, match="is not a robot"):
            Robot(address)


def test_another_grpc_server_is_no_robot():
    with pretending(None) as address, pytest.raises(tavro.NotARobot, match="is not a robot"):
        Robot(address)


def test_another_major_version_is_refused_with_both():
    with pretending(Pretender(wire.GetInfoReply(protocol_major=2, protocol_minor=3))) as address:
        with pytest.raises(tavro.OtherVersion, match="version 2.3 .* this program version 1"):
            Robot(address)


def test_the_token_goes_with_the_question_and_a_name_with_the_client():
    pretender = Pretender()
    with pretending(pretender) as address, Robot(address, token="secret", name="my-script"):
        assert pretender.metadata["authorization"] == "Bearer secret"
        assert pretender.metadata["user-agent"].startswith("my-script ")


@pytest.mark.parametrize("code", [grpc.StatusCode.UNAUTHENTICATED,
                                  grpc.StatusCode.PERMISSION_DENIED])
def test_who_is_not_let_in_is_told_by_the_robot(code):
    with pretending(Pretender(refusal=(code, "a token is needed"))) as address:
        with pytest.raises(tavro.NotAllowed, match="a token is needed") as caught:
            Robot(address)
    assert isinstance(caught.value, PermissionError)


def test_a_token_does_not_travel_in_the_open():
    with pytest.raises(ValueError, match="for all to read"):
        Robot("192.0.2.1:5480", token="secret")


def test_a_token_is_not_shown(robot):
    with Robot(robot.address, token="secret-of-the-house") as one:
        assert "secret" not in repr(one) + repr(vars(one))


def test_a_robot_that_does_not_answer_a_question_is_told():
    with pretending(Pretender()) as address, Robot(address) as robot:
        with pytest.raises(tavro.Refused, match="not implemented"):
            robot.services()


def test_closing_twice_is_allowed(robot):
    other = Robot(robot.address)
    other.close()
    other.close()
    assert "closed" in repr(other)


def test_many_threads_share_a_robot(leds):
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        lists = list(pool.map(lambda _: leds.listGroups(), range(200)))
    assert all(one == lists[0] for one in lists)
