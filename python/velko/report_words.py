"""Numbers, units and names as a page shows them."""

from __future__ import annotations

import os
from typing import SupportsFloat

import numpy as np


def number(value: SupportsFloat, digits: int = 4) -> str:
    """To so many significant digits, without exponents where reason allows, with a real minus sign."""
    real = float(value)
    if not np.isfinite(real):
        return "not finite"
    text = f"{real:.{digits}g}"
    if "e" in text and 1e-4 <= abs(real) < 1e9:
        text = f"{float(text):f}".rstrip("0").rstrip(".")
    whole, point, part = text.partition(".")
    if "e" not in text and len(whole.lstrip("-")) > 4:
        whole = f"{int(whole):,}".replace(",", "\u202f")
    return signed(whole + point + part)


def signed(text: str) -> str:
    return text.replace("-", "−")


def count(value: int, unit: str = "") -> str:
    """A whole number, its thousands apart, and its unit in the singular or the plural."""
    text = f"{int(value):,}".replace(",", "\u202f") if abs(value) >= 10000 else str(int(value))
    return text if not unit else f"{text} {unit}{'' if value == 1 else 's'}"


def size(bytes_: float) -> str:
    for unit, scale in (("GB", 1e9), ("MB", 1e6), ("kB", 1e3)):
        if bytes_ >= scale:
            return f"{bytes_ / scale:.1f} {unit}"
    return f"{bytes_:.0f} bytes"


def length(metres: SupportsFloat) -> str:
    value = float(metres)
    return f"{number(value / 1000, 3)} km" if abs(value) >= 10000 else f"{number(value, 4)} m"


def place(metres: SupportsFloat) -> str:
    """A coordinate."""
    return f"{number(round(float(metres), 1), 9)} m"


def shown(name: str) -> str:
    """A name as a page can hold it, whatever bytes it has."""
    text = os.fsencode(name).decode("utf-8", "replace")
    return "".join(c if c.isprintable() else "\ufffd" for c in text)


def shown_lines(text: str) -> str:
    return "\n".join(map(shown, text.split("\n")))


def base(name: str) -> str:
    return shown(os.path.basename(name))
