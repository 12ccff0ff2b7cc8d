"""Connections that break half-way: a proxy between client and robot that cuts them, or goes deaf."""
import contextlib
import select
import socket
import struct
import threading

import pytest

import tavro
from conftest import eventually
from tavro import Robot


class Proxy:
    """Passes bytes on between its clients and one address, until it is told to cut or to go deaf."""

    def __init__(self, address):
        host, _, port = address.rpartition(":")
        self._robot = (host, int(port))
        self._listener = socket.create_server(("127.0.0.1", 0))
        self._lock = threading.Lock()
        self._pairs = []
        self._is_deaf = False
        threading.Thread(target=self._accept, daemon=True).start()

    @property
    def address(self):
        return "127.0.0.1:%d" % self._listener.getsockname()[1]

    def cut(self):
        """Breaks every connection, both ends, in the middle of whatever they say."""
        with self._lock:
            pairs, self._pairs = self._pairs, []
        for one in (end for pair in pairs for end in pair):
            with contextlib.suppress(OSError):
                one.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                one.shutdown(socket.SHUT_RDWR)
                one.close()

    def go_deaf(self):
        """From now on nothing passes, and nobody is told."""
        self._is_deaf = True

    def close(self):
        self._listener.close()
        self.cut()

    def _accept(self):
        with contextlib.suppress(OSError):
            while True:
                client, _ = self._listener.accept()
                pair = (client, socket.create_connection(self._robot))
                with self._lock:
                    self._pairs.append(pair)
                threading.Thread(target=self._pass_on, args=pair, daemon=True).start()

    def _pass_on(self, client, robot):
        other = {client: robot, robot: client}
        with contextlib.suppress(OSError, ValueError):
            while True:
                for one in select.select([client, robot], [], [])[0]:
                    words = one.recv(65536)
                    if not words:
                        return self.cut()
                    if not self._is_deaf:
                        other[one].sendall(words)


@pytest.fixture
def proxy(robot):
    one = Proxy(robot.address)
    yield one
    one.close()


def rotations(robot):
    return [call for call in robot.calls().running if call.method == "rotateEyes"]


def test_a_client_that_is_cut_off_stops_its_animation_and_comes_back(robot, proxy):
    with Robot(proxy.address) as client:
        leds = client.service("HBLeds")
        rotating = leds.rotateEyes.start(0x00FF00, 0.08, 3600)
        eventually(lambda: rotations(robot))
        proxy.cut()
        with pytest.raises(tavro.Unreachable):
            rotating.result(timeout=10)
        eventually(lambda: not rotations(robot))
        assert eventually(lambda: answers(leds))


def answers(leds):
    """Whether the robot is reached; a connection that has just broken may still be noticed."""
    try:
        return leds.listGroups()
    except tavro.Unreachable:
        return None


def test_a_watch_that_is_cut_off_ends_and_says_so(proxy):
    with Robot(proxy.address) as client:
        watch = client.watch("Face/*")
        next(watch)
        proxy.cut()
        with pytest.raises(tavro.Unreachable):
            next(watch)


def test_a_client_behind_a_dead_line_stops_its_animation(robot, proxy):
    with Robot(proxy.address) as client:
        client.service("HBLeds").rotateEyes.start(0x00FF00, 0.08, 3600)
        eventually(lambda: rotations(robot))
        proxy.go_deaf()
        eventually(lambda: not rotations(robot), seconds=60)  # after two of the robot's pings


def test_a_lent_service_behind_a_dead_line_fails_its_callers(robot, proxy):
    class Sleeper:
        """Sleeps."""

        def sleep(self) -> None:
            """Until woken, which nobody does."""
            threading.Event().wait()

    with Robot(proxy.address) as lender, lender.lend("Sleeper", Sleeper()):
        asleep = robot.service("Sleeper").sleep.start()
        eventually(lambda: any(call.method == "sleep" for call in robot.calls().running))
        proxy.go_deaf()
        with pytest.raises(tavro.CallFailed, match="that lent Sleeper does not answer any more"):
            asleep.result(timeout=60)
        assert "Sleeper" not in robot.services()
        proxy.cut()
