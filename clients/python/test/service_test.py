"""A service as an object: what Python shows of it, and how calls find their overload."""
import inspect
import pydoc
import rlcompleter

import pytest

import tavro
from tavro import description, service
from tavro.v1 import robot_pb2 as wire


def test_help_shows_the_published_texts_and_the_example(leds):
    text = pydoc.render_doc(leds.fade, renderer=pydoc.plaintext)
    assert "fade(name: str, intensity: float, duration: float, *, timeout" in text
    assert "intensity (float): The intensity of the LED or Group (a value between 0 and 1)." in text
    assert "    proxy.fade(name, intensity, duration)" in text


def test_help_of_the_service_lists_its_methods(leds):
    text = pydoc.render_doc(leds, renderer=pydoc.plaintext)
    assert "This module allows you to control VANTO's LEDs." in text
    assert "rotateEyes(rgb: int, timeForRotation: float, totalDuration: float" in text


def test_help_of_overloads_shows_each(leds):
    text = pydoc.render_doc(leds.fadeRGB, renderer=pydoc.plaintext)
    for call in ("fadeRGB(name: str, red: float, green: float, blue: float, duration: float)",
                 "fadeRGB(name: str, colorName: str, duration: float)",
                 "fadeRGB(name: str, rgb: int, duration: float)"):
        assert call in text


def test_tab_completes_the_methods(leds):
    complete = rlcompleter.Completer({"leds": leds}).complete
    found = {complete("leds.fade", state) for state in range(3)}
    assert {one.rstrip("(") for one in found} == {"leds.fade", "leds.fadeRGB", "leds.fadeListRGB"}


def test_names_of_arguments_come_by_position_and_their_number_from_the_signature(leds):
    assert list(inspect.signature(leds.rotateEyes).parameters) == [
        "rgb", "timeForRotation", "totalDuration", "timeout"]
    # Documents an argument that the method does not have.
    assert list(inspect.signature(leds._blinkWithShadow).parameters) == ["timeout"]
    assert "Documented, but no argument of this method:\n    eyeShadow:" in (
        leds._blinkWithShadow.__doc__)
    # Documents none where there is one.
    assert list(inspect.signature(leds._setEnabledEyesRotationASR).parameters) == [
        "arg1", "timeout"]
    assert [row.names for row in leds._blink.overloads] == [(), ("arg1",)]


def test_arguments_may_be_named(leds):
    leds.setIntensity(intensity=0.5, name="FaceLedRight0")
    assert leds.getIntensity(name="FaceLedRight0") == [0.5, 0.5, 0.5]



@pytest.mark.parametrize("args, named, text", [
    (("FaceLeds",), {}, "missing intensity, duration"),
    (("FaceLeds", 1, 1, 1), {}, "takes 3 arguments, 4 were given"),
    (("FaceLeds", 1, 1), {"speed": 1}, "has no argument 'speed'"),
    (("FaceLeds", 1, 1), {"name": "x"}, "'name' is given twice"),
    (("FaceLeds", "1", 1), {}, "intensity must be a float, not '1' \\(str\\)"),
    (("FaceLeds", True, 1), {}, "intensity must be a float, not True \\(bool\\)"),
    ((1, 1, 1), {}, "name must be a str, not 1 \\(int\\)")])
def test_wrong_arguments_are_type_errors_before_anything_is_sent(leds, args, named, text):
    with pytest.raises(TypeError, match=text):
        leds.fade(*args, **named)


def test_an_int_out_of_range_is_a_value_error_that_names_it(leds):
    with pytest.raises(ValueError, match="rgb is 4294967295; an int has 32 bits"):
        leds.rotateEyes(0xFFFFFFFF, 1, 1)
    with pytest.raises(ValueError, match="an int has 32 bits"):
        leds.fadeRGB("FaceLeds", 0xFFFFFFFF, 1)


def test_arguments_that_fit_no_overload_list_the_candidates(leds):
    with pytest.raises(TypeError) as caught:
        leds.fadeRGB("FaceLeds", 1.5, 1)
    assert "no overload for (str, float, int)" in str(caught.value)
    assert "fadeRGB(name: str, colorName: str, duration: float)" in str(caught.value)


def test_an_unknown_method_is_an_attribute_error(leds):
    with pytest.raises(AttributeError):
        leds.fadRGB("FaceLeds", "red", 1)
    with pytest.raises(KeyError):
        leds["fadRGB"]


def test_a_service_that_is_not_there_is_refused_with_those_that_are(robot):
    with pytest.raises(tavro.NoSuchService, match="no service 'Nobody'; there are HBHost, HBLeds"):
        robot.service("Nobody")


def test_errors_of_methods_have_their_kind_and_text(leds):
    with pytest.raises(tavro.InvalidArgument, match="Could not parse 'Nose") as caught:
        leds.on("Nose")
    assert isinstance(caught.value, ValueError) and caught.value.kind == "invalid_argument"
    with pytest.raises(tavro.RuntimeFailure, match="not implemented"):
        leds.getIntensity("FaceLeds")


def test_limits_say_what_they_are(leds):
    with pytest.raises(tavro.LimitReached, match="4096"):
        leds.createGroup("Many", ["a"] * 4097)


def row(*names, count):
    """A row that documents these arguments of `count`."""
    method = wire.Method(name="do", params=[wire.NamedText(name=name) for name in names])
    for _ in range(count):
        method.signature.params.add(kind=wire.Type.KIND_INT)
    method.signature.result.kind = wire.Type.KIND_VOID
    reply = wire.DescribeServiceReply(service="Odd", methods=[method])
    return description.read(reply).methods["do"][0]


@pytest.mark.parametrize("documented, names", [
    (["class"], ("class_",)), (["timeout"], ("timeout_",)), (["two words"], ("two_words",)),
    (["1st"], ("arg1",)), (["", "a", "a"], ("arg1", "a", "arg3")), ([], ("arg1", "arg2"))])
def test_odd_names_of_arguments_become_usable(documented, names):
    assert row(*documented, count=len(names)).names == names


@pytest.mark.parametrize("value, kind", [(1, "int"), (1.5, "float"), (2.0, "float")])
def test_of_overloads_that_fit_the_one_that_fits_exactly_is_called(value, kind):
    kinds = {"float": wire.Type.KIND_FLOAT, "int": wire.Type.KIND_INT}
    methods = []
    for one in kinds.values():
        signature = wire.Signature(params=[wire.Type(kind=one)],
                                   result=wire.Type(kind=wire.Type.KIND_VOID))
        methods.append(wire.Method(name="do", signature=signature))
    for published in (methods, methods[::-1]):
        found = description.read(wire.DescribeServiceReply(service="Odd", methods=published))
        chosen, request = service.Method(None, "Odd", found.methods["do"])._prepare((value,), {})
        assert str(chosen.params[0]) == kind
        assert request.args[0].WhichOneof("kind") == {"int": "integer", "float": "number"}[kind]
