"""Checks that the rooms use one another in one direction only. Usage: check_includes.py FILE ...

TABLE says what each room may use directly; what those may use, it may use too. draw_house.py draws what they do use.
"""
import re
import sys

GROUND = {
    "arrays": [],
    "threads": ["arrays"],
    "text": ["arrays"],
    "reports": ["text"],
    "wavelet": ["arrays"],
    "store": ["reports", "wavelet", "threads"],
    "files": ["store"],
    "products": ["store"],
    "library": ["files", "products"],
    "topography": ["files"],
    "responses": ["store"],
    "design": ["files"],
    "builder": ["topography", "responses", "design"],
    "exchange": ["topography"],
}
TABLE = GROUND | {"programs": []} | {program: [*GROUND, "programs"] for program in ("velkrund", "velkmtx", "python")}
TABLE["mpi"] = [*GROUND, "velkrund", "velkmtx"]
INCLUDE = re.compile(r'^\s*#include "([^"]+)"')


def below(room):
    """All that a room may use."""
    return set(TABLE[room]).union(*(below(used) for used in TABLE[room]))


def room_of(path):
    """The room that a path from the root lies in; None outside the library and its programs."""
    room = path.partition("/")[0]
    return room if room in TABLE else None


def includes(path):
    """(line number, target) of the includes in quotes."""
    with open(path, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            found = INCLUDE.match(line)
            if found:
                yield number, found.group(1)


def offences(path):
    room = room_of(path)
    for number, target in includes(path):
        if "/" not in target:
            yield f'{path}:{number}: "{target}" is not written from the root'
        elif room and room_of(target) != room and room_of(target) not in below(room):
            yield f"{path}:{number}: {room} may not use {target}"


def main():
    found = [offence for path in sys.argv[1:] for offence in offences(path)]
    print("\n".join(found), file=sys.stderr)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
