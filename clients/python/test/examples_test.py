"""The published "python" examples run as they are printed."""
import contextlib
import io
import re

import pytest

from tavro import Robot


def proxies(robot, text, own):
    """What the example calls `proxy`: the service that its comment names, else its own."""
    named = re.search(r"# proxy stands for the service (\w+)", text)
    return robot.service(named.group(1)) if named else own


def examples(robot):
    """(service, method, program) of every published example."""
    for name in robot.services():
        service = robot.service(name)
        for method in type(service).__methods__.values():
            for row in method.overloads:
                for example in row.examples:
                    if example.name == "python":
                        yield service, f"{name}.{row.name}", example.text


def run(robot, service, name, text):
    """What it prints."""
    printed = io.StringIO()
    with contextlib.redirect_stdout(printed):
        exec(compile(text, name, "exec"), {"proxy": proxies(robot, text, service)})
    return printed.getvalue()


@pytest.mark.parametrize("model", ["vanto", "lirae"])
def test_every_published_example_runs(model):
    with Robot.start(model=model) as robot:
        names = []
        for service, name, text in examples(robot):
            run(robot, service, name, text)
            names.append(name)
        leds = [name for name in names if name.startswith("HBLeds.")]
        assert leds == ["HBLeds.fade", "HBLeds.listGroup", "HBLeds.listGroups", "HBLeds.off",
                        "HBLeds.on", "HBLeds.rasta"]
        assert len(names) > len(leds)


@pytest.fixture(scope="module")
def printed(robot):
    """By method, what the examples of HBLeds print."""
    return {name: run(robot, service, name, text) for service, name, text in examples(robot)
            if name.startswith("HBLeds.")}


def test_the_lists_are_printed_one_a_line(leds, printed):
    assert printed["HBLeds.listGroups"].splitlines() == leds.listGroups()
    assert printed["HBLeds.listGroup"].splitlines() == leds.listGroup("AllLeds")


def test_the_switches_switch(fresh):
    by_name = {name: (service, text) for service, name, text in examples(fresh)}
    leds = fresh.service("HBLeds")
    for method, level in (("on", 1.0), ("off", 0.0)):
        service, text = by_name[f"HBLeds.{method}"]
        run(fresh, service, method, text)
        assert leds.getIntensity("FaceLedRight0") == [level] * 3
