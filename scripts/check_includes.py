"""Checks that the folders use one another in one direction only. Usage: check_includes.py FILE ..."""
import re
import sys

MAY_USE = {
    "arrays": set(),
    "reports": {"arrays"},
    "wavelet": {"arrays"},
    "store": {"arrays", "reports", "wavelet"},
    "files": {"arrays", "reports", "store"},
    "products": {"arrays", "reports", "store", "wavelet"},
    "topography": {"arrays", "reports", "store", "files"},
    "tool": {"arrays", "reports", "wavelet", "store", "files", "products"},
    "builder": {"arrays", "reports", "wavelet", "store", "files", "products", "topography"},
}
# The part of tool/ that every folder may use.
REPORTS = {"channel", "number_layout", "program_stop", "reports", "significant_digits"}
INCLUDE = re.compile(r'^\s*#include "([^"]+)"')


def part_of(path):
    """The part of the house that a path from the root lies in; None outside the library."""
    folder, _, rest = path.partition("/")
    if folder == "tool" and rest.split(".")[0] in REPORTS:
        return "reports"
    return folder if folder in MAY_USE else None


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
