"""Every method that HBLeds publishes, called once on a fresh robot."""
import pytest

from tavro import Robot

# By name and signature: the arguments, and what the result looks like.
CALLS = {
    "createGroup(string, list<string>)": ("Mine", ["FaceLedRight0"]),
    "earLedsSetAngle(int, float, bool)": (90, 0.2, True),
    "fade(string, float, float) -> future<void>": ("LeftEye", 0.5, 0.1),
    "fadeListRGB(string, value, value) -> future<void>": ("FaceLeds", [0xFF0000, 255], [0.1, 0.2]),
    "fadeRGB(string, float, float, float, float) -> future<void>": ("FaceLeds", 1, 0, 0.5, 0.1),
    "fadeRGB(string, string, float) -> future<void>": ("FaceLeds", "red", 0.1),
    "fadeRGB(string, int, float) -> future<void>": ("FaceLeds", 0x00FF00, 0.1),
    "_fadeRGB(string, float, float, float, float) -> future<void>": ("ChestLeds", 1, 0, 0, 0.1),
    "reset(string)": ("AllLeds",),
    "_setIntensityRatio(string, float)": ("EarLeds", 0.7),
    "getIntensity(string) -> value": ("FaceLedRight0",),
    "listLEDs() -> list<string>": (),
    "listLED(string) -> list<string>": ("FaceLedRight0",),
    "listGroup(string) -> list<string>": ("FaceLeds",),
    "listGroups() -> list<string>": (),
    "off(string)": ("FaceLeds",),
    "on(string)": ("FaceLeds",),
    "rasta(float)": (0.2,),
    "rotateEyes(int, float, float)": (0x0000FF, 0.1, 0.1),
    "randomEyes(float)": (0.1,),
    "setIntensity(string, float)": ("BrainLeds", 0.3),
    "_blink()": (),
    "_blink(int)": (0x00FF00,),
    "_setAnyLedIntensity(string, float)": ("ChestLeds", 0.5),
    "_startPassiveBlinking()": (),
    "_startPassiveBlinking(int)": (0x0000FF,),
    "_stopPassiveBlinking()": (),
    "_blinkWithShadow()": (),
    "_setTimeBetweenTwoBlinks(float, float)": (1, 2),
    "_startEyesRotationASR()": (),
    "_stopEyesRotationASR()": (),
    "_setEnabledEyesRotationASR(bool)": (True,),
    "_startEarsRotationASR()": (),
    "_stopEarsRotationASR()": (),
    "_setEnabledEarsRotationASR(bool)": (False,),
}


def row_text(row):
    return row.name + str(row.signature)


def published(leds):
    """Every row by its text."""
    return {row_text(row): row for method in type(leds).__methods__.values()
            for row in method.overloads}


def require_result(row, result):
    kind = str(row.signature.result)
    if kind == "void":
        assert result is None
    elif kind == "future<void>":
        assert result.result(timeout=10) is None
    elif kind == "list<string>":
        assert result and all(isinstance(one, str) for one in result)
    else:
        assert len(result) == 3 and all(isinstance(one, float) for one in result)


def test_the_table_has_every_published_row(leds):
    assert len(CALLS) == 35
    assert sorted(published(leds)) == sorted(CALLS)


@pytest.mark.parametrize("text", CALLS)
def test_a_method_answers_on_a_fresh_robot(text):
    with Robot.start(model="vanto") as robot:
        leds = robot.service("HBLeds")
        row = published(leds)[text]
        require_result(row, leds[row.name](*CALLS[text]))


def test_all_methods_answer_one_after_another(fresh):
    leds = fresh.service("HBLeds")
    for text, row in published(leds).items():
        require_result(row, leds[row.name](*CALLS[text]))
    assert "Mine" in leds.listGroups()
