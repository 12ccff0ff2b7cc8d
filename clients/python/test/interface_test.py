"""Types, as robots write them and as Python does."""
from concurrent.futures import Future
from typing import Any, List, Optional, Sequence

import pytest

from tavro.interface import Signature, Type, from_annotation, parse_signature

TEXTS = ["()", "(string, float, float) -> future<void>", "(list<list<float>>, value) -> value",
         "(bool, int)", "() -> list<string>"]


@pytest.mark.parametrize("text", TEXTS)
def test_a_signature_reads_as_it_is_written(text):
    assert str(parse_signature(text)) == text


@pytest.mark.parametrize("text", TEXTS)
def test_a_signature_survives_the_wire(text):
    signature = parse_signature(text)
    assert Signature.from_wire(signature.to_wire()) == signature


@pytest.mark.parametrize("text, why", [
    ("", "is no signature"), ("string", "is no signature"), ("(text)", "'text' is no type"),
    ("(list<>)", "'' is no type")])
def test_what_is_no_signature_is_refused(text, why):
    with pytest.raises(ValueError, match=why):
        parse_signature(text)


@pytest.mark.parametrize("text", ["(void)", "(future<int>)", "(list<void>)", "() -> list<void>",
                                  "() -> future<future<int>>", "() -> list<future<int>>"])
def test_nothing_and_futures_are_results_only(text):
    with pytest.raises(TypeError, match="can only be a result"):
        parse_signature(text)


@pytest.mark.parametrize("annotation, text", [
    (bool, "bool"), (int, "int"), (float, "float"), (str, "string"), (Any, "value"),
    (object, "value"), (bytes, "value"), (Optional[int], "value"), (int | str, "value"),
    (list, "list<value>"), (list[str], "list<string>"), (List[float], "list<float>"),
    (Sequence[Sequence[float]], "list<list<float>>"), (tuple[int, ...], "list<int>")])
def test_annotations_have_types(annotation, text):
    assert str(from_annotation(annotation)) == text


@pytest.mark.parametrize("annotation, text", [
    (None, "void"), (Future, "future<value>"), (Future[None], "future<void>"),
    (Future[list[str]], "future<list<string>>")])
def test_annotations_of_results_have_types(annotation, text):
    assert str(from_annotation(annotation, is_result=True)) == text


@pytest.mark.parametrize("annotation", [dict, dict[str, int], complex, tuple[int, str], None])
def test_other_annotations_are_refused(annotation):
    with pytest.raises(TypeError):
        from_annotation(annotation)


def test_an_unknown_kind_of_a_newer_robot_reads_as_any_value():
    message = Type("int").to_wire()
    message.kind = 99
    assert str(Type.from_wire(message)) == "value"
