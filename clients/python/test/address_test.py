"""Where robots are found."""
import socket

import pytest

from tavro import address


@pytest.mark.parametrize("text", ["127.0.0.1:5480", "[::1]:5480", "localhost:0", "unix:/a/b",
                                  "robot.example:65535"])
def test_an_address_reads_as_it_is_written(text):
    assert str(address.parse(text)) == text


@pytest.mark.parametrize("text, why", [
    ("", "the port is missing"), ("localhost", "the port is missing"),
    ("::1:5480", "an IPv6 address stands in brackets"), (":5480", "the host is missing"),
    ("a b:1", "that is no host"), ("a:b", "a number from 0 to 65535"), ("a:", "from 0 to 65535"),
    ("a:65536", "from 0 to 65535"), ("a:-1", "from 0 to 65535"),
    ("a:\u0661", "from 0 to 65535"),
    ("unix:", "the path is missing"), ("unix:a\0b", "no zero"),
    ("unix:" + "a" * 108, "at most 107")])
def test_what_is_no_address_is_refused_with_the_reason(text, why):
    with pytest.raises(ValueError, match=why) as caught:
        address.parse(text)
    assert "allowed are HOST:PORT" in str(caught.value)


@pytest.mark.parametrize("text, is_local", [
    ("127.0.0.1:1", True), ("127.9.9.9:1", True), ("[::1]:1", True), ("localhost:1", True),
    ("unix:a", True), ("127.evil.example:1", False), ("128.0.0.1:1", False),
    ("127.0.0.256:1", False), ("127.0.1:1", False), ("[::2]:1", False)])
def test_only_addresses_of_this_machine_are_local(text, is_local):
    assert address.parse(text).is_local is is_local


def test_the_default_is_the_users_own_socket_when_somebody_listens_there(tmp_path, monkeypatch):
    monkeypatch.setenv("XDG_RUNTIME_DIR", str(tmp_path))
    assert str(address.default()) == address.DEFAULT_TCP
    folder = tmp_path / "tavro"
    folder.mkdir()
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(folder / "robot.sock"))
        assert str(address.default()) == address.DEFAULT_TCP  # nobody listens yet
        listener.listen()
        assert str(address.default()) == f"unix:{folder}/robot.sock"
