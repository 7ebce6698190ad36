"""Draws docs/pictures/house.svg from the includes: which room uses which, and the way of a model through a run.

Usage: draw_house.py [--check]. --check draws nothing: it fails unless the picture was drawn from the includes as they stand.

An arrow goes from a room to one that it includes; what can be reached through another room is left out. Drawing needs
Graphviz (dot); checking needs nothing, as the picture holds the description that it was drawn from.
"""
import pathlib
import subprocess
import sys

from check_includes import TABLE, below, includes, room_of

ROOT = pathlib.Path(__file__).resolve().parent.parent
PICTURE = ROOT / "docs" / "pictures" / "house.svg"
HOLDS = {
    "velkrund": "the forward run", "velkmtx": "the companion",
    "python": "the library for Python", "mpi": "over the nodes of a cluster",
    "builder": "makes sensitivity files", "responses": "physics of one datum", "design": "meshes, bodies, models",
    "exchange": "tables, rasters of others", "topography": "terrain to surface index", "files": "readers and writers of text",
    "library": "for callers from outside", "products": "the products with G", "store": "the state, its loader",
    "wavelet": "the transform", "reports": "console, log, the stop", "text": "numbers and text",
    "arrays": "array types, memory", "threads": "teams of parallel loops", "programs": "what comes first in a main",
}
# The way of a model through a forward run: from, to, the procedure that takes it there, what it then is.
WAY = [
    ("model.sus", "files", "read_model", "amodel, times wtz"),
    ("files", "products", "MODEL_TO_CUBE", "on the cube"),
    ("products", "wavelet", "WTN", "wavelet coefficients"),
    ("products", "products", "CALC_GV", "dpred, row by row"),
    ("products", "files", "write_predicted_data", "text"),
    ("files", "velkrund.vlk", None, "that results"),
]


def sources(room):
    return sorted(path for path in (ROOT / room).glob("*") if path.suffix in (".h", ".cpp"))


def used_by(room):
    """The rooms that a room includes."""
    targets = {room_of(target) for path in sources(room) for _, target in includes(path)}
    return targets - {room, None}


def without_shortcuts(uses):
    """Leaves out what a room reaches through another one."""
    def reached(room):
        return uses[room].union(*(reached(used) for used in uses[room]))
    return {room: used - set().union(*(reached(other) for other in used)) for room, used in uses.items()}


def check_way():
    """Each procedure of the way is declared in the room that the way names."""
    for _, room, procedure, _ in WAY:
        if procedure and not any(f"void {procedure}(" in path.read_text() for path in (ROOT / room).glob("*.h")):
            sys.exit(f"draw_house.py: {procedure} is not declared in {room}/: mend WAY")


def description():
    rooms = [room for room in TABLE if sources(room)]
    uses = without_shortcuts({room: used_by(room) for room in rooms})
    lines = ['digraph house {', 'graph [ranksep=0.55 nodesep=0.8 fontname="Helvetica"];',
             'node [shape=box style="rounded,filled" fillcolor="#eef3f8" color="#5b7083" fontname="Helvetica" fontsize=11];',
             'edge [color="#8a99a6" arrowsize=0.7 fontname="Helvetica" fontsize=9];']
    lines += [f'{room} [label=<<b>{room}/</b><br/><font point-size="9">{HOLDS[room]}</font>>];' for room in rooms]
    lines += [f"{room} -> {used};" for room in rooms for used in sorted(uses[room])]
    lines += ['node [shape=note style=filled fillcolor="#fbeee6" color="#c0562a"];',
              'edge [color="#c0562a" fontcolor="#a04010" penwidth=1.6 constraint=false];']
    for number, (start, end, procedure, then) in enumerate(WAY, 1):
        label = f'label="{number} {procedure or "the file"}\\n{then}"'
        if end not in TABLE:  # files stand above the rooms
            lines.append(f'"{end}" -> "{start}" [{label} dir=back constraint=true];')
        elif start not in TABLE:
            lines.append(f'"{start}" -> "{end}" [{label} constraint=true];')
        elif end in below(start):  # there and back, drawn from below, where dot finds a straight road
            lines.append(f"{end} -> {start} [{label} dir=both];")
        else:
            lines.append(f"{start} -> {end} [{label}];")
    lines += ["{rank=same; files -> products [style=invis constraint=true]}", "}"]
    return "\n".join(lines)


def main():
    check_way()
    drawn_from = f"<!--\n{description()}\n-->\n"
    if sys.argv[1:] == ["--check"]:
        if drawn_from not in PICTURE.read_text():
            sys.exit("draw_house.py: the rooms have changed since docs/pictures/house.svg was drawn: run scripts/draw_house.py")
        return
    svg = subprocess.run(["dot", "-Tsvg"], input=description(), capture_output=True, text=True, check=True).stdout
    PICTURE.write_text(svg + drawn_from)


if __name__ == "__main__":
    main()
