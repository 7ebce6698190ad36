"""Checks that the folders use one another in one direction only. Usage: check_includes.py FILE ..."""
import re
import sys

MAY_USE = {
    "arrays": set(),
    "text": {"arrays"},
    "reports": {"text", "arrays"},
    "wavelet": {"arrays"},
    "store": {"arrays", "text", "reports", "wavelet"},
    "files": {"arrays", "text", "reports", "store"},
    "products": {"arrays", "text", "reports", "store", "wavelet"},
    "topography": {"arrays", "text", "reports", "store", "files"},
    "responses": {"arrays", "store"},
    "design": {"arrays", "text", "reports", "store", "files"},
    "builder": {"arrays", "text", "reports", "wavelet", "store", "files", "topography", "responses", "design"},
}
LIBRARY = set(MAY_USE)
MAY_USE["velkrund"] = LIBRARY
MAY_USE["velkmtx"] = LIBRARY
INCLUDE = re.compile(r'^\s*#include "([^"]+)"')


def part_of(path):
    """The room that a path from the root lies in; None outside the library and its programs."""
    room = path.partition("/")[0]
    return room if room in MAY_USE else None


def offences(path):
    part = part_of(path)
    with open(path, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            found = INCLUDE.match(line)
            if not found:
                continue
            target = found.group(1)
            if "/" not in target:
                yield f'{path}:{number}: "{target}" is not written from the root'
            elif part and part_of(target) != part and part_of(target) not in MAY_USE[part]:
                yield f"{path}:{number}: {part} may not use {target}"


def main():
    found = [offence for path in sys.argv[1:] for offence in offences(path)]
    print("\n".join(found), file=sys.stderr)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
