"""Prints what a run over the nodes of a cluster would take. Usage: scaling_model.py [strong|weak|check ...]

The model of docs/scaling.md: bytes over bandwidths, messages times latency, and the steps of the pipeline.

check CONSTANTS LINK MEASURED ROWS_BYTES ROWS CUBE prints how far the model is off for ranks on one machine: CONSTANTS and LINK are
what constants_over_ranks printed with 1 rank and with one for each core, and over the link; MEASURED is what
products_over_ranks printed.
"""
import math
import sys
from dataclasses import dataclass

@dataclass
class Machine:
    dots: float  # bytes of G a second that a node reads in the forward product
    add: float  # and in the adjoint
    transform: float  # seconds for an element of the cube, mapping and transform in one direction
    link: float  # bytes a second between two ranks
    latency: float  # seconds of a message
    lookup: float  # seconds to find a row's entries in a slab
    file_system: float = 100e9  # bytes a second, all nodes together
    node_file: float = 5e9  # and one alone
    hop: float = 2e-6  # seconds from one row's length word to the next
    shared: bool = False  # all ranks on one node, whose memory and cores they share
    cores: int = 1  # of that node


@dataclass
class Job:
    rows_bytes: float
    cube: float  # elements
    rows: float = 1e5


def memories(m, ranks):
    return 1 if m.shared else ranks


def transform(m, j, ranks):
    """Every rank transforms the whole cube; more ranks than cores take turns."""
    return j.cube * m.transform * (max(1, ranks / m.cores) if m.shared else 1)


def gather(m, size, ranks):
    return 0 if ranks == 1 else size / m.link + math.ceil(math.log2(ranks)) * m.latency


def forward(m, j, ranks):
    return transform(m, j, ranks) + j.rows_bytes / (m.dots * memories(m, ranks)) + gather(m, 8 * j.rows, ranks)


def number_of_slabs(m, j, ranks):
    """As mpi/spread_matrix.cpp chooses it."""
    best = math.sqrt((ranks - 1) * j.rows_bytes / m.add / j.rows / m.lookup)
    return 1 if ranks == 1 else max(ranks, int(best))


def adjoint(m, j, ranks):
    """The pipeline: a step adds a slab's rows and passes the slab on, which moves while the ranks are in MPI alone."""
    slabs = number_of_slabs(m, j, ranks)
    add = j.rows_bytes / (m.add * memories(m, ranks)) / slabs + j.rows / ranks * m.lookup
    send = 0 if ranks == 1 else 8 * j.cube / slabs / m.link + m.latency
    return transform(m, j, ranks) + (slabs + ranks - 1) * (add + send) + gather(m, 8 * j.cube, ranks)


def reduction(m, j, ranks):
    allreduce = 0 if ranks == 1 else 2 * 8 * j.cube * (ranks - 1) / ranks / m.link + 2 * math.log2(ranks) * m.latency
    return transform(m, j, ranks) + j.rows_bytes / (m.add * memories(m, ranks)) + allreduce


def load(m, j, ranks):
    return j.rows * m.hop + j.rows_bytes / min(m.file_system, ranks * m.node_file)


# 100 GB/s of memory and 12.5 GB/s of network are what a node of 2023 has; the transform, and how much slower the adjoint reads,
# are measured (docs/scaling.md).
CLUSTER = Machine(dots=100e9, add=88e9, transform=4e-9, link=12.5e9, latency=2e-6, lookup=3e-7)


def table(title, job_of):
    print(f"{title}\n{'nodes':>6} {'rows GB':>9} {'load s':>8} {'forward':>9} {'adjoint':>9} {'by reduction':>13} {'efficiency':>11}")
    first = None
    for k in range(11):
        nodes = 2**k
        j = job_of(nodes)
        times = [f(CLUSTER, j, nodes) for f in (forward, adjoint, reduction)]
        work = j.rows_bytes / nodes
        first = first or (times[1] / work)
        print(f"{nodes:>6} {j.rows_bytes / 1e9:>9.0f} {load(CLUSTER, j, nodes):>8.1f} " +
              f"{times[0]:>9.3f} {times[1]:>9.3f} {times[2]:>13.3f} {first * work / times[1]:>11.2f}")


def lines_of(name):
    with open(name, encoding="utf-8") as lines:
        return [line.split() for line in lines if not line.startswith("#")]


def machines(constants, link, cores):
    """The machine as so many ranks find it: one, or all its cores at work."""
    told = {(int(ranks), name): float(value) for ranks, name, value in lines_of(constants)}
    between = {name: float(value) for _, name, value in lines_of(link)}
    return {k: Machine(dots=told[k, "dots"], add=told[k, "add"], transform=told[k, "transform"], link=between["link"],
                       latency=between["latency"], lookup=told[1, "lookup"], shared=True, cores=cores) for k in (1, cores)}


def check(constants, link, measured, rows_bytes, rows, cube):
    cores = max(int(ranks) for ranks, *_ in lines_of(constants))
    found = machines(constants, link, cores)
    j, errors = Job(float(rows_bytes), float(cube), float(rows)), []
    for ranks, product, seconds in lines_of(measured):
        model = {"forward": forward, "adjoint": adjoint, "reduction": reduction}.get(product)
        if not model:
            continue
        told = model(found[min(int(ranks), cores)], j, int(ranks))
        errors.append(told / float(seconds) - 1)
        print(f"{ranks} ranks {product:<10} measured {float(seconds):.4f} s, model {told:.4f} s, {errors[-1]:+.0%}")
    print(f"mean error {sum(map(abs, errors)) / len(errors):.0%}, largest {max(map(abs, errors)):.0%}")


def main():
    what = sys.argv[1] if len(sys.argv) > 1 else "strong"
    if what == "check":
        check(*sys.argv[2:])
    elif what == "weak":
        table("weak scaling: 100 GB of rows on each node, a cube of 2^24", lambda n: Job(100e9 * n, 2.0**24, 1e4 * n))
    else:
        table("strong scaling: 1 TB of rows, a cube of 2^24", lambda n: Job(1e12, 2.0**24, 1e5))


if __name__ == "__main__":
    main()
