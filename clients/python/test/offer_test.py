"""What is published of an ordinary object."""
from concurrent.futures import Future

import pytest

import tavro
from tavro import description, offer


class Greeter:
    """Greets people.

    Politely."""

    count = 3

    def greet(self, name: str, times: int = 1) -> str:
        """Greets somebody.

        As often as asked.

        Args:
            name: Whom,
                or what.
            times: How often.

        Returns:
            The greeting.

        Example:
            proxy.greet("world")
        """
        return "hello " + name * times

    def later(self, seconds: float) -> "Future[None]":
        return Future()

    def anything(self, value):
        return value

    def _own(self) -> None:
        """Not published."""

    @tavro.method
    def _shown(self) -> None:
        """Published."""

    @tavro.method("(list<string>, value) -> void")
    def _told(self, keys, values):
        pass

    @property
    def size(self) -> int:
        raise AssertionError("asked for a property")


def rows(lent):
    """As clients read it."""
    return description.read(offer.describe("Some", lent)[0])


def test_public_and_marked_methods_are_published_with_their_types():
    found = [(row.name, str(row.signature)) for one in rows(Greeter()).methods.values()
             for row in one]
    assert found == [("greet", "(string) -> string"), ("greet", "(string, int) -> string"),
                     ("later", "(float) -> future<void>"), ("anything", "(value) -> value"),
                     ("_shown", "()"), ("_told", "(list<string>, value)")]


def test_docstrings_are_the_documentation():
    found = rows(Greeter())
    assert found.text == "Greets people.\n\nPolitely."
    row = found.methods["greet"][1]
    assert row.description == "Greets somebody.\n\nAs often as asked."
    assert [(one.name, one.text) for one in row.documented] == [
        ("name", "Whom, or what."), ("times", "How often.")]
    assert row.returns.text == "The greeting."
    assert [(one.name, one.text) for one in row.examples] == [
        ("python", 'proxy.greet("world")\n')]


def test_an_object_without_methods_is_refused():
    with pytest.raises(TypeError, match="int has no method|no method to publish"):
        offer.describe("Some", type("Empty", (), {})())


@pytest.mark.parametrize("function, why", [
    (lambda self, *args: None, r"\*args cannot be published"),
    (lambda self, *, key: None, "key cannot be given by position")])
def test_a_method_without_a_fixed_number_of_arguments_is_refused(function, why):
    with pytest.raises(TypeError, match=why):
        offer.describe("Some", type("Odd", (), {"odd": function})())


def test_an_annotation_without_a_type_is_refused_with_the_methods_name():
    class Odd:
        def odd(self, what: dict) -> None:
            pass

    with pytest.raises(TypeError, match="Odd.odd.*dict"):
        offer.describe("Some", Odd())


def test_a_signature_that_is_none_is_refused_where_it_is_written():
    with pytest.raises(ValueError, match="is no signature"):
        tavro.method("string")
    with pytest.raises(TypeError, match="more arguments than the method"):
        offer.describe("Some", type("Odd", (), {
            "odd": tavro.method("(int, int)")(lambda self, one: None)})())
