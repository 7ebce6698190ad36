"""Lets the scripts of a source tree use the package velko that the tree has built; else the one that is installed."""

import pathlib
import sys

BUILT = pathlib.Path(__file__).resolve().parent.parent / "build" / "release" / "python"

if BUILT.is_dir():
    sys.path.insert(0, str(BUILT))
try:
    import velko  # noqa: F401: whether it is there
except ImportError as failure:
    sys.exit(f"{pathlib.Path(sys.argv[0]).name}: no Python package velko ({failure}): build it with scripts/demo, "
             "or cmake --build --preset release")
