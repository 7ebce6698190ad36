"""The examples of the docstrings run, and give what they say."""

import doctest
import importlib
import pkgutil

import pytest

import velko

MODULES = ["velko"] + [f"velko.{m.name}" for m in pkgutil.iter_modules(velko.__path__) if m.name != "_velko"]


@pytest.mark.parametrize("name", MODULES)
def test_examples_give_what_they_say(name):
    failed, _ = doctest.testmod(importlib.import_module(name), optionflags=doctest.ELLIPSIS)
    assert failed == 0


def test_everything_that_is_public_has_an_example():
    without = [name for name in velko.__all__ if name != "Made" and callable(getattr(velko, name))
               and not (isinstance(getattr(velko, name), type) and issubclass(getattr(velko, name), (Exception, Warning)))
               and ">>>" not in (getattr(velko, name).__doc__ or "")]
    assert without == []
