"""The examples of the docstrings run, and give what they say; nothing is without one."""

import doctest
import importlib
import inspect
import pkgutil

import pytest

import velko
import velko.plot

MODULES = ["velko"] + [f"velko.{m.name}" for m in pkgutil.iter_modules(velko.__path__) if m.name != "_velko"]


@pytest.mark.parametrize("name", MODULES)
def test_examples_give_what_they_say(name):
    failed, _ = doctest.testmod(importlib.import_module(name), optionflags=doctest.ELLIPSIS)
    assert failed == 0


def methods_of(kind):
    found = inspect.getmembers(kind, lambda member: inspect.isfunction(member) or inspect.ismethod(member))
    return [member for name, member in found if not name.startswith("_") and member.__module__.startswith("velko.")]


def is_result(named):
    """Shown by the functions that give it."""
    return inspect.isclass(named) and issubclass(named, tuple)


def test_everything_that_is_public_has_an_example():
    named = [getattr(module, name) for module in (velko, velko.plot) for name in dir(module) if not name.startswith("_")]
    ours = [each for each in named if callable(each) and getattr(each, "__module__", "").startswith("velko") and not is_result(each)]
    ours += [method for kind in ours if inspect.isclass(kind) for method in methods_of(kind)]
    assert len(ours) > 40
    assert sorted({each.__qualname__ for each in ours if ">>>" not in (each.__doc__ or "")}) == []
