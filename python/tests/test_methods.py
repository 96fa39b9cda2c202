# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""The clients' methods are those of the session."""
from __future__ import annotations

import inspect
import pathlib
import runpy
import types
from typing import Any

import bivista
import pytest

PYTHON = pathlib.Path(__file__).resolve().parent.parent


GENERATE = types.SimpleNamespace(**runpy.run_path(str(PYTHON / "generate.py")))
METHODS: list[dict[str, Any]] = GENERATE.methods()
TYPES = {"int32": "int", "uint32": "int", "bool": "bool", "string": "str", "uint32[]": "Sequence[int]", "null": "None"}
RESULTS = {
    None: "None",
    "bool": "bool",
    "string": "str",
    "BivistaStatus": "bool",
    "SubScreenInfo": "values.SubScreenInfo",
    "SubScreenState": "values.SubScreenState | int",
}


def test_the_session_lists_the_whole_interface() -> None:
    hal = "".join((PYTHON.parent / f"interfaces/bivista/{version}/IBivista.hal").read_text() for version in ("1.0", "1.1"))
    named = [method["name"] for method in METHODS]
    assert len(named) == len(set(named)) == 38
    assert all(f"\n    {name}(" in hal for name in named)


@pytest.mark.parametrize("client", [bivista.Client, bivista.AsyncClient])
@pytest.mark.parametrize("method", METHODS, ids=[method["name"] for method in METHODS])
def test_a_method_has_the_parameters_and_the_result_of_the_session(client: type, method: dict[str, Any]) -> None:
    function = getattr(client, GENERATE.python_name(method["name"]))
    signature = inspect.signature(function)
    expected = {each["name"]: TYPES[each["type"]] for each in method["parameters"] if each["name"] != "cb"}
    given = {name: parameter.annotation for name, parameter in signature.parameters.items()}
    assert given == {"self": inspect.Parameter.empty, **expected, "timeout": "Timeout"}
    assert signature.return_annotation == RESULTS[method["value"]]
    assert inspect.iscoroutinefunction(function) == (client is bivista.AsyncClient)
    assert function.__doc__


@pytest.mark.parametrize("name", ["_blocking_calls.py", "_asyncio_calls.py"])
def test_the_methods_are_as_the_generator_makes_them(tmp_path: pathlib.Path, name: str) -> None:
    GENERATE.main([str(tmp_path)])
    assert (tmp_path / name).read_text() == (PYTHON / "bivista" / name).read_text()


def test_the_package_exports_what_it_has() -> None:
    assert sorted(bivista.__all__) == bivista.__all__
    assert all(hasattr(bivista, name) for name in bivista.__all__)
