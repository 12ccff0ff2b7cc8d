"""The package as users get it: installed into a virtual environment, and typed."""
import os
import shutil
import subprocess
import sys

import pytest

import tavro

BUILT = os.path.dirname(os.path.dirname(os.path.abspath(tavro.__file__)))
# No other package is looked for: the environment has none of the test's.
ENVIRONMENT = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}


def run(*command, **more):
    done = subprocess.run(command, capture_output=True, text=True, timeout=240, **more)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


@pytest.fixture(scope="module")
def python(tmp_path_factory):
    """The Python of a fresh environment with the package installed, without a network."""
    folder = tmp_path_factory.mktemp("environment")
    source = folder / "source"
    shutil.copytree(BUILT, source, ignore=shutil.ignore_patterns("build", "*.egg-info",
                                                                 "__pycache__"))
    run(sys.executable, "-m", "venv", "--system-site-packages", folder / "venv")
    installed = folder / "venv" / "bin" / "python"
    run(installed, "-m", "pip", "install", "--no-build-isolation", "--no-index", "--quiet", source,
        env=ENVIRONMENT, cwd=folder)
    return installed


def test_installed_it_calls_a_robot(python):
    out = run(python, "-c", """
import tavro
print(tavro.__file__)
with tavro.Robot.start(program=PROGRAM) as robot:
    print(robot.service("HBLeds").listLEDs())
""".replace("PROGRAM", repr(tavro.process.find_program())), env=ENVIRONMENT, cwd="/")
    place, leds = out.splitlines()
    assert place.startswith(str(python.parent.parent)) and leds == "['EyeLed']"


def test_installed_it_brings_its_types(python):
    folder = python.parent.parent.joinpath("lib")
    assert list(folder.glob("python3*/site-packages/tavro/py.typed"))
    assert list(folder.glob("python3*/site-packages/tavro/leds.pyi"))


PROGRAM = """
from tavro import Future, Robot, aio

with Robot() as robot:
    leds = robot.service("HBLeds")
    fading: Future[None] = leds.fadeRGB("FaceLeds", "red", 1.0)
    names: list[str] = leds.listLEDs()
    turning: Future[None] = leds.rotateEyes.start(255, 1.0, 60)
    anything = robot.service("Hello").greet("world")


async def main() -> None:
    async with aio.Robot() as robot:
        leds = await robot.service("HBLeds")
        fading: aio.Future[None] = await leds.fadeRGB("FaceLeds", 255, 1.0, timeout=1)
        names: list[str] = await leds.listLEDs()
"""


def check_types(tmp_path, text):
    file = tmp_path / "program.py"
    file.write_text(text)
    config = os.path.join(BUILT, "pyproject.toml")
    done = subprocess.run([sys.executable, "-m", "mypy", "--config-file", config, "--cache-dir",
                           str(tmp_path / "cache"), "--no-error-summary", str(file)],
                          capture_output=True, text=True, timeout=240,
                          env={**ENVIRONMENT, "MYPYPATH": BUILT}, cwd=tmp_path)
    return [line for line in done.stdout.splitlines() if "note:" not in line]


def test_the_package_and_programs_that_use_it_right_have_no_faults_of_type(tmp_path):
    assert check_types(tmp_path, PROGRAM) == []


@pytest.mark.parametrize("line, text", [
    ('leds.fade("FaceLeds", "half", 1)', 'incompatible type "str"; expected "float"'),
    ("leds.fade()", "Missing positional argument"),
    ('leds.fadRGB("FaceLeds", "red", 1)', 'has no attribute "fadRGB"'),
    ('leds.fadeRGB("FaceLeds", [1], 1)', "No overload variant"),
    ('number: int = leds.listLEDs()', "Incompatible types in assignment")])
def test_wrong_calls_are_faults_of_type(tmp_path, line, text):
    faults = check_types(tmp_path, "from tavro import Robot\nleds = Robot().service('HBLeds')\n"
                         + line + "\n")
    assert len(faults) == 1 and text in faults[0]
