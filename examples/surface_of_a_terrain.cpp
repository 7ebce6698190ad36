/// Reads a mesh and the scattered points of a terrain, and writes which cells of each column lie above the surface, and
/// the triangles between the points.
///
///   surface_of_a_terrain MESH TOPOGRAPHY COLUMNS TRIANGLES
///
/// COLUMNS    edges along x, a line; edges along y, a line; then itop, a line for each row of columns from south to north
/// TRIANGLES  the number of points; x, y and elevation of each; then three point numbers for each triangle
#include <cstdio>
#include <fstream>

#include "files/mesh_file.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "topography/topography_file.h"

namespace {

using namespace velko;

template <class numbers>
void write_row(std::ofstream& out, const numbers& values) {
  for (const auto& value : values) out << value << ' ';
  out << '\n';
}

void write_columns(const char* name) {
  std::ofstream out(name);
  out.precision(12);
  write_row(out, mesh.xnode);
  write_row(out, mesh.ynode);
  for (i4 i = 1; i <= mesh.ny; ++i) {
    for (i4 j = 1; j <= mesh.nx; ++j) out << mesh.itop(i, j) << ' ';
    out << '\n';
  }
}

/// A point's neighbours stand in a circle, or end with a 0 on the boundary: two that follow each other make a triangle
/// with it. Each triangle is written by the lowest of its points.
void write_triangles_of(std::ofstream& out, const triangulated_surface& s, i4 k) {
  const i4 first = k == 1 ? 1 : s.adj_end(k - 1) + 1, last = s.adj_end(k);
  for (i4 p = first; p <= last; ++p) {
    const i4 a = s.adj_list(p), b = s.adj_list(p < last ? p + 1 : first);
    if (k < a && k < b) out << k << ' ' << a << ' ' << b << '\n';
  }
}

void write_triangles(const char* name, const triangulated_surface& s) {
  std::ofstream out(name);
  out.precision(12);
  out << s.n << '\n';
  for (i4 k = 1; k <= s.n; ++k) out << s.tx(k) << ' ' << s.ty(k) << ' ' << s.tz(k) << '\n';
  for (i4 k = 1; k <= s.n; ++k) write_triangles_of(out, s, k);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: surface_of_a_terrain MESH TOPOGRAPHY COLUMNS TRIANGLES\n");
    return 2;
  }
  const stop_or_done end = run_until_stop([argv] {
    read_mesh_file(argv[1]);
    read_topography(argv[2]);
    write_columns(argv[3]);
    write_triangles(argv[4], read_surface(argv[2]));
  });
  write_end(end);
  return end == stop_or_done{} ? 0 : 1;
}
