"""Prints what a run over the nodes of a cluster would take. Usage: scaling_model.py [strong|weak|check FILE]

The model of docs/scaling.md: bytes over bandwidths, messages times latency, and the steps of the pipeline. check reads lines
"ranks product seconds" behind the first line "rows_bytes cube_elements transform_s memory_GB_s link_GB_s latency_s cores", and
prints how far the model is off.
"""
import math
import sys
from dataclasses import dataclass

SLABS_FOR_A_RANK = 16


@dataclass
class Machine:
    memory: float  # bytes a second that a node takes from memory in a product, alone
    link: float  # bytes a second between two ranks
    latency: float  # seconds of a message
    transform: float  # seconds for an element of the cube, with the mapping
    file_system: float = 100e9  # bytes a second, all nodes together
    node_file: float = 5e9  # and one alone
    hop: float = 2e-6  # seconds from one row's length word to the next
    shared: int = 1  # ranks that share one node's memory and cores


@dataclass
class Job:
    rows_bytes: float
    cube: float  # elements
    rows: float = 1e5


def rows_time(m, j, ranks):
    """Reading the rows once: on one node the ranks share its memory."""
    return j.rows_bytes / (m.memory * max(1, ranks / m.shared))


def broadcast(m, j, ranks):
    return 0 if ranks == 1 else 8 * j.cube / m.link + math.ceil(math.log2(ranks)) * m.latency


def forward(m, j, ranks):
    gather = 0 if ranks == 1 else 8 * j.rows / m.link + math.ceil(math.log2(ranks)) * m.latency
    return j.cube * m.transform * min(ranks, m.shared) + rows_time(m, j, ranks) + gather


def adjoint(m, j, ranks):
    """The pipeline: each of its steps waits for the slower of adding a slab's rows and passing the slab on."""
    slabs = 1 if ranks == 1 else SLABS_FOR_A_RANK * ranks
    add = rows_time(m, j, ranks) / slabs
    send = 0 if ranks == 1 else 8 * j.cube / slabs / m.link + m.latency
    steps = (slabs + ranks - 1) * max(add, send)
    return j.cube * m.transform * min(ranks, m.shared) + steps + broadcast(m, j, ranks)


def reduction(m, j, ranks):
    allreduce = 0 if ranks == 1 else 2 * 8 * j.cube * (ranks - 1) / ranks / m.link + 2 * math.log2(ranks) * m.latency
    return j.cube * m.transform * min(ranks, m.shared) + rows_time(m, j, ranks) + allreduce


def load(m, j, ranks):
    return j.rows * m.hop + j.rows_bytes / min(m.file_system, ranks * m.node_file)


# 100 GB/s of memory and 12.5 GB/s of network are what a node of 2023 has; the rest is measured (docs/scaling.md).
CLUSTER = Machine(memory=100e9, link=12.5e9, latency=2e-6, transform=4e-9)


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


def check(name):
    with open(name, encoding="utf-8") as lines:
        rows_bytes, cube, transform, memory, link, latency, cores = map(float, next(lines).split())
        m = Machine(memory=memory * 1e9, link=link * 1e9, latency=latency, transform=transform / cube, shared=int(cores))
        errors = []
        for line in lines:
            ranks, product, seconds = line.split()
            j = Job(rows_bytes, cube)
            told = {"forward": forward, "adjoint": adjoint, "reduction": reduction}[product](m, j, int(ranks))
            errors.append(abs(told / float(seconds) - 1))
            print(f"{ranks} ranks {product:<10} measured {float(seconds):.4f} s, model {told:.4f} s, {told / float(seconds) - 1:+.0%}")
        print(f"mean error {sum(errors) / len(errors):.0%}, largest {max(errors):.0%}")


def main():
    what = sys.argv[1] if len(sys.argv) > 1 else "strong"
    if what == "check":
        check(sys.argv[2])
    elif what == "weak":
        table("weak scaling: 100 GB of rows on each node, a cube of 2^24", lambda n: Job(100e9 * n, 2.0**24, 1e4 * n))
    else:
        table("strong scaling: 1 TB of rows, a cube of 2^24", lambda n: Job(1e12, 2.0**24, 1e5))


if __name__ == "__main__":
    main()
