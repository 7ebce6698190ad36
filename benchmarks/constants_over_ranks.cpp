/// constants_over_ranks FILE: what benchmarks/scaling_model.py has to know of this machine, of the links between its ranks and of its
/// file system. Start it with 1 rank, with as many as a node is to have, and over the link.
///
/// A line for each constant: ranks, name, value. Medians of seven; of what all ranks do at once, that of the slowest.
///
/// transform  seconds for an element of the cube, mapping and transform in one direction
/// dots, add  bytes of G a second that the ranks read together, in the forward and the adjoint product
/// lookup     seconds more for a row in the adjoint where it is added in one slab more
/// latency    seconds of a message of 8 bytes, rank 0 to the last
/// link       bytes a second of a message of 8 MiB, rank 0 to the last
/// hop        seconds from one row's length word to the next, where the system has the file in memory
/// file       bytes a second of the file past the system's memory, read by rank 0; absent where the file system has no such way
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <vector>

#include "files/active_cells.h"
#include "mpi/spread_matrix.h"
#include "products/coefficients.h"
#include "products/sparse_rows.h"
#include "reports/program_stop.h"
#include "store/getpar.h"
#include "store/state.h"

using namespace velko;

namespace {

r8 largest(r8 mine) {
  MPI_Allreduce(MPI_IN_PLACE, &mine, 1, MPI_DOUBLE, MPI_MAX, MPI_COMM_WORLD);
  return mine;
}

r8 seconds_of(const std::function<void()>& body) {
  std::array<r8, 7> seconds{};
  body();
  for (r8& s : seconds) {
    MPI_Barrier(MPI_COMM_WORLD);
    const r8 start = MPI_Wtime();
    body();
    s = largest(MPI_Wtime() - start);
  }
  std::nth_element(seconds.begin(), seconds.begin() + 3, seconds.end());
  return seconds[3];
}

void tell(const ranks& all, const char* name, r8 value) {
  if (all.first()) std::printf("%d %s %.4g\n", all.size(), name, value);
}

r8 rows_bytes(const ranks& all) {
  r8 bytes = 0;
  for (const sparse_row& row : store.Gs) bytes += 8.0 * static_cast<r8>(row.idx.size());
  all.sum({&bytes, 1});
  return bytes;
}

void measure_machine(const ranks& all) {
  const row_range rows{1, store.Gs.size()};
  owned_array1<r8> cube = new_cube();
  std::vector<r8> m(static_cast<std::size_t>(cells.ncell), 0.01), d(static_cast<std::size_t>(rows.last));
  tell(all, "transform", seconds_of([&] { model_to_coefficients(m, cube.elements()); }) / store.ncube);
  const r8 bytes = rows_bytes(all);
  tell(all, "dots", bytes / seconds_of([&] { dots_of_rows(rows, cube.elements(), d); }));
  const row_order order = order_of_rows(rows, store.ncube);
  const auto add = [&](i8 slabs) {
    const std::vector<slab> cut = cut_into_slabs({cube.data(), 1, store.ncube}, slabs, rows, 1);
    return seconds_of([&] {
      for (const slab& part : cut) add_rows(rows, order, d, part, store.ncube);
    });
  };
  constexpr i8 slabs = 64;
  const r8 whole = add(1);
  tell(all, "add", bytes / whole);
  tell(all, "lookup", (add(slabs) - whole) / static_cast<r8>((slabs - 1) * rows.last));
}

/// There and back, between the first rank and the last.
void bounce(const ranks& all, std::span<r8> values) {
  messages under_way;
  const int other = all.first() ? all.size() - 1 : 0;
  for (const bool sends : {all.first(), all.last()}) {
    if (!all.first() && !all.last()) return;
    sends ? all.send(values, other, under_way) : all.receive(values, other, under_way);
    under_way.wait();
  }
}

void measure_link(const ranks& all) {
  if (all.size() == 1) return;
  constexpr int times = 200;
  std::vector<r8> one(1), many(std::size_t{1} << 20);
  tell(all, "latency", seconds_of([&] {
                         for (int n = 0; n < times; ++n) bounce(all, one);
                       }) / (2 * times));
  tell(all, "link", 2 * 8.0 * static_cast<r8>(many.size()) / seconds_of([&] { bounce(all, many); }));
}

void measure_file(const ranks& all, const char* name) {
  if (!all.first()) return;
  const i8 behind_head = load_head(name);
  find_rows(behind_head);
  r8 start = MPI_Wtime();
  find_rows(behind_head);
  tell(all, "hop", (MPI_Wtime() - start) / store.ndata_mtx);

  constexpr std::size_t piece = std::size_t{16} << 20;
  const int file = open(name, O_RDONLY | O_DIRECT);  // past the system's memory
  owned_array1<r8> into(uninitialised, piece / sizeof(r8));
  r8 bytes = 0;
  start = MPI_Wtime();
  for (ssize_t got = 1; got > 0 && bytes < 1e9; bytes += static_cast<r8>(std::max<ssize_t>(got, 0)))
    got = read(file, into.data(), piece);
  if (bytes > 0) tell(all, "file", bytes / (MPI_Wtime() - start));
  close(file);
}

void measure_all(const ranks& all, const char* name) {
  {
    const spread_matrix G(all, name);
    get_active_cells("null", mesh.itop);
    measure_machine(all);
  }
  measure_link(all);
  all.together([&] { measure_file(all, name); });
}

}  // namespace

int main(int argc, char** argv) {
  const mpi_session mpi(argc, argv);
  const ranks all;
  if (argc != 2) return 2;
  const stop_or_done end = run_until_stop([&] { measure_all(all, argv[1]); });
  if (all.first()) write_end(end);
  return 0;
}
