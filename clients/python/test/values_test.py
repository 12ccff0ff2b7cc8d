"""Values to the wire and back; first without, then with a robot in between."""
import array
import decimal
import enum
import math
import struct

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

from tavro import Robot, values
from tavro.interface import parse_type
from tavro.v1 import robot_pb2 as wire

FLOATS = st.floats(width=32)
ANY_VALUE = st.recursive(
    st.none() | st.booleans() | st.integers(values.INT_MIN, values.INT_MAX) | FLOATS
    | st.text(st.characters(blacklist_categories=["Cs"]), max_size=20) | st.binary(max_size=20),
    lambda inner: st.lists(inner, max_size=5), max_leaves=20)
# Texts that are not valid UTF-8, as Python holds them.
RAW_TEXT = st.binary(max_size=20).map(lambda raw: raw.decode("utf-8", "surrogateescape"))


def same(one, other):
    """Equal in type too; a NaN is the same as a NaN."""
    if isinstance(one, list):
        return isinstance(other, list) and len(one) == len(other) and all(map(same, one, other))
    if isinstance(one, float) and math.isnan(one):
        return isinstance(other, float) and math.isnan(other)
    return type(one) is type(other) and one == other


def through_the_wire(value):
    return values.from_wire(wire.Value.FromString(values.to_wire(value).SerializeToString()))


@given(ANY_VALUE | RAW_TEXT)
def test_every_value_comes_back_as_it_was(value):
    assert same(through_the_wire(value), value)


class Level(enum.IntEnum):
    LOW = 3


@pytest.mark.parametrize("value, comes_back", [
    ((1, [2.0]), [1, [2.0]]), (bytearray(b"ab"), b"ab"), (memoryview(b"ab"), b"ab"),
    (array.array("f", [0.5, 1.0]), [0.5, 1.0]), (Level.LOW, 3), (decimal.Decimal("0.5"), 0.5),
    (math.inf, math.inf), ([], [])])
def test_what_is_like_a_value_becomes_one(value, comes_back):
    assert same(through_the_wire(value), comes_back)


class Scalar:
    """As NumPy's scalars are: neither int nor float, but `tolist()` gives one."""

    def __init__(self, value):
        self._value = value

    def __float__(self):
        return float(self._value)

    def __index__(self):
        return int(self._value)

    def tolist(self):
        return self._value


@pytest.mark.parametrize("value", [0.25, 7, True])
def test_scalars_of_other_libraries_have_their_own_type(value):
    assert same(through_the_wire(Scalar(value)), value)


def test_a_float_is_rounded_to_single_precision():
    assert through_the_wire(0.1) == struct.unpack("f", struct.pack("f", 0.1))[0]


def endless():
    loop = []
    loop.append(loop)
    return loop


@pytest.mark.parametrize("value, error, text", [
    (2**31, ValueError, "an int has 32 bits"), (-2**31 - 1, ValueError, "an int has 32 bits"),
    pytest.param(10**5000, ValueError, "an int has 32 bits", id="huge"),
    (1e39, ValueError, "single precision"), (10**40 + 0.0, ValueError, "single precision"),
    ("\ud800", ValueError, "is no text"), (endless(), ValueError, "lists within lists"),
    ({}, TypeError, "dict"), (1j, TypeError, "complex"), (object(), TypeError, "object"),
    ([[{1}]], TypeError, r"the value\[0\]\[0\] must be")])
def test_what_is_no_value_is_refused_with_its_place(value, error, text):
    with pytest.raises(error, match=text):
        values.to_wire(value)


@pytest.mark.parametrize("value, wanted, message", [
    (1, "float", wire.Value(number=1)), (2.0, "int", wire.Value(integer=2)),
    ([1, 0.5], "list<float>", None), (True, "bool", wire.Value(boolean=True))])
def test_numbers_become_what_is_wanted(value, wanted, message):
    converted, _ = values.convert(value, parse_type(wanted), "x")
    assert message is None or converted == message


@pytest.mark.parametrize("value, wanted", [
    (True, "int"), (True, "float"), (1, "bool"), (0.5, "int"), (math.nan, "int"), (math.inf, "int"),
    ("1", "int"), (1, "string"), (None, "string"), (b"a", "string"), ("ab", "list<string>"),
    ([1], "list<string>"), ([True], "list<float>"), (b"ab", "list<int>")])
def test_what_is_not_wanted_is_a_type_error_that_names_the_argument(value, wanted):
    with pytest.raises(TypeError, match="^x"):
        values.convert(value, parse_type(wanted), "x")


def test_whole_floats_beyond_32_bits_are_no_int():
    with pytest.raises(ValueError, match="32 bits"):
        values.convert(2.0**31, parse_type("int"), "x")


class Echo:
    """Says what it hears."""

    def echo(self, value):
        return value

    def text(self, value: str) -> str:
        return value

    def numbers(self, value: list[float]) -> list[float]:
        return value


@pytest.fixture(scope="module")
def echo(robot):
    with robot.lend("Echo", Echo()), Robot(robot.address) as other:
        yield other.service("Echo")


@settings(max_examples=200)
@given(value=ANY_VALUE)
def test_every_value_comes_back_from_a_lent_service(echo, value):
    assert same(echo.echo(value), value)


@settings(max_examples=100)
@given(value=RAW_TEXT)
def test_every_text_comes_back_from_a_lent_service(echo, value):
    assert same(echo.text(value), value)


@settings(max_examples=100)
@given(value=st.lists(FLOATS | st.integers(-2**24, 2**24), max_size=20))
def test_numbers_arrive_as_floats(echo, value):
    assert same(echo.numbers(value), [float(one) for one in value])
