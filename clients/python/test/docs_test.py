"""Every example of the guide runs, from top to bottom, as one program."""
import doctest
import os
import re

import pytest

GUIDE = os.path.join(os.path.dirname(__file__), "../../../docs/python.md")
README = os.path.join(os.path.dirname(__file__), "../README.md")


def blocks(path):
    """(line, language, text) of each fenced block."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    for found in re.finditer(r"^```(\w*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
        yield text.count("\n", 0, found.start()) + 2, found.group(1), found.group(2)


def run(text, names, where, line):
    """As a program; as the lines of an interpreter when it has prompts."""
    if ">>> " not in text:
        exec(compile("\n" * (line - 1) + text, where, "exec"), names)
        return
    test = doctest.DocTestParser().get_doctest(text, names, where, where, line)
    said = []
    runner = doctest.DocTestRunner(optionflags=doctest.NORMALIZE_WHITESPACE)
    runner.run(test, out=said.append, clear_globs=False)
    assert runner.tries > 0 and runner.failures == 0, "".join(said)


def test_every_example_of_the_guide_runs(capsys):
    names = {"__name__": "guide"}
    ran = {"python": 0, "pycon": 0, "": 0}
    for line, language, text in blocks(GUIDE):
        ran[language] += 1
        if language:
            run(text, names, "docs/python.md", line)
    assert (ran["python"], ran["pycon"]) == (13, 3)
    out = capsys.readouterr().out
    for told in ("Vanto ['HBHost'", "stopped\n", "True\n", "hello, world",
                 "Device/SubDeviceList/Face/Led/Red/Actuator/Value [0.5] [1.0]"):
        assert told in out


def test_the_first_example_of_the_package_runs(monkeypatch, robot):
    program = next(text for _, language, text in blocks(README) if language == "python")
    run(program.replace("Robot()", f"Robot({robot.address!r})"), {}, "README.md", 1)


def test_an_example_that_fails_is_noticed():
    with pytest.raises(AssertionError):
        run(">>> 1 + 1\n3\n", {}, "canary", 1)
    with pytest.raises(ZeroDivisionError):
        run("1 / 0\n", {}, "canary", 1)


def test_the_guide_names_every_exception():
    import tavro
    with open(GUIDE, encoding="utf-8") as file:
        text = file.read()
    for name in tavro.__all__:
        value = getattr(tavro, name)
        if isinstance(value, type) and issubclass(value, tavro.RobotError):
            assert f"`{name}`" in text or f"tavro.{name}" in text, name
