"""Private robots."""
import os
import subprocess
import sys

import pytest

import tavro
from tavro import Robot, process


@pytest.mark.parametrize("model, name", [("minimal", "Minimal"), ("lirae", "Lirae"),
                                         ("models/minimal.xml", "Minimal")])
def test_a_private_robot_runs_the_model_and_ends(model, name):
    with Robot.start(model=model) as robot:
        assert robot.info().name == name and robot.info().ready
        popen = robot.process.popen
        assert popen.poll() is None
    assert popen.poll() == 0


def test_two_at_once_are_two_robots():
    with Robot.start() as one, Robot.start() as other:
        one.service("HBLeds").createGroup("Mine", ["EyeLed"])
        assert "Mine" not in other.service("HBLeds").listGroups()


def test_a_model_that_is_not_there_is_told_with_those_that_are():
    with pytest.raises(FileNotFoundError, match="no robot model 'nobody'; there are .*minimal"):
        Robot.start(model="nobody")


def test_a_program_that_is_not_there_is_told(monkeypatch):
    monkeypatch.setenv("TAVRO_PROGRAM", "/nowhere/tavro")
    with pytest.raises(FileNotFoundError, match="TAVRO_PROGRAM"):
        Robot.start()


def test_a_robot_that_does_not_come_up_is_told_in_its_own_words(tmp_path):
    model = tmp_path / "bad.xml"
    model.write_text("<robot")
    with pytest.raises(tavro.Unreachable, match="tavro ended with status 1(.|\n)*bad.xml"):
        Robot.start(model=str(model))


def test_an_option_that_it_does_not_know_is_told():
    with pytest.raises(tavro.Unreachable, match="status 2(.|\n)*--nonsense"):
        Robot.start(args=["--nonsense"])


def test_it_ends_with_the_process_that_started_it():
    script = ("from tavro import Robot\nrobot = Robot.start()\n"
              "print(robot.process.popen.pid, flush=True)\n")
    run = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=60)
    assert run.returncode == 0 and run.stderr == ""
    with pytest.raises(ProcessLookupError):
        os.kill(int(run.stdout), 0)


def test_the_program_is_named_by_the_environment(monkeypatch):
    monkeypatch.setenv("TAVRO_PROGRAM", sys.executable)
    assert process.find_program() == sys.executable
