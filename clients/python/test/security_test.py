"""Robots that ask who comes, over TLS."""
import os
import subprocess

import pytest

import tavro
from tavro import Robot
from tavro.process import RobotProcess

class Mine:
    """A service of a viewer: refused."""

    def own(self) -> None:
        pass


OPERATOR, VIEWER = "operator-0123456789", "viewer-0123456789"


@pytest.fixture(scope="module")
def certificate(tmp_path_factory):
    """The files of a certificate that vouches for itself, and of its key."""
    folder = tmp_path_factory.mktemp("certificate")
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                    "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj",
                    "/CN=robot.test", "-addext", "subjectAltName=DNS:robot.test,IP:127.0.0.1",
                    "-keyout", folder / "key.pem", "-out", folder / "cert.pem"],
                   check=True, capture_output=True)
    return folder / "cert.pem", folder / "key.pem"


@pytest.fixture(scope="module")
def guarded(certificate, tmp_path_factory):
    """The port of a robot that listens to every machine."""
    tokens = tmp_path_factory.mktemp("tokens") / "tokens"
    tokens.write_text(f"operator {OPERATOR}\nviewer {VIEWER}\n")
    os.chmod(tokens, 0o600)
    cert, key = certificate
    process = RobotProcess("minimal", listen="0.0.0.0:0", args=[
        "--tls-cert", str(cert), "--tls-key", str(key), "--tokens", str(tokens)])
    process.wait_until_ready()
    yield process.address.rpartition(":")[2]
    process.stop()


def test_an_operator_may_do_everything(certificate, guarded):
    with Robot(f"127.0.0.1:{guarded}", ca=certificate[0], token=OPERATOR) as robot:
        leds = robot.service("HBLeds")
        leds.on("FaceLeds")
        leds.fade("FaceLeds", 0.5, 0.05).result(timeout=10)
        assert robot.info().role == "operator"


def test_a_viewer_may_read_and_is_told_what_it_may_not(certificate, guarded):
    with Robot(f"127.0.0.1:{guarded}", ca=certificate[0], token=VIEWER) as robot:
        assert robot.info().role == "viewer"
        assert next(robot.watch("Face/*")) and "fade" in dir(robot.service("HBLeds"))
        with pytest.raises(tavro.NotAllowed):
            robot.service("HBLeds").on("FaceLeds")
        with pytest.raises(tavro.NotAllowed):
            robot.service("HBLeds").fade("FaceLeds", 0.5, 0.05)
        with pytest.raises(tavro.NotAllowed):
            robot.lend("Mine", Mine())


@pytest.mark.parametrize("token", [None, "wrong-0123456789"])
def test_others_are_not_let_in(certificate, guarded, token, monkeypatch):
    monkeypatch.delenv("TAVRO_TOKEN", raising=False)
    with pytest.raises(tavro.NotAllowed):
        Robot(f"127.0.0.1:{guarded}", ca=certificate[0], token=token)


def test_the_token_of_the_environment_counts(certificate, guarded, monkeypatch):
    monkeypatch.setenv("TAVRO_TOKEN", VIEWER)
    with Robot(f"127.0.0.1:{guarded}", ca=certificate[0]) as robot:
        assert robot.info().role == "viewer"


def test_the_name_in_the_certificate_may_be_another_than_the_address(certificate, guarded):
    with Robot(f"localhost:{guarded}", ca=certificate[0], tls_name="robot.test",
               token=OPERATOR) as robot:
        assert robot.info().ready


def test_without_tls_nobody_is_reached(guarded):
    with pytest.raises(tavro.NotReached):
        Robot(f"127.0.0.1:{guarded}", token=OPERATOR, timeout=2)


def test_a_robot_that_nobody_vouches_for_is_not_talked_to(guarded):
    with pytest.raises(tavro.NotReached, match="from an authority that is trusted here"):
        Robot(f"127.0.0.1:{guarded}", tls=True, token=OPERATOR, timeout=2)


def test_files_that_are_no_certificates_are_told(tmp_path):
    with pytest.raises(FileNotFoundError):
        Robot("127.0.0.1:1", ca=tmp_path / "none.pem")
    (tmp_path / "empty.pem").write_text("")
    with pytest.raises(ValueError, match="no certificate"):
        Robot("127.0.0.1:1", ca=tmp_path / "empty.pem")
