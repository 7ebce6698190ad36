"""The command velko-plot, which is scripts/plot in a source tree."""

from __future__ import annotations

import argparse
import os
import sys
import warnings
from collections.abc import Callable
from typing import Any, NoReturn, TextIO

import matplotlib

matplotlib.use("Agg")
import velko  # noqa: E402: after the choice of a backend that needs no screen
import velko.plot  # noqa: E402
from matplotlib.figure import Figure  # noqa: E402

WHAT_IT_DOES = """Draws what the suite's files hold, as PNG or PDF by the picture's extension.

    {name} data velkrund.vlk PICTURE                map of predicted data
    {name} difference velkrund.vlk OTHER PICTURE    map of the first less the second
    {name} model MESH MODEL PICTURE                 plan and two sections of a model
    {name} sections MESH MODEL PICTURE              vertical sections, as many as are asked for

MESH is a mesh file or a sensitivity file, which brings its surface along. Lengths are taken for metres, data for nT,
models for susceptibilities (SI).
"""


def draw_data(options: argparse.Namespace) -> Figure:
    return velko.plot.data(options.data, **of_map(options)).figure


def draw_difference(options: argparse.Namespace) -> Figure:
    return velko.plot.difference(options.data, options.other, **of_map(options)).figure


def draw_model(options: argparse.Namespace) -> Figure:
    return velko.plot.model(options.mesh, options.model, x=options.x, y=options.y, elevation=options.elevation,
                            **of_model(options)).plan.figure


def draw_sections(options: argparse.Namespace) -> Figure:
    return velko.plot.sections(options.mesh, options.model, x=options.x or (), y=options.y or (),
                               **of_model(options))[0].figure


def of_colours(options: argparse.Namespace) -> dict[str, Any]:
    chosen = {"limits": options.range, "percentiles": options.percentiles, "title": options.title}
    return {name: value for name, value in chosen.items() if value is not None}


def of_map(options: argparse.Namespace) -> dict[str, Any]:
    return {**of_colours(options), "equalise": options.equalise, "blank": options.blank}


def of_model(options: argparse.Namespace) -> dict[str, Any]:
    survey = velko.read_locations(options.locations) if options.locations else None
    return {**of_colours(options), "survey": survey, "topography": options.topography, "whole": options.whole}


class OneLineParser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        self.exit(2, f"{self.prog}: {message}; see {self.prog} --help\n")


def pair(text: str) -> tuple[float, float]:
    first, comma, second = text.partition(",")
    if not comma:
        raise argparse.ArgumentTypeError(f"'{text}' is not two numbers with a comma between them")
    return float(first), float(second)


def add_colours(kind: argparse.ArgumentParser, draw: Callable[[argparse.Namespace], Figure]) -> None:
    kind.add_argument("picture", metavar="PICTURE", help="file to write, .png or .pdf")
    kind.add_argument("--title", help="in place of the one that tells the file")
    kind.add_argument("--range", type=pair, metavar="LEAST,MOST", help="values of the first and the last colour")
    kind.add_argument("--percentiles", type=pair, metavar="LOW,HIGH",
                      help="the same by percentiles, where a few values would take most colours; default of maps 1,99")
    kind.set_defaults(draw=draw)


def add_map(kind: argparse.ArgumentParser) -> None:
    kind.add_argument("--equalise", action="store_true", help="each colour for as many stations as any other")
    kind.add_argument("--blank", type=float, metavar="METRES", help="distance from the stations at which the map ends")


def add_model(kind: argparse.ArgumentParser, count: Any) -> None:
    kind.add_argument("mesh", metavar="MESH", help="mesh file or sensitivity file")
    kind.add_argument("model", metavar="MODEL", help="model file, or \"VALUE number\"")
    kind.add_argument("--topography", metavar="FILE",
                      help="topography file: drawn in the sections, and the surface of a mesh file")
    kind.add_argument("--locations", metavar="FILE", help="location file: the stations are drawn")
    for name in ("x", "y"):
        kind.add_argument(f"--{name}", type=float, metavar="NUMBER", nargs=count,
                          help="where the model is cut; unless given, through its most anomalous cell")
    kind.add_argument("--whole", action="store_true", help="show the padding of the mesh too")


def parse_command_line() -> argparse.Namespace:
    name = os.path.basename(sys.argv[0])
    parser = OneLineParser(prog=name, description=WHAT_IT_DOES.format(name=name), formatter_class=argparse.RawDescriptionHelpFormatter)
    kinds = parser.add_subparsers(title="subcommands", dest="kind", required=True, metavar="data|difference|model|sections")
    data = kinds.add_parser("data", help="map of predicted data")
    data.add_argument("data", metavar="velkrund.vlk")
    difference = kinds.add_parser("difference", help="map of the first less the second")
    difference.add_argument("data", metavar="velkrund.vlk")
    difference.add_argument("other", metavar="OTHER")
    model = kinds.add_parser("model", help="plan and two sections of a model")
    add_model(model, None)
    model.add_argument("--elevation", type=float, metavar="NUMBER", help="the same for the plan")
    sections = kinds.add_parser("sections", help="vertical sections of a model")
    add_model(sections, "+")
    for kind, draw in ((data, draw_data), (difference, draw_difference), (model, draw_model), (sections, draw_sections)):
        add_colours(kind, draw)
    for kind in (data, difference):
        add_map(kind)
    options = parser.parse_args()
    if os.path.splitext(options.picture)[1].lower() not in (".png", ".pdf"):
        parser.error(f"{options.picture} should end in .png or .pdf")
    return options


def tell_warnings_once(name: str) -> None:
    """What the library warns of, as a line of this program."""
    told = set()

    def tell(message: Warning | str, *_: Any, **__: Any) -> None:
        if str(message) not in told:
            print(f"{name}: {message}", file=sys.stderr)
        told.add(str(message))

    warnings.showwarning = tell


def main() -> None:
    name = os.path.basename(sys.argv[0])
    options = parse_command_line()
    try:
        with warnings.catch_warnings():
            tell_warnings_once(name)
            options.draw(options).savefig(options.picture, dpi=130)
    except (velko.Error, ValueError) as failure:
        sys.exit(f"{name}: {failure}")
    except OSError as failure:
        sys.exit(f"{name}: cannot write {options.picture}: {failure.strerror}")

